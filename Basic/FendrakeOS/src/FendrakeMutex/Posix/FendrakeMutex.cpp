#include "Basic/FendrakeOS/FendrakeMutex.h"

#include "Basic/FendrakeStdLib/FendrakeAssert.h"

#include <unistd.h>

namespace {
const char* const kPath = "Basic/FendrakeOS/src/FendrakeMutex/Posix/FendrakeMutex";
} // namespace

FendrakeMutex::FendrakeMutex() {
    iCreate();
}

void FendrakeMutex::iCreate() {
    const int returnValue = pthread_mutex_init(&mMutex, nullptr);
    FENDRAKE_ASSERT_AT(kPath, 127, returnValue == 0, "returnValue == 0");
}

FendrakeMutex::~FendrakeMutex() {
    pthread_mutex_destroy(&mMutex);
}

int FendrakeMutex::Lock() {
    const int returnValue = pthread_mutex_lock(&mMutex);
    FENDRAKE_ASSERT_DETAIL_AT(kPath, 206, returnValue == 0, "returnValue == 0",
                              "pthread_mutex_lock error  %d\n", returnValue);
    return 0;
}

// Polled rather than pthread_mutex_timedlock: the wait must not depend on the
// wall clock, which the box sets late and may step.
int FendrakeMutex::Lock(unsigned iTimeoutMs) {
    unsigned remaining = iTimeoutMs;
    for (;;) {
        if (pthread_mutex_trylock(&mMutex) == 0)
            return 0;
        usleep(1000);
        if (remaining == 0)
            return -1;
        --remaining;
    }
}

int FendrakeMutex::TryLock() {
    return pthread_mutex_trylock(&mMutex) == 0 ? 0 : -1;
}

int FendrakeMutex::Unlock() {
    return pthread_mutex_unlock(&mMutex);
}
