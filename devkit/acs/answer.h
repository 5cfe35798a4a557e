#pragma once

// Says whether what the device sent is what had to come.

#include "message.h"
#include "session_file.h"

#include <map>

/// What the next answer has to belong to.
struct Awaited {
    std::string rpc;                ///< the request's RPC; empty when a raw envelope does not tell
    std::string id;                 ///< the ID that has to be echoed; empty when none was sent
    std::vector<std::string> words; ///< the RPC's arguments as sent
};

using Variables = std::map<std::string, std::string>;

/// Replaces $NAME and ${NAME} by the variable's value and $$ by one $.
///
/// @throws std::invalid_argument for a variable that has no value yet
std::string replaceVariables(const std::string &text, const Variables &variables);

/// True when the device's post is an answer to the request, be it the RPC's response or a Fault. The answer
/// to GetRPCMethods carries the bare name of the RPC.
bool isAnswerTo(const Message &message, const Awaited &awaited);

/// Holds an answer against its request: envelope, ID, fault, required elements, names asked for, values.
///
/// @return what is wrong, in words; empty for a good answer
std::vector<std::string> checkAnswer(const Message &message, const Awaited &awaited,
                                     const RequestLine &request, const Variables &variables);

/// Holds an Inform against what every Inform has to carry.
std::vector<std::string> checkInform(const Message &message);

/// Holds a TransferComplete against what it has to carry.
std::vector<std::string> checkTransferComplete(const Message &message);

/// Holds rows against the checks of a session file.
///
/// @param groups  rows of all of them, in order, are what is looked at
std::vector<std::string> checkValues(const std::vector<ValueCheck> &checks,
                                     const std::vector<RowGroup> &groups, const Variables &variables);
