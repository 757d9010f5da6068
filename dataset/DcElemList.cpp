#include "dataset/DcElemList.h"

#include <cstdlib>
#include <cstring>

#include "dataset/DcElemCodec.h"
#include "dataset/DcElemSq.h"
#include "dictionary/DcDict.h"
#include "foundation/DcLog.h"
#include "internal/Tag.h"

DcElemList::DcElemList(void* buf, unsigned int len, DICT_UID xfer)
    : DcList(compFunc), bufList(new DcBufList), lossless(false)
{
    int parsing = elemcodec::losslessParsing();
    lossless = parsing < 0 ? losslessDefault() : parsing == 1;
    if (buf != nullptr)
        parse(buf, len, xfer);
}

namespace {
bool losslessByDefault = false;
}

void DcElemList::setLosslessDefault(bool on)
{
    losslessByDefault = on;
}

bool DcElemList::losslessDefault()
{
    return losslessByDefault;
}

DcElemList::DcElemList(const DcElemList& other) : DcList(other), bufList(other.bufList), lossless(other.lossless) {}

DcElemList& DcElemList::operator=(const DcElemList& other)
{
    if (this == &other)
        return *this;
    if (!isShallowCopy() && bufList != other.bufList)
        delete bufList;
    DcList::operator=(other);
    bufList = other.bufList;
    lossless = other.lossless;
    return *this;
}

DcElemList::~DcElemList()
{
    destroyAllNodes();
    if (!isShallowCopy())
        delete bufList;
}

int DcElemList::compFunc(void* a, void* b)
{
    unsigned int first = static_cast<DcElem*>(static_cast<DcNode*>(a))->tag;
    unsigned int second = static_cast<DcElem*>(static_cast<DcNode*>(b))->tag;
    return first > second ? 1 : first < second ? -1 : 0;
}

// Ordered insertion puts an element next to one of the same tag, so the
// duplicate, if any, is one of its two neighbours.
DcElem* DcElemList::add(DcElem* elem)
{
    if (elem == nullptr)
        return nullptr;
    if (contains(elem))
        return elem;
    DcList::add(elem);
    DcElem* twin = nullptr;
    if (elem->previous() != nullptr && elem->previous()->tag == elem->tag)
        twin = elem->previous();
    else if (elem->next() != nullptr && elem->next()->tag == elem->tag)
        twin = elem->next();
    if (twin != nullptr) {
        logReport(LOG_CHANNEL_1, "DcElemList::add", "Element (%04x,%04x) added again, previous instance deleted",
                  elem->group, elem->element);
        if (cursor == twin)
            cursor = elem;
        DcList::subtract(twin);
        delete twin;
    }
    return elem;
}

DcElem* DcElemList::operator+(DcElem* elem)
{
    return add(elem);
}

DcElem* DcElemList::subtract(DcElem* elem)
{
    return static_cast<DcElem*>(DcList::subtract(elem));
}

DcElem* DcElemList::operator-(DcElem* elem)
{
    return subtract(elem);
}

DcBuf* DcElemList::add(DcBuf* buf)
{
    return bufList->add(buf);
}

DcBuf* DcElemList::subtract(DcBuf* buf)
{
    return bufList->subtract(buf);
}

DcBuf* DcElemList::operator+(DcBuf* buf)
{
    return bufList->add(buf);
}

DcBuf* DcElemList::operator-(DcBuf* buf)
{
    return bufList->subtract(buf);
}

DcElem* DcElemList::find(unsigned int tag)
{
    for (DcElem* elem = first(); elem != nullptr && elem->tag <= tag; elem = elem->next())
        if (elem->tag == tag)
            return elem;
    return nullptr;
}

int DcElemList::findByConst(int tagConst, DcElem*& elem)
{
    unsigned int tag;
    elem = nullptr;
    if (Dict.getTag(tagConst, tag) != 0)
        return ELEMLIST_ERR_NOT_FOUND;
    elem = find(tag);
    return elem != nullptr ? 0 : ELEMLIST_ERR_NOT_FOUND;
}

int DcElemList::getElem(unsigned int tag, DcElem** out)
{
    DcElem* elem = find(tag);
    if (out != nullptr)
        *out = elem;
    return elem != nullptr ? 0 : ELEMLIST_ERR_NOT_FOUND;
}

int DcElemList::getElem(int tagConst, DcElem** out)
{
    DcElem* elem;
    int status = findByConst(tagConst, elem);
    if (out != nullptr)
        *out = elem;
    return status;
}

int DcElemList::getElem(unsigned short group, unsigned short element, DcElem** out)
{
    return getElem(brenik3::makeTag(group, element), out);
}

int DcElemList::getElem(unsigned int tag, DcElemSq** out)
{
    DcElem* elem = find(tag);
    DcElemSq* sq = elem != nullptr && elem->isSq ? static_cast<DcElemSq*>(elem) : nullptr;
    if (out != nullptr)
        *out = sq;
    return sq != nullptr ? 0 : ELEMLIST_ERR_NOT_FOUND;
}

int DcElemList::getElem(int tagConst, DcElemSq** out)
{
    unsigned int tag;
    if (Dict.getTag(tagConst, tag) != 0) {
        if (out != nullptr)
            *out = nullptr;
        return ELEMLIST_ERR_NOT_FOUND;
    }
    return getElem(tag, out);
}

int DcElemList::getElem(unsigned short group, unsigned short element, DcElemSq** out)
{
    return getElem(brenik3::makeTag(group, element), out);
}

template <typename Value>
int DcElemList::readValue(DcElem* elem, int status, Value& value, ELEM_VAL_INDEX index)
{
    if (status != 0 || elem == nullptr)
        return status != 0 ? status : ELEMLIST_ERR_NOT_FOUND;
    return elem->getValue(value, index);
}

#define DC_ELEMLIST_GET_VALUE(Type)                                                                       \
    int DcElemList::getValue(int tagConst, Type& value, ELEM_VAL_INDEX index)                             \
    {                                                                                                     \
        DcElem* elem;                                                                                     \
        int status = findByConst(tagConst, elem);                                                         \
        return readValue(elem, status, value, index);                                                     \
    }                                                                                                     \
    int DcElemList::getValue(unsigned int tag, Type& value, ELEM_VAL_INDEX index)                         \
    {                                                                                                     \
        return readValue(find(tag), 0, value, index);                                                     \
    }                                                                                                     \
    int DcElemList::getValue(unsigned short group, unsigned short element, Type& value,                   \
                             ELEM_VAL_INDEX index)                                                        \
    {                                                                                                     \
        return readValue(find(brenik3::makeTag(group, element)), 0, value, index);                        \
    }

DC_ELEMLIST_GET_VALUE(DcElemValueAS)
DC_ELEMLIST_GET_VALUE(DcElemValueAT)
DC_ELEMLIST_GET_VALUE(DcElemValueDA)
DC_ELEMLIST_GET_VALUE(DcElemValueDT)
DC_ELEMLIST_GET_VALUE(DcElemValuePN)
DC_ELEMLIST_GET_VALUE(DcElemValueTM)
DC_ELEMLIST_GET_VALUE(DICT_UID)
DC_ELEMLIST_GET_VALUE(short)
DC_ELEMLIST_GET_VALUE(unsigned short)
DC_ELEMLIST_GET_VALUE(int)
DC_ELEMLIST_GET_VALUE(unsigned int)
DC_ELEMLIST_GET_VALUE(float)
DC_ELEMLIST_GET_VALUE(double)
DC_ELEMLIST_GET_VALUE(DcBuf)

#undef DC_ELEMLIST_GET_VALUE

int DcElemList::getValue(int tagConst, char* buf, int len, ELEM_VAL_INDEX index)
{
    DcElem* elem;
    int status = findByConst(tagConst, elem);
    return status != 0 ? status : elem->getValue(buf, len, index);
}

int DcElemList::getValue(unsigned int tag, char* buf, int len, ELEM_VAL_INDEX index)
{
    DcElem* elem = find(tag);
    return elem == nullptr ? ELEMLIST_ERR_NOT_FOUND : elem->getValue(buf, len, index);
}

int DcElemList::getValue(unsigned short group, unsigned short element, char* buf, int len, ELEM_VAL_INDEX index)
{
    return getValue(brenik3::makeTag(group, element), buf, len, index);
}

int DcElemList::index(int tagConst)
{
    DcElem* elem;
    int status = findByConst(tagConst, elem);
    if (status == 0)
        setCursor(elem);
    return status;
}

int DcElemList::index(unsigned int tag)
{
    DcElem* elem = find(tag);
    if (elem == nullptr)
        return ELEMLIST_ERR_NOT_FOUND;
    setCursor(elem);
    return 0;
}

int DcElemList::index(unsigned short group, unsigned short element)
{
    return index(brenik3::makeTag(group, element));
}

int DcElemList::index(DcElem* elem)
{
    if (!contains(elem))
        return ELEMLIST_ERR_NOT_FOUND;
    setCursor(elem);
    return 0;
}

int DcElemList::moveElem(DcElemList* to)
{
    if (to == nullptr) {
        logReport(LOG_CHANNEL_1, "DcElemList::moveElem", "Null argument passed");
        return ELEMLIST_ERR_NULL_ARG;
    }
    while (DcElem* elem = first()) {
        subtract(elem);
        to->add(elem);
    }
    return 0;
}

int DcElemList::duplicate(DcElemList* to, unsigned int* tags)
{
    if (to == nullptr) {
        logReport(LOG_CHANNEL_1, "DcElemList::duplicate", "Null argument passed");
        return ELEMLIST_ERR_NULL_ARG;
    }
    DcElemList chosen;
    for (DcElem* elem = first(); elem != nullptr;) {
        DcElem* following = elem->next();
        bool wanted = tags == nullptr;
        for (unsigned int* t = tags; t != nullptr && *t != 0xFFFFFFFF && !wanted; ++t)
            wanted = *t == elem->tag;
        if (wanted && elem->group != 0x7FE0) {
            subtract(elem);
            chosen.add(elem);
        }
        elem = following;
    }
    unsigned int size = 0, len = 0;
    chosen.getBufSize(size);
    unsigned char* encoded = static_cast<unsigned char*>(malloc(size ? size : 1));
    if (encoded != nullptr)
        chosen.frame(encoded, len, UID_LITTLE_ENDIAN_IMPLICIT);
    to->destroyAllNodes();
    if (encoded != nullptr && len > 0)
        to->parse(encoded, len, UID_LITTLE_ENDIAN_IMPLICIT);
    free(encoded);
    chosen.moveElem(this);
    return 0;
}

int DcElemList::getBufSize(unsigned int& size, int* exclude)
{
    size = 0;
    for (DcElem* elem = first(); elem != nullptr; elem = elem->next()) {
        bool excluded = false;
        for (int* t = exclude; t != nullptr && static_cast<unsigned int>(*t) != 0xFFFFFFFF && !excluded; ++t)
            excluded = static_cast<unsigned int>(*t) == elem->tag;
        if (excluded)
            continue;
        unsigned int elemSize = 0;
        elem->getBufSize(elemSize, nullptr);
        size += elemSize;
    }
    return 0;
}

int DcElemList::getBufSize(unsigned int& size, int)
{
    return getBufSize(size, static_cast<int*>(nullptr));
}

int DcElemList::resetValueCount()
{
    for (DcElem* elem = first(); elem != nullptr; elem = elem->next())
        elem->resetValueCount();
    return 0;
}
