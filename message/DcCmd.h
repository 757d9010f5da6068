#ifndef BRENIK3_MESSAGE_DCCMD_H
#define BRENIK3_MESSAGE_DCCMD_H

#include <cstdio>

#include "dictionary/DcDictTags.h"
#include "foundation/DcLog.h"
#include "message/DcMsg.h"
#include "foundation/Export.h"

// Status codes of commands (module 0x0E).
enum {
    CMD_ERR_DATASET = 0x0E01,   // data set present or absent against the command's rule
    CMD_ERR_MISSING = 0x0E03,   // a required element is missing
    CMD_ERR_NULL_ARG = 0x0E04   // null buffer for frame
};

// The DIMSE command field (the numbers of DICT_MSG).
enum CMD_TYPE : int {
    CMD_C_STORE_RQ = DICT_MSG_C_STORE_RQ, CMD_C_STORE_RSP = DICT_MSG_C_STORE_RSP,
    CMD_C_GET_RQ = DICT_MSG_C_GET_RQ, CMD_C_GET_RSP = DICT_MSG_C_GET_RSP,
    CMD_C_FIND_RQ = DICT_MSG_C_FIND_RQ, CMD_C_FIND_RSP = DICT_MSG_C_FIND_RSP,
    CMD_C_MOVE_RQ = DICT_MSG_C_MOVE_RQ, CMD_C_MOVE_RSP = DICT_MSG_C_MOVE_RSP,
    CMD_C_ECHO_RQ = DICT_MSG_C_ECHO_RQ, CMD_C_ECHO_RSP = DICT_MSG_C_ECHO_RSP,
    CMD_C_CANCEL_RQ = DICT_MSG_C_CANCEL_RQ,
    CMD_N_EVENT_REPORT_RQ = DICT_MSG_N_EVENT_REPORT_RQ, CMD_N_EVENT_REPORT_RSP = DICT_MSG_N_EVENT_REPORT_RSP,
    CMD_N_GET_RQ = DICT_MSG_N_GET_RQ, CMD_N_GET_RSP = DICT_MSG_N_GET_RSP,
    CMD_N_SET_RQ = DICT_MSG_N_SET_RQ, CMD_N_SET_RSP = DICT_MSG_N_SET_RSP,
    CMD_N_ACTION_RQ = DICT_MSG_N_ACTION_RQ, CMD_N_ACTION_RSP = DICT_MSG_N_ACTION_RSP,
    CMD_N_CREATE_RQ = DICT_MSG_N_CREATE_RQ, CMD_N_CREATE_RSP = DICT_MSG_N_CREATE_RSP,
    CMD_N_DELETE_RQ = DICT_MSG_N_DELETE_RQ, CMD_N_DELETE_RSP = DICT_MSG_N_DELETE_RSP
};

// Whether a data set travels with the command (the Data Set Type values).
enum CMD_DATASET : int {
    CMD_DATASET_ABSENT = 0x0101,
    CMD_DATASET_PRESENT = 0x0102,
    CMD_DATASET_OPTIONAL = 0x0103
};

// Usage of a parameter: required ones are checked before sending.
enum {
    CMD_PARM_CONDITIONAL = 0,
    CMD_PARM_REQUIRED = 1,
    CMD_PARM_REQUIRED_2 = 2,
    CMD_PARM_OPTIONAL = 3,
    CMD_PARM_END = -1            // the tag of the row that ends a list
};

// One row of a command's parameter list.
struct BRENIK3_API DcCmdParm {
    int tag;
    int usage;
};

// How a response takes one element from its request.
struct BRENIK3_API DcCmdRspCopy {
    int requestTag;
    int responseTag;
    bool required;
    const char* name;  // the tag's name in the missing-element message
};

// How a response class builds itself from its request.
struct BRENIK3_API DcCmdRspRule {
    const char* function;     // reporting name, as "DcCmdCStoreRsp::parseRequest"
    CMD_TYPE requestType;
    const char* requestName;  // as "C-STORE-RQ"
    int nullArgCode;
    int incompatibleCode;
    int missingCode;
    LOG_MSG missingChannel;
    const DcCmdRspCopy* copies;
    int copyCount;
};

// The base of the DIMSE commands: the command field, the data set rule, the
// parameter list that says which elements the command must hold, and the
// checks made when elements are added and before the command is sent.
class BRENIK3_API DcCmd : public DcMsg {
public:
    // Copies take a parameter list of their own; as for every message copy,
    // their element lists start empty.
    DcCmd(const DcCmd& other);
    DcCmd& operator=(const DcCmd& other);
    ~DcCmd() override;

    // Adds a data set element or a command element; takes ownership also of
    // elements it refuses (which are destroyed). Null when refused.
    DcElem* add(DcElem* elem);
    // Moves every element of list in (each checked as above), then destroys
    // the emptied list.
    DcElemList* add(DcElemList* list);
    DcCmd& operator+(DcElem* elem);
    DcCmd& operator+(DcElemList* list);

    DcElem* firstElem() { return elemList->first(); }
    using DcPduDataTf::subtract;
    DcElem* subtract(DcElem* elem) { return elemList->subtract(elem); }
    using DcMsg::getType;
    int getType(CMD_TYPE& type);

    int elemListMerge() override;
    // Checks the data set rule and the required elements, creating a missing
    // message ID.
    int elemListVerify(int& added) override;

    // Encodes the elements into buf; the result is 0 once buf is given.
    int frame(unsigned char* buf, unsigned int& len, DICT_UID xfer);
    void printNodeList(FILE* stream);

protected:
    DcCmd(CMD_TYPE type, CMD_DATASET dataset);

    virtual void setParmList(const DcCmdParm* list);
    // The steps of parseRequest that every response class shares.
    int parseRequestBy(DcCmd* request, const DcCmdRspRule& rule);

    DcCmdParm* parmList;
    CMD_DATASET dataset;

private:
    int initialize(CMD_TYPE type);
    bool copyFromRequest(DcCmd* request, const DcCmdRspCopy& copy);
};

#endif
