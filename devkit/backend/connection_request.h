#pragma once

#include "clock.h"

#include <deque>
#include <poll.h>
#include <string>
#include <string_view>
#include <vector>

// Where a server asks for a session (TR-069 section 3.2.2): an HTTP GET of one URL, with Digest
// authentication (RFC 2617). One request a connection; nothing here waits.

/// A connection of somebody who asks.
struct Caller {
    int descriptor = -1;
    std::string received; ///< of the request's head
    std::string reply;    ///< not yet sent; empty while the head is not complete
    bool isAnswered = false;
    Clock::time_point deadline;
};

struct CallListener {
    int descriptor = -1;
    std::string url; ///< what a server has to ask for
    std::vector<Caller> callers;
    std::deque<std::string> nonces; ///< given out and not used yet, the oldest first
};

/// Listens.
///
/// @param address  IPV4ADDRESS:PORT; with port 0 the system picks a free one
/// @throws std::runtime_error when the address is none, or taken
CallListener openCallListener(const std::string &address);

void closeCallListener(CallListener &listener);

/// Appends what is to be polled for.
void addPolled(const CallListener &listener, std::vector<pollfd> &polled);

/// When a caller has to be let go who does not speak; Clock::time_point::max() for never.
Clock::time_point nextDeadline(const CallListener &listener);

/// Accepts, reads, answers. Who asks for anything but the URL gets 404 or 405, who does not prove to know the
/// user name and the password 401 with a new nonce; each nonce is good for one request.
///
/// @return whether a request was admitted, and answered with 200
bool serveCallers(CallListener &listener, const std::vector<pollfd> &polled, const std::string &username,
                  const std::string &password);
