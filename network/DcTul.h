#ifndef BRENIK3_NETWORK_DCTUL_H
#define BRENIK3_NETWORK_DCTUL_H

#include "dataset/DcElemList.h"
#include "network/DcPduAssoAcRq.h"
#include "network/DcPduAssoRj.h"
#include "network/DcPduDataTf.h"
#include "network/DcTsm.h"
#include "foundation/Export.h"
#include "network/DcTulDataSetSink.h"

// Status codes of the transport upper layer (module 0x42).
enum {
    TUL_ERR_NO_SOCKET = 0x4202,
    TUL_ERR_DATA = 0x4203,          // data error or limit
    TUL_ERR_NULL_ARG = 0x4204,
    TUL_ERR_NOT_REQUESTER = 0x4205,
    TUL_ERR_NOT_ACCEPTOR = 0x4206,
    TUL_ERR_CLOSE = 0x420B,         // the association must be closed
    // The pixel data of a message could not be written to its file (a full
    // disk, say): the message was read to its end and dropped, and the
    // association goes on, so the request can be answered with a failure.
    TUL_ERR_PIXEL_WRITE = 0x420C
};

// The role of a transport upper layer, as the bits of its state machine.
enum TUL_TYPE { TUL_ACCEPTOR = 1, TUL_REQUESTER = 2, TUL_BOTH = 3 };

enum {
    TUL_PRES_CTX_SLOTS = 128,
    TUL_PIX_HEADER_LIMIT = 0x200000  // the largest data set handed to the pixel callback
};

// Called when Pixel Data begins in a data set being received: header holds
// the elements before it; setting pixelDataHandle sends the pixel data
// value into that file instead of memory.
typedef int (*DcMsmPixRecvCB)(void* userData, DcElemList& header, int& pixelDataHandle, DICT_UID transferSyntax);

// Turns service requests into state-machine events, reads the next PDU and
// feeds it to the machine, and reassembles a DIMSE message from P-DATA-TF PDUs.
class BRENIK3_API DcTul : public DcTsm {
public:
    DcTul(TUL_TYPE type, int value);
    ~DcTul() override;

    int setArtimTimeout(int seconds);
    int registerPixRecvCB(void* userData, DcMsmPixRecvCB callback);
    // Extension: data sets that the sink takes (DcTulDataSetSink) bypass
    // reassembly and the pixel callback; null (the default) switches it off.
    // The sink stays owned by the caller.
    void setDataSetSink(DcTulDataSetSink* sink) { dataSetSink = sink; }
    void setState(TSM_STATE newState) { state = newState; }
    // Extension: association PDUs read keep their extended negotiation
    // sub-items (DcPduAssoAcRq::keepExtNeg); off by default.
    void keepExtNeg(bool keep) { extNegKept = keep; }

    int event00_connectScu(const char* host, int port);
    int event01_writeAssoRqPdu(DcPduAssoRq* pdu);
    int event04_connectScp();
    int event06_writeAssoAcPdu(DcPduAssoAc* pdu);
    int event07_writeAssoRjPdu(DcPduAssoRj* pdu);
    int event08_writeDataTfPdu(DcPduDataTf* pdu);
    int event10_writeRelRqPdu();
    int event13_writeRelRpPdu();
    int event14_writeAbortPdu();
    int event16_closeTrans();
    int event17_artimExpired();

    // Reads one PDU and runs it through the state machine; a P-DATA-TF is
    // read on to the end of its message. presCtxIds and xferSyns are the
    // association's TUL_PRES_CTX_SLOTS context IDs and accepted syntaxes.
    int readNextPdu(DcPdu** pdu, int* presCtxIds, DICT_UID* xferSyns, PDU_BLOCK block);

    static void artimExpiredCB(unsigned int timerId, unsigned int msg, unsigned long user, unsigned long,
                               unsigned long);

protected:
    // The limits of the conversation, for a PDU about to travel.
    void givePduLimits(DcPdu& pdu);

private:
    int readPduDataTf(DcPduDataTf* pdu, DICT_UID xferSyn, PDU_BLOCK block);
    int processPduDataTf(DcPduDataTf* target, DcPduDataTf* source, int& pixState, unsigned int& count,
                         DICT_UID xferSyn);
    int callPixRecvCB(DcPduDataTf* pdu, DICT_UID xferSyn);
    // Whether a message is received whole into memory: no pixel file, no
    // pixel callback. Its fragments are then read into one block.
    bool receivesInMemory() const { return tcpInfo.pixelDataHandle == -1 && pixRecvCB == nullptr; }
    // Waits for the next PDU while this machine's ARTIM timer runs, and
    // turns its expiry into the ARTIM event.
    int artimWait(PDU_BLOCK block);
    // Whether bytes of the peer wait unread on the conversation.
    bool waitingBytes();
    int pixelFragment(DcPduDataTf* target, DcBuf* buf, int& pixState, unsigned int& count,
                      const unsigned char* delimiterTag);
    int writePixels(const unsigned char* data, unsigned int len);

    int sinkFragments(DcPduDataTf* source);

    DcMsmPixRecvCB pixRecvCB;
    DcTulDataSetSink* dataSetSink = nullptr;
    bool extNegKept = false;
    void* pixRecvUserData;
    TUL_TYPE tulType;
    int tulValue;
    // Bytes of Pixel Data value still expected (defined length), or
    // 0xFFFFFFFF while its end is found by the sequence delimiter.
    unsigned int pixelRemaining;
    // Where the pixel data of the message being received begins in its file.
    long pixelFileStart;
    // A write to the pixel data file of the message being received failed:
    // the rest of its pixel data is read and dropped.
    bool pixelWriteFailed;
};

#endif
