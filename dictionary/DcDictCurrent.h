#ifndef BRENIK3_DICTIONARY_DCDICTCURRENT_H
#define BRENIK3_DICTIONARY_DCDICTCURRENT_H

// The current dictionary's constant tables, made known by DcDict::loadCurrent().
#include "dictionary/DcDictTables.h"
#include "dictionary/DcDictCurrentUids.h"

// One attribute of the current dictionary. entry.tagConst equals the tag value
// (FF or F in place of repeating digits); mask is 0xFFFFFFFF for a plain tag.
struct DcDictCurrentTag {
    DcDictTagEntry entry;
    unsigned int mask;
    bool retired;
};

// UIDs of the current dictionary take DICT_UID values from this one on.
enum { DICT_CURRENT_UID_FIRST = 1000 };

extern const DcDictCurrentTag DcDictCurrentTags[];
extern const int DcDictCurrentTagCount;
extern const DcDictCurrentTag DcDictCurrentMaskedTags[];
extern const int DcDictCurrentMaskedTagCount;
extern const DcDictUidDef DcDictCurrentUids[];
extern const int DcDictCurrentUidCount;

#endif
