#include "Basic/FendrakeStdLib/FendrakeMessageLooper.h"

#include "Basic/FendrakeStdLib/FendrakeNotifier.h"
#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <fstream>
#include <mutex>
#include <sched.h>

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
        return mChanged.wait_for(lock, std::chrono::minutes(1), [&] { return iHas(iEntry); });
    }
    bool Has(const std::string& iEntry) {
        std::lock_guard<std::mutex> lock(mMutex);
        return iHas(iEntry);
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
    bool iHas(const std::string& iEntry) const {
        return std::find(mEntries.begin(), mEntries.end(), iEntry) != mEntries.end();
    }
    std::mutex mMutex;
    std::condition_variable mChanged;
    Lines mEntries;
};

// Writes "~<id>" when destroyed, "clone <id>" when cloned.
class Msg : public FendrakeMessage {
public:
    Msg(Journal* iJournal, int iId, int iSubType = 1)
        : mJournal(iJournal), mId(iId), mSubType(iSubType) {}
    Msg(const Msg& iOther) : FendrakeMessage(iOther), mJournal(iOther.mJournal), mId(iOther.mId) {
        mJournal->Add("clone " + std::to_string(mId));
    }
    ~Msg() override { mJournal->Add("~" + std::to_string(mId)); }
    FendrakeMessageGroup GetFendrakeMessageGroup() const override {
        return static_cast<FendrakeMessageGroup>(7);
    }
    int GetMessageGroupSubType() const override { return mSubType; }
    const char* GetName() const override { return "Msg"; }
    FendrakeMessage* Clone() override { return new Msg(*this); }
    Journal* mJournal;
    int mId;
    int mSubType = 1;
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
    EXPECT_FALSE(mJournal.Has("h:1"));
}

TEST_F(FendrakeMessageLooperTest, UniqueAndUniqueKeyReplaceOnlyMatchingTimedMessages) {
    // Kind 'A' adds message <index> to handler mHandler, 'D' deletes by pattern.
    struct Op {
        char mKind;
        int mHandler, mSubType;
        unsigned int mKey;
        Handler::MsgTypeHandling mHandling;
    };
    const Handler::MsgTypeHandling M = Handler::MsgTypeMultiple, U = Handler::MsgTypeUnique,
                                   K = Handler::MsgTypeUniqueKey;
    const Op kFour[] = {{'A', 0, 1, 1, M}, {'A', 0, 1, 2, M}, {'A', 0, 2, 1, M}, {'A', 1, 1, 1, M}};
    struct Row {
        int mLine;
        std::vector<Op> mOps;
        std::vector<int> mLeft;
    };
    const Row kRows[] = {
        {__LINE__, {{'A', 0, 1, 1, M}, {'A', 0, 1, 2, U}}, {1}},
        {__LINE__, {{'A', 0, 1, 1, M}, {'A', 0, 1, 2, K}, {'A', 0, 1, 1, K}}, {1, 2}},
        {__LINE__, {{'A', 0, 1, 1, M}, {'A', 0, 2, 1, U}, {'A', 1, 1, 1, U}}, {0, 1, 2}},
        {__LINE__, {kFour[0], kFour[1], kFour[2], kFour[3], {'D', 0, 1, 1, K}}, {1, 2, 3}},
        {__LINE__, {kFour[0], kFour[1], kFour[2], kFour[3], {'D', 0, 1, 0, U}}, {2, 3}},
        {__LINE__, {{'D', 0, 1, 1, M}}, {}}, // returns on an empty list
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        Journal journal;
        FendrakeMessageLooper looper("unique", 10);
        Handler* handlers[] = {new Recorder(&looper, &journal, "h0"),
                               new Recorder(&looper, &journal, "h1")};
        std::vector<int> added;
        for (const Op& op : row.mOps) {
            Msg pattern(&journal, -1, op.mSubType);
            if (op.mKind == 'D') {
                handlers[op.mHandler]->DeleteTimedMsgs(&pattern, op.mHandling, op.mKey);
                continue;
            }
            added.push_back(static_cast<int>(added.size()));
            handlers[op.mHandler]->TimedMsgKey(new Msg(&journal, added.back(), op.mSubType),
                                               1800000, op.mKey, op.mHandling);
        }
        std::vector<int> left;
        for (int id : added)
            if (!journal.Has("~" + std::to_string(id)))
                left.push_back(id);
        EXPECT_EQ(row.mLeft, left);
    }
}

TEST_F(FendrakeMessageLooperTest, MessagesWithoutHandlerAreDeletedSilently) {
    CaptureScope capture;
    {
        FendrakeMessageLooper looper("orphans", 10);
        Handler* gone = new Recorder(&looper, &mJournal, "gone");
        Handler* stays = new Recorder(&looper, &mJournal, "stays");
        gone->PostMsg(new Msg(&mJournal, 1));
        Msg* forged = new Msg(&mJournal, 2);
        forged->mMessageHandlerKeyOnLooper = 999;
        looper.AddMsgToQueue(forged);
        delete gone;
        stays->PostMsg(new Msg(&mJournal, 3));
        looper.Start();
        ASSERT_TRUE(mJournal.WaitFor("~3"));
        EXPECT_THAT(mJournal.With(""), ElementsAre("~gone", "~1", "~2", "stays:3", "~3"));
    }
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

TEST_F(FendrakeMessageLooperTest, TimedStopMessageStopsNothing) {
    FendrakeMessageLooper looper("timedstop", 10);
    Handler* handler = new Recorder(&looper, &mJournal, "h");
    looper.Start();
    looper.AddToTimedMsg(new FendrakeMessageLooperStopThreadMessage, 0, Handler::MsgTypeMultiple);
    handler->TimedMsg(new Msg(&mJournal, 1), 0);
    ASSERT_TRUE(mJournal.WaitFor("h:1"));
    handler->PostMsg(new Msg(&mJournal, 2));
    EXPECT_TRUE(mJournal.WaitFor("h:2"));
}

TEST_F(FendrakeMessageLooperTest, KeptMessageBelongsToTheHandlerAndKeepsOnlyOnce) {
    struct Keeper : Recorder {
        using Recorder::Recorder;
        bool HandleMessage(FendrakeMessage* msg) override {
            if (static_cast<Msg*>(msg)->mId == 1) {
                mKept = msg;
                KeepMessage();
                try {
                    KeepMessage();
                } catch (const AssertionFired&) {
                    mJournal->Add("fired");
                }
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
    EXPECT_THAT(mJournal.With(""), ElementsAre("fired", "k:1", "k:2", "~2"));
    EXPECT_THAT(CapturedOutput(), HasSubstr("Basic/FendrakeStdLib/FendrakeMessageLooper:"));
    EXPECT_THAT(CapturedOutput(),
                HasSubstr(" Assertion `mKeepMessage==false' failed (calling task: keeper)."));
    delete keeper->mKept;
    EXPECT_TRUE(mJournal.Has("~1"));
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
        {__LINE__, 4294967, 2, true},
        {__LINE__, 2147484, 1, false},
    };
    FendrakeMessageLooper looper("halfrange", 10);
    Handler* handler = new Recorder(&looper, &mJournal, "h");
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        CaptureScope capture;
        unsigned int before, deadline;
        {
            LevelScope level(row.mLevel);
            before = FendrakeThread::GetClockNow();
            deadline = handler->TimedMsg(new Msg(&mJournal, 1), row.mDelay);
        }
        EXPECT_LE(deadline - before - row.mDelay * 1000u, 1000000u);
        if (row.mWarns)
            EXPECT_THAT(
                CapturedOutput(),
                HasSubstr("Basic/FendrakeStdLib/src/FendrakeMessageLooper:131 Attention "
                          "`(uint64(delayMilliSec)*FendrakeThread::ClockTicksPerMilliSec("
                          "))<0x7FFFFFFF' failed (calling task: main).\ndelayMilliSec too "
                          "big delayMilliSec=" +
                          std::to_string(row.mDelay) +
                          ", 0x7FFFFFFF/FendrakeThread::ClockTicksPerMilliSec()=2147483\n"));
        else
            EXPECT_THAT(CapturedOutput(), Not(HasSubstr("Attention")));
        EXPECT_EQ(row.mWarns ? 1u : 0u, CapturedCheckPoints().size());
    }
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
    CaptureScope capture;
    FendrakeMessageLooper looper("crowd", 10);
    Handler* handler = new Recorder(&looper, &mJournal, "h");
    FendrakeNotifier notifier;
    std::string listing;
    for (unsigned int key = 0; key < 20; ++key) {
        notifier.AddListener(handler, key);
        listing += (key ? ", crowd, k=" : "crowd, k=") + std::to_string(key);
    }
    EXPECT_THAT(CapturedOutput(), Not(HasSubstr("Attention")));
    notifier.AddListener(handler, 20);
    EXPECT_THAT(CapturedOutput(),
                HasSubstr(" Attention `mHandlerKey.countSize()<=20' failed (calling task: main).\n"
                          "Warning more than 20 listers - Maybe a programming error *this=" +
                          listing + ", crowd, k=20\n"));
    EXPECT_EQ(1, notifier.RemoveListener(handler, 20));
}
