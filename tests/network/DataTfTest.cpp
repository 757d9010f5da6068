#include <gtest/gtest.h>

#include <cstring>
#include <thread>

#include "dictionary/DcDict.h"
#include "foundation/util.h"
#include "message/DcCmdCEcho.h"
#include "message/DcCmdCStore.h"
#include "message/DcIod.h"
#include "network/utilMoveElem.h"
#include "tests/network/NetTestUtil.h"

namespace {

const unsigned int FRAGMENT = 64;  // data bytes of a full PDV in these tests
const unsigned int MAX_PDU = FRAGMENT + 32;

// One PDV: context, control header, data.
struct Pdv {
    unsigned char presCtxId;
    unsigned char msgCtrlHdr;
    Bytes data;
};

// The body of a PDU with the given PDVs, as read after its type bytes.
Bytes pduBody(std::initializer_list<Pdv> pdvs)
{
    ByteWriter items;
    for (const Pdv& pdv : pdvs)
        items.u32(unsigned(pdv.data.size()) + 2).u8(pdv.presCtxId).u8(pdv.msgCtrlHdr).raw(pdv.data);
    return ByteWriter().u32(unsigned(items.bytes.size())).raw(items.bytes).bytes;
}

// Splits a stream of P-DATA-TF PDUs into their PDVs; false on a malformed stream.
bool splitPdus(const Bytes& stream, std::vector<Pdv>& pdvs)
{
    auto be32 = [&stream](size_t at) {
        return (size_t(stream[at]) << 24) | (size_t(stream[at + 1]) << 16) | (size_t(stream[at + 2]) << 8) |
               stream[at + 3];
    };
    for (size_t at = 0; at < stream.size();) {
        if (stream.size() - at < 6 || stream[at] != 4)
            return false;
        size_t end = at + 6 + be32(at + 2);
        if (end > stream.size())
            return false;
        for (at += 6; at < end; at += 4 + be32(at)) {
            size_t pdvLen = be32(at);
            if (pdvLen < 2 || at + 4 + pdvLen > end)
                return false;
            pdvs.push_back({stream[at + 4], stream[at + 5],
                            Bytes(stream.begin() + long(at + 6), stream.begin() + long(at + 4 + pdvLen))});
        }
    }
    return true;
}

// A P-DATA-TF PDU reading from the library end, with a short read time-out.
struct TfReader {
    explicit TfReader(unsigned int readTimeout = 2) : pdu(pair.lib)
    {
        DcPduInfo limits;
        limits.readTimeout = readTimeout;
        pdu.setInfo(limits);
    }
    static Bytes fragment(DcBuf* buf)
    {
        const unsigned char* p = static_cast<const unsigned char*>(buf->getBuf());
        return Bytes(p, p + buf->getLen());
    }

    SocketPair pair;
    DcPduDataTf pdu;
};

// Writes a message from the library end and returns everything the peer
// received, read on a thread of its own so that large writes do not block.
template <typename Message>
Bytes sendAll(SocketPair& pair, Message& msg, int& status)
{
    Bytes bytes;
    std::thread drain([&] { bytes = SocketPair::drain(pair.peer, 2000); });
    status = msg.write();
    pair.closeLib();
    drain.join();
    return bytes;
}

// A data set PDU with the given limit on the library end of a pair.
struct TfSender {
    explicit TfSender(unsigned int maxPduLen = MAX_PDU)
    {
        pdu.attach(pair.lib);
        DcPduInfoTf info = tfInfo(maxPduLen);
        pdu.setInfo(info);
    }
    Bytes send(int& status) { return sendAll(pair, pdu, status); }

    SocketPair pair;
    DcIod pdu;
};

// A temporary file holding the given bytes, open for reading.
struct TempFile {
    explicit TempFile(const Bytes& content)
    {
        char name[] = "/tmp/brenik3_tf_XXXXXX";
        fd = mkstemp(name);
        path = name;
        if (!content.empty() && ::write(fd, content.data(), content.size()) != ssize_t(content.size()))
            ADD_FAILURE() << "short write to " << path;
    }
    ~TempFile()
    {
        close(fd);
        unlink(path.c_str());
    }
    int fd;
    std::string path;
};

Bytes pattern(size_t n, unsigned int seed)
{
    Bytes out(n);
    for (size_t i = 0; i < n; i++)
        out[i] = static_cast<unsigned char>((i * 7 + seed) & 0xFF);
    return out;
}

long peakRssKb()
{
    struct rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;
}

}

TEST(DataTfRead, TwoPdvsGiveTwoBuffersTheLastHeaderAndADumpCopy)
{
    TfReader reader;
    TempFile dump({});
    reader.pair.send(pduBody({{1, 0, {1, 2, 3}}, {7, 2, {4, 5}}}));
    ASSERT_EQ(0, reader.pdu.read(dump.fd, PDU_WAIT));
    ASSERT_NE(nullptr, reader.pdu.firstBuf());
    EXPECT_EQ(Bytes({1, 2, 3}), reader.fragment(reader.pdu.firstBuf()));
    EXPECT_EQ(Bytes({4, 5}), reader.fragment(reader.pdu.lastBuf()));
    EXPECT_EQ(1, reader.pdu.index(reader.pdu.lastBuf()));
    DcPduInfoTf info;
    reader.pdu.getInfo(info);
    EXPECT_EQ(7, info.presCtxId);
    EXPECT_EQ(2, info.msgCtrlHdr);
    unsigned int size = 0;
    reader.pdu.getBufSize(size);
    EXPECT_EQ(5u, size);
    unsigned char copy[8];
    EXPECT_EQ(5, pread(dump.fd, copy, sizeof copy, 0));
    EXPECT_EQ(0, memcmp(copy, "\x01\x02\x03\x04\x05", 5));
}

// A PDV too short for its header leaves the next PDU unread.
TEST(DataTfRead, PdvLengthOutsideItsPduIsRejected)
{
    const Bytes cases[] = {ByteWriter().u32(10).u32(9).u8(1).u8(2).fill(4, 0).bytes,
                           ByteWriter().u32(6).u32(1).u8(1).u8(2).bytes,
                           ByteWriter().u32(3).fill(3, 0).u8(4).u8(0).bytes};
    for (const Bytes& bytes : cases) {
        SCOPED_TRACE(bytes.size());
        TfReader reader;
        reader.pair.send(bytes);
        LogCapture log;
        EXPECT_EQ(PDU_DATA_TF_ERR, reader.pdu.read(-1, PDU_WAIT));
        EXPECT_EQ(nullptr, reader.pdu.firstBuf());
        EXPECT_EQ(1u, log.entries.size());
        unsigned char next[2];
        EXPECT_TRUE(bytes.size() != 9 || recv(reader.pair.lib, next, 2, MSG_DONTWAIT) == 2) << "next PDU consumed";
    }
    TfReader reader;
    reader.pair.send(cases[0]);
    LogCapture log;
    reader.pdu.read(-1, PDU_WAIT);
    const LogCapture::Entry* entry = log.find("pdv length 0x9 (9) exceeds pdu length 0xa (10)");
    ASSERT_NE(nullptr, entry);
    EXPECT_EQ(LOG_CHANNEL_2, entry->channel);
    EXPECT_EQ("DcPduDataTf::read", entry->function);
}

TEST(DataTfRead, PeerClosingMidPduKeepsTheFragmentsReadSoFar)
{
    for (bool gathered : {false, true}) {
        TfReader reader;
        if (gathered)
            reader.pdu.gatherInto(nullptr);
        Bytes body = pduBody({{1, 0, {1, 2}}, {1, 2, Bytes(100, 5)}});
        body.resize(body.size() - 40);
        reader.pair.send(body);
        reader.pair.closePeer();
        EXPECT_EQ(PDU_DATA_TF_ERR, reader.pdu.read(-1, PDU_WAIT));
        ASSERT_NE(nullptr, reader.pdu.firstBuf());
        EXPECT_EQ(reader.pdu.firstBuf(), reader.pdu.lastBuf());
        EXPECT_EQ(Bytes({1, 2}), reader.fragment(reader.pdu.firstBuf())) << "gathered " << gathered;
    }
}

TEST(DataTfRead, NothingWaitingFailsAtOnceAndSilentPeerTimesOut)
{
    TfReader reader(1);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(PDU_DATA_TF_ERR, reader.pdu.read(-1, PDU_NO_WAIT));
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 0.9);
    reader.pair.send({0, 0, 0, 20, 0, 0});
    start = std::chrono::steady_clock::now();
    EXPECT_EQ(PDU_DATA_TF_ERR, reader.pdu.read(-1, PDU_WAIT));
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_GE(seconds, 0.9);
    EXPECT_LT(seconds, 5.0);
}

TEST(DataTfRead, HugeClaimedLengthCostsOnlyWhatArrives)
{
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the address space cannot be capped under the address sanitizer";
#else
    for (bool gathered : {false, true}) {
        TfReader reader;
        if (gathered)
            reader.pdu.gatherInto(nullptr);
        Bytes data = ByteWriter().u32(0xFFFFFFF0).u32(0xFFFFFFEA).u8(1).u8(2).fill(200000, 1).bytes;
        std::thread sender([&] {
            reader.pair.send(data);
            reader.pair.closePeer();
        });
        int status = 0;
        withCappedAddressSpace([&] { status = reader.pdu.read(-1, PDU_WAIT); });
        sender.join();
        EXPECT_EQ(PDU_DATA_TF_ERR, status) << "gathered " << gathered;
        unsigned char rest;
        EXPECT_EQ(0, recv(reader.pair.lib, &rest, 1, MSG_DONTWAIT)) << "bytes left unread, gathered " << gathered;
    }
#endif
}

// A message received in memory: the PDVs of several PDUs, some of them
// empty, end up in order in one block of the first PDU, ready to parse.
TEST(DataTfRead, GatheredPdvsOfSeveralPdusFormOneBlock)
{
    TfReader reader;
    DcPduDataTf next(reader.pair.lib);
    DcPduInfo limits;
    limits.readTimeout = 2;
    next.setInfo(limits);
    reader.pdu.gatherInto(nullptr);
    next.gatherInto(&reader.pdu);
    Bytes encoded = concat({implicitElem(0x0010, 0x0020, text("ID42")), implicitElem(0x0028, 0x0100, le16(8)),
                            implicitElem(0x0009, 0x0010, pattern(3 << 20, 3))});
    size_t cut = 9;
    reader.pair.send(pduBody({{1, 0, Bytes(encoded.begin(), encoded.begin() + long(cut))}, {1, 0, {}}}));
    std::thread sender([&] {
        for (size_t at = cut; at < encoded.size(); at += 1 << 20) {
            size_t n = std::min<size_t>(1 << 20, encoded.size() - at);
            Bytes piece(encoded.begin() + long(at), encoded.begin() + long(at + n));
            unsigned char mch = at + n == encoded.size() ? 2 : 0;
            reader.pair.send(pduBody({{1, mch, piece}}));
        }
    });
    ASSERT_EQ(0, reader.pdu.read(-1, PDU_WAIT));
    for (size_t at = cut; at < encoded.size(); at += 1 << 20)
        ASSERT_EQ(0, next.read(-1, PDU_WAIT));
    sender.join();
    EXPECT_EQ(nullptr, next.firstBuf());
    ASSERT_NE(nullptr, reader.pdu.firstBuf());
    EXPECT_EQ(reader.pdu.firstBuf(), reader.pdu.lastBuf());
    EXPECT_TRUE(encoded == TfReader::fragment(reader.pdu.firstBuf()));

    ASSERT_EQ(0, reader.pdu.parse(UID_LITTLE_ENDIAN_IMPLICIT));
    char id[65] = "";
    EXPECT_EQ(0, reader.pdu.getValue(T_0010_0020_patientId, id, 64));
    EXPECT_STREQ("ID42", id);
}

TEST(DataTfParse, JoinsFragmentsIntoElements)
{
    DcPduDataTf pdu;
    EXPECT_EQ(0, pdu.parse(UID_LITTLE_ENDIAN_IMPLICIT)) << "no fragments, nothing to do";
    Bytes encoded = concat({implicitElem(0x0010, 0x0020, text("ID42")), implicitElem(0x0028, 0x0100, le16(8))});
    for (size_t at = 0; at < encoded.size(); at += 5) {
        size_t n = std::min<size_t>(5, encoded.size() - at);
        unsigned char* piece = static_cast<unsigned char*>(malloc(n));
        memcpy(piece, encoded.data() + at, n);
        pdu.add(new DcBuf(piece, unsigned(n), UID_LITTLE_ENDIAN_IMPLICIT));
    }
    ASSERT_EQ(0, pdu.parse(UID_LITTLE_ENDIAN_IMPLICIT));
    char id[65] = "";
    EXPECT_EQ(0, pdu.getValue(T_0010_0020_patientId, id, 64));
    EXPECT_STREQ("ID42", id);
    unsigned short bits = 0;
    EXPECT_EQ(0, pdu.getValue(T_0028_0100_bitsAllocated, bits));
    EXPECT_EQ(8, bits);
}

// The transport leaves pixel data that it streamed to a file as a disk
// buffer at the end of the fragments; it becomes the Pixel Data value, still
// on disk, whether the Pixel Data header was kept or dropped.
TEST(DataTfParse, DiskFragmentBecomesPixelDataOnDisk)
{
    for (bool headerKept : {false, true}) {
        SCOPED_TRACE(headerKept);
        TempFile pixels(Bytes(300, 0x3C));
        DcPduDataTf pdu;
        Bytes head = implicitElem(0x0028, 0x0100, le16(16));
        if (headerKept)
            head = concat({head, {0xE0, 0x7F, 0x10, 0x00}, le32(300)});
        unsigned char* mem = static_cast<unsigned char*>(malloc(head.size()));
        memcpy(mem, head.data(), head.size());
        pdu.add(new DcBuf(mem, unsigned(head.size()), UID_LITTLE_ENDIAN_IMPLICIT));
        int given = dup(pixels.fd);  // the fragment owns its handle
        pdu.add(new DcBuf(given, 0, 300, UID_LITTLE_ENDIAN_IMPLICIT));

        ASSERT_EQ(0, pdu.parse(UID_LITTLE_ENDIAN_IMPLICIT));
        DcBuf value;
        ASSERT_EQ(0, pdu.getValue(T_7fe0_0010_pixelData, value));
        EXPECT_EQ(BUF_DISK, value.getType());
        EXPECT_EQ(300u, value.getLen());
        EXPECT_NE(given, value.getHandle()) << "the element holds its own handle";
        unsigned short bits = 0;
        EXPECT_EQ(0, pdu.getValue(T_0028_0100_bitsAllocated, bits));
        EXPECT_EQ(16, bits);
    }
}

TEST(DataTfInfo, RejectsBadRecordsAndKeepsTheOldOne)
{
    DcPduDataTf pdu;
    DcPduInfoTf good = tfInfo(16384, UID_LITTLE_ENDIAN_EXPLICIT, 5), now;
    ASSERT_EQ(0, pdu.setInfo(good));
    DcPduInfoTf bad[3] = {good, good, good};
    bad[0].msgCtrlHdr = 4;
    bad[1].maxPduLen = 0;
    bad[2].xferSyn = UID_VERIFICATION;
    for (DcPduInfoTf& info : bad)
        EXPECT_EQ(PDU_DATA_TF_ERR, pdu.setInfo(info));
    pdu.getInfo(now);
    EXPECT_EQ(5, now.presCtxId);
    EXPECT_EQ(UID_LITTLE_ENDIAN_EXPLICIT, now.xferSyn);
    EXPECT_EQ(16384u, now.maxPduLen);
}

// Command elements go in Implicit VR Little Endian whatever the context's
// syntax, in one PDU even above the maximum length; the message ID and the
// data set type are completed and the command keeps its elements.
TEST(DataTfWriteCommand, GoesOutWholeInOnePduMarkedCommandAndLast)
{
    SocketPair pair;
    DcCmdCEchoRq echo;
    echo.attach(pair.lib);
    DcPduInfoTf info = tfInfo(MAX_PDU, UID_LITTLE_ENDIAN_EXPLICIT, 3);
    ASSERT_EQ(0, echo.setInfo(info));
    echo.add(new DcElem(T_0000_0002_affectedSopClassUid, "1.2.840.10008.1.1"));
    echo.add(new DcElem(T_0000_0110_messageId, static_cast<unsigned short>(7)));
    int status;
    Bytes wire = sendAll(pair, echo, status);
    ASSERT_EQ(0, status);

    Bytes body = concat({implicitElem(0, 0x0002, concat({text("1.2.840.10008.1.1"), {0}})),
                         implicitElem(0, 0x0100, le16(0x0030)), implicitElem(0, 0x0110, le16(7)),
                         implicitElem(0, 0x0800, le16(0x0101))});
    EXPECT_EQ(tfPdu(3, 3, concat({implicitElem(0, 0x0000, le32(unsigned(body.size()))), body})), wire);
    unsigned short value = 0;
    EXPECT_EQ(0, echo.getValue(T_0000_0800_commandDataSetType, value));
    EXPECT_EQ(0x0101, value);
    EXPECT_EQ(0, echo.getElem(T_0000_0002_affectedSopClassUid, static_cast<DcElem**>(nullptr)));
}

// A store command without its data set fails its check and sends nothing;
// with one, the command goes first and the data set follows in fragments.
TEST(DataTfWriteCommand, StoreSendsNothingWithoutDataSetAndCommandThenFragmentsWithOne)
{
    for (bool withDataSet : {false, true}) {
        SCOPED_TRACE(withDataSet);
        SocketPair pair;
        DcCmdCStoreRq store;
        store.attach(pair.lib);
        DcPduInfoTf info = tfInfo(MAX_PDU, UID_LITTLE_ENDIAN_IMPLICIT, 9);
        store.setInfo(info);
        LogCapture log;
        int status;
        if (!withDataSet) {
            EXPECT_TRUE(sendAll(pair, store, status).empty());
            EXPECT_EQ(CMD_ERR_DATASET, status);
            EXPECT_TRUE(log.has("Dataset absent in Command"));
            continue;
        }
        store.add(new DcElem(T_0000_0002_affectedSopClassUid, "1.2"));
        store.add(new DcElem(T_0000_0110_messageId, static_cast<unsigned short>(1)));
        store.add(new DcElem(T_0000_0700_priority, static_cast<unsigned short>(0)));
        store.add(new DcElem(T_0000_1000_affectedSopInstanceUid, "1.2.3"));
        store.add(new DcElem(T_0010_0020_patientId, std::string(64, 'P').c_str()));
        std::vector<Pdv> pdvs;
        ASSERT_TRUE(splitPdus(sendAll(pair, store, status), pdvs));
        ASSERT_EQ(0, status);
        ASSERT_EQ(3u, pdvs.size());
        const int headers[3] = {3, 0, 2};
        for (int i = 0; i < 3; i++) {
            EXPECT_EQ(headers[i], pdvs[i].msgCtrlHdr);
            EXPECT_EQ(9, pdvs[i].presCtxId);
        }
        EXPECT_EQ(FRAGMENT, pdvs[1].data.size());
        EXPECT_EQ(implicitElem(0x0010, 0x0020, text(std::string(64, 'P'))), concat({pdvs[1].data, pdvs[2].data}));
        unsigned short type = 0;
        store.getValue(T_0000_0800_commandDataSetType, type);
        EXPECT_EQ(0x0102, type);
    }
}

// Exactly one fragment is one PDU marked last; one byte more adds a
// one-byte PDV marked last.
TEST(DataTfWriteData, FragmentBoundaryIsExact)
{
    TfSender exact;
    exact.pdu.add(new DcElem(T_0010_0020_patientId, std::string(56, 'A').c_str()));
    int status;
    EXPECT_EQ(tfPdu(1, 2, implicitElem(0x0010, 0x0020, text(std::string(56, 'A')))), exact.send(status));
    ASSERT_EQ(0, status);

    TfSender oneMore;
    Bytes raw = pattern(57, 3);
    DcElem* lut = new DcElem(T_0028_1201_redPaletteColorLookupTableData);
    ASSERT_EQ(0, lut->addValue(raw.data(), unsigned(raw.size()), UID_LITTLE_ENDIAN_IMPLICIT));
    oneMore.pdu.add(lut);
    Bytes wire = oneMore.send(status);
    ASSERT_EQ(0, status);
    Bytes encoded = implicitElem(0x0028, 0x1201, raw);
    ASSERT_EQ(FRAGMENT + 1, encoded.size());
    EXPECT_EQ(concat({tfPdu(1, 0, Bytes(encoded.begin(), encoded.begin() + FRAGMENT)),
                      tfPdu(1, 2, Bytes(encoded.begin() + FRAGMENT, encoded.end()))}),
              wire);
}

// The elements before the pixels end in their own short PDV, not marked
// last; the pixels follow in full fragments and a last short one.
TEST(DataTfWriteData, PixelDataOnDiskIsStreamedFromItsFile)
{
    Bytes pixels = pattern(1000, 11);
    TempFile file(concat({Bytes(100, 0xEE), pixels}));
    TfSender sender(256 + 32);
    sender.pdu.add(new DcElem(T_0028_0100_bitsAllocated, static_cast<unsigned short>(16)));
    sender.pdu.add(new DcElem(T_7fe0_0010_pixelData, file.fd, 100, 1000u, UID_LITTLE_ENDIAN_IMPLICIT));
    int status;
    Bytes wire = sender.send(status);
    ASSERT_EQ(0, status);
    Bytes expected =
        tfPdu(1, 0, concat({implicitElem(0x0028, 0x0100, le16(16)), {0xE0, 0x7F, 0x10, 0x00}, le32(1000)}));
    for (unsigned int at = 0; at < 1000; at += 256) {
        unsigned int n = std::min(256u, 1000 - at);
        expected = concat({expected, tfPdu(1, at + n == 1000 ? 2 : 0, Bytes(pixels.begin() + at, pixels.begin() + at + n))});
    }
    EXPECT_EQ(expected, wire);
}

TEST(DataTfWriteData, LargePixelFileNeverLoadsWhole)
{
    const off_t size = 192 << 20;
    TempFile file({});
    ASSERT_EQ(0, ftruncate(file.fd, size));
    TfSender sender(65536);
    sender.pdu.add(new DcElem(T_7fe0_0010_pixelData, file.fd, 0, unsigned(size), UID_LITTLE_ENDIAN_IMPLICIT));
    size_t received = 0;
    std::thread reader([&] {
        unsigned char buf[65536];
        ssize_t n;
        while ((n = recv(sender.pair.peer, buf, sizeof buf, 0)) > 0)
            received += size_t(n);
    });
    long before = peakRssKb();
    int status = sender.pdu.write();
    long after = peakRssKb();
    sender.pair.closeLib();
    reader.join();
    ASSERT_EQ(0, status);
    size_t pdus = (size_t(size) + 65536 - 32 - 1) / (65536 - 32) + 1;
    EXPECT_EQ(size_t(size) + 8 + pdus * 12, received);
    EXPECT_LT(after - before, 32 * 1024) << "peak RSS grew by " << (after - before) << " kB";
}

TEST(DataTfWriteData, ShortFileClosedPeerAndTinyLimitFail)
{
    TempFile file(pattern(10, 0));
    TfSender shortFile;
    shortFile.pdu.add(new DcElem(T_7fe0_0010_pixelData, file.fd, 0, 200u, UID_LITTLE_ENDIAN_IMPLICIT));
    LogCapture log;
    int status;
    shortFile.send(status);
    EXPECT_EQ(PDU_DATA_TF_ERR, status);
    EXPECT_TRUE(log.has("disk buffer read error, blkLen - 64, outLenCount - 0"));

    // A file that ends after some whole fragments: those go out, and the
    // failure names the first fragment that could not be read.
    Bytes content = pattern(200, 0);
    TempFile partFile(content);
    TfSender partly;
    partly.pdu.add(new DcElem(T_7fe0_0010_pixelData, partFile.fd, 0, 400u, UID_LITTLE_ENDIAN_IMPLICIT));
    std::vector<Pdv> pdvs;
    ASSERT_TRUE(splitPdus(partly.send(status), pdvs));
    EXPECT_EQ(PDU_DATA_TF_ERR, status);
    EXPECT_TRUE(log.has("disk buffer read error, blkLen - 64, outLenCount - 192"));
    ASSERT_EQ(4u, pdvs.size()) << "the header and three whole fragments";
    EXPECT_EQ(Bytes(content.begin() + 128, content.begin() + 192), pdvs[3].data);

    TfSender closed;
    closed.pdu.add(new DcElem(T_0010_0020_patientId, "X"));
    closed.pair.closePeer();
    EXPECT_EQ(PDU_ERR_CONNECTION, closed.pdu.write());

    TfSender tiny(32);
    tiny.pdu.add(new DcElem(T_0010_0020_patientId, "X"));
    EXPECT_TRUE(tiny.send(status).empty());
    EXPECT_EQ(PDU_DATA_TF_ERR, status);
}

TEST(UtilMoveElem, DataSetIntoPduAndBack)
{
    DcElemList set;
    set.add(new DcElem(T_0010_0020_patientId, "A"));
    set.add(new DcElem(T_0028_0100_bitsAllocated, static_cast<unsigned short>(8)));
    DcPduDataTf pdu;
    pdu.getElemList()->add(new DcElem(T_0010_0020_patientId, "OLD"));

    LogCapture log;
    ASSERT_EQ(0, utilMoveElem(&set, &pdu));
    EXPECT_EQ(nullptr, set.first());
    char id[65] = "";
    EXPECT_EQ(0, pdu.getValue(T_0010_0020_patientId, id, 64));
    EXPECT_STREQ("A", id);
    EXPECT_TRUE(log.has("Element (0010,0020) added again, previous instance deleted"));
    DcElemList back;
    ASSERT_EQ(0, utilMoveElem(&pdu, &back));
    EXPECT_EQ(nullptr, pdu.getElemList()->first());
    EXPECT_EQ(2, back.count());
    EXPECT_EQ(UTIL_ERR_NULL_ARG, utilMoveElem(static_cast<DcElemList*>(nullptr), &pdu));
    EXPECT_EQ(UTIL_ERR_NULL_ARG, utilMoveElem(&set, static_cast<DcPduDataTf*>(nullptr)));
    EXPECT_TRUE(log.has("utilMoveElem", "Null argument passed"));
}
