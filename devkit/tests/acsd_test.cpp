// The desk server as a device meets it: the real process, over TCP, with a device that says what each test
// makes it say.

#include <arpa/inet.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <openssl/evp.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace
{

using Words = std::vector<std::string>;

struct Answer {
    std::string head;
    std::string body;
};

/// What comes between two texts, "" when they are not there.
std::string between(const std::string &text, const std::string &before, const std::string &after)
{
    const size_t begin = text.find(before);
    if (begin == std::string::npos)
        return "";
    return text.substr(begin + before.size(),
                       text.find(after, begin + before.size()) - begin - before.size());
}

std::string readFile(const std::string &path)
{
    std::ifstream file(path);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

/// A running acsd with a session file of its own; gone, whatever the test did, at the end.
struct Acsd {
    std::string folder;
    pid_t process = -1;
    int port = 0;

    Acsd(const std::string &session, const Words &options)
    {
        char name[] = "/tmp/acsd_test.XXXXXX";
        folder = mkdtemp(name);
        std::ofstream(folder + "/raw.xml") << "<not xml";
        std::ofstream(folder + "/session") << session;
        Words words{ACSD, folder + "/session", "--port-file", folder + "/port", "--timeout", "5"};
        words.insert(words.end(), options.begin(), options.end());
        std::vector<char *> arguments;
        for (std::string &word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        process = fork();
        if (process == 0) {
            const std::string log = folder + "/log";
            if (freopen(log.c_str(), "w", stdout) == nullptr || dup2(STDOUT_FILENO, STDERR_FILENO) < 0)
                _exit(126);
            execv(ACSD, arguments.data());
            _exit(127);
        }
        siginfo_t ended{};
        while (port == 0 && ended.si_pid == 0) {
            waitid(P_PID, static_cast<id_t>(process), &ended, WEXITED | WNOHANG | WNOWAIT);
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            port = std::atoi(readFile(folder + "/port").c_str());
        }
    }
    Acsd(const Acsd &) = delete;
    ~Acsd()
    {
        if (process > 0)
            finish();
        std::filesystem::remove_all(folder);
    }

    /// Waits for the end. The exit status.
    int finish()
    {
        int status = 0;
        waitpid(process, &status, 0);
        process = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    std::string log() const { return readFile(folder + "/log"); }
};

struct Device {
    int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    std::string extraHeaders;

    explicit Device(const Acsd &acsd)
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<uint16_t>(acsd.port));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        const timeval patience{10, 0};
        setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
        EXPECT_EQ(0, connect(socket, reinterpret_cast<sockaddr *>(&address), sizeof address));
    }
    Device(const Device &) = delete;
    ~Device() { close(socket); }

    std::string readUntil(const std::string &received, const std::string &end) const
    {
        std::string text = received;
        char byte = 0;
        while (text.find(end) == std::string::npos && recv(socket, &byte, 1, 0) == 1)
            text += byte;
        return text;
    }
    std::string readBytes(size_t count) const
    {
        std::string text(count, '\0');
        EXPECT_EQ(static_cast<ssize_t>(count),
                  count == 0 ? 0 : recv(socket, text.data(), count, MSG_WAITALL));
        return text;
    }

    Answer post(const std::string &body) const
    {
        const std::string message =
            "POST /acs HTTP/1.1\r\nHost: 127.0.0.1:80\r\nAccept: */*\r\nSoapAction:\r\n"
            "User-Agent:client\r\nConnection: Keep-Alive\r\n" +
            extraHeaders + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
        EXPECT_EQ(static_cast<ssize_t>(message.size()),
                  send(socket, message.data(), message.size(), MSG_NOSIGNAL));
        Answer answer{readUntil("", "\r\n\r\n"), ""};
        const std::string length = between(answer.head, "Content-Length: ", "\r\n");
        if (answer.head.find("Transfer-Encoding: chunked\r\n") == std::string::npos)
            return {answer.head, readBytes(std::stoul("0" + length))};
        for (size_t size = 1; size > 0;) {
            size = std::stoul(readUntil("", "\r\n"), nullptr, 16);
            answer.body += readBytes(size);
            readBytes(2);
        }
        return answer;
    }
};

std::string envelope(const std::string &id, const std::string &body)
{
    return "<S:Envelope xmlns:S=\"http://schemas.xmlsoap.org/soap/envelope/\" "
           "xmlns:SOAP-ENV=\"http://schemas.xmlsoap.org/soap/envelope/\" "
           "xmlns:E=\"http://schemas.xmlsoap.org/soap/"
           "encoding/\" xmlns:cwmp=\"urn:dslforum-org:cwmp-1-0\" xmlns:xsi=\"http://www.w3.org/2001/"
           "XMLSchema-instance\"><S:Header><cwmp:ID SOAP-ENV:mustUnderstand=\"1\">" +
           id + "</cwmp:ID></S:Header><S:Body>" + body + "</S:Body></S:Envelope>";
}

std::string value(const std::string &name, const std::string &text)
{
    return "<ParameterValueStruct><Name>" + name + "</Name><Value xsi:type=\"xsd:string\">" + text +
           "</Value></ParameterValueStruct>";
}

std::string values(const std::string &count, const std::string &items)
{
    return "<cwmp:GetParameterValuesResponse><ParameterList E:arrayType=\"cwmp:ParameterValueStruct[" +
           count + "]\">" + items + "</ParameterList></cwmp:GetParameterValuesResponse>";
}

std::string fault(const std::string &code, const std::string &parameters)
{
    return "<S:Fault><faultcode>Client</faultcode><faultstring>CWMP "
           "Fault</faultstring><detail><cwmp:Fault><FaultCode>" +
           code + "</FaultCode><FaultString>Refused</FaultString>" + parameters +
           "</cwmp:Fault></detail></S:Fault>";
}

std::string inform(const std::string &event)
{
    return envelope("17",
                    "<cwmp:Inform><DeviceId><Manufacturer>M</Manufacturer><OUI>O</OUI><ProductClass>P</"
                    "ProductClass><SerialNumber>4711</SerialNumber></DeviceId><Event E:arrayType=\""
                    "cwmp:EventStruct[1]\"><EventStruct><EventCode>" +
                        event +
                        "</EventCode><CommandKey>key 1</CommandKey></EventStruct></Event><MaxEnvelopes>1</"
                        "MaxEnvelopes><CurrentTime>2024-05-06T07:08:09-05:00</CurrentTime><RetryCount>0</"
                        "RetryCount><ParameterList E:arrayType=\"cwmp:ParameterValueStruct[1]\">" +
                        value("A.Version", "1") + "</ParameterList></cwmp:Inform>");
}

std::string idOf(const std::string &request)
{
    return between(request, "\"1\">", "</cwmp:ID>");
}

std::string md5(const std::string &text)
{
    unsigned char bytes[EVP_MAX_MD_SIZE];
    EVP_Digest(text.data(), text.size(), bytes, nullptr, EVP_md5(), nullptr);
    std::string hex;
    char digits[3];
    for (int i = 0; i < 16; ++i) {
        snprintf(digits, sizeof digits, "%02x", static_cast<unsigned>(bytes[i]));
        hex += digits;
    }
    return hex;
}

/// What the device says to a challenge with this password.
std::string answerChallenge(const std::string &head, const std::string &password)
{
    if (head.find("WWW-Authenticate: Basic realm=\"acsd\"\r\n") != std::string::npos)
        return "Authorization: Basic " + std::string(password == "cpe" ? "Y3BlOmNwZQ==" : "eDp5") + "\r\n";
    const std::string nonce =
        between(head, "Digest realm=\"acsd\", nonce=\"", "\", qop=\"auth\", algorithm=MD5, opaque=\"");
    return "Authorization: Digest username=\"cpe\", realm=\"acsd\", nonce=\"" + nonce +
           "\", uri=\"/acs\", response=\"" +
           md5(md5("cpe:acsd:" + password) + ":" + nonce + ":00000001:beef:auth:" + md5("POST:/acs")) +
           "\", qop=\"auth\", nc=00000001, cnonce=\"beef\", algorithm=\"MD5\"\r\n";
}

/// Plays one session whose only request is answered by that body ("" hangs up). The exit status and the log.
std::pair<int, std::string> play(const std::string &session, const std::string &body,
                                 const std::string &id = "1001")
{
    Acsd acsd(session, {});
    {
        const Device device(acsd);
        device.post(inform("2 PERIODIC"));
        device.post("");
        if (!body.empty())
            device.post(envelope(id, body));
    }
    const int status = acsd.finish();
    return {status, acsd.log()};
}

/// Holds a session of one request like a well-behaved device: proves itself when asked to, brings the cookies
/// back.
void holdSession(const Acsd &acsd, const Words &options, const std::string &body)
{
    Device device(acsd);
    Answer answer = device.post(inform("2 PERIODIC"));
    if (options[0] == "--auth") {
        EXPECT_EQ("HTTP/1.1 401 ", answer.head.substr(0, 13));
        device.extraHeaders = answerChallenge(answer.head, "cpe");
        answer = device.post(inform("2 PERIODIC"));
    }
    EXPECT_EQ("17", idOf(answer.body));
    EXPECT_EQ(options.back() == "--chunked", answer.head.find("chunked") != std::string::npos);
    EXPECT_NE(std::string::npos, answer.body.find("<MaxEnvelopes>1</MaxEnvelopes>"));
    const std::string credentials = device.extraHeaders;
    for (const std::string &next : {std::string(), envelope("1001", body)}) {
        const std::string first = between(answer.head, "Set-Cookie: desk1", ";");
        const std::string second = between(answer.head, "Set-Cookie: desk2", ";");
        if (!first.empty())
            device.extraHeaders = credentials + "Cookie: desk1" + first + " ;desk2" + second + "\r\n";
        answer = device.post(next);
    }
    EXPECT_EQ("HTTP/1.1 204 ", answer.head.substr(0, 13));
}

TEST(Acsd, HoldsASessionUnderEveryOption)
{
    const Words rows[] = {
        {"--raw"}, {"--auth", "basic"}, {"--auth", "digest", "--chunked"}, {"--cookies", "2"}};
    for (const Words &options : rows) {
        Acsd acsd("GetParameterValues A.B\n= \"x < y\"\n= A.B *\n", options);
        holdSession(acsd, options, values("1", value("A.B", "x &lt; y")));
        EXPECT_EQ(0, acsd.finish()) << options[0] << acsd.log();
        EXPECT_NE(std::string::npos, acsd.log().find("healthy: 1 session, 1 of 1 request answered"))
            << acsd.log();
    }
}

TEST(Acsd, TurnsWrongCredentialsAndCookiesAway)
{
    for (const std::string scheme : {"basic", "digest"}) {
        Acsd acsd("GetRPCMethods\n", {"--auth", scheme});
        {
            Device device(acsd);
            device.extraHeaders = answerChallenge(device.post(inform("1 BOOT")).head, "wrong");
            EXPECT_EQ("HTTP/1.1 401 ", device.post(inform("1 BOOT")).head.substr(0, 13));
        }
        EXPECT_EQ(1, acsd.finish());
        EXPECT_NE(std::string::npos, acsd.log().find("(wrong ")) << acsd.log();
    }
    Acsd acsd("", {"--cookies", "1"});
    {
        const Device device(acsd);
        device.post(inform("1 BOOT"));
        device.post("");
    }
    EXPECT_EQ(1, acsd.finish());
}

TEST(Acsd, HoldsAnswersAgainstTheirRequests)
{
    struct {
        const char *name;
        std::string session;
        std::string body;
        std::string problem; ///< in the log; empty for a healthy session
    } rows[] = {
        {"bare method list", "GetRPCMethods\n= GetRPCMethods\n",
         "<cwmp:GetRPCMethods><MethodList "
         "E:arrayType=\"xsd:string[1]\"><string>GetRPCMethods</string></MethodList>"
         "</cwmp:GetRPCMethods>",
         ""},
        {"expected fault", "SetParameterValues A.B=1 ! 9003\n= A.B 9008\n",
         fault("9003",
               "<SetParameterValuesFault><ParameterName>A.B</ParameterName><FaultCode>9008</FaultCode>"
               "<FaultString>No</FaultString></SetParameterValuesFault>"),
         ""},
        {"expected end", "@raw.xml ! close\n", "", ""},
        {"attributes", "GetParameterAttributes A.B\n= A.B 2 Subscriber,ISP\n",
         "<cwmp:GetParameterAttributesResponse><ParameterList "
         "E:arrayType=\"cwmp:ParameterAttributeStruct[1]\">"
         "<ParameterAttributeStruct><Name>A.B</Name><Notification>2</Notification><AccessList E:arrayType="
         "\"xsd:string[2]\"><string>Subscriber</string><string>ISP</string></AccessList></"
         "ParameterAttributeStruct>"
         "</ParameterList></cwmp:GetParameterAttributesResponse>",
         ""},
        {"fault", "Reboot\n", fault("9001", ""), "fault 9001 (Refused) was not expected"},
        {"no fault", "Reboot ! 9001\n", "<cwmp:RebootResponse></cwmp:RebootResponse>",
         "but the device obeyed"},
        {"other fault", "Reboot ! 9001\n", fault("9002", ""), "fault 9001 was expected, not 9002"},
        {"other answer", "Reboot\n", "<cwmp:FactoryResetResponse/>",
         "FactoryResetResponse is no answer to Reboot"},
        {"no answer", "Reboot\n", "", "the device hung up instead of answering"},
        {"count", "GetParameterValues A.\n", values("2", value("A.B", "1")),
         "ParameterValueStruct[2] and holds 1"},
        {"name", "GetParameterValues A.C\n", values("1", value("A.B", "1")), "A.C did not come back"},
        {"value", "GetParameterValues A.B\n= A.B 2\n", values("1", value("A.B", "1")),
         "A.B is \"1\", not \"2\""},
        {"fields", "GetParameterValues A.B\n= A.B 1 2\n", values("1", value("A.B", "1")),
         "A.B is \"1\", not \"1\" \"2\""},
        {"status", "DeleteObject A.1.\n", "<cwmp:DeleteObjectResponse/>", "DeleteObject without Status"},
        {"prefix", "Reboot\n", "<cwmp:RebootResponse><x:y/></cwmp:RebootResponse>",
         "prefix of x:y is not declared"},
        {"end tag", "Reboot\n", "<cwmp:RebootResponse>", "not well-formed"},
        {"two envelopes", "Reboot\n",
         "<cwmp:RebootResponse/></S:Body></S:Envelope><S:Envelope xmlns:S=\"u\"><S:Body>",
         "2 envelopes in one message"},
        {"bytes", "GetParameterValues A.B\n", values("1", value("A.B", "\xE9")),
         "is no character of UTF-8 XML"},
    };
    for (const auto &row : rows) {
        const auto [status, log] = play(row.session, row.body);
        EXPECT_EQ(row.problem.empty() ? 0 : 1, status) << row.name << log;
        EXPECT_NE(std::string::npos, log.find(row.problem)) << row.name << log;
    }
    const std::string log = play("Reboot\n", "<cwmp:RebootResponse/>", "1002").second;
    EXPECT_NE(std::string::npos, log.find("the ID is \"1002\"")) << log;
}

TEST(Acsd, WritesEveryShortForm)
{
    const std::string session = "SetParameterAttributes A.B notification=2 access=X,Y A.C\n"
                                "SetParameterValues A.B:boolean=1 A.C=\"a <b\" key=k\nAddObject A.\n"
                                "GetParameterNames \"\" 1\nDeleteObject A.$i. key=$$\nDownload key=k url=u\n";
    const std::string wanted[] = {
        "<ParameterList "
        "SOAP-ENC:arrayType=\"cwmp:SetParameterAttributesStruct[2]\"><SetParameterAttributesStruct><Name>A.B"
        "</Name><NotificationChange>1</NotificationChange><Notification>2</Notification><AccessListChange>1"
        "</AccessListChange><AccessList "
        "SOAP-ENC:arrayType=\"xsd:string[2]\"><string>X</string><string>Y</string>"
        "</AccessList></SetParameterAttributesStruct><SetParameterAttributesStruct><Name>A.C</"
        "Name><NotificationChange>0<",
        "arrayType=\"cwmp:ParameterValueStruct[2]\"><ParameterValueStruct><Name>A.B</Name><Value "
        "xsi:type=\"xsd:boolean\">"
        "1</Value></ParameterValueStruct><ParameterValueStruct><Name>A.C</Name><Value "
        "xsi:type=\"xsd:string\">a &lt;b"
        "</Value></ParameterValueStruct></ParameterList><ParameterKey>k</ParameterKey>",
        "<cwmp:AddObject><ObjectName>A.</ObjectName><ParameterKey></ParameterKey></cwmp:AddObject>",
        "<ParameterPath></ParameterPath><NextLevel>1</NextLevel>",
        "<ObjectName>A.12.</ObjectName><ParameterKey>$</ParameterKey>",
        "<CommandKey>k</CommandKey><URL>u</URL><Username></Username>"};
    Acsd acsd(session, {});
    {
        const Device device(acsd);
        device.post(inform("2 PERIODIC"));
        std::string request = device.post("").body;
        for (const std::string &text : wanted) {
            EXPECT_NE(std::string::npos, request.find(text)) << request;
            const std::string rpc = between(request, "<SOAP-ENV:Body><cwmp:", ">");
            request = device
                          .post(envelope(idOf(request), "<cwmp:" + rpc +
                                                            "Response><InstanceNumber>12</InstanceNumber>"
                                                            "<Status>0</Status></cwmp:" +
                                                            rpc + "Response>"))
                          .body;
        }
    }
    EXPECT_EQ(1, acsd.finish()); // the device's name list was missing
    EXPECT_NE(std::string::npos, acsd.log().find("5 of 6 requests")) << acsd.log();
}

TEST(Acsd, WaitsForTheEventsOfASection)
{
    Acsd acsd("= A.Version 1\nsession 7 TRANSFER COMPLETE\n= CommandKey k\n= \"7 TRANSFER COMPLETE\" "
              "\"key 1\"\n",
              {});
    for (const std::string event : {"1 BOOT", "2 PERIODIC", "7 TRANSFER COMPLETE"}) {
        const Device device(acsd);
        device.post(inform(event));
        if (event[0] == '7') {
            EXPECT_EQ("9",
                      idOf(device
                               .post(envelope(
                                   "9", "<cwmp:TransferComplete><CommandKey>k</CommandKey><StartTime/>"
                                        "<CompleteTime/><FaultStruct><FaultCode>0</FaultCode><FaultString"
                                        "/></FaultStruct></cwmp:TransferComplete>"))
                               .body));
        }
        EXPECT_EQ("HTTP/1.1 204 ", device.post("").head.substr(0, 13));
    }
    EXPECT_EQ(0, acsd.finish()) << acsd.log();
}

TEST(Acsd, RefusesBadSessionFiles)
{
    const char *const rows[] = {"\nNoSuchRPC\n",
                                "\nReboot ! 12\n",
                                "\nGetParameterNames A.\n",
                                "\n@missing.xml\n",
                                "\nGetParameterValues \"A\n",
                                "\n=\n",
                                "\nDownload colour=red\n"};
    for (const char *session : rows) {
        Acsd acsd(session, {});
        EXPECT_EQ(2, acsd.finish()) << session;
        EXPECT_NE(std::string::npos, acsd.log().find("/session:2: ")) << acsd.log();
    }
}

} // namespace
