#pragma once

#include <cstdint>

struct XMLNode;

/// One attribute of a start tag. Not terminated; every char pointer points into the message. The whole list
/// is freed with ILibDestructXMLAttributeList.
struct XMLAttribute {
    char *name;           ///< the name behind the prefix and its colon
    int32_t nameLength;   ///< bytes
    char *prefix;         ///< the text before the first colon; null when there is none
    int32_t prefixLength; ///< bytes; 0 without a prefix
    XMLNode *parent;      ///< the start record it was read from
    char *value;          ///< without its quotes; the name once more when the attribute has no '='
    int32_t valueLength;  ///< bytes
    XMLAttribute *next;
};

/// Reads the attributes of a start tag, last one first. Turns line ends, tabs and NULs inside the tag into
/// blanks, in the message itself; a NUL that the caller has put behind the element's name stays.
///
/// @param node  a record of a node list whose text is alive and writable; null gives null
/// @return the list, freed by the caller with ILibDestructXMLAttributeList; null when there is no attribute,
/// the record is an end record, its tag has no ">", or memory runs out
XMLAttribute *ILibGetXMLAttributes(XMLNode *node);

/// Frees an attribute list, given its head; accepts null. The message is not touched.
void ILibDestructXMLAttributeList(XMLAttribute *attribute);
