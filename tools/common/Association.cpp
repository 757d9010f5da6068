#include "common/Association.h"

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
    switch (status) {
    case MSM_READ_ABORT: return "association aborted";
    case MSM_READ_ACCEPTED: return "association accepted";
    case MSM_READ_REJECTED: return "association rejected";
    case MSM_READ_RELEASE_RP: return "association released";
    case MSM_READ_RELEASE_RQ: return "peer released the association";
    case MSM_READ_TIMEOUT: return "time-out waiting for the peer";
    case MSM_READ_PROTOCOL_ERROR: return "protocol error; association closed";
    case MSM_READ_CONNECTION_LOST: return "connection lost";
    default: break;
    }
    char text[64];
    snprintf(text, sizeof text, "failed with status 0x%04x", status);
    return text;
}

}
