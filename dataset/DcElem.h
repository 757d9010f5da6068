#ifndef BRENIK3_DATASET_DCELEM_H
#define BRENIK3_DATASET_DCELEM_H

#include <cstdio>

#include "dataset/DcElemValue.h"
#include "dictionary/DcDictTags.h"
#include "dictionary/DcDictTypes.h"
#include "foundation/DcBuf.h"
#include "foundation/DcNode.h"
#include "foundation/Export.h"

// Status codes of elements, sequences and the value text checks (module 0x16).
enum {
    ELEM_ERR_PAST_END = 0x1601,        // element runs past the end of the buffer
    ELEM_ERR_BAD_VALUE = 0x1602,       // VR refuses the value; bad raw buffer or handle
    ELEM_ERR_UNKNOWN_TAG = 0x1603,     // unknown tag with implicit VR
    ELEM_ERR_BAD_VR = 0x1604,          // value not readable as asked; invalid VR
    ELEM_ERR_XFER_SYNTAX = 0x1605,     // unknown transfer syntax
    ELEM_ERR_NULL_ARG = 0x1606,        // null argument or empty buffer
    ELEM_ERR_NO_VALUE = 0x160A,        // no values; empty text
    ELEM_ERR_TOO_LONG = 0x160B,        // text too long for its VR
    ELEM_ERR_ILLEGAL_CHAR = 0x160C,    // character not allowed in its VR
    ELEM_ERR_BUF_TOO_SHORT = 0x160D,   // caller's buffer too short
    ELEM_ERR_INDEX_PAST_END = 0x160E,  // value index past the last value
    ELEM_ERR_NOT_MEMORY_BUF = 0x161F   // buffer list does not end in a memory buffer
};

// Whether a getValue advances the element's value index.
enum ELEM_VAL_INDEX { ELEM_VAL_INDEX_INCREMENT = 0, ELEM_VAL_INDEX_KEEP = 1 };

class DcElemList;

// One data element: tag, VR, multiplicity and its values. Values of binary
// VRs are kept in binary form, one heap block per value; text VRs (and AS,
// DA, DT, PN, TM) as NUL-terminated strings; OB, OW, UN and OX as raw buffers
// in memory or on disk.
//
// Copies are shallow: a copy reads the values and raw buffers of the element
// it was copied from, which keeps owning them; destroying the copy releases
// nothing. A copy whose values are changed (added, deleted, parsed, or its
// buffer list handed out) first takes copies of them of its own, so that the
// original is never changed or freed through it.
class BRENIK3_API DcElem : public DcNode {
public:
    DcElem(int tag, void* buf = nullptr, unsigned int len = 0, DICT_UID xfer = UID_LITTLE_ENDIAN_IMPLICIT,
           DICT_VR vr = VR_IM, int isSq = 0);
    DcElem(unsigned short group, unsigned short element, void* buf = nullptr, unsigned int len = 0,
           DICT_UID xfer = UID_LITTLE_ENDIAN_IMPLICIT, DICT_VR vr = VR_IM, int isSq = 0);

    DcElem(int tag, DcElemValueAS& value);
    DcElem(int tag, DcElemValueAT& value);
    DcElem(int tag, DcElemValueDA& value);
    DcElem(int tag, DcElemValueDT& value);
    DcElem(int tag, DcElemValuePN& value);
    DcElem(int tag, DcElemValueTM& value);
    DcElem(int tag, const char* value);
    DcElem(int tag, DICT_UID value);
    DcElem(int tag, short value);
    DcElem(int tag, unsigned short value);
    DcElem(int tag, int value);
    DcElem(int tag, unsigned int value);
    DcElem(int tag, float value);
    DcElem(int tag, double value);
    DcElem(int tag, DcBuf* value);
    DcElem(int tag, int fileHandle, int offset, unsigned int length, DICT_UID xfer);

    DcElem(unsigned short group, unsigned short element, DcElemValueAS& value);
    DcElem(unsigned short group, unsigned short element, DcElemValueAT& value);
    DcElem(unsigned short group, unsigned short element, DcElemValueDA& value);
    DcElem(unsigned short group, unsigned short element, DcElemValueDT& value);
    DcElem(unsigned short group, unsigned short element, DcElemValuePN& value);
    DcElem(unsigned short group, unsigned short element, DcElemValueTM& value);
    DcElem(unsigned short group, unsigned short element, const char* value);
    DcElem(unsigned short group, unsigned short element, DICT_UID value);
    DcElem(unsigned short group, unsigned short element, short value);
    DcElem(unsigned short group, unsigned short element, unsigned short value);
    DcElem(unsigned short group, unsigned short element, int value);
    DcElem(unsigned short group, unsigned short element, unsigned int value);
    DcElem(unsigned short group, unsigned short element, float value);
    DcElem(unsigned short group, unsigned short element, double value);
    DcElem(unsigned short group, unsigned short element, DcBuf* value);
    DcElem(unsigned short group, unsigned short element, int fileHandle, int offset, unsigned int length,
           DICT_UID xfer);

    DcElem(const DcElem& other);
    DcElem& operator=(const DcElem& other);
    ~DcElem() override;

    // Adding values; each returns 0 or an ELEM_ERR code.
    int addValue(DcElemValueAS& value);
    int addValue(DcElemValueAT& value);
    int addValue(DcElemValueDA& value);
    int addValue(DcElemValueDT& value);
    int addValue(DcElemValuePN& value);
    int addValue(DcElemValueTM& value);
    int addValue(DICT_UID value);
    int addValue(const char* value);
    int addValue(short value);
    int addValue(unsigned short value);
    int addValue(int value);
    int addValue(unsigned int value);
    int addValue(float value);
    int addValue(double value);
    int addValue(DcBuf* value);
    int addValue(void* buf, unsigned int len, DICT_UID xfer);
    int addValue(int fileHandle, int offset, unsigned int length, DICT_UID xfer);

    // Reading the value at the value index; each returns 0 or an ELEM_ERR code.
    int getValue(DcElemValueAS& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(DcElemValueAT& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(DcElemValueDA& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(DcElemValueDT& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(DcElemValuePN& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(DcElemValueTM& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(DICT_UID& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    // buf must hold len + 1 bytes. UC and UR give their whole text.
    int getValue(char* buf, int len, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(short& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned short& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(int& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned int& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(float& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(double& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    // The newer binary VRs are read number by number from their bytes as
    // read: OD and OF as double (OF also as float), OL as unsigned int, SV
    // and OV as long long, UV and OV as unsigned long long. Their values are
    // not counted by getValueCount.
    int getValue(long long& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned long long& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    // The raw buffer at the value index (OB, OW, UN, OX and the newer VRs), as a non-owning copy.
    int getValue(DcBuf& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);

    void deleteAllValues();
    int getValueCount(int& count);
    int getValueCount();
    int indexValueCount(int& index);
    int indexValueCount();

    int getTag(unsigned int& tag);
    int getTag(unsigned short& group, unsigned short& element);
    int getTag(int& tagConst);
    int getVr(DICT_VR& vr);
    DcBufList* getBufList() { return ownBufList(); }

    // True for an element read by a data set in lossless mode (see
    // DcElemList::setLossless) and not changed since: frame then writes the
    // value bytes exactly as they were read, with the VR and the length form
    // (defined or undefined) they came with. Adding, deleting or parsing
    // values clears it for good.
    bool isUnchanged() const { return asRead != nullptr && asRead->unchanged; }
    // Extension, lossless mode only: the value bytes of an unchanged element
    // exactly as they were read (every value, even past the multiplicity the
    // dictionary gives, which the typed getters stop at), in the byte order of
    // the syntax they were read in. False, with bytes null and len 0, for an
    // element not read in lossless mode, changed since, or with a raw value
    // (OB, OW, UN: see getBufList).
    bool getValueAsRead(const unsigned char*& bytes, unsigned int& len) const;

    // Encoding (frame, getBufSize) and decoding (parseVal) of the element.
    virtual int parseVal(void* buf, unsigned int len, DICT_UID xfer);
    virtual int frame(DcBufList* list, unsigned int& len, DICT_UID xfer);
    virtual int frame(unsigned char* buf, unsigned int& len, DICT_UID xfer);
    virtual int getBufSize(unsigned int& size, int* unused);
    virtual int getBufSize(unsigned int& size, int unused);
    virtual int resetValueCount();
    virtual void printNodeList(FILE* stream);

    DcElem* next() { return static_cast<DcElem*>(DcNode::next()); }
    DcElem* previous() { return static_cast<DcElem*>(DcNode::previous()); }

protected:
    friend class DcElemList;
    friend class DcElemSq;

    void setTag(unsigned int newTag);
    void setTag(unsigned short newGroup, unsigned short newElement);
    void pushTag(unsigned int newTag);
    void pushTag(unsigned short newGroup, unsigned short newElement);

    // Header and value writers: each writes its field at buf and stores the
    // number of bytes written in len.
    int frameTag(unsigned char* buf, unsigned int& len, DICT_UID xfer);
    int frameVr(unsigned char* buf, unsigned int& len, DICT_UID xfer, DICT_VR vr);
    int frameValueLen(unsigned char* buf, unsigned int& len, DICT_UID xfer, DICT_VR vr, unsigned int length);
    int frameValue(unsigned char* buf, unsigned int& len, DICT_UID xfer, DICT_VR vr, DICT_VR_SIZE size);

    // The VR with IM resolved through the dictionary (by the pushed tag if any).
    DICT_VR effectiveVr();
    // The tag used for dictionary look-ups: the pushed tag if any.
    unsigned int dictTag() { return pushedTag != 0 ? pushedTag : tag; }
    int isSequence() { return isSq; }
    void setVr(DICT_VR newVr);
    // Makes this a group length element holding length: VR UL whatever VR it
    // was read with, so that it is written in 12 bytes in every syntax and a
    // new value never changes its size.
    void setGroupLength(unsigned int length);

    // A new element has no values, raw buffers of its own and nothing read.
    unsigned int pushedTag = 0;
    DcBufList* rawBufList = &ownBufs;
    void** values = nullptr;
    int valueIndex = 0;
    unsigned int tag;
    unsigned short group;
    unsigned short element;
    int vm;
    DICT_VR vr;
    unsigned int vrLen;
    DICT_VR_SIZE vrSize;
    int isSq;

    // Lossless mode only: the value bytes as read (text and binary VRs; raw
    // VRs keep theirs in rawBufList), their syntax, and the length form.
    struct AsRead {
        unsigned char* bytes;
        unsigned int len;
        DICT_UID xfer;
        bool unchanged;
        bool undefinedLength;
        // The values give back exactly the bytes read, so they were not
        // copied: bytes stays null until getValueAsRead asks for them.
        bool fromValues;
    };
    AsRead* asRead = nullptr;  // null for elements not read in lossless mode
    AsRead asReadStore;  // where asRead points when set

    // Read with an undefined length (a sequence or item, or an unchanged
    // raw value), to be written the same way.
    bool hasUndefinedLength() const { return asRead != nullptr && asRead->undefinedLength; }

    // Remembers the value bytes as read and marks the element unchanged.
    void keepAsRead(const unsigned char* buf, unsigned int len, DICT_UID xfer, bool undefined);
    void dropAsRead();
    void releaseAsRead();
    void rebuildAsRead();
    // An element of any tag, known to the dictionary or not, holding the value
    // bytes as read with the given VR (the newer VRs and UN as raw buffers).
    static DcElem* makeAsRead(unsigned int tag, DICT_VR vr, unsigned char* buf, unsigned int len, DICT_UID xfer);

    // An element of any tag with the given VR, the dictionary left out.
    struct AsReadTag {};
    DcElem(AsReadTag, unsigned int tag, DICT_VR vr);

private:
    int frameAsRead(unsigned char* buf, unsigned int& len, bool big);
    int getNewerText(char* buf, unsigned int len);
    int newerNumber(unsigned char* out, unsigned int unit, ELEM_VAL_INDEX index);

    int valueCount = 0;
    int valueCapacity = 0;
    // Set in copies: values and raw buffers are those of the original.
    bool sharesValues = false;
    // Values parsed from data live in one block: the value pointers followed
    // by the values. Null when each value is a block of its own.
    void* pool = nullptr;
    // The values just parsed write back exactly the bytes they came from.
    bool parsedExactly = false;
    // Of pooled text values parsed exactly: they lie one after the other,
    // each ended where its separator was, pooledLen bytes in all.
    unsigned int pooledLen = 0;
    unsigned int pooledBufSize = 0;  // what getBufSize counts for those values
    bool pooledTextInPlace() const { return pool != nullptr && parsedExactly && vrSize == VR_SIZE_BYTE; }
    // The raw buffers of an element that owns its values (rawBufList points
    // here then, and at the original's list in a copy).
    DcBufList ownBufs;

    // How many values the element's tag allows (0: any number).
    int valueLimit();
    // Copies count values (as the writers size them) into blocks of their own.
    void copyValuesFrom(void* const* source, int count);
    // Gives every pooled value a block of its own before values change.
    void unpool();
    // Replaces the values by an empty pool with room for slots value pointers
    // and dataBytes of values; returns where the values go, or null.
    unsigned char* newPool(int slots, size_t dataBytes);
    // Parses a text value into one pool. False when the VR converts each
    // value on its own (the structured and binary VRs); the caller then
    // takes the value by value way.
    bool parseTextPooled(const unsigned char* buf, unsigned int len, DICT_VR v, int& status);

    // Gives a copy values and raw buffers of its own before they change.
    void ownValues();
    DcBufList* ownBufList();

    void initialize(unsigned int newTag, void* buf, unsigned int len, DICT_UID xfer, DICT_VR newVr);
    void initializeByConst(int tagConst, void* buf, unsigned int len, DICT_UID xfer, DICT_VR newVr);
    void** newSlot();
    int storeBinary(const void* value, unsigned int size);
    int storeString(const char* value);
    int addText(char* text);
    int addPiece(DICT_VR resolved, char* piece);
    int refuse(const char* what);
    int refuseRead(const char* what);
    void* valueAtIndex(int& status);
    void advance(ELEM_VAL_INDEX index);
    template <typename Value, typename Accepts, typename Convert>
    int readConverted(Value& value, ELEM_VAL_INDEX index, const char* what, Accepts accepts, Convert convert);
    template <typename Record>
    int readRecord(Record& value, ELEM_VAL_INDEX index, DICT_VR recordVr, const char* what);
    bool isRawVr(DICT_VR v);

    int verifyValueAE(const char* text);
    int verifyValueCS(const char* text);
    int verifyValueDS(const char* text);
    int verifyValueFX(const char* text);
    int verifyValueIS(const char* text);
    int verifyValueLO(const char* text);
    int verifyValueLT(const char* text);
    int verifyValueSH(const char* text);
    int verifyValueUI(const char* text);
    int verifyValueUT(const char* text);
    int verifyValueXL(const char* text);
    int verifyLength(const char* function, const char* text, size_t maxLen);
    int verifyText(const char* function, const char* text, size_t maxLen, bool (*allowed)(unsigned char),
                   bool escapeSkipsCheck);

    int frameValueOX(unsigned char* buf, unsigned int& len, DICT_UID xfer);
    int frameValueNonOX(unsigned char* buf, unsigned int& len, DICT_UID xfer, DICT_VR vr, DICT_VR_SIZE size);
    int parseValBinary(unsigned char* buf, unsigned int len, bool bigEndian);
    int framePixelData(DcBufList* list, DcBuf* target, unsigned int& len, DICT_UID xfer);
    void printValue(FILE* stream, DICT_VR resolved, int i);
};

#endif
