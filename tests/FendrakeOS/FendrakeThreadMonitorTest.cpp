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
#include <cstdlib>
#include <fstream>
#include <functional>
#include <mutex>
#include <sstream>
#include <string>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

using testing::ContainsRegex;
using testing::HasSubstr;

namespace {
const std::chrono::seconds kPatience(60);

// Polls iCondition until it holds or the patience runs out.
bool Eventually(const std::function<bool()>& iCondition) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (!iCondition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        FendrakeThread::DelayThreadMS(1);
    }
    return true;
}

// Waits until the clock has gone iTicks past iMoment.
void WaitPast(unsigned int iMoment, unsigned int iTicks) {
    ASSERT_TRUE(Eventually([&] {
        return static_cast<int32_t>(FendrakeThread::GetClockNow() - iMoment) >
               static_cast<int32_t>(iTicks);
    }));
}

// Sets a ping of 2 ms and waits until it is over 1 ms late, so that the
// report's number is negative.
void MakeLate(FendrakeThread& ioThread) {
    ioThread.SetResponsePingTimeOut(2);
    WaitPast(FendrakeThread::GetClockNow(), 3000);
}

int CountTexts(const std::string& iText) {
    const std::vector<std::string> texts = CapturedTexts();
    return static_cast<int>(std::count(texts.begin(), texts.end(), iText));
}

// A thread that waits until it is released, or one whose Body is a function.
class WorkerThread : public FendrakeThread {
public:
    WorkerThread(const char* iName, FendrakeThreadPriority iPriority,
                 std::function<void(WorkerThread&)> iBody = nullptr)
        : FendrakeThread(iName, nullptr, iPriority, 0), mBody(std::move(iBody)) {
        Start();
    }
    // Releases twice: a Body may wait for a release of its own first.
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

// "S", "R", ... and user plus system ticks of one of our threads.
bool ReadOwnStat(unsigned int iTid, char& oState, unsigned long& oTicks) {
    std::ifstream file("/proc/self/task/" + std::to_string(iTid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const size_t close = text.rfind(')');
    if (close == std::string::npos)
        return false;
    std::istringstream fields(text.substr(close + 2));
    std::string skip;
    unsigned long user = 0, system = 0;
    fields >> oState;
    for (int i = 0; i < 10; ++i)
        fields >> skip;
    fields >> user >> system;
    oTicks = user + system;
    return static_cast<bool>(fields);
}

// Waits until the thread sleeps, having used more than iTicksBefore.
void WaitUntilAsleep(FendrakeThread& iThread, long iTicksBefore = -1) {
    ASSERT_TRUE(Eventually([&] {
        char state = 0;
        unsigned long ticks = 0;
        return iThread.GetTid() != 0 && ReadOwnStat(iThread.GetTid(), state, ticks) &&
               state == 'S' && static_cast<long>(ticks) > iTicksBefore;
    }));
}

// Standard output of the time between construction and Finish.
class StdoutCapture {
public:
    StdoutCapture() {
        fflush(stdout);
        mFile = tmpfile();
        mSaved = dup(1);
        dup2(fileno(mFile), 1);
    }
    ~StdoutCapture() { Finish(); }
    std::string Finish() {
        if (mSaved >= 0) {
            fflush(stdout);
            dup2(mSaved, 1);
            close(mSaved);
            mSaved = -1;
            rewind(mFile);
            char buffer[4096];
            size_t length;
            while ((length = fread(buffer, 1, sizeof buffer, mFile)) > 0)
                mText.append(buffer, length);
            fclose(mFile);
        }
        return mText;
    }

private:
    FILE* mFile;
    int mSaved;
    std::string mText;
};

// The listings in a text: each begins with its "comm:" line.
std::vector<std::vector<std::string>> Listings(const std::string& iText) {
    std::vector<std::vector<std::string>> listings;
    std::istringstream lines(iText);
    std::string line;
    while (std::getline(lines, line)) {
        if (line.compare(0, 6, "comm:'") == 0)
            listings.emplace_back();
        if (!listings.empty())
            listings.back().push_back(line);
    }
    return listings;
}

// The line of a known thread, found by its label's "<tid>(<name>)".
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
        unsigned int mTid;
        unsigned int mTicks;
        unsigned int mDelta;
        bool mEndListingBefore;
    };
    // clang-format off
    static const Row kRows[] = {
        {__LINE__, 1, 10, 10, false},
        {__LINE__, 65535, 7, 7, false},
        {__LINE__, 65536, 8, 8, false},
        {__LINE__, 4294967295u, 3, 3, false},
        {__LINE__, 1, 15, 5, true},
        {__LINE__, 65536, 9, 1, false},
        {__LINE__, 4194304, 20, 20, false},
        {__LINE__, 65536, 12, 3, true},
        {__LINE__, 4294967295u, 5, 5, false}, // forgotten: absent from the listing before
        {__LINE__, 4194304, 26, 6, false},
        {__LINE__, 65535, 7, 0, false},
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
    struct Row {
        int mLine;
        int mState;
        const char* mStateText;
    };
    static const Row kRows[] = {
        {__LINE__, -1, ""},
        {__LINE__, 0, " - State=0"},
        {__LINE__, -7, " - State=-7"},
        {__LINE__, 123456, " - State=123456"},
    };
    WorkerThread sleeper("sleeper", 1);
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        CaptureScope capture;
        sleeper.SetState(row.mState);
        const std::string report = std::string("Basic/FendrakeOS/src/FendrakeThread/Posix/"
                                               "FendrakeThread:103\\(L1\\)Thread 'sleeper' is "
                                               "-[1-9][0-9]* msec late") +
                                   row.mStateText + "\n$";
        for (int renewal = 0; renewal < 2; ++renewal) {
            MakeLate(sleeper);
            EXPECT_EQ(1, FendrakeThread_CheckResponseTimeOut());
            EXPECT_EQ(2, FendrakeThread_CheckResponseTimeOut());
            ASSERT_EQ(renewal + 1u, CapturedLines().size());
            EXPECT_THAT(LastLogLine(), ContainsRegex(report));
        }
        sleeper.SetResponsePingTimeOut(60000);
        EXPECT_EQ(0, FendrakeThread_CheckResponseTimeOut());
        sleeper.DisableResponsePing();
        EXPECT_EQ(0, FendrakeThread_CheckResponseTimeOut());
        EXPECT_EQ(2u, CapturedLines().size());
    }
}

TEST_F(FendrakeThreadMonitorTest, NewlyLateThreadOutranksKnownLateOnes) {
    CaptureScope capture;
    WorkerThread first("first", 1);
    WorkerThread second("second", 1);
    second.SetResponsePingTimeOut(60000);
    MakeLate(first);
    EXPECT_EQ(1, FendrakeThread_CheckResponseTimeOut());
    MakeLate(second);
    EXPECT_EQ(1, FendrakeThread_CheckResponseTimeOut()); // behind a known late one
    EXPECT_EQ(2, FendrakeThread_CheckResponseTimeOut());
    MakeLate(first);
    EXPECT_EQ(1, FendrakeThread_CheckResponseTimeOut()); // ahead of a known late one
    EXPECT_EQ(3u, CapturedLines().size());
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
    WaitPast(start, 1500000);
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
    StdoutCapture output;
    FendrakeOSStart(10);
    RecordingListener kept, removed;
    AddFendrakeThreadMonitorNotify(&kept);
    AddFendrakeThreadMonitorNotify(&removed);
    FendrakeThread& main = *FendrakeThread::This();

    EXPECT_TRUE(kept.WaitUntil([](const std::vector<bool>& iCalls) { return iCalls.size() >= 2; }));
    main.SetResponsePingTimeOut(1);
    EXPECT_TRUE(kept.WaitUntil([](const std::vector<bool>& iCalls) {
        return std::count(iCalls.begin(), iCalls.end(), true) >= 2;
    }));
    EXPECT_EQ(1, CountTexts("It is bad\n"));
    EXPECT_THAT(CapturedOutput(),
                HasSubstr("Basic/FendrakeOS/src/FendrakeOSInit/Posix/FendrakeOSInit:214(L1)It is "
                          "bad\n"));
    RemoveFendrakeThreadMonitorNotify(&removed);
    const std::vector<bool> keptAtRemoval = kept.Calls();
    EXPECT_EQ(keptAtRemoval, removed.Calls()); // each listener once a round

    main.SetResponsePingTimeOut(1);
    EXPECT_TRUE(Eventually([] { return CountTexts("It is bad\n") == 2; }));
    const size_t callsAtSecondReport = kept.Calls().size();
    main.DisableResponsePing();
    EXPECT_TRUE(kept.WaitUntil([&](const std::vector<bool>& iCalls) {
        return iCalls.size() >= callsAtSecondReport + 2 && !iCalls.back();
    }));
    RemoveFendrakeThreadMonitorNotify(&kept);
    EXPECT_EQ(keptAtRemoval, removed.Calls());
    const std::vector<std::string> texts = CapturedTexts();
    EXPECT_EQ(2, std::count_if(texts.begin(), texts.end(), [](const std::string& iText) {
                  return iText.compare(0, 17, "Thread 'main' is ") == 0;
              }));

    const std::vector<std::vector<std::string>> listings = Listings(output.Finish());
    ASSERT_EQ(2u, listings.size());
    EXPECT_NE("", LineOf(listings[0], sleeper));
    EXPECT_NE("", LineOf(listings[0], main));
    EXPECT_EQ("", LineOf(listings[1], sleeper));
    // The monitor itself runs while it lists.
    EXPECT_THAT(listings[1], testing::Contains(HasSubstr("(FendrakeThreadMonitor)")));
}

TEST_F(FendrakeThreadMonitorTest, ListingShowsAllThreadsThenThoseThatRan) {
    WorkerThread sleeper("sleeper", 10);
    std::atomic<unsigned long> ranUntil{0};
    WorkerThread worker("worker", 1, [&](WorkerThread& iSelf) {
        iSelf.mRelease.Wait(); // released once for work, once for the end
        char state;
        unsigned long ticks = 0;
        while (ReadOwnStat(iSelf.GetTid(), state, ticks) && ticks <= ranUntil.load()) {
        }
    });
    WaitUntilAsleep(sleeper);
    WaitUntilAsleep(worker);

    StdoutCapture firstOutput;
    ListThreads(false);
    const std::vector<std::vector<std::string>> first = Listings(firstOutput.Finish());
    char state;
    unsigned long ticks;
    ASSERT_TRUE(ReadOwnStat(worker.GetTid(), state, ticks));
    ranUntil = ticks;
    worker.mRelease.Signal();
    WaitUntilAsleep(worker, static_cast<long>(ticks));

    StdoutCapture secondOutput;
    ListThreads(true);
    const std::vector<std::vector<std::string>> second = Listings(secondOutput.Finish());

    ASSERT_EQ(1u, first.size());
    char label[50];
    snprintf(label, sizeof label, "%-49s",
             ("" + std::to_string(sleeper.GetTid()) + "(sleeper)" +
              std::to_string(static_cast<unsigned int>(sleeper.GetNativeHandle())) + "-ptp:10 ")
                 .c_str());
    const std::string sleeperLine = LineOf(first[0], sleeper);
    EXPECT_EQ(label, sleeperLine.substr(0, 49));
    EXPECT_THAT(sleeperLine.substr(49),
                ContainsRegex("^prio: 30 10 S flags:0x[0-9a-f]+ faults:( *[0-9]+){4} "
                              "cpu:( *[0-9]+){5} pos:[0-9a-f]+ [0-9a-f]+ [0-9a-f]+$"));
    EXPECT_NE("", LineOf(first[0], worker));
    // The first process of the namespace is no thread of ours.
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
        file >> word;
        for (int i = 0; i < 7; ++i)
            file >> oValues[i];
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
        SCOPED_TRACE(testing::Message() << "counter " << i);
        EXPECT_LE(before[i], seen[i]);
        EXPECT_GE(after[i], seen[i]);
    }
    CpuStat without{};
    without.mContextSwitches = 77;
    EXPECT_TRUE(fendrake_get_cpu_stat(without, false));
    EXPECT_EQ(77u, without.mContextSwitches);
}
