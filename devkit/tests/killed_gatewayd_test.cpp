#include "processes.h"

// gatewayd dies at every message of the tour in turn. What one message sets is there afterwards whole, or not
// at all.

using std::string;

class KilledBackend : public InFolder, public testing::WithParamInterface<int>
{
};

static constexpr int kGroups = 8; // run side by side, since a session mostly waits

static bool isWholeOrAbsent(const string &dump)
{
    const bool server = holds(dump, ".NTPServer1 string(64)=ntp & co.example ");
    const bool interval = holds(dump, ".PeriodicInformInterval unsignedInt[1:4294967295]=600 ");
    for (const char *instance : {"Forwarding.1.", "Forwarding.2."}) {
        size_t rows = 0;
        for (size_t at = 0; (at = dump.find(instance, at)) != string::npos; ++at)
            ++rows;
        if (rows != 0 && rows != 13)
            return false;
    }
    return server == interval;
}

TEST_P(KilledBackend, LeavesNothingHalfSet)
{
    int killed = 0;
    for (int message = GetParam(); message < 200; message += kGroups) {
        const string store = folder + "/" + std::to_string(message);
        const Talk run = shell("GATEWAYD_OPTIONS='--kill-at " + std::to_string(message) +
                               "' " KIT "/desk " BUILD " --store " + store + " tour --timeout 1");
        const Talk dump = shell(GATEWAYD " --store " + store + "/gateway.db --dump");
        ASSERT_EQ(0, dump.status) << dump.output;
        EXPECT_TRUE(isWholeOrAbsent(dump.output)) << "killed at message " << message << "\n" << dump.output;
        if (run.status == 0)
            break;
        ++killed;
    }
    EXPECT_GE(killed, 6);
}

INSTANTIATE_TEST_SUITE_P(AtEveryMessage, KilledBackend, testing::Range(1, kGroups + 1));
