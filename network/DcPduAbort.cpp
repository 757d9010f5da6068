#include "network/DcPduAbort.h"

#include <cstdlib>

#include "foundation/DcLog.h"

DcPduAbort::DcPduAbort() : DcPdu(PDU_ABORT), abortInfo(nullptr)
{
}

DcPduAbort::DcPduAbort(int sock) : DcPdu(sock, PDU_ABORT), abortInfo(nullptr)
{
}

DcPduAbort::~DcPduAbort()
{
    delete abortInfo;
}

int DcPduAbort::setInfo(DcPduInfoAbort* newInfo)
{
    if (newInfo == nullptr) {
        logReport(LOG_CHANNEL_1, "DcPduAbort::setInfo", "Null argument passed");
        return ABORT_ERR_NULL_ARG;
    }
    delete abortInfo;
    abortInfo = new DcPduInfoAbort(*newInfo);
    return 0;
}

int DcPduAbort::frameAsso(unsigned char* buf)
{
    if (abortInfo == nullptr) {
        logReport(LOG_CHANNEL_1, "DcPduAbort::frameAsso", "Abort data does not exist");
        return ABORT_ERR_DATA;
    }
    unsigned char source = static_cast<unsigned char>(abortInfo->source);
    unsigned char reason = abortInfo->source != 0 ? static_cast<unsigned char>(abortInfo->reason) : 0;
    frameFixed(buf, 0, source, reason);
    return 0;
}

int DcPduAbort::read(PDU_BLOCK block)
{
    unsigned char* body = readBody(block);
    if (body == nullptr)
        return ABORT_ERR_READ;
    if (bodyLen < PDU_FIXED_LEN - PDU_HEADER_LEN) {
        free(body);
        return ABORT_ERR_READ;
    }
    delete abortInfo;
    abortInfo = new DcPduInfoAbort{body[0], body[1]};
    free(body);
    return 0;
}
