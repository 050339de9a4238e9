#include "Basic/FendrakeStdLib/FendrakeStdio.h"

#include "Basic/FendrakeStdLib/FendrakeAssert.h"
#include "Basic/FendrakeStdLib/FendrakePrintfOutput.h"

#include <cstring>

int SnprintfOutput::LimitReached() {
    mEnd[-1] = 0;
    return 1;
}

// The result of fendrake_strnlen bounded by the buffer size; the C library's
// strnlen gives the same and scans long texts faster.
unsigned int SnprintfOutput::Strlen(const char* iText) const {
    return static_cast<unsigned int>(strnlen(iText, static_cast<size_t>(mEnd - mStart)));
}

int fendrake_vsnprintf(char* oBuffer, unsigned int iSize, const char* iFormat, va_list iArgs) {
    if (iSize == 0)
        return -1;
    FENDRAKE_ASSERT_AT("Basic/FendrakeStdLib/src/FendrakeStdio/fendrake_vsnprintf", 71, oBuffer,
                       "str");
    if (!oBuffer)
        return -1; // the hook returned: there is nowhere to write
    SnprintfOutput output(oBuffer, iSize);
    if (output.AppendFormatedPrintfV(true, iFormat, iArgs) == 1)
        return -1;
    return static_cast<int>(output.Count()) - 1;
}

int fendrake_snprintf(char* oBuffer, unsigned int iSize, const char* iFormat, ...) {
    va_list args;
    va_start(args, iFormat);
    const int result = fendrake_vsnprintf(oBuffer, iSize, iFormat, args);
    va_end(args);
    return result;
}
