// Whether a source lies in a string that is about to be cleared or grown, so
// that the writer copies it aside first.
#ifndef BASIC_FENDRAKESTDLIB_SRC_FENDRAKESTRING_FENDRAKESTRINGINSIDE_H
#define BASIC_FENDRAKESTDLIB_SRC_FENDRAKESTRING_FENDRAKESTRINGINSIDE_H

#include "Basic/FendrakeStdLib/FendrakeString.h"

#include <functional>

// True if iLength bytes at iData start inside iString's text.
inline bool FendrakeStringHolds(const FendrakeConstStringInterface& iString, const char* iData,
                                unsigned int iLength) {
    const std::less<const char*> before;
    const char* const text = iString.data();
    return iLength && !before(iData, text) && before(iData, text + iString.length());
}

#endif
