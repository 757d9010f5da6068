#include "common/QueryKeys.h"

#include <cstdlib>

#include <Brenik3.h>

#include "common/CommandLine.h"
#include "common/Tags.h"

namespace b3tool {

DcElem* keyElement(const char* program, const std::string& key)
{
    size_t equals = key.find('=');
    std::string tagText = key.substr(0, equals);
    std::string value = equals == std::string::npos ? "" : key.substr(equals + 1);
    unsigned int tag;
    if (!parseTag(tagText, tag)) {
        fail(program, "unknown key '%s' (give gggg,eeee or a dictionary name)", tagText.c_str());
        return nullptr;
    }
    DICT_VR vr = VR_UNKNOWN;
    if (Dict.getVrDef(tag, vr) != 0) {
        fail(program, "(%04x,%04x) is not in the dictionary", tag >> 16, tag & 0xFFFF);
        return nullptr;
    }
    if (vr == VR_SQ) {
        fail(program, "sequence keys are not supported: %s", tagText.c_str());
        return nullptr;
    }
    DcElem* elem = new DcElem(static_cast<int>(tag));
    if (value.empty())
        return elem;
    int status;
    if (vr == VR_US || vr == VR_SS || vr == VR_XS)
        status = elem->addValue(static_cast<unsigned short>(atoi(value.c_str())));
    else if (vr == VR_UL || vr == VR_SL || vr == VR_XL)
        status = elem->addValue(static_cast<unsigned int>(strtoul(value.c_str(), nullptr, 10)));
    else
        status = elem->addValue(value.c_str());
    if (status != 0) {
        fail(program, "'%s' is not a valid value for %s (status 0x%04x)", value.c_str(), tagText.c_str(), status);
        delete elem;
        return nullptr;
    }
    return elem;
}

}
