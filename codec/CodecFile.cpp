#include "codec/CodecFile.h"

#include <cstdio>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include <zlib.h>

#include "codec/CodecSyntax.h"
#include "codec/CodecTypes.h"
#include "dataset/DcElemList.h"
#include "foundation/DcLog.h"
#include "media/dirFile.h"

namespace {

const size_t MEMORY_LIMIT = 0x8000000;  // bytes of a data set held in memory

bool readAll(const char* path, std::vector<uint8_t>& out)
{
    FILE* file = fopen(path, "rb");
    if (file == nullptr)
        return false;
    struct stat info;
    bool ok = fstat(fileno(file), &info) == 0 && size_t(info.st_size) <= MEMORY_LIMIT;
    if (ok) {
        out.resize(static_cast<size_t>(info.st_size));
        ok = out.empty() || fread(out.data(), 1, out.size(), file) == out.size();
    }
    fclose(file);
    return ok;
}

bool writeAll(const char* path, const std::vector<uint8_t>& head, const std::vector<uint8_t>& body)
{
    FILE* file = fopen(path, "wb");
    if (file == nullptr)
        return false;
    bool ok = fwrite(head.data(), 1, head.size(), file) == head.size() &&
              (body.empty() || fwrite(body.data(), 1, body.size(), file) == body.size());
    return fclose(file) == 0 && ok;
}

}

int codecInflate(const uint8_t* data, size_t size, size_t limit, std::vector<uint8_t>& out)
{
    out.clear();
    z_stream zs{};
    if (inflateInit2(&zs, -MAX_WBITS) != Z_OK)
        return CODEC_ERR_CORRUPT;
    zs.next_in = const_cast<Bytef*>(data);
    zs.avail_in = static_cast<uInt>(size);
    int result = Z_OK;
    uint8_t chunk[65536];
    while (result == Z_OK) {
        zs.next_out = chunk;
        zs.avail_out = sizeof chunk;
        result = inflate(&zs, Z_NO_FLUSH);
        if (result != Z_OK && result != Z_STREAM_END)
            break;
        size_t produced = sizeof chunk - zs.avail_out;
        if (out.size() + produced > limit) {
            inflateEnd(&zs);
            logReport(LOG_CHANNEL_1, "codecInflate", "Inflated data set exceeds %zu bytes", limit);
            out.clear();
            return CODEC_ERR_TOO_LARGE;
        }
        out.insert(out.end(), chunk, chunk + produced);
        if (result == Z_OK && zs.avail_in == 0 && produced == 0)
            break;
    }
    inflateEnd(&zs);
    if (result != Z_STREAM_END) {
        logReport(LOG_CHANNEL_1, "codecInflate", "Corrupt or truncated deflate stream (%d)", result);
        return CODEC_ERR_CORRUPT;
    }
    return 0;
}

int codecDeflateBytes(const uint8_t* data, size_t size, std::vector<uint8_t>& out)
{
    z_stream zs{};
    if (deflateInit2(&zs, Z_DEFAULT_COMPRESSION, Z_DEFLATED, -MAX_WBITS, 8, Z_DEFAULT_STRATEGY) != Z_OK)
        return CODEC_ERR_ENCODE;
    out.resize(deflateBound(&zs, static_cast<uLong>(size)));
    zs.next_in = const_cast<Bytef*>(data);
    zs.avail_in = static_cast<uInt>(size);
    zs.next_out = out.data();
    zs.avail_out = static_cast<uInt>(out.size());
    int result = deflate(&zs, Z_FINISH);
    out.resize(zs.total_out);
    deflateEnd(&zs);
    return result == Z_STREAM_END ? 0 : CODEC_ERR_ENCODE;
}

namespace {

int readFile(const char* path, DcDirMetaInfo& info, DcElemList& list, bool pixelsOnDisk)
{
    codecRegisterSyntaxes();
    if (path == nullptr)
        return DIR_ERR_NULL_ARG;
    unsigned int offset = 0;
    DcDirMetaInfo meta;
    int status = dirReadFileMetaInfo(path, meta, offset);
    if (status == 0 && meta.xferSyn == codecDeflate()) {
        std::vector<uint8_t> bytes, body;
        if (!readAll(path, bytes)) {
            logReport(LOG_CHANNEL_2, "codecReadFile", "Cannot read file '%s'", path);
            return DIR_ERR_IO;
        }
        if (offset > bytes.size())
            return DIR_ERR_MALFORMED;
        status = codecInflate(bytes.data() + offset, bytes.size() - offset, MEMORY_LIMIT, body);
        if (status != 0)
            return status;
        list.destroyAllNodes();
        info = meta;
        unsigned int left = static_cast<unsigned int>(body.size());
        if (!body.empty())
            list.parse(body.data(), left, UID_LITTLE_ENDIAN_EXPLICIT);
        return 0;
    }
    if (pixelsOnDisk)
        return dirReadFileHeader(path, info, list);
    status = dirReadFile(path, info, list);
    if (status == DIR_ERR_SIZE_LIMIT)
        status = dirReadFileHeader(path, info, list);
    return status;
}

}

int codecReadFile(const char* path, DcDirMetaInfo& info, DcElemList& list)
{
    return readFile(path, info, list, false);
}

int codecReadFileHeader(const char* path, DcDirMetaInfo& info, DcElemList& list)
{
    return readFile(path, info, list, true);
}

int codecWriteFile(const char* path, DcDirMetaInfo& info, DcElemList& list)
{
    codecRegisterSyntaxes();
    if (path == nullptr)
        return DIR_ERR_NULL_ARG;
    if (info.xferSyn != codecDeflate() || info.xferSyn == UID_NONE)
        return dirWriteFile(path, info, list);
    // Written plainly first, then the data set after the meta group is
    // compressed in place of itself.
    std::string plain = std::string(path) + ".b3tmp";
    DcDirMetaInfo explicitInfo = info;
    explicitInfo.xferSyn = UID_LITTLE_ENDIAN_EXPLICIT;
    int status = dirWriteFile(plain.c_str(), explicitInfo, list);
    std::vector<uint8_t> bytes, packed, head;
    unsigned int offset = 0;
    DcDirMetaInfo written;
    if (status == 0)
        status = dirReadFileMetaInfo(plain.c_str(), written, offset);
    if (status == 0 && !readAll(plain.c_str(), bytes))
        status = DIR_ERR_IO;
    unlink(plain.c_str());
    if (status != 0)
        return status;
    if ((status = codecDeflateBytes(bytes.data() + offset, bytes.size() - offset, packed)) != 0)
        return status;
    explicitInfo.xferSyn = info.xferSyn;
    info = explicitInfo;
    dirFrameMetaHeader(info, head);
    if (!writeAll(path, head, packed)) {
        logReport(LOG_CHANNEL_2, "codecWriteFile", "Cannot write file '%s'", path);
        return DIR_ERR_IO;
    }
    return 0;
}
