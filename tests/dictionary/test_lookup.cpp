#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "dictionary/DcDict.h"
#include "foundation/LogCapture.h"

namespace {

// Every test starts from the built-in dictionary with the log captured.
class Lookup : public ::testing::Test {
protected:
    void SetUp() override
    {
        Dict.reset();
        log.entries.clear();
    }
    LogCapture log;
};

}

TEST_F(Lookup, TagOfAConstant)
{
    unsigned int tag = 0;
    EXPECT_EQ(Dict.getTag(T_0008_0018_sopInstanceUid, tag), 0);
    EXPECT_EQ(tag, 0x00080018u);
    unsigned short group = 0, element = 0;
    EXPECT_EQ(Dict.getTag(T_60xx_3000_overlayData, group, element), 0);
    EXPECT_EQ(group, 0x60FF);
    EXPECT_EQ(element, 0x3000);
    EXPECT_TRUE(log.entries.empty());
}

TEST_F(Lookup, UnknownConstantGivesAllOnesAndAReport)
{
    unsigned int tag = 0;
    EXPECT_EQ(Dict.getTag(12345, tag), DICT_ERR_NOT_FOUND);
    EXPECT_EQ(tag, 0xFFFFFFFFu);
    ASSERT_EQ(log.entries.size(), 1u);
    EXPECT_EQ(log.entries[0].channel, LOG_CHANNEL_0);
    EXPECT_TRUE(log.has("DcDict::getTag", "Enum constant Tag 12345 (0x3039) is not in dictionary"));
}

TEST_F(Lookup, RepeatingGroupsFindTheirXxEntry)
{
    int tagConst = 0;
    for (unsigned int tag : {0x60003000u, 0x60FE3000u, 0x60013000u, 0x60023000u}) {
        EXPECT_EQ(Dict.getTagDef(tag, tagConst), 0) << std::hex << tag;
        EXPECT_EQ(tagConst, T_60xx_3000_overlayData);
    }
    EXPECT_EQ(Dict.getTagDef(0x5000, 0x0005, tagConst), 0);
    EXPECT_EQ(tagConst, T_50xx_0005_curveDimension);
    DICT_VR vr;
    EXPECT_EQ(Dict.getVrDef(0x60023000u, vr), 0);
    EXPECT_EQ(vr, VR_OX);
}

TEST_F(Lookup, PlainTagNumberWhereAConstantIsExpectedIsTakenAsTag)
{
    DICT_VR vr = VR_AE;
    int vm = 0;
    char desc[61];
    EXPECT_EQ(Dict.getVrDef(0x60023000, vr), 0);
    EXPECT_EQ(vr, VR_OX);
    EXPECT_EQ(Dict.getVm(0x60023000, vm), 0);
    EXPECT_EQ(vm, 1);
    EXPECT_EQ(Dict.getDesc(0x60023000, desc), 0);
    EXPECT_STREQ(desc, "T_60xx_3000_overlayData");
    EXPECT_EQ(Dict.getVrDef(0x12345, vr), DICT_ERR_NOT_FOUND);
    EXPECT_EQ(vr, VR_UNKNOWN);
    EXPECT_TRUE(log.entries.empty());
}

TEST_F(Lookup, PrivateElementsAreNormalised)
{
    int tagConst = 0;
    EXPECT_EQ(Dict.getTagDef(0x02491011u, tagConst), 0);
    EXPECT_EQ(tagConst, T_0249_xx11_planCreationDate);
    EXPECT_EQ(Dict.getTagDef(0x02492011u, tagConst), 0);
    EXPECT_EQ(tagConst, T_0249_xx11_planCreationDate);
    EXPECT_EQ(Dict.getTagDef(0x02490010u, tagConst), 0);
    EXPECT_EQ(tagConst, T_0249_00xx_privateCreatorId);
    EXPECT_EQ(Dict.getTagDef(0x02490000u, tagConst), 0);
    EXPECT_EQ(tagConst, T_0249_0000_groupLength);
    // A private group length is not normalised: (0009,0000) is unknown.
    EXPECT_EQ(Dict.getTagDef(0x00090000u, tagConst), DICT_ERR_NOT_FOUND);
}

TEST_F(Lookup, UnknownTagFailsQuietlyInGetTagDefButIsReportedByGetVm)
{
    int tagConst = 0;
    EXPECT_EQ(Dict.getTagDef(0x00091010u, tagConst), DICT_ERR_NOT_FOUND);
    EXPECT_EQ(tagConst, -1);
    EXPECT_TRUE(log.entries.empty());
    int vm = 5;
    EXPECT_EQ(Dict.getVm(0x00091010u, vm), DICT_ERR_NOT_FOUND);
    EXPECT_EQ(vm, 0);
    EXPECT_TRUE(log.has("DcDict::getVm", "Tag 0x00091010 is not in dictionary"));
}

TEST_F(Lookup, ConstantLookupsFailWithoutAReport)
{
    int vm = 5;
    DICT_VR vr = VR_AE;
    char desc[61];
    EXPECT_EQ(Dict.getVm(777, vm), DICT_ERR_NOT_FOUND);
    EXPECT_EQ(vm, 0);
    EXPECT_EQ(Dict.getVrDef(777, vr), DICT_ERR_NOT_FOUND);
    EXPECT_EQ(vr, VR_UNKNOWN);
    EXPECT_EQ(Dict.getDesc(777, desc), DICT_ERR_NOT_FOUND);
    EXPECT_STREQ(desc, "Unknown");
    EXPECT_TRUE(log.entries.empty());
}

TEST_F(Lookup, VrAndVmOfTellingRows)
{
    struct Row {
        int tagConst;
        DICT_VR vr;
        int vm;
    } rows[] = {
        {T_0000_0000_groupLength, VR_UL, 1},        {T_0000_0002_affectedSopClassUid, VR_UI, 1},
        {T_0000_0100_command, VR_US, 1},            {T_0000_0901_offendingElement, VR_AT, 0},
        {T_0004_1500_referencedFileId, VR_CS, -8},  {T_0008_0008_imageType, VR_CS, 0},
        {T_0018_1310_acquisitionMatrix, VR_US, 4},  {T_0020_0037_imageOrientation, VR_DS, 6},
        {T_0028_1101_redLutDescriptor, VR_XS, 3},   {T_3006_00c6_frameOfReferenceTransformationMatrix, VR_DS, 16},
        {T_2040_0011_referencedOverlayPlaneGroup, VR_US, -99}, {T_7fe0_0010_pixelData, VR_OX, 1},
        {T_fffe_e000_item, VR_SI, 1},               {T_fffc_fffc_datasetPadding, VR_OB, 1},
    };
    for (const Row& row : rows) {
        DICT_VR vr;
        int vm;
        EXPECT_EQ(Dict.getVrDef(row.tagConst, vr), 0);
        EXPECT_EQ(vr, row.vr) << row.tagConst;
        EXPECT_EQ(Dict.getVm(row.tagConst, vm), 0);
        EXPECT_EQ(vm, row.vm) << row.tagConst;
    }
}

TEST_F(Lookup, VrByTagValueReportsUnderGetVr)
{
    DICT_VR vr = VR_AE;
    EXPECT_EQ(Dict.getVrDef(0x0011, 0x0011, vr), DICT_ERR_NOT_FOUND);
    EXPECT_EQ(vr, VR_UNKNOWN);
    EXPECT_TRUE(log.has("DcDict::getVr", "Tag 0x00110011 is not in dictionary"));
}

TEST_F(Lookup, VrNamesAreCaseSensitive)
{
    DICT_VR vr = VR_AE;
    EXPECT_EQ(Dict.getVrDef("SQ", vr), 0);
    EXPECT_EQ(vr, VR_SQ);
    EXPECT_EQ(Dict.getVrDef("ae", vr), DICT_ERR_NOT_FOUND);
    EXPECT_EQ(vr, VR_UNKNOWN);
    EXPECT_TRUE(log.has("DcDict::getVrDef", "VR 'ae' is not in dictionary"));
    EXPECT_EQ(Dict.getVrDef(static_cast<const char*>(nullptr), vr), DICT_ERR_NULL_ARG);
    EXPECT_EQ(vr, VR_UNKNOWN);
    EXPECT_TRUE(log.has("DcDict::getVrDef", "Null argument passed"));
}

TEST_F(Lookup, VrNamesOfEveryValue)
{
    const char* names[] = {"AE", "AS", "AT", "CS", "DA", "DS", "DT", "FL", "FD", "IS", "LO",
                           "LT", "OB", "OW", "PN", "SH", "SL", "SQ", "SS", "ST", "TM", "UI",
                           "UL", "UN", "US", "UT", "RT", "IM", "EX", "SI", "OX", "XL", "XS"};
    char name[3];
    for (int vr = 0; vr < 33; ++vr) {
        EXPECT_EQ(Dict.getVr(static_cast<DICT_VR>(vr), name), 0);
        EXPECT_STREQ(name, names[vr]);
    }
    strcpy(name, "QQ");
    EXPECT_EQ(Dict.getVr(VR_UNKNOWN, name), DICT_ERR_NOT_FOUND);
    EXPECT_STREQ(name, "");
    EXPECT_TRUE(log.has("DcDict::getVr", "Enum constant VR 33 (0x21) is not in dictionary"));
}

TEST_F(Lookup, VrNameOfATag)
{
    char name[3];
    EXPECT_EQ(Dict.getVr(T_0008_0018_sopInstanceUid, name), 0);
    EXPECT_STREQ(name, "UI");
    EXPECT_EQ(Dict.getVr(0x6004, 0x3000, name), 0);
    EXPECT_STREQ(name, "OX");
    EXPECT_EQ(Dict.getVr(0x0009, 0x0010, name), DICT_ERR_NOT_FOUND);
    EXPECT_STREQ(name, "");
}

TEST_F(Lookup, LengthsAndSwapUnits)
{
    const int lengths[] = {16, 4,   12,  16, 22, 16,    26, 4, 8, 12, 64, 10240, 0, 0, 324, 16, 4,
                           0,  2, 1024, 34, 64, 4, 0, 2, 32768};
    const DICT_VR_SIZE sizes[] = {
        VR_SIZE_BYTE, VR_SIZE_BYTE, VR_SIZE_WORD, VR_SIZE_BYTE, VR_SIZE_BYTE,  VR_SIZE_BYTE, VR_SIZE_BYTE,
        VR_SIZE_FLOAT, VR_SIZE_DOUBLE, VR_SIZE_BYTE, VR_SIZE_BYTE, VR_SIZE_BYTE, VR_SIZE_BYTE, VR_SIZE_WORD,
        VR_SIZE_BYTE, VR_SIZE_BYTE, VR_SIZE_LONG, VR_SIZE_NONE, VR_SIZE_WORD, VR_SIZE_BYTE, VR_SIZE_BYTE,
        VR_SIZE_BYTE, VR_SIZE_LONG, VR_SIZE_BYTE, VR_SIZE_WORD, VR_SIZE_BYTE};
    for (int vr = VR_AE; vr <= VR_UT; ++vr) {
        int len = -1;
        DICT_VR_SIZE size = VR_SIZE_NONE;
        EXPECT_EQ(Dict.getVrLen(static_cast<DICT_VR>(vr), len), 0);
        EXPECT_EQ(len, lengths[vr]) << vr;
        EXPECT_EQ(Dict.getVrSize(static_cast<DICT_VR>(vr), size), 0);
        EXPECT_EQ(size, sizes[vr]) << vr;
    }
    struct Extra {
        DICT_VR vr;
        int len;
        DICT_VR_SIZE size;
    } extras[] = {{VR_SI, 0, VR_SIZE_NONE}, {VR_OX, 0, VR_SIZE_WORD}, {VR_XL, 4, VR_SIZE_LONG}, {VR_XS, 2, VR_SIZE_WORD}};
    for (const Extra& extra : extras) {
        int len = -1;
        DICT_VR_SIZE size = VR_SIZE_NONE;
        EXPECT_EQ(Dict.getVrLen(extra.vr, len), 0);
        EXPECT_EQ(len, extra.len);
        EXPECT_EQ(Dict.getVrSize(extra.vr, size), 0);
        EXPECT_EQ(size, extra.size);
    }
    EXPECT_TRUE(log.entries.empty());
}

TEST_F(Lookup, RetiredAndNamelessVrsHaveNoLength)
{
    int len = -1;
    DICT_VR_SIZE size = VR_SIZE_BYTE;
    EXPECT_EQ(Dict.getVrLen(VR_RT, len), DICT_ERR_NOT_FOUND);
    EXPECT_EQ(len, 0);
    EXPECT_TRUE(log.has("DcDict::getVrLen", "Retired Data Element"));
    EXPECT_EQ(Dict.getVrSize(VR_RT, size), DICT_ERR_NOT_FOUND);
    EXPECT_EQ(size, VR_SIZE_NONE);
    EXPECT_TRUE(log.has("DcDict::getVrSize", "Retired Data Element"));
    for (DICT_VR vr : {VR_IM, VR_EX, VR_UNKNOWN, static_cast<DICT_VR>(-1), static_cast<DICT_VR>(1000)}) {
        len = -1;
        size = VR_SIZE_BYTE;
        EXPECT_EQ(Dict.getVrLen(vr, len), DICT_ERR_NOT_FOUND);
        EXPECT_EQ(len, 0);
        EXPECT_EQ(Dict.getVrSize(vr, size), DICT_ERR_NOT_FOUND);
        EXPECT_EQ(size, VR_SIZE_NONE);
    }
    EXPECT_TRUE(log.has("DcDict::getVrLen", "Enum constant VR 27 (0x1b) is not in dictionary"));
    EXPECT_TRUE(log.has("DcDict::getVrSize", "Enum constant VR -1 (0xffffffff) is not in dictionary"));
}

TEST_F(Lookup, TagNamesAreCutToSixtyCharacters)
{
    char desc[61];
    EXPECT_EQ(Dict.getDesc(T_0004_1200_offsetOfTheFirstDirectoryRecordOfTheRootDirectoryEntity, desc), 0);
    EXPECT_EQ(std::string(desc), std::string("T_0004_1200_offsetOfTheFirstDirectoryRecordOfTheRootDirectoryEntity", 60));
    EXPECT_EQ(Dict.getDesc(0x0008u, 0x0018u, desc), 0);
    EXPECT_STREQ(desc, "T_0008_0018_sopInstanceUid");
    EXPECT_EQ(Dict.getDesc(0x00091234u, desc), DICT_ERR_NOT_FOUND);
    EXPECT_STREQ(desc, "Unknown");
    EXPECT_TRUE(log.has("DcDict::getDesc", "Tag 0x00091234 is not in dictionary"));
}

TEST_F(Lookup, UidStringsAndBack)
{
    char uid[65];
    EXPECT_EQ(Dict.getUid(UID_CT_IMAGE_STORAGE, uid), 0);
    EXPECT_STREQ(uid, "1.2.840.10008.5.1.4.1.1.2");
    DICT_UID value = UID_NONE;
    EXPECT_EQ(Dict.getUidDef("1.2.840.10008.1.2.4.70", value), 0);
    EXPECT_EQ(value, UID_JPEG_LOSSLESS_FIRST_ORDER_PREDICTION);
    EXPECT_EQ(Dict.getUidDef("1.2.840.10008.1.2 ", value), DICT_ERR_NOT_FOUND);
    EXPECT_EQ(value, UID_NONE);
    DICT_UID_TYPE type;
    EXPECT_EQ(Dict.getUidType(UID_DICOM_APP_CONTEXT_NAME, type), 0);
    EXPECT_EQ(type, UID_APPLICATION_CONTEXT);
    EXPECT_EQ(Dict.getUidType("1.2.840.10008.1.2.5", type), 0);
    EXPECT_EQ(type, UID_TRANSFER_SYNTAX);
    EXPECT_EQ(Dict.getUidType(UID_VERIFICATION, type), 0);
    EXPECT_EQ(type, UID_SOP_CLASS);
    EXPECT_EQ(Dict.getUidType(static_cast<DICT_UID>(500), type), DICT_ERR_NOT_FOUND);
}

TEST_F(Lookup, UidFailures)
{
    char uid[65] = "junk";
    EXPECT_EQ(Dict.getUid(UID_NONE, uid), DICT_ERR_NOT_FOUND);
    EXPECT_STREQ(uid, "");
    EXPECT_TRUE(log.entries.empty());
    strcpy(uid, "junk");
    EXPECT_EQ(Dict.getUid(static_cast<DICT_UID>(300), uid), DICT_ERR_NOT_FOUND);
    EXPECT_STREQ(uid, "");
    EXPECT_TRUE(log.has("DcDict::getUid", "Enum constant UID 300 (0x12c) is not in dictionary"));
    EXPECT_EQ(log.entries.back().channel, LOG_CHANNEL_0);
    EXPECT_EQ(Dict.getUid(UID_VERIFICATION, nullptr), DICT_ERR_NULL_ARG);
    EXPECT_EQ(log.entries.back().channel, LOG_CHANNEL_1);
}

TEST_F(Lookup, UidDescriptions)
{
    char desc[61];
    EXPECT_EQ(Dict.getDesc(UID_PATIENT_MANAGEMENT_DETACHED, desc), 0);
    EXPECT_STREQ(desc, "Patient Management Detached");
    EXPECT_EQ(Dict.getDesc(static_cast<DICT_UID>(10), desc), 0);
    EXPECT_STREQ(desc, "Patient Management Detached");
    EXPECT_EQ(Dict.getDesc(static_cast<DICT_UID>(119), desc), 0);
    EXPECT_STREQ(desc, "RLE Lossless");
    EXPECT_EQ(Dict.getDesc(static_cast<DICT_UID>(120), desc), DICT_ERR_NOT_FOUND);
    EXPECT_STREQ(desc, "Unknown");
    EXPECT_TRUE(log.entries.empty());
}

TEST_F(Lookup, MessageDescriptions)
{
    char desc[61];
    EXPECT_EQ(Dict.getDesc(DICT_MSG_IOD, desc), 0);
    EXPECT_STREQ(desc, "Generic IOD");
    EXPECT_EQ(Dict.getDesc(DICT_MSG_N_EVENT_REPORT_RSP, desc), 0);
    EXPECT_STREQ(desc, "N-EVENT Response");
    EXPECT_EQ(Dict.getDesc(DICT_MSG_C_CANCEL_RQ, desc), DICT_ERR_NOT_FOUND);
    EXPECT_STREQ(desc, "Invalid command");
}

TEST_F(Lookup, ByteOrderOfTransferSyntaxes)
{
    ARCH_ENDIAN endian = ENDIAN_UNKNOWN;
    EXPECT_EQ(Dict.getEndian(UID_BIG_ENDIAN_EXPLICIT, endian), 0);
    EXPECT_EQ(endian, ENDIAN_BIG);
    for (int uid = UID_LITTLE_ENDIAN_IMPLICIT; uid <= UID_RLE_LOSSLESS; ++uid) {
        if (uid == UID_BIG_ENDIAN_EXPLICIT)
            continue;
        EXPECT_EQ(Dict.getEndian(static_cast<DICT_UID>(uid), endian), 0);
        EXPECT_EQ(endian, ENDIAN_LITTLE) << uid;
    }
    EXPECT_TRUE(log.entries.empty());
    EXPECT_EQ(Dict.getEndian(UID_VERIFICATION, endian), DICT_ERR_NOT_XFER_SYNTAX);
    EXPECT_EQ(endian, ENDIAN_UNKNOWN);
    EXPECT_TRUE(log.has("DcDict::getEndian", "'1.2.840.10008.1.1' is not a Transfer Syntax UID"));
}
