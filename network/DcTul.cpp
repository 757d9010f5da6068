#include "network/DcTul.h"

#include <algorithm>
#include <cerrno>

#include <poll.h>
#include <unistd.h>

DcTul::DcTul(TUL_TYPE type, int value)
    : DcTsm(static_cast<TSM_ROLE>(type), value, &DcTul::artimExpiredCB), pixRecvCB(nullptr),
      pixRecvUserData(nullptr), tulType(type), tulValue(value), pixelRemaining(0), pixelFileStart(0),
      pixelWriteFailed(false)
{
}

// A pixel data file set by the receive callback belongs to the layer.
DcTul::~DcTul()
{
    if (tcpInfo.pixelDataHandle != -1)
        close(tcpInfo.pixelDataHandle);
}

int DcTul::setArtimTimeout(int seconds)
{
    if (seconds < 1)
        return TUL_ERR_DATA;
    artimTimeout = static_cast<unsigned int>(seconds);
    return 0;
}

int DcTul::registerPixRecvCB(void* userData, DcMsmPixRecvCB callback)
{
    pixRecvUserData = userData;
    pixRecvCB = callback;
    return 0;
}

void DcTul::givePduLimits(DcPdu& out)
{
    DcPduInfo limits;
    limits.maxPduLen = maxPduLen;
    limits.readTimeout = timeoutInfo.readTimeout;
    limits.writeTimeout = timeoutInfo.writeTimeout;
    out.setInfo(limits);
}

int DcTul::event00_connectScu(const char* host, int port)
{
    if ((role & TSM_ROLE_REQUESTER) == 0)
        return TUL_ERR_NOT_REQUESTER;
    DcTsmConnectArg where = {host, port};
    return stateMachine(TSM_EVT1, &where);
}

int DcTul::event01_writeAssoRqPdu(DcPduAssoRq* rq)
{
    if ((role & TSM_ROLE_REQUESTER) == 0)
        return TUL_ERR_NOT_REQUESTER;
    return stateMachine(TSM_EVT2, rq);
}

int DcTul::event04_connectScp()
{
    if ((role & TSM_ROLE_ACCEPTOR) == 0)
        return TUL_ERR_NOT_ACCEPTOR;
    return stateMachine(TSM_EVT5, nullptr);
}

int DcTul::event06_writeAssoAcPdu(DcPduAssoAc* ac)
{
    return stateMachine(TSM_EVT7, ac);
}

int DcTul::event07_writeAssoRjPdu(DcPduAssoRj* rj)
{
    return stateMachine(TSM_EVT8, rj);
}

int DcTul::event08_writeDataTfPdu(DcPduDataTf* tf)
{
    return stateMachine(TSM_EVT9, tf);
}

int DcTul::event10_writeRelRqPdu()
{
    return stateMachine(TSM_EVT11, nullptr);
}

int DcTul::event13_writeRelRpPdu()
{
    return stateMachine(TSM_EVT14, nullptr);
}

int DcTul::event14_writeAbortPdu()
{
    return stateMachine(TSM_EVT15, nullptr);
}

int DcTul::event16_closeTrans()
{
    return stateMachine(TSM_EVT17, nullptr);
}

int DcTul::event17_artimExpired()
{
    return stateMachine(TSM_EVT18, nullptr);
}

// The expiry is delivered by the thread that waits on the machine, and acts
// only while that machine still owns the process's ARTIM timer.
void DcTul::artimExpiredCB(unsigned int, unsigned int, unsigned long user, unsigned long, unsigned long)
{
    DcTul* machine = static_cast<DcTul*>(reinterpret_cast<DcTsm*>(user));
    if (machine != nullptr && machine->artimOwned())
        machine->event17_artimExpired();
}

bool DcTul::waitingBytes()
{
    struct pollfd pfd = {tcpInfo.sockConv, POLLIN, 0};
    return tcpInfo.sockConv > 0 && poll(&pfd, 1, 0) > 0 && (pfd.revents & POLLIN) != 0;
}

int DcTul::artimWait(PDU_BLOCK block)
{
    long left = artimRemaining();
    if (left < 0)
        return 0;
    if (left > 0) {
        long readMillis = block == PDU_WAIT ? static_cast<long>(timeoutInfo.readTimeout) * 1000 : 0;
        long wait = std::min(left, readMillis);
        struct pollfd pfd = {tcpInfo.sockConv, POLLIN, 0};
        int ready;
        do {
            ready = poll(&pfd, 1, static_cast<int>(std::min<long>(wait, 0x7FFFFFFF)));
        } while (ready < 0 && errno == EINTR);
        if (ready > 0 || block == PDU_NO_WAIT)
            return 0;
        if (left > readMillis)
            return PDU_ERR_TIMEOUT;
    } else if (state == TSM_STA2 && waitingBytes()) {
        // The timer ran out while nobody read: a request that came in time
        // is still waiting on the socket, and is read before the expiry.
        return 0;
    }
    artimExpire();
    return tcpInfo.sockConv == 0 ? TSM_TRANSPORT_CLOSED : 0;
}
