#pragma once

#include <cstdint>

// A message as a flat list of tag records over its own text, and the links that make a tree of it. Text
// content is never copied and has no record: a reader reaches it between a start record and the record after
// it.
//
// Order of calls: ILibParseXML, ILibProcessXMLNodeList (give up on a non-zero result),
// ILibXML_BuildNamespaceLookupTable, then lookups and attributes, and ILibDestructXMLNodeList while the text
// is still there.

struct NamespaceTable;
struct SlabMemory;

/// One tag: a start tag, an end tag, or the end that is made up for an empty-element tag and follows its
/// start record directly. Names are not terminated; every char pointer points into the text given to
/// ILibParseXML. All records of a list die together in ILibDestructXMLNodeList.
struct XMLNode {
    char *name;           ///< the local name, behind the prefix and its colon
    int32_t nameLength;   ///< bytes; at least 1
    char *prefix;         ///< the text before the first colon; null when there is none
    int32_t prefixLength; ///< bytes; 0 without a prefix
    int32_t isStartTag;   ///< -1 for a start tag and for every other tag that does not begin with "/", else 0
    int32_t isEmptyTag;   ///< -1 on the record of a tag that closes itself, else 0 (0 on its made-up end)
    char *textPos;        ///< start record: behind the last ">" before the next "<" (behind the tag, when the
                          ///< text holds none), or the tag's first byte when there is no ">"; end record: its
                          ///< "/"; made-up end record: as on its start record
    NamespaceTable *nsTable; ///< start records, from ILibXML_BuildNamespaceLookupTable on; null on records
                             ///< that it did not reach, and for want of memory where nothing is declared
    XMLNode *next;           ///< in document order; null at the end
    XMLNode *parent;         ///< start records: the enclosing start record; null at the root
    XMLNode *peer;           ///< start records: the start record right behind the own end; null without one
    XMLNode *closingTag;     ///< start records: the matching end record
    XMLNode *startingTag;    ///< end records: the matching start record

    // The toolkit's own.
    SlabMemory *memory; ///< what the whole list is made of
    int32_t hasBlanks;  ///< whether the tag may hold a blank (also a tab, line end or NUL), as parsed
};

/// Turns a text into tag records. Reads nothing outside the given range and writes nothing; malformed text
/// never fails: a tag without a name has no record, everything else has one. A "<" always begins a tag, also
/// inside a comment, a character-data section or an attribute value; a "!" tag is a start record whose name
/// begins with "!"; "?" tags have no record.
///
/// @param buffer  the text; must stay alive and in place as long as the list does
/// @param offset  bytes to skip at its beginning
/// @param length  bytes to read from there on; need not be terminated
/// @return the first record, freed with ILibDestructXMLNodeList; null when there is no record or memory runs
/// out
XMLNode *ILibParseXML(char *buffer, int offset, int length);

/// Links the records into a tree: parent, peer, closingTag, startingTag. Prefixes are not compared. Where a
/// "!" record stands inside an element, that element's next goes on behind it, so that the element's earlier
/// children leave the chain with it; they stay allocated, since peers may still point at them. Running it
/// again changes nothing.
///
/// @param first  what ILibParseXML returned; null gives 0
/// @return 0; -1 for an end tag with no element open; -2 for an end tag whose name is not that of the element
/// it ends; -3, in place of these two as well, when elements are left open
int ILibProcessXMLNodeList(XMLNode *first);

/// Frees every record that ILibParseXML made, also those that left the chain, and their namespace tables. The
/// text is not touched. Accepts null.
///
/// @param first  what ILibParseXML returned
void ILibDestructXMLNodeList(XMLNode *first);
