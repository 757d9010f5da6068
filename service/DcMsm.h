#ifndef BRENIK3_SERVICE_DCMSM_H
#define BRENIK3_SERVICE_DCMSM_H

#include <cstdio>

#include "network/DcTul.h"
#include "service/DcMsmInfo.h"
#include "foundation/Export.h"

class DcMsg;
class DcCmdCEchoRq;

// Status codes of the message service (module 0x2C).
enum {
    MSM_ERR_CALLED_AE = 0x2C03,      // called AE title not accepted
    MSM_ERR_CALLING_AE = 0x2C04,     // calling AE title not accepted
    MSM_ERR_NULL_ARG = 0x2C08,
    MSM_ERR_NO_XFER_SYN = 0x2C0A,    // no transfer syntax in common, or no SOP list
    MSM_ERR_NO_PRES_CTX = 0x2C0B,    // no such context or abstract syntax in the association
    MSM_ERR_ABSTRACT_SYN = 0x2C0C,   // abstract syntax not in the acceptance table
    MSM_ERR_NOT_NEGOTIATED = 0x2C0D, // no transfer syntax negotiated for the context
    MSM_ERR_COMMAND_FIELD = 0x2C0E,  // a received command field that no message class matches
    MSM_ERR_PIXEL_HANDLE = 0x2C1F    // the pixel data handle could not be duplicated
};

// Outcomes of DcMsm::read.
enum {
    MSM_READ_ABORT = 0x2C51,
    MSM_READ_ACCEPTED = 0x2C52,
    MSM_READ_REJECTED = 0x2C53,
    MSM_READ_ASSO_RQ = 0x2C54,
    MSM_READ_MESSAGE = 0x2C55,
    MSM_READ_ECHO_ANSWERED = 0x2C56,
    MSM_READ_RELEASE_RP = 0x2C57,
    MSM_READ_RELEASE_RQ = 0x2C58,
    MSM_READ_NO_CONNECTION = 0x2C59,
    MSM_READ_TIMEOUT = 0x2C5A,
    MSM_READ_PROTOCOL_ERROR = 0x2C5B,
    MSM_READ_CONNECTION_LOST = 0x2C5C,
    MSM_READ_NO_CALLER = 0x2C5D,
    // A data set arrived whole, but its pixel data could not be written to
    // the pixel data file (a full disk, say); it was dropped and the
    // association goes on. Answer its request with a failure status, such
    // as 0xA700 (out of resources) for a C-STORE.
    MSM_READ_NOT_STORED = 0x2C5E
};

// Whether read blocks while waiting for a PDU, and for a connection.
enum MSM_BLOCK_READ { MSM_READ_NO_BLOCK = 0, MSM_READ_BLOCKING = 1 };
enum MSM_BLOCK_CONNECT { MSM_CONNECT_NO_BLOCK = 0, MSM_CONNECT_BLOCKING = 1 };

enum { MSM_ACCEPT_AE_TITLES = 64 };

// One association endpoint, as requester (SCU) or acceptor (SCP): set-up
// and negotiation, message exchange, release and abort.
class BRENIK3_API DcMsm : public DcTul {
public:
    DcMsm(const char* aeTitle, MSM_ROLE role, int port);
    DcMsm(const DcMsm&) = delete;
    DcMsm& operator=(const DcMsm&) = delete;
    ~DcMsm() override;

    int connect(DcMsmScpInfo& info);
    int connect(const char* host, DcMsmScuInfo& info);
    int getAssoInfo(DcMsmAssoInfo& info);
    void printAssoInfo(FILE* stream);
    const char* getAeTitle() { return aeTitle; }

    int read(DICT_UID* sopClass, DcMsg** msg, MSM_BLOCK_READ blockRead, MSM_BLOCK_CONNECT blockConnect);
    int write(DcMsg* msg);
    int write(unsigned char presCtxId, DcMsg* msg);
    int write(DICT_UID sopClass, DcMsg* msg);
    int releaseAssociation();
    int abortAssociation();
    int closeAssociation();

    int setPixelDataHandle(int fd);
    int getPixelDataHandle(int& fd);
    int setReadDumpHandle(int handle);
    int getReadDumpHandle(int& handle);
    // Replaces the connection socket; returns the previous one.
    int setStreamHandle(int socket);
    int getStreamHandle(int& socket);
    // Extension: the result, source and reason of the last A-ASSOCIATE-RJ
    // received (all 0 when none came), to say why connect was rejected.
    DcPduInfoRj getRejectInfo() { return lastReject; }
    // Extension: the extended negotiation sub-items the peer sent in the
    // association being set up or open: its A-ASSOCIATE-RQ for an SCP with
    // DcMsmScpInfo::extNegAnswer, its A-ASSOCIATE-AC for an SCU with
    // DcMsmScuInfo::extNegList. Empty otherwise.
    const std::vector<DcPduExtNeg>& getExtNegReceived() const { return extNegReceived; }

private:
    int setAeTitle(const char* title);
    int setAeTitleAccept(char** titles);
    int setSopXferAccept(DcMsmSopXferSyn* list);
    void resetAssoInfo();
    template <typename Info>
    int prepareConnect(Info& info, const char* calledAeTitle);
    template <typename Info>
    void applyConnectInfo(Info& info);
    void clearAcceptList();

    int checkExtNegList(const DcPduExtNeg* list);
    int scuAssoRq(DcMsmScuInfo& info);
    int scuAssoAcRsp(DcPduAssoAc* ac);
    int scpAssoRqRsp(DcPduAssoRq* rq);
    int scpAssoRqRspAc(DcPduAssoRq* rq);
    int scpAssoRqRspRj(int status);
    int acceptAssoInfo(DcPduInfoAcRq& info);
    int acceptAeTitle(DcPduInfoAcRq& info);
    int acceptSopXfer(DcMsmSopXferSyn& proposed, DICT_UID* accepted, PRES_CTX_AC_RESULT& result);
    void answerExtNeg(DcPduAssoRq& rq, DcPduAssoAc& ac);
    void peerAddress(char* text);

    int write(unsigned char presCtxId, DICT_UID xferSyn, DcMsg* msg);
    int makeMsg(DcMsg** msg, DcPdu* pdu);
    int processMsg(DICT_UID* sopClass, DcMsg* msg);
    int scpCEchoRsp(DcCmdCEchoRq* rq);

    char aeTitle[MSM_AE_TITLE_LEN + 1];
    // 0 accepts every request; otherwise the called AE title is checked, and
    // with bit value 1 the calling AE title against the accept list too.
    int aeTitleCheck;
    char* acceptAeTitles[MSM_ACCEPT_AE_TITLES];
    DcMsmSopXferSyn sopXferAccept[MSM_PRES_CTX_MAX];
    char appCtxName[MSM_UID_LEN + 1];
    char implClassUid[MSM_UID_LEN + 1];
    char implVerName[MSM_VER_NAME_LEN + 1];
    DcMsmAssoInfo assoInfo;
    DcPduInfoRj lastReject = {0, 0, 0};
    DcMsmExtNegCB extNegAnswer = nullptr;
    void* extNegUserData = nullptr;
    std::vector<DcPduExtNeg> extNegReceived;
};

#endif
