// utf8shortestform on any bytes, with and without surrogate combination, into
// an output of exactly the capacity taken from the first byte.
#include "Basic/FendrakeStdLib/FendrakeEncode.h"

#include "FuzzQuiet.h"

#include <cstdint>
#include <cstdlib>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* iData, size_t iSize) {
    if (iSize < 1)
        return 0;
    const unsigned int capacity = iData[0] & 0x7F;
    std::vector<unsigned char> text(iData + 1, iData + iSize);
    std::vector<unsigned char> out(capacity);
    const int result = utf8shortestform(text.data(), static_cast<unsigned int>(text.size()),
                                        out.data(), capacity, iData[0] & 0x80);
    if (result != -1 && result != static_cast<int>(capacity))
        abort();
    return 0;
}
