#include "common/Association.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include <Brenik3.h>

#include "common/CommandLine.h"

namespace b3tool {

void addPeerOptions(CommandLine& cl, PeerOptions& peer)
{
    cl.number("-p", "--port", "PORT", "the peer's TCP port (default 104; HOST:PORT works too)", peer.port, 1, 65535);
    cl.text("-aet", "--calling-aet", "AET", "our AE title (default B3-SCU)", peer.callingAet);
    cl.text("-aec", "--called-aet", "AET", "the peer's AE title (default ANY-SCP)", peer.calledAet);
    cl.number("-to", "--timeout", "SECONDS", "network time-out for reads (default 30)", peer.timeout, 1, 3600);
    cl.number("-pdu", "--max-pdu", "BYTES", "largest PDU we receive (4096 to 4194304, default 65536)", peer.maxPdu,
              4096, 4194304);
}

bool takeHost(const char* program, const std::string& operand, PeerOptions& peer)
{
    size_t colon = operand.rfind(':');
    peer.host = operand.substr(0, colon);
    if (colon != std::string::npos) {
        char* end = nullptr;
        long port = strtol(operand.c_str() + colon + 1, &end, 10);
        if (*end != '\0' || port < 1 || port > 65535 || colon + 1 == operand.size()) {
            fail(program, "bad port in '%s'", operand.c_str());
            return false;
        }
        peer.port = port;
    }
    if (peer.host.empty()) {
        fail(program, "no host given");
        return false;
    }
    if (peer.callingAet.empty() || peer.callingAet.size() > 16 || peer.calledAet.empty() ||
        peer.calledAet.size() > 16) {
        fail(program, "AE titles have 1 to 16 characters");
        return false;
    }
    return true;
}

int readMessage(DcMsm& msm, DcMsg** msg)
{
    DICT_UID sopClass;
    return msm.read(&sopClass, msg, MSM_READ_BLOCKING, MSM_CONNECT_BLOCKING);
}

void release(DcMsm& msm)
{
    if (msm.releaseAssociation() == 0) {
        DcMsg* msg = nullptr;
        int status = readMessage(msm, &msg);
        delete msg;
        (void)status;
    }
    msm.closeAssociation();
}

int responseStatus(DcMsg& rsp)
{
    unsigned short status;
    if (rsp.getValue(T_0000_0900_status, status, ELEM_VAL_INDEX_KEEP) != 0)
        return -1;
    return status;
}

std::string outcomeText(int status)
{
    const char* text = "failed";
    switch (status) {
    case MSM_READ_ABORT: text = "association aborted"; break;
    case MSM_READ_ACCEPTED: text = "association accepted"; break;
    case MSM_READ_REJECTED: text = "association rejected"; break;
    case MSM_READ_RELEASE_RP: text = "association released"; break;
    case MSM_READ_RELEASE_RQ: text = "peer released the association"; break;
    case MSM_READ_TIMEOUT: text = "time-out waiting for the peer"; break;
    case MSM_READ_PROTOCOL_ERROR: text = "protocol error; association closed"; break;
    case MSM_READ_CONNECTION_LOST: text = "connection lost"; break;
    case MSM_READ_NO_CONNECTION: text = "connection closed by the peer"; break;
    case TSM_ERR_RESOLVE: text = "host unknown"; break;
    case TSM_ERR_CONNECT: text = "cannot connect"; break;
    default: break;
    }
    char line[96];
    snprintf(line, sizeof line, "%s (status 0x%04x)", text, static_cast<unsigned int>(status));
    return line;
}

namespace {

const char* rejectReason(unsigned int source, unsigned int reason)
{
    if (source == 1) {
        switch (reason) {
        case 1: return "no reason given";
        case 2: return "application context name not supported";
        case 3: return "calling AE title not recognized";
        case 7: return "called AE title not recognized";
        default: return nullptr;
        }
    }
    if (source == 2)
        return reason == 1 ? "no reason given" : reason == 2 ? "protocol version not supported" : nullptr;
    switch (reason) {
    case 1: return source == 3 ? "temporary congestion" : nullptr;
    case 2: return "local limit exceeded";
    case 3: return "calling AE title not recognized";
    case 7: return "called AE title not recognized";
    default: return nullptr;
    }
}

}

std::string connectFailureText(DcMsm& msm, int status, int error)
{
    char line[256];
    if (status == TSM_ERR_CONNECT) {
        const char* why = error == ECONNREFUSED                          ? "connection refused"
                          : error == ETIMEDOUT                           ? "time-out connecting"
                          : error == EHOSTUNREACH || error == ENETUNREACH ? "host unreachable"
                                                                         : "cannot connect";
        snprintf(line, sizeof line, "%s (status 0x%04x)", why, static_cast<unsigned int>(status));
        return line;
    }
    DcPduInfoRj rj = msm.getRejectInfo();
    if (status == MSM_READ_REJECTED && rj.result != 0) {
        const char* reason = rejectReason(rj.source, rj.reason);
        char reasonNumber[32];
        snprintf(reasonNumber, sizeof reasonNumber, "reason %u", rj.reason);
        snprintf(line, sizeof line, "association rejected, %s, by the %s: %s (status 0x%04x)",
                 rj.result == 2 ? "transient" : "permanent",
                 rj.source == 1 ? "service user" : rj.source == 2 ? "service provider (ACSE)"
                                                                   : "service provider (presentation)",
                 reason != nullptr ? reason : reasonNumber, static_cast<unsigned int>(status));
        return line;
    }
    return outcomeText(status);
}

bool connectToPeer(const char* program, DcMsm& msm, const PeerOptions& peer, DcMsmScuInfo& info)
{
    snprintf(info.calledAeTitle, sizeof info.calledAeTitle, "%s", peer.calledAet.c_str());
    info.timeouts.readTimeout = static_cast<unsigned int>(peer.timeout);
    info.maxPduLen = static_cast<unsigned int>(peer.maxPdu);
    int status = msm.connect(peer.host.c_str(), info);
    int error = errno;
    if (status == MSM_READ_ACCEPTED)
        return true;
    fail(program, "no association with %s at %s:%ld: %s", peer.calledAet.c_str(), peer.host.c_str(), peer.port,
         connectFailureText(msm, status, error).c_str());
    msm.closeAssociation();
    return false;
}

}
