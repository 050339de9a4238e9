// A point in time as signed 32-bit Unix UTC seconds and nanoseconds, and,
// through the static side, the process clock of the box: one record per time
// source, each anchored to the monotonic clock, and the choice of the source
// that answers for the present time.
// Threads: any. The records are guarded by smpMutex, which setTime lets go
// of before it prints, so print access is never taken inside it. The
// monotonic reads, isTimeSet() and getTimeSource() take no lock; nothing on
// the path of getTimeNow allocates or formats.
// Lifecycle: the thread layer creates and destroys the bookkeeping; the
// locked operations assert outside that time.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKETIME_H
#define BASIC_FENDRAKESTDLIB_FENDRAKETIME_H

#include "Basic/FendrakeOS/FendrakeMutex.h"
#include "Basic/FendrakeStdLib/FendrakeAssert.h"

#include <atomic>
#include <cstdint>
#include <ctime>
#include <sys/time.h>

enum FendrakeTimeSource : int32_t {
    eFTS_None = 0,    // no time known yet
    eFTS_System = 1,  // the real-time clock; the only source that writes to the system
    eFTS_Source2 = 2, // sources 2 to 5 behave alike: what feeds them is the caller's choice
    eFTS_Source3 = 3,
    eFTS_Source4 = 4,
    eFTS_External = 5,
};
const int NUM_FEN_TIME_SOURCES = eFTS_External + 1;

extern "C" {
// Every write to the system clock passes here. Weak over the strong __
// names, which make the real calls, so that tests can stand in for them.
int fendrake_system_clock_settime(const struct timespec* iTime);
int __fendrake_system_clock_settime(const struct timespec* iTime);
int fendrake_system_settimeofday(const struct timeval* iTime);
int __fendrake_system_settimeofday(const struct timeval* iTime);
}

class FendrakeTime {
public:
    // Per source: the monotonic time since start at which it was last set, and
    // the Unix UTC time it was set to, both in nanoseconds.
    struct TimeData {
        uint64_t baseNs;
        uint64_t valueNs;
    };

    static constexpr uint32_t NSEC_PER_SEC = 1000000000u;
    // 1989-12-27 00:00:00 UTC: anything earlier is no real time.
    static constexpr int32_t SEC_MIN = 630720000;

    FendrakeTime() : mSeconds(0), mNanoSeconds(0) { mPrintBuffer[0] = 0; }
    FendrakeTime(int iSeconds) : mSeconds(iSeconds), mNanoSeconds(0) {}
    FendrakeTime(unsigned int iSeconds)
        : mSeconds(static_cast<int32_t>(iSeconds)), mNanoSeconds(0) {}
    FendrakeTime(int iSeconds, unsigned int iNanoSeconds)
        : mSeconds(iSeconds), mNanoSeconds(iNanoSeconds) {}
    // Seconds as a real number; 0 and 0 unless above 0.0.
    FendrakeTime(double iSeconds);
    ~FendrakeTime() {}

    void set(int iSeconds, unsigned int iNanoSeconds);
    void setUnixUTC(int iSeconds, unsigned int iNanoSeconds) { set(iSeconds, iNanoSeconds); }
    int get() const { return mSeconds; }
    int getUnixUTC() const { return mSeconds; }
    unsigned int getNanoSeconds() const { return mNanoSeconds; }

    // The process clock.
    static void CreateBookKeeping();
    // Also steps the system clock back by smSystemAddjustBackOffset seconds.
    static void DestroyBookKeeping();
    static bool isBookKeepingCreated() { return smpMutex != nullptr; }
    static void initialize() {}

    // Records the source's new time. pTime may be null for eFTS_System only:
    // then the system clock is read, never written. False when nothing was
    // recorded: eFTS_None, or a time below the sanity floor. A large backward
    // step is reported but recorded all the same. The source becomes the
    // current one if iUpdateLastSet says so, or if there is none yet.
    static bool setTime(FendrakeTime* pTime, FendrakeTimeSource iTimeSource, bool iUpdateLastSet);
    // False, with 0 and 0, when the source has no time.
    static bool getTimeNs(FendrakeTimeSource iTimeSource, unsigned int& oSec, unsigned int& oNsec);
    static int32_t getTime(FendrakeTimeSource iTimeSource);
    static int32_t getTimeNow();
    static bool getTimeNowNs(unsigned int& oSec, unsigned int& oNsec);
    static uint64_t getTimeNowMS();
    // Monotonic time since CreateBookKeeping; no lock.
    static void getTimeNowAppStartNs(unsigned int& oSec, unsigned int& oNsec);
    static int32_t getTimeNowAppStart();
    static uint64_t getTimeNowAppStartMS();
    // Seconds since the source was last set, or -1 if it never was.
    static int32_t getLastSet(FendrakeTimeSource iTimeSource);
    static bool isTimeSet() { return getTimeSource() != eFTS_None; }
    static bool isTimeSet(FendrakeTimeSource iTimeSource) { return getLastSet(iTimeSource) != -1; }
    static FendrakeTimeSource getTimeSource() {
        return gLastSetTimeSource.load(std::memory_order_relaxed);
    }

    static FendrakeMutexNested* smpMutex;
    static TimeData gTimeData[NUM_FEN_TIME_SOURCES];
    static std::atomic<FendrakeTimeSource> gLastSetTimeSource;
    // Kept for applications; the library neither reads nor writes it.
    static FendrakeTimeSource smTimeSource;
    static int32_t smSystemMonotonicClockStartSec;
    static int32_t smStartCodeSecOffset;
    // Set by applications; applied once at DestroyBookKeeping.
    static int32_t smSystemAddjustBackOffset;

private:
    static uint64_t iAppStartNs();

    int32_t mSeconds;
    uint32_t mNanoSeconds;
    [[maybe_unused]] struct tm mTm; // filled by the calendar conversions
    char mPrintBuffer[64];
};

// Inline, so its assertions are reported from this header.
inline bool FendrakeTime::getTimeNs(FendrakeTimeSource iTimeSource, unsigned int& oSec,
                                    unsigned int& oNsec) {
    oSec = 0;
    oNsec = 0;
    FENDRAKE_ASSERT_DETAIL_AT(
        "Basic/FendrakeStdLib/FendrakeTime", __LINE__, iTimeSource < NUM_FEN_TIME_SOURCES,
        "iTimeSource<NUM_FEN_TIME_SOURCES", " iTimeSource=%d, (eFTS_External+1)=%d\n", iTimeSource,
        NUM_FEN_TIME_SOURCES);
    FENDRAKE_ASSERT_AT("Basic/FendrakeStdLib/FendrakeTime", __LINE__, smpMutex, "smpMutex");
    // A negative source passes the assertion; it must not index the records.
    if (iTimeSource < 0 || iTimeSource >= NUM_FEN_TIME_SOURCES || !smpMutex)
        return false;
    FendrakeLockScope<FendrakeMutexNested> lock(*smpMutex);
    if (iTimeSource == eFTS_None)
        return false;
    if (iTimeSource == eFTS_System) {
        timespec now;
        clock_gettime(CLOCK_REALTIME, &now);
        oSec = static_cast<unsigned int>(now.tv_sec);
        oNsec = static_cast<unsigned int>(now.tv_nsec);
        return true;
    }
    const TimeData& record = gTimeData[iTimeSource];
    if (record.baseNs == 0)
        return false;
    const uint64_t total = record.valueNs - record.baseNs + iAppStartNs();
    oSec = static_cast<unsigned int>(total / NSEC_PER_SEC);
    oNsec = static_cast<unsigned int>(total % NSEC_PER_SEC);
    return true;
}

#endif
