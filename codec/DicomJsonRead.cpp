// Reading the DICOM JSON model: each attribute is encoded as an Explicit VR
// Little Endian element and the bytes are parsed as a data set.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

#include "codec/CodecSyntax.h"
#include "codec/DicomJson.h"
#include "codec/JsonText.h"
#include "dataset/DcElemList.h"
#include "dictionary/DcDict.h"
#include "foundation/ByteOrder.h"
#include "foundation/DcLog.h"
#include "media/DcDirMetaInfo.h"

namespace {

const char* FN = "jsonToDataSet";
const size_t MAX_BULK = 0x8000000;

bool longLength(const std::string& vr)
{
    static const char* const vrs[] = {"OB", "OD", "OF", "OL", "OV", "OW", "SQ", "UC", "UR", "UT", "UN", "SV", "UV"};
    for (const char* v : vrs)
        if (vr == v)
            return true;
    return false;
}

bool knownVr(const std::string& vr)
{
    static const char* const vrs[] = {"AE", "AS", "AT", "CS", "DA", "DS", "DT", "FL", "FD", "IS", "LO", "LT", "OB",
                                      "OD", "OF", "OL", "OV", "OW", "PN", "SH", "SL", "SQ", "SS", "ST", "SV", "TM",
                                      "UC", "UI", "UL", "UN", "UR", "US", "UT", "UV"};
    for (const char* v : vrs)
        if (vr == v)
            return true;
    return false;
}

void put16(std::vector<uint8_t>& out, uint16_t v)
{
    uint8_t b[2];
    byteorder::put16(b, v, false);
    out.insert(out.end(), b, b + 2);
}

void put32(std::vector<uint8_t>& out, uint32_t v)
{
    uint8_t b[4];
    byteorder::put32(b, v, false);
    out.insert(out.end(), b, b + 4);
}

struct Reader {
    const std::string& baseDir;
    DICT_UID xfer = UID_LITTLE_ENDIAN_EXPLICIT;
    std::string problem;

    bool fail(const std::string& key, const std::string& what)
    {
        if (problem.empty())
            problem = "attribute " + key + ": " + what;
        return false;
    }

    bool readBulk(const std::string& key, const std::string& uri, std::vector<uint8_t>& out)
    {
        std::string name = uri.compare(0, 5, "file:") == 0 ? uri.substr(5) : uri;
        if (name.find("://") != std::string::npos)
            return fail(key, "only local bulk data files are read");
        std::string path = !name.empty() && name[0] == '/' ? name : baseDir + "/" + name;
        FILE* file = fopen(path.c_str(), "rb");
        if (file == nullptr)
            return fail(key, "cannot open bulk data file " + path);
        uint8_t chunk[65536];
        size_t got;
        while ((got = fread(chunk, 1, sizeof chunk, file)) > 0 && out.size() <= MAX_BULK)
            out.insert(out.end(), chunk, chunk + got);
        fclose(file);
        if (out.size() > MAX_BULK)
            return fail(key, "bulk data file too large");
        return true;
    }

    bool number(const std::string& key, const JsonNode& item, double& value)
    {
        if (item.kind == JsonNode::NUMBER || item.kind == JsonNode::STRING) {
            char* end = nullptr;
            value = strtod(item.text.c_str(), &end);
            if (end != item.text.c_str() && *end == '\0')
                return true;
        }
        return fail(key, "number expected");
    }

    // A whole number within [low, high], as the binary integer VRs hold.
    bool integer(const std::string& key, const JsonNode& item, double low, double high, int64_t& value)
    {
        double v = 0;
        if (!number(key, item, v))
            return false;
        if (!(v >= low && v <= high) || v != std::floor(v))
            return fail(key, "integer out of range for its VR");
        value = static_cast<int64_t>(v);
        return true;
    }

    bool value(const std::string& key, const std::string& vr, const JsonNode& attr, std::vector<uint8_t>& out,
               bool& undefined, int depth)
    {
        undefined = false;
        const JsonNode* values = attr.member("Value");
        const JsonNode* inline64 = attr.member("InlineBinary");
        const JsonNode* bulk = attr.member("BulkDataURI");
        if (inline64 != nullptr) {
            if (inline64->kind != JsonNode::STRING || !base64Decode(inline64->text, out))
                return fail(key, "bad InlineBinary");
        } else if (bulk != nullptr) {
            if (bulk->kind != JsonNode::STRING || !readBulk(key, bulk->text, out))
                return false;
        }
        if (inline64 != nullptr || bulk != nullptr) {
            if (key == "7FE00010" && codecIsEncapsulated(xfer)) {
                undefined = true;
                put16(out, 0xFFFE);
                put16(out, 0xE0DD);
                put32(out, 0);
            } else if (out.size() & 1) {
                out.push_back(0);
            }
            // Native Pixel Data is held in the byte order of its syntax.
            if (key == "7FE00010" && vr == "OW" && xfer == UID_BIG_ENDIAN_EXPLICIT)
                for (size_t i = 0; i + 1 < out.size(); i += 2)
                    std::swap(out[i], out[i + 1]);
            return true;
        }
        if (values == nullptr)
            return true;
        if (values->kind != JsonNode::ARRAY)
            return fail(key, "Value is not an array");
        if (vr == "SQ") {
            undefined = true;
            for (const JsonNode& item : values->items) {
                if (item.kind != JsonNode::OBJECT)
                    return fail(key, "sequence item is not an object");
                put16(out, 0xFFFE);
                put16(out, 0xE000);
                put32(out, 0xFFFFFFFFu);
                if (!dataSet(item, out, depth + 1))
                    return false;
                put16(out, 0xFFFE);
                put16(out, 0xE00D);
                put32(out, 0);
            }
            put16(out, 0xFFFE);
            put16(out, 0xE0DD);
            put32(out, 0);
            return true;
        }
        for (size_t i = 0; i < values->items.size(); i++) {
            const JsonNode& item = values->items[i];
            double v = 0;
            int64_t whole = 0;
            if (vr == "US" || vr == "SS") {
                if (!(vr == "US" ? integer(key, item, 0, 65535, whole) : integer(key, item, -32768, 32767, whole)))
                    return false;
                put16(out, static_cast<uint16_t>(whole));
            } else if (vr == "UL" || vr == "SL") {
                if (!(vr == "UL" ? integer(key, item, 0, 4294967295.0, whole)
                                 : integer(key, item, -2147483648.0, 2147483647.0, whole)))
                    return false;
                put32(out, static_cast<uint32_t>(whole));
            } else if (vr == "FL") {
                if (!number(key, item, v))
                    return false;
                if (std::isfinite(v) && std::fabs(v) > std::numeric_limits<float>::max())
                    return fail(key, "number out of range for FL");
                float f = static_cast<float>(v);
                uint8_t b[4];
                memcpy(b, &f, 4);
                out.insert(out.end(), b, b + 4);
            } else if (vr == "FD") {
                if (!number(key, item, v))
                    return false;
                uint8_t b[8];
                memcpy(b, &v, 8);
                out.insert(out.end(), b, b + 8);
            } else if (vr == "AT") {
                unsigned long tag = 0;
                char* end = nullptr;
                if (item.kind != JsonNode::STRING || item.text.size() != 8 ||
                    (tag = strtoul(item.text.c_str(), &end, 16), *end != '\0'))
                    return fail(key, "AT value must be 8 hexadecimal digits");
                put16(out, static_cast<uint16_t>(tag >> 16));
                put16(out, static_cast<uint16_t>(tag));
            } else {
                std::string text;
                if (item.kind == JsonNode::OBJECT && vr == "PN") {
                    static const char* const names[] = {"Alphabetic", "Ideographic", "Phonetic"};
                    std::string groups[3];
                    int last = -1;
                    for (int g = 0; g < 3; g++) {
                        const JsonNode* part = item.member(names[g]);
                        if (part != nullptr && part->kind == JsonNode::STRING) {
                            groups[g] = part->text;
                            last = g;
                        }
                    }
                    for (int g = 0; g <= last; g++)
                        text += (g ? "=" : "") + groups[g];
                } else if (item.kind == JsonNode::STRING || item.kind == JsonNode::NUMBER) {
                    text = item.text;
                } else if (item.kind != JsonNode::NUL) {
                    return fail(key, "unexpected value");
                }
                if (i > 0)
                    out.push_back('\\');
                out.insert(out.end(), text.begin(), text.end());
            }
        }
        if (out.size() & 1)
            out.push_back(vr == "UI" ? 0 : ' ');
        return true;
    }

    bool dataSet(const JsonNode& object, std::vector<uint8_t>& out, int depth)
    {
        if (depth > 32)
            return fail("", "sequences nested too deep");
        std::vector<std::pair<unsigned long, const std::pair<std::string, JsonNode>*>> sorted;
        for (const auto& member : object.members) {
            char* end = nullptr;
            unsigned long tag = strtoul(member.first.c_str(), &end, 16);
            if (member.first.size() != 8 || *end != '\0')
                return fail(member.first, "key is not a tag of 8 hexadecimal digits");
            if (member.second.kind != JsonNode::OBJECT)
                return fail(member.first, "attribute is not an object");
            sorted.emplace_back(tag, &member);
        }
        std::sort(sorted.begin(), sorted.end(),
                  [](const auto& a, const auto& b) { return a.first < b.first; });
        for (const auto& entry : sorted) {
            const std::string& key = entry.second->first;
            const JsonNode& attr = entry.second->second;
            const JsonNode* vrNode = attr.member("vr");
            if (vrNode == nullptr || vrNode->kind != JsonNode::STRING || !knownVr(vrNode->text))
                return fail(key, "missing or unknown vr");
            std::string vr = vrNode->text;
            std::vector<uint8_t> bytes;
            bool undefined = false;
            if (!value(key, vr, attr, bytes, undefined, depth))
                return false;
            put16(out, static_cast<uint16_t>(entry.first >> 16));
            put16(out, static_cast<uint16_t>(entry.first));
            out.push_back(static_cast<uint8_t>(vr[0]));
            out.push_back(static_cast<uint8_t>(vr[1]));
            size_t length = undefined ? 0xFFFFFFFFu : bytes.size();
            if (longLength(vr)) {
                put16(out, 0);
                put32(out, static_cast<uint32_t>(length));
            } else {
                if (bytes.size() > 0xFFFE)
                    return fail(key, "value too long for its VR");
                put16(out, static_cast<uint16_t>(length));
            }
            out.insert(out.end(), bytes.begin(), bytes.end());
        }
        return true;
    }
};

std::string metaText(DcElemList& list, unsigned int tag, size_t width)
{
    char text[80] = "";
    if (list.getValue(tag, text, static_cast<int>(std::min<size_t>(width, sizeof text - 1)), ELEM_VAL_INDEX_KEEP) != 0)
        return "";
    return text;
}

void copyText(char* field, size_t width, const std::string& value)
{
    snprintf(field, width + 1, "%s", value.c_str());
}

}

int jsonToDataSet(const std::string& text, const std::string& baseDir, DcElemList& list, DcDirMetaInfo* meta)
{
    codecRegisterSyntaxes();
    JsonNode root;
    std::string error;
    if (!jsonParse(text, root, error) || root.kind != JsonNode::OBJECT) {
        logReport(LOG_CHANNEL_1, FN, "Not a DICOM JSON object: %s", error.empty() ? "not an object" : error.c_str());
        return JSON_ERR_SYNTAX;
    }
    Reader reader{baseDir, UID_LITTLE_ENDIAN_EXPLICIT, std::string()};
    // The transfer syntax first: it decides how Pixel Data is held.
    if (const JsonNode* syntax = root.member("00020010")) {
        const JsonNode* values = syntax->member("Value");
        if (values != nullptr && values->kind == JsonNode::ARRAY && !values->items.empty() &&
            values->items[0].kind == JsonNode::STRING) {
            DICT_UID uid = UID_NONE;
            if (Dict.getUidDef(values->items[0].text.c_str(), uid) == 0)
                reader.xfer = uid;
        }
    }
    JsonNode metaGroup, body;
    metaGroup.kind = body.kind = JsonNode::OBJECT;
    for (const auto& member : root.members)
        (member.first.compare(0, 4, "0002") == 0 ? metaGroup : body).members.push_back(member);
    std::vector<uint8_t> bytes, metaBytes;
    if (!reader.dataSet(body, bytes, 0) || !reader.dataSet(metaGroup, metaBytes, 0)) {
        logReport(LOG_CHANNEL_1, FN, "%s", reader.problem.c_str());
        return JSON_ERR_ATTRIBUTE;
    }
    list.destroyAllNodes();
    if (!bytes.empty()) {
        unsigned int left = static_cast<unsigned int>(bytes.size());
        DICT_UID layout = codecIsEncapsulated(reader.xfer) ? reader.xfer : UID_LITTLE_ENDIAN_EXPLICIT;
        int status = list.parse(bytes.data(), left, layout);
        if (status != 0) {
            logReport(LOG_CHANNEL_1, FN, "The attributes do not form a data set (status 0x%04x)", status);
            return JSON_ERR_ATTRIBUTE;
        }
    }
    if (meta != nullptr) {
        meta->reset();
        meta->xferSyn = reader.xfer;
        DcElemList group;
        unsigned int left = static_cast<unsigned int>(metaBytes.size());
        if (!metaBytes.empty())
            group.parse(metaBytes.data(), left, UID_LITTLE_ENDIAN_EXPLICIT);
        DICT_UID uid = UID_NONE;
        if (group.getValue(0x00020002u, uid, ELEM_VAL_INDEX_KEEP) == 0)
            meta->sopClassUid = uid;
        copyText(meta->sopInstanceUid, 64, metaText(group, 0x00020003u, 64));
        copyText(meta->implClassUid, 64, metaText(group, 0x00020012u, 64));
        std::string name = metaText(group, 0x00020013u, 16);
        if (!name.empty())
            copyText(meta->implVerName, 16, name);
        copyText(meta->sourceAeTitle, 16, metaText(group, 0x00020016u, 16));
    }
    return 0;
}
