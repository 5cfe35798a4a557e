#pragma once

#include <cstddef>

#include "faults.h"
#include "inform.h"
#include "message_writer.h"
#include "parameters.h"
#include "soap_header.h"
#include "transfers.h"

// Every SOAP message that the device sends (TR-069 amendment 1 section 3.5 and annex A), on one line.
//
// Every construct_* function takes the session's header list (borrowed; null for no SOAP header) and stores
// the message's length, NUL not counted, in length. It makes one allocation, and returns the NUL-terminated
// message, which the caller frees with free. It returns null and stores 0 when a header entry has no name or
// value, when memory runs out, when the two passes over the record disagree, and for the causes named at the
// function. Texts from the records are written as they are. Parameter values come escaped; nothing else is,
// so a "<" in a key, a name or a fault string goes out raw.

/// An Inform request.
///
/// @return null also when the record, its identity or one of the four identity strings, its parameter list or
/// a text in it is null, when no event is pending or one lacks its code or key, and for a negative
/// MaxEnvelopes or RetryCount
char *construct_InformMessage(const InformRecord *inform, const SoapHeaderEntry *header, int *length);

/// A SetParameterValuesResponse; a status other than 0 is written as 1.
char *construct_SetParamValueRespose(int status, const SoapHeaderEntry *header, int *length);

/// A GetParameterValuesResponse.
///
/// @param values  null gives an empty list
/// @param count   not used: the names asked for may be partial paths, so the list's own length is written
/// @return null also for a record without name, value or type
char *construct_GetParamValueRespose(const ParameterValueRecord *values, const SoapHeaderEntry *header,
                                     int *length, int count);

/// A GetParameterNamesResponse.
///
/// @param names  null gives an empty list
/// @return null also for a record without a name or with a negative flag
char *construct_GetParamNamesValueRespose(const ParameterNameRecord *names, const SoapHeaderEntry *header,
                                          int *length);

/// A GetParameterAttributesResponse: the records before the first one that is an object (its name ends in
/// "."), has no name or has a negative notification.
///
/// @return null also for a null list, a null access list entry and a negative number of them
char *construct_GetParamNamesAttrRespose(const ParameterAttributeRecord *attributes,
                                         const SoapHeaderEntry *header, int *length);

/// An AddObjectResponse or a DeleteObjectResponse.
///
/// @param methodName      as the server wrote it: "AddObject", "DeleteObject" or the beginning of one
/// @param instanceNumber  written for AddObject when above 0
/// @param status          other than 0 is written as 1
/// @return null also for a null name
char *construct_AddDelObjectRespose(const char *methodName, int instanceNumber, int status,
                                    const SoapHeaderEntry *header, int *length);

/// A DownloadResponse.
///
/// @param status        other than 0 is written as 1
/// @param startTime     left out when null or ""
/// @param completeTime  likewise
char *construct_DownloadRespose(int status, const char *startTime, const char *completeTime,
                                const SoapHeaderEntry *header, int *length);

/// An UploadResponse, as construct_DownloadRespose.
char *construct_UploadRespose(int status, const char *startTime, const char *completeTime,
                              const SoapHeaderEntry *header, int *length);

/// The response of a method that has no result.
///
/// @param methodName  without "Response"; null gives null
char *construct_EmptySoapMessage(const char *methodName, const SoapHeaderEntry *header, int *length);

/// A TransferComplete request.
///
/// @param record      a null fault list counts as code 0; of a longer list the first entry is written
/// @param methodName  the method's name; null gives null
/// @return null also when the record, its command key or one of its times is null
char *construct_TrasferCompleteSoapMessage(const TransferCompleteRecord *record, const char *methodName,
                                           const SoapHeaderEntry *header, int *length);

/// The answer to GetRPCMethods. Its tag is "GetRPCMethods" without "Response": a known oddity of this
/// device's interface, kept.
///
/// @param methodName  not used
/// @param fault       receives 0, or kFaultInternalError when memory ran out
char *construct_GetRPCMethodSoapMessage(const char *methodName, const SoapHeaderEntry *header, int *length,
                                        int *fault);

/// A Fault. What is null in the record is left out: without code or string the Fault is empty, without detail
/// it has none, a detail without a positive code and a string is empty, a parameter fault without them has
/// only its name. Prints "[construct_FaultResponse]" on standard output when it comes to write the Fault's
/// body.
///
/// @return null also for a null record and for a parameter fault without a name
char *construct_FaultResponse(const FaultStr *fault, const SoapHeaderEntry *header, int *length);

/// How many bytes construct_FaultResponse writes between the Fault tags; 0 when there are none, for a null
/// record and for one that cannot be written.
int getFaultMsgLen(const FaultStr *fault);

/// The envelope up to and including the method's start tag; see writeEnvelopeOpen.
///
/// @param length  receives the length, NUL not counted; 0 on failure
/// @return a heap text, freed by the caller with free; null, with a line on standard output, for an
/// incomplete header entry or when memory runs out
char *fillMsgSoapHdr(const char *methodName, const SoapHeaderEntry *header, int *length, int responseFlag);

/// The envelope from the method's end tag on; see writeEnvelopeClose.
///
/// @param length  receives the length, NUL not counted; 0 on failure
/// @return a heap text, freed by the caller with free; null when memory runs out
char *fillMsgSoapClosing(const char *methodName, int *length, int responseFlag);

/// A rough measure of a header entry, its texts and 50 bytes; 0 when one is null. Names longer than 7 bytes
/// can take more: for a buffer's size, count with a MessageWriter.
size_t sizeHeaderEntry(const char *name, const char *value);

/// Appends a ParameterList of values.
///
/// @param list   null gives the empty list, which names another struct: "cwmp:ParameterInfoStruct[0]"
/// @param count  the records in list; not used when it is null
/// @return how many bytes were appended; 0 for a count below 1 and, with a line on standard output that names
/// the parameter where there is a name, for a record with a null text. The text is then of no use
size_t getConstructParamStr(MessageWriter &writer, const ParameterValueRecord *list, int count);
