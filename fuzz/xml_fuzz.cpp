#include "base64.h"
#include "namespace_table.h"
#include "text_split.h"
#include "xml_attributes.h"
#include "xml_escape.h"
#include "xml_node_list.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

// A message through every step of the toolkit, in a block that ends where the message ends; the records are
// read a second time as splits of splits, the attributes by the public split functions. The same bytes then
// go through the escapes and Base64.

template <typename T, void (*freeFunction)(T *)>
using Owned = std::unique_ptr<T, std::integral_constant<void (*)(T *), freeFunction>>;
using NodeList = Owned<XMLNode, ILibDestructXMLNodeList>;
using Splits = Owned<SplitResults, ILibFreeSplitResults>;
using AttributeList = Owned<XMLAttribute, ILibDestructXMLAttributeList>;

static void require(bool isTrue)
{
    if (!isTrue)
        abort();
}

static std::string textOf(const char *text, int length)
{
    return {text, static_cast<size_t>(length)};
}

// One record: "<p:name/@position " for a start tag that is empty, "/name@position " for an end tag.
static std::string describe(bool isStart, const std::string &prefix, std::string_view name, bool isEmpty,
                            ptrdiff_t position)
{
    return (isStart ? "<" : "/") + prefix + std::string(name) + (isEmpty ? "/@" : "@") +
           std::to_string(position) + " ";
}

static std::string dumpRecords(const char *base, const XMLNode *node)
{
    std::string all;
    for (; node != nullptr; node = node->next)
        all += describe(node->isStartTag != 0,
                        node->prefix ? textOf(node->prefix, node->prefixLength) + ":" : "",
                        textOf(node->name, node->nameLength), node->isEmptyTag != 0, node->textPos - base);
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

// What the tokenizer does, slow and easy to check.
static std::string dumpRecordsBySplitting(std::string_view text)
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
        const std::string prefix = words.size() == 1 ? "" : std::string(words[0]) + ":";
        const ptrdiff_t position = (isStart ? pieces.back().data() : field.data() - 1) - text.data();
        all += describe(isStart, prefix, name, isEmpty, position);
        all += isEmpty ? describe(false, prefix, name, false, position) : "";
    }
    return all;
}

static std::string cut(const XMLAttribute &a)
{
    return (a.prefix ? textOf(a.prefix, a.prefixLength) + ":" : "") + textOf(a.name, a.nameLength) + "=" +
           textOf(a.value, a.valueLength) + "|";
}

static std::string dumpAttributes(XMLNode *node)
{
    const AttributeList list(ILibGetXMLAttributes(node));
    std::string all;
    for (const XMLAttribute *a = list.get(); a != nullptr; a = a->next)
        all += cut(*a);
    return all;
}

// The attributes as splits of the tag's text, with the public functions.
static std::string dumpAttributesBySplitting(const XMLNode &node)
{
    char *text = node.textPos;
    while (*--text != '<') {}
    const int length = static_cast<int>(node.textPos - ++text) - (node.isEmptyTag != 0 ? 2 : 1);
    if (node.isStartTag == 0 || length < 1)
        return "";
    std::string all;
    const Splits pieces(ILibSplitTextQuoted(text, 0, length, " ", 1));
    for (const SplitField *piece = pieces->first->next; piece != nullptr; piece = piece->next) {
        if (piece->length == 0)
            continue;
        XMLAttribute a = {};
        const Splits parts(ILibSplitTextQuoted(piece->data, 0, piece->length, ":", 1));
        char *begin = piece->data;
        if (parts->count > 1) {
            a.prefix = begin;
            a.prefixLength = parts->first->length;
            begin += parts->first->length + 1;
        }
        char *end = piece->data + piece->length;
        Splits sides(ILibSplitTextQuoted(begin, 0, static_cast<int>(end - begin), "=", 1));
        const SplitField *more = piece->next;
        while (more != nullptr && (more->length == 0 || (more->length == 1 && *more->data == '=')))
            more = more->next;
        if (sides->count == 1 && more != nullptr) {
            piece = more;
            end = more->data + more->length;
            sides.reset(ILibSplitTextQuoted(begin, 0, static_cast<int>(end - begin), "=", 1));
        }
        a.name = sides->first->data;
        a.nameLength = ILibTrimBlanks(&a.name, sides->first->length);
        a.value = sides->last->data;
        a.valueLength = ILibTrimBlanks(&a.value, sides->last->length);
        if (a.valueLength >= 2 && (*a.value == '"' || *a.value == '\'')) {
            ++a.value;
            a.valueLength -= 2;
        }
        all.insert(0, cut(a));
    }
    return all;
}

static void readMessage(const uint8_t *data, size_t size)
{
    const std::unique_ptr<char[]> block(new char[size]);
    memcpy(block.get(), data, size);
    const NodeList list(ILibParseXML(block.get(), 0, static_cast<int>(size)));
    require(memcmp(block.get(), data, size) == 0);
    require(dumpRecords(block.get(), list.get()) == dumpRecordsBySplitting({block.get(), size}));
    const int result = ILibProcessXMLNodeList(list.get());
    require(ILibProcessXMLNodeList(list.get()) == result);
    for (XMLNode *node = list.get(); node != nullptr; node = node->next) {
        const std::string attributes = dumpAttributes(node);
        require(attributes == dumpAttributesBySplitting(*node));
    }
    for (int round = 0; round < 2; ++round) {
        ILibXML_BuildNamespaceLookupTable(list.get());
        for (const XMLNode *node = list.get(); node != nullptr; node = node->next)
            require(ILibXML_LookupNamespace(node, node->prefix, node->prefixLength) != nullptr);
    }
}

static void escapeAndBack(const std::string &text)
{
    const size_t length = static_cast<size_t>(ILibXmlEscapeLength(text.c_str()));
    const std::unique_ptr<char[]> out(new char[length + 1]);
    require(static_cast<size_t>(ILibXmlEscape(out.get(), text.c_str())) == length);
    ILibInPlaceXmlUnEscape(out.get());
    require(strcmp(out.get(), text.c_str()) == 0);

    std::string inPlace = text.c_str();
    require(static_cast<size_t>(ILibInPlaceXmlUnEscape(inPlace.data())) <= inPlace.size());
}

static void encodeAndBack(const uint8_t *data, int size)
{
    char *text = nullptr;
    unsigned char *bytes = nullptr;
    const int length = ILibBase64Encode(data, size, &text);
    require(ILibBase64Decode(reinterpret_cast<unsigned char *>(text), length, &bytes) == size);
    require(size == 0 || memcmp(bytes, data, static_cast<size_t>(size)) == 0);
    free(text);
    free(bytes);
    ILibBase64Decode(data, size, &bytes);
    free(bytes);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    readMessage(data, size);
    escapeAndBack(std::string(reinterpret_cast<const char *>(data), size));
    encodeAndBack(data, static_cast<int>(size));
    return 0;
}
