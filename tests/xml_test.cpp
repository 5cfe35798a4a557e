#include "xml_node_list.h"

#include "failing_allocator.h"
#include "guarded_text.h"
#include "namespace_table.h"
#include "tag_stack.h"
#include "text_split.h"
#include "xml_attributes.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <string>
#include <vector>

template <typename T, void (*freeFunction)(T *)>
using Owned = std::unique_ptr<T, std::integral_constant<void (*)(T *), freeFunction>>;
using NodeList = Owned<XMLNode, ILibDestructXMLNodeList>;
using Splits = Owned<SplitResults, ILibFreeSplitResults>;
using AttributeList = Owned<XMLAttribute, ILibDestructXMLAttributeList>;

static std::string textOf(const char *text, int length)
{
    return {text, static_cast<size_t>(length)};
}

static std::string dump(const char *base, const XMLNode &node)
{
    return (node.isStartTag == -1 ? "<" : "/") +
           (node.prefix ? textOf(node.prefix, node.prefixLength) + ":" : "") +
           textOf(node.name, node.nameLength) + (node.isEmptyTag == -1 ? "/" : "") + "@" +
           std::to_string(node.textPos - base) + " ";
}

static std::string dumpChain(const char *base, const XMLNode *node)
{
    std::string all;
    for (; node != nullptr; node = node->next)
        all += dump(base, *node);
    return all;
}

static std::vector<std::string_view> splitPlainly(std::string_view text, char delimiter)
{
    std::vector<std::string_view> parts;
    for (size_t at = text.find(delimiter); at != text.npos; at = text.find(delimiter)) {
        parts.push_back(text.substr(0, at));
        text.remove_prefix(at + 1);
    }
    parts.push_back(text);
    return parts;
}

// What the tokenizer does, as splits of splits: slow and easy to check.
static std::string dumpBySplitting(std::string_view text)
{
    std::string all;
    const std::vector<std::string_view> fields = splitPlainly(text, '<');
    for (size_t i = 1; i < fields.size(); ++i) {
        std::string_view field = fields[i];
        if (field.empty() || field[0] == '?')
            continue;
        const bool isStart = field[0] != '/';
        field.remove_prefix(isStart ? 0 : 1);
        const std::vector<std::string_view> pieces = splitPlainly(field, '>');
        bool isEmpty = isStart && !pieces[0].empty() && pieces[0].back() == '/';
        const std::vector<std::string_view> words = splitPlainly(splitPlainly(pieces[0], ' ')[0], ':');
        std::string_view name = words.size() == 1 ? words[0] : words[1];
        const size_t end = name.find_first_of(" />\t\r\n", 1);
        if (end != name.npos) {
            isEmpty |= name[end] == '/';
            name = name.substr(0, end);
        }
        if (name.empty())
            continue;
        XMLNode node = {};
        node.name = const_cast<char *>(name.data());
        node.nameLength = static_cast<int>(name.size());
        node.prefix = words.size() == 1 ? nullptr : const_cast<char *>(words[0].data());
        node.prefixLength = static_cast<int>(words[0].size());
        node.textPos = const_cast<char *>(isStart ? pieces.back().data() : field.data() - 1);
        node.isStartTag = isStart ? -1 : 0;
        node.isEmptyTag = isEmpty ? -1 : 0;
        all += dump(text.data(), node);
        node.isStartTag = node.isEmptyTag = 0;
        all += isEmpty ? dump(text.data(), node) : "";
    }
    return all;
}

static std::string dumpAttributes(XMLNode *node)
{
    const AttributeList list(ILibGetXMLAttributes(node));
    std::string all;
    for (const XMLAttribute *a = list.get(); a != nullptr; a = a->next) {
        EXPECT_EQ(node, a->parent);
        all += (a->prefix ? textOf(a->prefix, a->prefixLength) + ":" : "") + textOf(a->name, a->nameLength) +
               "=" + textOf(a->value, a->valueLength) + "|";
    }
    return all;
}

// Both readings of a text that ends at an unreadable page, and every later step on it.
static void compareWithSplitting(std::string_view message)
{
    SCOPED_TRACE(testing::PrintToString(std::string(message)));
    const GuardedText guarded = guardText(message);
    const NodeList list(ILibParseXML(guarded.text, 0, guarded.size));
    EXPECT_EQ(message, std::string_view(guarded.text, message.size()));
    EXPECT_EQ(dumpBySplitting(message), dumpChain(guarded.text, list.get()));
    const int result = ILibProcessXMLNodeList(list.get());
    const std::string chain = dumpChain(guarded.text, list.get());
    EXPECT_EQ(result, ILibProcessXMLNodeList(list.get()));
    EXPECT_EQ(chain, dumpChain(guarded.text, list.get()));
    ILibXML_BuildNamespaceLookupTable(list.get());
    for (const XMLNode *node = list.get(); node != nullptr; node = node->next)
        EXPECT_EQ(node->isStartTag != 0, node->nsTable != nullptr);
    freeGuardedText(guarded);
}

TEST(Tokenizer, ReadsWhatSplittingReads)
{
    for (const char *message :
         {"", "   ", "text", "<?xml version='1.0'?><a/>", "<a><b></a>", "<p:a:ignored>t>u</p:a>",
          "<a x=\"p/>q\">", "<a/b:c>", "<a b/></a/>", "<:a><a::b>", "</><//a>< a><p:>", "<\na b='1'\n>",
          "<a\tp:q\r= 'v'/>", "<!DOCTYPE a><a><!-- <b/> --><c/></a>", "<a x='1>2' >t>"}) {
        const std::string whole = message;
        for (size_t length = 0; length <= whole.size(); ++length)
            compareWithSplitting(whole.substr(0, length));
    }
    std::mt19937 random(5489);
    const std::string bytes("<<<>>>//  ::==\"'ab!?\t\r\n\b\0", 25);
    for (int round = 0; round < 20000; ++round) {
        std::string message;
        for (size_t length = random() % 40; message.size() < length;)
            message += random() % 6 == 0 ? "</a>" : std::string(1, bytes[random() % bytes.size()]);
        compareWithSplitting(message);
    }
}

TEST(Tokenizer, ReadsItsRangeOnly)
{
    char text[] = "<a><b></b></a>";
    const NodeList list(ILibParseXML(text, 1, 9));
    EXPECT_EQ("<b@6 /b@7 ", dumpChain(text, list.get()));
    EXPECT_EQ(nullptr, ILibParseXML(text, 10, 0));
    EXPECT_EQ(nullptr, ILibParseXML(nullptr, 0, 4));
}

TEST(NodeList, LinksTheTree)
{
    struct Row {
        const char *text;
        int result;
        const char *chain;
    };
    for (const Row &row :
         {Row{"<a><b></a>", -3, "<a <b /a "}, Row{"</a>", -1, "/a "}, Row{"<a></b>", -2, "<a /b "},
          Row{"<p:x></q:x>", 0, "<x /x "}, Row{"<r><a></b>", -3, "<r <a /b "},
          Row{"<a><b/><!--c--></a>", 0, "<a /a "}, Row{"<a><b/><!DOCTYPE/><c/></a>", 0, "<a <c /c /a "},
          Row{"<!--c--><a></a>", 0, "<!--c-- <a /a "}}) {
        std::string text = row.text;
        const NodeList list(ILibParseXML(text.data(), 0, static_cast<int>(text.size())));
        for (const int round : {1, 2}) {
            EXPECT_EQ(row.result, ILibProcessXMLNodeList(list.get())) << row.text << round;
            std::string chain;
            for (const XMLNode *node = list.get(); node != nullptr; node = node->next)
                chain += (node->isStartTag ? "<" : "/") + textOf(node->name, node->nameLength) + " ";
            EXPECT_EQ(row.chain, chain);
        }
    }
    char text[] = "<a><b/><c></c></a>";
    const NodeList a(ILibParseXML(text, 0, sizeof text - 1));
    ASSERT_EQ(0, ILibProcessXMLNodeList(a.get()));
    XMLNode *b = a->next;
    XMLNode *c = b->next->next;
    EXPECT_EQ(b->next, b->closingTag);
    EXPECT_EQ(b, b->closingTag->startingTag);
    EXPECT_EQ(c, b->peer);
    EXPECT_EQ(nullptr, c->peer);
    EXPECT_EQ(a.get(), c->parent);
    EXPECT_EQ(c->closingTag->next, a->closingTag);
}

TEST(Attributes, AreReadLastFirst)
{
    struct Row {
        const char *text;
        const char *attributes;
    };
    for (const Row &row : {Row{"<a x = 'v w'>", "x=v w|"}, Row{"<a x=\"v>", "x=|"},
                           Row{"<a p:x='a=b:c' y='2'/>", "y=2|p:x=a=b:c|"}, Row{"<a\n\tx='1'\r\n>", "x=1|"},
                           Row{"<a x y>", "x y=x y|"}, Row{"<a x =  >", "=|x=x|"},
                           Row{"<a :q= r:s:t = u= v ='1>2' >t>", ">t=>t|v=1>2|r:s:t=|:q=|"},
                           Row{"<a y='\b' = w='\b \b1 \b' x='\"'>", "x=\"|w=\b \b1 \b|=|y=\b|"},
                           Row{"<a\"b c='\" d' e='f'>t>u='v'", "d' e='f'>t=d' e='f'>t|"},
                           Row{"<a \bx=\b\bv\b y=\b>", "y=\b|x=v|"}, Row{"<a>t p:q >u", "p:q=q|"},
                           Row{"<a/>", ""}, Row{"<a x='1'", ""}, Row{"</a\nx='1'>", ""}}) {
        std::string text = row.text;
        const NodeList list(ILibParseXML(text.data(), 0, static_cast<int>(text.size())));
        EXPECT_EQ(row.attributes, dumpAttributes(list.get())) << row.text;
        EXPECT_TRUE(list->isStartTag != 0 || text == row.text);
    }
    char text[] = "<name x='1\n2'>";
    const NodeList list(ILibParseXML(text, 0, sizeof text - 1));
    text[5] = '\0';
    EXPECT_EQ("x=1 2|", dumpAttributes(list.get()));
    EXPECT_STREQ("<name", text);
}

TEST(Namespaces, AreFoundFromTheRecordOutwards)
{
    char text[] =
        "<s:a xmlns:s='one' xmlns:s='late' xmlns='all'><b><s:c xmlns:s='two'><d/></s:c><e/></b></s:a>";
    const NodeList list(ILibParseXML(text, 0, sizeof text - 1));
    ASSERT_EQ(0, ILibProcessXMLNodeList(list.get()));
    EXPECT_STREQ("", ILibXML_LookupNamespace(list.get(), "s", 1));
    for (int round = 0; round < 3; ++round) {
        ILibXML_BuildNamespaceLookupTable(list.get());
        XMLNode *b = list->next;
        XMLNode *d = b->next->next;
        EXPECT_STREQ("one", ILibXML_LookupNamespace(list.get(), "s:a", 1));
        EXPECT_STREQ("one", ILibXML_LookupNamespace(b, "s", 1));
        EXPECT_STREQ("two", ILibXML_LookupNamespace(d, "s", 1));
        EXPECT_STREQ("one", ILibXML_LookupNamespace(d->closingTag->next->next, "s", 1));
        EXPECT_STREQ("all", ILibXML_LookupNamespace(d, nullptr, 0));
        EXPECT_STREQ("", ILibXML_LookupNamespace(d, "t", 1));
        EXPECT_EQ(0, ILibTableHas(b->nsTable, "s", 1));
        EXPECT_EQ(1, ILibTableHas(d->parent->nsTable, "s", 1));
    }
}

static std::string makeRequest(int structs)
{
    std::string text = "<e:Envelope xmlns:e='u' xmlns:xsi='v'>";
    for (int i = 0; i < structs; ++i)
        text += "<S><Name>N." + std::to_string(i) + ".</Name><Value xsi:type='xsd:string'>v</Value></S>";
    return text + "</e:Envelope>";
}

static XMLNode *readWhole(std::string &text)
{
    XMLNode *list = ILibParseXML(text.data(), 0, static_cast<int>(text.size()));
    EXPECT_EQ(0, ILibProcessXMLNodeList(list));
    ILibXML_BuildNamespaceLookupTable(list);
    return list;
}

TEST(Memory, IsAskedForInSlabs)
{
    std::string text = makeRequest(1000);
    failAllocation(0, false);
    const NodeList list(readWhole(text));
    EXPECT_GE(20, allocationsAsked());
    EXPECT_NE(nullptr, list);
}

TEST(Memory, MayRunOutAnywhere)
{
    std::string text = makeRequest(20) + "<a xmlns:" + std::string(90000, 'k') + "='v'/>";
    withEveryAllocationFailing([&] {
        const NodeList list(readWhole(text));
        for (XMLNode *node = list.get(); node != nullptr; node = node->next) {
            const AttributeList attributes(ILibGetXMLAttributes(node));
            EXPECT_NE(nullptr, ILibXML_LookupNamespace(node, "xsi", 3));
        }
        const Splits parts(ILibSplitText(text.data(), 0, 40, " ", 1));
        NamespaceTable *table = ILibTableCreate();
        const bool isAdded = ILibTableAdd(table, text.data(), 5000, "v", 1) == 0;
        EXPECT_EQ(isAdded, ILibTableHas(table, text.data(), 5000) != 0);
        ILibTableDestroy(table);
    });
}

TEST(Namespaces, HaveACeilingAndNesting)
{
    constexpr int kDepth = 50000;
    std::string text;
    for (int i = 1; i <= kDepth; ++i)
        text += "<a xmlns:p" + std::to_string(i) + "='u'>";
    for (int i = 1; i <= kDepth; ++i)
        text += "</a>";
    const NodeList list(readWhole(text));
    for (const XMLNode *node = list.get(); node->isStartTag != 0; node = node->next) {
        ASSERT_STREQ("u", ILibXML_LookupNamespace(node, "p1", 2));
        if (node->next->isStartTag == 0) {
            EXPECT_STREQ("u", ILibXML_LookupNamespace(node, "p1024", 5));
            EXPECT_STREQ("", ILibXML_LookupNamespace(node, "p1025", 5));
        }
    }
}

TEST(Table, KeepsTheLatestValue)
{
    NamespaceTable *table = ILibTableCreate();
    for (const char *value : {"old", "new"})
        for (const char *key : {"a", "abcd", "abcde", "xmlns", "0123456789", "0123056789", "ab"})
            EXPECT_EQ(0, ILibTableAdd(table, key, static_cast<int>(strlen(key)), value, 3));
    ILibTableRemove(table, "xmlnsX", 5);
    ILibTableRemove(table, "abcde", 5);
    ILibTableRemove(table, "none", 4);
    for (const char *key : {"a", "ab", "abcd", "0123456789", "0123056789"})
        EXPECT_STREQ("new", ILibTableGet(table, key, static_cast<int>(strlen(key)))) << key;
    EXPECT_EQ(0, ILibTableHas(table, "xmlns", 5));
    EXPECT_EQ(0, ILibTableHas(table, "abcde", 5));
    EXPECT_EQ(-1, ILibTableAdd(table, "", 0, "v", 1));
    ILibTableDestroy(table);
}

TEST(Split, KeepsEmptyPartsAndQuotes)
{
    struct Row {
        const char *text, *delimiter, *plain, *quoted;
    };
    for (const Row &row :
         {Row{"", ",", "[]", "[]"}, Row{",a,", ",", "[][a][]", "[][a][]"},
          Row{"a',\",'b,c", ",",
              "[a'][\"][\x27"
              "b][c]",
              "[a',\",'b][c]"},
          Row{"'a,b", ",", "['a][b]", "['a,b]"}, Row{"a--b---", "--", "[a][b][-]", "[a][b][-]"}}) {
        std::string text = std::string("##") + row.text + "--";
        for (const bool isQuoted : {false, true}) {
            const auto split = isQuoted ? ILibSplitTextQuoted : ILibSplitText;
            const Splits parts(split(text.data(), 2, static_cast<int>(text.size()) - 4, row.delimiter,
                                     static_cast<int>(strlen(row.delimiter))));
            std::string all;
            for (const SplitField *part = parts->first; part != nullptr; part = part->next)
                all += "[" + textOf(part->data, part->length) + "]";
            EXPECT_EQ(isQuoted ? row.quoted : row.plain, all);
            EXPECT_EQ(std::count(all.begin(), all.end(), '['), parts->count);
            EXPECT_EQ(nullptr, parts->last->next);
        }
    }
}

TEST(Stack, GivesBackTheLatestFirst)
{
    int data[2];
    TagStack *stack;
    ILibStackCreate(&stack);
    failAllocation(3, false);
    EXPECT_EQ(0, ILibStackPush(&stack, &data[0]));
    EXPECT_EQ(0, ILibStackPush(&stack, &data[1]));
    EXPECT_EQ(-1, ILibStackPush(&stack, &data[0]));
    failAllocation(0, false);
    EXPECT_EQ(&data[1], ILibStackPop(&stack));
    EXPECT_EQ(&data[0], ILibStackPeek(&stack));
    ILibStackClear(&stack);
    EXPECT_EQ(nullptr, ILibStackPop(&stack));
}
