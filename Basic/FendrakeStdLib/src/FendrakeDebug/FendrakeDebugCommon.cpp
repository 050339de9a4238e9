// The logging core: line prefix, line buffer, print access and the statement
// helpers. Nothing here allocates once logging is started, and everything
// works before BasicInit: the buffers and the log stream are constant
// initialised and never destroyed, so static objects may log at any time.
#include "Basic/FendrakeStdLib/FendrakeDebug.h"

#include "Basic/FendrakeOS/FendrakeMutex.h"
#include "Basic/FendrakeOS/FendrakeThread.h"
#include "Basic/FendrakeStdLib/FendrakeAssert.h"
#include "Basic/FendrakeStdLib/FendrakeOstream.h"
#include "Basic/FendrakeStdLib/FendrakeStdio.h"
#include "Basic/FendrakeStdLib/FendrakeTime.h"
#include "Basic/FendrakeStdLib/src/FendrakeDebug/FendrakeDebugPrivate.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace {
const char* const kSourcePath = "Basic/FendrakeStdLib/src/FendrakeDebug/FendrakeDebugCommon";
const unsigned int kPrefixSize = 2048;

// Built at load time and never destroyed.
template <typename T> union NoDestroy {
    template <typename... Args> constexpr explicit NoDestroy(Args... iArgs) : mValue(iArgs...) {}
    ~NoDestroy() {}
    T mValue;
};

// The print lock: recursive, so a statement may run inside another one of the
// same thread (an assertion printed while a line is being built).
typedef FendrakeMutexNested PrintLock;

PrintLock* CreatePrintLock() {
    return new FendrakeMutexNested;
}
void DestroyPrintLock(PrintLock* iLock) {
    delete iLock;
}
bool LockPrintLock(PrintLock* iLock) {
    iLock->Lock();
    return true;
}
bool TryLockPrintLock(PrintLock* iLock) {
    return iLock->TryLock() == 0;
}
void UnlockPrintLock(PrintLock* iLock) {
    iLock->Unlock();
}

// Lines carry time fields once the clock keeps its books.
bool LogClockRunning() {
    return FendrakeTime::isBookKeepingCreated();
}
void LogClockNow(unsigned int& oSec, unsigned int& oNsec, unsigned int& oUpSec,
                 unsigned int& oUpNsec) {
    FendrakeTime::getTimeNowNs(oSec, oNsec);
    FendrakeTime::getTimeNowAppStartNs(oUpSec, oUpNsec);
}

bool sTtyColors = false;
PrintLock* spPrintAccess = nullptr;
char sLinePrefix[kPrefixSize];
int sLineLevel = 0;
FendrakeLogTimeState sLogTime;
char* sLinePrefixCursor = sLinePrefix;
NoDestroy<FendrakeOstreamPrintfOutput> sPrintfSink;
NoDestroy<FendrakeOstream> sCoutStream(&sPrintfSink.mValue);

// Appends to a C string in a fixed buffer; what does not fit is cut.
class TextAppender {
public:
    TextAppender(char* oText, unsigned int iRoom) : mCursor(oText), mEnd(oText + iRoom) {}
    void add(const char* iFormat, ...) {
        if (mCursor == mEnd)
            return;
        va_list args;
        va_start(args, iFormat);
        const int written =
            fendrake_vsnprintf(mCursor, static_cast<unsigned int>(mEnd - mCursor), iFormat, args);
        va_end(args);
        // A cut text leaves the buffer full: never step back by the -1.
        mCursor = written < 0 ? mEnd - 1 : mCursor + written;
    }
    char* cursor() const { return mCursor; }
    unsigned int room() const { return static_cast<unsigned int>(mEnd - mCursor); }
    void skip(unsigned int iCount) { mCursor += iCount; }

private:
    char* mCursor;
    char* mEnd;
};

void RestartPrefix(TextAppender& ioPrefix, int iColour) {
    sLinePrefix[0] = 0;
    if (sTtyColors)
        ioPrefix.add("\x1b[%dm", iColour);
}

const char* ShortenedPath(const char* iFile) {
    const char* source = strstr(iFile, "/Source/");
    return source ? source + 8 : iFile;
}

// The print path cannot report its own failure through itself: the line goes
// straight to the output function.
void PrintPathAssertion(int iLine, const char* iExpression) {
    if (fendrake_debug_output_level != 0) {
        char text[256];
        fendrake_snprintf(text, sizeof text, "%s:%d Assertion `%s' failed (calling task: %s).\n",
                          kSourcePath, iLine, iExpression, FendrakeThreadThisName());
        fendrake_debug_log(1, "", text);
    }
    fassert_point_fired();
}

// Releases print access when the statement ends, also when a hook throws through it.
class PrintAccess {
public:
    PrintAccess() : mAccess(getprintaccess()) {}
    ~PrintAccess() {
        if (mAccess)
            releaseprintaccess();
    }
    PrintAccess(const PrintAccess&) = delete;
    PrintAccess& operator=(const PrintAccess&) = delete;

private:
    int mAccess;
};

void LogStatementV(const char* iFile, int iLine, int iLevel, int iColour, const char* iFormat,
                   va_list iArgs) {
    PrintAccess access;
    if (!fendrake_level_enabled(iLevel))
        return;
    if (iFile)
        fendrake_print_context_file_line(iFile, iLine, iLevel, iColour, "", "", "");
    sPrintfSink.mValue.AppendFormatedPrintfV(false, iFormat, iArgs);
}
} // namespace

FendrakeOstream* pCoutFendrakeOstream = &sCoutStream.mValue;

bool FendrakeDebugColoursOn() {
    return sTtyColors;
}

bool FendrakeDebugStarted() {
    return spPrintAccess != nullptr;
}

unsigned int FendrakeLogTimeFields(FendrakeLogTimeState& ioState, char* oText, unsigned int iRoom,
                                   unsigned int iSec, unsigned int, unsigned int iUpSec,
                                   unsigned int iUpNsec) {
    static const char* const kWeekdays[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                            "Thursday", "Friday", "Saturday"};
    TextAppender text(oText, iRoom);
    if (ioState.mDayBase + 86400U < iSec) {
        const time_t seconds = static_cast<time_t>(iSec);
        struct tm day = {};
        if (!localtime_r(&seconds, &day))
            memset(&day, 0, sizeof day);
        text.add("---[Day is %s %04d %02d %02d - %02d:%02d:%02d ]---\n",
                 kWeekdays[static_cast<unsigned int>(day.tm_wday) % 7], day.tm_year + 1900,
                 day.tm_mon + 1, day.tm_mday, day.tm_hour, day.tm_min, day.tm_sec);
        // Plus the seconds, not minus: the next day line comes that much later, as it always has.
        ioState.mDayBase = iSec - 3600U * static_cast<unsigned int>(day.tm_hour) -
                           60U * static_cast<unsigned int>(day.tm_min) +
                           static_cast<unsigned int>(day.tm_sec);
    }
    const int upSec = static_cast<int>(iUpSec);
    const int upUsec = static_cast<int>(iUpNsec / 1000);
    const long long delta = (upSec * 1000000LL + upUsec) -
                            (ioState.mLastUptimeSec * 1000000LL + ioState.mLastUptimeUsec);
    text.add("[%d,%06d][%02d:%02d:%02d,%06d] ", static_cast<int>(delta / 1000000),
             static_cast<int>(delta % 1000000), upSec / 3600, (upSec / 60) % 60, upSec % 60,
             upUsec);
    ioState.mLastUptimeSec = upSec;
    ioState.mLastUptimeUsec = upUsec;
    return static_cast<unsigned int>(text.cursor() - oText);
}

int FendrakeOstreamPrintfOutput::LimitReached() {
    flush();
    return 0;
}

void FendrakeOstreamPrintfOutput::FormatingCompleted() {
    const unsigned int end = Count();
    if (mLastCheckPoint > end) {
        mLastCheckPoint = 0; // the assertion's line must not fail here again
        PrintPathAssertion(411, "mLastCheckPoint<=end");
        return;
    }
    if (memchr(mLine + mLastCheckPoint, '\n', end - mLastCheckPoint))
        flush();
    else
        mLastCheckPoint = end;
}

void FendrakeOstreamPrintfOutput::flush() {
    mLastCheckPoint = 0;
    mLine[Count()] = 0;
    fendrake_debug_log(sLineLevel, sLinePrefix, mLine);
    TextAppender prefix(sLinePrefix, kPrefixSize);
    RestartPrefix(prefix, 0);
    mCursor = mLine;
}

extern "C" {

int getprintaccess(void) {
    PrintLock* lock = spPrintAccess;
    return lock && LockPrintLock(lock) ? 1 : 0;
}

int getprintaccess_noblock(void) {
    PrintLock* lock = spPrintAccess;
    return lock && TryLockPrintLock(lock) ? 1 : 0;
}

int releaseprintaccess(void) {
    if (PrintLock* lock = spPrintAccess)
        UnlockPrintLock(lock);
    fflush(stdout);
    return 0;
}

void printaccess_init(void) {
    FendrakeDebugPlatformOpenSystemLog();
    FENDRAKE_ASSERT_AT(kSourcePath, 494, spPrintAccess == nullptr, "spPrintAccess==0");
    if (spPrintAccess)
        return; // the hook returned: the lock in use stays
    spPrintAccess = CreatePrintLock();
}

void printaccess_term(void) {
    FENDRAKE_ASSERT_AT(kSourcePath, 498, spPrintAccess != nullptr, "spPrintAccess");
    PrintLock* lock = spPrintAccess;
    if (!lock)
        return;
    spPrintAccess = nullptr; // first, so no statement takes the lock while it goes
    DestroyPrintLock(lock);
    FendrakeDebugPlatformCloseSystemLog();
}

void fendrake_print_context_file_line(const char* iFile, int iLine, int iLevel, int iColour,
                                      const char*, const char*, const char*) {
    TextAppender prefix(sLinePrefix, kPrefixSize);
    RestartPrefix(prefix, iColour);
    sLineLevel = iLevel;
    const int savedErrno = errno;
    if (LogClockRunning()) {
        unsigned int sec, nsec, upSec, upNsec;
        LogClockNow(sec, nsec, upSec, upNsec);
        prefix.skip(FendrakeLogTimeFields(sLogTime, prefix.cursor(), prefix.room(), sec, nsec,
                                          upSec, upNsec));
    }
    const char* name = FendrakeThreadThisName();
    if (name)
        prefix.add("%s.%d ", name, FendrakeThreadThisPriority());
    prefix.add("%s:%d(L%d)", ShortenedPath(iFile), iLine, iLevel);
    errno = savedErrno;
    sLinePrefixCursor = prefix.cursor();
}

void fendrake_print_with_level(int, const char* iTag1, const char* iTag2, const char* iTag3,
                               const char* iFormat, ...) {
    const auto given = [](const char* iTag) { return iTag && *iTag; };
    if (given(iTag1) || given(iTag2) || given(iTag3)) {
        // Bounded by the room behind the cursor, not the whole prefix buffer.
        TextAppender tags(sLinePrefixCursor,
                          static_cast<unsigned int>(sLinePrefix + kPrefixSize - sLinePrefixCursor));
        tags.add("<%s><%s><%s>: ", iTag1, iTag2, iTag3);
    }
    va_list args;
    va_start(args, iFormat);
    sPrintfSink.mValue.AppendFormatedPrintfV(false, iFormat, args);
    va_end(args);
}

void fendrake_debug_output_level_set(unsigned iLevel) {
    fendrake_debug_output_level = iLevel;
}

unsigned fendrake_debug_output_level_get(void) {
    return fendrake_debug_output_level;
}

void fendrake_log_at(const char* iFile, int iLine, int iLevel, const char* iFormat, ...) {
    va_list args;
    va_start(args, iFormat);
    LogStatementV(iFile, iLine, iLevel, 0, iFormat, args);
    va_end(args);
}

void fendrake_log_colour_at(const char* iFile, int iLine, int iLevel, int iColour,
                            const char* iFormat, ...) {
    va_list args;
    va_start(args, iFormat);
    LogStatementV(iFile, iLine, iLevel, iColour, iFormat, args);
    va_end(args);
}

void fendrake_log_bare(int iLevel, const char* iFormat, ...) {
    va_list args;
    va_start(args, iFormat);
    LogStatementV(nullptr, 0, iLevel, 0, iFormat, args);
    va_end(args);
}
}

FendrakeLogStatement::FendrakeLogStatement(const char* iFile, int iLine, int iLevel, int iColour)
    : mAccess(getprintaccess()), mPrinting(fendrake_level_enabled(iLevel)) {
    if (!mPrinting)
        return;
    fendrake_print_context_file_line(iFile, iLine, iLevel, iColour, "", "", "");
    pCoutFendrakeOstream->mFlags |= FendrakeOstream::eDecimal;
    pCoutFendrakeOstream->mBase = 10;
}

FendrakeLogStatement::~FendrakeLogStatement() {
    if (mAccess)
        releaseprintaccess();
}

void FendrakeDebugInit(FendrakeOptArguments*) {
    sTtyColors = FendrakeDebugPlatformColoursWanted();
    printaccess_init();
    FendrakeDebugInitPlatform();
}

void FendrakeDebugTerm() {
    printaccess_term();
}
