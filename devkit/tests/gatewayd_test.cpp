#include "platform_services.h"

#include <arpa/inet.h>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

// The real gatewayd over its socket, with bytes laid out by hand, and the desk's platform library against it.

using Options = std::vector<std::string>;

static const std::string kRoot = "InternetGatewayDevice.";
static const std::string kSsid = kRoot + "LANDevice.1.WLANConfiguration.1.SSID";
static const std::string kForwarding = kRoot + "Layer3Forwarding.Forwarding.";

struct Desk {
    std::string folder;
    pid_t process = -1;
};

static std::string busOf(const Desk &desk)
{
    return desk.folder + "/bus";
}

static void startGateway(Desk &desk, const Options &options = {})
{
    int ready[2];
    ASSERT_EQ(0, pipe(ready));
    desk.process = fork();
    if (desk.process == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL); // a test that crashes leaves nobody behind
        dup2(ready[1], STDOUT_FILENO);
        Options words = {
            GATEWAYD, "--bus", busOf(desk), "--store", desk.folder + "/store", "--log", desk.folder + "/log"};
        words.insert(words.end(), options.begin(), options.end());
        std::vector<char *> arguments;
        for (std::string &word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        execv(GATEWAYD, arguments.data());
        _exit(127);
    }
    close(ready[1]);
    char letter = 0;
    while (read(ready[0], &letter, 1) == 1 && letter != '\n') {}
    close(ready[0]);
    ASSERT_EQ('\n', letter) << "gatewayd did not come up";
}

/// Waits for the process's end, after sending it the signal when that is not 0. Returns its status.
static int endGateway(Desk &desk, int signal)
{
    int status = -1;
    if (desk.process > 0) { // never a group, never everybody
        kill(desk.process, signal);
        waitpid(desk.process, &status, 0);
    }
    desk.process = -1;
    return status;
}

static int connectBus(const Desk &desk)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strncpy(address.sun_path, busOf(desk).c_str(), sizeof address.sun_path - 1);
    const int bus = socket(AF_UNIX, SOCK_STREAM, 0);
    const timeval patience = {10, 0};
    setsockopt(bus, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    EXPECT_EQ(0, connect(bus, reinterpret_cast<const sockaddr *>(&address), sizeof address));
    return bus;
}

static std::string u32(uint32_t value)
{
    return std::string(reinterpret_cast<const char *>(&value), sizeof value);
}

static std::string texts(const Options &all)
{
    std::string packed;
    for (const std::string &text : all)
        packed += text + '\0';
    return packed;
}

static std::string counted(const Options &all)
{
    return u32(static_cast<uint32_t>(all.size())) + texts(all);
}

static std::string frame(uint16_t operation, const std::string &body)
{
    const uint16_t fields[] = {2305, static_cast<uint16_t>(operation < 44 ? 1028 : 1035)};
    const uint32_t length = htonl(static_cast<uint32_t>(16 + body.size()));
    std::string bytes(reinterpret_cast<const char *>(&length), sizeof length);
    bytes.append(reinterpret_cast<const char *>(fields), sizeof fields).append(u32(0x09010007));
    bytes.append(reinterpret_cast<const char *>(&operation), sizeof operation).append(6, '\0');
    return bytes + body;
}

static void tell(int bus, const std::string &bytes)
{
    send(bus, bytes.data(), bytes.size(), MSG_NOSIGNAL);
}

/// That many bytes, or "" when the connection ends before.
static std::string readBytes(int bus, size_t count)
{
    std::string bytes(count, '\0');
    return recv(bus, bytes.data(), count, MSG_WAITALL) == static_cast<ssize_t>(count) ? bytes : "";
}

/// The body of the next reply; "gone" when the connection has ended. The header must be the request's.
static std::string answer(int bus, uint16_t operation)
{
    uint32_t length = 0;
    const std::string prefix = readBytes(bus, sizeof length);
    if (prefix.empty())
        return "gone";
    memcpy(&length, prefix.data(), sizeof length);
    const std::string reply = readBytes(bus, ntohl(length));
    EXPECT_EQ(frame(operation, "").substr(4, 10), reply.substr(0, 10)) << "operation " << operation;
    return reply.substr(std::min<size_t>(16, reply.size()));
}

static std::string ask(int bus, uint16_t operation, const std::string &body)
{
    tell(bus, frame(operation, body));
    return answer(bus, operation);
}

static std::string good(const Options &strings)
{
    return u32(0) + counted(strings);
}

static std::string refused(uint32_t code)
{
    return u32(code) + u32(0) + u32(0);
}

static std::string events(const std::string &list)
{
    return std::string{static_cast<char>(std::count(list.begin(), list.end(), ';')), '\0'} + list;
}

static std::string valueOf(int bus, const std::string &name)
{
    const std::string reply = ask(bus, 10, counted({name}));
    return reply.size() < 9 ? "none" : reply.substr(reply.find('=') + 1, reply.size() - reply.find('=') - 2);
}

static int countInLog(const Desk &desk, const char *words)
{
    std::ifstream log(desk.folder + "/log");
    int lines = 0;
    for (std::string line; std::getline(log, line);)
        lines += line.find(words) != std::string::npos;
    return lines;
}

class Gatewayd : public testing::Test
{
  protected:
    Desk desk;
    void SetUp() override
    {
        char folder[] = "/tmp/gatewayd_test.XXXXXX";
        desk.folder = mkdtemp(folder);
    }
    void TearDown() override
    {
        endGateway(desk, SIGKILL);
        std::filesystem::remove_all(desk.folder);
    }
};

TEST_F(Gatewayd, ReadsTheTreeByNameAndByPath)
{
    startGateway(desk, {"--set", kRoot + "DeviceInfo.SerialNumber=S=1"});
    const int bus = connectBus(desk);
    const auto countOf = [](const std::string &reply) {
        uint32_t count = 0;
        memcpy(&count, reply.data() + 4, sizeof count);
        return count;
    };
    const uint32_t all = countOf(ask(bus, 10, counted({kRoot})));
    EXPECT_GE(all, 250U);
    EXPECT_EQ(all, countOf(ask(bus, 10, counted({"InternetGatewayDevice"}))));
    EXPECT_GT(countOf(ask(bus, 14, '\0' + texts({""}))), all);
    const struct {
        uint16_t operation;
        std::string body, reply;
    } rows[] = {
        {10, counted({kRoot + "DeviceInfo.SerialNumber"}),
         good({kRoot + "DeviceInfo.SerialNumber string=S=1"})},
        {10, counted({kRoot + "LANDevice.1.LANHostConfigManagement.DHCPStaticAddress."}), good({})},
        {10, counted({" "}), refused(9005)},
        {14, '\1' + texts({""}), good({kRoot + " Writable=\"0"})},
        {14, '\1' + texts({kForwarding}), good({kForwarding + "1. Writable=\"1"})},
        {14, '\0' + texts({kSsid}), good({kSsid + " Writable=\"1"})},
        {14, '\1' + texts({kSsid}), refused(9003)},
        {15, counted({kRoot + "DeviceInfo.ProvisioningCode", kSsid}),
         good({kRoot + "DeviceInfo.ProvisioningCode Notification=\"2\" AccessList=\"",
               kSsid + " Notification=\"0\" AccessList=\"Subscriber"})},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.reply, ask(bus, row.operation, row.body)) << row.body.substr(4);
    close(bus);
}

TEST_F(Gatewayd, RefusesASetWholeAndNamesEachFault)
{
    startGateway(desk);
    const int bus = connectBus(desk);
    const struct {
        std::string setting, fault;
    } rows[] = {
        {"LANDevice.1.WLANConfiguration.1.SSID=" + std::string(33, 'x'), "9007 Invalid parameter value"},
        {"LANDevice.1.WLANConfiguration.1.Enable=maybe", "9006 Invalid parameter type"},
        {"LANDevice.1.WLANConfiguration.1.Channel=256", "9007 Invalid parameter value"},
        {"LANDevice.1.WLANConfiguration.1.Channel=-1", "9007 Invalid parameter value"},
        {"LANDevice.1.WLANConfiguration.1.Channel=six", "9006 Invalid parameter type"},
        {"LANDevice.1.WLANConfiguration.1.BeaconType=WPA3", "9007 Invalid parameter value"},
        {"LANDevice.1.LANHostConfigManagement.DHCPLeaseTime=-2", "9007 Invalid parameter value"},
        {"Time.DaylightSavingsEnd=2024-02-30T00:00:00Z", "9007 Invalid parameter value"},
        {"Time.DaylightSavingsEnd=2024-2-3", "9006 Invalid parameter type"},
        {"DeviceInfo.UpTime=1", "9008 Attempt to set non writable Parameter"},
        {"DeviceInfo.=1", "9005 Invalid parameter name"},
    };
    Options request = {kSsid + "=fine", kRoot + "Time.DaylightSavingsEnd=2024-02-29T00:00:00Z"};
    Options faults;
    for (const auto &row : rows) {
        request.push_back(kRoot + row.setting);
        faults.push_back(kRoot + row.setting.substr(0, row.setting.find('=') + 1) + row.fault);
    }
    EXPECT_EQ(u32(9003) + u32(0) + counted(faults), ask(bus, 11, counted(request)));
    tell(bus, frame(23, ""));
    EXPECT_EQ("Kestrow & <Home>", valueOf(bus, kSsid));
    const std::string bridge = counted({kRoot + "DeviceInfo.X_QXNV-COM_OperationMode=Bridge"});
    EXPECT_EQ(u32(0) + u32(1), ask(bus, 11, bridge));
    EXPECT_EQ(u32(0) + u32(0), ask(bus, 11, bridge)) << "no change, no reboot";
    const int other = connectBus(desk);
    EXPECT_EQ("Router", valueOf(other, kRoot + "DeviceInfo.X_QXNV-COM_OperationMode")) << "never committed";
    close(other);
    close(bus);
}

TEST_F(Gatewayd, AddsInOrderUntilTheTableIsFull)
{
    startGateway(desk);
    const int bus = connectBus(desk);
    const std::string table = kRoot + "LANDevice.1.LANHostConfigManagement.DHCPStaticAddress.";
    Options names;
    for (uint32_t number = 1; number <= 32; ++number) {
        EXPECT_EQ(u32(0) + u32(number) + u32(0), ask(bus, 12, texts({table})));
        names.push_back(table + std::to_string(number) + ". Writable=\"1");
    }
    EXPECT_EQ(refused(9004), ask(bus, 12, texts({table})));
    EXPECT_EQ(good(names), ask(bus, 14, '\1' + texts({table})));
    EXPECT_EQ(u32(0) + u32(0), ask(bus, 13, texts({table + "32."})));
    EXPECT_EQ(u32(0) + u32(33) + u32(0), ask(bus, 12, texts({table})));
    EXPECT_EQ(refused(9005), ask(bus, 12, texts({kRoot + "Time."})));
    close(bus);
}

TEST_F(Gatewayd, KilledAtAnyMessageHoldsWhatWasCommitted)
{
    const struct {
        std::string message;
        const char *left; // SSID, parameter key and number of routes after a kill at this message
    } script[] = {
        {frame(45, ""), "Kestrow & <Home>//1"},
        {frame(11, counted({kSsid + "=new"})), "Kestrow & <Home>//1"},
        {frame(23, ""), "new//1"},
        {frame(44, texts({"k1"})), "new/k1/1"},
        {frame(12, texts({kForwarding})), "new/k1/1"},
        {frame(44, texts({"k2"})), "new/k1/1"},
        {frame(23, ""), "new/k2/2"},
        {frame(13, texts({kForwarding + "1."})), "new/k2/2"},
        {frame(44, texts({"k3"})), "new/k2/2"},
        {frame(23, ""), "new/k3/1"},
    };
    for (size_t at = 0; at < std::size(script); ++at) {
        startGateway(desk, {"--kill-at", std::to_string(at + 1)});
        const int killed = connectBus(desk);
        for (size_t i = 0; i <= at; ++i)
            tell(killed, script[i].message);
        close(killed);
        EXPECT_TRUE(WIFSIGNALED(endGateway(desk, 0)));
        startGateway(desk);
        const int bus = connectBus(desk);
        EXPECT_EQ(script[at].left, valueOf(bus, kSsid) + '/' +
                                       valueOf(bus, kRoot + "ManagementServer.ParameterKey") + '/' +
                                       valueOf(bus, kRoot + "Layer3Forwarding.ForwardNumberOfEntries"))
            << "killed at message " << at + 1;
        const uint32_t next = at >= 4 ? 3 : 2; // number 2 was told, committed or not
        EXPECT_EQ(u32(0) + u32(next) + u32(0), ask(bus, 12, texts({kForwarding})));
        close(bus);
        endGateway(desk, SIGKILL);
        for (const char *part : {"", "-wal", "-shm"})
            std::filesystem::remove(desk.folder + "/store" + part);
    }
}

TEST_F(Gatewayd, ReportsChangesAndEventsUntilTheyAreCleared)
{
    startGateway(desk, {"--event", "M Download=d", "--transfer-complete", "a,b,9010,S,C",
                        "--transfer-complete", "c,0,T,D"});
    int bus = connectBus(desk);
    EXPECT_EQ(events("0 BOOTSTRAP=;1 BOOT=;7 TRANSFER COMPLETE=;M Download=d;"), ask(bus, 45, ""));
    EXPECT_EQ(u32(0), ask(bus, 49, texts({"late"})));
    EXPECT_EQ(u32(0), ask(bus, 16, counted({kSsid + " Notification=\"2\" AccessList=\"A B"})));
    tell(bus, frame(23, ""));
    EXPECT_EQ(good({kSsid + " Notification=\"2\" AccessList=\"A B"}), ask(bus, 15, counted({kSsid})));
    EXPECT_EQ(refused(9003), ask(bus, 16, counted({kSsid + " Notification=\"3\""})));
    EXPECT_EQ(u32(0) + u32(0), ask(bus, 11, counted({kSsid + "=one"})));
    EXPECT_EQ(good({}), ask(bus, 18, counted({"notificationChange"})));
    tell(bus, frame(23, "") + frame(46, "") + frame(19, ""));
    EXPECT_EQ(texts({"a,b", "9010", "S", "C"}), ask(bus, 52, ""));
    close(bus);
    bus = connectBus(desk);
    EXPECT_EQ(events("M Reboot=late;1 BOOT=;4 VALUE CHANGE=;7 TRANSFER COMPLETE=;"), ask(bus, 45, ""));
    EXPECT_EQ(good({kSsid + " string=one"}), ask(bus, 18, counted({"notificationChange"})));
    tell(bus, frame(46, "") + frame(19, ""));
    EXPECT_EQ(good({}), ask(bus, 18, counted({"notificationChange"})));
    EXPECT_EQ(texts({"c", "0", "T", "D"}), ask(bus, 52, ""));
    close(bus);
    bus = connectBus(desk);
    EXPECT_EQ(texts({"", "0", "", ""}), ask(bus, 52, ""));
    EXPECT_EQ(u32(0), ask(bus, 51, u32(1) + u32(60) + texts({"s"})));
    EXPECT_EQ(u32(0), ask(bus, 49, texts({""})));
    EXPECT_EQ(events("3 SCHEDULED=;M ScheduleInform=s;1 BOOT=;"), ask(bus, 45, ""));
    EXPECT_EQ(u32(0), ask(bus, 50, ""));
    EXPECT_EQ(events("0 BOOTSTRAP=;1 BOOT=;"), ask(bus, 45, ""));
    EXPECT_EQ("Kestrow & <Home>", valueOf(bus, kSsid));
    close(bus);
}

TEST_F(Gatewayd, AcceptsTransfersThatItServes)
{
    startGateway(desk);
    const int bus = connectBus(desk);
    const std::string later = u32(1) + texts({"0001-01-01T00:00:00Z", "0001-01-01T00:00:00Z"});
    const std::string image = "1 Firmware Upgrade Image";
    const struct {
        uint32_t size;
        std::string key, type, url, reply;
    } rows[] = {
        {9, "k", image, "http://files.example.net:81/i.img?a=1", later},
        {9, "k", "2 Web Content", "http://h/", u32(9001) + u32(9001)},
        {9, "k", image, "", u32(9003) + u32(9003)},
        {9, "k", image, "http:///i.img", u32(9003) + u32(9003)},
        {9, "k;", image, "http://h/", u32(9003) + u32(9003)},
        {9, "k", image, "ftp://h/", u32(9013) + u32(9013)},
        {1U << 30, "k", image, "http://h/", u32(9004) + u32(9004)},
    };
    for (const auto &row : rows)
        EXPECT_EQ(
            row.reply,
            ask(bus, 47, u32(row.size) + u32(0) + texts({row.key, row.type, row.url, "", "", "", "", ""})));
    EXPECT_EQ(later, ask(bus, 48, u32(0) + texts({"k", "2 Vendor Log File", "HTTP://h", "u", "p"})));
    close(bus);
}

TEST_F(Gatewayd, ServesOnAfterBadInput)
{
    startGateway(desk);
    int bus = connectBus(desk);
    const int halfway = connectBus(desk);
    tell(halfway, std::string("\0\0\0", 3));
    const struct {
        uint16_t operation;
        std::string body, reply;
    } rows[] = {
        {10, u32(0xFFFFFFFF) + "ab", refused(9003)},
        {11, counted({kSsid}), refused(9003)},
        {14, std::string(1, '\1') + "Inter", refused(9003)},
        {16, counted({kSsid + " Nonsense"}), refused(9003)},
        {47, u32(0), u32(9003) + u32(9003)},
        {51, u32(2) + u32(5) + texts({"k"}), refused(9003)},
        {13, texts({kRoot + "Time."}), refused(9005)},
        {99, "", u32(9000) + u32(9000)},
    };
    for (const auto &row : rows)
        EXPECT_EQ(row.reply, ask(bus, row.operation, row.body)) << "operation " << row.operation;
    tell(bus, std::string("\0\0\0\3abc", 7) + frame(44, "no end"));
    EXPECT_EQ("Kestrow & <Home>", valueOf(bus, kSsid));
    tell(bus, std::string("\1\0\0\1", 4)); // a length of 16 MiB and one
    EXPECT_EQ("gone", answer(bus, 10));
    close(bus);
    bus = connectBus(desk); // one that tells much, reads nothing and leaves
    const std::string longMessage = frame(99, std::string(80000, 'x'));
    tell(bus, longMessage + longMessage + frame(11, counted({kSsid + "=heard"})) + frame(23, ""));
    close(bus);
    for (int patience = 0; patience < 200 && countInLog(desk, "op 23 commit") == 0; ++patience)
        usleep(20000);
    bus = connectBus(desk);
    EXPECT_EQ("heard", valueOf(bus, kSsid));
    close(bus);
    close(halfway);
    EXPECT_EQ(8, countInLog(desk, "bad input")) << "one line each for what was not laid out as it should be";
    EXPECT_EQ(0, endGateway(desk, SIGTERM));
    EXPECT_FALSE(std::filesystem::exists(busOf(desk)));
}

TEST_F(Gatewayd, IsReachedThroughThePlatformLibrary)
{
    setenv("GATEWAY_BUS", busOf(desk).c_str(), 1);
    EXPECT_NE(0, MSG_RegModule(2305, 0));
    startGateway(desk);
    ASSERT_EQ(0, MSG_RegModule(2305, 0));
    const std::string request = frame(45, "").substr(4);
    void *message = MSG_CreateMessage(0);
    memcpy(message, request.data(), request.size());
    EXPECT_EQ(0, MSG_SendMessage(message));
    MSG_ReleaseMessage(message);
    message = nullptr;
    ASSERT_EQ(0, MSG_ReceiveMessage(&message, 20));
    const std::string expected = events("0 BOOTSTRAP=;1 BOOT=;");
    EXPECT_EQ(expected, std::string(static_cast<char *>(message) + 16, expected.size()));
    MSG_ReleaseMessage(message);
    message = MSG_CreateMessage(0);
    memcpy(message, request.data(), request.size());
    kill(desk.process, SIGSTOP); // its reply comes too late
    EXPECT_EQ(0, MSG_SendMessage(message));
    MSG_ReleaseMessage(message);
    message = nullptr;
    EXPECT_NE(0, MSG_ReceiveMessage(&message, 0));
    kill(desk.process, SIGCONT);
    EXPECT_NE(0, MSG_ReceiveMessage(&message, 20)) << "a late reply must not pass for the next request's";
    EXPECT_EQ(nullptr, message);
    MSG_UnregModule(2305, 0);
}

TEST(DeskPlatform, TellsEncodedCredentialsFromWords)
{
    for (const char *word :
         {"", "password", "admin123", "YWJj", "Y3BlLXVzZXI", "Y3BlLXVz=XI=", "Y3BlLXVzZXJ=", "gateway1"})
        EXPECT_EQ(0, Safe_CheckBase64Encode(word)) << word;
    const char *encoded[][2] = {
        {"Y3BlLXVzZXI=", "cpe-user"}, {"c2VjcmV0MQ==", "secret1"}, {"c2VjcmV0", "secret"}};
    for (const auto &[text, plain] : encoded) {
        char buffer[16];
        EXPECT_NE(0, Safe_CheckBase64Encode(text)) << text;
        EXPECT_EQ(static_cast<int>(strlen(plain)), Safe_Base64Decode(text, buffer));
        EXPECT_STREQ(plain, buffer);
    }
    char *response = nullptr;
    char *digest =
        CalcDigest("Mufasa", "Circle Of Life", "testrealm@host.com", "/dir/index.html",
                   "dcd98b7102dd2f0e8b11d0f600bfb0c093", "auth", "00000001", "0a4f113b", "GET", &response);
    EXPECT_STREQ("6629fae49393a05397450978507c4ef1", digest); // RFC 2617 section 3.5
    EXPECT_EQ(digest, response);
    free(digest);
}

TEST(DeskPlatform, WritesDownWhatAGatewayWouldDo)
{
    const std::string journal = "/tmp/gatewayd_test.journal." + std::to_string(getpid());
    setenv("GATEWAY_JOURNAL", journal.c_str(), 1);
    EXPECT_EQ(0, CFG_SetNodeVal("A.B", "2024"));
    EXPECT_EQ(0, app_item_save("image;0;;;;", "kvr_bit_flag", 12));
    EXPECT_EQ(0, kvrSystem("reboot", 1));
    std::ifstream file(journal);
    const std::string text((std::istreambuf_iterator<char>(file)), {});
    EXPECT_EQ(
        0U,
        text.find(
            "CFG_SetNodeVal A.B 2024\napp_item_save kvr_bit_flag 12 image;0;;;;\\x00\nkvrSystem 1 reboot\n"));
    std::filesystem::remove(journal);
}
