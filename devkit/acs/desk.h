#pragma once

// The server's side of the sessions: what is answered to each post of a device. Knows nothing of sockets and
// threads.

#include "answer.h"
#include "authentication.h"
#include "transcript.h"

#include <chrono>
#include <optional>
#include <set>

/// One HTTP POST of a device.
struct Post {
    unsigned connection; ///< number of the TCP connection it came on
    std::string remote;  ///< the device's address and port
    std::string target;  ///< the request's path
    std::string authorization;
    std::string cookie;
    std::string body;
};

/// The answer to one post.
struct Reply {
    int status;
    std::string challenge; ///< WWW-Authenticate, with status 401
    std::vector<std::string> cookies;
    std::string body;
};

using Clock = std::chrono::steady_clock;

/// The session that is being held.
struct Session {
    unsigned connection;
    Section section; ///< what is played in it
    bool counts;     ///< false for a session let go because its section waits for other events
    size_t played;   ///< requests of the section sent so far
    bool waiting;    ///< the last of them is not answered yet
    Awaited awaited;
    std::vector<RowGroup> opening; ///< rows of the Inform and the TransferComplete
    bool openingChecked;
    Clock::time_point start;
    Clock::time_point lastReply;
    int replies;
    std::vector<std::string> cookies; ///< NAME=VALUE as last given out
};

struct Desk {
    SessionFile file;
    size_t sessionsWanted; ///< sessions to hold before the desk is done
    int cookies;           ///< given out with each answer
    Guard guard;
    Transcript transcript;
    Variables variables;

    std::optional<Session> session;
    std::set<unsigned> refused; ///< connections that were challenged and have not begun a session
    size_t sectionsPlayed;
    size_t sessionsHeld;
    size_t requestsAnswered;
    size_t faultsExpected; ///< faults among the answers, each of them expected
    std::vector<std::string> problems;
    Clock::time_point lastHeard;
};

/// A desk that has heard nothing yet.
///
/// @param sessionsWanted  0: one for each section of the file
/// @throws SessionFileError when an RPC of the file has arguments that it cannot have
Desk openDesk(SessionFile file, size_t sessionsWanted, int cookies, Guard guard, Transcript transcript,
              Variables variables);

/// Takes one post, prints it and what is answered. (talk.cpp; what is below is its ground.)
Reply answerPost(Desk &desk, const Post &post);

/// Begins a session and picks what is played in it: the next section of the file, if its events have come.
///
/// @param inform  what the device began it with
void beginSession(Desk &desk, const Post &post, const Message &inform);

/// Ends the session; it counts as held unless it was let go.
void endSession(Desk &desk);

/// A connection has closed. A session that is held on it has come to its end, early or as the file expects.
void endConnection(Desk &desk, unsigned connection);

/// Notes something wrong that no post carried, such as a time that ran out.
void addProblem(Desk &desk, const std::string &problem);

/// Notes several, each behind the place where it was found.
void addProblems(Desk &desk, const std::string &place, const std::vector<std::string> &problems);

/// "line 7, Reboot: ", for what is said of a request.
std::string placeOf(const RequestLine &request);

double secondsSince(Clock::time_point start);

bool isDone(const Desk &desk);

/// Prints the verdict.
///
/// @return true when every request was answered and nothing was wrong
bool closeDesk(Desk &desk);
