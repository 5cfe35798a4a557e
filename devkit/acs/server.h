#pragma once

// Brings the desk onto a TCP port.

#include "desk.h"

struct ServerOptions {
    std::string address;  ///< numeric or a name, to listen on
    int port;             ///< 0 takes a free one
    std::string portFile; ///< where the port's number is written; empty: nowhere
    bool chunked;         ///< answers go out in chunked coding, in pieces of several sizes
    int timeout;          ///< seconds without a word from a device after which the desk closes
};

/// Serves until the desk is done, the time runs out, or SIGINT or SIGTERM comes, and prints the verdict.
///
/// A device that has not hung up by then still has its thread: the process then ends here, with the verdict's
/// status.
///
/// @return true for a healthy run
/// @throws std::runtime_error when the address cannot be listened on or the port file cannot be written
bool serveDesk(Desk &desk, const ServerOptions &options);
