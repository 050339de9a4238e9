// xmlunescapechars on any text, with an output capacity from the first byte
// and an output of exactly that size.
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
    const int written = xmlunescapechars(text.data(), static_cast<unsigned int>(text.size()),
                                         out.data(), capacity, iData[0] & 0x80);
    if (written > static_cast<int>(capacity) || written > static_cast<int>(text.size()))
        abort();
    return 0;
}
