#pragma once

// Prints the talk for a person: one line a message, its rows in columns below it. "-->" comes from the
// device, "<--" goes to it.

#include "message.h"

struct Transcript {
    bool colours;    ///< for a terminal only
    bool raw;        ///< print the envelopes themselves as well
    size_t mostRows; ///< rows shown of one array; 0 shows all
};

/// One message's line.
struct Headline {
    double seconds; ///< since the session began
    bool fromDevice;
    std::string what;   ///< RPC or fault
    std::string status; ///< the HTTP method or status
    size_t bytes;       ///< of the body
    std::string note;   ///< what else is to be said, may be empty
    bool alarming;      ///< a fault or a refusal
};

/// The line that opens a session, above the names of its columns.
void printTitle(const Transcript &transcript, const std::string &title);

void printHeadline(const Transcript &transcript, const Headline &headline);

/// What a message holds, and with raw the message itself.
void printContents(const Transcript &transcript, const Message &message, const std::string &envelope);

/// A request's arguments, one a line, and with raw the request itself.
void printArguments(const Transcript &transcript, const std::vector<std::string> &words,
                    const std::string &envelope);

/// One thing that is wrong.
void printProblem(const Transcript &transcript, const std::string &problem);

/// A line of the server about itself; the verdict is the last of them.
///
/// @param healthy  paints the line in a terminal: green, else red
void printVerdict(const Transcript &transcript, bool healthy, const std::string &verdict);

/// "Fault 9005, Invalid parameter name", or the method's name.
std::string nameMessage(const Message &message);
