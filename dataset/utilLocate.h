#ifndef BRENIK3_DATASET_UTILLOCATE_H
#define BRENIK3_DATASET_UTILLOCATE_H

#include "dictionary/DcDictTypes.h"
#include "foundation/util.h"
#include "foundation/Export.h"

// Measuring and searching encoded data without building elements. Each
// returns 0, UTIL_ERR_NOT_FOUND, UTIL_ERR_NULL_ARG, UTIL_ERR_LENGTH or
// UTIL_ERR_XFER_SYNTAX.
//
// The length functions take buf (or offset in the file) at a 4-byte value
// length field and len, the bytes from there to the end of the data. They
// give the value length in valLen; for an undefined length (0xFFFFFFFF) the
// distance to the closing delimiter, whose 8 bytes the caller steps over as
// told by extra. With allowUnterminated a missing delimiter means "up to the
// end of the data".

// OB, OW, UN, OX and UT values: up to the first Sequence Delimitation Item.
BRENIK3_API int utilGetOxValLen(unsigned char* buf, unsigned int len, DICT_UID xfer, unsigned int& valLen, int& extra,
                    int allowUnterminated);

// Sequences: up to the Sequence Delimitation Item that closes this sequence.
BRENIK3_API int utilGetSqValLen(unsigned char* buf, unsigned int len, DICT_UID xfer, unsigned int& valLen, int& extra,
                    int allowUnterminated);
BRENIK3_API int utilGetSqValLen(int fileHandle, int offset, unsigned int len, DICT_UID xfer, unsigned int& valLen,
                    int& extra, int allowUnterminated);

// Items: up to the Item Delimitation Item that closes this item.
BRENIK3_API int utilGetSqItemValLen(unsigned char* buf, unsigned int len, DICT_UID xfer, unsigned int& valLen, int& extra);
BRENIK3_API int utilGetSqItemValLen(int fileHandle, int offset, unsigned int len, DICT_UID xfer, unsigned int& valLen,
                        int& extra);

// Offset of the first even position where the tag's four bytes occur.
BRENIK3_API int utilGetElemOffset(unsigned char* buf, unsigned int len, DICT_UID xfer, unsigned short group,
                      unsigned short element, unsigned int& offset);
BRENIK3_API int utilGetElemOffset(unsigned char* buf, unsigned int len, DICT_UID xfer, int tagConst, unsigned int& offset);
BRENIK3_API int utilGetElemOffset(int fileHandle, int start, unsigned int len, DICT_UID xfer, unsigned short group,
                      unsigned short element, unsigned int& offset);
BRENIK3_API int utilGetElemOffset(int fileHandle, int start, unsigned int len, DICT_UID xfer, int tagConst,
                      unsigned int& offset);

#endif
