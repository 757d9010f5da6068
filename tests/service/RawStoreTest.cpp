// The bit-preserving store's pieces on their own: the element picker over
// encoded bytes in any slicing, the store's handling of a failing disk, and
// reading where a file's data set begins.
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "dataset/DcElem.h"
#include "dataset/DcElemList.h"
#include "dictionary/DcDict.h"
#include "media/dirFile.h"
#include "service/DcMsmRawStore.h"

namespace {

using Bytes = std::vector<unsigned char>;
const uint32_t STUDY = 0x0020000D;
const uint32_t INSTANCE = 0x00080018;

// Encodes elements by hand, so that the picker is checked against bytes
// that no encoder of the library produced.
class Encoder {
public:
    Encoder(bool explicitVr, bool big) : vrs(explicitVr), bigEndian(big) {}

    Encoder& tag(uint32_t t)
    {
        put16(static_cast<uint16_t>(t >> 16));
        put16(static_cast<uint16_t>(t));
        return *this;
    }
    // An element with a value; long-form VRs get the reserved bytes.
    Encoder& element(uint32_t t, const char* vr, const std::string& value)
    {
        tag(t);
        header(vr, static_cast<uint32_t>(value.size()));
        out.insert(out.end(), value.begin(), value.end());
        return *this;
    }
    // An element of undefined length (SQ, UN or encapsulated OB).
    Encoder& open(uint32_t t, const char* vr)
    {
        tag(t);
        header(vr, 0xFFFFFFFF);
        return *this;
    }
    Encoder& item(uint32_t length) { return delimiter(0xFFFEE000, length); }
    Encoder& itemEnd() { return delimiter(0xFFFEE00D, 0); }
    Encoder& sequenceEnd() { return delimiter(0xFFFEE0DD, 0); }
    Encoder& raw(const std::string& bytes)
    {
        out.insert(out.end(), bytes.begin(), bytes.end());
        return *this;
    }

    Bytes out;

private:
    void put16(uint16_t v)
    {
        out.push_back(static_cast<unsigned char>(bigEndian ? v >> 8 : v));
        out.push_back(static_cast<unsigned char>(bigEndian ? v : v >> 8));
    }
    void put32(uint32_t v)
    {
        if (bigEndian) {
            put16(static_cast<uint16_t>(v >> 16));
            put16(static_cast<uint16_t>(v));
        } else {
            put16(static_cast<uint16_t>(v));
            put16(static_cast<uint16_t>(v >> 16));
        }
    }
    void header(const char* vr, uint32_t length)
    {
        if (!vrs) {
            put32(length);
            return;
        }
        out.push_back(static_cast<unsigned char>(vr[0]));
        out.push_back(static_cast<unsigned char>(vr[1]));
        std::string name(vr);
        bool longForm = std::string("OB OD OF OL OV OW SQ SV UC UN UR UT UV").find(name) != std::string::npos;
        if (longForm) {
            put16(0);
            put32(length);
        } else {
            put16(static_cast<uint16_t>(length));
        }
    }
    Encoder& delimiter(uint32_t t, uint32_t length)
    {
        tag(t);
        put32(length);
        return *this;
    }
    bool vrs;
    bool bigEndian;
};

// A data set whose study UID lies behind nested sequences of undefined
// length, each holding a decoy with a picked tag, then a newer-VR element,
// then encapsulated pixel data.
Bytes nestedDataSet(bool explicitVr, bool big)
{
    Encoder e(explicitVr, big);
    e.element(INSTANCE, "UI", "1.2.3.4");
    e.open(0x00081140, "SQ").item(0xFFFFFFFF);
    e.element(STUDY, "UI", "9.9.9.9");
    e.open(0x00081199, "SQ").item(0xFFFFFFFF).element(INSTANCE, "UI", "8.8").itemEnd().sequenceEnd();
    e.itemEnd();
    e.item(0);  // an empty item of defined length
    e.sequenceEnd();
    e.element(0x00191001, "UC", "unlimited text");
    e.element(STUDY, "UI", "1.2.840.99");
    e.element(0x00280010, "US", std::string("\x02\x00", 2));
    e.open(0x7FE00010, "OB").item(4).raw("abcd").item(2).raw("ef").sequenceEnd();
    return e.out;
}

DcMsmRawPick::Encoding encodingOf(bool explicitVr, bool big)
{
    return !explicitVr ? DcMsmRawPick::IMPLICIT_LITTLE : big ? DcMsmRawPick::EXPLICIT_BIG : DcMsmRawPick::EXPLICIT_LITTLE;
}

}

TEST(RawPick, FindsTopLevelValuesBehindNestedSequencesInAnySlicing)
{
    struct {
        bool explicitVr, big;
    } syntaxes[] = {{false, false}, {true, false}, {true, true}};
    for (auto s : syntaxes) {
        Bytes data = nestedDataSet(s.explicitVr, s.big);
        for (size_t piece : {data.size(), size_t(1), size_t(7)}) {
            DcMsmRawPick pick(encodingOf(s.explicitVr, s.big), {INSTANCE, STUDY}, 0x7FE00010);
            for (size_t at = 0; at < data.size(); at += piece)
                pick.feed(data.data() + at, std::min(piece, data.size() - at));
            SCOPED_TRACE(testing::Message() << "explicit " << s.explicitVr << " big " << s.big << " piece " << piece);
            EXPECT_FALSE(pick.failed());
            EXPECT_EQ(pick.text(INSTANCE), "1.2.3.4");
            EXPECT_EQ(pick.text(STUDY), "1.2.840.99");
            ASSERT_TRUE(pick.finished());
            // The stop is where Pixel Data begins.
            EXPECT_EQ(data[pick.stopOffset()], s.big ? 0x7F : 0xE0);
        }
    }
}

// Inside UN of undefined length the content is implicit VR whatever the
// data set's syntax; encapsulated pixel data is stepped over to the end.
TEST(RawPick, ReadsUnknownContentAsImplicitAndStepsOverFragments)
{
    Encoder e(true, false);
    e.open(0x00091010, "UN").item(0xFFFFFFFF);
    Encoder inner(false, false);
    inner.element(0x00100010, "PN", "Doe^J");
    e.raw(std::string(inner.out.begin(), inner.out.end())).itemEnd().sequenceEnd();
    e.open(0x7FE00010, "OB").item(4).raw("\xFE\xFF\xDD\xE0").sequenceEnd();
    e.element(0x7FE10010, "LO", "after");
    DcMsmRawPick pick(DcMsmRawPick::EXPLICIT_LITTLE, {0x7FE10010}, 0xFFFF0000);
    pick.feed(e.out.data(), e.out.size());
    EXPECT_FALSE(pick.failed());
    EXPECT_EQ(pick.text(0x7FE10010), "after");
}

TEST(RawPick, StopsAtBytesThatAreNoDataSet)
{
    Bytes garbage = {0x08, 0x00, 0x18, 0x00, 0x01, 0x02, 0x03, 0x04, 0x05};
    DcMsmRawPick notExplicit(DcMsmRawPick::EXPLICIT_LITTLE, {INSTANCE}, 0xFFFF0000);
    notExplicit.feed(garbage.data(), garbage.size());
    EXPECT_TRUE(notExplicit.failed());

    Encoder stray(true, false);
    stray.sequenceEnd().element(INSTANCE, "UI", "1.2");
    DcMsmRawPick delimiter(DcMsmRawPick::EXPLICIT_LITTLE, {INSTANCE}, 0xFFFF0000);
    delimiter.feed(stray.out.data(), stray.out.size());
    EXPECT_TRUE(delimiter.failed());
    EXPECT_FALSE(delimiter.found(INSTANCE));

    // Nesting beyond the limit is refused rather than followed.
    Encoder deep(false, false);
    for (int i = 0; i <= DcMsmRawPick::DEPTH_MAX; i++)
        deep.open(0x00081140, "SQ").item(0xFFFFFFFF);
    DcMsmRawPick nested(DcMsmRawPick::IMPLICIT_LITTLE, {INSTANCE}, 0xFFFF0000);
    nested.feed(deep.out.data(), deep.out.size());
    EXPECT_TRUE(nested.failed());
}

TEST(RawStore, TakesOnlyWhenArmedAndSaysWhyAWriteFailed)
{
    DcMsmRawStore store;
    EXPECT_FALSE(store.begin(1, UID_LITTLE_ENDIAN_EXPLICIT));
    EXPECT_EQ(store.status(), MSM_ERR_RAW_NOT_ARMED);

    int full = open("/dev/full", O_WRONLY);
    if (full < 0)
        GTEST_SKIP() << "no /dev/full";
    store.expect(full);
    ASSERT_TRUE(store.begin(1, UID_LITTLE_ENDIAN_EXPLICIT));
    Bytes data = nestedDataSet(true, false);
    // The transfer goes on (the association survives); the status tells.
    EXPECT_EQ(store.bytes(data.data(), static_cast<unsigned int>(data.size())), 0);
    EXPECT_EQ(store.bytes(data.data(), 4), 0);
    store.end(0);
    EXPECT_EQ(store.status(), MSM_ERR_RAW_WRITE);
    EXPECT_EQ(store.writeErrno(), ENOSPC);
    close(full);

    // A transfer that broke off keeps the read's failure.
    char path[] = "/tmp/b3-rawstore-XXXXXX";
    int fd = mkstemp(path);
    ASSERT_GE(fd, 0);
    unlink(path);
    store.expect(fd);
    ASSERT_TRUE(store.begin(1, UID_BIG_ENDIAN_EXPLICIT));
    Bytes big = nestedDataSet(true, true);
    EXPECT_EQ(store.bytes(big.data(), 40), 0);
    store.end(0x4203);
    EXPECT_EQ(store.status(), 0x4203);
    EXPECT_EQ(store.length(), 40u);
    EXPECT_EQ(store.sopInstanceUid(), "1.2.3.4");
    EXPECT_EQ(lseek(fd, 0, SEEK_END), 40);
    close(fd);
}

TEST(RawFile, FindsTheDataSetOfAPart10FileAndRefusesOthers)
{
    std::string path = "/tmp/b3-rawfile-" + std::to_string(getpid()) + ".dcm";
    DcElemList list;
    list.add(new DcElem(T_0008_0016_sopClassUid, UID_CT_IMAGE_STORAGE));
    list.add(new DcElem(T_0008_0018_sopInstanceUid, "1.2.3.77"));
    list.add(new DcElem(T_0010_0010_patientName, "Doe^Jane"));
    DcDirMetaInfo meta;
    meta.xferSyn = UID_BIG_ENDIAN_EXPLICIT;
    ASSERT_EQ(dirWriteFile(path.c_str(), meta, list), 0);

    DcMsmRawFile file;
    ASSERT_EQ(file.open(path.c_str()), 0);
    EXPECT_EQ(file.sopClassUid, "1.2.840.10008.5.1.4.1.1.2");
    EXPECT_EQ(file.sopInstanceUid, "1.2.3.77");
    EXPECT_EQ(file.xferSynUid, "1.2.840.10008.1.2.2");
    unsigned char first[4] = {};
    ASSERT_EQ(pread(file.handle, first, 4, static_cast<off_t>(file.dataOffset)), 4);
    EXPECT_EQ(first[0], 0x00);  // (0008,0016) in big endian
    EXPECT_EQ(first[1], 0x08);
    EXPECT_EQ(first[3], 0x16);
    EXPECT_EQ(file.dataOffset + file.dataLength, static_cast<uint64_t>(lseek(file.handle, 0, SEEK_END)));

    FILE* bare = fopen(path.c_str(), "r+b");
    ASSERT_NE(bare, nullptr);
    fseek(bare, 128, SEEK_SET);
    fputs("DICX", bare);
    fclose(bare);
    DcMsmRawFile notPart10;
    EXPECT_EQ(notPart10.open(path.c_str()), MSM_ERR_RAW_READ);
    EXPECT_EQ(notPart10.open("/nonexistent/file.dcm"), MSM_ERR_RAW_READ);
    unlink(path.c_str());
}
