#include "Basic/FendrakeStdLib/FendrakeDLinkedList.h"

bool FendrakeDLinkedListBase::isPresent(const FDKDLink* iLink) const {
    for (const FDKDLink* link = mHead.next; link != &mHead; link = link->next)
        if (link == iLink)
            return true;
    return false;
}

int FendrakeDLinkedListBase::countSize() const {
    int count = 0;
    for (const FDKDLink* link = mHead.next; link != &mHead; link = link->next)
        ++count;
    return count;
}

void FendrakeDLinkedListBase::deleteAll() {
    // The new first link's prev is not mended on the way: a destructor must
    // not use its neighbours.
    while (mHead.next != &mHead) {
        FDKDLink* first = mHead.next;
        mHead.next = first->next;
        delete first;
    }
    mHead.next = &mHead;
    mHead.prev = &mHead;
}
