// The log line's prefix: the two times, then the thread's name and priority.
#include "Basic/FendrakeOS/FendrakeThread.h"
#include "Basic/FendrakeStdLib/FendrakeDebug.h"
#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {
std::string Prefix(const std::string& iThread) {
    return "(---\\[Day is [A-Za-z]+ [0-9 -:]+\\]---\n)?"
           "\\[[0-9]+,[0-9]{6}\\]\\[[0-9]{2}:[0-9]{2}:[0-9]{2},[0-9]{6}\\] " +
           iThread + " ";
}

class LoggingThread : public FendrakeThread {
public:
    LoggingThread() : FendrakeThread("logger", nullptr, 10, 0) {}

protected:
    int Body(void*) override {
        FENDRAKE_LOG_AT("Basic/FendrakeOS/y", 34, 1, "From a thread\n");
        return 0;
    }
};
} // namespace

TEST(FendrakeLogPrefixTest, LinesCarryTimesThreadNameAndPriority) {
    FendrakeThread::Initialize();
    {
        CaptureScope capture;
        FENDRAKE_LOG_AT("Basic/FendrakeOS/x", 12, 1, "Hello\n");
        const std::string main = "main\\." + std::to_string(FendrakeThreadThisPriority());
        EXPECT_THAT(LastLogLine(),
                    testing::MatchesRegex(Prefix(main) + "Basic/FendrakeOS/x:12\\(L1\\)Hello\n"));
        LoggingThread thread;
        thread.Start();
        thread.WaitForTermination();
        EXPECT_THAT(LastLogLine(), testing::MatchesRegex(Prefix("logger\\.10") +
                                                         "Basic/FendrakeOS/y:34\\(L1\\)From a "
                                                         "thread\n"));
    }
    FendrakeThread::Destruct();
}
