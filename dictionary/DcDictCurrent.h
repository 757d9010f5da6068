#ifndef BRENIK3_DICTIONARY_DCDICTCURRENT_H
#define BRENIK3_DICTIONARY_DCDICTCURRENT_H

// The current dictionary's constant tables, made known by DcDict::loadCurrent().
#include "dictionary/DcDict.h"
#include "dictionary/DcDictTables.h"

// One attribute of the current dictionary. entry.tagConst equals the tag value
// (FF or F in place of repeating digits); mask is 0xFFFFFFFF for a plain tag.
struct DcDictCurrentTag {
    DcDictTagEntry entry;
    unsigned int mask;
    bool retired;
};

extern const DcDictCurrentTag DcDictCurrentTags[];
extern const int DcDictCurrentTagCount;
extern const DcDictCurrentTag DcDictCurrentMaskedTags[];
extern const int DcDictCurrentMaskedTagCount;
extern const DcDictUidDef DcDictCurrentUids[];
extern const int DcDictCurrentUidCount;

#endif
