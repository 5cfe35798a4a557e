#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <httplib.h>
#include <thread>

// filesd: serves the files of one folder by GET and takes files into it by PUT. A PUT is always answered with
// 200, which is what an upload test of a device takes for a success. Exit status 2 for a bad option.

struct Options {
    std::string folder;
    std::string portFile;
    int port = 0;
};

/// The file that a path stands for: directly in the folder, since a file that is put must not land elsewhere.
static std::filesystem::path findFile(const Options &options, const std::string &path)
{
    const std::filesystem::path name = std::filesystem::path(path).filename();
    return name.empty() || name == "." || name == ".." ? std::filesystem::path()
                                                       : std::filesystem::path(options.folder) / name;
}

static void storeFile(const Options &options, const httplib::Request &request, httplib::Response &response)
{
    const std::filesystem::path file = findFile(options, request.path);
    std::ofstream out(file, std::ios::binary);
    out << request.body;
    response.status = out.flush() ? 200 : 403;
}

static void logRequest(const httplib::Request &request, const httplib::Response &response)
{
    std::printf("filesd: %s %s %d, %zu bytes\n", request.method.c_str(), request.path.c_str(),
                response.status, std::max(request.body.size(), response.body.size()));
    std::fflush(stdout);
}

static void setUpServer(httplib::Server &server, const Options &options)
{
    if (!server.set_mount_point("/", options.folder))
        throw std::runtime_error("no folder " + options.folder);
    server.Put(".*", [&options](const httplib::Request &request, httplib::Response &response) {
        storeFile(options, request, response);
    });
    server.set_logger(logRequest);
    server.set_tcp_nodelay(true);
}

/// Writes the port's number so that a reader sees it whole or not at all.
static void writePortFile(const std::string &path, int port)
{
    const std::string draft = path + ".part";
    std::ofstream(draft) << port << '\n';
    std::filesystem::rename(draft, path);
}

static void serveUntilSignal(const Options &options)
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    pthread_sigmask(SIG_BLOCK, &signals, nullptr); // for the server's threads as well
    httplib::Server server;
    setUpServer(server, options);
    const int port = options.port != 0 && server.bind_to_port("127.0.0.1", options.port)
                         ? options.port
                         : server.bind_to_any_port("127.0.0.1");
    if (port <= 0 || (options.port != 0 && port != options.port))
        throw std::runtime_error("cannot listen on port " + std::to_string(options.port));
    if (!options.portFile.empty())
        writePortFile(options.portFile, port);
    std::thread listener([&server] { server.listen_after_bind(); });
    int caught = 0;
    sigwait(&signals, &caught);
    server.stop();
    listener.join();
}

static int run(int argc, char **argv)
{
    Options options;
    CLI::App app("filesd, the desk's file server: GET and PUT of the files of a folder, on 127.0.0.1");
    app.add_option("folder", options.folder, "what is served")->required();
    app.add_option("--port", options.port, "0 for a free one")->capture_default_str();
    app.add_option("--port-file", options.portFile, "file that receives the port's number");
    CLI11_PARSE(app, argc, argv);
    serveUntilSignal(options);
    return 0;
}

int main(int argc, char **argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "filesd: %s\n", error.what());
        return 2;
    }
}
