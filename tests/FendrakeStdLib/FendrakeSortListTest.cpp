#include "Basic/FendrakeStdLib/FendrakeSortList.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

using testing::ElementsAre;

namespace {
struct Entry : FDKSortLink {
    Entry(unsigned iKey, int iTag, std::vector<int>* iDeleted = nullptr)
        : FDKSortLink(iKey), mTag(iTag), mDeleted(iDeleted) {}
    ~Entry() override {
        if (mDeleted)
            mDeleted->push_back(mTag);
    }
    int mTag;
    std::vector<int>* mDeleted;
};

// Tags in list order; checks the backward links and the count on the way.
std::vector<int> Tags(const FendrakeSortList& iList) {
    std::vector<int> tags;
    for (const FDKSortLink* link = iList.mHead.mNext; link != &iList.mHead; link = link->mNext) {
        EXPECT_EQ(link, link->mPrev->mNext);
        tags.push_back(static_cast<const Entry*>(link)->mTag);
    }
    EXPECT_EQ(static_cast<int>(tags.size()), iList.mCount);
    return tags;
}
} // namespace

TEST(FendrakeSortListTest, EqualKeysKeepTheirOrderOfInsertion) {
    FendrakeSortList list;
    EXPECT_EQ(nullptr, list.getFirst());
    EXPECT_EQ(nullptr, list.getLast());
    EXPECT_EQ(nullptr, list.getFromKey(5));
    const unsigned keys[] = {5, 7, 5, 9, 1, 7, 0};
    for (int i = 0; i < 7; ++i)
        list.insert(new Entry(keys[i], i));
    EXPECT_THAT(Tags(list), ElementsAre(6, 4, 0, 2, 1, 5, 3));
    EXPECT_EQ(6, static_cast<Entry*>(list.getFirst())->mTag);
    EXPECT_EQ(3, static_cast<Entry*>(list.getLast())->mTag);
    EXPECT_EQ(1, static_cast<Entry*>(list.getFromKey(7))->mTag);
    EXPECT_EQ(nullptr, list.getFromKey(8));
}

TEST(FendrakeSortListTest, RemoveClearsTheLinkAndDeleteAllEmpties) {
    std::vector<int> deleted;
    {
        FendrakeSortList list;
        Entry kept(4, 0);
        list.insert(&kept);
        list.insert(new Entry(2, 1, &deleted));
        list.insert(new Entry(6, 2, &deleted));
        list.remove(&kept);
        EXPECT_EQ(nullptr, kept.mPrev);
        EXPECT_EQ(nullptr, kept.mNext);
        list.remove(&kept);
        EXPECT_THAT(Tags(list), ElementsAre(1, 2));
        list.deleteAll();
        EXPECT_THAT(deleted, ElementsAre(1, 2));
        EXPECT_THAT(Tags(list), ElementsAre());
        list.insert(new Entry(3, 3, &deleted));
    }
    EXPECT_THAT(deleted, ElementsAre(1, 2, 3));
}
