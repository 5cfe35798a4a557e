#include "connection_request.h"

#include "log.h"
#include "platform_services.h"

#include <algorithm>
#include <arpa/inet.h>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <map>
#include <memory>
#include <netinet/in.h>
#include <optional>
#include <stdexcept>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

static constexpr const char *kPath = "/connect";
static constexpr const char *kRealm = "gateway";
static constexpr size_t kLongestHead = 8U << 10; // bytes
static constexpr size_t kMostCallers = 16;
static constexpr size_t kMostNonces = 64; // one that is pushed out is simply challenged anew
static constexpr auto kPatience = std::chrono::seconds(10);

using HeapText = std::unique_ptr<char, decltype(&free)>;

static sockaddr_in readAddress(const std::string &text)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    const size_t colon = std::min(text.rfind(':'), text.size());
    const char *end = text.data() + text.size();
    uint16_t port = 0;
    const auto [behind, error] = std::from_chars(std::min(text.data() + colon + 1, end), end, port);
    address.sin_port = htons(port);
    if (error != std::errc() || behind != end ||
        inet_pton(AF_INET, text.substr(0, colon).c_str(), &address.sin_addr) != 1)
        throw std::runtime_error("--listen takes IPV4ADDRESS:PORT, not " + text);
    return address;
}

CallListener openCallListener(const std::string &text)
{
    sockaddr_in address = readAddress(text);
    socklen_t length = sizeof address;
    CallListener listener;
    listener.descriptor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    const int yes = 1;
    setsockopt(listener.descriptor, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    if (bind(listener.descriptor, reinterpret_cast<const sockaddr *>(&address), length) != 0 ||
        listen(listener.descriptor, 8) != 0 ||
        getsockname(listener.descriptor, reinterpret_cast<sockaddr *>(&address), &length) != 0)
        throw std::runtime_error("listening on " + text + ": " + strerror(errno));
    listener.url =
        "http://" + text.substr(0, text.rfind(':')) + ':' + std::to_string(ntohs(address.sin_port)) + kPath;
    return listener;
}

void closeCallListener(CallListener &listener)
{
    for (const Caller &caller : listener.callers)
        close(caller.descriptor);
    listener.callers.clear();
    if (listener.descriptor >= 0)
        close(listener.descriptor);
    listener.descriptor = -1;
}

void addPolled(const CallListener &listener, std::vector<pollfd> &polled)
{
    polled.push_back({listener.descriptor, POLLIN, 0});
    for (const Caller &caller : listener.callers)
        polled.push_back({caller.descriptor, static_cast<short>(caller.reply.empty() ? POLLIN : POLLOUT), 0});
}

Clock::time_point nextDeadline(const CallListener &listener)
{
    Clock::time_point next = Clock::time_point::max();
    for (const Caller &caller : listener.callers)
        next = std::min(next, caller.deadline);
    return next;
}

/// A request's head, taken apart; the texts are borrowed from it.
struct Head {
    std::string_view method;
    std::string_view target;
    std::string_view authorization; ///< empty when there is none
};

static std::string_view takeUntil(std::string_view &text, std::string_view mark)
{
    const size_t end = std::min(text.find(mark), text.size());
    const std::string_view taken = text.substr(0, end);
    text.remove_prefix(std::min(end + mark.size(), text.size()));
    return taken;
}

static Head readHead(std::string_view text)
{
    static constexpr std::string_view kAuthorization = "Authorization:";
    Head head;
    std::string_view line = takeUntil(text, "\r\n");
    head.method = takeUntil(line, " ");
    head.target = takeUntil(line, " ");
    while (!text.empty()) {
        line = takeUntil(text, "\r\n");
        if (line.size() < kAuthorization.size() ||
            strncasecmp(line.data(), kAuthorization.data(), kAuthorization.size()) != 0)
            continue;
        line.remove_prefix(kAuthorization.size());
        head.authorization = line.substr(std::min(line.find_first_not_of(" \t"), line.size()));
    }
    return head;
}

/// The fields of a Digest answer: KEY=VALUE or KEY="VALUE" with commas between them.
static std::map<std::string, std::string> readDigestFields(std::string_view text)
{
    static constexpr std::string_view kScheme = "Digest ";
    std::map<std::string, std::string> fields;
    if (text.size() < kScheme.size() || strncasecmp(text.data(), kScheme.data(), kScheme.size()) != 0)
        return fields;
    text.remove_prefix(kScheme.size());
    while (!text.empty()) {
        text.remove_prefix(std::min(text.find_first_not_of(" \t,"), text.size()));
        const std::string key(takeUntil(text, "="));
        const bool isQuoted = !text.empty() && text.front() == '"';
        if (isQuoted)
            text.remove_prefix(1);
        const size_t end = isQuoted ? text.find('"') : text.find_first_of(", \t");
        fields[key] = text.substr(0, end);
        text.remove_prefix(std::min(end, text.size()));
        if (isQuoted && !text.empty())
            text.remove_prefix(1);
    }
    return fields;
}

enum class Proof { none, stale, good };

static bool takeNonce(CallListener &listener, const std::string &nonce)
{
    const auto found = std::find(listener.nonces.begin(), listener.nonces.end(), nonce);
    if (found == listener.nonces.end())
        return false;
    listener.nonces.erase(found);
    return true;
}

/// Whether the caller proves to know both texts, over a nonce that was not used before.
static Proof examine(CallListener &listener, const Head &head, const std::string &username,
                     const std::string &password)
{
    auto given = readDigestFields(head.authorization);
    const bool isFresh = takeNonce(listener, given["nonce"]);
    if (given["username"] != username || given["realm"] != kRealm || given["uri"] != head.target ||
        given["qop"] != "auth")
        return Proof::none;
    char *unused = nullptr;
    const HeapText wanted(CalcDigest(username.c_str(), password.c_str(), kRealm, given["uri"].c_str(),
                                     given["nonce"].c_str(), "auth", given["nc"].c_str(),
                                     given["cnonce"].c_str(), std::string(head.method).c_str(), &unused),
                          free);
    if (wanted == nullptr || given["response"] != wanted.get())
        return Proof::none;
    return isFresh ? Proof::good : Proof::stale;
}

static std::string makeReply(const char *status, const std::string &fields = "")
{
    return std::string("HTTP/1.1 ") + status + "\r\n" + fields +
           "Content-Length: 0\r\nConnection: close\r\n\r\n";
}

static std::string challenge(CallListener &listener, Proof proof)
{
    const HeapText nonce(CalcNonce(), free);
    if (nonce == nullptr)
        return makeReply("500 Internal Server Error");
    listener.nonces.emplace_back(nonce.get());
    if (listener.nonces.size() > kMostNonces)
        listener.nonces.pop_front();
    return makeReply("401 Unauthorized", std::string("WWW-Authenticate: Digest realm=\"") + kRealm +
                                             "\", nonce=\"" + nonce.get() +
                                             "\", qop=\"auth\", algorithm=MD5" +
                                             (proof == Proof::stale ? ", stale=true" : "") + "\r\n");
}

/// Answers a request whose head is complete. Returns whether it was admitted.
static bool answer(CallListener &listener, Caller &caller, const std::string &username,
                   const std::string &password)
{
    const Head head = readHead(caller.received);
    if (head.target != kPath) {
        caller.reply = makeReply("404 Not Found");
        return false;
    }
    if (head.method != "GET") {
        caller.reply = makeReply("405 Method Not Allowed", "Allow: GET\r\n");
        return false;
    }
    const Proof proof = examine(listener, head, username, password);
    if (proof != Proof::good && !head.authorization.empty())
        writeLog("connection request refused");
    caller.reply = proof == Proof::good ? makeReply("200 OK") : challenge(listener, proof);
    return proof == Proof::good;
}

static void drop(Caller &caller)
{
    close(caller.descriptor);
    caller.descriptor = -1;
}

/// Returns whether a request was admitted.
static bool receiveHead(CallListener &listener, Caller &caller, const std::string &username,
                        const std::string &password)
{
    char piece[2048];
    const ssize_t count = recv(caller.descriptor, piece, sizeof piece, 0);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return false;
    if (count <= 0) {
        drop(caller);
        return false;
    }
    if (caller.isAnswered) // what still comes is not read, only taken: closing over it would cut the answer
        return false;
    caller.received.append(piece, static_cast<size_t>(count));
    const size_t end = caller.received.find("\r\n\r\n");
    if (end != std::string::npos) {
        caller.received.resize(end);
        return answer(listener, caller, username, password);
    }
    if (caller.received.size() > kLongestHead)
        caller.reply = makeReply("431 Request Header Fields Too Large");
    return false;
}

static void sendReply(Caller &caller)
{
    const ssize_t count = send(caller.descriptor, caller.reply.data(), caller.reply.size(), MSG_NOSIGNAL);
    if (count < 0) {
        if (errno != EAGAIN && errno != EINTR)
            drop(caller);
        return;
    }
    caller.reply.erase(0, static_cast<size_t>(count));
    if (!caller.reply.empty())
        return;
    caller.isAnswered = true;
    shutdown(caller.descriptor, SHUT_WR);
}

static void acceptCaller(CallListener &listener)
{
    const int descriptor = accept4(listener.descriptor, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    if (descriptor < 0)
        return;
    if (listener.callers.size() >= kMostCallers) {
        close(descriptor);
        return;
    }
    Caller &caller = listener.callers.emplace_back();
    caller.descriptor = descriptor;
    caller.deadline = Clock::now() + kPatience;
}

static short readinessOf(const std::vector<pollfd> &polled, int descriptor)
{
    const auto found = std::find_if(polled.begin(), polled.end(),
                                    [=](const pollfd &entry) { return entry.fd == descriptor; });
    return found == polled.end() ? short{0} : found->revents;
}

bool serveCallers(CallListener &listener, const std::vector<pollfd> &polled, const std::string &username,
                  const std::string &password)
{
    bool isAdmitted = false;
    for (Caller &caller : listener.callers) {
        if (readinessOf(polled, caller.descriptor) != 0) {
            if (caller.reply.empty())
                isAdmitted = receiveHead(listener, caller, username, password) || isAdmitted;
            else
                sendReply(caller);
        }
        if (caller.descriptor >= 0 && Clock::now() >= caller.deadline)
            drop(caller);
    }
    listener.callers.erase(std::remove_if(listener.callers.begin(), listener.callers.end(),
                                          [](const Caller &caller) { return caller.descriptor < 0; }),
                           listener.callers.end());
    if (readinessOf(polled, listener.descriptor) != 0)
        acceptCaller(listener);
    return isAdmitted;
}
