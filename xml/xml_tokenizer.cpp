#include "xml_node_list.h"

#include <cstring>

#include "slab.h"

// A tag's text runs from behind its "<" to the next "<", so that it carries the text content behind it:
//
//     tag  = ["/"] word [" " attributes] ["/"] ">" content
//     word = [prefix ":"] name [":" ignored]
//
// Each ">" of the content counts as the tag's last one. The word ends at the first blank, ">" or "<", or with
// the message; the name in it ends earlier at a "/", tab, CR or LF that is not its first byte, and a "/"
// there makes the tag an empty one.

namespace
{
/// Where new records go.
struct Tokenizer {
    SlabMemory *memory;
    XMLNode *first;
    XMLNode *last;
};

/// What a tag's text says.
struct Tag {
    char *text; ///< behind the "<", and behind the "/" of an end tag
    char *end;  ///< the next "<", or the end of the message
    char *name;
    char *nameEnd;
    char *prefix; ///< null when there is none; ends one byte before the name
    char *wordEnd;
    char *textPos;
    bool isStart;
    bool isEmpty;
    bool hasBlanks;
};

/// The bytes at which the walk along a word has something to decide.
struct MarkTable {
    bool isMark[256];
};
} // namespace

static constexpr char kMarkBytes[] = {' ', '>', '<', ':', '/', '\t', '\r', '\n', '\0'};

static constexpr MarkTable makeMarkTable()
{
    MarkTable table = {};
    for (const char mark : kMarkBytes)
        table.isMark[static_cast<unsigned char>(mark)] = true;
    return table;
}

static constexpr MarkTable kMarks = makeMarkTable();

// Handles a mark inside the word: a colon, or a byte that may end the name.
static void takeMark(Tag &tag, char *mark)
{
    if (*mark == '\0') {
        tag.hasBlanks = true;
        return;
    }
    if (*mark == ':' && tag.prefix == nullptr) {
        tag.prefix = tag.text;
        tag.name = mark + 1;
        tag.nameEnd = nullptr;
        tag.isEmpty = false;
        return;
    }
    if (*mark != ':' && *mark != '/')
        tag.hasBlanks = true;
    if (tag.nameEnd != nullptr || (mark == tag.name && *mark != ':'))
        return;
    tag.nameEnd = mark;
    tag.isEmpty = *mark == '/';
}

// Walks the word: prefix, name, and whether the name says that the tag is empty.
static void readWord(Tag &tag, const char *messageEnd)
{
    tag.name = tag.text;
    tag.nameEnd = nullptr;
    tag.prefix = nullptr;
    tag.isEmpty = false;
    tag.hasBlanks = false;
    char *at = tag.text;
    for (;; ++at) {
        while (at < messageEnd && !kMarks.isMark[static_cast<unsigned char>(*at)])
            ++at;
        if (at == messageEnd || *at == '>' || *at == '<' || *at == ' ')
            break;
        takeMark(tag, at);
    }
    tag.wordEnd = at;
    if (tag.nameEnd == nullptr)
        tag.nameEnd = at;
}

static char *findOr(char *from, char *end, char wanted)
{
    if (from == end)
        return end;
    void *found = memchr(from, wanted, static_cast<size_t>(end - from));
    return found == nullptr ? end : static_cast<char *>(found);
}

// Reads what only a start tag has: whether its last byte closes it, and where its content begins.
static void readRestOfStartTag(Tag &tag)
{
    char *close = tag.wordEnd;
    if (close < tag.end && *close != '>') {
        tag.hasBlanks = true;
        close = findOr(close, tag.end, '>');
    }
    if (close > tag.text && close[-1] == '/')
        tag.isEmpty = true;
    tag.textPos = tag.text;
    if (close == tag.end)
        return;
    tag.textPos = close + 1;
    const size_t contentLength = static_cast<size_t>(tag.end - tag.textPos);
    if (contentLength == 0)
        return;
    char *last = static_cast<char *>(memrchr(tag.textPos, '>', contentLength));
    if (last == nullptr)
        return;
    // The tag reaches further than its first ">": what is in between may hold anything.
    tag.textPos = last + 1;
    tag.hasBlanks = true;
}

static bool appendRecord(Tokenizer &tokenizer, const Tag &tag)
{
    XMLNode *record = static_cast<XMLNode *>(takeFromSlab(tokenizer.memory, sizeof(XMLNode)));
    if (record == nullptr)
        return false;
    *record = {};
    record->name = tag.name;
    record->nameLength = static_cast<int32_t>(tag.nameEnd - tag.name);
    record->prefix = tag.prefix;
    record->prefixLength = tag.prefix == nullptr ? 0 : static_cast<int32_t>(tag.name - 1 - tag.prefix);
    record->isStartTag = tag.isStart ? -1 : 0;
    record->isEmptyTag = tag.isEmpty ? -1 : 0;
    record->textPos = tag.textPos;
    record->memory = tokenizer.memory;
    record->hasBlanks = tag.hasBlanks ? 1 : 0;

    if (tokenizer.last == nullptr)
        tokenizer.first = record;
    else
        tokenizer.last->next = record;
    tokenizer.last = record;
    return true;
}

// Reads the tag that begins behind a "<" and appends its records; false when memory runs out.
static bool readTag(Tokenizer &tokenizer, char *text, char *messageEnd, char **nextTag)
{
    Tag tag;
    tag.text = text;
    tag.isStart = text == messageEnd || *text != '/';
    if (!tag.isStart)
        tag.textPos = tag.text++;
    readWord(tag, messageEnd);
    tag.end = findOr(tag.wordEnd, messageEnd, '<');
    *nextTag = tag.end;
    if (tag.nameEnd == tag.name || *text == '?')
        return true;

    if (tag.isStart)
        readRestOfStartTag(tag);
    if (!appendRecord(tokenizer, tag))
        return false;
    if (!tag.isEmpty)
        return true;
    tag.isStart = tag.isEmpty = false;
    return appendRecord(tokenizer, tag);
}

XMLNode *ILibParseXML(char *buffer, int offset, int length)
{
    if (buffer == nullptr || length < 1)
        return nullptr;
    char *messageEnd = buffer + offset + length;
    char *tag = findOr(buffer + offset, messageEnd, '<');
    Tokenizer tokenizer = {createSlabMemory(), nullptr, nullptr};
    if (tokenizer.memory == nullptr)
        return nullptr;
    while (tag < messageEnd) {
        if (!readTag(tokenizer, tag + 1, messageEnd, &tag)) {
            freeSlabMemory(tokenizer.memory);
            return nullptr;
        }
    }
    if (tokenizer.first == nullptr)
        freeSlabMemory(tokenizer.memory);
    return tokenizer.first;
}
