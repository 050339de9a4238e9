// References to objects that can die from either side. An object derived
// from FendrakeAssociationObject keeps the list of everything that refers to
// it: when it is destroyed, each reference is told and clears itself, so no
// reference dangles; when the last reference lets go, the object is deleted.
// The list is the reference count, and an object that anything ever refers
// to must therefore come from new. An object nothing ever referred to lives
// until its owner deletes it.
// Threads: no lock of their own. Users of one object are serialised by a
// common lock; the mutex of a locked reference belongs to its user.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEASSOCIATIONOBJECT_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEASSOCIATIONOBJECT_H

#include "Basic/FendrakeStdLib/FendrakeDLinkedList.h"

class FendrakeMutexNested;

// A node in an object's list of references.
class FendrakeAssociationRef : public FDKDLink {
public:
    // The object is being destroyed. True: delete this reference with it;
    // false: it lives on, only unlinked.
    virtual bool AssociationObjectDeleted() = 0;
};

class FendrakeAssociationObject {
public:
    FendrakeAssociationObject() {}
    // What refers to an object is never copied with it.
    FendrakeAssociationObject(const FendrakeAssociationObject&) {}
    FendrakeAssociationObject& operator=(const FendrakeAssociationObject&) { return *this; }
    virtual ~FendrakeAssociationObject() { FendrakeUnreferenceAll(); }

    // Tells every reference that this object goes away.
    void FendrakeUnreferenceAll();

    // Unlinks iRef and, if it was the last reference, deletes this object.
    // Returns true if the object was deleted.
    bool iDropReference(FendrakeAssociationRef* iRef);

    FendrakeDLinkedListT<FendrakeAssociationRef*> mReferences;
};

class FendrakeSingleRefBase {
public:
    class Ref : public FendrakeAssociationRef {
    public:
        bool AssociationObjectDeleted() override;
        FendrakeAssociationObject* mObject = nullptr;
    };

    FendrakeSingleRefBase() {}
    FendrakeSingleRefBase(const FendrakeSingleRefBase& iOther) { Set(iOther.mRef.mObject); }
    FendrakeSingleRefBase& operator=(const FendrakeSingleRefBase& iOther) {
        Set(iOther.mRef.mObject);
        return *this;
    }
    ~FendrakeSingleRefBase() { Clear(); }

    // Lets go of the old object (deleting it if this was its last reference)
    // and refers to the new one; nothing if it is the same.
    void Set(FendrakeAssociationObject* iObject);
    void Clear() { Set(nullptr); }
    FendrakeAssociationObject* GetObject() const { return mRef.mObject; }

protected:
    Ref mRef;
};

// T derives from FendrakeAssociationObject.
template <typename T> class FendrakeSingleRef : public FendrakeSingleRefBase {
public:
    FendrakeSingleRef() {}
    explicit FendrakeSingleRef(T* iObject) { Set(iObject); }
    void Set(T* iObject) { FendrakeSingleRefBase::Set(iObject); }
    T* Get() const { return static_cast<T*>(GetObject()); }
    T* operator->() const { return Get(); }
    explicit operator bool() const { return GetObject() != nullptr; }
};

// A reference that holds a nested mutex locked while it is set, and releases
// it when the object dies or the reference lets go.
class FendrakeSingleRefLockedBase {
public:
    class Ref : public FendrakeAssociationRef {
    public:
        bool AssociationObjectDeleted() override;
        FendrakeAssociationObject* mObject = nullptr;
        // Not null only while this reference holds it locked.
        FendrakeMutexNested* mLock = nullptr;
    };

    FendrakeSingleRefLockedBase() {}
    FendrakeSingleRefLockedBase(const FendrakeSingleRefLockedBase&) = delete;
    FendrakeSingleRefLockedBase& operator=(const FendrakeSingleRefLockedBase&) = delete;
    ~FendrakeSingleRefLockedBase() { Clear(); }

    // The same object with another lock takes the new lock before releasing
    // the old one, so some lock is always held. Another object lets go of the
    // old one (releasing its lock unless it is iLock) and locks iLock unless
    // this reference holds it already. A null object keeps a lock equal to
    // iLock until Clear.
    void Set(FendrakeAssociationObject* iObject, FendrakeMutexNested* iLock);
    // Lets go of the object, deleting it if this was its last reference, and
    // releases the lock.
    void Clear();
    FendrakeAssociationObject* GetObject() const { return mRef.mObject; }
    FendrakeMutexNested* GetLock() const { return mRef.mLock; }

protected:
    Ref mRef;
};

template <typename T> class FendrakeSingleRefLocked : public FendrakeSingleRefLockedBase {
public:
    void Set(T* iObject, FendrakeMutexNested* iLock) {
        FendrakeSingleRefLockedBase::Set(iObject, iLock);
    }
    T* Get() const { return static_cast<T*>(GetObject()); }
    T* operator->() const { return Get(); }
};

class FendrakeMultiRefBase;

namespace FendrakeMultiRefDetail {
class Ref;

// The entry as the multi reference lists it.
class MyLink : public FDKDLink {
public:
    FendrakeAssociationObject* mObject = nullptr;
    unsigned int mKey = 0;
    // The entry this link belongs to.
    Ref* mRef = nullptr;
};
} // namespace FendrakeMultiRefDetail

// A keyed list of references to many objects. Each entry is one allocation,
// linked into two lists: into the object's list of references and into this
// one. The same pair may stand twice.
class FendrakeMultiRefBase : protected FendrakeDLinkedListT<FendrakeMultiRefDetail::MyLink*> {
public:
    typedef FendrakeMultiRefDetail::MyLink MyLink;
    typedef FendrakeMultiRefDetail::Ref Ref;
    class Iterator;

    FendrakeMultiRefBase() {}
    FendrakeMultiRefBase(const FendrakeMultiRefBase&) = delete;
    FendrakeMultiRefBase& operator=(const FendrakeMultiRefBase&) = delete;
    ~FendrakeMultiRefBase() override { Clear(); }

    // A null object adds nothing.
    void Add(FendrakeAssociationObject* iObject, unsigned int iKey);
    // An entry for each entry of iOther, in order, with the same key.
    void Add(const FendrakeMultiRefBase* iOther);
    // Lets go of each matching entry (deleting an object whose last reference
    // it was); returns the number removed.
    int Remove(FendrakeAssociationObject* iObject);
    int Remove(unsigned int iKey);
    // The object of the first entry with that key, in order of Add, or null.
    FendrakeAssociationObject* FindFirst(unsigned int iKey) const;
    // Lets go of every entry: an object only this list refers to dies.
    void Clear();
    // Deletes every object, once, whatever else refers to it.
    void DeleteAll();

    using FendrakeDLinkedListT<MyLink*>::countSize;
    using FendrakeDLinkedListT<MyLink*>::isEmpty;

private:
    friend class Iterator;
    // Both forms leave the list at the entry that follows; Delete returns it,
    // having passed over the entries that die with the object.
    MyLink* iRemoveEntry(MyLink* iLink);
    MyLink* iDeleteEntry(MyLink* iLink);
};

namespace FendrakeMultiRefDetail {
class Ref : public FendrakeAssociationRef {
public:
    Ref(FendrakeAssociationObject* iObject, unsigned int iKey) {
        mLink.mObject = iObject;
        mLink.mKey = iKey;
        mLink.mRef = this;
    }
    // Unlinks the entry from the multi reference; it dies with the object.
    bool AssociationObjectDeleted() override;
    MyLink mLink;
};
} // namespace FendrakeMultiRefDetail

// Walks the entries in order of Add. Remove lets go of the current entry as
// Remove does, Delete deletes its object as DeleteAll does; both leave the
// iterator on the entry that follows.
class FendrakeMultiRefBase::Iterator {
public:
    explicit Iterator(FendrakeMultiRefBase* iList) : mList(iList), mCurrent(iList->getFirst()) {}

    bool isEnd() const { return mCurrent == nullptr; }
    FendrakeAssociationObject* object() const { return mCurrent ? mCurrent->mObject : nullptr; }
    unsigned int key() const { return mCurrent ? mCurrent->mKey : 0; }
    void next() {
        if (mCurrent)
            mCurrent = mList->getNext(mCurrent);
    }
    void Remove() {
        if (mCurrent)
            mCurrent = mList->iRemoveEntry(mCurrent);
    }
    void Delete() {
        if (mCurrent)
            mCurrent = mList->iDeleteEntry(mCurrent);
    }

private:
    FendrakeMultiRefBase* mList;
    MyLink* mCurrent;
};

#endif
