// Reading a file through each reader; what was read is printed and written
// back as a file, so that values held on disk are streamed from the input.
#include "FuzzSupport.h"
#include "FuzzTargets.h"
#include "media/dirFile.h"

namespace {

void readAndWriteBack(const uint8_t* data, size_t size)
{
    MemFile in(data + 1, size - 1);
    if (in.fd() < 0)
        return;
    DcDirMetaInfo info;
    DcElemList list;
    int status;
    switch (data[0] % 3) {
    case 0:
        status = dirReadFile(in.path(), info, list);
        break;
    case 1: {
        unsigned int dataOffset = 0;
        status = dirReadFileMetaInfo(in.path(), info, dataOffset);
        info.printInfo(fuzzNullStream());
        return;
    }
    default:
        status = dirReadFileHeader(in.path(), info, list);
        break;
    }
    info.printInfo(fuzzNullStream());
    list.printNodeList(fuzzNullStream(), PRINT_NODE_TREE);
    if (status != 0 && status != DIR_ERR_NO_META)
        return;
    MemFile out(nullptr, 0);
    if (out.fd() >= 0)
        dirWriteFile(out.path(), info, list);
}

}

int fuzzFile(const uint8_t* data, size_t size)
{
    fuzzPrepare();
    if (size < 1)
        return 0;
    int openBefore = fuzzOpenDescriptors();
    readAndWriteBack(data, size);
    FUZZ_CHECK(fuzzOpenDescriptors() == openBefore, "a descriptor was left open");
    return 0;
}
