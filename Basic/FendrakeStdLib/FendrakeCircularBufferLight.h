// A queue of byte blocks with byte-wise reading, for one writer and one
// reader on different threads. At most 100 blocks wait at one time; a write
// beyond that is refused and its data is lost.
// Ownership: a written block's bytes are taken over from the caller's array.
// Threads: the queue is guarded by its base; the current token and read
// offset belong to the reader. The queued byte count is a statistic.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKECIRCULARBUFFERLIGHT_H
#define BASIC_FENDRAKESTDLIB_FENDRAKECIRCULARBUFFERLIGHT_H

#include "Basic/FendrakeStdLib/FendrakeProCon.h"
#include "Basic/FendrakeStdLib/FendrakeUint8Array.h"

#include <atomic>

class FendrakeCircularBufferLightToken : public FDKDLink {
public:
    FendrakeUint8Array mData;
};

class FendrakeCircularBufferLight : public FendrakeProCon {
public:
    FendrakeCircularBufferLight();
    ~FendrakeCircularBufferLight() override;

    // Takes over the array's bytes, leaving it empty, and queues them without
    // waiting. An empty array is true at once and uses no place. False when
    // the queue is full: then the bytes are lost and the overflow flag stays
    // set for good.
    bool WriteToBuffer(FendrakeUint8Array& ioData);
    // Copies up to iLength bytes from one block only, so it may return less
    // than asked although more is queued; 0 when nothing is queued.
    unsigned int ReadFromBuffer(void* oTarget, unsigned int iLength);
    // A block is being read or waits.
    bool GotData() const { return mCurrentToken || size() != 0; }

    unsigned int BytesQueued() const { return mBytesQueued; }
    bool Overflow() const { return mOverflow; }

private:
    FendrakeCircularBufferLightToken* mCurrentToken;
    unsigned int mReadOffset;
    std::atomic<unsigned int> mBytesQueued;
    std::atomic<bool> mOverflow;
};

#endif
