#include "Basic/FendrakeStdLib/FendrakeProCon.h"

#include "Basic/FendrakeStdLib/FendrakeAssert.h"
#include "Basic/FendrakeStdLib/FendrakeDebug.h"

namespace {
const char* const kPath = "Basic/FendrakeStdLib/src/FendrakeProCon";

unsigned int Places(int iCapacity) {
    return iCapacity > 0 ? static_cast<unsigned int>(iCapacity) : 0;
}

void SignalTimes(FendrakeSemaphore& ioSemaphore, int iTimes) {
    for (; iTimes > 0; --iTimes)
        ioSemaphore.Signal();
}

bool TakeToken(FendrakeSemaphore& ioSemaphore, int iTimeout) {
    return ioSemaphore.Wait(static_cast<unsigned int>(iTimeout)) == 0;
}

// Steps 1 and 2 of every add: the soft limit, read without the mutex, then a
// free place.
bool ReservePlace(FendrakeSemaphore& ioSpace, int iQueued, int iTimeout,
                  unsigned int iMaxQueueSize) {
    if (iMaxQueueSize != 0 && static_cast<unsigned int>(iQueued) >= iMaxQueueSize)
        return false;
    return TakeToken(ioSpace, iTimeout);
}

// True when data can be read: the token taken to see it goes straight back.
bool PeekToken(FendrakeSemaphore& ioData, int iTimeout) {
    if (!TakeToken(ioData, iTimeout))
        return false;
    ioData.Signal();
    return true;
}
} // namespace

FendrakeProCon::FendrakeProCon(int capacity) : mDataSem(0), mSpaceSem(Places(capacity)) {}

FendrakeProCon::~FendrakeProCon() {
    FendrakeLockScope<FendrakeMutex> lock(mMutex);
    iAddCount(-mCount);
    FendrakeDLinkedListBase::deleteAll();
}

bool FendrakeProCon::add(FDKDLink* iElement, int timeout, unsigned int maxQueueSize) {
    if (!ReservePlace(mSpaceSem, iCount(), timeout, maxQueueSize))
        return false;
    {
        FendrakeLockScope<FendrakeMutex> lock(mMutex);
        iAddCount(1);
        FendrakeDLinkedListBase::insertLast(iElement);
    }
    mDataSem.Signal();
    return true;
}

void FendrakeProCon::addBlocking(FDKDLink* iElement) {
    mSpaceSem.Wait();
    {
        FendrakeLockScope<FendrakeMutex> lock(mMutex);
        iAddCount(1);
        FendrakeDLinkedListBase::insertLast(iElement);
    }
    mDataSem.Signal();
}

FDKDLink* FendrakeProCon::iTakeFirst() {
    FDKDLink* first;
    {
        FendrakeLockScope<FendrakeMutex> lock(mMutex);
        first = FendrakeDLinkedListBase::getFirst();
        if (first) {
            FendrakeDLinkedListBase::remove(first);
            iAddCount(-1);
        }
    }
    if (first)
        mSpaceSem.Signal();
    return first;
}

FDKDLink* FendrakeProCon::remove(int timeout) {
    return TakeToken(mDataSem, timeout) ? iTakeFirst() : nullptr;
}

FDKDLink* FendrakeProCon::removeBlocking() {
    mDataSem.Wait();
    return iTakeFirst();
}

bool FendrakeProCon::waitForData(int timeout) {
    return PeekToken(mDataSem, timeout);
}

void FendrakeProCon::AbortRemove() {
    mDataSem.Signal();
}

void FendrakeProCon::deleteAll() {
    int deleted;
    {
        FendrakeLockScope<FendrakeMutex> lock(mMutex);
        deleted = mCount;
        iAddCount(-mCount);
        FendrakeDLinkedListBase::deleteAll();
    }
    SignalTimes(mSpaceSem, deleted);
}

void FendrakeProCon::traverse(TraverseCallback callback, void* context) {
    FendrakeLockScope<FendrakeMutex> lock(mMutex);
    FDKDLink* element = FendrakeDLinkedListBase::getFirst();
    for (int left = mCount; left > 0 && element; --left) {
        FDKDLink* following = getNext(element);
        bool deleteElement = false;
        const bool goOn = callback(element, context, deleteElement);
        if (deleteElement && mDataSem.Wait(0) == 0) {
            FendrakeDLinkedListBase::remove(element);
            iAddCount(-1);
            delete element;
            mSpaceSem.Signal();
        }
        if (!goOn)
            break;
        element = following;
    }
}

bool FendrakeProConPrio::add(FDKDLinkPrio* iElement, int timeout, unsigned int maxQueueSize) {
    if (!ReservePlace(mSpaceSem, iCount(), timeout, maxQueueSize))
        return false;
    iAdd(iElement);
    return true;
}

void FendrakeProConPrio::addBlocking(FDKDLinkPrio* iElement) {
    mSpaceSem.Wait();
    iAdd(iElement);
}

void FendrakeProConPrio::iAdd(FDKDLinkPrio* iElement) {
    const unsigned int prio = static_cast<unsigned int>(iElement->GetPrio());
    {
        FendrakeLockScope<FendrakeMutex> lock(mMutex);
        FDKDLink* before = &mHead;
        if (prio != 0) {
            for (FDKDLink* link = mHead.next; link != &mHead; link = link->next) {
                if (static_cast<unsigned int>(static_cast<FDKDLinkPrio*>(link)->GetPrio()) < prio) {
                    before = link;
                    break;
                }
            }
        }
        FendrakeDLinkedListBase::insertBefore(iElement, before);
        iAddCount(1);
    }
    mDataSem.Signal();
}

FendrakeProConBucket::FendrakeProConBucket(int numBuckets, int capacity)
    : mBuckets(new FendrakeDLinkedListCounting[Places(numBuckets)]), mDataSem(0),
      mSpaceSem(Places(capacity)), mPriorityBucket(-1), mSkipBucket(-1),
      mMaxReadBucket(Places(numBuckets)), mNumBuckets(Places(numBuckets)), mSize(0),
      mContentSize(0) {}

FendrakeProConBucket::~FendrakeProConBucket() {
    {
        FendrakeLockScope<FendrakeMutex> lock(mMutex);
        for (unsigned int i = 0; i < mNumBuckets; ++i)
            mBuckets[i].deleteAll();
        mSize = 0;
    }
    delete[] mBuckets;
}

bool FendrakeProConBucket::iAdd(unsigned int bucketIdx, FDKDLinkSizeElement* iElement) {
    bool readable;
    {
        FendrakeLockScope<FendrakeMutex> lock(mMutex);
        mBuckets[bucketIdx].insertLast(iElement);
        ++mSize;
        mContentSize += iElement->GetSize();
        readable = bucketIdx < mMaxReadBucket;
    }
    if (readable)
        mDataSem.Signal();
    return true;
}

bool FendrakeProConBucket::add(unsigned int bucketIdx, FDKDLinkSizeElement* iElement, int timeout,
                               unsigned int maxQueueSize) {
    FENDRAKE_ASSERT_AT(kPath, __LINE__, bucketIdx < mNumBuckets, "bucketIdx<mNumBuckets");
    if (bucketIdx >= mNumBuckets)
        return false;
    if (!ReservePlace(mSpaceSem, mSize.load(), timeout, maxQueueSize))
        return false;
    return iAdd(bucketIdx, iElement);
}

bool FendrakeProConBucket::addBlocking(unsigned int bucketIdx, FDKDLinkSizeElement* iElement) {
    FENDRAKE_ASSERT_AT(kPath, __LINE__, bucketIdx < mNumBuckets, "bucketIdx<mNumBuckets");
    if (bucketIdx >= mNumBuckets)
        return false;
    mSpaceSem.Wait();
    return iAdd(bucketIdx, iElement);
}

FDKDLinkSizeElement* FendrakeProConBucket::iTake() {
    FDKDLink* element = nullptr;
    {
        FendrakeLockScope<FendrakeMutex> lock(mMutex);
        const int priority = mPriorityBucket;
        const int skip = mSkipBucket;
        // A priority bucket out of range is no bucket at all.
        FendrakeDLinkedListCounting* bucket = nullptr;
        if (iIsBucket(priority) && mBuckets[priority].size() != 0)
            bucket = &mBuckets[priority];
        for (unsigned int i = 0; !bucket && i < mMaxReadBucket; ++i) {
            if (static_cast<int>(i) != priority && static_cast<int>(i) != skip &&
                mBuckets[i].size() != 0)
                bucket = &mBuckets[i];
        }
        if (!bucket)
            return nullptr;
        element = bucket->removeFirst();
        --mSize;
        mContentSize -= static_cast<FDKDLinkSizeElement*>(element)->GetSize();
    }
    mSpaceSem.Signal();
    return static_cast<FDKDLinkSizeElement*>(element);
}

FDKDLinkSizeElement* FendrakeProConBucket::remove(int timeout) {
    return TakeToken(mDataSem, timeout) ? iTake() : nullptr;
}

FDKDLinkSizeElement* FendrakeProConBucket::removeBlocking() {
    mDataSem.Wait();
    return iTake();
}

bool FendrakeProConBucket::waitForData(int timeout) {
    return PeekToken(mDataSem, timeout);
}

void FendrakeProConBucket::AbortRemove() {
    mDataSem.Signal();
}

void FendrakeProConBucket::SetMaxReadBucket(unsigned int n) {
    int change = 0;
    {
        FendrakeLockScope<FendrakeMutex> lock(mMutex);
        const unsigned int limit = n < mNumBuckets ? n : mNumBuckets;
        if (limit == mMaxReadBucket)
            return;
        for (unsigned int i = mMaxReadBucket; i < limit; ++i)
            change += mBuckets[i].size();
        for (unsigned int i = limit; i < mMaxReadBucket; ++i)
            change -= mBuckets[i].size();
        mMaxReadBucket = limit;
    }
    mDataSem.Adjust(change + 1);
}

void FendrakeProConBucket::deleteAll() {
    int deleted;
    {
        FendrakeLockScope<FendrakeMutex> lock(mMutex);
        deleted = mSize;
        for (unsigned int i = 0; i < mNumBuckets; ++i)
            mBuckets[i].deleteAll();
        mSize = 0;
        mContentSize = 0;
    }
    SignalTimes(mSpaceSem, deleted);
}

void FendrakeProConBucket::deleteBucket(int bucketIdx) {
    if (!iIsBucket(bucketIdx))
        return;
    int deleted;
    bool readable;
    {
        FendrakeLockScope<FendrakeMutex> lock(mMutex);
        FendrakeDLinkedListCounting& bucket = mBuckets[bucketIdx];
        deleted = bucket.size();
        for (FDKDLink* link = bucket.getFirst(); link; link = bucket.getNext(link))
            mContentSize -= static_cast<FDKDLinkSizeElement*>(link)->GetSize();
        bucket.deleteAll();
        mSize -= deleted;
        readable = static_cast<unsigned int>(bucketIdx) < mMaxReadBucket;
    }
    if (readable && deleted > 0)
        mDataSem.Adjust(-deleted);
    SignalTimes(mSpaceSem, deleted);
}

unsigned int FendrakeProConBucket::contentSize() {
    FendrakeLockScope<FendrakeMutex> lock(mMutex);
    return mContentSize;
}

void FendrakeProConBucket::printStatus() {
    FendrakeLockScope<FendrakeMutex> lock(mMutex);
    const int access = getprintaccess();
    if (fendrake_level_enabled(1)) {
        fendrake_print_context_file_line(FENDRAKE_FILE, __LINE__, 1, 0, "", "", "");
        fendrake_print_with_level(1, "", "", "", "ProConBucketStatus size=[%d] contentSize[%u] [",
                                  mSize.load(), mContentSize);
        for (unsigned int i = 0; i < mNumBuckets; ++i)
            fendrake_print_with_level(1, "", "", "", "%d ", mBuckets[i].size());
        fendrake_print_with_level(1, "", "", "", "]\n");
    }
    if (access)
        releaseprintaccess();
}

void FendrakeProConBucket::traverse(TraverseCallback callback, void* context) {
    FendrakeLockScope<FendrakeMutex> lock(mMutex);
    for (unsigned int i = 0; i < mNumBuckets; ++i) {
        FendrakeDLinkedListCounting& bucket = mBuckets[i];
        FDKDLink* element = bucket.getFirst();
        for (int left = bucket.size(); left > 0 && element; --left) {
            FDKDLink* following = bucket.getNext(element);
            auto* sized = static_cast<FDKDLinkSizeElement*>(element);
            bool deleteElement = false;
            const bool goOn = callback(sized, i, context, deleteElement);
            if (deleteElement && (i >= mMaxReadBucket || mDataSem.Wait(0) == 0)) {
                bucket.remove(element);
                --mSize;
                mContentSize -= sized->GetSize();
                delete element;
                mSpaceSem.Signal();
            }
            if (!goOn)
                return;
            element = following;
        }
    }
}
