#include "service/DcMsmInfo.h"

#include <cstring>

#include "dictionary/DcDict.h"
#include "internal/Version.h"

namespace {

template <typename Info>
void setDefaults(Info& info)
{
    Dict.getUid(UID_DICOM_APP_CONTEXT_NAME, info.appCtxName);
    snprintf(info.implClassUid, sizeof info.implClassUid, "%s", BRENIK3_IMPL_CLASS_UID);
    snprintf(info.implVerName, sizeof info.implVerName, "Brenik3 %d.%d.%c", BRENIK3_VERSION_MAJOR,
             BRENIK3_VERSION_MINOR, BRENIK3_VERSION_LETTER);
    info.sopList = nullptr;
    info.sopXferList = nullptr;
    info.maxPduLen = 65536;
}

}

DcMsmSopXferSyn::DcMsmSopXferSyn() : sopClass(UID_NONE), role(MSM_ROLE_NONE), xferSyn(), reserved(0)
{
}

DcMsmSopXferSyn::DcMsmSopXferSyn(DICT_UID sop, DICT_UID* syntaxes, MSM_ROLE sopRole)
    : sopClass(sop), role(sopRole), xferSyn(), reserved(0)
{
    xferSyn[0] = UID_LITTLE_ENDIAN_IMPLICIT;
    if (syntaxes == nullptr)
        return;
    xferSyn[0] = UID_NONE;
    for (int i = 0; i < MSM_XFER_SYN_MAX && syntaxes[i] != UID_NONE; i++)
        xferSyn[i] = syntaxes[i];
}

DcMsmScpInfo::DcMsmScpInfo()
    : acceptAeTitles(nullptr), appCtxName(), implClassUid(), implVerName(), timeouts(), extNegAnswer(nullptr),
      extNegUserData(nullptr)
{
    setDefaults(*this);
}

DcMsmScuInfo::DcMsmScuInfo()
    : calledAeTitle(), appCtxName(), implClassUid(), implVerName(), timeouts(), extNegList(nullptr)
{
    setDefaults(*this);
}

DcMsmAssoInfo::DcMsmAssoInfo()
{
    memset(this, 0, sizeof *this);
    for (auto& each : result)
        each = PRES_CTX_UNKNOWN;
}

void DcMsmAssoInfo::printInfo(FILE* stream)
{
    if (stream == nullptr)
        return;
    fprintf(stream, "IP Address     : %s ", ipAddress);
    if (hostName[0] != '\0')
        fprintf(stream, "(%s)\n", hostName);
    else
        fprintf(stream, "\n");
    fprintf(stream, "CallingAeTitle : %s\n", callingAeTitle);
    fprintf(stream, "CalledAeTitle  : %s\n", calledAeTitle);
    fprintf(stream, "ImplClassUid   : %s\n", implClassUid);
    fprintf(stream, "ImplVerName    : %s\n", implVerName);
    fprintf(stream, "MaxPduLen      : %d\n", static_cast<int>(maxPduLen));
    fprintf(stream, "AssoNum        : %d\n", assoNum);
    fprintf(stream, "\nID     SOP Class                Transfer Syntax       Result   Role\n\n");
    static const char* const results[] = {"Accept   ", "User Rejected", "Rejected without reason", "SOP rejected",
                                          "Transfer Syntax rejected"};
    for (int slot = 0; slot < MSM_PRES_CTX_MAX; slot++) {
        if (presCtxId[slot] == 0)
            continue;
        char sopDesc[DICT_NAME_MAX + 8] = "";
        char xferDesc[DICT_NAME_MAX + 8] = "";
        if (Dict.getDesc(sopClass[slot], sopDesc) != 0)
            strcpy(sopDesc, "Unknown/unsupported");
        if (Dict.getDesc(xferSyn[slot], xferDesc) != 0)
            strcpy(xferDesc, "None");
        fprintf(stream, "%02d. %-24.24s %22.22s   ", presCtxId[slot], sopDesc, xferDesc);
        if (result[slot] >= PRES_CTX_ACCEPTANCE && result[slot] <= PRES_CTX_XFER_SYNTAXES_NOT_SUPPORTED)
            fprintf(stream, "%s", results[result[slot]]);
        fprintf(stream, "\n");
    }
    fprintf(stream, "\n");
    fflush(stream);
}
