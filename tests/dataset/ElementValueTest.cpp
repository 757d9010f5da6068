#include <gtest/gtest.h>

#include <cstring>
#include <unistd.h>

#include "TestSupport.h"

TEST(ElementConstruction, RefusesSequenceTagsAndUnknownTags)
{
    LogCapture log;
    DcElem sq(T_0008_1140_referencedImageSequence, "1.2");
    EXPECT_EQ(sq.getValueCount(), 0);
    DcElem unknown(static_cast<unsigned short>(0x0011), static_cast<unsigned short>(0x1234));
    DICT_VR vr;
    unknown.getVr(vr);
    EXPECT_EQ(vr, VR_UNKNOWN);
    EXPECT_TRUE(log.has("SQ Element (0008,1140) must be constructed with DcElemSq"));
    EXPECT_TRUE(log.has("Unknown tag (0011,1234), Element is uninitialized"));
}

TEST(ElementValues, AFullElementDropsItsOldestValue)
{
    DcElem elem(T_0028_1101_redLutDescriptor);  // XS, VM 3
    for (unsigned short v : {1, 2, 3, 4})
        EXPECT_EQ(elem.addValue(v), 0);
    EXPECT_EQ(elem.getValueCount(), 3);
    unsigned short value;
    for (unsigned short expected : {2, 3, 4}) {
        ASSERT_EQ(elem.getValue(value), 0);
        EXPECT_EQ(value, expected);
    }
    EXPECT_EQ(elem.getValue(value), ELEM_ERR_INDEX_PAST_END);
}

TEST(ElementValues, TextIsCutAtBackslashesOutsideEscapesAndLongTexts)
{
    DcElem cs(T_0008_0008_imageType, "A\\B\\");
    EXPECT_EQ(cs.getValueCount(), 2);
    EXPECT_EQ(text(cs), "A");
    EXPECT_EQ(text(cs), "B");
    DcElem lt(T_0008_0108_extendedCodeMeaning, "A\\B\\");
    EXPECT_EQ(lt.getValueCount(), 1);
    EXPECT_EQ(text(lt), "A\\B\\");
    DcElem lo(T_0018_1020_softwareVersions, "X\x1b$B\\\x1b(BY\\Z");
    EXPECT_EQ(lo.getValueCount(), 2);
    EXPECT_EQ(text(lo), "X\x1b$B\\\x1b(BY");
    EXPECT_EQ(text(lo), "Z");
}

TEST(ElementValues, EmptyTextAndRefusedTextLeaveTheRightValues)
{
    DcElem pn(T_0010_0010_patientName, "");
    EXPECT_EQ(pn.getValueCount(), 1);
    EXPECT_EQ(text(pn), "");
    DcElem us(T_0028_0010_rows);
    EXPECT_EQ(us.addValue("  "), 0);
    EXPECT_EQ(us.getValueCount(), 0);
    DcElem cs(T_0008_0008_imageType, "ORIGINAL");
    EXPECT_EQ(cs.addValue("abc"), ELEM_ERR_ILLEGAL_CHAR);
    EXPECT_EQ(cs.addValue("A\\b\\C"), ELEM_ERR_ILLEGAL_CHAR);
    EXPECT_EQ(cs.getValueCount(), 2);  // "A" before the refused value stays
    EXPECT_EQ(cs.addValue(static_cast<const char*>(nullptr)), ELEM_ERR_NULL_ARG);
}

TEST(ElementValues, NumbersAreConvertedForTheVr)
{
    DcElem ds(T_0010_1020_patientSize);
    EXPECT_EQ(ds.addValue(1.75), 0);
    EXPECT_EQ(text(ds), "1.750000");
    DcElem is(T_0008_2122_stageNumber);
    EXPECT_EQ(is.addValue(static_cast<short>(-7)), 0);
    EXPECT_EQ(text(is, ELEM_VAL_INDEX_KEEP), "-7");
    EXPECT_EQ(is.addValue(3000000000u), 0);
    EXPECT_EQ(text(is), "3000000000");
    DcElem fl(T_0010_9431_examinedBodyThickness);
    EXPECT_EQ(fl.addValue(2), 0);
    float f = 0;
    EXPECT_EQ(fl.getValue(f), 0);
    EXPECT_FLOAT_EQ(f, 2.0f);
    DcElem ss(T_0028_1041_pixelIntensityRelationshipSign);
    EXPECT_EQ(ss.addValue(0x12345), 0);  // narrowed to its low 16 bits
    short s = 0;
    EXPECT_EQ(ss.getValue(s), 0);
    EXPECT_EQ(s, 0x2345);
    DcElem us(T_0008_0301_privateGroupReference, "010");  // integer text follows C base rules
    unsigned short octal = 0;
    us.getValue(octal);
    EXPECT_EQ(octal, 8);
    DcElem xs(T_0028_0106_smallestImagePixelValue, "-2");
    xs.getValue(s);
    EXPECT_EQ(s, -2);
}

TEST(ElementValues, NumbersAreRefusedWhereTheVrTakesNone)
{
    LogCapture log;
    DcElem is(T_0008_2122_stageNumber);
    EXPECT_EQ(is.addValue(1.5f), ELEM_ERR_BAD_VALUE);
    DcElem pn(T_0010_0010_patientName);
    EXPECT_EQ(pn.addValue(static_cast<short>(1)), ELEM_ERR_BAD_VALUE);
    EXPECT_EQ(pn.addValue(1), ELEM_ERR_BAD_VALUE);
    EXPECT_EQ(pn.addValue(1u), ELEM_ERR_BAD_VALUE);
    EXPECT_EQ(pn.addValue(1.0), ELEM_ERR_BAD_VALUE);
    EXPECT_EQ(pn.addValue(UID_CT_IMAGE_STORAGE), ELEM_ERR_BAD_VALUE);
    EXPECT_EQ(pn.getValueCount(), 0);
    EXPECT_TRUE(log.has("Element (0008,2122) VR=IS, does not accept float"));
    for (const char* type : {"short", "long", "unsigned long", "double float", "DICT_UID"})
        EXPECT_TRUE(log.has(std::string("Element (0010,0010) VR=PN, does not accept ") + type));
}

TEST(ElementValues, ReadsConvertAmongNumericVrs)
{
    DcElem is(T_0008_2122_stageNumber, "42");
    int i = 0;
    unsigned int u;
    EXPECT_EQ(is.getValue(i, ELEM_VAL_INDEX_KEEP), 0);
    EXPECT_EQ(i, 42);
    EXPECT_EQ(is.getValue(u), ELEM_ERR_BAD_VR);
    DcElem ds(T_0010_1020_patientSize, "1.5");
    double d = 0;
    float f;
    EXPECT_EQ(ds.getValue(d, ELEM_VAL_INDEX_KEEP), 0);
    EXPECT_DOUBLE_EQ(d, 1.5);
    EXPECT_EQ(ds.getValue(f), ELEM_ERR_BAD_VR);
    DcElem us(T_0028_0010_rows, 300);
    EXPECT_EQ(us.getValue(d, ELEM_VAL_INDEX_KEEP), 0);
    EXPECT_DOUBLE_EQ(d, 300.0);
    EXPECT_EQ(us.getValue(i, ELEM_VAL_INDEX_KEEP), 0);
    EXPECT_EQ(i, 300);
    DcElem ui(T_0008_0016_sopClassUid, UID_MR_IMAGE_STORAGE);
    DICT_UID uid = UID_NONE;
    EXPECT_EQ(ui.getValue(uid), 0);
    EXPECT_EQ(uid, UID_MR_IMAGE_STORAGE);
}

TEST(ElementValues, ReadsKeepOrAdvanceTheIndex)
{
    DcElem elem(T_0008_0008_imageType, "A\\B");
    EXPECT_EQ(text(elem, ELEM_VAL_INDEX_KEEP), "A");
    EXPECT_EQ(text(elem), "A");
    EXPECT_EQ(text(elem), "B");
    char buf[8];
    EXPECT_EQ(elem.getValue(buf, 7), ELEM_ERR_INDEX_PAST_END);
    int index;
    EXPECT_EQ(elem.indexValueCount(index), ELEM_ERR_INDEX_PAST_END);
    EXPECT_EQ(index, 2);
    elem.resetValueCount();
    EXPECT_EQ(elem.indexValueCount(index), 0);
    EXPECT_EQ(index, 1);
    EXPECT_EQ(text(elem), "B");
    DcElem empty(T_0008_0008_imageType);
    EXPECT_EQ(empty.getValue(buf, 7), ELEM_ERR_NO_VALUE);
}

TEST(ElementValues, TextReadsTruncateToTheCallersBuffer)
{
    LogCapture log;
    DcElem elem(T_0008_0070_manufacturer, "ABCDEFG");
    char buf[32];
    EXPECT_EQ(elem.getValue(buf, 5), ELEM_ERR_BUF_TOO_SHORT);
    EXPECT_STREQ(buf, "ABCDE");
    EXPECT_EQ(text(elem), "ABCDEFG");  // the failed read did not advance
    EXPECT_TRUE(log.has("Element (0008,0070) buffer too short, value truncated"));
    EXPECT_EQ(elem.getValue(nullptr, 5), ELEM_ERR_NULL_ARG);
    DcElem us(T_0028_0010_rows, 512);  // binary values are sized for their widest text
    EXPECT_EQ(us.getValue(buf, 8, ELEM_VAL_INDEX_KEEP), ELEM_ERR_BUF_TOO_SHORT);
    EXPECT_EQ(us.getValue(buf, 12), 0);
    EXPECT_STREQ(buf, "512");
    DcElem fd(T_0008_2134_eventTimeOffset, 0.25);
    EXPECT_EQ(fd.getValue(buf, 16), 0);
    EXPECT_STREQ(buf, "0.25");
}

TEST(ElementValueRecords, AreAcceptedOnlyByTheirOwnVr)
{
    LogCapture log;
    DcElem pn(T_0010_0010_patientName);
    DcElemValueDA date;
    EXPECT_EQ(pn.addValue(date), ELEM_ERR_BAD_VALUE);
    DcElemValuePN name;
    EXPECT_EQ(pn.getValue(name), ELEM_ERR_NO_VALUE);
    pn.addValue("A^B");
    DcElemValueTM time;
    EXPECT_EQ(pn.getValue(time), ELEM_ERR_BAD_VR);
    EXPECT_TRUE(log.has("Element (0010,0010) VR=PN, does not accept DcElemValueDA"));
    EXPECT_TRUE(log.has("Element (0010,0010) VR=PN, cannot get value as DcElemValueTM"));
}

namespace {

// The text read into a value record and written back from it.
template <typename Record>
std::string throughRecord(unsigned int tag, const char* in)
{
    DcElem from(groupOf(tag), elementOf(tag), in);
    Record record;
    if (from.getValue(record) != 0)
        return "(not read)";
    DcElem to(groupOf(tag), elementOf(tag));
    if (to.addValue(record) != 0)
        return "(not written)";
    return text(to);
}

}

TEST(ElementValueRecords, ReadTextAndWriteItBackInItsStandardForm)
{
    unsigned int dt = privateTag(VR_DT, 0), at = privateTag(VR_AT, 0);
    struct Case {
        std::string (*convert)(unsigned int, const char*);
        unsigned int tag;
        const char* in;
        const char* out;
    };
    const Case cases[] = {
        {throughRecord<DcElemValueAS>, 0x00101010, "045Y", "045Y"},
        {throughRecord<DcElemValueAT>, at, "(7fe0,0010)", "(7fe0,0010)"},
        {throughRecord<DcElemValueDA>, 0x00181200, "20100608", "20100608"},
        {throughRecord<DcElemValueDA>, 0x00181200, "1990.05.17", "19900517"},
        {throughRecord<DcElemValueDA>, 0x00181200, "20100101-", "20100101-"},
        {throughRecord<DcElemValueDA>, 0x00181200, "-20101231", "-20101231"},
        {throughRecord<DcElemValueDA>, 0x00181200, "20100101-20101231", "20100101-20101231"},
        {throughRecord<DcElemValueTM>, 0x00181201, "1230", "123000"},
        {throughRecord<DcElemValueTM>, 0x00181201, "07", "070000"},
        {throughRecord<DcElemValueTM>, 0x00181201, "12:30:15.5", "123015.500000"},
        {throughRecord<DcElemValueTM>, 0x00181201, "0800-173000.25", "080000.000000-173000.250000"},
        {throughRecord<DcElemValueDT>, dt, "20100608140322.5-0500", "20100608140322.500000-0500"},
        {throughRecord<DcElemValueDT>, dt, "20100101120000-", "20100101120000.000000-"},
        {throughRecord<DcElemValueDT>, dt, "20100608-20100609", "20100608-20100609"},
        {throughRecord<DcElemValueDT>, dt, "20100608-0500", "20100608000000-0500"},  // an offset, not a range
        {throughRecord<DcElemValuePN>, 0x0008009C, "Doe^John^Q^Dr^Jr", "Doe^John^Q^Dr^Jr"},
        {throughRecord<DcElemValuePN>, 0x0008009C, "Doe^John^^^Jr", "Doe^John^^^Jr"},
        {throughRecord<DcElemValuePN>, 0x0008009C, "Doe^John^^^", "Doe^John"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.in);
        EXPECT_EQ(c.convert(c.tag, c.in), c.out);
    }
}

TEST(ElementValueRecords, OutOfRangeFieldsAreRefused)
{
    DcElem as(T_0010_1010_patientAge);
    DcElemValueAS age;
    age.age = 1000;
    age.unit = 'Y';
    EXPECT_EQ(as.addValue(age), ELEM_ERR_BAD_VALUE);
    age.age = 3;
    age.unit = 'X';
    EXPECT_EQ(as.addValue(age), ELEM_ERR_BAD_VALUE);
    DcElem da(T_0018_1200_dateOfLastCalibration);
    DcElemValueDA date;
    date.year = 2010;
    date.month = 13;
    date.day = 8;
    EXPECT_EQ(da.addValue(date), ELEM_ERR_BAD_VALUE);
    date.reset();
    date.rangeStart = 30001232;
    EXPECT_EQ(da.addValue(date), ELEM_ERR_BAD_VALUE);
    DcElem tm(T_0018_1201_timeOfLastCalibration);
    DcElemValueTM time;
    time.hour = 24;
    time.minute = 0;
    EXPECT_EQ(tm.addValue(time), ELEM_ERR_BAD_VALUE);
    time.hour = 12;
    time.minute = 30;
    time.second = 59.9999999;  // cut, never rounded up to a 60th second
    EXPECT_EQ(tm.addValue(time), 0);
    EXPECT_EQ(text(tm), "123059.999999");
    EXPECT_EQ(as.getValueCount() + da.getValueCount(), 0);
}

TEST(ElementRawBuffers, AreCopiedIntoMemoryOnRawVrsOnly)
{
    LogCapture log;
    DcElem ob(T_0028_2000_iccProfile);
    unsigned char data[5] = {1, 2, 3, 4, 5};
    EXPECT_EQ(ob.addValue(data, sizeof data, UID_LITTLE_ENDIAN_EXPLICIT), 0);
    EXPECT_EQ(ob.getValueCount(), 0);
    DcBuf buf;
    EXPECT_EQ(ob.getValue(buf), 0);
    EXPECT_EQ(buf.getType(), BUF_MEMORY);
    EXPECT_EQ(buf.getLen(), 5u);
    EXPECT_NE(buf.getBuf(), static_cast<void*>(data));
    EXPECT_EQ(memcmp(buf.getBuf(), data, 5), 0);
    EXPECT_EQ(ob.getValue(buf), ELEM_ERR_INDEX_PAST_END);
    EXPECT_EQ(ob.addValue(nullptr, 4, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_BAD_VALUE);
    EXPECT_EQ(ob.addValue(data, 0, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_BAD_VALUE);
    {
        LogCapture dictLog(LOG_CHANNEL_0);
        EXPECT_EQ(ob.addValue(data, 4, UID_CT_IMAGE_STORAGE), ELEM_ERR_XFER_SYNTAX);
    }
    ob.deleteAllValues();  // leaves the raw buffers
    ob.resetValueCount();
    EXPECT_EQ(ob.getValue(buf), 0);

    DcElem lo(T_0008_0070_manufacturer);
    EXPECT_EQ(lo.addValue(data, 2, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_BAD_VALUE);
    EXPECT_EQ(lo.getValue(buf), ELEM_ERR_BAD_VR);
    EXPECT_TRUE(log.has("Element (0008,0070) VR=LO, does not accept raw buffers"));
    EXPECT_TRUE(log.has("Element (0008,0070) VR=LO, cannot get value as raw buffer"));
}

TEST(ElementRawBuffers, DiskBuffersOnlyForPixelData)
{
    int fd = fileWith(Bytes(16, 0));
    ASSERT_NE(fd, -1);
    LogCapture log;
    DcElem ob(T_0028_2000_iccProfile);
    DcBuf onDisk(dup(fd), 0, 16, UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(ob.addValue(&onDisk), ELEM_ERR_BAD_VALUE);
    EXPECT_TRUE(log.has("Only Pixel Data (7fe0,0010) accepts disk based raw buffers"));

    DcElem pixels(T_7fe0_0010_pixelData);
    EXPECT_EQ(pixels.addValue(&onDisk), 0);
    EXPECT_EQ(onDisk.getType(), BUF_NONE);
    DcBuf held;
    EXPECT_EQ(pixels.getValue(held), 0);
    EXPECT_EQ(held.getType(), BUF_DISK);
    EXPECT_EQ(held.getLen(), 16u);

    DcElem byHandle(T_0028_2000_iccProfile, fd, 4, 8, UID_LITTLE_ENDIAN_EXPLICIT);
    EXPECT_EQ(byHandle.getValue(held), 0);
    EXPECT_NE(held.getHandle(), fd);  // the element owns a duplicate
    EXPECT_EQ(held.getOffset(), 4);
    close(fd);
    EXPECT_EQ(byHandle.addValue(-1, 0, 4, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_BAD_VALUE);
    EXPECT_EQ(byHandle.addValue(fd, 0, 4, UID_LITTLE_ENDIAN_EXPLICIT), ELEM_ERR_BAD_VALUE);
    EXPECT_TRUE(log.has("provided for duplication"));
}

// A copy reads the values and raw buffers of its original, which alone
// releases them; a copy that is changed takes values of its own first.
// Under the address sanitizer any double free or use of freed values fails.
TEST(ElementCopies, ShareValuesThatOnlyTheOriginalReleases)
{
    DcElem* original = new DcElem(T_0008_0008_imageType, "ORIGINAL\\PRIMARY");
    DcElem* pixels = new DcElem(T_7fe0_0010_pixelData);
    unsigned char raw[4] = {1, 2, 3, 4};
    pixels->addValue(raw, sizeof raw, UID_LITTLE_ENDIAN_IMPLICIT);
    {
        DcElem copy(*original);
        EXPECT_EQ(text(copy), "ORIGINAL");
        DcElem assigned(T_0008_0060_modality, "CT");
        assigned = *original;
        EXPECT_EQ(assigned.getValueCount(), 2);
        DcElem pixelCopy(*pixels);
        DcBuf seen, own;
        EXPECT_EQ(pixelCopy.getValue(seen), 0);
        EXPECT_EQ(pixels->getValue(own, ELEM_VAL_INDEX_KEEP), 0);
        EXPECT_EQ(seen.getBuf(), own.getBuf());
    }
    EXPECT_EQ(text(*original, ELEM_VAL_INDEX_KEEP), "ORIGINAL");

    DcElem changed(*original);
    EXPECT_EQ(changed.addValue("DERIVED"), 0);
    EXPECT_EQ(changed.getValueCount(), 3);
    EXPECT_EQ(original->getValueCount(), 2);
    DcElem emptied(*original);
    emptied.deleteAllValues();
    EXPECT_EQ(original->getValueCount(), 2);
    DcElem pixelsChanged(*pixels);
    EXPECT_EQ(pixelsChanged.addValue(raw, sizeof raw, UID_LITTLE_ENDIAN_IMPLICIT), 0);
    EXPECT_EQ(pixelsChanged.getBufList()->count(), 2);
    EXPECT_EQ(pixels->getBufList()->count(), 1);

    DcElem outlives(*original);
    delete original;
    delete pixels;
}
