// Converting a data set's Pixel Data while its file is written, one frame
// at a time.
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <string>
#include <unistd.h>

#include "codec/CodecConversion.h"
#include "codec/CodecFile.h"
#include "codec/CodecFrames.h"
#include "codec/CodecSyntax.h"
#include "dataset/DcElemList.h"
#include "foundation/DcLog.h"
#include "media/dirFile.h"

namespace {

const char* const writerName = "codecWriteConverted";
const unsigned int PIXEL_DATA = 0x7FE00010u;

int writeError()
{
    logReport(LOG_CHANNEL_2, writerName, "Write error, disk may be full");
    return DIR_ERR_IO;
}

// Fragments appended to a stream, one per frame and padded to even length,
// with the offsets of their items kept for the offset table.
class FragmentWriter {
public:
    explicit FragmentWriter(FILE* stream) : out(stream) {}

    int add(const std::vector<uint8_t>& frame)
    {
        uint64_t length = frame.size() + (frame.size() & 1);
        if (offset > 0xFFFFFFFFu || length > 0xFFFFFFF0u) {
            logReport(LOG_CHANNEL_1, writerName, "Fragments beyond the 4 Gbyte reach of the offset table");
            return CODEC_ERR_TOO_LARGE;
        }
        offsets.push_back(static_cast<uint32_t>(offset));
        uint8_t header[8];
        codecItemHeader(static_cast<uint32_t>(length), header);
        const uint8_t pad = 0;
        if (fwrite(header, 1, 8, out) != 8 || fwrite(frame.data(), 1, frame.size(), out) != frame.size() ||
            ((frame.size() & 1) && fwrite(&pad, 1, 1, out) != 1))
            return writeError();
        offset += 8 + length;
        return 0;
    }

    // Bytes of the fragment items written so far.
    uint64_t bytes() const { return offset; }

    // The offset table item for frames fragments: the offsets when filled,
    // zeros otherwise.
    std::vector<uint8_t> tableItem(size_t frames, bool filled) const
    {
        std::vector<uint8_t> item(8 + 4 * frames, 0);
        codecItemHeader(static_cast<uint32_t>(4 * frames), item.data());
        for (size_t i = 0; filled && i < offsets.size(); i++)
            for (int b = 0; b < 4; b++)
                item[8 + 4 * i + b] = static_cast<uint8_t>(offsets[i] >> (8 * b));
        return item;
    }

private:
    FILE* out;
    uint64_t offset = 0;
    std::vector<uint32_t> offsets;
};

bool writeBytes(FILE* out, const std::vector<uint8_t>& bytes)
{
    return bytes.empty() || fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size();
}

// The converted Pixel Data value, produced while the file is written. The
// first frame is converted beforehand (its photometric interpretation goes
// into the data set); the fragments of a lossy result were all encoded
// beforehand into a side file, since the compression ratio precedes them.
class ConvertedPixels : public DirPixelSource {
public:
    ConvertedPixels(CodecConversion& conv, std::vector<uint8_t>& firstFrame, FILE* encoded,
                    const FragmentWriter* encodedFragments)
        : conversion(conv), first(firstFrame), spill(encoded), spilled(encodedFragments)
    {
    }

    int writeValue(FILE* out, unsigned long long& written) override
    {
        if (conversion.toNative())
            return writeNative(out, written);
        return spill != nullptr ? copySpilled(out, written) : writeFragments(out, written);
    }

private:
    int writeNative(FILE* out, unsigned long long& written)
    {
        written = 0;
        std::vector<uint8_t> frame;
        for (unsigned int i = 0; i < conversion.frameCount(); i++) {
            int status = i == 0 ? 0 : conversion.convert(i, frame);
            const std::vector<uint8_t>& bytes = i == 0 ? first : frame;
            if (status != 0)
                return status;
            if (!writeBytes(out, bytes))
                return writeError();
            written += bytes.size();
        }
        if ((written & 1) && fputc(0, out) == EOF)
            return writeError();
        written += written & 1;
        return 0;
    }

    // Fragments written in place, after an offset table of zeros that is
    // filled once every offset is known.
    int writeFragments(FILE* out, unsigned long long& written)
    {
        long tableAt = ftell(out);
        size_t frames = conversion.frameCount();
        FragmentWriter fragments(out);
        std::vector<uint8_t> table = fragments.tableItem(frames, false);
        if (tableAt == -1 || !writeBytes(out, table))
            return writeError();
        std::vector<uint8_t> frame;
        int status = fragments.add(first);
        for (unsigned int i = 1; status == 0 && i < frames; i++)
            if ((status = conversion.convert(i, frame)) == 0)
                status = fragments.add(frame);
        if (status != 0)
            return status;
        table = fragments.tableItem(frames, true);
        if (fseek(out, tableAt, SEEK_SET) != 0 || !writeBytes(out, table) || fseek(out, 0, SEEK_END) != 0)
            return writeError();
        written = table.size() + fragments.bytes();
        return 0;
    }

    int copySpilled(FILE* out, unsigned long long& written)
    {
        std::vector<uint8_t> table = spilled->tableItem(conversion.frameCount(), true);
        if (!writeBytes(out, table) || fseek(spill, 0, SEEK_SET) != 0)
            return writeError();
        std::vector<uint8_t> chunk(1 << 20);
        uint64_t left = spilled->bytes();
        while (left > 0) {
            size_t want = left < chunk.size() ? static_cast<size_t>(left) : chunk.size();
            if (fread(chunk.data(), 1, want, spill) != want || fwrite(chunk.data(), 1, want, out) != want)
                return writeError();
            left -= want;
        }
        written = table.size() + spilled->bytes();
        return 0;
    }

    CodecConversion& conversion;
    std::vector<uint8_t>& first;
    FILE* spill;
    const FragmentWriter* spilled;
};

// Takes the list's Pixel Data out for the time of the write, puts a
// stand-in of the converted value's VR and length in its place, and puts
// the original back at the end.
class PixelStandIn {
public:
    explicit PixelStandIn(DcElemList& owner) : list(owner)
    {
        DcElem* elem = nullptr;
        if (list.getElem(PIXEL_DATA, &elem) == 0 && elem != nullptr) {
            list.subtract(elem);
            original.reset(elem);
        }
    }
    ~PixelStandIn()
    {
        DcElem* elem = nullptr;
        if (list.getElem(PIXEL_DATA, &elem) == 0 && elem != nullptr) {
            list.subtract(elem);
            delete elem;
        }
        if (original)
            list.add(original.release());
    }

    // The stand-in holds a disk buffer of length bytes that is never read.
    int put(DcElem* standIn, uint32_t length, DICT_UID xfer)
    {
        std::unique_ptr<DcElem> elem(standIn);
        int handle = open("/dev/null", O_RDONLY);
        if (handle == -1)
            return DIR_ERR_OPEN;
        int status = elem->addValue(handle, 0, length, xfer);
        close(handle);
        if (status != 0)
            return status;
        list.add(elem.release());
        return 0;
    }

private:
    DcElemList& list;
    std::unique_ptr<DcElem> original;
};

// Encodes every frame of a lossy result into spill (the first one given).
int encodeAll(CodecConversion& conversion, std::vector<uint8_t>& first, FragmentWriter& fragments)
{
    int status = fragments.add(first);
    std::vector<uint8_t> frame;
    for (unsigned int i = 1; status == 0 && i < conversion.frameCount(); i++)
        if ((status = conversion.convert(i, frame)) == 0)
            status = fragments.add(frame);
    return status;
}

int writeStreamed(const char* path, DcDirMetaInfo& info, DcElemList& list, DICT_UID from, DICT_UID to,
                  const CodecOptions& options, bool allowLossy)
{
    CodecConversion conversion;
    int status = conversion.open(list, from, to, options, allowLossy);
    if (status != 0)
        return status;
    info.xferSyn = to;
    if (!conversion.needed())
        return dirWriteFile(path, info, list);
    uint32_t length = 0;
    if (conversion.toNative() && (status = conversion.nativeValueLength(length)) != 0)
        return status;
    std::vector<uint8_t> first;
    if (conversion.frameCount() > 0 && (status = conversion.convert(0, first)) != 0)
        return status;

    std::unique_ptr<FILE, int (*)(FILE*)> spill(nullptr, fclose);
    std::unique_ptr<FragmentWriter> spilled;
    uint64_t valueBytes = length;
    if (!conversion.toNative() && codecIsLossy(to)) {
        spill.reset(tmpfile());
        if (!spill) {
            logReport(LOG_CHANNEL_2, writerName, "Cannot create a temporary file for the encoded frames");
            return DIR_ERR_OPEN;
        }
        spilled.reset(new FragmentWriter(spill.get()));
        if ((status = encodeAll(conversion, first, *spilled)) != 0)
            return status;
        valueBytes = 8 + 4 * uint64_t(conversion.frameCount()) + spilled->bytes();
    }
    conversion.finish(list, valueBytes);
    PixelStandIn standIn(list);
    if ((status = standIn.put(conversion.newPixelData(), length, to)) != 0)
        return status;
    ConvertedPixels pixels(conversion, first, spill.get(), spilled.get());
    return dirWriteFileStreamed(path, info, list, pixels);
}

}

int codecWriteConverted(const char* path, DcDirMetaInfo& info, DcElemList& list, DICT_UID to,
                        const CodecOptions& options, bool allowLossy)
{
    codecRegisterSyntaxes();
    if (path == nullptr)
        return DIR_ERR_NULL_ARG;
    DICT_UID from = info.xferSyn == UID_NONE ? UID_LITTLE_ENDIAN_IMPLICIT : info.xferSyn;
    std::string temporary = std::string(path) + ".b3part";
    int status;
    if (to == codecDeflate()) {
        status = codecConvert(list, from, to, options, allowLossy);
        info.xferSyn = to;
        if (status == 0)
            status = codecWriteFile(temporary.c_str(), info, list);
    } else {
        status = writeStreamed(temporary.c_str(), info, list, from, to, options, allowLossy);
    }
    if (status == 0 && rename(temporary.c_str(), path) != 0) {
        logReport(LOG_CHANNEL_2, writerName, "Cannot rename '%s' to '%s'", temporary.c_str(), path);
        status = DIR_ERR_IO;
    }
    if (status != 0)
        unlink(temporary.c_str());
    return status;
}
