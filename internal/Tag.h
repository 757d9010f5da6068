#ifndef BRENIK3_INTERNAL_TAG_H
#define BRENIK3_INTERNAL_TAG_H

namespace brenik3 {

// The 32-bit tag of a group and element number: group in the high half.
inline unsigned int makeTag(unsigned short int group, unsigned short int element)
{
    return (static_cast<unsigned int>(group) << 16) | element;
}

}

#endif
