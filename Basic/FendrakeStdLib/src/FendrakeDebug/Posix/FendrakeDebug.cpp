// Where log lines leave the process: standard output and the system log.
#include "Basic/FendrakeStdLib/FendrakeDebug.h"

#include "Basic/FendrakeStdLib/src/FendrakeDebug/FendrakeDebugPrivate.h"

#include <cstdio>
#include <cstdlib>
#include <syslog.h>
#include <unistd.h>

bool FendrakeDebugPlatformColoursWanted() {
    const char* value = getenv("FENDRAKE_TTY_COLORS");
    if (value && *value)
        return strtol(value, nullptr, 10) != 0;
    // Standard error decides, although the log goes to standard output.
    return isatty(2) == 1;
}

void FendrakeDebugPlatformOpenSystemLog() {
    openlog(nullptr, LOG_PID, LOG_LOCAL0);
}

void FendrakeDebugPlatformCloseSystemLog() {
    closelog();
}

extern "C" {

// Standard output is flushed by releaseprintaccess, not here.
void __fendrake_debug_log(int, const char* iPrefix, const char* iText) {
    if (FendrakeDebugColoursOn())
        printf("%s%s\x1b[0m", iPrefix, iText);
    else
        printf("%s%s", iPrefix, iText);
    if (FendrakeDebugStarted())
        syslog(LOG_INFO, "%s%s", iPrefix, iText);
}

void fendrake_debug_log(int iLevel, const char* iPrefix, const char* iText)
    __attribute__((weak, alias("__fendrake_debug_log")));
}
