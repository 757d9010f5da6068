#ifndef BRENIK3_TOOLS_CODECJSON_H
#define BRENIK3_TOOLS_CODECJSON_H

#include <string>
#include <vector>

#include <Brenik3.h>

namespace b3tool {

// Reads a DICOM JSON document (bulk data files relative to it) into a data
// set and its meta information; 0 or a status.
int readJsonFile(const std::string& path, DcDirMetaInfo& meta, DcElemList& list);

// Writes a file as DICOM JSON to out ("-": standard output). Binary values
// above bulkThreshold bytes (0: none) go to files beside out, named after
// it; 0 or a status.
int writeJsonFile(const std::string& input, const std::string& out, size_t bulkThreshold);

// b3-dump --json: each file as DICOM JSON (one array element per file
// when there are several) to out; returns the tool's exit status.
int dumpJson(const char* program, const std::vector<std::string>& files, const std::string& out, size_t bulkThreshold);

}

#endif
