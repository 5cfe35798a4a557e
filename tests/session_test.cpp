#include "acs_connection.h"
#include "daemon.h"
#include "dispatch.h"
#include "fault_response.h"
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

#include <algorithm>
#include <cstring>
#include <deque>
#include <fstream>
#include <gtest/gtest.h>
#include <iconv.h>
#include <map>

// The session over a scripted bus and, in the HTTP client's place, a scripted server: every post is kept, and
// answered by the next reply of the script.

struct Reply {
    int status;
    std::string body; // "%ID%" stands for the ID of the message that was posted; empty: no body
};

static std::vector<std::string> posts;
static std::deque<Reply> replies;
static int connectResult = 0;

const char *s_pcTr069Method = nullptr;
static std::string givenUrl, givenUsername;

int http_init(const char *url, const char *username, const char *, const char *)
{
    givenUrl = url;
    givenUsername = username;
    return connectResult;
}
int http_destroy()
{
    return 0;
}
void CloseHttpSession() {}

static std::string sessionIdOf(const std::string &message)
{
    const std::string tag = "<cwmp:ID SOAP-ENV:mustUnderstand=\"1\">";
    const size_t at = message.find(tag);
    return at == std::string::npos
               ? ""
               : message.substr(at + tag.size(), message.find("</cwmp:ID>") - at - tag.size());
}

char *SendSoapMessage(const char *body, int length, int *status)
{
    posts.emplace_back(body == nullptr ? "" : std::string(body, static_cast<size_t>(length)));
    if (replies.empty())
        return nullptr; // a send that failed leaves the status as it was
    Reply reply = replies.front();
    replies.pop_front();
    *status = reply.status;
    const size_t id = reply.body.find("%ID%");
    if (id != std::string::npos)
        reply.body.replace(id, 4, sessionIdOf(posts.back()));
    return reply.body.empty() ? nullptr : getMsg(reply.body.c_str());
}

extern "C" {
int MSG_RegModule(int, int)
{
    return 0;
}
int MSG_UnregModule(int, int)
{
    return 0;
}
int MSG_AllModStartOK()
{
    return 0;
}
int Safe_CheckBase64Encode(const char *text)
{
    return strncmp(text, "base64:", 7) == 0;
}
int Safe_Base64Decode(const char *text, char *buffer)
{
    return static_cast<int>(std::string(text + 7).copy(buffer, std::string::npos));
}
}

static std::string envelope(const std::string &id, const std::string &body)
{
    return "<s:Envelope xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\" "
           "xmlns:c=\"urn:dslforum-org:cwmp-1-0\">"
           "<s:Header><c:ID s:mustUnderstand=\"1\">" +
           id + "</c:ID></s:Header><s:Body>" + body + "</s:Body></s:Envelope>";
}

static std::string informResponse(const std::string &id = "%ID%", const std::string &maxEnvelopes = "1")
{
    return envelope(id,
                    "<c:InformResponse><MaxEnvelopes>" + maxEnvelopes + "</MaxEnvelopes></c:InformResponse>");
}

static std::string fault(int code)
{
    return envelope(
        "9", "<s:Fault><faultcode>Server</faultcode><faultstring>CWMP fault</faultstring><detail><c:Fault>"
             "<FaultCode>" +
                 std::to_string(code) +
                 "</FaultCode><FaultString>no</FaultString></c:Fault></detail></s:Fault>");
}

static std::string getValues(const std::string &names, const std::string &id = "7")
{
    return envelope(
        id, "<c:GetParameterValues><ParameterNames n:arrayType=\"xsd:string[1]\" xmlns:n=\"n\"><string>" +
                names + "</string></ParameterNames></c:GetParameterValues>");
}

static const std::string getMethods = envelope("5", "<c:GetRPCMethods/>");

// A backend that knows every parameter (value "v<\xE9") and accepts everything.
static std::string events;
static std::map<int, std::string> otherAnswers;

static std::string answerValues(const std::string &request)
{
    uint32_t count = 0;
    memcpy(&count, request.data(), sizeof count);
    std::string values = u32(0) + u32(count);
    const char *name = request.data() + sizeof count;
    for (uint32_t i = 0; i < count; ++i, name += strlen(name) + 1)
        values += text(std::string(name) + " string=v<\xE9");
    return values;
}

static std::string answerBus(const SentMessage &message)
{
    if (otherAnswers.count(message.operation) != 0)
        return otherAnswers[message.operation];
    const auto eventCount = static_cast<uint16_t>(std::count(events.begin(), events.end(), ';'));
    switch (message.operation) {
    case 10:
        return answerValues(message.body);
    case 18:
        return u32(0) + u32(0);
    case 45:
        return std::string(reinterpret_cast<const char *>(&eventCount), 2) + events;
    case 52:
        return text("k") + text("0") + text("s") + text("c");
    default:
        return u32(0) + u32(0) + u32(0);
    }
}

class Session : public testing::Test
{
  protected:
    void SetUp() override { begin({}); }
    void TearDown() override
    {
        stateMachine_close();
        EXPECT_EQ(0, messagesHeld());
    }

  public:
    static void begin(std::deque<Reply> script)
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
        events = "1 BOOT=;";
        otherAnswers.clear();
        posts.clear();
        replies = std::move(script);
        startAnsweringBus(answerBus);
        stateMachine_init();
    }

    static int runDaemon()
    {
        char name[] = "tr069fe";
        char *arguments[] = {name, nullptr};
        return tr069_daemon_main(1, arguments);
    }

    // Serves one request and gives what was posted for it.
    static std::string serve(const std::string &request)
    {
        std::string body = request;
        posts.clear();
        replies = {{200, ""}};
        processACSRequestMsg(body.data(), 1);
        return posts.empty() ? "(nothing)" : posts[0];
    }

    // The body of the answer, between its method's tags.
    static std::string answerTo(const std::string &request)
    {
        const std::string answer = serve(request);
        const std::string open = "<SOAP-ENV:Body>";
        const size_t at = answer.find(open);
        return at == std::string::npos
                   ? answer
                   : answer.substr(at + open.size(), answer.find("</SOAP-ENV:Body>") - at - open.size());
    }
};

static std::string faultAnswer(int code, const std::string &string)
{
    return "<SOAP-ENV:Fault><faultcode>Client</faultcode><faultstring>CWMP "
           "Fault</faultstring><detail><cwmp:Fault><FaultCode>" +
           std::to_string(code) + "</FaultCode><FaultString>" + string +
           "</FaultString></cwmp:Fault></detail></SOAP-ENV:Fault>";
}

TEST_F(Session, KeepsItsState)
{
    EXPECT_EQ(0, setState("HoldRequestsX", 1, nullptr, nullptr));
    EXPECT_EQ(0, setState("HoldRequests", 0, nullptr, nullptr))
        << "a second value is refused without an error";
    EXPECT_EQ(1, getState("HoldRequests", nullptr));
    EXPECT_EQ(0, resetState("HoldRequests", nullptr));
    EXPECT_EQ(0, getState("HoldRequests", nullptr));
    setState("ACSMaxEnvelopes", 0, nullptr, nullptr);
    setState("ACSMaxEnvelopes", 3, nullptr, nullptr);
    EXPECT_EQ(3, getState("ACSMaxEnvelopes", nullptr));
    EXPECT_EQ(2, getState("HoldRequest", nullptr));

    EXPECT_EQ(2, resetState("Inform", "RPC"));
    setState("Inform", 0, "1", "RPC");
    setState("Inform", 0, "22", "RPC");
    EXPECT_STREQ("22", getSessionId("Inf"));
    EXPECT_STREQ("Inform", getMethodNameById("2"));
    EXPECT_EQ(0, resetState("Inform", "RPC"));
    EXPECT_STREQ("1", getSessionId("Inform"));
    EXPECT_NE(0, getOutStandingRequests());
    stateMachine_close();
    EXPECT_EQ(3, setState("HoldRequests", 1, nullptr, nullptr));
    EXPECT_EQ(3, resetState("HoldRequests", nullptr));
    EXPECT_EQ(2, getState("HoldRequests", nullptr));
}

TEST_F(Session, ReadsOptionsAsTheyCome)
{
    std::vector<std::string> texts = {"tr069fe", "-u", "http://a/ b", "-n", "-v", "-c", "-x", "user", "-y"};
    std::vector<char *> arguments;
    for (std::string &argument : texts)
        arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    gVerbose = 0;
    parseOptions(static_cast<int>(texts.size()), arguments.data());
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
    struct Row {
        const char *header;
        int status;
        const char *id;
    };
    for (const Row &row : {Row{"<s:Header><ID>1</ID><I>2</I></s:Header>", 0, "1"}, Row{"", 0, "(none)"},
                           Row{"<s:Header/>", 0, "(none)"}, Row{"<s:Header></s:Header>", 1, "(none)"},
                           Row{"<s:Header><X s:mustUnderstand=\"1\"/></s:Header>", 1, "(none)"},
                           Row{"<s:Header><X/><Y s:mustUnderstand=\"1\">t</Y></s:Header>", 0, "(none)"},
                           Row{"<s:Header><HoldRequests>1</HoldRequests></s:Header>", 0, "(none)"}}) {
        std::string body =
            "<s:Envelope xmlns:s=\"e\">" + std::string(row.header) + "<s:Body><a/></s:Body></s:Envelope>";
        int count = 0;
        const Owned<XMLNode, ILibDestructXMLNodeList> tree(
            validateSoapRespMessage(body.data(), static_cast<int>(body.size()), &count));
        ASSERT_NE(nullptr, tree) << row.header;
        int status = -1;
        const OwnedText id(processSoapHdr(getEnvelope(tree.get(), 1), &status));
        EXPECT_EQ(row.status, status) << row.header;
        EXPECT_STREQ(row.id, id == nullptr ? "(none)" : id.get()) << row.header;
    }
    EXPECT_EQ(1, getState("HoldRequests", nullptr));
}

TEST_F(Session, RunsFromInformToClose)
{
    begin({{200, informResponse()}, {200, getValues("A.B")}, {200, getMethods}, {204, ""}});
    EXPECT_EQ(1, runDaemon());
    ASSERT_EQ(4U, posts.size());
    EXPECT_NE(std::string::npos, posts[0].find("<cwmp:Inform>"));
    EXPECT_EQ("", posts[1]);
    // A C library without its conversion modules sends values as they are.
    const iconv_t converter = iconv_open("UTF-8", "ISO-8859-1");
    const bool converts = converter != reinterpret_cast<iconv_t>(-1);
    if (converts)
        iconv_close(converter);
    const std::string value = converts ? "v&lt;\xC3\xA9" : "v&lt;\xE9";
    EXPECT_NE(std::string::npos,
              posts[2].find("<Name>A.B</Name><Value xsi:type=\"xsd:string\">" + value + "</Value>"));
    EXPECT_EQ("7", sessionIdOf(posts[2]));
    EXPECT_NE(std::string::npos, posts[3].find("<string>ScheduleInform</string>"));
    EXPECT_EQ("45 10 10 10 10 10 10 10 10 45 10 10 10 10 10 10 10 10 18 10 10 46 19 10", sentOperations());
    EXPECT_EQ("InternetGatewayDevice.ManagementServer.URL string=x",
              "InternetGatewayDevice.ManagementServer.URL string=x");
    EXPECT_EQ("v&lt;\xE9", givenUrl) << "values from the backend stay escaped";
}

TEST_F(Session, ReportsAFinishedTransferFirst)
{
    begin({{200, informResponse()},
           {200, envelope("%ID%", "<c:TransferCompleteResponse/>")},
           {200, getMethods},
           {204, ""}});
    events = "7 TRANSFER COMPLETE 2=k;";
    EXPECT_EQ(1, runDaemon());
    ASSERT_EQ(4U, posts.size());
    EXPECT_NE(std::string::npos, posts[1].find("<cwmp:TransferComplete><CommandKey>k</CommandKey>"));
    EXPECT_EQ("", posts[2]);
    EXPECT_NE(std::string::npos, posts[3].find("MethodList"));

    begin({{200, informResponse()}, {200, fault(8000)}});
    events = "7 TRANSFER COMPLETE=k;";
    EXPECT_EQ(0, tr069_init(1));
    runSessionLoop();
    EXPECT_EQ(2U, posts.size());
    EXPECT_EQ(0, getState("TransferComplete", "RPC")) << "a Fault answers it too";
}

TEST_F(Session, HoldsItsRequestsWhenAsked)
{
    std::string held = informResponse();
    held.replace(held.find("</s:Header>"), 0, "<c:HoldRequests>1</c:HoldRequests>");
    begin({{200, held}, {200, getMethods}});
    events = "7 TRANSFER COMPLETE=k;";
    EXPECT_EQ(0, tr069_init(1));
    runSessionLoop();
    EXPECT_EQ(1U, posts.size());
}

TEST_F(Session, JudgesTheInformsAnswer)
{
    struct Row {
        Reply reply;
        int result;
        bool statusFile;
    };
    for (const Row &row :
         {Row{{200, informResponse()}, 0, false},
          Row{{200,
               "<s:Envelope "
               "xmlns:s=\"e\"><s:Body><s:InformResponse><MaxEnvelopes>1</MaxEnvelopes></s:InformResponse>"
               "</s:Body></s:Envelope>"},
              0,
              false},
          Row{{200, informResponse("other")}, 1, false}, Row{{200, informResponse("%ID%", "-1")}, 1, false},
          Row{{200, informResponse() + informResponse()}, 1, false}, Row{{200, "<not xml"}, 1, false},
          Row{{200, getMethods}, 1, false}, Row{{200, ""}, 1, false}, Row{{500, fault(8001)}, 8001, true},
          Row{{200, fault(8005)}, 8005, false}, Row{{401, ""}, 1, true}, Row{{0, informResponse()}, 0, true},
          Row{{2, ""}, 2, false}}) {
        begin({row.reply, {200, informResponse()}});
        remove("/var/tmp/acsstatus");
        EXPECT_EQ(row.result, tr069_init(1)) << row.reply.body;
        EXPECT_EQ(1U, posts.size()) << "one Inform a run";
        std::string status;
        std::getline(std::ifstream("/var/tmp/acsstatus"), status);
        EXPECT_EQ(row.statusFile ? "ACS=0" : "", status) << row.reply.body;
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
    gAcsUsername = getMsg(("base64:" + std::string(300, 'u')).c_str());
    gAcsPassword = getMsg("");
    EXPECT_EQ(0, getHTTPSHandler("", "http://given/"));
    EXPECT_EQ("http://given/", givenUrl);
    EXPECT_EQ(std::string(255, 'u'), givenUsername);
    EXPECT_EQ(nullptr, gAcsUsername);
    otherAnswers[10] = u32(0) + u32(1) + text("N string=");
    EXPECT_NE(0, getHTTPSHandler("", "http://given/")) << "no user name";
    EXPECT_NE(0, getHTTPSHandler("", nullptr)) << "no URL";
}

TEST_F(Session, EndsEarlyWhenItMust)
{
    events = "";
    EXPECT_EQ(1, runDaemon());
    EXPECT_EQ("45", sentOperations()) << "without events nothing else is asked";
    begin({});
    connectResult = -1;
    EXPECT_EXIT(runDaemon(), testing::ExitedWithCode(0), "");
    EXPECT_EXIT(
        {
            char *arguments[] = {nullptr};
            connectResult = -1;
            tr069_daemon_main(0, arguments);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EXIT(termination_handler(15), testing::ExitedWithCode(15), "");
}

TEST_F(Session, ServesManyRequestsThroughTheRing)
{
    for (const size_t requests : {1U, 2U, 10U, 11U, 12U, 25U, 59U}) {
        begin({{200, informResponse()}});
        for (size_t i = 0; i < requests; ++i)
            replies.push_back({200, getValues("P" + std::to_string(i))});
        replies.push_back({204, ""});
        ASSERT_EQ(0, tr069_init(1));
        runSessionLoop();
        ASSERT_EQ(requests + 2, posts.size());
        for (size_t i = 0; i < requests; ++i)
            EXPECT_NE(std::string::npos, posts[i + 2].find("<Name>P" + std::to_string(i) + "</Name>"));
    }
}

TEST_F(Session, RefusesToPostWhenTheRingIsFull)
{
    const char *pieces[] = {"ab", "c"};
    gSOAPReqBuf_Count = 9;
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(0, sendSoapMsgBuf(pieces, 3, 2));
        EXPECT_EQ(9, gSOAPReqBuf_Count);
    }
    EXPECT_EQ(0U, posts.size());
    gSOAPReqBuf_RefCount = 8;
    replies = {{200, "x"}};
    EXPECT_EQ(200, sendSoapMsgBuf(pieces, 3, 2));
    EXPECT_EQ("abc", posts.at(0));
    EXPECT_STREQ("x", gSOAPReqBuf[0]);
    gSOAPReqBuf_Count = 9;
    EXPECT_EQ(0, sendSoapMsgBuf(pieces, 3, 2)) << "a waiting request is never overwritten";
    EXPECT_STREQ("x", gSOAPReqBuf[0]);
    EXPECT_EQ(1U, posts.size());

    EXPECT_EQ(1, sendSoapMsgBuf(pieces, 4, 2)) << "lengths that do not agree";
    EXPECT_EQ(1, sendSoapMsgBuf(pieces, 2, 2));
    EXPECT_EQ(1, sendSoapMsgBuf(nullptr, 2, 2));
}

TEST_F(Session, PostsAgainWhenAskedTo)
{
    const char *piece = "answer";
    replies = {{200, fault(8005)}, {200, fault(8005)}, {200, getMethods}};
    EXPECT_EQ(200, sendSoapMsgBuf(&piece, 6, 1));
    EXPECT_EQ(3U, posts.size());
    EXPECT_EQ(getMethods, gSOAPReqBuf[0]);
    posts.clear();
    for (int i = 0; i < 20; ++i)
        replies.push_back({200, fault(8005)});
    sendSoapMsgBuf(&piece, 6, 1);
    EXPECT_EQ(11U, posts.size()) << "a server that asks for ever";
}

TEST_F(Session, AnswersEveryMethod)
{
    const std::string key = "<ParameterKey>k</ParameterKey>";
    const std::string array = "<ParameterList n:arrayType=\"c:ParameterValueStruct[1]\" xmlns:n=\"n\">";
    otherAnswers[12] = u32(0) + u32(3) + u32(0);
    otherAnswers[14] = u32(0) + texts({"A. Writable=\"1"});
    otherAnswers[15] = u32(0) + texts({"A Notification=\"1\" AccessList=\"S"});
    otherAnswers[47] = u32(1) + text("") + text("");
    otherAnswers[48] = u32(0) + text("s") + text("c");
    struct Row {
        std::string request, answer, operations;
    };
    for (const Row &row : {
             Row{"<c:SetParameterValues>" + array +
                     "<ParameterValueStruct><Name>A</Name><Value>1</Value></ParameterValueStruct></"
                     "ParameterList>" +
                     key + "</c:SetParameterValues>",
                 "<cwmp:SetParameterValuesResponse><Status>0</Status></cwmp:SetParameterValuesResponse>",
                 "11 23 44"},
             Row{"<c:GetParameterNames><ParameterPath>A.</ParameterPath><NextLevel>1</NextLevel></"
                 "c:GetParameterNames>",
                 "<cwmp:GetParameterNamesResponse><ParameterList "
                 "SOAP-ENC:arrayType=\"cwmp:ParameterInfoStruct[1]\">"
                 "<ParameterInfoStruct><Name>A.</Name><Writable>1</Writable></ParameterInfoStruct></"
                 "ParameterList>"
                 "</cwmp:GetParameterNamesResponse>",
                 "14"},
             Row{"<c:GetParameterAttributes><ParameterNames n:arrayType=\"x:string[1]\" "
                 "xmlns:n=\"n\"><string>A</string>"
                 "</ParameterNames></c:GetParameterAttributes>",
                 "<cwmp:GetParameterAttributesResponse><ParameterList "
                 "SOAP-ENC:arrayType=\"cwmp:ParameterAttributeStruct[1]\">"
                 "<ParameterAttributeStruct><Name>A</Name><Notification>1</Notification><AccessList "
                 "SOAP-ENC:arrayType="
                 "\"xsd:string[1]\"><string>S</string></AccessList></ParameterAttributeStruct></"
                 "ParameterList>"
                 "</cwmp:GetParameterAttributesResponse>",
                 "15"},
             Row{"<c:SetParameterAttributes><ParameterList><SetParameterAttributesStruct><Name>A</Name>"
                 "<NotificationChange>1</NotificationChange><Notification>2</Notification><AccessListChange>0"
                 "</AccessListChange><AccessList/></SetParameterAttributesStruct></ParameterList></"
                 "c:SetParameterAttributes>",
                 "<cwmp:SetParameterAttributesResponse></cwmp:SetParameterAttributesResponse>", "16 23"},
             Row{"<c:AddObject><ObjectName>A.</ObjectName>" + key + "</c:AddObject>",
                 "<cwmp:AddObjectResponse><InstanceNumber>3</InstanceNumber><Status>0</Status></"
                 "cwmp:AddObjectResponse>",
                 "12 44 23"},
             Row{"<c:DeleteObject><ObjectName>A.3.</ObjectName>" + key + "</c:DeleteObject>",
                 "<cwmp:DeleteObjectResponse><Status>0</Status></cwmp:DeleteObjectResponse>", "13 44 23"},
             Row{"<c:Reboot><CommandKey>k</CommandKey></c:Reboot>",
                 "<cwmp:RebootResponse></cwmp:RebootResponse>", "49"},
             Row{"<c:Reboot/>", faultAnswer(9003, "Invalid arguments"), ""},
             Row{"<c:FactoryReset/>", "<cwmp:FactoryResetResponse></cwmp:FactoryResetResponse>", "50"},
             Row{"<c:ScheduleInform><DelaySeconds>34164000</DelaySeconds></c:ScheduleInform>",
                 "<cwmp:ScheduleInformResponse></cwmp:ScheduleInformResponse>", "51"},
             Row{"<c:ScheduleInform><DelaySeconds>34164001</DelaySeconds></c:ScheduleInform>",
                 faultAnswer(9003, "Invalid arguments"), ""},
             Row{"<c:ScheduleInform><CommandKey/></c:ScheduleInform>", faultAnswer(9003, "Invalid arguments"),
                 ""},
             Row{"<c:Download><FileType>1</FileType><URL>u</URL></c:Download>",
                 "<cwmp:DownloadResponse><Status>1</Status></cwmp:DownloadResponse>", "47"},
             Row{"<c:Download><FileType>1</FileType></c:Download>", faultAnswer(9003, "Invalid arguments"),
                 ""},
             Row{"<c:Upload><FileType>1</FileType><URL>u</URL></c:Upload>",
                 "<cwmp:UploadResponse><Status>0</Status><StartTime>s</StartTime><CompleteTime>c</"
                 "CompleteTime>"
                 "</cwmp:UploadResponse>",
                 "48"},
             Row{"<c:Unheard/>", "(nothing)", ""},
             Row{"<c:Response/>", "(nothing)", ""},
         }) {
        startAnsweringBus(answerBus);
        EXPECT_EQ(row.answer, answerTo(envelope("1", row.request)));
        EXPECT_EQ(row.operations, sentOperations()) << row.request;
    }
}

TEST_F(Session, TurnsRefusalsIntoFaults)
{
    otherAnswers[10] = u32(9005) + u32(0);
    EXPECT_EQ(faultAnswer(9005, "Invalid parameter name"), answerTo(getValues("A")));
    otherAnswers[47] = u32(7) + u32(9010);
    EXPECT_EQ(faultAnswer(9010, "Unable to connect to the server"),
              answerTo(envelope("1", "<c:Download><FileType>1</FileType><URL>u</URL></c:Download>")));
    otherAnswers[11] = u32(9003) + u32(0) + texts({"A=9008 read only"});
    const std::string refused = answerTo(envelope(
        "1", "<c:SetParameterValues><ParameterList n:arrayType=\"c:ParameterValueStruct[1]\" xmlns:n=\"n\">"
             "<ParameterValueStruct><Name>A</Name><Value>1</Value></ParameterValueStruct></ParameterList>"
             "</c:SetParameterValues>"));
    EXPECT_NE(std::string::npos,
              refused.find("<SetParameterValuesFault><ParameterName>A</ParameterName><FaultCode>9008"
                           "</FaultCode><FaultString>read only</FaultString></SetParameterValuesFault>"));
    startAnsweringBus(answerBus, {0, 1, 0});
    EXPECT_EQ("(nothing)", answerTo(getValues("A"))) << "the bus's own error is no CWMP fault";
    otherAnswers[12] = u32(0) + u32(3) + u32(1);
    startAnsweringBus(answerBus);
    answerTo(envelope("1", "<c:AddObject><ObjectName>A.</ObjectName></c:AddObject>"));
    EXPECT_EQ("12 44 23 49", sentOperations()) << "what takes effect after a reboot is followed by one";
}

TEST_F(Session, AsksForNamesAsTheBackendTakesThem)
{
    serve(getValues(std::string(300, 'N')));
    EXPECT_EQ(texts({std::string(232, 'N')}), sentMessages().back().body);
    serve(envelope("1", "<c:GetParameterValues><ParameterNames n:arrayType=\"x:string[1]\" xmlns:n=\"n\"/>"
                        "</c:GetParameterValues>"));
    EXPECT_EQ(texts({" "}), sentMessages().back().body);
}

TEST_F(Session, SurvivesEveryFailingAllocation)
{
    withEveryAllocationFailing([] {
        begin({{200, informResponse()},
               {200, getValues("A.B")},
               {200, getMethods},
               {200, fault(8005)},
               {204, ""}});
        events = "1 BOOT=;7 TRANSFER COMPLETE=k;";
        if (stateMachine_init() == 0 && getHTTPSHandler("", nullptr) == 0 && tr069_init(1) == 0)
            runSessionLoop();
        stateMachine_close();
        EXPECT_EQ(0, messagesHeld());
    });
}

TEST_F(Session, ServesAnyPieceOfARequest)
{
    const std::string request = getValues("A.B");
    for (size_t length = 0; length + 1 < request.size(); ++length) // the last ">" is not missed
        EXPECT_EQ("(nothing)", serve(request.substr(0, length)));
}
