// Fixed-size chained hash table over intrusive links. The bucket count is set
// at construction and never changes; each bucket is a counting list, and an
// element is any object derived from FDKDLink. A subclass supplies hashing and
// comparison; the key is opaque to the table (usually a probe object of the
// element's own type with its key filled in).
// Elements are passed and returned as the address of their FDKDLink part.
// Ownership: an inserted element belongs to the table (deleteAll and the
// destructor delete it); a refused one, and one taken out by remove or
// removeAndNext, stays with the caller.
// Threads: never locks: the owner does. Nothing allocates per element.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEHASHTABLE_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEHASHTABLE_H

#include "Basic/FendrakeStdLib/FendrakeDLinkedList.h"

extern "C" {
// The string hash: start at the length, then for each character rotate left
// by 5 and xor in the character sign-extended; null and "" give 0.
unsigned int fendrake_hash_string(const char* iText);
// The instance hash: the low 32 bits of the address; null gives 0.
unsigned int fendrake_hash_instance(const void* iInstance);
// 0 when the two addresses are equal; otherwise their difference (key minus
// element) as a 32-bit number, never 0.
int fendrake_compare_instance(const void* iKey, const void* iElement);
}

class FendrakeHashTable {
public:
    class Iterator;
    class ConstIterator;

    // A table of 0 buckets holds nothing: get finds nothing, insert refuses.
    explicit FendrakeHashTable(unsigned int bucketCount);
    virtual ~FendrakeHashTable();
    FendrakeHashTable(const FendrakeHashTable&) = delete;
    FendrakeHashTable& operator=(const FendrakeHashTable&) = delete;

    // 0 when the key matches the element.
    virtual int compare(void* key, void* element) const = 0;
    virtual unsigned int hashFunction(void* key) const = 0;

    // The first element of the key's bucket that matches, or null.
    void* get(void* key) const;
    // 1 if inserted at the end of its bucket, 0 if an equal key is present;
    // then the table is unchanged and the caller keeps the element.
    int insert(void* key, void* element);
    // Takes the element out of the key's bucket. Nothing checks that it is in
    // that bucket: a wrong pair leaves the counts wrong.
    void remove(void* key, void* element);
    unsigned int size() const;
    void deleteAll();
    // One line per bucket with a star per element, at level 1.
    void printStatus() const;

    unsigned int mBucketCount;
    FendrakeDLinkedListCounting* mBuckets;

private:
    FendrakeDLinkedListCounting* iBucket(void* key) const {
        return &mBuckets[hashFunction(key) % mBucketCount];
    }
};

// Walks the buckets from 0, and each bucket in order of insertion.
class FendrakeHashTable::Iterator {
public:
    explicit Iterator(FendrakeHashTable* iTable);

    // The current element, or null at the end.
    FDKDLink* current() const { return mCurrent; }
    void next();
    // Takes the current element out without deleting it (the caller must hold
    // another pointer to it) and moves on to the one that followed.
    void removeAndNext();

private:
    void iAdvance(unsigned int iFrom);

    unsigned int mBucketIndex;
    unsigned int mBucketCount;
    FendrakeDLinkedListCounting* mBucket;
    int mBucketSize;
    int mIndexInBucket;
    FDKDLink* mCurrent;
    FendrakeHashTable* mTable;
};

class FendrakeHashTable::ConstIterator {
public:
    // The walk never writes: only removeAndNext would, and it is not offered here.
    explicit ConstIterator(const FendrakeHashTable* iTable)
        : mWalk(const_cast<FendrakeHashTable*>(iTable)) {}

    const FDKDLink* current() const { return mWalk.current(); }
    void next() { mWalk.next(); }

private:
    Iterator mWalk;
};

// A one-hash bitmap in front of the buckets: a lookup of an absent key
// usually stops at a clear bit. Bits are only cleared by deleteAll, so after
// a remove the bitmap errs towards a bucket walk. insert, get and deleteAll
// hide the base's and are not virtual: a call through the base class
// bypasses the bitmap.
class FendrakeHashTableWithSeenIndex : public FendrakeHashTable {
public:
    // seenBits 0: no bitmap, the plain table.
    FendrakeHashTableWithSeenIndex(unsigned int bucketCount, unsigned int seenBits);
    ~FendrakeHashTableWithSeenIndex() override;

    // The bit is set even when the base refuses a duplicate; that is harmless.
    int insert(void* key, void* element);
    void* get(void* key) const;
    void deleteAll();

    unsigned int mSeenBits;
    unsigned int mSeenBytes;
    unsigned char* mSeenIndex;
};

#endif
