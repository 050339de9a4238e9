#include "Basic/FendrakeStdLib/FendrakeTime.h"

#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

using testing::ContainsRegex;
using testing::HasSubstr;

namespace {
std::vector<timespec> sClockSettimes;
std::vector<timeval> sSettimeofdays;
} // namespace

// Stand-ins for the writes to the system clock: the real clock is never touched.
extern "C" int fendrake_system_clock_settime(const struct timespec* iTime) {
    sClockSettimes.push_back(*iTime);
    return 0;
}
extern "C" int fendrake_system_settimeofday(const struct timeval* iTime) {
    sSettimeofdays.push_back(*iTime);
    return 0;
}

namespace {
const int32_t kSomeTime = 1700000000; // 20231114-221320 UTC
const uint64_t kFloorNs = 630720000000000000ull;

FendrakeTime FromNs(uint64_t iNs) {
    return FendrakeTime(static_cast<int>(iNs / 1000000000),
                        static_cast<unsigned>(iNs % 1000000000));
}

class FendrakeTimeTest : public testing::Test {
protected:
    void SetUp() override {
        // Never run these tests against the real clock.
        ASSERT_NE(&fendrake_system_clock_settime, &__fendrake_system_clock_settime);
        ASSERT_NE(&fendrake_system_settimeofday, &__fendrake_system_settimeofday);
        ResetClock();
        FendrakeTime::CreateBookKeeping();
    }
    // No source set, nothing captured or written.
    static void ResetClock() {
        for (FendrakeTime::TimeData& record : FendrakeTime::gTimeData)
            record = FendrakeTime::TimeData{0, 0};
        FendrakeTime::gLastSetTimeSource = eFTS_None;
        sClockSettimes.clear();
        sSettimeofdays.clear();
        ClearCaptured();
    }
    void TearDown() override {
        if (FendrakeTime::isBookKeepingCreated())
            FendrakeTime::DestroyBookKeeping();
    }
    CaptureScope mCapture;
};
} // namespace

TEST(FendrakeTimeValueTest, DoubleGivesFloorAndTruncatedFraction) {
    struct Row {
        int mLine;
        double mSeconds;
        int mWhole;
        unsigned mNano;
    };
    static const Row kRows[] = {
        {__LINE__, 1.5, 1, 500000000}, {__LINE__, 0.25, 0, 250000000},  {__LINE__, 0.0, 0, 0},
        {__LINE__, -1.5, 0, 0},        {__LINE__, 3e10, 2147483647, 0},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        const FendrakeTime time(row.mSeconds);
        EXPECT_EQ(row.mWhole, time.getUnixUTC());
        EXPECT_EQ(row.mNano, time.getNanoSeconds());
    }
}

// A setTime, after a first one unless that names no source: its result, the
// source chosen, the check points fired, the system clock written, the text.
TEST_F(FendrakeTimeTest, SetTimeChecksFloorAndBackwardStepsAndWritesTheSystemClock) {
    struct Row {
        int mLine;
        FendrakeTimeSource mFirstSource;
        uint64_t mFirstNs;
        FendrakeTimeSource mSource;
        uint64_t mNs;
        bool mResult;
        size_t mReports;
        const char* mText; // a pattern the output contains
    };
    const uint64_t kSome = uint64_t(kSomeTime) * 1000000000;
    const uint64_t kSecond = 1000000000;
    const Row kRows[] = {
        {__LINE__, eFTS_None, 0, eFTS_Source2, kFloorNs - 1, false, 1,
         "^Basic/FendrakeStdLib/src/FendrakeTime:[0-9]+ Attention `0' failed "
         "\\(calling task: [^)]+\\)\\.\nUpdate time iTimeSource=2, newTimeNs=630719999999999999, "
         "\\(uint64\\(NSEC_PER_SEC\\)\\*SEC_MIN\\)=630720000000000000, line=[0-9]+\n"},
        {__LINE__, eFTS_None, 0, eFTS_Source2, kFloorNs, true, 1, ""},
        {__LINE__, eFTS_None, 0, eFTS_Source2, kFloorNs + 1, true, 0, ""},
        {__LINE__, eFTS_None, 0, eFTS_System, kFloorNs - 1, false, 1, ""},
        {__LINE__, eFTS_None, 0, eFTS_System, kFloorNs, true, 1, ""},
        {__LINE__, eFTS_None, 0, eFTS_System, kFloorNs + 1, true, 0, ""},
        // Nine seconds back stays silent unless the machine stalls for a whole second.
        {__LINE__, eFTS_Source2, kSome, eFTS_Source2, kSome - 9 * kSecond, true, 0, ""},
        {__LINE__, eFTS_Source2, kSome, eFTS_Source2, kSome - 19 * kSecond, true, 1,
         "\nUpdate time iTimeSource=2 pTime=20231114-221301 UTC, newTimeNs=1699999981000000000, "
         "appStartNs=[0-9]+, gTimeData\\[iTimeSource\\].baseNs=[0-9]+, "
         "gTimeData\\[iTimeSource\\].valueNs=1700000000000000000, "
         "old=20231114-221320(\\.[0-9]{9})? UTC, new=20231114-221301 UTC, line=[0-9]+\n"},
        {__LINE__, eFTS_Source2, kSome + 100 * kSecond, eFTS_Source3, kSome, true, 1,
         "\nUpdate timesource gLastSetTimeSource=2, iTimeSource=3, iUpdateLastSet=true, "
         "old=20231114-221500(\\.[0-9]{9})? UTC, new=20231114-221320(\\.[0-9]{9})? UTC, "
         "line=[0-9]+\n"},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        ResetClock();
        FendrakeTime first = FromNs(row.mFirstNs);
        if (row.mFirstSource != eFTS_None) {
            ASSERT_TRUE(FendrakeTime::setTime(&first, row.mFirstSource, true));
        }
        FendrakeTime time = FromNs(row.mNs);
        EXPECT_EQ(row.mResult, FendrakeTime::setTime(&time, row.mSource, true));
        EXPECT_EQ(row.mResult ? row.mSource : row.mFirstSource, FendrakeTime::getTimeSource());
        EXPECT_EQ(row.mReports, CapturedCheckPoints().size());
        EXPECT_THAT(CapturedOutput(), ContainsRegex(row.mText));
        const bool wroteClock = row.mSource == eFTS_System && row.mResult;
        ASSERT_EQ(wroteClock ? 1u : 0u, sClockSettimes.size());
        if (wroteClock) {
            EXPECT_EQ(time.getUnixUTC(), sClockSettimes[0].tv_sec);
            EXPECT_EQ(long(time.getNanoSeconds()), sClockSettimes[0].tv_nsec);
        }
        if (row.mResult && row.mSource != eFTS_System) {
            EXPECT_NEAR(double(row.mNs / kSecond), FendrakeTime::getTime(row.mSource), 5);
        }
    }
    ASSERT_FALSE(CapturedCheckPoints().empty());
    EXPECT_EQ("Basic/FendrakeStdLib/src/FendrakeTime", CapturedCheckPoints()[0].mFile);
    EXPECT_EQ(2u, CapturedCheckPoints()[0].mDebugLevel);
}

TEST_F(FendrakeTimeTest, FirstSourceIsAdoptedAndLaterOnesOnlyWhenAllowed) {
    FendrakeTime time(static_cast<int>(::time(nullptr)));
    EXPECT_FALSE(FendrakeTime::setTime(&time, eFTS_None, true));
    EXPECT_FALSE(FendrakeTime::setTime(nullptr, eFTS_None, true));
    EXPECT_FALSE(FendrakeTime::isTimeSet());
    // Without a time the system source reads the clock and never writes it.
    EXPECT_TRUE(FendrakeTime::setTime(nullptr, eFTS_System, false));
    EXPECT_TRUE(sClockSettimes.empty());
    EXPECT_EQ(eFTS_System, FendrakeTime::getTimeSource());
    EXPECT_TRUE(FendrakeTime::setTime(&time, eFTS_Source4, false));
    EXPECT_EQ(eFTS_System, FendrakeTime::getTimeSource());
    EXPECT_TRUE(FendrakeTime::setTime(&time, eFTS_Source4, true));
    EXPECT_EQ(eFTS_Source4, FendrakeTime::getTimeSource());
    EXPECT_TRUE(CapturedCheckPoints().empty());
}

TEST_F(FendrakeTimeTest, SystemSourceReadsTheOperatingSystemClockNotItsRecord) {
    FendrakeTime farAway(kSomeTime + 86400 * 1000);
    ASSERT_TRUE(FendrakeTime::setTime(&farAway, eFTS_System, true));
    FendrakeTime external(kSomeTime);
    ASSERT_TRUE(FendrakeTime::setTime(&external, eFTS_External, false));
    // The stand-in left the real clock alone, and the system source follows the real clock.
    EXPECT_NEAR(static_cast<double>(time(nullptr)), FendrakeTime::getTime(eFTS_System), 5);
    EXPECT_NEAR(kSomeTime, FendrakeTime::getTime(eFTS_External), 5);
    EXPECT_EQ(eFTS_System, FendrakeTime::getTimeSource());
}

TEST_F(FendrakeTimeTest, TimeFlowsFromTheMonotonicClockOnceASourceIsSet) {
    unsigned sec = 1, nsec = 1;
    EXPECT_FALSE(FendrakeTime::getTimeNowNs(sec, nsec));
    EXPECT_EQ(0u, sec + nsec);
    EXPECT_EQ(-1, FendrakeTime::getLastSet(eFTS_External));
    EXPECT_FALSE(FendrakeTime::isTimeSet(eFTS_External));
    EXPECT_EQ(0, FendrakeTime::getTime(eFTS_External));

    FendrakeTime time(kSomeTime, 500000000);
    ASSERT_TRUE(FendrakeTime::setTime(&time, eFTS_External, true));
    ASSERT_TRUE(FendrakeTime::getTimeNowNs(sec, nsec));
    EXPECT_GE(uint64_t(sec) * 1000000000 + nsec, uint64_t(kSomeTime) * 1000000000 + 500000000);
    EXPECT_GE(FendrakeTime::getTimeNowMS(), uint64_t(kSomeTime) * 1000 + 500);
    EXPECT_NEAR(kSomeTime, FendrakeTime::getTimeNow(), 5);
    EXPECT_EQ(0, FendrakeTime::getLastSet(eFTS_External));
}

TEST_F(FendrakeTimeTest, BadSourcesAndMissingBookkeepingAssert) {
    FendrakeTime time(kSomeTime);
    EXPECT_THROW(FendrakeTime::setTime(&time, static_cast<FendrakeTimeSource>(6), true),
                 AssertionFired);
    EXPECT_THAT(CapturedOutput(), HasSubstr("Assertion `iTimeSource<NUM_FEN_TIME_SOURCES' failed"));
    EXPECT_THAT(CapturedOutput(), HasSubstr(" iTimeSource=6, (eFTS_External+1)=6\n"));
    // The signed test lets a negative source by; it is refused without touching the records.
    EXPECT_FALSE(FendrakeTime::setTime(&time, static_cast<FendrakeTimeSource>(-1), true));
    EXPECT_FALSE(FendrakeTime::isTimeSet());

    EXPECT_THROW(FendrakeTime::CreateBookKeeping(), AssertionFired);
    EXPECT_THAT(LastLogLine(), HasSubstr("Assertion `smpMutex==NULL' failed"));
    FendrakeTime::DestroyBookKeeping();
    EXPECT_THROW(FendrakeTime::getTimeNow(), AssertionFired);
    EXPECT_THAT(
        LastLogLine(),
        ContainsRegex("Basic/FendrakeStdLib/FendrakeTime:[0-9]+ Assertion `smpMutex' failed"));
    EXPECT_THROW(FendrakeTime::DestroyBookKeeping(), AssertionFired);
    EXPECT_THAT(LastLogLine(), HasSubstr("Assertion `smpMutex!=NULL' failed"));
}

TEST_F(FendrakeTimeTest, TeardownStepsTheSystemClockBackOnlyWhenAsked) {
    FendrakeTime::DestroyBookKeeping();
    EXPECT_TRUE(sSettimeofdays.empty());
    FendrakeTime::CreateBookKeeping();
    FendrakeTime::smSystemAddjustBackOffset = 3600;
    FendrakeTime::DestroyBookKeeping();
    FendrakeTime::smSystemAddjustBackOffset = 0;
    ASSERT_EQ(1u, sSettimeofdays.size());
    EXPECT_NEAR(static_cast<double>(time(nullptr) - 3600), sSettimeofdays[0].tv_sec, 5);
}
