// Data set parse in each syntax; what parsed is written back within its own
// size bound, in the same or another syntax, and the result parsed again.
#include <vector>

#include "FuzzSupport.h"
#include "FuzzTargets.h"
#include "dataset/DcElemList.h"
#include "dataset/utilLocate.h"

namespace {

const DICT_UID syntaxes[] = {UID_LITTLE_ENDIAN_IMPLICIT, UID_LITTLE_ENDIAN_EXPLICIT, UID_BIG_ENDIAN_EXPLICIT,
                             UID_JPEG_BASELINE};

// Sizes beyond this are left unframed: they come from lengths the parser
// took on trust, not from bytes of the input.
const unsigned int frameLimit = 1u << 28;
const int valuesRead = 64;
const int textLen = 1024;

// Reads every value of every top-level element through each typed getter.
void readEveryValue(DcElemList& list)
{
    for (DcElem* elem = list.first(); elem != nullptr; elem = elem->next()) {
        DcElemValueAS as;
        DcElemValueAT at;
        DcElemValueDA da;
        DcElemValueDT dt;
        DcElemValuePN pn;
        DcElemValueTM tm;
        DICT_UID uid;
        short s;
        unsigned short us;
        int i;
        unsigned int ui;
        float f;
        double d;
        DcBuf raw;
        elem->getValue(as, ELEM_VAL_INDEX_KEEP);
        elem->getValue(at, ELEM_VAL_INDEX_KEEP);
        elem->getValue(da, ELEM_VAL_INDEX_KEEP);
        elem->getValue(dt, ELEM_VAL_INDEX_KEEP);
        elem->getValue(pn, ELEM_VAL_INDEX_KEEP);
        elem->getValue(tm, ELEM_VAL_INDEX_KEEP);
        elem->getValue(uid, ELEM_VAL_INDEX_KEEP);
        elem->getValue(s, ELEM_VAL_INDEX_KEEP);
        elem->getValue(us, ELEM_VAL_INDEX_KEEP);
        elem->getValue(i, ELEM_VAL_INDEX_KEEP);
        elem->getValue(ui, ELEM_VAL_INDEX_KEEP);
        elem->getValue(f, ELEM_VAL_INDEX_KEEP);
        elem->getValue(d, ELEM_VAL_INDEX_KEEP);
        elem->getValue(raw, ELEM_VAL_INDEX_KEEP);
        int count = elem->getValueCount();
        for (int k = 0; k < count && k < valuesRead; k++) {
            char text[textLen + 1];
            elem->getValue(text, textLen, ELEM_VAL_INDEX_INCREMENT);
        }
    }
}

}

int fuzzDataSet(const uint8_t* data, size_t size)
{
    fuzzPrepare();
    if (size < 1)
        return 0;
    DICT_UID parseSyntax = syntaxes[data[0] & 3];
    DICT_UID frameSyntax = syntaxes[(data[0] >> 2) & 3];
    std::vector<unsigned char> input(data + 1, data + size);

    unsigned int offset = 0;
    utilGetElemOffset(input.data(), static_cast<unsigned int>(input.size()), parseSyntax, 0x7FE0, 0x0010, offset);

    DcElemList list;
    unsigned int left = static_cast<unsigned int>(input.size());
    list.parse(input.data(), left, parseSyntax);
    list.printNodeList(fuzzNullStream(), PRINT_NODE_TREE);
    readEveryValue(list);
    DcElemList copy;
    list.duplicate(&copy);

    unsigned int bound = 0;
    if (list.getBufSize(bound) != 0 || bound > frameLimit)
        return 0;
    GuardedBuffer framed(bound);
    unsigned int written = 0;
    int status = list.frame(framed.data(), written, frameSyntax);
    FUZZ_CHECK(written <= bound && framed.intact(), "frame wrote more than getBufSize promised");
    if (status != 0)
        return 0;

    DcElemList again;
    left = written;
    again.parse(framed.data(), left, frameSyntax);
    unsigned int boundAgain = 0;
    again.getBufSize(boundAgain);
    return 0;
}
