#ifndef BRENIK3_TOOLS_RECEIVEDFILE_H
#define BRENIK3_TOOLS_RECEIVEDFILE_H

#include <string>

#include <Brenik3.h>

#include "common/ErrorText.h"

namespace b3tool {

// One object being received into FOLDER/<study UID>/<SOP instance UID>.dcm:
// the meta header is written to a hidden partial file first, the data set
// bytes follow as they arrive (DcMsmRawStore), and the file is renamed into
// its study folder when complete, so no file appears under its final name
// before it is whole.
class ReceivedFile {
public:
    // durable: finish flushes the file and its folder to disk.
    explicit ReceivedFile(const std::string& outputFolder, bool durable = false)
        : root(outputFolder), durable(durable)
    {
    }
    ReceivedFile(const ReceivedFile&) = delete;
    ReceivedFile& operator=(const ReceivedFile&) = delete;
    ~ReceivedFile() { discard(); }

    // Creates the partial file and writes the meta header; returns its
    // descriptor, or -1 with the reason in problem.
    int open(DcDirMetaInfo& meta, std::string& problem);
    // Moves the complete file to its place; false with the reason in problem.
    bool finish(const std::string& studyUid, const std::string& instanceUid, std::string& where,
                std::string& problem);
    // Removes the partial file, if any.
    void discard();
    // The partial file's path (for a signal handler to remove).
    const std::string& partialPath() const { return partial; }

private:
    std::string root;
    std::string partial;
    int fd = -1;
    bool durable;
};

// A UID as a file or folder name: digits and dots only.
std::string safeName(const std::string& uid, const char* fallback);

}

#endif
