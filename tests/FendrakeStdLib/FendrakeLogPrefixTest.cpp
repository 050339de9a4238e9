// The log line's prefix: the two times, then the thread's name and priority.
// Disabled until the logging core writes these fields; remove DISABLED_ then.
#include "Basic/FendrakeOS/FendrakeSemaphore.h"
#include "Basic/FendrakeOS/FendrakeThread.h"
#include "Basic/FendrakeStdLib/FendrakeDebug.h"
#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using testing::MatchesRegex;

namespace {
const char* const kTimes = "\\[[0-9]+,[0-9]{6}\\]\\[[0-9]{2}:[0-9]{2}:[0-9]{2},[0-9]{6}\\] ";

class LoggingThread : public FendrakeThread {
public:
    LoggingThread() : FendrakeThread("logger", nullptr, 10, 0) {}

protected:
    int Body(void*) override {
        FENDRAKE_LOG_AT("Basic/FendrakeOS/y", 34, 1, "From a thread\n");
        return 0;
    }
};

class FendrakeLogPrefixTest : public testing::Test {
protected:
    void SetUp() override { FendrakeThread::Initialize(); }
    void TearDown() override { FendrakeThread::Destruct(); }
};
} // namespace

TEST_F(FendrakeLogPrefixTest, DISABLED_MainLineCarriesTimesNameAndPriority) {
    CaptureScope capture;
    FENDRAKE_LOG_AT("Basic/FendrakeOS/x", 12, 1, "Hello\n");
    const std::string priority = std::to_string(FendrakeThreadThisPriority());
    EXPECT_THAT(LastLogLine(),
                MatchesRegex(std::string("(---\\[Day is [A-Za-z]+ [0-9 -:]+\\]---\n)?") + kTimes +
                             "main\\." + priority + " Basic/FendrakeOS/x:12\\(L1\\)Hello\n"));
}

TEST_F(FendrakeLogPrefixTest, DISABLED_ThreadLineCarriesItsOwnNameAndPriority) {
    CaptureScope capture;
    LoggingThread thread;
    thread.Start();
    thread.WaitForTermination();
    EXPECT_THAT(LastLogLine(),
                MatchesRegex(std::string("(---\\[Day is [A-Za-z]+ [0-9 -:]+\\]---\n)?") + kTimes +
                             "logger\\.10 Basic/FendrakeOS/y:34\\(L1\\)From a thread\n"));
}
