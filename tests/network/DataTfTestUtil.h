#ifndef BRENIK3_TESTS_NETWORK_DATATFTESTUTIL_H
#define BRENIK3_TESTS_NETWORK_DATATFTESTUTIL_H

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include <poll.h>
#include <sys/socket.h>

#include "network/DcPduDataTf.h"
#include "tests/network/NetTestUtil.h"

// Transfer information for the tests: context 1, the given syntax and limit.
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

// One element in Implicit VR Little Endian: tag, 4-byte length, value.
inline Bytes implicitElem(unsigned int group, unsigned int element, const Bytes& value)
{
    Bytes out = {static_cast<unsigned char>(group), static_cast<unsigned char>(group >> 8),
                 static_cast<unsigned char>(element), static_cast<unsigned char>(element >> 8)};
    unsigned int len = static_cast<unsigned int>(value.size());
    for (int i = 0; i < 4; i++)
        out.push_back(static_cast<unsigned char>(len >> (8 * i)));
    out.insert(out.end(), value.begin(), value.end());
    return out;
}

inline Bytes le16(unsigned int v)
{
    return {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8)};
}

inline Bytes le32(unsigned int v)
{
    return {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8), static_cast<unsigned char>(v >> 16),
            static_cast<unsigned char>(v >> 24)};
}

inline Bytes text(const std::string& s)
{
    return Bytes(s.begin(), s.end());
}

inline Bytes concat(std::initializer_list<Bytes> parts)
{
    Bytes out;
    for (const Bytes& part : parts)
        out.insert(out.end(), part.begin(), part.end());
    return out;
}

// One P-DATA-TF PDU with one PDV, framed by hand.
inline Bytes tfPdu(unsigned char presCtxId, unsigned char msgCtrlHdr, const Bytes& fragment)
{
    ByteWriter w;
    w.u8(4).u8(0).u32(static_cast<unsigned int>(fragment.size()) + 6);
    w.u32(static_cast<unsigned int>(fragment.size()) + 2).u8(presCtxId).u8(msgCtrlHdr).raw(fragment);
    return w.bytes;
}

// One PDV as it stands in a PDU split from a byte stream.
struct Pdv {
    unsigned char presCtxId;
    unsigned char msgCtrlHdr;
    Bytes data;
};

// Splits a stream of P-DATA-TF PDUs into their PDVs; false on a malformed stream.
inline bool splitPdus(const Bytes& stream, std::vector<Pdv>& pdvs)
{
    size_t at = 0;
    while (at < stream.size()) {
        if (stream.size() - at < 6 || stream[at] != 4)
            return false;
        size_t pduLen = (size_t(stream[at + 2]) << 24) | (size_t(stream[at + 3]) << 16) |
                        (size_t(stream[at + 4]) << 8) | stream[at + 5];
        size_t end = at + 6 + pduLen;
        if (end > stream.size())
            return false;
        at += 6;
        while (at < end) {
            size_t pdvLen = (size_t(stream[at]) << 24) | (size_t(stream[at + 1]) << 16) |
                            (size_t(stream[at + 2]) << 8) | stream[at + 3];
            if (pdvLen < 2 || at + 4 + pdvLen > end)
                return false;
            pdvs.push_back({stream[at + 4], stream[at + 5], Bytes(stream.begin() + long(at + 6),
                                                                    stream.begin() + long(at + 4 + pdvLen))});
            at += 4 + pdvLen;
        }
    }
    return true;
}

// Reads everything the library end sends until it closes or falls silent,
// on a thread of its own so that large writes do not block.
class PeerDrain {
public:
    explicit PeerDrain(int fd, int silenceMillis = 2000)
        : worker([this, fd, silenceMillis] { bytes = SocketPair::drain(fd, silenceMillis); })
    {
    }
    ~PeerDrain()
    {
        if (worker.joinable())
            worker.join();
    }
    const Bytes& wait()
    {
        if (worker.joinable())
            worker.join();
        return bytes;
    }

private:
    Bytes bytes;
    std::thread worker;
};

#endif
