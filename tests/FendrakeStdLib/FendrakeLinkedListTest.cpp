#include "Basic/FendrakeStdLib/FendrakeLinkedList.h"

#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

using testing::ElementsAre;
using testing::HasSubstr;

namespace {
struct Node : FDKLink {
    Node(int iId, std::vector<int>* iDeleted = nullptr) : mId(iId), mDeleted(iDeleted) {}
    ~Node() override {
        if (mDeleted)
            mDeleted->push_back(mId);
    }
    int mId;
    std::vector<int>* mDeleted;
};

// Walks the ring through the sentinel and checks mLast and mCount on the way.
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

// Empties a list of stack elements without deleting them.
void Detach(FendrakeLinkedList& iList) {
    while (iList.removeNext(&iList.mHead))
        ;
}
} // namespace

TEST(FendrakeLinkedListTest, EmptyListIsARingThroughTheSentinel) {
    FendrakeLinkedList list;
    EXPECT_EQ(nullptr, list.getFirst());
    EXPECT_EQ(nullptr, list.getLast());
    EXPECT_EQ(&list.mHead, list.mHead.next);
    EXPECT_EQ(&list.mHead, list.mLast);
}

TEST(FendrakeLinkedListTest, InsertsKeepOrderAndLast) {
    FendrakeLinkedList list;
    Node* two = new Node(2);
    list.insertFirst(two);
    EXPECT_EQ(two, list.getLast());
    list.insertLast(new Node(3));
    list.insertFirst(new Node(1));
    EXPECT_THAT(Ids(list), ElementsAre(1, 2, 3));
    EXPECT_EQ(3, static_cast<Node*>(list.getLast())->mId);
    EXPECT_EQ(nullptr, list.getNext(list.getLast()));
}

TEST(FendrakeLinkedListTest, RemoveMendsLastAndClearsNext) {
    struct Row {
        int mLine;
        int mRemove;
        std::vector<int> mLeft;
    };
    const Row rows[] = {{__LINE__, 0, {1, 2}}, {__LINE__, 1, {0, 2}}, {__LINE__, 2, {0, 1}}};
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        FendrakeLinkedList list;
        Node nodes[] = {Node(0), Node(1), Node(2)};
        for (Node& node : nodes)
            list.insertLast(&node);
        list.remove(&nodes[row.mRemove]);
        EXPECT_EQ(nullptr, nodes[row.mRemove].next);
        EXPECT_EQ(row.mLeft, Ids(list));
        list.insertLast(&nodes[row.mRemove]);
        EXPECT_EQ(&nodes[row.mRemove], list.getLast());
        Detach(list);
    }
}

TEST(FendrakeLinkedListTest, RemovingTheOnlyElementResetsTheList) {
    FendrakeLinkedList list;
    Node a(1), b(2);
    list.insertLast(&a);
    list.remove(&a);
    EXPECT_EQ(nullptr, a.next);
    EXPECT_EQ(&list.mHead, list.mLast);
    list.insertLast(&b);
    EXPECT_THAT(Ids(list), ElementsAre(2));
    Detach(list);
}

TEST(FendrakeLinkedListTest, RemovingAnAbsentLinkAssertsAndChangesNothing) {
    struct Row {
        int mLine;
        int mCount;
        const char* mWhere;
    };
    const Row rows[] = {{__LINE__, 0, "src/FendrakeLinkedList:105 Assertion `0' failed"},
                        {__LINE__, 1, "src/FendrakeLinkedList:81 Assertion `0' failed"},
                        {__LINE__, 3, "src/FendrakeLinkedList:105 Assertion `0' failed"}};
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        CaptureScope scope;
        FendrakeLinkedList list;
        std::vector<Node> nodes;
        nodes.reserve(3);
        for (int i = 0; i < row.mCount; ++i)
            nodes.emplace_back(i);
        for (Node& node : nodes)
            list.insertLast(&node);
        const std::vector<int> before = Ids(list);
        Node stranger(9);
        EXPECT_THROW(list.remove(&stranger), AssertionFired);
        EXPECT_THAT(LastLogLine(), HasSubstr(row.mWhere));
        EXPECT_EQ(before, Ids(list));
        Detach(list);
    }
}

TEST(FendrakeLinkedListTest, RemoveNextTakesOutTheFollower) {
    FendrakeLinkedList list;
    Node a(1), b(2), c(3);
    list.insertLast(&a);
    list.insertLast(&b);
    EXPECT_EQ(&a, list.removeNext(&list.mHead));
    EXPECT_EQ(nullptr, a.next);
    EXPECT_EQ(&b, list.getFirst());
    EXPECT_EQ(&b, list.getLast());
    list.insertLast(&c);
    EXPECT_EQ(&c, list.removeNext(&b));
    EXPECT_THAT(Ids(list), ElementsAre(2));
    EXPECT_EQ(nullptr, list.removeNext(&b));
    EXPECT_THAT(Ids(list), ElementsAre(2));
    Detach(list);
}

TEST(FendrakeLinkedListTest, DeleteAllDeletesFromTheFrontAfterAdvancingTheHead) {
    std::vector<int> deleted;
    struct Watcher : Node {
        Watcher(int iId, std::vector<int>* iDeleted, FendrakeLinkedList* iList)
            : Node(iId, iDeleted), mList(iList) {}
        ~Watcher() override { EXPECT_NE(this, mList->mHead.next); }
        FendrakeLinkedList* mList;
    };
    {
        FendrakeLinkedList list;
        list.deleteAll();
        EXPECT_TRUE(deleted.empty());
        for (int i = 1; i <= 3; ++i)
            list.insertLast(new Watcher(i, &deleted, &list));
        list.deleteAll();
        EXPECT_THAT(deleted, ElementsAre(1, 2, 3));
        EXPECT_THAT(Ids(list), ElementsAre());
        list.insertFirst(new Node(4, &deleted));
    }
    EXPECT_THAT(deleted, ElementsAre(1, 2, 3, 4));
}

TEST(FendrakeLinkedListTest, TypedListForwardsWithElementTypes) {
    std::vector<int> deleted;
    {
        FendrakeLinkedListT<Node*> list;
        Node* a = new Node(1, &deleted);
        Node* b = new Node(2, &deleted);
        list.insertLast(b);
        list.insertFirst(a);
        EXPECT_EQ(b, list.getNext(list.getFirst()));
        EXPECT_EQ(a, list.removeNext(nullptr));
        EXPECT_EQ(1u, list.size());
        delete a;
    }
    EXPECT_THAT(deleted, ElementsAre(1, 2));
}
