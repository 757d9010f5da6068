// Writing a data set, with its group lengths and the Pixel Data VR.
#include "dataset/DcElemCodec.h"
#include "dataset/DcElemList.h"
#include "dictionary/DcDict.h"
#include "foundation/DcLog.h"

using namespace elemcodec;

namespace {

const unsigned int GROUP_LENGTH_ELEMENT_SIZE = 12;

bool isTransferSyntax(DICT_UID xfer)
{
    DICT_UID_TYPE type;
    if (Dict.getUidType(xfer, type) == 0 && type == UID_TRANSFER_SYNTAX)
        return true;
    char uid[DICT_UID_MAX + 1];
    Dict.getUid(xfer, uid);
    logReport(LOG_CHANNEL_1, "DcElemList::frame", "'%s' is not a Transfer Syntax UID", uid);
    return false;
}

}

void DcElemList::setPixelDataVr(DICT_UID xfer)
{
    DcElem* pixelData = find(TAG_PIXEL_DATA);
    if (pixelData == nullptr || xfer == UID_LITTLE_ENDIAN_IMPLICIT)
        return;
    // Read in lossless mode as OB or OW and unchanged: that VR stays.
    if (pixelData->isUnchanged() && (pixelData->vr == VR_OB || pixelData->vr == VR_OW))
        return;
    unsigned short bitsAllocated = 0;
    DcElem* bits = find(0x00280100);
    if (bits != nullptr)
        bits->getValue(bitsAllocated, ELEM_VAL_INDEX_KEEP);
    if (isCompressed(xfer))
        pixelData->setVr(VR_OB);
    else
        pixelData->setVr(bitsAllocated > 8 ? VR_OW : VR_OB);
}

// Writes every element through write(elem, position, len) and fills in the
// group lengths: a group that begins with its (gggg,0000) element gets that
// element rewritten in place with the group's size once the group ends.
template <typename Writer>
int DcElemList::frameElements(unsigned int& len, Writer write)
{
    len = 0;
    int status = 0;
    DcElem* lengthElem = nullptr;
    typename Writer::Position lengthPosition{};
    unsigned int groupStart = 0;
    auto closeGroup = [&]() {
        if (lengthElem == nullptr)
            return;
        unsigned int groupLen = len - groupStart;
        lengthElem->setGroupLength(groupLen > GROUP_LENGTH_ELEMENT_SIZE ? groupLen - GROUP_LENGTH_ELEMENT_SIZE : 0);
        write.rewrite(lengthElem, lengthPosition);
        lengthElem = nullptr;
    };
    for (DcElem* elem = first(); elem != nullptr; elem = elem->next()) {
        if (elem == first() || elem->group != elem->previous()->group) {
            closeGroup();
            groupStart = len;
            // The group length is written first as UL 0, in the 12 bytes it
            // keeps when it is rewritten with the group's size: whatever VR
            // it came with, it never needs more room than getBufSize counted.
            if (elem->element == 0 && !elem->isSequence()) {
                lengthElem = elem;
                lengthElem->setGroupLength(0);
                lengthPosition = write.position(len);
            }
        }
        unsigned int written = 0;
        status = write.frame(elem, len, written);
        len += written;
    }
    closeGroup();
    return status;
}

namespace {

// Writing into one memory block.
struct MemoryWriter {
    typedef unsigned char* Position;
    unsigned char* buf;
    DICT_UID xfer;

    Position position(unsigned int total) { return buf + total; }
    int frame(DcElem* elem, unsigned int total, unsigned int& written) { return elem->frame(buf + total, written, xfer); }
    void rewrite(DcElem* elem, Position at)
    {
        unsigned int written;
        elem->frame(at, written, xfer);
    }
};

// Writing into the last memory buffer of a list, which Pixel Data may leave
// behind for a new one.
struct ListWriter {
    struct Position {
        DcBuf* buf;
        unsigned int offset;
    };
    DcBufList* list;
    DICT_UID xfer;

    Position position(unsigned int) { return Position{list->last(), list->last() ? list->last()->getLen() : 0}; }
    int frame(DcElem* elem, unsigned int, unsigned int& written) { return elem->frame(list, written, xfer); }
    void rewrite(DcElem* elem, Position at)
    {
        unsigned int written;
        if (at.buf != nullptr && at.buf->getBuf() != nullptr)
            elem->frame(static_cast<unsigned char*>(at.buf->getBuf()) + at.offset, written, xfer);
    }
};

}

int DcElemList::frame(unsigned char* buf, unsigned int& len, DICT_UID xfer)
{
    len = 0;
    if (buf == nullptr) {
        logReport(LOG_CHANNEL_1, "DcElemList::frame", "Null argument passed");
        return ELEM_ERR_NULL_ARG;
    }
    if (!isTransferSyntax(xfer))
        return ELEM_ERR_XFER_SYNTAX;
    setPixelDataVr(xfer);
    return frameElements(len, MemoryWriter{buf, xfer});
}

int DcElemList::frame(DcBufList* list, unsigned int& len, DICT_UID xfer)
{
    len = 0;
    if (list == nullptr) {
        logReport(LOG_CHANNEL_1, "DcElemList::frame", "Null argument passed");
        return ELEM_ERR_NULL_ARG;
    }
    if (!isTransferSyntax(xfer))
        return ELEM_ERR_XFER_SYNTAX;
    setPixelDataVr(xfer);
    return frameElements(len, ListWriter{list, xfer});
}
