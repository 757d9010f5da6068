#include <gtest/gtest.h>

#include <set>
#include <string>

#include "dictionary/DcDict.h"
#include "foundation/LogCapture.h"

TEST(BuiltinSequenceLists, NineGroupsWithinTheTableLimits)
{
    EXPECT_EQ(DcDictBuiltinSqGroupCount, 9);
    int lists = 0;
    std::set<unsigned int> sequences;
    for (int g = 0; g < DcDictBuiltinSqGroupCount; ++g) {
        const DcDictSqGroupDef& group = DcDictBuiltinSqGroups[g];
        EXPECT_GT(group.count, 0) << group.name;
        for (int i = 0; i < group.count; ++i) {
            const DcDictSqDef& list = group.lists[i];
            EXPECT_GT(list.count, 0) << std::hex << list.sqTag;
            EXPECT_LE(list.count, DICT_SQ_MEMBER_LIMIT) << std::hex << list.sqTag;
            EXPECT_TRUE(sequences.insert(list.sqTag).second) << "listed twice: " << std::hex << list.sqTag;
            std::set<unsigned int> members(list.members, list.members + list.count);
            EXPECT_EQ(members.size(), static_cast<size_t>(list.count)) << "repeated member in " << std::hex
                                                                       << list.sqTag;
            ++lists;
        }
    }
    EXPECT_LE(lists, DICT_SQ_SLOTS);
}

TEST(BuiltinSequenceLists, EveryListLoadsAndReadsBack)
{
    LogCapture log;
    Dict.reset();
    EXPECT_TRUE(log.entries.empty()) << log.entries.front().message;
    for (int g = 0; g < DcDictBuiltinSqGroupCount; ++g) {
        const DcDictSqGroupDef& group = DcDictBuiltinSqGroups[g];
        for (int i = 0; i < group.count; ++i) {
            const DcDictSqDef& list = group.lists[i];
            DICT_VR vr;
            EXPECT_EQ(Dict.getVrDef(list.sqTag, vr), 0);
            EXPECT_EQ(vr, VR_SQ) << std::hex << list.sqTag;
            unsigned int members[DICT_SQ_MEMBER_LIMIT];
            int count = 0;
            ASSERT_EQ(Dict.getSqTagList(list.sqTag, members, count), 0) << std::hex << list.sqTag;
            ASSERT_EQ(count, list.count);
            for (int m = 0; m < count; ++m) {
                EXPECT_EQ(members[m], list.members[m]);
                int tagConst;
                EXPECT_EQ(Dict.getTagDef(members[m], tagConst), 0) << std::hex << members[m];
            }
        }
    }
}

TEST(BuiltinSequenceLists, CommonSequencesHaveLists)
{
    LogCapture log;
    Dict.reset();
    const int sequences[] = {
        T_0004_1220_directoryRecordSequence,     T_0008_1110_referencedStudySequence,
        T_0008_1115_referencedSeriesSequence,    T_0008_1120_referencedPatientSequence,
        T_0008_1125_referencedVisitSequence,     T_0008_1140_referencedImageSequence,
        T_0008_1199_referencedSopSequence,       T_0008_2112_sourceImageSequence,
        T_0008_1032_procedureCodeSequence,       T_0040_0100_scheduledProcedureStepSequence,
        T_0040_0275_requestAttributesSequence,   T_0040_a043_conceptNameCodeSequence,
        T_0028_3010_voilutSequence,              T_0054_0016_radiopharmaceuticalInformationSequence,
        T_3006_0020_structureSetRoiSequence,     T_3006_0039_roiContourSequence,
        T_3006_0040_contourSequence,             T_300a_00b0_beamSequence,
        T_300a_0070_fractionGroupSequence,       T_2000_0500_referencedFilmBoxSequence,
        T_2020_0110_basicGrayscaleImageSequence, T_0054_0220_viewCodeSequence,
        T_0008_2218_anatomicRegionSequence,      T_5400_0100_waveformSequence,
        T_003a_0200_channelDefinitionSequence,   T_0088_0200_iconImageSequence,
    };
    for (int sequence : sequences) {
        unsigned int members[DICT_SQ_MEMBER_LIMIT];
        int count = 0;
        EXPECT_EQ(Dict.getSqTagList(sequence, members, count), 0) << std::hex << sequence;
        EXPECT_GT(count, 0);
    }
    EXPECT_TRUE(log.entries.empty());
}

TEST(BuiltinSequenceLists, CodeSequencesListTheCodeTriplet)
{
    LogCapture log;
    Dict.reset();
    unsigned int members[DICT_SQ_MEMBER_LIMIT];
    int count = 0;
    ASSERT_EQ(Dict.getSqTagList(T_0040_a043_conceptNameCodeSequence, members, count), 0);
    std::set<unsigned int> tags(members, members + count);
    for (unsigned int tag : {0x00080100u, 0x00080102u, 0x00080103u, 0x00080104u})
        EXPECT_EQ(tags.count(tag), 1u) << std::hex << tag;
}
