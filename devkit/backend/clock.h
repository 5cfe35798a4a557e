#pragma once

#include <chrono>

// The clock of waits and limits. What the store keeps is in seconds since the epoch instead, since it has to
// outlive the process.

using Clock = std::chrono::steady_clock;
