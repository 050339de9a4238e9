#include "Basic/FendrakeStdLib/FendrakeMessageLooper.h"

#include "Basic/FendrakeStdLib/FendrakeNotifier.h"
#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <sched.h>
#include <sys/syscall.h>
#include <thread>
#include <unistd.h>

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
typedef FendrakeMessageHandler Handler;
typedef std::vector<std::string> Lines;

namespace {
// What happened, in order; a wait ends on its entry or after a minute.
class Journal {
public:
    void Add(const std::string& iEntry) {
        std::lock_guard<std::mutex> lock(mMutex);
        mEntries.push_back(iEntry);
        mChanged.notify_all();
    }
    bool WaitFor(const std::string& iEntry) {
        std::unique_lock<std::mutex> lock(mMutex);
        return mChanged.wait_for(lock, std::chrono::minutes(1), [&] {
            return std::find(mEntries.begin(), mEntries.end(), iEntry) != mEntries.end();
        });
    }
    Lines With(const std::string& iPrefix) {
        std::lock_guard<std::mutex> lock(mMutex);
        Lines found;
        for (const std::string& entry : mEntries)
            if (entry.compare(0, iPrefix.size(), iPrefix) == 0)
                found.push_back(entry);
        return found;
    }

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    Lines mEntries;
};

// Writes "~<id>" when destroyed, "clone <id>" when cloned.
class Msg : public FendrakeMessage {
public:
    Msg(Journal* iJournal, int iId, int iSubType = 1, int iGroup = 7)
        : mJournal(iJournal), mId(iId), mSubType(iSubType), mGroup(iGroup) {}
    Msg(const Msg& iOther)
        : FendrakeMessage(iOther), mJournal(iOther.mJournal), mId(iOther.mId),
          mSubType(iOther.mSubType), mGroup(iOther.mGroup) {
        mJournal->Add("clone " + std::to_string(mId));
    }
    ~Msg() override { mJournal->Add("~" + std::to_string(mId)); }
    FendrakeMessageGroup GetFendrakeMessageGroup() const override {
        return static_cast<FendrakeMessageGroup>(mGroup);
    }
    int GetMessageGroupSubType() const override { return mSubType; }
    const char* GetName() const override { return "Msg"; }
    FendrakeMessage* Clone() override { return new Msg(*this); }
    Journal* mJournal;
    int mId, mSubType, mGroup;
};

// Writes "<name>:<id>" for each message, "~<name>" when destroyed.
class Recorder : public Handler {
public:
    Recorder(FendrakeMessageLooper* iLooper, Journal* iJournal, const std::string& iName)
        : Handler(iLooper), mJournal(iJournal), mName(iName) {}
    ~Recorder() override { mJournal->Add("~" + mName); }
    bool HandleMessage(FendrakeMessage* msg) override {
        mJournal->Add(mName + ":" + std::to_string(static_cast<Msg*>(msg)->mId));
        return true;
    }
    Journal* mJournal;
    std::string mName;
};

// Exposes the insertion behind AddToTimedMsg, so deadlines can be chosen.
class OpenLooper : public FendrakeMessageLooper {
public:
    using FendrakeMessageLooper::FendrakeMessageLooper;
    using FendrakeMessageLooper::iInsertTimedMsg;
    ~OpenLooper() override { StopThread(); }
};

// True once the kernel shows the thread asleep; false after a minute.
bool WaitUntilSleeping(unsigned int iTid) {
    const unsigned long long end = FendrakeThread::GetClockNowLong() + 60000000ull;
    while (FendrakeThread::GetClockNowLong() < end) {
        std::ifstream stat("/proc/self/task/" + std::to_string(iTid) + "/stat");
        std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
        const size_t paren = text.rfind(')');
        if (paren != std::string::npos && text.compare(paren, 3, ") S") == 0)
            return true;
        sched_yield();
    }
    return false;
}

class FendrakeMessageLooperTest : public testing::Test {
protected:
    void SetUp() override { FendrakeThread::Initialize(); }
    void TearDown() override { FendrakeThread::Destruct(); }
    Journal mJournal;
};
} // namespace

TEST_F(FendrakeMessageLooperTest, TimedMessagesRunByDeadlineEqualOnesInArrivalOrder) {
    struct Row {
        int mLine;
        std::vector<int> mOffsetsMs; // deadline of message i, from now
        Lines mOrder;
    };
    const Row kRows[] = {
        {__LINE__, {5, 5, 5}, {"h:0", "h:1", "h:2"}},
        {__LINE__, {9, 3, 9, 3}, {"h:1", "h:3", "h:0", "h:2"}},
        {__LINE__, {2, -3, -3, 0}, {"h:1", "h:2", "h:3", "h:0"}},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        Journal journal;
        OpenLooper looper("timed", 10);
        Handler* handler = new Recorder(&looper, &journal, "h");
        const unsigned int now = FendrakeThread::GetClockNow();
        for (size_t i = 0; i < row.mOffsetsMs.size(); ++i) {
            FendrakeMessageLooper::iTimedMsg entry(new Msg(&journal, static_cast<int>(i)), 0);
            entry.mMsg->mMessageHandlerKeyOnLooper = handler->GetHandlerKey();
            entry.mTime = now + static_cast<unsigned int>(row.mOffsetsMs[i] * 1000);
            looper.iInsertTimedMsg(entry, Handler::MsgTypeMultiple);
        }
        looper.Start();
        ASSERT_TRUE(journal.WaitFor(row.mOrder.back()));
        EXPECT_EQ(row.mOrder, journal.With("h:"));
    }
}

TEST_F(FendrakeMessageLooperTest, NewFirstDeadlineWakesTheSleepingLooper) {
    FendrakeMessageLooper looper("sleeper", 10, 8, 3600000);
    Handler* handler = new Recorder(&looper, &mJournal, "h");
    handler->TimedMsg(new Msg(&mJournal, 1), 1800000);
    looper.Start();
    handler->PostMsg(new Msg(&mJournal, 2));
    ASSERT_TRUE(mJournal.WaitFor("~2"));
    ASSERT_TRUE(WaitUntilSleeping(looper.GetTid())); // for half an hour
    handler->TimedMsg(new Msg(&mJournal, 3), 1);
    EXPECT_TRUE(mJournal.WaitFor("h:3"));
    EXPECT_THAT(mJournal.With("h:"), Not(Contains("h:1")));
}

TEST_F(FendrakeMessageLooperTest, UniqueAndUniqueKeyReplaceOnlyMatchingTimedMessages) {
    // Adds message <next id> for handler mHandler, or deletes by a pattern of id -1.
    struct Op {
        bool mDelete;
        int mHandler, mGroup, mSubType;
        unsigned int mKey;
        Handler::MsgTypeHandling mHandling;
    };
    const Handler::MsgTypeHandling M = Handler::MsgTypeMultiple, U = Handler::MsgTypeUnique,
                                   K = Handler::MsgTypeUniqueKey;
    const bool A = false, D = true;
    const Op kFour[] = {
        {A, 0, 7, 1, 1, M}, {A, 0, 7, 1, 2, M}, {A, 0, 7, 2, 1, M}, {A, 1, 7, 1, 1, M}};
    struct Row {
        int mLine;
        std::vector<Op> mOps;
        Lines mDeleted; // in order, the pattern last
    };
    const Row kRows[] = {
        {__LINE__, {{A, 0, 7, 1, 1, M}, {A, 0, 7, 1, 1, M}}, {}},
        {__LINE__, {{A, 0, 7, 1, 1, M}, {A, 0, 7, 1, 2, U}}, {"~0"}},
        {__LINE__, {{A, 0, 7, 1, 1, M}, {A, 0, 7, 1, 2, K}, {A, 0, 7, 1, 1, K}}, {"~0"}},
        {__LINE__,
         {{A, 0, 7, 1, 1, M}, {A, 0, 8, 1, 1, U}, {A, 0, 7, 2, 1, U}, {A, 1, 7, 1, 1, U}},
         {}},
        {__LINE__, {kFour[0], kFour[1], kFour[2], kFour[3], {D, 0, 7, 1, 1, K}}, {"~0", "~-1"}},
        {__LINE__,
         {kFour[0], kFour[1], kFour[2], kFour[3], {D, 0, 7, 1, 0, U}},
         {"~0", "~1", "~-1"}},
        {__LINE__, {{D, 0, 7, 1, 1, M}}, {"~-1"}}, // returns on an empty list
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        Journal journal;
        FendrakeMessageLooper looper("unique", 10);
        Handler* handlers[] = {new Recorder(&looper, &journal, "h0"),
                               new Recorder(&looper, &journal, "h1")};
        int id = 0;
        for (const Op& op : row.mOps) {
            if (op.mDelete) {
                Msg pattern(&journal, -1, op.mSubType, op.mGroup);
                handlers[op.mHandler]->DeleteTimedMsgs(&pattern, op.mHandling, op.mKey);
            } else {
                handlers[op.mHandler]->TimedMsgKey(new Msg(&journal, id++, op.mSubType, op.mGroup),
                                                   1800000, op.mKey, op.mHandling);
            }
        }
        EXPECT_EQ(row.mDeleted, journal.With("~"));
    }
}

TEST_F(FendrakeMessageLooperTest, MessagesWithoutHandlerAreDeletedSilently) {
    CaptureScope capture;
    FendrakeMessageLooper looper("orphans", 10);
    Handler* gone = new Recorder(&looper, &mJournal, "gone");
    Handler* stays = new Recorder(&looper, &mJournal, "stays");
    gone->PostMsg(new Msg(&mJournal, 1));
    delete gone;
    stays->PostMsg(new Msg(&mJournal, 2));
    looper.Start();
    ASSERT_TRUE(mJournal.WaitFor("~2"));
    EXPECT_THAT(mJournal.With(""), ElementsAre("~gone", "~1", "stays:2", "~2"));
    // Only the queue stops the thread: a timed stop message just finds no handler.
    looper.AddToTimedMsg(new FendrakeMessageLooperStopThreadMessage, 0, Handler::MsgTypeMultiple);
    stays->TimedMsg(new Msg(&mJournal, 3), 0);
    EXPECT_TRUE(mJournal.WaitFor("stays:3"));
    EXPECT_THAT(CapturedLines(), ElementsAre());
}

TEST_F(FendrakeMessageLooperTest, StopEndsTheThreadAfterEarlierMessagesDeletionCleansUp) {
    {
        FendrakeMessageLooper looper("stopper", 10);
        Handler* handler = new Recorder(&looper, &mJournal, "h");
        handler->PostMsg(new Msg(&mJournal, 1));
        looper.AddMsgToQueue(new FendrakeMessageLooperStopThreadMessage);
        handler->PostMsg(new Msg(&mJournal, 2));
        handler->TimedMsg(new Msg(&mJournal, 3), 1800000);
        looper.Start();
        EXPECT_EQ(0, looper.WaitForTermination());
        EXPECT_THAT(mJournal.With(""), ElementsAre("h:1", "~1"));
    }
    // The queue goes last, with what the stop message left in it.
    EXPECT_THAT(mJournal.With(""), ElementsAre("h:1", "~1", "~3", "~h", "~2"));
    // Deleting a looper delivers what is queued: its stop message comes last.
    {
        FendrakeMessageLooper looper("deleted", 10);
        Handler* handler = new Recorder(&looper, &mJournal, "d");
        handler->TimedMsg(new Msg(&mJournal, 4), 1800000);
        handler->PostMsg(new Msg(&mJournal, 5));
    }
    EXPECT_THAT(mJournal.With(""),
                ElementsAre("h:1", "~1", "~3", "~h", "~2", "~4", "d:5", "~5", "~d"));
}

TEST_F(FendrakeMessageLooperTest, KeptMessageBelongsToTheHandlerAndKeepsOnlyOnce) {
    struct Keeper : Recorder {
        using Recorder::Recorder;
        bool HandleMessage(FendrakeMessage* msg) override {
            if (static_cast<Msg*>(msg)->mId == 1) {
                mKept = msg;
                KeepMessage();
                EXPECT_THROW(KeepMessage(), AssertionFired);
            }
            return Recorder::HandleMessage(msg);
        }
        FendrakeMessage* mKept = nullptr;
    };
    CaptureScope capture;
    FendrakeMessageLooper looper("keeper", 10);
    Keeper* keeper = new Keeper(&looper, &mJournal, "k");
    keeper->PostMsg(new Msg(&mJournal, 1));
    keeper->PostMsg(new Msg(&mJournal, 2));
    looper.Start();
    ASSERT_TRUE(mJournal.WaitFor("~2"));
    EXPECT_THAT(mJournal.With(""), ElementsAre("k:1", "k:2", "~2"));
    EXPECT_EQ(1, AssertionCount());
    EXPECT_THAT(CapturedOutput(), HasSubstr("Basic/FendrakeStdLib/FendrakeMessageLooper:"));
    EXPECT_THAT(CapturedOutput(),
                HasSubstr(" Assertion `mKeepMessage==false' failed (calling task: keeper)."));
    delete keeper->mKept;
    EXPECT_THAT(mJournal.With("~"), ElementsAre("~2", "~1"));
}

TEST_F(FendrakeMessageLooperTest, PostsCheckTheHandlerKeyAndTheLimit) {
    CaptureScope capture;
    FendrakeMessageLooper looper("posts", 10, 2);
    Msg keyless(&mJournal, 1);
    EXPECT_THROW(looper.AddMsgToQueue(&keyless), AssertionFired);
    EXPECT_THAT(
        CapturedOutput(),
        HasSubstr("Basic/FendrakeStdLib/src/FendrakeMessageLooper:202 Assertion "
                  "`msg->GetFendrakeMessageGroup()==fmgFendrakeMessageLooper||msg->"
                  "mMessageHandlerKeyOnLooper!=0' failed (calling task: main).\n"
                  " msg->GetFendrakeMessageGroup()=7, msg->mMessageHandlerKeyOnLooper=0\n"));
    EXPECT_THROW(looper.AddMsgToQueueNonBlocking(&keyless, 0), AssertionFired);
    EXPECT_EQ(2, AssertionCount());

    Handler* handler = new Recorder(&looper, &mJournal, "h");
    Msg* messages[] = {new Msg(&mJournal, 2), new Msg(&mJournal, 3), new Msg(&mJournal, 4)};
    EXPECT_TRUE(handler->PostMsgNonBlocking(messages[0], 0));
    EXPECT_FALSE(handler->PostMsgNonBlocking(messages[1], 1)); // holds 1 already
    EXPECT_TRUE(handler->PostMsgNonBlocking(messages[1], 2));
    EXPECT_FALSE(handler->PostMsgNonBlocking(messages[2], 0)); // no place left
    delete messages[2];
    EXPECT_EQ(2, looper.QueueSize());
}

TEST_F(FendrakeMessageLooperTest, DelayBeyondHalfTheClockRangeWarnsAndWraps) {
    struct Row {
        int mLine;
        unsigned int mDelay;
        unsigned mLevel;
        bool mWarns;
    };
    const Row kRows[] = {
        {__LINE__, 2147483, 2, false},
        {__LINE__, 2147484, 2, true},
        {__LINE__, 4294968, 2, true}, // the deadline wraps past now
        {__LINE__, 2147484, 1, false},
    };
    FendrakeMessageLooper looper("halfrange", 10);
    Handler* handler = new Recorder(&looper, &mJournal, "h");
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        CaptureScope capture;
        LevelScope level(row.mLevel);
        const unsigned int before = FendrakeThread::GetClockNow();
        const unsigned int deadline = handler->TimedMsg(new Msg(&mJournal, 1), row.mDelay);
        EXPECT_LE(deadline - before - row.mDelay * 1000u, 1000000u);
        const std::string warning =
            "Basic/FendrakeStdLib/src/FendrakeMessageLooper:131 Attention "
            "`(uint64(delayMilliSec)*FendrakeThread::ClockTicksPerMilliSec())<0x7FFFFFFF' failed "
            "(calling task: main).\ndelayMilliSec too big delayMilliSec=" +
            std::to_string(row.mDelay) +
            ", 0x7FFFFFFF/FendrakeThread::ClockTicksPerMilliSec()=2147483\n";
        if (row.mWarns)
            EXPECT_THAT(CapturedOutput(), HasSubstr(warning));
        else
            EXPECT_EQ("", CapturedOutput());
        EXPECT_EQ(row.mWarns ? 1u : 0u, CapturedCheckPoints().size());
    }
}

TEST_F(FendrakeMessageLooperTest, DeadlineCountsFromTheCallWhileTheWarningWaitsToPrint) {
    const unsigned int kDelay = 4294968;
    CaptureScope capture;
    printaccess_init();
    FendrakeMessageLooper looper("halfrange", 10);
    Handler* handler = new Recorder(&looper, &mJournal, "h");
    std::atomic<unsigned int> tid{0};
    unsigned int deadline = 0;
    getprintaccess();
    std::thread caller([&] {
        tid = static_cast<unsigned int>(syscall(SYS_gettid));
        deadline = handler->TimedMsg(new Msg(&mJournal, 1), kDelay);
    });
    while (!tid)
        sched_yield();
    EXPECT_TRUE(WaitUntilSleeping(tid)); // on print access
    const unsigned int held = FendrakeThread::GetClockNow();
    while (FendrakeThread::GetClockNow() == held)
        sched_yield();
    releaseprintaccess();
    caller.join();
    printaccess_term();
    EXPECT_GE(static_cast<int>(held - (deadline - kDelay * 1000u)), 0);
    EXPECT_THAT(CapturedOutput(), HasSubstr("delayMilliSec too big delayMilliSec=4294968"));
}

TEST_F(FendrakeMessageLooperTest, EveryTurnCallsThePulseAndRenewsThePing) {
    struct Pulsing : FendrakeMessageLooper {
        explicit Pulsing(Journal* iJournal)
            : FendrakeMessageLooper("pulsing", 10, 8, 1), mJournal(iJournal) {}
        ~Pulsing() override { StopThread(); }
        void iPulse() override { mJournal->Add("pulse " + std::to_string(++mPulses)); }
        Journal* mJournal;
        int mPulses = 0;
    };
    Pulsing looper(&mJournal);
    looper.Start();
    ASSERT_TRUE(mJournal.WaitFor("pulse 5"));
    FendrakeLockScope<FendrakeMutex> lock(*sPidMapMutex);
    const ResponseTimeOut* ping = nullptr;
    for (const ResponseTimeOut& entry : sResponseTimeOut)
        if (entry.mThread == &looper)
            ping = &entry;
    ASSERT_NE(nullptr, ping);
    const int left = static_cast<int>(ping->mDeadline - FendrakeThread::GetClockNow());
    EXPECT_GT(left, 10000000);
    EXPECT_LE(left, 20000000);
}

TEST_F(FendrakeMessageLooperTest, MessageWritesNameAndKeysInTheStreamBase) {
    Msg msg(&mJournal, 1);
    msg.mMessageHandlerKeyOnLooper = 5;
    msg.mKey = 26;
    FendrakeStringStream stream;
    msg.ToStream(stream);
    stream << FendrakeOstream::hex;
    msg.ToStream(stream);
    EXPECT_EQ("Msg hk=5 key=26Msg hk=5 key=1a", stream.str());
}

TEST_F(FendrakeMessageLooperTest, NotifierPostsClonesToAllButTheLastListener) {
    struct Row {
        int mLine;
        int mListeners;
        Lines mSeen;
    };
    const Row kRows[] = {
        {__LINE__, 0, {"~1"}},
        {__LINE__, 1, {"h0:1", "~1"}},
        {__LINE__, 3, {"clone 1", "clone 1", "h0:1", "~1", "h1:1", "~1", "h2:1", "~1"}},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        Journal journal;
        FendrakeMessageLooper looper("listeners", 10);
        FendrakeNotifier notifier;
        for (int i = 0; i < row.mListeners; ++i)
            notifier.AddListener(new Recorder(&looper, &journal, "h" + std::to_string(i)), 40u);
        notifier.NotifyListeners(new Msg(&journal, 1));
        notifier.NotifyListeners(nullptr);
        EXPECT_EQ(row.mListeners == 0, notifier.IsEmpty());
        looper.Start();
        looper.StopThread(); // after delivering what is queued
        EXPECT_EQ(row.mSeen, journal.With(row.mListeners ? "" : "~"));
    }
}

TEST_F(FendrakeMessageLooperTest, NotifierRemovesAndComparesByHandlerAndKey) {
    FendrakeMessageLooper looper("alone", 10);
    Handler* first = new Recorder(&looper, &mJournal, "first");
    Handler* second = new Recorder(&looper, &mJournal, "second");
    FendrakeNotifier notifier;
    EXPECT_FALSE(notifier.IsAlone(first, 1));
    notifier.AddListener(first, 1);
    notifier.AddListener(first, 1);
    EXPECT_TRUE(notifier.IsAlone(first, 1));
    EXPECT_FALSE(notifier.IsAlone(first, 2));
    notifier.AddListener(second, 1);
    EXPECT_FALSE(notifier.IsAlone(first, 1));
    EXPECT_EQ(0, notifier.RemoveListener(first, 2));
    EXPECT_EQ(2, notifier.RemoveListener(first, 1));
    EXPECT_TRUE(notifier.IsAlone(second, 1));
}

TEST_F(FendrakeMessageLooperTest, NotifierWarnsFromTheTwentyFirstListener) {
    struct Nameless : Recorder {
        using Recorder::Recorder;
        const char* GetName() override { return nullptr; }
    };
    CaptureScope capture;
    FendrakeMessageLooper looper("crowd", 10);
    Handler* handler = new Recorder(&looper, &mJournal, "h");
    FendrakeNotifier notifier;
    std::string listing;
    for (unsigned int key = 0; key < 20; ++key) {
        notifier.AddListener(handler, key);
        listing += (key ? ", crowd, k=" : "crowd, k=") + std::to_string(key);
    }
    EXPECT_EQ("", CapturedOutput());
    notifier.AddListener(new Nameless(&looper, &mJournal, "n"), 20);
    EXPECT_THAT(CapturedOutput(),
                HasSubstr(" Attention `mHandlerKey.countSize()<=20' failed (calling task: main).\n"
                          "Warning more than 20 listers - Maybe a programming error *this=" +
                          listing + ", (null), k=20\n"));
    EXPECT_EQ(1u, CapturedCheckPoints().size());
}
