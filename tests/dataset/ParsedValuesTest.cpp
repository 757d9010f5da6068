// Values read from encoded bytes are kept in one block per element; they
// must read, check, refuse and change exactly as the same text added value
// by value does.
#include "TestSupport.h"

#include <cstring>

namespace {

struct Outcome {
    int status;
    std::vector<std::string> values;
    std::string log;
    unsigned int bufSize;
    Bytes encoded;
};

Outcome readBack(DcElem& elem, int status, LogCapture& log)
{
    Outcome out{status, {}, log.text(), 0, {}};
    elem.getBufSize(out.bufSize, 0);
    out.encoded = encode(elem, UID_LITTLE_ENDIAN_EXPLICIT);
    int count = elem.getValueCount();
    for (int i = 0; i < count; ++i)
        out.values.push_back(text(elem));
    return out;
}

Outcome added(unsigned int tag, const std::string& value)
{
    LogCapture log;
    DcElem elem(static_cast<int>(tag));
    int status = elem.addValue(value.c_str());
    return readBack(elem, status, log);
}

Outcome parsed(unsigned int tag, const std::string& bytes)
{
    LogCapture log;
    DcElem elem(static_cast<int>(tag));
    std::string copy = bytes;
    int status = elem.parseVal(&copy[0], static_cast<unsigned int>(copy.size()), UID_LITTLE_ENDIAN_EXPLICIT);
    return readBack(elem, status, log);
}

void expectSame(unsigned int tag, const std::string& bytes, const std::string& asText)
{
    Outcome a = added(tag, asText), p = parsed(tag, bytes);
    EXPECT_EQ(p.status, a.status) << std::hex << tag << " [" << asText << "]";
    EXPECT_EQ(p.values, a.values) << std::hex << tag << " [" << asText << "]";
    EXPECT_EQ(p.log, a.log) << std::hex << tag << " [" << asText << "]";
    EXPECT_EQ(p.bufSize, a.bufSize) << std::hex << tag << " [" << asText << "]";
    EXPECT_EQ(p.encoded, a.encoded) << std::hex << tag << " [" << asText << "]";
}

}  // namespace

TEST(ParsedValues, ReadLikeTheSameTextAddedValueByValue)
{
    struct Case {
        unsigned int tag;
        std::string text;
    } cases[] = {
        {T_0008_0008_imageType, "ORIGINAL\\PRIMARY\\AXIAL"},
        {T_0008_0008_imageType, " A \\ B \\"},
        {T_0008_0008_imageType, "A\\\\B"},
        {T_0008_0008_imageType, "  "},
        {T_0008_0060_modality, "CT\\MR"},  // one value allowed: the last stays
        {T_0010_0020_patientId, "A\\B\\C "},
        {T_0018_1020_softwareVersions, "X\x1b$B\\\x1b(BY\\Z"},
        {T_3006_0050_contourData, "1.000\\-0.250\\ 2.5 \\3e2\\+4.0E-1"},
        {T_0020_0032_imagePosition, "1\\2\\3\\4"},
        {T_0020_0013_instanceNumber, " 17 "},
        {T_0020_000d_studyInstanceUid, "1.2.840.10008.1.2.1"},
        {T_0002_0016_sourceApplicationEntityTitle, "  STORE SCP "},
        {T_0008_0108_extendedCodeMeaning, "  A\\B\\ "},
        {T_0008_0081_institutionAddress, "  street\\ 1  "},
    };
    for (const Case& c : cases)
        expectSame(c.tag, c.text, c.text);
}

TEST(ParsedValues, AreRefusedWithTheSameStatusAndMessageKeepingTheValuesBefore)
{
    struct Case {
        unsigned int tag;
        std::string text;
    } cases[] = {
        {T_0008_0008_imageType, "A\\b\\C"},
        {T_3006_0050_contourData, "1.0\\2.x\\3.0"},
        {T_0020_0013_instanceNumber, "12.5"},
        {T_0020_000d_studyInstanceUid, "1.2.abc"},
        {T_0010_0020_patientId, "A\\" + std::string(70, 'x')},
        {T_0008_0081_institutionAddress, std::string(1100, 'y')},
        {T_0002_0016_sourceApplicationEntityTitle, "AE\x01TITLE"},
    };
    for (const Case& c : cases) {
        expectSame(c.tag, c.text, c.text);
        Outcome p = parsed(c.tag, c.text);
        EXPECT_NE(p.status, 0) << c.text;
        EXPECT_NE(p.log, "") << c.text;
    }
}

TEST(ParsedValues, StopAtAZeroByteAsATextDoes)
{
    expectSame(T_0020_000d_studyInstanceUid, std::string("1.2.3\0", 6), "1.2.3");
    expectSame(T_0008_0008_imageType, std::string("AB\0CD", 5), "AB");
}

TEST(ParsedValues, BinaryValuesKeepTheLastOnesTheTagAllows)
{
    DcElem elem(T_0028_1101_redLutDescriptor);  // XS, VM 3
    unsigned short raw[4] = {1, 2, 3, 4};
    EXPECT_EQ(elem.parseVal(raw, sizeof raw, UID_LITTLE_ENDIAN_EXPLICIT), 0);
    EXPECT_EQ(elem.getValueCount(), 3);
    unsigned short value;
    for (unsigned short expected : {2, 3, 4}) {
        ASSERT_EQ(elem.getValue(value), 0);
        EXPECT_EQ(value, expected);
    }
}

TEST(ParsedValues, ChangeCopyAndEncodeLikeAddedValues)
{
    std::string bytes = "ORIGINAL\\PRIMARY";
    DcElem parsedElem(T_0008_0008_imageType);
    ASSERT_EQ(parsedElem.parseVal(&bytes[0], static_cast<unsigned int>(bytes.size()), UID_LITTLE_ENDIAN_EXPLICIT), 0);
    DcElem addedElem(T_0008_0008_imageType, "ORIGINAL\\PRIMARY");
    EXPECT_EQ(encode(parsedElem, UID_LITTLE_ENDIAN_EXPLICIT), encode(addedElem, UID_LITTLE_ENDIAN_EXPLICIT));

    {
        DcElem copy(parsedElem);
        EXPECT_EQ(copy.addValue("AXIAL"), 0);
        EXPECT_EQ(copy.getValueCount(), 3);
        EXPECT_EQ(text(copy), "ORIGINAL");
    }
    EXPECT_EQ(parsedElem.getValueCount(), 2);

    EXPECT_EQ(parsedElem.addValue("AXIAL"), 0);
    EXPECT_EQ(addedElem.addValue("AXIAL"), 0);
    EXPECT_EQ(encode(parsedElem, UID_LITTLE_ENDIAN_EXPLICIT), encode(addedElem, UID_LITTLE_ENDIAN_EXPLICIT));

    DcElem modality(T_0008_0060_modality);
    std::string ct = "CT";
    ASSERT_EQ(modality.parseVal(&ct[0], 2, UID_LITTLE_ENDIAN_EXPLICIT), 0);
    EXPECT_EQ(modality.addValue("MR"), 0);  // one value allowed: replaces
    EXPECT_EQ(modality.getValueCount(), 1);
    EXPECT_EQ(text(modality), "MR");

    parsedElem.deleteAllValues();
    EXPECT_EQ(parsedElem.getValueCount(), 0);
    EXPECT_EQ(parsedElem.addValue("DERIVED"), 0);
    EXPECT_EQ(text(parsedElem), "DERIVED");
}

namespace {

// One explicit VR little endian element with a short length field.
std::string explicitLE(unsigned short group, unsigned short element, const char* vr, const std::string& value)
{
    std::string out;
    for (unsigned short n : {group, element}) {
        out += static_cast<char>(n & 0xFF);
        out += static_cast<char>(n >> 8);
    }
    out += vr;
    out += static_cast<char>(value.size() & 0xFF);
    out += static_cast<char>(value.size() >> 8);
    return out + value;
}

}  // namespace

TEST(ParsedValues, InLosslessModeGiveBackTheBytesReadWhetherOrNotTheValuesReproduceThem)
{
    struct Case {
        unsigned short group, element;
        const char* vr;
        std::string value;
    } cases[] = {
        {0x0008, 0x0008, "CS", "AB\\CDE "},                  // values give these bytes back
        {0x0008, 0x0018, "UI", std::string("1.2.3\0", 6)},  // likewise, with the padding NUL
        {0x0010, 0x0020, "LO", " ID1"},                      // trimmed: the values do not
        {0x0020, 0x0032, "DS", "1\\2\\3\\"},                 // a trailing separator: nor here
        {0x0028, 0x0010, "US", std::string("\x00\x02", 2)},
    };
    std::string bytes;
    for (const Case& c : cases)
        bytes += explicitLE(c.group, c.element, c.vr, c.value);
    Bytes in(bytes.begin(), bytes.end());

    DcElemList list;
    list.setLossless(true);
    ASSERT_EQ(parse(list, in, UID_LITTLE_ENDIAN_EXPLICIT), 0);
    EXPECT_EQ(encode(list, UID_LITTLE_ENDIAN_EXPLICIT), in);
    for (const Case& c : cases) {
        DcElem* elem = nullptr;
        ASSERT_EQ(list.getElem(static_cast<unsigned int>(c.group) << 16 | c.element, &elem), 0);
        const unsigned char* read = nullptr;
        unsigned int len = 0;
        ASSERT_TRUE(elem->getValueAsRead(read, len)) << c.vr;
        EXPECT_EQ(std::string(reinterpret_cast<const char*>(read), len), c.value) << c.vr;
    }

    // Rewritten in big endian and read again, the binary value turns around.
    Bytes big = encode(list, UID_BIG_ENDIAN_EXPLICIT);
    DcElemList again;
    again.setLossless(true);
    ASSERT_EQ(parse(again, big, UID_BIG_ENDIAN_EXPLICIT), 0);
    unsigned short rows = 0;
    EXPECT_EQ(again.getValue(0x00280010u, rows), 0);
    EXPECT_EQ(rows, 512);
    EXPECT_EQ(encode(again, UID_LITTLE_ENDIAN_EXPLICIT), in);
}
