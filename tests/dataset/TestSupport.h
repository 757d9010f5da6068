#ifndef BRENIK3_TESTS_DATASET_TESTSUPPORT_H
#define BRENIK3_TESTS_DATASET_TESTSUPPORT_H

#include <cstdio>
#include <string>
#include <vector>

#include "dataset/DcElem.h"
#include "dataset/DcElemList.h"
#include "foundation/DcLog.h"

typedef std::vector<unsigned char> Bytes;

// The element's encoding in a syntax, sized by its own getBufSize.
inline Bytes encode(DcElem& elem, DICT_UID xfer, int* status = nullptr)
{
    unsigned int size = 0, len = 0;
    elem.getBufSize(size, 0);
    Bytes out(size + 64, 0xCC);
    int s = elem.frame(out.data(), len, xfer);
    if (status != nullptr)
        *status = s;
    out.resize(len);
    return out;
}

inline Bytes encode(DcElemList& list, DICT_UID xfer, int* status = nullptr)
{
    unsigned int size = 0, len = 0;
    list.getBufSize(size);
    Bytes out(size + 64, 0xCC);
    int s = list.frame(out.data(), len, xfer);
    if (status != nullptr)
        *status = s;
    out.resize(len);
    return out;
}

inline std::string text(DcElem& elem, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT)
{
    char buf[1025];
    elem.getValue(buf, 1024, index);
    return buf;
}

// Output of a print call, captured through a temporary stream.
template <typename Print>
std::string printed(Print print)
{
    FILE* stream = tmpfile();
    print(stream);
    fflush(stream);
    std::string out;
    rewind(stream);
    char chunk[4096];
    size_t n;
    while ((n = fread(chunk, 1, sizeof chunk, stream)) > 0)
        out.append(chunk, n);
    fclose(stream);
    return out;
}

// Log lines written on a channel while the body runs.
class LogCapture {
public:
    explicit LogCapture(LOG_MSG channel = LOG_CHANNEL_1);
    ~LogCapture();
    std::string text();

private:
    LOG_MSG channel;
    std::string path;
};

// A private tag (0009,10yy) that the dictionary knows with the given VR and
// multiplicity, entered on first use.
unsigned int privateTag(DICT_VR vr, int vm = 1);

inline unsigned short groupOf(unsigned int tag) { return static_cast<unsigned short>(tag >> 16); }
inline unsigned short elementOf(unsigned int tag) { return static_cast<unsigned short>(tag); }

#endif
