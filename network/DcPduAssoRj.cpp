#include "network/DcPduAssoRj.h"

#include <cstdlib>

#include "foundation/DcLog.h"

DcPduAssoRj::DcPduAssoRj() : DcPdu(PDU_ASSO_RJ), rjInfo(nullptr)
{
}

DcPduAssoRj::DcPduAssoRj(int sock) : DcPdu(sock, PDU_ASSO_RJ), rjInfo(nullptr)
{
}

DcPduAssoRj::~DcPduAssoRj()
{
    delete rjInfo;
}

int DcPduAssoRj::setInfo(DcPduInfoRj* newInfo)
{
    if (newInfo == nullptr) {
        logReport(LOG_CHANNEL_2, "DcPduAssoRj::setInfo", "Null argument passed");
        return ASSO_RJ_ERR_NULL_ARG;
    }
    delete rjInfo;
    rjInfo = new DcPduInfoRj(*newInfo);
    return 0;
}

int DcPduAssoRj::frameAsso(unsigned char* buf)
{
    if (rjInfo == nullptr) {
        logReport(LOG_CHANNEL_2, "DcPduAssoRj::frameAsso", "RJ association data does not exist");
        return ASSO_RJ_ERR_DATA;
    }
    frameFixed(buf, static_cast<unsigned char>(rjInfo->result), static_cast<unsigned char>(rjInfo->source),
               static_cast<unsigned char>(rjInfo->reason));
    return 0;
}

int DcPduAssoRj::read(PDU_BLOCK block)
{
    unsigned char* body = readBody(block);
    if (body == nullptr)
        return ASSO_RJ_ERR_DATA;
    if (bodyLen < PDU_FIXED_LEN - PDU_HEADER_LEN) {
        free(body);
        return ASSO_RJ_ERR_DATA;
    }
    delete rjInfo;
    rjInfo = new DcPduInfoRj{body[1], body[2], body[3]};
    free(body);
    return 0;
}
