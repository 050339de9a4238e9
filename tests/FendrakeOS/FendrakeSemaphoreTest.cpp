#include "Basic/FendrakeOS/FendrakeSemaphore.h"

#include "Basic/FendrakeOS/src/FendrakeDeadline.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>
#include <vector>

namespace {
// Long enough never to end on a loaded machine, short enough that a lost
// wake-up fails the test instead of hanging it.
const unsigned kForeverMs = 120000;

int CountFreeSlots(FendrakeSemaphore& ioSemaphore) {
    int slots = 0;
    while (ioSemaphore.TryAcquire() == 0)
        ++slots;
    for (int i = 0; i < slots; ++i)
        ioSemaphore.Signal();
    return slots;
}
} // namespace

TEST(FendrakeSemaphoreTest, DeadlineDropsSubMillisecondsOnlyOnCarry) {
    struct Row {
        int mLine;
        long mNowNsec;
        unsigned mTimeoutMs;
        time_t mSec;
        long mNsec;
    };
    static const Row kRows[] = {
        {__LINE__, 900123456, 1500, 12, 400000000},
        {__LINE__, 500000001, 500, 11, 0},
        {__LINE__, 499999999, 500, 10, 999999999},
        {__LINE__, 123, 0, 10, 123},
        {__LINE__, 999999999, 4294967295u, 4294978, 294000000},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        timespec now{};
        now.tv_sec = 10;
        now.tv_nsec = row.mNowNsec;
        const timespec deadline = FendrakeDeadlineAfter(now, row.mTimeoutMs);
        EXPECT_EQ(row.mSec, deadline.tv_sec);
        EXPECT_EQ(row.mNsec, deadline.tv_nsec);
    }
}

TEST(FendrakeSemaphoreTest, WaitZeroTakesAFreeSlotAndOtherwiseTimesOut) {
    FendrakeSemaphore semaphore(1);
    EXPECT_EQ(0, semaphore.Wait(0));
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(-1, semaphore.Wait(30));
    // A carry may cut up to a millisecond off the deadline.
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(29));
    EXPECT_EQ(-1, semaphore.Wait(0));
    EXPECT_EQ(-1, semaphore.TryAcquire());
}

TEST(FendrakeSemaphoreTest, AdjustAddsOrTakesAndReportsTheShortfall) {
    struct Row {
        int mLine;
        unsigned mInitial;
        int mDelta;
        int mResult;
        int mLeft;
    };
    static const Row kRows[] = {
        {__LINE__, 2, -5, -3, 0}, {__LINE__, 2, -2, 0, 0}, {__LINE__, 2, -1, 0, 1},
        {__LINE__, 2, 0, 0, 2},   {__LINE__, 2, 1, 0, 3},  {__LINE__, 0, 4, 0, 4},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        FendrakeSemaphore semaphore(row.mInitial);
        EXPECT_EQ(row.mResult, semaphore.Adjust(row.mDelta));
        EXPECT_EQ(row.mLeft, CountFreeSlots(semaphore));
        semaphore.Reset();
        EXPECT_EQ(0, CountFreeSlots(semaphore));
    }
}

TEST(FendrakeSemaphoreTest, AdjustWakesEveryWaiter) {
    FendrakeSemaphore semaphore(0);
    std::vector<std::future<int>> waiters;
    for (int i = 0; i < 3; ++i)
        waiters.push_back(
            std::async(std::launch::async, [&] { return semaphore.Wait(kForeverMs); }));
    for (int i = 0; i < 100; ++i)
        std::this_thread::yield(); // give the waiters a chance to be asleep
    EXPECT_EQ(0, semaphore.Adjust(3));
    for (auto& waiter : waiters)
        EXPECT_EQ(0, waiter.get());
}

TEST(FendrakeSemaphoreTest, EverySlotIsTakenExactlyOnceUnderManyWaiters) {
    const int kConsumers = 8;
    const int kPerConsumer = 200;
    FendrakeSemaphore semaphore(0);
    std::atomic<int> taken{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < kConsumers; ++i)
        threads.emplace_back([&] {
            for (int n = 0; n < kPerConsumer; ++n) {
                if (n % 2 ? semaphore.Wait() == 0 : semaphore.Wait(kForeverMs) == 0)
                    ++taken;
            }
        });
    for (int i = 0; i < 2; ++i)
        threads.emplace_back([&] {
            for (int n = 0; n < kConsumers * kPerConsumer / 2; ++n)
                semaphore.Signal();
        });
    for (auto& thread : threads)
        thread.join();
    EXPECT_EQ(kConsumers * kPerConsumer, taken.load());
    EXPECT_EQ(-1, semaphore.TryAcquire());
}
