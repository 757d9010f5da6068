// Member lists of the built-in sequences (placeholder until the full table lands).
#include "dictionary/DcDictTables.h"

namespace {
const unsigned int referencedSopMembers[] = {T_0008_1150_referencedSopClassUid, T_0008_1155_referencedSopInstanceUid};
const DcDictSqDef generalLists[] = {
    {T_0008_1140_referencedImageSequence, referencedSopMembers, 2},
};
}

const DcDictSqGroupDef DcDictBuiltinSqGroups[] = {
    {"general", generalLists, 1},
};
const int DcDictBuiltinSqGroupCount = 1;
