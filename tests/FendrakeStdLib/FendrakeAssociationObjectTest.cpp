#include "Basic/FendrakeStdLib/FendrakeAssociationObject.h"

#include "Basic/FendrakeOS/FendrakeMutex.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>
#include <vector>

using testing::ElementsAre;

namespace {
struct Object : FendrakeAssociationObject {
    Object(int iId, std::vector<int>* iDeleted) : mId(iId), mDeleted(iDeleted) {}
    ~Object() override { mDeleted->push_back(mId); }
    int mId;
    std::vector<int>* mDeleted;
};

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
} // namespace

TEST(FendrakeAssociationObjectTest, TheLastSingleReferenceDeletesTheObject) {
    std::vector<int> deleted;
    Object* object = new Object(1, &deleted);
    FendrakeSingleRef<Object> one(object), two;
    two.Set(object);
    one.Set(object);
    EXPECT_EQ(2, object->mReferences.countSize());
    one.Clear();
    EXPECT_TRUE(deleted.empty());
    EXPECT_EQ(1, two->mId);
    {
        FendrakeSingleRef<Object> copy(two);
        two.Clear();
        EXPECT_TRUE(deleted.empty());
    }
    EXPECT_THAT(deleted, ElementsAre(1));

    Object* unreferenced = new Object(2, &deleted);
    delete unreferenced;
    EXPECT_THAT(deleted, ElementsAre(1, 2));
}

TEST(FendrakeAssociationObjectTest, DestroyingTheObjectClearsEveryReference) {
    std::vector<int> deleted;
    Object* object = new Object(1, &deleted);
    Object* other = new Object(2, &deleted);
    FendrakeSingleRef<Object> single(object);
    FendrakeMultiRefBase first, second;
    first.Add(object, 10);
    first.Add(other, 20);
    second.Add(object, 30);
    delete object;
    EXPECT_FALSE(single);
    EXPECT_EQ(nullptr, first.FindFirst(10));
    EXPECT_EQ(1, first.countSize());
    EXPECT_TRUE(second.isEmpty());
    EXPECT_THAT(deleted, ElementsAre(1));
    first.Clear();
    EXPECT_THAT(deleted, ElementsAre(1, 2));
}

TEST(FendrakeAssociationObjectTest, LockedReferenceHoldsItsLockWhileSet) {
    std::vector<int> deleted;
    FendrakeMutexNested a, b;
    Object* object = new Object(1, &deleted);
    Object* other = new Object(2, &deleted);
    FendrakeSingleRef<Object> keep(other);
    FendrakeSingleRefLocked<Object> ref;
    ref.Set(object, &a);
    EXPECT_FALSE(FreeElsewhere(a));
    ref.Set(object, &b);
    EXPECT_TRUE(FreeElsewhere(a));
    EXPECT_FALSE(FreeElsewhere(b));
    ref.Set(other, &b);
    EXPECT_THAT(deleted, ElementsAre(1));
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

TEST(FendrakeAssociationObjectTest, MultiReferenceKeysAndRemoval) {
    std::vector<int> deleted;
    Object* x = new Object(1, &deleted);
    Object* y = new Object(2, &deleted);
    FendrakeSingleRef<Object> holdX(x);
    FendrakeMultiRefBase list;
    list.Add(x, 5);
    list.Add(y, 5);
    list.Add(x, 6);
    list.Add(nullptr, 7);
    EXPECT_EQ(1, Id(list.FindFirst(5)));
    EXPECT_EQ(0, list.Remove(7u));
    EXPECT_EQ(2, list.Remove(x));
    EXPECT_TRUE(deleted.empty());
    EXPECT_EQ(2, Id(list.FindFirst(5)));

    FendrakeMultiRefBase copy;
    copy.Add(&list);
    copy.Add(&copy);
    EXPECT_EQ(2, copy.countSize());
    EXPECT_EQ(1, list.Remove(5u));
    EXPECT_TRUE(deleted.empty());
    EXPECT_EQ(2, copy.Remove(y));
    EXPECT_THAT(deleted, ElementsAre(2));
}

TEST(FendrakeAssociationObjectTest, DeleteAllDeletesEachObjectOnce) {
    std::vector<int> deleted;
    Object* x = new Object(1, &deleted);
    Object* y = new Object(2, &deleted);
    FendrakeSingleRef<Object> single(x);
    FendrakeMultiRefBase list, other;
    list.Add(x, 1);
    list.Add(y, 2);
    list.Add(x, 3);
    other.Add(y, 4);
    list.DeleteAll();
    EXPECT_THAT(deleted, ElementsAre(1, 2));
    EXPECT_TRUE(list.isEmpty());
    EXPECT_TRUE(other.isEmpty());
    EXPECT_FALSE(single);
}

TEST(FendrakeAssociationObjectTest, IteratorStandsOnTheNextEntry) {
    std::vector<int> deleted;
    Object* x = new Object(1, &deleted);
    Object* y = new Object(2, &deleted);
    Object* z = new Object(3, &deleted);
    FendrakeMultiRefBase list;
    list.Add(x, 1);
    list.Add(x, 2);
    list.Add(y, 3);
    list.Add(z, 4);
    list.Add(x, 5);
    std::vector<unsigned> keys;
    for (FendrakeMultiRefBase::Iterator it(&list); !it.isEnd();) {
        keys.push_back(it.key());
        if (it.key() == 1)
            it.Delete();
        else if (it.key() == 3)
            it.Remove();
        else
            it.next();
    }
    EXPECT_THAT(keys, ElementsAre(1, 3, 4));
    EXPECT_THAT(deleted, ElementsAre(1, 2));
    EXPECT_EQ(3, Id(list.FindFirst(4)));
    EXPECT_EQ(1, list.countSize());
}
