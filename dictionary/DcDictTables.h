#ifndef BRENIK3_DICTIONARY_DCDICTTABLES_H
#define BRENIK3_DICTIONARY_DCDICTTABLES_H

// The constant tables from which the dictionary is rebuilt at every reset.
#include "dictionary/DcDictTypes.h"
#include "dictionary/DcDictTags.h"

struct DcDictTagEntry {
    unsigned int tag;
    DICT_VR vr;
    int vm;
    int tagConst;
    const char* name;
};

struct DcDictUidDef {
    DICT_UID uid;
    const char* uidStrg;
    DICT_UID_TYPE uidType;
    const char* desc;
};

struct DcDictVrDef {
    DICT_VR vr;
    const char* name;
};

struct DcDictMsgDef {
    int msg;
    const char* desc;
};

// One sequence and the tags that may stand in its items.
struct DcDictSqDef {
    unsigned int sqTag;
    const unsigned int* members;
    int count;
};

// A named group of sequence member lists (digital X-ray, RT, print, ...).
struct DcDictSqGroupDef {
    const char* name;
    const DcDictSqDef* lists;
    int count;
};

extern const DcDictTagEntry DcDictBuiltinTags[];
extern const int DcDictBuiltinTagCount;
extern const DcDictUidDef DcDictBuiltinUids[];
extern const int DcDictBuiltinUidCount;
extern const DcDictVrDef DcDictBuiltinVrs[];
extern const int DcDictBuiltinVrCount;
extern const DcDictMsgDef DcDictBuiltinMsgs[];
extern const int DcDictBuiltinMsgCount;
extern const DcDictSqGroupDef DcDictBuiltinSqGroups[];
extern const int DcDictBuiltinSqGroupCount;

#endif
