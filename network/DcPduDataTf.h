#ifndef BRENIK3_NETWORK_DCPDUDATATF_H
#define BRENIK3_NETWORK_DCPDUDATATF_H

#include <cstdio>
#include <utility>

#include "dataset/DcElemList.h"
#include "foundation/DcBuf.h"
#include "network/DcPdu.h"
#include "foundation/Export.h"

// Status code of the data transfer PDU; a failed send gives PDU_ERR_CONNECTION.
enum { PDU_DATA_TF_ERR = 0x3C01 };

enum {
    PDV_HEADER_LEN = 12,          // PDU header, PDV item length, context ID, control header
    PDV_ITEM_EXTRA = 2,           // context ID and control header, counted in the item length
    PDV_FRAGMENT_RESERVE = 32,    // a full fragment holds the maximum PDU length minus this
    PDV_READ_STEP = 1024 * 1024,  // first allocation of a received fragment; grows as bytes arrive
    PDV_FRAME_SPARE = 1024    // spare room behind a framed command or data set
};

// Bits of the message control header.
enum { PDV_MCH_COMMAND = 0x01, PDV_MCH_LAST = 0x02, PDV_MCH_LIMIT = 4 };

// Transfer information of a P-DATA-TF PDU.
struct BRENIK3_API DcPduInfoTf {
    unsigned char presCtxId = 0;
    unsigned char msgCtrlHdr = 0;
    DICT_UID xferSyn = UID_LITTLE_ENDIAN_IMPLICIT;
    unsigned int maxPduLen = 0;  // the peer's limit, from which fragment sizes follow
};

// The P-DATA-TF PDU. Sending: the element list goes out as a command PDV and
// a data set cut into fragments of the maximum PDU length, with disk-held
// values streamed from their files. Receiving: one PDU is read and the data
// of each PDV kept as a buffer of the fragment list, to be joined and parsed
// once the whole message has arrived.
class BRENIK3_API DcPduDataTf : public DcPdu {
public:
    DcPduDataTf();
    explicit DcPduDataTf(int sock);
    // Copies take the PDU's settings and transfer information; their
    // fragment and element lists start empty.
    DcPduDataTf(const DcPduDataTf& other);
    DcPduDataTf& operator=(const DcPduDataTf& other);
    ~DcPduDataTf() override;

    using DcPdu::setInfo;
    int setInfo(DcPduInfoTf& infoTf);
    int getInfo(DcPduInfoTf& infoTf);

    // Reads the rest of a P-DATA-TF PDU whose type bytes have been read; each
    // fragment is also appended to dumpHandle unless it is -1.
    int read(int dumpHandle, PDU_BLOCK block);
    // Opt-in for the transport: fragments read from now on are appended to
    // one growing memory block at the end of into's fragment list (this
    // PDU's own when into is null) instead of one buffer each, so that a
    // message received in memory is parsed without joining its fragments.
    // into must outlive the reads; nothing else may add to its list meanwhile
    // except through another PDU gathering into it.
    void gatherInto(DcPduDataTf* into);
    // Sends the element list: the command, then the data set.
    int write() override;

    // Run by write before sending: merging pending elements into the list,
    // then checking the command (added counts the elements it created).
    virtual int elemListMerge();
    virtual int elemListVerify(int& added);

    // The fragment list.
    DcBuf* add(DcBuf* buf);
    DcBuf* subtract(DcBuf* buf);
    DcPduDataTf& operator+(DcBuf* buf);
    DcPduDataTf& operator-(DcBuf* buf);
    DcBuf* firstBuf() { return fragments->first(); }
    DcBuf* lastBuf() { return fragments->last(); }
    int index(DcBuf* buf) { return fragments->index(buf); }
    void destroyAllNodes() { fragments->destroyAllNodes(); }
    // Total length of the fragments.
    int getBufSize(unsigned int& size);

    // The element list, as DcElemList offers it.
    template <typename... Args>
    int getElem(Args&&... args) { return elemList->getElem(std::forward<Args>(args)...); }
    template <typename... Args>
    int getValue(Args&&... args) { return elemList->getValue(std::forward<Args>(args)...); }
    int index(int tagConst) { return elemList->index(tagConst); }
    int index(unsigned int tag) { return elemList->index(tag); }
    int index(unsigned short group, unsigned short element) { return elemList->index(group, element); }
    int index(DcElem* elem) { return elemList->index(elem); }
    int moveElem(DcElemList* to) { return elemList->moveElem(to); }
    int moveElem(DcPduDataTf* to);
    int duplicate(DcElemList* to, unsigned int* tags = nullptr) { return elemList->duplicate(to, tags); }
    int resetValueCount() { return elemList->resetValueCount(); }
    void printNodeList(FILE* stream, PRINT_NODE mode = PRINT_NODE_FLAT) { elemList->printNodeList(stream, mode); }
    DcElemList* getElemList() { return elemList; }

    // Decodes the received fragments into the element list. A disk buffer
    // among them (pixel data that the transport streamed to a file) becomes
    // the Pixel Data value, left on disk.
    int parse(DICT_UID xfer);

protected:
    unsigned char presCtxId;
    unsigned char msgCtrlHdr;
    DICT_UID xferSyn;
    unsigned int maxPduLen;
    DcBufList* fragments;
    DcElemList* elemList;
    DcPduDataTf* gatherTarget = nullptr;  // where fragments go, see gatherInto
    DcBuf* gatherBlock = nullptr;         // the growing block in this PDU's list
    size_t gatherCapacity = 0;            // bytes allocated for gatherBlock

private:
    int verifyInfo(DcPduInfoTf& infoTf);
    int writeCmd(DcElemList* cmd);
    int writeDataBufList(DcElemList* data);
    int readFragment(unsigned int fragLen, int dumpHandle, PDU_BLOCK block);
    int readGathered(unsigned int fragLen, int dumpHandle, PDU_BLOCK block);
    bool growGatherBlock(size_t need);
    int parseRun(DcBuf* from, DcBuf* to, DICT_UID xfer, DICT_VR& pixelVr);
    int addPixelExtent(DcBuf* disk, DICT_UID xfer, DICT_VR pixelVr);
    void copyTransferInfo(const DcPduDataTf& other);
};

#endif
