#include "failing_allocator.h"
#include "guarded_text.h"
#include "http_client.h"
#include "http_diagnostics.h"
#include "request_head.h"
#include "scripted_platform.h"
#include "scripted_server.h"
#include "texts.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

using std::string;
using std::vector;

// The client against a scripted server, or against one end of a socket pair.

static const string flagFile = "/var/tmp/uploadErrFlag", bodyFile = "/var/tmp/body";
static vector<timeval> clockStamps; // taken in turn, then the real time

static int lookups; // of host names

extern "C" {
hostent *__real_gethostbyname(const char *);
hostent *__wrap_gethostbyname(const char *name) { return ++lookups, __real_gethostbyname(name); }
int __real_gettimeofday(timeval *, void *);
int __wrap_gettimeofday(timeval *now, void *zone)
{
    if (clockStamps.empty())
        return __real_gettimeofday(now, zone);
    *now = clockStamps.front();
    clockStamps.erase(clockStamps.begin());
    return 0;
}
}

static void reset()
{
    http_close();
    http_destroy();
    free(gHttpAuth.challenge);
    gHttpAuth = {nullptr, 0, kHttpAuthNone, 0, 0, 0, 0, 0, 0, nullptr, nullptr};
    gHttpSession = {-1, {}, {}, 80, {}, nullptr, 0, false, "Keep-Alive"};
    gHttpTransfer = {};
    gHttpDiagRecord = {};
    s_pcTr069Method = "POST";
    resetWaits();
    clockStamps.clear();
}

// A scripted server that the client, fresh otherwise, is connected to.
struct Peer {
    ScriptedServer server;
    explicit Peer(const vector<ScriptedAnswer> &script, const string &path = "/cwmp") : server(script)
    {
        reset();
        EXPECT_EQ(0, http_init(server.url(path).c_str(), "u", "w", nullptr));
    }
    ~Peer() { http_close(); }
    vector<string> requests()
    {
        http_close();
        return server.requests();
    }
};

// Connects the fresh client to one end of a pair, into whose other end, the result, the bytes are written.
static int openPair(const string &bytes)
{
    reset();
    int pair[2] = {-1, -1};
    EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, pair));
    EXPECT_EQ(static_cast<ssize_t>(bytes.size()), write(pair[1], bytes.c_str(), bytes.size()));
    gHttpSession.socket = pair[0];
    return pair[1];
}

static string send(HttpFraming framing, const string &body, int *status)
{
    const int length = static_cast<int>(body.size());
    char *answer = framing == HttpFraming::soap    ? SendSoapMessage(body.c_str(), length, status)
                   : framing == HttpFraming::empty ? http_send_empty(nullptr, 0, status)
                                                   : http_send_upload(length, status);
    string text = print(answer);
    free(answer);
    return text;
}

// Into bodyFile; the result is what it holds before it is closed.
static string download(int *status)
{
    gHttpTransfer.downloadFile = fopen(bodyFile.c_str(), "w");
    EXPECT_EQ("-", send(HttpFraming::empty, "", status));
    string text = contentOf(bodyFile);
    fclose(gHttpTransfer.downloadFile);
    return text;
}

struct Http : testing::Test {
    Http() { reset(); }
    ~Http() override
    {
        reset();
        unlink(flagFile.c_str());
        unlink(bodyFile.c_str());
    }
};

static const string kOk = httpAnswer(200, "ok");
static const string kChunked = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
static const string kDigestChallenge = "WWW-Authenticate: Digest realm=\"r\", nonce=\"n\", qop=\"auth\"\r\n";
static const string kDigest401 = "HTTP/1.1 401 No\r\n" + kDigestChallenge + "Content-Length: 3\r\n\r\nno!";

TEST_F(Http, parsesUrls)
{
    const string ones(256, '1');
    using Row = std::pair<string, string>; // host, port and path; "": refused
    for (const auto &[text, expected] :
         {Row{"HTTP://127.0.0.1:7547/cwmp", "127.0.0.1:7547/cwmp"}, Row{"http://127.0.0.1", "127.0.0.1:80"},
          Row{"http://127.0.0.1/", "127.0.0.1:80"},
          Row{"http://127.0.0.1/a/b?c=d:1", "127.0.0.1:80/a/b?c=d:1"},
          Row{"http://127.0.1:81:82/x", "127.0.1:82/x"}, Row{"http://127.0.0.1:/x", "127.0.0.1:0/x"},
          Row{"http://127.0.0.1/" + ones.substr(2), "127.0.0.1:80/" + ones.substr(2)},
          Row{"http://127.0.0.1/" + ones.substr(1), ""}, Row{"http://" + ones + "/x", ""},
          Row{"http://" + ones + ":1/x", ""}, Row{"http://127.0.0.1:65536/", ""},
          Row{"http://127.0.0.1:-1/", ""}, Row{"https://127.0.0.1/", ""}, Row{"http:///x", ""},
          Row{"http://127.0.0.256/", ""}, Row{"http://127.0.0.01/", "127.0.0.01:80"}}) {
        SCOPED_TRACE(text);
        reset();
        const GuardedText url(text + '\0');
        HttpSession *to = &gHttpSession;
        const int result = http_parse_url(url.text, to->host, to->address, to->path, &to->port);
        const string parsed = string(to->host) + ":" + std::to_string(to->port) + to->path;
        EXPECT_EQ(expected, result == 0 ? parsed : "");
        EXPECT_EQ(expected.empty() ? -1 : 0, result);
        EXPECT_TRUE(result != 0 || memcmp(to->address, "\x7f\0\0\1", 4) == 0);
    }
    EXPECT_EQ(3, lookups) << "only of what is no plain address";
    EXPECT_EQ(-1, http_init("https://127.0.0.1/", "u", "w", nullptr));
    EXPECT_EQ(nullptr, gHttpAuth.username);
}

TEST_F(Http, connectsReadsAndWrites)
{
    ScriptedServer server({{"abc"}});
    // The socket of a failed connect serves the next one.
    testing::internal::CaptureStderr();
    EXPECT_EQ(-1, http_init("http://127.0.0.1:1", "u", nullptr, nullptr));
    EXPECT_EQ("====== connect failed:: Connection refused\n", testing::internal::GetCapturedStderr());
    const int descriptor = gHttpSession.socket;
    EXPECT_EQ(0, http_init(server.url().c_str(), nullptr, nullptr, "/etc/ca.pem"));
    EXPECT_EQ(descriptor, gHttpSession.socket);
    EXPECT_STREQ("u", gHttpAuth.username);
    // A read clears what it does not fill, and waits 30 s.
    char buffer[8];
    memset(buffer, 'x', sizeof buffer);
    EXPECT_EQ(21, http_write(descriptor, "Content-Length: 0\r\n\r\n", 21));
    EXPECT_EQ(3, http_read(descriptor, buffer, 7));
    EXPECT_EQ(string("abc\0\0\0\0x", 8), string(buffer, 8));
    longestWait = 10;
    EXPECT_EQ(0, http_read(descriptor, buffer, 8));
    EXPECT_EQ(string(8, '\0'), string(buffer, 8));
    EXPECT_EQ(30 * 1000000L, waitAsked.tv_sec * 1000000L + waitAsked.tv_usec);
    CloseHttpSession();
    EXPECT_EQ(-1, http_read(gHttpSession.socket, buffer, 8));
}

// Each request byte for byte; what all three senders write alike is put in by the loop.
TEST_F(Http, framesRequests)
{
    const string basic = "Authorization: Basic dTp3\r\n";
    const string absent =
        "Authorization: Digest username=\"u\", realm=\"\", nonce=\"\", uri=\"/p?q\", response=\"RESP\", "
        "qop=\"\", nc=00000001, cnonce=\"CN\", algorithm=\"MD5\"\r\n";
    const string longCookie = "Cookie: " + string(5000, 'c') + "\r\n";
    const string binary = "Content-Length: 0\r\nContent-Type: application/octet-stream";
    const auto soap = HttpFraming::soap, empty = HttpFraming::empty, upload = HttpFraming::upload;
    const string three = "Content-Length: 3\r\nContent-Type: text/xml";
    const struct {
        HttpFraming framing;
        const char *method;
        int authType, lastStatus;
        string path, body, cookieLine, expected;
    } rows[] = {
        {soap, "POST", 255, 0, "/p?q", "", "", "Content-Length: 0\r\n\r\n"},
        {soap, "POST", 255, 0, "", "abc", "Cookie: a=1 ;b=2\r\n", "Content-Length: 3\r\n\r\nabc"},
        {soap, "POST", 0, 0, "/p?q", "x", "Cookie: c\r\n", basic + "Content-Length: 1\r\n\r\nx"},
        {soap, "POST", 255, 401, "/p?q", "x", "", absent + "Content-Length: 1\r\n\r\nx"},
        {soap, "POST", 255, 0, "/p?q", "x", longCookie, "Content-Length: 1\r\n\r\nx"},
        {soap, "PUT", 255, 0, "/", "abc", "", three + ";charset=utf-8\r\n\r\nabc"},
        {soap, "PUT", 255, 0, "/p?q", "", "", "Content-Length: 0\r\n\r\n"},
        {soap, "GET", 255, 0, "/p?q", "", "", binary + ";charset=utf-8\r\n\r\n"},
        {empty, "GET", 0, 0, "/p?q", "", "Cookie: c\r\n", basic + binary + "\r\n\r\n"},
        {empty, "GET", 255, 401, "/p?q", "", "", binary + "\r\n\r\n"},
        {upload, "PUT", 255, 401, "/p?q", "aaa", "", absent + three + "\r\n\r\naaa"},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.expected);
        Peer peer({{httpAnswer(200)}}, row.path);
        s_pcTr069Method = row.method;
        gHttpAuth.type = row.authType;
        gHttpSession.lastStatus = row.lastStatus;
        if (!row.cookieLine.empty())
            gHttpSession.cookie = strdup(row.cookieLine.substr(8, row.cookieLine.size() - 10).c_str());
        int status = 0;
        EXPECT_EQ("-", send(row.framing, row.body, &status));
        EXPECT_EQ(row.framing == empty ? 0 : 200, status);
        EXPECT_EQ(row.framing == empty ? row.lastStatus : 0, gHttpSession.lastStatus);
        const string host = "Host: 127.0.0.1:" + std::to_string(peer.server.port()) + "\r\n";
        const string accept = "Accept: */*\r\n", trailers = row.framing == upload ? "TE: trailers\r\n" : "";
        const string start =
            string(row.method) + " " + (row.path == "/" ? "" : row.path) + " HTTP/1.1\r\n" +
            (row.framing == soap ? host + accept + "SoapAction:\r\n" : accept + trailers + host);
        const string alike = "User-Agent:qxnv_http_client\r\nConnection: Keep-Alive\r\nDate: *\r\n";
        EXPECT_EQ(vector<string>{start + alike + row.cookieLine + row.expected}, peer.requests());
        EXPECT_EQ(vector<useconds_t>{100000}, pauses);
    }
}

TEST_F(Http, handles100And204And400And401)
{
    const string continued = "HTTP/1.1 100 Continue\r\n\r\n";
    const string bare401 = httpAnswer(401, "no!");
    const string closing401 = "HTTP/1.1 401 No\r\nConnection: close\r\n" + kDigestChallenge + "\r\n";
    const string chunked204 = "HTTP/1.1 204 No\r\nTransfer-Encoding: chunked\r\n\r\n";
    const string again = "--ENTER re init http--------------\n";
    const struct {
        vector<ScriptedAnswer> answers;
        int status;
        string body, printed;
        const char *method = "POST";
    } rows[] = {
        {{{continued + kOk}}, 200, "ok", ""},
        {{{continued + kOk, 1}}, 200, "ok", ""},
        {{{"HTTP/1.1 204 No\r\nSet-Cookie: a\r\n\r\n"}}, 204, "-", ""},
        {{{chunked204}}, 204, "-", ""},
        {{{chunked204 + "1\r\nx\r\n0\r\n\r\n"}}, 204, "x", ""},
        {{{httpAnswer(400, "x")}}, 400, "x", ""},
        {{{kDigest401}, {kOk}}, 200, "ok", ""},
        {{{kDigest401}, {kDigest401}}, 401, "no!", "Authorization failed. exit!\n"},
        {{{bare401}, {kOk}}, 200, "ok", ""},
        {{{closing401, 0, true}, {kOk}}, 200, "ok", again},
        {{{kDigest401}, {kOk}}, 200, "ok", again, "GET"},
        {{{"", 0, true}}, -1, "-", ""},
        {{{"HTTP/1.0 200 OK\r\n\r\n"}}, 0, "-", ""},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.answers[0].bytes);
        Peer peer(row.answers);
        s_pcTr069Method = row.method;
        gHttpTransfer.uploadInProgress = true;
        unlink(flagFile.c_str());
        int status = 77;
        testing::internal::CaptureStdout();
        EXPECT_EQ(row.body, send(HttpFraming::soap, "body", &status));
        EXPECT_EQ(row.printed, testing::internal::GetCapturedStdout());
        EXPECT_EQ(row.status, status);
        EXPECT_EQ(0, gHttpSession.lastStatus);
        EXPECT_FALSE(gHttpSession.closeRequested);
        EXPECT_EQ(row.status == 204 || row.status == 400, gHttpSession.socket < 0);
        EXPECT_EQ(row.status == 401 ? "401" : "absent", contentOf(flagFile));
        EXPECT_EQ(row.status != 401, gHttpTransfer.uploadInProgress);
        EXPECT_EQ(0, vainWaits);
        const vector<string> requests = peer.requests();
        ASSERT_EQ(row.answers.size(), requests.size());
        EXPECT_EQ(requests.size() == 2, requests.back().find("\r\nAuthorization: Digest") != string::npos);
    }
}

TEST_F(Http, leavesTheSlotUnwrittenWhenItCannotReconnect)
{
    for (const HttpFraming framing : {HttpFraming::soap, HttpFraming::empty, HttpFraming::upload}) {
        Peer peer({{kDigest401, 0, true}});
        s_pcTr069Method = "GET";
        onPause = [] { gHttpSession.port = 1; };
        int status = 77;
        EXPECT_EQ("-", send(framing, "a", &status));
        EXPECT_EQ(77, status);
    }
}

// Each answer in three splits; then, where the first one is whole, a second one on the same connection. What
// is missing is waited for once.
TEST_F(Http, readsAnswers)
{
    const string ok = "HTTP/1.1 200 OK\r\n";
    const string big(3000, 'z');
    const string cookies = repeat("Set-Cookie: c\r\n", 21), twenty = "c" + repeat(" ;c", 19);
    string tooLong = kChunked.substr(0, kChunked.size() - 2);
    tooLong.resize(kHttpBufferSize, 'y');
    enum Then { whole, useless, silent };
    const struct {
        string bytes;
        int status;
        string body, cookie = "old";
        Then then = whole;
    } rows[] = {
        {httpAnswer(200), 200, "-"},
        {ok + "Set-Cookie: a=1; Path=/\r\nSet-Cookie: b=2\r\n\r\n", 200, "-", "a=1 ;b=2"},
        {ok + cookies + "\r\n", 200, "-", twenty},
        {ok + "X-Content-Length: 5\r\n\r\nhello", 200, "hello"},
        {ok + "content-length: 5\r\nX: HTTP/1.1 404 \r\n\r\n", 200, "-"},
        {ok + "Content-Length: 2\r\n\r\nok, and more", 200, "ok", "old", useless},
        {kChunked + "5;x=y\r\nhello\r\n00A\r\n, world..!\r\n0\r\n\r\n", 200, "hello, world..!"},
        {kChunked + "1\r\na\r\n0\r\nX: y\r\nZ: 1\r\n\r\n", 200, "a"},
        {kChunked + "BB8\r\n" + big + "\r\n1\r\n0\r\n0\r\n\r\n", 200, big + "0"},
        {kChunked + "1\r\na\r\nzz\r\n", 200, "a"},
        {kChunked + "1\r\na\r\n-5\r\n", 200, "a"},
        {kChunked + "1\r\na\r\n0\r\n", 200, "a", "old", silent},
        {kChunked + "0\r\n\r\n", 200, "-"},
        {ok + "Transfer-Encoding: chunked\r\n", -1, "-", "old", silent},
        {"HTTP/1.1 100 Continue\r\n", -1, "-", "old", silent},
        {"HTTP/1.1 404 No\r\nTransfer-Encoding: chunked\r\n\r\n", 404, "-"},
        {ok + "Content-Length: -5\r\n\r\n", -1, "-", "old", useless},
        {ok + "Content-Length: 2147483647\r\n\r\n", -1, "-", "old", useless},
        {kChunked + "7fffffff\r\na", -1, "-", "old", useless},
        {kChunked + "1\r\na\r\n7ffffffe\r\nb", -1, "-", "old", useless},
        {kChunked + string(5000, ' '), -1, "-", "old", useless},
        {kChunked + "5\r\nhel", -1, "-", "old", silent},
        {ok + "Set-Cookie: a\r", 200, "-", "a", silent},
        {tooLong + "5\r\nhello\r\n0\r\n\r\n", 200, "hello"},
        {ok + "X: " + string(8000, 'y') + "\r\nContent-Length: 1\r\n\r\nx", 200, "-", "old", useless},
    };
    for (const auto &row : rows) {
        forEachPrefix(row.bytes.substr(0, 200), [&](const char *text, int size) {
            int status = 0, length = 0, chunked = 0;
            EXPECT_GE(text + size,
                      http_parse_headers(text, &status, &length, &chunked, &gHttpSession.cookie));
        });
        for (const size_t pieceSize : {0U, 1U, 7U}) {
            SCOPED_TRACE(row.bytes + " in pieces of " + std::to_string(pieceSize));
            const bool keepsSilent = row.then == silent && pieceSize == 0;
            Peer peer({{row.bytes, pieceSize, row.then != whole && !keepsSilent}, {kOk}});
            longestWait = keepsSilent ? 20 : 5000;
            onPause = [] {
                pollfd answer = {gHttpSession.socket, POLLIN, 0};
                poll(&answer, 1, pauses.size() == 1 ? 5000 : 0);
            };
            gHttpSession.cookie = strdup("old");
            int status = 77;
            EXPECT_EQ(row.body, send(HttpFraming::soap, "body", &status));
            EXPECT_EQ(row.status, status);
            EXPECT_EQ(row.cookie, gHttpSession.cookie);
            EXPECT_TRUE(row.then != whole || send(HttpFraming::soap, "body", &status) == "ok");
            EXPECT_EQ(keepsSilent ? 1 : 0, vainWaits);
        }
    }
    const int peer = openPair("HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\nContent-Length: 5\r\n\r\n");
    int status = 0;
    EXPECT_DEATH(send(HttpFraming::soap, "", &status), "iChunk == 1 && iContentLen != 0");
    close(peer);
}

// A missing body is waited for, also on a connection that has ended; until then the file holds what has come.
TEST_F(Http, fillsTheDownloadFileBeforeItWaits)
{
    const string big(20000, 'b'), countedHead = "HTTP/1.1 200 OK\r\nContent-Length: 20000\r\n\r\n";
    const struct {
        string bytes, rest, beforeWait, whole;
        bool ended = false;
    } rows[] = {
        {countedHead + "bbb", big.substr(3), "bbb", big},
        {countedHead + "bbb", big.substr(3), "bbb", big, true},
        {kChunked + "3\r\nabc\r\n", "0\r\n\r\n", "abc", "abc"},
        {kChunked + "3\r\nabc\r\n2\r\nd", "e\r\n0\r\n\r\n", "abcd", "abcde"},
    };
    for (const auto &row : rows) {
        const int peer = openPair(row.bytes);
        string beforeWait = "no wait";
        const auto bringRest = [&](int descriptor) {
            beforeWait = contentOf(bodyFile);
            http_write(descriptor, row.rest.c_str(), static_cast<int>(row.rest.size()));
        };
        onWait = [&] { beforeWait == "no wait" ? bringRest(peer) : void(); };
        // At the fifth pause another connection stands in the place of the one that ended.
        onPause = [&] {
            int pair[2];
            if (row.ended && pauses.size() == 1)
                shutdown(peer, SHUT_WR);
            if (pauses.size() != 5 || socketpair(AF_UNIX, SOCK_STREAM, 0, pair) != 0)
                return;
            bringRest(pair[1]);
            dup2(pair[0], gHttpSession.socket);
            close(pair[0]);
            close(pair[1]);
        };
        int status = 0;
        EXPECT_EQ(row.whole, download(&status));
        EXPECT_EQ(row.beforeWait, beforeWait);
        EXPECT_EQ(vector<useconds_t>(row.ended ? 5 : 1, 100000), pauses);
        close(peer);
    }
}

TEST_F(Http, putsBodiesIntoTheDownloadFile)
{
    string big;
    while (big.size() < 300000)
        big += std::to_string(big.size()) + ",";
    const string chunks =
        kChunked + "10\r\n" + big.substr(0, 16) + "\r\n20000\r\n" + big.substr(16, 0x20000) + "\r\n0\r\n\r\n";
    const string chunks401 = "HTTP/1.1 401 No\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nno!\r\n0\r\n\r\n";
    const struct {
        vector<ScriptedAnswer> answers;
        string expected;
        bool diagnostics = false;
    } rows[] = {
        {{{kOk}}, "ok"},
        {{{httpAnswer(200, big)}}, big},
        {{{httpAnswer(200, big), 9999}}, big},
        {{{chunks}}, big.substr(0, 0x20010)},
        {{{kChunked + "5\r\nab", 0, true}}, "ab"},
        {{{httpAnswer(404, "none")}}, "none"},
        {{{kDigest401, 0, true}, {kOk}}, "ok"},
        {{{chunks401, 0, true}, {kOk}}, "ok"},
        {{{httpAnswer(401, string(5000, 'n')), 0, true}, {kOk}}, string(5000, 'n') + "ok"},
        {{{httpAnswer(200, big)}}, "", true},
        {{{kOk}}, "", true},
        {{{chunks}}, "", true},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(row.answers[0].bytes.substr(0, 100));
        Peer peer(row.answers);
        gHttpTransfer.diagnostics = gHttpTransfer.diagnosticsDownload = row.diagnostics;
        gHttpTransfer.configurationDownload = true;
        s_pcTr069Method = "GET";
        int status = 0;
        EXPECT_EQ(row.expected, download(&status));
        EXPECT_EQ(row.diagnostics ? 200 : 0, status);
        EXPECT_EQ(row.answers.size() == 1, gHttpTransfer.configurationDownload);
        const int received = static_cast<int>(row.answers[0].bytes.size());
        EXPECT_EQ(row.diagnostics ? received : 0, gHttpDiagRecord.bytesReceived);
    }
}

TEST_F(Http, uploadsInPieces)
{
    for (const int length : {0, 1, 20479, 20480, 20481, 40961}) {
        reset();
        ScriptedServer server({{kOk}});
        gHttpTransfer.diagnostics = true;
        clockStamps = {{10, 5000}, {11, 4}, {12, 7}, {12, 7}, {13, 1}};
        ASSERT_EQ(0, http_init(server.url().c_str(), nullptr, nullptr, nullptr));
        longestWait = length == 0 ? 10 : 5000;
        const string body(static_cast<size_t>(length), 'a');
        int status = 0;
        EXPECT_EQ(length == 0 ? "-" : "ok", send(HttpFraming::upload, body, &status)) << length;
        EXPECT_EQ(length == 0 ? -1 : 200, status);
        http_close();
        const vector<string> requests = server.requests();
        const string sent = requests.empty() ? "\r\n\r\n" : requests[0];
        EXPECT_EQ(body, sent.substr(sent.find("\r\n\r\n") + 4));
        const HttpDiagRecord &record = gHttpDiagRecord;
        EXPECT_EQ(1, record.tcpOpenRequestMicroseconds / 5000);
        EXPECT_EQ(record.tcpOpenRequestMicroseconds + 2751, record.tcpOpenResponseMicroseconds);
        EXPECT_EQ(length == 0 ? 0 : 7 + 3415, record.beginMicroseconds);
        EXPECT_EQ(length == 0 ? 12 : 13, record.endSeconds);
        // The masked date is 28 bytes shorter.
        EXPECT_EQ(length == 0 ? 0 : static_cast<int>(sent.size() + 28), record.bytesSent);
    }
}

TEST_F(Http, answersChallenges)
{
    using Row = std::pair<string, string>; // challenge; realm|uri|nonce|qop, or "": Basic
    const Row rows[] = {
        {R"(Digest realm="r", nonce="n", qop="auth")", "r|/cwmp|n|auth"},
        {R"(Digest realm="a b" ,nonce=n,uri="/u",qop="auth", opaque="o", algorithm=MD5)", "a b|/u|n|auth"},
        {R"(Digest nonce="n", realmX="r")", "r|/cwmp|n|"},
        {R"(Digest realm="", nonce="n,m=1")", ""},
        {R"(Digest realm="r", nonce="n", stale=true)", ""},
        {R"(Digest realm="r", qop="auth,auth-int", nonce="n")", ""},
        {R"(Digest realm="r", nonce="n", qop="auth,auth-int")", "r|/cwmp|n|auth"},
        {R"(Basic realm="x")", ""},
        {"digest", ""},
    };
    const auto answer = [](const char *value, ptrdiff_t size) {
        const char *end = nullptr;
        HttpHead head = {};
        EXPECT_EQ(0, http_parse_challenge(value, &gHttpAuth, &end));
        EXPECT_EQ(size, end - value);
        EXPECT_EQ(0, http_build_auth(&gHttpAuth, &head));
        const string line = head.text;
        free(head.text);
        return line.substr(0, 5) == "Basic" ? line : digestInput;
    };
    const auto expected = [](const string &digest) {
        return digest.empty() ? "Basic dTo=\r\n" : "u||" + digest + "|00000001|CN|POST|";
    };
    for (const auto &[whole, digest] : rows) {
        forEachPrefix(whole, [&, &last = whole, &wanted = digest](const char *value, int size) {
            reset();
            gHttpAuth.username = strdup("u");
            memcpy(gHttpSession.path, "/cwmp", 6);
            const string line = answer(value, size);
            EXPECT_TRUE(value != last || line == expected(wanted)) << value << " gives " << line;
        });
    }
    // Keys that a later challenge does not have: their old places lie past its end.
    answer("Digest realm=\"long enough\", nonce=\"n\", qop=\"auth\"", 49);
    EXPECT_EQ(expected("r|/cwmp||"), answer("Digest realm=\"r\"\r\n", 16));
}

TEST_F(Http, survivesEveryFailingAllocation)
{
    const string chunks = "HTTP/1.1 200 OK\r\nSet-Cookie: a\r\nTransfer-Encoding: chunked\r\n\r\n1388\r\n" +
                          string(5000, 'x') + "\r\n0\r\n\r\n";
    const string basic401 = "HTTP/1.1 401 No\r\nWWW-Authenticate: Basic\r\nContent-Length: 0\r\n\r\n";
    for (const string &first : {kDigest401, basic401})
        withEveryAllocationFailing([&] {
            ScriptedServer server({{first}, {chunks}});
            int status = 77;
            const bool open = http_init(server.url().c_str(), "u", "w", nullptr) == 0;
            char *body = open ? SendSoapMessage("x", 1, &status) : nullptr;
            EXPECT_EQ(body != nullptr, status == 200);
            free(body);
            reset();
        });
}
