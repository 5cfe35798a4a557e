#include "log.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <stdexcept>
#include <unistd.h>

static int logDescriptor = STDERR_FILENO;

void openLog(const std::string &path)
{
    logDescriptor = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (logDescriptor < 0)
        throw std::runtime_error("log " + path + ": " + strerror(errno));
}

std::string formatNow(bool withMilliseconds)
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    gmtime_r(&now.tv_sec, &parts);
    char seconds[32];
    strftime(seconds, sizeof seconds, "%Y-%m-%dT%H:%M:%S", &parts);
    char whole[48];
    if (withMilliseconds)
        snprintf(whole, sizeof whole, "%s.%03ldZ", seconds, now.tv_nsec / 1000000);
    else
        snprintf(whole, sizeof whole, "%sZ", seconds);
    return whole;
}

void writeLog(const std::string &text)
{
    std::string line = formatNow(true) + ' ';
    for (const char letter : text) {
        const unsigned char byte = static_cast<unsigned char>(letter);
        char escaped[8];
        snprintf(escaped, sizeof escaped, byte >= 0x20 && byte < 0x7F ? "%c" : "\\x%02X", byte);
        line += escaped;
    }
    line += '\n';
    // A log that cannot be written is no reason to stop serving.
    if (write(logDescriptor, line.data(), line.size()) < 0)
        logDescriptor = STDERR_FILENO;
}
