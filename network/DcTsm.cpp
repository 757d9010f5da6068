#include "network/DcTsm.h"

#include <mutex>

#include <unistd.h>

DcTsm* DcTsm::_artimThis = nullptr;

namespace {

// Guards _artimThis, which machines of several threads start and stop.
std::mutex artimLock;

}

DcTsm::DcTsm(TSM_ROLE tsmRole, int port, DcTsmArtimCB callback)
    : actionFunc(), artimCB(callback), state(TSM_STA1), startupStatus(0), role(tsmRole),
      pdu(nullptr), sockAddr(), connSide(TSM_CONN_NONE), tcpInfo{0, port, 0, 0, -1, -1}, maxPduLen(65536),
      timeoutInfo(), artimTimeout(TSM_ARTIM_TIMEOUT), lastPduRead(nullptr), artimArmed(false), artimDeadline()
{
    initializeActionFuncArray();
    if (role & TSM_ROLE_ACCEPTOR)
        startupStatus = sockListenOpen(port);
}

// A listening socket is closed with the last machine that shares it, once
// every conversation taken on it has closed.
DcTsm::~DcTsm()
{
    delete pdu;
    pdu = nullptr;
    closeSockConv();
    artimCancel();
    for (int slot = 0; slot < TSM_LISTEN_SLOTS; slot++) {
        if (DcScpSockListen[slot] == tcpInfo.sockListen && DcScpListenRefCount[slot] <= 0) {
            close(DcScpSockListen[slot]);
            DcScpSockListen[slot] = -1;
            DcScpPort[slot] = -1;
        }
    }
}

// The timer is a deadline of this machine, checked by the thread that waits
// for the machine's next PDU (DcTul::readNextPdu): no thread or system timer
// of its own, so an expiry never reaches a machine that is gone.
void DcTsm::artimStart()
{
    std::lock_guard<std::mutex> hold(artimLock);
    _artimThis = this;
    artimArmed = true;
    artimDeadline = std::chrono::steady_clock::now() + std::chrono::seconds(artimTimeout);
}

// Stopping the running timer also closes the transport of this machine. A
// machine whose timer another one has replaced since finds nothing to stop.
void DcTsm::artimStop()
{
    {
        std::lock_guard<std::mutex> hold(artimLock);
        artimArmed = false;
        if (_artimThis != this)
            return;
        _artimThis = nullptr;
    }
    AA_2_closeTransport(nullptr);
}

void DcTsm::artimCancel()
{
    std::lock_guard<std::mutex> hold(artimLock);
    artimArmed = false;
    if (_artimThis == this)
        _artimThis = nullptr;
}

bool DcTsm::artimOwned()
{
    std::lock_guard<std::mutex> hold(artimLock);
    return _artimThis == this;
}

long DcTsm::artimRemaining()
{
    std::lock_guard<std::mutex> hold(artimLock);
    if (!artimArmed)
        return -1;
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(artimDeadline - std::chrono::steady_clock::now());
    return left.count() > 0 ? static_cast<long>(left.count()) : 0;
}

void DcTsm::artimExpire()
{
    {
        std::lock_guard<std::mutex> hold(artimLock);
        artimArmed = false;
    }
    if (artimCB != nullptr)
        artimCB(0, 0, reinterpret_cast<unsigned long>(this), 0, 0);
}

int DcTsm::AA_2_closeTransport(void*)
{
    artimStop();
    closeSockConv();
    state = TSM_STA2;
    return TSM_TRANSPORT_CLOSED;
}
