// Caller additions to the dictionary, sequence member lists and the ID generators.
#include <cctype>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "dictionary/DcDict.h"
#include "dictionary/DcDictTables.h"
#include "foundation/DcLog.h"
#include "foundation/util.h"
#include "internal/Text.h"
#include "internal/Tag.h"
#include "internal/Version.h"

namespace {

const char* const nullArgument = "Null argument passed";

}

const char* DcDict::storeName(const char* name)
{
    for (char*& slot : names)
        if (slot == nullptr) {
            slot = new char[strnlen(name, DICT_NAME_MAX) + 1];
            brenik3::copyText(slot, name, DICT_NAME_MAX);
            return slot;
        }
    return nullptr;
}

int DcDict::add(unsigned int tag, DICT_VR vr, int vm, const char* name, int* tagConst)
{
    int existing;
    if (getTagDef(tag, existing) == 0) {
        if (tagConst)
            *tagConst = existing;
        logReport(LOG_CHANNEL_0, "DcDict::add", "Tag 0x%08lx already exists in dictionary",
                  static_cast<unsigned long>(tag));
        return DICT_ERR_EXISTS;
    }
    tag = dictPrivateNormalForm(tag);
    int maxConst = static_cast<int>(0x80000000u);
    int emptySlot = -1;
    for (int i = 0; i < DICT_TAG_SLOTS; ++i) {
        if (tags[i] == nullptr)
            emptySlot = i;
        else if (tags[i]->tagConst > maxConst)
            maxConst = tags[i]->tagConst;
    }
    if (emptySlot < 0) {
        logReport(LOG_CHANNEL_0, "DcDict::add", "Dictionary element limit reached");
        return DICT_ERR_FULL;
    }
    char generated[16];
    if (name == nullptr) {
        snprintf(generated, sizeof generated, "T_%04x_%04x", tag >> 16, tag & 0xFFFF);
        name = generated;
    }
    const char* stored = storeName(name);
    if (stored == nullptr) {
        logReport(LOG_CHANNEL_0, "DcDict::add", "Dictionary name limit reached");
        return DICT_ERR_FULL;
    }
    // With the current dictionary loaded, constants are tag values, so a new
    // tag takes its own value where no entry uses it yet.
    int newConst = maxConst + 1;
    if (currentLoaded && tagConstIndex.count(static_cast<int>(tag)) == 0 &&
        findCurrentTag(tag) == nullptr)
        newConst = static_cast<int>(tag);
    tags[emptySlot] = new DcDictTagEntry{tag, vr, vm, newConst, stored};
    indexTag(emptySlot);
    if (tagConst)
        *tagConst = newConst;
    return 0;
}

int DcDict::add(unsigned short int group, unsigned short int element, DICT_VR vr, int vm, const char* name,
                int* tagConst)
{
    return add(brenik3::makeTag(group, element), vr, vm, name, tagConst);
}

int DcDict::add(unsigned int tag, int vm, const char* name, int* tagConst, const unsigned int* memberTags,
                int memberCount)
{
    int existing;
    if (getTagDef(tag, existing) == 0) {
        // A known sequence that has no member list yet takes the given one.
        DcDictTagEntry* entry = findTagConst(existing);
        if (entry->vr != VR_SQ || findSqList(entry->tag) != nullptr)
            return add(tag, VR_SQ, vm, name, tagConst);
        if (tagConst)
            *tagConst = existing;
        return addSqList(entry->tag, memberTags, memberCount);
    }
    unsigned int sqTag = dictPrivateNormalForm(tag);
    int status = checkSqList(sqTag, memberTags, memberCount);
    if (status == 0)
        status = add(tag, VR_SQ, vm, name, tagConst);
    if (status == 0)
        storeSqList(sqTag, memberTags, memberCount);
    return status;
}

int DcDict::addSqList(unsigned int sqTag, const unsigned int* memberTags, int memberCount)
{
    DcDictTagEntry* entry = findTag(dictNormalizeTag(sqTag));
    if (entry == nullptr || entry->vr != VR_SQ) {
        logReport(LOG_CHANNEL_0, "DcDict::add", "Element (%04x,%04x) is not of type SQ", sqTag >> 16,
                  sqTag & 0xFFFF);
        return DICT_ERR_NOT_SQ;
    }
    if (findSqList(entry->tag) != nullptr) {
        logReport(LOG_CHANNEL_0, "DcDict::add", "SQ tag 0x%08lx already has a member tag list",
                  static_cast<unsigned long>(sqTag));
        return DICT_ERR_EXISTS;
    }
    int status = checkSqList(entry->tag, memberTags, memberCount);
    if (status == 0)
        storeSqList(entry->tag, memberTags, memberCount);
    return status;
}

// Whether a member list can be stored for sqTag: a count within the limit,
// known members (the sequence itself may nest), a free slot.
int DcDict::checkSqList(unsigned int sqTag, const unsigned int* memberTags, int memberCount)
{
    if (memberTags == nullptr && memberCount > 0) {
        logReport(LOG_CHANNEL_0, "DcDict::add", "%s", nullArgument);
        return DICT_ERR_NULL_ARG;
    }
    if (memberCount < 0 || memberCount > DICT_SQ_MEMBER_LIMIT) {
        logReport(LOG_CHANNEL_0, "DcDict::add", "Number of element exceeds limit for SQ tag 0x%08lx",
                  static_cast<unsigned long>(sqTag));
        return DICT_ERR_SQ_MEMBER_LIMIT;
    }
    int tagConst;
    for (int i = 0; i < memberCount; ++i)
        if (dictPrivateNormalForm(memberTags[i]) != sqTag && getTagDef(memberTags[i], tagConst) != 0) {
            logReport(LOG_CHANNEL_0, "DcDict::add", "Unknown element 0x%08lx added to SQ 0x%08lx",
                      static_cast<unsigned long>(memberTags[i]), static_cast<unsigned long>(sqTag));
            return DICT_ERR_SQ_UNKNOWN_MEMBER;
        }
    for (SqEntry* slot : sqLists)
        if (slot == nullptr)
            return 0;
    logReport(LOG_CHANNEL_0, "DcDict::add", "Dictionary sequence limit reached");
    return DICT_ERR_FULL;
}

// Stores a list that checkSqList has accepted.
void DcDict::storeSqList(unsigned int sqTag, const unsigned int* memberTags, int memberCount)
{
    for (SqEntry*& slot : sqLists)
        if (slot == nullptr) {
            slot = new SqEntry{sqTag, new unsigned int[memberCount > 0 ? memberCount : 1], memberCount};
            for (int i = 0; i < memberCount; ++i)
                slot->members[i] = memberTags[i];
            return;
        }
}

int DcDict::add(const char* uidStrg, const char* desc, DICT_UID* uid, DICT_UID_TYPE type)
{
    if (uidStrg == nullptr) {
        if (uid)
            *uid = UID_NONE;
        logReport(LOG_CHANNEL_0, "DcDict::add", "%s", nullArgument);
        return DICT_ERR_NULL_ARG;
    }
    char strg[DICT_UID_MAX + 1];
    brenik3::copyStripped(strg, uidStrg, DICT_UID_MAX);
    DICT_UID existing;
    if (getUidDef(strg, existing) == 0) {
        if (uid)
            *uid = existing;
        logReport(LOG_CHANNEL_0, "DcDict::add", "UID '%s' already exists in dictionary", strg);
        return DICT_ERR_EXISTS;
    }
    for (const char* c = strg; *c; ++c)
        if (!isdigit(static_cast<unsigned char>(*c)) && *c != '.') {
            logReport(LOG_CHANNEL_0, "DcDict::add", "Invalid character '%c' in UID string %s", *c, strg);
            return DICT_ERR_NOT_XFER_SYNTAX;
        }
    if (strg[0] == '\0') {
        logReport(LOG_CHANNEL_0, "DcDict::add", "Empty UID string");
        return DICT_ERR_NOT_XFER_SYNTAX;
    }
    int maxUid = 0;
    int emptySlot = -1;
    for (int i = 0; i < DICT_UID_SLOTS; ++i) {
        if (uids[i] == nullptr) {
            if (emptySlot < 0)
                emptySlot = i;
        } else if (uids[i]->uid > maxUid) {
            maxUid = uids[i]->uid;
        }
    }
    if (emptySlot < 0) {
        logReport(LOG_CHANNEL_0, "DcDict::add", "Dictionary UID limit of %d reached", DICT_UID_SLOTS);
        return DICT_ERR_FULL;
    }
    const char* storedDesc = "Private UID";
    if (desc != nullptr) {
        storedDesc = storeName(desc);
        if (storedDesc == nullptr) {
            logReport(LOG_CHANNEL_0, "DcDict::add", "Dictionary name limit reached");
            return DICT_ERR_FULL;
        }
    }
    UidEntry* entry = new UidEntry;
    entry->uid = static_cast<DICT_UID>(maxUid + 1);
    strcpy(entry->uidStrg, strg);
    entry->uidType = type == UID_SOP_CLASS ? UID_PRIVATE_SOP_CLASS : type;
    entry->desc = storedDesc;
    uids[emptySlot] = entry;
    indexUid(emptySlot);
    if (uid)
        *uid = entry->uid;
    return 0;
}

int DcDict::subtract(unsigned int tag)
{
    int tagConst;
    if (getTagDef(tag, tagConst) != 0) {
        logReport(LOG_CHANNEL_0, "DcDict::subtract", "Tag 0x%08lx is not in dictionary",
                  static_cast<unsigned long>(tag));
        return DICT_ERR_NOT_FOUND;
    }
    int slot = tagConstIndex.at(tagConst);
    // The member list is keyed by the tag as stored (private and repeating
    // tags in their normal form), which is the given tag for standard ones.
    unsigned int storedTag = tags[slot]->tag;
    removeTagSlot(slot);
    for (SqEntry*& list : sqLists)
        if (list && list->sqTag == storedTag) {
            delete[] list->members;
            delete list;
            list = nullptr;
            break;
        }
    return 0;
}

int DcDict::subtract(unsigned short int group, unsigned short int element)
{
    return subtract(brenik3::makeTag(group, element));
}

int DcDict::subtract(const char* uidStrg)
{
    if (uidStrg == nullptr) {
        logReport(LOG_CHANNEL_0, "DcDict::subtract", "%s", nullArgument);
        return DICT_ERR_NULL_ARG;
    }
    auto it = uidStrgIndex.find(std::string_view(uidStrg));
    if (it == uidStrgIndex.end()) {
        logReport(LOG_CHANNEL_0, "DcDict::subtract", "UID '%s' is not in dictionary", uidStrg);
        return DICT_ERR_NOT_FOUND;
    }
    // Only the caller's own additions go; the built-in UIDs stay.
    if (uids[it->second]->uid <= UID_BUILTIN_LAST) {
        logReport(LOG_CHANNEL_0, "DcDict::subtract", "UID '%s' is built in and cannot be removed", uidStrg);
        return DICT_ERR_NOT_FOUND;
    }
    removeUidSlot(it->second);
    return 0;
}

int DcDict::getSqTagList(unsigned int tag, unsigned int* memberTags, int& count)
{
    count = 0;
    if (memberTags == nullptr) {
        logReport(LOG_CHANNEL_0, "DcDict::getSqTagList", "%s", nullArgument);
        return DICT_ERR_NULL_ARG;
    }
    DcDictTagEntry* entry = findTag(dictNormalizeTag(tag));
    if (entry == nullptr) {
        logReport(LOG_CHANNEL_0, "DcDict::getSqTagList", "Tag 0x%08lx is not in dictionary",
                  static_cast<unsigned long>(tag));
        return DICT_ERR_NOT_FOUND;
    }
    unsigned int group = tag >> 16;
    unsigned int element = tag & 0xFFFF;
    if (entry->vr != VR_SQ) {
        logReport(LOG_CHANNEL_0, "DcDict::getSqTagList", "Element (%04x,%04x) is not of type SQ", group, element);
        return DICT_ERR_NOT_SQ;
    }
    SqEntry* list = findSqList(entry->tag);
    if (list == nullptr) {
        logReport(LOG_CHANNEL_0, "DcDict::getSqTagList", "(%04x,%04x), member tag list missing", group, element);
        return DICT_ERR_NOT_FOUND;
    }
    count = list->count;
    memcpy(memberTags, list->members, sizeof(unsigned int) * count);
    return 0;
}

int DcDict::getSqTagList(int tagConst, unsigned int* memberTags, int& count)
{
    unsigned int tag;
    count = 0;
    int status = getTag(tagConst, tag);
    return status != 0 ? status : getSqTagList(tag, memberTags, count);
}

int DcDict::getSqTagList(unsigned short int group, unsigned short int element, unsigned int* memberTags,
                         int& count)
{
    return getSqTagList(brenik3::makeTag(group, element), memberTags, count);
}

int DcDict::genUid(char* uid)
{
    if (uid == nullptr) {
        logReport(LOG_CHANNEL_0, "DcDict::genUid", "%s", nullArgument);
        return DICT_ERR_NULL_ARG;
    }
    time_t now = time(nullptr);
    struct tm local;
    localtime_r(&now, &local);
    snprintf(uid, DICT_UID_MAX + 1, "%s.%d.%d.%d.%d.%d.%d.%d", BRENIK3_UID_ROOT, local.tm_year + 1900,
             local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec,
             static_cast<int>(uidCounter));
    ++uidCounter;
    return 0;
}

int DcDict::genMsgId(unsigned short int& msgId)
{
    msgId = msgIdCounter;
    msgIdCounter = static_cast<unsigned char>(msgIdCounter + 2);
    return 0;
}

int DcDict::genPresCtxId(unsigned char& presCtxId)
{
    presCtxId = presCtxIdCounter;
    presCtxIdCounter = static_cast<unsigned char>(((presCtxIdCounter + 2) % 256) % 255);
    return 0;
}
