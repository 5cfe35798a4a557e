#include "failing_allocator.h"
#include "http_client.h"
#include "http_diagnostics.h"
#include "http_diagnostics_tool.h"
#include "platform_services.h"
#include "scripted_server.h"
#include "transfer_tool.h"

#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <regex>
#include <sstream>
#include <sys/select.h>
#include <unistd.h>

// The two tools in this process, over a scripted server. What they ask of the platform is kept in the order
// of the calls; nothing waits, and no process is started.

static std::string journal;
static pid_t forkResult = 1;
static bool nothingArrives = false;

static int note(const std::string &call)
{
    journal += call;
    return 0;
}

extern "C" {
int CFG_LibInit()
{
    return note("init ");
}
int CFG_SetNodeVal(const char *path, const char *value)
{
    EXPECT_STREQ("InternetGatewayDevice.ManagementServer.X_QXNV-COM_DownloadCompleteTime", path);
    EXPECT_TRUE(std::regex_match(value, std::regex(R"(\d{4}(-\d\d){2}T\d\d(:\d\d){2})"))) << value;
    return note("set ");
}
int CFG_SaveCfg()
{
    return note("save ");
}
int CFG_LibFinal()
{
    return note("final ");
}
int app_item_save(const char *value, const char *item, int length)
{
    EXPECT_EQ(strlen(value) + 1, static_cast<size_t>(length));
    return note(std::string(item) + "=" + value + " ");
}
int kvrSystem(const char *command, int flag)
{
    return note(command + std::to_string(flag));
}
char *CalcNonce()
{
    return strdup("n");
}
char *CalcDigest(const char *, const char *, const char *, const char *, const char *, const char *,
                 const char *, const char *, const char *, char **response)
{
    return *response = strdup("r");
}
pid_t __wrap_fork()
{
    note(" fork");
    return forkResult;
}
int __wrap_usleep(useconds_t)
{
    return 0;
}
int __real_select(int count, fd_set *readable, fd_set *writable, fd_set *odd, timeval *wait);
int __wrap_select(int count, fd_set *readable, fd_set *writable, fd_set *odd, timeval *wait)
{
    return nothingArrives ? 0 : __real_select(count, readable, writable, odd, wait);
}
}

static const std::string kFlagFile = "/var/tmp/uploadErrFlag";
static const std::string kRecordFile = "/var/tmp/httpdiag_record";
static const std::string kImage = "/var/tmp/image.bin";
static const std::string kConfig = "/var/tmp/config.bin";

static std::string contentOf(const std::string &path)
{
    std::ifstream file(path);
    return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "absent";
}

static int run(int (*tool)(int, char **), std::vector<std::string> arguments)
{
    for (const std::string &path : {kFlagFile, kRecordFile, kImage, kConfig})
        remove(path.c_str());
    journal.clear();
    gHttpAuth.type = kHttpAuthNone;
    gHttpSession.lastStatus = 0;
    gHttpDiagRecord = {};
    arguments.insert(arguments.begin(), "tr069fe");
    std::vector<char *> argv;
    for (std::string &argument : arguments)
        argv.push_back(argument.data());
    argv.push_back(nullptr);
    return tool(static_cast<int>(arguments.size()), argv.data());
}

static std::string answer(int status, const std::string &body = "")
{
    return "HTTP/1.1 " + std::to_string(status) + " X\r\nContent-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

// A port that nobody listens at.
static std::string refusedUrl()
{
    return ScriptedServer({}).url();
}

TEST(Tools, LeavesEverythingAloneWhenTheCommandLineIsIncomplete)
{
    const std::string url = refusedUrl();
    const std::vector<std::vector<std::string>> rows = {
        {"-comline", "-get", url},
        {"-comline", "-dest", url, "-o", kImage},
        {"-comline", "-get", url, "-o"},
        {"-comline", "-put", kFlagFile, "-x", url},
        {"-get", url, "-comline", "-o", kImage}, // the first argument is never an option
        {"-http_diagnostic", "-put", "x", "-dest", url},
        {"-http_diagnostic", "-put", "x", "-dest", url, "-len", "-1"},
        {"-http_diagnostic", "-put", "x", "-dest", url, "-len"},
    };
    for (const auto &row : rows) {
        auto *tool = row[0] == "-http_diagnostic" ? TR143_HTTPDiagnostics_main : comLine_main;
        EXPECT_EQ(-1, run(tool, row)) << testing::PrintToString(row);
        EXPECT_EQ("", journal) << testing::PrintToString(row);
        EXPECT_EQ("absent", contentOf(kRecordFile)) << testing::PrintToString(row);
        EXPECT_EQ("absent", contentOf(kFlagFile)) << testing::PrintToString(row);
    }
}

TEST(Tools, AppliesADownloadedImageAndNothingElse)
{
    const std::string loaded = "init set save final kvr_bit_flag=image;0;;;; killall pc0 fork";
    const std::string failed = "init set save final kvr_bit_flag=image;9010;;;; reboot1";
    struct Row {
        const char *name;
        std::string file;
        std::vector<ScriptedAnswer> answers; // none: no server
        pid_t fork;
        int result;
        std::string journal;
        std::string content;
    };
    const Row rows[] = {
        {"image", kImage, {{answer(200, "abc")}}, 1, 0, loaded, "abc"},
        {"not found is as good", kImage, {{answer(404, "none")}}, 1, 0, loaded, "none"},
        {"refused twice", kImage, {{answer(401, "1")}, {answer(401, "2")}}, 1, 0, loaded, ""},
        {"no process", kImage, {{answer(200, "abc")}}, -1, -1, loaded, "abc"},
        {"no server", kImage, {}, 1, -1, failed, "absent"},
        {"file cannot be opened", "/var/tmp/none/image", {{answer(200)}}, 1, -1, failed, "absent"},
        {"full disk", "/dev/full", {{answer(200, "abc")}}, 1, -1, failed, ""},
        {"configuration", kConfig, {{answer(200, "abc")}}, 1, 0, "", "abc"},
        {"driver", "/var/tmp/3gdriver", {{answer(200, "abc")}}, 1, 0, "", "abc"},
        {"configuration, no server", kConfig, {}, 1, -1, "", "absent"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        ScriptedServer server(row.answers);
        const std::string url = row.answers.empty() ? refusedUrl() : server.url();
        forkResult = row.fork;
        EXPECT_EQ(row.result, run(comLine_main, {"-comline", "-get", url, "-o", row.file}));
        EXPECT_EQ(row.journal, journal);
        if (row.file != "/dev/full") {
            EXPECT_EQ(row.content, contentOf(row.file));
        }
    }
}

TEST(Tools, ReportsAnUploadInTheFlagFile)
{
    struct Row {
        const char *name;
        std::string file;
        std::vector<ScriptedAnswer> answers;
        int result;
        std::string flag;
        std::string requestEnd;
    };
    const std::string file = "/var/tmp/upload", empty = "/var/tmp/empty";
    std::ofstream(file) << "abc";
    std::ofstream(empty) << "";
    const std::string threeEnd = "\r\nContent-Length: 3\r\nContent-Type: text/xml;charset=utf-8\r\n\r\nabc";
    const Row rows[] = {
        {"taken", file, {{answer(200)}}, 0, "absent", threeEnd},
        {"created", file, {{answer(201)}}, 0, "absent", threeEnd},
        {"overwritten", file, {{answer(204)}}, -1, "1", threeEnd},
        {"not allowed", file, {{answer(405)}}, -1, "1", threeEnd},
        {"no status", file, {{"HTTP/1.0 200 OK\r\n\r\n"}}, -1, "1", threeEnd},
        {"refused twice", file, {{answer(401)}, {answer(401)}}, -1, "401", threeEnd},
        {"let in", file, {{answer(401)}, {answer(200)}}, 0, "absent", threeEnd},
        {"empty file", empty, {{answer(200)}}, 0, "absent", "\r\nContent-Length: 0\r\n\r\n"},
        {"no server", file, {}, -1, "1", ""},
        {"no file", "/var/tmp/none", {{answer(200)}}, -1, "absent", ""},
        {"folder", "/var/tmp", {{answer(200)}}, -1, "absent", ""},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        ScriptedServer server(row.answers);
        const std::string url = row.answers.empty() ? refusedUrl() : server.url();
        EXPECT_EQ(row.result,
                  run(comLine_main, {"-comline", "-put", row.file, "-dest", url, "-x", "gateway"}));
        EXPECT_EQ(row.flag, contentOf(kFlagFile));
        const std::vector<std::string> requests = server.requests();
        ASSERT_EQ(row.requestEnd.empty(), requests.empty());
        if (!requests.empty()) {
            EXPECT_EQ(row.requestEnd, requests.back().substr(requests.back().size() - row.requestEnd.size()));
        }
    }
}

TEST(Tools, RecordsWhatATestMeasured)
{
    struct Row {
        const char *name;
        std::vector<std::string> options;
        std::string answer; // empty: no server; "-": it is silent
        int result;
        const char *output;
        const char *stamps; // of the five: 1 taken, 0 still zero
    };
    const std::string file = "/var/tmp/test";
    const Row rows[] = {
        {"download", {"-get", "URL", "-o", file}, answer(200, "abc"), 0, "", "11111"},
        {"not found", {"-get", "URL", "-o", file}, answer(404), -1, "Connect Fail!\n", "11111"},
        {"no content", {"-get", "URL", "-o", file}, answer(204), -1, "", "11111"},
        {"no server", {"-get", "URL", "-o", file}, "", -1, "", "10000"},
        {"upload", {"-put", "x", "-dest", "URL", "-len", "20480"}, answer(200), 0, "", "11111"},
        {"upload's rest", {"-put", "x", "-dest", "URL", "-len", "40961"}, answer(200), 0, "", "11111"},
        {"created", {"-put", "x", "-dest", "URL", "-len", "1"}, answer(201), -1, "", "11111"},
        {"failed", {"-put", "x", "-dest", "URL", "-len", "1"}, answer(500), -1, "Connect Fail!\n", "11111"},
        {"no body", {"-put", "x", "-dest", "URL", "-len", "0"}, "-", -1, "Connect Fail!\n", "11001"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.name);
        nothingArrives = row.answer == "-";
        ScriptedServer server({{row.answer}});
        std::vector<std::string> arguments = {"-http_diagnostic"};
        for (const std::string &option : row.options)
            arguments.push_back(option != "URL" ? option : row.answer.empty() ? refusedUrl() : server.url());
        testing::internal::CaptureStdout();
        EXPECT_EQ(row.result, run(TR143_HTTPDiagnostics_main, arguments));
        fflush(stdout);
        EXPECT_EQ(row.output, testing::internal::GetCapturedStdout());

        std::istringstream record(contentOf(kRecordFile));
        std::vector<int> numbers;
        for (std::string number; std::getline(record, number, ',');)
            numbers.push_back(std::stoi(number));
        ASSERT_EQ(13U, numbers.size());
        std::string stamps;
        for (size_t i = 0; i < 10; i += 2)
            stamps += numbers[i] != 0 ? '1' : '0';
        EXPECT_EQ(row.stamps, stamps);
        EXPECT_EQ(stamps[3] == '1', numbers[7] > numbers[5]) << "a begin comes after its request";
        const std::vector<std::string> requests = server.requests();
        const size_t date = sizeof "Mon, 01 Jan 2024 00:00:00 GMT" - sizeof "*";
        EXPECT_EQ(requests.empty() ? 0 : requests[0].size() + date, static_cast<size_t>(numbers[12]));
        EXPECT_EQ(nothingArrives ? 0 : row.answer.size(), static_cast<size_t>(numbers[10]));
        EXPECT_EQ(row.options[0] == "-get" && !row.answer.empty() ? "" : "absent", contentOf(file));
        remove(file.c_str());
    }
    nothingArrives = false;
}

TEST(Tools, SurvivesEveryFailedAllocation)
{
    ScriptedServer server(std::vector<ScriptedAnswer>(200, {answer(200, "abc")}));
    std::ofstream("/var/tmp/upload") << "abc";
    int succeeded = 0;
    testing::internal::CaptureStdout();
    withEveryAllocationFailing([&] {
        const int result =
            run(comLine_main, {"-comline", "-get", server.url(), "-o", kImage, "-x", "a", "-y", "b"});
        EXPECT_NE(std::string::npos, journal.find(result == 0 ? "image;0;;;;" : "image;9010;;;;"));
        succeeded += result == 0;
    });
    withEveryAllocationFailing([&] {
        const int result =
            run(comLine_main, {"-comline", "-put", "/var/tmp/upload", "-dest", server.url(), "-x", "a"});
        EXPECT_EQ(result == 0 ? "absent" : "1", contentOf(kFlagFile));
        succeeded += result == 0;
    });
    fflush(stdout);
    EXPECT_EQ("", testing::internal::GetCapturedStdout()) << "only a diagnostics run speaks of its failure";
    EXPECT_GE(succeeded, 4);
}
