#include "common/DataSetPrinter.h"

#include <unistd.h>

#include <Brenik3.h>

#include "common/Tags.h"

namespace b3tool {

namespace {

const int TEXT_VALUE_MAX = 65536;
const unsigned int RAW_BYTES_SHOWN = 12;
// Names are padded to line the values up; deeper levels give up their indent.
const int NAME_WIDTH = 36;
const int NAME_WIDTH_MIN = 8;

// Pixel data of an encapsulated syntax: its value is a run of items.
bool encapsulated(DICT_UID xfer)
{
    return xfer != UID_LITTLE_ENDIAN_IMPLICIT && xfer != UID_LITTLE_ENDIAN_EXPLICIT &&
           xfer != UID_BIG_ENDIAN_EXPLICIT && static_cast<int>(xfer) != UID_XFER_DEFLATED_EXPLICIT_VR_LITTLE_ENDIAN;
}

// Reads len bytes at pos of a raw buffer, in memory or on disk.
bool readAt(DcBuf& buf, unsigned long long pos, unsigned char* out, unsigned int len)
{
    if (pos + len > buf.getLen())
        return false;
    if (buf.getType() == BUF_MEMORY) {
        if (buf.getBuf() == nullptr)
            return false;
        memcpy(out, static_cast<const unsigned char*>(buf.getBuf()) + pos, len);
        return true;
    }
    return pread(buf.getHandle(), out, len, static_cast<off_t>(buf.getOffset() + pos)) == static_cast<ssize_t>(len);
}

std::string rawText(DcElem& elem)
{
    DcBufList* bufs = elem.getBufList();
    unsigned long total = 0;
    std::string head;
    for (DcBuf* buf = bufs ? bufs->first() : nullptr; buf != nullptr; buf = buf->next()) {
        total += buf->getLen();
        unsigned char bytes[RAW_BYTES_SHOWN];
        unsigned int wanted = RAW_BYTES_SHOWN - static_cast<unsigned int>(head.size() / 3);
        if (wanted > buf->getLen())
            wanted = buf->getLen();
        if (wanted == 0 || !readAt(*buf, 0, bytes, wanted))
            continue;
        for (unsigned int i = 0; i < wanted; i++) {
            char hex[4];
            snprintf(hex, sizeof hex, "%02x ", bytes[i]);
            head += hex;
        }
    }
    char size[48];
    snprintf(size, sizeof size, "%lu bytes", total);
    if (head.empty())
        return size;
    head.pop_back();
    if (total > RAW_BYTES_SHOWN)
        head += " ...";
    return std::string(size) + ": " + head;
}

}

void DataSetPrinter::printFragments(DcElem& elem, int indent)
{
    DcBufList* bufs = elem.getBufList();
    DcBuf* buf = bufs ? bufs->first() : nullptr;
    if (buf == nullptr || !encapsulated(buf->getXferSyn()))
        return;
    unsigned long long pos = 0;
    unsigned char header[8];
    for (int number = 0; readAt(*buf, pos, header, 8); number++) {
        unsigned int tag = (header[1] << 24) | (header[0] << 16) | (header[3] << 8) | header[2];
        unsigned int len = header[4] | (header[5] << 8) | (header[6] << 16) | (static_cast<unsigned int>(header[7]) << 24);
        if (tag != 0xFFFEE000) {
            fprintf(out, "%*s  (%04x,%04x) not a fragment item, fragments end here\n", indent, "", tag >> 16,
                    tag & 0xFFFF);
            return;
        }
        if (number == 0)
            fprintf(out, "%*s  (fffe,e000) offset table, %u bytes\n", indent, "", len);
        else
            fprintf(out, "%*s  (fffe,e000) fragment %d, %u bytes\n", indent, "", number, len);
        pos += 8ULL + len;
    }
}

std::string DataSetPrinter::valueText(DcElem& elem, size_t enough)
{
    unsigned int tag;
    elem.getTag(tag);
    DICT_VR vr;
    elem.getVr(vr);
    if (vr == VR_IM)
        Dict.getVrDef(tag, vr);
    if (vr == VR_OB || vr == VR_OW || vr == VR_UN || vr == VR_OX || (vr >= VR_OD && vr <= VR_UV))
        return rawText(elem);

    // One value buffer for the whole run: a fresh zeroed one per element
    // would cost more than the element itself.
    static char buf[TEXT_VALUE_MAX + 1];
    if (vr == VR_UC || vr == VR_UR) {
        elem.getValue(buf, TEXT_VALUE_MAX, ELEM_VAL_INDEX_KEEP);
        return buf;
    }
    std::string text;
    int count = elem.getValueCount();
    elem.resetValueCount();
    for (int i = 0; i < count && text.size() <= enough; i++) {
        buf[0] = '\0';
        int status = elem.getValue(buf, TEXT_VALUE_MAX);
        if (i > 0)
            text += '\\';
        text += buf;
        if (status != 0)
            break;
    }
    elem.resetValueCount();
    return text;
}

void DataSetPrinter::print(DcElemList& list, int depth)
{
    for (DcElem* elem = list.first(); elem != nullptr; elem = elem->next())
        printElem(*elem, depth);
}

void DataSetPrinter::printElem(DcElem& elem, int depth)
{
    unsigned int tag;
    elem.getTag(tag);
    DICT_VR vr;
    elem.getVr(vr);
    std::string name = tagName(tag);
    int indent = depth * 2;
    int nameWidth = NAME_WIDTH - indent > NAME_WIDTH_MIN ? NAME_WIDTH - indent : NAME_WIDTH_MIN;
    fprintf(out, "%*s(%04x,%04x) %s %-*.*s ", indent, "", tag >> 16, tag & 0xFFFF, vrName(tag, vr).c_str(),
            nameWidth, nameWidth, name.c_str());

    DcElemSq* sq = dynamic_cast<DcElemSq*>(&elem);
    if (sq != nullptr) {
        int items = 0;
        for (DcElemSqItem* item = sq->first(); item != nullptr; item = item->next())
            items++;
        fprintf(out, "%d item%s\n", items, items == 1 ? "" : "s");
        int number = 1;
        for (DcElemSqItem* item = sq->first(); item != nullptr; item = item->next(), number++) {
            fprintf(out, "%*s  (fffe,e000) item %d\n", indent, "", number);
            if (item->getElemList() != nullptr)
                print(*item->getElemList(), depth + 2);
        }
        return;
    }
    std::string value = valueText(elem, maxValue);
    if (value.size() > maxValue)
        value = value.substr(0, maxValue) + "...";
    fprintf(out, "%s\n", value.c_str());
    if (tag == 0x7FE00010)
        printFragments(elem, indent);
}

}
