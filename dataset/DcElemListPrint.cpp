// Printing a data set: element by element, or as an indented tree.
#include <cstring>

#include "dataset/DcElemCodec.h"
#include "dataset/DcElemList.h"
#include "dataset/DcElemSq.h"
#include "dictionary/DcDict.h"
#include "foundation/DcLog.h"

namespace {

const int TREE_VALUES_MAX = 8;
const size_t TREE_TEXT_MAX = 64;
const char* const TREE_RULE = "|-----------------------";

// The attribute part of a tag constant's name ("patientName" of
// "T_0010_0010_patientName").
const char* attributeName(const char* desc)
{
    if (strlen(desc) > 12 && desc[0] == 'T' && desc[1] == '_' && desc[6] == '_' && desc[11] == '_')
        return desc + 12;
    return desc;
}

void indent(FILE* stream, int depth)
{
    for (int i = 0; i < depth; ++i)
        fprintf(stream, "|   ");
}

}

void DcElemList::printNodeList(FILE* stream, PRINT_NODE mode)
{
    if (stream == nullptr)
        return;
    if (mode == PRINT_NODE_TREE) {
        printTree(stream, 0);
    } else {
        MsgBuf[0] = '\0';
        for (DcElem* elem = first(); elem != nullptr; elem = elem->next())
            elem->printNodeList(stream);
    }
    fflush(stream);
}

// One line per element: tag, name, VR and the first values; sequences open
// a framed block per item.
void DcElemList::printTree(FILE* stream, int depth)
{
    for (DcElem* elem = first(); elem != nullptr; elem = elem->next()) {
        DICT_VR vr = elem->effectiveVr();
        char desc[DICT_NAME_MAX + 1] = "Unknown";
        int tagConst;
        if (Dict.getTagDef(elem->dictTag(), tagConst) == 0)
            Dict.getDesc(tagConst, desc);
        indent(stream, depth);
        fprintf(stream, "(%04x,%04x) %-40.40s (%s) ", elem->group, elem->element, attributeName(desc),
                elemcodec::vrName(vr));

        if (elem->isSq) {
            fprintf(stream, "\n");
            DcElemSq* sq = static_cast<DcElemSq*>(elem);
            for (DcElemSqItem* item = sq->first(); item != nullptr; item = item->next()) {
                indent(stream, depth + 1);
                fprintf(stream, "%s\n", TREE_RULE);
                item->getElemList()->printTree(stream, depth + 1);
            }
            indent(stream, depth + 1);
            fprintf(stream, "%s\n", TREE_RULE);
            continue;
        }
        if (elemcodec::isRawVr(vr)) {
            unsigned int total = 0;
            for (DcBuf* entry = elem->rawBufList->first(); entry != nullptr; entry = entry->next())
                total += entry->getLen();
            fprintf(stream, "%u bytes\n", total);
            continue;
        }
        int shown = elem->valueCount < TREE_VALUES_MAX ? elem->valueCount : TREE_VALUES_MAX;
        for (int i = 0; i < shown; ++i) {
            const void* block = elem->values[i];
            unsigned short halves[2];
            switch (vr) {
            case VR_SS: case VR_US: case VR_XS: {
                memcpy(halves, block, 2);
                char name[DICT_NAME_MAX + 1];
                if (elem->tag == 0x00000100 && Dict.getDesc(static_cast<DICT_MSG>(halves[0]), name) == 0)
                    fprintf(stream, "0x%04x (%s) ", halves[0], name);
                else
                    fprintf(stream, "0x%04x ", halves[0]);
                break;
            }
            case VR_SL: case VR_UL: case VR_XL: {
                unsigned int value;
                memcpy(&value, block, sizeof value);
                fprintf(stream, "0x%08x ", value);
                break;
            }
            case VR_FL: {
                float value;
                memcpy(&value, block, sizeof value);
                fprintf(stream, "%g ", static_cast<double>(value));
                break;
            }
            case VR_FD: {
                double value;
                memcpy(&value, block, sizeof value);
                fprintf(stream, "%g ", value);
                break;
            }
            case VR_AT:
                memcpy(halves, block, sizeof halves);
                fprintf(stream, "(%04x,%04x) ", halves[0], halves[1]);
                break;
            default: {
                const char* text = static_cast<const char*>(block);
                if (strlen(text) > TREE_TEXT_MAX)
                    fprintf(stream, "%s%.*s >>>", i > 0 ? "\\" : "", static_cast<int>(TREE_TEXT_MAX), text);
                else
                    fprintf(stream, "%s%s", i > 0 ? "\\" : "", text);
                break;
            }
            }
        }
        fprintf(stream, "\n");
        if (elem->valueCount > shown) {
            indent(stream, depth);
            fprintf(stream, "            \\ ... %d values in all\n", elem->valueCount);
        }
    }
}
