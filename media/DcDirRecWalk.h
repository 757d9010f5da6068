#ifndef BRENIK3_MEDIA_DCDIRRECWALK_H
#define BRENIK3_MEDIA_DCDIRRECWALK_H

#include <map>
#include <utility>
#include <vector>

class DcDirRec;

// The state of one walk over the records of an encoded DICOMDIR: the data,
// the offsets already parsed (so that offsets forming a loop end the walk),
// the MRDR references met, the depth of lower levels and the first problem.
struct DcDirRecWalk {
    unsigned char* buffer;
    unsigned int length;
    std::map<unsigned int, DcDirRec*> parsed;
    std::vector<std::pair<DcDirRec*, unsigned int>> mrdrRefs;
    int depth;
    int status;

    DcDirRecWalk(unsigned char* data, unsigned int len) : buffer(data), length(len), depth(0), status(0) {}
    void fail(int code)
    {
        if (status == 0)
            status = code;
    }
};

#endif
