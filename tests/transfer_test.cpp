#include <arpa/inet.h>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sched.h>
#include <sstream>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

// The two tool run modes of the executable itself against file servers, each started here on a free port of
// 127.0.0.1 with a folder of its own, and stopped by its process id.

namespace fs = std::filesystem;

static const std::string kFlagFile = "/var/tmp/uploadErrFlag";
static const std::string kRecordFile = "/var/tmp/httpdiag_record";

// The user "gateway" with the password "word", for Basic and for Digest in the realm "desk".
static const char kBasicUsers[] = "gateway:{SHA}PLzZCtxLGSqHpiWFC38jHK3fDrM=\n";
static const char kDigestUsers[] = "gateway:desk:acc8d9ec9fea49d7e31a67376cc601a5\n";

// In each configuration DIR is the server's folder and PORT its port.
static const char kNginx[] = R"(
daemon off; master_process off; pid DIR/pid; error_log DIR/log;
events {}
http {
  access_log off; client_max_body_size 0; keepalive_timeout 75;
  client_body_temp_path DIR/t1; proxy_temp_path DIR/t2; fastcgi_temp_path DIR/t3;
  uwsgi_temp_path DIR/t4; scgi_temp_path DIR/t5;
  server {
    listen 127.0.0.1:PORT;
    root DIR/www;
    location /chunked/ { alias DIR/www/; ssi on; ssi_types *; }
    location /basic/ { alias DIR/www/; auth_basic desk; auth_basic_user_file DIR/basic; }
    location /sink { return 200; }
  }
}
)";

static const char kApache[] = R"(
ServerName localhost
Listen 127.0.0.1:PORT
DefaultRuntimeDir DIR
PidFile DIR/pid
ErrorLog DIR/log
Define modules /usr/lib/apache2/modules
LoadModule mpm_event_module ${modules}/mod_mpm_event.so
LoadModule authn_core_module ${modules}/mod_authn_core.so
LoadModule authn_file_module ${modules}/mod_authn_file.so
LoadModule authz_core_module ${modules}/mod_authz_core.so
LoadModule authz_user_module ${modules}/mod_authz_user.so
LoadModule auth_basic_module ${modules}/mod_auth_basic.so
LoadModule auth_digest_module ${modules}/mod_auth_digest.so
LoadModule dav_module ${modules}/mod_dav.so
LoadModule dav_fs_module ${modules}/mod_dav_fs.so
DocumentRoot DIR/www
DavLockDB DIR/lock
<Directory DIR/www>
  Dav On
</Directory>
<Directory DIR/www/basic>
  AuthType Basic
  AuthName desk
  AuthUserFile DIR/basic
  Require valid-user
</Directory>
<Directory DIR/www/digest>
  AuthType Digest
  AuthName desk
  AuthUserFile DIR/digest
  Require valid-user
</Directory>
)";

static const char kLighttpd[] = R"(
server.bind = "127.0.0.1"
server.port = PORT
server.document-root = "DIR/www"
server.errorlog = "DIR/log"
server.modules = ( "mod_auth", "mod_authn_file" )
auth.backend = "htdigest"
auth.backend.htdigest.userfile = "DIR/digest"
auth.require = ( "/digest/" => ( "method" => "digest", "realm" => "desk", "require" => "valid-user" ) )
)";

static void replaceAll(std::string &text, const std::string &mark, const std::string &value)
{
    for (size_t at; (at = text.find(mark)) != std::string::npos;)
        text.replace(at, mark.size(), value);
}

static std::string contentOf(const fs::path &path)
{
    std::ifstream file(path, std::ios::binary);
    return file ? std::string(std::istreambuf_iterator<char>(file), {}) : "absent";
}

static sockaddr_in addressAt(int port)
{
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    return address;
}

static int findFreePort()
{
    const int probe = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = addressAt(0);
    socklen_t length = sizeof address;
    bind(probe, reinterpret_cast<sockaddr *>(&address), length);
    getsockname(probe, reinterpret_cast<sockaddr *>(&address), &length);
    close(probe);
    return ntohs(address.sin_port);
}

static bool isListening(int port)
{
    const int probe = socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = addressAt(port);
    const bool open = connect(probe, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0;
    close(probe);
    return open;
}

// Starts a program; prepare runs in its process first. Its output goes to a file.
template <typename Prepare>
static pid_t start(std::vector<std::string> words, const fs::path &output, Prepare prepare)
{
    const pid_t child = fork();
    if (child != 0)
        return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (freopen(output.c_str(), "w", stdout) == nullptr || dup2(1, 2) < 0 || !prepare())
        _exit(126);
    std::vector<char *> argv;
    for (std::string &word : words)
        argv.push_back(word.data());
    argv.push_back(nullptr);
    execv(argv[0], argv.data());
    _exit(127);
}

static bool prepareNothing()
{
    return true;
}

class Transfer : public testing::Test
{
  protected:
    fs::path folder;
    std::string body;
    std::string url;
    pid_t server = -1;

    void SetUp() override
    {
        char name[] = "/tmp/tr069fe_transfer_XXXXXX";
        folder = mkdtemp(name);
        chmod(folder.c_str(), 0755);
        for (const char *sub : {"www", "www/basic", "www/digest"}) {
            fs::create_directory(folder / sub);
            chmod((folder / sub).c_str(), 0777); // a server that root starts may run as somebody else
        }
        for (int i = 0; i < 300000; ++i)
            body += std::to_string(i * 7919L);
        for (const char *file : {"www/file", "www/digest/file", "local"})
            std::ofstream(folder / file, std::ios::binary) << body;
        std::ofstream(folder / "basic") << kBasicUsers;
        std::ofstream(folder / "digest") << kDigestUsers;
        setenv("GATEWAY_JOURNAL", (folder / "journal").c_str(), 1);
    }

    void TearDown() override
    {
        if (server > 0) {
            kill(server, SIGKILL);
            waitpid(server, nullptr, 0);
        }
        if (HasFailure())
            std::cerr << contentOf(folder / "server") << contentOf(folder / "log");
        fs::remove_all(folder);
    }

    // False when it is not installed.
    bool serve(const std::vector<std::string> &command, std::string configuration)
    {
        if (!fs::exists(command[0]))
            return false;
        const int port = findFreePort();
        replaceAll(configuration, "DIR", folder);
        replaceAll(configuration, "PORT", std::to_string(port));
        std::ofstream(folder / "conf") << configuration;
        std::vector<std::string> words = command;
        words.push_back(folder / "conf");
        server = start(words, folder / "server", prepareNothing);
        for (int tries = 0; tries < 500 && !isListening(port); ++tries)
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        url = "http://127.0.0.1:" + std::to_string(port);
        return true;
    }

    // The exit status; the output is in the file "output".
    template <typename Prepare = bool (*)()>
    int run(std::vector<std::string> arguments, Prepare prepare = prepareNothing)
    {
        remove(kFlagFile.c_str());
        remove(kRecordFile.c_str());
        arguments.insert(arguments.begin(), TR069FE);
        const pid_t child = start(arguments, folder / "output", prepare);
        int status = -1;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    int get(const std::string &path, const std::string &file, const std::string &password = "word")
    {
        fs::remove(folder / file);
        return run({"-comline", "-get", url + path, "-o", folder / file, "-x", "gateway", "-y", password});
    }

    int put(const std::string &path, const std::string &password = "word")
    {
        return run(
            {"-comline", "-put", folder / "local", "-dest", url + path, "-x", "gateway", "-y", password});
    }

    // Runs a test, and gives the bytes that its record has: received, then sent.
    std::pair<long, long> measure(int result, std::vector<std::string> options)
    {
        options.insert(options.begin(), "-http_diagnostic");
        EXPECT_EQ(result, run(options)) << contentOf(folder / "output");
        long numbers[13] = {};
        std::istringstream record(contentOf(kRecordFile));
        for (long &number : numbers) {
            record >> number;
            record.get();
        }
        EXPECT_TRUE(record) << contentOf(kRecordFile);
        return {numbers[10], numbers[12]};
    }
};

constexpr long kHeadRoom = 1000; // no head here is longer

TEST_F(Transfer, WithNginx)
{
    if (!serve({"/usr/sbin/nginx", "-e", folder / "log", "-c"}, kNginx))
        GTEST_SKIP() << "nginx is not installed";
    for (const char *path : {"/file", "/chunked/file", "/basic/file"}) {
        SCOPED_TRACE(path);
        EXPECT_EQ(0, get(path, "config")) << contentOf(folder / "output");
        EXPECT_TRUE(contentOf(folder / "config") == body);
    }
    EXPECT_EQ(0, get("/basic/file", "config", "wrong"));
    EXPECT_NE(std::string::npos, contentOf(folder / "output").find("Authorization failed. exit!"));
    EXPECT_FALSE(fs::exists(folder / "journal")) << "nothing of this was an image";

    const long size = static_cast<long>(body.size());
    for (const char *path : {"/file", "/chunked/file"}) {
        const auto [received, sent] = measure(0, {"-get", url + path, "-o", folder / "test"});
        EXPECT_TRUE(received > size && received < size + kHeadRoom + size / 100) << received;
        EXPECT_TRUE(sent > 0 && sent < kHeadRoom) << sent;
        EXPECT_EQ("", contentOf(folder / "test"));
    }
    const auto [received, sent] = measure(0, {"-put", "x", "-dest", url + "/sink", "-len", "3000000"});
    EXPECT_TRUE(received > 0 && received < kHeadRoom) << received;
    EXPECT_TRUE(sent > 3000000 && sent < 3000000 + kHeadRoom) << sent;
}

TEST_F(Transfer, WithApache)
{
    const std::string user = geteuid() == 0 ? "User www-data\nGroup www-data\n" : "";
    chmod(folder.c_str(), 0777);
    if (!serve({"/usr/sbin/apache2", "-X", "-f"}, user + kApache))
        GTEST_SKIP() << "apache2 is not installed";
    for (const std::string path : {"/new", "/basic/new", "/digest/new"}) {
        SCOPED_TRACE(path);
        EXPECT_EQ(0, put(path)) << contentOf(folder / "output");
        EXPECT_EQ("absent", contentOf(kFlagFile));
        EXPECT_TRUE(contentOf(folder / ("www" + path)) == body);
    }
    EXPECT_EQ(0, get("/digest/file", "config")) << contentOf(folder / "output");
    EXPECT_TRUE(contentOf(folder / "config") == body);
    EXPECT_EQ(255, put("/new")) << "overwriting is answered with 204, which is no success";
    EXPECT_EQ("1", contentOf(kFlagFile));
    for (const std::string path : {"/basic/none", "/digest/none"}) {
        SCOPED_TRACE(path);
        EXPECT_EQ(255, put(path, "wrong"));
        EXPECT_EQ("401", contentOf(kFlagFile));
        EXPECT_EQ("absent", contentOf(folder / ("www" + path)));
    }
}

TEST_F(Transfer, WithLighttpd)
{
    if (!serve({"/usr/sbin/lighttpd", "-D", "-f"}, kLighttpd))
        GTEST_SKIP() << "lighttpd is not installed";
    EXPECT_EQ(0, get("/file", "config")) << contentOf(folder / "output");
    EXPECT_TRUE(contentOf(folder / "config") == body);

    // Its challenge also names a character set, and the device answers such a challenge with Basic.
    EXPECT_EQ(0, get("/digest/file", "config"));
    EXPECT_NE(std::string::npos, contentOf(folder / "output").find("Authorization failed. exit!"));
    EXPECT_EQ("", contentOf(folder / "config"));
}

// Puts a folder with the upgrader (and the shell that it needs) in the place of /usr/bin, for the process
// alone.
static bool bringUpgrader(const fs::path &programs)
{
    return unshare(CLONE_NEWNS) == 0 && mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount(programs.c_str(), "/usr/bin", nullptr, MS_BIND, nullptr) == 0;
}

TEST_F(Transfer, HandsAnImageToTheUpgrader)
{
    if (!serve({"/usr/sbin/nginx", "-e", folder / "log", "-c"}, kNginx))
        GTEST_SKIP() << "nginx is not installed";
    const fs::path programs = folder / "programs", told = folder / "told";
    fs::create_directory(programs);
    fs::copy_file("/bin/sh", programs / "sh");
    std::ofstream(programs / "upgrader") << "#!/usr/bin/sh\necho \"$@\" > " << told << "\n";
    chmod((programs / "upgrader").c_str(), 0755);
    const std::vector<std::string> download = {"-comline", "-get", url + "/file", "-o", folder / "image"};
    const int result = run(download, [&] { return bringUpgrader(programs); });
    if (result == 126)
        GTEST_SKIP() << "mounting is not allowed here";
    EXPECT_EQ(0, result);
    EXPECT_TRUE(contentOf(folder / "image") == body);
    for (int tries = 0; tries < 500 && contentOf(told).find('\n') == std::string::npos; ++tries)
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ("-c 1 -p /var/image.img -u TR069\n", contentOf(told));
    EXPECT_NE(std::string::npos, contentOf(folder / "journal").find("image;0;;;;"));
}
