#include "server.h"

#include <atomic>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <httplib.h>
#include <memory>
#include <mutex>
#include <thread>

static constexpr char kPath[] =
    "/acs"; // never empty: a device sends an empty path as it is, and that is not HTTP
static constexpr size_t kLargestPost = size_t{64}
                                       << 20U; // bytes; a gateway's whole tree takes a few hundred KiB
static constexpr size_t kMostPosts = 1000000;  // on one connection; a session is never cut
static constexpr auto kTick = std::chrono::milliseconds(50);
/// How long a device may take to hang up after its last answer.
static constexpr auto kLeaveTime = std::chrono::seconds(2);

static volatile std::sig_atomic_t s_stopSignal = 0;
static thread_local unsigned s_connection = 0; // number of the connection that this thread serves
static thread_local bool s_answered = false;   // the desk has answered the request that this thread is at

/// The connections that are open; outlives the server, because their threads do.
struct Connections {
    std::mutex mutex;
    std::condition_variable changed;
    unsigned last = 0; ///< number of the newest
    unsigned open = 0;
};

/// One thread a connection. The HTTP library gives each connection to a task as a whole, so that a task's end
/// is the only sign that the device has hung up.
struct ConnectionThreads : httplib::TaskQueue {
    std::shared_ptr<Connections> connections;
    std::function<void(unsigned)> ended;

    void enqueue(std::function<void()> serve) override
    {
        const std::lock_guard<std::mutex> lock(connections->mutex);
        const unsigned number = ++connections->last;
        ++connections->open;
        std::thread([shared = connections, number, serve = std::move(serve), tell = ended] {
            s_connection = number;
            serve();
            tell(number);
            const std::lock_guard<std::mutex> inner(shared->mutex);
            --shared->open;
            shared->changed.notify_all();
        }).detach();
    }

    void shutdown() override {}
};

static void noteSignal(int number)
{
    s_stopSignal = number;
}

/// Sends a body in chunks from one byte to more than a device's read at once.
static void setChunkedBody(httplib::Response &response, const std::string &body, const char *type)
{
    response.set_chunked_content_provider(type, [body](size_t, httplib::DataSink &sink) {
        static constexpr size_t kSizes[] = {150, 1, 64, 1200};
        size_t turn = 0;
        for (size_t at = 0; at < body.size(); ++turn) {
            const size_t size = std::min(kSizes[turn % std::size(kSizes)], body.size() - at);
            if (!sink.write(body.data() + at, size))
                return false;
            at += size;
        }
        sink.done();
        return true;
    });
}

static void fillResponse(httplib::Response &response, const Reply &reply, bool chunked)
{
    static constexpr char kType[] = "text/xml; charset=utf-8";
    response.status = reply.status;
    if (!reply.challenge.empty())
        response.set_header("WWW-Authenticate", reply.challenge);
    for (const std::string &cookie : reply.cookies)
        response.set_header("Set-Cookie", cookie + "; Path=/; HttpOnly");
    if (!reply.body.empty() && chunked)
        setChunkedBody(response, reply.body, kType);
    else if (!reply.body.empty())
        response.set_content(reply.body, kType);
}

static Post readPost(const httplib::Request &request)
{
    return {s_connection,
            request.remote_addr + ":" + std::to_string(request.remote_port),
            request.target,
            request.get_header_value("Authorization"),
            request.get_header_value("Cookie"),
            request.body};
}

static void setUpServer(httplib::Server &server, const ServerOptions &options)
{
    server.set_keep_alive_max_count(kMostPosts);
    server.set_keep_alive_timeout(options.timeout);
    server.set_read_timeout(options.timeout);
    server.set_write_timeout(options.timeout);
    server.set_payload_max_length(kLargestPost);
    server.set_tcp_nodelay(true);
    // Without the library's SO_REUSEPORT, under which two desks on one port would share the devices.
    server.set_socket_options([](socket_t socket) {
        const int yes = 1;
        setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    });
}

static int bindServer(httplib::Server &server, const ServerOptions &options)
{
    int port = options.port;
    const bool bound = port != 0 ? server.bind_to_port(options.address, port)
                                 : (port = server.bind_to_any_port(options.address)) > 0;
    if (!bound)
        throw std::runtime_error("cannot listen on " + options.address + ":" + std::to_string(options.port));
    return port;
}

/// Writes the port's number so that a reader sees it whole or not at all.
static void writePortFile(const std::string &path, int port)
{
    const std::string draft = path + ".part";
    std::ofstream(draft) << port << '\n';
    std::error_code error;
    std::filesystem::rename(draft, path, error);
    if (error)
        throw std::runtime_error("cannot write " + path);
}

/// Waits for the desk to be done.
static void waitForEnd(Desk &desk, std::mutex &deskMutex, std::condition_variable &changed, int timeout)
{
    std::unique_lock<std::mutex> lock(deskMutex);
    while (!isDone(desk) && s_stopSignal == 0) {
        if (Clock::now() - desk.lastHeard > std::chrono::seconds(timeout)) {
            addProblem(desk, "nothing was heard for " + std::to_string(timeout) + " s");
            return;
        }
        changed.wait_for(lock, kTick);
    }
    if (s_stopSignal != 0)
        addProblem(desk, "stopped by signal " + std::to_string(s_stopSignal));
}

static bool waitForHangUp(Connections &connections)
{
    std::unique_lock<std::mutex> lock(connections.mutex);
    return connections.changed.wait_for(lock, kLeaveTime, [&connections] { return connections.open == 0; });
}

bool serveDesk(Desk &desk, const ServerOptions &options)
{
    std::mutex deskMutex;
    std::condition_variable changed;
    const auto connections = std::make_shared<Connections>();
    httplib::Server server;
    setUpServer(server, options);
    server.new_task_queue = [&] {
        auto *threads = new ConnectionThreads; // the server deletes it
        threads->connections = connections;
        threads->ended = [&](unsigned number) {
            const std::lock_guard<std::mutex> lock(deskMutex);
            endConnection(desk, number);
            changed.notify_all();
        };
        return threads;
    };
    server.Post(".*", [&](const httplib::Request &request, httplib::Response &response) {
        const std::lock_guard<std::mutex> lock(deskMutex);
        s_answered = true;
        fillResponse(response, answerPost(desk, readPost(request)), options.chunked);
        changed.notify_all();
    });

    // What never reached the desk: a request that is no POST, or no HTTP.
    server.set_error_handler([&](const httplib::Request &request, httplib::Response &response) {
        const std::lock_guard<std::mutex> lock(deskMutex);
        if (!s_answered)
            printProblem(desk.transcript, "HTTP status " + std::to_string(response.status) +
                                              " for a request \"" + request.method + " " + request.target +
                                              "\"");
    });
    server.set_logger([](const httplib::Request &, const httplib::Response &) { s_answered = false; });

    const int port = bindServer(server, options);
    std::printf("acsd: listening on http://%s:%d%s\n", options.address.c_str(), port, kPath);
    std::fflush(stdout);
    if (!options.portFile.empty())
        writePortFile(options.portFile, port);
    std::signal(SIGINT, noteSignal);
    std::signal(SIGTERM, noteSignal);

    std::atomic<bool> left{false};
    std::thread listener([&server, &left] {
        server.listen_after_bind();
        left = true;
    });
    // A server that does not run yet cannot be stopped.
    while (!server.is_running() && !left)
        std::this_thread::yield();
    waitForEnd(desk, deskMutex, changed, options.timeout);
    server.stop();
    listener.join();
    const bool idle = waitForHangUp(*connections);
    const std::lock_guard<std::mutex> lock(deskMutex);
    const bool healthy = closeDesk(desk);
    if (!idle)
        std::_Exit(healthy ? EXIT_SUCCESS : EXIT_FAILURE);
    return healthy;
}
