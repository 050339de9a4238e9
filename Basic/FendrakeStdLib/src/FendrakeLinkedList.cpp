#include "Basic/FendrakeStdLib/FendrakeLinkedList.h"

#include "Basic/FendrakeStdLib/FendrakeAssert.h"

namespace {
const char* const kPath = "Basic/FendrakeStdLib/src/FendrakeLinkedList";
} // namespace

FendrakeLinkedList::FendrakeLinkedList() : mCount(0), mLast(&mHead) {
    mHead.next = &mHead;
}

FendrakeLinkedList::~FendrakeLinkedList() {
    deleteAll();
}

void FendrakeLinkedList::insertFirst(FDKLink* iLink) {
    iLink->next = mHead.next;
    mHead.next = iLink;
    if (mCount == 0)
        mLast = iLink;
    ++mCount;
}

void FendrakeLinkedList::insertLast(FDKLink* iLink) {
    iLink->next = &mHead;
    mLast->next = iLink;
    mLast = iLink;
    ++mCount;
}

void FendrakeLinkedList::remove(FDKLink* iLink) {
    if (mCount == 1) {
        if (mHead.next != iLink) {
            FENDRAKE_ASSERT_AT(kPath, 81, 0, "0");
            return;
        }
        mHead.next = &mHead;
        mLast = &mHead;
        iLink->next = nullptr;
        mCount = 0;
        return;
    }
    if (mCount == 0) {
        FENDRAKE_ASSERT_AT(kPath, 105, 0, "0");
        return;
    }
    FDKLink* prev = nullptr;
    if (mHead.next == iLink) {
        prev = &mHead;
    } else {
        FDKLink* candidate = mHead.next;
        for (unsigned int i = 0; i + 1 < mCount; ++i, candidate = candidate->next) {
            if (candidate->next == iLink) {
                prev = candidate;
                break;
            }
        }
    }
    if (!prev) {
        FENDRAKE_ASSERT_AT(kPath, 105, 0, "0");
        return;
    }
    prev->next = iLink->next;
    if (prev->next == &mHead)
        mLast = prev;
    iLink->next = nullptr;
    --mCount;
}

FDKLink* FendrakeLinkedList::removeNext(FDKLink* iLink) {
    FDKLink* removed = iLink->next;
    // Taking the sentinel out of its own ring would break every later call.
    if (removed == &mHead)
        return nullptr;
    iLink->next = removed->next;
    if (removed == mLast)
        mLast = iLink;
    removed->next = nullptr;
    --mCount;
    return removed;
}

void FendrakeLinkedList::deleteAll() {
    // Advance the head before each delete: a destructor sees a list that no
    // longer starts with its own element.
    for (unsigned int i = mCount; i > 0; --i) {
        FDKLink* first = mHead.next;
        mHead.next = first->next;
        delete first;
    }
    mCount = 0;
    mHead.next = &mHead;
    mLast = &mHead;
}
