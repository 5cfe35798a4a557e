#include "attribute_walk.h"

#include <cstring>

#include "text_split.h"
#include "xml_attributes.h"
#include "xml_node_list.h"

// A tag's text falls into pieces at its blanks, those between quotes left out. The first piece is the
// element's name; each later one is an attribute,
//
//     [prefix ":"] name "=" value
//
// or its beginning, where blanks stand around the "=": then it reaches to the end of the next piece that is
// more than an "=".

namespace
{
struct Piece {
    char *begin;
    char *end;
};
} // namespace

static bool isQuote(char c)
{
    return c == '"' || c == '\'';
}

// The first wanted byte that is not between quotes, or end.
static char *findUnquoted(char *from, char *end, char wanted)
{
    for (char *at = from; at < end; ++at) {
        if (*at == wanted)
            return at;
        if (!isQuote(*at))
            continue;
        at = static_cast<char *>(memchr(at + 1, *at, static_cast<size_t>(end - at - 1)));
        if (at == nullptr)
            return end;
    }
    return end;
}

// A tag without blanks has no attributes. Its text ends before its closing bytes; where that leaves nothing,
// the tag has no ">".
static bool findTagText(const XMLNode *node, Piece *text)
{
    if (node == nullptr || node->isStartTag == 0 || node->hasBlanks == 0)
        return false;
    text->begin = node->prefix != nullptr ? node->prefix : node->name;
    const int closingBytes = node->isEmptyTag != 0 ? 2 : 1;
    if (node->textPos - text->begin <= closingBytes)
        return false;
    text->end = node->textPos - closingBytes;
    return true;
}

static void blankOut(char *begin, const char *end)
{
    for (char *at = begin; at < end; ++at)
        if (*at == '\n' || *at == '\r' || *at == '\t' || *at == '\0')
            *at = ' ';
}

bool openAttributeWalk(AttributeWalk *walk, XMLNode *node)
{
    Piece text;
    if (!findTagText(node, &text))
        return false;
    char *behindName = node->name + node->nameLength;
    walk->terminator = *behindName == '\0' ? behindName : nullptr;
    blankOut(text.begin, text.end);
    walk->node = node;
    walk->at = findUnquoted(text.begin, text.end, ' ');
    walk->end = text.end;
    return true;
}

static bool nextPiece(AttributeWalk *walk, Piece *piece)
{
    while (walk->at < walk->end && *walk->at == ' ')
        ++walk->at;
    if (walk->at == walk->end)
        return false;
    piece->begin = walk->at;
    piece->end = findUnquoted(walk->at, walk->end, ' ');
    walk->at = piece->end;
    return true;
}

// The end of the piece that brings the "=" or the value of an attribute begun before a blank, or null.
static char *findContinuation(AttributeWalk *walk)
{
    char *resumeAt = walk->at;
    Piece piece;
    while (nextPiece(walk, &piece))
        if (piece.end - piece.begin != 1 || *piece.begin != '=')
            return piece.end;
    walk->at = resumeAt;
    return nullptr;
}

static int32_t lengthOf(const Piece &piece)
{
    return static_cast<int32_t>(piece.end - piece.begin);
}

static void setName(XMLAttribute *attribute, Piece name)
{
    attribute->name = name.begin;
    attribute->nameLength = ILibTrimBlanks(&attribute->name, lengthOf(name));
}

static void setValue(XMLAttribute *attribute, Piece value)
{
    attribute->value = value.begin;
    attribute->valueLength = ILibTrimBlanks(&attribute->value, lengthOf(value));
    if (attribute->valueLength >= 2 && isQuote(*attribute->value)) {
        // The last byte goes whatever it is, on purpose: it is not compared with the first.
        ++attribute->value;
        attribute->valueLength -= 2;
    }
}

// Where the text behind the last unquoted "=" begins; the whole text when there is none.
static char *findLastPart(char *begin, char *end)
{
    char *part = begin;
    for (char *equals = findUnquoted(begin, end, '='); equals < end; equals = findUnquoted(part, end, '='))
        part = equals + 1;
    return part;
}

bool readNextAttribute(AttributeWalk *walk, XMLAttribute *attribute)
{
    Piece piece;
    if (!nextPiece(walk, &piece)) {
        if (walk->terminator != nullptr)
            *walk->terminator = '\0';
        return false;
    }
    *attribute = {};
    attribute->parent = walk->node;
    char *colon = findUnquoted(piece.begin, piece.end, ':');
    if (colon < piece.end) {
        attribute->prefix = piece.begin;
        attribute->prefixLength = static_cast<int32_t>(colon - piece.begin);
        piece.begin = colon + 1;
    }

    char *equals = findUnquoted(piece.begin, piece.end, '=');
    if (equals == piece.end) {
        char *continuation = findContinuation(walk);
        if (continuation != nullptr) {
            piece.end = continuation;
            equals = findUnquoted(piece.begin, piece.end, '=');
        }
    }
    setName(attribute, {piece.begin, equals});
    setValue(attribute, {findLastPart(piece.begin, piece.end), piece.end});
    return true;
}
