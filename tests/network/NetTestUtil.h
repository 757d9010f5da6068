#ifndef BRENIK3_TESTS_NETWORK_NETTESTUTIL_H
#define BRENIK3_TESTS_NETWORK_NETTESTUTIL_H

// Shared by the network and service tests: wire bytes built by hand, socket
// pairs, the listening table, outside peers run by their PID.
#include <gtest/gtest.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include "network/DcPduDataTf.h"
#include "network/DcTsm.h"
#include "tests/foundation/LogCapture.h"

extern char** environ;

typedef std::vector<unsigned char> Bytes;

// Builds wire bytes in network order.
class ByteWriter {
public:
    ByteWriter& u8(unsigned int v) { bytes.push_back(static_cast<unsigned char>(v)); return *this; }
    ByteWriter& u16(unsigned int v) { return u8(v >> 8).u8(v); }
    ByteWriter& u32(unsigned int v) { return u16(v >> 16).u16(v); }
    ByteWriter& text(const std::string& s) { bytes.insert(bytes.end(), s.begin(), s.end()); return *this; }
    ByteWriter& fill(size_t n, unsigned char v) { bytes.insert(bytes.end(), n, v); return *this; }
    ByteWriter& raw(const Bytes& b) { bytes.insert(bytes.end(), b.begin(), b.end()); return *this; }
    // An item: type, reserved byte, 16-bit length, content.
    ByteWriter& item(unsigned int type, const Bytes& content)
    {
        return u8(type).u8(0).u16(static_cast<unsigned int>(content.size())).raw(content);
    }
    ByteWriter& item(unsigned int type, const std::string& content)
    {
        return item(type, Bytes(content.begin(), content.end()));
    }
    // A PDU: type, reserved byte, 32-bit length, body.
    static Bytes pdu(unsigned int type, const Bytes& body)
    {
        return ByteWriter().u8(type).u8(0).u32(static_cast<unsigned int>(body.size())).raw(body).bytes;
    }
    Bytes bytes;
};

inline Bytes concat(std::initializer_list<Bytes> parts)
{
    Bytes out;
    for (const Bytes& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

inline Bytes le16(unsigned int v) { return {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8)}; }
inline Bytes le32(unsigned int v) { return concat({le16(v & 0xFFFF), le16(v >> 16)}); }
inline Bytes text(const std::string& s) { return Bytes(s.begin(), s.end()); }

// One element in Implicit VR Little Endian: tag, 4-byte length, value.
inline Bytes implicitElem(unsigned int group, unsigned int element, const Bytes& value)
{
    return concat({le16(group), le16(element), le32(static_cast<unsigned int>(value.size())), value});
}

// One P-DATA-TF PDU with one PDV.
inline Bytes tfPdu(unsigned char presCtxId, unsigned char msgCtrlHdr, const Bytes& fragment)
{
    ByteWriter pdv;
    pdv.u32(static_cast<unsigned int>(fragment.size()) + 2).u8(presCtxId).u8(msgCtrlHdr).raw(fragment);
    return ByteWriter::pdu(PDU_DATA_TF, pdv.bytes);
}

// Transfer information: the given limit, syntax and context.
inline DcPduInfoTf tfInfo(unsigned int maxPduLen, DICT_UID xfer = UID_LITTLE_ENDIAN_IMPLICIT,
                          unsigned char presCtxId = 1)
{
    DcPduInfoTf info;
    info.presCtxId = presCtxId;
    info.msgCtrlHdr = 0;
    info.xferSyn = xfer;
    info.maxPduLen = maxPduLen;
    return info;
}

// A connected pair of stream sockets: the library uses one end, the test the other.
class SocketPair {
public:
    SocketPair()
    {
        int fds[2] = {-1, -1};
        socketpair(AF_UNIX, SOCK_STREAM, 0, fds);
        lib = fds[0], peer = fds[1];
    }
    ~SocketPair() { closeLib(), closePeer(); }
    SocketPair(const SocketPair&) = delete;
    SocketPair& operator=(const SocketPair&) = delete;

    void closePeer() { closeFd(peer); }
    void closeLib() { closeFd(lib); }
    bool send(const Bytes& data) const
    {
        for (size_t done = 0; done < data.size();) {
            ssize_t n = ::send(peer, data.data() + done, data.size() - done, MSG_NOSIGNAL);
            if (n <= 0)
                return false;
            done += size_t(n);
        }
        return true;
    }
    // Everything the library end has sent, waiting at most millis for each piece.
    Bytes received(int millis = 200) const { return drain(peer, millis); }

    static Bytes drain(int fd, int millis)
    {
        Bytes out;
        unsigned char buf[4096];
        struct pollfd pfd = {fd, POLLIN, 0};
        ssize_t n;
        while (poll(&pfd, 1, millis) > 0 && (n = recv(fd, buf, sizeof buf, 0)) > 0)
            out.insert(out.end(), buf, buf + n);
        return out;
    }

    int lib = -1;
    int peer = -1;

private:
    static void closeFd(int& fd)
    {
        if (fd >= 0)
            close(fd), fd = -1;
    }
};

// Runs with the address space capped 512 Mbyte above what the process uses
// now, so that an allocation of a hostile length fails where reading what
// arrived succeeds.
template <typename Body>
void withCappedAddressSpace(Body body)
{
    long pages = 0;
    FILE* statm = fopen("/proc/self/statm", "r");
    ASSERT_NE(nullptr, statm);
    ASSERT_EQ(1, fscanf(statm, "%ld", &pages));
    fclose(statm);
    struct rlimit saved;
    getrlimit(RLIMIT_AS, &saved);
    struct rlimit capped = saved;
    capped.rlim_cur = rlim_t(pages) * sysconf(_SC_PAGESIZE) + (512u << 20);
    ASSERT_EQ(0, setrlimit(RLIMIT_AS, &capped));
    body();
    setrlimit(RLIMIT_AS, &saved);
}

// Opens the transport operations of the state machine to the tests.
class TestTsm : public DcTsm {
public:
    TestTsm(TSM_ROLE tsmRole, int port) : DcTsm(tsmRole, port, nullptr) {}
    using DcTsm::closeSockConv;
    using DcTsm::sockConvOpenClient;
    using DcTsm::sockConvOpenServer;

    DcPdu* conversationPdu() { return pdu; }
    sockaddr_in address()
    {
        sockaddr_in addr;
        memcpy(&addr, sockAddr, sizeof addr);
        return addr;
    }
    int conv() { return tcpInfo.sockConv; }
    int listening() { return tcpInfo.sockListen; }
};

inline sockaddr_in loopback(int port)
{
    sockaddr_in addr = {};
    addr.sin_family = AF_INET;
    addr.sin_port = htons(static_cast<uint16_t>(port));
    addr.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return addr;
}

// A TCP port on which nothing listens at the moment of the call.
inline int freePort()
{
    int sock = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr = loopback(0);
    socklen_t len = sizeof addr;
    bind(sock, reinterpret_cast<sockaddr*>(&addr), len);
    getsockname(sock, reinterpret_cast<sockaddr*>(&addr), &len);
    close(sock);
    return ntohs(addr.sin_port);
}

// A plain TCP connection to 127.0.0.1:port, or -1.
inline int connectTo(int port)
{
    int sock = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in addr = loopback(port);
    if (connect(sock, reinterpret_cast<sockaddr*>(&addr), sizeof addr) == 0)
        return sock;
    close(sock);
    return -1;
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

inline bool have(const std::string& program)
{
    return system(("command -v " + program + " >/dev/null 2>&1").c_str()) == 0;
}

// Runs one outside program for the length of a test and kills it by its PID
// at the end unless it has exited.
class PeerProcess {
public:
    explicit PeerProcess(std::vector<std::string> args)
    {
        std::vector<char*> argv;
        for (std::string& arg : args)
            argv.push_back(&arg[0]);
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
        posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
        if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ) != 0)
            pid = -1;
        posix_spawn_file_actions_destroy(&actions);
    }
    ~PeerProcess()
    {
        if (pid > 0) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
    }
    PeerProcess(const PeerProcess&) = delete;
    PeerProcess& operator=(const PeerProcess&) = delete;

    // Waits at most the given seconds for the program to end; its exit
    // status, or -1 when it is still running or was killed.
    int waitExit(int seconds)
    {
        for (int i = 0; i < seconds * 20 && pid > 0; i++) {
            int status = 0;
            if (waitpid(pid, &status, WNOHANG) == pid) {
                pid = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        return -1;
    }

    pid_t pid = -1;
};

#endif
