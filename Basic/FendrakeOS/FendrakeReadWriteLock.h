// A read-write lock from two semaphores: 15 reader slots, of which a writer
// takes all, and a gate that lets one writer at a time collect them.
// Threads: any; a writer waits until every reader has left.
#ifndef BASIC_FENDRAKEOS_FENDRAKEREADWRITELOCK_H
#define BASIC_FENDRAKEOS_FENDRAKEREADWRITELOCK_H

#include "Basic/FendrakeOS/FendrakeSemaphore.h"

class FendrakeReadWriteLock {
public:
    FendrakeReadWriteLock() : mReaderSlots(kReaderSlots), mWriterGate(1) {}

    // A reader holds one slot.
    void ReadLock() { mReaderSlots.Wait(); }
    void ReadUnlock() { mReaderSlots.Signal(); }

    void WriteLock();
    void WriteUnlock();
    // Inverted on purpose and kept so: 1 only when neither the gate nor any
    // slot could be taken; otherwise 0, with the gate left taken when it was
    // free. Nothing in the library calls it.
    int WriteTryLock();

private:
    static const int kReaderSlots = 15;

    FendrakeSemaphore mReaderSlots;
    FendrakeSemaphore mWriterGate;
};

#endif
