#ifndef BRENIK3_TESTS_SERVICE_SERVICETESTUTIL_H
#define BRENIK3_TESTS_SERVICE_SERVICETESTUTIL_H

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include <dirent.h>
#include <poll.h>
#include <unistd.h>

#include "dictionary/DcDict.h"
#include "message/DcCmdCEcho.h"
#include "message/DcCmdCFind.h"
#include "message/DcCmdCStore.h"
#include "message/DcIod.h"
#include "network/DcPduAssoAcRq.h"
#include "service/DcMsm.h"
#include "tests/network/NetTestUtil.h"

// Open file descriptors of the process.
inline int openFdCount()
{
    int count = 0;
    DIR* dir = opendir("/proc/self/fd");
    if (dir == nullptr)
        return -1;
    while (readdir(dir) != nullptr)
        count++;
    closedir(dir);
    return count - 3;  // ".", ".." and the directory itself
}

inline DcMsmSopXferSyn sopEntry(DICT_UID sop, std::vector<DICT_UID> syntaxes)
{
    syntaxes.push_back(UID_NONE);
    return DcMsmSopXferSyn(sop, syntaxes.data(), MSM_ROLE_NONE);
}

// Time-outs that keep every wait of a test short.
inline DcTsmTimeoutInfo quickTimeouts()
{
    DcTsmTimeoutInfo t;
    t.connectTimeout = 1;
    t.readTimeout = 5;
    t.writeTimeout = 5;
    return t;
}

// An SCP on its own thread: accepts associations one after another and hands
// every message to a handler until stopped.
class ScpThread {
public:
    typedef std::function<void(DcMsm& scp, DcMsg* msg, DICT_UID sopClass)> Handler;

    explicit ScpThread(const char* aeTitle = "STORESCP", int listenPort = 0)
        : port(listenPort != 0 ? listenPort : freePort()), scp(aeTitle, MSM_ROLE_SCP, port)
    {
        sopXfer.push_back(sopEntry(UID_VERIFICATION, {UID_LITTLE_ENDIAN_IMPLICIT}));
        sopXfer.push_back(sopEntry(UID_CT_IMAGE_STORAGE, {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT}));
        info.timeouts = quickTimeouts();
        scp.setArtimTimeout(2);
    }
    ~ScpThread() { stop(); }

    void start()
    {
        sopXfer.push_back(DcMsmSopXferSyn());
        info.sopXferList = sopXfer.data();
        worker = std::thread([this] { run(); });
    }
    void stop()
    {
        stopping = true;
        if (worker.joinable())
            worker.join();
    }
    std::vector<int> outcomesSeen()
    {
        std::lock_guard<std::mutex> hold(lock);
        return outcomes;
    }
    // Waits until the SCP has reported the outcome, at most seconds.
    bool waitFor(int outcome, int seconds = 10)
    {
        auto until = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        while (std::chrono::steady_clock::now() < until) {
            {
                std::lock_guard<std::mutex> hold(lock);
                for (int seen : outcomes)
                    if (seen == outcome)
                        return true;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
        return false;
    }

    int port;
    DcMsm scp;
    DcMsmScpInfo info;
    std::vector<DcMsmSopXferSyn> sopXfer;
    Handler handler;

private:
    void run()
    {
        scp.connect(info);
        while (!stopping) {
            DICT_UID sop = UID_NONE;
            DcMsg* msg = nullptr;
            int outcome = scp.read(&sop, &msg, MSM_READ_BLOCKING, MSM_CONNECT_NO_BLOCK);
            // A data set that could not be stored comes to the handler as null.
            if ((outcome == MSM_READ_MESSAGE || outcome == MSM_READ_NOT_STORED) && handler)
                handler(scp, msg, sop);
            delete msg;
            if (outcome != MSM_READ_NO_CALLER) {
                std::lock_guard<std::mutex> hold(lock);
                outcomes.push_back(outcome);
            }
        }
    }

    std::thread worker;
    std::atomic<bool> stopping{false};
    std::mutex lock;
    std::vector<int> outcomes;
};

// An SCU proposing Verification and CT Image Storage.
class Scu {
public:
    explicit Scu(int port, const char* aeTitle = "STORESCU") : msm(aeTitle, MSM_ROLE_SCU, port)
    {
        strcpy(info.calledAeTitle, "STORESCP");
        sopXfer.push_back(sopEntry(UID_VERIFICATION, {UID_LITTLE_ENDIAN_IMPLICIT}));
        sopXfer.push_back(sopEntry(UID_CT_IMAGE_STORAGE, {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT}));
        info.timeouts = quickTimeouts();
    }
    int connect()
    {
        sopXfer.push_back(DcMsmSopXferSyn());
        info.sopXferList = sopXfer.data();
        return msm.connect("127.0.0.1", info);
    }
    // Reads the next message, which the caller then owns.
    int read(DcMsg** msg, DICT_UID* sop = nullptr)
    {
        return msm.read(sop, msg, MSM_READ_BLOCKING, MSM_CONNECT_BLOCKING);
    }

    DcMsm msm;
    DcMsmScuInfo info;
    std::vector<DcMsmSopXferSyn> sopXfer;
};

inline unsigned short statusOf(DcMsg* msg)
{
    unsigned short status = 0xFFFF;
    msg->getValue(static_cast<int>(T_0000_0900_status), status, ELEM_VAL_INDEX_KEEP);
    return status;
}

inline MSG_TYPE typeOf(DcMsg* msg)
{
    MSG_TYPE type = MSG_NONE;
    msg->getType(type);
    return type;
}

inline std::string descOf(DICT_UID uid)
{
    char desc[80] = "";
    Dict.getDesc(uid, desc);
    return desc;
}

inline std::string textOf(DcMsg* msg, int tag)
{
    char text[128] = "";
    msg->getValue(tag, text, 64, ELEM_VAL_INDEX_KEEP);
    return text;
}

inline DcCmdCEchoRq* echoRequest()
{
    DcCmdCEchoRq* rq = new DcCmdCEchoRq();
    rq->add(new DcElem(static_cast<int>(T_0000_0002_affectedSopClassUid), UID_VERIFICATION));
    return rq;
}

inline Bytes pattern(size_t len, unsigned int seed)
{
    Bytes bytes(len);
    for (size_t i = 0; i < len; i++)
        bytes[i] = static_cast<unsigned char>((i * 31 + seed) >> 3);
    return bytes;
}

// The bytes of a message's Pixel Data, in memory or on disk.
inline Bytes pixelsOf(DcMsg* msg)
{
    DcBuf value;
    if (msg->getValue(static_cast<int>(T_7fe0_0010_pixelData), value, ELEM_VAL_INDEX_KEEP) != 0)
        return {};
    Bytes out(value.getLen());
    if (value.getType() == BUF_MEMORY)
        memcpy(out.data(), value.getBuf(), out.size());
    else if (pread(value.getHandle(), out.data(), out.size(), value.getOffset()) != static_cast<ssize_t>(out.size()))
        return {};
    return out;
}

// An element holding a copy of the bytes in memory.
inline DcElem* bytesElem(int tag, const Bytes& bytes)
{
    void* block = malloc(bytes.size());
    memcpy(block, bytes.data(), bytes.size());
    DcBuf buf(block, static_cast<unsigned int>(bytes.size()), UID_LITTLE_ENDIAN_IMPLICIT);
    return new DcElem(tag, &buf);
}

inline DcCmdCStoreRq* storeRequest(const char* instance, const Bytes& pixels, int fileHandle = -1)
{
    DcCmdCStoreRq* rq = new DcCmdCStoreRq();
    rq->add(new DcElem(static_cast<int>(T_0000_0002_affectedSopClassUid), UID_CT_IMAGE_STORAGE));
    rq->add(new DcElem(static_cast<int>(T_0000_0700_priority), static_cast<unsigned short>(0)));
    rq->add(new DcElem(static_cast<int>(T_0000_1000_affectedSopInstanceUid), instance));
    rq->add(new DcElem(static_cast<int>(T_0008_0016_sopClassUid), UID_CT_IMAGE_STORAGE));
    rq->add(new DcElem(static_cast<int>(T_0008_0018_sopInstanceUid), instance));
    rq->add(new DcElem(static_cast<int>(T_0010_0010_patientName), "Doe^Jane"));
    rq->add(new DcElem(static_cast<int>(T_0028_0010_rows), static_cast<unsigned short>(512)));
    if (fileHandle >= 0)
        rq->add(new DcElem(static_cast<int>(T_7fe0_0010_pixelData), fileHandle, 0,
                           static_cast<unsigned int>(pixels.size()), UID_LITTLE_ENDIAN_IMPLICIT));
    else
        rq->add(bytesElem(static_cast<int>(T_7fe0_0010_pixelData), pixels));
    return rq;
}

// An SCP that stores into memory and answers each C-STORE.
struct StoreScp : ScpThread {
    StoreScp()
    {
        handler = [this](DcMsm& msm, DcMsg* msg, DICT_UID sop) {
            if (msg == nullptr)
                return;
            if (typeOf(msg) == MSG_C_STORE_RQ) {
                pending.reset(new DcCmdCStoreRsp());
                pending->parseRequest(static_cast<DcCmd*>(msg));
                return;
            }
            if (typeOf(msg) != MSG_IOD || !pending)
                return;
            {
                std::lock_guard<std::mutex> hold(stored);
                pixels.push_back(pixelsOf(msg));
                names.push_back(textOf(msg, T_0010_0010_patientName));
                instances.push_back(textOf(msg, T_0008_0018_sopInstanceUid));
                DcBuf value;
                msg->getValue(static_cast<int>(T_7fe0_0010_pixelData), value, ELEM_VAL_INDEX_KEEP);
                onDisk.push_back(value.getType() == BUF_DISK);
            }
            pending->add(new DcElem(static_cast<int>(T_0000_0900_status), static_cast<unsigned short>(0)));
            msm.write(sop, pending.get());
            pending.reset();
        };
    }
    std::unique_ptr<DcCmdCStoreRsp> pending;
    std::mutex stored;
    std::vector<Bytes> pixels;
    std::vector<std::string> names;
    std::vector<std::string> instances;
    std::vector<bool> onDisk;
};

// An SCP that answers each C-FIND with the matches Doe^Jane and Doe^John,
// then success, and keeps the patient name key it was given.
struct FindScp : ScpThread {
    FindScp()
    {
        sopXfer.push_back(sopEntry(UID_STUDY_ROOT_Q_R_FIND, {UID_LITTLE_ENDIAN_EXPLICIT, UID_LITTLE_ENDIAN_IMPLICIT}));
        handler = [this](DcMsm& msm, DcMsg* msg, DICT_UID sop) {
            if (typeOf(msg) == MSG_C_FIND_RQ) {
                answers.clear();
                for (int i = 0; i < 3; i++) {
                    answers.emplace_back(new DcCmdCFindRsp());
                    answers.back()->parseRequest(static_cast<DcCmd*>(msg));
                }
                return;
            }
            if (typeOf(msg) != MSG_IOD || sop != UID_STUDY_ROOT_Q_R_FIND || answers.size() != 3)
                return;
            key = textOf(msg, T_0010_0010_patientName);
            const char* found[] = {"Doe^Jane", "Doe^John", nullptr};
            for (int i = 0; i < 3; i++) {
                unsigned short status = found[i] ? 0xFF00 : 0;
                answers[i]->add(new DcElem(static_cast<int>(T_0000_0900_status), status));
                if (found[i]) {
                    answers[i]->add(new DcElem(static_cast<int>(T_0008_0052_queryRetrieveLevel), "STUDY"));
                    answers[i]->add(new DcElem(static_cast<int>(T_0010_0010_patientName), found[i]));
                }
                msm.write(sop, answers[i].get());
            }
        };
    }
    std::vector<std::unique_ptr<DcCmdCFindRsp>> answers;
    std::string key;
};

// A peer that speaks the protocol by hand on a plain TCP socket.
class RawPeer {
public:
    explicit RawPeer(int port) : sock(connectTo(port)) {}
    ~RawPeer() { hangUp(); }
    void hangUp()
    {
        if (sock >= 0)
            close(sock);
        sock = -1;
    }

    // Proposes one context and returns the whole answer PDU.
    Bytes associate(const char* called = "STORESCP", const char* calling = "RAWPEER",
                    DICT_UID sop = UID_CT_IMAGE_STORAGE, unsigned int presCtxId = 1)
    {
        DcPduAssoRq rq(sock);
        DcPduInfoAcRq info;
        strcpy(info.calledAeTitle, called);
        strcpy(info.callingAeTitle, calling);
        strcpy(info.appCtxName, "1.2.840.10008.3.1.1.1");
        info.maxPduLen = 16384;
        rq.setInfo(info);
        DcPduPresCtxItem item;
        item.presCtxId = presCtxId;
        item.abstractSyntax = sop;
        item.xferSyn[0] = UID_LITTLE_ENDIAN_IMPLICIT;
        rq.presCtxItemAdd(item);
        rq.write();
        return readPdu();
    }
    bool send(const Bytes& bytes)
    {
        return ::send(sock, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
    }
    // One whole PDU, or what arrived of it within the wait.
    Bytes readPdu(int millis = 3000)
    {
        Bytes pdu = readExactly(6, millis);
        if (pdu.size() == 6) {
            Bytes body = readExactly((pdu[2] << 24) | (pdu[3] << 16) | (pdu[4] << 8) | pdu[5], millis);
            pdu.insert(pdu.end(), body.begin(), body.end());
        }
        return pdu;
    }
    // True when the other side closes within the wait.
    bool closedWithin(int millis)
    {
        auto until = std::chrono::steady_clock::now() + std::chrono::milliseconds(millis);
        unsigned char buf[4096];
        while (std::chrono::steady_clock::now() < until) {
            struct pollfd pfd = {sock, POLLIN, 0};
            if (poll(&pfd, 1, 50) > 0 && recv(sock, buf, sizeof buf, 0) <= 0)
                return true;
        }
        return false;
    }

    int sock;

private:
    Bytes readExactly(size_t len, int millis)
    {
        Bytes out;
        unsigned char buf[4096];
        struct pollfd pfd = {sock, POLLIN, 0};
        ssize_t n;
        while (out.size() < len && poll(&pfd, 1, millis) > 0 &&
               (n = recv(sock, buf, std::min(sizeof buf, len - out.size()), 0)) > 0)
            out.insert(out.end(), buf, buf + n);
        return out;
    }
};

#endif
