#include "Basic/FendrakeOS/FendrakeSemaphore.h"

#include "Basic/FendrakeOS/src/FendrakeDeadline.h"
#include "Basic/FendrakeStdLib/FendrakeDebug.h"

#include <cerrno>
#include <ctime>

FendrakeSemaphore::FendrakeSemaphore(unsigned iInitialCount)
    : mCount(static_cast<int>(iInitialCount)) {
    pthread_mutex_init(&mMutex, nullptr);
    pthread_condattr_t attributes;
    pthread_condattr_init(&attributes);
    pthread_condattr_setclock(&attributes, CLOCK_MONOTONIC);
    pthread_cond_init(&mCondition, &attributes);
    // The attribute object is not destroyed; on this C library it holds nothing.
}

FendrakeSemaphore::~FendrakeSemaphore() {
    pthread_mutex_destroy(&mMutex);
    pthread_cond_destroy(&mCondition);
}

int FendrakeSemaphore::Wait() {
    pthread_mutex_lock(&mMutex);
    while (mCount < 1)
        pthread_cond_wait(&mCondition, &mMutex);
    --mCount;
    pthread_mutex_unlock(&mMutex);
    return 0;
}

int FendrakeSemaphore::Wait(unsigned iTimeoutMs) {
    pthread_mutex_lock(&mMutex);
    if (mCount > 0) {
        --mCount;
        pthread_mutex_unlock(&mMutex);
        return 0;
    }
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    const timespec deadline = FendrakeDeadlineAfter(now, iTimeoutMs);
    for (;;) {
        const int result = pthread_cond_timedwait(&mCondition, &mMutex, &deadline);
        if (result == ETIMEDOUT)
            break;
        if (result == EINTR) {
            FENDRAKE_LOG_AT("Basic/FendrakeOS/src/FendrakeSemaphore/Posix/FendrakeSemaphore", 137,
                            1, "Wait interrupted - maybe we should handle this in gdb\n");
            break;
        }
        if (mCount >= 1) {
            --mCount;
            pthread_mutex_unlock(&mMutex);
            return 0;
        }
    }
    pthread_mutex_unlock(&mMutex);
    return -1;
}

int FendrakeSemaphore::TryAcquire() {
    pthread_mutex_lock(&mMutex);
    int result = -1;
    if (mCount > 0) {
        --mCount;
        result = 0;
    }
    pthread_mutex_unlock(&mMutex);
    return result;
}

void FendrakeSemaphore::Signal() {
    pthread_mutex_lock(&mMutex);
    ++mCount;
    pthread_cond_signal(&mCondition);
    pthread_mutex_unlock(&mMutex);
}

int FendrakeSemaphore::Adjust(int iDelta) {
    int result = 0;
    pthread_mutex_lock(&mMutex);
    if (iDelta == 1) {
        mCount += iDelta;
        pthread_cond_signal(&mCondition);
    } else if (iDelta > 1) {
        mCount += iDelta;
        pthread_cond_broadcast(&mCondition);
    } else if (iDelta < 0) {
        const int remaining = mCount + iDelta;
        mCount = remaining < 0 ? 0 : remaining;
        result = remaining < 0 ? remaining : 0;
    }
    pthread_mutex_unlock(&mMutex);
    return result;
}

void FendrakeSemaphore::Reset() {
    pthread_mutex_lock(&mMutex);
    mCount = 0;
    pthread_mutex_unlock(&mMutex);
}
