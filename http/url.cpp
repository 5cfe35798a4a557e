#include "http_client.h"
#include "text.h"

#include <cstring>
#include <netdb.h>
#include <strings.h>

static constexpr char kScheme[] = "http://";
static constexpr int kDefaultPort = 80;
static constexpr int kHighestPort = 65535;

// False when the text does not fit into a name buffer, which is then left as it is.
static bool copyName(char *name, const char *text, size_t length)
{
    if (length >= kHttpNameSize)
        return false;
    memcpy(name, text, length);
    name[length] = '\0';
    return true;
}

// Reads the number behind a colon; returns behind its digits, or null when it is no port.
static const char *readPort(const char *text, int *port)
{
    size_t consumed = 0;
    const int64_t number = readDecimal(text, strlen(text), &consumed);
    if (number < 0 || number > kHighestPort)
        return nullptr;
    *port = static_cast<int>(number);
    return text + consumed;
}

// An address in four decimal numbers needs no resolver, which would bring its configuration and much of the C
// library into memory.
static bool readAddress(const char *host, unsigned char *address)
{
    for (int i = 0; i < 4; ++i) {
        size_t consumed = 0;
        const int64_t number = readDecimal(host, strlen(host), &consumed);
        const bool zeroLed = host[0] == '0' && consumed > 1; // would be octal
        if (host[0] < '0' || host[0] > '9' || zeroLed || number > UINT8_MAX)
            return false;
        address[i] = static_cast<unsigned char>(number);
        host += consumed;
        if (*host != (i < 3 ? '.' : '\0'))
            return false;
        host += i < 3 ? 1 : 0;
    }
    return true;
}

static int resolveHost(const char *host, unsigned char *address)
{
    if (readAddress(host, address))
        return 0;
    const hostent *entry = gethostbyname(host);
    if (entry == nullptr || entry->h_addrtype != AF_INET || entry->h_length != 4 ||
        entry->h_addr_list[0] == nullptr)
        return -1;
    memcpy(address, entry->h_addr_list[0], 4);
    return 0;
}

// Walks the authority: the host goes to its buffer at the first colon, if there is one, and the last number
// behind a colon is the port. Returns the "/" or the end; null on failure.
static const char *readAuthority(const char *start, char *host, int *port)
{
    bool hostCopied = false;
    const char *at = start;
    while (*at != '\0' && *at != '/') {
        if (*at != ':') {
            ++at;
            continue;
        }
        if (!hostCopied && !copyName(host, start, static_cast<size_t>(at - start)))
            return nullptr;
        hostCopied = true;
        at = readPort(at + 1, port);
        if (at == nullptr)
            return nullptr;
    }
    return at;
}

int http_parse_url(const char *url, char *host, unsigned char *address, char *path, int *port)
{
    *port = kDefaultPort;
    if (url == nullptr || strncasecmp(url, kScheme, strlen(kScheme)) != 0)
        return -1;
    const char *start = url + strlen(kScheme);
    host[0] = '\0';
    const char *at = readAuthority(start, host, port);
    if (at == nullptr)
        return -1;
    if (host[0] == '\0' && !copyName(host, start, static_cast<size_t>(at - start)))
        return -1;
    // A bare "/" leaves the path as it was: the request line then carries an empty one.
    if (at[0] == '/' && at[1] != '\0' && !copyName(path, at, strlen(at)))
        return -1;
    if (host[0] == '\0')
        return -1;
    return resolveHost(host, address);
}
