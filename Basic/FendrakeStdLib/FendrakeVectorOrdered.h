// A growable array of element pointers, always sorted by the elements' own
// compare. The array doubles when full.
// Ownership: an inserted element belongs to the vector (deleteAll and the
// destructor delete it); one that InsertNotEqual refuses stays with the
// caller, and Remove hands back nothing (the caller holds the element).
// Threads: never locks: the owner does.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEVECTORORDERED_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEVECTORORDERED_H

#include "Basic/FendrakeStdLib/FendrakeVector.h"

class FendrakeOrderedElement {
public:
    virtual ~FendrakeOrderedElement() {}
    // Negative, 0 or positive for this element against iOther.
    virtual int compare(FendrakeOrderedElement* iOther) = 0;
};

class FendrakeVectorOrderedBase {
public:
    FendrakeVectorOrderedBase() {}
    virtual ~FendrakeVectorOrderedBase() { deleteAll(); }
    FendrakeVectorOrderedBase(const FendrakeVectorOrderedBase&) = delete;
    FendrakeVectorOrderedBase& operator=(const FendrakeVectorOrderedBase&) = delete;

    // False, changing nothing, if an equal element stands there already.
    bool InsertNotEqual(FendrakeOrderedElement* iElement);
    // Lands beside whichever equal element the search met first: elements of
    // equal rank have no defined order among themselves.
    void InsertAllowEqual(FendrakeOrderedElement* iElement);
    // Takes an element that compares equal out of the array, without deleting
    // it; false if there is none.
    bool Remove(FendrakeOrderedElement* iElement);
    // Deletes every element; the capacity stays.
    void deleteAll();

    static int compare(FendrakeOrderedElement* const* a, FendrakeOrderedElement* const* b) {
        return (*a)->compare(*b);
    }

    unsigned int size() const { return static_cast<unsigned int>(mElements.size()); }
    unsigned int capacity() const { return static_cast<unsigned int>(mElements.capacity()); }
    FendrakeOrderedElement* operator[](unsigned int iIndex) const { return mElements[iIndex]; }

private:
    // Where the search for iElement settled, and whether it hit.
    unsigned int iFind(FendrakeOrderedElement* iElement, int* oLastCompare) const;
    bool iInsert(FendrakeOrderedElement* iElement, bool iAllowEqual);

    FendrakeVector<FendrakeOrderedElement*> mElements;
};

#endif
