#pragma once

#include <cstdint>

struct SlabMemory;
struct XMLNode;

/// Declarations that are in scope at one record, at most. A lookup may pass by every one of them, and a
/// message has a lookup for each prefixed tag and attribute: without a ceiling the time grows with the square
/// of the message. One more counts as not declared.
constexpr int32_t kMostDeclarationsInScope = 1024;

/// One entry of a namespace table. Key and data are the table's own copies, terminated.
struct NamespaceEntry {
    NamespaceEntry *next;
    NamespaceEntry **link; ///< the next field that points at this entry
    uint32_t hash;         ///< of the key
    char *key;
    int32_t keyLength; ///< bytes
    char *data;
};

/// A chain of entries, found by key. The tables of a node list belong to it, and records without declarations
/// of their own may share one; only a table made by ILibTableCreate is the caller's to change and to destroy.
struct NamespaceTable {
    NamespaceEntry *sentinel; ///< a cleared entry before the first one
    SlabMemory *memory;       ///< what entries and copies are made of
    int32_t ownsMemory;       ///< whether the memory dies with the table
    int32_t inScope;          ///< in a node list: declarations here and further out
    NamespaceTable *outer;    ///< in a node list: the nearest table further out that has entries; null
                              ///< when a declaration was left out
    NamespaceTable *below;    ///< in a node list: the table of the records below that declare nothing
};

/// Makes an empty table.
///
/// @return destroyed by the caller with ILibTableDestroy; null when memory runs out
NamespaceTable *ILibTableCreate();

/// Puts a copy of the value under a copy of the key. A key that is there already gets the new value; the old
/// copy stays readable until the table dies.
///
/// @param keyLength    bytes of the key; below 1 nothing is added, since an empty key is never found
/// @param valueLength  bytes of the value, 0 or more
/// @return 0; -1 when memory runs out, the key is empty or an argument is null, and then nothing has changed
int ILibTableAdd(NamespaceTable *table, const char *key, int keyLength, const char *value, int valueLength);

/// Whether the table has the key: 1 or 0; 0 for a null table.
int ILibTableHas(const NamespaceTable *table, const char *key, int keyLength);

/// The value under the key, terminated; borrowed: valid until the table dies. Null when there is none.
const char *ILibTableGet(const NamespaceTable *table, const char *key, int keyLength);

/// Takes the key out of the table; does nothing when it is not there.
void ILibTableRemove(NamespaceTable *table, const char *key, int keyLength);

/// Frees a table made by ILibTableCreate with all it holds. Accepts null; a node list's table is left alone,
/// since it dies with its list.
void ILibTableDestroy(NamespaceTable *table);

/// Gives every start record of the chain the table of the namespaces that it declares itself, empty for most.
/// Run it after ILibProcessXMLNodeList, whose parents it follows; running it again adds nothing. Attributes
/// are read as ILibGetXMLAttributes reads them, blanks in place of line ends included. A declaration past
/// kMostDeclarationsInScope, or one that memory does not suffice for, is left out: at that record and inside
/// it no lookup sees what is declared further out, since it might be what the declaration replaces.
///
/// @param first  what ILibParseXML returned; null does nothing
void ILibXML_BuildNamespaceLookupTable(XMLNode *first);

/// The namespace URI that a prefix stands for at a record: what the record itself declares, or the nearest
/// record around it.
///
/// @param prefix        not necessarily terminated; null counts as no prefix
/// @param prefixLength  bytes; 0 asks for the default namespace
/// @return terminated; borrowed: valid until the node list is destroyed. "" when nothing declares it,
/// or when a declaration was left out on the way
const char *ILibXML_LookupNamespace(const XMLNode *node, const char *prefix, int prefixLength);
