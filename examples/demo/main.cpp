// A small application on top of Basic: start, banner, a few values, one
// worker thread, a clock component on message loopers, stop. Everything but
// the banner goes through the library's log.
#include "Basic/Basic.h"

namespace {
// Logs one line on a thread of its own and ends.
class Greeter : public FendrakeThread {
public:
    Greeter() : FendrakeThread("greeter", nullptr, 10, 0) {}

protected:
    int Body(void*) override {
        FENDRAKE_LOG(1, "Hello from thread %s\n", FendrakeThreadThisName());
        return 0;
    }
};

const FendrakeMessageGroup kDemoGroup = static_cast<FendrakeMessageGroup>(100);

class TickMessage : public FendrakeMessage {
public:
    FendrakeMessageGroup GetFendrakeMessageGroup() const override { return kDemoGroup; }
    int GetMessageGroupSubType() const override { return 1; }
    const char* GetName() const override { return "TickMessage"; }
    FendrakeMessage* Clone() override { return new TickMessage(*this); }
};

class ClockEvent : public FendrakeMessage {
public:
    explicit ClockEvent(int iTick) : mTick(iTick) {}
    FendrakeMessageGroup GetFendrakeMessageGroup() const override { return kDemoGroup; }
    int GetMessageGroupSubType() const override { return 2; }
    const char* GetName() const override { return "ClockEvent"; }
    FendrakeMessage* Clone() override { return new ClockEvent(*this); }
    int mTick;
};

// Ticks every iPeriodMs by a timed message to itself and tells its listeners
// of each tick; after iTicks it signals iDone.
class Clock : public FendrakeMessageHandler {
public:
    Clock(FendrakeMessageLooper* iLooper, unsigned int iPeriodMs, int iTicks,
          FendrakeSemaphore* iDone)
        : FendrakeMessageHandler(iLooper), mPeriodMs(iPeriodMs), mTicks(iTicks), mDone(iDone) {}

    void Begin() { TimedMsg(new TickMessage, mPeriodMs, MsgTypeUnique); }
    FendrakeNotifier& Listeners() { return mListeners; }

    bool HandleMessage(FendrakeMessage*) override {
        ++mTick;
        FENDRAKE_LOG(1, "Tick %d of %d\n", mTick, mTicks);
        mListeners.NotifyListeners(new ClockEvent(mTick));
        if (mTick < mTicks)
            Begin();
        else
            mDone->Signal();
        return true;
    }

private:
    FendrakeNotifier mListeners;
    unsigned int mPeriodMs;
    int mTicks;
    int mTick = 0;
    FendrakeSemaphore* mDone;
};

class ClockListener : public FendrakeMessageHandler {
public:
    ClockListener(FendrakeMessageLooper* iLooper, const char* iRole)
        : FendrakeMessageHandler(iLooper), mRole(iRole) {}
    bool HandleMessage(FendrakeMessage* msg) override {
        FENDRAKE_LOG(1, "%s sees tick %d (listener key %u)\n", mRole,
                     static_cast<ClockEvent*>(msg)->mTick, msg->mKey);
        return true;
    }

private:
    const char* mRole;
};

// The clock runs on one looper, its two listeners on another. Deleting a
// looper stops its thread and deletes the handlers on it: the clock's goes
// first, so that nothing is told of a tick once the listeners are gone.
void RunClock() {
    FendrakeSemaphore done(0);
    FendrakeMessageLooper screenLooper("screen", 15);
    FendrakeMessageLooper clockLooper("clock", 20);
    Clock* clock = new Clock(&clockLooper, 200, 5, &done);
    clock->Listeners().AddListener(new ClockListener(&screenLooper, "display"), 1);
    clock->Listeners().AddListener(new ClockListener(&screenLooper, "recorder"), 2);
    clockLooper.Start();
    screenLooper.Start();
    clock->Begin();
    done.Wait();
}
} // namespace

int main(int argc, char** argv) {
    FendrakeOptArguments args(argc, argv);
    BasicInit(&args);
    BasicBanner("Demo");

    FENDRAKE_LOG(1, "Demo started, %d arguments left\n", args.argc);
    FENDRAKE_LOG_BARE(0, "Model            : %s\n",
                      FendrakeRuntimeConfigGetString(_YCONFIG_MODEL_NAME));
    FENDRAKE_LOG_BARE(0, "Manufacturer     : %s\n",
                      FendrakeRuntimeConfigGetString(_YCONFIG_MANUFACTURER));
    FENDRAKE_LOG_BARE(0, "Product id       : %u\n",
                      FendrakeRuntimeConfigGetUint(_YCONFIG_PRODUCT_ID));
    FENDRAKE_LOG_BARE(0, "Output cutoff    : %d mdB\n",
                      FendrakeRuntimeConfigGetInt(_YCONFIG_OUTPUT_CUTOFF_MIN_MDB));
    FENDRAKE_LOG_STREAM(1) << "Configuration date " << FendrakeRuntimeConfigGetUint(_YCONFIG_DATE)
                           << "\n";

    Greeter greeter;
    greeter.Start();
    greeter.WaitForTermination();
    FENDRAKE_LOG(1, "Greeter finished\n");

    RunClock();
    FENDRAKE_LOG(1, "Clock stopped\n");

    BasicTerm();
    return 0;
}
