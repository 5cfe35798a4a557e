#include "faults.h"
#include "owned.h"
#include "rpc_methods.h"

#include <gtest/gtest.h>
#include <string>

TEST(FaultTable, HoldsSeventeenCodes)
{
    EXPECT_EQ(nullptr, getFaultString(8999));
    EXPECT_EQ(nullptr, getFaultString(9017));
    const OwnedText first(getFaultString(9000));
    EXPECT_STREQ("Method Not Supported", first.get());
    const OwnedText readOnly(getFaultString(9008));
    EXPECT_STREQ("Attempt to set non writable Parameter", readOnly.get());
    const OwnedText authentication(getFaultString(9012));
    EXPECT_STREQ("File transfer server authentication failure", authentication.get());
    const OwnedText last(getFaultString(9016));
    EXPECT_STREQ("", last.get());
}

TEST(RpcMethods, KeepTheirOrder)
{
    std::string all;
    for (const char *method : kRpcMethods)
        all += std::string(method) + " ";
    EXPECT_EQ(
        "GetRPCMethods SetParameterValues GetParameterValues GetParameterNames SetParameterAttributes "
        "GetParameterAttributes AddObject DeleteObject Reboot Download Upload FactoryReset ScheduleInform ",
        all);
}
