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
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <mutex>
#include <sstream>
#include <string>
#include <unistd.h>
#include <vector>

using testing::ContainsRegex;
using testing::HasSubstr;

namespace {
const std::chrono::seconds kPatience(60);

bool Eventually(const std::function<bool()>& iCondition) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
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
        mRelease.Wait();
        return 0;
    }

private:
    std::function<void(WorkerThread&)> mBody;
};

// State and user plus system ticks of one of our threads.
bool ReadOwnStat(unsigned int iTid, char& oState, unsigned long& oTicks) {
    std::ifstream file("/proc/self/task/" + std::to_string(iTid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    std::istringstream fields(text.substr(std::min(text.size(), text.rfind(')') + 2)));
    std::string skip;
    unsigned long user = 0, system = 0;
    fields >> oState >> skip >> skip >> skip >> skip >> skip >> skip >> skip >> skip >> skip >>
        skip >> user >> system;
    oTicks = user + system;
    return static_cast<bool>(fields);
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
    fflush(stdout);
    FILE* file = tmpfile();
    const int saved = dup(1);
    dup2(fileno(file), 1);
    iBody();
    fflush(stdout);
    dup2(saved, 1);
    close(saved);
    rewind(file);
    std::vector<std::vector<std::string>> listings;
    char line[1024];
    while (fgets(line, sizeof line, file)) {
        if (strncmp(line, "comm:'", 6) == 0)
            listings.emplace_back();
        if (!listings.empty())
            listings.back().push_back(std::string(line, strcspn(line, "\n")));
    }
    fclose(file);
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

class RecordingListener : public FendrakeThreadMonitorNotify {
public:
    void ThreadMonitorRound(bool iSomeThreadLate) override {
        std::lock_guard<std::mutex> lock(mMutex);
        mCalls.push_back(iSomeThreadLate);
        mChanged.notify_all();
    }
    bool WaitUntil(const std::function<bool(const std::vector<bool>&)>& iCondition) {
        std::unique_lock<std::mutex> lock(mMutex);
        return mChanged.wait_for(lock, kPatience, [&] { return iCondition(mCalls); });
    }
    std::vector<bool> Calls() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mCalls;
    }

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    std::vector<bool> mCalls;
};

class FendrakeThreadMonitorTest : public testing::Test {
protected:
    void SetUp() override {
        FendrakeOptArguments args = mWords.Args();
        FendrakeOSInit(&args);
        FendrakeDebugInit(&args);
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
    static FendrakeThreadTicks ticks;
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        if (row.mEndListingBefore)
            ticks.EndListing();
        EXPECT_EQ(row.mDelta, ticks.Exchange(row.mTid, row.mTicks));
    }
}

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
        for (unsigned int renewal = 1; renewal <= 2; ++renewal) {
            MakeLate(sleeper);
            EXPECT_EQ(1, FendrakeThread_CheckResponseTimeOut());
            EXPECT_EQ(2, FendrakeThread_CheckResponseTimeOut());
            ASSERT_EQ(renewal, CapturedLines().size());
            EXPECT_THAT(LastLogLine(),
                        ContainsRegex(std::string("FendrakeThread/Posix/FendrakeThread:103\\(L1\\)"
                                                  "Thread 'sleeper' is -[1-9][0-9]* msec late") +
                                      row.mStateText + "\n$"));
        }
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

TEST_F(FendrakeThreadMonitorTest, ThreadRenewingInTimeIsNeverReportedAndItsPingEndsWithIt) {
    CaptureScope capture;
    FendrakeOSStart(5);
    RecordingListener listener;
    AddFendrakeThreadMonitorNotify(&listener);
    std::atomic<bool> stop{false};
    const unsigned int start = FendrakeThread::GetClockNow();
    WorkerThread* renewer = new WorkerThread("renewer", 1, [&](WorkerThread& iSelf) {
        while (!stop.load()) {
            iSelf.SetResponsePingTimeOut(500);
            FendrakeThread::DelayThreadMS(1);
        }
    });
    // Three times the timeout, and many rounds.
    EXPECT_TRUE(Eventually([&] { return FendrakeThread::GetClockNow() - start > 1500000; }));
    EXPECT_TRUE(
        listener.WaitUntil([](const std::vector<bool>& iCalls) { return iCalls.size() > 20; }));
    stop = true;
    renewer->mRelease.Signal();
    renewer->WaitForTermination();
    {
        FendrakeLockScope<FendrakeMutex> lock(*sPidMapMutex);
        EXPECT_EQ(0u, sResponseTimeOut.size());
    }
    delete renewer;
    RemoveFendrakeThreadMonitorNotify(&listener);
    const std::vector<bool> calls = listener.Calls();
    EXPECT_EQ(calls.end(), std::find(calls.begin(), calls.end(), true));
    EXPECT_THAT(CapturedOutput(), testing::Not(HasSubstr("msec late")));
}

TEST_F(FendrakeThreadMonitorTest, MonitorTellsListenersAndListsAllThenActiveThreads) {
    CaptureScope capture;
    WorkerThread sleeper("sleeper", 10);
    WaitUntilAsleep(sleeper);
    FendrakeThread& main = *FendrakeThread::This();
    RecordingListener kept, removed;
    std::vector<bool> keptAtRemoval;
    const auto listings = ListingsOf([&] {
        FendrakeOSStart(10);
        AddFendrakeThreadMonitorNotify(&kept);
        AddFendrakeThreadMonitorNotify(&removed);
        EXPECT_TRUE(
            kept.WaitUntil([](const std::vector<bool>& iCalls) { return iCalls.size() >= 2; }));
        main.SetResponsePingTimeOut(1);
        EXPECT_TRUE(kept.WaitUntil([](const std::vector<bool>& iCalls) {
            return std::count(iCalls.begin(), iCalls.end(), true) >= 2; // late, then known late
        }));
        EXPECT_EQ(1, CountTextsStartingWith("It is bad\n"));
        RemoveFendrakeThreadMonitorNotify(&removed);
        keptAtRemoval = kept.Calls();
        EXPECT_EQ(keptAtRemoval, removed.Calls()); // each listener once a round

        main.SetResponsePingTimeOut(1);
        EXPECT_TRUE(Eventually([] { return CountTextsStartingWith("It is bad\n") == 2; }));
        const size_t callsAtSecondReport = kept.Calls().size();
        main.DisableResponsePing();
        EXPECT_TRUE(kept.WaitUntil([&](const std::vector<bool>& iCalls) {
            return iCalls.size() >= callsAtSecondReport + 2 && !iCalls.back();
        }));
        RemoveFendrakeThreadMonitorNotify(&kept);
    });
    EXPECT_EQ(keptAtRemoval, removed.Calls());
    EXPECT_EQ(2, CountTextsStartingWith("Thread 'main' is -"));
    EXPECT_THAT(CapturedOutput(),
                HasSubstr("FendrakeOSInit/Posix/FendrakeOSInit:214(L1)It is bad\n"));

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
    const auto read = [](std::vector<unsigned long>& oValues) {
        std::ifstream file("/proc/stat");
        std::string word;
        oValues.assign(8, 0);
        file >> word >> oValues[0] >> oValues[1] >> oValues[2] >> oValues[3] >> oValues[4] >>
            oValues[5] >> oValues[6];
        while (file >> word && word != "ctxt") {
        }
        file >> oValues[7];
    };
    std::vector<unsigned long> before, after;
    CpuStat stat{};
    read(before);
    ASSERT_TRUE(fendrake_get_cpu_stat(stat, true));
    read(after);
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
