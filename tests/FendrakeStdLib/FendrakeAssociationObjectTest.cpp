#include "Basic/FendrakeStdLib/FendrakeAssociationObject.h"

#include "Basic/FendrakeOS/FendrakeMutex.h"

#include "DeletionLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

using testing::ElementsAre;

namespace {
typedef Logged<FendrakeAssociationObject> Object;

int Id(FendrakeAssociationObject* iObject) {
    return iObject ? static_cast<Object*>(iObject)->mId : -1;
}

// Whether another thread could take the lock now.
bool FreeElsewhere(FendrakeMutexNested& ioLock) {
    bool free = false;
    std::thread([&] {
        free = ioLock.TryLock() == 0;
        if (free)
            ioLock.Unlock();
    }).join();
    return free;
}

class FendrakeAssociationObjectTest : public testing::Test {
protected:
    Object* New(int iId) { return new Object(iId, &mDeleted); }
    std::vector<int> mDeleted;
};
} // namespace

TEST_F(FendrakeAssociationObjectTest, TheLastSingleReferenceDeletesTheObject) {
    Object* object = New(1);
    FendrakeSingleRef<Object> one(object), two;
    two.Set(object);
    one.Set(object);
    EXPECT_EQ(2, object->mReferences.countSize());
    one.Clear();
    EXPECT_TRUE(mDeleted.empty());
    EXPECT_EQ(1, two->mId);
    {
        FendrakeSingleRef<Object> copy(two);
        two.Clear();
        EXPECT_TRUE(mDeleted.empty());
    }
    EXPECT_THAT(mDeleted, ElementsAre(1));
    delete New(2);
    EXPECT_THAT(mDeleted, ElementsAre(1, 2));
}

TEST_F(FendrakeAssociationObjectTest, DestroyingTheObjectClearsEveryReference) {
    Object* object = New(1);
    FendrakeSingleRef<Object> single(object);
    FendrakeMultiRefBase first, second;
    first.Add(object, 10);
    first.Add(New(2), 20);
    second.Add(object, 30);
    delete object;
    EXPECT_FALSE(single);
    EXPECT_EQ(nullptr, first.FindFirst(10));
    EXPECT_EQ(1, first.countSize());
    EXPECT_TRUE(second.isEmpty());
    first.Clear();
    EXPECT_THAT(mDeleted, ElementsAre(1, 2));
}

TEST_F(FendrakeAssociationObjectTest, LockedReferenceHoldsItsLockWhileSet) {
    FendrakeMutexNested a, b;
    Object* object = New(1);
    Object* other = New(2);
    FendrakeSingleRef<Object> keep(other);
    FendrakeSingleRefLocked<Object> ref;
    ref.Set(object, &a);
    EXPECT_FALSE(FreeElsewhere(a));
    ref.Set(object, &b);
    EXPECT_TRUE(FreeElsewhere(a));
    EXPECT_FALSE(FreeElsewhere(b));
    ref.Set(other, &b);
    EXPECT_THAT(mDeleted, ElementsAre(1));
    EXPECT_EQ(&b, ref.GetLock());
    ref.Clear();
    EXPECT_TRUE(FreeElsewhere(b));
    EXPECT_EQ(2, keep->mId);

    ref.Set(other, &a);
    keep.Clear();
    EXPECT_FALSE(FreeElsewhere(a));
    delete other;
    EXPECT_TRUE(FreeElsewhere(a));
    EXPECT_EQ(nullptr, ref.Get());
    EXPECT_EQ(nullptr, ref.GetLock());
}

TEST_F(FendrakeAssociationObjectTest, MultiReferenceKeysAndRemoval) {
    Object* x = New(1);
    Object* y = New(2);
    FendrakeSingleRef<Object> holdX(x);
    FendrakeMultiRefBase list;
    list.Add(x, 5);
    list.Add(y, 5);
    list.Add(x, 6);
    list.Add(nullptr, 7);
    EXPECT_EQ(1, Id(list.FindFirst(5)));
    EXPECT_EQ(0, list.Remove(7u));
    EXPECT_EQ(2, list.Remove(x));
    EXPECT_TRUE(mDeleted.empty());
    EXPECT_EQ(2, Id(list.FindFirst(5)));

    FendrakeMultiRefBase copy;
    copy.Add(&list);
    copy.Add(&copy);
    EXPECT_EQ(2, copy.countSize());
    EXPECT_EQ(1, list.Remove(5u));
    EXPECT_TRUE(mDeleted.empty());
    EXPECT_EQ(2, copy.Remove(y));
    EXPECT_THAT(mDeleted, ElementsAre(2));
}

// Delete leaves the iterator past the entries that died with the object, and
// DeleteAll deletes an object that stands twice only once.
TEST_F(FendrakeAssociationObjectTest, DeleteAllAndTheIteratorDeleteEachObjectOnce) {
    Object* x = New(1);
    Object* y = New(2);
    Object* z = New(3);
    FendrakeSingleRef<Object> single(z);
    FendrakeMultiRefBase list, other;
    for (Object* object : {x, x, y, z, x, y, z})
        list.Add(object, static_cast<unsigned>(list.countSize()));
    other.Add(y, 9);
    std::vector<unsigned> keys;
    for (FendrakeMultiRefBase::Iterator it(&list); it.key() < 3;) {
        keys.push_back(it.key());
        if (it.key() == 0)
            it.Delete();
        else
            it.Remove();
    }
    EXPECT_THAT(keys, ElementsAre(0, 2));
    EXPECT_THAT(mDeleted, ElementsAre(1));
    EXPECT_EQ(3, Id(list.FindFirst(3)));
    list.DeleteAll();
    EXPECT_THAT(mDeleted, ElementsAre(1, 3, 2));
    EXPECT_TRUE(list.isEmpty());
    EXPECT_TRUE(other.isEmpty());
    EXPECT_FALSE(single);
}
