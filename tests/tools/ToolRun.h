#ifndef BRENIK3_TESTS_TOOLS_TOOLRUN_H
#define BRENIK3_TESTS_TOOLS_TOOLRUN_H

// Running the built tools and outside programs from tests: bounded in time,
// output captured, every process stopped by its PID.
#include <string>
#include <vector>

#include <sys/types.h>

struct RunResult {
    int status = -1;        // exit status; -1 when killed or not started
    bool timedOut = false;
    std::string out;
    std::string err;
};

// Path of a built tool (build/tools/NAME).
std::string toolPath(const std::string& name);
bool toolExists(const std::string& name);
// Whether an outside program is on the PATH.
bool programOnPath(const std::string& name);

// Runs argv (argv[0] looked up on the PATH when it has no slash) and waits
// at most timeoutSeconds; a program still running then is killed.
RunResult run(const std::vector<std::string>& argv, int timeoutSeconds = 60);

// A program left running in the background, its output going to files.
class Background {
public:
    Background(const std::vector<std::string>& argv, const std::string& outFile);
    ~Background();
    Background(const Background&) = delete;
    Background& operator=(const Background&) = delete;
    pid_t pid() const { return child; }
    // Sends sig and waits at most timeoutSeconds; returns the exit status,
    // or -1 when it had to be killed.
    int stop(int sig, int timeoutSeconds = 15);
    // Waits at most timeoutSeconds for the program to end by itself; killed
    // after that (-1).
    int wait(int timeoutSeconds);
    bool running();
    std::string output() const;
    // Waits until text shows in the output (or the program ends).
    bool waitForOutput(const std::string& text, int timeoutSeconds = 15);

private:
    pid_t child;
    std::string outPath;
    int exitStatus;
};

// A TCP port on 127.0.0.1 that nothing listens on right now.
int freePort();
// Waits until something accepts connections on 127.0.0.1:port.
bool waitForListener(int port, int timeoutSeconds = 15);

// A fresh folder under the build directory for one test, removed first.
std::string scratchDir(const std::string& name);
std::vector<std::string> filesUnder(const std::string& dir);
std::string readFile(const std::string& path);

#endif
