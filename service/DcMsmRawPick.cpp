#include "service/DcMsmRawPick.h"

#include <algorithm>
#include <cstring>

#include "foundation/ByteOrder.h"

namespace {

const uint32_t UNDEFINED = 0xFFFFFFFF;
const uint32_t ITEM = 0xFFFEE000;
const uint32_t ITEM_END = 0xFFFEE00D;
const uint32_t SEQUENCE_END = 0xFFFEE0DD;

// VRs whose explicit header has two reserved bytes and a 32-bit length.
bool longHeader(const unsigned char* vr)
{
    static const char* const names[] = {"OB", "OD", "OF", "OL", "OV", "OW", "SQ", "SV", "UC", "UN", "UR", "UT", "UV"};
    for (const char* name : names)
        if (vr[0] == name[0] && vr[1] == name[1])
            return true;
    return false;
}

bool isVrName(const unsigned char* vr)
{
    return vr[0] >= 'A' && vr[0] <= 'Z' && vr[1] >= 'A' && vr[1] <= 'Z';
}

}

DcMsmRawPick::DcMsmRawPick(Encoding enc, std::vector<uint32_t> tags, uint32_t stop) : encoding(enc), stopTag(stop)
{
    for (uint32_t tag : tags)
        picked.push_back({tag, false, std::string()});
}

void DcMsmRawPick::feed(const unsigned char* data, size_t len)
{
    while (len > 0 && state != DONE && state != FAILED) {
        if (state == HEADER) {
            if (headerHave == 0)
                elementStart = offset;
            size_t take = std::min<size_t>(len, headerNeed - headerHave);
            memcpy(header + headerHave, data, take);
            headerHave += static_cast<unsigned int>(take);
            data += take;
            len -= take;
            offset += take;
            if (headerHave == headerNeed)
                headerComplete();
            continue;
        }
        size_t take = static_cast<size_t>(std::min<uint64_t>(len, remaining));
        if (state == VALUE)
            target->value.append(reinterpret_cast<const char*>(data), take);
        data += take;
        len -= take;
        offset += take;
        remaining -= take;
        if (remaining == 0)
            state = HEADER;
    }
}

void DcMsmRawPick::headerComplete()
{
    bool big = encoding == EXPLICIT_BIG;
    uint32_t tag = (uint32_t(byteorder::get16(header, big)) << 16) | byteorder::get16(header + 2, big);
    bool delimiter = (tag >> 16) == 0xFFFE;
    if (levels.empty() && !delimiter && tag >= stopTag && headerNeed == 8) {
        stopAt = elementStart;
        state = DONE;
        return;
    }
    bool implicit = implicitHere();
    uint32_t length = 0;
    bool isUn = false;
    if (delimiter || implicit) {
        length = byteorder::get32(header + 4, big);
    } else if (headerNeed == 8) {
        if (!isVrName(header + 4)) {
            state = FAILED;
            return;
        }
        if (longHeader(header + 4)) {
            headerNeed = 12;
            return;
        }
        length = byteorder::get16(header + 6, big);
    } else {
        length = byteorder::get32(header + 8, big);
        isUn = header[4] == 'U' && header[5] == 'N';
    }
    headerHave = 0;
    headerNeed = 8;

    if (delimiter) {
        if (tag == ITEM_END || tag == SEQUENCE_END) {
            if (levels.empty()) {
                state = FAILED;
                return;
            }
            if (tag == SEQUENCE_END)
                levels.pop_back();
            return;
        }
        if (tag != ITEM || levels.empty()) {
            state = FAILED;
            return;
        }
        // An item of undefined length: its elements follow and its end
        // delimiter closes it; the sequence's level stays for both.
        if (length == UNDEFINED)
            return;
        remaining = length;
        state = remaining > 0 ? SKIP : HEADER;
        return;
    }
    if (length == UNDEFINED) {
        if (levels.size() >= DEPTH_MAX) {
            state = FAILED;
            return;
        }
        levels.push_back(implicit || isUn);
        return;
    }
    remaining = length;
    target = nullptr;
    if (levels.empty() && length <= VALUE_MAX) {
        for (Picked& each : picked)
            if (each.tag == tag) {
                each.found = true;
                each.value.clear();
                target = &each;
            }
    }
    state = remaining == 0 ? HEADER : target != nullptr ? VALUE : SKIP;
}

std::string DcMsmRawPick::text(uint32_t tag) const
{
    for (const Picked& each : picked) {
        if (each.tag != tag)
            continue;
        std::string value = each.value;
        while (!value.empty() && (value.back() == ' ' || value.back() == '\0'))
            value.pop_back();
        return value;
    }
    return std::string();
}

bool DcMsmRawPick::found(uint32_t tag) const
{
    for (const Picked& each : picked)
        if (each.tag == tag)
            return each.found;
    return false;
}
