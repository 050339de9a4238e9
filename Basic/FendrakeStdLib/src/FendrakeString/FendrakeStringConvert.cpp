// Character conversion into any string through the two-phase append.
#include "Basic/FendrakeStdLib/FendrakeString.h"

#include "Basic/FendrakeStdLib/FendrakeIconv.h"
#include "Basic/FendrakeStdLib/src/FendrakeString/FendrakeStringInside.h"

bool FendrakeStringInterface::appendConvert(const char* iSource, unsigned int iLength,
                                            const char* iSourceCharset) {
    // Each round's request may move or free this text: a source inside it is copied aside.
    if (FendrakeStringHolds(*this, iSource, iLength)) {
        const std::string source(iSource, iLength);
        return appendConvert(source.data(), iLength, iSourceCharset);
    }
    void* converter = fendrake_iconv_open("UTF-8", iSourceCharset);
    if (converter == reinterpret_cast<void*>(-1))
        return false;
    const char* in = iSource;
    unsigned int inLeft = iLength;
    for (;;) {
        // Half the input plus room for the longest character: most text needs
        // one round, and every round gets on.
        unsigned int size = (inLeft >> 1) + 6;
        char* room = appendRequest(size);
        if (size == 0)
            break;
        char* out = room;
        unsigned int outLeft = size;
        const unsigned int written = fendrake_iconv(converter, &in, &inLeft, &out, &outLeft);
        appendRelease(size, written);
        if (fendrake_iconv_get_stop_reson(converter) != FENDRAKE_ICONV_STOP_OUTPUT_FULL)
            break;
    }
    fendrake_iconv_close(converter);
    return true;
}
