#include "message/DcIod.h"

#include "foundation/DcLog.h"

DcIod::DcIod() : DcMsg(MSG_IOD) {}

DcElem* DcIod::add(DcElem* elem)
{
    return elemList->add(elem);
}

int DcIod::frame(unsigned char* buf, unsigned int& len, DICT_UID xfer)
{
    if (buf == nullptr) {
        logReport(LOG_CHANNEL_1, "DcIod::frame", "Null argument passed");
        return IOD_ERR_NULL_ARG;
    }
    elemListMerge();
    elemList->frame(buf, len, xfer);
    return 0;
}

void DcIod::printNodeList(FILE* stream)
{
    elemListMerge();
    elemList->printNodeList(stream);
}
