#include "Basic/FendrakeOS/FendrakeCondition.h"

#include "Basic/FendrakeOS/FendrakeMutex.h"
#include "Basic/FendrakeOS/src/FendrakeDeadline.h"
#include "Basic/FendrakeStdLib/FendrakeDebug.h"

#include <cerrno>
#include <ctime>

FendrakeCondition::FendrakeCondition() {
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&mCondition, &attributes);
    pthread_condattr_destroy(&attributes);
}

FendrakeCondition::~FendrakeCondition() {
    pthread_cond_destroy(&mCondition);
}

int FendrakeCondition::Wait(FendrakeMutex& ioMutex) {
    return pthread_cond_wait(&mCondition, ioMutex.GetNativeHandle());
}

bool FendrakeCondition::Wait(FendrakeMutex& ioMutex, unsigned iTimeoutMs) {
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const timespec deadline = FendrakeDeadlineAfter(now, iTimeoutMs);
    const int result = pthread_cond_timedwait(&mCondition, ioMutex.GetNativeHandle(), &deadline);
    if (result == ETIMEDOUT)
        return false;
    if (result == EINTR) {
        FENDRAKE_LOG_AT("Basic/FendrakeOS/src/FendrakeCondition/Posix/FendrakeCondition", 119, 1,
                        "Condition Wait interrupted - maybe we should handle this in gdb\n");
        return false;
    }
    return true;
}

void FendrakeCondition::Signal() {
    pthread_cond_signal(&mCondition);
}

void FendrakeCondition::Broadcast() {
    pthread_cond_broadcast(&mCondition);
}
