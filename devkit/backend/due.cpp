#include "due.h"

#include <algorithm>
#include <cstdlib>
#include <ctime>

static constexpr int kFirstWait = 5;     // seconds, the lower end
static constexpr int kLastDoubling = 10; // failed sessions

Clock::duration drawRetryWait(int failures, double scale, std::mt19937 &random)
{
    const double low = kFirstWait * static_cast<double>(1 << (std::clamp(failures, 1, kLastDoubling) - 1));
    const std::chrono::duration<double> wait(std::uniform_real_distribution<double>(low, 2 * low)(random) *
                                             scale);
    return std::chrono::duration_cast<Clock::duration>(wait);
}

PeriodicRule readPeriodicRule(const std::string &enable, const std::string &interval, const std::string &time,
                              int64_t ownReference)
{
    PeriodicRule rule{enable == "1" || enable == "true", std::strtoll(interval.c_str(), nullptr, 10),
                      ownReference};
    rule.interval = std::max<int64_t>(rule.interval, 1);
    tm parts{};
    const bool isKnown = time.compare(0, 5, "0001-") != 0;
    if (isKnown && strptime(time.c_str(), "%Y-%m-%dT%H:%M:%S", &parts) != nullptr)
        rule.reference = timegm(&parts);
    return rule;
}

int64_t nextPeriodic(const PeriodicRule &rule, int64_t now)
{
    int64_t since = (now - rule.reference) % rule.interval;
    if (since < 0)
        since += rule.interval;
    return now + rule.interval - since;
}
