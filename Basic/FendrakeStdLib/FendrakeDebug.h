// The logging core: one process-wide path for every diagnostic line.
// A statement takes print access, tests the output level, writes its context
// and its text, and releases print access. Nothing on the path allocates.
// Threads: print access is a recursive process-wide lock between
// FendrakeDebugInit and FendrakeDebugTerm; outside that time statements run
// unlocked.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEDEBUG_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEDEBUG_H

// Each library source is compiled with its own path under Basic/, without
// extension; anything else falls back to the compiler's idea of the file.
#ifndef FENDRAKE_FILE
#define FENDRAKE_FILE __FILE__
#endif

class FendrakeOptArguments;

extern "C" {

// Supplied by the application.
extern unsigned fendrake_debug_output_level;

int getprintaccess(void);
int getprintaccess_noblock(void);
int releaseprintaccess(void);
void printaccess_init(void);
void printaccess_term(void);

void fendrake_print_context_file_line(const char* iFile, int iLine, int iLevel, int iColour,
                                      const char* iLayer, const char* iModule,
                                      const char* iSublayer);
// The format is the library's own format language; tags that are neither null
// nor empty are written in front of the text.
void fendrake_print_with_level(int iLevel, const char* iTag1, const char* iTag2, const char* iTag3,
                               const char* iFormat, ...);

// Weak: an application may define its own.
void fendrake_debug_log(int iLevel, const char* iPrefix, const char* iText);
void __fendrake_debug_log(int iLevel, const char* iPrefix, const char* iText);

void fendrake_debug_output_level_set(unsigned iLevel);
unsigned fendrake_debug_output_level_get(void);

// One whole log statement: access, level test, context, text, release.
void fendrake_log_at(const char* iFile, int iLine, int iLevel, const char* iFormat, ...);
// The same with a colour for the line (an ANSI graphics code).
void fendrake_log_colour_at(const char* iFile, int iLine, int iLevel, int iColour,
                            const char* iFormat, ...);
// A statement without context: the text alone.
void fendrake_log_bare(int iLevel, const char* iFormat, ...);
}

void FendrakeDebugInit(FendrakeOptArguments* iArgs);
void FendrakeDebugTerm();

// Level 0 prints always, 1 when the output level is not 0, 2 when it is above 1.
inline bool fendrake_level_enabled(int iLevel) {
    return iLevel <= 0 || static_cast<unsigned>(iLevel) <= fendrake_debug_output_level;
}

#define FENDRAKE_LOG(iLevel, ...) fendrake_log_at(FENDRAKE_FILE, __LINE__, iLevel, __VA_ARGS__)
#define FENDRAKE_LOG_AT(iFile, iLine, iLevel, ...)                                                 \
    fendrake_log_at(iFile, iLine, iLevel, __VA_ARGS__)
#define FENDRAKE_LOG_BARE(iLevel, ...) fendrake_log_bare(iLevel, __VA_ARGS__)
// The stream form, FENDRAKE_LOG_STREAM(level) << ... << "\n", is in FendrakeOstream.h.

#endif
