#include "daemon.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <initializer_list>
#include <sys/time.h>
#include <syslog.h>
#include <unistd.h>

#include "acs_connection.h"
#include "bus_message.h"
#include "http_client.h"
#include "inform.h"
#include "inform_exchange.h"
#include "owned.h"
#include "platform_services.h"
#include "print_to_syslog.h"
#include "session_limits.h"
#include "session_loop.h"
#include "session_state.h"
#include "settings.h"
#include "text.h"

constexpr char kEnvironmentFile[] = "/proc/ticfg/env";

static void logSignal(const char *label, const char *message)
{
    printToSyslog("LOG_ERR", "TR069", label, message);
}

void termination_handler(int signalNumber)
{
    constexpr char function[] = "termination_handler";
    constexpr char banner[] = "FE FE FE FE FE FE  ";
    switch (signalNumber) {
    case SIGHUP:
        logSignal(function, "Program received the hangup signal");
        break;
    case SIGINT:
        logSignal(function, "Program Interrupted");
        break;
    case SIGSEGV:
        logSignal(banner, "__________________________");
        logSignal(function, "Segmentation Fault occured");
        logSignal(banner, "--------------------------");
        break;
    case SIGPIPE:
        logSignal(function, "Broken Pipe Error");
        break;
    case SIGTERM:
        logSignal(function, "Program Terminated");
        break;
    default:
        logSignal(function, "Signal received for termination");
    }
    printf("signal %d, process %d\n", signalNumber, getpid());
    exit(signalNumber);
}

void catch_alarm(int signalNumber)
{
    static volatile sig_atomic_t armed = 1;
    if (armed == 0)
        return;
    printToSyslog("LOG_INFO", "TR069Module", "catch_alarm", "Operation Timed out. No Response from ACS\n");
    armed = 0;
    tr069_cleanup();
    exit(signalNumber);
}

// The whole environment as one text, freed by the caller with free; null when it cannot be read.
static char *readEnvironment()
{
    const int descriptor = open(kEnvironmentFile, O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return nullptr;
    OwnedText text(static_cast<char *>(malloc(kEnvironmentSize)));
    const ssize_t length = text == nullptr ? -1 : read(descriptor, text.get(), kEnvironmentSize - 1);
    close(descriptor);
    if (length < 0)
        return nullptr;
    text.get()[length] = '\0';
    return text.release();
}

char *read_env_str(const char *name, char *destination, size_t length)
{
    printf("read_env_str: var [%s]\n", name == nullptr ? "(null)" : name);
    const OwnedText environment(readEnvironment());
    if (environment == nullptr || name == nullptr || destination == nullptr)
        return nullptr;
    const char *found = strstr(environment.get(), name);
    if (found == nullptr)
        return nullptr;
    const char *tab = strchr(found, '\t');
    if (tab == nullptr) {
        printf("TR69M ERROR: Incorrect format for env var %s\n", name);
        return nullptr;
    }
    return strncpy(destination, tab + 1, length);
}

static void handleSignal(int signalNumber, siginfo_t *, void *)
{
    termination_handler(signalNumber);
}

static void installTerminationHandler()
{
    struct sigaction action = {};
    action.sa_sigaction = handleSignal;
    action.sa_flags = SA_SIGINFO;
    for (const int signalNumber : {SIGINT, SIGHUP, SIGTERM, SIGSEGV, SIGPIPE})
        sigaction(signalNumber, &action, nullptr);
}

static void waitRandomDelay()
{
    timeval now;
    gettimeofday(&now, nullptr);
    srand(static_cast<unsigned>(now.tv_usec));
    sleep(static_cast<unsigned>(rand() % kStartDelaySeconds));
    gettimeofday(&now, nullptr);
}

void tr069_cleanup()
{
    freeOptionTexts();
    stateMachine_close();
    MSG_UnregModule(kCwmpModule, 0);
    CloseHttpSession();
}

static int endRun()
{
    tr069_cleanup();
    http_destroy();
    return 1;
}

// Connects to the server. Without "-u" there is nothing to go on with, whatever the failure was.
static int openConnection()
{
    if (gAcsUrlOverride == nullptr)
        puts("No HTTP URL specified. Trying to connect to default URL...");
    const int result = getHTTPSHandler("/var/tmp/", gAcsUrlOverride);
    if (result == 0)
        return stateMachine_init();
    if (gAcsUrlOverride == nullptr) {
        printUsage("FE");
        printToSyslog("LOG_INFO", "TR069Module", "main", "ACS URL with port number needs to be specified");
        exit(0);
    }
    writeStatusFile();
    return result;
}

int tr069_daemon_main(int argc, char **argv)
{
    installTerminationHandler();
    openlog("tr069fe", LOG_CONS, 0);
    const int registration = MSG_RegModule(kCwmpModule, 0);
    if (registration != 0)
        return registration;
    MSG_AllModStartOK();
    parseOptions(argc, argv);
    if (safeStrcmp(gStartDelay, "1") == 0)
        waitRandomDelay();

    // Fetched only to see that there is something to report.
    InformEvent *events = getEventStr(1);
    if (events == nullptr)
        return endRun();
    freeEventList(events);
    if (openConnection() != 0)
        return endRun();

    s_pcTr069Method = "POST";
    const int result = tr069_init(1);
    if (result == kFaultInformRefused)
        writeStatusFile();
    if (result == 0)
        runSessionLoop();
    return endRun();
}
