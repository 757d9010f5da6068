// The archive's index: what each kind of key matches, the counts kept as
// objects arrive and leave, and the identifiers it refuses.
#include <algorithm>
#include <filesystem>

#include <gtest/gtest.h>

#include <Brenik3.h>

#include "archive/ArchiveIndex.h"
#include "archive/Storage.h"

using namespace b3archive;
namespace fs = std::filesystem;

namespace {

struct Object {
    std::string patientId, patientName, studyUid, studyDate, studyTime, seriesUid, modality, sopUid;
};

IndexedObject indexed(const Object& o)
{
    IndexedObject object;
    object.values = {{0x00100020, o.patientId}, {0x00100010, o.patientName}, {0x0020000D, o.studyUid},
                     {0x00080020, o.studyDate}, {0x00080030, o.studyTime},   {0x0020000E, o.seriesUid},
                     {0x00080060, o.modality},  {0x00080018, o.sopUid},      {0x00080016, "1.2.840.10008.5.1.4.1.1.2"}};
    object.path = o.studyUid + "/" + o.sopUid + ".dcm";
    return object;
}

// An element as decoded from a caller's identifier: the value bytes as sent.
DcElem* received(int tag, std::string value)
{
    if (value.size() % 2 != 0)
        value += ' ';
    std::vector<char> bytes(value.begin(), value.end());
    return new DcElem(tag, bytes.data(), static_cast<unsigned int>(bytes.size()), UID_LITTLE_ENDIAN_IMPLICIT);
}

class IndexTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        dir = fs::temp_directory_path() / ("b3-index-" + std::to_string(getpid()));
        fs::remove_all(dir);
        fs::create_directories(dir);
        std::string error;
        index = openSqliteIndex(dir + "/index.sqlite", error);
        ASSERT_NE(index, nullptr) << error;
        for (const Object& o : {
                 Object{"P1", "Doe^John", "1.1", "20240105", "083000", "1.1.1", "CT", "1.1.1.1"},
                 Object{"P1", "Doe^John", "1.1", "20240105", "083000", "1.1.1", "CT", "1.1.1.2"},
                 Object{"P1", "Doe^John", "1.1", "20240105", "083000", "1.1.2", "MR", "1.1.2.1"},
                 Object{"P1", "Doe^John", "1.2", "20240320", "170512", "1.2.1", "CT", "1.2.1.1"},
                 Object{"P2", "DOE^JANE", "2.1", "20231231", "235959", "2.1.1", "US", "2.1.1.1"},
                 Object{"P3", "Smith^Ann", "3.1", "20240101", "000000", "3.1.1", "MR", "3.1.1.1"},
             })
            ASSERT_TRUE(index->add(indexed(o), error)) << error;
    }
    void TearDown() override
    {
        index.reset();
        fs::remove_all(dir);
    }

    // The values of tag in the matches of a query at level with the keys.
    // With combined, date and time keys match as one date-time.
    std::vector<std::string> match(const std::string& level, const std::vector<std::pair<int, std::string>>& keys,
                                   unsigned int tag, bool combined = false)
    {
        DcElemList identifier;
        identifier.add(new DcElem(T_0008_0052_queryRetrieveLevel, level.c_str()));
        for (const auto& key : keys) {
            identifier.add(received(key.first, key.second));
        }
        Query query;
        unsigned short status = 0;
        std::string reason;
        EXPECT_TRUE(parseQuery(identifier, query, status, reason, combined)) << reason;
        std::vector<std::string> values;
        std::string error;
        EXPECT_TRUE(index->find(query,
                                [&](const Row& row) {
                                    values.push_back(row.at(tag));
                                    return true;
                                },
                                error))
            << error;
        return values;
    }

    // The studies a list of study instance UIDs matches. The list goes to
    // the matching rules as text: a decoded element keeps one value of a
    // single-valued attribute.
    std::vector<std::string> studiesOf(const std::string& uids)
    {
        Query query;
        query.level = STUDY;
        std::string reason;
        EXPECT_TRUE(conditionFor(*findKey(0x0020000D), uids, query.conditions, reason)) << reason;
        std::vector<std::string> values;
        EXPECT_TRUE(index->find(query,
                                [&](const Row& row) {
                                    values.push_back(row.at(0x0020000D));
                                    return true;
                                },
                                reason));
        return values;
    }

    std::string dir;
    std::unique_ptr<ArchiveIndex> index;
};

using Values = std::vector<std::string>;

TEST_F(IndexTest, SingleValueUniversalAndWildcardMatching)
{
    EXPECT_EQ(match("STUDY", {{T_0010_0020_patientId, "P1"}}, 0x0020000D), (Values{"1.1", "1.2"}));
    EXPECT_EQ(match("STUDY", {{T_0010_0020_patientId, ""}}, 0x0020000D).size(), 4u);
    EXPECT_EQ(match("STUDY", {{T_0010_0020_patientId, "*"}}, 0x0020000D).size(), 4u);
    EXPECT_EQ(match("PATIENT", {{T_0010_0020_patientId, "P?"}}, 0x00100020), (Values{"P1", "P2", "P3"}));
    // Wildcards on other text are case-sensitive, and pattern characters of
    // the database are not wildcards.
    EXPECT_EQ(match("PATIENT", {{T_0010_0020_patientId, "p*"}}, 0x00100020), Values{});
    EXPECT_EQ(match("PATIENT", {{T_0010_0020_patientId, "P%"}}, 0x00100020), Values{});
    EXPECT_EQ(match("PATIENT", {{T_0010_0020_patientId, "P_"}}, 0x00100020), Values{});
}

TEST_F(IndexTest, PersonNamesMatchWhateverTheirCase)
{
    EXPECT_EQ(match("PATIENT", {{T_0010_0010_patientName, "doe*"}}, 0x00100020), (Values{"P1", "P2"}));
    EXPECT_EQ(match("PATIENT", {{T_0010_0010_patientName, "SMITH^ANN"}}, 0x00100020), (Values{"P3"}));
    EXPECT_EQ(match("PATIENT", {{T_0010_0010_patientName, "*^J?HN"}}, 0x00100020), (Values{"P1"}));
}

TEST_F(IndexTest, DateAndTimeRanges)
{
    EXPECT_EQ(match("STUDY", {{T_0008_0020_studyDate, "20240101-20240131"}}, 0x0020000D), (Values{"1.1", "3.1"}));
    EXPECT_EQ(match("STUDY", {{T_0008_0020_studyDate, "20240301-"}}, 0x0020000D), (Values{"1.2"}));
    EXPECT_EQ(match("STUDY", {{T_0008_0020_studyDate, "-20231231"}}, 0x0020000D), (Values{"2.1"}));
    EXPECT_EQ(match("STUDY", {{T_0008_0020_studyDate, "20240105"}}, 0x0020000D), (Values{"1.1"}));
    // A shorter upper bound takes the whole hour or minute it names.
    EXPECT_EQ(match("STUDY", {{T_0008_0030_studyTime, "0800-1706"}}, 0x0020000D), (Values{"1.1", "1.2"}));
    EXPECT_EQ(match("STUDY", {{T_0008_0030_studyTime, "0800-1705"}}, 0x0020000D), (Values{"1.1"}));
    EXPECT_EQ(match("STUDY", {{T_0008_0030_studyTime, "-0000"}}, 0x0020000D), (Values{"3.1"}));
    // A range open at both ends takes every study that has a date.
    EXPECT_EQ(match("STUDY", {{T_0008_0020_studyDate, "-"}}, 0x0020000D).size(), 4u);
}

TEST_F(IndexTest, DateAndTimeMatchAsOneDateTimeWhenAsked)
{
    const std::pair<int, std::string> overNewYear[] = {{T_0008_0020_studyDate, "20231231-20240101"},
                                                       {T_0008_0030_studyTime, "2200-0100"}};
    // Apart, a time range that wraps round midnight matches nothing.
    EXPECT_EQ(match("STUDY", {overNewYear[0], overNewYear[1]}, 0x0020000D), Values{});
    EXPECT_EQ(match("STUDY", {overNewYear[0], overNewYear[1]}, 0x0020000D, true), (Values{"2.1", "3.1"}));

    // Open at the start: everything up to 2024-01-05 09:00, whatever the
    // time of the days before.
    EXPECT_EQ(match("STUDY", {{T_0008_0020_studyDate, "-20240105"}, {T_0008_0030_studyTime, "-0900"}}, 0x0020000D),
              (Values{"1.1", "3.1"}));
    EXPECT_EQ(match("STUDY", {{T_0008_0020_studyDate, "-20240105"}, {T_0008_0030_studyTime, "-0900"}}, 0x0020000D,
                    true),
              (Values{"1.1", "2.1", "3.1"}));

    // One day with a time range, and a date range without a time, are the
    // same either way.
    for (bool combined : {false, true}) {
        EXPECT_EQ(match("STUDY", {{T_0008_0020_studyDate, "20240105"}, {T_0008_0030_studyTime, "0800-0900"}},
                        0x0020000D, combined),
                  (Values{"1.1"}));
        EXPECT_EQ(match("STUDY", {{T_0008_0020_studyDate, "20240101-20240131"}, {T_0008_0030_studyTime, ""}},
                        0x0020000D, combined),
                  (Values{"1.1", "3.1"}));
    }
}

TEST_F(IndexTest, NamesInOtherCharacterSetsMatchAsStored)
{
    std::string error;
    IndexedObject latin = indexed({"P4", "M\xFCller^Hans", "4.1", "", "", "4.1.1", "CT", "4.1.1.1"});
    latin.values[0x00080005] = "ISO_IR 100";
    IndexedObject utf8 = indexed({"P5", "M\xC3\xBCller^Eva", "5.1", "", "", "5.1.1", "CT", "5.1.1.1"});
    utf8.values[0x00080005] = "ISO_IR 192";
    ASSERT_TRUE(index->add(latin, error)) << error;
    ASSERT_TRUE(index->add(utf8, error)) << error;

    // Bytes compared as stored; only ASCII letters ignore their case.
    EXPECT_EQ(match("PATIENT", {{T_0010_0010_patientName, "m\xFCLLER^hans"}}, 0x00100020), (Values{"P4"}));
    EXPECT_EQ(match("PATIENT", {{T_0010_0010_patientName, "M\xDCLLER*"}}, 0x00100020), Values{});
    EXPECT_EQ(match("PATIENT", {{T_0010_0010_patientName, "*\xC3\xBC*"}}, 0x00100020), (Values{"P5"}));
    // '?' stands for one character, one byte or several.
    EXPECT_EQ(match("PATIENT", {{T_0010_0010_patientName, "M?LLER*"}}, 0x00100020), (Values{"P4", "P5"}));

    // Every level's answer names the character set its record arrived in.
    EXPECT_EQ(match("STUDY", {{T_0010_0020_patientId, "P4"}}, 0x00080005), (Values{"ISO_IR 100"}));
    EXPECT_EQ(match("IMAGE", {{T_0010_0020_patientId, "P5"}}, 0x00080005), (Values{"ISO_IR 192"}));
    EXPECT_EQ(match("PATIENT", {{T_0010_0020_patientId, "P1"}}, 0x00080005), (Values{""}));
}

TEST_F(IndexTest, UidListsAndModalitiesInStudy)
{
    EXPECT_EQ(studiesOf("1.2\\3.1\\9.9"), (Values{"1.2", "3.1"}));
    EXPECT_EQ(match("IMAGE", {{T_0020_000e_seriesInstanceUid, "1.1.1"}, {T_0008_0018_sopInstanceUid, ""}},
                    0x00080018),
              (Values{"1.1.1.1", "1.1.1.2"}));
    EXPECT_EQ(match("STUDY", {{T_0008_0061_modalitiesInStudy, "MR"}}, 0x0020000D), (Values{"1.1", "3.1"}));
    EXPECT_EQ(match("STUDY", {{T_0008_0061_modalitiesInStudy, "US\\CT"}}, 0x0020000D),
              (Values{"1.1", "1.2", "2.1"}));
    EXPECT_EQ(match("STUDY", {{T_0008_0061_modalitiesInStudy, ""}}, 0x00080061), (Values{"CT\\MR", "CT", "US", "MR"}));
}

TEST_F(IndexTest, UnknownAndLowerLevelKeysMatchEverythingAndComeBackEmpty)
{
    std::vector<std::string> found = match("STUDY", {{T_0008_0060_modality, "XX"}, {T_0010_1010_patientAge, "099Y"}},
                                           0x0020000D);
    EXPECT_EQ(found.size(), 4u);
}

TEST_F(IndexTest, RefusesIdentifiersWithoutLevelOrWithMalformedUids)
{
    for (const std::pair<std::string, std::string>& bad :
         {std::pair<std::string, std::string>{"STUDY", "1..3"}, {"STUDY", "1.02"}, {"STUDY", "1.2."},
          {"WARD", "1.2"}, {"", "1.2"}}) {
        DcElemList identifier;
        if (!bad.first.empty())
            identifier.add(new DcElem(T_0008_0052_queryRetrieveLevel, bad.first.c_str()));
        identifier.add(received(T_0020_000d_studyInstanceUid, bad.second));
        Query query;
        unsigned short status = 0;
        std::string reason;
        EXPECT_FALSE(parseQuery(identifier, query, status, reason)) << bad.first << " " << bad.second;
        EXPECT_EQ(status, QR_BAD_IDENTIFIER);
        EXPECT_FALSE(reason.empty());
    }
}

TEST_F(IndexTest, CountsFollowObjectsArrivingAndLeaving)
{
    EXPECT_EQ(match("PATIENT", {{T_0010_0020_patientId, "P1"}}, 0x00201200), (Values{"2"}));
    EXPECT_EQ(match("PATIENT", {{T_0010_0020_patientId, "P1"}}, 0x00201202), (Values{"3"}));
    EXPECT_EQ(match("PATIENT", {{T_0010_0020_patientId, "P1"}}, 0x00201204), (Values{"4"}));
    EXPECT_EQ(match("STUDY", {{T_0020_000d_studyInstanceUid, "1.1"}}, 0x00201206), (Values{"2"}));
    EXPECT_EQ(match("STUDY", {{T_0020_000d_studyInstanceUid, "1.1"}}, 0x00201208), (Values{"3"}));
    EXPECT_EQ(match("SERIES", {{T_0020_000e_seriesInstanceUid, "1.1.1"}}, 0x00201209), (Values{"2"}));

    // The same object again changes nothing.
    std::string error;
    ASSERT_TRUE(index->add(indexed({"P1", "Doe^John", "1.1", "20240105", "083000", "1.1.1", "CT", "1.1.1.1"}),
                           error));
    EXPECT_EQ(match("STUDY", {{T_0020_000d_studyInstanceUid, "1.1"}}, 0x00201208), (Values{"3"}));

    // The last instance of a series and study takes them along.
    ASSERT_TRUE(index->removePath("1.2/1.2.1.1.dcm", error)) << error;
    EXPECT_EQ(match("PATIENT", {{T_0010_0020_patientId, "P1"}}, 0x00201200), (Values{"1"}));
    EXPECT_EQ(match("PATIENT", {{T_0010_0020_patientId, "P1"}}, 0x00201204), (Values{"3"}));
    EXPECT_EQ(match("STUDY", {{T_0020_000d_studyInstanceUid, "1.2"}}, 0x0020000D), Values{});
    ASSERT_TRUE(index->removePath("2.1/2.1.1.1.dcm", error)) << error;
    EXPECT_EQ(match("PATIENT", {{T_0010_0020_patientId, ""}}, 0x00100020), (Values{"P1", "P3"}));
}

TEST_F(IndexTest, RetrieveListsTheInstancesBelowTheMatches)
{
    Query query;
    query.level = STUDY;
    std::string reason;
    ASSERT_TRUE(conditionFor(*findKey(0x0020000D), "1.1\\2.1", query.conditions, reason));
    std::vector<RetrieveItem> items;
    ASSERT_TRUE(index->instances(query, items, reason)) << reason;
    ASSERT_EQ(items.size(), 4u);
    EXPECT_EQ(items[0].sopInstanceUid, "1.1.1.1");
    EXPECT_EQ(items[3].path, "2.1/2.1.1.1.dcm");

    std::vector<Condition> ignored;
    EXPECT_FALSE(conditionFor(*findKey(0x0020000D), "1.1\\1.a", ignored, reason));
    EXPECT_FALSE(conditionFor(*findKey(0x0020000D), "1.1\\", ignored, reason));
}

}
