#pragma once

#include "text.h"
#include "xml_attributes.h"
#include "xml_node_list.h"

// What the readers of this folder share, and nobody else needs.

/// Outcome of reading a text or an array.
constexpr int kReadDone = 0;
constexpr int kReadMissing = 1;   ///< not in the message, or not readable there
constexpr int kReadNoMemory = -1; ///< in the message, but memory ran out

/// Whether a record's local name is the wanted one or a leading part of it. A shortened name in a message
/// matches on purpose, and the name of getRPCMethodName can be wanted as it is: it ends only with the
/// message.
///
/// @param wanted  a text that ends in a NUL, also one that goes on behind the name meant
inline bool isNamed(const XMLNode *node, const char *wanted)
{
    return safeStrncmp(node->name, wanted, static_cast<size_t>(node->nameLength)) == 0;
}

/// What to print for a text that may be null.
inline const char *textOrNull(const char *text)
{
    return text == nullptr ? "(null)" : text;
}

/// ILibGetXMLAttributes, which also tells a tag without attributes (kReadMissing) from missing memory: a
/// header entry or an array must not be taken for one that says less.
///
/// @param node        not null
/// @param attributes  receives the list, freed by the caller with ILibDestructXMLAttributeList; null unless
/// kReadDone
int readAttributes(XMLNode *node, XMLAttribute **attributes);

/// getSoapTagValue, which also tells a missing element from missing memory.
///
/// @param text  receives the copy, freed by the caller with free; null unless kReadDone
int readTagText(XMLNode *envelope, const char *tagName, const char *parentName, int depth, char **text);

/// readStringArray, which also tells an unreadable array from missing memory.
///
/// @param strings  receives the array, freed by the caller with freeArray(strings, count); null unless
/// kReadDone
int readStrings(XMLNode *arrayNode, const char *parentName, const char *itemName, int allowEmpty,
                char ***strings, int *count);
