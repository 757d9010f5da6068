// The DICOM JSON model: value forms, nested sequences, binary values and
// the way back, and malformed documents.
#include <gtest/gtest.h>

#include "Brenik3.h"
#include "Brenik3Codec.h"
#include "codec/JsonText.h"

namespace {

void buildSample(DcElemList& list)
{
    list.add(new DcElem(T_0008_0018_sopInstanceUid, "1.2.3.4"));
    list.add(new DcElem(T_0010_0010_patientName, "Doe^Jane=Ideo^Name"));
    list.add(new DcElem(T_0020_0032_imagePosition, "-12.5\\0\\3.25"));
    list.add(new DcElem(T_0028_0010_rows, static_cast<unsigned short>(2)));
    list.add(new DcElem(T_0028_0009_frameIncrementPointer, "(0018,1063)"));
    unsigned short matrix[] = {0, 256, 256, 0};
    DcElem* acquisition = new DcElem(T_0018_1310_acquisitionMatrix, matrix[0]);
    for (int i = 1; i < 4; i++)
        acquisition->addValue(matrix[i]);
    list.add(acquisition);
    DcElemSq* sequence = new DcElemSq(T_0008_1140_referencedImageSequence);
    for (const char* uid : {"1.2.840.1", "1.2.840.2"}) {
        DcElemSqItem* item = new DcElemSqItem();
        item->add(new DcElem(T_0008_1150_referencedSopClassUid, "1.2.840.10008.5.1.4.1.1.2"));
        item->add(new DcElem(T_0008_1155_referencedSopInstanceUid, uid));
        sequence->add(item);
    }
    list.add(sequence);
    uint8_t pixels[] = {1, 0, 2, 0, 3, 0, 4, 0};
    DcElem* pixelData = new DcElem(static_cast<unsigned short>(0x7FE0), static_cast<unsigned short>(0x0010), nullptr,
                                   0, UID_LITTLE_ENDIAN_EXPLICIT, VR_OW);
    pixelData->addValue(pixels, sizeof pixels, UID_LITTLE_ENDIAN_EXPLICIT);
    list.add(pixelData);
}

JsonNode parse(const std::string& text)
{
    JsonNode root;
    std::string error;
    EXPECT_TRUE(jsonParse(text, root, error)) << error;
    return root;
}

TEST(DicomJson, ValuesTakeTheFormsOfTheirVr)
{
    DcElemList list;
    buildSample(list);
    std::string text;
    ASSERT_EQ(0, jsonFromDataSet(list, UID_LITTLE_ENDIAN_EXPLICIT, nullptr, JsonWriteOptions(), text));
    JsonNode root = parse(text);

    const JsonNode* name = root.member("00100010");
    ASSERT_NE(nullptr, name);
    EXPECT_EQ("PN", name->member("vr")->text);
    EXPECT_EQ("Doe^Jane", name->member("Value")->items[0].member("Alphabetic")->text);
    EXPECT_EQ("Ideo^Name", name->member("Value")->items[0].member("Ideographic")->text);

    const JsonNode* position = root.member("00200032")->member("Value");
    ASSERT_EQ(3u, position->items.size());
    EXPECT_EQ(JsonNode::NUMBER, position->items[0].kind);
    EXPECT_DOUBLE_EQ(-12.5, atof(position->items[0].text.c_str()));

    EXPECT_EQ(JsonNode::NUMBER, root.member("00280010")->member("Value")->items[0].kind);
    EXPECT_EQ("00181063", root.member("00280009")->member("Value")->items[0].text);
    EXPECT_EQ(4u, root.member("00181310")->member("Value")->items.size());

    const JsonNode* items = root.member("00081140")->member("Value");
    ASSERT_EQ(2u, items->items.size());
    EXPECT_EQ("1.2.840.2", items->items[1].member("00081155")->member("Value")->items[0].text);

    std::vector<uint8_t> pixels;
    ASSERT_TRUE(base64Decode(root.member("7FE00010")->member("InlineBinary")->text, pixels));
    EXPECT_EQ((std::vector<uint8_t>{1, 0, 2, 0, 3, 0, 4, 0}), pixels);
}

TEST(DicomJson, ADataSetComesBackFromItsJson)
{
    DcElemList list;
    buildSample(list);
    std::string first, second;
    ASSERT_EQ(0, jsonFromDataSet(list, UID_LITTLE_ENDIAN_EXPLICIT, nullptr, JsonWriteOptions(), first));
    DcElemList back;
    ASSERT_EQ(0, jsonToDataSet(first, ".", back, nullptr));
    ASSERT_EQ(0, jsonFromDataSet(back, UID_LITTLE_ENDIAN_EXPLICIT, nullptr, JsonWriteOptions(), second));
    EXPECT_EQ(first, second);
}

TEST(DicomJson, MetaInformationTravelsWithTheDataSet)
{
    DcElemList list;
    buildSample(list);
    DcDirMetaInfo meta;
    meta.xferSyn = UID_LITTLE_ENDIAN_EXPLICIT;
    meta.sopClassUid = UID_CT_IMAGE_STORAGE;
    strcpy(meta.sopInstanceUid, "1.2.3.4");
    strcpy(meta.implClassUid, "2.999.1");
    std::string text;
    ASSERT_EQ(0, jsonFromDataSet(list, UID_LITTLE_ENDIAN_EXPLICIT, &meta, JsonWriteOptions(), text));
    DcElemList back;
    DcDirMetaInfo backMeta;
    ASSERT_EQ(0, jsonToDataSet(text, ".", back, &backMeta));
    EXPECT_EQ(UID_CT_IMAGE_STORAGE, backMeta.sopClassUid);
    EXPECT_STREQ("1.2.3.4", backMeta.sopInstanceUid);
    EXPECT_STREQ("2.999.1", backMeta.implClassUid);
    EXPECT_NE(0, back.getElem(0x00020010u, static_cast<DcElem**>(nullptr)));  // meta stays out of the data set
}

TEST(DicomJson, MalformedDocumentsAreRefusedWithAStatus)
{
    DcElemList list;
    const char* syntax[] = {"", "[", "{\"00100010\":", "{\"00100010\":{\"vr\":\"PN\"}} x", "[1,2]", "{\"a\":\"\\u12\"}"};
    for (const char* text : syntax)
        EXPECT_EQ(JSON_ERR_SYNTAX, jsonToDataSet(text, ".", list, nullptr)) << text;
    const char* attributes[] = {
        "{\"1234\":{\"vr\":\"CS\"}}",                                  // short tag
        "{\"00100010\":{\"vr\":\"XX\"}}",                              // unknown VR
        "{\"00100010\":{\"vr\":\"PN\",\"Value\":\"Doe\"}}",            // Value not an array
        "{\"00280010\":{\"vr\":\"US\",\"Value\":[\"many\"]}}",         // not a number
        "{\"00280010\":{\"vr\":\"US\",\"Value\":[65536]}}",            // beyond US
        "{\"00280106\":{\"vr\":\"SS\",\"Value\":[-32769]}}",           // below SS
        "{\"00280010\":{\"vr\":\"US\",\"Value\":[1.5]}}",              // not whole
        "{\"00081199\":{\"vr\":\"UL\",\"Value\":[1e70]}}",             // far beyond UL
        "{\"00186020\":{\"vr\":\"SL\",\"Value\":[2147483648]}}",       // beyond SL
        "{\"00189089\":{\"vr\":\"FL\",\"Value\":[1e300]}}",            // beyond FL
        "{\"00280009\":{\"vr\":\"AT\",\"Value\":[\"0018\"]}}",         // short AT
        "{\"7FE00010\":{\"vr\":\"OW\",\"InlineBinary\":\"@@@@\"}}",    // not Base64
        "{\"7FE00010\":{\"vr\":\"OW\",\"BulkDataURI\":\"http://x/y\"}}",  // not a local file
    };
    for (const char* text : attributes)
        EXPECT_EQ(JSON_ERR_ATTRIBUTE, jsonToDataSet(text, ".", list, nullptr)) << text;
    std::string deep;
    for (int i = 0; i < 100; i++)
        deep += "{\"00081140\":{\"vr\":\"SQ\",\"Value\":[";
    EXPECT_NE(0, jsonToDataSet(deep, ".", list, nullptr));
}

}
