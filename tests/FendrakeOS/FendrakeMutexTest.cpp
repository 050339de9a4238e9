#include "Basic/FendrakeOS/FendrakeMutex.h"
#include "Basic/FendrakeOS/FendrakeThread.h"

#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <thread>

using testing::HasSubstr;

namespace {
// Runs iProbe on a thread of its own and gives its result: the probe sees the
// lock as a stranger would.
int FromOtherThread(const std::function<int()>& iProbe) {
    return std::async(std::launch::async, iProbe).get();
}

long long MillisecondsSince(std::chrono::steady_clock::time_point iStart) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() -
                                                                 iStart)
        .count();
}
} // namespace

TEST(FendrakeMutexTest, TryLockFailsWhileHeldElsewhere) {
    FendrakeMutex mutex;
    ASSERT_EQ(0, mutex.Lock());
    EXPECT_EQ(-1, FromOtherThread([&] { return mutex.TryLock(); }));
    EXPECT_EQ(0, mutex.Unlock());
    EXPECT_EQ(0, FromOtherThread([&] {
                  const int result = mutex.TryLock();
                  mutex.Unlock();
                  return result;
              }));
}

// timeoutMs + 1 tries with a millisecond's sleep after each, the last one included.
TEST(FendrakeMutexTest, TimedLockGivesUpAfterItsTriesWhenHeldElsewhere) {
    FendrakeMutex mutex;
    ASSERT_EQ(0, mutex.Lock());
    for (unsigned timeoutMs : {0u, 5u}) {
        SCOPED_TRACE(timeoutMs);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(-1, FromOtherThread([&] { return mutex.Lock(timeoutMs); }));
        EXPECT_GE(MillisecondsSince(start), timeoutMs + 1);
    }
    mutex.Unlock();
}

TEST(FendrakeMutexTest, TimedLockTakesTheLockOnceReleased) {
    FendrakeMutex mutex;
    ASSERT_EQ(0, mutex.Lock());
    std::promise<void> trying;
    auto waiter = std::async(std::launch::async, [&] {
        trying.set_value();
        const int result = mutex.Lock(120000);
        if (result == 0)
            mutex.Unlock();
        return result;
    });
    trying.get_future().wait();
    mutex.Unlock();
    EXPECT_EQ(0, waiter.get());
}

TEST(FendrakeMutexNestedTest, HeldUntilTheLastUnlockOfItsOwner) {
    FendrakeMutexNested mutex;
    ASSERT_EQ(0, mutex.Lock());
    ASSERT_EQ(0, mutex.TryLock());
    ASSERT_EQ(0, mutex.Lock(0));
    const auto strangerTries = [&] {
        return FromOtherThread([&] {
            const int result = mutex.TryLock();
            if (result == 0)
                mutex.Unlock();
            return result;
        });
    };
    EXPECT_EQ(-1, strangerTries());
    EXPECT_EQ(2, mutex.Unlock());
    EXPECT_EQ(-1, strangerTries());
    EXPECT_EQ(1, mutex.Unlock());
    EXPECT_EQ(-1, strangerTries());
    EXPECT_EQ(0, mutex.Unlock());
    EXPECT_EQ(0, strangerTries());
}

TEST(FendrakeMutexNestedTest, TimedLockOfAStrangerFailsAndLeavesNoOwnership) {
    FendrakeMutexNested mutex;
    ASSERT_EQ(0, mutex.Lock());
    EXPECT_EQ(-1, FromOtherThread([&] { return mutex.Lock(2); }));
    EXPECT_EQ(0, mutex.Unlock());
    // The stranger's failed attempt must not have made it the owner.
    EXPECT_EQ(0, FromOtherThread([&] {
                  const int locked = mutex.Lock(2);
                  return locked == 0 ? mutex.Unlock() : -1;
              }));
}

TEST(FendrakeMutexNestedTest, UnlockByStrangerAssertsWithAllNumbersAndKeepsTheCount) {
    CaptureScope capture;
    FendrakeMutexNested mutex;
    mutex.Lock();
    mutex.Lock();
    bool fired = false;
    std::thread([&] {
        try {
            mutex.Unlock();
        } catch (const AssertionFired&) {
            fired = true;
        }
    }).join();
    EXPECT_TRUE(fired);
    const std::string output = CapturedOutput();
    EXPECT_THAT(output, HasSubstr("Basic/FendrakeOS/src/FendrakeMutex/FendrakeMutexNested:115 "
                                  "Assertion `currentThread == mCurrentLocker' failed"));
    EXPECT_THAT(output, testing::ContainsRegex(" currentThread=[0-9]+, mCurrentLocker=" +
                                               std::to_string(FendrakeThread::ThisNative()) +
                                               ", mCount=2\n"));
    EXPECT_EQ(1, mutex.Unlock());
    EXPECT_EQ(0, mutex.Unlock());
}

TEST(FendrakeMutexTest, CopyAndAssignmentAssertAtTheirOwnLines) {
    struct Row {
        int mLine;
        std::function<void()> mAction;
        const char* mPlace;
    };
    FendrakeMutex plain;
    FendrakeMutexNested nested;
    const Row rows[] = {
        {__LINE__,
         [&] {
             FendrakeMutex other;
             other = plain;
         },
         "FendrakeMutexCommon:31 "},
        {__LINE__, [&] { FendrakeMutex copy(plain); }, "FendrakeMutexCommon:36 "},
        {__LINE__,
         [&] {
             FendrakeMutexNested other;
             other = nested;
         },
         "FendrakeMutexCommon:41 "},
        {__LINE__, [&] { FendrakeMutexNested copy(nested); }, "FendrakeMutexCommon:46 "},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        CaptureScope capture;
        EXPECT_THROW(row.mAction(), AssertionFired);
        EXPECT_THAT(LastLogLine(), HasSubstr(std::string("Basic/FendrakeOS/src/FendrakeMutex/") +
                                             row.mPlace + "Assertion `0' failed"));
    }
}
