// A counting semaphore built from a mutex and a condition variable on the
// monotonic clock, so setting the wall clock never disturbs a timed wait.
// Timeouts are in milliseconds. A Signal does not hand its slot to a
// particular waiter: any thread may take it first.
#ifndef BASIC_FENDRAKEOS_FENDRAKESEMAPHORE_H
#define BASIC_FENDRAKEOS_FENDRAKESEMAPHORE_H

#include <pthread.h>

class FendrakeSemaphore {
public:
    explicit FendrakeSemaphore(unsigned iInitialCount);
    ~FendrakeSemaphore();
    FendrakeSemaphore(const FendrakeSemaphore&) = delete;
    FendrakeSemaphore& operator=(const FendrakeSemaphore&) = delete;

    // Blocks until a slot is taken; 0.
    int Wait();
    // 0 when a slot was taken, -1 on timeout or interruption. A free slot is
    // taken without reading the clock; with none free, 0 still waits once.
    int Wait(unsigned iTimeoutMs);
    // 0 when a slot was taken, -1 when none was free.
    int TryAcquire();
    // Gives back one slot.
    void Signal();
    // Adds iDelta slots, waking one waiter for 1 and all for more. Taking more
    // than there are leaves 0 and returns the shortfall as a negative number;
    // otherwise 0.
    int Adjust(int iDelta);
    // No slot left.
    void Reset();

    pthread_mutex_t* GetNativeHandle() { return &mMutex; }

private:
    pthread_mutex_t mMutex;
    pthread_cond_t mCondition;
    int mCount; // never negative
};

#endif
