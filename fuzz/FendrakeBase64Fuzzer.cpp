// base64decode on any text into an output of exactly the size it asks for,
// then back and forth again: the second round must give the same bytes.
#include "Basic/FendrakeStdLib/FendrakeEncode.h"

#include "FuzzSupport.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* iData, size_t iSize) {
    const int length = static_cast<int>(iSize);
    const int size = base64decodeBufferSize(iData, length);
    std::vector<unsigned char> decoded(size > 0 ? size : 0);
    const int written = base64decode(iData, length, decoded.data(), size > 0 ? size : 0);
    if ((size < 0) != (written < 0) || written > (size > 0 ? size : 0))
        abort();
    if (written <= 0)
        return 0;
    std::vector<unsigned char> encoded(base64encodeBufferSize(written));
    const int encodedLength =
        base64encode(decoded.data(), written, encoded.data(), static_cast<int>(encoded.size()));
    std::vector<unsigned char> again(written);
    if (base64decode(encoded.data(), encodedLength, again.data(), written) != written ||
        memcmp(again.data(), decoded.data(), written) != 0)
        abort();
    return 0;
}
