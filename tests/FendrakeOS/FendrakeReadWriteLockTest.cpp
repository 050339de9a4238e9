#include "Basic/FendrakeOS/FendrakeReadWriteLock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

TEST(FendrakeReadWriteLockTest, WriterGetsInOnlyAfterEveryReaderLeft) {
    FendrakeReadWriteLock lock;
    std::atomic<int> readersInside{0};
    std::atomic<int> readersSeenByWriter{-1};
    lock.ReadLock();
    ++readersInside;
    std::thread writer([&] {
        lock.WriteLock();
        readersSeenByWriter = readersInside.load();
        lock.WriteUnlock();
    });
    for (int i = 0; i < 1000; ++i)
        std::this_thread::yield(); // let the writer reach the slots if it can
    --readersInside;
    lock.ReadUnlock();
    writer.join();
    EXPECT_EQ(0, readersSeenByWriter.load());
}

TEST(FendrakeReadWriteLockTest, SecondWriterWaitsAtTheGate) {
    FendrakeReadWriteLock lock;
    std::atomic<bool> firstInside{false};
    std::atomic<int> overlap{0};
    lock.WriteLock();
    firstInside = true;
    std::thread second([&] {
        lock.WriteLock();
        overlap = firstInside ? 1 : 0;
        lock.WriteUnlock();
    });
    for (int i = 0; i < 1000; ++i)
        std::this_thread::yield();
    firstInside = false;
    lock.WriteUnlock();
    second.join();
    EXPECT_EQ(0, overlap.load());
    // Every slot came back: 15 readers get in at once.
    for (int i = 0; i < 15; ++i)
        lock.ReadLock();
    for (int i = 0; i < 15; ++i)
        lock.ReadUnlock();
}

// 1 only when nothing at all could be taken; a free lock answers 0 and keeps its gate.
TEST(FendrakeReadWriteLockTest, WriteTryLockKeepsItsInvertedAnswer) {
    FendrakeReadWriteLock lock;
    EXPECT_EQ(0, lock.WriteTryLock());
    for (int i = 0; i < 15; ++i)
        lock.ReadLock();
    EXPECT_EQ(1, lock.WriteTryLock());
    for (int i = 0; i < 15; ++i)
        lock.ReadUnlock();

    FendrakeReadWriteLock held;
    held.WriteLock();
    EXPECT_EQ(1, held.WriteTryLock());
    held.WriteUnlock();
}
