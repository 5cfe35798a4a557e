#include "namespace_table.h"

#include <cstring>

#include "attribute_walk.h"
#include "slab.h"
#include "xml_attributes.h"
#include "xml_node_list.h"

// The default namespace is kept under the name of the attribute that declares it.
static constexpr char kXmlns[] = "xmlns";
static constexpr int32_t kXmlnsLength = sizeof kXmlns - 1;

static constexpr int32_t kWordBytes = sizeof(uint32_t);
// A key of this length has bytes in its middle that neither its first nor its last word covers.
static constexpr int32_t kLongKeyBytes = 10;

static uint32_t readWord(const char *bytes)
{
    uint32_t word = 0;
    memcpy(&word, bytes, sizeof word);
    return word;
}

static uint32_t hashKey(const char *key, int32_t length)
{
    uint32_t hash = 0;
    if (length <= kWordBytes) {
        memcpy(&hash, key, static_cast<size_t>(length));
        return hash;
    }
    hash = readWord(key) ^ readWord(key + length - kWordBytes);
    if (length >= kLongKeyBytes)
        hash ^= readWord(key + length / 2);
    return hash;
}

static NamespaceEntry *findEntry(const NamespaceTable *table, const char *key, int32_t length)
{
    if (table == nullptr || key == nullptr || length < 1)
        return nullptr;
    const uint32_t hash = hashKey(key, length);
    for (NamespaceEntry *entry = table->sentinel->next; entry != nullptr; entry = entry->next) {
        if (entry->hash == hash && entry->keyLength == length &&
            memcmp(entry->key, key, static_cast<size_t>(length)) == 0)
            return entry;
    }
    return nullptr;
}

static char *copyText(SlabMemory *memory, const char *text, int32_t length)
{
    char *copy = static_cast<char *>(takeFromSlab(memory, static_cast<size_t>(length) + 1));
    if (copy == nullptr)
        return nullptr;
    memcpy(copy, text, static_cast<size_t>(length));
    copy[length] = '\0';
    return copy;
}

static NamespaceTable *createTable(SlabMemory *memory)
{
    struct Block {
        NamespaceTable table;
        NamespaceEntry sentinel;
    };
    Block *block = static_cast<Block *>(takeFromSlab(memory, sizeof(Block)));
    if (block == nullptr)
        return nullptr;
    *block = {};
    block->table.sentinel = &block->sentinel;
    block->table.memory = memory;
    return &block->table;
}

// Hangs a new entry into a link of the chain, whether or not the key is in the chain already.
static NamespaceEntry *insertEntry(SlabMemory *memory, NamespaceEntry **link, const char *key,
                                   int32_t keyLength, const char *value, int32_t valueLength)
{
    NamespaceEntry *entry = static_cast<NamespaceEntry *>(takeFromSlab(memory, sizeof(NamespaceEntry)));
    char *keyCopy = copyText(memory, key, keyLength);
    char *valueCopy = copyText(memory, value, valueLength);
    if (entry == nullptr || keyCopy == nullptr || valueCopy == nullptr)
        return nullptr;
    *entry = {*link, link, hashKey(key, keyLength), keyCopy, keyLength, valueCopy};
    if (*link != nullptr)
        (*link)->link = &entry->next;
    *link = entry;
    return entry;
}

NamespaceTable *ILibTableCreate()
{
    SlabMemory *memory = createSlabMemory();
    if (memory == nullptr)
        return nullptr;
    NamespaceTable *table = createTable(memory);
    if (table == nullptr) {
        freeSlabMemory(memory);
        return nullptr;
    }
    table->ownsMemory = 1;
    return table;
}

int ILibTableAdd(NamespaceTable *table, const char *key, int keyLength, const char *value, int valueLength)
{
    if (table == nullptr || key == nullptr || value == nullptr || keyLength < 1 || valueLength < 0)
        return -1;
    NamespaceEntry *entry = findEntry(table, key, keyLength);
    if (entry == nullptr) {
        entry = insertEntry(table->memory, &table->sentinel->next, key, keyLength, value, valueLength);
        return entry == nullptr ? -1 : 0;
    }
    char *copy = copyText(table->memory, value, valueLength);
    if (copy == nullptr)
        return -1;
    entry->data = copy;
    return 0;
}

int ILibTableHas(const NamespaceTable *table, const char *key, int keyLength)
{
    return findEntry(table, key, keyLength) == nullptr ? 0 : 1;
}

const char *ILibTableGet(const NamespaceTable *table, const char *key, int keyLength)
{
    const NamespaceEntry *entry = findEntry(table, key, keyLength);
    return entry == nullptr ? nullptr : entry->data;
}

void ILibTableRemove(NamespaceTable *table, const char *key, int keyLength)
{
    NamespaceEntry *entry = findEntry(table, key, keyLength);
    if (entry == nullptr)
        return;
    *entry->link = entry->next;
    if (entry->next != nullptr)
        entry->next->link = entry->link;
}

void ILibTableDestroy(NamespaceTable *table)
{
    if (table != nullptr && table->ownsMemory != 0)
        freeSlabMemory(table->memory);
}

static bool isXmlns(const char *text, int32_t length)
{
    return length == kXmlnsLength && memcmp(text, kXmlns, kXmlnsLength) == 0;
}

static bool hasEntries(const NamespaceTable *table)
{
    return table->sentinel->next != nullptr;
}

static NamespaceTable *findTableAtOrAbove(const XMLNode *node)
{
    while (node != nullptr && node->nsTable == nullptr)
        node = node->parent;
    return node == nullptr ? nullptr : node->nsTable;
}

// Stands for a table that memory did not suffice for; never written. A lookup finds nothing in it and nothing
// further out.
static NamespaceEntry lostSentinel = {};
static NamespaceTable lostTable = {&lostSentinel, nullptr, 0, 0, nullptr, nullptr};

// The nearest table with entries at or above a record, as far out as a lookup goes.
static NamespaceTable *findScope(const XMLNode *node)
{
    NamespaceTable *table = findTableAtOrAbove(node);
    return table == nullptr || hasEntries(table) ? table : table->outer;
}

namespace
{
/// What a start tag declares, as far as it has been read.
struct Declarations {
    XMLNode *node;
    NamespaceTable *outer;
    NamespaceTable *table; ///< made for the first declaration
    NamespaceEntry *last;
};
} // namespace

static void openOwnTable(Declarations &own)
{
    own.table = createTable(own.node->memory);
    if (own.table == nullptr) {
        own.table = &lostTable;
        return;
    }
    own.table->outer = own.outer;
    own.table->inScope = own.outer == nullptr ? 0 : own.outer->inScope;
    own.last = own.table->sentinel;
}

// Adds what an attribute declares, if it declares a namespace, at the end of the table. Lookups take the
// first entry of a key, so of two declarations of one prefix the earlier one holds and nothing is searched
// here.
static void addDeclaration(Declarations &own, const XMLAttribute &attribute)
{
    const char *key = kXmlns;
    int32_t keyLength = kXmlnsLength;
    if (!isXmlns(attribute.name, attribute.nameLength)) {
        if (!isXmlns(attribute.prefix, attribute.prefixLength) || attribute.nameLength < 1)
            return;
        key = attribute.name;
        keyLength = attribute.nameLength;
    }
    if (own.table == nullptr)
        openOwnTable(own);
    if (own.table == &lostTable)
        return;
    NamespaceEntry *entry = nullptr;
    if (own.table->inScope < kMostDeclarationsInScope)
        entry = insertEntry(own.table->memory, &own.last->next, key, keyLength, attribute.value,
                            attribute.valueLength);
    if (entry == nullptr) {
        // Further out the prefix may stand for something else: lookups must end here.
        own.table->outer = nullptr;
        return;
    }
    own.last = entry;
    ++own.table->inScope;
}

// The table of what a start tag declares, or null when it declares nothing.
static NamespaceTable *readDeclarations(XMLNode *node, NamespaceTable *outer)
{
    AttributeWalk walk;
    if (!openAttributeWalk(&walk, node))
        return nullptr;
    Declarations own = {node, outer, nullptr, nullptr};
    XMLAttribute attribute;
    while (readNextAttribute(&walk, &attribute))
        addDeclaration(own, attribute);
    return own.table;
}

// The one empty table of all records right below a scope that declare nothing, so that a lookup passes them
// by.
static NamespaceTable *getEmptyTable(SlabMemory *memory, NamespaceTable *scope, NamespaceTable **outermost)
{
    NamespaceTable **empty = scope == nullptr ? outermost : &scope->below;
    if (*empty == nullptr) {
        *empty = createTable(memory);
        if (*empty != nullptr)
            (*empty)->outer = scope;
    }
    return *empty;
}

void ILibXML_BuildNamespaceLookupTable(XMLNode *first)
{
    NamespaceTable *outermost = nullptr;
    for (XMLNode *node = first; node != nullptr; node = node->next) {
        if (node->isStartTag == 0 || node->nsTable != nullptr)
            continue;
        NamespaceTable *scope = findScope(node->parent);
        NamespaceTable *own = readDeclarations(node, scope);
        node->nsTable = own != nullptr ? own : getEmptyTable(node->memory, scope, &outermost);
    }
}

const char *ILibXML_LookupNamespace(const XMLNode *node, const char *prefix, int prefixLength)
{
    const bool isDefault = prefix == nullptr || prefixLength == 0;
    const char *key = isDefault ? kXmlns : prefix;
    const int32_t keyLength = isDefault ? kXmlnsLength : prefixLength;
    const NamespaceTable *table = findTableAtOrAbove(node);
    for (; table != nullptr; table = table->outer) {
        const char *uri = ILibTableGet(table, key, keyLength);
        if (uri != nullptr)
            return uri;
    }
    return "";
}
