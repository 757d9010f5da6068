#include "ToolRun.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

pid_t spawn(const std::vector<std::string>& argv, const std::string& outFile, const std::string& errFile)
{
    pid_t pid = fork();
    if (pid != 0)
        return pid;
    int out = open(outFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int err = errFile == outFile ? out : open(errFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    int in = open("/dev/null", O_RDONLY);
    if (out < 0 || err < 0 || in < 0)
        _exit(126);
    dup2(in, 0);
    dup2(out, 1);
    dup2(err, 2);
    std::vector<char*> args;
    for (const std::string& arg : argv)
        args.push_back(const_cast<char*>(arg.c_str()));
    args.push_back(nullptr);
    execvp(args[0], args.data());
    _exit(127);
}

// Waits for pid until the deadline, killing it then; its exit status or -1.
int reap(pid_t pid, int timeoutSeconds)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    int raw = 0;
    while (waitpid(pid, &raw, WNOHANG) != pid) {
        if (std::chrono::steady_clock::now() >= deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, &raw, 0);
            return -1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
}

}

int runMeasured(const std::vector<std::string>& argv, long& peakKb, int timeoutSeconds)
{
    pid_t child = fork();
    if (child == 0) {
        int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        dup2(null, 2);
        std::vector<char*> args;
        for (const std::string& arg : argv)
            args.push_back(const_cast<char*>(arg.c_str()));
        args.push_back(nullptr);
        alarm(static_cast<unsigned int>(timeoutSeconds));  // outlives exec: the program is ended then
        execv(args[0], args.data());
        _exit(127);
    }
    int status = 0;
    struct rusage usage {};
    if (child < 0 || wait4(child, &status, 0, &usage) != child)
        return -1;
    peakKb = usage.ru_maxrss;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string toolPath(const std::string& name)
{
    return std::string(BRENIK3_TEST_BIN_DIR) + "/tools/" + name;
}

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

RunResult run(const std::vector<std::string>& argv, int timeoutSeconds)
{
    static int counter = 0;
    std::string base = std::string(BRENIK3_TEST_BIN_DIR) + "/tools-test-run." + std::to_string(getpid()) + "." +
                       std::to_string(counter++);
    RunResult result;
    pid_t pid = spawn(argv, base + ".out", base + ".err");
    if (pid < 0)
        return result;
    result.status = reap(pid, timeoutSeconds);
    result.out = readFile(base + ".out");
    result.err = readFile(base + ".err");
    unlink((base + ".out").c_str());
    unlink((base + ".err").c_str());
    return result;
}

Background::Background(const std::vector<std::string>& argv, const std::string& outFile)
    : child(spawn(argv, outFile, outFile)), outPath(outFile)
{
}

bool Background::running()
{
    int raw;
    if (child > 0 && waitpid(child, &raw, WNOHANG) == child) {
        exitStatus = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
        child = -1;
    }
    return child > 0;
}

int Background::stop(int sig, int timeoutSeconds)
{
    if (!running())
        return exitStatus;
    if (sig != 0)
        kill(child, sig);
    exitStatus = reap(child, timeoutSeconds);
    child = -1;
    return exitStatus;
}

std::string Background::output() const
{
    return readFile(outPath);
}

bool Background::waitForOutput(const std::string& text, int timeoutSeconds)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    while (std::chrono::steady_clock::now() < deadline && output().find(text) == std::string::npos && running())
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    return output().find(text) != std::string::npos;
}

bool waitForListener(int port, int timeoutSeconds)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    while (std::chrono::steady_clock::now() < deadline) {
        int sock = connectTo(port);
        if (sock >= 0)
            return close(sock) == 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

std::vector<std::string> filesUnder(const std::string& dir)
{
    std::vector<std::string> files;
    std::error_code ec;
    for (auto it = fs::recursive_directory_iterator(dir, ec); it != fs::recursive_directory_iterator(); ++it)
        if (it->is_regular_file())
            files.push_back(it->path().string());
    std::sort(files.begin(), files.end());
    return files;
}

int countOf(const std::string& text, const std::string& what)
{
    int count = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1))
        count++;
    return count;
}

std::string dumpValue(const std::string& dump, const std::string& tag)
{
    std::istringstream lines(dump);
    std::string line;
    const size_t valueAt = 12 + 3 + 37;  // tag, VR, name column
    while (std::getline(lines, line))
        if (line.compare(0, tag.size(), tag) == 0)
            return line.size() > valueAt ? line.substr(valueAt) : "";
    return "<absent>";
}

void ToolTest::SetUp()
{
    dir = std::string(BRENIK3_TEST_BIN_DIR) + "/tools-test/" +
          ::testing::UnitTest::GetInstance()->current_test_info()->name();
    std::error_code ec;
    fs::remove_all(dir, ec);
    fs::create_directories(dir);
    port = freePort();
    address = "127.0.0.1:" + std::to_string(port);
}

void ToolTest::need(const std::vector<std::string>& tools, const std::vector<std::string>& programs)
{
    for (const std::string& name : tools)
        if (access(toolPath(name).c_str(), X_OK) != 0)
            GTEST_SKIP() << name << " not built";
    for (const std::string& name : programs)
        if (!have(name))
            GTEST_SKIP() << "dcmtk's " << name << " not installed";
}

std::string ToolTest::makeImage(const std::string& name, const std::vector<std::string>& options)
{
    std::string path = dir + "/" + name;
    std::vector<std::string> args = options;
    args.push_back(path);
    RunResult r = tool("b3-mkimage", args);
    EXPECT_EQ(r.status, 0) << r.err;
    return path;
}

RunResult ToolTest::tool(const std::string& name, std::vector<std::string> args, int timeoutSeconds)
{
    args.insert(args.begin(), toolPath(name));
    return run(args, timeoutSeconds);
}
