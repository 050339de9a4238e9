// xmlunescapechars on any text, with and without tag stripping, into an output
// of exactly the capacity taken from the first byte.
#include "Basic/FendrakeStdLib/FendrakeEncode.h"

#include "FuzzSupport.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* iData, size_t iSize) {
    if (iSize < 1)
        return 0;
    FuzzCodecInput in(iData, iSize);
    const int written =
        xmlunescapechars(in.mText.data(), in.TextLength(), in.mOut.data(), in.mCapacity, in.mFlag);
    if (written > static_cast<int>(in.mCapacity) || written > static_cast<int>(in.TextLength()))
        abort();
    return 0;
}
