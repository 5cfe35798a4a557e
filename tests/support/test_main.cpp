#include <filesystem>
#include <gtest/gtest.h>

// Every test ends as it began: no descriptor more or less than before. (Leaked memory is the sanitizer's to
// report.)
class DescriptorCheck : public testing::EmptyTestEventListener
{
    using Folder = std::filesystem::directory_iterator;
    static auto countDescriptors() { return std::distance(Folder("/proc/self/fd"), Folder()); }
    std::ptrdiff_t before = 0;
    void OnTestStart(const testing::TestInfo &) override { before = countDescriptors(); }
    void OnTestEnd(const testing::TestInfo &) override
    {
        EXPECT_EQ(before, countDescriptors()) << "the test left file descriptors behind, or closed some";
    }
};

int main(int argc, char **argv)
{
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new DescriptorCheck);
    return RUN_ALL_TESTS();
}
