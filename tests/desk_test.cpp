#include "processes.h"

// Sessions between the real executable, gatewayd and acsd, started as a user starts them.

using std::string;
using Desk = InFolder;

// A session by its file; its output.
static string desk(const string &arguments, int status = 0)
{
    const Talk run = shell(KIT "/desk " BUILD " " + arguments);
    EXPECT_EQ(status, run.status) << run.output;
    return run.output;
}

TEST_F(Desk, TalksUnderEveryScheme)
{
    for (const string options :
         {"", "--auth basic", "--auth digest", "--auth digest --chunked --cookies 2", "--chunked --raw"}) {
        const string output = desk("first " + options);
        for (const char *part : {"-->  Inform ", "<--  InformResponse", "<--  GetRPCMethods",
                                 "-->  GetParameterValuesResponse", "caf\xC3\xA9 & home", "204"})
            EXPECT_TRUE(holds(output, part)) << options << ": " << part;
    }
    EXPECT_PRED2(holds, desk("first --auth digest --password other --timeout 2", 1), "401");
}

TEST_F(Desk, ShowsInTheNextTourWhatTheFirstOneChanged)
{
    const string first = desk("--store " + folder + " tour"), second = desk("--store " + folder + " tour");
    for (const char *part : {"M Reboot          tour-8", "M ScheduleInform  tour-7"}) {
        EXPECT_FALSE(holds(first, part)) << part;
        EXPECT_TRUE(holds(second, part)) << part;
    }
    // What the first request reads of the parameters: the factory's values, then those that were set.
    const string changed =
        "InternetGatewayDevice.Time.NTPServer1                                 string       ntp & co.example";
    EXPECT_FALSE(holds(first.substr(0, first.find("FactoryReset ")), changed));
    EXPECT_TRUE(holds(second, changed)) << second;
}

TEST_F(Desk, GetsEveryRefusal) { desk("refusals"); }

TEST_F(Desk, EndsAsThePlatformExpects)
{
    const string bus = "GATEWAY_BUS=" + folder + "/bus ",
                 set = "--set InternetGatewayDevice.ManagementServer.";
    EXPECT_NE(0, shell(bus + TR069FE).status) << "no backend";
    const string start = bus + GATEWAYD " --store " + folder + "/gateway.db --log " + folder + "/log " + set +
                         "URL=http://127.0.0.1:1/ " + set + "Username=u " + set +
                         "Password=p >/dev/null & backend=$!; while ! [ -S " + folder +
                         "/bus ]; do sleep 0.02; done; " + bus + TR069FE " ";
    const string stop = "; status=$?; kill $backend; wait; exit $status";

    remove("/var/tmp/acsstatus");
    const Talk usage = shell(start + stop);
    EXPECT_EQ(0, usage.status) << usage.output;
    EXPECT_PRED2(holds, usage.output, "No HTTP URL specified. Trying to connect to default URL...\n");
    EXPECT_PRED2(holds, usage.output,
                 "\nUsage: FE [options]\n\noptions:\n--help : Print this help message\n"
                 "-u http://URL:PortNumber/TargetURL/\n[-x username -y password][-q quite]");
    EXPECT_EQ("absent", contentOf("/var/tmp/acsstatus"));

    const Talk given = shell(start + "-u http://127.0.0.1:1/" + stop);
    EXPECT_EQ(1, given.status) << given.output;
    EXPECT_PRED2(holds, given.output, "====== connect failed:");
    EXPECT_EQ("ACS=0", contentOf("/var/tmp/acsstatus"));
}
