#pragma once

#include "xml_node_list.h"

/// Serves one received message: applies its header, runs the method's handler and posts the answer.
///
/// @param envelopeCount  envelopes in the message; only messages of one are served
/// @param maxEnvelopes   how many answers the server takes in one post; a message of one has one answer
/// @return 0 for a message without an envelope, or when the session goes on whatever the post gave (a
/// Download); 1 for
///         a message that gets no answer; 6 when the device has to post empty to get the next request; the
///         header's status; or what sendSoapMsgBuf gave for the answer
int processMessage(XMLNode *tree, int envelopeCount, int maxEnvelopes);

/// Runs the handler of a method, or takes the server's answer to a TransferComplete.
///
/// @param name        the method's name, not terminated
/// @param nameLength  its length in bytes; names are compared over it
/// @param kind        message kind
/// @param acsId       the server's session ID; null for none
/// @param length      receives the answer's length
/// @param rebootFlag  raised when the gateway has to reboot after the session
/// @return the answer's text, freed by the caller with free; null for none
char *dispatchRequest(XMLNode *envelope, const char *name, int nameLength, int kind, const char *acsId,
                      int *length, int *rebootFlag);
