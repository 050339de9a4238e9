// Intrusive doubly linked list kept in ascending order of an unsigned key.
// Elements of one key stay in their order of insertion. Inserting is linear.
// Ownership: deleteAll and the destructor delete the elements through their
// virtual destructor; remove hands an element back.
// Threads: never locks: the owner does. Nothing here allocates.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKESORTLIST_H
#define BASIC_FENDRAKESTDLIB_FENDRAKESORTLIST_H

class FDKSortLink {
public:
    // Set mKey before the link goes into a list. Outside a list both pointers
    // are null; a copy is outside every list.
    explicit FDKSortLink(unsigned int iKey = 0) : mPrev(nullptr), mNext(nullptr), mKey(iKey) {}
    FDKSortLink(const FDKSortLink& iOther) : mPrev(nullptr), mNext(nullptr), mKey(iOther.mKey) {}
    FDKSortLink& operator=(const FDKSortLink& iOther) {
        mKey = iOther.mKey;
        return *this;
    }
    virtual ~FDKSortLink() {}

    FDKSortLink* mPrev;
    FDKSortLink* mNext;
    unsigned int mKey;
};

class FendrakeSortList {
public:
    FendrakeSortList();
    ~FendrakeSortList();
    FendrakeSortList(const FendrakeSortList&) = delete;
    FendrakeSortList& operator=(const FendrakeSortList&) = delete;

    // Behind every element of a lower or equal key.
    void insert(FDKSortLink* iLink);
    // Unlinks and clears both pointers; a link in no list is left alone.
    void remove(FDKSortLink* iLink);
    // The first element of that key, by a scan of the whole list; or null.
    FDKSortLink* getFromKey(unsigned int iKey) const;
    FDKSortLink* getFirst() const { return mCount < 1 ? nullptr : mHead.mNext; }
    FDKSortLink* getLast() const { return mCount < 1 ? nullptr : mHead.mPrev; }
    // The element behind iLink, or null at the end.
    FDKSortLink* getNext(const FDKSortLink* iLink) const {
        return iLink->mNext == &mHead ? nullptr : iLink->mNext;
    }
    void deleteAll();

    int mCount;
    FDKSortLink mHead;
};

#endif
