#pragma once

// HTTP authentication of the devices (RFC 2617).

#include <deque>
#include <string>

enum class Scheme { none, basic, digest };

/// What a device has to prove, and the challenges given out.
struct Guard {
    Scheme scheme;
    std::string user;
    std::string password;
    std::deque<std::string> nonces; ///< given out and still taken, the oldest first
};

/// A value of WWW-Authenticate; for Digest with a new nonce, which is kept in the guard. It carries realm,
/// nonce, qop, algorithm and opaque and nothing else: a device may fall back to Basic at any further key.
std::string makeChallenge(Guard &guard);

/// Examines an Authorization value.
///
/// @param method  of the HTTP request
/// @param target  the request's path, which a Digest answer has to cover
/// @return why the device is refused; empty when it is let in. A Digest answer may be used again with the
/// same count,
///         because a device need not count
std::string findRefusal(const Guard &guard, const std::string &method, const std::string &target,
                        const std::string &authorization);

/// That many random bytes in hexadecimal.
std::string makeToken(size_t bytes);
