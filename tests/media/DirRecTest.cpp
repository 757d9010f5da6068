#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "MediaTestUtil.h"
#include "media/DcDirDicomDir.h"
#include "media/DcDirRec.h"

namespace {

// One encoded record item with the structural attributes given.
Bytes recordItem(unsigned int next, unsigned int lower, const char* type, bool withFlag = true,
                 unsigned short flag = 0xFFFF)
{
    DcElemList list;
    list.add(new DcElem(T_0004_1400_offsetOfTheNextDirectoryRecord, next));
    if (withFlag)
        list.add(new DcElem(T_0004_1410_recordInUseFlag, flag));
    list.add(new DcElem(T_0004_1420_offsetOfReferencedLowerLevelDirectoryEntity, lower));
    if (type != nullptr)
        list.add(new DcElem(T_0004_1430_recordType, type));
    unsigned int size = 0, len = 0;
    list.getBufSize(size);
    Bytes body(size);
    list.frame(body.data(), len, UID_LITTLE_ENDIAN_EXPLICIT);
    Bytes out = {0xFE, 0xFF, 0x00, 0xE0};
    put32(out, len);
    out.insert(out.end(), body.begin(), body.begin() + len);
    return out;
}

// Records laid out one after another from offset 8; each item's offsets
// are given by the caller, who knows the sizes from recordItem.
struct Layout {
    Bytes bytes = Bytes(8, 0);
    unsigned int add(const Bytes& item)
    {
        unsigned int at = static_cast<unsigned int>(bytes.size());
        bytes.insert(bytes.end(), item.begin(), item.end());
        return at;
    }
};

const unsigned int ITEM = static_cast<unsigned int>(recordItem(0, 0, "PATIENT").size());

}

TEST(DirRecHierarchy, FollowsTheTableOfAllowedLowerLevels)
{
    LogCapture log;
    EXPECT_EQ(DcDirRec::checkLevel(DIR_REC_SERIES, DIR_REC_PATIENT), DIR_ERR_HIERARCHY);
    EXPECT_TRUE(log.has("'SERIES' cannot be a lower level entity to 'PATIENT'"));
    EXPECT_EQ(DcDirRec::checkLevel(DIR_REC_STUDY, DIR_REC_PATIENT), 0);
    EXPECT_EQ(DcDirRec::checkLevel(DIR_REC_IMAGE, DIR_REC_TOPIC), 0);
    EXPECT_EQ(DcDirRec::checkLevel(DIR_REC_MRDR, DIR_REC_DICOMDIR), 0);
    EXPECT_EQ(DcDirRec::checkLevel(DIR_REC_IMAGE_BOX, DIR_REC_FILM_BOX), 0);
    for (int parent = DIR_REC_PATIENT; parent <= DIR_REC_DICOMDIR; ++parent) {
        int expected = parent == DIR_REC_MRDR ? DIR_ERR_HIERARCHY : 0;
        EXPECT_EQ(DcDirRec::checkLevel(DIR_REC_PRIVATE, static_cast<DIR_REC>(parent)), expected) << parent;
        EXPECT_EQ(DcDirRec::checkLevel(DIR_REC_UNKNOWN, static_cast<DIR_REC>(parent)), 0) << parent;
    }
    EXPECT_EQ(DcDirRec::checkLevel(DIR_REC_IMAGE, DIR_REC_UNKNOWN), DIR_ERR_HIERARCHY);

    DcDirRec patient(DIR_REC_PATIENT);
    DcDirRec* series = new DcDirRec(DIR_REC_SERIES);
    EXPECT_EQ(patient.add(series), nullptr);
    EXPECT_EQ(patient.first(), nullptr);
    EXPECT_EQ(series->parent(), nullptr);
    delete series;
    DcDirRec* study = patient.add(new DcDirRec(DIR_REC_STUDY));
    ASSERT_NE(study, nullptr);
    EXPECT_EQ(study->parent(), &patient);
    EXPECT_EQ(patient.subtract(study), nullptr);
    EXPECT_EQ(patient.first(), nullptr);
    delete study;
}

class DirRecFileId : public ::testing::Test {
protected:
    TempDir dir;
    DcDirDicomDir root{dir.path.c_str()};
    DcDirRec* image = nullptr;

    void SetUp() override
    {
        ASSERT_EQ(writeImageFile(dir.path, "PAT1/IMG_1", "2.999.7321.6.1"), 0);
        DcDirRec* patient = root.add(new DcDirRec(DIR_REC_PATIENT));
        DcDirRec* study = patient->add(new DcDirRec(DIR_REC_STUDY));
        DcDirRec* series = study->add(new DcDirRec(DIR_REC_SERIES));
        image = series->add(new DcDirRec(DIR_REC_IMAGE));
    }
};

TEST_F(DirRecFileId, AnEmptyFileIdClearsTheReference)
{
    ASSERT_EQ(image->setRefFile("PAT1\\IMG_1"), 0);
    EXPECT_EQ(image->setRefFile(""), 0);
    DcDirRecInfo info;
    image->getInfo(info);
    EXPECT_STREQ(info.fileId, "");
    EXPECT_EQ(info.refSopClass, UID_NONE);
}

TEST_F(DirRecFileId, RefusesBadFileIds)
{
    LogCapture log;
    EXPECT_EQ(image->setRefFile(nullptr), DIR_ERR_NULL_ARG);
    EXPECT_EQ(image->setRefFile(std::string(72, 'A').c_str()), DIR_ERR_MALFORMED);
    EXPECT_TRUE(log.has("File ID string exceeds 71 char limit"));
    EXPECT_EQ(image->setRefFile("PAT1\\img_1"), DIR_ERR_BAD_FILE_ID);
    EXPECT_TRUE(log.has("Invalid character - 'i' in string 'PAT1\\img_1'"));
    EXPECT_EQ(image->setRefFile("PAT1\\IMAGE0001"), DIR_ERR_BAD_FILE_ID);
    EXPECT_TRUE(log.has("Record ID string 'PAT1\\IMAGE0001' exceeds 8 char limit"));
    EXPECT_EQ(image->setRefFile("PAT1\\\\IMG_1"), DIR_ERR_BAD_FILE_ID);
    EXPECT_EQ(image->setRefFile("A\\B\\C\\D\\E\\F\\G\\H\\I"), DIR_ERR_BAD_FILE_ID);
    EXPECT_TRUE(log.has("Number of Entities exceeds 8 in 'A\\B\\C\\D\\E\\F\\G\\H\\I'"));
    EXPECT_EQ(image->setRefFile("PAT1\\IMG_2"), DIR_ERR_STAT);
    EXPECT_TRUE(log.has("File '" + dir.path + "/PAT1/IMG_2' not found"));

    ASSERT_EQ(image->setRefFile("PAT1\\IMG_1"), 0);
    DcDirRec* other = image->parent()->add(new DcDirRec(DIR_REC_IMAGE));
    EXPECT_EQ(other->setRefFile("PAT1\\IMG_1"), DIR_ERR_BAD_FILE_ID);
    EXPECT_TRUE(log.has("File ID 'PAT1\\IMG_1' is already in use"));

    DcDirRec loose(DIR_REC_PATIENT);
    EXPECT_EQ(loose.setRefFile("PAT1\\IMG_1"), DIR_ERR_HIERARCHY);
    EXPECT_TRUE(log.has("Topmost object in hierarchy is 'PATIENT', expecting DICOMDIR"));
    EXPECT_EQ(loose.setPvtRecUid(std::string(65, '1').c_str()), DIR_ERR_MALFORMED);
    EXPECT_TRUE(log.has("Private Record UID string exceeds 64 char limit"));
}

TEST(DirRecFrame, MrdrWithoutReferencesIsNotWritten)
{
    DcDirRec mrdr(DIR_REC_MRDR);
    Bytes buf(1024);
    unsigned int len = 99;
    EXPECT_EQ(mrdr.frame(buf.data(), 0, len, DIR_CHILD_INCLUDE), 0);
    EXPECT_EQ(len, 0u);
}

TEST(DirRecParse, InactiveRecordIsNotChecked)
{
    Layout layout;
    unsigned int at = layout.add(recordItem(0, 0, nullptr, true, 0));
    LogCapture log;
    DcDirRec rec(nullptr, layout.bytes.data(), at, static_cast<unsigned int>(layout.bytes.size()));
    EXPECT_EQ(rec.getParseStatus(), 0);
    EXPECT_TRUE(log.entries.empty());
    DcDirRecInfo info;
    rec.getInfo(info);
    EXPECT_EQ(info.inUse, DIR_REC_INACTIVE);
}

TEST(DirRecParse, ReportsMissingAndInvalidAttributesAndGoesOn)
{
    LogCapture log;
    Layout layout;
    Bytes withoutFlag = recordItem(0, 0, "PATIENT", false);
    unsigned int second = 8 + static_cast<unsigned int>(withoutFlag.size());
    unsigned int first = layout.add(recordItem(second, 0, "PATIENT", false));
    layout.add(recordItem(0, 0, "NOTHING"));
    DcDirDicomDir root("/tmp");
    DcDirRec* rec = new DcDirRec(&root, layout.bytes.data(), first, static_cast<unsigned int>(layout.bytes.size()));
    EXPECT_EQ(rec->getParseStatus(), DIR_ERR_INVALID);
    EXPECT_TRUE(log.has("Offset - 8 (0x000008), T_0004_1410_recordInUseFlag missing or invalid"));
    char expected[100];
    snprintf(expected, sizeof expected, "Offset - %u (0x%06x), invalid Record Type - 'NOTHING'", second, second);
    EXPECT_TRUE(log.has(expected));
    EXPECT_EQ(root.first(), rec);
    EXPECT_NE(rec->next(), nullptr);

    Layout privateLayout;
    unsigned int at = privateLayout.add(recordItem(0, 0, "PRIVATE"));
    DcDirRec pvt(nullptr, privateLayout.bytes.data(), at, static_cast<unsigned int>(privateLayout.bytes.size()));
    EXPECT_TRUE(log.has("Offset - 8 (0x000008), T_0004_1432_privateRecordUid missing or invalid"));
}

TEST(DirRecParse, OffsetsOutsideTheDataEndTheWalkWithAStatus)
{
    LogCapture log;
    Layout layout;
    unsigned int first = layout.add(recordItem(100000, 0, "PATIENT"));
    unsigned int len = static_cast<unsigned int>(layout.bytes.size());
    DcDirDicomDir root("/tmp");
    DcDirRec* rec = new DcDirRec(&root, layout.bytes.data(), first, len);
    EXPECT_EQ(rec->getParseStatus(), DIR_ERR_OFFSET);
    char expected[100];
    snprintf(expected, sizeof expected, "Offset 100000 (0x0186a0) exceeds buffer length %u (0x%06x)", len, len);
    EXPECT_TRUE(log.has(expected));

    DcDirRec beyond(nullptr, layout.bytes.data(), len - 4, len);
    EXPECT_EQ(beyond.getParseStatus(), DIR_ERR_OFFSET);
    DcDirRec none(nullptr, nullptr, 0, 0);
    EXPECT_EQ(none.getParseStatus(), DIR_ERR_NULL_ARG);

    // An item whose length runs past the end of the data.
    Bytes cut = layout.bytes;
    cut.resize(cut.size() - 6);
    DcDirRec truncated(nullptr, cut.data(), first, static_cast<unsigned int>(cut.size()));
    EXPECT_EQ(truncated.getParseStatus(), DIR_ERR_OFFSET);
    // An offset that does not lead to an item.
    DcDirRec notItem(nullptr, layout.bytes.data(), 0, len);
    EXPECT_EQ(notItem.getParseStatus(), DIR_ERR_INVALID);
}

TEST(DirRecParse, LoopsOfSiblingsOrLowerLevelsEnd)
{
    LogCapture log;
    Layout siblings;
    siblings.add(recordItem(8 + ITEM, 0, "PATIENT"));
    siblings.add(recordItem(8, 0, "PATIENT"));
    DcDirDicomDir root("/tmp");
    DcDirRec* rec = new DcDirRec(&root, siblings.bytes.data(), 8, static_cast<unsigned int>(siblings.bytes.size()));
    EXPECT_EQ(rec->getParseStatus(), DIR_ERR_LOOP);
    EXPECT_TRUE(log.has("Offset 8 (0x000008) reached again, directory records form a loop"));
    EXPECT_EQ(root.first()->next()->next(), nullptr);

    Layout lower;
    lower.add(recordItem(0, 8 + ITEM, "PATIENT"));
    lower.add(recordItem(0, 8, "STUDY"));
    DcDirDicomDir root2("/tmp");
    rec = new DcDirRec(&root2, lower.bytes.data(), 8, static_cast<unsigned int>(lower.bytes.size()));
    EXPECT_EQ(rec->getParseStatus(), DIR_ERR_LOOP);
    ASSERT_NE(rec->first(), nullptr);
    EXPECT_EQ(rec->first()->first(), nullptr);
}

TEST(DirRecParse, DeepLowerLevelChainsAreBounded)
{
    LogCapture log;
    Layout chain;
    for (unsigned int i = 0; i < DIR_REC_NEST_MAX + 10; ++i)
        chain.add(recordItem(0, 8 + (i + 1) * ITEM, "PRIVATE"));
    chain.add(recordItem(0, 0, "PRIVATE"));
    DcDirRec rec(nullptr, chain.bytes.data(), 8, static_cast<unsigned int>(chain.bytes.size()));
    EXPECT_EQ(rec.getParseStatus(), DIR_ERR_INVALID);  // the first problem: no private record UIDs
    char expected[100];
    unsigned int deepest = 8 + DIR_REC_NEST_MAX * ITEM;
    snprintf(expected, sizeof expected, "Offset - %u (0x%06x), lower levels nest deeper than %d", deepest, deepest,
             DIR_REC_NEST_MAX);
    EXPECT_TRUE(log.has(expected));
}

TEST(DirRecPrint, DrawsTheTreeAndTheLinks)
{
    DcDirDicomDir root("/tmp");
    DcDirRec* patient = root.add(new DcDirRec(DIR_REC_PATIENT));
    patient->add(new DcDirRec(DIR_REC_STUDY));
    patient->add(new DcDirRec(DIR_REC_STUDY));
    root.add(new DcDirRec(DIR_REC_TOPIC));
    char* text = nullptr;
    size_t size = 0;
    FILE* stream = open_memstream(&text, &size);
    root.printNodeTree(stream);
    patient->printNodeList(stream, DIR_CHILD_EXCLUDE);
    fclose(stream);
    std::string out(text, size);
    free(text);
    EXPECT_NE(out.find("DICOMDIR \n  |--PATIENT \n  |    |--STUDY \n  |    +--STUDY \n  +--TOPIC \n"),
              std::string::npos);
    EXPECT_NE(out.find(" parent DICOMDIR"), std::string::npos);
    EXPECT_NE(out.find(" next   TOPIC"), std::string::npos);
    EXPECT_NE(out.find(" child  STUDY"), std::string::npos);
}
