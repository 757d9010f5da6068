// DICOMDIR files read as a file set, and directory records parsed at an
// offset of encoded data; what was read is framed within its size bound,
// and a file set is written back and read again.
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <unistd.h>

#include "FuzzSupport.h"
#include "FuzzTargets.h"
#include "media/DcDirDicomDir.h"

namespace {

// A file set directory for one input, removed with its DICOMDIR afterwards.
class FileSetDir {
public:
    FileSetDir()
    {
        char pattern[] = "/tmp/brenik3-fuzz-XXXXXX";
        if (mkdtemp(pattern) != nullptr)
            root = pattern;
    }
    ~FileSetDir()
    {
        if (root.empty())
            return;
        unlink(dicomDir().c_str());
        rmdir(root.c_str());
    }
    FileSetDir(const FileSetDir&) = delete;
    FileSetDir& operator=(const FileSetDir&) = delete;
    std::string dicomDir() const { return root + "/" DICOMDIR_FILE_NAME; }

    std::string root;
};

bool writeWhole(const std::string& path, const uint8_t* data, size_t size)
{
    FILE* out = fopen(path.c_str(), "wb");
    if (out == nullptr)
        return false;
    bool ok = fwrite(data, 1, size, out) == size;
    return fclose(out) == 0 && ok;
}

// Frames a record tree into exactly the bytes its size bound promises.
void frameWithinBound(DcDirRec& rec)
{
    unsigned int bound = 0;
    if (rec.getBufSize(bound, DIR_CHILD_INCLUDE) != 0 || bound > (1u << 28))
        return;
    GuardedBuffer framed(bound);
    unsigned int written = 0;
    rec.frame(framed.data(), 0, written, DIR_CHILD_INCLUDE);
    FUZZ_CHECK(written <= bound && framed.intact(), "record frame wrote more than getBufSize promised");
}

void fuzzFileSet(const uint8_t* data, size_t size)
{
    FileSetDir set;
    if (set.root.empty() || !writeWhole(set.dicomDir(), data, size))
        return;
    DcDirDicomDir dir(set.root.c_str());
    if (dir.read() != 0)
        return;
    dir.printNodeTree(fuzzNullStream());
    dir.getRefFileObj("IMG\\0001");
    DcDirDicomDir copy(dir);
    if (dir.write() != 0)
        return;
    DcDirDicomDir again(set.root.c_str());
    again.read();
}

void fuzzRecord(const uint8_t* data, size_t size)
{
    if (size < 3)
        return;
    std::vector<unsigned char> buffer(size - 2);
    memcpy(buffer.data(), data + 2, buffer.size());
    unsigned int offset = (data[0] | data[1] << 8) % static_cast<unsigned int>(buffer.size());
    DcDirRec top(DIR_REC_DICOMDIR);
    DcDirRec* first = new DcDirRec(&top, buffer.data(), offset, static_cast<unsigned int>(buffer.size()));
    if (first->parent() == nullptr)
        delete first;
    top.printNodeTree(fuzzNullStream());
    for (DcDirRec* rec = top.first(); rec != nullptr; rec = rec->next()) {
        DcDirRecInfo info;
        rec->getInfo(info);
        frameWithinBound(*rec);
    }
}

}

int fuzzDicomDir(const uint8_t* data, size_t size)
{
    fuzzPrepare();
    if (size < 1)
        return 0;
    int openBefore = fuzzOpenDescriptors();
    if (data[0] & 1)
        fuzzRecord(data + 1, size - 1);
    else
        fuzzFileSet(data + 1, size - 1);
    FUZZ_CHECK(fuzzOpenDescriptors() == openBefore, "a descriptor was left open");
    return 0;
}
