#include "Basic/FendrakeOS/FendrakeThread.h"

#include <pthread.h>

unsigned long FendrakeThread::ThisNative() {
    return static_cast<unsigned long>(pthread_self());
}
