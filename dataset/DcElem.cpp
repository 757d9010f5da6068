#include "dataset/DcElem.h"

#include <cstdlib>
#include <cstring>
#include <unistd.h>

#include "dataset/DcElemCodec.h"
#include "dictionary/DcDict.h"
#include "foundation/DcLog.h"
#include "internal/DcElemSlotLimit.h"
#include "internal/Tag.h"

DcElem::DcElem(int tagConst, void* buf, unsigned int len, DICT_UID xfer, DICT_VR newVr, int sq) : isSq(sq)
{
    initializeByConst(tagConst, buf, len, xfer, newVr);
}

DcElem::DcElem(unsigned short g, unsigned short e, void* buf, unsigned int len, DICT_UID xfer, DICT_VR newVr,
               int sq)
    : isSq(sq)
{
    initialize(brenik3::makeTag(g, e), buf, len, xfer, newVr);
}

// Value constructors: an element of the tag's dictionary VR, then addValue.
#define DC_ELEM_VALUE_CONSTRUCTORS(Type)                                                   \
    DcElem::DcElem(int tagConst, Type value) : isSq(0)                                     \
    {                                                                                      \
        initializeByConst(tagConst, nullptr, 0, UID_LITTLE_ENDIAN_IMPLICIT, VR_IM);        \
        addValue(value);                                                                   \
    }                                                                                      \
    DcElem::DcElem(unsigned short g, unsigned short e, Type value) : isSq(0)               \
    {                                                                                      \
        initialize(brenik3::makeTag(g, e), nullptr, 0,                   \
                   UID_LITTLE_ENDIAN_IMPLICIT, VR_IM);                                     \
        addValue(value);                                                                   \
    }

DC_ELEM_VALUE_CONSTRUCTORS(DcElemValueAS&)
DC_ELEM_VALUE_CONSTRUCTORS(DcElemValueAT&)
DC_ELEM_VALUE_CONSTRUCTORS(DcElemValueDA&)
DC_ELEM_VALUE_CONSTRUCTORS(DcElemValueDT&)
DC_ELEM_VALUE_CONSTRUCTORS(DcElemValuePN&)
DC_ELEM_VALUE_CONSTRUCTORS(DcElemValueTM&)
DC_ELEM_VALUE_CONSTRUCTORS(const char*)
DC_ELEM_VALUE_CONSTRUCTORS(DICT_UID)
DC_ELEM_VALUE_CONSTRUCTORS(short)
DC_ELEM_VALUE_CONSTRUCTORS(unsigned short)
DC_ELEM_VALUE_CONSTRUCTORS(int)
DC_ELEM_VALUE_CONSTRUCTORS(unsigned int)
DC_ELEM_VALUE_CONSTRUCTORS(float)
DC_ELEM_VALUE_CONSTRUCTORS(double)
DC_ELEM_VALUE_CONSTRUCTORS(DcBuf*)

#undef DC_ELEM_VALUE_CONSTRUCTORS

DcElem::DcElem(int tagConst, int fileHandle, int offset, unsigned int length, DICT_UID xfer) : isSq(0)
{
    initializeByConst(tagConst, nullptr, 0, UID_LITTLE_ENDIAN_IMPLICIT, VR_IM);
    addValue(fileHandle, offset, length, xfer);
}

DcElem::DcElem(unsigned short g, unsigned short e, int fileHandle, int offset, unsigned int length,
               DICT_UID xfer)
    : isSq(0)
{
    initialize(brenik3::makeTag(g, e), nullptr, 0, UID_LITTLE_ENDIAN_IMPLICIT, VR_IM);
    addValue(fileHandle, offset, length, xfer);
}

DcElem::DcElem(const DcElem& other)
    : DcNode(other), pushedTag(other.pushedTag), rawBufList(other.rawBufList), values(other.values),
      valueIndex(other.valueIndex), tag(other.tag), group(other.group), element(other.element), vm(other.vm),
      vr(other.vr), vrLen(other.vrLen), vrSize(other.vrSize), isSq(other.isSq), valueCount(other.valueCount),
      valueCapacity(other.valueCapacity), sharesValues(true)
{
}

DcElem& DcElem::operator=(const DcElem& other)
{
    if (this == &other)
        return *this;
    if (!sharesValues && values != other.values)
        deleteAllValues();
    if (!sharesValues && rawBufList != other.rawBufList)
        ownBufs.destroyAllNodes();
    DcNode::operator=(other);
    pushedTag = other.pushedTag;
    rawBufList = other.rawBufList;
    values = other.values;
    valueIndex = other.valueIndex;
    setTag(other.tag);
    vm = other.vm;
    vr = other.vr;
    vrLen = other.vrLen;
    vrSize = other.vrSize;
    isSq = other.isSq;
    valueCount = other.valueCount;
    valueCapacity = other.valueCapacity;
    releaseAsRead();
    sharesValues = true;
    pool = nullptr;
    parsedExactly = false;
    pooledLen = 0;
    pooledBufSize = 0;
    return *this;
}

DcElem::~DcElem()
{
    releaseAsRead();
    if (sharesValues)
        return;
    deleteAllValues();
}

void DcElem::ownValues()
{
    if (!sharesValues)
        return;
    sharesValues = false;
    void** shared = values;
    int count = valueCount;
    DcBufList* sharedBufs = rawBufList;
    values = nullptr;
    valueCount = valueCapacity = 0;
    rawBufList = &ownBufs;
    copyValuesFrom(shared, count);
    for (DcBuf* entry = sharedBufs->first(); entry != nullptr; entry = entry->next()) {
        if (entry->getType() == BUF_MEMORY) {
            void* block = malloc(entry->getLen() ? entry->getLen() : 1);
            if (block == nullptr)
                continue;
            memcpy(block, entry->getBuf(), entry->getLen());
            rawBufList->add(new DcBuf(block, entry->getLen(), entry->getXferSyn()));
        } else if (entry->getType() == BUF_DISK) {
            int handle = dup(entry->getHandle());
            if (handle != -1)
                rawBufList->add(new DcBuf(handle, entry->getOffset(), entry->getLen(), entry->getXferSyn()));
        }
    }
}

// Each value block has the size the writers read from it: a whole binary
// value, or a string with its NUL.
void DcElem::copyValuesFrom(void* const* source, int count)
{
    bool binary = vrSize >= VR_SIZE_WORD && vrSize <= VR_SIZE_DOUBLE;
    unsigned int unit = effectiveVr() == VR_AT ? 4 : vrLen;
    for (int i = 0; i < count; ++i) {
        if (binary)
            storeBinary(source[i], unit);
        else
            storeString(static_cast<char*>(source[i]));
    }
}

DcBufList* DcElem::ownBufList()
{
    ownValues();
    return rawBufList;
}

void DcElem::initializeByConst(int tagConst, void* buf, unsigned int len, DICT_UID xfer, DICT_VR newVr)
{
    unsigned int value = 0;
    Dict.getTag(tagConst, value);
    initialize(value, buf, len, xfer, newVr);
}

void DcElem::initialize(unsigned int newTag, void* buf, unsigned int len, DICT_UID xfer, DICT_VR newVr)
{
    setTag(newTag);
    vm = 1;
    vrSize = VR_SIZE_NONE;
    vrLen = 0;
    vr = VR_UNKNOWN;

    int tagConst;
    if (Dict.getTagDef(tag, tagConst) != 0) {
        logReport(LOG_CHANNEL_1, "DcElem::initialize", "Unknown tag (%04x,%04x), Element is uninitialized", group,
                  element);
        return;
    }
    Dict.getVm(tagConst, vm);
    vr = newVr;
    if (vr == VR_IM)
        Dict.getVrDef(tagConst, vr);
    int length = 0;
    Dict.getVrSize(vr, vrSize);
    Dict.getVrLen(vr, length);
    vrLen = static_cast<unsigned int>(length);

    if (!isSq && vr == VR_SQ) {
        logReport(LOG_CHANNEL_1, "DcElem::initialize", "SQ Element (%04x,%04x) must be constructed with DcElemSq",
                  group, element);
        return;
    }
    if (vr == VR_AT)
        vrLen = 2;
    unsigned char zero[4] = {0, 0, 0, 0};
    if (element == 0 && buf == nullptr) {
        buf = zero;
        len = sizeof zero;
    }
    // The multiplicity just looked up is the limit for the values parsed.
    DcElemSlotLimitScope limitScope(this);
    DcElemSlotLimitScope::remember(this, std::abs(vm));
    parseVal(buf, len, xfer);
}

DICT_VR DcElem::effectiveVr()
{
    if (vr != VR_IM)
        return vr;
    DICT_VR resolved = VR_UNKNOWN;
    int tagConst;
    if (Dict.getTagDef(dictTag(), tagConst) == 0)
        Dict.getVrDef(tagConst, resolved);
    return resolved;
}

void DcElem::setVr(DICT_VR newVr)
{
    if (newVr != vr) {
        dropAsRead();
        parsedExactly = false;
    }
    vr = newVr;
}

// ---- lossless mode ------------------------------------------------------------

DcElem::DcElem(AsReadTag, unsigned int newTag, DICT_VR newVr) : isSq(newVr == VR_SQ)
{
    setTag(newTag);
    vm = 0;
    vr = newVr;
    vrSize = newVr == VR_SQ ? VR_SIZE_NONE : VR_SIZE_BYTE;
    vrLen = 0;
    if (!elemcodec::isRawVr(newVr) && newVr != VR_SQ) {
        int length = 0;
        Dict.getVrSize(newVr, vrSize);
        Dict.getVrLen(newVr, length);
        vrLen = newVr == VR_AT ? 2 : static_cast<unsigned int>(length);
    }
}

DcElem* DcElem::makeAsRead(unsigned int newTag, DICT_VR newVr, unsigned char* buf, unsigned int len, DICT_UID xfer)
{
    DcElem* elem = new DcElem(AsReadTag{}, newTag, newVr);
    if (len > 0) {
        if (elemcodec::isRawVr(newVr))
            elem->addValue(buf, len, xfer);
        else
            elem->parseVal(buf, len, xfer);
    }
    return elem;
}

void DcElem::keepAsRead(const unsigned char* buf, unsigned int len, DICT_UID xfer, bool undefined)
{
    releaseAsRead();
    unsigned char* bytes = nullptr;
    bool fromValues = parsedExactly && len > 0;
    if (!fromValues && !elemcodec::isRawVr(vr) && vr != VR_SQ && len > 0) {
        bytes = static_cast<unsigned char*>(malloc(len));
        if (bytes == nullptr)
            return;
        memcpy(bytes, buf, len);
    }
    asReadStore = AsRead{bytes, bytes != nullptr ? len : 0, xfer, true, undefined, fromValues};
    asRead = &asReadStore;
}

void DcElem::dropAsRead()
{
    if (asRead == nullptr || !asRead->unchanged)
        return;
    if (isSq || tag == elemcodec::TAG_ITEM) {
        // Sequences and items keep their length form through changes.
        asRead->unchanged = false;
        return;
    }
    releaseAsRead();
}

void DcElem::releaseAsRead()
{
    if (asRead == nullptr)
        return;
    free(asRead->bytes);
    asRead = nullptr;
}

void DcElem::setGroupLength(unsigned int length)
{
    deleteAllValues();
    rawBufList->destroyAllNodes();
    vr = VR_UL;
    vrSize = VR_SIZE_LONG;
    vrLen = 4;
    storeBinary(&length, sizeof length);
}

void DcElem::setTag(unsigned int newTag)
{
    tag = newTag;
    group = static_cast<unsigned short>(newTag >> 16);
    element = static_cast<unsigned short>(newTag);
}

void DcElem::setTag(unsigned short newGroup, unsigned short newElement)
{
    setTag(brenik3::makeTag(newGroup, newElement));
}

void DcElem::pushTag(unsigned int newTag)
{
    pushedTag = tag;
    setTag(newTag);
}

void DcElem::pushTag(unsigned short newGroup, unsigned short newElement)
{
    pushTag(brenik3::makeTag(newGroup, newElement));
}

int DcElem::getTag(unsigned int& value)
{
    value = tag;
    return 0;
}

int DcElem::getTag(unsigned short& g, unsigned short& e)
{
    g = group;
    e = element;
    return 0;
}

int DcElem::getTag(int& tagConst)
{
    return Dict.getTagDef(tag, tagConst);
}

int DcElem::getVr(DICT_VR& value)
{
    value = vr;
    return 0;
}

// A free slot for one more value. An element holding as many values as its
// multiplicity allows works as a ring: the oldest value makes room.
void** DcElem::newSlot()
{
    dropAsRead();
    ownValues();
    unpool();
    parsedExactly = false;
    int limit = valueLimit();
    if (limit != 0 && valueCount >= limit) {
        free(values[0]);
        memmove(values, values + 1, sizeof(void*) * (valueCount - 1));
        values[valueCount - 1] = nullptr;
        return &values[valueCount - 1];
    }
    if (valueCount + 1 >= valueCapacity) {
        int capacity = valueCapacity < 4 ? 4 : valueCapacity * 2;
        void** grown = static_cast<void**>(realloc(values, sizeof(void*) * capacity));
        if (grown == nullptr)
            return nullptr;
        values = grown;
        valueCapacity = capacity;
    }
    values[valueCount] = nullptr;
    values[valueCount + 1] = nullptr;
    return &values[valueCount++];
}

int DcElem::storeBinary(const void* value, unsigned int size)
{
    void* block = malloc(size);
    if (block == nullptr)
        return ELEM_ERR_BAD_VALUE;
    memcpy(block, value, size);
    void** slot = newSlot();
    if (slot == nullptr) {
        free(block);
        return ELEM_ERR_BAD_VALUE;
    }
    *slot = block;
    return 0;
}

int DcElem::storeString(const char* value)
{
    return storeBinary(value, static_cast<unsigned int>(strlen(value) + 1));
}

void DcElem::deleteAllValues()
{
    dropAsRead();
    ownValues();
    parsedExactly = false;
    if (values == nullptr)
        return;
    if (pool != nullptr) {
        free(pool);
        pool = nullptr;
    } else {
        for (int i = 0; i < valueCount; ++i)
            free(values[i]);
        free(values);
    }
    values = nullptr;
    valueCount = valueCapacity = 0;
    rawBufList->destroyAllNodes();
}

int DcElem::getValueCount(int& count)
{
    count = valueCount;
    return 0;
}

int DcElem::getValueCount()
{
    return valueCount;
}

int DcElem::indexValueCount(int& index)
{
    if (valueIndex >= valueCount) {
        index = valueIndex;
        return ELEM_ERR_INDEX_PAST_END;
    }
    index = ++valueIndex;
    return 0;
}

int DcElem::indexValueCount()
{
    int index;
    return indexValueCount(index);
}

int DcElem::resetValueCount()
{
    valueIndex = 0;
    return 0;
}

bool DcElem::getValueAsRead(const unsigned char*& bytes, unsigned int& len) const
{
    bytes = nullptr;
    len = 0;
    if (!isUnchanged())
        return false;
    if (asRead->bytes == nullptr && asRead->fromValues)
        const_cast<DcElem*>(this)->rebuildAsRead();
    if (asRead->bytes == nullptr)
        return false;
    bytes = asRead->bytes;
    len = asRead->len;
    return true;
}

// The bytes of values parsed exactly, written again in the syntax they
// were read in.
void DcElem::rebuildAsRead()
{
    size_t size = 2;
    bool text = vrSize == VR_SIZE_BYTE;
    for (int i = 0; i < valueCount; ++i)
        size += text ? strlen(static_cast<char*>(values[i])) + 1 : (effectiveVr() == VR_AT ? 4 : vrLen);
    unsigned char* bytes = static_cast<unsigned char*>(malloc(size));
    if (bytes == nullptr)
        return;
    unsigned int len = 0;
    if (frameValueNonOX(bytes, len, asRead->xfer, effectiveVr(), vrSize) != 0) {
        free(bytes);
        return;
    }
    asRead->bytes = bytes;
    asRead->len = len;
}
