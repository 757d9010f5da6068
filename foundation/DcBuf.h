#ifndef BRENIK3_FOUNDATION_DCBUF_H
#define BRENIK3_FOUNDATION_DCBUF_H

#include "dictionary/DcDictTypes.h"
#include "foundation/DcList.h"
#include "foundation/Export.h"

enum BUF_TYPE { BUF_MEMORY = 0, BUF_DISK = 1, BUF_NONE = 2 };

// A piece of encoded data: a memory block, or len bytes at offset in an open
// file. The owning descriptor frees the block (free) and closes the handle.
class BRENIK3_API DcBuf : public DcNode {
public:
    DcBuf();
    DcBuf(void* buf, unsigned int len, DICT_UID xferSyn);
    DcBuf(int handle, int offset, unsigned int len, DICT_UID xferSyn);
    DcBuf(DcBuf& other);
    DcBuf& operator=(DcBuf& other);
    ~DcBuf() override;

    void move(DcBuf* source);

    void* getBuf() { return buf; }
    int getHandle() { return handle; }
    int getOffset() { return offset; }
    unsigned int getAllocLen() { return allocLen; }
    unsigned int getLen() { return len; }
    BUF_TYPE getType() { return type; }
    DICT_UID getXferSyn() { return xferSyn; }

    void setBuf(void* block);
    void setHandle(int fileHandle);
    void setOffset(int fileOffset) { offset = fileOffset; }
    void setLen(unsigned int length) { len = length; }
    void setType(BUF_TYPE bufType) { type = bufType; }
    void setXferSyn(DICT_UID syntax) { xferSyn = syntax; }

    DcBuf* next() { return static_cast<DcBuf*>(DcNode::next()); }
    DcBuf* previous() { return static_cast<DcBuf*>(DcNode::previous()); }

private:
    int copy;
    BUF_TYPE type;
    void* buf;
    int handle;
    int offset;
    unsigned int allocLen;
    unsigned int len;
    DICT_UID xferSyn;

    void release();
};

class BRENIK3_API DcBufList : public DcList {
public:
    DcBufList() : DcList(nullptr) {}
    DcBuf* add(DcBuf* node) { return static_cast<DcBuf*>(DcList::add(node)); }
    DcBuf* subtract(DcBuf* node) { return static_cast<DcBuf*>(DcList::subtract(node)); }
    DcBuf* first() { return static_cast<DcBuf*>(DcList::first()); }
    DcBuf* last() { return static_cast<DcBuf*>(DcList::last()); }
    DcBufList& operator+(DcBuf* node) { add(node); return *this; }
    DcBufList& operator-(DcBuf* node) { subtract(node); return *this; }
};

#endif
