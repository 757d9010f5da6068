#ifndef BRENIK3_DICTIONARY_DCDICT_H
#define BRENIK3_DICTIONARY_DCDICT_H

#include <string_view>
#include <unordered_map>
#include <vector>

#include "dictionary/DcDictTypes.h"
#include "dictionary/DcDictTags.h"
#include "dictionary/DcDictCurrentUids.h"
#include "foundation/Export.h"

struct DcDictTagEntry;
struct DcDictVrDef;
struct DcDictUidDef;
struct DcDictCurrentTag;

// UIDs of the current dictionary take DICT_UID values from this one on.
enum { DICT_CURRENT_UID_FIRST = 1000 };

// Dictionary status codes (module 0x14).
enum {
    DICT_ERR_EXISTS = 0x1401,
    DICT_ERR_NOT_FOUND = 0x1402,
    DICT_ERR_NULL_ARG = 0x1403,
    DICT_ERR_FULL = 0x1404,
    DICT_ERR_NOT_SQ = 0x1405,
    DICT_ERR_SQ_MEMBER_LIMIT = 0x1406,
    DICT_ERR_SQ_UNKNOWN_MEMBER = 0x1407,
    DICT_ERR_NOT_XFER_SYNTAX = 0x1408
};

enum {
    DICT_TAG_SLOTS = 2048,
    DICT_UID_SLOTS = 256,
    DICT_VR_SLOTS = 48,
    DICT_SQ_SLOTS = 160,
    DICT_NAME_SLOTS = 2048,
    DICT_NAME_MAX = 60,        // tag names and descriptions are cut to this
    DICT_UID_MAX = 64,         // longest UID string
    DICT_SQ_MEMBER_LIMIT = 64  // member tags one sequence may list
};

// The process-wide data dictionary: tags, value representations, UIDs,
// message descriptions, sequence member lists and the ID generators.
// Look-ups go through hash indexes that give exactly the result of a scan of
// the slots from the first (first matching slot wins).
class BRENIK3_API DcDict {
public:
    DcDict();
    virtual ~DcDict();
    DcDict(const DcDict&) = delete;
    DcDict& operator=(const DcDict&) = delete;

    // Tags
    int getTag(int tagConst, unsigned int& tag);
    int getTag(int tagConst, unsigned short int& group, unsigned short int& element);
    int getTagDef(unsigned int tag, int& tagConst);
    int getTagDef(unsigned short int group, unsigned short int element, int& tagConst);
    int getVm(int tagConst, int& vm);
    int getVm(unsigned int tag, int& vm);
    int getVm(unsigned short int group, unsigned short int element, int& vm);
    int getVrDef(int tagConst, DICT_VR& vr);
    int getVrDef(unsigned int tag, DICT_VR& vr);
    int getVrDef(unsigned short int group, unsigned short int element, DICT_VR& vr);
    int getVrDef(const char* vrName, DICT_VR& vr);
    int getVr(DICT_VR vr, char* vrName);
    int getVr(int tagConst, char* vrName);
    int getVr(unsigned short int group, unsigned short int element, char* vrName);
    int getVrLen(DICT_VR vr, int& len);
    int getVrSize(DICT_VR vr, DICT_VR_SIZE& size);
    int getDesc(int tagConst, char* desc);
    int getDesc(unsigned int tag, char* desc);
    int getDesc(unsigned short int group, unsigned short int element, char* desc);

    // UIDs and messages
    int getUid(DICT_UID uid, char* uidStrg);
    int getUidDef(const char* uidStrg, DICT_UID& uid);
    int getUidType(DICT_UID uid, DICT_UID_TYPE& type);
    int getUidType(const char* uidStrg, DICT_UID_TYPE& type);
    int getDesc(DICT_UID uid, char* desc);
    int getDesc(DICT_MSG msg, char* desc);
    int getEndian(DICT_UID xferSyn, ARCH_ENDIAN& endian);

    void reset();

    // Extension: the tag and name held in tag slot `slot` (0 to
    // DICT_TAG_SLOTS - 1), so that a caller can walk every tag the dictionary
    // knows, built-in and added, for instance to find one by its name.
    // Returns 0, or DICT_ERR_NOT_FOUND for an empty or out-of-range slot
    // (nothing is logged).
    int getTagSlot(int slot, unsigned int& tag, const char*& name);

    // Makes the current standard's dictionary known, on top of the built-in
    // tables: about 5,000 attributes (by tag, constant, name, VR and VM, retired
    // ones included), 330 more UIDs (values from DICT_CURRENT_UID_FIRST on,
    // with their kinds) and the VRs OD, OF, OL, OV, SV, UV, UC and UR. Built-in
    // and caller-added entries keep precedence; a current attribute's constant
    // is its tag value. After the call, add() gives a new tag its own value as
    // constant where that is free. Costs a few microseconds (no copying); lasts
    // until reset(). Returns 0; calling it again changes nothing.
    int loadCurrent();
    // True between loadCurrent() and the next reset().
    bool isCurrentLoaded() const { return currentLoaded; }
    // Whether the current dictionary marks the tag retired (false when it does
    // not know the tag or loadCurrent() has not run).
    bool isRetired(unsigned int tag);

    // Extension
    int add(unsigned int tag, DICT_VR vr, int vm, const char* name, int* tagConst);
    int add(unsigned short int group, unsigned short int element, DICT_VR vr, int vm,
            const char* name, int* tagConst);
    // A new sequence tag with the member tags its items may hold.
    int add(unsigned int tag, int vm, const char* name, int* tagConst,
            const unsigned int* memberTags, int memberCount);
    int add(const char* uidStrg, const char* desc, DICT_UID* uid, DICT_UID_TYPE type);
    int subtract(unsigned int tag);
    int subtract(unsigned short int group, unsigned short int element);
    int subtract(const char* uidStrg);

    // Member tags of a sequence: up to DICT_SQ_MEMBER_LIMIT tags are copied
    // into memberTags (a caller array of that size) and counted in count.
    int getSqTagList(int tagConst, unsigned int* memberTags, int& count);
    int getSqTagList(unsigned int tag, unsigned int* memberTags, int& count);
    int getSqTagList(unsigned short int group, unsigned short int element,
                     unsigned int* memberTags, int& count);

    // Generators
    int genUid(char* uid);
    int genMsgId(unsigned short int& msgId);
    int genPresCtxId(unsigned char& presCtxId);

private:
    struct UidEntry {
        DICT_UID uid;
        char uidStrg[DICT_UID_MAX + 1];
        DICT_UID_TYPE uidType;
        const char* desc;
    };
    struct SqEntry {
        unsigned int sqTag;
        unsigned int* members;
        int count;
    };

    DcDictTagEntry* tags[DICT_TAG_SLOTS];
    UidEntry* uids[DICT_UID_SLOTS];
    DcDictVrDef* vrs[DICT_VR_SLOTS];
    SqEntry* sqLists[DICT_SQ_SLOTS];
    char* names[DICT_NAME_SLOTS];
    unsigned int uidCounter;
    unsigned char msgIdCounter;
    unsigned char presCtxIdCounter;
    bool currentLoaded;
    std::vector<UidEntry> currentUids;  // in ascending string order

    // Indexes: key -> first slot holding it.
    std::unordered_map<unsigned int, int> tagIndex;
    std::unordered_map<int, int> tagConstIndex;
    // Changes whenever a tag index changes, so that a look-up remembered by
    // a thread (the same tag is looked up several times per element read)
    // is never used once stale.
    unsigned int tagGeneration = 0;
    std::unordered_map<int, int> uidIndex;
    std::unordered_map<std::string_view, int> uidStrgIndex;

    void clearTables();
    void loadSqLists();
    void indexTag(int slot);
    void removeTagSlot(int slot);
    void indexUid(int slot);
    void removeUidSlot(int slot);
    DcDictTagEntry* findTagConst(int tagConst);
    const DcDictTagEntry* findTagConstOrTag(int tagConst);
    const DcDictCurrentTag* findCurrentTag(unsigned int tag);
    DcDictTagEntry* findTag(unsigned int tag);
    UidEntry* findUid(DICT_UID uid);
    UidEntry* findUidStrg(const char* uidStrg);
    const char* findVrName(DICT_VR vr);
    SqEntry* findSqList(unsigned int sqTag);
    const char* storeName(const char* name);
    int addSqList(unsigned int sqTag, const unsigned int* memberTags, int memberCount);
    int checkSqList(unsigned int sqTag, const unsigned int* memberTags, int memberCount);
    void storeSqList(unsigned int sqTag, const unsigned int* memberTags, int memberCount);
};

// Normal form of a tag as the dictionary keys it: repeating groups 50xx and
// 60xx become 50FF/60FF, then dictPrivateNormalForm applies.
BRENIK3_API unsigned int dictNormalizeTag(unsigned int tag);
// Private data elements (odd group, element not 0000): element xxyy becomes
// FFyy, element 00yy becomes 00FF. Other tags are returned unchanged.
BRENIK3_API unsigned int dictPrivateNormalForm(unsigned int tag);

extern BRENIK3_API DcDict Dict;

#endif
