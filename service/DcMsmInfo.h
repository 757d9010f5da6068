#ifndef BRENIK3_SERVICE_DCMSMINFO_H
#define BRENIK3_SERVICE_DCMSMINFO_H

#include <cstdio>
#include <cstring>

#include "dictionary/DcDictTypes.h"
#include "network/DcPduAssoAcRq.h"
#include "network/DcTsm.h"
#include "foundation/Export.h"

// Role bits of a DcMsm, or the role proposed for one SOP class.
enum MSM_ROLE { MSM_ROLE_NONE = 0, MSM_ROLE_SCP = 1, MSM_ROLE_SCU = 2, MSM_ROLE_BOTH = 3 };

// Result of one presentation context. A peer may answer with any byte, so
// the type holds every int, not only the values named here.
enum PRES_CTX_AC_RESULT : int {
    PRES_CTX_ACCEPTANCE = 0,
    PRES_CTX_USER_REJECTION = 1,
    PRES_CTX_NO_REASON = 2,
    PRES_CTX_ABSTRACT_SYNTAX_NOT_SUPPORTED = 3,
    PRES_CTX_XFER_SYNTAXES_NOT_SUPPORTED = 4,
    PRES_CTX_UNKNOWN = 5
};

enum {
    MSM_XFER_SYN_MAX = 32,    // transfer syntaxes of one SOP class entry
    MSM_PRES_CTX_MAX = 128,   // presentation contexts of one association
    MSM_AE_TITLE_LEN = 16,
    MSM_UID_LEN = 64,
    MSM_VER_NAME_LEN = 16,
    MSM_IP_ADDRESS_LEN = 16,
    MSM_HOST_NAME_LEN = 24,
    MSM_MIN_PDU_LEN = 4096    // a smaller maximum PDU length is ignored
};

// One SOP class with its transfer syntaxes in order of preference.
struct BRENIK3_API DcMsmSopXferSyn {
    DcMsmSopXferSyn();
    // Implicit VR Little Endian unless xferSyn (ended by 0) names others.
    DcMsmSopXferSyn(DICT_UID sopClass, DICT_UID* xferSyn, MSM_ROLE role);

    DICT_UID sopClass;   // 0 ends a list of entries
    MSM_ROLE role;
    DICT_UID xferSyn[MSM_XFER_SYN_MAX];  // the first 0 ends the list
    unsigned int reserved;
};

// Extension: answers the extended negotiation sub-item that a caller sent
// for a SOP class whose presentation context was accepted. answer comes
// with asked's SOP class UID and no information; fill its information and
// return true to send it in the A-ASSOCIATE-AC, false to send none.
typedef bool (*DcMsmExtNegCB)(void* userData, const DcPduExtNeg& asked, DcPduExtNeg& answer);

// Parameters of connect as SCP.
struct BRENIK3_API DcMsmScpInfo {
    DcMsmScpInfo();

    char** acceptAeTitles;          // calling AE titles to accept, ended by null
    DICT_UID* sopList;              // each accepted with Implicit VR Little Endian, ended by 0
    DcMsmSopXferSyn* sopXferList;   // ended by an entry with sopClass 0
    char appCtxName[MSM_UID_LEN + 1];
    char implClassUid[MSM_UID_LEN + 1];
    char implVerName[MSM_VER_NAME_LEN + 1];
    unsigned int maxPduLen;
    DcTsmTimeoutInfo timeouts;
    // Extension: with a callback, the extended negotiation sub-items of the
    // request are read (a malformed one refuses the request as malformed),
    // kept for DcMsm::getExtNegReceived and answered through it. Null (the
    // default): they are skipped and none is answered.
    DcMsmExtNegCB extNegAnswer;
    void* extNegUserData;  // handed to extNegAnswer
};

// Parameters of connect as SCU.
struct BRENIK3_API DcMsmScuInfo {
    DcMsmScuInfo();

    char calledAeTitle[MSM_AE_TITLE_LEN + 1];
    DICT_UID* sopList;
    DcMsmSopXferSyn* sopXferList;
    char appCtxName[MSM_UID_LEN + 1];
    char implClassUid[MSM_UID_LEN + 1];
    char implVerName[MSM_VER_NAME_LEN + 1];
    unsigned int maxPduLen;
    DcTsmTimeoutInfo timeouts;
    // Extension: extended negotiation sub-items to send with the request,
    // ended by an entry with an empty SOP class UID; the answers are read
    // and kept for DcMsm::getExtNegReceived. Null (the default): none sent,
    // answers skipped. A list that cannot be framed (see
    // DcPduAssoAcRq::extNegAdd) fails connect with its status before any
    // connection is made.
    const DcPduExtNeg* extNegList;
};

// What an association negotiated.
struct BRENIK3_API DcMsmAssoInfo {
    DcMsmAssoInfo();
    void printInfo(FILE* stream);

    int tulValue;
    char callingAeTitle[MSM_AE_TITLE_LEN + 1];
    char calledAeTitle[MSM_AE_TITLE_LEN + 1];
    char ipAddress[MSM_IP_ADDRESS_LEN + 1];
    char hostName[MSM_HOST_NAME_LEN + 1];
    int port;
    char appCtxName[MSM_UID_LEN + 1];
    char implClassUid[MSM_UID_LEN + 1];
    char implVerName[MSM_VER_NAME_LEN + 1];
    int assoNum;
    unsigned int maxPduLen;
    int presCtxId[MSM_PRES_CTX_MAX];  // 0 marks an unused slot
    DICT_UID sopClass[MSM_PRES_CTX_MAX];
    DICT_UID xferSyn[MSM_PRES_CTX_MAX];  // 0 unless accepted
    PRES_CTX_AC_RESULT result[MSM_PRES_CTX_MAX];
    MSM_ROLE role[MSM_PRES_CTX_MAX];
};

#endif
