// Singly linked intrusive list: an element is its own node, because its class
// derives from FDKLink. The list is a ring through its sentinel mHead, with
// mLast on the last element, so inserting needs no test for an empty list.
// Ownership: deleteAll and the destructor delete the elements through their
// virtual destructor; remove and removeNext hand an element back to the caller.
// Threads: never locks: the owner does. Nothing here allocates.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKELINKEDLIST_H
#define BASIC_FENDRAKESTDLIB_FENDRAKELINKEDLIST_H

#include <type_traits>

class FDKLink {
public:
    // next is left as it is: it is set when the link goes into a list, and
    // copying an element never copies its membership of a list.
    FDKLink() {}
    FDKLink(const FDKLink&) {}
    FDKLink& operator=(const FDKLink&) { return *this; }
    virtual ~FDKLink() {}

    // The following link; null after the link was taken out of its list.
    FDKLink* next;
};

class FendrakeLinkedList {
public:
    FendrakeLinkedList();
    virtual ~FendrakeLinkedList();
    FendrakeLinkedList(const FendrakeLinkedList&) = delete;
    FendrakeLinkedList& operator=(const FendrakeLinkedList&) = delete;

    void insertFirst(FDKLink* iLink);
    void insertLast(FDKLink* iLink);
    // Searches from the front; a link that is not in the list is an assertion,
    // and the list stays as it was.
    void remove(FDKLink* iLink);
    // Unlinks the link behind iLink, which may be &mHead, without a search;
    // returns it, or null when nothing follows iLink.
    FDKLink* removeNext(FDKLink* iLink);
    FDKLink* getFirst() const { return mCount ? mHead.next : nullptr; }
    FDKLink* getLast() const { return mCount ? mLast : nullptr; }
    // The link behind iLink, or null when iLink is the last one.
    FDKLink* getNext(const FDKLink* iLink) const {
        return iLink->next == &mHead ? nullptr : iLink->next;
    }
    unsigned int size() const { return mCount; }
    void deleteAll();

    unsigned int mCount;
    FDKLink mHead;
    FDKLink* mLast;
};

// T is a pointer to a class derived from FDKLink.
template <typename T> class FendrakeLinkedListT : protected FendrakeLinkedList {
    typedef typename std::remove_pointer<T>::type Element;
    static_assert(std::is_base_of<FDKLink, Element>::value, "T must point to an FDKLink");

public:
    FendrakeLinkedListT() {}
    ~FendrakeLinkedListT() override {}

    void insertFirst(T iElement) { FendrakeLinkedList::insertFirst(iElement); }
    void insertLast(T iElement) { FendrakeLinkedList::insertLast(iElement); }
    void remove(T iElement) { FendrakeLinkedList::remove(iElement); }
    // Null takes out the first element.
    T removeNext(T iElement) {
        FDKLink* before = iElement ? static_cast<FDKLink*>(iElement) : &mHead;
        return cast(FendrakeLinkedList::removeNext(before));
    }
    T getFirst() const { return cast(FendrakeLinkedList::getFirst()); }
    T getLast() const { return cast(FendrakeLinkedList::getLast()); }
    T getNext(T iElement) const { return cast(FendrakeLinkedList::getNext(iElement)); }
    using FendrakeLinkedList::deleteAll;
    using FendrakeLinkedList::size;

private:
    static T cast(FDKLink* iLink) { return static_cast<T>(iLink); }
};

#endif
