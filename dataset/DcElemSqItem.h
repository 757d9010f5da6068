#ifndef BRENIK3_DATASET_DCELEMSQITEM_H
#define BRENIK3_DATASET_DCELEMSQITEM_H

#include "dataset/DcElem.h"
#include "dataset/DcElemList.h"
#include "foundation/DcList.h"
#include "foundation/Export.h"

class DcElemSq;

// One item (FFFE,E000) of a sequence: an element that owns a data set.
class BRENIK3_API DcElemSqItem : public DcList, public DcElem {
public:
    DcElemSqItem(void* buf = nullptr, unsigned int len = 0, DICT_UID xfer = UID_LITTLE_ENDIAN_IMPLICIT,
                 DICT_VR vr = VR_IM);
    // Copies are shallow: they share the item's data set, which stays owned
    // by the item they were copied from.
    DcElemSqItem(const DcElemSqItem& other);
    DcElemSqItem& operator=(const DcElemSqItem& other);
    ~DcElemSqItem() override;

    // The item's elements (its data set).
    DcElem* add(DcElem* elem);
    DcElem* operator+(DcElem* elem);
    DcElem* subtract(DcElem* elem);
    DcElem* operator-(DcElem* elem);
    DcElem* first();
    DcElem* last();
    DcElemList* getElemList() { return elemList; }

    int getElem(int tagConst, DcElem** out);
    int getElem(unsigned int tag, DcElem** out);
    int getElem(unsigned short group, unsigned short element, DcElem** out);
    int getElem(int tagConst, DcElemSq** out);
    int getElem(unsigned int tag, DcElemSq** out);
    int getElem(unsigned short group, unsigned short element, DcElemSq** out);

    int getValue(int tagConst, DcElemValueAS& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(int tagConst, DcElemValueAT& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(int tagConst, DcElemValueDA& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(int tagConst, DcElemValueDT& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(int tagConst, DcElemValuePN& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(int tagConst, DcElemValueTM& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(int tagConst, DICT_UID& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(int tagConst, char* buf, int len, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(int tagConst, short& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(int tagConst, unsigned short& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(int tagConst, int& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(int tagConst, unsigned int& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(int tagConst, float& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(int tagConst, double& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(int tagConst, DcBuf& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);

    int getValue(unsigned short group, unsigned short element, DcElemValueAS& value,
                 ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned short group, unsigned short element, DcElemValueAT& value,
                 ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned short group, unsigned short element, DcElemValueDA& value,
                 ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned short group, unsigned short element, DcElemValueDT& value,
                 ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned short group, unsigned short element, DcElemValuePN& value,
                 ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned short group, unsigned short element, DcElemValueTM& value,
                 ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned short group, unsigned short element, DICT_UID& value,
                 ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned short group, unsigned short element, char* buf, int len,
                 ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned short group, unsigned short element, short& value,
                 ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned short group, unsigned short element, unsigned short& value,
                 ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned short group, unsigned short element, int& value,
                 ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned short group, unsigned short element, unsigned int& value,
                 ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned short group, unsigned short element, float& value,
                 ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned short group, unsigned short element, double& value,
                 ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned short group, unsigned short element, DcBuf& value,
                 ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);

    int index(int tagConst);
    int index(unsigned int tag);
    int index(unsigned short group, unsigned short element);

    int parseVal(void* buf, unsigned int len, DICT_UID xfer) override;
    int frame(DcBufList* list, unsigned int& len, DICT_UID xfer) override;
    int frame(unsigned char* buf, unsigned int& len, DICT_UID xfer) override;
    int getBufSize(unsigned int& size, int* unused) override;
    int getBufSize(unsigned int& size, int unused) override;
    int resetValueCount() override;
    void printNodeList(FILE* stream) override;

    DcElemSqItem* next();
    DcElemSqItem* previous();

private:
    DcElemList* elemList;
};

// Status of an item given no buffer.
enum { ELEM_SQ_ITEM_ERR_NULL_BUF = 0x2F01 };

#endif
