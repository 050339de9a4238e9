#include "Basic/FendrakeStdLib/FendrakeMessageLooper.h"

#include "Basic/FendrakeStdLib/FendrakeNotifier.h"
#include "Basic/FendrakeStdLib/FendrakeOstream.h"
#include "Capture.h"
#include "MessageTestSupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <sched.h>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
typedef FendrakeMessageHandler Handler;

namespace {
// Exposes the insertion behind AddToTimedMsg, so deadlines can be chosen.
class OpenLooper : public FendrakeMessageLooper {
public:
    using FendrakeMessageLooper::FendrakeMessageLooper;
    ~OpenLooper() override { StopThread(); }
    using FendrakeMessageLooper::iInsertTimedMsg;
};

// True once the thread sleeps, as the kernel sees it; false after a minute.
bool WaitUntilSleeping(unsigned int iTid) {
    const unsigned long long end = FendrakeThread::GetClockNowLong() + 60000000ull;
    const std::string path = "/proc/self/task/" + std::to_string(iTid) + "/stat";
    while (FendrakeThread::GetClockNowLong() < end) {
        std::ifstream stat(path);
        std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
        const size_t paren = text.rfind(')');
        if (paren != std::string::npos && paren + 2 < text.size() && text[paren + 2] == 'S')
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
        std::vector<std::string> mOrder;
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
        Handler* handler = new JournalHandler(&looper, &journal, "h");
        const unsigned int now = FendrakeThread::GetClockNow();
        for (size_t i = 0; i < row.mOffsetsMs.size(); ++i) {
            JournalMessage* msg = new JournalMessage(&journal, static_cast<int>(i));
            msg->mMessageHandlerKeyOnLooper = handler->GetHandlerKey();
            FendrakeMessageLooper::iTimedMsg entry(msg, 0);
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
    Handler* handler = new JournalHandler(&looper, &mJournal, "h");
    handler->TimedMsg(new JournalMessage(&mJournal, 1), 1800000);
    looper.Start();
    handler->PostMsg(new JournalMessage(&mJournal, 2));
    ASSERT_TRUE(mJournal.WaitFor("~2"));
    ASSERT_TRUE(WaitUntilSleeping(looper.GetTid())); // for up to half an hour
    handler->TimedMsg(new JournalMessage(&mJournal, 3), 1);
    EXPECT_TRUE(mJournal.WaitFor("h:3"));
    EXPECT_FALSE(mJournal.Has("h:1"));
}

TEST_F(FendrakeMessageLooperTest, UniqueAndUniqueKeyReplaceOnlyMatchingTimedMessages) {
    // 'A' adds message <index> to handler mHandler; 'D' deletes by pattern.
    struct Op {
        char mKind;
        int mHandler;
        int mSubType;
        unsigned int mKey;
        Handler::MsgTypeHandling mHandling;
    };
    const Handler::MsgTypeHandling M = Handler::MsgTypeMultiple, U = Handler::MsgTypeUnique,
                                   K = Handler::MsgTypeUniqueKey;
    struct Row {
        int mLine;
        std::vector<Op> mOps;
        std::vector<int> mLeft;
    };
    const Row kRows[] = {
        {__LINE__, {{'A', 0, 1, 1, M}, {'A', 0, 1, 2, U}}, {1}},
        {__LINE__, {{'A', 0, 1, 1, M}, {'A', 0, 1, 2, K}, {'A', 0, 1, 1, K}}, {1, 2}},
        {__LINE__, {{'A', 0, 1, 1, M}, {'A', 0, 2, 1, U}, {'A', 1, 1, 1, U}}, {0, 1, 2}},
        {__LINE__,
         {{'A', 0, 1, 1, M},
          {'A', 0, 1, 2, M},
          {'A', 0, 2, 1, M},
          {'A', 1, 1, 1, M},
          {'D', 0, 1, 1, K}},
         {1, 2, 3}},
        {__LINE__,
         {{'A', 0, 1, 1, M},
          {'A', 0, 1, 2, M},
          {'A', 0, 2, 1, M},
          {'A', 1, 1, 1, M},
          {'D', 0, 1, 0, U}},
         {2, 3}},
        {__LINE__, {{'D', 0, 1, 1, M}}, {}}, // Multiple returns on an empty list
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        Journal journal;
        FendrakeMessageLooper looper("unique", 10);
        Handler* handlers[] = {new JournalHandler(&looper, &journal, "h0"),
                               new JournalHandler(&looper, &journal, "h1")};
        for (size_t i = 0; i < row.mOps.size(); ++i) {
            const Op& op = row.mOps[i];
            JournalMessage pattern(&journal, -1, op.mSubType);
            if (op.mKind == 'D')
                handlers[op.mHandler]->DeleteTimedMsgs(&pattern, op.mHandling, op.mKey);
            else
                handlers[op.mHandler]->TimedMsgKey(
                    new JournalMessage(&journal, static_cast<int>(i), op.mSubType), 1800000,
                    op.mKey, op.mHandling);
        }
        std::vector<int> left;
        for (size_t i = 0; i < row.mOps.size(); ++i)
            if (row.mOps[i].mKind == 'A' && !journal.Has("~" + std::to_string(i)))
                left.push_back(static_cast<int>(i));
        EXPECT_EQ(row.mLeft, left);
    }
}

TEST_F(FendrakeMessageLooperTest, MessagesWithoutHandlerAreDeletedSilently) {
    CaptureScope capture;
    {
        FendrakeMessageLooper looper("orphans", 10);
        Handler* gone = new JournalHandler(&looper, &mJournal, "gone");
        Handler* stays = new JournalHandler(&looper, &mJournal, "stays");
        gone->PostMsg(new JournalMessage(&mJournal, 1));
        JournalMessage* forged = new JournalMessage(&mJournal, 2);
        forged->mMessageHandlerKeyOnLooper = 999;
        looper.AddMsgToQueue(forged);
        delete gone;
        stays->PostMsg(new JournalMessage(&mJournal, 3));
        looper.Start();
        ASSERT_TRUE(mJournal.WaitFor("~3"));
        EXPECT_TRUE(mJournal.Has("~1") && mJournal.Has("~2"));
        EXPECT_THAT(mJournal.With("gone:"), ElementsAre());
        EXPECT_THAT(mJournal.With("stays:"), ElementsAre("stays:3"));
    }
    EXPECT_THAT(CapturedLines(), ElementsAre());
}

TEST_F(FendrakeMessageLooperTest, StopMessageEndsTheThreadAfterEarlierMessages) {
    {
        FendrakeMessageLooper looper("stopper", 10);
        Handler* handler = new JournalHandler(&looper, &mJournal, "h");
        handler->PostMsg(new JournalMessage(&mJournal, 1));
        handler->PostMsg(new JournalMessage(&mJournal, 2));
        looper.AddMsgToQueue(new FendrakeMessageLooperStopThreadMessage);
        handler->PostMsg(new JournalMessage(&mJournal, 3));
        handler->TimedMsg(new JournalMessage(&mJournal, 4), 1800000);
        looper.Start();
        EXPECT_EQ(0, looper.WaitForTermination());
        EXPECT_THAT(mJournal.With("h:"), ElementsAre("h:1", "h:2"));
        EXPECT_FALSE(mJournal.Has("~3") || mJournal.Has("~4") || mJournal.Has("~h"));
    }
    EXPECT_TRUE(mJournal.Has("~3") && mJournal.Has("~4") && mJournal.Has("~h"));
    EXPECT_THAT(mJournal.With("h:"), ElementsAre("h:1", "h:2"));
}

TEST_F(FendrakeMessageLooperTest, TimedStopMessageStopsNothing) {
    FendrakeMessageLooper looper("timedstop", 10);
    Handler* handler = new JournalHandler(&looper, &mJournal, "h");
    looper.Start();
    looper.AddToTimedMsg(new FendrakeMessageLooperStopThreadMessage, 0, Handler::MsgTypeMultiple);
    handler->TimedMsg(new JournalMessage(&mJournal, 1), 0);
    ASSERT_TRUE(mJournal.WaitFor("h:1"));
    handler->PostMsg(new JournalMessage(&mJournal, 2));
    EXPECT_TRUE(mJournal.WaitFor("h:2"));
}

TEST_F(FendrakeMessageLooperTest, DeletionDropsTimedDeliversQueuedThenDeletesHandlers) {
    {
        FendrakeMessageLooper looper("deleted", 10);
        Handler* handler = new JournalHandler(&looper, &mJournal, "h");
        handler->TimedMsg(new JournalMessage(&mJournal, 1), 1800000);
        handler->PostMsg(new JournalMessage(&mJournal, 2));
    }
    EXPECT_THAT(mJournal.With(""), ElementsAre("~1", "h:2", "~2", "~h"));
}

TEST_F(FendrakeMessageLooperTest, KeptMessageBelongsToTheHandlerAndKeepsOnlyOnce) {
    struct Keeper : JournalHandler {
        using JournalHandler::JournalHandler;
        bool HandleMessage(FendrakeMessage* msg) override {
            if (static_cast<JournalMessage*>(msg)->mId == 1) {
                mKept = msg;
                KeepMessage();
                try {
                    KeepMessage();
                } catch (const AssertionFired&) {
                    mJournal->Add("fired");
                }
            }
            return JournalHandler::HandleMessage(msg);
        }
        FendrakeMessage* mKept = nullptr;
    };
    CaptureScope capture;
    FendrakeMessageLooper looper("keeper", 10);
    Keeper* keeper = new Keeper(&looper, &mJournal, "k");
    keeper->PostMsg(new JournalMessage(&mJournal, 1));
    keeper->PostMsg(new JournalMessage(&mJournal, 2));
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
    JournalMessage keyless(&mJournal, 1);
    EXPECT_THROW(looper.AddMsgToQueue(&keyless), AssertionFired);
    EXPECT_THAT(
        CapturedOutput(),
        HasSubstr("Basic/FendrakeStdLib/src/FendrakeMessageLooper:202 Assertion "
                  "`msg->GetFendrakeMessageGroup()==fmgFendrakeMessageLooper||msg->"
                  "mMessageHandlerKeyOnLooper!=0' failed (calling task: main).\n"
                  " msg->GetFendrakeMessageGroup()=7, msg->mMessageHandlerKeyOnLooper=0\n"));
    EXPECT_THROW(looper.AddMsgToQueueNonBlocking(&keyless, 0), AssertionFired);
    EXPECT_EQ(2, AssertionCount());

    Handler* handler = new JournalHandler(&looper, &mJournal, "h");
    JournalMessage* messages[] = {new JournalMessage(&mJournal, 2),
                                  new JournalMessage(&mJournal, 3),
                                  new JournalMessage(&mJournal, 4)};
    EXPECT_TRUE(handler->PostMsgNonBlocking(messages[0], 0));
    EXPECT_FALSE(handler->PostMsgNonBlocking(messages[1], 1)); // holds 1 already
    EXPECT_TRUE(handler->PostMsgNonBlocking(messages[1], 2));
    EXPECT_FALSE(handler->PostMsgNonBlocking(messages[2], 0)); // no place left
    delete messages[2];
    EXPECT_EQ(2, looper.QueueSize());
}

TEST_F(FendrakeMessageLooperTest, DelayBeyondHalfTheClockRangeWarns) {
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
    Handler* handler = new JournalHandler(&looper, &mJournal, "h");
    const unsigned saved = fendrake_debug_output_level;
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        CaptureScope capture;
        fendrake_debug_output_level = row.mLevel;
        const unsigned int before = FendrakeThread::GetClockNow();
        const unsigned int deadline =
            handler->TimedMsg(new JournalMessage(&mJournal, 1), row.mDelay);
        fendrake_debug_output_level = saved;
        // Wrapped, but kept: the deadline is the product modulo 2^32 from now.
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
            EXPECT_THAT(CapturedOutput(), Not(HasSubstr("Attention")));
        EXPECT_EQ(row.mWarns ? 1u : 0u, CapturedCheckPoints().size());
    }
}

TEST_F(FendrakeMessageLooperTest, EveryTurnRenewsThePingAndCallsThePulse) {
    struct Pulsing : FendrakeMessageLooper {
        Pulsing(Journal* iJournal)
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
    JournalMessage msg(&mJournal, 1);
    msg.mMessageHandlerKeyOnLooper = 5;
    msg.mKey = 26;
    FendrakeStringStream stream;
    msg.ToStream(stream);
    stream << FendrakeOstream::hex;
    msg.ToStream(stream);
    EXPECT_EQ("JournalMessage hk=5 key=26JournalMessage hk=5 key=1a", stream.str());
    JournalMessage copy(msg);
    EXPECT_EQ(5u, copy.mMessageHandlerKeyOnLooper);
    EXPECT_EQ(26u, copy.mKey);
}

TEST_F(FendrakeMessageLooperTest, NotifierPostsClonesToAllButTheLastListener) {
    struct Row {
        int mLine;
        int mListeners;
        std::vector<std::string> mSeen; // clones and deliveries, in order
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
            notifier.AddListener(new JournalHandler(&looper, &journal, "h" + std::to_string(i)),
                                 40u + i);
        notifier.NotifyListeners(new JournalMessage(&journal, 1));
        if (row.mListeners == 0)
            notifier.NotifyListeners(nullptr);
        EXPECT_EQ(row.mListeners == 0, notifier.IsEmpty());
        looper.Start();
        ASSERT_TRUE(journal.WaitFor(row.mListeners ? "h" + std::to_string(row.mListeners - 1) + ":1"
                                                   : "~1"));
        ASSERT_TRUE(journal.WaitFor("~1"));
        looper.StopThread();
        EXPECT_EQ(row.mSeen, journal.With(row.mListeners ? "" : "~"));
    }
}

TEST_F(FendrakeMessageLooperTest, NotifierRemovesAndComparesByHandlerAndKey) {
    FendrakeMessageLooper looper("alone", 10);
    Handler* first = new JournalHandler(&looper, &mJournal, "first");
    Handler* second = new JournalHandler(&looper, &mJournal, "second");
    FendrakeNotifier notifier;
    EXPECT_FALSE(notifier.IsAlone(first, 1));
    notifier.AddListener(first, 1);
    notifier.AddListener(first, 1);
    EXPECT_TRUE(notifier.IsAlone(first, 1));
    EXPECT_FALSE(notifier.IsAlone(first, 2));
    notifier.AddListener(second, 1);
    EXPECT_FALSE(notifier.IsAlone(first, 1));
    EXPECT_EQ(0, notifier.RemoveListener(first, 2));
    EXPECT_EQ(0, notifier.RemoveListener(second, 2));
    EXPECT_EQ(2, notifier.RemoveListener(first, 1));
    EXPECT_TRUE(notifier.IsAlone(second, 1));
    EXPECT_EQ(1, notifier.RemoveListener(second, 1));
    EXPECT_TRUE(notifier.IsEmpty());
}

TEST_F(FendrakeMessageLooperTest, NotifierWarnsFromTheTwentyFirstListener) {
    CaptureScope capture;
    FendrakeMessageLooper looper("crowd", 10);
    Handler* handler = new JournalHandler(&looper, &mJournal, "h");
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
    EXPECT_FALSE(notifier.IsAlone(handler, 20));
    EXPECT_EQ(1, notifier.RemoveListener(handler, 20));
}
