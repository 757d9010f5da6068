// The transfer syntaxes the codecs add to the dictionary: taken from the
// current dictionary when it is loaded, added once otherwise, under the same
// names either way.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "Brenik3Codec.h"
#include "dictionary/DcDict.h"

namespace {

struct Expected {
    DICT_UID (*number)();
    const char* uid;
    int current;  // its DICT_UID in the current dictionary
    const char* name;
};

const Expected syntaxes[] = {
    {codecJpegLsLossless, "1.2.840.10008.1.2.4.80", UID_XFER_JPEGLS_LOSSLESS, "JPEG-LS Lossless Image Compression"},
    {codecJpegLsNearLossless, "1.2.840.10008.1.2.4.81", UID_XFER_JPEGLS_NEAR_LOSSLESS,
     "JPEG-LS Lossy (Near-Lossless) Image Compression"},
    {codecJ2kLossless, "1.2.840.10008.1.2.4.90", UID_XFER_JPEG2000_LOSSLESS,
     "JPEG 2000 Image Compression (Lossless Only)"},
    {codecJ2k, "1.2.840.10008.1.2.4.91", UID_XFER_JPEG2000, "JPEG 2000 Image Compression"},
    {codecDeflate, "1.2.840.10008.1.2.1.99", UID_XFER_DEFLATED_EXPLICIT_VR_LITTLE_ENDIAN,
     "Deflated Explicit VR Little Endian"},
};

class CodecSyntaxes : public ::testing::Test {
protected:
    void SetUp() override { Dict.reset(); }
    void TearDown() override { Dict.reset(); }

    // The UID string names exactly this number, which names it back under
    // the expected name as a transfer syntax.
    static void expectOneEntry(const Expected& e, DICT_UID number)
    {
        DICT_UID found = UID_NONE;
        ASSERT_EQ(0, Dict.getUidDef(e.uid, found)) << e.uid;
        EXPECT_EQ(number, found) << e.uid;
        char uid[DICT_UID_MAX + 1] = "";
        char name[DICT_NAME_MAX + 1] = "";
        DICT_UID_TYPE type = UID_TYPE_UNKNOWN;
        EXPECT_EQ(0, Dict.getUid(number, uid));
        EXPECT_STREQ(e.uid, uid);
        EXPECT_EQ(0, Dict.getDesc(number, name));
        EXPECT_STREQ(e.name, name);
        EXPECT_EQ(0, Dict.getUidType(number, type));
        EXPECT_EQ(UID_TRANSFER_SYNTAX, type);
    }
};

}

TEST_F(CodecSyntaxes, CodecUseAloneAddsEachMissingSyntaxOnceUnderItsCurrentName)
{
    for (const Expected& e : syntaxes) {
        DICT_UID number = e.number();
        EXPECT_LT(static_cast<int>(number), static_cast<int>(DICT_CURRENT_UID_FIRST));
        expectOneEntry(e, number);
        codecRegisterSyntaxes();
        EXPECT_EQ(number, e.number()) << "a second registration must not add another entry";
        // Only one entry holds the UID: removing it leaves none behind.
        EXPECT_EQ(0, Dict.subtract(e.uid));
        DICT_UID gone = UID_NONE;
        EXPECT_NE(0, Dict.getUidDef(e.uid, gone));
    }
}

TEST_F(CodecSyntaxes, LoadedCurrentDictionaryIsUsedAsItStands)
{
    ASSERT_EQ(0, Dict.loadCurrent());
    codecRegisterSyntaxes();
    for (const Expected& e : syntaxes) {
        EXPECT_EQ(e.current, static_cast<int>(e.number())) << e.uid;
        expectOneEntry(e, static_cast<DICT_UID>(e.current));
    }
}

TEST_F(CodecSyntaxes, NamesDoNotDependOnWhetherTheCurrentDictionaryIsLoaded)
{
    std::vector<std::string> alone, current;
    for (const Expected& e : syntaxes) {
        char name[DICT_NAME_MAX + 1] = "";
        Dict.getDesc(e.number(), name);
        alone.push_back(name);
    }
    Dict.reset();
    Dict.loadCurrent();
    for (const Expected& e : syntaxes) {
        char name[DICT_NAME_MAX + 1] = "";
        Dict.getDesc(e.number(), name);
        current.push_back(name);
    }
    EXPECT_EQ(alone, current);
}

TEST_F(CodecSyntaxes, AResetDictionaryGetsTheSyntaxesBackOnNextUse)
{
    codecRegisterSyntaxes();
    Dict.reset();
    for (const Expected& e : syntaxes)
        expectOneEntry(e, e.number());
    const PixelCodec* codec = codecFind(codecJpegLsLossless());
    ASSERT_NE(nullptr, codec);
    EXPECT_STREQ("JPEG-LS", codec->name());
}
