#pragma once

#include "soap_header.h"

struct XMLNode;

// Reads a received SOAP 1.1 envelope: parse, check, envelopes, header, the RPC that the body carries, and the
// text of single elements.
//
// The message buffer ends in a NUL and belongs to the caller. The records borrow it and reading attributes
// writes blanks into it, so it stays alive, unmoved and writable until the list is given back with
// ILibDestructXMLNodeList. Every XMLNode that is returned is borrowed from that list.
//
// Elements are found by their local name; prefixes do not count. The comparison runs over the length of the
// name in the document, so that a name there that is a leading part of the wanted one matches too.

/// Makes the record list of a message, linked into a tree.
///
/// @param buffer  the message, NUL-terminated behind length
/// @param length  bytes of the message, at least 1
/// @return the first record, freed by the caller with ILibDestructXMLNodeList; null for a null buffer or a
/// length below 1, when there is no tag at all, or when the tags do not nest
XMLNode *parseSOAPMessage(char *buffer, int length);

/// Checks the nesting, the namespaces, the tags and the number of envelopes; builds the namespace tables.
///
/// @param first         first record of a parsed list, or null
/// @param maxEnvelopes  how many envelopes are accepted; 0 does not count them
/// @return 0 when valid; 1 for a negative maxEnvelopes, a null list, an undeclared prefix, an element without
/// end tag, or an end tag whose prefix differs; 2 for more envelopes than maxEnvelopes; -1, -2, -3 as
/// ILibProcessXMLNodeList
int validateSOAPMessage(XMLNode *first, int maxEnvelopes);

/// The number of envelopes in a list; 0 for null.
int getNoOfEnvelopes(const XMLNode *first);

/// The n-th envelope, counted from 1.
///
/// @return its start record, or null when there are fewer
XMLNode *getEnvelope(XMLNode *first, int n);

/// The first element of a name inside another one, at any depth, in document order.
///
/// @param envelope  start record of the element to search in: an envelope or any other; null gives null
/// @param tagName   the wanted name; null, "" or any leading part of "Envelope" gives envelope itself
/// @return the start record, or null when the element ends first
XMLNode *getSoapNode(XMLNode *envelope, const char *tagName);

/// Whether the envelope goes without header entries.
///
/// @return 0 when it has a Header that is not an empty-element tag; 1 when it has none or such a tag
int isHeader(XMLNode *envelope);

/// Copies the header's elements. Each gives two entries, one for its start tag and one for its end tag (whose
/// mustUnderstand is 0), and the list is in reverse document order.
///
/// @return the list, freed by the caller with freeSoapHdr; null without a Header, when the Header holds no
/// element, does not end, takes far more scanning and copying than its size, or when memory runs out
SoapHeaderEntry *processSoapHeader(XMLNode *envelope);

/// The text of an element, in place.
///
/// @param node        a start record; null or an end record gives null
/// @param length      receives the bytes of the text; 0 with null. An empty text is "" with length 1, the NUL
/// @param allowEmpty  1: an element whose end tag follows at once has the text ""; otherwise it has none
/// @return borrowed, not terminated: leading blanks included, up to the next "<"; a static "" for an
/// empty-element tag; null when there is no text, or only blanks
const char *getTagValue(const XMLNode *node, int *length, int allowEmpty);

/// The RPC method that the body carries.
///
/// @param nameLength  receives the bytes of the name; "Response" and what follows it is left off, so it may
/// be 0 with a name. 0 when there is none
/// @param kind        receives kMessageRequest, kMessageResponse (a name with "Response" in it),
/// kMessageFault (the SOAP Fault) or kMessageNone (there is none)
/// @return borrowed, not terminated: the element's local name in the buffer; null when there is none
const char *getRPCMethodName(XMLNode *envelope, int *nameLength, int *kind);

/// The first element of a name, when its ancestor has the right name. Says on standard output what it misses.
///
/// @param envelope    start record of the element to search in
/// @param parentName  wanted name of the ancestor; null accepts the element only with a depth of 0
/// @param depth       how many levels up the ancestor is; 1 is the parent
/// @return the start record; null for a null envelope or tagName, when there is no such element, or when the
/// first of them has another ancestor
XMLNode *getTagSoapNode(XMLNode *envelope, const char *tagName, const char *parentName, int depth);

/// A copy of the text of an element that getTagSoapNode finds with the same arguments.
///
/// @return NUL-terminated, freed by the caller with free; "" when the element has no text; null when it is
/// not found or memory runs out
char *getSoapTagValue(XMLNode *envelope, const char *tagName, const char *parentName, int depth);
