// Lossless mode and the newer VRs against data sets that dcmtk's dump2dcm and
// dcmconv write: parsing then framing gives back the very bytes, in every
// uncompressed syntax and with either length form; with the mode off the
// set behaves as it always did.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "dataset/DcElemList.h"
#include "dataset/DcElemSq.h"
#include "dictionary/DcDict.h"
#include "foundation/LogCapture.h"
#include "media/dirFile.h"

namespace {

typedef std::vector<unsigned char> Bytes;

// Private elements (one a sequence), attributes outside the built-in table
// (one retired), every newer VR and legacy values that the plain decoding
// rewrites.
const char* const dump = R"((0002,0010) UI =LittleEndianExplicit
(0008,0016) UI [1.2.840.10008.5.1.4.1.1.7]
(0008,0018) UI [1.2.3.4.5.6.7]
(0008,0020) DA [1997.04.24]
(0008,0041) LO [retired subtype]
(0008,0119) UC [a long code value]
(0008,1190) UR [http://example.com/a]
(0009,0010) LO [ACME 1.0]
(0009,1001) LO [private text]
(0009,1002) US 7\8\9
(0009,1003) SQ (Sequence with undefined length #=1)
(fffe,e000) na (Item with undefined length #=1)
(0009,1004) DS [1.5]
(fffe,e00d) na (ItemDelimitationItem)
(fffe,e0dd) na (SequenceDelimitationItem)
(0010,0010) PN [^^^^]
(0018,9004) CS [RESEARCH]
(0018,9219) SS 5
(0020,0013) IS [1A]
(0028,1052) DS [ 0]
(0040,a160) UT [line one\n]
(0066,0016) OF 1.0\2.0
(0066,0022) OD 2.5
(0066,0040) OL 01020304\05060708
(0072,0076) FL 1.5\2.5
(0072,0082) SV -3
(0072,0083) UV 5
(7fe0,0001) OV 0000000000000001
)";

bool toolAvailable(const char* name)
{
    return system((std::string("command -v ") + name + " >/dev/null 2>&1").c_str()) == 0;
}

Bytes readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

class Lossless : public ::testing::Test {
protected:
    std::filesystem::path dir;

    void SetUp() override
    {
        Dict.reset();
        for (const char* tool : {"dump2dcm", "dcmconv"})
            if (!toolAvailable(tool))
                GTEST_SKIP() << tool << " is not installed";
        char name[] = "/tmp/brenik3_losslessXXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        dir = name;
        // dump2dcm writes the "\n" of the UT value as CR LF.
        std::ofstream(path("in.dump")) << dump;
        ASSERT_EQ(system(("dump2dcm +te " + path("in.dump") + " " + path("le.dcm") + " 2>/dev/null").c_str()), 0);
    }

    void TearDown() override
    {
        if (!dir.empty())
            std::filesystem::remove_all(dir);
        Dict.reset();
    }

    std::string path(const std::string& name) { return (dir / name).string(); }

    // dcmconv's copy of the file in a syntax (letter i, e or b), with
    // sequences and items of undefined length when asked.
    std::string converted(const std::string& letter, bool undefinedLengths)
    {
        std::string out = path("t" + letter + (undefinedLengths ? "u" : "d") + ".dcm");
        std::string command = "dcmconv +t" + letter + (undefinedLengths ? " -e " : " +e ") + path("le.dcm") + " " +
                              out + " 2>/dev/null";
        EXPECT_EQ(system(command.c_str()), 0) << command;
        return out;
    }

    // The data set bytes of a file and their syntax.
    Bytes dataSet(const std::string& file, DICT_UID& xfer)
    {
        DcDirMetaInfo info;
        unsigned int offset = 0;
        EXPECT_EQ(dirReadFileMetaInfo(file.c_str(), info, offset), 0);
        xfer = info.xferSyn;
        Bytes all = readFile(file);
        return Bytes(all.begin() + offset, all.end());
    }

    static Bytes frame(DcElemList& list, DICT_UID xfer)
    {
        unsigned int size = 0;
        list.getBufSize(size);
        Bytes out(size + 64);
        unsigned int len = 0;
        list.frame(out.data(), len, xfer);
        out.resize(len);
        return out;
    }
};

}

TEST_F(Lossless, ParseThenFrameGivesBackEveryByteInEachSyntaxAndLengthForm)
{
    for (bool loaded : {false, true}) {
        Dict.reset();
        if (loaded)
            Dict.loadCurrent();
        for (const char* letter : {"i", "e", "b"})
            for (bool undefinedLengths : {false, true}) {
                DICT_UID xfer;
                Bytes in = dataSet(converted(letter, undefinedLengths), xfer);
                ASSERT_FALSE(in.empty());
                DcElemList list;
                list.setLossless(true);
                unsigned int left = static_cast<unsigned int>(in.size());
                EXPECT_EQ(list.parse(in.data(), left, xfer), 0);
                EXPECT_EQ(left, 0u);
                EXPECT_TRUE(frame(list, xfer) == in)
                    << "syntax " << letter << (undefinedLengths ? " undefined" : " defined") << " lengths"
                    << (loaded ? ", current dictionary" : "");
            }
    }
}

TEST_F(Lossless, ValuesStayReadableAndAChangedElementIsWrittenAfresh)
{
    Dict.loadCurrent();
    DICT_UID xfer;
    Bytes in = dataSet(converted("e", false), xfer);
    DcElemList list;
    list.setLossless(true);
    unsigned int left = static_cast<unsigned int>(in.size());
    ASSERT_EQ(list.parse(in.data(), left, xfer), 0);

    char text[80];
    EXPECT_EQ(list.getValue(0x00091001u, text, 79), 0);
    EXPECT_STREQ(text, "private text");
    EXPECT_EQ(list.getValue(0x00080041u, text, 79), 0);
    EXPECT_STREQ(text, "retired subtype");
    EXPECT_EQ(list.getValue(0x00081190u, text, 79), 0);  // UR
    EXPECT_STREQ(text, "http://example.com/a");
    DcBuf raw;
    EXPECT_EQ(list.getValue(0x00660022u, raw), 0);  // OD as its raw bytes
    ASSERT_EQ(raw.getLen(), 8u);
    double value;
    memcpy(&value, raw.getBuf(), 8);
    EXPECT_EQ(value, 2.5);
    // Numbers of the newer VRs, here and in big endian.
    for (const char* letter : {"e", "b"}) {
        Bytes bytes = dataSet(converted(letter, false), xfer);
        DcElemList numbers;
        left = static_cast<unsigned int>(bytes.size());
        ASSERT_EQ(numbers.parse(bytes.data(), left, xfer), 0);
        DcElem* elem = nullptr;
        long long sv = 0;
        unsigned long long uv = 0;
        unsigned int ol = 0;
        float of = 0;
        double od = 0;
        ASSERT_EQ(numbers.getElem(0x00720082u, &elem), 0);
        EXPECT_EQ(elem->getValue(sv), 0);
        EXPECT_EQ(sv, -3) << letter;
        ASSERT_EQ(numbers.getElem(0x00720083u, &elem), 0);
        EXPECT_EQ(elem->getValue(uv), 0);
        EXPECT_EQ(uv, 5u);
        ASSERT_EQ(numbers.getElem(0x7FE00001u, &elem), 0);
        EXPECT_EQ(elem->getValue(uv), 0);
        EXPECT_EQ(uv, 1u);
        ASSERT_EQ(numbers.getElem(0x00660040u, &elem), 0);
        EXPECT_EQ(elem->getValue(ol), 0);
        EXPECT_EQ(elem->getValue(ol), 0);
        EXPECT_EQ(ol, 5060708u) << letter;  // dump2dcm reads OL values as decimal
        EXPECT_EQ(elem->getValue(ol), ELEM_ERR_INDEX_PAST_END);
        ASSERT_EQ(numbers.getElem(0x00660016u, &elem), 0);
        elem->getValue(of);
        EXPECT_EQ(elem->getValue(of), 0);
        EXPECT_EQ(of, 2.0f);
        ASSERT_EQ(numbers.getElem(0x00660022u, &elem), 0);
        EXPECT_EQ(elem->getValue(od), 0);
        EXPECT_EQ(od, 2.5) << letter;
    }

    DcElemSq* sequence = nullptr;
    ASSERT_EQ(list.getElem(0x00091003u, &sequence), 0);
    ASSERT_NE(sequence->first(), nullptr);
    EXPECT_TRUE(sequence->first()->getElemList()->isLossless());

    // The date as read is legacy text; once set, it is written as set.
    DcElem* date = nullptr;
    ASSERT_EQ(list.getElem(0x00080020u, &date), 0);
    EXPECT_TRUE(date->isUnchanged());
    date->deleteAllValues();
    ASSERT_EQ(date->addValue("19970424"), 0);
    EXPECT_FALSE(date->isUnchanged());
    Bytes out = frame(list, xfer);
    EXPECT_EQ(out.size(), in.size() - 2);
    EXPECT_NE(std::string(out.begin(), out.end()).find("19970424"), std::string::npos);
}

TEST_F(Lossless, WithTheModeOffUnknownAndNewerElementsAreIgnoredAsBefore)
{
    LogCapture log;
    EXPECT_FALSE(DcElemList::losslessDefault());
    DICT_UID xfer;
    Bytes implicit = dataSet(converted("i", false), xfer);
    DcElemList list;
    EXPECT_FALSE(list.isLossless());
    unsigned int left = static_cast<unsigned int>(implicit.size());
    list.parse(implicit.data(), left, xfer);
    EXPECT_NE(log.find("Ignored unknown element (0009,1001)"), nullptr);
    EXPECT_EQ(list.getElem(0x00091001u, static_cast<DcElem**>(nullptr)), ELEMLIST_ERR_NOT_FOUND);
    DcElemValueDA date;
    char text[40] = "";
    EXPECT_EQ(list.getValue(0x00080020u, text, 39), 0);
    EXPECT_STREQ(text, "19970424");

    // Explicit: the newer VRs are skipped until the current dictionary is loaded.
    Bytes explicitLe = dataSet(converted("e", false), xfer);
    DcElemList plain;
    left = static_cast<unsigned int>(explicitLe.size());
    plain.parse(explicitLe.data(), left, xfer);
    EXPECT_EQ(plain.getElem(0x00660022u, static_cast<DcElem**>(nullptr)), ELEMLIST_ERR_NOT_FOUND);
    Dict.loadCurrent();
    DcElemList withCurrent;
    left = static_cast<unsigned int>(explicitLe.size());
    withCurrent.parse(explicitLe.data(), left, xfer);
    EXPECT_EQ(withCurrent.getElem(0x00660022u, static_cast<DcElem**>(nullptr)), 0);
}

TEST_F(Lossless, ImplicitUnknownElementsBecomeUnAndConvertToExplicit)
{
    DICT_UID xfer;
    Bytes implicit = dataSet(converted("i", false), xfer);
    DcElemList list;
    list.setLossless(true);
    unsigned int left = static_cast<unsigned int>(implicit.size());
    ASSERT_EQ(list.parse(implicit.data(), left, xfer), 0);
    DcElem* unknown = nullptr;
    ASSERT_EQ(list.getElem(0x00660016u, &unknown), 0);
    DICT_VR vr;
    unknown->getVr(vr);
    EXPECT_EQ(vr, VR_UN);
    // Written explicit, dcmtk-free check: the element carries "UN" and its bytes.
    Bytes out = frame(list, UID_LITTLE_ENDIAN_EXPLICIT);
    const unsigned char header[] = {0x66, 0x00, 0x16, 0x00, 'U', 'N', 0, 0, 8, 0, 0, 0};
    EXPECT_NE(std::search(out.begin(), out.end(), header, header + sizeof header), out.end());
}

TEST_F(Lossless, ConvertingBetweenSyntaxesGivesDcmconvsBytes)
{
    Dict.loadCurrent();
    struct Case {
        const char* from;
        const char* to;
        DICT_UID target;
    };
    const Case cases[] = {{"e", "b", UID_BIG_ENDIAN_EXPLICIT}, {"b", "e", UID_LITTLE_ENDIAN_EXPLICIT},
                          {"i", "e", UID_LITTLE_ENDIAN_EXPLICIT}};
    for (const Case& c : cases) {
        DICT_UID xfer;
        std::string source = converted(c.from, false);
        Bytes in = dataSet(source, xfer);
        DcElemList list;
        list.setLossless(true);
        unsigned int left = static_cast<unsigned int>(in.size());
        ASSERT_EQ(list.parse(in.data(), left, xfer), 0);
        std::string expected = path(std::string(c.from) + "to" + c.to + ".dcm");
        std::string command = "dcmconv +t" + std::string(c.to) + " " + source + " " + expected + " 2>/dev/null";
        ASSERT_EQ(system(command.c_str()), 0);
        DICT_UID targetXfer;
        EXPECT_TRUE(frame(list, c.target) == dataSet(expected, targetXfer)) << c.from << " to " << c.to;
    }
}
