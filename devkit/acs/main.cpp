#include "server.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

static constexpr int kUsageStatus = 2;

struct Options {
    std::string sessionFile;
    std::string listen = "127.0.0.1:0";
    std::string scheme = "none";
    std::string user = "cpe";
    std::string password = "cpe";
    int cookies = 0;
    size_t sessions = 0;
    size_t rows = 100;
    bool raw = false;
    std::vector<std::string> variables;
    ServerOptions server{"", 0, "", false, 60};
};

static void addOptions(CLI::App &app, Options &options)
{
    app.add_option("session", options.sessionFile,
                   "the session file to play; its grammar: head of sessions/tour")
        ->required();
    app.add_option("--listen", options.listen, "ADDRESS:PORT, port 0 for a free one")->capture_default_str();
    app.add_option("--auth", options.scheme, "what a device has to prove")
        ->check(CLI::IsMember({"none", "basic", "digest"}))
        ->capture_default_str();
    app.add_option("--user", options.user, "the device's user name")->capture_default_str();
    app.add_option("--password", options.password, "the device's password")->capture_default_str();
    app.add_option("--cookies", options.cookies, "cookies to set with each answer and to want back")
        ->check(CLI::Range(0, 99));
    app.add_flag("--chunked", options.server.chunked, "answer in chunked coding");
    app.add_option("--sessions", options.sessions,
                   "sessions to hold (default: one for each section of the file)");
    app.add_option("--set", options.variables, "NAME=VALUE, a variable of the session file; may be repeated")
        ->allow_extra_args(false);
    app.add_flag("--raw", options.raw, "print the envelopes themselves as well");
    app.add_option("--rows", options.rows, "rows shown of one array, 0 for all")->capture_default_str();
    app.add_option("--timeout", options.server.timeout,
                   "seconds without a word from a device before giving up")
        ->check(CLI::Range(1, 86400))
        ->capture_default_str();
    app.add_option("--port-file", options.server.portFile, "file that receives the port's number");
}

static void readListenAddress(Options &options)
{
    const size_t colon = options.listen.rfind(':');
    const std::string port = colon == std::string::npos ? "" : options.listen.substr(colon + 1);
    char *end = nullptr;
    const long number = std::strtol(port.c_str(), &end, 10);
    if (port.empty() || *end != '\0' || number < 0 || number > 65535)
        throw std::runtime_error("--listen wants ADDRESS:PORT, not \"" + options.listen + "\"");
    options.server.address = options.listen.substr(0, colon);
    options.server.port = static_cast<int>(number);
}

static Scheme readScheme(const std::string &name)
{
    if (name == "basic")
        return Scheme::basic;
    return name == "digest" ? Scheme::digest : Scheme::none;
}

static Variables readVariables(const std::vector<std::string> &settings)
{
    Variables variables;
    for (const std::string &setting : settings) {
        const size_t equals = setting.find('=');
        if (equals == std::string::npos)
            throw std::runtime_error("--set wants NAME=VALUE, not \"" + setting + "\"");
        variables[setting.substr(0, equals)] = setting.substr(equals + 1);
    }
    return variables;
}

static int run(int argc, char **argv)
{
    CLI::App app{"acsd, the desk ACS: plays a session file to a device and checks what the device says.\n"
                 "Exit status 0 when every request was answered as the file expects, 1 when not, 2 for a bad "
                 "file or option."};
    Options options;
    addOptions(app, options);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError &error) {
        return app.exit(error) == 0 ? EXIT_SUCCESS : kUsageStatus;
    }
    readListenAddress(options);
    const Transcript transcript{isatty(STDOUT_FILENO) != 0, options.raw, options.rows};
    Desk desk = openDesk(readSessionFile(options.sessionFile), options.sessions, options.cookies,
                         {readScheme(options.scheme), options.user, options.password, {}}, transcript,
                         readVariables(options.variables));
    return serveDesk(desk, options.server) ? EXIT_SUCCESS : EXIT_FAILURE;
}

int main(int argc, char **argv)
{
    try {
        return run(argc, argv);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "acsd: %s\n", error.what());
        return kUsageStatus;
    }
}
