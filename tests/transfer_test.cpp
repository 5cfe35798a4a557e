#include "processes.h"

#include <arpa/inet.h>
#include <regex>
#include <unistd.h>

// The two tool run modes of the executable itself against file servers, each started here on a free port of
// 127.0.0.1 with a folder of its own, and stopped by its process id. Their configurations stand in servers/,
// with the user "gateway" and the password "word", for Basic and for Digest in the realm "desk".

using std::string;

static const string flagFile = "/var/tmp/uploadErrFlag", recordFile = "/var/tmp/httpdiag_record";

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
        // Whoever the server runs as can read and write there.
        shell("cd " + folder + " && mkdir -p www/basic www/digest && cp " SERVERS "/* . && chmod -R 777 .");
        for (const char *file : {"/www/file", "/www/digest/file", "/local"})
            std::ofstream(folder + file) << body;
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
    bool serve(const string &command, const string &name)
    {
        if (access(command.substr(0, command.find(' ')).c_str(), X_OK) != 0)
            return false;
        const string port = std::to_string(findFreePort()), conf = folder + "/" + name + ".conf";
        shell("sed -i 's,DIR," + folder + ",g; s,PORT," + port + ",' " + conf);
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

    // What was received, and "refused" behind it when the server did not let the device in.
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

    // Runs a test; what its record has of the bytes received, or sent, beyond these. No head is longer.
    static void measure(const string &options, int column, long bytes, long most)
    {
        const Talk talk = run("-http_diagnostic " + options);
        EXPECT_EQ(0, talk.status) << talk.output;
        const Talk counted = shell("cut -d, -f" + std::to_string(column) + " " + recordFile);
        const long more = std::stol("0" + counted.output) - bytes;
        EXPECT_TRUE(more > 0 && more < most) << contentOf(recordFile);
    }
};

TEST_F(Transfer, WithNginx)
{
    if (!serve("/usr/sbin/nginx -e " + folder + "/log -c", "nginx"))
        GTEST_SKIP() << "nginx is not installed";
    for (const char *path : {"/file", "/chunked/file", "/basic/file"})
        EXPECT_TRUE(get(path) == body) << path;
    EXPECT_PRED2(holds, get("/basic/file", "wrong"), "refused");
    EXPECT_EQ("absent", contentOf(folder + "/journal")) << "nothing of this was an image";

    const long size = static_cast<long>(body.size());
    for (const char *path : {"/file", "/chunked/file"}) {
        measure("-get " + url + path + " -o " + folder + "/test", 11, size, size / 100 + 1000);
        EXPECT_EQ("", contentOf(folder + "/test"));
    }
    measure("-put x -dest " + url + "/sink -len 3000000", 13, 3000000, 1000);
}

TEST_F(Transfer, WithApache)
{
    const string user = geteuid() == 0 ? "-c 'User www-data' -c 'Group www-data' " : "";
    if (!serve("/usr/sbin/apache2 -X " + user + "-f", "apache"))
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
    if (!serve("/usr/sbin/lighttpd -D -f", "lighttpd"))
        GTEST_SKIP() << "lighttpd is not installed";
    EXPECT_TRUE(get("/file") == body);
    // Its challenge also names a character set, and the device answers such a challenge with Basic.
    EXPECT_EQ("refused", get("/digest/file"));
}

// For the process alone, a folder with the upgrader (and the shell that it needs) stands in the place of
// /usr/bin.
TEST_F(Transfer, HandsAnImageToTheUpgrader)
{
    if (!serve("/usr/sbin/nginx -e " + folder + "/log -c", "nginx"))
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
