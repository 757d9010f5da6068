#include "common/ReadFile.h"

#include <fstream>
#include <iterator>
#include <vector>

#include <Brenik3.h>

#include "common/Inflate.h"

namespace b3tool {

namespace {

// Status of a deflated data set that does not inflate.
const int INFLATE_FAILED = 0x58F1;

// The data set after the meta information is one deflate stream: inflated in
// memory and parsed as explicit little endian.
int readDeflated(const std::string& path, unsigned int dataOffset, DICT_UID xfer, DcElemList& list)
{
    std::ifstream in(path, std::ios::binary);
    std::vector<unsigned char> deflated((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (deflated.size() < dataOffset)
        return DIR_ERR_MALFORMED;
    std::vector<unsigned char> inflated;
    std::string error;
    if (!inflateRaw(deflated.data() + dataOffset, deflated.size() - dataOffset, inflated, error))
        return INFLATE_FAILED;
    list.destroyAllNodes();
    if (inflated.empty())
        return 0;
    unsigned int left = static_cast<unsigned int>(inflated.size());
    list.parse(inflated.data(), left, xfer);
    return left == 0 ? 0 : DIR_ERR_MALFORMED;
}

}

int readDicomFile(const std::string& path, DcDirMetaInfo& meta, DcElemList& list)
{
    unsigned int dataOffset = 0;
    int status = dirReadFileMetaInfo(path.c_str(), meta, dataOffset);
    if (status == 0 && static_cast<int>(meta.xferSyn) == UID_XFER_DEFLATED_EXPLICIT_VR_LITTLE_ENDIAN)
        return readDeflated(path, dataOffset, meta.xferSyn, list);
    return dirReadFileHeader(path.c_str(), meta, list);
}

const char* failure(int status)
{
    switch (status) {
    case DIR_ERR_MALFORMED: return "truncated or damaged";
    case INFLATE_FAILED: return "deflated data set damaged or cut short";
    case DIR_ERR_SIZE_LIMIT: return "too large";
    case DIR_ERR_OPEN: return "cannot open";
    case DIR_ERR_IO: return "read error";
    case DIR_ERR_INVALID: return "unknown transfer syntax";
    default: return "undecodable";
    }
}

}
