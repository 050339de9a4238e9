#include "Basic/FendrakeStdLib/FendrakeVectorOrdered.h"

#include "DeletionLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;

namespace {
// Ordered by rank; the id tells equal ranks apart.
struct Value : Logged<FendrakeOrderedElement> {
    Value(int iRank, int iId, std::vector<int>* iLog = nullptr) : Logged(iId, iLog), mRank(iRank) {}
    int compare(FendrakeOrderedElement* iOther) override {
        return mRank - static_cast<Value*>(iOther)->mRank;
    }
    int mRank;
};

std::vector<int> Ranks(const FendrakeVectorOrderedBase& iVector) {
    std::vector<int> ranks;
    for (unsigned i = 0; i < iVector.size(); ++i)
        ranks.push_back(static_cast<Value*>(iVector[i])->mRank);
    return ranks;
}
} // namespace

TEST(FendrakeVectorOrderedTest, InsertsKeepTheArraySortedAndOnlyOneRefusesEquals) {
    FendrakeVectorOrderedBase unique, equal;
    for (int rank : {5, 1, 9, 3, 7})
        EXPECT_TRUE(unique.InsertNotEqual(new Value(rank, rank)));
    Value seven(7, 0);
    EXPECT_FALSE(unique.InsertNotEqual(&seven));
    EXPECT_THAT(Ranks(unique), ElementsAre(1, 3, 5, 7, 9));
    EXPECT_EQ(8u, unique.capacity());
    for (int rank : {4, 2, 4, 4, 8, 2, 6, 4})
        equal.InsertAllowEqual(new Value(rank, 0));
    EXPECT_THAT(Ranks(equal), ElementsAre(2, 2, 4, 4, 4, 4, 6, 8));
}

TEST(FendrakeVectorOrderedTest, RemoveHandsBackAndDeleteAllKeepsCapacity) {
    std::vector<int> deleted;
    {
        FendrakeVectorOrderedBase vector;
        Value* three = new Value(3, 3, &deleted);
        vector.InsertNotEqual(new Value(1, 1, &deleted));
        vector.InsertNotEqual(three);
        vector.InsertNotEqual(new Value(5, 5, &deleted));
        Value absent(4, 0), beyond(6, 0), probe(3, 0);
        EXPECT_FALSE(vector.Remove(&absent));
        EXPECT_FALSE(vector.Remove(&beyond));
        EXPECT_TRUE(vector.Remove(&probe));
        EXPECT_THAT(Ranks(vector), ElementsAre(1, 5));
        EXPECT_TRUE(deleted.empty());
        delete three;
        vector.deleteAll();
        EXPECT_EQ(0u, vector.size());
        EXPECT_EQ(4u, vector.capacity());
        vector.InsertAllowEqual(new Value(2, 2, &deleted));
    }
    EXPECT_THAT(deleted, ElementsAre(3, 1, 5, 2));
}
