#include "Basic/FendrakeStdLib/FendrakeTime.h"

#include "Basic/FendrakeStdLib/FendrakeStdio.h"

#include <algorithm>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>

FendrakeMutexNested* FendrakeTime::smpMutex = nullptr;
FendrakeTime::TimeData FendrakeTime::gTimeData[NUM_FEN_TIME_SOURCES] = {};
std::atomic<FendrakeTimeSource> FendrakeTime::gLastSetTimeSource{eFTS_None};
FendrakeTimeSource FendrakeTime::smTimeSource = eFTS_System;
int32_t FendrakeTime::smSystemMonotonicClockStartSec = 0;
int32_t FendrakeTime::smStartCodeSecOffset = 0;
int32_t FendrakeTime::smSystemAddjustBackOffset = 0;

extern "C" {
int __fendrake_system_clock_settime(const struct timespec* iTime) {
    return clock_settime(CLOCK_REALTIME, iTime);
}
int fendrake_system_clock_settime(const struct timespec* iTime)
    __attribute__((weak, alias("__fendrake_system_clock_settime")));

int __fendrake_system_settimeofday(const struct timeval* iTime) {
    return settimeofday(iTime, nullptr);
}
int fendrake_system_settimeofday(const struct timeval* iTime)
    __attribute__((weak, alias("__fendrake_system_settimeofday")));
}

namespace {
const uint64_t kFloorNs = uint64_t(FendrakeTime::NSEC_PER_SEC) * FendrakeTime::SEC_MIN;
const uint64_t kBackwardStepNs = 10000000000ull;

// What one of the clock's seconds-and-nanoseconds readers says, in milliseconds.
template <typename Reader> uint64_t MillisecondsOf(Reader iRead) {
    unsigned int sec = 0;
    unsigned int nsec = 0;
    iRead(sec, nsec);
    return uint64_t(sec) * 1000 + nsec / 1000000;
}

// Collects the diagnostics of one setTime, delivered after the lock is gone.
// Bounded: what does not fit is cut.
class Diagnostic {
public:
    Diagnostic() { mText[0] = 0; }
    bool empty() const { return mLength == 0; }
    const char* text() const { return mText; }

    void append(const char* iFormat, ...) {
        if (mLength >= sizeof mText - 1)
            return;
        va_list args;
        va_start(args, iFormat);
        const int written = fendrake_vsnprintf(
            mText + mLength, static_cast<unsigned>(sizeof mText - mLength), iFormat, args);
        va_end(args);
        // -1: cut at the end of the buffer.
        mLength = written < 0 ? sizeof mText - 1 : mLength + static_cast<size_t>(written);
    }

private:
    char mText[1536];
    size_t mLength = 0;
};

// The diagnostic form "%Y%m%d-%H%M%S%O UTC", or "Unset" for second 0.
class TimeText {
public:
    TimeText(int32_t iSeconds, uint32_t iNanoSeconds) {
        if (iSeconds == 0) {
            fendrake_snprintf(mText, sizeof mText, "Unset");
            return;
        }
        const time_t seconds = iSeconds;
        struct tm utc;
        gmtime_r(&seconds, &utc);
        int length =
            fendrake_snprintf(mText, sizeof mText, "%d%02d%02d-%02d%02d%02d", utc.tm_year + 1900,
                              utc.tm_mon + 1, utc.tm_mday, utc.tm_hour, utc.tm_min, utc.tm_sec);
        if (iNanoSeconds != 0 && length > 0 && static_cast<size_t>(length) < sizeof mText)
            length +=
                fendrake_snprintf(mText + length, sizeof mText - length, ".%09u", iNanoSeconds);
        if (length > 0 && static_cast<size_t>(length) < sizeof mText)
            fendrake_snprintf(mText + length, sizeof mText - length, " UTC");
    }
    // Estimates pass through the double constructor, as the value would.
    static TimeText FromNs(uint64_t iNs) {
        const FendrakeTime time(static_cast<double>(iNs) / 1e9);
        return TimeText(time.getUnixUTC(), time.getNanoSeconds());
    }
    const char* c_str() const { return mText; }

private:
    char mText[64];
};

// The source's estimate of the present; 0 for a record never set.
uint64_t Estimate(const FendrakeTime::TimeData& iRecord, uint64_t iAppStartNs) {
    if (iRecord.valueNs == 0)
        return 0;
    return iRecord.valueNs - iRecord.baseNs + iAppStartNs;
}
} // namespace

FendrakeTime::FendrakeTime(double iSeconds) : mSeconds(0), mNanoSeconds(0) {
    if (!(iSeconds > 0.0))
        return;
    const double whole = std::floor(iSeconds);
    // Beyond 2038 the seconds do not fit: they stay at the last that does.
    mSeconds = whole >= 2147483647.0 ? 2147483647 : static_cast<int32_t>(whole);
    mNanoSeconds = static_cast<uint32_t>((iSeconds - whole) * 1e9);
}

void FendrakeTime::set(int iSeconds, unsigned int iNanoSeconds) {
    mSeconds = iSeconds;
    mNanoSeconds = iNanoSeconds;
}

void FendrakeTime::CreateBookKeeping() {
    FENDRAKE_ASSERT_AT(FENDRAKE_FILE, __LINE__, smpMutex == nullptr, "smpMutex==NULL");
    if (smpMutex)
        return;
    smpMutex = new FendrakeMutexNested;
    timeval now;
    if (gettimeofday(&now, nullptr) != 0)
        FENDRAKE_ASSERT(0);
    else
        smStartCodeSecOffset = static_cast<int32_t>(now.tv_sec);
    timespec monotonic;
    clock_gettime(CLOCK_MONOTONIC, &monotonic);
    smSystemMonotonicClockStartSec = static_cast<int32_t>(monotonic.tv_sec);
}

void FendrakeTime::DestroyBookKeeping() {
    FENDRAKE_ASSERT_AT(FENDRAKE_FILE, __LINE__, smpMutex != nullptr, "smpMutex!=NULL");
    delete smpMutex;
    smpMutex = nullptr;
    if (smSystemAddjustBackOffset == 0)
        return;
    timeval now;
    if (gettimeofday(&now, nullptr) != 0)
        return;
    now.tv_sec -= smSystemAddjustBackOffset;
    fendrake_system_settimeofday(&now);
}

void FendrakeTime::getTimeNowAppStartNs(unsigned int& oSec, unsigned int& oNsec) {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    oSec = static_cast<unsigned int>(now.tv_sec - smSystemMonotonicClockStartSec);
    oNsec = static_cast<unsigned int>(now.tv_nsec);
}

uint64_t FendrakeTime::iAppStartNs() {
    unsigned int sec;
    unsigned int nsec;
    getTimeNowAppStartNs(sec, nsec);
    return uint64_t(sec) * NSEC_PER_SEC + nsec;
}

int32_t FendrakeTime::getTimeNowAppStart() {
    unsigned int sec;
    unsigned int nsec;
    getTimeNowAppStartNs(sec, nsec);
    return static_cast<int32_t>(sec);
}

uint64_t FendrakeTime::getTimeNowAppStartMS() {
    return MillisecondsOf(getTimeNowAppStartNs);
}

int32_t FendrakeTime::getTime(FendrakeTimeSource iTimeSource) {
    unsigned int sec;
    unsigned int nsec;
    getTimeNs(iTimeSource, sec, nsec);
    return static_cast<int32_t>(sec);
}

int32_t FendrakeTime::getTimeNow() {
    return getTime(getTimeSource());
}

bool FendrakeTime::getTimeNowNs(unsigned int& oSec, unsigned int& oNsec) {
    return getTimeNs(getTimeSource(), oSec, oNsec);
}

uint64_t FendrakeTime::getTimeNowMS() {
    return MillisecondsOf(getTimeNowNs);
}

int32_t FendrakeTime::getLastSet(FendrakeTimeSource iTimeSource) {
    FENDRAKE_ASSERT_DETAIL_AT(FENDRAKE_FILE, __LINE__, iTimeSource < NUM_FEN_TIME_SOURCES,
                              "iTimeSource<NUM_FEN_TIME_SOURCES",
                              " iTimeSource=%d, (eFTS_External+1)=%d\n", iTimeSource,
                              NUM_FEN_TIME_SOURCES);
    FENDRAKE_ASSERT(smpMutex);
    // A negative source passes the assertion; it must not index the records.
    if (iTimeSource < 0 || iTimeSource >= NUM_FEN_TIME_SOURCES || !smpMutex)
        return -1;
    FendrakeLockScope<FendrakeMutexNested> lock(*smpMutex);
    const uint64_t baseNs = gTimeData[iTimeSource].baseNs;
    if (iTimeSource == eFTS_None || baseNs == 0)
        return -1;
    return static_cast<int32_t>((iAppStartNs() - baseNs) / NSEC_PER_SEC);
}

namespace {
// Above the floor passes in silence; exactly at it is reported and still
// accepted; below it is reported and refused.
bool FloorAccepts(int64_t iNewTimeNs, FendrakeTimeSource iTimeSource, Diagnostic& ioDiagnostic,
                  int iLine) {
    if (iNewTimeNs > static_cast<int64_t>(kFloorNs))
        return true;
    if (iTimeSource == eFTS_System)
        ioDiagnostic.append("Update system time, pTime->getUnixUtcNs()=%lld",
                            static_cast<long long>(iNewTimeNs));
    else
        ioDiagnostic.append("Update time iTimeSource=%d, newTimeNs=%lld", iTimeSource,
                            static_cast<long long>(iNewTimeNs));
    ioDiagnostic.append(", (uint64(NSEC_PER_SEC)*SEC_MIN)=%llu, line=%d",
                        static_cast<unsigned long long>(kFloorNs), iLine);
    return iNewTimeNs >= static_cast<int64_t>(kFloorNs);
}

void ReportBackwardStep(Diagnostic& ioDiagnostic, const FendrakeTime* pTime,
                        FendrakeTimeSource iTimeSource, const FendrakeTime::TimeData& iRecord,
                        uint64_t iNewTimeNs, uint64_t iAppStartNs, uint64_t iOldNs, int iLine) {
    if (iTimeSource == eFTS_System)
        ioDiagnostic.append("Update system time");
    else
        ioDiagnostic.append("Update time iTimeSource=%d", iTimeSource);
    const TimeText given =
        pTime ? TimeText(pTime->getUnixUTC(), pTime->getNanoSeconds()) : TimeText(0, 0);
    ioDiagnostic.append(
        " pTime=%s, newTimeNs=%llu, appStartNs=%llu, "
        "gTimeData[iTimeSource].baseNs=%llu, gTimeData[iTimeSource].valueNs=%llu, "
        "old=%s, new=%s, line=%d",
        pTime ? given.c_str() : "(null)", static_cast<unsigned long long>(iNewTimeNs),
        static_cast<unsigned long long>(iAppStartNs),
        static_cast<unsigned long long>(iRecord.baseNs),
        static_cast<unsigned long long>(iRecord.valueNs), TimeText::FromNs(iOldNs).c_str(),
        TimeText::FromNs(iNewTimeNs).c_str(), iLine);
}

// The last source set with iUpdateLastSet wins; the first one ever set wins
// whatever it says. Sources have no rank.
void ChooseSource(FendrakeTimeSource iTimeSource, bool iUpdateLastSet, uint64_t iAppStartNs,
                  Diagnostic& ioDiagnostic, int iLine) {
    const FendrakeTimeSource current = FendrakeTime::getTimeSource();
    if (!iUpdateLastSet && current != eFTS_None)
        return;
    if (iUpdateLastSet && iTimeSource == current)
        return;
    const uint64_t currentNs = Estimate(FendrakeTime::gTimeData[current], iAppStartNs);
    const uint64_t newNs = Estimate(FendrakeTime::gTimeData[iTimeSource], iAppStartNs);
    if (currentNs >= newNs + kBackwardStepNs)
        ioDiagnostic.append("Update timesource gLastSetTimeSource=%d, iTimeSource=%d, "
                            "iUpdateLastSet=%s, old=%s, new=%s, line=%d",
                            current, iTimeSource, iUpdateLastSet ? "true" : "false",
                            TimeText::FromNs(currentNs).c_str(), TimeText::FromNs(newNs).c_str(),
                            iLine);
    FendrakeTime::gLastSetTimeSource.store(iTimeSource, std::memory_order_relaxed);
}
} // namespace

bool FendrakeTime::setTime(FendrakeTime* pTime, FendrakeTimeSource iTimeSource,
                           bool iUpdateLastSet) {
    FENDRAKE_ASSERT_DETAIL_AT(FENDRAKE_FILE, __LINE__, iTimeSource < NUM_FEN_TIME_SOURCES,
                              "iTimeSource<NUM_FEN_TIME_SOURCES",
                              " iTimeSource=%d, (eFTS_External+1)=%d\n", iTimeSource,
                              NUM_FEN_TIME_SOURCES);
    // A negative source passes the assertion; it must not index the records.
    if (iTimeSource < 0 || iTimeSource >= NUM_FEN_TIME_SOURCES)
        return false;
    Diagnostic diagnostic;
    FENDRAKE_ASSERT(smpMutex);
    if (!smpMutex)
        return false;

    FendrakeLockScope<FendrakeMutexNested> lock(*smpMutex);
    const uint64_t appStartNs = iAppStartNs();
    if (iTimeSource == eFTS_None)
        return false;

    int64_t newTimeNs = 0;
    bool accepted = true;
    if (iTimeSource == eFTS_System) {
        int64_t sec;
        uint32_t nsec;
        if (!pTime) {
            timespec now;
            clock_gettime(CLOCK_REALTIME, &now);
            sec = now.tv_sec;
            nsec = static_cast<uint32_t>(now.tv_nsec);
        } else {
            sec = pTime->getUnixUTC();
            nsec = pTime->getNanoSeconds();
            newTimeNs = sec * NSEC_PER_SEC + nsec;
            accepted = FloorAccepts(newTimeNs, iTimeSource, diagnostic, __LINE__);
            if (accepted) {
                timespec wanted;
                wanted.tv_sec = static_cast<time_t>(sec);
                wanted.tv_nsec = static_cast<long>(nsec);
                fendrake_system_clock_settime(&wanted);
            }
        }
        // Recomputed with the nanoseconds read as signed.
        newTimeNs = sec * NSEC_PER_SEC + static_cast<int32_t>(nsec);
    } else if (pTime) {
        newTimeNs = int64_t(pTime->getUnixUTC()) * NSEC_PER_SEC + pTime->getNanoSeconds();
        accepted = FloorAccepts(newTimeNs, iTimeSource, diagnostic, __LINE__);
    } else {
        // No time to take: refused rather than read through a null pointer.
        accepted = false;
    }

    bool result = false;
    if (accepted) {
        const uint64_t newNs = static_cast<uint64_t>(newTimeNs);
        TimeData& record = gTimeData[iTimeSource];
        const uint64_t oldNs = Estimate(record, appStartNs);
        if (oldNs >= newNs + kBackwardStepNs)
            ReportBackwardStep(diagnostic, pTime, iTimeSource, record, newNs, appStartNs, oldNs,
                               __LINE__);
        record.baseNs = appStartNs;
        record.valueNs = newNs;
        ChooseSource(iTimeSource, iUpdateLastSet, appStartNs, diagnostic, __LINE__);
        result = true;
    }
    lock.Release();

    if (!diagnostic.empty())
        fendrake_attention_detail(FENDRAKE_FILE, __LINE__, "0", "%s\n", diagnostic.text());
    return result;
}
