#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "dictionary/DcDict.h"
#include "foundation/LogCapture.h"

namespace {

class Current : public ::testing::Test {
protected:
    void SetUp() override { Dict.reset(); }
    void TearDown() override { Dict.reset(); }
};

const unsigned int floatPixelData = 0x7FE00008u;      // OF, outside the built-in table
const unsigned int pixelDataProviderUrl = 0x00287FE0u; // UR
const char* const deflate = "1.2.840.10008.1.2.1.99";
const char* const enhancedCt = "1.2.840.10008.5.1.4.1.1.2.1";

std::string nameOf(unsigned int tag)
{
    char desc[61] = "";
    Dict.getDesc(tag, desc);
    return desc;
}

DICT_VR vrOf(unsigned int tag)
{
    DICT_VR vr = VR_UNKNOWN;
    Dict.getVrDef(tag, vr);
    return vr;
}

}

TEST_F(Current, NothingChangesUntilTheCallAndResetUndoesIt)
{
    for (int round = 0; round < 2; ++round) {
        int tagConst = 0;
        DICT_VR vr;
        DICT_UID uid;
        int len;
        EXPECT_EQ(Dict.getTagDef(floatPixelData, tagConst), DICT_ERR_NOT_FOUND);
        EXPECT_EQ(Dict.getVrDef("OD", vr), DICT_ERR_NOT_FOUND);
        EXPECT_EQ(Dict.getVrLen(VR_UR, len), DICT_ERR_NOT_FOUND);
        EXPECT_EQ(Dict.getUidDef(deflate, uid), DICT_ERR_NOT_FOUND);
        EXPECT_EQ(Dict.add(0x00091010u, VR_LO, 1, nullptr, &tagConst), 0);
        EXPECT_EQ(tagConst, 0x7FE00011);
        EXPECT_FALSE(Dict.isCurrentLoaded());
        Dict.loadCurrent();
        Dict.loadCurrent();
        EXPECT_TRUE(Dict.isCurrentLoaded());
        Dict.reset();
    }
}

TEST_F(Current, AttributesAreKnownByTagConstantNameVrAndVm)
{
    LogCapture log;
    ASSERT_EQ(Dict.loadCurrent(), 0);
    int tagConst = 0;
    ASSERT_EQ(Dict.getTagDef(floatPixelData, tagConst), 0);
    EXPECT_EQ(tagConst, static_cast<int>(floatPixelData));
    unsigned int tag = 0;
    EXPECT_EQ(Dict.getTag(tagConst, tag), 0);
    EXPECT_EQ(tag, floatPixelData);
    EXPECT_EQ(vrOf(floatPixelData), VR_OF);
    EXPECT_EQ(nameOf(floatPixelData), "T_7fe0_0008_floatPixelData");
    EXPECT_EQ(vrOf(pixelDataProviderUrl), VR_UR);
    EXPECT_EQ(vrOf(0x7FE00001u), VR_OV);  // extended offset table
    int vm = 0;
    EXPECT_EQ(Dict.getVm(0x00720076u, vm), 0);  // selector FL value, 1-n
    EXPECT_EQ(vm, 0);
    EXPECT_EQ(Dict.getVm(0x00181310u, vm), 0);  // built-in entry still answers
    EXPECT_EQ(vm, 4);
    EXPECT_TRUE(log.entries.empty());
}

TEST_F(Current, RepeatingGroupsRetiredFlagsAndBuiltInPrecedence)
{
    Dict.loadCurrent();
    // Repeating digits outside 50xx/60xx: (1000,xxx3) and (7Fxx,0010).
    EXPECT_EQ(vrOf(0x10000123u), VR_US);
    EXPECT_EQ(nameOf(0x10000123u), "T_1000_xxx3_huffmanTableTriplet");
    EXPECT_EQ(vrOf(0x7F020010u), VR_OX);
    EXPECT_EQ(vrOf(0x60023000u), VR_OX);
    EXPECT_TRUE(Dict.isRetired(0x10000123u));
    EXPECT_FALSE(Dict.isRetired(floatPixelData));
    EXPECT_FALSE(Dict.isRetired(0x00091010u));
    // The built-in entry keeps its name where both tables know the tag.
    EXPECT_EQ(nameOf(0x00200037u), "T_0020_0037_imageOrientation");
    // Private tags stay unknown until added.
    int tagConst;
    EXPECT_EQ(Dict.getTagDef(0x00291010u, tagConst), DICT_ERR_NOT_FOUND);
}

TEST_F(Current, AddedTagsTakeTheirOwnValueAsConstantOnceLoaded)
{
    Dict.loadCurrent();
    int first = 0, second = 0, existing = 0;
    EXPECT_EQ(Dict.add(0x00091010u, VR_LO, 1, nullptr, &first), 0);
    EXPECT_EQ(first, 0x0009FF10);
    EXPECT_EQ(Dict.add(0x00111020u, VR_SH, 1, "T_0011_xx20_mine", &second), 0);
    EXPECT_EQ(second, 0x0011FF20);
    EXPECT_EQ(Dict.add(floatPixelData, VR_OB, 1, nullptr, &existing), DICT_ERR_EXISTS);
    EXPECT_EQ(existing, static_cast<int>(floatPixelData));
    EXPECT_EQ(vrOf(0x00111120u), VR_SH);
}

TEST_F(Current, NewerVrsHaveNamesLengthsAndSwapUnits)
{
    Dict.loadCurrent();
    struct Row {
        const char* name;
        DICT_VR vr;
        DICT_VR_SIZE size;
    };
    const Row rows[] = {{"OD", VR_OD, VR_SIZE_DOUBLE}, {"OF", VR_OF, VR_SIZE_FLOAT}, {"OL", VR_OL, VR_SIZE_LONG},
                        {"OV", VR_OV, VR_SIZE_VLONG},  {"SV", VR_SV, VR_SIZE_VLONG}, {"UV", VR_UV, VR_SIZE_VLONG},
                        {"UC", VR_UC, VR_SIZE_BYTE},   {"UR", VR_UR, VR_SIZE_BYTE}};
    for (const Row& row : rows) {
        DICT_VR vr;
        DICT_VR_SIZE size;
        char name[3];
        EXPECT_EQ(Dict.getVrDef(row.name, vr), 0) << row.name;
        EXPECT_EQ(vr, row.vr);
        EXPECT_EQ(Dict.getVr(row.vr, name), 0);
        EXPECT_STREQ(name, row.name);
        EXPECT_EQ(Dict.getVrSize(row.vr, size), 0);
        EXPECT_EQ(size, row.size) << row.name;
    }
    int len;
    EXPECT_EQ(Dict.getVrLen(VR_SV, len), 0);
    EXPECT_EQ(len, 8);
    EXPECT_EQ(Dict.getVrLen(VR_IM, len), DICT_ERR_NOT_FOUND);
}

TEST_F(Current, UidsOfTheCurrentStandardWithTheirKinds)
{
    Dict.loadCurrent();
    DICT_UID uid;
    DICT_UID_TYPE type;
    ARCH_ENDIAN endian;
    ASSERT_EQ(Dict.getUidDef(deflate, uid), 0);
    EXPECT_GE(uid, DICT_CURRENT_UID_FIRST);
    EXPECT_EQ(Dict.getUidType(uid, type), 0);
    EXPECT_EQ(type, UID_TRANSFER_SYNTAX);
    EXPECT_EQ(Dict.getEndian(uid, endian), 0);
    EXPECT_EQ(endian, ENDIAN_LITTLE);
    char text[65];
    EXPECT_EQ(Dict.getUid(uid, text), 0);
    EXPECT_STREQ(text, deflate);
    EXPECT_EQ(Dict.getUidType(enhancedCt, type), 0);
    EXPECT_EQ(type, UID_SOP_CLASS);
    EXPECT_EQ(Dict.getUidType("1.2.840.10008.2.16.4", type), 0);  // DICOM controlled terminology
    EXPECT_EQ(type, UID_CODING_SCHEME);
    // Built-in UIDs keep their values and descriptions.
    EXPECT_EQ(Dict.getUidDef("1.2.840.10008.5.1.4.1.1.2", uid), 0);
    EXPECT_EQ(uid, UID_CT_IMAGE_STORAGE);
    EXPECT_EQ(Dict.getDesc(UID_PATIENT_MANAGEMENT_META, text), 0);
    EXPECT_STREQ(text, "Patient Management Detached");
    // Added UIDs still count on from the built-in table.
    EXPECT_EQ(Dict.add("1.2.3.4", nullptr, &uid, UID_SOP_CLASS), 0);
    EXPECT_EQ(uid, 120);
}
