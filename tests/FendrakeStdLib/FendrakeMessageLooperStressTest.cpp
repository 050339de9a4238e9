// Several threads post to one looper with a small queue, blocking and not,
// add and cancel timed messages, and create and delete their handlers, while
// a handler on the looper creates and deletes others from its own code. Each
// message counts its dispatches and deletions: every one is deleted exactly
// once, dispatched at most once and only to its own handler, never touched
// after deletion, and whatever was posted to a live handler arrives.
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
        if (mMagic != kAlive)
            ++sErrors;
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

// Fences meet their poster here.
struct Fence {
    std::mutex mMutex;
    std::condition_variable mPassed;
    int mCount = 0;
};

class LoadHandler : public FendrakeMessageHandler {
public:
    LoadHandler(FendrakeMessageLooper* iLooper, Fence* iFence)
        : FendrakeMessageHandler(iLooper), mFence(iFence) {}
    ~LoadHandler() override {
        for (LoadMessage* kept : mKept)
            delete kept;
        delete mChild;
    }

    bool HandleMessage(FendrakeMessage* iMsg) override {
        LoadMessage* msg = static_cast<LoadMessage*>(iMsg);
        if (msg->mMagic != kAlive || msg->mMessageHandlerKeyOnLooper != GetHandlerKey())
            ++sErrors;
        ++sDispatched[msg->mId];
        if (msg->mKind == eKeep)
            Keep(msg);
        else if (msg->mKind == eFence)
            Pass();
        else if (msg->mKind == eSpawn)
            Spawn();
        return true;
    }

private:
    void Keep(LoadMessage* msg) {
        KeepMessage();
        mKept.push_back(msg);
        if (mKept.size() > 2) {
            delete mKept.front();
            mKept.erase(mKept.begin());
        }
    }
    void Pass() {
        std::lock_guard<std::mutex> lock(mFence->mMutex);
        ++mFence->mCount;
        mFence->mPassed.notify_all();
    }
    // On the looper's own thread: a new child gets messages, the old one goes
    // with whatever is still on its way to it.
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
    Poster(FendrakeMessageLooper* iLooper, LoadHandler* iManager, unsigned iSeed)
        : mLooper(iLooper), mManager(iManager), mRandom(iSeed) {}

    void Run() {
        for (int i = 0; i < kPerPoster; ++i) {
            if (i % 100 == 0)
                Renew();
            PostOne();
        }
        Renew();
        Delete(mOwn);
    }

private:
    // Waits until everything posted to the current handler has arrived, then
    // replaces it. A fence of priority 0 queues behind all earlier messages.
    void Renew() {
        if (mOwn) {
            std::unique_lock<std::mutex> lock(mFence.mMutex);
            const int target = mFence.mCount + 1;
            lock.unlock();
            mOwn->PostMsg(new LoadMessage(eFence));
            lock.lock();
            if (!mFence.mPassed.wait_for(lock, std::chrono::minutes(1),
                                         [&] { return mFence.mCount >= target; }))
                ++sErrors;
            lock.unlock();
            for (int id : mExpected)
                if (sDispatched[id] != 1)
                    ++sErrors;
            mExpected.clear();
            Delete(mOwn);
        }
        FendrakeLockScope<FendrakeMutexNested> lock(mLooper->GetMutexNested());
        mOwn = new LoadHandler(mLooper, &mFence);
    }
    void Delete(LoadHandler* iHandler) {
        FendrakeLockScope<FendrakeMutexNested> lock(mLooper->GetMutexNested());
        delete iHandler;
        mOwn = nullptr;
    }
    void PostOne() {
        const unsigned choice = mRandom() % 8;
        const int prio = static_cast<int>(mRandom() % 3);
        const unsigned key = mRandom() % 4;
        const FendrakeMessageHandler::MsgTypeHandling handling =
            static_cast<FendrakeMessageHandler::MsgTypeHandling>(mRandom() % 3);
        LoadMessage* msg = nullptr;
        switch (choice) {
        case 0:
        case 1:
        case 2:
        case 3:
            msg = new LoadMessage(choice == 3 ? eKeep : ePlain, prio);
            mExpected.push_back(msg->mId);
            mOwn->PostMsg(msg);
            break;
        case 4:
            msg = new LoadMessage(ePlain, prio);
            mExpected.push_back(msg->mId);
            if (!mOwn->PostMsgNonBlocking(msg, kQueueSize / 2)) {
                mExpected.pop_back();
                delete msg;
            }
            break;
        case 5:
            mOwn->TimedMsgKey(new LoadMessage(ePlain), mRandom() % 3, key, handling);
            break;
        case 6: {
            LoadMessage pattern(ePlain);
            mOwn->DeleteTimedMsgs(&pattern,
                                  key % 2 ? FendrakeMessageHandler::MsgTypeUnique
                                          : FendrakeMessageHandler::MsgTypeUniqueKey,
                                  key);
            break;
        }
        default:
            mManager->PostMsg(new LoadMessage(eSpawn));
            break;
        }
    }

    FendrakeMessageLooper* mLooper;
    LoadHandler* mManager;
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
        Fence managerFence;
        LoadHandler* manager = new LoadHandler(&looper, &managerFence);
        looper.Start();
        std::vector<std::unique_ptr<Poster>> posters;
        std::vector<std::thread> threads;
        for (int p = 0; p < kPosters; ++p)
            posters.emplace_back(new Poster(&looper, manager, static_cast<unsigned>(p + 1)));
        for (int p = 0; p < kPosters; ++p)
            threads.emplace_back(&Poster::Run, posters[p].get());
        for (std::thread& thread : threads)
            thread.join();
    }
    FendrakeThread::Destruct();

    const int messages = sNextId;
    int dispatched = 0;
    for (int id = 0; id < messages; ++id) {
        EXPECT_EQ(1, sDeleted[id].load()) << "message " << id;
        EXPECT_LE(sDispatched[id].load(), 1) << "message " << id;
        dispatched += sDispatched[id];
    }
    EXPECT_EQ(0, sErrors.load());
    // Half of all posts block, and all of those must arrive.
    EXPECT_GE(dispatched, kPosters * kPerPoster / 4);
}
