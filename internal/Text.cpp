#include "internal/Text.h"

#include "foundation/util.h"

namespace brenik3 {

void copyStripped(char* out, const char* text, size_t max)
{
    copyText(out, text, max);
    utilRemoveSpace(out, UTIL_SPACE_LEADING | UTIL_SPACE_TRAILING);
}

}
