#include "Basic/FendrakeStdLib/FendrakeCheckPoint.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>
#include <vector>

namespace {
void WaitForClients(FendrakeCheckPoint& ioCheckPoint, unsigned iClients) {
    while (ioCheckPoint.GetWaitingClients() != iClients)
        std::this_thread::yield();
}
} // namespace

TEST(FendrakeCheckPointTest, OnlyResetClosesTheGate) {
    struct Row {
        int mLine;
        std::function<void(FendrakeCheckPoint&)> mSteps;
        bool mWait;
    };
    const Row rows[] = {
        {__LINE__, [](FendrakeCheckPoint& c) { c.Set(); }, true},
        {__LINE__, [](FendrakeCheckPoint& c) { c.Abort(); }, false},
        {__LINE__, [](FendrakeCheckPoint& c) { c.Abort(), c.Set(); }, true},
        {__LINE__, [](FendrakeCheckPoint& c) { c.Set(), c.Abort(); }, true},
        {__LINE__, [](FendrakeCheckPoint& c) { c.Set(), c.Reset(), c.Abort(); }, false},
        {__LINE__, [](FendrakeCheckPoint& c) { c.Abort(), c.Reset(), c.Set(); }, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        FendrakeCheckPoint checkPoint;
        row.mSteps(checkPoint);
        EXPECT_EQ(row.mWait, checkPoint.Wait());
        EXPECT_EQ(row.mWait, checkPoint.Wait());
        EXPECT_EQ(0u, checkPoint.GetWaitingClients());
    }
}

TEST(FendrakeCheckPointTest, SetAndAbortReleaseEveryWaiter) {
    for (bool set : {true, false}) {
        SCOPED_TRACE(set ? "Set" : "Abort");
        FendrakeCheckPoint checkPoint;
        const unsigned kWaiters = 4;
        std::vector<char> results(kWaiters, 2);
        std::vector<std::thread> threads;
        for (unsigned i = 0; i < kWaiters; ++i)
            threads.emplace_back([&, i] { results[i] = checkPoint.Wait() ? 1 : 0; });
        WaitForClients(checkPoint, kWaiters);
        set ? checkPoint.Set() : checkPoint.Abort();
        for (auto& thread : threads)
            thread.join();
        for (char result : results)
            EXPECT_EQ(set ? 1 : 0, result);
        EXPECT_EQ(0u, checkPoint.GetWaitingClients());
        checkPoint.Reset();
    }
}
