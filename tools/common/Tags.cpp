#include "common/Tags.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <Brenik3.h>

namespace b3tool {

namespace {

// Length of the "T_gggg_eeee_" prefix of the dictionary's tag names.
const size_t TAG_NAME_PREFIX = 12;

bool sameName(const char* dictName, const std::string& text)
{
    if (strcmp(dictName, text.c_str()) == 0)
        return true;
    if (strlen(dictName) <= TAG_NAME_PREFIX)
        return false;
    return strcasecmp(dictName + TAG_NAME_PREFIX, text.c_str()) == 0;
}

bool parseHexTag(std::string text, unsigned int& tag)
{
    if (text.size() >= 2 && text.front() == '(' && text.back() == ')')
        text = text.substr(1, text.size() - 2);
    std::string digits;
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] == ',' && i == 4 && text.size() == 9)
            continue;
        if (!isxdigit(static_cast<unsigned char>(text[i])))
            return false;
        digits += text[i];
    }
    if (digits.size() != 8)
        return false;
    tag = static_cast<unsigned int>(strtoul(digits.c_str(), nullptr, 16));
    return true;
}

}

std::string tagName(unsigned int tag)
{
    int tagConst;
    char desc[DICT_NAME_MAX + 1];
    if (Dict.getTagDef(tag, tagConst) != 0 || Dict.getDesc(tagConst, desc) != 0)
        return "unknown";
    if (strncmp(desc, "T_", 2) == 0 && strlen(desc) > TAG_NAME_PREFIX)
        return desc + TAG_NAME_PREFIX;
    return desc;
}

bool parseTag(const std::string& text, unsigned int& tag)
{
    if (parseHexTag(text, tag))
        return true;
    unsigned int slotTag = 0;
    const char* name = nullptr;
    for (int slot = 0; slot < DICT_TAG_SLOTS; slot++) {
        if (Dict.getTagSlot(slot, slotTag, name) == 0 && name != nullptr && sameName(name, text)) {
            tag = slotTag;
            return true;
        }
    }
    return false;
}

std::string vrName(unsigned int tag, int vr)
{
    DICT_VR resolved = static_cast<DICT_VR>(vr);
    if (resolved == VR_IM && Dict.getVrDef(tag, resolved) != 0)
        return "??";
    char name[3] = "??";
    Dict.getVr(resolved, name);
    return name;
}

std::string uidDescription(int uid)
{
    char desc[DICT_NAME_MAX + 1] = "";
    if (uid == UID_NONE || Dict.getDesc(static_cast<DICT_UID>(uid), desc) != 0)
        return "unknown";
    return desc;
}

}
