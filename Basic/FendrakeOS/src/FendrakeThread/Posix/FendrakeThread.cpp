#include "Basic/FendrakeOS/FendrakeThread.h"

#include <pthread.h>
#include <sched.h>

unsigned long FendrakeThread::ThisNative() {
    return static_cast<unsigned long>(pthread_self());
}

void FendrakeThread::Reschedule() {
    sched_yield();
}
