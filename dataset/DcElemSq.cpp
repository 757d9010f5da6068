#include "dataset/DcElemSq.h"

#include "dataset/DcElemCodec.h"
#include "dataset/utilLocate.h"
#include "dictionary/DcDict.h"
#include "foundation/ByteOrder.h"
#include "foundation/DcLog.h"

using namespace elemcodec;

namespace {

DcElemSqItem* itemOf(DcNode* node)
{
    return node != nullptr ? static_cast<DcElemSqItem*>(static_cast<DcElem*>(node)) : nullptr;
}

void checkSequenceTag(unsigned int tag)
{
    DICT_VR dictVr = VR_UNKNOWN;
    int tagConst;
    if (Dict.getTagDef(tag, tagConst) == 0)
        Dict.getVrDef(tagConst, dictVr);
    if (dictVr != VR_SQ)
        logReport(LOG_CHANNEL_1, "DcElemSq::DcElemSq", "Element 0x%08lx is not of type SQ",
                  static_cast<unsigned long>(tag));
}

}

DcElemSq::DcElemSq(int tagConst, void* buf, unsigned int len, DICT_UID xfer, DICT_VR vrArg)
    : DcList(nullptr), DcElem(tagConst, nullptr, 0, xfer, vrArg, 1)
{
    checkSequenceTag(dictTag());
    parseVal(buf, len, xfer);
}

DcElemSq::DcElemSq(unsigned short g, unsigned short e, void* buf, unsigned int len, DICT_UID xfer, DICT_VR vrArg)
    : DcList(nullptr), DcElem(g, e, nullptr, 0, xfer, vrArg, 1)
{
    checkSequenceTag(dictTag());
    parseVal(buf, len, xfer);
}

DcElemSq::DcElemSq(AsReadTag, unsigned int tag, void* buf, unsigned int len, DICT_UID xfer)
    : DcList(nullptr), DcElem(AsReadTag{}, tag, VR_SQ)
{
    parseVal(buf, len, xfer);
}

DcElemSq::~DcElemSq()
{
    destroyAllNodes();
}

void DcElemSq::appendItem(DcElemSqItem* item)
{
    DcList::add(static_cast<DcElem*>(item));
}

DcElemSqItem* DcElemSq::add(DcElemSqItem* item)
{
    if (item == nullptr)
        return nullptr;
    unsigned int members[DICT_SQ_MEMBER_LIMIT];
    int count = 0;
    if (Dict.getSqTagList(dictTag(), members, count) != 0) {
        delete item;
        return nullptr;
    }
    appendItem(item);
    return item;
}

DcElemSqItem* DcElemSq::operator+(DcElemSqItem* item)
{
    return add(item);
}

DcElemSqItem* DcElemSq::subtract(DcElemSqItem* item)
{
    if (item == nullptr)
        return nullptr;
    return itemOf(DcList::subtract(static_cast<DcElem*>(item)));
}

DcElemSqItem* DcElemSq::operator-(DcElemSqItem* item)
{
    return subtract(item);
}

DcElemSqItem* DcElemSq::first()
{
    return itemOf(DcList::first());
}

DcElemSqItem* DcElemSq::last()
{
    return itemOf(DcList::last());
}

int DcElemSq::parseVal(void* buf, unsigned int len, DICT_UID xfer)
{
    if (buf == nullptr || len == 0)
        return ELEM_ERR_NULL_ARG;
    if (len == UNDEFINED_LENGTH) {
        logReport(LOG_CHANNEL_1, "DcElemSq::parseVal", "Element (%04x,%04x) - Data error, undefined length encountered",
                  group, element);
        return ELEM_ERR_BAD_VALUE;
    }
    bool big;
    if (!bigEndian(xfer, big))
        return ELEM_ERR_XFER_SYNTAX;
    unsigned char* p = static_cast<unsigned char*>(buf);
    unsigned int pos = 0;
    while (len - pos >= 8) {
        if (byteorder::getTag(p + pos, big) != TAG_ITEM) {
            logReport(LOG_CHANNEL_1, "DcElemSq::parseVal",
                      "Element (%04x,%04x) - Data error, did not find the expected sequence item tag", group, element);
            return ELEM_ERR_BAD_VALUE;
        }
        unsigned int itemLen = 0;
        int extra = 0;
        int status = utilGetSqItemValLen(p + pos + 4, len - pos - 4, xfer, itemLen, extra);
        if (status != 0) {
            logReport(LOG_CHANNEL_1, "DcElemSq::parseVal", "SQ item length invalid for element (%04x,%04x)", group,
                      element);
            return status;
        }
        if (itemLen > len - pos - 8) {
            logReport(LOG_CHANNEL_1, "DcElemSq::parseVal", "Item length %d(0x%x) exceeds buffer length %d(0x%x)",
                      static_cast<int>(itemLen), itemLen, static_cast<int>(len - pos - 8), len - pos - 8);
            return ELEM_ERR_BAD_VALUE;
        }
        DcElemSqItem* item = new DcElemSqItem(p + pos + 8, itemLen, xfer, VR_IM);
        if (losslessParsing() == 1)
            item->keepAsRead(nullptr, 0, xfer, byteorder::get32(p + pos + 4, big) == UNDEFINED_LENGTH);
        appendItem(item);
        pos += 8 + itemLen;
        if (len - pos >= 8 && byteorder::getTag(p + pos, big) == TAG_ITEM_DELIMITATION &&
            byteorder::get32(p + pos + 4, big) == 0)
            pos += 8;
    }
    return 0;
}

int DcElemSq::frame(unsigned char* buf, unsigned int& len, DICT_UID xfer)
{
    len = 0;
    if (buf == nullptr) {
        logReport(LOG_CHANNEL_1, "DcElemSq::frame", "Null argument passed");
        return ELEM_ERR_NULL_ARG;
    }
    if (effectiveVr() != VR_SQ) {
        logReport(LOG_CHANNEL_1, "DcElemSq::frame", "Element (%04x,%04x) is not a sequence", group, element);
        return ELEM_ERR_BAD_VR;
    }
    bool big;
    if (!bigEndian(xfer, big))
        return ELEM_ERR_XFER_SYNTAX;
    unsigned int n = 0, k = 0;
    frameTag(buf, k, xfer);
    n += k;
    frameVr(buf + n, k, xfer, VR_SQ);
    n += k;
    unsigned char* lengthField = buf + n;
    frameValueLen(lengthField, k, xfer, VR_SQ, UNDEFINED_LENGTH);
    n += k;
    unsigned int header = n;
    for (DcElemSqItem* item = first(); item != nullptr; item = item->next()) {
        unsigned int written = 0;
        int status = item->frame(buf + n, written, xfer);
        n += written;
        if (status != 0) {
            len = n;
            return status;
        }
    }
    if (hasUndefinedLength()) {
        // Read with an undefined length in lossless mode: written the same way.
        byteorder::putTag(buf + n, TAG_SEQUENCE_DELIMITATION, big);
        byteorder::put32(buf + n + 4, 0, big);
        n += 8;
    } else {
        byteorder::put32(lengthField, n - header, big);
    }
    len = n;
    return 0;
}

int DcElemSq::frame(DcBufList* list, unsigned int& len, DICT_UID xfer)
{
    return DcElem::frame(list, len, xfer);
}

int DcElemSq::getBufSize(unsigned int& size, int*)
{
    size = hasUndefinedLength() ? 28 : 20;
    for (DcElemSqItem* item = first(); item != nullptr; item = item->next()) {
        unsigned int itemSize = 0;
        item->getBufSize(itemSize, nullptr);
        size += itemSize;
    }
    return 0;
}

int DcElemSq::getBufSize(unsigned int& size, int)
{
    return getBufSize(size, nullptr);
}

int DcElemSq::resetValueCount()
{
    DcElem::resetValueCount();
    for (DcElemSqItem* item = first(); item != nullptr; item = item->next())
        item->resetValueCount();
    return 0;
}

void DcElemSq::printNodeList(FILE* stream)
{
    if (stream == nullptr)
        return;
    char desc[DICT_NAME_MAX + 1] = "Unknown";
    int tagConst;
    if (Dict.getTagDef(dictTag(), tagConst) == 0)
        Dict.getDesc(tagConst, desc);
    fprintf(stream, "   *** SQ (%04x,%04x)  %s begin ***\n", group, element, desc);
    for (DcElemSqItem* item = first(); item != nullptr; item = item->next()) {
        fprintf(stream, "     * SQ item (%04x,%04x) begin *\n", group, element);
        item->getElemList()->printNodeList(stream);
        fprintf(stream, "     * SQ item (%04x,%04x) end *\n", group, element);
    }
    fprintf(stream, "   *** SQ (%04x,%04x)  %s end ***\n", group, element, desc);
    fflush(stream);
}
