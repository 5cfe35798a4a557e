#pragma once

#include "clock.h"

#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

// One run of the executable. Nothing here waits for it, except stopChild.

struct Command {
    std::vector<std::string> words; ///< the program's absolute path first
    std::string folder;             ///< it is run there
    std::string output;             ///< file that what it prints is appended to
};

struct Child {
    pid_t process = -1;         ///< -1: none is running
    Clock::time_point deadline; ///< when something has to be done about it
    bool isLate = false;        ///< it did not end in time and was told to
};

/// Starts a program with no signal blocked. It is told to end when this process dies.
///
/// @param limit  how long it may take
/// @return one that runs, or one with process -1 when there can be no more processes
Child startChild(const Command &command, Clock::duration limit);

/// Tells a child that is over its limit to end, first by SIGTERM, then by SIGKILL.
///
/// @return the wait status of one that has ended, and which is gone then
std::optional<int> pollChild(Child &child);

/// Ends the child, if there is one, and waits for that: two seconds, then it is killed.
void stopChild(Child &child);

/// "exit status 1", "signal 9".
std::string describeStatus(int status);

/// Whether a wait status is that of a program that ended with 0.
bool isSuccess(int status);
