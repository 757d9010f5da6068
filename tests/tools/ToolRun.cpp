#include "ToolRun.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include <netinet/in.h>
#include <arpa/inet.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

std::vector<char*> argvOf(const std::vector<std::string>& argv)
{
    std::vector<char*> out;
    for (const std::string& arg : argv)
        out.push_back(const_cast<char*>(arg.c_str()));
    out.push_back(nullptr);
    return out;
}

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
    std::vector<char*> args = argvOf(argv);
    execvp(args[0], args.data());
    _exit(127);
}

// Waits for pid until the deadline; true with the status when it ended.
bool waitUntil(pid_t pid, std::chrono::steady_clock::time_point deadline, int& status)
{
    for (;;) {
        int raw = 0;
        pid_t done = waitpid(pid, &raw, WNOHANG);
        if (done == pid) {
            status = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
            return true;
        }
        if (std::chrono::steady_clock::now() >= deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

void killAndReap(pid_t pid)
{
    kill(pid, SIGKILL);
    int raw;
    waitpid(pid, &raw, 0);
}

}

std::string toolPath(const std::string& name)
{
    return std::string(BRENIK3_TEST_BIN_DIR) + "/tools/" + name;
}

bool toolExists(const std::string& name)
{
    return access(toolPath(name).c_str(), X_OK) == 0;
}

bool programOnPath(const std::string& name)
{
    const char* path = getenv("PATH");
    std::stringstream dirs(path ? path : "/usr/bin:/bin");
    std::string dir;
    while (std::getline(dirs, dir, ':'))
        if (!dir.empty() && access((dir + "/" + name).c_str(), X_OK) == 0)
            return true;
    return false;
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
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    if (!waitUntil(pid, deadline, result.status)) {
        killAndReap(pid);
        result.timedOut = true;
        result.status = -1;
    }
    result.out = readFile(base + ".out");
    result.err = readFile(base + ".err");
    unlink((base + ".out").c_str());
    unlink((base + ".err").c_str());
    return result;
}

Background::Background(const std::vector<std::string>& argv, const std::string& outFile)
    : child(-1), outPath(outFile), exitStatus(-1)
{
    child = spawn(argv, outFile, outFile);
}

Background::~Background()
{
    if (child > 0)
        stop(SIGTERM, 10);
}

bool Background::running()
{
    if (child <= 0)
        return false;
    int raw;
    pid_t done = waitpid(child, &raw, WNOHANG);
    if (done == child) {
        exitStatus = WIFEXITED(raw) ? WEXITSTATUS(raw) : -1;
        child = -1;
        return false;
    }
    return true;
}

int Background::wait(int timeoutSeconds)
{
    return stop(0, timeoutSeconds);
}

int Background::stop(int sig, int timeoutSeconds)
{
    if (!running())
        return exitStatus;
    if (sig != 0)
        kill(child, sig);
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    if (!waitUntil(child, deadline, exitStatus)) {
        killAndReap(child);
        exitStatus = -1;
    }
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
    while (std::chrono::steady_clock::now() < deadline) {
        if (output().find(text) != std::string::npos)
            return true;
        if (!running())
            return output().find(text) != std::string::npos;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return false;
}

int freePort()
{
    int sock = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr{};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    addr.sin_port = 0;
    socklen_t len = sizeof addr;
    int port = -1;
    if (bind(sock, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0 &&
        getsockname(sock, reinterpret_cast<sockaddr*>(&addr), &len) == 0)
        port = ntohs(addr.sin_port);
    close(sock);
    return port;
}

bool waitForListener(int port, int timeoutSeconds)
{
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    while (std::chrono::steady_clock::now() < deadline) {
        int sock = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr{};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        addr.sin_port = htons(static_cast<uint16_t>(port));
        bool up = connect(sock, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0;
        close(sock);
        if (up)
            return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return false;
}

std::string scratchDir(const std::string& name)
{
    std::string dir = std::string(BRENIK3_TEST_BIN_DIR) + "/tools-test/" + name;
    std::error_code ec;
    fs::remove_all(dir, ec);
    fs::create_directories(dir);
    return dir;
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
