#ifndef BRENIK3_DATASET_DCELEMSQ_H
#define BRENIK3_DATASET_DCELEMSQ_H

#include "dataset/DcElem.h"
#include "dataset/DcElemSqItem.h"
#include "foundation/DcList.h"
#include "foundation/Export.h"

// A sequence element (VR SQ): a list of items, each a data set of its own.
// Written always with defined lengths; read with defined or undefined ones.
class BRENIK3_API DcElemSq : public DcList, public DcElem {
public:
    DcElemSq(int tag, void* buf = nullptr, unsigned int len = 0, DICT_UID xfer = UID_LITTLE_ENDIAN_IMPLICIT,
             DICT_VR vr = VR_IM);
    DcElemSq(unsigned short group, unsigned short element, void* buf = nullptr, unsigned int len = 0,
             DICT_UID xfer = UID_LITTLE_ENDIAN_IMPLICIT, DICT_VR vr = VR_IM);
    // Copies are shallow: they share the items, which stay owned by the
    // sequence they were copied from.
    DcElemSq(const DcElemSq& other) = default;
    DcElemSq& operator=(const DcElemSq& other) = default;
    ~DcElemSq() override;

    // Appends an item (the sequence takes ownership) and returns it; null, with
    // the item destroyed, when the dictionary has no member list for the tag.
    DcElemSqItem* add(DcElemSqItem* item);
    DcElemSqItem* operator+(DcElemSqItem* item);
    // Unlinks an item without destroying it; returns the item that followed.
    DcElemSqItem* subtract(DcElemSqItem* item);
    DcElemSqItem* operator-(DcElemSqItem* item);
    DcElemSqItem* first();
    DcElemSqItem* last();

    int parseVal(void* buf, unsigned int len, DICT_UID xfer) override;
    int frame(DcBufList* list, unsigned int& len, DICT_UID xfer) override;
    int frame(unsigned char* buf, unsigned int& len, DICT_UID xfer) override;
    int getBufSize(unsigned int& size, int* unused) override;
    int getBufSize(unsigned int& size, int unused) override;
    int resetValueCount() override;
    void printNodeList(FILE* stream) override;

private:
    friend class DcElemList;
    // A sequence of a tag the dictionary does not know, read in lossless mode.
    DcElemSq(AsReadTag, unsigned int tag, void* buf, unsigned int len, DICT_UID xfer);
    void appendItem(DcElemSqItem* item);
};

#endif
