#pragma once

#include "connection_request.h"
#include "diagnostics.h"
#include "due.h"
#include "transfers.h"

// The gateway's platform: it starts the executable whenever something is due, one run at a time.
//
// A session is due while events are pending: at once when one of them is new since the last attempt, after a
// wait when they are left over from a failed one. Between sessions come the transfers that are due and the
// tests that are asked for. A session has delivered its events when the server took them, however the
// executable ends.

struct PlatformOptions {
    Workplace workplace;
    std::string bus;             ///< absolute path, for the executable to find
    double retryScale = 1;       ///< of the waits after failed sessions
    double bootSeconds = 5;      ///< how long a reboot takes
    double sessionLimit = 300;   ///< seconds a session may take
    double transferLimit = 3600; ///< seconds a transfer or a test may take
};

enum class Errand { none, session, transfer, test };

struct Platform {
    Gateway &gateway;
    PlatformOptions options;
    CallListener listener;

    Errand errand = Errand::none; ///< what the child runs for
    Child child{};
    std::optional<int> ended{};            ///< its wait status, until it is judged
    TransferRow transfer{};                ///< of a transfer
    const DiagnosticsTest *test = nullptr; ///< of a test
    std::string startTime{};               ///< of a transfer
    uint64_t deliveriesBefore = 0;         ///< the session has delivered when there are more

    int failures = 0;                ///< sessions in a row that did not deliver
    int64_t attemptedEvent = 0;      ///< the newest event when the last session began
    Clock::time_point retry{};       ///< the next attempt with nothing new
    Clock::time_point nextSession{}; ///< the earliest, so that they keep apart
    Clock::time_point awake{};       ///< the gateway boots until then

    int64_t started = 0;             ///< seconds since the epoch
    std::string periodicRule{};      ///< the three parameters as last looked at
    int64_t periodicDue = INT64_MAX; ///< seconds since the epoch
    std::mt19937 random{std::random_device{}()};
};

/// Makes the folder and tells the executable's environment where the bus is. The gateway's schedules are kept
/// to their time from now on.
///
/// @throws std::runtime_error when the folder cannot be made or the executable cannot be run
void startPlatform(Platform &platform);

/// Does what is due. To be called after each wait.
///
/// @param polled      with what poll said
/// @param isBusQuiet  nothing was ready on the bus: what an ended run has said there has been served
void tendPlatform(Platform &platform, const std::vector<pollfd> &polled, bool isBusQuiet);

/// How long to wait at most, in milliseconds.
int nextWait(const Platform &platform);

/// Ends a running child and stops listening.
void stopPlatform(Platform &platform);
