#ifndef BRENIK3_TESTS_NETWORK_NETTESTUTIL_H
#define BRENIK3_TESTS_NETWORK_NETTESTUTIL_H

#include <cstdio>
#include <string>
#include <vector>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "tests/foundation/LogCapture.h"

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
        ByteWriter w;
        w.u8(type).u8(0).u32(static_cast<unsigned int>(body.size())).raw(body);
        return w.bytes;
    }

    Bytes bytes;
};

// A connected pair of stream sockets: the library uses one end, the test the other.
class SocketPair {
public:
    SocketPair()
    {
        int fds[2] = {-1, -1};
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, fds) == 0) {
            lib = fds[0];
            peer = fds[1];
        }
    }
    ~SocketPair()
    {
        closeLib();
        closePeer();
    }
    SocketPair(const SocketPair&) = delete;
    SocketPair& operator=(const SocketPair&) = delete;

    void closePeer()
    {
        if (peer >= 0)
            close(peer);
        peer = -1;
    }
    void closeLib()
    {
        if (lib >= 0)
            close(lib);
        lib = -1;
    }
    bool send(const Bytes& data) const
    {
        size_t done = 0;
        while (done < data.size()) {
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
        for (;;) {
            struct pollfd pfd = {fd, POLLIN, 0};
            if (poll(&pfd, 1, millis) <= 0)
                break;
            ssize_t n = recv(fd, buf, sizeof buf, 0);
            if (n <= 0)
                break;
            out.insert(out.end(), buf, buf + n);
        }
        return out;
    }

    int lib = -1;
    int peer = -1;
};

#endif
