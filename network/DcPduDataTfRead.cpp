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

void DcPduDataTf::gatherInto(DcPduDataTf* into)
{
    gatherTarget = into != nullptr ? into : this;
}

int DcPduDataTf::readFragment(unsigned int fragLen, int dumpHandle, PDU_BLOCK block)
{
    if (gatherTarget != nullptr)
        return readGathered(fragLen, dumpHandle, block);
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

// The block grows only when full, to twice its size or to hold the next
// piece read (at most PDV_READ_STEP), so whatever lengths the peer claims,
// its capacity stays within twice what was received plus one step.
bool DcPduDataTf::growGatherBlock(size_t need)
{
    size_t used = gatherBlock != nullptr ? gatherBlock->getLen() : 0;
    if (used + need > UINT32_MAX)
        return false;
    size_t capacity = std::min<size_t>(std::max(gatherCapacity * 2, used + need), UINT32_MAX);
    void* old = gatherBlock != nullptr ? gatherBlock->getBuf() : nullptr;
    void* grown = realloc(old, capacity);
    if (grown == nullptr)
        return false;
    // The buffer takes the moved block without freeing the old address.
    DcBuf moved(grown, static_cast<unsigned int>(used), xferSyn);
    if (gatherBlock == nullptr)
        gatherBlock = fragments->add(new DcBuf);
    gatherBlock->move(&moved);
    gatherCapacity = capacity;
    return true;
}

int DcPduDataTf::readGathered(unsigned int fragLen, int dumpHandle, PDU_BLOCK block)
{
    DcPduDataTf* into = gatherTarget;
    if (fragLen == 0)
        return 0;
    if (into->gatherBlock != nullptr && into->fragments->last() != into->gatherBlock) {
        into->gatherBlock = nullptr;
        into->gatherCapacity = 0;
    }
    if (into->gatherBlock == nullptr && !into->growGatherBlock(std::min<unsigned int>(fragLen, PDV_READ_STEP)))
        return PDU_DATA_TF_ERR;
    size_t start = into->gatherBlock->getLen();
    unsigned int got = 0;
    while (got < fragLen) {
        size_t used = start + got;
        bool room = used < into->gatherCapacity ||
                    into->growGatherBlock(std::min<unsigned int>(fragLen - got, PDV_READ_STEP));
        unsigned int piece = 0;
        int status = PDU_DATA_TF_ERR;
        if (room) {
            unsigned char* data = static_cast<unsigned char*>(into->gatherBlock->getBuf());
            piece = static_cast<unsigned int>(std::min<size_t>(into->gatherCapacity - used, fragLen - got));
            status = readBuf(data + used, piece, block);
        }
        if (status != 0) {
            // As unread: a fragment cut short is not kept.
            into->gatherBlock->setLen(static_cast<unsigned int>(start));
            return PDU_DATA_TF_ERR;
        }
        got += piece;
        into->gatherBlock->setLen(static_cast<unsigned int>(start + got));
    }
    if (dumpHandle != -1)
        pduDumpWrite(dumpHandle, static_cast<unsigned char*>(into->gatherBlock->getBuf()) + start, fragLen);
    return 0;
}
