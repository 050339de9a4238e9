#include "Basic/FendrakeStdLib/FendrakeMessageLooper.h"

#include <gtest/gtest.h>

#include <atomic>
#include <sched.h>
#include <thread>
#include <unistd.h>

namespace {
std::atomic<int> sGroupReads{0};

class CountingMessage : public FendrakeMessage {
public:
    FendrakeMessageGroup GetFendrakeMessageGroup() const override {
        ++sGroupReads;
        return static_cast<FendrakeMessageGroup>(3);
    }
    int GetMessageGroupSubType() const override { return 1; }
    const char* GetName() const override { return "CountingMessage"; }
    FendrakeMessage* Clone() override { return new CountingMessage(*this); }
};

// Exits 0 once the call has asked the first entry for its group 1000 times
// without returning, and 1 if it returned.
void DeleteWithMultipleOnAWaitingMessage() {
    FendrakeMessageLooper* looper = new FendrakeMessageLooper("spin", 10);
    looper->AddToTimedMsg(new CountingMessage, 60000, FendrakeMessageHandler::MsgTypeMultiple);
    std::atomic<bool> returned{false};
    std::thread([&] {
        CountingMessage pattern;
        looper->LooperDeleteTimedMsgs(&pattern, FendrakeMessageHandler::MsgTypeMultiple);
        returned = true;
    }).detach();
    while (sGroupReads < 1000 && !returned)
        sched_yield();
    _exit(returned ? 1 : 0);
}
} // namespace

TEST(FendrakeMessageLooperDeathTest, DeleteWithMultipleSpinsForEverOnANonEmptyList) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(DeleteWithMultipleOnAWaitingMessage(), testing::ExitedWithCode(0), "");
}
