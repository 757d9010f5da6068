#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <memory>
#include <netinet/tcp.h>

#include "network/DcPduRelease.h"
#include "tests/network/NetTestUtil.h"

namespace {

template <typename T = int>
T option(int sock, int level, int name)
{
    T value = {};
    socklen_t len = sizeof value;
    getsockopt(sock, level, name, &value, &len);
    return value;
}

long receiveTimeout(int sock)
{
    return option<timeval>(sock, SOL_SOCKET, SO_RCVTIMEO).tv_sec;
}

bool isOpen(int fd)
{
    return fcntl(fd, F_GETFD) != -1;
}

int openDescriptors()
{
    int count = 0;
    for (int fd = 0; fd < 1024; ++fd)
        count += isOpen(fd) ? 1 : 0;
    return count;
}

}

class TsmListen : public ListenTableTest {};

TEST_F(TsmListen, AcceptorsShareOneReusableSocketPerPortAndRequestersOpenNone)
{
    int port = freePort();
    TestTsm requester(TSM_ROLE_REQUESTER, freePort());
    EXPECT_EQ(0, requester.getStartupStatus());
    EXPECT_EQ(0, requester.listening());
    EXPECT_EQ(-1, DcScpSockListen[0]);

    TestTsm first(TSM_ROLE_ACCEPTOR, port);
    ASSERT_EQ(0, first.getStartupStatus());
    int slot = slotOf(port);
    ASSERT_GE(slot, 0);
    EXPECT_EQ(first.listening(), DcScpSockListen[slot]);
    EXPECT_EQ(1, DcScpListenRefCount[slot]);
    EXPECT_NE(0, option(first.listening(), SOL_SOCKET, SO_REUSEADDR));
    EXPECT_EQ(TSM_STA1, first.getState());
    TestTsm second(TSM_ROLE_BOTH, port);
    EXPECT_EQ(0, second.getStartupStatus());
    EXPECT_EQ(first.listening(), second.listening());
    EXPECT_EQ(2, DcScpListenRefCount[slot]);
}

TEST_F(TsmListen, FifthDistinctPortExceedsTheTable)
{
    std::vector<std::unique_ptr<TestTsm>> machines;
    for (int i = 0; i < TSM_LISTEN_SLOTS; i++) {
        machines.emplace_back(new TestTsm(TSM_ROLE_ACCEPTOR, freePort()));
        ASSERT_EQ(0, machines.back()->getStartupStatus());
    }
    LogCapture log;
    TestTsm fifth(TSM_ROLE_ACCEPTOR, freePort());
    EXPECT_EQ(TSM_ERR_LISTEN, fifth.getStartupStatus());
    ASSERT_EQ(1u, log.entries.size());
    EXPECT_EQ("Limit of 4 listening ports exceeded", log.entries[0].message);
    EXPECT_EQ("DcTsm::sockListenOpen", log.entries[0].function);
}

TEST_F(TsmListen, PortHeldByAnotherListenerFailsToBind)
{
    int port = freePort();
    int other = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr = loopback(port);
    addr.sin_addr.s_addr = htonl(INADDR_ANY);
    ASSERT_EQ(0, bind(other, reinterpret_cast<sockaddr*>(&addr), sizeof addr));
    ASSERT_EQ(0, listen(other, 1));
    LogCapture log;
    int before = openDescriptors();
    TestTsm machine(TSM_ROLE_ACCEPTOR, port);
    EXPECT_EQ(TSM_ERR_BIND, machine.getStartupStatus());
    EXPECT_EQ(before, openDescriptors());  // the socket that failed to bind is closed
    const LogCapture::Entry* entry = log.find("winSock error WSAEADDRINUSE");
    ASSERT_NE(nullptr, entry);
    EXPECT_EQ("DcTsm::sockListenOpen - bind", entry->function);
    EXPECT_EQ(-1, slotOf(port));
    close(other);
}

// The last closed conversation and the machine's end free the slot; a
// machine that never held a conversation leaves its port open.
TEST_F(TsmListen, SlotIsFreedOnlyAfterAConversation)
{
    int port = freePort();
    {
        TestTsm server(TSM_ROLE_ACCEPTOR, port);
        TestTsm client(TSM_ROLE_REQUESTER, port);
        ASSERT_EQ(0, client.sockConvOpenClient("127.0.0.1", port));
        ASSERT_EQ(0, server.sockConvOpenServer(TSM_BLOCKING));
        server.closeSockConv();
        EXPECT_EQ(0, DcScpListenRefCount[slotOf(port)]);
        EXPECT_EQ(TSM_CONN_NONE, server.getConnSide());
    }
    EXPECT_EQ(-1, slotOf(port));
    int sock;
    {
        TestTsm idle(TSM_ROLE_ACCEPTOR, port);
        EXPECT_EQ(0, idle.getStartupStatus());
        sock = idle.listening();
    }
    int slot = slotOf(port);
    ASSERT_GE(slot, 0);
    EXPECT_EQ(sock, DcScpSockListen[slot]);
    EXPECT_EQ(1, DcScpListenRefCount[slot]);
    EXPECT_TRUE(isOpen(sock));
}

class TsmConnect : public ListenTableTest {
protected:
    void SetUp() override
    {
        ListenTableTest::SetUp();
        port = freePort();
        server.reset(new TestTsm(TSM_ROLE_ACCEPTOR, port));
        ASSERT_EQ(0, server->getStartupStatus());
        client.reset(new TestTsm(TSM_ROLE_REQUESTER, port));
        DcTsmTimeoutInfo quick;
        quick.connectTimeout = 1;
        quick.readTimeout = 2;
        server->setTimeoutInfo(quick);
        client->setTimeoutInfo(quick);
    }
    void TearDown() override
    {
        client.reset();
        server.reset();
        ListenTableTest::TearDown();
    }

    int port = 0;
    std::unique_ptr<TestTsm> server;
    std::unique_ptr<TestTsm> client;
};

TEST_F(TsmConnect, RequesterAndAcceptorOpenOneConversation)
{
    ASSERT_EQ(0, client->sockConvOpenClient("localhost", port));
    ASSERT_EQ(0, server->sockConvOpenServer(TSM_BLOCKING));
    EXPECT_EQ(TSM_CONN_REQUESTER, client->getConnSide());
    EXPECT_EQ(TSM_CONN_ACCEPTOR, server->getConnSide());
    EXPECT_NE(0, option(client->conv(), IPPROTO_TCP, TCP_NODELAY));
    EXPECT_NE(0, option(server->conv(), IPPROTO_TCP, TCP_NODELAY));
    EXPECT_EQ(htonl(INADDR_LOOPBACK), server->address().sin_addr.s_addr);

    ASSERT_NE(nullptr, server->conversationPdu());
    ASSERT_EQ(0, DcPduReleaseRq(client->conv()).write());
    PDU_TYPE type;
    ASSERT_EQ(0, server->conversationPdu()->readType(type, PDU_WAIT));
    EXPECT_EQ(PDU_RELEASE_RQ, type);

}

TEST_F(TsmConnect, NonBlockingAcceptWithoutPeerTimesOut)
{
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(TSM_ERR_CONNECT_TIMEOUT, server->sockConvOpenServer(TSM_NO_BLOCK));
    double waited = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_GE(waited, 0.9);
    EXPECT_LT(waited, 5.0);
    EXPECT_TRUE(isOpen(server->listening()));
    EXPECT_EQ(server->listening(), DcScpSockListen[slotOf(port)]);
    EXPECT_EQ(TSM_CONN_NONE, server->getConnSide());
    EXPECT_EQ(TSM_ERR_CONNECT_TIMEOUT, client->sockConvOpenServer(TSM_NO_BLOCK)) << "no listening socket";
}

TEST_F(TsmConnect, RefusedOrUnresolvableConnectionIsReported)
{
    LogCapture log;
    TestTsm lonely(TSM_ROLE_REQUESTER, 0);
    int before = openDescriptors();
    EXPECT_EQ(TSM_ERR_CONNECT, lonely.sockConvOpenClient("127.0.0.1", freePort()));
    EXPECT_EQ(before, openDescriptors());  // the refused socket is closed
    const LogCapture::Entry* entry = log.find("winSock error WSAECONNREFUSED");
    ASSERT_NE(nullptr, entry);
    EXPECT_EQ("DcTsm::sockConvOpenClient - connect", entry->function);
    EXPECT_EQ(0, lonely.conv());
    EXPECT_EQ(TSM_CONN_NONE, lonely.getConnSide());

    log.entries.clear();
    EXPECT_EQ(TSM_ERR_RESOLVE, client->sockConvOpenClient("no-such-host.invalid", port));
    ASSERT_EQ(1u, log.entries.size());
    EXPECT_EQ("DcTsm::sockConvOpenClient - gethostbyname", log.entries[0].function);
    EXPECT_EQ(0u, log.entries[0].message.find("winSock error 0x"));
    EXPECT_EQ(0, client->conv());
}

TEST_F(TsmConnect, TimeoutsSetWithoutConversationApplyAtTheNextOpen)
{
    DcTsmTimeoutInfo custom;
    custom.connectTimeout = 4;
    custom.readTimeout = 7;
    custom.writeTimeout = 9;
    EXPECT_EQ(0, client->setTimeoutInfo(custom));
    ASSERT_EQ(0, client->sockConvOpenClient("127.0.0.1", port));
    EXPECT_EQ(7, receiveTimeout(client->conv()));
    custom.readTimeout = 3;
    client->setTimeoutInfo(custom);
    EXPECT_EQ(3, receiveTimeout(client->conv()));
}

TEST(TsmSockError, NamedErrorsAndOthersInHex)
{
    LogCapture log;
    for (int error : {EADDRINUSE, ETIMEDOUT, ECONNRESET, 10054})
        tsmReportSockError("caller", error);
    char reset[32];
    snprintf(reset, sizeof reset, "winSock error 0x%x", ECONNRESET);
    EXPECT_EQ((std::vector<std::string>{"winSock error WSAEADDRINUSE", "winSock error WSAETIMEDOUT", reset,
                                        "winSock error 0x2746"}),
              log.messages());
    EXPECT_EQ("caller", log.entries[0].function);
    EXPECT_EQ(LOG_CHANNEL_2, log.entries[0].channel);
}
