#include "common/Proposals.h"

#include <cerrno>
#include <chrono>
#include <algorithm>
#include <cstdint>

#include <poll.h>
#include <sys/socket.h>

namespace b3tool {

namespace {

const size_t PEEK_LIMIT = 256 * 1024;

uint32_t be32(const unsigned char* p)
{
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | p[3];
}

uint16_t be16(const unsigned char* p)
{
    return static_cast<uint16_t>((p[0] << 8) | p[1]);
}

std::string uidOf(const unsigned char* p, size_t len)
{
    std::string uid(reinterpret_cast<const char*>(p), len);
    while (!uid.empty() && (uid.back() == '\0' || uid.back() == ' '))
        uid.pop_back();
    return uid;
}

Proposal parseContext(const unsigned char* p, size_t len)
{
    Proposal proposal;
    for (size_t at = 8; at + 4 <= len;) {
        unsigned int type = p[at];
        size_t itemLen = be16(p + at + 2);
        if (at + 4 + itemLen > len)
            break;
        if (type == 0x30)
            proposal.sopClass = uidOf(p + at + 4, itemLen);
        else if (type == 0x40)
            proposal.syntaxes.push_back(uidOf(p + at + 4, itemLen));
        at += 4 + itemLen;
    }
    return proposal;
}

}

std::vector<Proposal> peekProposals(int sock, int timeoutSeconds)
{
    std::vector<Proposal> proposals;
    std::vector<unsigned char> buf(PEEK_LIMIT);
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
    size_t have = 0;
    size_t want = 6;
    while (have < want) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
        if (left.count() <= 0)
            return proposals;
        pollfd p = {sock, POLLIN | POLLRDHUP, 0};
        int ready = poll(&p, 1, static_cast<int>(left.count()));
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0)
            return proposals;
        ssize_t got = recv(sock, buf.data(), want, MSG_PEEK | MSG_DONTWAIT);
        if (got == 0 || (got < 0 && errno != EAGAIN && errno != EINTR))
            return proposals;
        if (got < 0)
            continue;
        if (static_cast<size_t>(got) == have) {
            // Nothing new since the last look: a caller that has gone will
            // send no more; otherwise let the bytes come.
            if ((p.revents & (POLLRDHUP | POLLHUP | POLLERR)) != 0)
                return proposals;
            poll(nullptr, 0, 5);
            continue;
        }
        have = static_cast<size_t>(got);
        if (have >= 6 && want == 6) {
            if (buf[0] != 0x01)
                return proposals;
            want = std::min<size_t>(PEEK_LIMIT, 6 + size_t(be32(buf.data() + 2)));
        }
    }
    // Fixed part: header 6, version 2, reserved 2, titles 32, reserved 32.
    const unsigned char* pdu = buf.data();
    for (size_t at = 74; at + 4 <= have;) {
        unsigned int type = pdu[at];
        size_t itemLen = be16(pdu + at + 2);
        if (at + 4 + itemLen > have)
            break;
        if (type == 0x20)
            proposals.push_back(parseContext(pdu + at, 4 + itemLen));
        at += 4 + itemLen;
    }
    return proposals;
}

}
