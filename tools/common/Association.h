#ifndef BRENIK3_TOOLS_ASSOCIATION_H
#define BRENIK3_TOOLS_ASSOCIATION_H

#include <string>

class DcMsm;
class DcMsg;

namespace b3tool {

// The network options that the requesting tools share.
struct PeerOptions {
    std::string host;
    long port = 104;
    std::string callingAet = "B3-SCU";
    std::string calledAet = "ANY-SCP";
    long timeout = 30;
};

class CommandLine;

// Declares -p/--port, -aet/--calling-aet, -aec/--called-aet and -to/--timeout.
void addPeerOptions(CommandLine& cl, PeerOptions& peer);
// Takes HOST or HOST:PORT from the operand; false with a message when bad.
bool takeHost(const char* program, const std::string& operand, PeerOptions& peer);

// Reads the next message (blocking), skipping nothing: returns read's outcome.
int readMessage(DcMsm& msm, DcMsg** msg);

// Releases the association and closes the connection.
void release(DcMsm& msm);

// The status (0000,0900) of a response, or -1 when it has none.
int responseStatus(DcMsg& rsp);

// A short text for a status of read or connect ("association rejected").
std::string outcomeText(int status);

}

#endif
