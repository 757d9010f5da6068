#ifndef BRENIK3_TESTS_NETWORK_TSMTESTUTIL_H
#define BRENIK3_TESTS_NETWORK_TSMTESTUTIL_H

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include "network/DcTsm.h"

// Opens the transport operations of the state machine to the tests.
class TestTsm : public DcTsm {
public:
    TestTsm(TSM_ROLE tsmRole, int port) : DcTsm(tsmRole, port, nullptr) {}
    using DcTsm::closeSockConv;
    using DcTsm::sockConvOpenClient;
    using DcTsm::sockConvOpenServer;

    DcPdu* conversationPdu() { return pdu; }
    const sockaddr_in& address() { return sockAddr; }
    int conv() { return tcpInfo.sockConv; }
    int listening() { return tcpInfo.sockListen; }
};

// A TCP port on which nothing listens at the moment of the call.
inline int freePort()
{
    int sock = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    bind(sock, reinterpret_cast<sockaddr*>(&addr), sizeof addr);
    socklen_t len = sizeof addr;
    getsockname(sock, reinterpret_cast<sockaddr*>(&addr), &len);
    close(sock);
    return ntohs(addr.sin_port);
}

// Starts and ends every test with an empty listening table: a machine that
// never held a conversation keeps its port open on purpose, and the table
// lives as long as the process.
class ListenTableTest : public ::testing::Test {
protected:
    void SetUp() override { clearListenTable(); }
    void TearDown() override { clearListenTable(); }

    static void clearListenTable()
    {
        for (int slot = 0; slot < TSM_LISTEN_SLOTS; slot++) {
            if (DcScpSockListen[slot] >= 0)
                close(DcScpSockListen[slot]);
            DcScpSockListen[slot] = -1;
            DcScpPort[slot] = -1;
            DcScpListenRefCount[slot] = 0;
        }
    }
    static int slotOf(int port)
    {
        for (int slot = 0; slot < TSM_LISTEN_SLOTS; slot++)
            if (DcScpPort[slot] == port)
                return slot;
        return -1;
    }
};

#endif
