// Tools say what went wrong in words, with the status code in parentheses.
#include <fcntl.h>
#include <unistd.h>

#include "ToolRun.h"

TEST(ErrorWords, FullDiskAndOversizedFilesAreNamed)
{
    if (access(toolPath("b3-mkimage").c_str(), X_OK) != 0 || access(toolPath("b3-png").c_str(), X_OK) != 0)
        GTEST_SKIP() << "tools not built";
    if (access("/dev/full", W_OK) != 0)
        GTEST_SKIP() << "no /dev/full";
    RunResult made = run({toolPath("b3-mkimage"), "/dev/full"});
    EXPECT_EQ(made.status, 1);
    EXPECT_NE(made.err.find("could not write /dev/full: disk full (status 0x5804)"), std::string::npos) << made.err;

    std::string image = "/tmp/b3-words-" + std::to_string(getpid()) + ".dcm";
    ASSERT_EQ(run({toolPath("b3-mkimage"), "-s", "16", image}).status, 0);
    RunResult png = run({toolPath("b3-png"), image, "/dev/full"});
    EXPECT_EQ(png.status, 1);
    EXPECT_NE(png.err.find("cannot write /dev/full: disk full"), std::string::npos) << png.err;

    // A sparse file above the in-memory limit costs no disk.
    ASSERT_EQ(truncate(image.c_str(), 200L * 1024 * 1024), 0);
    RunResult big = run({toolPath("b3-png"), image, image + ".png"});
    EXPECT_EQ(big.status, 1);
    EXPECT_NE(big.err.find("file too large (status 0x5807)"), std::string::npos) << big.err;
    unlink(image.c_str());
}
