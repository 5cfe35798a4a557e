#include "processes.h"

#include <unistd.h>

// Sessions between the real executable, gatewayd and acsd, started as a user starts them.

using std::string;
using Desk = InFolder;

static Talk desk(const string &arguments) { return shell(KIT "/desk " BUILD " " + arguments); }

TEST_F(Desk, TalksUnderEveryScheme)
{
    for (const char *options :
         {"", "--auth basic", "--auth digest", "--auth digest --chunked --cookies 2", "--chunked --raw"}) {
        const Talk run = desk(string("first ") + options);
        EXPECT_EQ(0, run.status) << run.output;
        for (const char *part : {"-->  Inform ", "<--  InformResponse", "<--  GetRPCMethods",
                                 "-->  GetParameterValuesResponse", "caf\xC3\xA9 & home", "204"})
            EXPECT_TRUE(holds(run.output, part)) << options << ": " << part;
    }
}

TEST_F(Desk, IsNotHealthyWithWrongCredentials)
{
    const Talk run = desk("first --auth digest --password other --timeout 2");
    EXPECT_EQ(1, run.status) << run.output;
    EXPECT_TRUE(holds(run.output, "401")) << run.output;
}

TEST_F(Desk, ShowsInTheNextTourWhatTheFirstOneChanged)
{
    const Talk first = desk("--store " + folder + " tour");
    EXPECT_EQ(0, first.status) << first.output;
    const Talk second = desk("--store " + folder + " tour");
    EXPECT_EQ(0, second.status) << second.output;
    for (const char *part : {"M Reboot          tour-8", "M ScheduleInform  tour-7"}) {
        EXPECT_FALSE(holds(first.output, part)) << part;
        EXPECT_TRUE(holds(second.output, part)) << part;
    }
    // What the first request reads of the parameters: the factory's values, then those that were set.
    const string changed =
        "InternetGatewayDevice.Time.NTPServer1                                 string       ntp & co.example";
    EXPECT_FALSE(holds(first.output.substr(0, first.output.find("FactoryReset ")), changed));
    EXPECT_TRUE(holds(second.output, changed)) << second.output;
}

TEST_F(Desk, GetsEveryRefusal)
{
    const Talk run = desk("refusals");
    EXPECT_EQ(0, run.status) << run.output;
}

TEST_F(Desk, EndsAsThePlatformExpects)
{
    const string bus = "GATEWAY_BUS=" + folder + "/bus ",
                 server = "--set InternetGatewayDevice.ManagementServer.";
    EXPECT_NE(0, shell(bus + TR069FE).status) << "no backend";
    const string start = bus + GATEWAYD " --store " + folder + "/gateway.db --log " + folder + "/log " +
                         server + "URL=http://127.0.0.1:1/ " + server + "Username=u " + server +
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
    EXPECT_NE(0, access("/var/tmp/acsstatus", F_OK));

    const Talk given = shell(start + "-u http://127.0.0.1:1/" + stop);
    EXPECT_EQ(1, given.status) << given.output;
    EXPECT_PRED2(holds, given.output, "====== connect failed:");
    EXPECT_EQ("ACS=0", contentOf("/var/tmp/acsstatus"));
}
