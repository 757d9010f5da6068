// Reading one P-DATA-TF PDU into the fragment list.
#include <algorithm>
#include <cstdint>
#include <cstdlib>

#include "foundation/ByteOrder.h"
#include "foundation/DcLog.h"
#include "network/DcPduDataTf.h"

namespace {

const unsigned int PDV_ITEM_HEADER_LEN = 6;  // item length, context ID, control header

}

// Each PDV must fit in what is left of the PDU, and the PDU length itself is
// only a claim of the peer: a fragment's memory is taken in steps as its bytes
// arrive (first at most PDV_READ_STEP, then doubling up to the PDV length),
// so a false length costs at most one step beyond what was really received.
int DcPduDataTf::read(int dumpHandle, PDU_BLOCK block)
{
    unsigned char lenBytes[4];
    unsigned int count = sizeof lenBytes;
    if (readBuf(lenBytes, count, block) != 0)
        return PDU_DATA_TF_ERR;
    uint64_t pduLen = byteorder::get32(lenBytes, true);
    uint64_t consumed = 0;
    unsigned char lastPresCtxId = presCtxId;
    unsigned char lastMsgCtrlHdr = msgCtrlHdr;
    while (consumed < pduLen) {
        if (pduLen - consumed < PDV_ITEM_HEADER_LEN) {
            logReport(LOG_CHANNEL_2, "DcPduDataTf::read", "pdv header exceeds pdu length 0x%x (%d)",
                      static_cast<unsigned int>(pduLen), static_cast<int>(pduLen));
            return PDU_DATA_TF_ERR;
        }
        unsigned char item[PDV_ITEM_HEADER_LEN];
        count = sizeof item;
        if (readBuf(item, count, block) != 0)
            return PDU_DATA_TF_ERR;
        consumed += PDV_ITEM_HEADER_LEN;
        uint32_t pdvLen = byteorder::get32(item, true);
        if (pdvLen > pduLen - consumed + PDV_ITEM_EXTRA) {
            logReport(LOG_CHANNEL_2, "DcPduDataTf::read", "pdv length 0x%x (%d) exceeds pdu length 0x%x (%d)", pdvLen,
                      static_cast<int>(pdvLen), static_cast<unsigned int>(pduLen), static_cast<int>(pduLen));
            return PDU_DATA_TF_ERR;
        }
        if (pdvLen < PDV_ITEM_EXTRA) {
            logReport(LOG_CHANNEL_2, "DcPduDataTf::read", "pdv length 0x%x (%d) is below the minimum of 2", pdvLen,
                      static_cast<int>(pdvLen));
            return PDU_DATA_TF_ERR;
        }
        int status = readFragment(pdvLen - PDV_ITEM_EXTRA, dumpHandle, block);
        if (status != 0)
            return status;
        consumed += pdvLen - PDV_ITEM_EXTRA;
        lastPresCtxId = item[4];
        lastMsgCtrlHdr = item[5];
    }
    presCtxId = lastPresCtxId;
    msgCtrlHdr = lastMsgCtrlHdr;
    length = static_cast<uint16_t>(PDU_HEADER_LEN + pduLen);
    return 0;
}

int DcPduDataTf::readFragment(unsigned int fragLen, int dumpHandle, PDU_BLOCK block)
{
    unsigned int capacity = std::min<unsigned int>(fragLen, PDV_READ_STEP);
    unsigned char* frag = static_cast<unsigned char*>(malloc(std::max(capacity, 1u)));
    if (frag == nullptr)
        return PDU_DATA_TF_ERR;
    unsigned int got = 0;
    while (got < fragLen) {
        if (got == capacity) {
            capacity = static_cast<unsigned int>(std::min<uint64_t>(uint64_t(capacity) * 2, fragLen));
            unsigned char* grown = static_cast<unsigned char*>(realloc(frag, capacity));
            if (grown == nullptr) {
                free(frag);
                return PDU_DATA_TF_ERR;
            }
            frag = grown;
        }
        unsigned int piece = capacity - got;
        int status = readBuf(frag + got, piece, block);
        got += piece;
        if (status != 0) {
            free(frag);
            return PDU_DATA_TF_ERR;
        }
    }
    if (dumpHandle != -1)
        pduDumpWrite(dumpHandle, frag, fragLen);
    fragments->add(new DcBuf(frag, fragLen, xferSyn));
    return 0;
}
