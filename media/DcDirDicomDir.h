#ifndef BRENIK3_MEDIA_DCDIRDICOMDIR_H
#define BRENIK3_MEDIA_DCDIRDICOMDIR_H

#include <vector>

#include "media/DcDirMetaInfo.h"
#include "media/DcDirRec.h"
#include "foundation/Export.h"

// Status codes of the DICOMDIR file set (module 0x56).
enum {
    DICOMDIR_ERR_NULL_ARG = 0x5601,      // null argument
    DICOMDIR_ERR_NOT_DICOMDIR = 0x5602,  // not a Media Storage Directory file in Explicit VR Little Endian
    DICOMDIR_ERR_WRITE = 0x5603,         // the DICOMDIR file could not be written
    DICOMDIR_ERR_PATH = 0x5604           // root path empty or too long
};

// The name of the directory file in the root of a file set.
#define DICOMDIR_FILE_NAME "DICOMDIR"

// A DICOMDIR file set: the directory at rootPath and the file
// rootPath/DICOMDIR that indexes it. The object is the root record (type
// DICOMDIR) of the record tree: add PATIENT, TOPIC, PRINT QUEUE, PRIVATE and
// MRDR records to it, STUDY records to a PATIENT and so on, and make records
// refer to files of the set with DcDirRec::setRefFile (File IDs relative to
// the root path, components joined by "\").
//
// Its own elements are extra attributes of the DICOMDIR data set, such as
// (0004,1141) File-set Descriptor File ID. The attributes that describe the
// record tree are built on writing and consumed on reading:
//   (0004,1130) File-set ID, from setFileSetId;
//   (0004,1200) and (0004,1202), the offsets of the first and last root
//     records, counted from the first byte of the file;
//   (0004,1212) File-set Consistency Flag, from setConsistencyFlag (0 by
//     default: no known inconsistencies);
//   (0004,1220) Directory Record Sequence: every record in tree order (a
//     record, then its lower levels, then its next sibling), with the
//     offsets of its next sibling and its first lower level; MRDRs follow
//     the root records and are reached through (0004,1504).
//
// Typical use:
//   DcDirDicomDir dir("/media/cd");
//   dir.read();                          // an existing DICOMDIR, if any
//   DcDirRec* patient = dir.add(new DcDirRec(DIR_REC_PATIENT));
//   ... study, series and image records, image->setRefFile("IMG\\0001") ...
//   dir.write();
class BRENIK3_API DcDirDicomDir : public DcDirRec {
public:
    explicit DcDirDicomDir(const char* rootPath);
    // Copies are deep: the records are duplicated.
    DcDirDicomDir(const DcDirDicomDir& other);
    DcDirDicomDir& operator=(const DcDirDicomDir& other);
    ~DcDirDicomDir() override;

    // Replaces the tree with the records of rootPath/DICOMDIR. Offsets that
    // lead outside the file or back to a record already read are reported
    // and end that part of the walk; the records read so far stay. Returns
    // the first problem met, or 0.
    int read();
    // Writes rootPath/DICOMDIR from the tree (a Part 10 file of the Media
    // Storage Directory Storage SOP class in Explicit VR Little Endian).
    int write();

    // The record that refers to the file with this File ID: an MRDR when one
    // does, else the first record in tree order; null when none.
    DcDirRec* getRefFileObj(const char* fileId);

    int setFileSetId(const char* id);
    const char* getFileSetId() { return fileSetId; }
    void setConsistencyFlag(unsigned short flag) { consistencyFlag = flag; }
    unsigned short getConsistencyFlag() { return consistencyFlag; }
    // The meta information of the DICOMDIR file (its SOP instance UID is
    // made on the first write and kept afterwards).
    DcDirMetaInfo& getMetaInfo() { return metaInfo; }

protected:
    const char* rootPath() override { return root; }

private:
    char root[DIR_PATH_MAX];
    char fileSetId[DIR_AE_TITLE_MAX + 1];
    unsigned short consistencyFlag;
    DcDirMetaInfo metaInfo;

    void removeDataSetStructure();
    void moveMrdrsLast();
    int frameFile(std::vector<unsigned char>& file);
};

#endif
