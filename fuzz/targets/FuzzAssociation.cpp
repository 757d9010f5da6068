// A whole association as the peer sends it, fed to an endpoint in either
// role. The acceptor gets its conversation as one end of a socket pair; the
// requester connects over loopback TCP to a listener of this program. A
// peer thread writes the input, closes its sending side (so that every wait
// of the endpoint ends at once) and discards what the endpoint sends until
// the endpoint closes. Requests the endpoint receives are answered.
#include <chrono>
#include <cstring>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include "FuzzSupport.h"
#include "FuzzTargets.h"
#include "dictionary/DcDictTags.h"
#include "message/DcCmdCEcho.h"
#include "message/DcCmdCFind.h"
#include "message/DcCmdCGet.h"
#include "message/DcCmdCMove.h"
#include "message/DcCmdCStore.h"
#include "message/DcCmdNAction.h"
#include "message/DcCmdNCreate.h"
#include "message/DcCmdNDelete.h"
#include "message/DcCmdNEvent.h"
#include "message/DcCmdNGet.h"
#include "message/DcCmdNSet.h"
#include "service/DcMsm.h"

namespace {

// Bits of the first input byte.
enum {
    OPT_REQUESTER = 1,
    OPT_AFTER_SHIFT = 1,
    OPT_AFTER_MASK = 3,
    OPT_PIXEL_FILE = 8,
    OPT_STORE = 16,
    OPT_EXT_NEG = 32  // extended negotiation: asked for by the requester, read and answered by the acceptor
};
// What the endpoint does once set up, before reading on; the message sent
// is a C-ECHO, or with OPT_STORE a C-STORE of a small image.
enum { AFTER_READ = 0, AFTER_SEND = 1, AFTER_RELEASE = 2, AFTER_ABORT = 3 };

const int readsPerInput = 8;
// The longest a peer thread lives, however the endpoint behaves.
const auto peerLimit = std::chrono::seconds(10);

// Feeds data into sock while draining it, until the other side closes.
void runPeer(int sock, const uint8_t* data, size_t size)
{
    fcntl(sock, F_SETFL, fcntl(sock, F_GETFL) | O_NONBLOCK);
    size_t sent = 0;
    bool shut = false;
    auto deadline = std::chrono::steady_clock::now() + peerLimit;
    while (std::chrono::steady_clock::now() < deadline) {
        if (sent == size && !shut) {
            shutdown(sock, SHUT_WR);
            shut = true;
        }
        struct pollfd pfd = {sock, static_cast<short>(POLLIN | (shut ? 0 : POLLOUT)), 0};
        if (poll(&pfd, 1, 100) < 0)
            break;
        if (pfd.revents & POLLIN) {
            char sink[16384];
            ssize_t n = recv(sock, sink, sizeof sink, 0);
            if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR))
                break;
        } else if (pfd.revents & (POLLHUP | POLLERR)) {
            break;
        }
        if (!shut && (pfd.revents & POLLOUT)) {
            ssize_t n = send(sock, data + sent, size - sent, MSG_NOSIGNAL);
            if (n > 0)
                sent += static_cast<size_t>(n);
            else if (n < 0 && errno != EAGAIN && errno != EINTR)
                shut = true;
        }
    }
}

// The loopback listener the requester connects to; made once.
int listenerPort(int& listener)
{
    static int sock = -1;
    static int port = 0;
    if (sock < 0) {
        sock = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in addr = {};
        addr.sin_family = AF_INET;
        addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t len = sizeof addr;
        if (sock < 0 || bind(sock, reinterpret_cast<sockaddr*>(&addr), len) != 0 || listen(sock, 4) != 0 ||
            getsockname(sock, reinterpret_cast<sockaddr*>(&addr), &len) != 0)
            return 0;
        port = ntohs(addr.sin_port);
    }
    listener = sock;
    return port;
}

int acceptPeer(int listener)
{
    struct pollfd pfd = {listener, POLLIN, 0};
    if (poll(&pfd, 1, 5000) <= 0)
        return -1;
    return accept(listener, nullptr, nullptr);
}

// Pixel data of received messages goes to a file in memory, made for the
// first message and kept by the endpoint, which owns and closes it.
int pixelToMemory(void*, DcElemList&, int& pixelDataHandle, DICT_UID)
{
    if (pixelDataHandle == -1)
        pixelDataHandle = memfd_create("brenik3-fuzz-pixels", 0);
    return 0;
}

DICT_UID syntaxes[] = {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT, UID_BIG_ENDIAN_EXPLICIT,
                       UID_JPEG_BASELINE, UID_NONE};

template <typename Info>
void configure(Info& info, DcMsmSopXferSyn* table)
{
    table[0] = DcMsmSopXferSyn(UID_VERIFICATION, nullptr, MSM_ROLE_NONE);
    table[1] = DcMsmSopXferSyn(UID_CT_IMAGE_STORAGE, syntaxes, MSM_ROLE_BOTH);
    table[2] = DcMsmSopXferSyn();
    info.sopXferList = table;
    info.timeouts.connectTimeout = 1;
    info.timeouts.readTimeout = 1;
    info.timeouts.writeTimeout = 1;
}

// The acceptor's answer to an extended negotiation sub-item: the bytes asked.
bool echoExtNeg(void*, const DcPduExtNeg& asked, DcPduExtNeg& answer)
{
    answer.infoLen = asked.infoLen;
    memcpy(answer.info, asked.info, asked.infoLen);
    return true;
}

// Answers a request as a service would: the response built from the
// request, with a success status, on the request's SOP class.
template <typename Response>
void respond(DcMsm& msm, DcCmd* rq)
{
    Response rsp;
    if (rsp.parseRequest(rq) != 0)
        return;
    rsp.add(new DcElem(T_0000_0900_status, static_cast<unsigned short>(0)));
    DICT_UID sopClass = UID_NONE;
    rq->getValue(T_0000_0002_affectedSopClassUid, sopClass, ELEM_VAL_INDEX_KEEP);
    msm.write(sopClass, &rsp);
}

void answer(DcMsm& msm, DcMsg* msg)
{
    DcCmd* rq = dynamic_cast<DcCmd*>(msg);
    CMD_TYPE type;
    if (rq == nullptr || rq->getType(type) != 0)
        return;
    switch (type) {
    case CMD_C_STORE_RQ: respond<DcCmdCStoreRsp>(msm, rq); break;
    case CMD_C_FIND_RQ: respond<DcCmdCFindRsp>(msm, rq); break;
    case CMD_C_GET_RQ: respond<DcCmdCGetRsp>(msm, rq); break;
    case CMD_C_MOVE_RQ: respond<DcCmdCMoveRsp>(msm, rq); break;
    case CMD_N_EVENT_REPORT_RQ: respond<DcCmdNEventRsp>(msm, rq); break;
    case CMD_N_GET_RQ: respond<DcCmdNGetRsp>(msm, rq); break;
    case CMD_N_SET_RQ: respond<DcCmdNSetRsp>(msm, rq); break;
    case CMD_N_ACTION_RQ: respond<DcCmdNActionRsp>(msm, rq); break;
    case CMD_N_CREATE_RQ: respond<DcCmdNCreateRsp>(msm, rq); break;
    case CMD_N_DELETE_RQ: respond<DcCmdNDeleteRsp>(msm, rq); break;
    default: break;
    }
}

void readOn(DcMsm& msm, int reads)
{
    for (int i = 0; i < reads; i++) {
        int sock = 0;
        msm.getStreamHandle(sock);
        if (sock == 0)
            return;
        DICT_UID sopClass = UID_NONE;
        DcMsg* msg = nullptr;
        msm.read(&sopClass, &msg, MSM_READ_BLOCKING, MSM_CONNECT_NO_BLOCK);
        if (msg != nullptr) {
            msg->printNodeList(fuzzNullStream(), PRINT_NODE_TREE);
            answer(msm, msg);
        }
        delete msg;
    }
}

// A C-STORE request of a small CT image whose pixels travel as OW.
void sendStore(DcMsm& msm)
{
    DcCmdCStoreRq rq;
    rq.add(new DcElem(static_cast<int>(T_0000_0002_affectedSopClassUid), UID_CT_IMAGE_STORAGE));
    rq.add(new DcElem(static_cast<int>(T_0000_1000_affectedSopInstanceUid), "2.999.7321.9.1"));
    rq.add(new DcElem(static_cast<int>(T_0000_0700_priority), static_cast<unsigned short>(0)));
    rq.add(new DcElem(static_cast<int>(T_0008_0016_sopClassUid), UID_CT_IMAGE_STORAGE));
    rq.add(new DcElem(static_cast<int>(T_0008_0018_sopInstanceUid), "2.999.7321.9.1"));
    rq.add(new DcElem(static_cast<int>(T_0010_0010_patientName), "Doe^Jane"));
    rq.add(new DcElem(static_cast<int>(T_0028_0010_rows), static_cast<unsigned short>(16)));
    rq.add(new DcElem(static_cast<int>(T_0028_0011_columns), static_cast<unsigned short>(16)));
    rq.add(new DcElem(static_cast<int>(T_0028_0100_bitsAllocated), static_cast<unsigned short>(16)));
    unsigned char pixels[16 * 16 * 2];
    for (unsigned int i = 0; i < sizeof pixels; i++)
        pixels[i] = static_cast<unsigned char>(i * 7);
    DcElem* pixelData = new DcElem(static_cast<int>(T_7fe0_0010_pixelData));
    pixelData->addValue(pixels, sizeof pixels, UID_LITTLE_ENDIAN_EXPLICIT);
    rq.add(pixelData);
    msm.write(UID_CT_IMAGE_STORAGE, &rq);
}

void afterSetUp(DcMsm& msm, int options, int forcedState)
{
    int after = (options >> OPT_AFTER_SHIFT) & OPT_AFTER_MASK;
    msm.printAssoInfo(fuzzNullStream());
    if (forcedState != 0)
        msm.setState(static_cast<TSM_STATE>(forcedState % TSM_STA13 + 1));
    switch (after) {
    case AFTER_SEND:
        if (options & OPT_STORE) {
            sendStore(msm);
        } else {
            DcCmdCEchoRq rq;
            rq.add(new DcElem(static_cast<int>(T_0000_0002_affectedSopClassUid), UID_VERIFICATION));
            msm.write(UID_VERIFICATION, &rq);
        }
        break;
    case AFTER_RELEASE:
        msm.releaseAssociation();
        break;
    case AFTER_ABORT:
        msm.abortAssociation();
        break;
    default:
        break;
    }
    readOn(msm, readsPerInput);
}

// Opens once what lives as long as the process, so that the descriptor
// count of every input starts from the same place: the requester's
// listener, the null stream, and the listening socket that acceptors on
// port 0 share.
void prepareOnce()
{
    static bool prepared = false;
    if (prepared)
        return;
    prepared = true;
    int listener;
    listenerPort(listener);
    fuzzNullStream();
    DcMsm acceptor("FUZZ_SCP", MSM_ROLE_SCP, 0);
}

void runAcceptor(const uint8_t* stream, size_t size, int options, int forcedState)
{
    int fds[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) != 0)
        return;
    std::thread peer(runPeer, fds[1], stream, size);
    {
        // Port 0: the listening socket an acceptor opens is never used here.
        DcMsm msm("FUZZ_SCP", MSM_ROLE_SCP, 0);
        if (options & OPT_PIXEL_FILE)
            msm.registerPixRecvCB(nullptr, pixelToMemory);
        msm.setStreamHandle(fds[0]);
        DcMsmScpInfo info;
        DcMsmSopXferSyn table[3];
        configure(info, table);
        if (options & OPT_EXT_NEG)
            info.extNegAnswer = echoExtNeg;
        // The conversation is there already, so the accept returns at once;
        // the first read takes the association request.
        if (msm.connect(info) == 0) {
            readOn(msm, 1);
            afterSetUp(msm, options, forcedState);
        }
    }
    peer.join();
    close(fds[1]);
}

void runRequester(const uint8_t* stream, size_t size, int options, int forcedState)
{
    int listener = -1;
    int port = listenerPort(listener);
    if (port == 0)
        return;
    int peerSock = -1;
    std::thread peer([&]() {
        peerSock = acceptPeer(listener);
        if (peerSock >= 0)
            runPeer(peerSock, stream, size);
    });
    {
        DcMsm msm("FUZZ_SCU", MSM_ROLE_SCU, port);
        if (options & OPT_PIXEL_FILE)
            msm.registerPixRecvCB(nullptr, pixelToMemory);
        DcMsmScuInfo info;
        DcMsmSopXferSyn table[3];
        configure(info, table);
        snprintf(info.calledAeTitle, sizeof info.calledAeTitle, "FUZZ_SCP");
        DcPduExtNeg extNeg[2];
        snprintf(extNeg[0].sopClassUid, sizeof extNeg[0].sopClassUid, "1.2.840.10008.5.1.4.1.1.2");
        extNeg[0].infoLen = 6;
        if (options & OPT_EXT_NEG)
            info.extNegList = extNeg;
        if (msm.connect("127.0.0.1", info) == MSM_READ_ACCEPTED)
            afterSetUp(msm, options, forcedState);
        else
            readOn(msm, 1);
    }
    peer.join();
    if (peerSock >= 0)
        close(peerSock);
}

}

int fuzzAssociation(const uint8_t* data, size_t size)
{
    fuzzPrepare();
    if (size < 2)
        return 0;
    int options = data[0];
    int forcedState = data[1];
    prepareOnce();
    int openBefore = fuzzOpenDescriptors();
    if (options & OPT_REQUESTER)
        runRequester(data + 2, size - 2, options, forcedState);
    else
        runAcceptor(data + 2, size - 2, options, forcedState);
    FUZZ_CHECK(fuzzOpenDescriptors() == openBefore, "a descriptor was left open");
    return 0;
}
