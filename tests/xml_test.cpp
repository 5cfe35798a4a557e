#include "xml_node_list.h"

#include "failing_allocator.h"
#include "guarded_text.h"
#include "namespace_table.h"
#include "tag_stack.h"
#include "text_split.h"
#include "xml_attributes.h"

#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <string>

using std::string;
using std::to_string;

template <typename T, void (*freeFunction)(T *)>
using Owned = std::unique_ptr<T, std::integral_constant<void (*)(T *), freeFunction>>;
using NodeList = Owned<XMLNode, ILibDestructXMLNodeList>;
using Splits = Owned<SplitResults, ILibFreeSplitResults>;
using AttributeList = Owned<XMLAttribute, ILibDestructXMLAttributeList>;

using Row = std::pair<const char *, const char *>; // text, expected

const auto textOf = [](const char *text, int length) { return string(text, static_cast<size_t>(length)); };

// Each record: "<p:name/@position " for a start tag that is empty, "/name@position " for an end tag.
static string dumpChain(const char *base, const XMLNode *node)
{
    string all;
    for (; node != nullptr; node = node->next)
        all += (node->isStartTag != 0 ? "<" : "/") +
               (node->prefix ? textOf(node->prefix, node->prefixLength) + ":" : "") +
               textOf(node->name, node->nameLength) + (node->isEmptyTag != 0 ? "/@" : "@") +
               to_string(node->textPos - base) + " ";
    return all;
}

static string dumpAttributes(XMLNode *node)
{
    const AttributeList list(ILibGetXMLAttributes(node));
    string all;
    for (const XMLAttribute *a = list.get(); a != nullptr; a = a->next) {
        EXPECT_EQ(node, a->parent);
        all += (a->prefix ? textOf(a->prefix, a->prefixLength) + ":" : "") + textOf(a->name, a->nameLength);
        all += "=" + textOf(a->value, a->valueLength) + "|";
    }
    return all;
}

// The text's records, as the tokenizer leaves them.
static XMLNode *tokenize(string &text) { return ILibParseXML(text.data(), 0, static_cast<int>(text.size())); }

// The fuzz target compares the tokenizer with a plain reading of anything; these are its rules, and the
// results of linking.
TEST(NodeList, ReadsAndLinks)
{
    const struct {
        string text, records;
        int result;
        string linked = ""; // where linking takes records out
    } rows[] = {
        {"<?xml version='1.0'?><a/>", "<a/@25 /a@25 ", 0},
        {"<a><b></a>", "<a@3 <b@6 /a@7 ", -3},
        {"</a>", "/a@1 ", -1},
        {"<a></b>", "<a@3 /b@4 ", -2},
        {"<r><a></b>", "<r@3 <a@6 /b@7 ", -3},
        {"<p:x></q:x>", "<p:x@5 /q:x@6 ", 0},
        {"<p:a:ignored>t>u</p:a>", "<p:a@15 /p:a@17 ", 0},
        {"<a x=\"p/>q\">", "<a/@12 /a@12 ", 0},
        {"<a/b:c>", "<a/b:c@7 ", -3},
        {"<a b/></a/>", "<a/@6 /a@6 /a/@7 /a@7 ", -1},
        {"<:a><a::b>", "<:a@4 ", -3},
        {"</><//a>< a><p:>", "//a@4 ", -1},
        {"<\na b='1'\n>", "<\na@11 ", -3},
        {"<a\tp:q\r= 'v'/>", "<a\tp:q/@14 /a\tp:q@14 ", 0},
        {"<!DOCTYPE a><a><!-- <b/> --><c/></a>",
         "<!DOCTYPE@12 <a@15 <!--@16 <b/@28 /b@28 <c/@32 /c@32 /a@33 ", 0,
         "<!DOCTYPE@12 <a@15 <b/@28 /b@28 <c/@32 /c@32 /a@33 "},
        {"<a><b/><!--c--></a>", "<a@3 <b/@7 /b@7 <!--c--@15 /a@16 ", 0, "<a@3 /a@16 "},
        {"<a><b/><!D/><c/></a>", "<a@3 <b/@7 /b@7 <!D/@12 /!D@12 <c/@16 /c@16 /a@17 ", 0,
         "<a@3 <c/@16 /c@16 /a@17 "},
        {"<!--c--><a></a>", "<!--c--@8 <a@11 /a@12 ", 0},
    };
    for (const auto &row : rows) {
        forEachPrefix(row.text, [&](char *start, int length) {
            const NodeList list(ILibParseXML(start, 0, length));
            const string records = dumpChain(start, list.get());
            const int result = ILibProcessXMLNodeList(list.get());
            const string linked = dumpChain(start, list.get());
            if (row.text == start) {
                EXPECT_EQ(row.records, records) << row.text;
                EXPECT_EQ(row.result, result) << row.text;
                EXPECT_EQ(row.linked.empty() ? records : row.linked, linked) << row.text;
            }
            EXPECT_EQ(result, ILibProcessXMLNodeList(list.get()));
            EXPECT_EQ(linked, dumpChain(start, list.get()));
            ILibXML_BuildNamespaceLookupTable(list.get());
            for (const XMLNode *node = list.get(); node != nullptr; node = node->next)
                EXPECT_EQ(node->isStartTag != 0, node->nsTable != nullptr);
        });
    }
    string text = "<a><b/><c></c></a>";
    const NodeList a(tokenize(text));
    ASSERT_EQ(0, ILibProcessXMLNodeList(a.get()));
    XMLNode *b = a->next, *c = b->next->next;
    EXPECT_EQ(b->next, b->closingTag);
    EXPECT_EQ(b, b->closingTag->startingTag);
    EXPECT_EQ(c, b->peer);
    EXPECT_EQ(nullptr, c->peer);
    EXPECT_EQ(a.get(), c->parent);
}

TEST(Attributes, AreReadLastFirst)
{
    for (const auto &[source, expected] :
         {Row{"<a x = 'v w'>", "x=v w|"}, Row{"<a x=\"v>", "x=|"},
          Row{"<a p:x='a=b:c' y='2'/>", "y=2|p:x=a=b:c|"}, Row{"<a\n\tx='1'\r\n>", "x=1|"},
          Row{"<a x y>", "x y=x y|"}, Row{"<a x =  >", "=|x=x|"},
          Row{"<a :q= r:s:t = u= v ='1>2' >t>", ">t=>t|v=1>2|r:s:t=|:q=|"},
          Row{"<a y='\b' = w='\b \b1 \b' x='\"'>", "x=\"|w=\b \b1 \b|=|y=\b|"},
          Row{"<a\"b c='\" d' e='f'>t>u='v'", "d' e='f'>t=d' e='f'>t|"},
          Row{"<a \bx=\b\bv\b y=\b>", "y=\b|x=v|"}, Row{"<a>t p:q >u", "p:q=q|"}, Row{"<a/>", ""},
          Row{"<a x='1'", ""}, Row{"</a\nx='1'>", ""}}) {
        string text = source;
        const NodeList list(tokenize(text));
        EXPECT_EQ(expected, dumpAttributes(list.get())) << source;
        EXPECT_TRUE(list->isStartTag != 0 || text == source);
    }
    string text = "<name x='1\n2'>";
    const NodeList list(tokenize(text));
    text[5] = '\0';
    EXPECT_EQ("x=1 2|", dumpAttributes(list.get()));
    EXPECT_STREQ("<name", text.c_str());
}

TEST(Namespaces, AreFoundFromTheRecordOutwards)
{
    string text =
        "<s:a xmlns:s='one' xmlns:s='late' xmlns='all'><b><s:c xmlns:s='two'><d/></s:c><e/></b></s:a>";
    const NodeList a(tokenize(text));
    ASSERT_EQ(0, ILibProcessXMLNodeList(a.get()));
    EXPECT_STREQ("", ILibXML_LookupNamespace(a.get(), "s", 1));
    XMLNode *b = a->next, *d = b->next->next, *e = d->next->next->next;
    for (int round = 0; round < 3; ++round) {
        ILibXML_BuildNamespaceLookupTable(a.get());
        string found;
        for (const XMLNode *node : {a.get(), b, d, e})
            found += string(ILibXML_LookupNamespace(node, "s:a", 1)) + " ";
        EXPECT_EQ("one one two one ", found);
        EXPECT_STREQ("all", ILibXML_LookupNamespace(d, nullptr, 0));
        EXPECT_STREQ("", ILibXML_LookupNamespace(d, "t", 1));
        EXPECT_EQ(0, ILibTableHas(b->nsTable, "s", 1));
        EXPECT_EQ(1, ILibTableHas(d->parent->nsTable, "s", 1));
    }
}

static XMLNode *readWhole(string &text)
{
    XMLNode *list = tokenize(text);
    EXPECT_EQ(0, ILibProcessXMLNodeList(list));
    ILibXML_BuildNamespaceLookupTable(list);
    return list;
}

TEST(Memory, MayRunOutAnywhere)
{
    // From size to size the slabs end at other pieces of the tables.
    for (int size = 20; size < 60; ++size) {
        string text = "<a xmlns:x='outer'>";
        for (int i = 0; i < size; ++i)
            text += "<b xmlns:x='inner'><b/></b>";
        text += "<b xmlns:" + string(90000, 'k') + "='v' xmlns:x='inner'/></a>";
        withEveryAllocationFailing([&] {
            const NodeList list(readWhole(text));
            for (XMLNode *node = list.get(); node != nullptr; node = node->next) {
                const string uri = ILibXML_LookupNamespace(node, "x", 1);
                EXPECT_TRUE(uri.empty() || uri == (node == list.get() ? "outer" : "inner")) << uri;
            }
            const AttributeList attributes(ILibGetXMLAttributes(list.get()));
            const Splits parts(ILibSplitText(text.data(), 0, 40, " ", 1));
            NamespaceTable *table = ILibTableCreate();
            const bool isAdded = ILibTableAdd(table, text.data(), 5000, "v", 1) == 0;
            EXPECT_EQ(isAdded, ILibTableHas(table, text.data(), 5000) != 0);
            ILibTableDestroy(table);
        });
    }
}

TEST(Namespaces, HaveACeilingAndFewAllocations)
{
    constexpr int kDepth = 20000;
    string text;
    for (int i = 0; i < kDepth; ++i)
        text += "<a xmlns:p" + to_string(i % kMostDeclarationsInScope) + "='" +
                (i < kMostDeclarationsInScope ? "outer'>" : "inner'>");
    for (int i = 0; i < kDepth; ++i)
        text += "</a>";
    failAllocation(0, false);
    const NodeList list(readWhole(text));
    EXPECT_GE(50, allocationsAsked());
    const XMLNode *node = list.get();
    for (int i = 0; i < kMostDeclarationsInScope; ++i, node = node->next)
        ASSERT_STREQ("outer", ILibXML_LookupNamespace(node, "p0", 2));
    EXPECT_STREQ("", ILibXML_LookupNamespace(node, "p0", 2));
    for (; node->isStartTag != 0; node = node->next)
        ASSERT_STRNE("outer", ILibXML_LookupNamespace(node, "p0", 2));
}

TEST(Table, KeepsTheLatestValue)
{
    NamespaceTable *table = ILibTableCreate();
    for (const char *value : {"old", "new"})
        for (const char *key : {"a", "abcd", "abcde", "xmlns", "0123456789", "0123056789", "ab"})
            EXPECT_EQ(0, ILibTableAdd(table, key, static_cast<int>(strlen(key)), value, 3));
    ILibTableRemove(table, "xmlnsX", 5);
    ILibTableRemove(table, "abcde", 5);
    for (const char *key : {"a", "ab", "abcd", "0123456789", "0123056789"})
        EXPECT_STREQ("new", ILibTableGet(table, key, static_cast<int>(strlen(key)))) << key;
    EXPECT_EQ(0, ILibTableHas(table, "xmlns", 5));
    EXPECT_EQ(0, ILibTableHas(table, "abcde", 5));
    EXPECT_EQ(-1, ILibTableAdd(table, "", 0, "v", 1));
    ILibTableDestroy(table);
}

TEST(Split, KeepsEmptyPartsAndQuotes)
{
    for (const auto &[source, expected] :
         {Row{"", "[] []"}, Row{"--a--", "[][a][] [][a][]"}, Row{"a--b---", "[a][b][-] [a][b][-]"},
          Row{"a'--\"--'b--c", "[a'][\"]['b][c] [a'--\"--'b][c]"}, Row{"'a--b", "['a][b] ['a--b]"}}) {
        string text = string("##") + source + "--", all;
        for (const auto split : {ILibSplitText, ILibSplitTextQuoted}) {
            const Splits parts(split(text.data(), 2, static_cast<int>(text.size()) - 4, "--", 2));
            int count = 0;
            for (const SplitField *part = parts->first; part != nullptr; part = part->next, ++count)
                all += "[" + textOf(part->data, part->length) + (part == parts->last ? "] " : "]");
            EXPECT_EQ(count, parts->count);
        }
        EXPECT_EQ(string(expected) + " ", all);
    }
}

TEST(Stack, GivesBackTheLatestFirst)
{
    int data[2];
    TagStack *stack;
    ILibStackCreate(&stack);
    EXPECT_EQ(0, ILibStackPush(&stack, &data[0]));
    EXPECT_EQ(0, ILibStackPush(&stack, &data[1]));
    EXPECT_EQ(&data[1], ILibStackPop(&stack));
    EXPECT_EQ(&data[0], ILibStackPeek(&stack));
    ILibStackClear(&stack);
    EXPECT_EQ(nullptr, ILibStackPop(&stack));
}
