#include "Basic/FendrakeStdLib/FendrakeAssociationObject.h"

#include "Basic/FendrakeOS/FendrakeMutex.h"

namespace {
// Lets go of each entry that matches; returns how many.
template <typename Match> int RemoveEach(FendrakeMultiRefBase* ioList, Match iMatch) {
    int removed = 0;
    for (FendrakeMultiRefBase::Iterator it(ioList); !it.isEnd();) {
        if (!iMatch(it)) {
            it.next();
            continue;
        }
        it.Remove();
        ++removed;
    }
    return removed;
}
} // namespace

void FendrakeAssociationObject::FendrakeUnreferenceAll() {
    FendrakeDLinkedListT<FendrakeAssociationRef*>::Iterator it(&mReferences);
    while (!it.isEnd()) {
        if (it.current()->AssociationObjectDeleted())
            it.Delete();
        else
            it.Remove();
    }
}

bool FendrakeAssociationObject::iDropReference(FendrakeAssociationRef* iRef) {
    FendrakeDLinkedListT<FendrakeAssociationRef*>::remove(iRef);
    if (!mReferences.isEmpty())
        return false;
    delete this;
    return true;
}

bool FendrakeSingleRefBase::Ref::AssociationObjectDeleted() {
    mObject = nullptr;
    return false;
}

void FendrakeSingleRefBase::Set(FendrakeAssociationObject* iObject) {
    FendrakeAssociationObject* old = mRef.mObject;
    if (old == iObject)
        return;
    // Cleared first: the old object's destructor must find this reference gone.
    mRef.mObject = nullptr;
    if (old)
        old->iDropReference(&mRef);
    if (iObject)
        iObject->mReferences.insertLast(&mRef);
    mRef.mObject = iObject;
}

bool FendrakeSingleRefLockedBase::Ref::AssociationObjectDeleted() {
    mObject = nullptr;
    if (mLock) {
        mLock->Unlock();
        mLock = nullptr;
    }
    return false;
}

void FendrakeSingleRefLockedBase::Set(FendrakeAssociationObject* iObject,
                                      FendrakeMutexNested* iLock) {
    if (iObject == mRef.mObject) {
        if (!iObject || iLock == mRef.mLock)
            return;
        // The new lock before the old one goes: never a moment without one.
        if (iLock)
            iLock->Lock();
        if (mRef.mLock)
            mRef.mLock->Unlock();
        mRef.mLock = iLock;
        return;
    }
    FendrakeAssociationObject* old = mRef.mObject;
    mRef.mObject = nullptr;
    if (old)
        old->iDropReference(&mRef);
    if (mRef.mLock && mRef.mLock != iLock) {
        mRef.mLock->Unlock();
        mRef.mLock = nullptr;
    }
    if (!iObject)
        return;
    if (iLock && mRef.mLock != iLock)
        iLock->Lock();
    mRef.mLock = iLock;
    mRef.mObject = iObject;
    iObject->mReferences.insertLast(&mRef);
}

void FendrakeSingleRefLockedBase::Clear() {
    FendrakeAssociationObject* old = mRef.mObject;
    mRef.mObject = nullptr;
    if (old)
        old->iDropReference(&mRef);
    if (mRef.mLock) {
        mRef.mLock->Unlock();
        mRef.mLock = nullptr;
    }
}

bool FendrakeMultiRefDetail::Ref::AssociationObjectDeleted() {
    FendrakeDLinkedListBase::remove(&mLink);
    return true;
}

void FendrakeMultiRefBase::Add(FendrakeAssociationObject* iObject, unsigned int iKey) {
    if (!iObject)
        return;
    Ref* ref = new Ref(iObject, iKey);
    iObject->mReferences.insertLast(ref);
    insertLast(&ref->mLink);
}

void FendrakeMultiRefBase::Add(const FendrakeMultiRefBase* iOther) {
    // Counted first: adding a list to itself must not chase its own new tail.
    int left = iOther->countSize();
    for (const MyLink* link = iOther->getFirst(); link && left > 0;
         link = iOther->getNext(link), --left)
        Add(link->mObject, link->mKey);
}

FendrakeMultiRefBase::MyLink* FendrakeMultiRefBase::iRemoveEntry(MyLink* iLink) {
    MyLink* following = getNext(iLink);
    Ref* ref = iLink->mRef;
    FendrakeAssociationObject* object = iLink->mObject;
    // Out of this list before the object may die, so its destructor never
    // meets the entry.
    remove(iLink);
    object->iDropReference(ref);
    delete ref;
    return following;
}

FendrakeMultiRefBase::MyLink* FendrakeMultiRefBase::iDeleteEntry(MyLink* iLink) {
    FendrakeAssociationObject* object = iLink->mObject;
    // Entries of the same object leave with it, through AssociationObjectDeleted.
    MyLink* following = getNext(iLink);
    while (following && following->mObject == object)
        following = getNext(following);
    Ref* ref = iLink->mRef;
    FendrakeDLinkedListT<FendrakeAssociationRef*>::remove(ref);
    remove(iLink);
    delete object;
    delete ref;
    return following;
}

int FendrakeMultiRefBase::Remove(FendrakeAssociationObject* iObject) {
    return RemoveEach(this, [iObject](const Iterator& iAt) { return iAt.object() == iObject; });
}

int FendrakeMultiRefBase::Remove(unsigned int iKey) {
    return RemoveEach(this, [iKey](const Iterator& iAt) { return iAt.key() == iKey; });
}

FendrakeAssociationObject* FendrakeMultiRefBase::FindFirst(unsigned int iKey) const {
    for (const MyLink* link = getFirst(); link; link = getNext(link))
        if (link->mKey == iKey)
            return link->mObject;
    return nullptr;
}

void FendrakeMultiRefBase::Clear() {
    for (MyLink* link = getFirst(); link;)
        link = iRemoveEntry(link);
}

void FendrakeMultiRefBase::DeleteAll() {
    // The object's destructor may take further entries out of this list, so
    // each turn starts again from the front.
    while (MyLink* link = getFirst())
        iDeleteEntry(link);
}
