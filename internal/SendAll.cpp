#include "internal/SendAll.h"

#include <cerrno>
#include <climits>

#include <poll.h>
#include <sys/socket.h>

#include "network/DcPdu.h"

namespace brenik3 {

namespace {

int toMillis(unsigned int seconds)
{
    return seconds > unsigned(INT_MAX / 1000) ? INT_MAX : int(seconds * 1000);
}

// Waits until the socket takes more bytes; false on time-out or failure.
bool waitWritable(int sock, unsigned int seconds)
{
    struct pollfd pfd = {sock, POLLOUT, 0};
    int ready;
    do {
        ready = poll(&pfd, 1, toMillis(seconds));
    } while (ready < 0 && errno == EINTR);
    return ready > 0 && (pfd.revents & POLLOUT) != 0;
}

}

bool pduMutexWaitTimeoutAsMillis(unsigned int timeout)
{
    return pduMutexWait(timeout);
}

bool sendAll(int sock, struct iovec* iov, int count, unsigned int writeTimeoutSeconds)
{
    if (sock <= 0)
        return false;
    struct msghdr msg = {};
    msg.msg_iov = iov;
    msg.msg_iovlen = static_cast<size_t>(count);
    while (msg.msg_iovlen > 0 && msg.msg_iov->iov_len == 0) {
        msg.msg_iov++;
        msg.msg_iovlen--;
    }
    while (msg.msg_iovlen > 0) {
        bool obtained = pduMutexWaitTimeoutAsMillis(writeTimeoutSeconds);
        ssize_t sent = sendmsg(sock, &msg, MSG_NOSIGNAL | MSG_DONTWAIT);
        int error = errno;
        pduMutexRelease(obtained);
        if (sent < 0 && error == EINTR)
            continue;
        if (sent < 0 && (error == EAGAIN || error == EWOULDBLOCK)) {
            if (!waitWritable(sock, writeTimeoutSeconds))
                return false;
            continue;
        }
        if (sent < 1)
            return false;
        size_t left = static_cast<size_t>(sent);
        while (msg.msg_iovlen > 0 && left >= msg.msg_iov->iov_len) {
            left -= msg.msg_iov->iov_len;
            msg.msg_iov++;
            msg.msg_iovlen--;
        }
        if (msg.msg_iovlen > 0) {
            msg.msg_iov->iov_base = static_cast<char*>(msg.msg_iov->iov_base) + left;
            msg.msg_iov->iov_len -= left;
        }
    }
    return true;
}

bool sendAll(int sock, const void* data, size_t len, unsigned int writeTimeoutSeconds)
{
    struct iovec iov = {const_cast<void*>(data), len};
    return sendAll(sock, &iov, 1, writeTimeoutSeconds);
}

}
