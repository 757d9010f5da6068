#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <set>
#include <string>

#include "dictionary/DcDict.h"
#include "dictionary/DcDictTables.h"
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

const char* const ANY = nullptr;  // report not checked
const char* const SILENT = "";     // nothing may be reported

std::string str(long long value)
{
    return std::to_string(value);
}

}

TEST_F(Lookup, TagsAndConstantsIncludingRepeatingAndPrivateGroups)
{
    const struct {
        unsigned int tag;
        int tagConst;
    } rows[] = {
        {0x00080018u, T_0008_0018_sopInstanceUid},    {0x60003000u, T_60xx_3000_overlayData},
        {0x60FE3000u, T_60xx_3000_overlayData},       {0x60013000u, T_60xx_3000_overlayData},
        {0x50000005u, T_50xx_0005_curveDimension},    {0x02491011u, T_0249_xx11_planCreationDate},
        {0x02492011u, T_0249_xx11_planCreationDate},  {0x02490010u, T_0249_00xx_privateCreatorId},
        {0x02490000u, T_0249_0000_groupLength},
    };
    for (const auto& row : rows) {
        int tagConst = 0;
        EXPECT_EQ(Dict.getTagDef(row.tag, tagConst), 0) << std::hex << row.tag;
        EXPECT_EQ(tagConst, row.tagConst) << std::hex << row.tag;
    }
    unsigned short group = 0, element = 0;
    EXPECT_EQ(Dict.getTag(T_60xx_3000_overlayData, group, element), 0);
    EXPECT_EQ(group, 0x60FF);
    EXPECT_EQ(element, 0x3000);
    // A plain tag number where a constant is expected is taken as a tag.
    DICT_VR vr = VR_AE;
    int vm = 0;
    char text[61];
    EXPECT_EQ(Dict.getVrDef(0x60023000, vr), 0);
    EXPECT_EQ(vr, VR_OX);
    EXPECT_EQ(Dict.getVm(0x60023000, vm), 0);
    EXPECT_EQ(vm, 1);
    EXPECT_EQ(Dict.getDesc(0x60023000, text), 0);
    EXPECT_STREQ(text, "T_60xx_3000_overlayData");
    EXPECT_EQ(Dict.getVr(0x6004, 0x3000, text), 0);
    EXPECT_STREQ(text, "OX");
    EXPECT_EQ(Dict.getDesc(0x0008u, 0x0018u, text), 0);
    EXPECT_STREQ(text, "T_0008_0018_sopInstanceUid");
    EXPECT_EQ(Dict.getDesc(T_0004_1200_offsetOfTheFirstDirectoryRecordOfTheRootDirectoryEntity, text), 0);
    EXPECT_EQ(std::string(text), std::string("T_0004_1200_offsetOfTheFirstDirectoryRecordOfTheRootDirectoryEntity", 60));
    EXPECT_TRUE(log.entries.empty());
}

TEST_F(Lookup, VrAndVmOfTellingRows)
{
    const struct {
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
    for (const auto& row : rows) {
        DICT_VR vr;
        int vm;
        EXPECT_EQ(Dict.getVrDef(row.tagConst, vr), 0);
        EXPECT_EQ(vr, row.vr) << row.tagConst;
        EXPECT_EQ(Dict.getVm(row.tagConst, vm), 0);
        EXPECT_EQ(vm, row.vm) << row.tagConst;
    }
}

// Name, maximum length and swap unit of every VR; a length of -1 marks the
// retired and nameless ones, which have neither.
TEST_F(Lookup, VrNamesLengthsAndSwapUnits)
{
    const struct {
        const char* name;
        int len;
        DICT_VR_SIZE size;
    } rows[] = {
        {"AE", 16, VR_SIZE_BYTE},   {"AS", 4, VR_SIZE_BYTE},      {"AT", 12, VR_SIZE_WORD},
        {"CS", 16, VR_SIZE_BYTE},   {"DA", 22, VR_SIZE_BYTE},     {"DS", 16, VR_SIZE_BYTE},
        {"DT", 26, VR_SIZE_BYTE},   {"FL", 4, VR_SIZE_FLOAT},     {"FD", 8, VR_SIZE_DOUBLE},
        {"IS", 12, VR_SIZE_BYTE},   {"LO", 64, VR_SIZE_BYTE},     {"LT", 10240, VR_SIZE_BYTE},
        {"OB", 0, VR_SIZE_BYTE},    {"OW", 0, VR_SIZE_WORD},      {"PN", 324, VR_SIZE_BYTE},
        {"SH", 16, VR_SIZE_BYTE},   {"SL", 4, VR_SIZE_LONG},      {"SQ", 0, VR_SIZE_NONE},
        {"SS", 2, VR_SIZE_WORD},    {"ST", 1024, VR_SIZE_BYTE},   {"TM", 34, VR_SIZE_BYTE},
        {"UI", 64, VR_SIZE_BYTE},   {"UL", 4, VR_SIZE_LONG},      {"UN", 0, VR_SIZE_BYTE},
        {"US", 2, VR_SIZE_WORD},    {"UT", 32768, VR_SIZE_BYTE},  {"RT", -1, VR_SIZE_NONE},
        {"IM", -1, VR_SIZE_NONE},   {"EX", -1, VR_SIZE_NONE},     {"SI", 0, VR_SIZE_NONE},
        {"OX", 0, VR_SIZE_WORD},    {"XL", 4, VR_SIZE_LONG},      {"XS", 2, VR_SIZE_WORD},
    };
    for (int vr = 0; vr < 33; ++vr) {
        SCOPED_TRACE(rows[vr].name);
        char name[3];
        DICT_VR back = VR_UNKNOWN;
        EXPECT_EQ(Dict.getVr(static_cast<DICT_VR>(vr), name), 0);
        EXPECT_STREQ(name, rows[vr].name);
        EXPECT_EQ(Dict.getVrDef(name, back), 0);
        EXPECT_EQ(back, vr);
        int len = -2;
        DICT_VR_SIZE size = VR_SIZE_BYTE;
        int expected = rows[vr].len < 0 ? DICT_ERR_NOT_FOUND : 0;
        EXPECT_EQ(Dict.getVrLen(static_cast<DICT_VR>(vr), len), expected);
        EXPECT_EQ(len, rows[vr].len < 0 ? 0 : rows[vr].len);
        EXPECT_EQ(Dict.getVrSize(static_cast<DICT_VR>(vr), size), expected);
        EXPECT_EQ(size, rows[vr].size);
    }
}

TEST_F(Lookup, UidsDescriptionsAndByteOrder)
{
    char text[65];
    EXPECT_EQ(Dict.getUid(UID_CT_IMAGE_STORAGE, text), 0);
    EXPECT_STREQ(text, "1.2.840.10008.5.1.4.1.1.2");
    DICT_UID value = UID_NONE;
    EXPECT_EQ(Dict.getUidDef("1.2.840.10008.1.2.4.70", value), 0);
    EXPECT_EQ(value, UID_JPEG_LOSSLESS_FIRST_ORDER_PREDICTION);
    DICT_UID_TYPE type;
    EXPECT_EQ(Dict.getUidType(UID_DICOM_APP_CONTEXT_NAME, type), 0);
    EXPECT_EQ(type, UID_APPLICATION_CONTEXT);
    EXPECT_EQ(Dict.getUidType("1.2.840.10008.1.2.5", type), 0);
    EXPECT_EQ(type, UID_TRANSFER_SYNTAX);
    EXPECT_EQ(Dict.getDesc(static_cast<DICT_UID>(10), text), 0);
    EXPECT_STREQ(text, "Patient Management Detached");
    EXPECT_EQ(Dict.getDesc(UID_RLE_LOSSLESS, text), 0);
    EXPECT_STREQ(text, "RLE Lossless");
    EXPECT_EQ(Dict.getDesc(DICT_MSG_IOD, text), 0);
    EXPECT_STREQ(text, "Generic IOD");
    EXPECT_EQ(Dict.getDesc(DICT_MSG_N_EVENT_REPORT_RSP, text), 0);
    EXPECT_STREQ(text, "N-EVENT Response");
    for (int uid = UID_LITTLE_ENDIAN_IMPLICIT; uid <= UID_RLE_LOSSLESS; ++uid) {
        ARCH_ENDIAN endian = ENDIAN_UNKNOWN;
        EXPECT_EQ(Dict.getEndian(static_cast<DICT_UID>(uid), endian), 0);
        EXPECT_EQ(endian, uid == UID_BIG_ENDIAN_EXPLICIT ? ENDIAN_BIG : ENDIAN_LITTLE) << uid;
    }
    EXPECT_TRUE(log.entries.empty());
}

// Each failing look-up: its status, what it leaves in the output, and its
// report (function and message, or none at all).
TEST_F(Lookup, FailuresGiveStatusNeutralOutputAndTheirReport)
{
    typedef std::function<int(std::string&)> Call;
    const struct {
        const char* what;
        Call call;
        int status;
        std::string out;
        const char* function;
        const char* message;
        int channel;
    } cases[] = {
        {"getTag", [](std::string& o) { unsigned int t = 0; int s = Dict.getTag(12345, t); o = str(t); return s; },
         DICT_ERR_NOT_FOUND, "4294967295", "DcDict::getTag", "Enum constant Tag 12345 (0x3039) is not in dictionary", 0},
        {"getTagDef", [](std::string& o) { int c = 0; int s = Dict.getTagDef(0x00091010u, c); o = str(c); return s; },
         DICT_ERR_NOT_FOUND, "-1", "", SILENT, -1},
        {"private group length", [](std::string& o) { int c = 0; int s = Dict.getTagDef(0x00090000u, c); o = str(c); return s; },
         DICT_ERR_NOT_FOUND, "-1", "", ANY, -1},
        {"getVm tag", [](std::string& o) { int v = 5; int s = Dict.getVm(0x00091010u, v); o = str(v); return s; },
         DICT_ERR_NOT_FOUND, "0", "DcDict::getVm", "Tag 0x00091010 is not in dictionary", -1},
        {"getVm const", [](std::string& o) { int v = 5; int s = Dict.getVm(777, v); o = str(v); return s; },
         DICT_ERR_NOT_FOUND, "0", "", SILENT, -1},
        {"getVrDef const", [](std::string& o) { DICT_VR v = VR_AE; int s = Dict.getVrDef(777, v); o = str(v); return s; },
         DICT_ERR_NOT_FOUND, "33", "", SILENT, -1},
        {"getVrDef number", [](std::string& o) { DICT_VR v = VR_AE; int s = Dict.getVrDef(0x12345, v); o = str(v); return s; },
         DICT_ERR_NOT_FOUND, "33", "", SILENT, -1},
        {"getVrDef g,e", [](std::string& o) { DICT_VR v = VR_AE; int s = Dict.getVrDef(0x0011, 0x0011, v); o = str(v); return s; },
         DICT_ERR_NOT_FOUND, "33", "DcDict::getVr", "Tag 0x00110011 is not in dictionary", -1},
        {"getVrDef name", [](std::string& o) { DICT_VR v = VR_AE; int s = Dict.getVrDef("ae", v); o = str(v); return s; },
         DICT_ERR_NOT_FOUND, "33", "DcDict::getVrDef", "VR 'ae' is not in dictionary", -1},
        {"getVrDef null", [](std::string& o) { DICT_VR v = VR_AE; int s = Dict.getVrDef(static_cast<const char*>(nullptr), v); o = str(v); return s; },
         DICT_ERR_NULL_ARG, "33", "DcDict::getVrDef", "Null argument passed", -1},
        {"getVr", [](std::string& o) { char n[3] = "QQ"; int s = Dict.getVr(VR_UNKNOWN, n); o = n; return s; },
         DICT_ERR_NOT_FOUND, "", "DcDict::getVr", "Enum constant VR 33 (0x21) is not in dictionary", -1},
        {"getVr g,e", [](std::string& o) { char n[3] = "QQ"; int s = Dict.getVr(0x0009, 0x0010, n); o = n; return s; },
         DICT_ERR_NOT_FOUND, "", "", ANY, -1},
        {"getVrLen RT", [](std::string& o) { int l = -1; int s = Dict.getVrLen(VR_RT, l); o = str(l); return s; },
         DICT_ERR_NOT_FOUND, "0", "DcDict::getVrLen", "Retired Data Element", -1},
        {"getVrSize RT", [](std::string& o) { DICT_VR_SIZE z = VR_SIZE_BYTE; int s = Dict.getVrSize(VR_RT, z); o = str(z); return s; },
         DICT_ERR_NOT_FOUND, "5", "DcDict::getVrSize", "Retired Data Element", -1},
        {"getVrLen IM", [](std::string& o) { int l = -1; int s = Dict.getVrLen(VR_IM, l); o = str(l); return s; },
         DICT_ERR_NOT_FOUND, "0", "DcDict::getVrLen", "Enum constant VR 27 (0x1b) is not in dictionary", -1},
        {"getVrLen 1000", [](std::string& o) { int l = -1; int s = Dict.getVrLen(static_cast<DICT_VR>(1000), l); o = str(l); return s; },
         DICT_ERR_NOT_FOUND, "0", "", ANY, -1},
        {"getVrSize -1", [](std::string& o) { DICT_VR_SIZE z = VR_SIZE_BYTE; int s = Dict.getVrSize(static_cast<DICT_VR>(-1), z); o = str(z); return s; },
         DICT_ERR_NOT_FOUND, "5", "DcDict::getVrSize", "Enum constant VR -1 (0xffffffff) is not in dictionary", -1},
        {"getDesc const", [](std::string& o) { char d[61]; int s = Dict.getDesc(777, d); o = d; return s; },
         DICT_ERR_NOT_FOUND, "Unknown", "", SILENT, -1},
        {"getDesc tag", [](std::string& o) { char d[61]; int s = Dict.getDesc(0x00091234u, d); o = d; return s; },
         DICT_ERR_NOT_FOUND, "Unknown", "DcDict::getDesc", "Tag 0x00091234 is not in dictionary", -1},
        {"getDesc uid", [](std::string& o) { char d[61]; int s = Dict.getDesc(static_cast<DICT_UID>(120), d); o = d; return s; },
         DICT_ERR_NOT_FOUND, "Unknown", "", SILENT, -1},
        {"getDesc cancel", [](std::string& o) { char d[61]; int s = Dict.getDesc(DICT_MSG_C_CANCEL_RQ, d); o = d; return s; },
         DICT_ERR_NOT_FOUND, "Invalid command", "", ANY, -1},
        {"getUid none", [](std::string& o) { char u[65] = "junk"; int s = Dict.getUid(UID_NONE, u); o = u; return s; },
         DICT_ERR_NOT_FOUND, "", "", SILENT, -1},
        {"getUid 300", [](std::string& o) { char u[65] = "junk"; int s = Dict.getUid(static_cast<DICT_UID>(300), u); o = u; return s; },
         DICT_ERR_NOT_FOUND, "", "DcDict::getUid", "Enum constant UID 300 (0x12c) is not in dictionary", 0},
        {"getUid null", [](std::string& o) { o = ""; return Dict.getUid(UID_VERIFICATION, nullptr); },
         DICT_ERR_NULL_ARG, "", "", ANY, 1},
        {"getUidDef", [](std::string& o) { DICT_UID u = UID_VERIFICATION; int s = Dict.getUidDef("1.2.840.10008.1.2 ", u); o = str(u); return s; },
         DICT_ERR_NOT_FOUND, "0", "", ANY, -1},
        {"getUidType", [](std::string& o) { DICT_UID_TYPE t; o = ""; return Dict.getUidType(static_cast<DICT_UID>(500), t); },
         DICT_ERR_NOT_FOUND, "", "", ANY, -1},
        {"getEndian", [](std::string& o) { ARCH_ENDIAN e = ENDIAN_BIG; int s = Dict.getEndian(UID_VERIFICATION, e); o = str(e); return s; },
         DICT_ERR_NOT_XFER_SYNTAX, "2", "DcDict::getEndian", "'1.2.840.10008.1.1' is not a Transfer Syntax UID", -1},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        log.entries.clear();
        std::string out;
        EXPECT_EQ(c.call(out), c.status);
        EXPECT_EQ(out, c.out);
        if (c.message == SILENT) {
            EXPECT_TRUE(log.entries.empty());
        } else if (c.message != ANY) {
            EXPECT_TRUE(log.has(c.function, c.message));
        }
        if (c.channel >= 0) {
            ASSERT_FALSE(log.entries.empty());
            EXPECT_EQ(log.entries.back().channel, c.channel);
        }
    }
}

TEST_F(Lookup, EveryBuiltInSequenceListLoadsWithKnownMembers)
{
    EXPECT_TRUE(log.entries.empty());  // nothing was reported by the reset
    int lists = 0;
    std::set<unsigned int> sequences;
    for (int g = 0; g < DcDictBuiltinSqGroupCount; ++g)
        for (int i = 0; i < DcDictBuiltinSqGroups[g].count; ++i) {
            const DcDictSqDef& list = DcDictBuiltinSqGroups[g].lists[i];
            SCOPED_TRACE(list.sqTag);
            ++lists;
            EXPECT_TRUE(sequences.insert(list.sqTag).second);
            EXPECT_EQ(std::set<unsigned int>(list.members, list.members + list.count).size(),
                      static_cast<size_t>(list.count));
            DICT_VR vr;
            EXPECT_EQ(Dict.getVrDef(list.sqTag, vr), 0);
            EXPECT_EQ(vr, VR_SQ);
            unsigned int members[DICT_SQ_MEMBER_LIMIT];
            int count = 0;
            ASSERT_EQ(Dict.getSqTagList(list.sqTag, members, count), 0);
            ASSERT_EQ(count, list.count);
            ASSERT_GT(count, 0);
            for (int m = 0; m < count; ++m) {
                EXPECT_EQ(members[m], list.members[m]);
                int tagConst;
                EXPECT_EQ(Dict.getTagDef(members[m], tagConst), 0) << std::hex << members[m];
            }
        }
    EXPECT_LE(lists, DICT_SQ_SLOTS);
    for (int sequence : {T_0004_1220_directoryRecordSequence, T_0008_1115_referencedSeriesSequence,
                         T_0008_2112_sourceImageSequence, T_0040_0100_scheduledProcedureStepSequence,
                         T_0028_3010_voilutSequence, T_3006_0039_roiContourSequence, T_300a_00b0_beamSequence,
                         T_2020_0110_basicGrayscaleImageSequence, T_5400_0100_waveformSequence,
                         T_0088_0200_iconImageSequence}) {
        unsigned int members[DICT_SQ_MEMBER_LIMIT];
        int count = 0;
        EXPECT_EQ(Dict.getSqTagList(sequence, members, count), 0) << std::hex << sequence;
    }
    unsigned int members[DICT_SQ_MEMBER_LIMIT];
    int count = 0;
    ASSERT_EQ(Dict.getSqTagList(T_0040_a043_conceptNameCodeSequence, members, count), 0);
    std::set<unsigned int> tags(members, members + count);
    for (unsigned int tag : {0x00080100u, 0x00080102u, 0x00080103u, 0x00080104u})
        EXPECT_EQ(tags.count(tag), 1u) << std::hex << tag;
    EXPECT_TRUE(log.entries.empty());
}
