// Threads post to one looper with a small queue, blocking and not, add and
// cancel timed messages, and make and delete their handlers, while a handler
// on the looper makes and deletes others from its own code. Every message is
// deleted exactly once, dispatched at most once and only to its own handler,
// never touched after deletion, and what is posted to a live handler arrives.
#include "Basic/FendrakeStdLib/FendrakeMessageLooper.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
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

enum Kind { ePlain = 1, eKeep, eFence, eSpawn };

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

// A fence message reaches its poster through here.
struct Fence {
    std::mutex mMutex;
    std::condition_variable mPassed;
    int mCount = 0;
};

class LoadHandler : public Handler {
public:
    LoadHandler(FendrakeMessageLooper* iLooper, Fence* iFence) : Handler(iLooper), mFence(iFence) {}
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
        } else if (msg->mKind == eFence) {
            std::lock_guard<std::mutex> lock(mFence->mMutex);
            ++mFence->mCount;
            mFence->mPassed.notify_all();
        } else if (msg->mKind == eSpawn) {
            Spawn();
        }
        return true;
    }

private:
    // On the looper's thread: a new child gets messages, the old one goes with
    // whatever is still on its way to it.
    void Spawn() {
        LoadHandler* child = new LoadHandler(GetLooper(), mFence);
        for (int i = 0; i < 2; ++i) {
            LoadMessage* msg = new LoadMessage(i ? eKeep : ePlain, i);
            if (!child->PostMsgNonBlocking(msg, kQueueSize / 2))
                delete msg;
        }
        child->TimedMsg(new LoadMessage(ePlain), 1);
        delete mChild;
        mChild = child;
    }

    Fence* mFence;
    std::vector<LoadMessage*> mKept;
    LoadHandler* mChild = nullptr;
};

class Poster {
public:
    Poster(FendrakeMessageLooper* iLooper, Handler* iManager, unsigned iSeed)
        : mLooper(iLooper), mManager(iManager), mRandom(iSeed) {}

    void Run() {
        for (int i = 0; i < kPerPoster; ++i) {
            if (i % 100 == 0)
                Renew();
            PostOne();
        }
        Renew();
        Delete();
    }

private:
    // Once everything posted to the current handler has arrived (a fence of
    // priority 0 queues behind all of it), replaces the handler.
    void Renew() {
        if (mOwn) {
            std::unique_lock<std::mutex> lock(mFence.mMutex);
            const int target = mFence.mCount + 1;
            lock.unlock();
            mOwn->PostMsg(new LoadMessage(eFence));
            lock.lock();
            sErrors += !mFence.mPassed.wait_for(lock, std::chrono::minutes(1),
                                                [&] { return mFence.mCount >= target; });
            lock.unlock();
            for (int id : mExpected)
                sErrors += sDispatched[id] != 1;
            mExpected.clear();
            Delete();
        }
        FendrakeLockScope<FendrakeMutexNested> lock(mLooper->GetMutexNested());
        mOwn = new LoadHandler(mLooper, &mFence);
    }
    // Under the handler lock, so no dispatch sees the handler half destroyed.
    void Delete() {
        FendrakeLockScope<FendrakeMutexNested> lock(mLooper->GetMutexNested());
        delete mOwn;
        mOwn = nullptr;
    }
    void PostOne() {
        const unsigned choice = mRandom() % 8;
        const unsigned key = mRandom() % 4;
        LoadMessage* msg = new LoadMessage(choice == 3 ? eKeep : ePlain, mRandom() % 3);
        if (choice <= 3) {
            mExpected.push_back(msg->mId);
            mOwn->PostMsg(msg);
        } else if (choice == 4) {
            if (mOwn->PostMsgNonBlocking(msg, kQueueSize / 2))
                mExpected.push_back(msg->mId);
            else
                delete msg;
        } else if (choice == 5) {
            mOwn->TimedMsgKey(msg, mRandom() % 3, key,
                              static_cast<Handler::MsgTypeHandling>(mRandom() % 3));
        } else if (choice == 6) {
            mOwn->DeleteTimedMsgs(msg, key % 2 ? Handler::MsgTypeUnique : Handler::MsgTypeUniqueKey,
                                  key);
            delete msg;
        } else {
            delete msg;
            mManager->PostMsg(new LoadMessage(eSpawn));
        }
    }

    FendrakeMessageLooper* mLooper;
    Handler* mManager;
    LoadHandler* mOwn = nullptr;
    Fence mFence;
    std::vector<int> mExpected;
    std::mt19937 mRandom;
};
} // namespace

TEST(FendrakeMessageLooperStressTest, EveryMessageIsDeletedOnceAndDispatchedAtMostOnce) {
    FendrakeThread::Initialize();
    {
        FendrakeMessageLooper looper("load", 10, kQueueSize, 5);
        Fence unused;
        Handler* manager = new LoadHandler(&looper, &unused);
        looper.Start();
        std::vector<std::unique_ptr<Poster>> posters;
        std::vector<std::thread> threads;
        for (int p = 0; p < kPosters; ++p) {
            posters.emplace_back(new Poster(&looper, manager, static_cast<unsigned>(p + 1)));
            threads.emplace_back(&Poster::Run, posters.back().get());
        }
        for (std::thread& thread : threads)
            thread.join();
    }
    FendrakeThread::Destruct();

    int dispatched = 0;
    for (int id = 0; id < sNextId; ++id) {
        EXPECT_EQ(1, sDeleted[id].load()) << "message " << id;
        EXPECT_LE(sDispatched[id].load(), 1) << "message " << id;
        dispatched += sDispatched[id];
    }
    EXPECT_EQ(0, sErrors.load());
    // Half of all posts block, and all of those must arrive.
    EXPECT_GE(dispatched, kPosters * kPerPoster / 4);
}
