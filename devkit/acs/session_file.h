#pragma once

// The session file: what the desk server says to a device, a line each.
//
//   file      = section { separator section }
//   separator = "---" | "session" [ EVENT { "," EVENT } ]
//   section   = { check } { request { fault | check } }
//   request   = ( RPC { word } | "@" FILE ) [ fault ]
//   fault     = "!" ( CODE | "close" )
//   check     = "=" VALUE | "=" NAME FIELD { FIELD }
//   word      = bare text, "quoted text" or both joined, as in NAME="some text"; \" and \\ inside quotes
//
//   GetRPCMethods
//   GetParameterValues      NAME...
//   SetParameterValues      NAME[:TYPE]=VALUE... [key=KEY]          TYPE as in xsd, string when not given
//   GetParameterNames       PATH NEXTLEVEL                          PATH "" asks for the root
//   GetParameterAttributes  NAME...
//   SetParameterAttributes  { NAME [notification=N] [access=WHO,WHO...] }
//   AddObject               PATH [key=KEY] [as=VARIABLE]            the instance number goes to $VARIABLE,
//   else to $i DeleteObject            PATH [key=KEY] Reboot                  [KEY] FactoryReset
//   ScheduleInform          SECONDS KEY
//   Download                [key=] [type=] [url=] [user=] [password=] [size=] [target=] [delay=] [success=]
//   [failure=] Upload                  [key=] [type=] [url=] [user=] [password=] [delay=]
//   @FILE                   an envelope sent byte for byte; FILE is looked for beside the session file
//
// A request without a fault has to be answered; "! 9005" wants that fault, "! close" wants the device to hang
// up without an answer and so ends its section. Checks belong to the request above them, those at the head of
// a section to the Inform and the TransferComplete. The k-th "= VALUE" wants VALUE in the k-th row of the
// answer; "= NAME FIELD..." wants a row of that name whose fields begin so; a FIELD of * fits anything. Rows
// are: a parameter with its value; with its writable flag; with its notification and its access list joined
// by commas; a parameter of a fault with code and text; an event with its command key; and any single element
// (Status, InstanceNumber, FaultCode).
//
// A section that names events waits for a session whose Inform carries them all; sessions before that are let
// go with nothing asked. $VARIABLE and ${VARIABLE} stand for their value in words and fields, $$ for one $. A
// word that begins with # starts a comment.

#include <stdexcept>
#include <string>
#include <vector>

/// One "=" line.
struct ValueCheck {
    int line;                       ///< in the session file, from 1
    std::vector<std::string> words; ///< VALUE alone, or NAME and its fields; at least one
};

/// One request of the server, with what is expected of the device.
struct RequestLine {
    int line;                       ///< in the session file, from 1
    std::string rpc;                ///< the RPC's name; for a raw envelope "@FILE" as written
    std::vector<std::string> words; ///< what follows the name, without the fault
    std::string envelope;           ///< a raw envelope's bytes, else empty
    int expectedFault;              ///< a fault code, or 0 when an answer is expected
    bool expectsHangUp;             ///< the device is expected to close the connection
    std::vector<ValueCheck> checks;
};

/// What is played in one session of the device.
struct Section {
    std::vector<std::string> events; ///< event codes to wait for; empty: any session will do
    std::vector<ValueCheck> opening; ///< checks of the Inform and the TransferComplete
    std::vector<RequestLine> requests;
};

struct SessionFile {
    std::string path;
    std::vector<Section> sections; ///< at least one, which may be empty
};

/// What is wrong with a session file, as "path:line: reason".
struct SessionFileError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Reads a session file, raw envelopes included. The arguments of each RPC are looked at later, when its
/// envelope is built.
///
/// @throws SessionFileError for a file that cannot be read or a line outside the grammar
SessionFile readSessionFile(const std::string &path);

/// Splits a line into words, quotes taken away and the comment left out.
///
/// @throws std::invalid_argument for a quote that is not closed
std::vector<std::string> splitWords(const std::string &line);
