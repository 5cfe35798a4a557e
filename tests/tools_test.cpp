#include "failing_allocator.h"
#include "http_client.h"
#include "http_diagnostics.h"
#include "http_diagnostics_tool.h"
#include "platform_services.h"
#include "scripted_server.h"
#include "texts.h"
#include "transfer_tool.h"

#include <cstring>
#include <gtest/gtest.h>
#include <regex>
#include <sstream>
#include <unistd.h>

// The two tools in this process, over a scripted server. What they ask of the platform is kept in the order
// of the calls; nothing waits, and no process is started.

using std::string;
using std::to_string;
using std::vector;

static string journal;
static pid_t forkResult = 1;

static int note(const string &call)
{
    journal += call;
    return 0;
}

extern "C" {
int CFG_LibInit() { return note("init "); }
int CFG_SetNodeVal(const char *path, const char *value)
{
    EXPECT_STREQ("InternetGatewayDevice.ManagementServer.X_QXNV-COM_DownloadCompleteTime", path);
    EXPECT_TRUE(std::regex_match(value, std::regex(R"(\d{4}(-\d\d){2}T\d\d(:\d\d){2})"))) << value;
    return note("set ");
}
int CFG_SaveCfg() { return note("save "); }
int CFG_LibFinal() { return note("final "); }
int app_item_save(const char *value, const char *item, int length)
{
    EXPECT_EQ(strlen(value) + 1, static_cast<size_t>(length));
    return note(string(item) + "=" + value + " ");
}
int kvrSystem(const char *command, int flag) { return note(command + to_string(flag)); }
pid_t __wrap_fork() { return note(" fork"), forkResult; }
}

static const string dir = "/var/tmp/", flagFile = dir + "uploadErrFlag", recordFile = dir + "httpdiag_record";

// Runs a command line of words. "URL" stands for the server's, or without answers for one where nobody
// listens.
static int run(const string &command, const ScriptedServer *server)
{
    for (const string name : {"uploadErrFlag", "httpdiag_record", "image.bin", "config.bin", "test"})
        remove((dir + name).c_str());
    journal.clear();
    gHttpAuth.type = kHttpAuthNone;
    gHttpSession.lastStatus = 0;
    gHttpDiagRecord = {};
    vector<string> words = {"tr069fe"};
    std::istringstream rest(command);
    for (string word; rest >> word;)
        words.push_back(word != "URL" ? word : server != nullptr ? server->url() : ScriptedServer({}).url());
    vector<char *> argv;
    for (string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    const auto tool = words[1] == "-http_diagnostic" ? TR143_HTTPDiagnostics_main : comLine_main;
    return tool(static_cast<int>(words.size()), argv.data());
}

TEST(Tools, TransferAFileAndTellThePlatform)
{
    const string updated = "init set save final kvr_bit_flag=image;";
    const string loaded = updated + "0;;;; killall pc0 fork", failed = updated + "9010;;;; reboot1";
    const string nothing = "Content-Length: 0\r\n\r\n";
    const string put = "Content-Length: 3\r\nContent-Type: text/xml;charset=utf-8\r\n\r\nabc";
    std::ofstream(dir + "file") << "abc";
    std::ofstream(dir + "empty") << "";
    const struct {
        const char *command;
        vector<int> statuses; // answered in turn, with the body "abc"; 0 stands for no header line
        int result;
        string journal;
        const char *flag = "absent", *content = "absent"; // of the last word's file; null: not looked at
        string sent = "";                                 // the end of the last request; empty: none
        pid_t fork = 1;
    } rows[] = {
        {"-comline -get URL -o /var/tmp/image.bin", {200}, 0, loaded, "absent", "abc"},
        {"-comline -get URL -o /var/tmp/image.bin", {404}, 0, loaded, "absent", "abc"},
        {"-comline -get URL -o /var/tmp/image.bin", {401, 401}, 0, loaded, "absent", ""},
        {"-comline -get URL -o /var/tmp/image.bin", {200}, -1, loaded, "absent", "abc", "", -1},
        {"-comline -get URL -o /var/tmp/image.bin", {}, -1, failed},
        {"-comline -get URL -o /var/tmp/none/image", {200}, -1, failed},
        {"-comline -get URL -o /dev/full", {200}, -1, failed, "absent", nullptr},
        {"-comline -get URL -o /var/tmp/config.bin", {200}, 0, "", "absent", "abc"},
        {"-comline -get URL -o /var/tmp/config.bin", {}, -1, ""},
        {"-comline -get URL -o /var/tmp/3gdriver", {200}, 0, "", "absent", "abc"},
        {"-comline -x u -dest URL -put /var/tmp/file", {200}, 0, "", "absent", "abc", put},
        {"-comline -x u -dest URL -put /var/tmp/file", {201}, 0, "", "absent", "abc", put},
        {"-comline -x u -dest URL -put /var/tmp/file", {204}, -1, "", "1", "abc", put},
        {"-comline -x u -dest URL -put /var/tmp/file", {0}, -1, "", "1", "abc", put},
        {"-comline -x u -dest URL -put /var/tmp/file", {401, 401}, -1, "", "401", "abc", put},
        {"-comline -x u -dest URL -put /var/tmp/file", {401, 200}, 0, "", "absent", "abc", put},
        {"-comline -x u -dest URL -put /var/tmp/file", {}, -1, "", "1", "abc"},
        {"-comline -x u -dest URL -put /var/tmp/empty", {200}, 0, "", "absent", "", nothing},
        {"-comline -x u -dest URL -put /var/tmp/none", {200}, -1, ""},
        {"-comline -x u -dest URL -put /var/tmp", {200}, -1, "", "absent", nullptr},
        {"-comline -get URL", {}, -1, ""},
        {"-comline -get URL -o", {}, -1, ""},
        {"-comline -dest URL -o /var/tmp/image.bin", {}, -1, ""},
        {"-comline -put -x URL /var/tmp/image.bin", {}, -1, ""},
        {"-get URL -comline -o /var/tmp/image.bin", {}, -1, ""}, // the first argument is never an option
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.command + testing::PrintToString(row.statuses));
        vector<ScriptedAnswer> answers;
        for (const int status : row.statuses)
            answers.push_back({status == 0 ? "HTTP/1.0 200 OK\r\n\r\n" : httpAnswer(status, "abc")});
        ScriptedServer server(answers);
        forkResult = row.fork;
        EXPECT_EQ(row.result, run(row.command, answers.empty() ? nullptr : &server));
        EXPECT_EQ(row.journal, journal);
        EXPECT_EQ(row.flag, contentOf(flagFile));
        if (row.content != nullptr) {
            EXPECT_EQ(row.content, contentOf(strrchr(row.command, ' ') + 1));
        }
        const vector<string> requests = server.requests();
        const bool puts = !requests.empty() && requests[0].substr(0, 3) == "PUT";
        EXPECT_EQ(row.sent, puts ? requests.back().substr(requests.back().find("Content-Length")) : "");
    }
}

TEST(Tools, RecordsWhatATestMeasured)
{
    const string get = "-http_diagnostic -o /var/tmp/test -get URL", failed = "Connect Fail!\n";
    const string put = "-http_diagnostic -put x -dest URL -len ";
    const struct {
        string command;
        string answer; // empty: no server; "-": it is silent
        int result;
        string output = "";
        const char *stamps = "11111"; // of the five: 1 taken, 0 still zero
    } rows[] = {
        {get, httpAnswer(200, "abc"), 0},
        {get, httpAnswer(404), -1, failed},
        {get, httpAnswer(204), -1},
        {get, "", -1, "", "10000"},
        {put + "20480", httpAnswer(200), 0},
        {put + "40961", httpAnswer(200), 0},
        {put + "1", httpAnswer(201), -1},
        {put + "1", httpAnswer(500), -1, failed},
        {put + "0", "-", -1, failed, "11001"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.command + " " + row.answer);
        const bool nothingArrives = row.answer == "-";
        longestWait = nothingArrives ? 10 : 5000;
        ScriptedServer server({{nothingArrives ? "" : row.answer}});
        testing::internal::CaptureStdout();
        EXPECT_EQ(row.result, run(row.command, row.answer.empty() ? nullptr : &server));
        fflush(stdout);
        EXPECT_EQ(row.output, testing::internal::GetCapturedStdout());

        std::istringstream record(contentOf(recordFile));
        vector<int> numbers;
        for (string number; std::getline(record, number, ',');)
            numbers.push_back(std::stoi(number));
        ASSERT_EQ(13U, numbers.size());
        string stamps;
        for (size_t i = 0; i < 10; i += 2)
            stamps += numbers[i] != 0 ? '1' : '0';
        EXPECT_EQ(row.stamps, stamps);
        EXPECT_EQ(stamps[3] == '1', numbers[7] > numbers[5]) << "a begin comes after its request";
        const vector<string> requests = server.requests();
        const size_t date = sizeof "Mon, 01 Jan 2024 00:00:00 GMT" - sizeof "*";
        EXPECT_EQ(requests.empty() ? 0 : requests[0].size() + date, static_cast<size_t>(numbers[12]));
        EXPECT_EQ(nothingArrives ? 0 : row.answer.size(), static_cast<size_t>(numbers[10]));
        EXPECT_EQ(row.command == get && !row.answer.empty() ? "" : "absent", contentOf(dir + "test"));
    }
    longestWait = 5000;
    for (const char *length : {"", "-len", "-len -1"}) {
        EXPECT_EQ(-1, run(put.substr(0, put.rfind("-len")) + length, nullptr));
        EXPECT_EQ("absent", contentOf(recordFile)) << length;
    }
}

TEST(Tools, SurvivesEveryFailedAllocation)
{
    ScriptedServer server(vector<ScriptedAnswer>(200, {httpAnswer(200, "abc")}));
    testing::internal::CaptureStdout();
    withEveryAllocationFailing([&] {
        const bool done = run("-comline -get URL -o /var/tmp/image.bin -x a -y b", &server) == 0;
        EXPECT_NE(string::npos, journal.find(done ? "image;0;;;;" : "image;9010;;;;"));
    });
    fflush(stdout);
    EXPECT_EQ("", testing::internal::GetCapturedStdout()) << "only a diagnostics run speaks of its failure";
}
