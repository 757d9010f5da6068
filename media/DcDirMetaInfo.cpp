#include "media/DcDirMetaInfo.h"

#include <cstring>

#include "dictionary/DcDict.h"

DcDirMetaInfo::DcDirMetaInfo()
{
    reset();
}

void DcDirMetaInfo::reset()
{
    memset(preamble, 0, sizeof preamble);
    version = 1;
    sopClassUid = UID_NONE;
    sopInstanceUid[0] = '\0';
    xferSyn = UID_NONE;
    implClassUid[0] = '\0';
    strcpy(implVerName, DIR_DEFAULT_IMPL_VER_NAME);
    sourceAeTitle[0] = '\0';
    pvtInfoCreatorUid[0] = '\0';
    pvtInfo = nullptr;
    pvtInfoLen = 0;
    pvtInfoStore.reset();
}

void DcDirMetaInfo::printInfo(FILE* stream)
{
    if (stream == nullptr)
        return;
    char uid[DICT_UID_MAX + 1] = "";
    char desc[DICT_NAME_MAX + 1] = "";
    fprintf(stream, "            File Meta Header\n\n");
    fprintf(stream, "    Version         - 0x%04x\n", version);
    Dict.getUid(sopClassUid, uid);
    Dict.getDesc(sopClassUid, desc);
    fprintf(stream, "    Class UID       - %s (%s)\n", uid, desc);
    fprintf(stream, "    Instance UID    - %s\n", sopInstanceUid);
    uid[0] = desc[0] = '\0';
    Dict.getUid(xferSyn, uid);
    Dict.getDesc(xferSyn, desc);
    fprintf(stream, "    Transfer Syntax - %s (%s)\n", uid, desc);
    fprintf(stream, "    Impl. Class UID - %s\n", implClassUid);
    fprintf(stream, "    Impl. Ver. Name - %s\n", implVerName);
    fprintf(stream, "    Source AE Title - %s\n", sourceAeTitle);
    fprintf(stream, "\n");
}
