#include "network/utilMoveElem.h"

#include "foundation/DcLog.h"
#include "foundation/util.h"
#include "network/DcPduDataTf.h"

int utilMoveElem(DcElemList* from, DcPduDataTf* to)
{
    if (from == nullptr || to == nullptr) {
        logReport(LOG_CHANNEL_1, "utilMoveElem", "Null argument passed");
        return UTIL_ERR_NULL_ARG;
    }
    return from->moveElem(to->getElemList());
}

int utilMoveElem(DcPduDataTf* from, DcElemList* to)
{
    if (from == nullptr || to == nullptr) {
        logReport(LOG_CHANNEL_1, "utilMoveElem", "Null argument passed");
        return UTIL_ERR_NULL_ARG;
    }
    return from->moveElem(to);
}
