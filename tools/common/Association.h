#ifndef BRENIK3_TOOLS_ASSOCIATION_H
#define BRENIK3_TOOLS_ASSOCIATION_H

#include <string>

class DcMsm;
class DcMsg;
struct DcMsmScuInfo;

namespace b3tool {

// The network options that the requesting tools share.
struct PeerOptions {
    std::string host;
    long port = 104;
    std::string callingAet = "B3-SCU";
    std::string calledAet = "ANY-SCP";
    long timeout = 30;
    long maxPdu = 65536;  // the largest PDU we receive
};

class CommandLine;

// Declares -p/--port, -aet/--calling-aet, -aec/--called-aet, -to/--timeout
// and -pdu/--max-pdu.
void addPeerOptions(CommandLine& cl, PeerOptions& peer);
// Takes HOST or HOST:PORT from the operand; false with a message when bad.
bool takeHost(const char* program, const std::string& operand, PeerOptions& peer);

// Opens the association with the peer: info's called AE title, read time-out
// and maximum PDU length come from peer, its contexts from the caller. On
// failure says why ("no association with AET at HOST:PORT: ..."), closes the
// connection and returns false.
bool connectToPeer(const char* program, DcMsm& msm, const PeerOptions& peer, DcMsmScuInfo& info);

// Reads the next message (blocking), skipping nothing: returns read's outcome.
int readMessage(DcMsm& msm, DcMsg** msg);

// Releases the association and closes the connection.
void release(DcMsm& msm);

// The status (0000,0900) of a response, or -1 when it has none.
int responseStatus(DcMsg& rsp);

// A short text for a status of read or connect, with the code in
// parentheses ("time-out waiting for the peer (status 0x2c5a)").
std::string outcomeText(int status);

// Why connect failed, in words: connection refused, host unknown, time-out,
// association rejected with its result, source and reason; error is errno
// as it was right after connect returned.
std::string connectFailureText(DcMsm& msm, int status, int error);

}

#endif
