#include "http_client.h"
#include "http_diagnostics.h"
#include "owned.h"
#include "socket_io.h"
#include "text.h"

#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <sys/select.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

static constexpr time_t kReadWaitSeconds = 30;

// Set before connecting, since the window is agreed on then: the pause before the first read would let a
// small one run full.
static constexpr int kReceiveBuffer = 256 * 1024;

HttpSession gHttpSession = {-1, {}, {}, 80, {}, nullptr, 0, false, "Keep-Alive"};
HttpTransfer gHttpTransfer = {};
const char *s_pcTr069Method = "POST";

static int storeCredentials(const char *username, const char *password)
{
    OwnedText name(getMsg(username));
    OwnedText word(getMsg(password));
    if (name == nullptr || (password != nullptr && word == nullptr))
        return -1;
    free(gHttpAuth.username);
    free(gHttpAuth.password);
    gHttpAuth.username = name.release();
    gHttpAuth.password = word.release();
    return 0;
}

static int openSocket()
{
    const int descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor >= 0)
        setsockopt(descriptor, SOL_SOCKET, SO_RCVBUF, &kReceiveBuffer, sizeof kReceiveBuffer);
    return descriptor;
}

static int connectSocket()
{
    sockaddr_in peer = {};
    peer.sin_family = AF_INET;
    peer.sin_port = htons(static_cast<uint16_t>(gHttpSession.port));
    memcpy(&peer.sin_addr, gHttpSession.address, sizeof gHttpSession.address);
    return connect(gHttpSession.socket, reinterpret_cast<const sockaddr *>(&peer), sizeof peer);
}

int http_init(const char *url, const char *username, const char *password, const char * /*caFile*/)
{
    if (url != nullptr && http_parse_url(url, gHttpSession.host, gHttpSession.address, gHttpSession.path,
                                         &gHttpSession.port) != 0)
        return -1;
    if (username != nullptr && storeCredentials(username, password) != 0)
        return -1;
    if (gHttpSession.socket < 0)
        gHttpSession.socket = openSocket();
    if (gHttpSession.socket < 0)
        return -1;
    if (gHttpTransfer.diagnostics)
        recordHttpMark(HttpDiagMark::tcpOpenRequest);
    if (connectSocket() != 0) {
        perror("====== connect failed:");
        return -1;
    }
    if (gHttpTransfer.diagnostics)
        recordHttpMark(HttpDiagMark::tcpOpenResponse);
    return 0;
}

int http_destroy()
{
    free(gHttpAuth.username);
    free(gHttpAuth.password);
    gHttpAuth.username = nullptr;
    gHttpAuth.password = nullptr;
    return 0;
}

void CloseHttpSession()
{
    http_close();
}

void http_close()
{
    free(gHttpSession.cookie);
    gHttpSession.cookie = nullptr;
    if (gHttpSession.socket >= 0)
        close(gHttpSession.socket);
    gHttpSession.socket = -1;
}

// Select's result; -1 also for a descriptor that its sets cannot hold.
static int waitReadable(int descriptor)
{
    if (descriptor < 0 || descriptor >= FD_SETSIZE)
        return -1;
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(descriptor, &readable);
    timeval wait = {kReadWaitSeconds, 0};
    return select(descriptor + 1, &readable, nullptr, nullptr, &wait);
}

static int receive(int descriptor, char *buffer, int size, ReadMode mode, int flags)
{
    if (mode == ReadMode::discard)
        flags |= MSG_TRUNC;
    return static_cast<int>(recv(descriptor, buffer, static_cast<size_t>(size), flags));
}

int readPresent(int descriptor, char *buffer, int size, ReadMode mode)
{
    if (size < 1)
        return 0;
    const int count = receive(descriptor, buffer, size, mode, MSG_DONTWAIT);
    return count < 0 && errno == EAGAIN ? kNothingYet : count;
}

int awaitBytes(int descriptor, char *buffer, int size, ReadMode mode, bool *timedOut)
{
    *timedOut = waitReadable(descriptor) == 0;
    return *timedOut ? 0 : receive(descriptor, buffer, size, mode, 0);
}

int http_read(int descriptor, char *buffer, int size)
{
    bool timedOut = false;
    int count = readPresent(descriptor, buffer, size, ReadMode::keep);
    if (count == kNothingYet)
        count = awaitBytes(descriptor, buffer, size, ReadMode::keep, &timedOut);
    const int filled = count > 0 ? count : 0;
    if (size > filled)
        memset(buffer + filled, 0, static_cast<size_t>(size - filled));
    return count;
}

static int64_t countSent(ssize_t written)
{
    if (gHttpTransfer.diagnostics && written > 0)
        recordHttpMark(HttpDiagMark::bytesSent, static_cast<int32_t>(written));
    return written;
}

int http_write(int descriptor, const char *buffer, int length)
{
    if (length < 0)
        return -1;
    return static_cast<int>(countSent(write(descriptor, buffer, static_cast<size_t>(length))));
}

bool writeWhole(int descriptor, const char *head, int headLength, const char *body, int bodyLength)
{
    if (bodyLength == 0)
        return http_write(descriptor, head, headLength) == headLength;
    // writev takes its buffers unconst, and only reads them.
    const iovec pieces[] = {{const_cast<char *>(head), static_cast<size_t>(headLength)},
                            {const_cast<char *>(body), static_cast<size_t>(bodyLength)}};
    return countSent(writev(descriptor, pieces, 2)) == int64_t{headLength} + bodyLength;
}
