#pragma once

#include "clock.h"

#include <cstdint>
#include <random>
#include <string>

// When the gateway has to speak up: the arithmetic of waits, without a clock of its own.

/// The wait after a number of failed sessions in a row, from 1 (TR-069, table of session retry wait
/// intervals): drawn from 5 to 10 s after the first, from twice as much after each further one, and from 2560
/// to 5120 s after the tenth and all that follow.
///
/// @param scale  every wait is multiplied by it
Clock::duration drawRetryWait(int failures, double scale, std::mt19937 &random);

/// What the parameters say about periodic sessions.
struct PeriodicRule {
    bool isEnabled;
    int64_t interval;  ///< seconds, 1 or more
    int64_t reference; ///< seconds since the epoch: sessions fall on it plus or minus whole intervals
};

/// Reads the three parameters. A time of the year 1, which stands for none, gives the reference
/// `ownReference` instead, and so does one that cannot be read.
PeriodicRule readPeriodicRule(const std::string &enable, const std::string &interval, const std::string &time,
                              int64_t ownReference);

/// The first periodic session after that time; both in seconds since the epoch.
int64_t nextPeriodic(const PeriodicRule &rule, int64_t now);
