#include "Basic/FendrakeStdLib/FendrakeAssert.h"

#include <gtest/gtest.h>

#include <csignal>
#include <unistd.h>

namespace {
// The log goes to standard output; the death test reads standard error.
void FireAssertion() {
    dup2(2, 1);
    FENDRAKE_ASSERT_AT("Basic/FendrakeOS/x", 36, false, "0");
}
} // namespace

TEST(FendrakeAssertDeathTest, DefaultHookAborts) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(FireAssertion(), testing::KilledBySignal(SIGABRT),
                "Basic/FendrakeOS/x:36 Assertion `0' failed");
}
