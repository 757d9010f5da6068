#ifndef BRENIK3_NETWORK_DCPDUASSOACRQ_H
#define BRENIK3_NETWORK_DCPDUASSOACRQ_H

#include <vector>

#include "dictionary/DcDictTypes.h"
#include "network/DcPdu.h"
#include "foundation/Export.h"

// Status codes of the A-ASSOCIATE-RQ and -AC PDUs (module 0x48).
enum {
    ASSO_ERR_DATA = 0x4802,       // bad or missing data
    ASSO_ERR_NULL_ARG = 0x4803,
    ASSO_ERR_PDU_TYPE = 0x4804,
    ASSO_ERR_DUPLICATE = 0x4805,  // presentation context ID already listed
    ASSO_ERR_FULL = 0x4807        // presentation context table full
};

// Item and sub-item type codes of the association PDUs.
enum {
    PDU_ASSO_ITEM_APP_CTX = 0x10,
    PRES_CTX_TYPE_RQ = 0x20,
    PRES_CTX_TYPE_AC = 0x21,
    PDU_ASSO_ITEM_ABST_SYN = 0x30,
    PDU_ASSO_ITEM_XFER_SYN = 0x40,
    PDU_ASSO_ITEM_USER_INFO = 0x50,
    PDU_ASSO_ITEM_MAX_LEN = 0x51,
    PDU_ASSO_ITEM_IMPL_CLASS_UID = 0x52,
    PDU_ASSO_ITEM_ASYNC_OPS = 0x53,
    PDU_ASSO_ITEM_ROLE = 0x54,
    PDU_ASSO_ITEM_IMPL_VER_NAME = 0x55,
    PDU_ASSO_ITEM_EXT_NEG = 0x56
};

enum {
    PDU_AE_TITLE_LEN = 16,
    PDU_UID_LEN = 64,
    PDU_VER_NAME_LEN = 16,
    PDU_PRES_CTX_MAX = 128,   // presentation context slots of one PDU
    PDU_XFER_SYN_MAX = 32,    // transfer syntaxes kept per context
    PDU_ROLE_ITEM_MAX = 4095, // longest role-selection sub-item accepted
    PDU_EXT_NEG_INFO_MAX = 64, // longest service-class information of an extended negotiation sub-item
    PDU_EXT_NEG_MAX = 128     // extended negotiation sub-items kept per PDU
};

// Role bits of a presentation context or a role-selection sub-item.
enum { PDU_ROLE_SCP = 1, PDU_ROLE_SCU = 2 };

// What an association PDU carries besides its presentation contexts.
struct BRENIK3_API DcPduInfoAcRq {
    char calledAeTitle[PDU_AE_TITLE_LEN + 1] = {};
    char callingAeTitle[PDU_AE_TITLE_LEN + 1] = {};
    char appCtxName[PDU_UID_LEN + 1] = {};
    unsigned int maxPduLen = 0;  // the largest PDU the sender of this PDU receives
    char implClassUid[PDU_UID_LEN + 1] = {};
    char implVerName[PDU_VER_NAME_LEN + 1] = {};
};

// One presentation context: proposed (type 0x20) or answered (type 0x21).
struct BRENIK3_API DcPduPresCtxItem {
    unsigned int type = PRES_CTX_TYPE_RQ;
    unsigned int presCtxId = 0;
    DICT_UID abstractSyntax = UID_NONE;  // UID_NONE when unknown
    unsigned int result = 0;             // meaningful in an answer
    unsigned int role = 0;               // PDU_ROLE_* bits from role selection
    DICT_UID xferSyn[PDU_XFER_SYN_MAX + 1] = {};  // in order, ended by UID_NONE
};

// Extension: one SOP class extended negotiation sub-item (0x56): the SOP
// class UID and its service-class application information, byte for byte.
struct BRENIK3_API DcPduExtNeg {
    char sopClassUid[PDU_UID_LEN + 1] = {};
    unsigned int infoLen = 0;  // bytes used in info
    unsigned char info[PDU_EXT_NEG_INFO_MAX] = {};
};

// A-ASSOCIATE-RQ and A-ASSOCIATE-AC: framing and parsing of the record, the
// presentation-context items and the user information.
class BRENIK3_API DcPduAssoAcRq : public DcPdu {
public:
    explicit DcPduAssoAcRq(PDU_TYPE type);
    DcPduAssoAcRq(int sock, PDU_TYPE type);
    DcPduAssoAcRq(const DcPduAssoAcRq&) = delete;
    DcPduAssoAcRq& operator=(const DcPduAssoAcRq&) = delete;
    ~DcPduAssoAcRq() override;

    using DcPdu::setInfo;
    int getInfo(DcPduInfoAcRq& acRqInfo);
    int setInfo(DcPduInfoAcRq& acRqInfo);
    int presCtxItemAdd(DcPduPresCtxItem& item);
    // Copies the PDU_PRES_CTX_MAX slots out: a new item per occupied slot
    // (the caller deletes it), null for a free one.
    int getPresCtxItems(DcPduPresCtxItem** items);
    // Copies the role-selection table (PDU_PRES_CTX_MAX pairs) out.
    int getScpScuRoles(DICT_UID* sopClasses, unsigned int* roles);

    int read(PDU_BLOCK block);

    // Extension: whether read keeps the extended negotiation sub-items
    // (0x56); off by default, when they are skipped unread. When kept, a
    // malformed one (UID length beyond the item, an empty or too long UID,
    // more than PDU_EXT_NEG_INFO_MAX information bytes) fails the read with
    // ASSO_ERR_DATA; beyond PDU_EXT_NEG_MAX the rest are dropped.
    void keepExtNeg(bool keep) { extNegKept = keep; }
    // Extension: adds a sub-item, framed after the implementation version
    // name in the order added. ASSO_ERR_DATA for an empty UID or an
    // information length beyond PDU_EXT_NEG_INFO_MAX, ASSO_ERR_FULL past
    // PDU_EXT_NEG_MAX sub-items.
    int extNegAdd(const DcPduExtNeg& item);
    // Extension: the sub-items added, or kept by read, in their order.
    const std::vector<DcPduExtNeg>& getExtNegs() const { return extNegs; }

protected:
    int frameAsso(unsigned char* buf) override;

private:
    class Framer;

    int presCtxItemFrame(Framer& out, DcPduPresCtxItem& item);
    int parse(const unsigned char* body, unsigned int bodyLength);
    int varItemWalk(const unsigned char* body, unsigned int bodyLength, int& presCtxCount);
    int parseSubItem(const unsigned char* body, unsigned int pos, unsigned int end, unsigned int expectedType,
                     unsigned int maxLen, char* value);
    int parsePresCtxItem(const unsigned char* body, unsigned int pos, unsigned int end, DcPduPresCtxItem& item);
    int parseUserInfo(const unsigned char* body, unsigned int pos);
    int parseScpScuRole(const unsigned char* body, unsigned int pos);
    int parseExtNeg(const unsigned char* body, unsigned int pos);

    DcPduInfoAcRq* acRqInfo;
    DcPduPresCtxItem* presCtxItems[PDU_PRES_CTX_MAX];
    DICT_UID roleSopClass[PDU_PRES_CTX_MAX];
    unsigned int roleValue[PDU_PRES_CTX_MAX];
    bool extNegKept = false;
    std::vector<DcPduExtNeg> extNegs;
};

class BRENIK3_API DcPduAssoRq : public DcPduAssoAcRq {
public:
    DcPduAssoRq() : DcPduAssoAcRq(PDU_ASSO_RQ) {}
    explicit DcPduAssoRq(int sock) : DcPduAssoAcRq(sock, PDU_ASSO_RQ) {}
};

class BRENIK3_API DcPduAssoAc : public DcPduAssoAcRq {
public:
    DcPduAssoAc() : DcPduAssoAcRq(PDU_ASSO_AC) {}
    explicit DcPduAssoAc(int sock) : DcPduAssoAcRq(sock, PDU_ASSO_AC) {}
};

#endif
