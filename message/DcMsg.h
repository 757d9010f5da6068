#ifndef BRENIK3_MESSAGE_DCMSG_H
#define BRENIK3_MESSAGE_DCMSG_H

#include "dictionary/DcDictTypes.h"
#include "network/DcPduDataTf.h"
#include "foundation/Export.h"

// Status code of messages.
enum { MSG_ERR_UNKNOWN_COMMAND = 0x2A02 };

// The kind of a message: the DIMSE command field of a command, MSG_IOD for a
// data set without one, MSG_NONE for an unknown command field (the numbers
// of DICT_MSG).
enum MSG_TYPE : int {
    MSG_NONE = 0,
    MSG_C_STORE_RQ = DICT_MSG_C_STORE_RQ, MSG_C_STORE_RSP = DICT_MSG_C_STORE_RSP,
    MSG_C_GET_RQ = DICT_MSG_C_GET_RQ, MSG_C_GET_RSP = DICT_MSG_C_GET_RSP,
    MSG_C_FIND_RQ = DICT_MSG_C_FIND_RQ, MSG_C_FIND_RSP = DICT_MSG_C_FIND_RSP,
    MSG_C_MOVE_RQ = DICT_MSG_C_MOVE_RQ, MSG_C_MOVE_RSP = DICT_MSG_C_MOVE_RSP,
    MSG_C_ECHO_RQ = DICT_MSG_C_ECHO_RQ, MSG_C_ECHO_RSP = DICT_MSG_C_ECHO_RSP,
    MSG_C_CANCEL_RQ = DICT_MSG_C_CANCEL_RQ,
    MSG_N_EVENT_REPORT_RQ = DICT_MSG_N_EVENT_REPORT_RQ, MSG_N_EVENT_REPORT_RSP = DICT_MSG_N_EVENT_REPORT_RSP,
    MSG_N_GET_RQ = DICT_MSG_N_GET_RQ, MSG_N_GET_RSP = DICT_MSG_N_GET_RSP,
    MSG_N_SET_RQ = DICT_MSG_N_SET_RQ, MSG_N_SET_RSP = DICT_MSG_N_SET_RSP,
    MSG_N_ACTION_RQ = DICT_MSG_N_ACTION_RQ, MSG_N_ACTION_RSP = DICT_MSG_N_ACTION_RSP,
    MSG_N_CREATE_RQ = DICT_MSG_N_CREATE_RQ, MSG_N_CREATE_RSP = DICT_MSG_N_CREATE_RSP,
    MSG_N_DELETE_RQ = DICT_MSG_N_DELETE_RQ, MSG_N_DELETE_RSP = DICT_MSG_N_DELETE_RSP,
    MSG_IOD = DICT_MSG_IOD
};

// What travels over an association: a DIMSE command or an information
// object, each a data set that can send itself as P-DATA-TF PDUs.
class BRENIK3_API DcMsg : public DcPduDataTf {
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
