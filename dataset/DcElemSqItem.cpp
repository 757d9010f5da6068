#include "dataset/DcElemSqItem.h"

#include "dataset/DcElemCodec.h"
#include "dataset/DcElemSq.h"
#include "foundation/ByteOrder.h"
#include "foundation/DcLog.h"

using namespace elemcodec;

DcElemSqItem::DcElemSqItem(void* buf, unsigned int len, DICT_UID xfer, DICT_VR vrArg)
    : DcList(DcElemList::compFunc), DcElem(0xFFFE, 0xE000, nullptr, 0, xfer, vrArg, 0), elemList(new DcElemList)
{
    parseVal(buf, len, xfer);
}

DcElemSqItem::DcElemSqItem(const DcElemSqItem& other) : DcList(other), DcElem(other), elemList(other.elemList) {}

DcElemSqItem& DcElemSqItem::operator=(const DcElemSqItem& other)
{
    if (this == &other)
        return *this;
    if (!isShallowCopy() && elemList != other.elemList)
        delete elemList;
    DcList::operator=(other);
    DcElem::operator=(other);
    elemList = other.elemList;
    return *this;
}

DcElemSqItem::~DcElemSqItem()
{
    if (!isShallowCopy())
        delete elemList;
}

DcElem* DcElemSqItem::add(DcElem* elem) { return elemList->add(elem); }
DcElem* DcElemSqItem::operator+(DcElem* elem) { return elemList->add(elem); }
DcElem* DcElemSqItem::subtract(DcElem* elem) { return elemList->subtract(elem); }
DcElem* DcElemSqItem::operator-(DcElem* elem) { return elemList->subtract(elem); }
DcElem* DcElemSqItem::first() { return elemList->first(); }
DcElem* DcElemSqItem::last() { return elemList->last(); }

DcElemSqItem* DcElemSqItem::next()
{
    DcElem* following = DcElem::next();
    return following != nullptr ? static_cast<DcElemSqItem*>(following) : nullptr;
}

DcElemSqItem* DcElemSqItem::previous()
{
    DcElem* before = DcElem::previous();
    return before != nullptr ? static_cast<DcElemSqItem*>(before) : nullptr;
}

int DcElemSqItem::getElem(int tagConst, DcElem** out) { return elemList->getElem(tagConst, out); }
int DcElemSqItem::getElem(unsigned int tag, DcElem** out) { return elemList->getElem(tag, out); }
int DcElemSqItem::getElem(unsigned short g, unsigned short e, DcElem** out) { return elemList->getElem(g, e, out); }
int DcElemSqItem::getElem(int tagConst, DcElemSq** out) { return elemList->getElem(tagConst, out); }
int DcElemSqItem::getElem(unsigned int tag, DcElemSq** out) { return elemList->getElem(tag, out); }
int DcElemSqItem::getElem(unsigned short g, unsigned short e, DcElemSq** out) { return elemList->getElem(g, e, out); }

#define DC_ELEMSQITEM_GET_VALUE(Type)                                                                 \
    int DcElemSqItem::getValue(int tagConst, Type& value, ELEM_VAL_INDEX index)                       \
    {                                                                                                 \
        return elemList->getValue(tagConst, value, index);                                            \
    }                                                                                                 \
    int DcElemSqItem::getValue(unsigned short g, unsigned short e, Type& value, ELEM_VAL_INDEX index)  \
    {                                                                                                 \
        return elemList->getValue(g, e, value, index);                                                \
    }

DC_ELEMSQITEM_GET_VALUE(DcElemValueAS)
DC_ELEMSQITEM_GET_VALUE(DcElemValueAT)
DC_ELEMSQITEM_GET_VALUE(DcElemValueDA)
DC_ELEMSQITEM_GET_VALUE(DcElemValueDT)
DC_ELEMSQITEM_GET_VALUE(DcElemValuePN)
DC_ELEMSQITEM_GET_VALUE(DcElemValueTM)
DC_ELEMSQITEM_GET_VALUE(DICT_UID)
DC_ELEMSQITEM_GET_VALUE(short)
DC_ELEMSQITEM_GET_VALUE(unsigned short)
DC_ELEMSQITEM_GET_VALUE(int)
DC_ELEMSQITEM_GET_VALUE(unsigned int)
DC_ELEMSQITEM_GET_VALUE(float)
DC_ELEMSQITEM_GET_VALUE(double)
DC_ELEMSQITEM_GET_VALUE(DcBuf)

#undef DC_ELEMSQITEM_GET_VALUE

int DcElemSqItem::getValue(int tagConst, char* buf, int len, ELEM_VAL_INDEX index)
{
    return elemList->getValue(tagConst, buf, len, index);
}

int DcElemSqItem::getValue(unsigned short g, unsigned short e, char* buf, int len, ELEM_VAL_INDEX index)
{
    return elemList->getValue(g, e, buf, len, index);
}

int DcElemSqItem::index(int tagConst) { return elemList->index(tagConst); }
int DcElemSqItem::index(unsigned int tag) { return elemList->index(tag); }
int DcElemSqItem::index(unsigned short g, unsigned short e) { return elemList->index(g, e); }

int DcElemSqItem::parseVal(void* buf, unsigned int len, DICT_UID xfer)
{
    if (buf == nullptr || len == 0)
        return ELEM_SQ_ITEM_ERR_NULL_BUF;
    unsigned int left = len;
    return elemList->parse(buf, left, xfer);
}

int DcElemSqItem::frame(unsigned char* buf, unsigned int& len, DICT_UID xfer)
{
    len = 0;
    if (buf == nullptr) {
        logReport(LOG_CHANNEL_1, "DcElemSqItem::frame", "Null argument passed");
        return ELEM_SQ_ITEM_ERR_NULL_BUF;
    }
    bool big;
    if (!bigEndian(xfer, big))
        return ELEM_ERR_XFER_SYNTAX;
    byteorder::putTag(buf, TAG_ITEM, big);
    byteorder::put32(buf + 4, UNDEFINED_LENGTH, big);
    unsigned int written = 0;
    int status = elemList->frame(buf + 8, written, xfer);
    len = 8 + written;
    if (hasUndefinedLength()) {
        // Read with an undefined length in lossless mode: written the same way.
        byteorder::putTag(buf + len, TAG_ITEM_DELIMITATION, big);
        byteorder::put32(buf + len + 4, 0, big);
        len += 8;
    } else {
        byteorder::put32(buf + 4, written, big);
    }
    return status;
}

int DcElemSqItem::frame(DcBufList* list, unsigned int& len, DICT_UID xfer)
{
    return DcElem::frame(list, len, xfer);
}

int DcElemSqItem::getBufSize(unsigned int& size, int*)
{
    elemList->getBufSize(size);
    size += hasUndefinedLength() ? 24 : 16;
    return 0;
}

int DcElemSqItem::getBufSize(unsigned int& size, int)
{
    return getBufSize(size, nullptr);
}

int DcElemSqItem::resetValueCount()
{
    DcElem::resetValueCount();
    return elemList->resetValueCount();
}

void DcElemSqItem::printNodeList(FILE* stream)
{
    if (stream != nullptr)
        elemList->printNodeList(stream);
}
