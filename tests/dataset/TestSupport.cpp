#include "TestSupport.h"

#include <unistd.h>

#include "dictionary/DcDict.h"
#include "foundation/DcLog.h"

LogCapture::LogCapture(LOG_MSG logChannel) : channel(logChannel)
{
    char name[] = "/tmp/brenik3_dataset_logXXXXXX";
    int fd = mkstemp(name);
    close(fd);
    path = name;
    Log->setFname(channel, path.c_str());
}

LogCapture::~LogCapture()
{
    Log->setFname(channel, nullptr);
    unlink(path.c_str());
}

std::string LogCapture::text()
{
    FILE* f = fopen(path.c_str(), "r");
    std::string out;
    if (f == nullptr)
        return out;
    char chunk[4096];
    size_t n;
    while ((n = fread(chunk, 1, sizeof chunk, f)) > 0)
        out.append(chunk, n);
    fclose(f);
    return out;
}

unsigned int privateTag(DICT_VR vr, int vm)
{
    int vmIndex = vm == 0 ? 0 : vm == 1 ? 1 : vm == 2 ? 2 : 3;
    unsigned int tag = 0x00091000u | static_cast<unsigned int>(vr * 4 + vmIndex);
    Dict.add(tag, vr, vm, nullptr, nullptr);
    return tag;
}
