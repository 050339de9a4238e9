#include "Basic/FendrakeStdLib/FendrakeAssert.h"

#include "Basic/FendrakeOS/FendrakeThread.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {
const char* TaskName() {
    const char* name = FendrakeThreadThisName();
    return name ? name : "(null)";
}

void PrintFailure(int iLevel, const char* iWord, const char* iFile, int iLine,
                  const char* iExpression, const char* iFormat, va_list* iArgs) {
    const int access = getprintaccess();
    if (fendrake_level_enabled(iLevel)) {
        fendrake_print_with_level(iLevel, "", "", "", "%s:%d %s `%s' failed (calling task: %s).\n",
                                  iFile, iLine, iWord, iExpression, TaskName());
        if (iFormat) {
            char detail[1024];
            vsnprintf(detail, sizeof detail, iFormat, *iArgs);
            fendrake_print_with_level(iLevel, "", "", "", "%s", detail);
        }
    }
    if (access)
        releaseprintaccess();
}
} // namespace

extern "C" {

void __fassert_point_fired(void) {
    fflush(stdout);
    fbreakpoint();
    abort();
}
void fassert_point_fired(void) __attribute__((weak, alias("__fassert_point_fired")));

void fabort(void) {
    fflush(stdout);
    fbreakpoint();
    abort();
}

void __fcheck_point_fired(const char* iFile, int iLine, unsigned iDebugLevel, const char* iLayer,
                          const char* iModule, const char* iSubmodule) {
    const int access = getprintaccess();
    if (fendrake_level_enabled(1)) {
        fendrake_print_context_file_line(iFile, iLine, 1, 0, "", "", "");
        fendrake_print_with_level(1, "", "", "",
                                  " debuglevel=%u, layer=%s, module=%s, submodule=%s\n",
                                  iDebugLevel, iLayer, iModule, iSubmodule);
    }
    if (access)
        releaseprintaccess();
    fflush(stdout);
}
void fcheck_point_fired(const char* iFile, int iLine, unsigned iDebugLevel, const char* iLayer,
                        const char* iModule, const char* iSubmodule)
    __attribute__((weak, alias("__fcheck_point_fired")));

void fendrake_assertion_failed(const char* iFile, int iLine, const char* iExpression) {
    PrintFailure(1, "Assertion", iFile, iLine, iExpression, nullptr, nullptr);
    fassert_point_fired();
}

void fendrake_assertion_failed_detail(const char* iFile, int iLine, const char* iExpression,
                                      const char* iFormat, ...) {
    va_list args;
    va_start(args, iFormat);
    PrintFailure(1, "Assertion", iFile, iLine, iExpression, iFormat, &args);
    va_end(args);
    fassert_point_fired();
}

void fendrake_attention(const char* iFile, int iLine, const char* iExpression) {
    PrintFailure(2, "Attention", iFile, iLine, iExpression, nullptr, nullptr);
    fcheck_point_fired(iFile, iLine, 2, "", "", "");
}

void fendrake_attention_detail(const char* iFile, int iLine, const char* iExpression,
                               const char* iFormat, ...) {
    va_list args;
    va_start(args, iFormat);
    PrintFailure(2, "Attention", iFile, iLine, iExpression, iFormat, &args);
    va_end(args);
    fcheck_point_fired(iFile, iLine, 2, "", "", "");
}
}
