// A condition variable on the monotonic clock, used with a FendrakeMutex the
// caller holds. Wake-ups may be spurious: the caller tests its own predicate.
#ifndef BASIC_FENDRAKEOS_FENDRAKECONDITION_H
#define BASIC_FENDRAKEOS_FENDRAKECONDITION_H

#include <pthread.h>

class FendrakeMutex;

class FendrakeCondition {
public:
    FendrakeCondition();
    ~FendrakeCondition();
    FendrakeCondition(const FendrakeCondition&) = delete;
    FendrakeCondition& operator=(const FendrakeCondition&) = delete;

    // The result of pthread_cond_wait on the mutex's native handle: a nested
    // mutex keeps its owner and count through the wait.
    int Wait(FendrakeMutex& ioMutex);
    // One wait, no loop: true when woken (perhaps spuriously), false on
    // timeout or interruption.
    bool Wait(FendrakeMutex& ioMutex, unsigned iTimeoutMs);
    void Signal();
    void Broadcast();

    pthread_cond_t* GetNativeHandle() { return &mCondition; }

private:
    pthread_cond_t mCondition;
};

#endif
