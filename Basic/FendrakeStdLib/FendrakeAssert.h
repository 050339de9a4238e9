// Assertions and check points.
// A failed assertion prints "<path>:<line> Assertion `<text>' failed (calling
// task: <thread>)." at level 1 and ends in fassert_point_fired, which does not
// return unless the application replaced it. A check point prints the same
// with " Attention `" at level 2 and calls fcheck_point_fired, which returns.
// Where the printed place is fixed, call sites pass it through the *_AT forms
// with the expression text as it must print, so reformatting never moves it.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEASSERT_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEASSERT_H

#include "Basic/FendrakeStdLib/FendrakeDebug.h"

extern "C" {

// Supplied by the application: where a debugger can stop before abort.
void fbreakpoint(void);

// Weak over the strong __ names, so an application can replace them.
void fassert_point_fired(void);
void __fassert_point_fired(void);
void fcheck_point_fired(const char* iFile, int iLine, unsigned iDebugLevel, const char* iLayer,
                        const char* iModule, const char* iSubmodule);
void __fcheck_point_fired(const char* iFile, int iLine, unsigned iDebugLevel, const char* iLayer,
                          const char* iModule, const char* iSubmodule);
// The same four steps as the default assertion hook, but not replaceable.
void fabort(void);

// Print the assertion line, then fire the hook.
void fendrake_assertion_failed(const char* iFile, int iLine, const char* iExpression);
// As above, with a detail line (library format language, ends in a newline).
void fendrake_assertion_failed_detail(const char* iFile, int iLine, const char* iExpression,
                                      const char* iFormat, ...);
// Print the attention line at level 2, then fire the check point.
void fendrake_attention(const char* iFile, int iLine, const char* iExpression);
void fendrake_attention_detail(const char* iFile, int iLine, const char* iExpression,
                               const char* iFormat, ...);
}

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

#endif
