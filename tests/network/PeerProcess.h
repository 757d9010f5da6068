#ifndef BRENIK3_TESTS_NETWORK_PEERPROCESS_H
#define BRENIK3_TESTS_NETWORK_PEERPROCESS_H

#include <chrono>
#include <csignal>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

extern char** environ;

// Runs one outside program for the length of a test and kills it by its PID
// at the end unless it has exited.
class PeerProcess {
public:
    explicit PeerProcess(std::vector<std::string> args)
    {
        std::vector<char*> argv;
        for (std::string& arg : args)
            argv.push_back(&arg[0]);
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0)
            pid = -1;
        posix_spawn_file_actions_destroy(&actions);
    }
    ~PeerProcess()
    {
        if (pid > 0) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
    }
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

    // Waits at most the given seconds for the program to end; its exit
    // status, or -1 when it is still running or was killed.
    int waitExit(int seconds)
    {
        for (int i = 0; i < seconds * 20 && pid > 0; i++) {
            int status = 0;
            if (waitpid(pid, &status, WNOHANG) == pid) {
                pid = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return -1;
    }

    pid_t pid = -1;
};

#endif
