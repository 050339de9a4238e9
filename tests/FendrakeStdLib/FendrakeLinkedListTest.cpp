#include "Basic/FendrakeStdLib/FendrakeLinkedList.h"

#include "Capture.h"
#include "DeletionLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::HasSubstr;

namespace {
typedef Logged<FDKLink> Node;

// Walks the ring through the sentinel, checking mLast and mCount on the way.
std::vector<int> Ids(const FendrakeLinkedList& iList) {
    std::vector<int> ids;
    const FDKLink* last = &iList.mHead;
    for (const FDKLink* link = iList.mHead.next; link != &iList.mHead; link = link->next) {
        ids.push_back(static_cast<const Node*>(link)->mId);
        last = link;
    }
    EXPECT_EQ(last, iList.mLast);
    EXPECT_EQ(ids.size(), iList.mCount);
    return ids;
}

// A list of stack nodes 0 .. iCount-1, emptied without deleting them.
struct Fixture {
    explicit Fixture(int iCount) {
        mNodes.reserve(static_cast<size_t>(iCount));
        for (int i = 0; i < iCount; ++i) {
            mNodes.emplace_back(i);
            mList.insertLast(&mNodes.back());
        }
    }
    ~Fixture() {
        while (mList.removeNext(&mList.mHead))
            ;
    }
    std::vector<Node> mNodes;
    FendrakeLinkedList mList;
};
} // namespace

TEST(FendrakeLinkedListTest, InsertsAtBothEndsOfAnEmptyList) {
    FendrakeLinkedList list;
    EXPECT_EQ(nullptr, list.getFirst());
    EXPECT_EQ(&list.mHead, list.mHead.next);
    EXPECT_EQ(&list.mHead, list.mLast);
    Node* two = new Node(2);
    list.insertFirst(two);
    EXPECT_EQ(two, list.getLast());
    list.insertLast(new Node(3));
    list.insertFirst(new Node(1));
    EXPECT_THAT(Ids(list), ElementsAre(1, 2, 3));
    EXPECT_EQ(nullptr, list.getNext(list.getLast()));
}

TEST(FendrakeLinkedListTest, RemoveMendsLastAndClearsNext) {
    struct Row {
        int mLine;
        int mCount;
        int mRemove;
        std::vector<int> mLeft;
    };
    const Row rows[] = {{__LINE__, 3, 0, {1, 2}},
                        {__LINE__, 3, 1, {0, 2}},
                        {__LINE__, 3, 2, {0, 1}},
                        {__LINE__, 1, 0, {}}};
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        Fixture fixture(row.mCount);
        Node& removed = fixture.mNodes[static_cast<size_t>(row.mRemove)];
        fixture.mList.remove(&removed);
        EXPECT_EQ(nullptr, removed.next);
        EXPECT_EQ(row.mLeft, Ids(fixture.mList));
        fixture.mList.insertLast(&removed);
        EXPECT_EQ(&removed, fixture.mList.getLast());
    }
}

TEST(FendrakeLinkedListTest, RemovingAnAbsentLinkAssertsAndChangesNothing) {
    const int counts[] = {0, 1, 3};
    const char* const places[] = {"src/FendrakeLinkedList:105 Assertion `0' failed",
                                  "src/FendrakeLinkedList:81 Assertion `0' failed",
                                  "src/FendrakeLinkedList:105 Assertion `0' failed"};
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(testing::Message() << "count " << counts[i]);
        CaptureScope scope;
        Fixture fixture(counts[i]);
        const std::vector<int> before = Ids(fixture.mList);
        Node stranger(9);
        EXPECT_THROW(fixture.mList.remove(&stranger), AssertionFired);
        EXPECT_THAT(LastLogLine(), HasSubstr(places[i]));
        EXPECT_EQ(before, Ids(fixture.mList));
    }
}

TEST(FendrakeLinkedListTest, RemoveNextTakesOutTheFollower) {
    Fixture fixture(3);
    FendrakeLinkedList& list = fixture.mList;
    EXPECT_EQ(&fixture.mNodes[0], list.removeNext(&list.mHead));
    EXPECT_EQ(nullptr, fixture.mNodes[0].next);
    EXPECT_EQ(&fixture.mNodes[2], list.removeNext(&fixture.mNodes[1]));
    EXPECT_EQ(nullptr, list.removeNext(&fixture.mNodes[1]));
    EXPECT_THAT(Ids(list), ElementsAre(1));
}

TEST(FendrakeLinkedListTest, DeleteAllAdvancesTheHeadBeforeEachDelete) {
    struct Watcher : Node {
        Watcher(int iId, std::vector<int>* iLog, FendrakeLinkedList* iList)
            : Node(iId, iLog), mList(iList) {}
        ~Watcher() override { EXPECT_NE(this, mList->mHead.next); }
        FendrakeLinkedList* mList;
    };
    std::vector<int> deleted;
    {
        FendrakeLinkedListT<Node*> typed;
        FendrakeLinkedList list;
        for (int i = 1; i <= 3; ++i)
            list.insertLast(new Watcher(i, &deleted, &list));
        list.deleteAll();
        EXPECT_THAT(deleted, ElementsAre(1, 2, 3));
        EXPECT_THAT(Ids(list), ElementsAre());
        list.insertFirst(new Node(4, &deleted));
        typed.insertLast(new Node(5, &deleted));
        typed.insertFirst(new Node(6, &deleted));
        EXPECT_EQ(5, typed.getNext(typed.getFirst())->mId);
        delete typed.removeNext(nullptr);
        EXPECT_EQ(1u, typed.size());
    }
    EXPECT_THAT(deleted, ElementsAre(1, 2, 3, 6, 4, 5));
}
