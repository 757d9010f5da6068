// The dictionary answers through indexes; a look-up must give exactly what a
// scan of the slots from the first gives (first matching slot wins), also
// after additions, removals and resets. This test keeps its own model of the
// slots, changed by the rules the dictionary follows, and scans it naively.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "dictionary/DcDict.h"
#include "dictionary/DcDictTables.h"
#include "foundation/LogCapture.h"

namespace {

struct TagSlot {
    bool used = false;
    unsigned int tag = 0;
    DICT_VR vr = VR_UNKNOWN;
    int vm = 0;
    int tagConst = 0;
    std::string name;
};

struct UidSlot {
    bool used = false;
    DICT_UID uid = UID_NONE;
    std::string strg;
    DICT_UID_TYPE type = UID_TRANSFER_SYNTAX;
};

// The first used slot that matches, or null.
template <typename Slot, typename Match>
Slot* firstMatch(std::vector<Slot>& slots, Match match)
{
    for (Slot& slot : slots)
        if (slot.used && match(slot))
            return &slot;
    return nullptr;
}

class SlotModel {
public:
    SlotModel() { reset(); }

    void reset()
    {
        tags.assign(DICT_TAG_SLOTS, TagSlot());
        for (int i = 0; i < DcDictBuiltinTagCount; ++i) {
            const DcDictTagEntry& e = DcDictBuiltinTags[i];
            tags[i] = {true, e.tag, e.vr, e.vm, e.tagConst, e.name};
        }
        uids.assign(DICT_UID_SLOTS, UidSlot());
        for (int i = 0; i < DcDictBuiltinUidCount; ++i) {
            const DcDictUidDef& e = DcDictBuiltinUids[i];
            uids[i] = {true, e.uid, e.uidStrg, e.uidType};
        }
    }

    TagSlot* byTag(unsigned int tag)
    {
        unsigned int key = dictNormalizeTag(tag);
        return firstMatch(tags, [&](const TagSlot& slot) { return slot.tag == key; });
    }
    TagSlot* byConst(int tagConst)
    {
        return firstMatch(tags, [&](const TagSlot& slot) { return slot.tagConst == tagConst; });
    }
    UidSlot* byUid(int uid)
    {
        return firstMatch(uids, [&](const UidSlot& slot) { return slot.uid == uid; });
    }
    UidSlot* byStrg(const std::string& strg)
    {
        return firstMatch(uids, [&](const UidSlot& slot) { return slot.strg == strg; });
    }

    // A new tag goes to the last free slot and takes the highest constant + 1.
    int addTag(unsigned int tag, DICT_VR vr, int vm)
    {
        if (byTag(tag))
            return DICT_ERR_EXISTS;
        int maxConst = static_cast<int>(0x80000000u);
        int empty = -1;
        for (int i = 0; i < DICT_TAG_SLOTS; ++i) {
            if (!tags[i].used)
                empty = i;
            else if (tags[i].tagConst > maxConst)
                maxConst = tags[i].tagConst;
        }
        if (empty < 0)
            return DICT_ERR_FULL;
        unsigned int stored = dictPrivateNormalForm(tag);
        char name[16];
        snprintf(name, sizeof name, "T_%04x_%04x", stored >> 16, stored & 0xFFFF);
        tags[empty] = {true, stored, vr, vm, maxConst + 1, name};
        return 0;
    }

    int subtractTag(unsigned int tag)
    {
        TagSlot* found = byTag(tag);
        if (!found)
            return DICT_ERR_NOT_FOUND;
        *byConst(found->tagConst) = TagSlot();
        return 0;
    }

    // A new UID goes to the first free slot and takes the highest value + 1.
    int addUid(const std::string& strg, DICT_UID_TYPE type)
    {
        if (byStrg(strg))
            return DICT_ERR_EXISTS;
        int maxUid = 0;
        int empty = -1;
        for (int i = 0; i < DICT_UID_SLOTS; ++i) {
            if (!uids[i].used && empty < 0)
                empty = i;
            else if (uids[i].used && uids[i].uid > maxUid)
                maxUid = uids[i].uid;
        }
        if (empty < 0)
            return DICT_ERR_FULL;
        uids[empty] = {true, static_cast<DICT_UID>(maxUid + 1), strg,
                       type == UID_SOP_CLASS ? UID_PRIVATE_SOP_CLASS : type};
        return 0;
    }

    int subtractUid(const std::string& strg)
    {
        UidSlot* found = byStrg(strg);
        if (!found || found->uid <= UID_BUILTIN_LAST)
            return DICT_ERR_NOT_FOUND;
        *found = UidSlot();
        return 0;
    }

    std::vector<TagSlot> tags;
    std::vector<UidSlot> uids;
};

// Tags the random walk draws from: built-in ones (standard, private, repeating
// groups), unknown standard and private ones, and even 60xx groups, which are
// stored as given but looked up as 60FF and so can be added more than once.
unsigned int drawTag(std::mt19937& random)
{
    switch (random() % 5) {
    case 0:
        return DcDictBuiltinTags[random() % DcDictBuiltinTagCount].tag;
    case 1:
        return 0x00090000u | static_cast<unsigned int>(random() % 0x3000);
    case 2:
        return 0x00200000u | static_cast<unsigned int>(random() % 0x40);
    case 3:
        return 0x60020000u | static_cast<unsigned int>(random() % 8);
    default:
        return 0x02490000u | static_cast<unsigned int>(random() % 0x3000);
    }
}

void expectSameTag(SlotModel& model, unsigned int tag)
{
    const TagSlot* slot = model.byTag(tag);
    int tagConst = 0;
    EXPECT_EQ(Dict.getTagDef(tag, tagConst), slot ? 0 : DICT_ERR_NOT_FOUND) << std::hex << tag;
    EXPECT_EQ(tagConst, slot ? slot->tagConst : -1) << std::hex << tag;
    int vm = 0;
    Dict.getVm(tag, vm);
    EXPECT_EQ(vm, slot ? slot->vm : 0);
    DICT_VR vr;
    Dict.getVrDef(tag, vr);
    EXPECT_EQ(vr, slot ? slot->vr : VR_UNKNOWN);
}

void expectSameConst(SlotModel& model, int tagConst)
{
    const TagSlot* slot = model.byConst(tagConst);
    unsigned int tag = 0;
    EXPECT_EQ(Dict.getTag(tagConst, tag), slot ? 0 : DICT_ERR_NOT_FOUND) << std::hex << tagConst;
    EXPECT_EQ(tag, slot ? slot->tag : 0xFFFFFFFFu);
    // A number that is no constant is taken as a tag value by these two.
    const TagSlot* named = slot ? slot : model.byTag(static_cast<unsigned int>(tagConst));
    char desc[61];
    Dict.getDesc(tagConst, desc);
    EXPECT_EQ(std::string(desc), named ? named->name.substr(0, 60) : "Unknown");
    int vm = -1;
    Dict.getVm(tagConst, vm);
    EXPECT_EQ(vm, named ? named->vm : 0);
}

void expectSameUid(SlotModel& model, int uid, const std::string& strg)
{
    const UidSlot* byValue = model.byUid(uid);
    char text[65];
    Dict.getUid(static_cast<DICT_UID>(uid), text);
    EXPECT_EQ(std::string(text), byValue && uid != 0 ? byValue->strg : "");
    DICT_UID_TYPE type;
    EXPECT_EQ(Dict.getUidType(static_cast<DICT_UID>(uid), type), byValue ? 0 : DICT_ERR_NOT_FOUND);
    const UidSlot* byStrg = model.byStrg(strg);
    DICT_UID value;
    EXPECT_EQ(Dict.getUidDef(strg.c_str(), value), byStrg ? 0 : DICT_ERR_NOT_FOUND) << strg;
    EXPECT_EQ(value, byStrg ? byStrg->uid : UID_NONE) << strg;
}

}

TEST(DictionaryIndex, AgreesWithAScanOfTheSlotsThroughAddSubtractAndReset)
{
    LogCapture log;
    Dict.reset();
    SlotModel model;
    std::mt19937 random(2010);
    std::vector<int> addedConsts;
    for (int step = 0; step < 4000; ++step) {
        unsigned int tag = drawTag(random);
        unsigned int choice = random() % 100;
        if (choice < 45) {
            int tagConst = 0;
            int expected = model.addTag(tag, VR_LO, 1);
            ASSERT_EQ(Dict.add(tag, VR_LO, 1, nullptr, &tagConst), expected) << std::hex << tag;
            if (expected == 0)
                addedConsts.push_back(tagConst);
        } else if (choice < 85) {
            ASSERT_EQ(Dict.subtract(tag), model.subtractTag(tag)) << std::hex << tag;
        } else if (choice < 92) {
            std::string uid = "1.2.77." + std::to_string(random() % 200);
            DICT_UID value;
            ASSERT_EQ(Dict.add(uid.c_str(), nullptr, &value, UID_SOP_CLASS), model.addUid(uid, UID_SOP_CLASS));
        } else if (choice < 98) {
            std::string uid = random() % 4 ? "1.2.77." + std::to_string(random() % 200)
                                           : std::string(DcDictBuiltinUids[random() % DcDictBuiltinUidCount].uidStrg);
            ASSERT_EQ(Dict.subtract(uid.c_str()), model.subtractUid(uid)) << uid;
        } else if (random() % 10 == 0) {
            Dict.reset();
            model.reset();
            addedConsts.clear();
        }
        expectSameTag(model, tag);
        expectSameTag(model, drawTag(random));
        expectSameConst(model, DcDictBuiltinTags[random() % DcDictBuiltinTagCount].tagConst);
        if (!addedConsts.empty())
            expectSameConst(model, addedConsts[random() % addedConsts.size()]);
        int uid = static_cast<int>(random() % 260);
        expectSameUid(model, uid, "1.2.77." + std::to_string(random() % 200));
        if (HasFatalFailure() || HasFailure())
            FAIL() << "at step " << step;
    }
}
