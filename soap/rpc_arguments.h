#pragma once

#include "parameters.h"
#include "transfers.h"

struct XMLNode;

// Turns the arguments of each RPC into a record of its own copies. Common to all readers:
//   envelope, node  start record of the envelope; node may also be the RPC element itself
//   rpcName         the method name, NUL-terminated; null gives the failure value
//   kind            the message kind of getRPCMethodName; anything but kMessageRequest (for getInformRespAttr
//                   kMessageResponse) gives the failure value
// Element names are compared as in SOAPParser.h. Texts are as received, escapes included, except where said.
// When memory runs out the result is null, never a record that lacks what the message holds. What a reader
// misses it says on standard output.

/// The arguments of SetParameterValues (TR-069 A.3.2.1): at most as many entries as the array counts, values
/// unescaped, in reverse document order.
///
/// @return freed by the caller with freeSetParamValStr; null for another rpcName, without a counted
/// ParameterList, when no entry was read, or when one lacks its Name or Value
SetParamValStr *getSetParamValAttr(XMLNode *envelope, const char *rpcName, int kind);

/// The names of GetParameterValues (TR-069 A.3.2.2).
///
/// @param count  receives the number of names; 0 when the array is unreadable or memory runs out, -1 for a
/// wrong kind or a null rpcName
/// @return freed by the caller with freeArray(names, count); "InternetGatewayDevice" alone when the message
/// has no ParameterNames; null when count is not positive
char **getParameterValues(XMLNode *node, const char *rpcName, int kind, int *count);

/// The arguments of GetParameterNames (TR-069 A.3.2.3).
///
/// @param nextLevel  receives the number that NextLevel begins with, or 1 for "true" in any case, else 0; 0
/// on failure
/// @return the path, freed by the caller with free; "InternetGatewayDevice" when the message has no
/// ParameterPath; null when NextLevel is missing
char *processGetParameterNames(XMLNode *node, const char *rpcName, int kind, int *nextLevel);

/// The entries of SetParameterAttributes (TR-069 A.3.2.4), in reverse document order.
///
/// @return freed by the caller with freeParamAttrStruct; null without ParameterList or entry, or when an
/// entry lacks an element
ParamAttrEntry *getSetParameterAttr(XMLNode *envelope, const char *rpcName, int kind);

/// The names of GetParameterAttributes (TR-069 A.3.2.5); as getParameterValues.
char **getParamAttrNames(XMLNode *node, const char *rpcName, int kind, int *count);

/// The arguments of AddObject or DeleteObject (TR-069 A.3.2.6, A.3.2.7).
///
/// @return freed by the caller with freeAddDelObjStr; null without ObjectName
AddDelObjStr *getAddDelObjectAttr(XMLNode *envelope, const char *rpcName, int kind);

/// The arguments of Download (TR-069 A.3.2.8). Without FileType or URL nothing that comes after them is read:
/// the caller checks both.
///
/// @return freed by the caller with freeDownloadStr; null when the RPC element is missing
DownloadStr *getDownloadAttrs(XMLNode *envelope, const char *rpcName, int kind);

/// The arguments of Upload (TR-069 A.4.1.5), with the rule of getDownloadAttrs.
///
/// @return freed by the caller with freeUploadStr; null when the RPC element is missing
UploadStr *getUploadAttrs(XMLNode *envelope, const char *rpcName, int kind);

/// The CommandKey of Reboot (TR-069 A.3.2.9).
///
/// @return freed by the caller with free; null when it is missing
char *getRebootParameters(XMLNode *node, const char *rpcName, int kind);

/// The MaxEnvelopes of an InformResponse (TR-069 A.3.3.1).
///
/// @param rpcName  the method name as getRPCMethodName gives it: "Inform" alone or with the rest of the
/// message behind it, up to the buffer's NUL
/// @return the number, 0 for a text without one; -1 when an element is missing
int getInformRespAttr(XMLNode *envelope, const char *rpcName, int kind);

/// The size that an array element declares (SOAP 1.1 section 5.4.2).
///
/// @param node          start record of the array element; null gives -1
/// @param expectedType  ":" and the element type, e.g. ":string"
/// @return the number in brackets, as written: it may be negative, huge or wrong; 0 without any attribute; -1
/// without an arrayType of that type and a bracketed number, or when memory runs out. Attributes that are no
/// arrayType, or of another type, are reported on standard output and in the system log
int getArraySize(XMLNode *node, const char *expectedType);

/// The strings of an array element, as many as it declares; more elements than that are left out. An
/// AccessList or ParameterNames that declares 0 counts as 1, and one whose size is unreadable is one empty
/// string.
///
/// @param arrayNode   start record of the array element
/// @param parentName  wanted name of the items' parent
/// @param itemName    name of the items; elements of another name are skipped
/// @param count       receives the number of strings; 0 with null
/// @param allowEmpty  1: an item may be empty
/// @return freed by the caller with freeArray(strings, count); null for a null argument, a declared size
/// below 1 elsewhere, fewer items than declared, an item without text, or when memory runs out
char **readStringArray(XMLNode *arrayNode, const char *parentName, const char *itemName, int *count,
                       int allowEmpty);
