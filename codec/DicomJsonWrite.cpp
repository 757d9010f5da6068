// Writing the DICOM JSON model: the data set is encoded in Explicit VR
// Little Endian and its bytes are walked, so that every value comes out as
// it would be stored.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "codec/CodecFrames.h"
#include "codec/CodecSyntax.h"
#include "codec/DicomJson.h"
#include "codec/JsonText.h"
#include "dataset/DcElemList.h"
#include "foundation/ByteOrder.h"
#include "foundation/DcLog.h"
#include "media/DcDirMetaInfo.h"
#include "media/dirFile.h"

namespace {

const char* FN = "jsonFromDataSet";
const uint32_t UNDEFINED = 0xFFFFFFFFu;

bool longLength(const char* vr)
{
    static const char* const vrs[] = {"OB", "OD", "OF", "OL", "OV", "OW", "SQ", "UC", "UR", "UT", "UN", "SV", "UV"};
    for (const char* v : vrs)
        if (strncmp(v, vr, 2) == 0)
            return true;
    return false;
}

bool binaryVr(const std::string& vr)
{
    return vr == "OB" || vr == "OD" || vr == "OF" || vr == "OL" || vr == "OV" || vr == "OW" || vr == "UN";
}

bool validJsonNumber(const std::string& s)
{
    size_t i = 0;
    if (i < s.size() && s[i] == '-')
        i++;
    if (i >= s.size() || !isdigit(static_cast<unsigned char>(s[i])))
        return false;
    if (s[i] == '0' && i + 1 < s.size() && isdigit(static_cast<unsigned char>(s[i + 1])))
        return false;
    while (i < s.size() && isdigit(static_cast<unsigned char>(s[i])))
        i++;
    if (i < s.size() && s[i] == '.') {
        i++;
        if (i >= s.size() || !isdigit(static_cast<unsigned char>(s[i])))
            return false;
        while (i < s.size() && isdigit(static_cast<unsigned char>(s[i])))
            i++;
    }
    if (i < s.size() && (s[i] == 'e' || s[i] == 'E')) {
        i++;
        if (i < s.size() && (s[i] == '+' || s[i] == '-'))
            i++;
        if (i >= s.size() || !isdigit(static_cast<unsigned char>(s[i])))
            return false;
        while (i < s.size() && isdigit(static_cast<unsigned char>(s[i])))
            i++;
    }
    return i == s.size();
}

std::string trim(const std::string& s, bool leading)
{
    size_t end = s.size();
    while (end > 0 && (s[end - 1] == ' ' || s[end - 1] == '\0'))
        end--;
    size_t begin = 0;
    while (leading && begin < end && s[begin] == ' ')
        begin++;
    return s.substr(begin, end - begin);
}

std::vector<std::string> split(const std::string& s, char by)
{
    std::vector<std::string> parts;
    size_t start = 0;
    for (;;) {
        size_t at = s.find(by, start);
        parts.push_back(s.substr(start, at == std::string::npos ? std::string::npos : at - start));
        if (at == std::string::npos)
            return parts;
        start = at + 1;
    }
}

struct Writer {
    const JsonWriteOptions& options;
    std::string& out;
    int bulkCount = 0;
    int status = 0;

    void binary(const std::string& key, const uint8_t* data, size_t size)
    {
        if (options.bulkDataThreshold == 0 || size <= options.bulkDataThreshold) {
            out += "\"InlineBinary\":\"";
            out += base64Encode(data, size);
            out += '"';
            return;
        }
        std::string name = options.bulkDataPrefix + "." + key + "." + std::to_string(++bulkCount) + ".bin";
        std::string path = options.bulkDataDir + "/" + name;
        FILE* file = fopen(path.c_str(), "wb");
        bool ok = file != nullptr && (size == 0 || fwrite(data, 1, size, file) == size);
        if (file != nullptr && fclose(file) != 0)
            ok = false;
        if (!ok) {
            logReport(LOG_CHANNEL_1, FN, "Cannot write bulk data file '%s'", path.c_str());
            status = JSON_ERR_BULK_DATA;
        }
        out += "\"BulkDataURI\":";
        jsonQuote(name, out);
    }

    void values(const std::string& vr, const uint8_t* p, size_t n)
    {
        std::vector<std::string> items;
        if (vr == "US" || vr == "SS") {
            for (size_t i = 0; i + 2 <= n; i += 2) {
                uint16_t v = byteorder::get16(p + i, false);
                items.push_back(std::to_string(vr == "SS" ? int(int16_t(v)) : int(v)));
            }
        } else if (vr == "UL" || vr == "SL") {
            for (size_t i = 0; i + 4 <= n; i += 4) {
                uint32_t v = byteorder::get32(p + i, false);
                items.push_back(vr == "SL" ? std::to_string(int32_t(v)) : std::to_string(v));
            }
        } else if (vr == "FL" || vr == "FD") {
            size_t step = vr == "FL" ? 4 : 8;
            for (size_t i = 0; i + step <= n; i += step) {
                char text[40];
                if (step == 4) {
                    float f;
                    memcpy(&f, p + i, 4);
                    snprintf(text, sizeof text, "%.9g", f);
                } else {
                    double d;
                    memcpy(&d, p + i, 8);
                    snprintf(text, sizeof text, "%.17g", d);
                }
                items.push_back(validJsonNumber(text) ? text : "null");
            }
        } else if (vr == "AT") {
            for (size_t i = 0; i + 4 <= n; i += 4) {
                char text[16];
                snprintf(text, sizeof text, "\"%04X%04X\"", byteorder::get16(p + i, false),
                         byteorder::get16(p + i + 2, false));
                items.push_back(text);
            }
        } else {
            std::string text(reinterpret_cast<const char*>(p), n);
            bool single = vr == "LT" || vr == "ST" || vr == "UT" || vr == "UR";
            std::vector<std::string> parts = single ? std::vector<std::string>{text} : split(text, '\\');
            for (std::string part : parts) {
                part = trim(part, !single);
                std::string item;
                if (part.empty()) {
                    item = "null";
                } else if (vr == "PN") {
                    std::vector<std::string> groups = split(part, '=');
                    static const char* const names[] = {"Alphabetic", "Ideographic", "Phonetic"};
                    item = "{";
                    for (size_t g = 0; g < groups.size() && g < 3; g++) {
                        if (groups[g].empty())
                            continue;
                        if (item.size() > 1)
                            item += ',';
                        jsonQuote(names[g], item);
                        item += ':';
                        jsonQuote(groups[g], item);
                    }
                    item += "}";
                } else if ((vr == "DS" || vr == "IS") && validJsonNumber(part)) {
                    item = part;
                } else {
                    jsonQuote(part, item);
                }
                items.push_back(item);
            }
            if (items.size() == 1 && items[0] == "null")
                items.clear();
        }
        if (items.empty())
            return;
        out += ",\"Value\":[";
        for (size_t i = 0; i < items.size(); i++) {
            if (i)
                out += ',';
            out += items[i];
        }
        out += ']';
    }

    // Writes the members of one data set found in p[0..n) (stopping at an
    // item delimiter); returns the bytes used, or 0 on malformed input.
    size_t dataSet(const uint8_t* p, size_t n, bool topLevel, bool& first)
    {
        size_t pos = 0;
        while (pos + 8 <= n) {
            uint16_t group = byteorder::get16(p + pos, false);
            uint16_t element = byteorder::get16(p + pos + 2, false);
            if (group == 0xFFFE)
                return element == 0xE00D ? pos + 8 : pos;  // end of the item
            char vr[3] = {static_cast<char>(p[pos + 4]), static_cast<char>(p[pos + 5]), 0};
            bool wide = longLength(vr);
            size_t header = wide ? 12 : 8;
            if (pos + header > n)
                return 0;
            uint32_t length = wide ? byteorder::get32(p + pos + 8, false) : byteorder::get16(p + pos + 6, false);
            char key[9];
            snprintf(key, sizeof key, "%04X%04X", group, element);
            size_t valueStart = pos + header;
            size_t used;
            std::string member;
            if (element == 0x0000) {
                // Group lengths are left out of the model.
                if (length == UNDEFINED || length > n - valueStart)
                    return 0;
                pos = valueStart + length;
                continue;
            }
            if (!first)
                out += options.pretty && topLevel ? ",\n" : ",";
            first = false;
            jsonQuote(key, out);
            out += ":{\"vr\":";
            jsonQuote(vr, out);
            if (strcmp(vr, "SQ") == 0) {
                used = sequence(p + valueStart, n - valueStart, length);
                if (used == SIZE_MAX)
                    return 0;
            } else if (length == UNDEFINED) {
                // Encapsulated pixel data: the items up to their delimiter.
                size_t end = valueStart;
                while (end + 8 <= n && !(byteorder::get16(p + end, false) == 0xFFFE &&
                                         byteorder::get16(p + end + 2, false) == 0xE0DD)) {
                    uint32_t itemLength = byteorder::get32(p + end + 4, false);
                    if (itemLength > n - end - 8)
                        return 0;
                    end += 8 + itemLength;
                }
                if (end + 8 > n)
                    return 0;
                out += ',';
                binary(key, p + valueStart, end - valueStart);
                used = end + 8 - valueStart;
            } else {
                if (length > n - valueStart)
                    return 0;
                if (binaryVr(vr)) {
                    out += ',';
                    binary(key, p + valueStart, length);
                } else {
                    values(vr, p + valueStart, length);
                }
                used = length;
            }
            out += '}';
            pos = valueStart + used;
        }
        return pos;
    }

    // The items of a sequence; returns the bytes of its value (with the
    // delimiter of an undefined length), or SIZE_MAX on malformed input.
    size_t sequence(const uint8_t* p, size_t n, uint32_t length)
    {
        size_t limit = length == UNDEFINED ? n : length;
        if (limit > n)
            return SIZE_MAX;
        size_t pos = 0;
        bool any = false;
        std::string items;
        out += ",\"Value\":[";
        while (pos + 8 <= limit) {
            uint16_t group = byteorder::get16(p + pos, false);
            uint16_t element = byteorder::get16(p + pos + 2, false);
            uint32_t itemLength = byteorder::get32(p + pos + 4, false);
            if (group == 0xFFFE && element == 0xE0DD) {
                pos += 8;
                break;
            }
            if (group != 0xFFFE || element != 0xE000)
                return SIZE_MAX;
            pos += 8;
            if (any)
                out += ',';
            any = true;
            out += '{';
            bool first = true;
            size_t span = itemLength == UNDEFINED ? limit - pos : itemLength;
            if (span > limit - pos)
                return SIZE_MAX;
            size_t used = dataSet(p + pos, span, false, first);
            if (used == 0 && span != 0 && itemLength != UNDEFINED)
                return SIZE_MAX;
            if (itemLength == UNDEFINED) {
                if (used == 0)
                    return SIZE_MAX;
                pos += used;
            } else {
                pos += itemLength;
            }
            out += '}';
        }
        if (!any) {
            out.resize(out.size() - strlen(",\"Value\":["));
            return length == UNDEFINED ? pos : length;
        }
        out += ']';
        return length == UNDEFINED ? pos : length;
    }
};

// Encodes list in Explicit VR Little Endian (the element layout the writer
// walks), with encapsulated Pixel Data kept encapsulated.
int encode(DcElemList& list, DICT_UID xfer, std::vector<uint8_t>& bytes)
{
    unsigned int size = 0;
    list.getBufSize(size);
    bytes.assign(size_t(size) + 64, 0);
    unsigned int len = 0;
    int status = list.frame(bytes.data(), len, xfer);
    if (status != 0)
        return status;
    bytes.resize(len);
    return 0;
}

}

int jsonFromDataSet(DcElemList& list, DICT_UID xfer, const DcDirMetaInfo* meta, const JsonWriteOptions& options,
                    std::string& out)
{
    codecRegisterSyntaxes();
    out = options.pretty ? "{\n" : "{";
    Writer writer{options, out};
    bool first = true;
    if (meta != nullptr) {
        DcDirMetaInfo copy = *meta;
        std::vector<uint8_t> header;
        dirFrameMetaHeader(copy, header);
        if (header.size() > 132 && writer.dataSet(header.data() + 132, header.size() - 132, true, first) == 0) {
            logReport(LOG_CHANNEL_1, FN, "Cannot walk the meta information");
            return JSON_ERR_ENCODE;
        }
    }
    // Pixel Data is written on its own: it may be held on disk, and it
    // need not pass through one more copy.
    DcElem* pixelData = nullptr;
    if (list.getElem(0x7FE00010u, &pixelData) != 0)
        pixelData = nullptr;
    if (pixelData != nullptr)
        list.subtract(pixelData);
    bool encapsulated = codecIsEncapsulated(xfer);
    std::vector<uint8_t> bytes;
    int status = encode(list, encapsulated ? xfer : UID_LITTLE_ENDIAN_EXPLICIT, bytes);
    if (pixelData != nullptr)
        list.add(pixelData);
    if (status != 0) {
        logReport(LOG_CHANNEL_1, FN, "Cannot encode the data set (status 0x%04x)", status);
        return JSON_ERR_ENCODE;
    }
    if (!bytes.empty() && writer.dataSet(bytes.data(), bytes.size(), true, first) != bytes.size()) {
        logReport(LOG_CHANNEL_1, FN, "Cannot walk the encoded data set");
        return JSON_ERR_ENCODE;
    }
    if (pixelData != nullptr) {
        CodecPixelBytes source(*pixelData);
        std::vector<uint8_t> value(static_cast<size_t>(source.size()));
        if (!value.empty() && !source.read(0, value.size(), value.data())) {
            logReport(LOG_CHANNEL_1, FN, "Cannot read Pixel Data");
            return JSON_ERR_ENCODE;
        }
        DICT_VR vr = VR_OB;
        pixelData->getVr(vr);
        unsigned short bits = 0;
        list.getValue(0x00280100u, bits, ELEM_VAL_INDEX_KEEP);
        bool words = !encapsulated && bits > 8;
        if (words && xfer == UID_BIG_ENDIAN_EXPLICIT)
            for (size_t i = 0; i + 1 < value.size(); i += 2)
                std::swap(value[i], value[i + 1]);
        if (!first)
            out += options.pretty ? ",\n" : ",";
        out += "\"7FE00010\":{\"vr\":";
        out += words ? "\"OW\"," : "\"OB\",";
        writer.binary("7FE00010", value.data(), value.size());
        out += '}';
    }
    out += options.pretty ? "\n}\n" : "}";
    return writer.status;
}
