// Locks over POSIX threads: the plain FendrakeMutex and the recursive
// FendrakeMutexNested. They hold no debugging state: a failing OS call and a
// copy are assertions. Timeouts are in milliseconds.
// FendrakeMutex is not recursive: a second Lock by its owner deadlocks.
// FendrakeMutexNested counts recursion itself over a default mutex, so a
// FendrakeCondition waiting on it keeps its owner and count through the wait.
#ifndef BASIC_FENDRAKEOS_FENDRAKEMUTEX_H
#define BASIC_FENDRAKEOS_FENDRAKEMUTEX_H

#include <pthread.h>

#include <atomic>

class FendrakeMutex {
public:
    FendrakeMutex();
    ~FendrakeMutex();
    // Copy and assignment exist only to fail: an OS lock is never copied.
    FendrakeMutex(const FendrakeMutex& iOther);
    FendrakeMutex& operator=(const FendrakeMutex& iOther);

    // Blocks; 0.
    int Lock();
    // Polls once a millisecond, timeoutMs + 1 tries in all; 0 when locked,
    // -1 when the time ran out (after at least timeoutMs + 1 ms).
    int Lock(unsigned iTimeoutMs);
    // 0 when locked, -1 when held elsewhere.
    int TryLock();
    // The result of the OS call, 0 on success.
    int Unlock();

    pthread_mutex_t* GetNativeHandle() { return &mMutex; }

    // Lock order and ownership are not checked at run time: always false.
    static bool GetMutexCheckingRunTime();

private:
    void iCreate();

    pthread_mutex_t mMutex;
};

// Recursive by owner and count; Unlock by a thread that is not the owner is
// an assertion. Unlock returns the count still held, or the OS result when
// the last level goes.
class FendrakeMutexNested : public FendrakeMutex {
public:
    FendrakeMutexNested() = default;
    FendrakeMutexNested(const FendrakeMutexNested& iOther);
    FendrakeMutexNested& operator=(const FendrakeMutexNested& iOther);

    int Lock();
    int Lock(unsigned iTimeoutMs);
    int TryLock();
    int Unlock();

private:
    void iTakeOwnership(unsigned long iSelf);

    // Read without the lock on purpose: it can equal the reader's own handle
    // only if that same thread wrote it. Atomic, so the read is no data race.
    std::atomic<unsigned long> mCurrentLocker{0};
    // Written by the owner only; atomic because a failed Unlock prints it.
    std::atomic<unsigned> mCount{0};
};

// Holds a lock for its scope, also when an exception passes.
template <typename Lockable> class FendrakeLockScope {
public:
    explicit FendrakeLockScope(Lockable& iLock) : mLock(&iLock) { mLock->Lock(); }
    ~FendrakeLockScope() { Release(); }
    FendrakeLockScope(const FendrakeLockScope&) = delete;
    FendrakeLockScope& operator=(const FendrakeLockScope&) = delete;

    // Unlocks before the end of the scope.
    void Release() {
        if (mLock)
            mLock->Unlock();
        mLock = nullptr;
    }

private:
    Lockable* mLock;
};

#endif
