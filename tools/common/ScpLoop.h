#ifndef BRENIK3_TOOLS_SCPLOOP_H
#define BRENIK3_TOOLS_SCPLOOP_H

// What the tools that serve associations share: their common options, the
// accept loop that hands every connection to a process of its own, and the
// stop handling of both the loop and its association processes.
#include <functional>
#include <string>
#include <vector>

#include <netinet/in.h>

#include "common/CommandLine.h"

namespace b3tool {

// The settings every serving tool has.
struct ScpSettings {
    std::string aeTitle;
    long port = 0;
    long timeout = 30;
    std::vector<std::string> acceptCalling;
};

// Adds -p/--port, -aet/--aetitle, -ac/--accept-calling and -to/--timeout.
// portHelp and aeHelp are the help texts of the first two (they name the
// tool's default and when the port is required).
void addScpOptions(CommandLine& cl, ScpSettings& cfg, const char* portHelp, const char* aeHelp);

// The file an association process is writing, removed when the process is
// stopped by a signal; empty when none.
extern char partialPath[4096];

// Serves one accepted connection in the association process; returns the
// process's exit status. number counts the associations from 1.
using ServeConnection = std::function<int(int sock, const sockaddr_in& peer, int number)>;

// Listens on cfg.port and serves every connection in a process of its own
// until SIGINT or SIGTERM, then stops the running association processes
// (SIGTERM, SIGKILL after a grace time). started is printed once the port
// listens. Returns the tool's exit status: EXIT_FAILED when the port cannot
// be listened on.
int runScpLoop(const char* program, const ScpSettings& cfg, const std::string& started,
               const ServeConnection& serve);

// The calling AE titles accepted, as the null-ended list the association
// layer takes (pointing into cfg).
std::vector<char*> acceptedTitles(const ScpSettings& cfg);

}

#endif
