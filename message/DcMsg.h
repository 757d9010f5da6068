#ifndef BRENIK3_MESSAGE_DCMSG_H
#define BRENIK3_MESSAGE_DCMSG_H

#include "dictionary/DcDictTypes.h"
#include "network/DcPduDataTf.h"

// Status code of messages.
enum { MSG_ERR_UNKNOWN_COMMAND = 0x2A02 };

// The kind of a message: the DIMSE command field of a command, MSG_IOD for a
// data set without one, MSG_NONE for an unknown command field.
enum MSG_TYPE : int {
    MSG_NONE = 0,
    MSG_C_STORE_RQ = 0x0001, MSG_C_STORE_RSP = 0x8001,
    MSG_C_GET_RQ = 0x0010, MSG_C_GET_RSP = 0x8010,
    MSG_C_FIND_RQ = 0x0020, MSG_C_FIND_RSP = 0x8020,
    MSG_C_MOVE_RQ = 0x0021, MSG_C_MOVE_RSP = 0x8021,
    MSG_C_ECHO_RQ = 0x0030, MSG_C_ECHO_RSP = 0x8030,
    MSG_C_CANCEL_RQ = 0x0FFF,
    MSG_N_EVENT_REPORT_RQ = 0x0100, MSG_N_EVENT_REPORT_RSP = 0x8100,
    MSG_N_GET_RQ = 0x0110, MSG_N_GET_RSP = 0x8110,
    MSG_N_SET_RQ = 0x0120, MSG_N_SET_RSP = 0x8120,
    MSG_N_ACTION_RQ = 0x0130, MSG_N_ACTION_RSP = 0x8130,
    MSG_N_CREATE_RQ = 0x0140, MSG_N_CREATE_RSP = 0x8140,
    MSG_N_DELETE_RQ = 0x0150, MSG_N_DELETE_RSP = 0x8150,
    MSG_IOD = 0xFFFF
};

// What travels over an association: a DIMSE command or an information
// object, each a data set that can send itself as P-DATA-TF PDUs.
class DcMsg : public DcPduDataTf {
public:
    int getType(MSG_TYPE& type);
    // The dictionary's description of the type, as "C-STORE Request".
    int getDesc(char* desc);
    // Sets the type from the command field (0000,0100) of the elements.
    int parseType();

protected:
    explicit DcMsg(MSG_TYPE type);

    MSG_TYPE msgType;
};

#endif
