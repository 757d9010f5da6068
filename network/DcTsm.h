#ifndef BRENIK3_NETWORK_DCTSM_H
#define BRENIK3_NETWORK_DCTSM_H

#include <chrono>


#include "network/DcPdu.h"
#include "foundation/Export.h"

// Status codes of the state machine and its sockets (module 0x40).
enum {
    TSM_ERR_EVENT_RANGE = 0x4002,
    TSM_ERR_NO_CONVERSATION = 0x4004,
    TSM_ERR_NULL_ARG = 0x4006,
    TSM_ERR_PDU_TYPE = 0x4007,       // an action was handed a PDU of another type than it reads
    TSM_ERR_STARTUP = 0x4011,        // socket library start-up (kept for the interface)
    TSM_ERR_HOSTNAME = 0x4012,       // the local host name could not be read
    TSM_ERR_RESOLVE = 0x4013,        // a host name did not resolve
    TSM_ERR_CONNECT = 0x4014,
    TSM_ERR_SOCKET_CLIENT = 0x4015,
    TSM_ERR_ACCEPT = 0x4016,
    TSM_ERR_BIND = 0x4017,
    TSM_ERR_LISTEN = 0x4018,         // listen failed, or every listening slot is taken
    TSM_ERR_SOCKET_LISTEN = 0x4019,
    TSM_ERR_CONNECT_TIMEOUT = 0x401A,  // no incoming connection in time
    // Indications returned by the actions.
    TSM_ABORT_INDICATION = 0x4051,
    TSM_ABORT_INDICATION_SCU = 0x4052,
    TSM_DATA_INDICATION = 0x4053,
    TSM_RELEASE_CONFIRMATION = 0x4054,
    TSM_RELEASE_INDICATION = 0x4055,
    TSM_TRANSPORT_CLOSED = 0x4056
};

// The upper-layer protocol states Sta1 to Sta13.
enum TSM_STATE {
    TSM_STA1 = 1, TSM_STA2, TSM_STA3, TSM_STA4, TSM_STA5, TSM_STA6, TSM_STA7,
    TSM_STA8, TSM_STA9, TSM_STA10, TSM_STA11, TSM_STA12, TSM_STA13
};

// The upper-layer protocol events Evt1 to Evt19, numbered from 0.
enum TSM_EVENT {
    TSM_EVT1 = 0, TSM_EVT2, TSM_EVT3, TSM_EVT4, TSM_EVT5, TSM_EVT6, TSM_EVT7,
    TSM_EVT8, TSM_EVT9, TSM_EVT10, TSM_EVT11, TSM_EVT12, TSM_EVT13, TSM_EVT14,
    TSM_EVT15, TSM_EVT16, TSM_EVT17, TSM_EVT18, TSM_EVT19
};

// Role bits: an acceptor opens its listening port at construction.
enum TSM_ROLE { TSM_ROLE_ACCEPTOR = 1, TSM_ROLE_REQUESTER = 2, TSM_ROLE_BOTH = 3 };

// How an accept waits: up to connectTimeout seconds, or until a peer comes.
enum TSM_BLOCK { TSM_NO_BLOCK = 0, TSM_BLOCKING = 1 };

// Connection indicator: which side opened the conversation.
enum { TSM_CONN_NONE = 0, TSM_CONN_REQUESTER = 1, TSM_CONN_ACCEPTOR = 2 };

// The process-wide listening table: four slots shared by every acceptor.
enum { TSM_LISTEN_SLOTS = 4, TSM_LISTEN_BACKLOG = 5, TSM_HOST_NAME_LEN = 80 };
extern BRENIK3_API int DcScpSockListen[TSM_LISTEN_SLOTS];      // -1 marks a free slot
extern BRENIK3_API int DcScpPort[TSM_LISTEN_SLOTS];
extern BRENIK3_API int DcScpListenRefCount[TSM_LISTEN_SLOTS];

struct BRENIK3_API DcTsmTcpInfo {
    int tulValue;          // carried for the layers above, not interpreted here
    int port;              // listening port of an acceptor
    int sockConv;          // conversation socket, 0 when none
    int sockListen;        // listening socket, 0 when none
    int pixelDataHandle;   // -1 when none
    int readDumpHandle;    // -1 when none
};

// Time-outs in seconds.
struct BRENIK3_API DcTsmTimeoutInfo {
    DcTsmTimeoutInfo() : connectTimeout(15), readTimeout(45), writeTimeout(15) {}
    unsigned int connectTimeout;  // how long a non-blocking accept waits
    unsigned int readTimeout;     // socket receive time-out and PDU read wait
    unsigned int writeTimeout;    // socket send time-out
};

// The ARTIM timer callback (timer id, message, user word, two parameters).
// The user word carries the machine whose timer expired.
typedef void (*DcTsmArtimCB)(unsigned int, unsigned int, unsigned long, unsigned long, unsigned long);

// Argument of the A-ASSOCIATE request event: where to connect.
struct BRENIK3_API DcTsmConnectArg {
    const char* host;
    int port;
};

// Default ARTIM time-out in seconds.
enum { TSM_ARTIM_TIMEOUT = 30 };

// The upper-layer state machine of one association with its transport: the
// listening share of an acceptor, one TCP conversation, the time-outs.
// Construction, destruction and the ARTIM ownership are in DcTsm.cpp, the
// sockets in DcTsmTransport.cpp, the transition table and the remaining
// actions in the state-machine source.
class BRENIK3_API DcTsm {
public:
    DcTsm(TSM_ROLE role, int port, DcTsmArtimCB artimCB);
    DcTsm(const DcTsm&) = delete;
    DcTsm& operator=(const DcTsm&) = delete;
    virtual ~DcTsm();

    int setTimeoutInfo(DcTsmTimeoutInfo& timeoutInfo);
    int getTimeoutInfo(DcTsmTimeoutInfo& timeoutInfo);
    int getTcpInfo(DcTsmTcpInfo& info);
    int setTcpInfo(DcTsmTcpInfo info);

    TSM_STATE getState() { return state; }
    TSM_ROLE getRole() { return role; }
    // The result of opening the listening port at construction.
    int getStartupStatus() { return startupStatus; }
    // 0 none, 1 opened as requester, 2 opened as acceptor.
    int getConnSide() { return connSide; }
    // Extension: takes a connection that the caller accepted on the listening
    // socket itself (a server whose parent process only accepts and hands each
    // connection to a worker), as if this acceptor had accepted it; ARTIM then
    // guards the A-ASSOCIATE-RQ awaited on it. The machine must hold no
    // connection yet. Not used unless called.
    int adoptConnection(int sock);

protected:
    int stateMachine(TSM_EVENT event, void* arg);
    int readNextPduType(PDU_TYPE& type, PDU_BLOCK block);

    int sockConvOpenServer(TSM_BLOCK block);
    int sockConvOpenClient(const char* host, int port);
    void closeSockConv();
    int setTimeoutInfo();

    // State-machine actions; each takes the step's argument.
    int AA_1_writeAbortPduScu(void* arg);
    int AA_2_closeTransport(void* arg);
    int AA_3_abortScpScuIndication(void* arg);
    int AA_4_abortScpIndication(void* arg);
    int AA_5_artimStop(void* arg);
    int AA_6_ignorePdu(void* arg);
    int AA_7_writeAbortPdu(void* arg);
    int AA_8_writeAbortPduScp(void* arg);
    int AE_0_none(void* arg);
    int AE_1_connectScu(void* arg);
    int AE_2_writeAssoRqPdu(void* arg);
    int AE_3_readAssoAcPdu(void* arg);
    int AE_4_readAssoRjPdu(void* arg);
    int AE_5_connectScp(void* arg);
    int AE_8_writeAssoRjPdu(void* arg);
    int AR_1_writeRelRqPdu(void* arg);
    int AR_2_relIndication(void* arg);
    int AR_3_relConfirmation(void* arg);
    int AR_4_writeRelRpPdu(void* arg);
    int AR_5_artimStop(void* arg);
    int AR_6_dataIndication(void* arg);
    int AR_8_relIndication(void* arg);
    int AR_9_writeRelRpPdu(void* arg);
    int AR_10_relConfirmation(void* arg);
    int DT_2_readDataTfPdu(void* arg);

    // The one machine of the process whose ARTIM timer runs, or null.
    static DcTsm* _artimThis;

    // ARTIM as the layer above sees it: whether this machine owns the running
    // timer, and the milliseconds left until it expires (negative when no
    // timer of this machine runs, 0 when it is due).
    bool artimOwned();
    long artimRemaining();
    // Runs the timer callback for this machine: the expiry of its ARTIM timer.
    void artimExpire();
    // Accepts a conversation and starts ARTIM for the A-ASSOCIATE-RQ awaited on it.
    int sockConvAccept(TSM_BLOCK block);

    typedef int (DcTsm::*Action)(void*);
    enum { ACTION_COUNT = 29 };
    Action actionFunc[ACTION_COUNT];
    DcTsmArtimCB artimCB;
    TSM_STATE state;
    int startupStatus;
    TSM_ROLE role;

    // Transport.
    DcPdu* pdu;               // bare PDU that reads the next PDU type
    // The bind address, then the peer of each accept: a sockaddr_in held as
    // bytes, so that this header needs no socket headers.
    alignas(4) unsigned char sockAddr[16];
    int connSide;
    DcTsmTcpInfo tcpInfo;
    unsigned int maxPduLen;
    DcTsmTimeoutInfo timeoutInfo;
    unsigned int artimTimeout;  // seconds

    // The PDU whose body the last action read, null when it read none: a
    // PDU that the machine answered or ignored without reading it is not
    // handed on as if it had been read.
    DcPdu* lastPduRead;

private:
    void initializeActionFuncArray();
    void artimStart();
    void artimStop();
    // Stops the timer of this machine without touching the transport: the
    // PDU it guarded has arrived.
    void artimCancel();
    int sockListenOpen(int port);

    bool artimArmed;
    std::chrono::steady_clock::time_point artimDeadline;
};

// Reports a failed socket call: "winSock error %s" with the symbolic name of
// the error, or "0x%x" for one without a name.
BRENIK3_API void tsmReportSockError(const char* function, int error);

#endif
