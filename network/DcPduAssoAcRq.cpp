#include "network/DcPduAssoAcRq.h"

#include <cstdlib>
#include <cstring>

#include "dictionary/DcDict.h"
#include "foundation/ByteOrder.h"
#include "internal/ByteCursor.h"
#include "foundation/DcLog.h"
#include "foundation/util.h"
#include "internal/Text.h"

namespace {

// Fixed part of the body: protocol version, reserved, two AE titles, 32 reserved bytes.
const unsigned int FIXED_BODY_LEN = 68;
const unsigned int CALLED_AE_OFFSET = 4;
const unsigned int CALLING_AE_OFFSET = 20;
const unsigned int ITEM_HEAD_LEN = 4;
const unsigned int PRES_CTX_HEAD_LEN = 8;

unsigned int itemLength(const unsigned char* item)
{
    return byteorder::get16(item + 2, true);
}

// True when a 4-byte item header starting at pos lies before end.
bool headFits(unsigned int pos, unsigned int end)
{
    return pos + ITEM_HEAD_LEN <= end;
}

// The UID string of a dictionary UID, empty when it has none.
void uidString(DICT_UID uid, char* out)
{
    if (Dict.getUid(uid, out) != 0)
        out[0] = '\0';
}

}

// The framing buffer, in network byte order, with the item shapes of this PDU.
class DcPduAssoAcRq::Framer : public brenik3::ByteWriter {
public:
    Framer(unsigned char* buffer, unsigned int capacity) : ByteWriter(buffer, capacity, true) {}

    // An item holding a text without terminator or padding.
    void textItem(unsigned int itemType, const char* text)
    {
        unsigned int len = static_cast<unsigned int>(strlen(text));
        u8(itemType);
        u8(0);
        u16(len);
        bytes(text, len);
    }
    // Starts an item whose 16-bit length is filled in by endItem.
    size_t beginItem(unsigned int itemType)
    {
        size_t start = pos();
        u8(itemType);
        u8(0);
        u16(0);
        return start;
    }
    void endItem(size_t start) { patch16(start + 2, static_cast<unsigned int>(pos() - start - ITEM_HEAD_LEN)); }
};

DcPduAssoAcRq::DcPduAssoAcRq(PDU_TYPE type) : DcPduAssoAcRq(0, type)
{
}

DcPduAssoAcRq::DcPduAssoAcRq(int sock, PDU_TYPE type)
    : DcPdu(sock, type), acRqInfo(nullptr), presCtxItems(), roleSopClass(), roleValue()
{
}

DcPduAssoAcRq::~DcPduAssoAcRq()
{
    delete acRqInfo;
    for (DcPduPresCtxItem* item : presCtxItems)
        delete item;
}

int DcPduAssoAcRq::getInfo(DcPduInfoAcRq& out)
{
    if (acRqInfo == nullptr) {
        logReport(LOG_CHANNEL_2, "DcPduAssoAcRq::getInfo", "AC/RQ data does not exist");
        return ASSO_ERR_DATA;
    }
    out = *acRqInfo;
    return 0;
}

int DcPduAssoAcRq::setInfo(DcPduInfoAcRq& in)
{
    if (acRqInfo == nullptr)
        acRqInfo = new DcPduInfoAcRq();
    brenik3::copyText(acRqInfo->calledAeTitle, in.calledAeTitle, PDU_AE_TITLE_LEN);
    brenik3::copyText(acRqInfo->callingAeTitle, in.callingAeTitle, PDU_AE_TITLE_LEN);
    brenik3::copyText(acRqInfo->appCtxName, in.appCtxName, PDU_UID_LEN);
    acRqInfo->maxPduLen = in.maxPduLen;
    brenik3::copyText(acRqInfo->implClassUid, in.implClassUid, PDU_UID_LEN);
    brenik3::copyText(acRqInfo->implVerName, in.implVerName, PDU_VER_NAME_LEN);
    return 0;
}

int DcPduAssoAcRq::presCtxItemAdd(DcPduPresCtxItem& item)
{
    const char* function = "DcPduAssoAcRq::presCtxItemAdd";
    if (type == PDU_ASSO_RQ && item.type != PRES_CTX_TYPE_RQ) {
        logReport(LOG_CHANNEL_2, function, "Invalid presCtxItem 0x%04x, expecting PRES_CTX_TYPE_RQ", item.type);
        return ASSO_ERR_DATA;
    }
    if (type == PDU_ASSO_AC && item.type != PRES_CTX_TYPE_AC) {
        logReport(LOG_CHANNEL_2, function, "Invalid presCtxItem 0x%04x, expecting PRES_CTX_TYPE_AC", item.type);
        return ASSO_ERR_DATA;
    }
    if (type != PDU_ASSO_RQ && type != PDU_ASSO_AC) {
        logReport(LOG_CHANNEL_2, function, "Invalid PDU type 0x%04x", static_cast<unsigned int>(type));
        return ASSO_ERR_DATA;
    }
    int freeSlot = -1;
    for (int slot = 0; slot < PDU_PRES_CTX_MAX; slot++) {
        if (presCtxItems[slot] == nullptr) {
            if (freeSlot < 0)
                freeSlot = slot;
        } else if (presCtxItems[slot]->presCtxId == item.presCtxId) {
            logReport(LOG_CHANNEL_2, function, "Presentation context already in list");
            return ASSO_ERR_DUPLICATE;
        }
    }
    if (freeSlot < 0) {
        logReport(LOG_CHANNEL_2, function, "Presentation context limit reached");
        return ASSO_ERR_FULL;
    }
    presCtxItems[freeSlot] = new DcPduPresCtxItem(item);
    return 0;
}

int DcPduAssoAcRq::getPresCtxItems(DcPduPresCtxItem** items)
{
    if (items == nullptr) {
        logReport(LOG_CHANNEL_2, "DcPduAssoAcRq::getPresCtxItems", "Null argument passed");
        return ASSO_ERR_NULL_ARG;
    }
    for (int slot = 0; slot < PDU_PRES_CTX_MAX; slot++)
        items[slot] = presCtxItems[slot] ? new DcPduPresCtxItem(*presCtxItems[slot]) : nullptr;
    return 0;
}

int DcPduAssoAcRq::getScpScuRoles(DICT_UID* sopClasses, unsigned int* roles)
{
    if (sopClasses == nullptr || roles == nullptr) {
        logReport(LOG_CHANNEL_2, "DcPduAssoAcRq::getScpScuRoles", "Null argument passed");
        return ASSO_ERR_NULL_ARG;
    }
    memcpy(sopClasses, roleSopClass, sizeof roleSopClass);
    memcpy(roles, roleValue, sizeof roleValue);
    return 0;
}

int DcPduAssoAcRq::extNegAdd(const DcPduExtNeg& item)
{
    const char* function = "DcPduAssoAcRq::extNegAdd";
    if (item.sopClassUid[0] == '\0' || strnlen(item.sopClassUid, sizeof item.sopClassUid) > PDU_UID_LEN ||
        item.infoLen > PDU_EXT_NEG_INFO_MAX) {
        logReport(LOG_CHANNEL_2, function, "Invalid extended negotiation: UID '%.64s', %u information bytes",
                  item.sopClassUid, item.infoLen);
        return ASSO_ERR_DATA;
    }
    if (extNegs.size() >= PDU_EXT_NEG_MAX) {
        logReport(LOG_CHANNEL_2, function, "Extended negotiation limit reached");
        return ASSO_ERR_FULL;
    }
    extNegs.push_back(item);
    return 0;
}

int DcPduAssoAcRq::frameAsso(unsigned char* buf)
{
    const char* function = "DcPduAssoAcRq::frameAsso";
    if (type != PDU_ASSO_RQ && type != PDU_ASSO_AC) {
        logReport(LOG_CHANNEL_2, function, "Invalid PDU type");
        return ASSO_ERR_PDU_TYPE;
    }
    if (acRqInfo == nullptr) {
        logReport(LOG_CHANNEL_2, function, "AC/RQ association data does not exist");
        return ASSO_ERR_DATA;
    }
    char called[PDU_AE_TITLE_LEN + 1];
    char calling[PDU_AE_TITLE_LEN + 1];
    brenik3::copyStripped(called, acRqInfo->calledAeTitle, PDU_AE_TITLE_LEN);
    brenik3::copyStripped(calling, acRqInfo->callingAeTitle, PDU_AE_TITLE_LEN);
    if (called[0] == '\0') {
        logReport(LOG_CHANNEL_2, function, "Invalid calledAeTitle");
        return ASSO_ERR_DATA;
    }
    if (calling[0] == '\0') {
        logReport(LOG_CHANNEL_2, function, "Invalid callingAeTitle");
        return ASSO_ERR_DATA;
    }

    Framer out(buf, frameCapacity());
    out.u8(type);
    out.u8(0);
    out.u32(0);
    out.u16(protocolVersion);
    out.u16(0);
    char padded[PDU_AE_TITLE_LEN + 1];
    snprintf(padded, sizeof padded, "%-16s", called);
    out.bytes(padded, PDU_AE_TITLE_LEN);
    snprintf(padded, sizeof padded, "%-16s", calling);
    out.bytes(padded, PDU_AE_TITLE_LEN);
    out.zeros(32);

    char appCtx[PDU_UID_LEN + 1];
    brenik3::copyStripped(appCtx, acRqInfo->appCtxName, PDU_UID_LEN);
    out.textItem(PDU_ASSO_ITEM_APP_CTX, appCtx);

    int framed = 0;
    for (DcPduPresCtxItem* item : presCtxItems) {
        if (item != nullptr && presCtxItemFrame(out, *item) == 0)
            framed++;
    }
    if (framed == 0) {
        logReport(LOG_CHANNEL_2, function, "No presentation context items");
        return ASSO_ERR_DATA;
    }

    size_t userInfo = out.beginItem(PDU_ASSO_ITEM_USER_INFO);
    out.u8(PDU_ASSO_ITEM_MAX_LEN);
    out.u8(0);
    out.u16(4);
    out.u32(acRqInfo->maxPduLen);
    if (acRqInfo->implClassUid[0] != '\0')
        out.textItem(PDU_ASSO_ITEM_IMPL_CLASS_UID, acRqInfo->implClassUid);
    for (DcPduPresCtxItem* item : presCtxItems) {
        if (item == nullptr || item->role == 0)
            continue;
        char uid[PDU_UID_LEN + 1];
        uidString(item->abstractSyntax, uid);
        unsigned int uidLen = static_cast<unsigned int>(strlen(uid));
        out.u8(PDU_ASSO_ITEM_ROLE);
        out.u8(0);
        out.u16(uidLen + 4);
        out.u16(uidLen);
        out.bytes(uid, uidLen);
        out.u8((item->role & PDU_ROLE_SCU) ? 1 : 0);
        out.u8((item->role & PDU_ROLE_SCP) ? 1 : 0);
    }
    if (acRqInfo->implVerName[0] != '\0')
        out.textItem(PDU_ASSO_ITEM_IMPL_VER_NAME, acRqInfo->implVerName);
    for (const DcPduExtNeg& item : extNegs) {
        unsigned int uidLen = static_cast<unsigned int>(strlen(item.sopClassUid));
        out.u8(PDU_ASSO_ITEM_EXT_NEG);
        out.u8(0);
        out.u16(2 + uidLen + item.infoLen);
        out.u16(uidLen);
        out.bytes(item.sopClassUid, uidLen);
        out.bytes(item.info, item.infoLen);
    }
    out.endItem(userInfo);

    if (out.overflowed()) {
        logReport(LOG_CHANNEL_2, function, "PDU exceeds buffer length %u", frameCapacity());
        return ASSO_ERR_DATA;
    }
    out.patch32(2, static_cast<uint32_t>(out.pos() - PDU_HEADER_LEN));
    length = static_cast<uint16_t>(out.pos());
    return 0;
}

int DcPduAssoAcRq::presCtxItemFrame(Framer& out, DcPduPresCtxItem& item)
{
    const char* function = "DcPduAssoAcRq::presCtxItemFrame";
    int listed = 0;
    while (listed < PDU_XFER_SYN_MAX && item.xferSyn[listed] != UID_NONE)
        listed++;
    if (type == PDU_ASSO_AC && listed >= 2) {
        logReport(LOG_CHANNEL_2, function, "%d Transfer Syntaxes, must not exceed one", listed);
        return ASSO_ERR_DATA;
    }
    if (type == PDU_ASSO_RQ && listed == 0) {
        logReport(LOG_CHANNEL_2, function, "No Transfer Syntax present");
        return ASSO_ERR_DATA;
    }
    char uid[PDU_UID_LEN + 1];
    size_t start = out.beginItem(item.type);
    out.u8(item.presCtxId);
    out.u8(0);
    out.u8(type == PDU_ASSO_AC ? item.result : 0);
    out.u8(0);
    if (type == PDU_ASSO_RQ) {
        uidString(item.abstractSyntax, uid);
        out.textItem(PDU_ASSO_ITEM_ABST_SYN, uid);
    }
    for (int i = 0; i < listed; i++) {
        uidString(item.xferSyn[i], uid);
        if (uid[0] != '\0')
            out.textItem(PDU_ASSO_ITEM_XFER_SYN, uid);
    }
    out.endItem(start);
    return 0;
}

int DcPduAssoAcRq::read(PDU_BLOCK block)
{
    unsigned char* body = readBody(block);
    if (body == nullptr)
        return ASSO_ERR_DATA;
    delete acRqInfo;
    acRqInfo = new DcPduInfoAcRq();
    extNegs.clear();
    int status = parse(body, bodyLen);
    free(body);
    return status;
}

int DcPduAssoAcRq::parse(const unsigned char* body, unsigned int bodyLength)
{
    const char* function = "DcPduAssoAcRq::read";
    if (bodyLength < FIXED_BODY_LEN) {
        logReport(LOG_CHANNEL_2, function, "Invalid buffer length past all sub items");
        return ASSO_ERR_DATA;
    }
    unsigned int version = byteorder::get16(body, true);
    if (version != (protocolVersion & 0xFFFF)) {
        logReport(LOG_CHANNEL_2, function, "Invalid protocol version - 0x%04x", version);
        return ASSO_ERR_DATA;
    }
    struct {
        unsigned int offset;
        char* title;
        const char* emptyMessage;
    } titles[] = {{CALLED_AE_OFFSET, acRqInfo->calledAeTitle, "Empty Called AE title string"},
                  {CALLING_AE_OFFSET, acRqInfo->callingAeTitle, "Empty Calling AE title string"}};
    for (auto& title : titles) {
        char stripped[PDU_AE_TITLE_LEN + 1];
        brenik3::copyStripped(stripped, reinterpret_cast<const char*>(body + title.offset), PDU_AE_TITLE_LEN);
        if (stripped[0] == '\0') {
            logReport(LOG_CHANNEL_2, function, "%s", title.emptyMessage);
            return ASSO_ERR_DATA;
        }
        snprintf(title.title, PDU_AE_TITLE_LEN + 1, "%-16s", stripped);
    }

    int presCtxCount = 0;
    int status = varItemWalk(body, bodyLength, presCtxCount);
    if (status != 0)
        return status;

    unsigned int pos = FIXED_BODY_LEN;
    unsigned int end = pos + ITEM_HEAD_LEN + itemLength(body + pos);
    if (parseSubItem(body, pos, end, PDU_ASSO_ITEM_APP_CTX, PDU_UID_LEN, acRqInfo->appCtxName) != 0) {
        logReport(LOG_CHANNEL_2, function, "Invalid Application Context Name");
        return ASSO_ERR_DATA;
    }
    pos = end;

    for (int i = 0; i < presCtxCount; i++) {
        end = pos + ITEM_HEAD_LEN + itemLength(body + pos);
        DcPduPresCtxItem* item = new DcPduPresCtxItem();
        status = parsePresCtxItem(body, pos, end, *item);
        if (status != 0) {
            logReport(LOG_CHANNEL_2, function, "Invalid Presentation Context Item #%d", i);
            delete item;
            return status;
        }
        if (i < PDU_PRES_CTX_MAX) {
            delete presCtxItems[i];
            presCtxItems[i] = item;
        } else {
            delete item;
        }
        pos = end;
    }
    return parseUserInfo(body, pos);
}

// Checks the layout of the variable items before anything is taken from
// them: application context, a run of presentation contexts of one type,
// user information with a maximum length.
int DcPduAssoAcRq::varItemWalk(const unsigned char* body, unsigned int bodyLength, int& presCtxCount)
{
    const char* function = "DcPduAssoAcRq::varItemWalk";
    const char* pastAll = "Invalid buffer length past all sub items";
    presCtxCount = 0;
    unsigned int pos = FIXED_BODY_LEN;
    if (!headFits(pos, bodyLength)) {
        logReport(LOG_CHANNEL_2, function, "%s", pastAll);
        return ASSO_ERR_DATA;
    }
    if (body[pos] != PDU_ASSO_ITEM_APP_CTX) {
        logReport(LOG_CHANNEL_2, function, "Invalid sub item type 0x%04x, expecting PDU_ASSO_ITEM_APP_CTX", body[pos]);
        return ASSO_ERR_DATA;
    }
    pos += ITEM_HEAD_LEN + itemLength(body + pos);
    if (pos > bodyLength) {
        logReport(LOG_CHANNEL_2, function, "Insufficient buffer after PDU_ASSO_ITEM_APP_CTX");
        return ASSO_ERR_DATA;
    }

    if (!headFits(pos, bodyLength)) {
        logReport(LOG_CHANNEL_2, function, "%s", pastAll);
        return ASSO_ERR_DATA;
    }
    unsigned int ctxType = body[pos];
    if (ctxType != PRES_CTX_TYPE_RQ && ctxType != PRES_CTX_TYPE_AC) {
        logReport(LOG_CHANNEL_2, function, "Invalid sub item type 0x%04x, expecting PDU_ASSO_ITEM_PRES_AC/RQ", ctxType);
        return ASSO_ERR_DATA;
    }
    while (headFits(pos, bodyLength) && body[pos] == ctxType) {
        unsigned int len = itemLength(body + pos);
        unsigned int end = pos + ITEM_HEAD_LEN + len;
        unsigned int sub = pos + PRES_CTX_HEAD_LEN;
        if (end > bodyLength || sub > end) {
            logReport(LOG_CHANNEL_2, function, "Buffer length exceeded in sub item #%d", presCtxCount);
            return ASSO_ERR_DATA;
        }
        if (ctxType == PRES_CTX_TYPE_RQ && (!headFits(sub, end) || body[sub] != PDU_ASSO_ITEM_ABST_SYN)) {
            logReport(LOG_CHANNEL_2, function, "Invalid type 0x%04x in sub item #%d, expecting PDU_ASSO_ITEM_ABST_SYN",
                      sub < end ? body[sub] : 0u, presCtxCount);
            return ASSO_ERR_DATA;
        }
        while (sub < end) {
            if (!headFits(sub, end) || sub + ITEM_HEAD_LEN + itemLength(body + sub) > end) {
                logReport(LOG_CHANNEL_2, function, "Buffer length exceeded in sub item #%d", presCtxCount);
                return ASSO_ERR_DATA;
            }
            sub += ITEM_HEAD_LEN + itemLength(body + sub);
        }
        presCtxCount++;
        pos = end;
    }

    if (!headFits(pos, bodyLength)) {
        logReport(LOG_CHANNEL_2, function, "%s", pastAll);
        return ASSO_ERR_DATA;
    }
    if (body[pos] != PDU_ASSO_ITEM_USER_INFO) {
        logReport(LOG_CHANNEL_2, function, "Invalid sub item type 0x%04x, expecting PDU_ASSO_ITEM_USER_INFO", body[pos]);
        return ASSO_ERR_DATA;
    }
    unsigned int end = pos + ITEM_HEAD_LEN + itemLength(body + pos);
    if (end > bodyLength) {
        logReport(LOG_CHANNEL_2, function, "%s", pastAll);
        return ASSO_ERR_DATA;
    }
    bool maxLenSeen = false;
    for (unsigned int sub = pos + ITEM_HEAD_LEN; sub < end; sub += ITEM_HEAD_LEN + itemLength(body + sub)) {
        if (!headFits(sub, end) || sub + ITEM_HEAD_LEN + itemLength(body + sub) > end) {
            logReport(LOG_CHANNEL_2, function, "%s", pastAll);
            return ASSO_ERR_DATA;
        }
        unsigned int subType = body[sub];
        if (subType < PDU_ASSO_ITEM_MAX_LEN || subType > PDU_ASSO_ITEM_EXT_NEG) {
            logReport(LOG_CHANNEL_2, function, "Invalid sub item type 0x%04x past PDU_ASSO_ITEM_USER_INFO", subType);
            return ASSO_ERR_DATA;
        }
        if (subType == PDU_ASSO_ITEM_MAX_LEN && itemLength(body + sub) >= 4)
            maxLenSeen = true;
    }
    if (!maxLenSeen) {
        logReport(LOG_CHANNEL_2, function, "maxPduLen missing");
        return ASSO_ERR_DATA;
    }
    return 0;
}

int DcPduAssoAcRq::parseSubItem(const unsigned char* body, unsigned int pos, unsigned int end,
                                unsigned int expectedType, unsigned int maxLen, char* value)
{
    const char* function = "DcPduAssoAcRq::parseSubItem";
    if (body[pos] != expectedType) {
        logReport(LOG_CHANNEL_2, function, "Invalid sub item type 0x%04x, expecting 0x%04x", body[pos], expectedType);
        return ASSO_ERR_DATA;
    }
    unsigned int len = itemLength(body + pos);
    unsigned int room = end - pos - ITEM_HEAD_LEN;
    if (len > maxLen || len > room) {
        unsigned int limit = len > maxLen ? maxLen : room;
        logReport(LOG_CHANNEL_2, function, "Sub item length 0x%04x exceeds buffer length 0x%04x (%d)", len, limit,
                  limit);
        return ASSO_ERR_DATA;
    }
    memcpy(value, body + pos + ITEM_HEAD_LEN, len);
    value[len] = '\0';
    utilRemoveSpace(value, UTIL_SPACE_LEADING | UTIL_SPACE_TRAILING);
    return 0;
}

int DcPduAssoAcRq::parsePresCtxItem(const unsigned char* body, unsigned int pos, unsigned int end,
                                    DcPduPresCtxItem& item)
{
    item.type = body[pos];
    item.presCtxId = body[pos + 4];
    item.result = body[pos + 6];
    char uid[PDU_UID_LEN + 1];
    unsigned int sub = pos + PRES_CTX_HEAD_LEN;
    if (headFits(sub, end) && body[sub] == PDU_ASSO_ITEM_ABST_SYN) {
        int status = parseSubItem(body, sub, end, PDU_ASSO_ITEM_ABST_SYN, PDU_UID_LEN, uid);
        if (status != 0)
            return status;
        if (Dict.getUidDef(uid, item.abstractSyntax) != 0)
            logReport(LOG_CHANNEL_1, "DcPduAssoAcRq::parsePresCtxItem", "Unsupported/unknown UID '%s'", uid);
        sub += ITEM_HEAD_LEN + itemLength(body + sub);
    }
    bool skipXferSyn = item.type == PRES_CTX_TYPE_AC && item.result != 0;
    int kept = 0;
    for (; sub < end; sub += ITEM_HEAD_LEN + itemLength(body + sub)) {
        if (skipXferSyn)
            continue;
        int status = parseSubItem(body, sub, end, PDU_ASSO_ITEM_XFER_SYN, PDU_UID_LEN, uid);
        if (status != 0)
            return status;
        DICT_UID xferSyn;
        if (Dict.getUidDef(uid, xferSyn) == 0 && kept < PDU_XFER_SYN_MAX)
            item.xferSyn[kept++] = xferSyn;
    }
    return 0;
}

int DcPduAssoAcRq::parseUserInfo(const unsigned char* body, unsigned int pos)
{
    unsigned int end = pos + ITEM_HEAD_LEN + itemLength(body + pos);
    for (unsigned int sub = pos + ITEM_HEAD_LEN; sub < end; sub += ITEM_HEAD_LEN + itemLength(body + sub)) {
        int status = 0;
        switch (body[sub]) {
        case PDU_ASSO_ITEM_MAX_LEN:
            if (itemLength(body + sub) >= 4)
                acRqInfo->maxPduLen = byteorder::get32(body + sub + ITEM_HEAD_LEN, true);
            break;
        case PDU_ASSO_ITEM_IMPL_CLASS_UID:
            status = parseSubItem(body, sub, end, PDU_ASSO_ITEM_IMPL_CLASS_UID, PDU_UID_LEN, acRqInfo->implClassUid);
            break;
        case PDU_ASSO_ITEM_IMPL_VER_NAME:
            status = parseSubItem(body, sub, end, PDU_ASSO_ITEM_IMPL_VER_NAME, PDU_VER_NAME_LEN,
                                  acRqInfo->implVerName);
            break;
        case PDU_ASSO_ITEM_ROLE:
            status = parseScpScuRole(body, sub);
            break;
        case PDU_ASSO_ITEM_EXT_NEG:
            if (extNegKept)
                status = parseExtNeg(body, sub);
            break;
        default:  // asynchronous operations window
            break;
        }
        if (status != 0)
            return status;
    }
    return 0;
}

int DcPduAssoAcRq::parseScpScuRole(const unsigned char* body, unsigned int pos)
{
    const char* function = "DcPduAssoAcRq::parseScpScuRole";
    unsigned int len = itemLength(body + pos);
    if (len > PDU_ROLE_ITEM_MAX) {
        logReport(LOG_CHANNEL_2, function, "Item length 0x%04x exceeds buffer length 0x%04x", len,
                  static_cast<unsigned int>(PDU_ROLE_ITEM_MAX));
        return ASSO_ERR_DATA;
    }
    unsigned int uidLen = len >= 2 ? byteorder::get16(body + pos + ITEM_HEAD_LEN, true) : 0;
    if (len < 4 || uidLen != len - 4 || uidLen > PDU_UID_LEN) {
        logReport(LOG_CHANNEL_2, function, "Mismatch in item 0x%04x and UID string length 0x%04x", len, uidLen);
        return ASSO_ERR_DATA;
    }
    const unsigned char* value = body + pos + ITEM_HEAD_LEN + 2;
    char uid[PDU_UID_LEN + 1];
    memcpy(uid, value, uidLen);
    uid[uidLen] = '\0';
    utilRemoveSpace(uid, UTIL_SPACE_LEADING | UTIL_SPACE_TRAILING);
    DICT_UID sopClass;
    if (Dict.getUidDef(uid, sopClass) != 0)
        return 0;
    unsigned int role = (value[uidLen] ? PDU_ROLE_SCU : 0) | (value[uidLen + 1] ? PDU_ROLE_SCP : 0);
    for (int i = 0; i < PDU_PRES_CTX_MAX; i++) {
        if (roleSopClass[i] == UID_NONE) {
            roleSopClass[i] = sopClass;
            roleValue[i] = role;
            break;
        }
    }
    for (DcPduPresCtxItem* item : presCtxItems) {
        if (item != nullptr && item->abstractSyntax == sopClass) {
            item->role = role;
            break;
        }
    }
    return 0;
}

// The walk has checked that the sub-item lies inside the body.
int DcPduAssoAcRq::parseExtNeg(const unsigned char* body, unsigned int pos)
{
    const char* function = "DcPduAssoAcRq::parseExtNeg";
    unsigned int len = itemLength(body + pos);
    unsigned int uidLen = len >= 2 ? byteorder::get16(body + pos + ITEM_HEAD_LEN, true) : 0;
    if (len < 2 || uidLen == 0 || uidLen > PDU_UID_LEN || 2 + uidLen > len) {
        logReport(LOG_CHANNEL_2, function, "Mismatch in item 0x%04x and UID string length 0x%04x", len, uidLen);
        return ASSO_ERR_DATA;
    }
    unsigned int infoLen = len - 2 - uidLen;
    if (infoLen > PDU_EXT_NEG_INFO_MAX) {
        logReport(LOG_CHANNEL_2, function, "Information length 0x%04x exceeds 0x%04x", infoLen,
                  static_cast<unsigned int>(PDU_EXT_NEG_INFO_MAX));
        return ASSO_ERR_DATA;
    }
    if (extNegs.size() >= PDU_EXT_NEG_MAX) {
        logReport(LOG_CHANNEL_1, function, "Extended negotiation limit reached, sub-item dropped");
        return 0;
    }
    DcPduExtNeg item;
    const unsigned char* value = body + pos + ITEM_HEAD_LEN + 2;
    memcpy(item.sopClassUid, value, uidLen);
    item.sopClassUid[uidLen] = '\0';
    utilRemoveSpace(item.sopClassUid, UTIL_SPACE_LEADING | UTIL_SPACE_TRAILING);
    if (item.sopClassUid[0] == '\0') {
        logReport(LOG_CHANNEL_2, function, "Empty SOP class UID");
        return ASSO_ERR_DATA;
    }
    item.infoLen = infoLen;
    memcpy(item.info, value + uidLen, infoLen);
    extNegs.push_back(item);
    return 0;
}
