#include "Basic/FendrakeOS/FendrakeReadWriteLock.h"

void FendrakeReadWriteLock::WriteLock() {
    mWriterGate.Wait();
    for (int slot = 0; slot < kReaderSlots; ++slot)
        mReaderSlots.Wait();
}

// The gate opens first, so the next writer may start collecting while the
// slots come back one by one.
void FendrakeReadWriteLock::WriteUnlock() {
    mWriterGate.Signal();
    for (int slot = 0; slot < kReaderSlots; ++slot)
        mReaderSlots.Signal();
}

int FendrakeReadWriteLock::WriteTryLock() {
    if (mWriterGate.Wait(0) == 0)
        return false;
    int refused = 0;
    for (int slot = 0; slot < kReaderSlots; ++slot) {
        if (mReaderSlots.Wait(0) == 0) {
            for (int i = 0; i < refused; ++i)
                mReaderSlots.Signal();
            mWriterGate.Signal();
            return false;
        }
        ++refused;
    }
    return true;
}
