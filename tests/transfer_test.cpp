#include "support/processes.h"

#include <arpa/inet.h>
#include <regex>
#include <sstream>
#include <unistd.h>

// The two tool run modes of the executable itself against file servers, each started here on a free port of
// 127.0.0.1 with a folder of its own, and stopped by its process id.

using std::string;

static const string flagFile = "/var/tmp/uploadErrFlag", recordFile = "/var/tmp/httpdiag_record";

// The user "gateway" with the password "word", for Basic and for Digest in the realm "desk".
static const char kBasicUsers[] = "gateway:{SHA}PLzZCtxLGSqHpiWFC38jHK3fDrM=\n";
static const char kDigestUsers[] = "gateway:desk:acc8d9ec9fea49d7e31a67376cc601a5\n";

// In each configuration DIR is the server's folder and PORT its port.
static const char kNginx[] = R"(
daemon off; master_process off; pid DIR/pid; error_log DIR/log; events {}
http {
  access_log off; client_max_body_size 0; client_body_temp_path DIR/t1; proxy_temp_path DIR/t2;
  fastcgi_temp_path DIR/t3; uwsgi_temp_path DIR/t4; scgi_temp_path DIR/t5;
  server {
    listen 127.0.0.1:PORT; root DIR/www;
    location /chunked/ { alias DIR/www/; ssi on; ssi_types *; }
    location /basic/ { alias DIR/www/; auth_basic desk; auth_basic_user_file DIR/basic; }
    location /sink { return 200; }
  }
})";

static string configureApache()
{
    string all = "ServerName localhost\nListen 127.0.0.1:PORT\nDefaultRuntimeDir DIR\nPidFile DIR/pid\n"
                 "ErrorLog DIR/log\nDocumentRoot DIR/www\n";
    for (const string module : {"mpm_event", "authn_core", "authn_file", "authz_core", "authz_user",
                                "auth_basic", "auth_digest", "dav", "dav_fs"})
        all += "LoadModule " + module + "_module /usr/lib/apache2/modules/mod_" + module + ".so\n";
    all += "DavLockDB DIR/lock\n<Directory DIR/www>\nDav On\n</Directory>\n";
    for (const string type : {"basic", "digest"})
        all += "<Directory DIR/www/" + type + ">\nAuthType " + type + "\nAuthName desk\nAuthUserFile DIR/" +
               type + "\nRequire valid-user\n</Directory>\n";
    return all + (geteuid() == 0 ? "User www-data\nGroup www-data\n" : "");
}

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

static int findFreePort()
{
    const int probe = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address = {AF_INET, 0, {htonl(INADDR_LOOPBACK)}, {}};
    socklen_t length = sizeof address;
    bind(probe, reinterpret_cast<sockaddr *>(&address), length);
    getsockname(probe, reinterpret_cast<sockaddr *>(&address), &length);
    close(probe);
    return ntohs(address.sin_port);
}

class Transfer : public InFolder
{
  protected:
    string body, url, server; // the server's process id

    void SetUp() override
    {
        InFolder::SetUp();
        for (int i = 0; i < 300000; ++i)
            body += std::to_string(i * 7919L);
        shell("cd " + folder +
              " && mkdir -p www/basic www/digest && chmod -R 777 ."); // whoever the server runs as
        for (const char *file : {"/www/file", "/www/digest/file", "/local"})
            std::ofstream(folder + file) << body;
        std::ofstream(folder + "/basic") << kBasicUsers;
        std::ofstream(folder + "/digest") << kDigestUsers;
        setenv("GATEWAY_JOURNAL", (folder + "/journal").c_str(), 1);
    }

    void TearDown() override
    {
        if (HasFailure())
            std::cerr << contentOf(folder + "/server") << contentOf(folder + "/log");
        if (!server.empty())
            shell("kill " + server + "; timeout 10 sh -c 'while kill -0 " + server +
                  "; do sleep 0.02; done'");
        InFolder::TearDown();
    }

    // Starts a server by its command, which the configuration file's path follows; false when it is not
    // installed.
    bool serve(const string &command, string configuration)
    {
        if (access(command.substr(0, command.find(' ')).c_str(), X_OK) != 0)
            return false;
        const string port = std::to_string(findFreePort()), conf = folder + "/conf";
        configuration = std::regex_replace(configuration, std::regex("DIR"), folder);
        std::ofstream(conf) << std::regex_replace(configuration, std::regex("PORT"), port);
        server =
            shell("timeout 170 " + command + " " + conf + " >" + folder + "/server 2>&1 & echo $!").output;
        server.pop_back();
        url = "http://127.0.0.1:" + port;
        shell("timeout 10 bash -c 'until echo >/dev/tcp/127.0.0.1/" + port + "; do sleep 0.02; done'");
        return true;
    }

    static Talk run(const string &arguments)
    {
        return shell("rm -f " + flagFile + " " + recordFile + "; " TR069FE " " + arguments);
    }

    // What was received and, when that was not well, the output.
    string get(const string &path, const string &password = "word")
    {
        const string file = folder + "/config";
        const Talk talk = run("-comline -get " + url + path + " -o " + file + " -x gateway -y " + password);
        EXPECT_EQ(0, talk.status) << talk.output;
        return contentOf(file) + (holds(talk.output, "Authorization failed. exit!") ? "refused" : "");
    }

    // The exit status and the flag file's content.
    string put(const string &path, const string &password = "word")
    {
        const Talk talk =
            run("-comline -put " + folder + "/local -dest " + url + path + " -x gateway -y " + password);
        return std::to_string(talk.status) + " " + contentOf(flagFile);
    }

    // Runs a test, and expects the bytes that its record has, received and sent, to lie within these.
    void measure(const string &options, long least, long most, long leastSent)
    {
        const Talk talk = run("-http_diagnostic " + options);
        EXPECT_EQ(0, talk.status) << talk.output;
        std::istringstream record(std::regex_replace(contentOf(recordFile), std::regex(","), " "));
        long numbers[13] = {};
        for (long &number : numbers)
            record >> number;
        EXPECT_TRUE(record && numbers[10] > least && numbers[10] < most + 1000) << record.str();
        EXPECT_TRUE(numbers[12] > leastSent && numbers[12] < leastSent + 1000)
            << record.str(); // no head is longer
    }
};

TEST_F(Transfer, WithNginx)
{
    if (!serve("/usr/sbin/nginx -e " + folder + "/log -c", kNginx))
        GTEST_SKIP() << "nginx is not installed";
    for (const char *path : {"/file", "/chunked/file", "/basic/file"})
        EXPECT_TRUE(get(path) == body) << path;
    EXPECT_PRED2(holds, get("/basic/file", "wrong"), "refused");
    EXPECT_EQ("absent", contentOf(folder + "/journal")) << "nothing of this was an image";

    const long size = static_cast<long>(body.size());
    for (const char *path : {"/file", "/chunked/file"}) {
        measure("-get " + url + path + " -o " + folder + "/test", size, size + size / 100, 0);
        EXPECT_EQ("", contentOf(folder + "/test"));
    }
    measure("-put x -dest " + url + "/sink -len 3000000", 0, 0, 3000000);
}

TEST_F(Transfer, WithApache)
{
    if (!serve("/usr/sbin/apache2 -X -f", configureApache()))
        GTEST_SKIP() << "apache2 is not installed";
    for (const string path : {"/new", "/basic/new", "/digest/new"}) {
        EXPECT_EQ("0 absent", put(path)) << path;
        EXPECT_TRUE(contentOf(folder + "/www" + path) == body) << path;
    }
    EXPECT_TRUE(get("/digest/file") == body);
    EXPECT_EQ("255 1", put("/new")) << "overwriting is answered with 204, which is no success";
    for (const string path : {"/basic/none", "/digest/none"}) {
        EXPECT_EQ("255 401", put(path, "wrong")) << path;
        EXPECT_EQ("absent", contentOf(folder + "/www" + path)) << path;
    }
}

TEST_F(Transfer, WithLighttpd)
{
    if (!serve("/usr/sbin/lighttpd -D -f", kLighttpd))
        GTEST_SKIP() << "lighttpd is not installed";
    EXPECT_TRUE(get("/file") == body);
    // Its challenge also names a character set, and the device answers such a challenge with Basic.
    EXPECT_EQ("refused", get("/digest/file"));
}

// For the process alone, a folder with the upgrader (and the shell that it needs) stands in the place of
// /usr/bin.
TEST_F(Transfer, HandsAnImageToTheUpgrader)
{
    if (!serve("/usr/sbin/nginx -e " + folder + "/log -c", kNginx))
        GTEST_SKIP() << "nginx is not installed";
    const string programs = folder + "/programs", told = folder + "/told";
    shell("mkdir " + programs + "; cp /bin/sh " + programs);
    std::ofstream(programs + "/upgrader") << "#!/usr/bin/sh\necho \"$@\" > " << told << "\n";
    shell("chmod 755 " + programs + "/upgrader");
    const Talk talk = shell("unshare --mount sh -c 'mount --bind " + programs +
                            " /usr/bin || exit 126; exec " TR069FE " -comline -get " + url + "/file -o " +
                            folder + "/image'");
    if (holds(talk.output, "unshare: ") || talk.status == 126)
        GTEST_SKIP() << "mounting is not allowed here";
    EXPECT_EQ(0, talk.status) << talk.output;
    EXPECT_TRUE(contentOf(folder + "/image") == body);
    shell("for i in $(seq 500); do [ -s " + told + " ] && break; sleep 0.02; done");
    EXPECT_EQ("-c 1 -p /var/image.img -u TR069\n", contentOf(told));
    EXPECT_PRED2(holds, contentOf(folder + "/journal"), "image;0;;;;");
}
