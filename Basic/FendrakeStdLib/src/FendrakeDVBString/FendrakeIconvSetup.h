// Shared by the converter and the broadcast text path, which keeps its
// handle on the stack.
#ifndef BASIC_FENDRAKESTDLIB_SRC_FENDRAKEDVBSTRING_FENDRAKEICONVSETUP_H
#define BASIC_FENDRAKESTDLIB_SRC_FENDRAKEDVBSTRING_FENDRAKEICONVSETUP_H

#include "Basic/FendrakeStdLib/FendrakeIconv.h"

// Fills oHandle as fendrake_iconv_open would; false where it would give -1.
bool FendrakeIconvSetup(FendrakeIconvHandle& oHandle, const char* iToCode, const char* iFromCode);

// For a conversion to UTF-8 from a single-byte table: the code points of
// the bytes 0xA0 to 0xFF (those below stand for themselves), so that a caller
// may convert byte by byte; null otherwise. oComposing tells that marks
// (U+0300 to U+036F) combine with the next character (ISO 6937).
const uint16_t* FendrakeIconvHighHalf(const FendrakeIconvHandle& iHandle, bool& oComposing);
// Whether the conversion is from "UCS2" to UTF-8, pair by pair.
bool FendrakeIconvIsUcs2ToUtf8(const FendrakeIconvHandle& iHandle);
// The character of a mark and a base, or null if the pair has none.
const uint16_t* FendrakeIconvComposition(uint32_t iMark, uint32_t iBase);

#endif
