#include "exported.h"

#include <arpa/inet.h>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

// The message bus: a Unix stream socket to the backend process. On the wire each message follows its length,
// a u32 in network byte order. A bus error is an errno value.

static constexpr unsigned int kHeaderLength = 16;          // bytes of a message before its body
static constexpr unsigned int kMaximumMessage = 16U << 20; // bytes; the backend takes no longer one
static constexpr int kSendSeconds = 20;                    // as long as the product waits for an answer
static constexpr const char *kDefaultBus = "/var/tmp/gateway_bus.sock";

// What stands before a message in memory: its length as the bus sends it, directly in front of the message,
// so that both leave in one write, and so much room that the message is aligned as malloc's results are.
static constexpr size_t kPrefix = 16;
static constexpr size_t kLengthSize = 4;

static int busSocket = -1;

static void leaveBus()
{
    if (busSocket >= 0)
        close(busSocket);
    busSocket = -1;
}

static int connectBus(const char *path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (strlen(path) >= sizeof address.sun_path)
        return ENAMETOOLONG;
    memcpy(address.sun_path, path, strlen(path));
    // Non-blocking from the first: a backend that is there and accepts nobody is an error at once, too.
    busSocket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (busSocket < 0)
        return errno;
    if (connect(busSocket, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0)
        return 0;
    const int error = errno;
    leaveBus();
    return error;
}

int MSG_RegModule(int /*module*/, int /*flags*/)
{
    leaveBus();
    const char *path = getenv("GATEWAY_BUS");
    return connectBus(path != nullptr && path[0] != '\0' ? path : kDefaultBus);
}

int MSG_UnregModule(int /*module*/, int /*flags*/)
{
    leaveBus();
    return 0;
}

int MSG_AllModStartOK(void)
{
    return 0;
}

static char *allocateMessage(uint32_t length)
{
    char *block = static_cast<char *>(calloc(1, kPrefix + length));
    if (block == nullptr)
        return nullptr;
    const uint32_t wireLength = htonl(length);
    memcpy(block + kPrefix - kLengthSize, &wireLength, kLengthSize);
    return block + kPrefix;
}

void *MSG_CreateMessage(unsigned int bodyLength)
{
    if (bodyLength > kMaximumMessage - kHeaderLength)
        return nullptr;
    return allocateMessage(kHeaderLength + bodyLength);
}

int MSG_ReleaseMessage(void *message)
{
    if (message != nullptr)
        free(static_cast<char *>(message) - kPrefix);
    return 0;
}

static int64_t nowInMilliseconds()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64_t>(now.tv_sec) * 1000 + now.tv_nsec / 1000000;
}

/// Waits until the socket is ready for events. Returns 0, ETIMEDOUT at the deadline, or poll's error.
static int awaitBus(short events, int64_t deadline)
{
    for (;;) {
        const int64_t left = deadline - nowInMilliseconds();
        if (left <= 0)
            return ETIMEDOUT;
        pollfd bus = {busSocket, events, 0};
        const int ready = poll(&bus, 1, static_cast<int>(left < INT_MAX ? left : INT_MAX));
        if (ready > 0)
            return 0;
        if (ready < 0 && errno != EINTR)
            return errno;
    }
}

/// Moves size bytes through the socket: out of buffer when sending, into it otherwise. *moved counts them.
static int moveBytes(bool sending, char *buffer, size_t size, int64_t deadline, size_t *moved)
{
    for (*moved = 0; *moved < size;) {
        const ssize_t step = sending ? send(busSocket, buffer + *moved, size - *moved, MSG_NOSIGNAL)
                                     : recv(busSocket, buffer + *moved, size - *moved, 0);
        if (step > 0) {
            *moved += static_cast<size_t>(step);
            continue;
        }
        if (step == 0)
            return ECONNRESET;
        if (errno != EAGAIN && errno != EINTR)
            return errno;
        const int error = awaitBus(sending ? POLLOUT : POLLIN, deadline);
        if (error != 0)
            return error;
    }
    return 0;
}

int MSG_SendMessage(void *message)
{
    if (message == nullptr)
        return EINVAL;
    if (busSocket < 0)
        return ENOTCONN;
    char *frame = static_cast<char *>(message) - kLengthSize;
    uint32_t wireLength = 0;
    memcpy(&wireLength, frame, kLengthSize);
    size_t moved = 0;
    const int64_t deadline = nowInMilliseconds() + int64_t{kSendSeconds} * 1000;
    const int error = moveBytes(true, frame, kLengthSize + ntohl(wireLength), deadline, &moved);
    if (error != 0)
        leaveBus(); // half a message may be out: what follows it would be read as its rest
    return error;
}

static int receiveBody(uint32_t length, int64_t deadline, void **message)
{
    if (length < kHeaderLength || length > kMaximumMessage)
        return EPROTO;
    char *received = allocateMessage(length);
    if (received == nullptr)
        return ENOMEM;
    size_t moved = 0;
    const int error = moveBytes(false, received, length, deadline, &moved);
    if (error != 0) {
        MSG_ReleaseMessage(received);
        return error;
    }
    *message = received;
    return 0;
}

int MSG_ReceiveMessage(void **message, int timeout)
{
    if (message == nullptr)
        return EINVAL;
    if (busSocket < 0)
        return ENOTCONN;
    const int64_t deadline = nowInMilliseconds() + static_cast<int64_t>(timeout) * 1000;
    uint32_t wireLength = 0;
    size_t moved = 0;
    int error = moveBytes(false, reinterpret_cast<char *>(&wireLength), kLengthSize, deadline, &moved);
    if (error == 0)
        error = receiveBody(ntohl(wireLength), deadline, message);
    // A reply that comes after its time would be taken for the next request's.
    if (error != 0)
        leaveBus();
    return error;
}
