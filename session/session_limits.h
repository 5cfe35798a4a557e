#pragma once

#include <cstddef>
#include <cstdint>

// Every ceiling of this folder on what a peer or the gateway sizes.

/// Bytes of a user name or password and its NUL; a longer one is cut.
constexpr size_t kCredentialSize = 256;

/// How often an answer is posted again because the server asks for it; a server that asks for ever would
/// otherwise hold the device in one session.
constexpr int kMostRetries = 10;

/// Bytes of a parameter name; a longer one is cut.
constexpr size_t kLongestName = 232;

/// Seconds of delay from which a ScheduleInform is refused: a little over a year.
constexpr int64_t kScheduleDelayLimit = 34164001;

/// Seconds of the random start delay, from 0 to one below, so that devices started together do not all
/// connect at once.
constexpr int kStartDelaySeconds = 20;

/// Bytes read of the environment file, the NUL behind them included.
constexpr size_t kEnvironmentSize = 16000;
