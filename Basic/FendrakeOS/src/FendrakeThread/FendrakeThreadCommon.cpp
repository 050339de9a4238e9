#include "Basic/FendrakeOS/FendrakeThread.h"

// Until the thread layer knows the calling thread, no thread has a name.
const char* FendrakeThreadThisName(void) {
    return nullptr;
}

int FendrakeThreadThisPriority(void) {
    return 0;
}
