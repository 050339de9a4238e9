// Interim print path: the line goes out through fendrake_debug_log with the
// C library's formatting until the library's own format engine takes over.
#include "Basic/FendrakeStdLib/FendrakeDebug.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace {
char sLinePrefix[2048];
int sLineLevel;

void PrintV(const char* iFormat, va_list iArgs) {
    char text[1024];
    vsnprintf(text, sizeof text, iFormat, iArgs);
    fendrake_debug_log(sLineLevel, sLinePrefix, text);
    sLinePrefix[0] = 0;
}
} // namespace

extern "C" {

void __fendrake_debug_log(int, const char* iPrefix, const char* iText) {
    printf("%s%s", iPrefix, iText);
}
void fendrake_debug_log(int iLevel, const char* iPrefix, const char* iText)
    __attribute__((weak, alias("__fendrake_debug_log")));

int getprintaccess(void) {
    return 0;
}
int getprintaccess_noblock(void) {
    return 0;
}
int releaseprintaccess(void) {
    fflush(stdout);
    return 0;
}
void printaccess_init(void) {}
void printaccess_term(void) {}

void fendrake_print_context_file_line(const char* iFile, int iLine, int iLevel, int, const char*,
                                      const char*, const char*) {
    const int savedErrno = errno;
    sLineLevel = iLevel;
    snprintf(sLinePrefix, sizeof sLinePrefix, "%s:%d(L%d)", iFile, iLine, iLevel);
    errno = savedErrno;
}

void fendrake_print_with_level(int, const char*, const char*, const char*, const char* iFormat,
                               ...) {
    va_list args;
    va_start(args, iFormat);
    PrintV(iFormat, args);
    va_end(args);
}

void fendrake_debug_output_level_set(unsigned iLevel) {
    fendrake_debug_output_level = iLevel;
}
unsigned fendrake_debug_output_level_get(void) {
    return fendrake_debug_output_level;
}

void fendrake_log_at(const char* iFile, int iLine, int iLevel, const char* iFormat, ...) {
    const int access = getprintaccess();
    if (fendrake_level_enabled(iLevel)) {
        fendrake_print_context_file_line(iFile, iLine, iLevel, 0, "", "", "");
        va_list args;
        va_start(args, iFormat);
        PrintV(iFormat, args);
        va_end(args);
    }
    if (access)
        releaseprintaccess();
}

void fendrake_log_colour_at(const char* iFile, int iLine, int iLevel, int iColour,
                            const char* iFormat, ...) {
    const int access = getprintaccess();
    if (fendrake_level_enabled(iLevel)) {
        fendrake_print_context_file_line(iFile, iLine, iLevel, iColour, "", "", "");
        va_list args;
        va_start(args, iFormat);
        PrintV(iFormat, args);
        va_end(args);
    }
    if (access)
        releaseprintaccess();
}

void fendrake_log_bare(int iLevel, const char* iFormat, ...) {
    const int access = getprintaccess();
    if (fendrake_level_enabled(iLevel)) {
        sLineLevel = iLevel;
        va_list args;
        va_start(args, iFormat);
        PrintV(iFormat, args);
        va_end(args);
    }
    if (access)
        releaseprintaccess();
}
}

void FendrakeDebugInit(FendrakeOptArguments*) {
    printaccess_init();
}
void FendrakeDebugTerm() {
    printaccess_term();
}
