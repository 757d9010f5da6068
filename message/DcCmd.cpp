#include "message/DcCmd.h"

#include <cstdlib>
#include <cstring>

#include "dictionary/DcDict.h"

namespace {

const DcCmdParm baseParms[] = {
    {T_0000_0000_groupLength, CMD_PARM_REQUIRED},
    {T_0000_0100_command, CMD_PARM_REQUIRED},
    {CMD_PARM_END, 0},
};

bool isRequired(int usage)
{
    return usage == CMD_PARM_REQUIRED || usage == CMD_PARM_REQUIRED_2;
}

}

DcCmd::DcCmd(CMD_TYPE type, CMD_DATASET rule) : DcMsg(static_cast<MSG_TYPE>(type)), parmList(nullptr), dataset(rule)
{
    initialize(type);
}

DcCmd::DcCmd(const DcCmd& other) : DcMsg(other), parmList(nullptr), dataset(other.dataset)
{
    if (other.parmList != nullptr)
        DcCmd::setParmList(other.parmList);
}

DcCmd& DcCmd::operator=(const DcCmd& other)
{
    if (this == &other)
        return *this;
    DcMsg::operator=(other);
    dataset = other.dataset;
    if (other.parmList != nullptr)
        DcCmd::setParmList(other.parmList);
    return *this;
}

DcCmd::~DcCmd()
{
    free(parmList);
}

int DcCmd::initialize(CMD_TYPE type)
{
    setParmList(baseParms);
    add(new DcElem(T_0000_0000_groupLength, 0u));
    add(new DcElem(T_0000_0100_command, static_cast<unsigned short>(type)));
    return 0;
}

void DcCmd::setParmList(const DcCmdParm* list)
{
    size_t rows = 0;
    while (list[rows].tag != CMD_PARM_END)
        rows++;
    rows++;
    free(parmList);
    parmList = static_cast<DcCmdParm*>(malloc(rows * sizeof(DcCmdParm)));
    if (parmList != nullptr)
        memcpy(parmList, list, rows * sizeof(DcCmdParm));
}

DcElem* DcCmd::add(DcElem* elem)
{
    static const char* const function = "DcCmd::add";
    if (elem == nullptr) {
        logReport(LOG_CHANNEL_1, function, "Null argument passed for element");
        return nullptr;
    }
    unsigned short group, element;
    elem->getTag(group, element);
    if (group != 0 && dataset == CMD_DATASET_ABSENT) {
        logReport(LOG_CHANNEL_1, function, "Dataset not allowed for this command");
        delete elem;
        return nullptr;
    }
    if (group == 0 && parmList == nullptr) {
        logReport(LOG_CHANNEL_1, function, "Parameter list not initialized for this command");
        delete elem;
        return nullptr;
    }
    return elemList->add(elem);
}

DcElemList* DcCmd::add(DcElemList* list)
{
    if (list == nullptr) {
        logReport(LOG_CHANNEL_1, "DcCmd::add", "Null argument passed for element list");
        return nullptr;
    }
    while (DcElem* elem = list->first()) {
        list->subtract(elem);
        *this + elem;
    }
    delete list;
    return list;
}

DcCmd& DcCmd::operator+(DcElem* elem)
{
    add(elem);
    return *this;
}

DcCmd& DcCmd::operator+(DcElemList* list)
{
    add(list);
    return *this;
}

int DcCmd::getType(CMD_TYPE& type)
{
    type = static_cast<CMD_TYPE>(msgType);
    return 0;
}

int DcCmd::elemListMerge()
{
    return 0;
}

int DcCmd::elemListVerify(int& added)
{
    static const char* const function = "DcCmd::elemListVerify";
    bool hasDataSet = false;
    for (DcElem* elem = elemList->first(); elem != nullptr && !hasDataSet; elem = elem->next()) {
        unsigned short group, element;
        elem->getTag(group, element);
        hasDataSet = group != 0;
    }
    if (dataset == CMD_DATASET_PRESENT && !hasDataSet) {
        logReport(LOG_CHANNEL_1, function, "Dataset absent in Command");
        return CMD_ERR_DATASET;
    }
    if (dataset == CMD_DATASET_ABSENT && hasDataSet) {
        logReport(LOG_CHANNEL_1, function, "Dataset present in Command");
        return CMD_ERR_DATASET;
    }
    int status = 0;
    for (const DcCmdParm* row = parmList; row != nullptr && row->tag != CMD_PARM_END; row++) {
        if (!isRequired(row->usage) || elemList->getElem(row->tag, static_cast<DcElem**>(nullptr)) == 0)
            continue;
        if (row->tag == T_0000_0110_messageId) {
            unsigned short msgId = 0;
            Dict.genMsgId(msgId);
            elemList->add(new DcElem(T_0000_0110_messageId, msgId));
            added++;
            continue;
        }
        unsigned short group = static_cast<unsigned short>(static_cast<unsigned int>(row->tag) >> 16);
        unsigned short element = static_cast<unsigned short>(row->tag & 0xFFFF);
        logReport(LOG_CHANNEL_1, function, "Element (%04x,%04x) missing from command", group, element);
        status = CMD_ERR_MISSING;
    }
    return status;
}

int DcCmd::frame(unsigned char* buf, unsigned int& len, DICT_UID xfer)
{
    if (buf == nullptr) {
        logReport(LOG_CHANNEL_1, "DcCmd::frame", "Null argument passed");
        return CMD_ERR_NULL_ARG;
    }
    elemList->frame(buf, len, xfer);
    return 0;
}

void DcCmd::printNodeList(FILE* stream)
{
    if (stream == nullptr)
        return;
    elemListMerge();
    elemList->printNodeList(stream);
}

// Null request, wrong request type, then the transfer information and the
// elements that the rule copies, in order; a missing required element ends
// the parsing, keeping what was added before it.
int DcCmd::parseRequestBy(DcCmd* request, const DcCmdRspRule& rule)
{
    if (request == nullptr) {
        logReport(LOG_CHANNEL_1, rule.function, "Null argument passed");
        return rule.nullArgCode;
    }
    if (request->msgType != static_cast<MSG_TYPE>(rule.requestType)) {
        char desc[DICT_NAME_MAX + 1] = "";
        request->getDesc(desc);
        logReport(LOG_CHANNEL_1, rule.function, "Incompatible RQ command - '%s'", desc);
        return rule.incompatibleCode;
    }
    request->resetValueCount();
    presCtxId = request->presCtxId;
    xferSyn = request->xferSyn;
    for (int i = 0; i < rule.copyCount; i++) {
        const DcCmdRspCopy& copy = rule.copies[i];
        if (!copyFromRequest(request, copy) && copy.required) {
            logReport(rule.missingChannel, rule.function, "%s missing in %s", copy.name, rule.requestName);
            return rule.missingCode;
        }
    }
    return 0;
}

// US values are copied as numbers; UI values as text of at most 64
// characters, AE values of at most 16. False when the request lacks the element.
bool DcCmd::copyFromRequest(DcCmd* request, const DcCmdRspCopy& copy)
{
    DICT_VR vr = VR_UNKNOWN;
    Dict.getVrDef(copy.requestTag, vr);
    if (vr == VR_US) {
        unsigned short value = 0;
        if (request->elemList->getValue(copy.requestTag, value) != 0)
            return false;
        add(new DcElem(copy.responseTag, value));
        return true;
    }
    const int maxLen = vr == VR_AE ? 16 : DICT_UID_MAX;
    char text[DICT_UID_MAX + 1] = "";
    if (request->elemList->getValue(copy.requestTag, text, maxLen) != 0)
        return false;
    add(new DcElem(copy.responseTag, static_cast<const char*>(text)));
    return true;
}
