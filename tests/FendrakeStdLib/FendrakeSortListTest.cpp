#include "Basic/FendrakeStdLib/FendrakeSortList.h"

#include "DeletionLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;

namespace {
typedef Logged<FDKSortLink> Entry;

// Tags in list order; checks the backward links and the count on the way.
std::vector<int> Tags(const FendrakeSortList& iList) {
    std::vector<int> tags;
    for (const FDKSortLink* link = iList.mHead.mNext; link != &iList.mHead; link = link->mNext) {
        EXPECT_EQ(link, link->mPrev->mNext);
        tags.push_back(static_cast<const Entry*>(link)->mId);
    }
    EXPECT_EQ(static_cast<int>(tags.size()), iList.mCount);
    return tags;
}

int Tag(FDKSortLink* iLink) {
    return iLink ? static_cast<Entry*>(iLink)->mId : -1;
}
} // namespace

TEST(FendrakeSortListTest, EqualKeysKeepTheirOrderOfInsertion) {
    FendrakeSortList list;
    EXPECT_EQ(nullptr, list.getFirst());
    EXPECT_EQ(nullptr, list.getLast());
    const unsigned keys[] = {5, 7, 5, 9, 1, 7, 0};
    for (int i = 0; i < 7; ++i)
        list.insert(new Entry(i, nullptr, keys[i]));
    EXPECT_THAT(Tags(list), ElementsAre(6, 4, 0, 2, 1, 5, 3));
    EXPECT_EQ(6, Tag(list.getFirst()));
    EXPECT_EQ(3, Tag(list.getLast()));
    EXPECT_EQ(1, Tag(list.getFromKey(7)));
    EXPECT_EQ(nullptr, list.getFromKey(8));
}

TEST(FendrakeSortListTest, RemoveClearsTheLinkAndDeleteAllEmpties) {
    std::vector<int> deleted;
    {
        FendrakeSortList list;
        Entry kept(0, nullptr, 4u);
        list.insert(&kept);
        list.insert(new Entry(1, &deleted, 2u));
        list.insert(new Entry(2, &deleted, 6u));
        list.remove(&kept);
        EXPECT_EQ(nullptr, kept.mPrev);
        EXPECT_EQ(nullptr, kept.mNext);
        list.remove(&kept);
        EXPECT_THAT(Tags(list), ElementsAre(1, 2));
        list.deleteAll();
        EXPECT_THAT(deleted, ElementsAre(1, 2));
        EXPECT_THAT(Tags(list), ElementsAre());
        list.insert(new Entry(3, &deleted, 3u));
    }
    EXPECT_THAT(deleted, ElementsAre(1, 2, 3));
}
