#include "Basic/FendrakeOS/FendrakeMutex.h"

#include "Basic/FendrakeOS/FendrakeCondition.h"
#include "Basic/FendrakeOS/FendrakeReadWriteLock.h"
#include "Basic/FendrakeOS/FendrakeThread.h"
#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

using testing::HasSubstr;

namespace {
// Tries the lock from a thread of its own, as a stranger would, and lets go again.
template <typename Lock> int StrangerTakes(Lock& ioLock, unsigned iTimeoutMs) {
    return std::async(std::launch::async,
                      [&] {
                          const int result = ioLock.Lock(iTimeoutMs);
                          if (result == 0)
                              ioLock.Unlock();
                          return result;
                      })
        .get();
}

template <typename Lock> void ExpectCopiesAssertAt(int iAssignLine, int iCopyLine) {
    const std::string place = "Basic/FendrakeOS/src/FendrakeMutex/FendrakeMutexCommon:";
    Lock original;
    CaptureScope capture;
    EXPECT_THROW(Lock() = original, AssertionFired);
    EXPECT_THAT(LastLogLine(),
                HasSubstr(place + std::to_string(iAssignLine) + " Assertion `0' failed"));
    EXPECT_THROW(Lock copy(original), AssertionFired);
    EXPECT_THAT(LastLogLine(),
                HasSubstr(place + std::to_string(iCopyLine) + " Assertion `0' failed"));
}
} // namespace

// timeoutMs + 1 tries with a millisecond's sleep after each, the last one included.
TEST(FendrakeMutexTest, TimedLockPollsUntilReleasedOrOutOfTries) {
    FendrakeMutex mutex;
    ASSERT_EQ(0, mutex.Lock());
    EXPECT_EQ(-1, std::async(std::launch::async, [&] { return mutex.TryLock(); }).get());
    for (unsigned timeoutMs : {0u, 5u}) {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(-1, StrangerTakes(mutex, timeoutMs));
        EXPECT_GE(std::chrono::steady_clock::now() - start,
                  std::chrono::milliseconds(timeoutMs + 1));
    }
    std::promise<void> trying;
    auto waiter = std::async(std::launch::async, [&] {
        trying.set_value();
        return StrangerTakes(mutex, 120000);
    });
    trying.get_future().wait();
    mutex.Unlock();
    EXPECT_EQ(0, waiter.get());
}

TEST(FendrakeMutexTest, CopyAndAssignmentAssertAtTheirOwnLines) {
    ExpectCopiesAssertAt<FendrakeMutex>(31, 36);
    ExpectCopiesAssertAt<FendrakeMutexNested>(41, 46);
}

// A condition wait gives the lock away and must hand back owner and count.
TEST(FendrakeMutexNestedTest, HeldUntilTheLastUnlockOfItsOwner) {
    FendrakeMutexNested mutex;
    FendrakeCondition condition;
    ASSERT_EQ(0, mutex.Lock());
    ASSERT_EQ(0, mutex.TryLock());
    ASSERT_EQ(0, mutex.Lock(0));
    EXPECT_FALSE(condition.Wait(mutex, 1));
    for (int held = 2; held >= 0; --held) {
        EXPECT_EQ(-1, StrangerTakes(mutex, 0));
        EXPECT_EQ(held, mutex.Unlock());
    }
    // A failed try that left its thread as owner would have failed the Unlocks above.
    EXPECT_EQ(0, StrangerTakes(mutex, 0));
}

TEST(FendrakeMutexNestedTest, UnlockByStrangerAssertsWithAllNumbersAndKeepsTheCount) {
    CaptureScope capture;
    FendrakeMutexNested mutex;
    mutex.Lock();
    mutex.Lock();
    std::thread([&] { EXPECT_THROW(mutex.Unlock(), AssertionFired); }).join();
    const std::string output = CapturedOutput();
    EXPECT_THAT(output, HasSubstr("Basic/FendrakeOS/src/FendrakeMutex/FendrakeMutexNested:115 "
                                  "Assertion `currentThread == mCurrentLocker' failed"));
    EXPECT_THAT(output, testing::ContainsRegex(" currentThread=[0-9]+, mCurrentLocker=" +
                                               std::to_string(FendrakeThread::ThisNative()) +
                                               ", mCount=2\n"));
    EXPECT_EQ(1, mutex.Unlock());
    EXPECT_EQ(0, mutex.Unlock());
}

TEST(FendrakeReadWriteLockTest, WriterGetsInOnlyAfterEveryReaderLeft) {
    FendrakeReadWriteLock lock;
    std::atomic<int> readersInside{1};
    lock.ReadLock();
    auto writer = std::async(std::launch::async, [&] {
        lock.WriteLock();
        const int seen = readersInside;
        lock.WriteUnlock();
        return seen;
    });
    for (int i = 0; i < 1000; ++i)
        std::this_thread::yield(); // let the writer reach the slots if it can
    readersInside = 0;
    lock.ReadUnlock();
    EXPECT_EQ(0, writer.get());
}

// 1 only when nothing at all could be taken; a free lock answers 0 and keeps its gate.
TEST(FendrakeReadWriteLockTest, WriteTryLockKeepsItsInvertedAnswer) {
    FendrakeReadWriteLock lock;
    EXPECT_EQ(0, lock.WriteTryLock());
    for (int i = 0; i < 15; ++i)
        lock.ReadLock();
    EXPECT_EQ(1, lock.WriteTryLock());
}
