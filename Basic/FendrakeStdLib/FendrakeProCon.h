// Bounded blocking queues over intrusive links: FendrakeProCon, a FIFO;
// FendrakeProConPrio, the same with insertion by priority; and
// FendrakeProConBucket, several FIFOs read in a fixed order with a running
// total of their payload. Two counting semaphores carry all waiting: one
// counts what can be read, the other the free places. The queue's mutex is
// held only for list surgery, never while waiting.
// Ownership: a queued element belongs to the queue until a reader takes it;
// an element that add refuses stays with the caller. deleteAll, the
// destructor and a traverse that asks for it delete elements.
// Threads: any number of writers and readers. A reader may get null with no
// timeout having passed (AbortRemove, a token left by deleteAll, data in a
// bucket it may not read): null is a reason to read again.
// Timeouts are milliseconds with the meaning of FendrakeSemaphore::Wait; a
// negative one is read as unsigned, which waits practically for ever.
// Nothing allocates: links are inside the elements.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEPROCON_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEPROCON_H

#include "Basic/FendrakeOS/FendrakeMutex.h"
#include "Basic/FendrakeOS/FendrakeSemaphore.h"
#include "Basic/FendrakeStdLib/FendrakeDLinkedList.h"

#include <atomic>

class FendrakeProCon : protected FendrakeDLinkedListCounting {
public:
    // Called under the queue's mutex for each element from the first; it may
    // set deleteElement; returning false ends the walk.
    typedef bool (*TraverseCallback)(FDKDLink* iElement, void* context, bool& deleteElement);

    explicit FendrakeProCon(int capacity);
    ~FendrakeProCon() override;

    // True if queued. A non-zero maxQueueSize is a soft limit, tested without
    // the mutex, so concurrent writers may overrun it slightly.
    bool add(FDKDLink* iElement, int timeout, unsigned int maxQueueSize);
    void addBlocking(FDKDLink* iElement);
    // The first element, or null on timeout or after an AbortRemove.
    FDKDLink* remove(int timeout);
    FDKDLink* removeBlocking();
    // True when data can be read; takes nothing.
    bool waitForData(int timeout);
    // Lets one waiting reader, or the next one, return (with null if nothing
    // is queued).
    void AbortRemove();
    // Frees the places at once; readers may see null for a while.
    void deleteAll();
    int size() const { return iCount(); }
    // Deleting an element needs a data token, so one that a reader is about
    // to take is left alone.
    void traverse(TraverseCallback callback, void* context);

protected:
    // The count is read without the mutex by the soft limit: relaxed atomic
    // accesses keep that read free of a data race. Writes happen under mMutex.
    int iCount() const { return __atomic_load_n(&mCount, __ATOMIC_RELAXED); }
    void iAddCount(int iDelta) { __atomic_store_n(&mCount, mCount + iDelta, __ATOMIC_RELAXED); }
    FDKDLink* iTakeFirst();

    FendrakeMutex mMutex;
    FendrakeSemaphore mDataSem;
    FendrakeSemaphore mSpaceSem;
};

// Higher GetPrio() first, compared as unsigned; equal priorities in order of
// arrival; priority 0 always at the end.
class FendrakeProConPrio : public FendrakeProCon {
public:
    explicit FendrakeProConPrio(int capacity) : FendrakeProCon(capacity) {}

    bool add(FDKDLinkPrio* iElement, int timeout, unsigned int maxQueueSize);
    void addBlocking(FDKDLinkPrio* iElement);

private:
    void iAdd(FDKDLinkPrio* iElement);
};

// Element of FendrakeProConBucket.
class FDKDLinkSizeElement : public FDKDLink {
public:
    // The payload size; called under the queue's mutex, so it must not block.
    virtual unsigned int GetSize() = 0;
};

// Buckets read with strict precedence, no rotation: the priority bucket if it
// holds anything (even at or above the readable limit), then the lowest
// non-empty bucket below mMaxReadBucket other than the priority and the skip
// bucket. Data put into a bucket that is not readable wakes nobody.
class FendrakeProConBucket {
public:
    typedef bool (*TraverseCallback)(FDKDLinkSizeElement* iElement, unsigned int bucketIdx,
                                     void* context, bool& deleteElement);

    FendrakeProConBucket(int numBuckets, int capacity);
    ~FendrakeProConBucket();
    FendrakeProConBucket(const FendrakeProConBucket&) = delete;
    FendrakeProConBucket& operator=(const FendrakeProConBucket&) = delete;

    // As FendrakeProCon::add; maxQueueSize is tested against all buckets.
    // A bucket index out of range is an assertion and refuses the element.
    bool add(unsigned int bucketIdx, FDKDLinkSizeElement* iElement, int timeout,
             unsigned int maxQueueSize);
    bool addBlocking(unsigned int bucketIdx, FDKDLinkSizeElement* iElement);
    FDKDLinkSizeElement* remove(int timeout);
    FDKDLinkSizeElement* removeBlocking();
    bool waitForData(int timeout);
    void AbortRemove();

    // A negative value for none. Stored without the lock.
    void SetPriorityBucket(int iBucket) { mPriorityBucket = iBucket; }
    void SetSkipBucket(int iBucket) { mSkipBucket = iBucket; }
    // Readers scan only the first n buckets (at most all); the data count
    // follows, with one extra wake-up so that a waiting reader sees the limit.
    void SetMaxReadBucket(unsigned int n);

    void deleteAll();
    // Deletes one bucket's elements, freeing their places and, if the bucket
    // is readable, their data tokens.
    void deleteBucket(int bucketIdx);
    int size() const { return mSize; }
    unsigned int contentSize();
    void printStatus();
    // As FendrakeProCon::traverse, bucket by bucket; an element of a bucket
    // that is not readable has no data token and is deleted without one.
    void traverse(TraverseCallback callback, void* context);

private:
    FDKDLinkSizeElement* iTake();
    bool iAdd(unsigned int bucketIdx, FDKDLinkSizeElement* iElement);
    bool iIsBucket(int iBucket) const {
        return iBucket >= 0 && static_cast<unsigned int>(iBucket) < mNumBuckets;
    }

    FendrakeDLinkedListCounting* mBuckets;
    FendrakeMutex mMutex;
    FendrakeSemaphore mDataSem;
    FendrakeSemaphore mSpaceSem;
    std::atomic<int> mPriorityBucket;
    std::atomic<int> mSkipBucket;
    unsigned int mMaxReadBucket;
    unsigned int mNumBuckets;
    // Read without the mutex by the soft limit and size().
    std::atomic<int> mSize;
    unsigned int mContentSize;
};

#endif
