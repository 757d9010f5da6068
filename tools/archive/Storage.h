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

// The index's values of an object and its path relative to the store.
IndexedObject describe(DcElemList& list, const std::string& relativePath);

// Writes list as ROOT/<study instance UID>/<SOP instance UID>.dcm under a
// temporary name (b3tool::partialPath while it is written), flushes and
// renames it; relative is the file's path below ROOT. False with a reason, nothing left under the final name.
bool writeObjectFile(const std::string& root, DcDirMetaInfo& meta, DcElemList& list, std::string& relative,
                     std::string& error);

// Indexes the file at ROOT/relativePath. False with a reason; lacksUids
// (when given) tells whether that is because the object has no SOP instance
// or study instance UID.
bool indexFile(const std::string& root, const std::string& relativePath, ArchiveIndex& index, std::string& error,
               bool* lacksUids = nullptr);

// What a consistency check or a rebuild did.
struct CheckResult {
    int dropped = 0;    // index rows without their file
    int added = 0;      // files indexed that the index did not hold
    int removed = 0;    // temporary files of interrupted writes
    int unreadable = 0; // files that could not be indexed
};

// Brings index and files together: temporary files (of this store and of
// b3tool::IncomingStore) removed, rows of missing
// files dropped, unindexed files indexed. With rebuild the index is emptied
// first and every file indexed again.
bool checkStore(const std::string& root, ArchiveIndex& index, bool rebuild, CheckResult& result,
                std::string& error);

// The index file of a store.
std::string indexPath(const std::string& root);

}

#endif
