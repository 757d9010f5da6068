#include "service/DcMsm.h"

#include <cctype>
#include <cstdlib>
#include <cstring>

#include <unistd.h>

#include "dictionary/DcDict.h"
#include "foundation/DcLog.h"
#include "foundation/util.h"
#include "internal/Text.h"

namespace {

const char* const DEFAULT_AE_TITLE = "Brenik3 Server";

// Copies at most max characters of text after its leading white space and
// strips blanks at both ends.
void copyTrimmed(char* to, const char* text, size_t max)
{
    while (*text != '\0' && isspace(static_cast<unsigned char>(*text)))
        text++;
    brenik3::copyStripped(to, text, max);
}

}

DcMsm::DcMsm(const char* title, MSM_ROLE msmRole, int port)
    : DcTul(static_cast<TUL_TYPE>(msmRole), port), aeTitle(), aeTitleCheck(2), acceptAeTitles(), sopXferAccept(),
      appCtxName(), implClassUid(), implVerName(), assoInfo()
{
    setAeTitle(title);
}

DcMsm::~DcMsm()
{
    clearAcceptList();
}

int DcMsm::setAeTitle(const char* title)
{
    aeTitle[0] = '\0';
    if (title != nullptr) {
        copyTrimmed(aeTitle, title, MSM_AE_TITLE_LEN);
        if (aeTitle[0] != '\0')
            return 0;
    }
    char hostName[TSM_HOST_NAME_LEN + 1] = "";
    if (gethostname(hostName, TSM_HOST_NAME_LEN) != 0) {
        logReport(LOG_CHANNEL_0, "DcMsm::setAeTitle", "gethostname failed");
        strcpy(aeTitle, DEFAULT_AE_TITLE);
        return TSM_ERR_HOSTNAME;
    }
    hostName[TSM_HOST_NAME_LEN] = '\0';
    brenik3::copyText(aeTitle, hostName, MSM_AE_TITLE_LEN);
    for (char* c = aeTitle; *c != '\0'; c++) {
        if (static_cast<unsigned char>(*c) < 32 || *c == 127)
            *c = '_';
    }
    if (strcmp(aeTitle, hostName) != 0)
        logReport(LOG_CHANNEL_0, "DcMsm::setAeTitle", "Different hostname '%s' and Local AE Title '%s'", hostName,
                  aeTitle);
    return 0;
}

void DcMsm::clearAcceptList()
{
    for (char*& title : acceptAeTitles) {
        delete[] title;
        title = nullptr;
    }
}

int DcMsm::setAeTitleAccept(char** titles)
{
    if (titles == nullptr)
        return 0;
    int count = 0;
    while (count < MSM_ACCEPT_AE_TITLES && titles[count] != nullptr)
        count++;
    clearAcceptList();
    if (count == 0) {
        aeTitleCheck = 0;
        return 0;
    }
    aeTitleCheck |= 1;
    for (int i = 0; i < count; i++) {
        const char* text = titles[i];
        while (*text != '\0' && isspace(static_cast<unsigned char>(*text)))
            text++;
        if (*text == '\0') {
            aeTitleCheck = 0;
            return 0;
        }
        acceptAeTitles[i] = new char[MSM_AE_TITLE_LEN + 1];
        copyTrimmed(acceptAeTitles[i], text, MSM_AE_TITLE_LEN);
    }
    return 0;
}

int DcMsm::setSopXferAccept(DcMsmSopXferSyn* list)
{
    static const char* const function = "DcMsm::setSopXferAccept";
    if (list == nullptr) {
        logReport(LOG_CHANNEL_0, function, "Null argument passed");
        return MSM_ERR_NULL_ARG;
    }
    for (DcMsmSopXferSyn& entry : sopXferAccept)
        entry = DcMsmSopXferSyn();
    int stored = 0;
    for (DcMsmSopXferSyn* in = list; in->sopClass != UID_NONE && stored < MSM_PRES_CTX_MAX; in++) {
        char desc[DICT_NAME_MAX + 8] = "";
        DICT_UID_TYPE kind = UID_TYPE_UNKNOWN;
        if (Dict.getUidType(in->sopClass, kind) != 0 || (kind != UID_SOP_CLASS && kind != UID_PRIVATE_SOP_CLASS)) {
            Dict.getDesc(in->sopClass, desc);
            logReport(LOG_CHANNEL_1, function, "'%s' is not an SOP Class UID", desc);
            continue;
        }
        DcMsmSopXferSyn kept;
        kept.sopClass = in->sopClass;
        kept.role = in->role;
        int count = 0;
        for (int i = 0; i < MSM_XFER_SYN_MAX && in->xferSyn[i] != UID_NONE; i++) {
            if (Dict.getUidType(in->xferSyn[i], kind) != 0 || kind != UID_TRANSFER_SYNTAX) {
                Dict.getDesc(in->xferSyn[i], desc);
                logReport(LOG_CHANNEL_1, function, "'%s' is not a Transfer Syntax UID", desc);
                continue;
            }
            kept.xferSyn[count++] = in->xferSyn[i];
        }
        if (count == 0) {
            Dict.getDesc(in->sopClass, desc);
            logReport(LOG_CHANNEL_1, function, "No valid Transfer Syntax provided for SOP Class '%s'", desc);
            continue;
        }
        sopXferAccept[stored++] = kept;
    }
    return 0;
}

void DcMsm::resetAssoInfo()
{
    assoInfo.callingAeTitle[0] = '\0';
    assoInfo.calledAeTitle[0] = '\0';
    assoInfo.appCtxName[0] = '\0';
    assoInfo.implClassUid[0] = '\0';
    assoInfo.implVerName[0] = '\0';
    assoInfo.assoNum = 0;
    assoInfo.maxPduLen = 0;
    extNegReceived.clear();
    for (int slot = 0; slot < MSM_PRES_CTX_MAX; slot++) {
        assoInfo.presCtxId[slot] = 0;
        assoInfo.sopClass[slot] = UID_NONE;
        assoInfo.xferSyn[slot] = UID_NONE;
        assoInfo.result[slot] = PRES_CTX_UNKNOWN;
        assoInfo.role[slot] = MSM_ROLE_NONE;
    }
    assoInfo.port = tcpInfo.port;
}

int DcMsm::getAssoInfo(DcMsmAssoInfo& info)
{
    info = assoInfo;
    info.tulValue = tcpInfo.tulValue;
    return 0;
}

void DcMsm::printAssoInfo(FILE* stream)
{
    assoInfo.printInfo(stream);
}

int DcMsm::setPixelDataHandle(int fd)
{
    if (tcpInfo.pixelDataHandle != -1)
        close(tcpInfo.pixelDataHandle);
    tcpInfo.pixelDataHandle = dup(fd);
    return tcpInfo.pixelDataHandle == -1 ? MSM_ERR_PIXEL_HANDLE : 0;
}

int DcMsm::getPixelDataHandle(int& fd)
{
    fd = tcpInfo.pixelDataHandle;
    return 0;
}

int DcMsm::setReadDumpHandle(int handle)
{
    tcpInfo.readDumpHandle = handle;
    return 0;
}

int DcMsm::getReadDumpHandle(int& handle)
{
    handle = tcpInfo.readDumpHandle;
    return 0;
}

int DcMsm::setStreamHandle(int socket)
{
    int previous = tcpInfo.sockConv;
    tcpInfo.sockConv = socket;
    delete pdu;
    pdu = nullptr;
    if (socket > 0) {
        pdu = new DcPdu();
        pdu->attach(socket);
        setTimeoutInfo();
    }
    return previous;
}

int DcMsm::getStreamHandle(int& socket)
{
    socket = tcpInfo.sockConv;
    return 0;
}
