#include "common/ScpLoop.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <map>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <Brenik3.h>

namespace b3tool {

char partialPath[4096] = "";

namespace {

const int POLL_INTERVAL_MS = 250;
const int STOP_GRACE_SECONDS = 5;

volatile sig_atomic_t stopRequested = 0;

void onStopLoop(int)
{
    stopRequested = 1;
}

void onStopAssociation(int)
{
    if (partialPath[0] != '\0')
        unlink(partialPath);
    _exit(EXIT_FAILED);
}

void installHandler(int sig, void (*handler)(int))
{
    struct sigaction action = {};
    action.sa_handler = handler;
    sigemptyset(&action.sa_mask);
    sigaction(sig, &action, nullptr);
}

void reap(std::map<pid_t, int>& children)
{
    pid_t pid;
    while ((pid = waitpid(-1, nullptr, WNOHANG)) > 0)
        children.erase(pid);
}

void stopChildren(std::map<pid_t, int>& children)
{
    for (auto& child : children)
        kill(child.first, SIGTERM);
    for (int waited = 0; !children.empty() && waited < STOP_GRACE_SECONDS * 10; waited++) {
        reap(children);
        if (!children.empty())
            usleep(100000);
    }
    for (auto& child : children) {
        kill(child.first, SIGKILL);
        waitpid(child.first, nullptr, 0);
    }
}

}

void addScpOptions(CommandLine& cl, ScpSettings& cfg, const char* portHelp, const char* aeHelp)
{
    cl.number("-p", "--port", "PORT", portHelp, cfg.port, 1, 65535);
    cl.text("-aet", "--aetitle", "AET", aeHelp, cfg.aeTitle);
    cl.list("-ac", "--accept-calling", "AET",
            "accept only this calling AE title (repeatable); the called AE title must then be ours\n"
            "                               (default: any calling and called AE title)",
            cfg.acceptCalling);
    cl.number("-to", "--timeout", "SECONDS", "network time-out for reads (default 30)", cfg.timeout, 1, 3600);
}

std::vector<char*> acceptedTitles(const ScpSettings& cfg)
{
    std::vector<char*> titles;
    for (const std::string& title : cfg.acceptCalling)
        titles.push_back(const_cast<char*>(title.c_str()));
    titles.push_back(nullptr);
    return titles;
}

int runScpLoop(const char* program, const ScpSettings& cfg, const std::string& started, const ServeConnection& serve)
{
    installHandler(SIGINT, onStopLoop);
    installHandler(SIGTERM, onStopLoop);
    signal(SIGPIPE, SIG_IGN);

    // This state machine only opens the listening socket; the loop accepts
    // on it and each association process takes its connection.
    DcMsm listener(cfg.aeTitle.c_str(), MSM_ROLE_SCP, static_cast<int>(cfg.port));
    DcTsmTcpInfo tcp;
    listener.getTcpInfo(tcp);
    if (tcp.sockListen <= 0) {
        fail(program, "cannot listen on port %ld: address in use or not permitted (status 0x%04x)", cfg.port,
             listener.getStartupStatus());
        return EXIT_FAILED;
    }
    int listenFlags = fcntl(tcp.sockListen, F_GETFL);
    fcntl(tcp.sockListen, F_SETFL, listenFlags | O_NONBLOCK);
    printf("%s\n", started.c_str());
    fflush(stdout);

    std::map<pid_t, int> children;
    int associations = 0;
    while (!stopRequested) {
        reap(children);
        pollfd p = {tcp.sockListen, POLLIN, 0};
        if (poll(&p, 1, POLL_INTERVAL_MS) <= 0)
            continue;
        // Everything waiting is taken at once; the work is the children's.
        for (;;) {
            sockaddr_in peer = {};
            socklen_t peerLen = sizeof peer;
            int sock = accept(tcp.sockListen, reinterpret_cast<sockaddr*>(&peer), &peerLen);
            if (sock < 0)
                break;
            associations++;
            pid_t pid = fork();
            if (pid == 0) {
                installHandler(SIGINT, onStopAssociation);
                installHandler(SIGTERM, onStopAssociation);
                int code = serve(sock, peer, associations);
                fflush(stdout);
                _exit(code);
            }
            close(sock);
            if (pid < 0) {
                fail(program, "fork: %s", strerror(errno));
                break;
            }
            children[pid] = associations;
        }
    }
    stopChildren(children);
    printf("stopped after %d association%s\n", associations, associations == 1 ? "" : "s");
    return EXIT_OK;
}

}
