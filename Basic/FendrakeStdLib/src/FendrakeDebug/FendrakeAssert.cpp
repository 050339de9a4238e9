#include "Basic/FendrakeStdLib/FendrakeAssert.h"

#include "Basic/FendrakeOS/FendrakeThread.h"
#include "Basic/FendrakeStdLib/FendrakeStdio.h"

#include <atomic>
#include <cctype>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {
const char* const kAssertion = "Assertion";
const char* const kAttention = "Attention";

int LevelOf(FendrakeFailureStream::Kind iKind) {
    return iKind == FendrakeFailureStream::eAssertion ? 1 : 2;
}

// The hook of each kind: the assertion's may not return.
void FireHook(FendrakeFailureStream::Kind iKind, const char* iFile, int iLine) {
    if (iKind == FendrakeFailureStream::eAssertion)
        fassert_point_fired();
    else
        fcheck_point_fired(iFile, iLine, 2, "", "", "");
}

// Plain form: the line goes through the line buffer without a context line.
void ReportPlain(FendrakeFailureStream::Kind iKind, const char* iFile, int iLine,
                 const char* iExpression) {
    const int access = getprintaccess();
    if (fendrake_level_enabled(LevelOf(iKind)))
        fendrake_print_with_level(
            LevelOf(iKind), "", "", "", "%s:%d %s `%s' failed (calling task: %s).\n", iFile, iLine,
            iKind == FendrakeFailureStream::eAssertion ? kAssertion : kAttention, iExpression,
            FendrakeThreadThisName());
    if (access)
        releaseprintaccess();
    FireHook(iKind, iFile, iLine);
}

void ReportDetailV(FendrakeFailureStream::Kind iKind, const char* iFile, int iLine,
                   const char* iExpression, const char* iFormat, va_list iArgs) {
    FendrakeFailureStream failure(iFile, iLine, iExpression, iKind);
    if (failure.printing())
        FendrakeOstreamFormatAppendV(*pCoutFendrakeOstream, iFormat, iArgs);
    failure.fire();
}

// Where fendrake_memory_is_valid leaves its count, so the reads are not optimised away.
std::atomic<unsigned int> sZeroBytesSeen{0};
} // namespace

FendrakeFailureStream::FendrakeFailureStream(const char* iFile, int iLine, const char* iExpression,
                                             Kind iKind)
    : mFile(iFile), mLine(iLine), mKind(iKind), mAccess(getprintaccess()),
      mPrinting(fendrake_level_enabled(LevelOf(iKind))) {
    if (!mPrinting)
        return;
    FendrakeOstream& stream = *pCoutFendrakeOstream;
    stream.mFlags |= FendrakeOstream::eDecimal;
    stream.mBase = 10;
    stream << iFile << ":" << iLine << (iKind == eAssertion ? " Assertion `" : " Attention `")
           << iExpression << "' failed (calling task: " << FendrakeThreadThisName() << ").\n";
}

FendrakeFailureStream::~FendrakeFailureStream() {
    iRelease();
}

void FendrakeFailureStream::iRelease() {
    if (mAccess)
        releaseprintaccess();
    mAccess = 0;
}

void FendrakeFailureStream::fire() {
    if (mPrinting && pCoutFendrakeOstream->mOutput->Count() != 0)
        *pCoutFendrakeOstream << "\n"; // details that did not end their line
    iRelease();
    FireHook(mKind, mFile, mLine);
}

extern "C" {

void __fassert_point_fired(void) {
    fflush(stdout);
    fendrake_print_call_stack();
    fbreakpoint();
    abort();
}
void fassert_point_fired(void) __attribute__((weak, alias("__fassert_point_fired")));

void fabort(void) {
    fflush(stdout);
    fendrake_print_call_stack();
    fbreakpoint();
    abort();
}

void fendrake_print_call_stack(void) {}

void __fcheck_point_fired(const char* iFile, int iLine, unsigned iDebugLevel, const char* iLayer,
                          const char* iModule, const char* iSubmodule) {
    FendrakeLogStatement(iFile, iLine, 1, 0)
        << " debuglevel=" << iDebugLevel << ", layer=" << iLayer << ", module=" << iModule
        << ", submodule=" << iSubmodule << "\n";
    fflush(stdout);
    fendrake_print_call_stack();
}
void fcheck_point_fired(const char* iFile, int iLine, unsigned iDebugLevel, const char* iLayer,
                        const char* iModule, const char* iSubmodule)
    __attribute__((weak, alias("__fcheck_point_fired")));

void fendrake_assertion_failed(const char* iFile, int iLine, const char* iExpression) {
    ReportPlain(FendrakeFailureStream::eAssertion, iFile, iLine, iExpression);
}

void fendrake_assertion_failed_detail(const char* iFile, int iLine, const char* iExpression,
                                      const char* iFormat, ...) {
    va_list args;
    va_start(args, iFormat);
    ReportDetailV(FendrakeFailureStream::eAssertion, iFile, iLine, iExpression, iFormat, args);
    va_end(args);
}

void fendrake_attention(const char* iFile, int iLine, const char* iExpression) {
    ReportPlain(FendrakeFailureStream::eAttention, iFile, iLine, iExpression);
}

void fendrake_attention_detail(const char* iFile, int iLine, const char* iExpression,
                               const char* iFormat, ...) {
    va_list args;
    va_start(args, iFormat);
    ReportDetailV(FendrakeFailureStream::eAttention, iFile, iLine, iExpression, iFormat, args);
    va_end(args);
}

void fprintmemdump(const char* iPrefix, const unsigned char* iData, unsigned iLength) {
    const int access = getprintaccess();
    for (unsigned offset = 0; offset < iLength; offset += 16) {
        char columns[16 * 3 + 1];
        char characters[16 + 1];
        for (unsigned k = 0; k < 16; ++k) {
            const bool inside = offset + k < iLength;
            const unsigned char byte = inside ? iData[offset + k] : 0;
            fendrake_snprintf(columns + 3 * k, 4, inside ? "%02x " : "   ", byte);
            characters[k] = !inside ? ' ' : isprint(byte) ? static_cast<char>(byte) : '.';
        }
        characters[16] = 0;
        fendrake_print_with_level(1, "", "", "", "%s%p: %s%s\n", iPrefix, iData + offset, columns,
                                  characters);
    }
    if (access)
        releaseprintaccess();
}

void fendrake_memory_is_valid(unsigned char* iData, unsigned iLength) {
    const volatile unsigned char* data = iData;
    unsigned int zeros = 0;
    for (unsigned i = 0; i < iLength; ++i)
        zeros += data[i] == 0;
    sZeroBytesSeen.fetch_add(zeros, std::memory_order_relaxed);
}
}

void PrintCallStack(FendrakeThread*, FunctionTrack1*, const char*, bool) {}

void FendrakeDebugInitPlatform() {}

void FendrakeDebugTermPlatform() {}

void PrintCallArguments(const char* iFile, int iLine, void* iResult, const char* iFunction, ...) {
    const int access = getprintaccess();
    if (fendrake_level_enabled(1)) {
        fendrake_print_with_level(1, "", "", "", "%s:%d:CallReturn %s(", iFile, iLine, iFunction);
        va_list args;
        va_start(args, iFunction);
        const char* separator = "";
        for (unsigned int word; (word = va_arg(args, unsigned int)) != FENDRAKE_CALL_ARGUMENTS_END;
             separator = ", ")
            fendrake_print_with_level(1, "", "", "", "%s%#x", separator, word);
        va_end(args);
        fendrake_print_with_level(1, "", "", "", ") = %p\n", iResult);
    }
    if (access)
        releaseprintaccess();
}

bool GetName(FendrakeVector<MapName>& ioMap, unsigned long iAddress, MapName& oName) {
    // The last entry that starts at or before the address.
    std::size_t low = 0;
    std::size_t high = ioMap.size();
    while (low < high) {
        const std::size_t middle = low + (high - low) / 2;
        if (ioMap[middle].mStart <= iAddress)
            low = middle + 1;
        else
            high = middle;
    }
    if (low == 0 || ioMap[low - 1].mEnd <= iAddress)
        return false;
    oName = ioMap[low - 1];
    return true;
}
