#ifndef BRENIK3_TESTS_TOOLS_TOOLRUN_H
#define BRENIK3_TESTS_TOOLS_TOOLRUN_H

// Running the built tools and outside programs from tests: bounded in time,
// output captured, every process stopped by its PID.
#include <csignal>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/types.h>

#include "tests/network/NetTestUtil.h"

struct RunResult {
    int status = -1;  // exit status; -1 when killed or not started
    std::string out;
    std::string err;
};

// Path of a built tool (build/tools/NAME).
std::string toolPath(const std::string& name);

// Runs argv (argv[0] looked up on the PATH when it has no slash) and waits
// at most timeoutSeconds; a program still running then is killed.
RunResult run(const std::vector<std::string>& argv, int timeoutSeconds = 60);

// Runs argv (a path) with its output thrown away, ended after
// timeoutSeconds; its exit status (-1 when ended by a signal) and peak
// resident memory in kilobytes.
int runMeasured(const std::vector<std::string>& argv, long& peakKb, int timeoutSeconds = 120);

// A program left running in the background, its output going to a file.
class Background {
public:
    Background(const std::vector<std::string>& argv, const std::string& outFile);
    ~Background() { stop(SIGTERM, 10); }
    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;
    // Sends sig (0: none) and waits at most timeoutSeconds; the exit status,
    // or -1 when it had to be killed.
    int stop(int sig, int timeoutSeconds = 15);
    int wait(int timeoutSeconds) { return stop(0, timeoutSeconds); }
    std::string output() const;
    // The process ID while it runs, -1 after.
    pid_t pid() const { return child; }
    // Waits until text shows in the output (or the program ends).
    bool waitForOutput(const std::string& text, int timeoutSeconds = 15);

private:
    bool running();
    pid_t child;
    std::string outPath;
    int exitStatus = -1;
};

// Waits until something accepts connections on 127.0.0.1:port.
bool waitForListener(int port, int timeoutSeconds = 15);
std::vector<std::string> filesUnder(const std::string& dir);
std::string readFile(const std::string& path);
int countOf(const std::string& text, const std::string& what);
// The value column of the b3-dump line of tag "(gggg,eeee)" at the top
// level, or "<absent>".
std::string dumpValue(const std::string& dump, const std::string& tag);

// Each test gets a fresh folder under the build directory and a free port;
// need() skips it unless the tools are built and the programs installed.
class ToolTest : public ::testing::Test {
protected:
    void SetUp() override;
    void need(const std::vector<std::string>& tools, const std::vector<std::string>& programs = {});
    // Runs b3-mkimage with the options, writing dir/name.
    std::string makeImage(const std::string& name, const std::vector<std::string>& options = {});
    RunResult tool(const std::string& name, std::vector<std::string> args, int timeoutSeconds = 60);

    std::string dir;
    int port = 0;
    std::string address;  // 127.0.0.1:port
};

#endif
