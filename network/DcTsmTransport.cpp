#include "network/DcTsm.h"

#include <cerrno>
#include <climits>
#include <cstring>

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "foundation/DcLog.h"

int DcScpSockListen[TSM_LISTEN_SLOTS] = {-1, -1, -1, -1};
int DcScpPort[TSM_LISTEN_SLOTS] = {-1, -1, -1, -1};
int DcScpListenRefCount[TSM_LISTEN_SLOTS] = {0, 0, 0, 0};

namespace {

// Codes that a failed host look-up reports, as the socket library numbers them.
enum { HOST_NOT_FOUND_CODE = 11001, TRY_AGAIN_CODE = 11002, NO_RECOVERY_CODE = 11003 };

int lookupError(int eaiStatus)
{
    switch (eaiStatus) {
    case EAI_SYSTEM:
        return errno;
    case EAI_AGAIN:
        return TRY_AGAIN_CODE;
    case EAI_FAIL:
        return NO_RECOVERY_CODE;
    default:
        return HOST_NOT_FOUND_CODE;
    }
}

// The first IPv4 address of a host name; returns the getaddrinfo status.
int resolveIpv4(const char* host, in_addr& address)
{
    struct addrinfo hints;
    memset(&hints, 0, sizeof hints);
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_STREAM;
    struct addrinfo* found = nullptr;
    int status = getaddrinfo(host, nullptr, &hints, &found);
    if (status != 0)
        return status;
    address = reinterpret_cast<sockaddr_in*>(found->ai_addr)->sin_addr;
    freeaddrinfo(found);
    return 0;
}

void setNoDelay(int sock)
{
    int on = 1;
    setsockopt(sock, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void setSocketTimeout(int sock, int option, unsigned int seconds)
{
    struct timeval tv;
    tv.tv_sec = seconds;
    tv.tv_usec = 0;
    setsockopt(sock, SOL_SOCKET, option, &tv, sizeof tv);
}

}

void tsmReportSockError(const char* function, int error)
{
    static const struct {
        int code;
        const char* name;
    } names[] = {
        {EINTR, "WSAEINTR"},           {EACCES, "WSAEACCES"},         {EFAULT, "WSAEFAULT"},
        {EINVAL, "WSAEINVAL"},         {EMFILE, "WSAEMFILE"},         {EWOULDBLOCK, "WSAEWOULDBLOCK"},
        {EINPROGRESS, "WSAEINPROGRESS"}, {EALREADY, "WSAEALREADY"},   {ENOTSOCK, "WSAENOTSOCK"},
        {EOPNOTSUPP, "WSAEOPNOTSUPP"}, {EAFNOSUPPORT, "WSAEAFNOSUPPORT"}, {EADDRINUSE, "WSAEADDRINUSE"},
        {EADDRNOTAVAIL, "WSAEADDRNOTAVAIL"}, {ENETDOWN, "WSAENETDOWN"}, {ENETUNREACH, "WSAENETUNREACH"},
        {ENOBUFS, "WSAENOBUFS"},       {EISCONN, "WSAEISCONN"},       {ETIMEDOUT, "WSAETIMEDOUT"},
        {ECONNREFUSED, "WSAECONNREFUSED"},
    };
    for (const auto& entry : names) {
        if (entry.code == error) {
            logReport(LOG_CHANNEL_2, function, "winSock error %s", entry.name);
            return;
        }
    }
    char code[16];
    snprintf(code, sizeof code, "0x%x", static_cast<unsigned int>(error));
    logReport(LOG_CHANNEL_2, function, "winSock error %s", code);
}

int DcTsm::sockListenOpen(int port)
{
    if (tcpInfo.sockListen > 0)
        return 0;
    for (int slot = 0; slot < TSM_LISTEN_SLOTS; slot++) {
        if (DcScpPort[slot] == port) {
            tcpInfo.sockListen = DcScpSockListen[slot];
            DcScpListenRefCount[slot]++;
            return 0;
        }
    }
    int slot = 0;
    while (slot < TSM_LISTEN_SLOTS && DcScpSockListen[slot] >= 0)
        slot++;
    if (slot == TSM_LISTEN_SLOTS) {
        logReport(LOG_CHANNEL_2, "DcTsm::sockListenOpen", "Limit of %d listening ports exceeded",
                  static_cast<int>(TSM_LISTEN_SLOTS));
        return TSM_ERR_LISTEN;
    }

    // The own host name must resolve, although the socket listens on every interface.
    char hostName[TSM_HOST_NAME_LEN + 1];
    if (gethostname(hostName, sizeof hostName) != 0) {
        tsmReportSockError("DcTsm::sockListenOpen - gethostname", errno);
        return TSM_ERR_HOSTNAME;
    }
    hostName[TSM_HOST_NAME_LEN] = '\0';
    in_addr hostAddress;
    int lookup = resolveIpv4(hostName, hostAddress);
    if (lookup != 0) {
        tsmReportSockError("DcTsm::sockListenOpen - gethostbyname", lookupError(lookup));
        return TSM_ERR_RESOLVE;
    }
    sockaddr_in any{};
    static_assert(sizeof any == sizeof sockAddr, "sockAddr holds a sockaddr_in");
    any.sin_family = AF_INET;
    any.sin_port = htons(static_cast<uint16_t>(port));
    any.sin_addr.s_addr = htonl(INADDR_ANY);
    memcpy(sockAddr, &any, sizeof any);

    int sock = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (sock < 0) {
        tsmReportSockError("DcTsm::sockListenOpen - socket", errno);
        return TSM_ERR_SOCKET_LISTEN;
    }
    int on = 1;
    if (setsockopt(sock, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) != 0)
        tsmReportSockError("DcTsm::sockListenOpen - reuseaddr", errno);
    if (bind(sock, reinterpret_cast<sockaddr*>(&sockAddr), sizeof sockAddr) != 0) {
        tsmReportSockError("DcTsm::sockListenOpen - bind", errno);
        close(sock);
        return TSM_ERR_BIND;
    }
    if (listen(sock, TSM_LISTEN_BACKLOG) != 0) {
        tsmReportSockError("DcTsm::sockListenOpen - listen", errno);
        close(sock);
        return TSM_ERR_LISTEN;
    }
    tcpInfo.sockListen = sock;
    DcScpSockListen[slot] = sock;
    DcScpPort[slot] = port;
    DcScpListenRefCount[slot]++;
    return 0;
}

int DcTsm::sockConvOpenServer(TSM_BLOCK block)
{
    if (tcpInfo.sockConv > 0)
        return 0;
    if (block == TSM_NO_BLOCK) {
        if (tcpInfo.sockListen <= 0)
            return TSM_ERR_CONNECT_TIMEOUT;
        unsigned int seconds = timeoutInfo.connectTimeout;
        int millis = seconds > unsigned(INT_MAX / 1000) ? INT_MAX : int(seconds * 1000);
        struct pollfd pfd = {tcpInfo.sockListen, POLLIN, 0};
        int ready;
        do {
            ready = poll(&pfd, 1, millis);
        } while (ready < 0 && errno == EINTR);
        if (ready <= 0 || (pfd.revents & POLLIN) == 0)
            return TSM_ERR_CONNECT_TIMEOUT;
    }
    socklen_t addrLen = sizeof sockAddr;
    int sock;
    do {
        sock = accept(tcpInfo.sockListen, reinterpret_cast<sockaddr*>(&sockAddr), &addrLen);
    } while (sock < 0 && errno == EINTR);
    if (sock < 0) {
        tsmReportSockError("DcTsm::sockConvOpenServer - accept", errno);
        return TSM_ERR_ACCEPT;
    }
    setNoDelay(sock);
    tcpInfo.sockConv = sock;
    connSide = TSM_CONN_ACCEPTOR;
    delete pdu;
    pdu = new DcPdu();
    pdu->attach(sock);
    return setTimeoutInfo();
}

int DcTsm::sockConvOpenClient(const char* host, int port)
{
    if (tcpInfo.sockConv > 0)
        return 0;
    sockaddr_in peer;
    memset(&peer, 0, sizeof peer);
    peer.sin_family = AF_INET;
    peer.sin_port = htons(static_cast<uint16_t>(port));
    if (host == nullptr) {
        logReport(LOG_CHANNEL_2, "DcTsm::sockConvOpenClient", "Null argument passed");
        return TSM_ERR_RESOLVE;
    }
    peer.sin_addr.s_addr = inet_addr(host);
    if (peer.sin_addr.s_addr == INADDR_NONE) {
        int lookup = resolveIpv4(host, peer.sin_addr);
        if (lookup != 0) {
            tsmReportSockError("DcTsm::sockConvOpenClient - gethostbyname", lookupError(lookup));
            return TSM_ERR_RESOLVE;
        }
    }
    int sock = socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    if (sock < 0) {
        tsmReportSockError("DcTsm::sockConvOpenClient - socket", errno);
        return TSM_ERR_SOCKET_CLIENT;
    }
    if (connect(sock, reinterpret_cast<sockaddr*>(&peer), sizeof peer) != 0) {
        tsmReportSockError("DcTsm::sockConvOpenClient - connect", errno);
        close(sock);
        return TSM_ERR_CONNECT;
    }
    setNoDelay(sock);
    tcpInfo.sockConv = sock;
    connSide = TSM_CONN_REQUESTER;
    delete pdu;
    pdu = new DcPdu();
    pdu->attach(sock);
    return setTimeoutInfo();
}

int DcTsm::adoptConnection(int sock, const void* peerAddress, unsigned int peerAddressLen)
{
    if (sock <= 0 || tcpInfo.sockConv > 0) {
        logReport(LOG_CHANNEL_2, "DcTsm::adoptConnection", "No socket to adopt, or a conversation is open");
        return TSM_ERR_NO_CONVERSATION;
    }
    setNoDelay(sock);
    memset(sockAddr, 0, sizeof sockAddr);
    if (peerAddress != nullptr && peerAddressLen > 0 && peerAddressLen <= sizeof sockAddr) {
        memcpy(sockAddr, peerAddress, peerAddressLen);
    } else {
        socklen_t len = sizeof sockAddr;
        getpeername(sock, reinterpret_cast<sockaddr*>(&sockAddr), &len);
    }
    tcpInfo.sockConv = sock;
    connSide = TSM_CONN_ACCEPTOR;
    delete pdu;
    pdu = new DcPdu();
    pdu->attach(sock);
    artimStart();
    return setTimeoutInfo();
}

void DcTsm::closeSockConv()
{
    if (tcpInfo.sockConv != 0) {
        close(tcpInfo.sockConv);
        for (int slot = 0; slot < TSM_LISTEN_SLOTS; slot++) {
            if (DcScpSockListen[slot] == tcpInfo.sockListen) {
                DcScpListenRefCount[slot]--;
                break;
            }
        }
    }
    delete pdu;
    pdu = nullptr;
    tcpInfo.sockConv = 0;
    connSide = TSM_CONN_NONE;
    artimStop();
}

int DcTsm::setTimeoutInfo(DcTsmTimeoutInfo& newInfo)
{
    timeoutInfo = newInfo;
    return setTimeoutInfo();
}

int DcTsm::setTimeoutInfo()
{
    DcPduInfo pduInfo;
    pduInfo.maxPduLen = maxPduLen;
    pduInfo.readTimeout = timeoutInfo.readTimeout;
    pduInfo.writeTimeout = timeoutInfo.writeTimeout;
    if (pdu != nullptr)
        pdu->setInfo(pduInfo);
    if (tcpInfo.sockConv > 0) {
        setSocketTimeout(tcpInfo.sockConv, SO_RCVTIMEO, timeoutInfo.readTimeout);
        setSocketTimeout(tcpInfo.sockConv, SO_SNDTIMEO, timeoutInfo.writeTimeout);
    }
    return 0;
}

int DcTsm::getTimeoutInfo(DcTsmTimeoutInfo& out)
{
    out = timeoutInfo;
    return 0;
}

int DcTsm::getTcpInfo(DcTsmTcpInfo& out)
{
    out = tcpInfo;
    return 0;
}

int DcTsm::setTcpInfo(DcTsmTcpInfo in)
{
    tcpInfo = in;
    return 0;
}
