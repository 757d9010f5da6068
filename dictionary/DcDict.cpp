#include "dictionary/DcDict.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstring>

#include "dictionary/DcDictCurrent.h"
#include "dictionary/DcDictTables.h"
#include "foundation/DcLog.h"
#include "internal/Text.h"
#include "internal/Tag.h"
#include "internal/VrLength.h"

DcDict Dict;

namespace {

const char* const nullArgument = "Null argument passed";
const char* const unknownText = "Unknown";

// Maximum value length and swap unit of every VR, by value.
struct VrProperties {
    int len;
    DICT_VR_SIZE size;
};
// The swap unit of every VR, by value; the lengths are VR_MAX_LENGTH's.
const DICT_VR_SIZE vrSwapUnit[] = {
    VR_SIZE_BYTE,  VR_SIZE_BYTE,  VR_SIZE_WORD,  VR_SIZE_BYTE, VR_SIZE_BYTE, VR_SIZE_BYTE,   // AE AS AT CS DA DS
    VR_SIZE_BYTE,  VR_SIZE_FLOAT, VR_SIZE_DOUBLE, VR_SIZE_BYTE, VR_SIZE_BYTE, VR_SIZE_BYTE,  // DT FL FD IS LO LT
    VR_SIZE_BYTE,  VR_SIZE_WORD,  VR_SIZE_BYTE,  VR_SIZE_BYTE, VR_SIZE_LONG, VR_SIZE_NONE,   // OB OW PN SH SL SQ
    VR_SIZE_WORD,  VR_SIZE_BYTE,  VR_SIZE_BYTE,  VR_SIZE_BYTE, VR_SIZE_LONG, VR_SIZE_BYTE,   // SS ST TM UI UL UN
    VR_SIZE_WORD,  VR_SIZE_BYTE,  VR_SIZE_NONE,  VR_SIZE_NONE, VR_SIZE_NONE, VR_SIZE_NONE,   // US UT RT IM EX SI
    VR_SIZE_WORD,  VR_SIZE_LONG,  VR_SIZE_WORD,                                              // OX XL XS
};
// The newer VRs, VR_OD to VR_UR, once the current dictionary is loaded.
const VrProperties newerVrProperties[] = {
    {0, VR_SIZE_DOUBLE}, {0, VR_SIZE_FLOAT}, {0, VR_SIZE_LONG}, {0, VR_SIZE_VLONG},
    {8, VR_SIZE_VLONG},  {8, VR_SIZE_VLONG}, {0, VR_SIZE_BYTE}, {0, VR_SIZE_BYTE},
};
const DcDictVrDef newerVrs[] = {
    {VR_OD, "OD"}, {VR_OF, "OF"}, {VR_OL, "OL"}, {VR_OV, "OV"},
    {VR_SV, "SV"}, {VR_UV, "UV"}, {VR_UC, "UC"}, {VR_UR, "UR"},
};

// Answers getVrLen and getVrSize: 0 with the properties, or the failure.
int vrLookup(DICT_VR vr, VrProperties& out, const char* function, bool newerKnown)
{
    out = {0, VR_SIZE_NONE};
    if (vr == VR_RT) {
        logReport(LOG_CHANNEL_0, function, "Retired Data Element");
        return DICT_ERR_NOT_FOUND;
    }
    int value = static_cast<int>(vr);
    if (newerKnown && value >= VR_OD && value <= VR_UR) {
        out = newerVrProperties[value - VR_OD];
        return 0;
    }
    if (value < VR_AE || value > VR_XS || vr == VR_IM || vr == VR_EX) {
        logReport(LOG_CHANNEL_0, function, "Enum constant VR %d (0x%x) is not in dictionary", vr, vr);
        return DICT_ERR_NOT_FOUND;
    }
    out = {brenik3::vrMaxLength(vr), vrSwapUnit[value]};
    return 0;
}

}

unsigned int dictPrivateNormalForm(unsigned int tag)
{
    unsigned int group = tag >> 16;
    unsigned int element = tag & 0xFFFF;
    if ((group & 1) && element != 0)
        element = (element & 0xFF00) ? (0xFF00 | (element & 0xFF)) : 0x00FF;
    return (group << 16) | element;
}

unsigned int dictNormalizeTag(unsigned int tag)
{
    unsigned int groupHigh = tag >> 24;
    if (groupHigh == 0x50 || groupHigh == 0x60)
        return (groupHigh << 24) | 0x00FF0000 | (tag & 0xFFFF);
    return dictPrivateNormalForm(tag);
}

DcDict::DcDict() : uidCounter(1), msgIdCounter(1), presCtxIdCounter(1), currentLoaded(false)
{
    Log = new DcLog();
    memset(tags, 0, sizeof tags);
    memset(uids, 0, sizeof uids);
    memset(vrs, 0, sizeof vrs);
    memset(sqLists, 0, sizeof sqLists);
    memset(names, 0, sizeof names);
    reset();
}

DcDict::~DcDict()
{
    delete Log;
    Log = nullptr;
    clearTables();
}

namespace {

// Generations are unique in the process, so that a dictionary made where an
// earlier one was never matches what was remembered of that one.
unsigned int nextTagGeneration()
{
    static std::atomic<unsigned int> counter{0};
    return counter.fetch_add(1, std::memory_order_relaxed) + 1;
}

}

void DcDict::clearTables()
{
    for (auto& entry : tags) {
        delete entry;
        entry = nullptr;
    }
    for (auto& entry : uids) {
        delete entry;
        entry = nullptr;
    }
    for (auto& entry : vrs) {
        delete entry;
        entry = nullptr;
    }
    for (auto& entry : sqLists) {
        if (entry)
            delete[] entry->members;
        delete entry;
        entry = nullptr;
    }
    for (auto& name : names) {
        delete[] name;
        name = nullptr;
    }
    tagIndex.clear();
    tagConstIndex.clear();
    tagGeneration = nextTagGeneration();
    uidIndex.clear();
    uidStrgIndex.clear();
}

void DcDict::reset()
{
    uidCounter = 1;
    msgIdCounter = 1;
    presCtxIdCounter = 1;
    currentLoaded = false;
    currentUids.clear();
    clearTables();
    tagIndex.reserve(DICT_TAG_SLOTS);
    tagConstIndex.reserve(DICT_TAG_SLOTS);
    for (int i = 0; i < DcDictBuiltinTagCount && i < DICT_TAG_SLOTS; ++i) {
        tags[i] = new DcDictTagEntry(DcDictBuiltinTags[i]);
        indexTag(i);
    }
    for (int i = 0; i < DcDictBuiltinUidCount && i < DICT_UID_SLOTS; ++i) {
        const DcDictUidDef& def = DcDictBuiltinUids[i];
        UidEntry* entry = new UidEntry;
        entry->uid = def.uid;
        brenik3::copyText(entry->uidStrg, def.uidStrg, DICT_UID_MAX);
        entry->uidType = def.uidType;
        entry->desc = def.desc;
        uids[i] = entry;
        indexUid(i);
    }
    for (int i = 0; i < DcDictBuiltinVrCount && i < DICT_VR_SLOTS; ++i)
        vrs[i] = new DcDictVrDef(DcDictBuiltinVrs[i]);
    loadSqLists();
}

void DcDict::loadSqLists()
{
    for (int g = 0; g < DcDictBuiltinSqGroupCount; ++g) {
        const DcDictSqGroupDef& group = DcDictBuiltinSqGroups[g];
        for (int i = 0; i < group.count; ++i)
            addSqList(group.lists[i].sqTag, group.lists[i].members, group.lists[i].count);
    }
}

// ---- indexes ----------------------------------------------------------------

void DcDict::indexTag(int slot)
{
    DcDictTagEntry* entry = tags[slot];
    tagGeneration = nextTagGeneration();
    auto byTag = tagIndex.emplace(entry->tag, slot);
    if (!byTag.second && byTag.first->second > slot)
        byTag.first->second = slot;
    auto byConst = tagConstIndex.emplace(entry->tagConst, slot);
    if (!byConst.second && byConst.first->second > slot)
        byConst.first->second = slot;
}

// Empties a slot; its keys move to the next slot that holds them, if any.
void DcDict::removeTagSlot(int slot)
{
    DcDictTagEntry* entry = tags[slot];
    unsigned int tag = entry->tag;
    int tagConst = entry->tagConst;
    delete entry;
    tags[slot] = nullptr;
    tagGeneration = nextTagGeneration();
    tagIndex.erase(tag);
    tagConstIndex.erase(tagConst);
    for (int i = 0; i < DICT_TAG_SLOTS; ++i)
        if (tags[i] && (tags[i]->tag == tag || tags[i]->tagConst == tagConst))
            indexTag(i);
}

void DcDict::indexUid(int slot)
{
    UidEntry* entry = uids[slot];
    auto byValue = uidIndex.emplace(entry->uid, slot);
    if (!byValue.second && byValue.first->second > slot)
        byValue.first->second = slot;
    auto byStrg = uidStrgIndex.emplace(std::string_view(entry->uidStrg), slot);
    if (!byStrg.second && byStrg.first->second > slot)
        byStrg.first->second = slot;
}

void DcDict::removeUidSlot(int slot)
{
    UidEntry* entry = uids[slot];
    DICT_UID uid = entry->uid;
    char strg[DICT_UID_MAX + 1];
    strcpy(strg, entry->uidStrg);
    uidIndex.erase(uid);
    uidStrgIndex.erase(std::string_view(strg));
    delete entry;
    uids[slot] = nullptr;
    for (int i = 0; i < DICT_UID_SLOTS; ++i)
        if (uids[i] && (uids[i]->uid == uid || strcmp(uids[i]->uidStrg, strg) == 0))
            indexUid(i);
}

int DcDict::getTagSlot(int slot, unsigned int& tag, const char*& name)
{
    if (slot < 0 || slot >= DICT_TAG_SLOTS || tags[slot] == nullptr)
        return DICT_ERR_NOT_FOUND;
    tag = tags[slot]->tag;
    name = tags[slot]->name;
    return 0;
}

namespace {

// The last entry a thread found by one key, valid for one dictionary and
// generation. Initial-exec, so that it is reached without a call.
struct TagMemo {
    const DcDict* dict = nullptr;
    unsigned int generation = 0;
    unsigned int key = 0;
    DcDictTagEntry* entry = nullptr;
};
thread_local TagMemo byTagMemo __attribute__((tls_model("initial-exec")));
thread_local TagMemo byConstMemo __attribute__((tls_model("initial-exec")));

}

DcDictTagEntry* DcDict::findTag(unsigned int tag)
{
    TagMemo& memo = byTagMemo;
    if (memo.entry != nullptr && memo.key == tag && memo.dict == this && memo.generation == tagGeneration)
        return memo.entry;
    auto it = tagIndex.find(tag);
    DcDictTagEntry* entry = it == tagIndex.end() ? nullptr : tags[it->second];
    if (entry != nullptr)
        memo = TagMemo{this, tagGeneration, tag, entry};
    return entry;
}

// A built-in constant equals its tag, so callers often pass a plain tag
// number, such as 0x60023000, where a constant is expected: a number that is
// no constant is taken as a tag value before the look-up fails.
const DcDictTagEntry* DcDict::findTagConstOrTag(int tagConst)
{
    const DcDictTagEntry* entry = findTagConst(tagConst);
    if (entry == nullptr)
        entry = findTag(dictNormalizeTag(static_cast<unsigned int>(tagConst)));
    if (entry == nullptr && currentLoaded) {
        // A current attribute's constant is its tag value.
        const DcDictCurrentTag* current = findCurrentTag(static_cast<unsigned int>(tagConst));
        entry = current ? &current->entry : nullptr;
    }
    return entry;
}

DcDictTagEntry* DcDict::findTagConst(int tagConst)
{
    TagMemo& memo = byConstMemo;
    unsigned int key = static_cast<unsigned int>(tagConst);
    if (memo.entry != nullptr && memo.key == key && memo.dict == this && memo.generation == tagGeneration)
        return memo.entry;
    auto it = tagConstIndex.find(tagConst);
    DcDictTagEntry* entry = it == tagConstIndex.end() ? nullptr : tags[it->second];
    if (entry != nullptr)
        memo = TagMemo{this, tagGeneration, key, entry};
    return entry;
}

DcDict::UidEntry* DcDict::findUid(DICT_UID uid)
{
    auto it = uidIndex.find(uid);
    if (it != uidIndex.end())
        return uids[it->second];
    size_t index = static_cast<size_t>(uid) - DICT_CURRENT_UID_FIRST;
    bool current = static_cast<int>(uid) >= static_cast<int>(DICT_CURRENT_UID_FIRST) && index < currentUids.size();
    return current ? &currentUids[index] : nullptr;
}

DcDict::UidEntry* DcDict::findUidStrg(const char* uidStrg)
{
    auto it = uidStrgIndex.find(std::string_view(uidStrg));
    if (it != uidStrgIndex.end())
        return uids[it->second];
    auto current = std::lower_bound(currentUids.begin(), currentUids.end(), uidStrg,
                                    [](const UidEntry& e, const char* s) { return strcmp(e.uidStrg, s) < 0; });
    return current != currentUids.end() && strcmp(current->uidStrg, uidStrg) == 0 ? &*current : nullptr;
}

const char* DcDict::findVrName(DICT_VR vr)
{
    for (DcDictVrDef* entry : vrs)
        if (entry && entry->vr == vr)
            return entry->name;
    return nullptr;
}

DcDict::SqEntry* DcDict::findSqList(unsigned int sqTag)
{
    for (SqEntry* entry : sqLists)
        if (entry && entry->sqTag == sqTag)
            return entry;
    return nullptr;
}

// ---- tags ---------------------------------------------------------------------

int DcDict::getTag(int tagConst, unsigned int& tag)
{
    const DcDictTagEntry* entry = findTagConst(tagConst);
    if (entry == nullptr && currentLoaded) {
        const DcDictCurrentTag* current = findCurrentTag(static_cast<unsigned int>(tagConst));
        entry = current ? &current->entry : nullptr;
    }
    if (entry == nullptr) {
        tag = 0xFFFFFFFF;
        logReport(LOG_CHANNEL_0, "DcDict::getTag", "Enum constant Tag %d (0x%x) is not in dictionary", tagConst,
                  static_cast<unsigned int>(tagConst));
        return DICT_ERR_NOT_FOUND;
    }
    tag = entry->tag;
    return 0;
}

int DcDict::getTag(int tagConst, unsigned short int& group, unsigned short int& element)
{
    unsigned int tag;
    int status = getTag(tagConst, tag);
    group = static_cast<unsigned short int>(tag >> 16);
    element = static_cast<unsigned short int>(tag);
    return status;
}

int DcDict::getTagDef(unsigned int tag, int& tagConst)
{
    const DcDictTagEntry* entry = findTag(dictNormalizeTag(tag));
    if (entry == nullptr && currentLoaded) {
        const DcDictCurrentTag* current = findCurrentTag(tag);
        entry = current ? &current->entry : nullptr;
    }
    tagConst = entry ? entry->tagConst : -1;
    return entry ? 0 : DICT_ERR_NOT_FOUND;
}

int DcDict::getTagDef(unsigned short int group, unsigned short int element, int& tagConst)
{
    return getTagDef(brenik3::makeTag(group, element), tagConst);
}

int DcDict::getVm(int tagConst, int& vm)
{
    const DcDictTagEntry* entry = findTagConstOrTag(tagConst);
    vm = entry ? entry->vm : 0;
    return entry ? 0 : DICT_ERR_NOT_FOUND;
}

int DcDict::getVm(unsigned int tag, int& vm)
{
    int tagConst;
    if (getTagDef(tag, tagConst) != 0) {
        vm = 0;
        logReport(LOG_CHANNEL_0, "DcDict::getVm", "Tag 0x%08lx is not in dictionary", static_cast<unsigned long>(tag));
        return DICT_ERR_NOT_FOUND;
    }
    return getVm(tagConst, vm);
}

int DcDict::getVm(unsigned short int group, unsigned short int element, int& vm)
{
    return getVm(brenik3::makeTag(group, element), vm);
}

int DcDict::getVrDef(int tagConst, DICT_VR& vr)
{
    const DcDictTagEntry* entry = findTagConstOrTag(tagConst);
    vr = entry ? entry->vr : VR_UNKNOWN;
    return entry ? 0 : DICT_ERR_NOT_FOUND;
}

int DcDict::getVrDef(unsigned int tag, DICT_VR& vr)
{
    int tagConst;
    if (getTagDef(tag, tagConst) != 0) {
        vr = VR_UNKNOWN;
        logReport(LOG_CHANNEL_0, "DcDict::getVr", "Tag 0x%08lx is not in dictionary", static_cast<unsigned long>(tag));
        return DICT_ERR_NOT_FOUND;
    }
    return getVrDef(tagConst, vr);
}

int DcDict::getVrDef(unsigned short int group, unsigned short int element, DICT_VR& vr)
{
    return getVrDef(brenik3::makeTag(group, element), vr);
}

int DcDict::getVrDef(const char* vrName, DICT_VR& vr)
{
    vr = VR_UNKNOWN;
    if (vrName == nullptr) {
        logReport(LOG_CHANNEL_0, "DcDict::getVrDef", "%s", nullArgument);
        return DICT_ERR_NULL_ARG;
    }
    for (DcDictVrDef* entry : vrs)
        if (entry && strcmp(entry->name, vrName) == 0) {
            vr = entry->vr;
            return 0;
        }
    logReport(LOG_CHANNEL_0, "DcDict::getVrDef", "VR '%s' is not in dictionary", vrName);
    return DICT_ERR_NOT_FOUND;
}

int DcDict::getVr(DICT_VR vr, char* vrName)
{
    if (vrName == nullptr) {
        logReport(LOG_CHANNEL_0, "DcDict::getVr", "%s", nullArgument);
        return DICT_ERR_NULL_ARG;
    }
    vrName[0] = '\0';
    const char* name = findVrName(vr);
    if (name == nullptr) {
        logReport(LOG_CHANNEL_0, "DcDict::getVr", "Enum constant VR %d (0x%x) is not in dictionary", vr, vr);
        return DICT_ERR_NOT_FOUND;
    }
    strcpy(vrName, name);
    return 0;
}

int DcDict::getVr(int tagConst, char* vrName)
{
    if (vrName == nullptr)
        return getVr(VR_UNKNOWN, vrName);
    vrName[0] = '\0';
    unsigned int tag;
    DICT_VR vr;
    int status = getTag(tagConst, tag);
    if (status == 0)
        status = getVrDef(tag, vr);
    return status != 0 ? status : getVr(vr, vrName);
}

int DcDict::getVr(unsigned short int group, unsigned short int element, char* vrName)
{
    if (vrName == nullptr)
        return getVr(VR_UNKNOWN, vrName);
    vrName[0] = '\0';
    DICT_VR vr;
    int status = getVrDef(group, element, vr);
    return status != 0 ? status : getVr(vr, vrName);
}

int DcDict::getVrLen(DICT_VR vr, int& len)
{
    VrProperties properties;
    int status = vrLookup(vr, properties, "DcDict::getVrLen", currentLoaded);
    len = properties.len;
    return status;
}

int DcDict::getVrSize(DICT_VR vr, DICT_VR_SIZE& size)
{
    VrProperties properties;
    int status = vrLookup(vr, properties, "DcDict::getVrSize", currentLoaded);
    size = properties.size;
    return status;
}

int DcDict::getDesc(int tagConst, char* desc)
{
    if (desc == nullptr) {
        logReport(LOG_CHANNEL_0, "DcDict::getDesc", "%s", nullArgument);
        return DICT_ERR_NULL_ARG;
    }
    const DcDictTagEntry* entry = findTagConstOrTag(tagConst);
    brenik3::copyText(desc, entry ? entry->name : unknownText, DICT_NAME_MAX);
    return entry ? 0 : DICT_ERR_NOT_FOUND;
}

int DcDict::getDesc(unsigned int tag, char* desc)
{
    if (desc == nullptr)
        return getDesc(0, desc);
    int tagConst;
    if (getTagDef(tag, tagConst) != 0) {
        strcpy(desc, unknownText);
        logReport(LOG_CHANNEL_0, "DcDict::getDesc", "Tag 0x%08lx is not in dictionary", static_cast<unsigned long>(tag));
        return DICT_ERR_NOT_FOUND;
    }
    return getDesc(tagConst, desc);
}

int DcDict::getDesc(unsigned short int group, unsigned short int element, char* desc)
{
    return getDesc(brenik3::makeTag(group, element), desc);
}

// ---- UIDs and messages ----------------------------------------------------------

int DcDict::getUid(DICT_UID uid, char* uidStrg)
{
    if (uidStrg == nullptr) {
        logReport(LOG_CHANNEL_1, "DcDict::getUid", "%s", nullArgument);
        return DICT_ERR_NULL_ARG;
    }
    uidStrg[0] = '\0';
    if (uid == UID_NONE)
        return DICT_ERR_NOT_FOUND;
    UidEntry* entry = findUid(uid);
    if (entry == nullptr) {
        logReport(LOG_CHANNEL_0, "DcDict::getUid", "Enum constant UID %d (0x%x) is not in dictionary", uid,
                  static_cast<unsigned int>(uid));
        return DICT_ERR_NOT_FOUND;
    }
    strcpy(uidStrg, entry->uidStrg);
    return 0;
}

int DcDict::getUidDef(const char* uidStrg, DICT_UID& uid)
{
    uid = UID_NONE;
    if (uidStrg == nullptr) {
        logReport(LOG_CHANNEL_0, "DcDict::getUidDef", "%s", nullArgument);
        return DICT_ERR_NULL_ARG;
    }
    UidEntry* entry = findUidStrg(uidStrg);
    if (entry == nullptr)
        return DICT_ERR_NOT_FOUND;
    uid = entry->uid;
    return 0;
}

int DcDict::getUidType(DICT_UID uid, DICT_UID_TYPE& type)
{
    UidEntry* entry = findUid(uid);
    type = entry ? entry->uidType : UID_TYPE_UNKNOWN;
    return entry ? 0 : DICT_ERR_NOT_FOUND;
}

int DcDict::getUidType(const char* uidStrg, DICT_UID_TYPE& type)
{
    type = UID_TYPE_UNKNOWN;
    if (uidStrg == nullptr) {
        logReport(LOG_CHANNEL_0, "DcDict::getUidType", "%s", nullArgument);
        return DICT_ERR_NULL_ARG;
    }
    UidEntry* entry = findUidStrg(uidStrg);
    if (entry == nullptr)
        return DICT_ERR_NOT_FOUND;
    type = entry->uidType;
    return 0;
}

int DcDict::getDesc(DICT_UID uid, char* desc)
{
    if (desc == nullptr) {
        logReport(LOG_CHANNEL_0, "DcDict::getDesc", "%s", nullArgument);
        return DICT_ERR_NULL_ARG;
    }
    UidEntry* entry = findUid(uid);
    brenik3::copyText(desc, entry ? entry->desc : unknownText, DICT_NAME_MAX);
    return entry ? 0 : DICT_ERR_NOT_FOUND;
}

int DcDict::getDesc(DICT_MSG msg, char* desc)
{
    if (desc == nullptr) {
        logReport(LOG_CHANNEL_0, "DcDict::getDesc", "%s", nullArgument);
        return DICT_ERR_NULL_ARG;
    }
    for (int i = 0; i < DcDictBuiltinMsgCount; ++i)
        if (DcDictBuiltinMsgs[i].msg == msg) {
            strcpy(desc, DcDictBuiltinMsgs[i].desc);
            return 0;
        }
    strcpy(desc, "Invalid command");
    return DICT_ERR_NOT_FOUND;
}

int DcDict::getEndian(DICT_UID xferSyn, ARCH_ENDIAN& endian)
{
    UidEntry* entry = findUid(xferSyn);
    if (entry == nullptr || entry->uidType != UID_TRANSFER_SYNTAX) {
        endian = ENDIAN_UNKNOWN;
        logReport(LOG_CHANNEL_0, "DcDict::getEndian", "'%s' is not a Transfer Syntax UID",
                  entry ? entry->uidStrg : "");
        return DICT_ERR_NOT_XFER_SYNTAX;
    }
    endian = xferSyn == UID_BIG_ENDIAN_EXPLICIT ? ENDIAN_BIG : ENDIAN_LITTLE;
    return 0;
}

// ---- the current dictionary -----------------------------------------------------

int DcDict::loadCurrent()
{
    if (currentLoaded)
        return 0;
    currentLoaded = true;
    int slot = 0;
    for (const DcDictVrDef& def : newerVrs) {
        if (findVrName(def.vr) != nullptr)
            continue;
        while (slot < DICT_VR_SLOTS && vrs[slot] != nullptr)
            ++slot;
        if (slot == DICT_VR_SLOTS)
            break;
        vrs[slot] = new DcDictVrDef(def);
    }
    currentUids.resize(DcDictCurrentUidCount);
    for (int i = 0; i < DcDictCurrentUidCount; ++i) {
        const DcDictUidDef& def = DcDictCurrentUids[i];
        UidEntry& entry = currentUids[i];
        entry.uid = def.uid;
        brenik3::copyText(entry.uidStrg, def.uidStrg, DICT_UID_MAX);
        entry.uidType = def.uidType;
        entry.desc = def.desc;
    }
    return 0;
}

// The current attribute of a tag as it stands in a data set: repeating groups
// 50xx and 60xx in their FF form, other repeating digits through the masks.
const DcDictCurrentTag* DcDict::findCurrentTag(unsigned int tag)
{
    unsigned int groupHigh = tag >> 24;
    unsigned int key = groupHigh == 0x50 || groupHigh == 0x60 ? dictNormalizeTag(tag) : tag;
    const DcDictCurrentTag* end = DcDictCurrentTags + DcDictCurrentTagCount;
    const DcDictCurrentTag* found = std::lower_bound(
        DcDictCurrentTags, end, key, [](const DcDictCurrentTag& e, unsigned int k) { return e.entry.tag < k; });
    if (found != end && found->entry.tag == key)
        return found;
    for (int i = 0; i < DcDictCurrentMaskedTagCount; ++i) {
        const DcDictCurrentTag& masked = DcDictCurrentMaskedTags[i];
        if ((tag & masked.mask) == (masked.entry.tag & masked.mask))
            return &masked;
    }
    return nullptr;
}

bool DcDict::isRetired(unsigned int tag)
{
    const DcDictCurrentTag* current = currentLoaded ? findCurrentTag(tag) : nullptr;
    return current != nullptr && current->retired;
}
