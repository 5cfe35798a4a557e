#include "processes.h"

#include <filesystem>

// gatewayd starting the real executable, or a script that fails in its place, as devkit/gateway lets them
// live.

static void expectInOrder(const std::string &text, const std::vector<std::string> &parts)
{
    size_t at = 0;
    for (const std::string &part : parts) {
        const size_t found = text.find(part, at);
        EXPECT_NE(std::string::npos, found) << '"' << part << "\" is missing, or not in its place, in\n"
                                            << text;
        at = found == std::string::npos ? at : found + part.size();
    }
}

class GatewayLife : public InFolder
{
  protected:
    std::string write(const std::string &name, const std::string &content)
    {
        std::string path = folder + '/' + name;
        std::ofstream(path) << content;
        std::filesystem::permissions(path, std::filesystem::perms::owner_all);
        return path;
    }

    /// A life by a session file, with a script in the executable's place that has the real one as $real.
    Talk live(const std::string &sessions, const std::string &script, const std::string &options = "")
    {
        const std::string run = write("run", "#!/bin/sh\nfolder=" + folder + " real=" TR069FE "\n" + script);
        return shell("TR069FE=" + run + " GATEWAYD_OPTIONS='--boot-time 0.1 --retry-scale 0.01 " + options +
                     "' " KIT "/gateway " BUILD " " + write("sessions", sessions) + " --timeout 10");
    }
};

TEST_F(GatewayLife, RunsFromTheFirstBootToTheCall)
{
    const Talk life =
        shell("GATEWAYD_OPTIONS='--boot-time 0.5' " KIT "/gateway " BUILD " life --set delay=1 --timeout 20");
    EXPECT_EQ(0, life.status);
    expectInOrder(life.output,
                  {"password \"not this\": 401", "password \"call me\": 200", "healthy: 12 sessions",
                   "PUT /test.bin 200, 4000000 bytes", "app_item_save kvr_bit_flag 12 image;0;;;;",
                   "the gateway reboots", "the gateway reboots", "ended by a signal"});
    EXPECT_EQ(std::string::npos, life.output.find("Sanitizer")) << life.output;
    const std::string begins = "grep 'session begins' " + write("log", life.output);
    EXPECT_EQ("", shell(begins + " | cut -c1-19 | uniq -d").output) << "at most one session a second";
}

TEST_F(GatewayLife, KeepsEventsUntilASessionDeliversThem)
{
    const Talk life = live("session 0 BOOTSTRAP, 1 BOOT\n", R"(
echo $2 >>$folder/counts
case $2 in
0) exit 0 ;; 1) printf 'ACS=0' >/var/tmp/acsstatus; exit 1 ;;
2) kill -9 $$ ;; 3) exec sleep 30 ;;
esac
"$real" "$@"
exit 0)",
                           "--session-limit 0.5");
    EXPECT_EQ(0, life.status) << life.output;
    expectInOrder(life.output,
                  {"RetryCount    4", "failed, exit status 0;", "failed, exit status 1, server not reached;",
                   "failed, signal 9;", "failed, signal 15, told to end;", "delivered, exit status 0"});
    EXPECT_EQ("0\n1\n2\n3\n4\n", shell("cat " + folder + "/counts").output);
    const std::string waits = "grep -o 'in [0-9]* ms' " + write("log", life.output);
    const std::string outside = " | awk '$2 < 50 * 2 ^ (NR - 1) || $2 > 100 * 2 ^ (NR - 1)'";
    EXPECT_EQ("", shell(waits + outside).output) << "waits that double";
}

TEST_F(GatewayLife, TellsWhyATransferOrATestFailed)
{
    static const std::string kDownload = "InternetGatewayDevice.DownloadDiagnostics.";
    const Talk life =
        live("Upload key=u type=\"2 Vendor Log File\" url=http://x/log user=me password=word\n"
             "session M Upload\n= FaultCode 9012\n"
             "Download key=d type=\"1 Firmware Upgrade Image\" url=http://x/config\n"
             "session M Download, 1 BOOT\n= FaultCode 9010\nSetParameterValues " +
                 kDownload + "DownloadURL=http://x/ " + kDownload +
                 "DiagnosticsState=Requested\nsession 8 DIAGNOSTICS COMPLETE\nGetParameterValues " +
                 kDownload + "\n= " + kDownload + "DiagnosticsState Error_TransferFailed\n= " + kDownload +
                 "ROMTime 2026-01-31T00:00:03.000005Z\n= " + kDownload +
                 "BOMTime 2026-01-31T00:00:05.001415Z\n= " + kDownload + "TotalBytesReceived 77\n",
             R"(
printf '%s\n' "$*" >>$folder/words
flag=/var/tmp/uploadErrFlag record=/var/tmp/httpdiag_record; case $1 in
-comline) [ ! -e $flag ] || echo stale >>$folder/words; printf 401 >$flag; exit 255 ;;
-http_diagnostic) [ ! -e $record ] || echo stale >>$folder/words; s=176981760
    echo ${s}1,1,${s}2,2,${s}3,5,${s}4,1001415,${s}6,0,77,0,99 >$record; exit 255 ;;
esac
echo 1 >$flag; echo 1 >$record; exec "$real" "$@")");
    EXPECT_EQ(0, life.status) << life.output;
    EXPECT_EQ(
        "-n 0\n-comline -put log.txt -dest http://x/log -x me -y word\n-n 0\n"
        "-comline -get http://x/config -o image.img\n-n 0\n-http_diagnostic -get http://x/ -o test.bin\n"
        "-n 0\n",
        shell("cat " + folder + "/words").output);
}

TEST_F(GatewayLife, AdmitsEachProofOnceAndEndsItsChild)
{
    const std::string run = write("run", "#!/bin/sh\necho $$ >>" + folder + "/started; exec sleep 30\n");
    const Talk life = shell("cd " + folder + "; " GATEWAYD " --run " + run +
                            " --bus bus --store store --log log >out & gatewayd=$!; "
                            R"(while ! [ -s out ] || ! [ -s started ]; do sleep 0.05; done
url=$(sed 's/.* at //' out) status="-s -o /dev/null -w %{http_code}\n"
proof=$(curl -sv --digest -u acs-caller:call-me $url 2>&1 | sed -n 's/^> \(Authorization: .*\)\r$/\1/p')
curl -si -H "$proof" $url | grep -o 'stale=true\|401'
curl $status $url/other
curl $status -X POST $url
curl $status --digest -u other:call-me $url
curl $status --digest -u acs-caller:call-me $url
kill $gatewayd; wait $gatewayd; echo ended $?
kill -0 $(cat started) 2>/dev/null || echo and so is the child
grep -c 'request admitted' log)");
    EXPECT_EQ("401\nstale=true\n404\n405\n401\n200\nended 0\nand so is the child\n2\n", life.output);
}
