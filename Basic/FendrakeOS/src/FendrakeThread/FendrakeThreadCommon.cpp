#include "Basic/FendrakeOS/FendrakeThread.h"

#include "Basic/FendrakeStdLib/FendrakeDebug.h"
#include "Basic/FendrakeStdLib/FendrakeStdio.h"

#include <cstdint>

namespace {
const char* const kThreadPath = "Basic/FendrakeOS/src/FendrakeThread/Posix/FendrakeThread";

unsigned int TicksPerMs() {
    return (FendrakeThread::ClockTicksPerSec() + 999) / 1000;
}

void ReportLate(const ResponseTimeOut& iEntry, unsigned int iNow) {
    char stateText[100] = "";
    const int state = iEntry.mThread->GetState();
    if (state != -1)
        fendrake_snprintf(stateText, sizeof stateText, " - State=%d", state);
    // Deadline minus now, read as signed: a late thread shows a negative number.
    const int32_t remaining =
        static_cast<int32_t>(FendrakeThread::SubClocks(iEntry.mDeadline, iNow));
    FENDRAKE_LOG_AT(kThreadPath, 103, 1, "Thread '%s' is %d msec late%s\n",
                    iEntry.mThread->GetName(), remaining / static_cast<int32_t>(TicksPerMs()),
                    stateText);
}
} // namespace

namespace {
// Built at load time and never destroyed.
template <typename T> union NoDestroy {
    constexpr NoDestroy() : mValue() {}
    ~NoDestroy() {}
    T mValue;
};
NoDestroy<FendrakeVector<PidMap>> sPidMapStorage;
NoDestroy<FendrakeVector<ResponseTimeOut>> sResponseTimeOutStorage;
} // namespace

FendrakeVector<PidMap>& sPidMap = sPidMapStorage.mValue;
FendrakeVector<ResponseTimeOut>& sResponseTimeOut = sResponseTimeOutStorage.mValue;
FendrakeMutex* sPidMapMutex = nullptr;
std::atomic<FendrakeThread*> FendrakeThread::spMainThreadSystemInitialized{nullptr};

void FendrakeThread::Start() {
    mStartSemaphore.Signal();
}

void FendrakeThread::Detach() {
    mDetached.store(true, std::memory_order_relaxed);
}

void FendrakeThread::SetData(void* iData) {
    FendrakeLockScope<FendrakeMutex> lock(mMutex);
    mData = iData;
}

void* FendrakeThread::GetData() {
    FendrakeLockScope<FendrakeMutex> lock(mMutex);
    return mData;
}

unsigned int FendrakeThread::GetTid() {
    FendrakeLockScope<FendrakeMutex> lock(mMutex);
    return mTid;
}

bool FendrakeThread::IsInitialized() {
    return spMainThreadSystemInitialized.load(std::memory_order_acquire) != nullptr;
}

void FendrakeThread::DelayThreadUntil(unsigned int iTicks) {
    const int32_t remaining = static_cast<int32_t>(iTicks - GetClockNow());
    if (remaining < 1)
        return;
    DelayThreadTicks(static_cast<unsigned int>(remaining));
}

// Short waits yield instead of sleeping: a sleep of a few microseconds costs
// a scheduler round of its own.
void FendrakeThread::DelayThreadTicksPrecise(unsigned int iTicks) {
    if (iTicks > 9999) {
        DelayThreadTicks(iTicks);
        return;
    }
    const unsigned int target = AddClocks(GetClockNow(), iTicks);
    while (static_cast<int32_t>(GetClockNow() - target) <= 0)
        Reschedule();
}

const char* FendrakeThreadThisName(void) {
    const FendrakeThread* self = FendrakeThread::IsInitialized() ? FendrakeThread::This() : nullptr;
    return self ? self->GetName() : "**Unknown thread**";
}

FendrakeThread* FendrakeThread_GetFromPid(unsigned int iPid) {
    if (!sPidMapMutex)
        return nullptr;
    FendrakeLockScope<FendrakeMutex> lock(*sPidMapMutex);
    for (const PidMap& entry : sPidMap) {
        if (entry.mPid == iPid)
            return entry.mThread;
    }
    return nullptr;
}

void FendrakeThread::SetResponsePingTimeOut(unsigned int iMilliseconds) {
    SetRemoveResponseTimeOut(this, iMilliseconds);
}

void SetRemoveResponseTimeOut(FendrakeThread* iThread, unsigned int iMilliseconds) {
    if (!sPidMapMutex)
        return;
    FendrakeLockScope<FendrakeMutex> lock(*sPidMapMutex);
    const unsigned int deadline =
        FendrakeThread::AddClocks(FendrakeThread::GetClockNow(), TicksPerMs() * iMilliseconds);
    for (ResponseTimeOut* entry = sResponseTimeOut.begin(); entry != sResponseTimeOut.end();
         ++entry) {
        if (entry->mThread != iThread)
            continue;
        if (iMilliseconds == 0) {
            sResponseTimeOut.erase(entry);
        } else {
            entry->mDeadline = deadline;
            entry->mReported = false;
        }
        return;
    }
    if (iMilliseconds != 0)
        sResponseTimeOut.push_back(ResponseTimeOut{iThread, deadline, false});
}

int FendrakeThread_CheckResponseTimeOut(void) {
    const unsigned int now = FendrakeThread::GetClockNow();
    if (!sPidMapMutex)
        return 0;
    FendrakeLockScope<FendrakeMutex> lock(*sPidMapMutex);
    int result = 0;
    for (ResponseTimeOut& entry : sResponseTimeOut) {
        if (static_cast<int32_t>(now - entry.mDeadline) <= 0)
            continue;
        if (entry.mReported) {
            if (result == 0)
                result = 2;
            continue;
        }
        ReportLate(entry, now);
        entry.mReported = true;
        result = 1;
    }
    return result;
}
