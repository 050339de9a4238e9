// Threads post to one looper with a small queue, blocking and not, add and
// cancel timed messages, and make and delete passing handlers, while a handler
// on the looper makes and deletes others from its own code. Every message is
// deleted exactly once, dispatched at most once and only to its own handler,
// never touched after deletion, and what is posted to a handler that lives to
// the end arrives.
#include "Basic/FendrakeStdLib/FendrakeMessageLooper.h"

#include <gtest/gtest.h>

#include <atomic>
#include <deque>
#include <random>
#include <thread>
#include <vector>

namespace {
const int kPosters = 3;
const int kPerPoster = 3000;
const int kQueueSize = 16;
const int kMaxIds = 40000;
const unsigned kAlive = 0xa11fe;
typedef FendrakeMessageHandler Handler;

std::atomic<int> sNextId{0};
std::atomic<int> sDispatched[kMaxIds];
std::atomic<int> sDeleted[kMaxIds];
std::atomic<int> sErrors{0};

enum Kind { ePlain = 1, eKeep, eSpawn };

class LoadMessage : public FendrakeMessage {
public:
    explicit LoadMessage(Kind iKind, int iPrio = 0) : mId(sNextId++), mKind(iKind), mPrio(iPrio) {
        if (mId >= kMaxIds)
            abort();
    }
    ~LoadMessage() override {
        sErrors += mMagic != kAlive;
        mMagic = 0;
        ++sDeleted[mId];
    }
    int GetPrio() override { return mPrio; }
    FendrakeMessageGroup GetFendrakeMessageGroup() const override {
        return static_cast<FendrakeMessageGroup>(9);
    }
    int GetMessageGroupSubType() const override { return mKind; }
    const char* GetName() const override { return "LoadMessage"; }
    FendrakeMessage* Clone() override { return nullptr; }

    volatile unsigned mMagic = kAlive;
    const int mId;
    const Kind mKind;
    const int mPrio;
};

class LoadHandler : public Handler {
public:
    using Handler::Handler;
    ~LoadHandler() override {
        for (LoadMessage* kept : mKept)
            delete kept;
        delete mChild;
    }
    bool HandleMessage(FendrakeMessage* iMsg) override {
        LoadMessage* msg = static_cast<LoadMessage*>(iMsg);
        sErrors += msg->mMagic != kAlive || msg->mMessageHandlerKeyOnLooper != GetHandlerKey();
        ++sDispatched[msg->mId];
        if (msg->mKind == eKeep) {
            KeepMessage();
            mKept.push_back(msg);
            if (mKept.size() > 2) {
                delete mKept.front();
                mKept.erase(mKept.begin());
            }
        } else if (msg->mKind == eSpawn) {
            Spawn();
        }
        return true;
    }

private:
    // On the looper's thread: a new child gets messages, the old one goes with
    // whatever is still on its way to it.
    void Spawn() {
        LoadHandler* child = new LoadHandler(GetLooper());
        for (int i = 0; i < 2; ++i) {
            LoadMessage* msg = new LoadMessage(i ? eKeep : ePlain, i);
            if (!child->PostMsgNonBlocking(msg, kQueueSize / 2))
                delete msg;
        }
        child->TimedMsg(new LoadMessage(ePlain), 1);
        delete mChild;
        mChild = child;
    }

    std::vector<LoadMessage*> mKept;
    LoadHandler* mChild = nullptr;
};

// Posts at random to its own handler, which the looper deletes at its end, and
// to a passing one that it replaces every hundred posts.
class Poster {
public:
    Poster(FendrakeMessageLooper* iLooper, Handler* iManager, unsigned iSeed)
        : mLooper(iLooper), mManager(iManager), mRandom(iSeed) {
        Replace(&mOwn);
    }
    void Run() {
        for (int i = 0; i < kPerPoster; ++i) {
            if (i % 100 == 0)
                Replace(&mPassing);
            PostOne();
        }
        Replace(&mPassing, false);
    }
    std::vector<int> mExpected; // ids that must be dispatched

private:
    // Under the handler lock: no dispatch sees a handler half made or half gone.
    void Replace(Handler** ioHandler, bool iNew = true) {
        FendrakeLockScope<FendrakeMutexNested> lock(mLooper->GetMutexNested());
        delete *ioHandler;
        *ioHandler = iNew ? new LoadHandler(mLooper) : nullptr;
    }
    void PostOne() {
        const unsigned choice = mRandom() % 8;
        const unsigned key = mRandom() % 4;
        const bool own = mRandom() % 2;
        Handler* target = own ? mOwn : mPassing;
        LoadMessage* msg = new LoadMessage(choice == 3 ? eKeep : ePlain, mRandom() % 3);
        const int id = msg->mId; // msg is gone once it is posted
        if (choice <= 3) {
            target->PostMsg(msg);
        } else if (choice == 4) {
            if (!target->PostMsgNonBlocking(msg, kQueueSize / 2)) {
                delete msg;
                return;
            }
        } else if (choice == 5) {
            target->TimedMsgKey(msg, mRandom() % 3, key,
                                static_cast<Handler::MsgTypeHandling>(mRandom() % 3));
            return;
        } else {
            if (choice == 6)
                target->DeleteTimedMsgs(
                    msg, key % 2 ? Handler::MsgTypeUnique : Handler::MsgTypeUniqueKey, key);
            else
                mManager->PostMsg(new LoadMessage(eSpawn));
            delete msg;
            return;
        }
        if (own)
            mExpected.push_back(id);
    }

    FendrakeMessageLooper* mLooper;
    Handler* mManager;
    Handler* mOwn = nullptr;
    Handler* mPassing = nullptr;
    std::mt19937 mRandom;
};
} // namespace

TEST(FendrakeMessageLooperStressTest, EveryMessageIsDeletedOnceAndDispatchedAtMostOnce) {
    FendrakeThread::Initialize();
    std::deque<Poster> posters;
    {
        FendrakeMessageLooper looper("load", 10, kQueueSize, 5);
        Handler* manager = new LoadHandler(&looper);
        looper.Start();
        std::vector<std::thread> threads;
        for (unsigned p = 1; p <= kPosters; ++p) {
            posters.emplace_back(&looper, manager, p);
            threads.emplace_back(&Poster::Run, &posters.back());
        }
        for (std::thread& thread : threads)
            thread.join();
    } // delivers what is queued, then deletes the handlers left
    FendrakeThread::Destruct();

    for (int id = 0; id < sNextId; ++id) {
        EXPECT_EQ(1, sDeleted[id].load()) << "message " << id;
        EXPECT_LE(sDispatched[id].load(), 1) << "message " << id;
    }
    size_t expected = 0;
    for (const Poster& poster : posters) {
        expected += poster.mExpected.size();
        for (int id : poster.mExpected)
            EXPECT_EQ(1, sDispatched[id].load()) << "message " << id;
    }
    EXPECT_EQ(0, sErrors.load());
    // A quarter of all posts go to an own handler, blocking or accepted.
    EXPECT_GE(expected, static_cast<size_t>(kPosters * kPerPoster / 8));
}
