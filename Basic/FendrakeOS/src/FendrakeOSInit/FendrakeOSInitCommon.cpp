#include "Basic/FendrakeOS/FendrakeOSInit.h"

#include "Basic/FendrakeOS/FendrakeMutex.h"
#include "Basic/FendrakeOS/FendrakeSemaphore.h"
#include "Basic/FendrakeOS/FendrakeThread.h"
#include "Basic/FendrakeOS/FendrakeThreadMonitor.h"
#include "Basic/FendrakeOS/src/FendrakeOSInit/FendrakeOSInitPrivate.h"
#include "Basic/FendrakeStdLib/FendrakeDebug.h"
#include "Basic/FendrakeStdLib/FendrakeOptArguments.h"

#include <atomic>
#include <csignal>
#include <vector>

namespace {
const char* const kOSInitPath = "Basic/FendrakeOS/src/FendrakeOSInit/Posix/FendrakeOSInit";
} // namespace

// The thread that wakes once a round, raises a requested signal, checks the
// response pings and tells its listeners.
class FendrakeThreadMonitor : public FendrakeThread {
public:
    explicit FendrakeThreadMonitor(unsigned int iPeriodMs)
        : FendrakeThread("FendrakeThreadMonitor", nullptr, 99, 0), mPeriodMs(iPeriodMs) {}
    // Here and not in the base: Body uses the members, which go before the base.
    ~FendrakeThreadMonitor() override {
        mStop.store(true);
        mWake.Signal();
        WaitForTermination();
    }

    void AddNotify(FendrakeThreadMonitorNotify* iNotify) {
        FendrakeLockScope<FendrakeMutex> lock(mMutex);
        mListeners.push_back(iNotify);
    }
    void RemoveNotify(FendrakeThreadMonitorNotify* iNotify) {
        FendrakeLockScope<FendrakeMutex> lock(mMutex);
        for (auto listener = mListeners.begin(); listener != mListeners.end(); ++listener) {
            if (*listener == iNotify) {
                mListeners.erase(listener);
                return;
            }
        }
    }
    void RaiseSignal(int iSignal) {
        mPendingSignal.store(iSignal);
        mWake.Signal();
    }

protected:
    int Body(void*) override {
        if (mStop.load())
            return 0;
        bool listed = false;
        for (;;) {
            mWake.Wait(mPeriodMs);
            if (mStop.load())
                return 0;
            iRound(listed);
        }
    }

private:
    // ioListed: a listing was made before, so the next shows only active threads.
    void iRound(bool& ioListed) {
        // Never cleared: raised again on every round while the process lives.
        const int signal = mPendingSignal.load();
        if (signal != 0)
            raise(signal);
        const int result = FendrakeThread_CheckResponseTimeOut();
        if (result == 1) {
            FENDRAKE_LOG_AT(kOSInitPath, 214, 1, "It is bad\n");
            ListThreads(ioListed);
            ioListed = true;
        }
        FendrakeLockScope<FendrakeMutex> lock(mMutex);
        for (FendrakeThreadMonitorNotify* listener : mListeners)
            listener->ThreadMonitorRound(result != 0);
    }

    const unsigned int mPeriodMs;
    FendrakeMutex mMutex; // guards mListeners
    std::vector<FendrakeThreadMonitorNotify*> mListeners;
    std::atomic<bool> mStop{false};
    FendrakeSemaphore mWake{0};
    std::atomic<int> mPendingSignal{0};
};

namespace {
std::atomic<FendrakeThreadMonitor*> spThreadMonitor{nullptr};
// Kept for the application's signal handling; the library reads it nowhere.
int sProcessGroup = 0;
} // namespace

int FendrakeOSInit(FendrakeOptArguments* ioArgs) {
    const int mode = ioArgs->GetOptionInt("--daemon-mode=", 0);
    if (mode != 0)
        FendrakeOSEnterDaemonMode(mode);
    FendrakeThread::Initialize();
    return 0;
}

void FendrakeOSStart(unsigned int iPeriodMs) {
    sProcessGroup = FendrakeOSProcessGroup();
    if (spThreadMonitor.load())
        return;
    FendrakeThreadMonitor* monitor = new FendrakeThreadMonitor(iPeriodMs);
    spThreadMonitor.store(monitor);
    monitor->Start();
}

void FendrakeOSDestruct() {
    // Cleared first, so that no caller reaches the monitor while it goes.
    delete spThreadMonitor.exchange(nullptr);
    FendrakeThread::Destruct();
}

// Without a monitor there is nobody to tell: nothing happens.
void AddFendrakeThreadMonitorNotify(FendrakeThreadMonitorNotify* iNotify) {
    if (FendrakeThreadMonitor* monitor = spThreadMonitor.load())
        monitor->AddNotify(iNotify);
}

void RemoveFendrakeThreadMonitorNotify(FendrakeThreadMonitorNotify* iNotify) {
    if (FendrakeThreadMonitor* monitor = spThreadMonitor.load())
        monitor->RemoveNotify(iNotify);
}

void fendrake_raise_signal_from_threadmonitor(int iSignal) {
    if (FendrakeThreadMonitor* monitor = spThreadMonitor.load())
        monitor->RaiseSignal(iSignal);
    else
        raise(iSignal); // no monitor to carry it
    FendrakeThread::DelayThreadTicks(1000 * FendrakeThread::ClockTicksPerSec());
}
