#pragma once

#include <functional>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

// What the client finds when it pauses (usleep, which returns at once) and when it waits (select).

extern std::vector<useconds_t> pauses;
extern std::function<void()> onPause, onWait;
extern timeval waitAsked;
extern int longestWait; ///< milliseconds, whatever was asked
extern int vainWaits;

/// No pauses yet, nothing to be called, waits of at most 5 s.
void resetWaits();

/// One answer of a scripted HTTP server.
struct ScriptedAnswer {
    std::string bytes;
    size_t pieceSize = 0;    ///< sent in writes of this many bytes, with a short pause between; 0: in one
    bool closeAfter = false; ///< the connection is closed behind it
};

/// An answer with its Content-Length.
inline std::string httpAnswer(int status, const std::string &body = "")
{
    return "HTTP/1.1 " + std::to_string(status) + " X\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

/// A server on a free port of 127.0.0.1, in a thread of its own: takes one whole request for each answer, on
/// the connection at hand or, when the client closed that, on the next one.
class ScriptedServer
{
    std::vector<ScriptedAnswer> answers;
    std::vector<std::string> received;
    int listener;
    int connection = -1;
    int portNumber = 0;
    std::thread thread;

    void run();
    std::string readRequest();
    void sendAnswer(const ScriptedAnswer &answer);

  public:
    explicit ScriptedServer(std::vector<ScriptedAnswer> script);
    ~ScriptedServer();
    [[nodiscard]] int port() const { return portNumber; }
    [[nodiscard]] std::string url(const std::string &path = "/cwmp") const
    {
        return "http://127.0.0.1:" + std::to_string(portNumber) + path;
    }

    /// The requests, the value of their Date headers masked ("Date: *"); to be asked when the client has
    /// closed.
    std::vector<std::string> requests();
};
