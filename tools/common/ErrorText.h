#ifndef BRENIK3_TOOLS_ERRORTEXT_H
#define BRENIK3_TOOLS_ERRORTEXT_H

#include <string>

namespace b3tool {

// A failed system call in words: "disk full", "file too large", or strerror.
std::string systemErrorText(int error);

// Why reading or writing a file failed, in words, with the status code in
// parentheses: "disk full (status 0x5804)". error is errno as it was right
// after the failing call.
std::string fileErrorText(int status, int error);

}

#endif
