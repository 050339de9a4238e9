#include "Basic/FendrakeOS/FendrakeCondition.h"

#include "Basic/FendrakeOS/FendrakeMutex.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {
const unsigned kForeverMs = 120000;

// Waits on the predicate under the lock; false if a wait ever timed out.
bool WaitUntilReady(FendrakeCondition& ioCondition, FendrakeMutex& ioMutex, const bool& iReady) {
    FendrakeLockScope<FendrakeMutex> lock(ioMutex);
    while (!iReady) {
        if (!ioCondition.Wait(ioMutex, kForeverMs))
            return false;
    }
    return true;
}
} // namespace

TEST(FendrakeConditionTest, TimedWaitWithoutSignalReturnsFalse) {
    FendrakeMutex mutex;
    FendrakeCondition condition;
    FendrakeLockScope<FendrakeMutex> lock(mutex);
    EXPECT_FALSE(condition.Wait(mutex, 20));
}

TEST(FendrakeConditionTest, SignalAndBroadcastWakeWaiters) {
    for (bool broadcast : {false, true}) {
        SCOPED_TRACE(broadcast ? "broadcast" : "signal");
        FendrakeMutex mutex;
        FendrakeCondition condition;
        bool ready = false;
        const int waiters = broadcast ? 4 : 1;
        std::vector<std::thread> threads;
        std::vector<char> woken(waiters, 0);
        for (int i = 0; i < waiters; ++i)
            threads.emplace_back(
                [&, i] { woken[i] = WaitUntilReady(condition, mutex, ready) ? 1 : 0; });
        {
            FendrakeLockScope<FendrakeMutex> lock(mutex);
            ready = true;
            broadcast ? condition.Broadcast() : condition.Signal();
        }
        for (auto& thread : threads)
            thread.join();
        for (char w : woken)
            EXPECT_EQ(1, w);
    }
}

TEST(FendrakeConditionTest, NestedMutexKeepsOwnerAndCountThroughTheWait) {
    FendrakeMutexNested mutex;
    FendrakeCondition condition;
    mutex.Lock();
    mutex.Lock();
    condition.Wait(mutex, 1);
    EXPECT_EQ(1, mutex.Unlock());
    EXPECT_EQ(0, mutex.Unlock());
}
