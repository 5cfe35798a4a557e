#include "faults.h"
#include "owned.h"
#include "rpc_methods.h"

#include <gtest/gtest.h>
#include <map>
#include <string>

TEST(FaultTable, HoldsSeventeenCodes)
{
    const std::string noServer = "Unable to connect to the server";
    const std::map<int, std::string> strings = {{9000, "Method Not Supported"},
                                                {9003, "Invalid arguments"},
                                                {9008, "Attempt to set non writable Parameter"},
                                                {9010, noServer},
                                                {9011, noServer},
                                                {9012, "File transfer server authentication failure"},
                                                {9013, noServer},
                                                {9014, noServer},
                                                {9015, noServer},
                                                {9016, ""}};
    for (const auto &[code, string] : strings) {
        const OwnedText found(getFaultString(code));
        EXPECT_EQ(string, found.get());
    }
    EXPECT_EQ(nullptr, getFaultString(8999));
    EXPECT_EQ(nullptr, getFaultString(9017));
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
