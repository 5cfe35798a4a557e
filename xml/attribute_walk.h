#pragma once

// Attribute by attribute through the text of a start tag, without allocations.

struct XMLAttribute;
struct XMLNode;

/// How far the walk has come.
struct AttributeWalk {
    XMLNode *node;
    char *at;         ///< where the next piece begins
    char *end;        ///< of the tag's text, the closing ">" or "/>" left out
    char *terminator; ///< the NUL that a caller had put behind the element's name, now a blank; or null
};

/// Opens the walk at a start tag and turns its line ends, tabs and NULs into blanks. Go on to the end: only
/// there does a NUL behind the element's name come back.
///
/// @return false when the record can have no attributes; the message is not touched then
bool openAttributeWalk(AttributeWalk *walk, XMLNode *node);

/// Reads the next attribute, in the order of the tag; next is set to null.
///
/// @return false at the end of the tag, and then the attribute has no value
bool readNextAttribute(AttributeWalk *walk, XMLAttribute *attribute);
