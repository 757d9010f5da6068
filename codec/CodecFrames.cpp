#include "codec/CodecFrames.h"

#include <algorithm>
#include <cstring>
#include <unistd.h>

#include "codec/CodecTypes.h"
#include "dataset/DcElem.h"
#include "foundation/ByteOrder.h"
#include "foundation/DcLog.h"

namespace {

const uint16_t ITEM_GROUP = 0xFFFE;
const uint16_t ITEM = 0xE000;
const uint16_t SEQUENCE_END = 0xE0DD;

}

CodecPixelBytes::CodecPixelBytes(DcElem& pixelData)
{
    DcBufList* list = pixelData.getBufList();
    for (DcBuf* buf = list ? list->first() : nullptr; buf != nullptr; buf = buf->next()) {
        Piece piece{nullptr, -1, 0, total, buf->getLen()};
        if (buf->getType() == BUF_MEMORY)
            piece.memory = static_cast<const uint8_t*>(buf->getBuf());
        else if (buf->getType() == BUF_DISK) {
            piece.handle = buf->getHandle();
            piece.fileOffset = buf->getOffset();
        } else
            continue;
        if (piece.length == 0 || (piece.memory == nullptr && piece.handle < 0))
            continue;
        pieces.push_back(piece);
        total += piece.length;
    }
}

CodecPixelBytes::CodecPixelBytes(const uint8_t* data, size_t size)
{
    if (data != nullptr && size > 0) {
        pieces.push_back(Piece{data, -1, 0, 0, size});
        total = size;
    }
}

bool CodecPixelBytes::read(uint64_t offset, size_t len, uint8_t* out) const
{
    if (offset > total || len > total - offset)
        return false;
    for (const Piece& piece : pieces) {
        if (len == 0)
            break;
        if (offset >= piece.start + piece.length)
            continue;
        uint64_t from = offset - piece.start;
        size_t take = static_cast<size_t>(std::min<uint64_t>(piece.length - from, len));
        if (piece.memory != nullptr) {
            memcpy(out, piece.memory + from, take);
        } else {
            ssize_t got = pread(piece.handle, out, take, static_cast<off_t>(piece.fileOffset + from));
            if (got != static_cast<ssize_t>(take))
                return false;
        }
        out += take;
        offset += take;
        len -= take;
    }
    return len == 0;
}

int CodecFrames::open(const CodecPixelBytes& bytes, unsigned int frames)
{
    source = &bytes;
    fragments.clear();
    frameStarts.clear();
    offsetTableUsed = false;
    std::vector<uint32_t> table;
    uint64_t pos = 0;
    uint64_t firstFragmentItem = 0;
    bool first = true;
    while (pos < bytes.size()) {
        uint8_t hdr[10] = {0};
        if (bytes.size() - pos < 8 || !bytes.read(pos, 8, hdr)) {
            logReport(LOG_CHANNEL_1, "CodecFrames::open", "Truncated item header at offset %llu",
                      static_cast<unsigned long long>(pos));
            return CODEC_ERR_BAD_ITEMS;
        }
        uint16_t group = byteorder::get16(hdr, false);
        uint16_t element = byteorder::get16(hdr + 2, false);
        uint32_t length = byteorder::get32(hdr + 4, false);
        if (group == ITEM_GROUP && element == SEQUENCE_END)
            break;
        if (group != ITEM_GROUP || element != ITEM || length == 0xFFFFFFFFu) {
            logReport(LOG_CHANNEL_1, "CodecFrames::open", "Expected an item at offset %llu, found (%04x,%04x)",
                      static_cast<unsigned long long>(pos), group, element);
            return CODEC_ERR_BAD_ITEMS;
        }
        if (length > bytes.size() - pos - 8) {
            logReport(LOG_CHANNEL_1, "CodecFrames::open", "Item at offset %llu, length %u runs past the value",
                      static_cast<unsigned long long>(pos), length);
            return CODEC_ERR_BAD_ITEMS;
        }
        if (first) {
            if (length % 4 != 0) {
                logReport(LOG_CHANNEL_1, "CodecFrames::open", "Offset table length %u is not a multiple of 4", length);
                return CODEC_ERR_BAD_OFFSETS;
            }
            table.resize(length / 4);
            std::vector<uint8_t> raw(length);
            if (length > 0 && !bytes.read(pos + 8, length, raw.data()))
                return CODEC_ERR_IO;
            for (size_t i = 0; i < table.size(); i++)
                table[i] = byteorder::get32(&raw[4 * i], false);
            first = false;
            firstFragmentItem = pos + 8 + length;
        } else {
            if (pos - firstFragmentItem > 0xFFFFFFFFu)
                return CODEC_ERR_TOO_LARGE;
            Fragment fragment{pos + 8, length, static_cast<uint32_t>(pos - firstFragmentItem), false};
            if (length >= 2 && bytes.read(pos + 8, 2, hdr + 8))
                fragment.startsCodestream = hdr[8] == 0xFF && (hdr[9] == 0xD8 || hdr[9] == 0x4F);
            fragments.push_back(fragment);
        }
        pos += 8 + uint64_t(length);
    }
    if (first) {
        logReport(LOG_CHANNEL_1, "CodecFrames::open", "Encapsulated pixel data without an offset table item");
        return CODEC_ERR_BAD_ITEMS;
    }
    if (fragments.empty()) {
        logReport(LOG_CHANNEL_1, "CodecFrames::open", "Encapsulated pixel data without fragments");
        return CODEC_ERR_BAD_ITEMS;
    }
    if (frames == 0)
        frames = 1;
    if (!table.empty()) {
        if (table.size() != frames) {
            logReport(LOG_CHANNEL_1, "CodecFrames::open", "Offset table has %zu entries for %u frames", table.size(),
                      frames);
            return CODEC_ERR_BAD_OFFSETS;
        }
        size_t next = 0;
        for (uint32_t offset : table) {
            while (next < fragments.size() && fragments[next].itemStart < offset)
                next++;
            if (next == fragments.size() || fragments[next].itemStart != offset ||
                (!frameStarts.empty() && frameStarts.back() == next)) {
                logReport(LOG_CHANNEL_1, "CodecFrames::open", "Offset table entry %u is not the start of a fragment",
                          offset);
                frameStarts.clear();
                return CODEC_ERR_BAD_OFFSETS;
            }
            frameStarts.push_back(next);
        }
        offsetTableUsed = true;
        return 0;
    }
    if (frames == 1) {
        frameStarts.push_back(0);
    } else if (fragments.size() == frames) {
        for (size_t i = 0; i < frames; i++)
            frameStarts.push_back(i);
    } else {
        for (size_t i = 0; i < fragments.size(); i++)
            if (fragments[i].startsCodestream)
                frameStarts.push_back(i);
        if (frameStarts.size() != frames || frameStarts[0] != 0) {
            logReport(LOG_CHANNEL_1, "CodecFrames::open", "Cannot tell %u frames apart in %zu fragments", frames,
                      fragments.size());
            frameStarts.clear();
            return CODEC_ERR_BAD_OFFSETS;
        }
    }
    return 0;
}

int CodecFrames::read(unsigned int index, std::vector<uint8_t>& out) const
{
    out.clear();
    if (index >= frameStarts.size()) {
        logReport(LOG_CHANNEL_1, "CodecFrames::read", "Frame %u of %zu requested", index + 1, frameStarts.size());
        return CODEC_ERR_FRAME_RANGE;
    }
    size_t begin = frameStarts[index];
    size_t end = index + 1 < frameStarts.size() ? frameStarts[index + 1] : fragments.size();
    size_t total = 0;
    for (size_t i = begin; i < end; i++)
        total += fragments[i].length;
    out.resize(total);
    size_t at = 0;
    for (size_t i = begin; i < end; i++) {
        if (!source->read(fragments[i].offset, fragments[i].length, out.data() + at)) {
            logReport(LOG_CHANNEL_1, "CodecFrames::read", "Cannot read fragment %zu", i + 1);
            out.clear();
            return CODEC_ERR_IO;
        }
        at += fragments[i].length;
    }
    return 0;
}

int codecSplitFrames(const uint8_t* data, size_t size, unsigned int frames, std::vector<std::vector<uint8_t>>& out)
{
    out.clear();
    CodecPixelBytes bytes(data, size);
    CodecFrames index;
    int status = index.open(bytes, frames);
    for (unsigned int i = 0; status == 0 && i < index.count(); i++) {
        out.emplace_back();
        status = index.read(i, out.back());
    }
    return status;
}

void codecItemHeader(uint32_t length, uint8_t header[8])
{
    byteorder::put16(header, ITEM_GROUP, false);
    byteorder::put16(header + 2, ITEM, false);
    byteorder::put32(header + 4, length, false);
}

std::vector<uint8_t> codecEncapsulate(const std::vector<std::vector<uint8_t>>& frames)
{
    std::vector<uint8_t> out;
    auto item = [&out](uint32_t length) {
        uint8_t hdr[8];
        codecItemHeader(length, hdr);
        out.insert(out.end(), hdr, hdr + 8);
    };
    item(static_cast<uint32_t>(4 * frames.size()));
    size_t tableAt = out.size();
    out.resize(out.size() + 4 * frames.size());
    uint32_t offset = 0;
    for (size_t i = 0; i < frames.size(); i++) {
        byteorder::put32(&out[tableAt + 4 * i], offset, false);
        uint32_t length = static_cast<uint32_t>(frames[i].size() + (frames[i].size() & 1));
        item(length);
        out.insert(out.end(), frames[i].begin(), frames[i].end());
        if (frames[i].size() & 1)
            out.push_back(0);
        offset += 8 + length;
    }
    return out;
}
