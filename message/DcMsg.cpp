#include "message/DcMsg.h"

#include "dictionary/DcDict.h"

namespace {

const MSG_TYPE commandTypes[] = {
    MSG_C_STORE_RQ, MSG_C_STORE_RSP, MSG_C_GET_RQ, MSG_C_GET_RSP, MSG_C_FIND_RQ, MSG_C_FIND_RSP,
    MSG_C_MOVE_RQ, MSG_C_MOVE_RSP, MSG_C_ECHO_RQ, MSG_C_ECHO_RSP, MSG_C_CANCEL_RQ,
    MSG_N_EVENT_REPORT_RQ, MSG_N_EVENT_REPORT_RSP, MSG_N_GET_RQ, MSG_N_GET_RSP, MSG_N_SET_RQ, MSG_N_SET_RSP,
    MSG_N_ACTION_RQ, MSG_N_ACTION_RSP, MSG_N_CREATE_RQ, MSG_N_CREATE_RSP, MSG_N_DELETE_RQ, MSG_N_DELETE_RSP};

}

DcMsg::DcMsg(MSG_TYPE type) : msgType(type) {}

int DcMsg::getType(MSG_TYPE& type)
{
    type = msgType;
    return 0;
}

int DcMsg::getDesc(char* desc)
{
    return Dict.getDesc(static_cast<DICT_MSG>(msgType), desc);
}

int DcMsg::parseType()
{
    DcElem* field = nullptr;
    if (elemList->getElem(T_0000_0100_command, &field) != 0) {
        msgType = MSG_IOD;
        return 0;
    }
    unsigned short value = 0;
    field->getValue(value, ELEM_VAL_INDEX_KEEP);
    for (MSG_TYPE type : commandTypes)
        if (value == type) {
            msgType = type;
            return 0;
        }
    msgType = MSG_NONE;
    return MSG_ERR_UNKNOWN_COMMAND;
}
