#include "scripted_server.h"

#include <arpa/inet.h>
#include <cstdlib>
#include <netinet/tcp.h>
#include <poll.h>
#include <regex>
#include <sys/select.h>
#include <sys/socket.h>
#include <unistd.h>

std::vector<useconds_t> pauses;
std::function<void()> onPause, onWait;
timeval waitAsked;
int longestWait = 5000;
int vainWaits;

void resetWaits()
{
    pauses.clear();
    onPause = onWait = nullptr;
    longestWait = 5000;
    vainWaits = 0;
}

extern "C" {
int __real_select(int, fd_set *, fd_set *, fd_set *, timeval *);

int __wrap_usleep(useconds_t microseconds)
{
    pauses.push_back(microseconds);
    if (onPause)
        onPause();
    return 0;
}
int __wrap_select(int count, fd_set *readable, fd_set *writable, fd_set *failed, timeval *wait)
{
    if (onWait)
        onWait();
    waitAsked = *wait;
    *wait = {longestWait / 1000, longestWait % 1000 * 1000};
    const int ready = __real_select(count, readable, writable, failed, wait);
    vainWaits += ready == 0 ? 1 : 0;
    return ready;
}
}

ScriptedServer::ScriptedServer(std::vector<ScriptedAnswer> script)
    : answers(std::move(script)), listener(socket(AF_INET, SOCK_STREAM, 0))
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (bind(listener, reinterpret_cast<sockaddr *>(&address), length) != 0 || listen(listener, 8) != 0 ||
        getsockname(listener, reinterpret_cast<sockaddr *>(&address), &length) != 0)
        abort();
    portNumber = ntohs(address.sin_port);
    thread = std::thread([this] { run(); });
}

ScriptedServer::~ScriptedServer()
{
    requests();
    close(listener);
}

std::vector<std::string> ScriptedServer::requests()
{
    shutdown(listener, SHUT_RDWR);
    if (thread.joinable())
        thread.join();
    return received;
}

// One request, by its Content-Length; what came of it when the client closes.
std::string ScriptedServer::readRequest()
{
    std::string request;
    size_t whole = SIZE_MAX;
    char buffer[65536];
    while (request.size() < whole) {
        const ssize_t count = read(connection, buffer, sizeof buffer);
        if (count <= 0)
            break;
        request.append(buffer, static_cast<size_t>(count));
        const size_t head = request.find("\r\n\r\n");
        const size_t length = request.find("Content-Length: ");
        if (whole == SIZE_MAX && head != std::string::npos && length != std::string::npos)
            whole = head + 4 + strtoul(request.c_str() + length + 16, nullptr, 10);
    }
    return request;
}

void ScriptedServer::sendAnswer(const ScriptedAnswer &answer)
{
    const size_t step = answer.pieceSize == 0 ? answer.bytes.size() : answer.pieceSize;
    for (size_t at = 0; at < answer.bytes.size(); at += step) {
        const std::string piece = answer.bytes.substr(at, step);
        if (send(connection, piece.data(), piece.size(), MSG_NOSIGNAL) < 0)
            return;
        if (answer.pieceSize != 0)
            std::this_thread::sleep_for(std::chrono::microseconds(150));
    }
}

void ScriptedServer::run()
{
    for (size_t next = 0; (connection = accept(listener, nullptr, nullptr)) >= 0; close(connection)) {
        const int now = 1;
        setsockopt(connection, IPPROTO_TCP, TCP_NODELAY, &now, sizeof now);
        for (std::string request; !(request = readRequest()).empty();) {
            received.push_back(std::regex_replace(request, std::regex("Date: [^\r]*"), "Date: *"));
            if (next == answers.size())
                continue;
            sendAnswer(answers[next]);
            if (answers[next++].closeAfter)
                break;
        }
    }
}
