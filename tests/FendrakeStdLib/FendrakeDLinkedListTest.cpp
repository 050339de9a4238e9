#include "Basic/FendrakeStdLib/FendrakeDLinkedList.h"

#include "Capture.h"
#include "DeletionLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::HasSubstr;

namespace {
typedef Logged<FDKDLink> Node;

// Walks forward and checks every backward link on the way.
std::vector<int> Ids(const FDKDLink& iHead) {
    std::vector<int> ids;
    for (const FDKDLink* link = iHead.next; link != &iHead; link = link->next) {
        EXPECT_EQ(link, link->prev->next);
        ids.push_back(static_cast<const Node*>(link)->mId);
    }
    EXPECT_EQ(&iHead, iHead.prev->next);
    return ids;
}

struct Counting : FendrakeDLinkedListCounting {
    using FendrakeDLinkedListCounting::mHead;
};
} // namespace

TEST(FendrakeDLinkedListTest, InsertsPlaceLinksAndRemoveLeavesThemStale) {
    FendrakeDLinkedListBase list;
    EXPECT_EQ(&list.mHead, list.mHead.next);
    EXPECT_EQ(&list.mHead, list.mHead.prev);
    EXPECT_EQ(nullptr, list.getFirst());
    EXPECT_TRUE(FendrakeDLinkedListBase::Iterator(&list).isEnd());
    Node a(1), b(2), c(3), d(4);
    list.insertLast(&c);
    list.insertFirst(&a);
    FendrakeDLinkedListBase::insertAfter(&b, &a);
    FendrakeDLinkedListBase::insertBefore(&d, &a);
    EXPECT_THAT(Ids(list.mHead), ElementsAre(4, 1, 2, 3));
    EXPECT_EQ(&c, list.getLast());
    EXPECT_EQ(4, list.countSize());
    FendrakeDLinkedListBase::remove(&b);
    EXPECT_EQ(&a, b.prev);
    EXPECT_EQ(&c, b.next);
    EXPECT_FALSE(list.isPresent(&b));
    EXPECT_TRUE(list.isPresent(&c));

    // A copy keeps no links of its own, and assignment leaves them alone.
    FendrakeDLinkedListBase other;
    Node copy(a);
    other.insertLast(&copy);
    d = a;
    EXPECT_THAT(Ids(list.mHead), ElementsAre(1, 1, 3));
    EXPECT_THAT(Ids(other.mHead), ElementsAre(1));
    list.removeAll();
    other.removeAll();
    EXPECT_EQ(nullptr, list.getFirst());
    EXPECT_EQ(&c, a.next);
}

TEST(FendrakeDLinkedListTest, IteratorStandsOnTheFollowerAfterDeleteOrRemove) {
    std::vector<int> deleted, visited;
    FendrakeDLinkedListBase list;
    Node kept(2);
    list.insertLast(new Node(1, &deleted));
    list.insertLast(&kept);
    list.insertLast(new Node(3, &deleted));
    list.insertLast(new Node(4, &deleted));
    for (FendrakeDLinkedListBase::Iterator it(&list); !it.isEnd();) {
        const int id = static_cast<Node*>(it.current())->mId;
        visited.push_back(id);
        if (id == 2)
            it.Remove();
        else if (id != 4)
            it.Delete();
        else
            it.next();
    }
    EXPECT_THAT(visited, ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(deleted, ElementsAre(1, 3));
    EXPECT_THAT(Ids(list.mHead), ElementsAre(4));

    FendrakeDLinkedListBase::Iterator it(&list);
    it.Delete();
    EXPECT_TRUE(it.isEnd());
    it.Delete();
    EXPECT_EQ(&list.mHead, list.mHead.next);
    EXPECT_THAT(deleted, ElementsAre(1, 3, 4));
}

TEST(FendrakeDLinkedListTest, IteratorsAssertOnANullCurrent) {
    CaptureScope scope;
    FendrakeDLinkedListBase list;
    FendrakeDLinkedListBase::Iterator it(&list);
    it.mpCurrent = nullptr;
    EXPECT_THROW(it.next(), AssertionFired);
    EXPECT_THROW(it.Delete(), AssertionFired);
    EXPECT_THROW(it.Remove(), AssertionFired);
    EXPECT_THAT(LastLogLine(),
                HasSubstr("FendrakeStdLib/FendrakeDLinkedList:73 Assertion `mpCurrent' failed"));
    FendrakeDLinkedListBase::ConstIterator cit(&list);
    cit.mpCurrent = nullptr;
    EXPECT_THROW(cit.next(), AssertionFired);
    EXPECT_THAT(LastLogLine(),
                HasSubstr("FendrakeStdLib/FendrakeDLinkedList:90 Assertion `mpCurrent' failed"));
    EXPECT_EQ(4, AssertionCount());
}

TEST(FendrakeDLinkedListTest, DeleteAllDeletesInOrderAndEndsEmpty) {
    std::vector<int> deleted;
    {
        FendrakeDLinkedListT<Node*> list;
        for (int i = 1; i <= 3; ++i)
            list.insertLast(new Node(i, &deleted));
        std::vector<int> ids;
        for (FendrakeDLinkedListT<Node*>::Iterator it(&list); !it.isEnd(); it.next())
            ids.push_back(it.current()->mId);
        EXPECT_THAT(ids, ElementsAre(1, 2, 3));
        EXPECT_EQ(nullptr, list.getPrev(list.getFirst()));
        list.deleteAll();
        EXPECT_THAT(deleted, ElementsAre(1, 2, 3));
        EXPECT_TRUE(list.isEmpty());
        list.insertLast(new Node(4, &deleted));
    }
    EXPECT_THAT(deleted, ElementsAre(1, 2, 3, 4));
}

TEST(FendrakeDLinkedListTest, CountingListCountFollowsEveryOperation) {
    std::vector<int> deleted;
    Counting list;
    Node* a = new Node(1, &deleted);
    Node* c = new Node(3, &deleted);
    Node* d = new Node(4, &deleted);
    list.insertLast(new Node(2, &deleted));
    list.insertFirst(a);
    list.insertAfter(c, list.getLast());
    list.insertBefore(d, c);
    EXPECT_THAT(Ids(list.mHead), ElementsAre(1, 2, 4, 3));
    EXPECT_EQ(4, list.mCount);
    EXPECT_EQ(a, list.removeFirst());
    list.remove(c);
    FendrakeDLinkedListCounting::Iterator it(&list);
    it.Delete();
    it.Remove();
    EXPECT_EQ(0, list.size());
    EXPECT_TRUE(it.isEnd());
    list.insertLast(a);
    list.insertLast(c);
    list.deleteAll();
    EXPECT_EQ(0, list.mCount);
    delete d;
    EXPECT_THAT(deleted, ElementsAre(2, 1, 3, 4));
}
