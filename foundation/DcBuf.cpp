#include "foundation/DcBuf.h"

#include <cstdlib>
#include <unistd.h>

DcBuf::DcBuf()
    : copy(0), type(BUF_NONE), buf(nullptr), handle(-1), offset(0), allocLen(0), len(0), xferSyn(UID_NONE) {}

DcBuf::DcBuf(void* block, unsigned int length, DICT_UID syntax)
    : copy(0), type(BUF_MEMORY), buf(block), handle(-1), offset(0), allocLen(length), len(length),
      xferSyn(syntax) {}

DcBuf::DcBuf(int fileHandle, int fileOffset, unsigned int length, DICT_UID syntax)
    : copy(0), type(BUF_DISK), buf(nullptr), handle(fileHandle), offset(fileOffset), allocLen(length),
      len(length), xferSyn(syntax) {}

DcBuf::DcBuf(DcBuf& other)
    : DcNode(other.getNodeInfo()), copy(1), type(other.type), buf(other.buf), handle(other.handle),
      offset(other.offset), allocLen(other.allocLen), len(other.len), xferSyn(other.xferSyn) {}

DcBuf& DcBuf::operator=(DcBuf& other)
{
    if (this == &other)
        return *this;
    copy = 1;
    type = other.type;
    buf = other.buf;
    handle = other.handle;
    offset = other.offset;
    allocLen = other.allocLen;
    len = other.len;
    xferSyn = other.xferSyn;
    return *this;
}

DcBuf::~DcBuf()
{
    release();
}

void DcBuf::release()
{
    if (copy != 0)
        return;
    free(buf);
    if (handle != -1)
        close(handle);
    buf = nullptr;
    handle = -1;
}

void DcBuf::move(DcBuf* source)
{
    if (source == nullptr || source == this)
        return;
    copy = 0;
    type = source->type;
    buf = source->buf;
    handle = source->handle;
    offset = source->offset;
    allocLen = source->allocLen;
    len = source->len;
    xferSyn = source->xferSyn;
    source->type = BUF_NONE;
    source->buf = nullptr;
    source->handle = -1;
    source->offset = 0;
    source->len = 0;
    source->xferSyn = UID_NONE;
}

void DcBuf::setBuf(void* block)
{
    if (copy == 0 && buf != block)
        free(buf);
    buf = block;
}

void DcBuf::setHandle(int fileHandle)
{
    if (copy == 0 && handle != -1 && handle != fileHandle)
        close(handle);
    handle = fileHandle;
}
