#include "network/DcTsm.h"

#include <unistd.h>

DcTsm* DcTsm::_artimThis = nullptr;

DcTsm::DcTsm(TSM_ROLE tsmRole, int port, DcTsmArtimCB callback)
    : artimCB(callback), state(TSM_STA1), startupStatus(0), role(tsmRole), pdu(nullptr), sockAddr(),
      connSide(TSM_CONN_NONE), tcpInfo{0, port, 0, 0, -1, -1}, maxPduLen(65536), timeoutInfo()
{
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
    for (int slot = 0; slot < TSM_LISTEN_SLOTS; slot++) {
        if (DcScpSockListen[slot] == tcpInfo.sockListen && DcScpListenRefCount[slot] <= 0) {
            close(DcScpSockListen[slot]);
            DcScpSockListen[slot] = -1;
            DcScpPort[slot] = -1;
        }
    }
}

void DcTsm::artimStart()
{
    _artimThis = this;
}

// Stopping a running timer also closes the transport of this machine.
void DcTsm::artimStop()
{
    if (_artimThis == nullptr)
        return;
    _artimThis = nullptr;
    AA_2_closeTransport(nullptr);
}

int DcTsm::AA_2_closeTransport(void*)
{
    artimStop();
    closeSockConv();
    state = TSM_STA2;
    return TSM_TRANSPORT_CLOSED;
}
