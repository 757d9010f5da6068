#ifndef BRENIK3_DATASET_DCELEMLIST_H
#define BRENIK3_DATASET_DCELEMLIST_H

#include <cstdio>

#include "dataset/DcElem.h"
#include "foundation/DcBuf.h"
#include "foundation/DcList.h"
#include "foundation/Export.h"

// Status codes of the data set (module 0x18).
enum {
    ELEMLIST_ERR_NULL_ARG = 0x1801,
    ELEMLIST_ERR_NOT_FOUND = 0x1802
};

// Print modes of DcElemList::printNodeList.
enum PRINT_NODE { PRINT_NODE_FLAT = 0, PRINT_NODE_TREE = 1 };

class DcElemSq;

// The decoded header of one element.
struct BRENIK3_API DcElemHdr {
    unsigned short group;
    unsigned short element;
    unsigned int vrFieldLen;  // bytes of the VR field: 0, 2 or 4
    DICT_VR vr;
    unsigned int valueLen;
};

// A data set: elements in ascending tag order, at most one per tag. Parses
// encoded data into elements and writes itself in a transfer syntax with its
// group lengths filled in.
class BRENIK3_API DcElemList : public DcList {
public:
    DcElemList(void* buf = nullptr, unsigned int len = 0, DICT_UID xfer = UID_LITTLE_ENDIAN_IMPLICIT);
    // Copies are shallow: they share the elements and the attached buffers,
    // which stay owned by the set they were copied from (see DcList).
    DcElemList(const DcElemList& other);
    DcElemList& operator=(const DcElemList& other);
    ~DcElemList() override;

    // Orders elements (given as DcNode*) by tag.
    static int compFunc(void* a, void* b);

    // Inserts in tag order, replacing an element of the same tag.
    DcElem* add(DcElem* elem);
    DcElem* operator+(DcElem* elem);
    // Unlinks without destroying; returns the element that followed.
    DcElem* subtract(DcElem* elem);
    DcElem* operator-(DcElem* elem);
    DcElem* first() { return static_cast<DcElem*>(DcList::first()); }
    DcElem* last() { return static_cast<DcElem*>(DcList::last()); }

    // Buffers attached to the set by its users.
    DcBuf* add(DcBuf* buf);
    DcBuf* subtract(DcBuf* buf);
    DcBuf* operator+(DcBuf* buf);
    DcBuf* operator-(DcBuf* buf);
    DcBufList* getBufList() { return bufList; }

    // Finding elements; out may be null to test presence.
    int getElem(unsigned int tag, DcElem** out);
    int getElem(int tagConst, DcElem** out);
    int getElem(unsigned short group, unsigned short element, DcElem** out);
    int getElem(unsigned int tag, DcElemSq** out);
    int getElem(int tagConst, DcElemSq** out);
    int getElem(unsigned short group, unsigned short element, DcElemSq** out);

    // Reading a value of an element of the set.
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

    int getValue(unsigned int tag, DcElemValueAS& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned int tag, DcElemValueAT& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned int tag, DcElemValueDA& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned int tag, DcElemValueDT& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned int tag, DcElemValuePN& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned int tag, DcElemValueTM& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned int tag, DICT_UID& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned int tag, char* buf, int len, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned int tag, short& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned int tag, unsigned short& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned int tag, int& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned int tag, unsigned int& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned int tag, float& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned int tag, double& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);
    int getValue(unsigned int tag, DcBuf& value, ELEM_VAL_INDEX index = ELEM_VAL_INDEX_INCREMENT);

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

    // Positioning the list's cursor on an element.
    int index(int tagConst);
    int index(unsigned int tag);
    int index(unsigned short group, unsigned short element);
    int index(DcElem* elem);

    // Moves every element into to (replacing duplicates there).
    int moveElem(DcElemList* to);
    // Makes to a deep copy of this set, or of the elements whose tags are
    // listed in tags (ended by 0xFFFFFFFF; null: all). Group 7FE0 is never copied.
    int duplicate(DcElemList* to, unsigned int* tags = nullptr);

    // Parsing encoded elements into the set; len receives the bytes left.
    int parse(void* buf, unsigned int& len, DICT_UID xfer);
    int parse(DcBufList* list);
    int parse();
    // Extension: adds a Pixel Data whose value stays in a file (handle is
    // duplicated; offset and length of the value) with the VR it was read
    // with (VR_IM: the dictionary's). In lossless mode the element counts as
    // read unchanged, so that frame writes this VR again. Returns 0 or a status.
    int addPixelDataOnDisk(int handle, int offset, unsigned int length, DICT_UID xfer, DICT_VR vr);

    // Writing the set in a transfer syntax.
    int frame(unsigned char* buf, unsigned int& len, DICT_UID xfer);
    int frame(DcBufList* list, unsigned int& len, DICT_UID xfer);
    // Upper bound of the encoded size, leaving out the tags listed in exclude
    // (ended by 0xFFFFFFFF).
    int getBufSize(unsigned int& size, int* exclude);
    int getBufSize(unsigned int& size, int unused = 0);
    int resetValueCount();
    void printNodeList(FILE* stream, PRINT_NODE mode = PRINT_NODE_FLAT);

    // Lossless mode (off by default). When on, parsing drops nothing:
    // elements of unknown tags are kept (as UN in the implicit syntax, with
    // their own VR in the explicit ones), retired ones and those of the newer
    // VRs too, without the "Ignored ..." reports; and every element keeps the
    // bytes it was read from, so that frame writes an element the caller has
    // not changed byte for byte as it was read (legacy text such as a DA of
    // "1997.04.24" or an IS of "1A", trailing pads, undefined lengths of
    // sequences and items, and the OB/OW choice of Pixel Data). Values are
    // still decoded as usual for getValue. Sequence items parsed by a
    // lossless set are lossless too. The mode affects later parses only.
    void setLossless(bool on) { lossless = on; }
    bool isLossless() const { return lossless; }
    // The mode every data set constructed from now on starts with (off until
    // changed); the command-line tools switch it on.
    static void setLosslessDefault(bool on);
    static bool losslessDefault();

protected:
    DcBufList* bufList;
    bool lossless;

    int readHdr(unsigned char* buf, unsigned int len, DICT_UID xfer, DcElemHdr& hdr, unsigned int& hdrLen);
    int parseVr(unsigned char* buf, unsigned int len, DICT_UID xfer, DcElemHdr& hdr);
    int parseValLen(unsigned char* buf, unsigned int len, DICT_UID xfer, DcElemHdr& hdr, unsigned int& extra);
    int parseElem(unsigned char* buf, unsigned int len, DICT_UID xfer, unsigned int& used);
    void keepElem(DcElemHdr& hdr, bool known, unsigned char* value, unsigned char* lengthField,
                  unsigned int fieldLen, DICT_UID xfer);

private:
    DcElem* find(unsigned int tag);
    int findByConst(int tagConst, DcElem*& elem);
    void setPixelDataVr(DICT_UID xfer);
    void printTree(FILE* stream, int depth);
    template <typename Value>
    int readValue(DcElem* elem, int status, Value& value, ELEM_VAL_INDEX index);
    template <typename Writer>
    int frameElements(unsigned int& len, Writer write);
    friend class DcElemSq;
    friend class DcElemSqItem;
};

#endif
