#ifndef BRENIK3_TOOLS_READFILE_H
#define BRENIK3_TOOLS_READFILE_H

#include <string>

class DcDirMetaInfo;
class DcElemList;

namespace b3tool {

// Reads a DICOM file of any size for the tools: the meta information into
// meta (bare data sets are taken as Implicit VR Little Endian), the data set
// into list with the top-level Pixel Data left on disk, a deflated data set
// inflated first. Returns 0 or a status; failure() puts it in words.
int readDicomFile(const std::string& path, DcDirMetaInfo& meta, DcElemList& list);

// What a status of readDicomFile means, in words.
const char* failure(int status);

}

#endif
