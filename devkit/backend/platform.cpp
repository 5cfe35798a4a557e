#include "platform.h"

#include "log.h"

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sys/wait.h>
#include <unistd.h>

static constexpr const char *kServerStatus = "/var/tmp/acsstatus"; // the executable's word on the server
static constexpr auto kBetweenSessions = std::chrono::seconds(1);
static constexpr std::string_view kServer = "InternetGatewayDevice.ManagementServer.";

static Clock::duration seconds(double count)
{
    return std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(count));
}

static std::string serverValue(const Gateway &gateway, const char *name)
{
    return committedValue(gateway, std::string(kServer) + name);
}

void startPlatform(Platform &platform)
{
    const Workplace &place = platform.options.workplace;
    if (access(place.executable.c_str(), X_OK) != 0)
        throw std::runtime_error("cannot run " + place.executable);
    std::filesystem::create_directories(place.folder);
    setenv("GATEWAY_BUS", platform.options.bus.c_str(), 1);
    const char *journal = getenv("GATEWAY_JOURNAL");
    if (journal != nullptr && journal[0] != '\0')
        setenv("GATEWAY_JOURNAL", std::filesystem::absolute(journal).c_str(), 1);
    platform.started = time(nullptr);
    platform.gateway.keepsTime = true;
}

static int64_t newestEvent(const Platform &platform)
{
    const std::vector<EventRow> events = listEvents(platform.gateway.store);
    return events.empty() ? 0 : events.back().id;
}

// Events that arise by themselves.

static void raisePeriodic(Platform &platform, int64_t now)
{
    Gateway &gateway = platform.gateway;
    const std::string enable = serverValue(gateway, "PeriodicInformEnable");
    const std::string interval = serverValue(gateway, "PeriodicInformInterval");
    const std::string time = serverValue(gateway, "PeriodicInformTime");
    const PeriodicRule rule = readPeriodicRule(enable, interval, time, platform.started);
    const std::string texts = enable + ' ' + interval + ' ' + time;
    if (texts == platform.periodicRule && now < platform.periodicDue)
        return;
    if (texts == platform.periodicRule)
        addEvent(gateway.store, "2 PERIODIC", "");
    platform.periodicRule = texts;
    platform.periodicDue = rule.isEnabled ? nextPeriodic(rule, now) : INT64_MAX;
}

static void raiseDueEvents(Platform &platform)
{
    const int64_t now = time(nullptr);
    if (earliestSchedule(platform.gateway.store).value_or(INT64_MAX) <= now)
        raiseDueSchedules(platform.gateway, now);
    raisePeriodic(platform, now);
}

static void serveCallers(Platform &platform, const std::vector<pollfd> &polled)
{
    const Gateway &gateway = platform.gateway;
    if (!serveCallers(platform.listener, polled, serverValue(gateway, "ConnectionRequestUsername"),
                      serverValue(gateway, "ConnectionRequestPassword")))
        return;
    writeLog("connection request admitted");
    addEvent(platform.gateway.store, "6 CONNECTION REQUEST", "");
}

// Sessions.

static Clock::time_point sessionDue(const Platform &platform)
{
    const int64_t newest = newestEvent(platform);
    if (newest == 0)
        return Clock::time_point::max();
    return newest > platform.attemptedEvent ? platform.nextSession
                                            : std::max(platform.retry, platform.nextSession);
}

static void startErrand(Platform &platform, Errand errand, const Command &command, double limit)
{
    platform.errand = errand;
    platform.child = startChild(command, seconds(limit));
    if (platform.child.process < 0)
        platform.ended = W_EXITCODE(127, 0); // as one that could not become the executable
}

static void startSession(Platform &platform)
{
    const Workplace &place = platform.options.workplace;
    std::error_code ignored;
    std::filesystem::remove(kServerStatus, ignored);
    platform.deliveriesBefore = platform.gateway.deliveries;
    platform.attemptedEvent = newestEvent(platform);
    platform.nextSession = Clock::now() + kBetweenSessions;
    const std::string count = std::to_string(platform.failures);
    writeLog("session begins, retry count " + count);
    startErrand(platform, Errand::session,
                {{place.executable, "-n", count}, place.folder, place.folder + "/output"},
                platform.options.sessionLimit);
}

static std::string describeSession(const Platform &platform)
{
    std::string word;
    std::ifstream(kServerStatus) >> word;
    return describeStatus(*platform.ended) + (platform.child.isLate ? ", told to end" : "") +
           (word == "ACS=0" ? ", server not reached" : "");
}

static void finishSession(Platform &platform)
{
    keepTransferEvent(platform.gateway); // one that the session came not to report
    if (platform.gateway.deliveries != platform.deliveriesBefore) {
        platform.failures = 0;
        platform.retry = Clock::now();
        return writeLog("session delivered, " + describeSession(platform));
    }
    const Clock::duration wait =
        drawRetryWait(++platform.failures, platform.options.retryScale, platform.random);
    platform.retry = Clock::now() + wait;
    writeLog("session failed, " + describeSession(platform) + "; next attempt in " +
             std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(wait).count()) + " ms");
}

// Transfers and tests.

static int64_t transferDue(const Platform &platform)
{
    const std::optional<TransferRow> earliest = earliestTransfer(platform.gateway.store);
    return earliest.has_value() ? earliest->due : INT64_MAX;
}

static void startTransfer(Platform &platform)
{
    platform.transfer = *earliestTransfer(platform.gateway.store);
    platform.startTime = formatNow(false);
    try {
        startErrand(platform, Errand::transfer,
                    prepareTransfer(platform.options.workplace, platform.gateway, platform.transfer),
                    platform.options.transferLimit);
    } catch (const std::runtime_error &error) {
        writeLog(error.what());
        finishTransfer(platform.gateway, platform.transfer,
                       {kFaultInternalError, platform.startTime, formatNow(false)});
    }
}

static void startTest(Platform &platform)
{
    platform.test = findRequestedTest(platform.gateway);
    startErrand(platform, Errand::test,
                prepareTest(platform.options.workplace, platform.gateway, *platform.test),
                platform.options.transferLimit);
}

static void finishErrand(Platform &platform)
{
    const int status = *platform.ended;
    switch (platform.errand) {
    case Errand::none:
        break;
    case Errand::session:
        finishSession(platform);
        break;
    case Errand::transfer:
        finishTransfer(platform.gateway, platform.transfer,
                       {judgeTransfer(platform.transfer, status), platform.startTime, formatNow(false)});
        break;
    case Errand::test:
        finishTest(platform.gateway, *platform.test, isSuccess(status));
        break;
    }
    platform.errand = Errand::none;
    platform.ended.reset();
}

/// The gateway's reboot is a pause, and attempts that count anew.
static void beginReboot(Platform &platform)
{
    platform.gateway.rebootOrdered = false;
    platform.awake = Clock::now() + seconds(platform.options.bootSeconds);
    platform.failures = 0;
    platform.retry = platform.awake;
    writeLog("the gateway reboots");
}

static void startDueErrand(Platform &platform)
{
    if (sessionDue(platform) <= Clock::now())
        startSession(platform);
    else if (transferDue(platform) <= time(nullptr))
        startTransfer(platform);
    else if (findRequestedTest(platform.gateway) != nullptr)
        startTest(platform);
}

void tendPlatform(Platform &platform, const std::vector<pollfd> &polled, bool isBusQuiet)
{
    serveCallers(platform, polled);
    raiseDueEvents(platform);
    if (platform.errand != Errand::none && !platform.ended.has_value())
        platform.ended = pollChild(platform.child);
    else if (platform.errand != Errand::none && isBusQuiet)
        finishErrand(platform);
    if (platform.errand != Errand::none)
        return;
    if (platform.gateway.rebootOrdered)
        beginReboot(platform);
    if (Clock::now() >= platform.awake)
        startDueErrand(platform);
}

/// The clock's time for a moment given in seconds since the epoch.
static Clock::time_point fromEpoch(int64_t moment)
{
    using std::chrono::system_clock;
    if (moment > time(nullptr) + INT_MAX)
        return Clock::time_point::max();
    return Clock::now() + (system_clock::from_time_t(moment) - system_clock::now());
}

int nextWait(const Platform &platform)
{
    const Gateway &gateway = platform.gateway;
    Clock::time_point next = std::min(nextDeadline(platform.listener), fromEpoch(platform.periodicDue));
    next = std::min(next, fromEpoch(earliestSchedule(platform.gateway.store).value_or(INT64_MAX)));
    if (platform.ended.has_value()) {
        next = Clock::now();
    } else if (platform.errand != Errand::none) {
        next = std::min(next, platform.child.deadline);
    } else {
        Clock::time_point errand = std::min(sessionDue(platform), fromEpoch(transferDue(platform)));
        if (findRequestedTest(gateway) != nullptr)
            errand = Clock::now();
        next = std::min(next, std::max(errand, platform.awake));
    }
    const auto wait = std::chrono::ceil<std::chrono::milliseconds>(next - Clock::now()).count();
    return static_cast<int>(std::clamp<int64_t>(wait, 0, INT_MAX));
}

void stopPlatform(Platform &platform)
{
    stopChild(platform.child);
    closeCallListener(platform.listener);
}
