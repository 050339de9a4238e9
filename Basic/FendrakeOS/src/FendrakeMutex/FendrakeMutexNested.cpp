#include "Basic/FendrakeOS/FendrakeMutex.h"

#include "Basic/FendrakeOS/FendrakeThread.h"
#include "Basic/FendrakeStdLib/FendrakeAssert.h"

void FendrakeMutexNested::iTakeOwnership(unsigned long iSelf) {
    mCount.store(1, std::memory_order_relaxed);
    mCurrentLocker.store(iSelf, std::memory_order_relaxed);
}

int FendrakeMutexNested::Lock() {
    const unsigned long self = FendrakeThread::ThisNative();
    if (mCurrentLocker.load(std::memory_order_relaxed) == self) {
        mCount.store(mCount.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        return 0;
    }
    FendrakeMutex::Lock();
    iTakeOwnership(self);
    return 0;
}

int FendrakeMutexNested::Lock(unsigned iTimeoutMs) {
    const unsigned long self = FendrakeThread::ThisNative();
    if (mCurrentLocker.load(std::memory_order_relaxed) == self) {
        mCount.store(mCount.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        return 0;
    }
    if (FendrakeMutex::Lock(iTimeoutMs) != 0)
        return -1;
    iTakeOwnership(self);
    return 0;
}

int FendrakeMutexNested::TryLock() {
    const unsigned long self = FendrakeThread::ThisNative();
    if (mCurrentLocker.load(std::memory_order_relaxed) == self) {
        mCount.store(mCount.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
        return 0;
    }
    if (FendrakeMutex::TryLock() != 0)
        return -1;
    iTakeOwnership(self);
    return 0;
}

int FendrakeMutexNested::Unlock() {
    const unsigned long self = FendrakeThread::ThisNative();
    const unsigned long locker = mCurrentLocker.load(std::memory_order_relaxed);
    if (self != locker) {
        FENDRAKE_ASSERT_DETAIL_AT("Basic/FendrakeOS/src/FendrakeMutex/FendrakeMutexNested", 115,
                                  false, "currentThread == mCurrentLocker",
                                  " currentThread=%llu, mCurrentLocker=%llu, mCount=%u\n",
                                  // One 'l' reads 32 bits, as long has on the target.
                                  static_cast<unsigned long long>(self),
                                  static_cast<unsigned long long>(locker),
                                  mCount.load(std::memory_order_relaxed));
        // Not ours to release: the owner's count stays as it is.
        return -1;
    }
    const unsigned count = mCount.load(std::memory_order_relaxed) - 1;
    mCount.store(count, std::memory_order_relaxed);
    if (count > 0)
        return static_cast<int>(count);
    mCurrentLocker.store(0, std::memory_order_relaxed);
    return FendrakeMutex::Unlock();
}
