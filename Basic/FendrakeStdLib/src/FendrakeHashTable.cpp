#include "Basic/FendrakeStdLib/FendrakeHashTable.h"

#include "Basic/FendrakeStdLib/FendrakeDebug.h"

#include <cstdint>
#include <cstring>

extern "C" {

unsigned int fendrake_hash_string(const char* iText) {
    if (!iText)
        return 0;
    uint32_t hash = static_cast<uint32_t>(strlen(iText));
    for (const char* p = iText; *p; ++p) {
        hash = (hash << 5) | (hash >> 27);
        hash ^= static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(*p)));
    }
    return hash;
}

unsigned int fendrake_hash_instance(const void* iInstance) {
    return static_cast<uint32_t>(reinterpret_cast<uintptr_t>(iInstance));
}

int fendrake_compare_instance(const void* iKey, const void* iElement) {
    const uintptr_t key = reinterpret_cast<uintptr_t>(iKey);
    const uintptr_t element = reinterpret_cast<uintptr_t>(iElement);
    const int difference = static_cast<int>(static_cast<uint32_t>(key - element));
    // With 64-bit addresses the low half of the difference can be 0 for two
    // different instances.
    if (difference == 0 && key != element)
        return key < element ? -1 : 1;
    return difference;
}
}

FendrakeHashTable::FendrakeHashTable(unsigned int bucketCount)
    : mBucketCount(bucketCount), mBuckets(new FendrakeDLinkedListCounting[bucketCount]) {}

FendrakeHashTable::~FendrakeHashTable() {
    deleteAll();
    delete[] mBuckets;
}

void* FendrakeHashTable::get(void* key) const {
    // Left unguarded, a table of 0 buckets would divide by zero.
    if (mBucketCount == 0)
        return nullptr;
    const FendrakeDLinkedListCounting* bucket = iBucket(key);
    // Bounded by the count, not by the sentinel.
    const FDKDLink* link = bucket->getFirst();
    for (int i = 0; i < bucket->mCount && link; ++i, link = link->next)
        if (compare(key, const_cast<FDKDLink*>(link)) == 0)
            return const_cast<FDKDLink*>(link);
    return nullptr;
}

int FendrakeHashTable::insert(void* key, void* element) {
    if (mBucketCount == 0 || get(key))
        return 0;
    iBucket(key)->insertLast(static_cast<FDKDLink*>(element));
    return 1;
}

void FendrakeHashTable::remove(void* key, void* element) {
    if (mBucketCount == 0)
        return;
    iBucket(key)->remove(static_cast<FDKDLink*>(element));
}

unsigned int FendrakeHashTable::size() const {
    unsigned int total = 0;
    for (unsigned int i = 0; i < mBucketCount; ++i)
        total += static_cast<unsigned int>(mBuckets[i].mCount);
    return total;
}

void FendrakeHashTable::deleteAll() {
    for (unsigned int i = 0; i < mBucketCount; ++i)
        mBuckets[i].deleteAll();
}

void FendrakeHashTable::printStatus() const {
    const int access = getprintaccess();
    if (fendrake_level_enabled(1)) {
        fendrake_print_context_file_line(FENDRAKE_FILE, __LINE__, 1, 0, "", "", "");
        fendrake_print_with_level(1, "", "", "", "HASHTABLE STATUS\n");
        for (unsigned int i = 0; i < mBucketCount; ++i) {
            fendrake_print_with_level(1, "", "", "", "BUCKET %08X: ", i);
            for (int n = 0; n < mBuckets[i].mCount; ++n)
                fendrake_print_with_level(1, "", "", "", "*");
            fendrake_print_with_level(1, "", "", "", "\n");
        }
        fendrake_print_with_level(1, "", "", "", "Total Elements:  %d\n", static_cast<int>(size()));
    }
    if (access)
        releaseprintaccess();
}

FendrakeHashTable::Iterator::Iterator(FendrakeHashTable* iTable)
    : mBucketIndex(0), mBucketCount(iTable->mBucketCount), mBucket(nullptr), mBucketSize(0),
      mIndexInBucket(0), mCurrent(nullptr), mTable(iTable) {
    iAdvance(0);
}

void FendrakeHashTable::Iterator::iAdvance(unsigned int iFrom) {
    mIndexInBucket = 0;
    mCurrent = nullptr;
    for (mBucketIndex = iFrom; mBucketIndex < mBucketCount; ++mBucketIndex) {
        FendrakeDLinkedListCounting* bucket = &mTable->mBuckets[mBucketIndex];
        if (bucket->mCount != 0 && bucket->getFirst()) {
            mBucket = bucket;
            mBucketSize = bucket->mCount;
            mCurrent = bucket->getFirst();
            return;
        }
    }
}

void FendrakeHashTable::Iterator::next() {
    // Past the end there is nothing to follow, and no bucket to index.
    if (!mCurrent)
        return;
    if (mIndexInBucket < mBucketSize - 1) {
        mCurrent = mCurrent->next;
        ++mIndexInBucket;
        return;
    }
    iAdvance(mBucketIndex + 1);
}

void FendrakeHashTable::Iterator::removeAndNext() {
    if (!mCurrent)
        return;
    FDKDLink* old = mCurrent;
    if (mIndexInBucket < mBucketSize - 1) {
        mCurrent = old->next;
        mBucket->remove(old);
        mBucketSize = mBucket->mCount;
        return;
    }
    mBucket->remove(old);
    mBucketSize = mBucket->mCount;
    iAdvance(mBucketIndex + 1);
}

FendrakeHashTableWithSeenIndex::FendrakeHashTableWithSeenIndex(unsigned int bucketCount,
                                                               unsigned int seenBits)
    // (seenBits + 7) >> 3 without the wrap-around of a huge seenBits.
    : FendrakeHashTable(bucketCount), mSeenBits(seenBits),
      mSeenBytes((seenBits >> 3) + ((seenBits & 7) != 0)),
      mSeenIndex(seenBits ? new unsigned char[mSeenBytes]() : nullptr) {}

FendrakeHashTableWithSeenIndex::~FendrakeHashTableWithSeenIndex() {
    delete[] mSeenIndex;
}

int FendrakeHashTableWithSeenIndex::insert(void* key, void* element) {
    if (mSeenIndex) {
        const unsigned int bit = hashFunction(key) % mSeenBits;
        mSeenIndex[bit >> 3] |= static_cast<unsigned char>(1u << (bit & 7));
    }
    return FendrakeHashTable::insert(key, element);
}

void* FendrakeHashTableWithSeenIndex::get(void* key) const {
    if (mSeenIndex) {
        const unsigned int bit = hashFunction(key) % mSeenBits;
        if (!(mSeenIndex[bit >> 3] & (1u << (bit & 7))))
            return nullptr;
    }
    return FendrakeHashTable::get(key);
}

void FendrakeHashTableWithSeenIndex::deleteAll() {
    if (mSeenIndex)
        memset(mSeenIndex, 0, mSeenBytes);
    FendrakeHashTable::deleteAll();
}
