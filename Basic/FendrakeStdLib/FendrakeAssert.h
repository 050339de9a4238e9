// Assertions, check points and the helpers that print stacks and memory.
// A failed assertion prints "<path>:<line> Assertion `<text>' failed (calling
// task: <thread>)." at level 1 and ends in fassert_point_fired, which does not
// return unless the application replaced it. A check point prints the same
// with " Attention `" at level 2 and calls fcheck_point_fired, which returns.
// Where the printed place is fixed, call sites pass it through the *_AT forms
// with the expression text as it must print, so reformatting never moves it.
// Threads: any thread; the hooks take no lock, the printing takes print access.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEASSERT_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEASSERT_H

#include "Basic/FendrakeStdLib/FendrakeDebug.h"
#include "Basic/FendrakeStdLib/FendrakeOstream.h"
#include "Basic/FendrakeStdLib/FendrakeVector.h"

class FendrakeThread;
class FunctionTrack1;

extern "C" {

// Supplied by the application: where a debugger can stop before abort.
void fbreakpoint(void);

// Weak over the strong __ names, so an application can replace them.
// The default assertion hook flushes standard output, calls fbreakpoint and aborts.
void fassert_point_fired(void);
void __fassert_point_fired(void);
// The default prints "<context> debuglevel=<n>, layer=.., module=.., submodule=.."
// at level 1 and returns.
void fcheck_point_fired(const char* iFile, int iLine, unsigned iDebugLevel, const char* iLayer,
                        const char* iModule, const char* iSubmodule);
void __fcheck_point_fired(const char* iFile, int iLine, unsigned iDebugLevel, const char* iLayer,
                          const char* iModule, const char* iSubmodule);
// The same four steps as the default assertion hook, but not replaceable.
void fabort(void);
// Empty on this platform.
void fendrake_print_call_stack(void);

// Print the assertion line, then fire the hook.
void fendrake_assertion_failed(const char* iFile, int iLine, const char* iExpression);
// As above, with details in the library's format language, ending in a newline.
void fendrake_assertion_failed_detail(const char* iFile, int iLine, const char* iExpression,
                                      const char* iFormat, ...);
// Print the attention line at level 2, then fire the check point.
void fendrake_attention(const char* iFile, int iLine, const char* iExpression);
void fendrake_attention_detail(const char* iFile, int iLine, const char* iExpression,
                               const char* iFormat, ...);

// Logs iLength bytes, 16 to a line with address, hexadecimal and characters,
// at level 1 whatever the output level.
void fprintmemdump(const char* iPrefix, const unsigned char* iData, unsigned iLength);
// Reads every byte of the range, so that a bad range faults here and not later.
void fendrake_memory_is_valid(unsigned char* iData, unsigned iLength);
}

// Empty on this platform.
void PrintCallStack(FendrakeThread* iThread, FunctionTrack1* iTrack, const char* iText, bool iAll);
void FendrakeDebugInitPlatform();
void FendrakeDebugTermPlatform();

// Ends the argument list of PrintCallArguments.
#define FENDRAKE_CALL_ARGUMENTS_END 0xfaed0123u
// Logs "<file>:<line>:CallReturn <function>(0x1, 0x2) = <result>" at level 1.
// The arguments are 32-bit words; the last must be FENDRAKE_CALL_ARGUMENTS_END.
void PrintCallArguments(const char* iFile, int iLine, void* iResult, const char* iFunction, ...);

// One entry of a symbol map: [mStart, mEnd) and its name.
struct MapName {
    unsigned long mStart;
    unsigned long mEnd;
    char mName[256 - 2 * sizeof(unsigned long)];
};
// ioMap is sorted by mStart. True, with the entry in oName, if one holds iAddress.
bool GetName(FendrakeVector<MapName>& ioMap, unsigned long iAddress, MapName& oName);

// Stream form of an assertion or a check point: the line is written at once
// when the level passes (1 for an assertion, 2 for a check point), details
// follow through operator<<, and fire() adds a missing newline, releases
// print access and calls the hook. Used through the macros below.
class FendrakeFailureStream {
public:
    enum Kind { eAssertion, eAttention };
    FendrakeFailureStream(const char* iFile, int iLine, const char* iExpression, Kind iKind);
    // Releases print access if fire() was not reached (a throwing hook, say).
    ~FendrakeFailureStream();
    FendrakeFailureStream(const FendrakeFailureStream&) = delete;
    FendrakeFailureStream& operator=(const FendrakeFailureStream&) = delete;

    bool printing() const { return mPrinting; }
    template <typename T> FendrakeFailureStream& operator<<(const T& iItem) {
        if (mPrinting)
            *pCoutFendrakeOstream << iItem;
        return *this;
    }
    // An assertion's hook does not return unless the application replaced it.
    void fire();

private:
    void iRelease();

    const char* mFile;
    int mLine;
    Kind mKind;
    int mAccess;
    bool mPrinting;
};

#define FENDRAKE_ASSERT_AT(iFile, iLine, iCondition, iText)                                        \
    ((iCondition) ? (void)0 : fendrake_assertion_failed(iFile, iLine, iText))
#define FENDRAKE_ASSERT_DETAIL_AT(iFile, iLine, iCondition, iText, ...)                            \
    ((iCondition) ? (void)0 : fendrake_assertion_failed_detail(iFile, iLine, iText, __VA_ARGS__))
#define FENDRAKE_ASSERT(iCondition)                                                                \
    FENDRAKE_ASSERT_AT(FENDRAKE_FILE, __LINE__, iCondition, #iCondition)

#define FENDRAKE_CHECK_AT(iFile, iLine, iCondition, iText)                                         \
    ((iCondition) ? (void)0 : fendrake_attention(iFile, iLine, iText))
#define FENDRAKE_CHECK_DETAIL_AT(iFile, iLine, iCondition, iText, ...)                             \
    ((iCondition) ? (void)0 : fendrake_attention_detail(iFile, iLine, iText, __VA_ARGS__))
#define FENDRAKE_CHECK(iCondition)                                                                 \
    FENDRAKE_CHECK_AT(FENDRAKE_FILE, __LINE__, iCondition, #iCondition)

// Details as stream items:
//   FENDRAKE_ASSERT_STREAM_AT(path, 60, a <= b, "a<=b", << " a=" << a << ", b=" << b << "\n");
#define FENDRAKE_ASSERT_STREAM_AT(iFile, iLine, iCondition, iText, iDetails)                       \
    do {                                                                                           \
        if (!(iCondition)) {                                                                       \
            FendrakeFailureStream failure_(iFile, iLine, iText,                                    \
                                           FendrakeFailureStream::eAssertion);                     \
            failure_ iDetails;                                                                     \
            failure_.fire();                                                                       \
        }                                                                                          \
    } while (0)
#define FENDRAKE_CHECK_STREAM_AT(iFile, iLine, iCondition, iText, iDetails)                        \
    do {                                                                                           \
        if (!(iCondition)) {                                                                       \
            FendrakeFailureStream failure_(iFile, iLine, iText,                                    \
                                           FendrakeFailureStream::eAttention);                     \
            failure_ iDetails;                                                                     \
            failure_.fire();                                                                       \
        }                                                                                          \
    } while (0)

#endif
