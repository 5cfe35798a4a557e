#include "desk.h"

#include "envelope.h"

#include <algorithm>

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

void addProblem(Desk &desk, const std::string &problem)
{
    printProblem(desk.transcript, problem);
    desk.problems.push_back(problem);
}

void addProblems(Desk &desk, const std::string &where, const std::vector<std::string> &problems)
{
    for (const std::string &problem : problems)
        addProblem(desk, where + problem);
}

std::string placeOf(const RequestLine &request)
{
    return "line " + std::to_string(request.line) + ", " + request.rpc + ": ";
}

static void checkRequests(const SessionFile &file)
{
    for (const Section &section : file.sections) {
        for (const RequestLine &request : section.requests) {
            try {
                if (request.rpc[0] != '@')
                    buildRequest(request.rpc, request.words, "0");
            } catch (const std::invalid_argument &error) {
                throw SessionFileError(file.path + ":" + std::to_string(request.line) + ": " + error.what());
            }
        }
    }
}

Desk openDesk(SessionFile file, size_t sessionsWanted, int cookies, Guard guard, Transcript transcript,
              Variables variables)
{
    checkRequests(file);
    Desk desk{};
    desk.sessionsWanted = sessionsWanted == 0 ? file.sections.size() : sessionsWanted;
    desk.file = std::move(file);
    desk.cookies = cookies;
    desk.guard = std::move(guard);
    desk.transcript = transcript;
    desk.variables = std::move(variables);
    desk.lastHeard = Clock::now();
    return desk;
}

bool isDone(const Desk &desk)
{
    return !desk.session && desk.sessionsHeld >= desk.sessionsWanted;
}

void endSession(Desk &desk)
{
    if (desk.session->counts)
        ++desk.sessionsHeld;
    desk.session.reset();
}

/// Ends a session before its time.
///
/// @param hungUp  the device did it, which a request may expect
static void breakOff(Desk &desk, const std::string &reason, bool hungUp)
{
    Session &session = *desk.session;
    const std::vector<RequestLine> &requests = session.section.requests;
    const bool expected = hungUp && session.waiting && requests[session.played - 1].expectsHangUp;
    if (expected) {
        ++desk.requestsAnswered;
        printHeadline(desk.transcript,
                      {secondsSince(session.start), true, "(hung up)", "", 0, "as expected", false});
    } else {
        addProblem(desk, session.waiting
                             ? placeOf(requests[session.played - 1]) + reason + " instead of answering"
                             : reason + " before the session was over");
        if (session.played < requests.size())
            addProblem(desk,
                       std::to_string(requests.size() - session.played) + " more requests were not played");
    }
    endSession(desk);
}

void endConnection(Desk &desk, unsigned connection)
{
    if (desk.session && desk.session->connection == connection)
        breakOff(desk, "the device hung up", true);
    if (desk.refused.erase(connection) != 0) {
        addProblem(desk, "the device hung up without credentials that are accepted");
        ++desk.sessionsHeld;
    }
}

static bool carriesEvents(const Message &inform, const std::vector<std::string> &events)
{
    const RowGroup *carried = findGroup(inform, "Event");
    return std::all_of(events.begin(), events.end(), [carried](const std::string &event) {
        return carried != nullptr && std::any_of(carried->rows.begin(), carried->rows.end(),
                                                 [&event](const Row &row) { return row.name == event; });
    });
}

void beginSession(Desk &desk, const Post &post, const Message &inform)
{
    if (desk.session)
        breakOff(desk, "the device began anew", true);
    desk.refused.erase(post.connection);
    Session session{};
    session.connection = post.connection;
    session.counts = true;
    session.start = session.lastReply = Clock::now();
    session.openingChecked = true;
    if (desk.sectionsPlayed < desk.file.sections.size()) {
        const Section &next = desk.file.sections[desk.sectionsPlayed];
        session.counts = carriesEvents(inform, next.events);
        if (session.counts) {
            session.section = next;
            session.openingChecked = false;
            ++desk.sectionsPlayed;
        }
    }
    desk.session = session;
    std::string title = "Session " + std::to_string(desk.sessionsHeld + 1) + " of " +
                        std::to_string(desk.sessionsWanted) + ", device at " + post.remote;
    if (!session.counts)
        title = "A session between, device at " + post.remote;
    printTitle(desk.transcript, title);
}

static size_t countRequests(const Desk &desk)
{
    size_t count = 0;
    for (size_t i = 0; i < desk.file.sections.size() && i < desk.sessionsWanted; ++i)
        count += desk.file.sections[i].requests.size();
    return count;
}

static std::string plural(size_t count, const std::string &noun)
{
    return std::to_string(count) + " " + noun + (count == 1 ? "" : "s");
}

bool closeDesk(Desk &desk)
{
    if (desk.session)
        breakOff(desk, "the desk was closed", false);
    const size_t requests = countRequests(desk);
    if (desk.sessionsHeld < desk.sessionsWanted)
        desk.problems.push_back("only " + plural(desk.sessionsHeld, "session") + " of " +
                                std::to_string(desk.sessionsWanted) + " came");
    const bool healthy = desk.problems.empty() && desk.requestsAnswered == requests;
    std::string verdict = std::string(healthy ? "healthy: " : "FAILED: ") +
                          plural(desk.sessionsHeld, "session") + ", " +
                          std::to_string(desk.requestsAnswered) + " of " + plural(requests, "request") +
                          " answered as they should be";
    if (desk.faultsExpected > 0)
        verdict += ", " + plural(desk.faultsExpected, "fault") + " among the answers as expected";
    if (!desk.problems.empty())
        verdict += "; " + plural(desk.problems.size(), "problem") + ", the first: " + desk.problems[0];
    printVerdict(desk.transcript, healthy, verdict);
    return healthy;
}
