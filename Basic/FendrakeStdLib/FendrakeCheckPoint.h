// A gate that opens once for any number of threads. Wait returns true when
// the gate was set and false when the wait was called off by Abort; Reset
// closes it again. Threads: any; Reset only when no waiter is left inside
// Wait, and the same before destruction (an assertion otherwise).
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKECHECKPOINT_H
#define BASIC_FENDRAKESTDLIB_FENDRAKECHECKPOINT_H

#include "Basic/FendrakeOS/FendrakeCondition.h"
#include "Basic/FendrakeOS/FendrakeMutex.h"

class FendrakeCheckPoint {
public:
    FendrakeCheckPoint() = default;
    ~FendrakeCheckPoint();
    FendrakeCheckPoint(const FendrakeCheckPoint&) = delete;
    FendrakeCheckPoint& operator=(const FendrakeCheckPoint&) = delete;

    // Back to closed. Spins, holding the lock, while waiters are inside.
    void Reset();
    // Opens the gate; Abort does not undo it.
    void Set();
    // Calls off present and future waits until Reset; Set does not undo it.
    void Abort();
    // Blocks while the gate is closed and not aborted; the flags are looked
    // at again at least every 250 ms. Returns whether the gate is set.
    bool Wait();

    // Threads now inside Wait.
    unsigned GetWaitingClients();

private:
    FendrakeMutex mMutex;
    FendrakeCondition mCondition;
    bool mSet = false;
    bool mAbort = false;
    unsigned mWaitingClients = 0;
};

#endif
