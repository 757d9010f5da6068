#ifndef BRENIK3_NETWORK_UTILMOVEELEM_H
#define BRENIK3_NETWORK_UTILMOVEELEM_H

#include "foundation/Export.h"

class DcElemList;
class DcPduDataTf;

// Moves every element of a data set into a data transfer PDU, or back. Each
// returns 0 or UTIL_ERR_NULL_ARG.
BRENIK3_API int utilMoveElem(DcElemList* from, DcPduDataTf* to);
BRENIK3_API int utilMoveElem(DcPduDataTf* from, DcElemList* to);

#endif
