// Shared by the logging core, its platform part and its tests.
#ifndef BASIC_FENDRAKESTDLIB_SRC_FENDRAKEDEBUG_FENDRAKEDEBUGPRIVATE_H
#define BASIC_FENDRAKESTDLIB_SRC_FENDRAKEDEBUG_FENDRAKEDEBUGPRIVATE_H

// Colour escapes on (decided by FendrakeDebugInit).
bool FendrakeDebugColoursOn();
// True between printaccess_init and printaccess_term.
bool FendrakeDebugStarted();

// Platform part.
// "FENDRAKE_TTY_COLORS" when set and not empty, else whether standard error is a terminal.
bool FendrakeDebugPlatformColoursWanted();
void FendrakeDebugPlatformOpenSystemLog();
void FendrakeDebugPlatformCloseSystemLog();

// Day line and the times of a log line, kept across lines.
struct FendrakeLogTimeState {
    unsigned int mDayBase = 0; // wall-clock second that starts the day of the last day line
    int mLastUptimeSec = 0;    // time since application start at the previous line
    int mLastUptimeUsec = 0;
};

// Writes the day line when due and "[delta][uptime] " to oText, which holds
// iRoom bytes and stays terminated; updates ioState. iSec and iNsec are wall
// clock, iUpSec and iUpNsec the time since application start. Returns the
// characters written.
unsigned int FendrakeLogTimeFields(FendrakeLogTimeState& ioState, char* oText, unsigned int iRoom,
                                   unsigned int iSec, unsigned int iNsec, unsigned int iUpSec,
                                   unsigned int iUpNsec);

#endif
