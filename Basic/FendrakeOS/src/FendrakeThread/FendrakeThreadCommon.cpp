#include "Basic/FendrakeOS/FendrakeThread.h"

#include <cstdint>

FendrakeVector<PidMap> sPidMap;
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
