#include "Basic/FendrakeStdLib/FendrakeSortList.h"

FendrakeSortList::FendrakeSortList() : mCount(0) {
    mHead.mPrev = &mHead;
    mHead.mNext = &mHead;
}

FendrakeSortList::~FendrakeSortList() {
    deleteAll();
}

void FendrakeSortList::insert(FDKSortLink* iLink) {
    FDKSortLink* before = &mHead;
    if (mCount > 0 && iLink->mKey >= mHead.mNext->mKey) {
        before = mHead.mNext;
        while (before->mNext != &mHead && before->mNext->mKey <= iLink->mKey)
            before = before->mNext;
    }
    iLink->mPrev = before;
    iLink->mNext = before->mNext;
    before->mNext->mPrev = iLink;
    before->mNext = iLink;
    ++mCount;
}

void FendrakeSortList::remove(FDKSortLink* iLink) {
    if (!iLink->mPrev || !iLink->mNext)
        return;
    iLink->mPrev->mNext = iLink->mNext;
    iLink->mNext->mPrev = iLink->mPrev;
    iLink->mPrev = nullptr;
    iLink->mNext = nullptr;
    --mCount;
}

FDKSortLink* FendrakeSortList::getFromKey(unsigned int iKey) const {
    for (FDKSortLink* link = mHead.mNext; link != &mHead; link = link->mNext)
        if (link->mKey == iKey)
            return link;
    return nullptr;
}

void FendrakeSortList::deleteAll() {
    while (mHead.mNext != &mHead) {
        FDKSortLink* first = mHead.mNext;
        mHead.mNext = first->mNext;
        delete first;
    }
    mCount = 0;
    mHead.mPrev = &mHead;
    mHead.mNext = &mHead;
}
