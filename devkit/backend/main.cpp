#include "bus_server.h"
#include "log.h"
#include "operations.h"
#include "platform.h"

#include <CLI/CLI.hpp>
#include <csignal>
#include <filesystem>
#include <iostream>
#include <sys/signalfd.h>
#include <unistd.h>

// gatewayd: a gateway's configuration backend on a desk, and with --run the whole platform around it. One
// thread: it polls the bus, whoever asks for a session, and the signals that end it or tell of a child's end.

struct Options {
    std::string bus = "/var/tmp/gateway_bus.sock";
    std::string store = "/var/tmp/gateway.store";
    std::string model;
    std::string log;
    std::vector<std::string> settings;          // NAME=VALUE
    std::vector<std::string> events;            // CODE[=KEY]
    std::vector<std::string> transferCompletes; // KEY,CODE,START,COMPLETE
    bool dump = false;
    uint64_t killAt = 0; // the message to die at; 0: none
    std::string listen = "127.0.0.1:0";
    PlatformOptions platform; // without an executable there is no platform
};

static std::string modelBesideExecutable()
{
    char path[4096];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    const std::string executable(path, static_cast<size_t>(length < 0 ? 0 : length));
    return executable.substr(0, executable.rfind('/') + 1) + "gateway.model";
}

static void addPlatformOptions(CLI::App &app, Options &options)
{
    PlatformOptions &platform = options.platform;
    CLI::Option *run = app.add_option("--run", platform.workplace.executable,
                                      "play the platform: start this executable whenever something is due")
                           ->check(CLI::ExistingFile);
    app.add_option("--files", platform.workplace.folder,
                   "folder of the gateway's own, where transfers and what the executable prints go (default: "
                   "the store's path and \".files\")")
        ->needs(run);
    app.add_option("--listen", options.listen,
                   "IPV4ADDRESS:PORT for connection requests, port 0 for a free one")
        ->needs(run)
        ->capture_default_str();
    app.add_option("--retry-scale", platform.retryScale, "factor on the waits after failed sessions")
        ->needs(run)
        ->check(CLI::NonNegativeNumber)
        ->capture_default_str();
    app.add_option("--boot-time", platform.bootSeconds, "seconds that a reboot takes")
        ->needs(run)
        ->check(CLI::Range(0.0, 3600.0))
        ->capture_default_str();
    app.add_option("--session-limit", platform.sessionLimit, "seconds that a session may take")
        ->needs(run)
        ->check(CLI::Range(0.1, 86400.0))
        ->capture_default_str();
    app.add_option("--transfer-limit", platform.transferLimit, "seconds that a transfer or a test may take")
        ->needs(run)
        ->check(CLI::Range(0.1, 86400.0))
        ->capture_default_str();
}

static void addOptions(CLI::App &app, Options &options)
{
    app.add_option("--bus", options.bus, "Unix socket to listen on")
        ->envname("GATEWAY_BUS")
        ->capture_default_str();
    app.add_option("--store", options.store, "SQLite file of the gateway's state")->capture_default_str();
    app.add_option("--model", options.model,
                   "data model file of a new gateway (default: gateway.model beside gatewayd)");
    app.add_option("--log", options.log, "file that log lines are appended to (default: standard error)");
    app.add_option("--set", options.settings,
                   "NAME=VALUE: a preset of this gateway, written whatever its access")
        ->allow_extra_args(false);
    app.add_option("--event", options.events,
                   "CODE[=KEY]: an event to have pending, as \"2 PERIODIC\" or \"M Reboot=7\"")
        ->allow_extra_args(false);
    app.add_option("--transfer-complete", options.transferCompletes,
                   "KEY,CODE,START,COMPLETE: a finished transfer to report, with its event 7")
        ->allow_extra_args(false);
    app.add_option("--kill-at", options.killAt,
                   "die by SIGKILL when message N is served, before its reply leaves");
    addPlatformOptions(app, options);
    app.add_flag("--dump", options.dump, "print what the store holds, one row a line, and end");
}

/// Splits at the first separator; the second part is "" when there is none.
static Setting splitAt(const std::string &text, char separator)
{
    const size_t end = std::min(text.find(separator), text.size());
    return {text.substr(0, end), text.substr(std::min(end + 1, text.size()))};
}

static std::vector<Setting> readSettings(const Options &options)
{
    std::vector<Setting> settings;
    for (const std::string &text : options.settings) {
        if (text.find('=') == std::string::npos)
            throw std::runtime_error("--set takes NAME=VALUE, not " + text);
        settings.push_back(splitAt(text, '='));
    }
    return settings;
}

/// KEY,CODE,START,COMPLETE, read from its end: the key may hold commas.
static TransferCompleteRow readTransferComplete(const std::string &text)
{
    std::string rest = text;
    std::string fields[3];
    for (std::string &field : fields) {
        const size_t comma = rest.rfind(',');
        if (comma == std::string::npos)
            throw std::runtime_error("--transfer-complete takes KEY,CODE,START,COMPLETE, not " + text);
        field = rest.substr(comma + 1);
        rest.erase(comma);
    }
    return {0, rest, fields[2], fields[1], fields[0]};
}

static void addOrderedHistory(Gateway &gateway, const Options &options)
{
    Transaction transaction(gateway.store);
    for (const std::string &text : options.transferCompletes) {
        addTransferComplete(gateway.store, readTransferComplete(text));
        addEvent(gateway.store, "7 TRANSFER COMPLETE", "");
    }
    for (const std::string &text : options.events) {
        const Setting event = splitAt(text, '=');
        addEvent(gateway.store, event.name, event.value);
    }
    transaction.end();
}

/// A descriptor that becomes readable when the process is asked to end, or a child has ended.
static int catchSignals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGCHLD);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
}

static bool isToldToEnd(int signals)
{
    signalfd_siginfo caught{};
    while (read(signals, &caught, sizeof caught) == static_cast<ssize_t>(sizeof caught))
        if (caught.ssi_signo != SIGCHLD)
            return true;
    return false;
}

/// @param platform  null: sessions are started by somebody else
static void serveUntilSignal(BusServer &bus, Platform *platform, int signals)
{
    for (;;) {
        std::vector<pollfd> polled = {{signals, POLLIN, 0}};
        if (platform != nullptr)
            addPolled(platform->listener, polled);
        const size_t onBus = polled.size();
        addPolled(bus, polled);
        if (poll(polled.data(), polled.size(), platform == nullptr ? -1 : nextWait(*platform)) < 0)
            continue;
        if (isToldToEnd(signals))
            return;
        serveReady(bus, polled);
        const bool isQuiet = std::all_of(polled.begin() + static_cast<std::ptrdiff_t>(onBus), polled.end(),
                                         [](const pollfd &entry) { return entry.revents == 0; });
        if (platform != nullptr)
            tendPlatform(*platform, polled, isQuiet);
    }
}

static BusHandlers makeHandlers(Gateway &gateway, uint64_t killAt)
{
    BusHandlers handlers;
    handlers.endSession = [&gateway] { endSession(gateway); };
    handlers.serve = [&gateway, killAt, served = uint64_t{0}](std::string_view message) mutable {
        std::optional<std::string> reply = serveMessage(gateway, message);
        if (++served == killAt)
            raise(SIGKILL);
        return reply;
    };
    return handlers;
}

/// Fills in what follows from other options, and listens for connection requests.
static CallListener preparePlatform(Options &options)
{
    PlatformOptions &platform = options.platform;
    Workplace &place = platform.workplace;
    place.executable = std::filesystem::absolute(place.executable);
    place.folder = std::filesystem::absolute(place.folder.empty() ? options.store + ".files" : place.folder);
    platform.bus = std::filesystem::absolute(options.bus);
    CallListener listener = openCallListener(options.listen);
    options.settings.push_back("InternetGatewayDevice.ManagementServer.ConnectionRequestURL=" + listener.url);
    return listener;
}

static int runGateway(Options &options)
{
    if (!options.log.empty())
        openLog(options.log);
    const int signals = catchSignals();
    const bool isPlatform = !options.platform.workplace.executable.empty();
    const std::string model = options.model.empty() ? modelBesideExecutable() : options.model;
    Gateway gateway;
    // The bus first: where another process serves it, the store is that process's.
    BusServer bus = openBus(options.bus, makeHandlers(gateway, options.killAt));
    CallListener listener = isPlatform ? preparePlatform(options) : CallListener();
    const std::string url = listener.url;
    gateway = openGateway(readDataModel(model), options.store, readSettings(options));
    addOrderedHistory(gateway, options);
    Platform platform{gateway, options.platform, std::move(listener)};
    if (isPlatform)
        startPlatform(platform);
    writeLog("listening on " + options.bus + ", " + std::to_string(gateway.tree.size()) + " nodes in " +
             options.store);
    std::cout << "gatewayd: listening on " << options.bus
              << (isPlatform ? ", connection requests at " + url : "") << std::endl;
    serveUntilSignal(bus, isPlatform ? &platform : nullptr, signals);
    stopPlatform(platform);
    closeBus(bus);
    close(signals);
    writeLog("ended by a signal");
    return 0;
}

static int printStore(const Options &options)
{
    bool isNew = false;
    Store store = openStore(options.store, &isNew);
    for (const std::string &line : dumpStore(store))
        std::cout << line << '\n';
    return 0;
}

static int run(int argc, char **argv)
{
    Options options;
    CLI::App app("The reference configuration backend: serves the bus from a SQLite store");
    addOptions(app, options);
    CLI11_PARSE(app, argc, argv);
    return options.dump ? printStore(options) : runGateway(options);
}

int main(int argc, char **argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception &error) {
        fprintf(stderr, "gatewayd: %s\n", error.what());
        return 1;
    }
}
