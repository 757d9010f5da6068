#include "common/ErrorText.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

#include <Brenik3.h>

namespace b3tool {

std::string systemErrorText(int error)
{
    if (error == ENOSPC || error == EDQUOT)
        return "disk full";
    if (error == EFBIG)
        return "file too large";
    return strerror(error);
}

std::string fileErrorText(int status, int error)
{
    std::string words;
    switch (status) {
    case DIR_ERR_SIZE_LIMIT: words = "file too large"; break;
    case DIR_ERR_NO_META: words = "not a DICOM Part 10 file"; break;
    case DIR_ERR_MALFORMED: words = "malformed file meta information"; break;
    case DIR_ERR_OPEN: words = "cannot open the file" + (error != 0 ? ": " + systemErrorText(error) : ""); break;
    case DIR_ERR_STAT: words = "no such file"; break;
    case DIR_ERR_IO:
        words = error == ENOSPC || error == EDQUOT || error == EFBIG ? systemErrorText(error) : "read or write error";
        break;
    case DIR_ERR_INVALID: words = "incomplete or invalid content"; break;
    default: words = error == ENOSPC || error == EFBIG ? systemErrorText(error) : "failed"; break;
    }
    char code[32];
    snprintf(code, sizeof code, " (status 0x%04x)", static_cast<unsigned int>(status));
    return words + code;
}

}
