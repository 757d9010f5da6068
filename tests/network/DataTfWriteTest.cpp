#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include "dictionary/DcDict.h"
#include "message/DcCmdCEcho.h"
#include "message/DcCmdCStore.h"
#include "message/DcIod.h"
#include "tests/network/DataTfTestUtil.h"

namespace {

const unsigned int FRAGMENT = 64;                 // data bytes of a full PDV in these tests
const unsigned int MAX_PDU = FRAGMENT + 32;

// A PDU that sends a prepared element list.
class TfSender {
public:
    explicit TfSender(unsigned int maxPduLen = MAX_PDU, DICT_UID xfer = UID_LITTLE_ENDIAN_IMPLICIT)
    {
        pdu.attach(pair.lib);
        DcPduInfoTf info = tfInfo(maxPduLen, xfer);
        pdu.setInfo(info);
    }
    // Writes, closes the library end and returns what the peer received.
    Bytes send(int& status)
    {
        PeerDrain drain(pair.peer);
        status = pdu.write();
        pair.closeLib();
        return drain.wait();
    }

    SocketPair pair;
    DcIod pdu;
};

// A temporary file holding the given bytes, open for reading.
class TempFile {
public:
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

TEST(DataTfInfo, RejectsBadRecordsAndKeepsTheOldOne)
{
    DcPduDataTf pdu;
    DcPduInfoTf good = tfInfo(16384, UID_LITTLE_ENDIAN_EXPLICIT, 5);
    ASSERT_EQ(0, pdu.setInfo(good));

    DcPduInfoTf bad = good;
    bad.msgCtrlHdr = 4;
    EXPECT_EQ(PDU_DATA_TF_ERR, pdu.setInfo(bad));
    bad = good;
    bad.maxPduLen = 0;
    EXPECT_EQ(PDU_DATA_TF_ERR, pdu.setInfo(bad));
    bad = good;
    bad.xferSyn = UID_VERIFICATION;
    EXPECT_EQ(PDU_DATA_TF_ERR, pdu.setInfo(bad));

    DcPduInfoTf now;
    pdu.getInfo(now);
    EXPECT_EQ(5, now.presCtxId);
    EXPECT_EQ(UID_LITTLE_ENDIAN_EXPLICIT, now.xferSyn);
    EXPECT_EQ(16384u, now.maxPduLen);
}

TEST(DataTfWriteCommand, GoesOutAsOnePduMarkedCommandAndLast)
{
    SocketPair pair;
    DcCmdCEchoRq echo;
    echo.attach(pair.lib);
    DcPduInfoTf info = tfInfo(MAX_PDU, UID_LITTLE_ENDIAN_EXPLICIT, 3);
    ASSERT_EQ(0, echo.setInfo(info));
    echo.add(new DcElem(T_0000_0002_affectedSopClassUid, "1.2.840.10008.1.1"));
    echo.add(new DcElem(T_0000_0110_messageId, static_cast<unsigned short>(7)));

    PeerDrain drain(pair.peer);
    ASSERT_EQ(0, echo.write());
    pair.closeLib();

    // Command elements in Implicit VR Little Endian whatever the context's
    // syntax; the data set type says "no data set"; the command is longer
    // than the maximum PDU length and still travels whole.
    Bytes body = concat({implicitElem(0, 0x0002, concat({text("1.2.840.10008.1.1"), {0}})),
                         implicitElem(0, 0x0100, le16(0x0030)), implicitElem(0, 0x0110, le16(7)),
                         implicitElem(0, 0x0800, le16(0x0101))});
    Bytes command = concat({implicitElem(0, 0x0000, le32(unsigned(body.size()))), body});
    EXPECT_EQ(tfPdu(3, 3, command), drain.wait());
}

TEST(DataTfWriteCommand, KeepsItsElementsAfterSending)
{
    TfSender sender;
    DcCmdCEchoRq echo;
    echo.attach(sender.pair.lib);
    DcPduInfoTf info = tfInfo(MAX_PDU);
    echo.setInfo(info);
    echo.add(new DcElem(T_0000_0002_affectedSopClassUid, "1.2.840.10008.1.1"));
    PeerDrain drain(sender.pair.peer);
    ASSERT_EQ(0, echo.write());
    sender.pair.closeLib();
    drain.wait();
    // The message ID was completed, the data set type added, nothing lost.
    unsigned short value = 0;
    EXPECT_EQ(0, echo.getValue(T_0000_0110_messageId, value));
    EXPECT_EQ(0, echo.getValue(T_0000_0800_commandDataSetType, value));
    EXPECT_EQ(0x0101, value);
    EXPECT_EQ(0, echo.getElem(T_0000_0002_affectedSopClassUid, static_cast<DcElem**>(nullptr)));
}

TEST(DataTfWriteCommand, FailedCheckSendsNothing)
{
    SocketPair pair;
    DcCmdCStoreRq store;
    store.attach(pair.lib);
    DcPduInfoTf info = tfInfo(MAX_PDU);
    store.setInfo(info);
    LogCapture log;
    EXPECT_EQ(CMD_ERR_DATASET, store.write());
    EXPECT_TRUE(log.has("Dataset absent in Command"));
    pair.closeLib();
    EXPECT_TRUE(pair.received().empty());
}

TEST(DataTfWriteCommand, WithDataSetSendsCommandThenFragments)
{
    SocketPair pair;
    DcCmdCStoreRq store;
    store.attach(pair.lib);
    DcPduInfoTf info = tfInfo(MAX_PDU, UID_LITTLE_ENDIAN_IMPLICIT, 9);
    store.setInfo(info);
    store.add(new DcElem(T_0000_0002_affectedSopClassUid, "1.2"));
    store.add(new DcElem(T_0000_0110_messageId, static_cast<unsigned short>(1)));
    store.add(new DcElem(T_0000_0700_priority, static_cast<unsigned short>(0)));
    store.add(new DcElem(T_0000_1000_affectedSopInstanceUid, "1.2.3"));
    store.add(new DcElem(T_0010_0020_patientId, std::string(100, 'P').substr(0, 64).c_str()));

    PeerDrain drain(pair.peer);
    ASSERT_EQ(0, store.write());
    pair.closeLib();
    std::vector<Pdv> pdvs;
    ASSERT_TRUE(splitPdus(drain.wait(), pdvs));
    ASSERT_EQ(3u, pdvs.size());
    EXPECT_EQ(3, pdvs[0].msgCtrlHdr);
    EXPECT_EQ(0, pdvs[1].msgCtrlHdr);
    EXPECT_EQ(2, pdvs[2].msgCtrlHdr);
    for (const Pdv& pdv : pdvs)
        EXPECT_EQ(9, pdv.presCtxId);
    EXPECT_EQ(FRAGMENT, pdvs[1].data.size());
    EXPECT_EQ(implicitElem(0x0010, 0x0020, text(std::string(64, 'P'))),
              concat({pdvs[1].data, pdvs[2].data}));
    unsigned short type = 0;
    store.getValue(T_0000_0800_commandDataSetType, type);
    EXPECT_EQ(0x0102, type);
}

TEST(DataTfWriteData, ExactlyOneFragmentIsOnePduMarkedLast)
{
    TfSender sender;
    sender.pdu.add(new DcElem(T_0010_0020_patientId, std::string(56, 'A').c_str()));
    int status;
    Bytes wire = sender.send(status);
    ASSERT_EQ(0, status);
    EXPECT_EQ(tfPdu(1, 2, implicitElem(0x0010, 0x0020, text(std::string(56, 'A')))), wire);
}

TEST(DataTfWriteData, OneByteMoreAddsAOneBytePdvMarkedLast)
{
    TfSender sender;
    Bytes raw = pattern(57, 3);
    DcElem* lut = new DcElem(T_0028_1201_redPaletteColorLookupTableData);
    ASSERT_EQ(0, lut->addValue(raw.data(), unsigned(raw.size()), UID_LITTLE_ENDIAN_IMPLICIT));
    sender.pdu.add(lut);
    int status;
    Bytes wire = sender.send(status);
    ASSERT_EQ(0, status);
    Bytes encoded = implicitElem(0x0028, 0x1201, raw);
    ASSERT_EQ(FRAGMENT + 1, encoded.size());
    EXPECT_EQ(concat({tfPdu(1, 0, Bytes(encoded.begin(), encoded.begin() + FRAGMENT)),
                      tfPdu(1, 2, Bytes(encoded.begin() + FRAGMENT, encoded.end()))}),
              wire);
}

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

    // The elements before the pixels end in their own short PDV, not marked
    // last; the pixels follow in full fragments and a last short one.
    Bytes head = concat({implicitElem(0x0028, 0x0100, le16(16)), {0xE0, 0x7F, 0x10, 0x00}, le32(1000)});
    Bytes expected = tfPdu(1, 0, head);
    for (unsigned int at = 0; at < 1000; at += 256) {
        unsigned int n = std::min(256u, 1000 - at);
        expected = concat({expected, tfPdu(1, at + n == 1000 ? 2 : 0,
                                           Bytes(pixels.begin() + at, pixels.begin() + at + n))});
    }
    EXPECT_EQ(expected, wire);
}

TEST(DataTfWriteData, LargePixelFileNeverLoadsWhole)
{
    const off_t size = 192 << 20;
    TempFile file({});
    ASSERT_EQ(0, ftruncate(file.fd, size));
    SocketPair pair;
    DcIod pdu;
    pdu.attach(pair.lib);
    DcPduInfoTf info = tfInfo(65536);
    pdu.setInfo(info);
    pdu.add(new DcElem(T_7fe0_0010_pixelData, file.fd, 0, unsigned(size), UID_LITTLE_ENDIAN_IMPLICIT));

    size_t received = 0;
    std::thread reader([&] {
        unsigned char buf[65536];
        ssize_t n;
        while ((n = recv(pair.peer, buf, sizeof buf, 0)) > 0)
            received += size_t(n);
    });
    long before = peakRssKb();
    int status = pdu.write();
    long after = peakRssKb();
    pair.closeLib();
    reader.join();
    ASSERT_EQ(0, status);
    size_t pdus = (size_t(size) + 65536 - 32 - 1) / (65536 - 32) + 1;
    EXPECT_EQ(size_t(size) + 8 + pdus * 12, received);
    EXPECT_LT(after - before, 32 * 1024) << "peak RSS grew by " << (after - before) << " kB";
}

TEST(DataTfWriteData, ShortFileReportsTheReadError)
{
    TempFile file(pattern(10, 0));
    TfSender sender;
    sender.pdu.add(new DcElem(T_7fe0_0010_pixelData, file.fd, 0, 200u, UID_LITTLE_ENDIAN_IMPLICIT));
    LogCapture log;
    int status;
    sender.send(status);
    EXPECT_EQ(PDU_DATA_TF_ERR, status);
    EXPECT_TRUE(log.has("disk buffer read error, blkLen - 64, outLenCount - 0"));
}

TEST(DataTfWriteData, ClosedPeerGivesConnectionError)
{
    SocketPair pair;
    DcIod pdu;
    pdu.attach(pair.lib);
    DcPduInfoTf info = tfInfo(MAX_PDU);
    pdu.setInfo(info);
    pdu.add(new DcElem(T_0010_0020_patientId, "X"));
    pair.closePeer();
    EXPECT_EQ(PDU_ERR_CONNECTION, pdu.write());
}

TEST(DataTfWriteData, TinyMaximumLengthIsRefused)
{
    TfSender sender(32);
    sender.pdu.add(new DcElem(T_0010_0020_patientId, "X"));
    LogCapture log;
    int status;
    EXPECT_TRUE(sender.send(status).empty());
    EXPECT_EQ(PDU_DATA_TF_ERR, status);
}
