#include "bus_server.h"

#include "bus_message.h"
#include "log.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

static constexpr size_t kLengthSize = 4;
static constexpr size_t kPiece = 64U << 10;                // bytes received at a time
static constexpr size_t kMaximumBacklog = kMaximumMessage; // bytes of replies that a client has not read
static constexpr size_t kMaximumConnections = 16;

static sockaddr_un addressOf(const std::string &path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path)
        throw std::runtime_error("bus " + path + ": the path is too long for a socket");
    memcpy(address.sun_path, path.data(), path.size());
    return address;
}

static std::runtime_error busError(const std::string &path)
{
    return std::runtime_error("bus " + path + ": " + strerror(errno));
}

static int openSocket()
{
    return socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
}

/// Removes a socket that nobody serves.
static void removeStaleSocket(const std::string &path, const sockaddr_un &address)
{
    const int probe = openSocket();
    const bool isServed = connect(probe, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    const bool isStale = !isServed && errno == ECONNREFUSED;
    close(probe);
    if (isServed)
        throw std::runtime_error("bus " + path + ": another process serves it");
    if (isStale)
        unlink(path.c_str());
}

BusServer openBus(const std::string &path, BusHandlers handlers)
{
    const sockaddr_un address = addressOf(path);
    removeStaleSocket(path, address);
    BusServer bus;
    bus.path = path;
    bus.handlers = std::move(handlers);
    bus.listener = openSocket();
    if (bus.listener < 0 ||
        bind(bus.listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0 ||
        listen(bus.listener, 8) != 0)
        throw busError(path);
    return bus;
}

static void dropConnection(BusServer &bus, Connection &connection)
{
    close(connection.descriptor);
    if (bus.sessionOf == connection.descriptor) {
        bus.sessionOf = -1;
        bus.handlers.endSession();
    }
    connection.descriptor = -1;
}

void closeBus(BusServer &bus)
{
    for (Connection &connection : bus.connections)
        dropConnection(bus, connection);
    bus.connections.clear();
    close(bus.listener);
    unlink(bus.path.c_str());
}

void addPolled(const BusServer &bus, std::vector<pollfd> &polled)
{
    polled.push_back({bus.listener, POLLIN, 0});
    for (const Connection &connection : bus.connections) {
        const int reading = connection.replies.size() < kMaximumBacklog ? POLLIN : 0;
        const int writing = connection.replies.empty() ? 0 : POLLOUT;
        polled.push_back({connection.descriptor, static_cast<short>(reading | writing), 0});
    }
}

static void queueReply(Connection &connection, const std::string &reply)
{
    const uint32_t length = htonl(static_cast<uint32_t>(reply.size()));
    char raw[kLengthSize];
    memcpy(raw, &length, sizeof raw);
    connection.replies.append(raw, sizeof raw).append(reply);
}

static void serveOne(BusServer &bus, Connection &connection, std::string_view message)
{
    if (!connection.hasBegun) {
        if (bus.sessionOf >= 0)
            bus.handlers.endSession();
        bus.sessionOf = connection.descriptor;
        connection.hasBegun = true;
    }
    if (message.size() < kHeaderLength) {
        writeLog("bad input: a message of " + std::to_string(message.size()) +
                 " bytes, shorter than its header");
        return;
    }
    const std::optional<std::string> reply = bus.handlers.serve(message);
    if (reply.has_value() && !connection.isDeaf)
        queueReply(connection, *reply);
}

/// Serves every whole message that is there. Returns false when the stream cannot be told apart any more.
static bool serveReceived(BusServer &bus, Connection &connection)
{
    size_t served = 0;
    while (connection.received.size() - served >= kLengthSize &&
           connection.replies.size() < kMaximumBacklog) {
        uint32_t length = 0;
        memcpy(&length, connection.received.data() + served, kLengthSize);
        length = ntohl(length);
        if (length > kMaximumMessage) {
            writeLog("bad input: a length of " + std::to_string(length) + " bytes, connection dropped");
            connection.received.clear();
            return false;
        }
        if (connection.received.size() - served - kLengthSize < length)
            break;
        serveOne(bus, connection, std::string_view(connection.received).substr(served + kLengthSize, length));
        served += kLengthSize + length;
    }
    connection.received.erase(0, served);
    return true;
}

/// Returns false when the connection is at its end.
static bool receive(Connection &connection)
{
    const size_t before = connection.received.size();
    connection.received.resize(before + kPiece);
    const ssize_t count = recv(connection.descriptor, connection.received.data() + before, kPiece, 0);
    const int error = errno;
    connection.received.resize(before + static_cast<size_t>(std::max<ssize_t>(count, 0)));
    return count > 0 || (count < 0 && (error == EAGAIN || error == EINTR));
}

static void sendReplies(Connection &connection)
{
    const ssize_t count = send(connection.descriptor, connection.replies.data() + connection.sent,
                               connection.replies.size() - connection.sent, MSG_NOSIGNAL);
    connection.isDeaf = count < 0 && errno != EAGAIN && errno != EINTR;
    connection.sent += static_cast<size_t>(std::max<ssize_t>(count, 0));
    if (connection.isDeaf || connection.sent == connection.replies.size()) {
        connection.replies.clear();
        connection.sent = 0;
    }
}

static void serveConnection(BusServer &bus, Connection &connection, short ready)
{
    bool isGood = true;
    if ((ready & (POLLIN | POLLHUP | POLLERR)) != 0)
        isGood = receive(connection);
    isGood = serveReceived(bus, connection) && isGood;
    if (!connection.replies.empty())
        sendReplies(connection);
    if (isGood)
        return;
    if (!connection.received.empty())
        writeLog("connection closed with " + std::to_string(connection.received.size()) +
                 " bytes of a message unserved");
    dropConnection(bus, connection);
}

static void acceptConnection(BusServer &bus)
{
    const int descriptor = accept4(bus.listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (descriptor < 0)
        return;
    if (bus.connections.size() < kMaximumConnections) {
        bus.connections.emplace_back().descriptor = descriptor;
        return;
    }
    writeLog("too many connections, one refused");
    close(descriptor);
}

void serveReady(BusServer &bus, const std::vector<pollfd> &polled)
{
    for (const pollfd &entry : polled) {
        if (entry.revents == 0)
            continue;
        const auto connection =
            std::find_if(bus.connections.begin(), bus.connections.end(),
                         [&](const Connection &one) { return one.descriptor == entry.fd; });
        if (connection != bus.connections.end())
            serveConnection(bus, *connection, entry.revents);
    }
    const auto isClosed = [](const Connection &connection) { return connection.descriptor < 0; };
    bus.connections.erase(std::remove_if(bus.connections.begin(), bus.connections.end(), isClosed),
                          bus.connections.end());
    for (const pollfd &entry : polled)
        if (entry.fd == bus.listener && entry.revents != 0)
            acceptConnection(bus);
}
