#include "acs_connection.h"
#include "daemon.h"
#include "dispatch.h"
#include "http_client.h"
#include "inform_exchange.h"
#include "inform_parameters.h"
#include "request_queue.h"
#include "session_header.h"
#include "session_loop.h"
#include "session_state.h"
#include "settings.h"

#include "SOAPParser.h"
#include "acs_message.h"
#include "failing_allocator.h"
#include "owned.h"
#include "platform_services.h"
#include "scripted_platform.h"
#include "text.h"
#include "texts.h"

#include <algorithm>
#include <cstring>
#include <deque>
#include <gtest/gtest.h>
#include <iconv.h>
#include <map>

using std::string;
using std::to_string;

// The session over a scripted bus and, in the HTTP client's place, a scripted server: every post is kept, and
// answered by the next reply of the script.

struct Reply {
    int status;
    string body; // "%ID%" stands for the ID of the message that was posted; empty: no body
};

static std::vector<string> posts;
static std::deque<Reply> replies;
static int connectResult = 0;
static string givenUrl, givenUsername;

const char *s_pcTr069Method = nullptr;

int http_init(const char *url, const char *username, const char *, const char *)
{
    givenUrl = url;
    givenUsername = username;
    return connectResult;
}
void CloseHttpSession() {}
int http_destroy() { return 0; }

static string between(const string &text, const string &open, const string &close)
{
    const size_t at = text.find(open), begin = at + open.size();
    return at == text.npos ? "" : text.substr(begin, text.find(close, begin) - begin);
}

const auto sessionIdOf = [](const string &message) {
    return between(message, "<cwmp:ID SOAP-ENV:mustUnderstand=\"1\">", "</cwmp:ID>");
};

char *SendSoapMessage(const char *body, int length, int *status)
{
    posts.emplace_back(body == nullptr ? "" : string(body, static_cast<size_t>(length)));
    if (replies.empty())
        return nullptr; // a send that failed leaves the status as it was
    Reply reply = replies.front();
    replies.pop_front();
    *status = reply.status;
    const size_t id = reply.body.find("%ID%");
    if (id != string::npos)
        reply.body.replace(id, 4, sessionIdOf(posts.back()));
    return reply.body.empty() ? nullptr : getMsg(reply.body.c_str());
}

extern "C" {
int MSG_RegModule(int, int) { return 0; }
int MSG_UnregModule(int, int) { return 0; }
int MSG_AllModStartOK() { return 0; }
int Safe_CheckBase64Encode(const char *text) { return strncmp(text, "base64:", 7) == 0; }
int Safe_Base64Decode(const char *text, char *buffer)
{
    return static_cast<int>(string(text + 7).copy(buffer, string::npos));
}
}

using Text = const string &;

static string message(Text id, Text body, Text header = "")
{
    const string idEntry = "<c:ID e:mustUnderstand=\"1\">" + id + "</c:ID>";
    return envelope(body, tag("e:Header", idEntry + header));
}

static string informResponse(Text id = "%ID%", Text most = "1", Text header = "")
{
    return message(id, tag("c:InformResponse", tag("MaxEnvelopes", most)), header);
}

static string faultOf(Text soap, Text cwmp, int code, Text text)
{
    const string detail = tag("FaultCode", to_string(code)) + tag("FaultString", text);
    return tag(soap + "Fault", tag("faultcode", "Client") + tag("faultstring", "CWMP Fault") +
                                   tag("detail", tag(cwmp + "Fault", detail)));
}
const auto fault = [](int code) { return message("9", faultOf("e:", "c:", code, "no")); };
const auto faultAnswer = [](int code, Text text) { return faultOf("SOAP-ENV:", "cwmp:", code, text); };

const auto names = [](Text name) { return array("ParameterNames", "x:string[1]", tag("string", name)); };
const auto getValues = [](Text name) { return message("7", tag("c:GetParameterValues", names(name))); };
static const string oneValue = array("ParameterList", "c:ParameterValueStruct[1]",
                                     tag("ParameterValueStruct", tag("Name", "A") + tag("Value", "1")));
static const string getMethods = message("5", "<c:GetRPCMethods/>");

// A backend that knows every parameter (value "v<\xE9") and accepts everything.
static std::map<int, string> answers; // by operation

static string answerValues(const string &request)
{
    uint32_t count = 0;
    memcpy(&count, request.data(), sizeof count);
    string values = u32(0) + u32(count);
    const char *name = request.data() + sizeof count;
    for (uint32_t i = 0; i < count; ++i, name += strlen(name) + 1)
        values += text(string(name) + " string=v<\xE9");
    return values;
}

static string answerBus(const SentMessage &message)
{
    if (answers.count(message.operation) != 0)
        return answers[message.operation];
    return message.operation == 10 ? answerValues(message.body) : u32(0) + u32(0) + u32(0);
}

static void begin(std::deque<Reply> script, const string &reported = "1 BOOT=;")
{
    stateMachine_close();
    freeOptionTexts();
    gAcsUrlOverride = cl_conreq_url = cl_xternal_ip = nullptr;
    for (char *&slot : gSOAPReqBuf) {
        free(slot);
        slot = nullptr;
    }
    gSOAPReqBuf_Count = gSOAPReqBuf_RefCount = -1;
    transferCompletePending = sendEmptyPost = gRetryCountOverride = connectResult = 0;
    const auto eventCount = static_cast<uint16_t>(std::count(reported.begin(), reported.end(), ';'));
    answers = {{45, u16(eventCount) + reported}, {52, text("k") + text("0") + text("s") + text("c")}};
    posts.clear();
    replies = std::move(script);
    startAnsweringBus(answerBus);
    stateMachine_init();
}

// A whole run. Gives what was posted, each message by its method and a blank: "cwmp:Inform ", and only the
// blank for no message.
static string runDaemon(int argumentCount = 1)
{
    char name[] = "tr069fe", *arguments[] = {name, nullptr};
    EXPECT_EQ(1, tr069_daemon_main(argumentCount, arguments + 1 - argumentCount));
    string all;
    for (const string &post : posts)
        all += between(post, "<SOAP-ENV:Body><", ">") + " ";
    return all;
}

// Serves one request and gives what was posted for it.
static string serve(string request)
{
    posts.clear();
    replies = {{200, ""}};
    processACSRequestMsg(request.data(), 1);
    return posts.empty() ? "(nothing)" : posts[0];
}

// What stands in the body of the answer.
static string answerTo(const string &method, const string &arguments)
{
    const string answer = serve(message("1", tag("c:" + method, arguments)));
    return answer == "(nothing)" ? answer : between(answer, "<SOAP-ENV:Body>", "</SOAP-ENV:Body>");
}

class Session : public testing::Test
{
    void SetUp() override { begin({}); }
    void TearDown() override
    {
        stateMachine_close();
        EXPECT_EQ(0, messagesHeld());
    }
};

TEST_F(Session, KeepsItsState)
{
    const auto set = [](const char *name, int value) { return setState(name, value, nullptr, nullptr); };
    const auto get = [](const char *name) { return getState(name, nullptr); };
    const char *hold = "HoldRequests", *most = "ACSMaxEnvelopes";
    using Results = std::vector<int>;
    // A second value is refused without an error.
    EXPECT_EQ((Results{0, 0, 1, 0, 0}), (Results{set("HoldRequestsX", 1), set(hold, 0), get(hold),
                                                 resetState(hold, nullptr), get(hold)}));
    EXPECT_EQ((Results{0, 0, 3, 2}), (Results{set(most, 0), set(most, 3), get(most), get("HoldRequest")}));
    EXPECT_EQ((Results{2, 0, 0}), (Results{resetState("Inform", "RPC"), setState("Inform", 0, "1", "RPC"),
                                           setState("Inform", 0, "22", "RPC")}));
    EXPECT_STREQ("22", getSessionId("Inf"));
    EXPECT_STREQ("Inform", getMethodNameById("2"));
    EXPECT_EQ(0, resetState("Inform", "RPC"));
    EXPECT_STREQ("1", getSessionId("Inform"));
    EXPECT_NE(0, getOutStandingRequests());
    stateMachine_close();
    EXPECT_EQ((Results{3, 3, 2}), (Results{set(hold, 1), resetState(hold, nullptr), get(hold)}));
}

TEST_F(Session, ReadsOptionsAsTheyCome)
{
    char url[] = "http://a/ b";
    const char *arguments[] = {"tr069fe", "-u", url, "-n", "-v", "-c", "-x", "user", "-y", nullptr};
    gVerbose = 0;
    parseOptions(9, const_cast<char **>(arguments));
    EXPECT_STREQ("http://a/", gAcsUrlOverride);
    EXPECT_EQ(0, gRetryCountOverride);
    EXPECT_EQ(1, gVerbose) << "the value of -n acts as an option of the same round";
    EXPECT_STREQ("-x", cl_conreq_url);
    EXPECT_STREQ("user", gAcsUsername) << "as does the value of -c";
    EXPECT_STREQ("", gAcsPassword) << "a missing value counts as empty";
    gVerbose = 0;
}

TEST_F(Session, AppliesTheServersHeader)
{
    using Row = std::pair<string, string>; // what stands in the header; status and ID
    for (const auto &[header, expected] :
         {Row{"<ID>1</ID><I>2</I>", "0 1"}, Row{"", "1 -"}, Row{"<X s:mustUnderstand=\"1\"/>", "1 -"},
          Row{"<X/><Y s:mustUnderstand=\"1\">t</Y>", "0 -"}, Row{"<HoldRequests>1</HoldRequests>", "0 -"}}) {
        string body = "<s:Envelope xmlns:s=\"e\">" + (tag("s:Header", header) + tag("s:Body", "<a/>")) +
                      "</s:Envelope>";
        int count = 0, status = -1;
        const Owned<XMLNode, ILibDestructXMLNodeList> tree(
            validateSoapRespMessage(body.data(), static_cast<int>(body.size()), &count));
        const OwnedText id(processSoapHdr(getEnvelope(tree.get(), 1), &status));
        EXPECT_EQ(expected, to_string(status) + " " + print(id.get())) << header;
    }
    EXPECT_EQ(1, getState("HoldRequests", nullptr));
}

TEST_F(Session, RunsFromInformToClose)
{
    begin({{200, informResponse()}, {500, getValues("A.B")}, {200, getMethods}, {204, ""}});
    ASSERT_EQ("cwmp:Inform  cwmp:GetParameterValuesResponse cwmp:GetRPCMethods ", runDaemon());
    // A C library without its conversion modules sends values as they are.
    const iconv_t converter = iconv_open("UTF-8", "ISO-8859-1");
    const bool converts = converter != reinterpret_cast<iconv_t>(-1) && iconv_close(converter) == 0;
    const string value = converts ? "v&lt;\xC3\xA9" : "v&lt;\xE9";
    EXPECT_PRED2(holds, posts[2], "<Name>A.B</Name><Value xsi:type=\"xsd:string\">" + value + "</Value>");
    EXPECT_EQ("7", sessionIdOf(posts[2]));
    EXPECT_EQ("45 10 10 10 10 10 10 10 10 45 10 10 10 10 10 10 10 10 18 10 10 46 19 10", sentOperations());
    EXPECT_EQ("v&lt;\xE9", givenUrl) << "values from the backend stay escaped";
}

TEST_F(Session, ReportsAFinishedTransferFirst)
{
    const Reply taken = {200, message("%ID%", "<c:TransferCompleteResponse/>")};
    begin({{200, informResponse()}, taken, {200, getMethods}, {204, ""}}, "7 TRANSFER COMPLETE 2=k;");
    ASSERT_EQ("cwmp:Inform cwmp:TransferComplete  cwmp:GetRPCMethods ", runDaemon());
    EXPECT_PRED2(holds, posts[1], "<CommandKey>k</CommandKey>");
    begin({{200, informResponse()}, {200, fault(8000)}}, "7 TRANSFER COMPLETE=k;");
    EXPECT_EQ("cwmp:Inform cwmp:TransferComplete ", runDaemon()) << "a Fault answers it too";
    const string held = informResponse("%ID%", "1", tag("c:HoldRequests", "1"));
    begin({{200, held}, {200, getMethods}}, "7 TRANSFER COMPLETE=k;");
    EXPECT_EQ("cwmp:Inform ", runDaemon()) << "a server that holds requests gets none";
}

TEST_F(Session, JudgesTheInformsAnswer)
{
    const string noId = "<s:Envelope xmlns:s=\"e\"><s:Body><s:InformResponse><MaxEnvelopes>1</MaxEnvelopes>"
                        "</s:InformResponse></s:Body></s:Envelope>";
    const struct {
        const char *name;
        Reply reply;
        int result;
        bool statusFile;
    } rows[] = {
        {"good", {200, informResponse()}, 0, false},
        {"no ID", {200, noId}, 0, false},
        {"other ID", {200, informResponse("other")}, 1, false},
        {"negative", {200, informResponse("%ID%", "-1")}, 1, false},
        {"two", {200, informResponse() + informResponse()}, 1, false},
        {"not XML", {200, "<not xml"}, 1, false},
        {"request", {200, getMethods}, 1, false},
        {"empty", {200, ""}, 1, false},
        {"fault with 500", {500, fault(8001)}, 8001, true},
        {"fault", {200, fault(8005)}, 8005, false},
        {"401", {401, ""}, 1, true},
        {"no status", {0, informResponse()}, 0, true},
        {"2", {2, ""}, 2, false},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.name);
        begin({row.reply, {200, informResponse()}});
        remove("/var/tmp/acsstatus");
        EXPECT_EQ(row.result, tr069_init(1));
        EXPECT_EQ(1U, posts.size()) << "one Inform a run";
        EXPECT_EQ(row.statusFile ? "ACS=0" : "absent", contentOf("/var/tmp/acsstatus"));
    }
    begin({});
    gRetryCountOverride = -1;
    EXPECT_EQ(1, tr069_init(1)) << "a count that cannot be written sends nothing";
    EXPECT_EQ(0U, posts.size());
}

TEST_F(Session, ChoosesUrlAndCredentials)
{
    EXPECT_EQ(0, getHTTPSHandler("", nullptr));
    EXPECT_EQ("v&lt;\xE9", givenUsername);
    gAcsUsername = getMsg(("base64:" + string(300, 'u')).c_str());
    gAcsPassword = getMsg("");
    EXPECT_EQ(0, getHTTPSHandler("", "http://given/"));
    EXPECT_EQ("http://given/", givenUrl);
    EXPECT_EQ(string(255, 'u'), givenUsername);
    EXPECT_EQ(nullptr, gAcsUsername);
    answers[10] = u32(0) + u32(1) + text("N string=");
    EXPECT_NE(0, getHTTPSHandler("", "http://given/")) << "no user name";
    EXPECT_NE(0, getHTTPSHandler("", nullptr)) << "no URL";
}

TEST_F(Session, EndsEarlyWhenItMust)
{
    begin({}, "");
    EXPECT_EQ("", runDaemon());
    EXPECT_EQ("45", sentOperations()) << "without events nothing else is asked";
    begin({});
    connectResult = -1;
    EXPECT_EXIT(runDaemon(), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(runDaemon(0), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(termination_handler(15), testing::ExitedWithCode(15), "");
}

TEST_F(Session, ServesManyRequestsThroughTheRing)
{
    for (const size_t requests : {1U, 2U, 10U, 11U, 12U, 25U, 59U}) {
        std::deque<Reply> script = {{200, informResponse()}};
        for (size_t i = 0; i < requests; ++i)
            script.push_back({200, getValues("P" + to_string(i))});
        begin(script);
        runDaemon();
        ASSERT_EQ(requests + 2, posts.size());
        for (size_t i = 0; i < requests; ++i)
            EXPECT_PRED2(holds, posts[i + 2], "<Name>P" + to_string(i) + "</Name>");
    }
}

TEST_F(Session, RefusesToPostWhenTheRingIsFull)
{
    const char *pieces[] = {"ab", "c"};
    gSOAPReqBuf_Count = 9;
    EXPECT_EQ(0, sendSoapMsgBuf(pieces, 3, 2));
    EXPECT_EQ(0, sendSoapMsgBuf(pieces, 3, 2));
    EXPECT_EQ(9, gSOAPReqBuf_Count);
    EXPECT_EQ(0U, posts.size());
    gSOAPReqBuf_RefCount = 8;
    replies = {{200, "x"}};
    EXPECT_EQ(200, sendSoapMsgBuf(pieces, 3, 2));
    gSOAPReqBuf_Count = 9;
    EXPECT_EQ(0, sendSoapMsgBuf(pieces, 3, 2)) << "a waiting request is never overwritten";
    EXPECT_STREQ("x", gSOAPReqBuf[0]);
    EXPECT_EQ(std::vector<string>{"abc"}, posts);
    for (const int wrongLength : {2, 4})
        EXPECT_EQ(1, sendSoapMsgBuf(pieces, wrongLength, 2));
}

TEST_F(Session, PostsAgainWhenAskedTo)
{
    const char *piece = "answer";
    replies = {{200, fault(8005)}, {200, fault(8005)}, {200, getMethods}};
    setState("TransferComplete", 0, "5", "RPC");
    EXPECT_EQ(200, sendSoapMsgBuf(&piece, 6, 1));
    EXPECT_EQ(0, getOutStandingRequests()) << "a Fault ends the wait for what was sent before";
    EXPECT_EQ(3U, posts.size());
    EXPECT_EQ(getMethods, gSOAPReqBuf[0]);
    replies = std::deque<Reply>(20, {200, fault(8005)});
    sendSoapMsgBuf(&piece, 6, 1);
    EXPECT_EQ(3U + 11, posts.size()) << "a server that asks for ever";
}

TEST_F(Session, AnswersEveryMethod)
{
    const string key = tag("ParameterKey", "k"), file = tag("FileType", "1"), url = tag("URL", "u");
    const string object = tag("ObjectName", "A.") + key;
    const string change = tag("Name", "A") + tag("NotificationChange", "1") + tag("Notification", "2") +
                          tag("AccessListChange", "0") + "<AccessList/>";
    answers[12] = u32(0) + u32(3) + u32(0);
    answers[14] = u32(0) + texts({"A. Writable=\"1"});
    answers[15] = u32(0) + texts({"A Notification=\"1\" AccessList=\"S"});
    answers[47] = u32(1) + text("") + text("");
    answers[48] = u32(0) + text("s") + text("c");
    const struct {
        string method, arguments, operations;
        string answer = ""; // what the response holds; "-": refused
    } rows[] = {
        {"SetParameterValues", oneValue + key, "11 23 44", "<Status>0"},
        {"GetParameterNames", tag("ParameterPath", "A.") + tag("NextLevel", "1"), "14", "<Writable>1"},
        {"GetParameterAttributes", names("A"), "15", "<string>S"},
        {"SetParameterAttributes", tag("ParameterList", tag("SetParameterAttributesStruct", change)),
         "16 23"},
        {"AddObject", object, "12 44 23", "<InstanceNumber>3"},
        {"DeleteObject", object, "13 44 23", "<Status>0"},
        {"Reboot", tag("CommandKey", "k"), "49"},
        {"Reboot", "", "", "-"},
        {"FactoryReset", "", "50"},
        {"ScheduleInform", tag("DelaySeconds", "34164000"), "51"},
        {"ScheduleInform", tag("DelaySeconds", "34164001"), "", "-"},
        {"ScheduleInform", tag("CommandKey", "k"), "", "-"},
        {"Download", file + url, "47", "<Status>1"},
        {"Download", file, "", "-"},
        {"Upload", file + url, "48", "<Status>0</Status><StartTime>s"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.method + row.arguments);
        startAnsweringBus(answerBus);
        const string answer = answerTo(row.method, row.arguments);
        const bool refused = row.answer == "-";
        const string expected =
            refused ? faultAnswer(9003, "Invalid arguments") : "<cwmp:" + row.method + "Response>";
        EXPECT_EQ(expected, answer.substr(0, expected.size()));
        EXPECT_TRUE(refused || holds(answer, row.answer)) << answer;
        EXPECT_EQ(row.operations, sentOperations());
    }
    EXPECT_EQ("(nothing)", answerTo("Unheard", ""));
    EXPECT_EQ("(nothing)", answerTo("Response", ""));
}

TEST_F(Session, TurnsRefusalsIntoFaults)
{
    answers[10] = u32(9005) + u32(0);
    EXPECT_EQ(faultAnswer(9005, "Invalid parameter name"), answerTo("GetParameterValues", names("A")));
    answers[47] = u32(7) + u32(9010);
    EXPECT_EQ(faultAnswer(9010, "Unable to connect to the server"),
              answerTo("Download", tag("FileType", "1") + tag("URL", "u")));
    answers[11] = u32(9003) + u32(0) + texts({"A=9008 read only"});
    EXPECT_PRED2(holds, answerTo("SetParameterValues", oneValue),
                 "<SetParameterValuesFault><ParameterName>A</ParameterName><FaultCode>9008</FaultCode>"
                 "<FaultString>read only</FaultString></SetParameterValuesFault>");
    startAnsweringBus(answerBus, {0, 1, 0});
    EXPECT_EQ("(nothing)", answerTo("GetParameterValues", names("A"))) << "the bus's own error is no fault";
    answers[12] = u32(0) + u32(3) + u32(1);
    startAnsweringBus(answerBus);
    answerTo("AddObject", tag("ObjectName", "A."));
    EXPECT_EQ("12 44 23 49", sentOperations()) << "what takes effect after a reboot is followed by one";
}

TEST_F(Session, AsksForNamesAsTheBackendTakesThem)
{
    serve(getValues(string(300, 'N')));
    EXPECT_EQ(texts({string(232, 'N')}), sentMessages().back().body);
    answerTo("GetParameterNames", tag("ParameterPath", string(300, 'N')) + tag("NextLevel", "0"));
    EXPECT_EQ('\0' + text(string(232, 'N')), sentMessages().back().body);
    answerTo("GetParameterValues", array("ParameterNames", "x:string[1]", ""));
    EXPECT_EQ(texts({" "}), sentMessages().back().body);
}

TEST_F(Session, SurvivesEveryFailingAllocation)
{
    withEveryAllocationFailing([] {
        const Reply value = {200, getValues("A.B")}, methods = {200, getMethods};
        begin({{200, informResponse()}, value, methods, {200, fault(8005)}, {204, ""}},
              "7 TRANSFER COMPLETE=k;");
        if (stateMachine_init() == 0 && getHTTPSHandler("", nullptr) == 0 && tr069_init(1) == 0)
            runSessionLoop();
        stateMachine_close();
        EXPECT_EQ(0, messagesHeld());
    });
}
