// utf8shortestform on any bytes, with and without surrogate combination, into
// an output of exactly the capacity taken from the first byte.
#include "Basic/FendrakeStdLib/FendrakeEncode.h"

#include "FuzzSupport.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* iData, size_t iSize) {
    if (iSize < 1)
        return 0;
    FuzzCodecInput in(iData, iSize);
    const int result =
        utf8shortestform(in.mText.data(), in.TextLength(), in.mOut.data(), in.mCapacity, in.mFlag);
    if (result != -1 && result != static_cast<int>(in.mCapacity))
        abort();
    return 0;
}
