#include "Basic/FendrakeStdLib/FendrakeVectorOrdered.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

using testing::ElementsAre;

namespace {
struct Value : FendrakeOrderedElement {
    Value(int iRank, int iTag, std::vector<int>* iDeleted = nullptr)
        : mRank(iRank), mTag(iTag), mDeleted(iDeleted) {}
    ~Value() override {
        if (mDeleted)
            mDeleted->push_back(mTag);
    }
    int compare(FendrakeOrderedElement* iOther) override {
        return mRank - static_cast<Value*>(iOther)->mRank;
    }
    int mRank;
    int mTag;
    std::vector<int>* mDeleted;
};

std::vector<int> Ranks(const FendrakeVectorOrderedBase& iVector) {
    std::vector<int> ranks;
    for (unsigned i = 0; i < iVector.size(); ++i)
        ranks.push_back(static_cast<Value*>(iVector[i])->mRank);
    return ranks;
}
} // namespace

TEST(FendrakeVectorOrderedTest, InsertNotEqualRefusesAnEqualElement) {
    FendrakeVectorOrderedBase vector;
    for (int rank : {5, 1, 9, 3, 7})
        EXPECT_TRUE(vector.InsertNotEqual(new Value(rank, rank)));
    EXPECT_THAT(Ranks(vector), ElementsAre(1, 3, 5, 7, 9));
    Value equal(7, 0);
    EXPECT_FALSE(vector.InsertNotEqual(&equal));
    EXPECT_EQ(5u, vector.size());
    EXPECT_EQ(8u, vector.capacity());
}

TEST(FendrakeVectorOrderedTest, InsertAllowEqualKeepsTheArraySorted) {
    FendrakeVectorOrderedBase vector;
    for (int rank : {4, 2, 4, 4, 8, 2, 6, 4})
        vector.InsertAllowEqual(new Value(rank, 0));
    EXPECT_THAT(Ranks(vector), ElementsAre(2, 2, 4, 4, 4, 4, 6, 8));
}

TEST(FendrakeVectorOrderedTest, RemoveHandsBackAndDeleteAllKeepsCapacity) {
    std::vector<int> deleted;
    {
        FendrakeVectorOrderedBase vector;
        Value* three = new Value(3, 3, &deleted);
        vector.InsertNotEqual(new Value(1, 1, &deleted));
        vector.InsertNotEqual(three);
        vector.InsertNotEqual(new Value(5, 5, &deleted));
        Value absent(4, 0);
        EXPECT_FALSE(vector.Remove(&absent));
        Value beyond(6, 0);
        EXPECT_FALSE(vector.Remove(&beyond));
        Value probe(3, 0);
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
