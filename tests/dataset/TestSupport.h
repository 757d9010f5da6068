#ifndef BRENIK3_TESTS_DATASET_TESTSUPPORT_H
#define BRENIK3_TESTS_DATASET_TESTSUPPORT_H

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <unistd.h>
#include <vector>

#include "dataset/DcElem.h"
#include "dataset/DcElemList.h"
#include "dictionary/DcDict.h"
#include "foundation/DcLog.h"

typedef std::vector<unsigned char> Bytes;

// An element, sequence or data set framed in a syntax, into a buffer of the
// size its own getBufSize gives.
template <typename Framable>
Bytes encode(Framable& what, DICT_UID xfer, int* status = nullptr)
{
    unsigned int size = 0, len = 0;
    what.getBufSize(size, 0);
    Bytes out(size + 64, 0xCC);
    int s = what.frame(out.data(), len, xfer);
    if (status != nullptr)
        *status = s;
    out.resize(len);
    return out;
}

// Parses the bytes into the set; the count of bytes left unread goes to left.
inline int parse(DcElemList& into, Bytes& bytes, DICT_UID xfer, unsigned int* left = nullptr)
{
    unsigned int len = static_cast<unsigned int>(bytes.size());
    int status = into.parse(bytes.empty() ? nullptr : bytes.data(), len, xfer);
    if (left != nullptr)
        *left = len;
    return status;
}

inline std::string text(DcElem& elem, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT)
{
    char buf[1025];
    elem.getValue(buf, 1024, index);
    return buf;
}

inline std::string readAll(FILE* stream)
{
    std::string out;
    char chunk[4096];
    size_t n;
    while ((n = fread(chunk, 1, sizeof chunk, stream)) > 0)
        out.append(chunk, n);
    return out;
}

// Output of a print call, captured through a temporary stream.
template <typename Print>
std::string printed(Print print)
{
    FILE* stream = tmpfile();
    print(stream);
    fflush(stream);
    rewind(stream);
    std::string out = readAll(stream);
    fclose(stream);
    return out;
}

// Log lines written on a channel while it lives.
class LogCapture {
public:
    explicit LogCapture(LOG_MSG logChannel = LOG_CHANNEL_1) : channel(logChannel)
    {
        char name[] = "/tmp/brenik3_dataset_logXXXXXX";
        close(mkstemp(name));
        path = name;
        Log->setFname(channel, path.c_str());
    }

    ~LogCapture()
    {
        Log->setFname(channel, nullptr);
        unlink(path.c_str());
    }

    std::string text()
    {
        FILE* f = fopen(path.c_str(), "r");
        if (f == nullptr)
            return "";
        std::string out = readAll(f);
        fclose(f);
        return out;
    }

    ::testing::AssertionResult has(const std::string& line)
    {
        std::string all = text();
        if (all.find(line) != std::string::npos)
            return ::testing::AssertionSuccess();
        return ::testing::AssertionFailure() << "\"" << line << "\" not in the log:\n" << all;
    }

private:
    LOG_MSG channel;
    std::string path;
};

// A private tag (0009,10yy) that the dictionary knows with the given VR and
// multiplicity, entered on first use.
inline unsigned int privateTag(DICT_VR vr, int vm = 1)
{
    int vmIndex = vm == 0 ? 0 : vm == 1 ? 1 : vm == 2 ? 2 : 3;
    unsigned int tag = 0x00091000u | static_cast<unsigned int>(vr * 4 + vmIndex);
    Dict.add(tag, vr, vm, nullptr, nullptr);
    return tag;
}

inline unsigned short groupOf(unsigned int tag) { return static_cast<unsigned short>(tag >> 16); }
inline unsigned short elementOf(unsigned int tag) { return static_cast<unsigned short>(tag); }

// A file holding the bytes, open for reading and already unlinked.
inline int fileWith(const Bytes& bytes)
{
    char name[] = "/tmp/brenik3_datasetXXXXXX";
    int fd = mkstemp(name);
    unlink(name);
    if (fd != -1 && write(fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size())) {
        close(fd);
        return -1;
    }
    return fd;
}

#endif
