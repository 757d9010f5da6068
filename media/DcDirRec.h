#ifndef BRENIK3_MEDIA_DCDIRREC_H
#define BRENIK3_MEDIA_DCDIRREC_H

#include <cstdio>
#include <map>

#include "dataset/DcElemList.h"
#include "foundation/DcList.h"
#include "foundation/DcNode.h"
#include "media/DcDirMetaInfo.h"
#include "foundation/Export.h"

// Directory record types; the text of each is written in (0004,1430).
enum DIR_REC : int {
    DIR_REC_PATIENT = 0,
    DIR_REC_STUDY,
    DIR_REC_SERIES,
    DIR_REC_IMAGE,
    DIR_REC_OVERLAY,
    DIR_REC_MODALITY_LUT,
    DIR_REC_VOI_LUT,
    DIR_REC_CURVE,
    DIR_REC_TOPIC,
    DIR_REC_VISIT,
    DIR_REC_RESULT,
    DIR_REC_INTERPRETATION,
    DIR_REC_STUDY_COMPONENT,
    DIR_REC_PRINT_QUEUE,
    DIR_REC_FILM_SESSION,
    DIR_REC_FILM_BOX,
    DIR_REC_IMAGE_BOX,
    DIR_REC_PRIVATE,
    DIR_REC_MRDR,
    DIR_REC_DICOMDIR,  // the root of the tree, never written as a record
    DIR_REC_UNKNOWN
};

enum DIR_REC_IN_USE : int { DIR_REC_INACTIVE = 0, DIR_REC_ACTIVE = 0xFFFF };

// Whether framing, sizing, printing and reversal cover the lower levels too.
enum DIR_INCLUDE_CHILD { DIR_CHILD_EXCLUDE = 0, DIR_CHILD_INCLUDE = 1 };

enum {
    DIR_FILE_ID_MAX = 71,        // the joined File ID
    DIR_FILE_ID_COMPONENTS = 8,  // components of a File ID
    DIR_FILE_ID_COMPONENT_MAX = 8,
    DIR_PATH_MAX = 4096,         // root paths and full file paths
    DIR_REC_NEST_MAX = 64        // lower levels followed when a DICOMDIR is read
};

// The text of a record type ("UNKNOWN" for a value out of range), and back.
BRENIK3_API const char* dirGetDesc(DIR_REC type);
BRENIK3_API DIR_REC dirGetType(const char* desc);

// What a record tells about itself and the file it refers to.
struct BRENIK3_API DcDirRecInfo {
    DIR_REC_IN_USE inUse;
    unsigned int refCount;  // MRDR: the number of records referring through it
    char pvtRecUid[DIR_UID_MAX + 1];
    char fileId[DIR_FILE_ID_MAX + 1];
    DICT_UID refSopClass;
    char refSopInstance[DIR_UID_MAX + 1];
    DICT_UID refXferSyn;
};

class DcDirRec;

// A list of directory records: the lower levels of a record.
class BRENIK3_API DcDirRecList : public DcList {
public:
    DcDirRecList() : DcList(nullptr) {}
    DcDirRec* add(DcDirRec* rec);
    DcDirRec* subtract(DcDirRec* rec);
    DcDirRec* first();
    DcDirRec* last();
};

struct DcDirRecWalk;

// One directory record: an item of the Directory Record Sequence. Its
// elements (the DcElemList it is) are the record's own attributes, such as
// Patient Name or Study Instance UID; the structural attributes (offsets,
// in-use flag, type, File ID, referenced UIDs) live in fields and are added
// only while the record is framed. The record is also the list of its lower
// level records, which it owns.
class BRENIK3_API DcDirRec : public DcElemList, public DcNode {
public:
    explicit DcDirRec(DIR_REC type);
    // Parses the record at offset of an encoded DICOMDIR (buffer holds the
    // whole file, so that offsets count from its first byte) with its lower
    // levels; with a parent, the record and its next siblings join the
    // parent. Problems are reported and kept in getParseStatus.
    DcDirRec(DcDirRec* parent, unsigned char* buffer, unsigned int offset, unsigned int length);
    DcDirRec(const DcDirRec&) = delete;
    DcDirRec& operator=(const DcDirRec&) = delete;
    ~DcDirRec() override;

    using DcElemList::add;
    using DcElemList::subtract;
    using DcElemList::frame;
    using DcElemList::getBufSize;
    using DcElemList::printNodeList;

    // Lower levels. add checks the hierarchy and returns null, leaving the
    // child with the caller, when the child may not stand under this record.
    DcDirRec* add(DcDirRec* child);
    DcDirRec* subtract(DcDirRec* child);
    DcDirRec* operator+(DcDirRec* child) { return add(child); }
    DcDirRec* operator-(DcDirRec* child) { return subtract(child); }
    DcDirRec* first() { return children.first(); }
    DcDirRec* last() { return children.last(); }
    DcDirRec* next() { return static_cast<DcDirRec*>(DcNode::next()); }
    DcDirRec* previous() { return static_cast<DcDirRec*>(DcNode::previous()); }
    void reverse(DIR_INCLUDE_CHILD child);
    DcElem* firstElem() { return DcElemList::first(); }
    DcElem* lastElem() { return DcElemList::last(); }

    // 0 when child may stand under parent, else DIR_ERR_HIERARCHY (reported).
    static int checkLevel(DIR_REC child, DIR_REC parent);

    // Writes the record (and its lower levels) in Explicit VR Little Endian
    // at buffer + offset; length is the number of bytes written. Offsets of
    // siblings and lower levels are those of their previous framing, so an
    // owner frames a tree twice, or sizes and assigns offsets first.
    int frame(unsigned char* buffer, unsigned int offset, unsigned int& length, DIR_INCLUDE_CHILD child);
    // An upper bound of what frame writes.
    int getBufSize(unsigned int& size, DIR_INCLUDE_CHILD child);

    // Makes the record refer to the file at the File ID (components of
    // upper-case letters, digits and "_", joined by "\"), which must exist
    // under the root path of the tree; its SOP class, instance and transfer
    // syntax are taken from the file's meta information. "" clears the
    // reference.
    int setRefFile(const char* fileId);
    // Refers to the file of an MRDR, counting the reference in it; null
    // drops the MRDR reference.
    int setMrdr(DcDirRec* mrdr);
    int setPvtRecUid(const char* uid);
    int setInUseFlag(DIR_REC_IN_USE flag);
    int setParent(DcDirRec* newParent);

    DIR_REC getType() { return type; }
    const char* getDesc() { return dirGetDesc(type); }
    int getInfo(DcDirRecInfo& info);
    unsigned int getOffset() { return offset; }
    DcDirRec* getMrdr() { return mrdr; }
    int getParent(DcDirRec*& out);
    DcDirRec* parent() { return parentRec; }
    // The root path of the DICOMDIR at the top of the tree into path (at
    // least DIR_PATH_MAX bytes).
    int getRootPath(char* path);
    int getParseStatus() { return parseStatus; }

    void printNodeList(FILE* stream, DIR_INCLUDE_CHILD child);
    void printNodeTree(FILE* stream);

protected:
    // The root path of a file set; only the DICOMDIR root has one.
    virtual const char* rootPath() { return nullptr; }
    // Links a child without the hierarchy check (records read from a file).
    void link(DcDirRec* child);
    // Makes this record's fields, attributes and lower levels deep copies of
    // those of from, with MRDR links leading to the copies.
    void copyTreeFrom(DcDirRec& from);
    // Destroys every lower level record.
    void clearTree() { children.destroyAllNodes(); }
    // Parses the chain of siblings that begins at offset under parent.
    static int parseChain(DcDirRec* parent, DcDirRecWalk& walk, unsigned int offset);
    // Links the records that refer to MRDRs, reading the MRDRs under top.
    static int resolveMrdrs(DcDirRec* top, DcDirRecWalk& walk);

private:
    DIR_REC type;
    DIR_REC_IN_USE inUse;
    char pvtRecUid[DIR_UID_MAX + 1];
    char fileId[DIR_FILE_ID_MAX + 1];
    char fileIdComp[DIR_FILE_ID_COMPONENTS][DIR_FILE_ID_COMPONENT_MAX + 1];
    DICT_UID refSopClass;
    char refSopInstance[DIR_UID_MAX + 1];
    DICT_UID refXferSyn;
    unsigned int refCount;
    DcDirRec* mrdr;
    unsigned int offset;
    DcDirRec* parentRec;
    DcDirRecList children;
    int parseStatus;

    void initialize(DIR_REC recType);
    int parse(DcDirRecWalk& walk, unsigned int at, unsigned int& nextAt);
    int parseRefFile(unsigned int at);
    static bool offsetInside(DcDirRecWalk& walk, unsigned int at);
    void removeStructure();
    int addStructure();
    DcDirRec* top();
    bool fileIdInUse(const char* id);
    void clearRefFile();
    void printTree(FILE* stream, const char* indent);
    void copyRecord(DcDirRec& from, std::map<DcDirRec*, DcDirRec*>& copies);
};

#endif
