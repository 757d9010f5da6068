#ifndef BRENIK3_ARCHIVE_STORAGE_H
#define BRENIK3_ARCHIVE_STORAGE_H

// The file store: ROOT/<study instance UID>/<SOP instance UID>.dcm, each file
// complete on disk (written under a temporary name, flushed and renamed)
// before the index hears of it.
#include <string>

#include "archive/ArchiveIndex.h"

class DcElemList;
struct DcDirMetaInfo;

namespace b3archive {

// The temporary file being written, for a signal handler to remove; empty
// when none.
extern char partialPath[4096];

// The index's values of an object and its path relative to the store.
IndexedObject describe(DcElemList& list, const std::string& relativePath);

// Writes list as ROOT/<study instance UID>/<SOP instance UID>.dcm under a
// temporary name, flushes and renames it; relative is the file's path below
// ROOT. False with a reason, nothing left under the final name.
bool writeObjectFile(const std::string& root, DcDirMetaInfo& meta, DcElemList& list, std::string& relative,
                     std::string& error);

// Writes list as a file of the store and indexes it. path is the file's
// full path; false with a reason when the file could not be written or
// indexed (nothing is then left under the final name unindexed).
bool storeObject(const std::string& root, DcDirMetaInfo& meta, DcElemList& list, ArchiveIndex& index,
                 std::string& path, std::string& error);

// Indexes the file at ROOT/relativePath.
bool indexFile(const std::string& root, const std::string& relativePath, ArchiveIndex& index, std::string& error);

// What a consistency check or a rebuild did.
struct CheckResult {
    int dropped = 0;    // index rows without their file
    int added = 0;      // files indexed that the index did not hold
    int removed = 0;    // temporary files of interrupted writes
    int unreadable = 0; // files that could not be indexed
};

// Brings index and files together: temporary files removed, rows of missing
// files dropped, unindexed files indexed. With rebuild the index is emptied
// first and every file indexed again.
bool checkStore(const std::string& root, ArchiveIndex& index, bool rebuild, CheckResult& result,
                std::string& error);

// The index file of a store.
std::string indexPath(const std::string& root);

}

#endif
