#ifndef BRENIK3_CODEC_DICOMJSON_H
#define BRENIK3_CODEC_DICOMJSON_H

#include <cstddef>
#include <string>

#include "dictionary/DcDictTypes.h"

struct DcDirMetaInfo;
class DcElemList;

// Status codes of the DICOM JSON model (module 0x62).
enum {
    JSON_ERR_NULL_ARG = 0x6201,     // null argument
    JSON_ERR_SYNTAX = 0x6202,       // not a JSON document, or not an object of attributes
    JSON_ERR_ATTRIBUTE = 0x6203,    // an attribute with a bad tag, VR or value
    JSON_ERR_BULK_DATA = 0x6204,    // a bulk data file could not be written or read
    JSON_ERR_ENCODE = 0x6205        // the data set could not be encoded
};

// How binary values are written.
struct JsonWriteOptions {
    // Binary values (OB, OW, UN) longer than this go to side files named by
    // a BulkDataURI; 0 writes every value inline as Base64.
    size_t bulkDataThreshold = 0;
    // Folder of the side files and the prefix of their names; the URI is the
    // file name relative to the JSON document.
    std::string bulkDataDir = ".";
    std::string bulkDataPrefix = "bulk";
    // One attribute per line at the top level.
    bool pretty = true;
};

// The data set (and the meta information when meta is not null) as a DICOM
// JSON object, keyed by tag with "vr" and "Value", "InlineBinary" or
// "BulkDataURI". xfer is the syntax the data set's Pixel Data is held in.
int jsonFromDataSet(DcElemList& list, DICT_UID xfer, const DcDirMetaInfo* meta, const JsonWriteOptions& options,
                    std::string& out);

// Builds a data set from a DICOM JSON object. Meta elements (group 0002)
// fill meta when it is not null (its transfer syntax decides how
// encapsulated Pixel Data is held; Explicit VR Little Endian when absent).
// Bulk data URIs are read as file names relative to baseDir.
int jsonToDataSet(const std::string& text, const std::string& baseDir, DcElemList& list, DcDirMetaInfo* meta);

#endif
