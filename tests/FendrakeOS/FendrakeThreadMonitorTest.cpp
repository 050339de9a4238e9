#include "Basic/FendrakeOS/FendrakeThreadMonitor.h"

#include "ArgList.h"
#include "Basic/FendrakeOS/FendrakeOSInit.h"
#include "Basic/FendrakeOS/FendrakeThread.h"
#include "Basic/FendrakeOS/src/FendrakeOSInit/FendrakeThreadTicks.h"
#include "Basic/FendrakeStdLib/FendrakeDebug.h"
#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fstream>
#include <functional>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

using testing::ContainsRegex;
using testing::HasSubstr;

namespace {
bool Eventually(const std::function<bool()>& iCondition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!iCondition() && std::chrono::steady_clock::now() < end)
        FendrakeThread::DelayThreadMS(1);
    return iCondition();
}

// A ping of 2 ms, waited out until it is over 1 ms late: the report's number is negative.
void MakeLate(FendrakeThread& ioThread) {
    ioThread.SetResponsePingTimeOut(2);
    const unsigned int set = FendrakeThread::GetClockNow();
    ASSERT_TRUE(Eventually([&] { return FendrakeThread::GetClockNow() - set > 3000; }));
}

long CountTextsStartingWith(const std::string& iStart) {
    const std::vector<std::string> texts = CapturedTexts();
    return std::count_if(texts.begin(), texts.end(), [&](const std::string& iText) {
        return iText.compare(0, iStart.size(), iStart) == 0;
    });
}

// Runs iBody first, if any, then waits until released; deleting it releases it.
class WorkerThread : public FendrakeThread {
public:
    WorkerThread(const char* iName, FendrakeThreadPriority iPriority,
                 std::function<void(WorkerThread&)> iBody = nullptr)
        : FendrakeThread(iName, nullptr, iPriority, 0), mBody(std::move(iBody)) {
        Start();
    }
    // Twice: a body may wait for a release of its own.
    ~WorkerThread() override {
        mRelease.Signal();
        mRelease.Signal();
        WaitForTermination();
    }
    FendrakeSemaphore mRelease{0};

protected:
    int Body(void*) override {
        if (mBody)
            mBody(*this);
        return mRelease.Wait();
    }

private:
    std::function<void(WorkerThread&)> mBody;
};

// State and user plus system ticks of one of our threads, whose names hold no parenthesis.
bool ReadOwnStat(unsigned int iTid, char& oState, unsigned long& oTicks) {
    FILE* file = fopen(("/proc/self/task/" + std::to_string(iTid) + "/stat").c_str(), "r");
    unsigned long user = 0, system = 0;
    const bool read = file && fscanf(file, "%*d (%*[^)]) %c%*d%*d%*d%*d%*d%*u%*u%*u%*u%*u%lu%lu",
                                     &oState, &user, &system) == 3;
    if (file)
        fclose(file);
    oTicks = user + system;
    return read;
}

// Until the thread sleeps, having used more than iTicksBefore.
void WaitUntilAsleep(FendrakeThread& iThread, long iTicksBefore = -1) {
    ASSERT_TRUE(Eventually([&] {
        char state = 0;
        unsigned long ticks = 0;
        return ReadOwnStat(iThread.GetTid(), state, ticks) && state == 'S' &&
               static_cast<long>(ticks) > iTicksBefore;
    }));
}

// What iBody writes to standard output, split into listings, each from its "comm:" line.
std::vector<std::vector<std::string>> ListingsOf(const std::function<void()>& iBody) {
    testing::internal::CaptureStdout();
    iBody();
    std::istringstream output(testing::internal::GetCapturedStdout());
    std::vector<std::vector<std::string>> listings;
    for (std::string line; std::getline(output, line);) {
        if (line.compare(0, 6, "comm:'") == 0)
            listings.emplace_back();
        if (!listings.empty())
            listings.back().push_back(line);
    }
    return listings;
}

// The line whose label starts with "<tid>(<name>)", or "".
std::string LineOf(const std::vector<std::string>& iListing, FendrakeThread& iThread) {
    const std::string key = std::to_string(iThread.GetTid()) + "(" + iThread.GetName() + ")";
    for (const std::string& line : iListing) {
        if (line.compare(0, key.size(), key) == 0)
            return line;
    }
    return "";
}

// Every listener call, in order: the listener's letter, upper case when some thread was late.
std::mutex sRecordMutex;
std::string sRecord;

std::string Record() {
    std::lock_guard<std::mutex> lock(sRecordMutex);
    return sRecord;
}

class RecordingListener : public FendrakeThreadMonitorNotify {
public:
    explicit RecordingListener(char iLetter) : mLetter(iLetter) {}
    void ThreadMonitorRound(bool iSomeThreadLate) override {
        std::lock_guard<std::mutex> lock(sRecordMutex);
        sRecord += static_cast<char>(iSomeThreadLate ? toupper(mLetter) : mLetter);
    }

private:
    const char mLetter;
};

class FendrakeThreadMonitorTest : public testing::Test {
protected:
    void SetUp() override {
        FendrakeOptArguments args = mWords.Args();
        FendrakeOSInit(&args);
        FendrakeDebugInit(&args);
        sRecord.clear();
    }
    void TearDown() override {
        FendrakeOSDestruct();
        FendrakeDebugTerm();
    }
    ArgList mWords{{"test"}};
};
} // namespace

TEST(FendrakeThreadTicksTest, DeltasHoldForEveryThreadId) {
    struct Row {
        int mLine;
        bool mEndListingBefore;
        unsigned int mTid, mTicks, mDelta;
    };
    // clang-format off
    static const Row kRows[] = {
        {__LINE__, false, 1, 10, 10},         {__LINE__, false, 65535, 7, 7},
        {__LINE__, false, 65536, 8, 8},       {__LINE__, false, 4294967295u, 3, 3},
        {__LINE__, true, 1, 15, 5},           {__LINE__, false, 65536, 9, 1},
        {__LINE__, false, 4194304, 20, 20},
        {__LINE__, true, 65536, 12, 3},
        {__LINE__, false, 4294967295u, 5, 5}, // forgotten: not in the listing before
        {__LINE__, false, 4194304, 26, 6},    {__LINE__, false, 65535, 7, 0},
    };
    // clang-format on
    // Fresh for every run, and too large for the stack.
    std::unique_ptr<FendrakeThreadTicks> ticks(new FendrakeThreadTicks);
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        if (row.mEndListingBefore)
            ticks->EndListing();
        EXPECT_EQ(row.mDelta, ticks->Exchange(row.mTid, row.mTicks));
    }
}

// Each row makes the thread late again after the renewal of the row before.
TEST_F(FendrakeThreadMonitorTest, LateThreadIsReportedOnceUntilItRenews) {
    const struct {
        int mLine;
        int mState;
        const char* mStateText;
    } kRows[] = {
        {__LINE__, -1, ""},
        {__LINE__, 0, " - State=0"},
        {__LINE__, -7, " - State=-7"},
    };
    WorkerThread sleeper("sleeper", 1);
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        CaptureScope capture;
        sleeper.SetState(row.mState);
        MakeLate(sleeper);
        EXPECT_EQ(1, FendrakeThread_CheckResponseTimeOut());
        EXPECT_EQ(2, FendrakeThread_CheckResponseTimeOut());
        ASSERT_EQ(1u, CapturedLines().size());
        EXPECT_THAT(LastLogLine(),
                    ContainsRegex(std::string("FendrakeThread/Posix/FendrakeThread:103\\(L1\\)"
                                              "Thread 'sleeper' is -[1-9][0-9]* msec late") +
                                  row.mStateText + "\n$"));
        sleeper.SetResponsePingTimeOut(60000);
        EXPECT_EQ(0, FendrakeThread_CheckResponseTimeOut());
        sleeper.DisableResponsePing();
    }

    // A newly late thread makes 1 whether it stands before or behind a known late one.
    WorkerThread other("other", 1);
    MakeLate(sleeper);
    EXPECT_EQ(1, FendrakeThread_CheckResponseTimeOut());
    MakeLate(other);
    EXPECT_EQ(1, FendrakeThread_CheckResponseTimeOut());
    MakeLate(sleeper);
    EXPECT_EQ(1, FendrakeThread_CheckResponseTimeOut());
    EXPECT_EQ(2, FendrakeThread_CheckResponseTimeOut());
}

// Listeners are called once a round each, in order of adding; a removed one no
// more. A thread that renews its ping in time is never reported, and its ping
// ends with it.
TEST_F(FendrakeThreadMonitorTest, MonitorReportsLateThreadsTellsListenersAndLists) {
    CaptureScope capture;
    WorkerThread sleeper("sleeper", 10);
    WaitUntilAsleep(sleeper);
    std::atomic<bool> stop{false};
    const unsigned int start = FendrakeThread::GetClockNow();
    WorkerThread renewer("renewer", 1, [&](WorkerThread& iSelf) {
        while (!stop.load()) {
            iSelf.SetResponsePingTimeOut(500);
            FendrakeThread::DelayThreadMS(1);
        }
    });
    FendrakeThread& main = *FendrakeThread::This();
    RecordingListener kept('k'), removed('r');
    const auto listings = ListingsOf([&] {
        FendrakeOSStart(10);
        AddFendrakeThreadMonitorNotify(&kept);
        AddFendrakeThreadMonitorNotify(&removed);
        EXPECT_TRUE(Eventually([] { return Record().find("kr") != std::string::npos; }));
        main.SetResponsePingTimeOut(1);
        // Late, then known late.
        EXPECT_TRUE(Eventually([] { return Record().find("KRKR") != std::string::npos; }));
        EXPECT_EQ(1, CountTextsStartingWith("It is bad\n"));
        RemoveFendrakeThreadMonitorNotify(&removed);

        main.SetResponsePingTimeOut(1);
        EXPECT_TRUE(Eventually([] { return CountTextsStartingWith("It is bad\n") == 2; }));
        const size_t callsAtSecondReport = Record().size();
        main.DisableResponsePing();
        // The renewer's ping has run three times over by then.
        EXPECT_TRUE(Eventually([&] {
            const std::string record = Record();
            return record.size() >= callsAtSecondReport + 2 && record.back() == 'k' &&
                   FendrakeThread::GetClockNow() - start > 1500000;
        }));
        RemoveFendrakeThreadMonitorNotify(&kept);
    });
    EXPECT_THAT(Record(), testing::MatchesRegex("k*(kr)+(KR)(KR)+[kK]*K[kK]*k"));
    EXPECT_EQ(2, CountTextsStartingWith("Thread 'main' is -"));
    EXPECT_EQ(0, CountTextsStartingWith("Thread 'renewer'"));
    EXPECT_THAT(CapturedOutput(),
                HasSubstr("FendrakeOSInit/Posix/FendrakeOSInit:214(L1)It is bad\n"));
    stop = true;
    renewer.mRelease.Signal();
    renewer.WaitForTermination();
    {
        FendrakeLockScope<FendrakeMutex> lock(*sPidMapMutex);
        EXPECT_EQ(0u, sResponseTimeOut.size());
    }

    ASSERT_EQ(2u, listings.size());
    EXPECT_NE("", LineOf(listings[0], sleeper));
    EXPECT_NE("", LineOf(listings[0], main));
    EXPECT_EQ("", LineOf(listings[1], sleeper));
    // The monitor itself runs while it lists.
    EXPECT_THAT(listings[1], testing::Contains(HasSubstr("(FendrakeThreadMonitor)")));
}

TEST_F(FendrakeThreadMonitorTest, ListingShowsEveryLineThenThreadsThatRanOrRun) {
    WorkerThread sleeper("sleeper", 10);
    std::atomic<unsigned long> ranUntil{0};
    WorkerThread worker("worker", 1, [&](WorkerThread& iSelf) {
        iSelf.mRelease.Wait(); // then spins until it has used a tick
        char state;
        unsigned long ticks = 0;
        while (ReadOwnStat(iSelf.GetTid(), state, ticks) && ticks <= ranUntil.load()) {
        }
    });
    WaitUntilAsleep(sleeper);
    WaitUntilAsleep(worker);
    const auto first = ListingsOf([] { ListThreads(false); });
    char state;
    unsigned long ticks;
    ASSERT_TRUE(ReadOwnStat(worker.GetTid(), state, ticks));
    ranUntil = ticks;
    worker.mRelease.Signal();
    WaitUntilAsleep(worker, static_cast<long>(ticks));
    const auto second = ListingsOf([] { ListThreads(true); });

    ASSERT_EQ(1u, first.size());
    const std::string label = std::to_string(sleeper.GetTid()) + "(sleeper)" +
                              std::to_string(static_cast<unsigned int>(sleeper.GetNativeHandle())) +
                              "-ptp:10 ";
    const std::string sleeperLine = LineOf(first[0], sleeper);
    EXPECT_EQ(label + std::string(49 - label.size(), ' '), sleeperLine.substr(0, 49));
    EXPECT_THAT(sleeperLine.substr(49),
                ContainsRegex("^prio: 30 10 S flags:0x[0-9a-f]+ faults:( *[0-9]+){4} "
                              "cpu:( *[0-9]+){5} pos:[0-9a-f]+ [0-9a-f]+ [0-9a-f]+$"));
    EXPECT_THAT(first[0],
                testing::Contains(testing::StartsWith("1 <UNKNOWN THREAD> Parent:   0 ")));

    ASSERT_EQ(1u, second.size());
    EXPECT_EQ("", LineOf(second[0], sleeper));
    EXPECT_THAT(LineOf(second[0], worker), ContainsRegex(" S flags:.* cpu: *[1-9]"));
    EXPECT_NE("", LineOf(second[0], *FendrakeThread::This())); // running while it lists
}

TEST_F(FendrakeThreadMonitorTest, RaisedSignalComesFromTheMonitorAndEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            FendrakeOSStart(60000); // the request wakes it
            fendrake_raise_signal_from_threadmonitor(SIGUSR1);
            exit(0); // the caller must stay parked
        },
        testing::KilledBySignal(SIGUSR1), "");
}

// Each counter lies between two readings of our own taken around the call.
TEST(FendrakeCpuStatTest, CountersComeFromProcStat) {
    const auto read = [] {
        std::ifstream file("/proc/stat");
        std::vector<unsigned long> values(8);
        std::string word;
        file >> word >> values[0] >> values[1] >> values[2] >> values[3] >> values[4] >>
            values[5] >> values[6];
        while (file >> word && word != "ctxt") {
        }
        file >> values[7];
        return values;
    };
    const std::vector<unsigned long> before = read();
    CpuStat stat{};
    ASSERT_TRUE(fendrake_get_cpu_stat(stat, true));
    const std::vector<unsigned long> after = read();
    const unsigned long seen[] = {stat.mUser,   stat.mNice, stat.mSystem,  stat.mIdle,
                                  stat.mIowait, stat.mIrq,  stat.mSoftirq, stat.mContextSwitches};
    for (int i = 0; i < 8; ++i) {
        EXPECT_LE(before[i], seen[i]) << "counter " << i;
        EXPECT_GE(after[i], seen[i]) << "counter " << i;
    }
    CpuStat without{};
    EXPECT_TRUE(fendrake_get_cpu_stat(without, false));
    EXPECT_EQ(0u, without.mContextSwitches);
}
