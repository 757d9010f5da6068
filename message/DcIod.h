#ifndef BRENIK3_MESSAGE_DCIOD_H
#define BRENIK3_MESSAGE_DCIOD_H

#include <cstdio>

#include "foundation/DcNode.h"
#include "message/DcMsg.h"
#include "foundation/Export.h"

// Status code of information objects.
enum { IOD_ERR_NULL_ARG = 0x2401 };

// An information object: the data set that follows a command. Being a node,
// it can be kept in lists.
class BRENIK3_API DcIod : public DcMsg, public DcNode {
public:
    DcIod();

    // Adds the element in tag order.
    DcElem* add(DcElem* elem);
    // Encodes the data set into buf; the result is 0 once buf is given.
    int frame(unsigned char* buf, unsigned int& len, DICT_UID xfer);
    void printNodeList(FILE* stream);

    DcIod* next() { return static_cast<DcIod*>(DcNode::next()); }
    DcIod* previous() { return static_cast<DcIod*>(DcNode::previous()); }
};

#endif
