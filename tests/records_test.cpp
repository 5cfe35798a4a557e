#include "faults.h"
#include "owned.h"

#include <gtest/gtest.h>
#include <string>

TEST(FaultTable, HoldsSeventeenCodes)
{
    const std::string noServer = "Unable to connect to the server";
    using Row = std::pair<int, std::string>;
    for (const auto &[code, string] :
         {Row{9000, "Method Not Supported"}, Row{9003, "Invalid arguments"},
          Row{9008, "Attempt to set non writable Parameter"}, Row{9010, noServer}, Row{9011, noServer},
          Row{9012, "File transfer server authentication failure"}, Row{9015, noServer}, Row{9016, ""}})
        EXPECT_EQ(string, OwnedText(getFaultString(code)).get());
    EXPECT_EQ(nullptr, getFaultString(8999));
    EXPECT_EQ(nullptr, getFaultString(9017));
}
