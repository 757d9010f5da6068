#include "network/DcPduRelease.h"

#include <cstdlib>

DcPduReleaseRpRq::DcPduReleaseRpRq(int sock, PDU_TYPE type) : DcPdu(sock, type)
{
}

DcPduReleaseRpRq::DcPduReleaseRpRq(PDU_TYPE type) : DcPdu(type)
{
}

DcPduReleaseRpRq::~DcPduReleaseRpRq() = default;

int DcPduReleaseRpRq::frameAsso(unsigned char* buf)
{
    frameFixed(buf, 0, 0, 0);
    return 0;
}

int DcPduReleaseRpRq::read(PDU_BLOCK block)
{
    unsigned char* body = readBody(block);
    if (body == nullptr)
        return RELEASE_ERR_READ;
    free(body);
    return 0;
}
