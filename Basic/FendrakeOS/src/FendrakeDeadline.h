// Deadline of a timed wait: a monotonic reading plus a timeout in
// milliseconds. Shared by the semaphore and the condition.
#ifndef BASIC_FENDRAKEOS_SRC_FENDRAKEDEADLINE_H
#define BASIC_FENDRAKEOS_SRC_FENDRAKEDEADLINE_H

#include <time.h>

// The part of a millisecond is dropped when the milliseconds carry into the
// seconds, and only then; such a wait may end up to a millisecond early.
inline timespec FendrakeDeadlineAfter(timespec iNow, unsigned iTimeoutMs) {
    timespec deadline = iNow;
    deadline.tv_sec += static_cast<time_t>(iTimeoutMs / 1000);
    const long rest = static_cast<long>(iTimeoutMs % 1000);
    const long nowMs = iNow.tv_nsec / 1000000;
    if (rest + nowMs >= 1000) {
        deadline.tv_sec += 1;
        deadline.tv_nsec = (rest + nowMs - 1000) * 1000000;
    } else {
        deadline.tv_nsec = iNow.tv_nsec + rest * 1000000;
    }
    return deadline;
}

#endif
