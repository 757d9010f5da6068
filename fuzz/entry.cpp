// The libFuzzer entry of one target; FUZZ_TARGET names its function.
#include "FuzzTargets.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    return FUZZ_TARGET(data, size);
}
