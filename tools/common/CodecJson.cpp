#include "common/CodecJson.h"

#include <cstdio>
#include <filesystem>

#include <Brenik3Codec.h>

#include "common/CommandLine.h"

namespace b3tool {

int readJsonFile(const std::string& path, DcDirMetaInfo& meta, DcElemList& list)
{
    FILE* file = fopen(path.c_str(), "rb");
    if (file == nullptr)
        return DIR_ERR_OPEN;
    std::string text;
    char chunk[65536];
    size_t got;
    while ((got = fread(chunk, 1, sizeof chunk, file)) > 0)
        text.append(chunk, got);
    fclose(file);
    std::string base = std::filesystem::path(path).parent_path().string();
    return jsonToDataSet(text, base.empty() ? "." : base, list, &meta);
}

int writeJsonFile(const std::string& input, const std::string& out, size_t bulkThreshold)
{
    DcDirMetaInfo meta;
    DcElemList list;
    int status = codecReadFile(input.c_str(), meta, list);
    if (status != 0)
        return status;
    JsonWriteOptions options;
    options.bulkDataThreshold = out == "-" ? 0 : bulkThreshold;
    if (out != "-") {
        std::filesystem::path target(out);
        options.bulkDataDir = target.parent_path().empty() ? "." : target.parent_path().string();
        options.bulkDataPrefix = target.filename().string();
    }
    std::string text;
    DICT_UID xfer = meta.xferSyn == UID_NONE ? UID_LITTLE_ENDIAN_IMPLICIT : meta.xferSyn;
    status = jsonFromDataSet(list, xfer, &meta, options, text);
    if (status != 0)
        return status;
    FILE* file = out == "-" ? stdout : fopen(out.c_str(), "wb");
    if (file == nullptr)
        return DIR_ERR_OPEN;
    bool ok = fwrite(text.data(), 1, text.size(), file) == text.size();
    if (file != stdout)
        ok = fclose(file) == 0 && ok;
    else
        fflush(stdout);
    return ok ? 0 : DIR_ERR_IO;
}

int dumpJson(const char* program, const std::vector<std::string>& files, const std::string& out, size_t bulkThreshold)
{
    if (files.size() > 1 && out != "-") {
        fail(program, "--json-file takes one input file");
        return EXIT_USAGE;
    }
    bool ok = true;
    if (files.size() > 1)
        printf("[\n");
    for (size_t i = 0; i < files.size(); i++) {
        if (i > 0)
            printf(",\n");
        fflush(stdout);
        int status = writeJsonFile(files[i], out, bulkThreshold);
        if (status != 0) {
            fail(program, "cannot write %s as JSON (status %s)", files[i].c_str(), hexStatus(status).c_str());
            ok = false;
            if (files.size() > 1)
                printf("null\n");
        }
    }
    if (files.size() > 1)
        printf("]\n");
    return ok ? EXIT_OK : EXIT_FAILED;
}

}
