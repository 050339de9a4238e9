// Doubly linked intrusive lists: an element is its own node, because its class
// derives from FDKDLink. A list is a ring through its sentinel mHead, so
// inserting and unlinking need no test for an empty list.
// Ownership: deleteAll and the destructor delete the elements through their
// virtual destructor; remove, removeAll and Iterator::Remove hand them back.
// Threads: never locks: the owner does. Nothing here allocates.
// Nothing checks membership: inserting a link that is in a list, or removing
// one that is in none, corrupts memory.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEDLINKEDLIST_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEDLINKEDLIST_H

#include "Basic/FendrakeStdLib/FendrakeAssert.h"

#include <type_traits>

class FDKDLink {
public:
    // prev and next are left as they are, also by a copy: copying an element
    // never copies its membership of a list. The destructor does not unlink.
    FDKDLink() {}
    FDKDLink(const FDKDLink&) {}
    FDKDLink& operator=(const FDKDLink&) { return *this; }
    virtual ~FDKDLink() {}

    FDKDLink* prev;
    FDKDLink* next;
};

// Element of FendrakeProConPrio: a higher priority is queued first, 0 last.
class FDKDLinkPrio : public FDKDLink {
public:
    // Compared as unsigned, so a negative priority ranks above all others.
    // Called under the queue's lock: must not block.
    virtual int GetPrio() { return 0; }
};

class FendrakeDLinkedListBase {
public:
    class Iterator;
    class ConstIterator;

    FendrakeDLinkedListBase() {
        mHead.prev = &mHead;
        mHead.next = &mHead;
    }
    virtual ~FendrakeDLinkedListBase() { deleteAll(); }
    FendrakeDLinkedListBase(const FendrakeDLinkedListBase&) = delete;
    FendrakeDLinkedListBase& operator=(const FendrakeDLinkedListBase&) = delete;

    void insertFirst(FDKDLink* iLink) { insertAfter(iLink, &mHead); }
    void insertLast(FDKDLink* iLink) { insertBefore(iLink, &mHead); }
    static void insertAfter(FDKDLink* iNewLink, FDKDLink* iExisting) {
        iNewLink->prev = iExisting;
        iNewLink->next = iExisting->next;
        iExisting->next->prev = iNewLink;
        iExisting->next = iNewLink;
    }
    static void insertBefore(FDKDLink* iNewLink, FDKDLink* iExisting) {
        iNewLink->next = iExisting;
        iNewLink->prev = iExisting->prev;
        iExisting->prev->next = iNewLink;
        iExisting->prev = iNewLink;
    }
    // Joins the neighbours; the link keeps its stale prev and next.
    static void remove(FDKDLink* iLink) {
        iLink->prev->next = iLink->next;
        iLink->next->prev = iLink->prev;
    }

    bool isPresent(const FDKDLink* iLink) const;
    int countSize() const;
    bool isEmpty() const { return mHead.next == &mHead; }
    FDKDLink* getFirst() { return isEmpty() ? nullptr : mHead.next; }
    const FDKDLink* getFirst() const { return isEmpty() ? nullptr : mHead.next; }
    FDKDLink* getLast() { return isEmpty() ? nullptr : mHead.prev; }
    const FDKDLink* getLast() const { return isEmpty() ? nullptr : mHead.prev; }
    // The neighbours of an element of this list, or null at either end.
    FDKDLink* getNext(const FDKDLink* iLink) const {
        return iLink->next == &mHead ? nullptr : iLink->next;
    }
    FDKDLink* getPrev(const FDKDLink* iLink) const {
        return iLink->prev == &mHead ? nullptr : iLink->prev;
    }

    void deleteAll();
    // Empties the list without deleting; the elements' links stay stale.
    void removeAll() {
        mHead.prev = &mHead;
        mHead.next = &mHead;
    }

    FDKDLink mHead;
};

// A removing walk: test for the end, decide on the element, then Delete,
// Remove or next. Delete and Remove leave the iterator on the element that
// followed, so the loop must not advance again.
class FendrakeDLinkedListBase::Iterator {
public:
    explicit Iterator(FendrakeDLinkedListBase* iList)
        : mpList(iList), mpCurrent(iList->mHead.next) {}

    bool isEnd() const { return mpCurrent == &mpList->mHead; }
    // The current element, or null at the end.
    FDKDLink* current() const { return isEnd() ? nullptr : mpCurrent; }
    void next() {
        if (check())
            mpCurrent = mpCurrent->next;
    }
    void Delete() { delete take(); }
    void Remove() { take(); }

    FendrakeDLinkedListBase* mpList;
    FDKDLink* mpCurrent;

private:
    bool check() const {
        FENDRAKE_ASSERT_AT("Basic/FendrakeStdLib/FendrakeDLinkedList", 73, mpCurrent, "mpCurrent");
        return mpCurrent != nullptr;
    }
    // Unlinks the current element and steps on; null at the end, where the
    // sentinel must never be taken out of its own list.
    FDKDLink* take() {
        if (!check() || isEnd())
            return nullptr;
        FDKDLink* old = mpCurrent;
        mpCurrent = old->next;
        remove(old);
        return old;
    }
};

class FendrakeDLinkedListBase::ConstIterator {
public:
    explicit ConstIterator(const FendrakeDLinkedListBase* iList)
        : mpList(iList), mpCurrent(iList->mHead.next) {}

    bool isEnd() const { return mpCurrent == &mpList->mHead; }
    const FDKDLink* current() const { return isEnd() ? nullptr : mpCurrent; }
    void next() {
        FENDRAKE_ASSERT_AT("Basic/FendrakeStdLib/FendrakeDLinkedList", 90, mpCurrent, "mpCurrent");
        if (mpCurrent)
            mpCurrent = mpCurrent->next;
    }

    const FendrakeDLinkedListBase* mpList;
    const FDKDLink* mpCurrent;
};

// A list that knows its length: mCount follows every operation of this class.
class FendrakeDLinkedListCounting : protected FendrakeDLinkedListBase {
    typedef FendrakeDLinkedListBase Base;

public:
    class Iterator;

    FendrakeDLinkedListCounting() : mCount(0) {}

    void insertFirst(FDKDLink* iLink) {
        Base::insertFirst(iLink);
        ++mCount;
    }
    void insertLast(FDKDLink* iLink) {
        Base::insertLast(iLink);
        ++mCount;
    }
    // iExisting is in this list, or is its sentinel.
    void insertAfter(FDKDLink* iNewLink, FDKDLink* iExisting) {
        Base::insertAfter(iNewLink, iExisting);
        ++mCount;
    }
    void insertBefore(FDKDLink* iNewLink, FDKDLink* iExisting) {
        Base::insertBefore(iNewLink, iExisting);
        ++mCount;
    }
    // iLink must be in this list.
    void remove(FDKDLink* iLink) {
        Base::remove(iLink);
        --mCount;
    }
    // Takes out and returns the first element, or null.
    FDKDLink* removeFirst() {
        FDKDLink* first = getFirst();
        if (first)
            remove(first);
        return first;
    }
    // The count is cleared before the first element is deleted.
    void deleteAll() {
        mCount = 0;
        Base::deleteAll();
    }
    void removeAll() {
        Base::removeAll();
        mCount = 0;
    }
    int size() const { return mCount; }

    using Base::countSize;
    using Base::getFirst;
    using Base::getLast;
    using Base::getNext;
    using Base::getPrev;
    using Base::isEmpty;
    using Base::isPresent;

    int mCount;
};

class FendrakeDLinkedListCounting::Iterator {
public:
    explicit Iterator(FendrakeDLinkedListCounting* iList) : mList(iList), mIterator(iList) {}

    bool isEnd() const { return mIterator.isEnd(); }
    FDKDLink* current() const { return mIterator.current(); }
    void next() { mIterator.next(); }
    void Delete() {
        if (!isEnd())
            --mList->mCount;
        mIterator.Delete();
    }
    void Remove() {
        if (!isEnd())
            --mList->mCount;
        mIterator.Remove();
    }

private:
    FendrakeDLinkedListCounting* mList;
    FendrakeDLinkedListBase::Iterator mIterator;
};

// T is a pointer to a class derived from FDKDLink.
template <typename T> class FendrakeDLinkedListT : protected FendrakeDLinkedListBase {
    typedef FendrakeDLinkedListBase Base;
    typedef typename std::remove_pointer<T>::type Element;
    static_assert(std::is_base_of<FDKDLink, Element>::value, "T must point to an FDKDLink");
    typedef typename std::add_pointer<const Element>::type ConstT;

public:
    class Iterator : public Base::Iterator {
    public:
        explicit Iterator(FendrakeDLinkedListT* iList) : Base::Iterator(iList) {}
        T current() const { return static_cast<T>(Base::Iterator::current()); }
    };
    class ConstIterator : public Base::ConstIterator {
    public:
        explicit ConstIterator(const FendrakeDLinkedListT* iList) : Base::ConstIterator(iList) {}
        ConstT current() const { return static_cast<ConstT>(Base::ConstIterator::current()); }
    };

    FendrakeDLinkedListT() {}
    ~FendrakeDLinkedListT() override {}

    void insertFirst(T iElement) { Base::insertFirst(iElement); }
    void insertLast(T iElement) { Base::insertLast(iElement); }
    static void insertAfter(T iNewElement, T iExisting) {
        Base::insertAfter(iNewElement, iExisting);
    }
    static void insertBefore(T iNewElement, T iExisting) {
        Base::insertBefore(iNewElement, iExisting);
    }
    static void remove(T iElement) { Base::remove(iElement); }
    bool isPresent(ConstT iElement) const { return Base::isPresent(iElement); }
    T getFirst() { return static_cast<T>(Base::getFirst()); }
    ConstT getFirst() const { return static_cast<ConstT>(Base::getFirst()); }
    T getLast() { return static_cast<T>(Base::getLast()); }
    ConstT getLast() const { return static_cast<ConstT>(Base::getLast()); }
    T getNext(ConstT iElement) const { return static_cast<T>(Base::getNext(iElement)); }
    T getPrev(ConstT iElement) const { return static_cast<T>(Base::getPrev(iElement)); }

    using Base::countSize;
    using Base::deleteAll;
    using Base::isEmpty;
    using Base::removeAll;
};

#endif
