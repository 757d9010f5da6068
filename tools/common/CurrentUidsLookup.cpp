#include "common/CurrentUids.h"

#include <cstring>

namespace b3tool {

namespace {

const CurrentUid* find(const CurrentUid* table, const std::string& uid)
{
    for (const CurrentUid* row = table; row->uid != nullptr; row++)
        if (uid == row->uid)
            return row;
    return nullptr;
}

}

const CurrentUid* findStorageSopClass(const std::string& uid)
{
    return find(currentStorageSopClasses, uid);
}

const CurrentUid* findTransferSyntax(const std::string& uid)
{
    return find(currentTransferSyntaxes, uid);
}

DICT_UID dictUid(const std::string& uid, DICT_UID_TYPE type)
{
    DICT_UID known = UID_NONE;
    if (uid.empty() || uid.size() > DICT_UID_MAX)
        return UID_NONE;
    if (Dict.getUidDef(uid.c_str(), known) == 0)
        return known;
    const CurrentUid* row = type == UID_TRANSFER_SYNTAX ? findTransferSyntax(uid) : findStorageSopClass(uid);
    DcLog* log = Log;
    Log = nullptr;  // a refused text is answered by UID_NONE, not by a log line
    int status = Dict.add(uid.c_str(), row != nullptr ? row->name : nullptr, &known, type);
    Log = log;
    return status == 0 ? known : UID_NONE;
}

std::string describeUid(const std::string& uid)
{
    DICT_UID known = UID_NONE;
    char desc[DICT_NAME_MAX + 1] = "";
    if (Dict.getUidDef(uid.c_str(), known) == 0 && Dict.getDesc(known, desc) == 0 && desc[0] != '\0' &&
        strcmp(desc, "Private UID") != 0)
        return desc;
    const CurrentUid* row = findStorageSopClass(uid);
    if (row == nullptr)
        row = findTransferSyntax(uid);
    return row != nullptr ? row->name : uid;
}

std::string uidText(DICT_UID uid)
{
    char text[DICT_UID_MAX + 1] = "";
    if (uid == UID_NONE || Dict.getUid(uid, text) != 0)
        return std::string();
    return text;
}

bool isUncompressed(DICT_UID xferSyn)
{
    return xferSyn == UID_LITTLE_ENDIAN_IMPLICIT || xferSyn == UID_LITTLE_ENDIAN_EXPLICIT ||
           xferSyn == UID_BIG_ENDIAN_EXPLICIT;
}

}
