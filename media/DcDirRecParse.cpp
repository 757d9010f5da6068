// Reading directory records, their lower levels and siblings from an
// encoded DICOMDIR.
#include <cstring>
#include <string>

#include "dataset/DcElemCodec.h"
#include "dataset/utilLocate.h"
#include "dictionary/DcDict.h"
#include "foundation/DcLog.h"
#include "media/DcDirRec.h"
#include "media/DcDirRecWalk.h"
#include "internal/ByteCursor.h"

namespace {

const char* const parseName = "DcDirRec::parse";

// A UID string read from a record, as the dictionary's constant; a UID the
// dictionary does not know yet is added so that it survives a rewrite.
DICT_UID uidOf(DcElemList& list, int tagConst, DICT_UID_TYPE kind)
{
    char text[DIR_UID_MAX + 1] = "";
    if (list.getValue(tagConst, text, DIR_UID_MAX, ELEM_VAL_INDEX_KEEP) != 0 || text[0] == '\0')
        return UID_NONE;
    DICT_UID uid = UID_NONE;
    if (Dict.getUidDef(text, uid) != 0 && Dict.add(text, "", &uid, kind) != 0)
        return UID_NONE;
    return uid;
}

}

DcDirRec::DcDirRec(DcDirRec* parent, unsigned char* buffer, unsigned int at, unsigned int length)
{
    initialize(DIR_REC_UNKNOWN);
    if (buffer == nullptr || length == 0) {
        logReport(LOG_CHANNEL_0, parseName, "Null argument passed");
        parseStatus = DIR_ERR_NULL_ARG;
        return;
    }
    DcDirRecWalk walk(buffer, length);
    if (!offsetInside(walk, at)) {
        parseStatus = walk.status;
        return;
    }
    walk.parsed[at] = this;
    if (parent != nullptr)
        parent->link(this);
    unsigned int nextAt = 0;
    parse(walk, at, nextAt);
    if (parent != nullptr) {
        parseChain(parent, walk, nextAt);
        resolveMrdrs(parent->top(), walk);
    }
    parseStatus = walk.status;
}

bool DcDirRec::offsetInside(DcDirRecWalk& walk, unsigned int at)
{
    if (walk.length >= 8 && at <= walk.length - 8)
        return true;
    logReport(LOG_CHANNEL_2, parseName, "Offset %d (0x%06x) exceeds buffer length %d (0x%06x)", static_cast<int>(at),
              at, static_cast<int>(walk.length), walk.length);
    walk.fail(DIR_ERR_OFFSET);
    return false;
}

int DcDirRec::parseChain(DcDirRec* parent, DcDirRecWalk& walk, unsigned int at)
{
    while (at != 0) {
        if (!offsetInside(walk, at))
            break;
        if (walk.parsed.count(at) != 0) {
            logReport(LOG_CHANNEL_2, parseName, "Offset %d (0x%06x) reached again, directory records form a loop",
                      static_cast<int>(at), at);
            walk.fail(DIR_ERR_LOOP);
            break;
        }
        DcDirRec* rec = new DcDirRec(DIR_REC_UNKNOWN);
        walk.parsed[at] = rec;
        parent->link(rec);
        rec->parse(walk, at, at);
    }
    return walk.status;
}

int DcDirRec::parse(DcDirRecWalk& walk, unsigned int at, unsigned int& nextAt)
{
    nextAt = 0;
    offset = at;
    unsigned char* item = walk.buffer + at;
    brenik3::ByteReader head(item, at <= walk.length ? walk.length - at : 0, false);
    uint32_t tag = 0;
    if (!head.tag(tag) || tag != elemcodec::TAG_ITEM) {
        logReport(LOG_CHANNEL_2, parseName, "Offset - %d (0x%06x), item tag missing", static_cast<int>(at), at);
        walk.fail(DIR_ERR_INVALID);
        return DIR_ERR_INVALID;
    }
    unsigned int valLen = 0;
    int extra = 0;
    if (utilGetSqItemValLen(item + 4, walk.length - at - 4, UID_LITTLE_ENDIAN_EXPLICIT, valLen, extra) != 0) {
        logReport(LOG_CHANNEL_2, parseName, "Offset - %d (0x%06x), item runs past the end of the data",
                  static_cast<int>(at), at);
        walk.fail(DIR_ERR_OFFSET);
        return DIR_ERR_OFFSET;
    }
    if (valLen > 0)
        DcElemList::parse(item + 8, valLen, UID_LITTLE_ENDIAN_EXPLICIT);

    unsigned int following = 0, lower = 0;
    getValue(T_0004_1400_offsetOfTheNextDirectoryRecord, following, ELEM_VAL_INDEX_KEEP);
    getValue(T_0004_1420_offsetOfReferencedLowerLevelDirectoryEntity, lower, ELEM_VAL_INDEX_KEEP);
    int status = 0;
    unsigned short flag = 0;
    char text[DIR_UID_MAX + 1] = "";
    if (getValue(T_0004_1410_recordInUseFlag, flag, ELEM_VAL_INDEX_KEEP) != 0) {
        logReport(LOG_CHANNEL_2, parseName, "Offset - %d (0x%06x), T_0004_1410_recordInUseFlag missing or invalid",
                  static_cast<int>(at), at);
        status = DIR_ERR_INVALID;
    }
    inUse = static_cast<DIR_REC_IN_USE>(flag);
    bool haveType = getValue(T_0004_1430_recordType, text, DIR_UID_MAX, ELEM_VAL_INDEX_KEEP) == 0;
    type = haveType ? dirGetType(text) : DIR_REC_UNKNOWN;
    getValue(T_0004_1432_privateRecordUid, pvtRecUid, DIR_UID_MAX, ELEM_VAL_INDEX_KEEP);
    getValue(T_0004_1600_numberOfReferences, refCount, ELEM_VAL_INDEX_KEEP);
    unsigned int mrdrAt = 0;
    if (getValue(T_0004_1504_mrdrDirectoryRecordOffset, mrdrAt, ELEM_VAL_INDEX_KEEP) == 0 && mrdrAt != 0)
        walk.mrdrRefs.push_back({this, mrdrAt});

    if (status == 0 && inUse == DIR_REC_ACTIVE) {
        if (!haveType) {
            logReport(LOG_CHANNEL_2, parseName, "Offset - %d (0x%06x), T_0004_1430_recordType missing or invalid",
                      static_cast<int>(at), at);
            status = DIR_ERR_INVALID;
        } else if (type == DIR_REC_UNKNOWN || type == DIR_REC_DICOMDIR) {
            logReport(LOG_CHANNEL_2, parseName, "Offset - %d (0x%06x), invalid Record Type - '%s'",
                      static_cast<int>(at), at, text);
            status = DIR_ERR_INVALID;
        } else if (type == DIR_REC_PRIVATE && pvtRecUid[0] == '\0') {
            logReport(LOG_CHANNEL_2, parseName, "Offset - %d (0x%06x), T_0004_1432_privateRecordUid missing or invalid",
                      static_cast<int>(at), at);
            status = DIR_ERR_INVALID;
        }
        if (getElem(T_0004_1500_referencedFileId, static_cast<DcElem**>(nullptr)) == 0) {
            int refStatus = parseRefFile(at);
            if (status == 0)
                status = refStatus;
        }
    }
    removeStructure();
    walk.fail(status);

    if (lower != 0) {
        if (walk.depth >= DIR_REC_NEST_MAX) {
            logReport(LOG_CHANNEL_2, parseName, "Offset - %d (0x%06x), lower levels nest deeper than %d",
                      static_cast<int>(at), at, DIR_REC_NEST_MAX);
            walk.fail(DIR_ERR_LOOP);
        } else {
            ++walk.depth;
            parseChain(this, walk, lower);
            --walk.depth;
        }
    }
    nextAt = following;
    return status;
}

int DcDirRec::parseRefFile(unsigned int at)
{
    DcElem* elem = nullptr;
    getElem(T_0004_1500_referencedFileId, &elem);
    int count = elem->getValueCount();
    int status = 0;
    if (count == 0) {
        logReport(LOG_CHANNEL_2, parseName, "Offset - %d (0x%06x), Zero length File ID", static_cast<int>(at), at);
        status = DIR_ERR_INVALID;
    }
    elem->resetValueCount();
    std::string joined;
    for (int i = 0; i < count && status == 0; ++i) {
        char component[DIR_UID_MAX + 1] = "";
        elem->getValue(component, DIR_UID_MAX, ELEM_VAL_INDEX_INCREMENT);
        size_t len = strlen(component);
        if (len == 0) {
            logReport(LOG_CHANNEL_2, parseName, "Offset - %d (0x%06x), Zero length File ID", static_cast<int>(at), at);
            status = DIR_ERR_INVALID;
        } else if (len > DIR_FILE_ID_COMPONENT_MAX || i >= DIR_FILE_ID_COMPONENTS) {
            logReport(LOG_CHANNEL_2, parseName,
                      "Offset - %d (0x%06x), File ID '%s' exceeds limit in T_0004_1500_referencedFileId",
                      static_cast<int>(at), at, component);
            status = DIR_ERR_INVALID;
        } else {
            strcpy(fileIdComp[i], component);
            joined += (i > 0 ? "\\" : "") + std::string(component);
        }
    }
    elem->resetValueCount();
    if (status != 0) {
        clearRefFile();
        return status;
    }
    strcpy(fileId, joined.c_str());
    if (type == DIR_REC_MRDR)
        return 0;
    refSopClass = uidOf(*this, T_0004_1510_referencedFileClassUid, UID_SOP_CLASS);
    getValue(T_0004_1511_referencedFileInstanceUid, refSopInstance, DIR_UID_MAX, ELEM_VAL_INDEX_KEEP);
    refXferSyn = uidOf(*this, T_0004_1512_referencedFileXferSynUid, UID_TRANSFER_SYNTAX);
    const char* missing = refSopClass == UID_NONE           ? "T_0004_1510_referencedFileClassUid"
                          : refSopInstance[0] == '\0'       ? "T_0004_1511_referencedFileInstanceUid"
                          : refXferSyn == UID_NONE          ? "T_0004_1512_referencedFileXferSynUid"
                                                            : nullptr;
    if (missing != nullptr) {
        logReport(LOG_CHANNEL_2, parseName, "Offset - %d (0x%06x), %s missing or invalid", static_cast<int>(at), at,
                  missing);
        return DIR_ERR_INVALID;
    }
    return 0;
}

int DcDirRec::resolveMrdrs(DcDirRec* top, DcDirRecWalk& walk)
{
    for (size_t i = 0; i < walk.mrdrRefs.size(); ++i) {
        DcDirRec* rec = walk.mrdrRefs[i].first;
        unsigned int at = walk.mrdrRefs[i].second;
        DcDirRec* target = nullptr;
        auto found = walk.parsed.find(at);
        if (found != walk.parsed.end()) {
            target = found->second;
        } else {
            if (!offsetInside(walk, at))
                continue;
            target = new DcDirRec(DIR_REC_UNKNOWN);
            walk.parsed[at] = target;
            top->link(target);
            unsigned int ignored = 0;
            target->parse(walk, at, ignored);
        }
        if (target->type != DIR_REC_MRDR) {
            logReport(LOG_CHANNEL_2, parseName, "Offset - %d (0x%06x), MRDR offset leads to a '%s' record",
                      static_cast<int>(rec->offset), rec->offset, target->getDesc());
            walk.fail(DIR_ERR_INVALID);
            continue;
        }
        rec->mrdr = target;
    }
    return walk.status;
}
