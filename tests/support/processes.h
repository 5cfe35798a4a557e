#pragma once

#include "texts.h"

#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>

// What tests of whole processes share.

struct Talk {
    int status; ///< exit status; 128 and the signal's number for a killed command
    std::string output;
};

/// Runs a shell command to its end.
inline Talk shell(const std::string &command)
{
    std::string output;
    FILE *pipe = popen(("exec 2>&1; " + command).c_str(), "r");
    char piece[4096];
    for (size_t size = 0; (size = fread(piece, 1, sizeof piece, pipe)) > 0;)
        output.append(piece, size);
    const int status = pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), output};
}

/// A test with a folder of its own, gone afterwards.
class InFolder : public testing::Test
{
  protected:
    std::string folder;
    void SetUp() override
    {
        char name[] = "/tmp/tr069fe_test_XXXXXX";
        folder = mkdtemp(name);
    }
    void TearDown() override { shell("rm -rf " + folder); }
};
