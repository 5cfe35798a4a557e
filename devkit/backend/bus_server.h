#pragma once

#include <functional>
#include <optional>
#include <poll.h>
#include <string>
#include <string_view>
#include <vector>

// The bus's end of a Unix stream socket: each message follows its length, a u32 in network byte order. The
// server never waits; a loop of the caller's polls its descriptors together with others.

struct Connection {
    int descriptor = -1;
    std::string received; ///< not yet served: at most one unfinished message
    std::string replies;  ///< not yet sent, from `sent` on
    size_t sent = 0;
    bool hasBegun = false; ///< it sent a message
    bool isDeaf = false;   ///< it takes no more replies; what it sent before is served all the same
};

/// What the server tells of. A session begins with a connection's first message and ends when the connection
/// closes, or when another one's begins.
struct BusHandlers {
    std::function<void()> endSession;
    std::function<std::optional<std::string>(std::string_view message)>
        serve; ///< returns the reply, if one is due
};

struct BusServer {
    std::string path;
    BusHandlers handlers;
    int listener = -1;
    int sessionOf = -1; ///< the descriptor whose session it is; -1 when there is none
    std::vector<Connection> connections;
};

/// Binds the socket, in the place of one that a dead process left. Throws std::runtime_error when that fails
/// or another process serves there.
BusServer openBus(const std::string &path, BusHandlers handlers);

/// Closes every connection and removes the socket.
void closeBus(BusServer &bus);

/// Appends what is to be polled for.
void addPolled(const BusServer &bus, std::vector<pollfd> &polled);

/// Accepts, receives, serves and sends what poll said is ready. Other descriptors in the list are passed
/// over.
void serveReady(BusServer &bus, const std::vector<pollfd> &polled);
