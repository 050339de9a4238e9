#include "Basic/FendrakeStdLib/FendrakeCheckPoint.h"

#include "Basic/FendrakeOS/FendrakeThread.h"
#include "Basic/FendrakeStdLib/FendrakeAssert.h"

FendrakeCheckPoint::~FendrakeCheckPoint() {
    FENDRAKE_ASSERT_DETAIL_AT("Basic/FendrakeStdLib/src/FendrakeCheckPoint", 27,
                              mWaitingClients == 0, "mWaitingClients==0",
                              "Still %u clients waiting\n", mWaitingClients);
}

void FendrakeCheckPoint::Reset() {
    FendrakeLockScope<FendrakeMutex> lock(mMutex);
    mAbort = false;
    if (!mSet)
        return;
    // A waiter needs the lock to leave Wait, so with one inside this spin never
    // ends: the caller sees to it that none is left.
    while (mWaitingClients != 0)
        FendrakeThread::Reschedule();
    mSet = false;
}

void FendrakeCheckPoint::Set() {
    FendrakeLockScope<FendrakeMutex> lock(mMutex);
    mSet = true;
    if (mWaitingClients != 0)
        mCondition.Broadcast();
}

void FendrakeCheckPoint::Abort() {
    FendrakeLockScope<FendrakeMutex> lock(mMutex);
    mAbort = true;
    if (mWaitingClients != 0)
        mCondition.Broadcast();
}

// The condition's result is not looked at: a lost wake-up costs at most one
// round of 250 ms.
bool FendrakeCheckPoint::Wait() {
    FendrakeLockScope<FendrakeMutex> lock(mMutex);
    while (!mSet && !mAbort) {
        ++mWaitingClients;
        mCondition.Wait(mMutex, 250);
        --mWaitingClients;
    }
    return mSet;
}

unsigned FendrakeCheckPoint::GetWaitingClients() {
    FendrakeLockScope<FendrakeMutex> lock(mMutex);
    return mWaitingClients;
}
