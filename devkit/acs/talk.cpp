#include "desk.h"

#include "envelope.h"

#include <algorithm>
#include <cmath>

static constexpr size_t kTokenBytes = 8;
/// Cookies that a device keeps of one answer.
static constexpr int kMostCookiesKept = 20;

/// The variable that the instance number of an AddObject goes to.
static std::string findInstanceVariable(const std::vector<std::string> &words)
{
    for (const std::string &word : words)
        if (word.compare(0, 3, "as=") == 0)
            return word.substr(3);
    return "i";
}

static std::string describeWait(const Session &session)
{
    return std::to_string(std::lround(secondsSince(session.lastReply) * 1000)) + " ms";
}

static void printPost(const Desk &desk, const Post &post, const std::string &what, const std::string &note,
                      bool alarming)
{
    const double seconds = desk.session ? secondsSince(desk.session->start) : 0;
    printHeadline(desk.transcript, {seconds, true, what, "POST", post.body.size(), note, alarming});
}

/// Prints an answer on its way out and gives it its cookies.
static Reply sendReply(Desk &desk, const std::string &what, Reply reply, const std::string &note)
{
    Session &session = *desk.session;
    ++session.replies;
    // The first cookie names the session, the others change with every answer.
    for (int i = 0; i < desk.cookies; ++i) {
        const bool names = i == 0;
        if (names && !session.cookies.empty())
            reply.cookies.push_back(session.cookies[0]);
        else
            reply.cookies.push_back("desk" + std::to_string(i + 1) + "=" +
                                    (names ? makeToken(kTokenBytes) : std::to_string(session.replies)));
    }
    if (desk.cookies > 0)
        session.cookies = reply.cookies;
    printHeadline(desk.transcript, {secondsSince(session.start), false, what, std::to_string(reply.status),
                                    reply.body.size(), note, reply.status >= 400});
    session.lastReply = Clock::now();
    return reply;
}

static bool isInSession(const Desk &desk, const Post &post)
{
    return desk.session && desk.session->connection == post.connection;
}

static Reply refusePost(Desk &desk, const Post &post, const std::string &refusal)
{
    Reply reply{401, makeChallenge(desk.guard), {}, ""};
    if (!isInSession(desk, post) && desk.refused.insert(post.connection).second)
        printTitle(desk.transcript, "Device at " + post.remote);
    printPost(desk, post, "(" + refusal + ")", "", false);
    printHeadline(
        desk.transcript,
        {0, false, reply.challenge.substr(0, reply.challenge.find(' ')) + " challenge", "401", 0, "", false});
    return reply;
}

/// A post that belongs to no session, or that is no message at all.
static Reply rejectPost(Desk &desk, const std::string &problem)
{
    addProblem(desk, problem);
    printHeadline(desk.transcript, {0, false, "(rejected)", "400", 0, "", true});
    return {400, "", {}, ""};
}

/// The cookies of an answer come back joined in the order they were set, as far as a device keeps them.
static void checkCookies(Desk &desk, const std::string &header)
{
    std::vector<std::string> came;
    for (size_t at = 0; at < header.size();) {
        const size_t end = std::min(header.find(';', at), header.size());
        const size_t first = header.find_first_not_of(' ', at);
        const size_t last = header.find_last_not_of(' ', end - 1);
        if (first < end)
            came.push_back(header.substr(first, last + 1 - first));
        at = end + 1;
    }
    std::vector<std::string> wanted = desk.session->cookies;
    wanted.resize(std::min<size_t>(wanted.size(), kMostCookiesKept));
    if (desk.cookies > 0 && came != wanted)
        addProblem(desk, "the cookies came back as \"" + header + "\"");
}

static Reply finishSession(Desk &desk)
{
    const std::string note = desk.session->counts ? "" : "other events are waited for";
    Reply reply = sendReply(desk, "(nothing more)", {204, "", {}, ""}, note);
    reply.cookies.clear();
    endSession(desk);
    return reply;
}

static std::string describeExpectation(const RequestLine &request)
{
    std::string note = "line " + std::to_string(request.line);
    if (request.expectedFault != 0)
        note += ", " + std::to_string(request.expectedFault) + " expected";
    if (request.expectsHangUp)
        note += ", hanging up expected";
    return note;
}

/// A raw envelope tells itself what has to come back. A Fault asks for the answer before it once more.
static void awaitRaw(Session &session, const std::string &envelope)
{
    const Message message = readMessage(envelope);
    if (message.method != "Fault")
        session.awaited = {message.method, message.id, {}};
}

/// Writes the request and notes what has to come back.
static std::string writeRequest(Desk &desk, const RequestLine &request)
{
    Session &session = *desk.session;
    if (!request.envelope.empty()) {
        awaitRaw(session, request.envelope);
        return request.envelope;
    }
    Awaited awaited{request.rpc, std::to_string(desk.sectionsPlayed * 1000 + session.played), {}};
    for (const std::string &word : request.words)
        awaited.words.push_back(replaceVariables(word, desk.variables));
    session.awaited = awaited;
    return buildRequest(awaited.rpc, awaited.words, awaited.id);
}

/// Sends the next request of the section; with none left, ends the session.
static Reply sendNext(Desk &desk)
{
    Session &session = *desk.session;
    if (!session.openingChecked) {
        session.openingChecked = true;
        addProblems(desk, "", checkValues(session.section.opening, session.opening, desk.variables));
    }
    if (session.played == session.section.requests.size())
        return finishSession(desk);

    const RequestLine &request = session.section.requests[session.played++];
    std::string envelope;
    try {
        envelope = writeRequest(desk, request);
    } catch (const std::invalid_argument &error) {
        addProblem(desk, placeOf(request) + error.what());
        return sendNext(desk);
    }
    session.waiting = true;
    const bool isRaw = !request.envelope.empty();
    const std::string what = isRaw ? session.awaited.rpc + " " + request.rpc : request.rpc;
    Reply reply = sendReply(desk, what, {200, "", {}, envelope}, describeExpectation(request));
    printArguments(desk.transcript, isRaw ? std::vector<std::string>{} : session.awaited.words, envelope);
    return reply;
}

static Reply takeInform(Desk &desk, const Post &post, const Message &inform)
{
    beginSession(desk, post, inform);
    printPost(desk, post, "Inform", "", false);
    printContents(desk.transcript, inform, post.body);
    addProblems(desk, "Inform: ", checkInform(inform));
    desk.session->opening = inform.groups;
    Reply reply = sendReply(desk, "InformResponse", {200, "", {}, buildInformResponse(inform.id)}, "");
    printArguments(desk.transcript, {}, reply.body);
    return reply;
}

static Reply takeTransferComplete(Desk &desk, const Post &post, const Message &message)
{
    Session &session = *desk.session;
    printPost(desk, post, message.method, describeWait(session), findField(message, "FaultCode") != "0");
    printContents(desk.transcript, message, post.body);
    addProblems(desk, "TransferComplete: ", checkTransferComplete(message));
    session.opening.insert(session.opening.end(), message.groups.begin(), message.groups.end());
    Reply reply = sendReply(desk, "TransferCompleteResponse",
                            {200, "", {}, buildTransferCompleteResponse(message.id)}, "");
    printArguments(desk.transcript, {}, reply.body);
    return reply;
}

static void takeAnswer(Desk &desk, const Post &post, const Message &message)
{
    Session &session = *desk.session;
    const bool isFault = message.method == "Fault";
    if (!session.waiting) {
        printPost(desk, post, nameMessage(message), describeWait(session), true);
        printContents(desk.transcript, message, post.body);
        addProblem(desk, nameMessage(message) + " came unasked");
        return;
    }
    session.waiting = false;
    const RequestLine &request = session.section.requests[session.played - 1];
    const bool expected = isFault && message.faultCode == request.expectedFault;
    printPost(desk, post, nameMessage(message), describeWait(session) + (expected ? ", as expected" : ""),
              isFault && !expected);
    printContents(desk.transcript, message, post.body);
    if (request.rpc == "AddObject" && !isFault)
        desk.variables[findInstanceVariable(request.words)] = findField(message, "InstanceNumber");

    std::vector<std::string> problems = checkAnswer(message, session.awaited, request, desk.variables);
    if (request.expectsHangUp)
        problems.emplace_back("the device was expected to hang up, not to answer");
    addProblems(desk, placeOf(request), problems);
    if (problems.empty())
        ++desk.requestsAnswered;
    if (problems.empty() && isFault)
        ++desk.faultsExpected;
}

static Reply takeEmptyPost(Desk &desk, const Post &post)
{
    Session &session = *desk.session;
    printPost(desk, post, "(empty)", describeWait(session), session.waiting);
    if (session.waiting) {
        session.waiting = false;
        addProblem(desk,
                   placeOf(session.section.requests[session.played - 1]) + "an empty post is no answer");
    }
    return sendNext(desk);
}

Reply answerPost(Desk &desk, const Post &post)
{
    desk.lastHeard = Clock::now();
    const std::string refusal = findRefusal(desk.guard, "POST", post.target, post.authorization);
    if (!refusal.empty())
        return refusePost(desk, post, refusal);

    const Message message = post.body.empty() ? Message{} : readMessage(post.body);
    if (message.method == "Inform")
        return takeInform(desk, post, message);
    if (!isInSession(desk, post)) {
        printTitle(desk.transcript, "Device at " + post.remote);
        printPost(desk, post, post.body.empty() ? "(empty)" : nameMessage(message), "", true);
        printContents(desk.transcript, message, post.body);
        addProblems(desk, "", message.problems);
        return rejectPost(desk, "a post outside a session");
    }
    checkCookies(desk, post.cookie);
    if (post.body.empty())
        return takeEmptyPost(desk, post);
    if (message.method == "TransferComplete")
        return takeTransferComplete(desk, post, message);
    takeAnswer(desk, post, message);
    return sendNext(desk);
}
