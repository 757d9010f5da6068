// b3-echo: checks that a DICOM peer answers (C-ECHO), and how fast.
#include <cerrno>
#include <chrono>
#include <cstring>
#include <string>

#include <Brenik3.h>

#include "common/Association.h"
#include "common/CommandLine.h"

using namespace b3tool;

namespace {

// One C-ECHO on the open association; the round trip in milliseconds.
bool echoOnce(const char* program, DcMsm& msm, double& milliseconds)
{
    unsigned short messageId = 0;
    Dict.genMsgId(messageId);
    DcCmdCEchoRq* rq = new DcCmdCEchoRq;
    rq->add(new DcElem(T_0000_0002_affectedSopClassUid, UID_VERIFICATION));
    rq->add(new DcElem(T_0000_0110_messageId, messageId));
    auto start = std::chrono::steady_clock::now();
    int status = msm.write(UID_VERIFICATION, rq);
    delete rq;
    if (status != 0) {
        fail(program, "sending C-ECHO failed (status 0x%04x)", status);
        return false;
    }
    DcMsg* rsp = nullptr;
    status = readMessage(msm, &rsp);
    milliseconds = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    MSG_TYPE type = MSG_NONE;
    if (status != MSM_READ_MESSAGE || rsp == nullptr || rsp->getType(type) != 0 || type != MSG_C_ECHO_RSP) {
        fail(program, "no C-ECHO response: %s", status == MSM_READ_MESSAGE ? "another message came" :
                                                                            outcomeText(status).c_str());
        delete rsp;
        return false;
    }
    int answer = responseStatus(*rsp);
    delete rsp;
    if (answer != 0) {
        fail(program, "C-ECHO answered with status 0x%04x", answer);
        return false;
    }
    return true;
}

}

int main(int argc, char** argv)
{
    PeerOptions peer;
    long repeat = 1;
    CommandLine cl("b3-echo", "HOST[:PORT]",
                   "Opens an association to HOST, sends C-ECHO (Verification) and prints the round-trip time of\n"
                   "each echo; exit status 0 when every echo was answered with success.");
    addPeerOptions(cl, peer);
    cl.number("-r", "--repeat", "N", "echoes on the one association (default 1)", repeat, 1, 100000);
    int status = cl.parse(argc, argv, 1, 1);
    if (status >= 0)
        return status;
    if (!takeHost(cl.program(), cl.operands()[0], peer))
        return EXIT_USAGE;

    DcMsm msm(peer.callingAet.c_str(), MSM_ROLE_SCU, static_cast<int>(peer.port));
    DcMsmScuInfo info;
    DICT_UID sops[] = {UID_VERIFICATION, UID_NONE};
    info.sopList = sops;
    auto start = std::chrono::steady_clock::now();
    if (!connectToPeer(cl.program(), msm, peer, info))
        return EXIT_FAILED;
    double setup = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
    printf("association with %s at %s:%ld accepted in %.1f ms\n", peer.calledAet.c_str(), peer.host.c_str(),
           peer.port, setup);
    bool allAnswered = true;
    for (long i = 1; i <= repeat && allAnswered; i++) {
        double ms = 0;
        allAnswered = echoOnce(cl.program(), msm, ms);
        if (allAnswered)
            printf("C-ECHO %ld: success, round trip %.2f ms\n", i, ms);
        fflush(stdout);
    }
    release(msm);
    return allAnswered ? EXIT_OK : EXIT_FAILED;
}
