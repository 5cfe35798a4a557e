#include <dirent.h>
#include <gtest/gtest.h>

// Every test ends as it began: no descriptor more or less than before. (Leaked memory is the sanitizer's to
// report.)

static int countDescriptors()
{
    DIR *folder = opendir("/proc/self/fd");
    if (folder == nullptr)
        return 0;
    int count = 0;
    while (readdir(folder) != nullptr)
        ++count;
    closedir(folder);
    return count;
}

class DescriptorCheck : public testing::EmptyTestEventListener
{
    int before = 0;
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
