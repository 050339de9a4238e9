// Stacks of the calling thread through the C library's backtrace, with
// demangled names. Uses malloc, so not for signal handlers.
#include "Basic/FendrakeStdLib/FendrakeObjectMonitor.h"

#include "Basic/FendrakeStdLib/FendrakeDebug.h"
#include "Basic/FendrakeStdLib/FendrakeOstream.h"

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <cxxabi.h>
#include <execinfo.h>

namespace {
const unsigned int kMostFrames = 256;

// To the stream, or to the log at level 0 when there is none.
void PrintLine(FILE* iOut, const char* iFormat, ...) {
    va_list args;
    va_start(args, iFormat);
    if (iOut) {
        vfprintf(iOut, iFormat, args);
    } else {
        const int access = getprintaccess();
        FendrakeOstreamFormatAppendV(*pCoutFendrakeOstream, iFormat, args);
        if (access)
            releaseprintaccess();
    }
    va_end(args);
}
} // namespace

unsigned int FendrakeObjectMonitor::GetStacktrace(void** oFrames, unsigned int iMaximum) {
    const int count = backtrace(oFrames, static_cast<int>(iMaximum & 0x3FFFFFFFU));
    return count > 0 ? static_cast<unsigned int>(count) : 0;
}

void FendrakeObjectMonitor::PrintStack(void** iFrames, unsigned int iCount, FILE* iOut,
                                       unsigned int iSkip) {
    if (iSkip >= iCount)
        return;
    char** symbols = backtrace_symbols(iFrames, static_cast<int>(iCount));
    if (!symbols)
        return;
    size_t length = 256;
    char* buffer = static_cast<char*>(malloc(length));
    for (unsigned int i = iSkip; i < iCount; ++i) {
        char* line = symbols[i];
        char* open = strrchr(line, '(');
        char* plus = strrchr(line, '+');
        char* close = plus ? strchr(plus, ')') : nullptr;
        if (!open || !plus || !close || open > plus)
            continue;
        *open = 0;
        *plus = 0;
        *close = 0;
        int status = 0;
        char* demangled = abi::__cxa_demangle(open + 1, buffer, &length, &status);
        if (demangled) {
            buffer = demangled; // it may have moved
            PrintLine(iOut, "  %s : %s+%s\n", line, demangled, plus + 1);
        } else {
            PrintLine(iOut, "  %s : %s()+%s\n", line, open + 1, plus + 1);
        }
    }
    free(buffer);
    free(symbols);
}

void FendrakeObjectMonitor::PrintStacktrace(FILE* iOut, unsigned int iMaximum, unsigned int iSkip) {
    PrintLine(iOut, "FendrakeStackTrace:\n");
    // The frames live on the stack: bounded, whatever the caller asks for.
    void* frames[kMostFrames + 1];
    const unsigned int wanted = iMaximum < kMostFrames ? iMaximum + 1 : kMostFrames + 1;
    const unsigned int count = GetStacktrace(frames, wanted);
    if (count == 0)
        PrintLine(iOut, "  <empty, possibly corrupt>\n");
    else
        PrintStack(frames, count, iOut, iSkip);
}
