#pragma once

// Writes the server's envelopes.

#include <string>
#include <vector>

/// A text in which & < > " are safe inside an element or an attribute.
std::string escapeXml(const std::string &text);

/// The envelope of one request.
///
/// @param rpc    name of the RPC
/// @param words  its arguments in the session file's short form, variables already replaced
/// @param id     goes into the header and has to come back with the answer
/// @throws std::invalid_argument for an unknown RPC or for arguments that its short form does not have
std::string buildRequest(const std::string &rpc, const std::vector<std::string> &words,
                         const std::string &id);

/// The answer to the device's Inform, MaxEnvelopes 1, under the Inform's ID.
std::string buildInformResponse(const std::string &id);

/// The answer to the device's TransferComplete, under its ID.
std::string buildTransferCompleteResponse(const std::string &id);
