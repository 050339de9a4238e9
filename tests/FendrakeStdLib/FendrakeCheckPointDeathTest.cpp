#include "Basic/FendrakeStdLib/FendrakeCheckPoint.h"

#include <gtest/gtest.h>

#include <thread>
#include <unistd.h>

namespace {
// The log goes to standard output; the death test reads standard error.
void DestroyWithOneWaiter() {
    dup2(2, 1);
    FendrakeCheckPoint* checkPoint = new FendrakeCheckPoint;
    std::thread([checkPoint] { checkPoint->Wait(); }).detach();
    while (checkPoint->GetWaitingClients() != 1)
        std::this_thread::yield();
    delete checkPoint;
}
} // namespace

TEST(FendrakeCheckPointDeathTest, DestroyedWithAWaiterInsideAsserts) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(DestroyWithOneWaiter(),
                 "FendrakeStdLib/src/FendrakeCheckPoint:27 Assertion `mWaitingClients==0' "
                 "failed.*\nStill 1 clients waiting");
}
