#include "Basic/FendrakeStdLib/FendrakeProCon.h"

#include "Capture.h"
#include "DeletionLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <thread>

using testing::ElementsAre;
using testing::HasSubstr;

namespace {
// Long enough never to run out on a loaded machine: a test that waits this
// long has failed anyway.
const int kForever = 60000;

struct Item : Logged<FDKDLinkPrio> {
    explicit Item(int iId, int iPrio = 0, std::vector<int>* iLog = nullptr)
        : Logged(iId, iLog), mPrio(iPrio) {}
    int GetPrio() override { return mPrio; }
    int mPrio;
};

// The id is the size.
struct Sized : Logged<FDKDLinkSizeElement> {
    explicit Sized(int iId) : Logged(iId) {}
    unsigned int GetSize() override { return static_cast<unsigned>(mId); }
};

// What a reader gets without waiting, in order, up to the first null.
template <typename Element, typename Queue> std::vector<int> Drain(Queue& ioQueue) {
    std::vector<int> ids;
    while (auto* element = ioQueue.remove(0)) {
        ids.push_back(static_cast<Element*>(element)->mId);
        delete element;
    }
    return ids;
}
} // namespace

TEST(FendrakeProConTest, FifoWithCapacityAndSoftLimit) {
    FendrakeProCon queue(2);
    EXPECT_EQ(nullptr, queue.remove(0));
    EXPECT_FALSE(queue.waitForData(0));
    EXPECT_TRUE(queue.add(new Item(1), 0, 0));
    Item refused(9);
    EXPECT_FALSE(queue.add(&refused, kForever, 1));
    queue.addBlocking(new Item(2));
    EXPECT_FALSE(queue.add(&refused, 0, 0));
    EXPECT_EQ(2, queue.size());
    EXPECT_TRUE(queue.waitForData(0));
    EXPECT_THAT(Drain<Item>(queue), ElementsAre(1, 2));
    EXPECT_TRUE(queue.add(new Item(3), 0, 0));
    delete queue.removeBlocking();
    EXPECT_EQ(0, queue.size());
}

TEST(FendrakeProConTest, AbortRemoveLetsOneReaderReturnNull) {
    FendrakeProCon queue(4);
    Item marker(0);
    FDKDLink* got = &marker;
    std::thread reader([&] { got = queue.removeBlocking(); });
    queue.AbortRemove();
    reader.join();
    EXPECT_EQ(nullptr, got);
    // With nothing waiting, the token runs one ahead of the list.
    queue.add(new Item(1), 0, 0);
    queue.AbortRemove();
    EXPECT_THAT(Drain<Item>(queue), ElementsAre(1));
    EXPECT_EQ(nullptr, queue.remove(0));
}

TEST(FendrakeProConTest, DeleteAllAndTraverseFreePlaces) {
    std::vector<int> deleted;
    FendrakeProCon queue(3);
    for (int id = 1; id <= 3; ++id)
        queue.add(new Item(id, 0, &deleted), 0, 0);
    std::vector<int> seen;
    queue.traverse(
        [](FDKDLink* iElement, void* iSeen, bool& oDelete) {
            const int id = static_cast<Item*>(iElement)->mId;
            static_cast<std::vector<int>*>(iSeen)->push_back(id);
            oDelete = id == 2;
            return id < 2;
        },
        &seen);
    EXPECT_THAT(seen, ElementsAre(1, 2));
    EXPECT_THAT(deleted, ElementsAre(2));
    EXPECT_EQ(2, queue.size());
    EXPECT_TRUE(queue.add(new Item(4, 0, &deleted), 0, 0));
    queue.deleteAll();
    EXPECT_THAT(deleted, ElementsAre(2, 1, 3, 4));
    EXPECT_EQ(0, queue.size());
    for (int id = 5; id <= 7; ++id)
        EXPECT_TRUE(queue.add(new Item(id), 0, 0));
    EXPECT_THAT(Drain<Item>(queue), ElementsAre(5, 6, 7));
}

TEST(FendrakeProConTest, PriorityOrderKeepsArrivalWithinAPriority) {
    FendrakeProConPrio queue(10);
    const int prios[] = {0, 4, 5, 4, 0, 5, -1, 9};
    for (int i = 0; i < 8; ++i)
        EXPECT_TRUE(queue.add(new Item(i, prios[i]), 0, 0));
    Item refused(99, 7);
    EXPECT_FALSE(queue.add(&refused, kForever, 8));
    queue.addBlocking(new Item(8, 5));
    // -1 is the largest priority when compared as unsigned.
    EXPECT_THAT(Drain<Item>(queue), ElementsAre(6, 7, 2, 5, 8, 1, 3, 0, 4));
}

TEST(FendrakeProConBucketTest, StrictPrecedenceWithPriorityAndSkip) {
    FendrakeProConBucket queue(3, 10);
    const int buckets[] = {1, 0, 2, 0};
    for (int id = 0; id < 4; ++id)
        queue.add(buckets[id], new Sized(id), 0, 0);
    queue.SetPriorityBucket(2);
    EXPECT_THAT(Drain<Sized>(queue), ElementsAre(2, 1, 3, 0));

    queue.SetPriorityBucket(-1);
    queue.SetSkipBucket(0);
    queue.add(0, new Sized(4), 0, 0);
    EXPECT_EQ(nullptr, queue.remove(0));
    EXPECT_EQ(1, queue.size());
    queue.SetSkipBucket(-1);
    queue.AbortRemove();
    EXPECT_THAT(Drain<Sized>(queue), ElementsAre(4));
}

TEST(FendrakeProConBucketTest, ReadableLimitMovesTheDataCount) {
    FendrakeProConBucket queue(3, 10);
    queue.SetPriorityBucket(2);
    queue.add(0, new Sized(0), 0, 0);
    queue.add(2, new Sized(20), 0, 0);
    queue.SetMaxReadBucket(0);
    EXPECT_THAT(Drain<Sized>(queue), ElementsAre(20));
    for (int id = 10; id <= 12; ++id)
        queue.add(1, new Sized(id), 0, 0);
    EXPECT_EQ(nullptr, queue.remove(0));
    queue.SetMaxReadBucket(7);
    // The waiting one of bucket 0, three of bucket 1, and the null of the
    // extra wake-up that ends the drain; then no token is left.
    EXPECT_THAT(Drain<Sized>(queue), ElementsAre(0, 10, 11, 12));
    EXPECT_FALSE(queue.waitForData(0));
    EXPECT_EQ(0, queue.size());
}

TEST(FendrakeProConBucketTest, CountsSizesAndDeletesBuckets) {
    CaptureScope scope;
    FendrakeProConBucket queue(2, 4);
    Sized* first = new Sized(100);
    queue.add(0, first, 0, 0);
    queue.add(1, new Sized(7), 0, 0);
    queue.add(1, new Sized(8), 0, 0);
    Sized refused(1);
    EXPECT_FALSE(queue.add(0, &refused, kForever, 3));
    EXPECT_THROW(queue.add(2, &refused, 0, 0), AssertionFired);
    EXPECT_THAT(LastLogLine(), HasSubstr("src/FendrakeProCon:"));
    EXPECT_THAT(LastLogLine(), HasSubstr("Assertion `bucketIdx<mNumBuckets' failed"));
    queue.printStatus();
    EXPECT_THAT(CapturedOutput(),
                HasSubstr("ProConBucketStatus size=[3] contentSize[115] [1 2 ]\n"));

    EXPECT_EQ(first, queue.remove(0));
    queue.add(0, first, 0, 0);
    EXPECT_EQ(115u, queue.contentSize());
    queue.deleteBucket(1);
    EXPECT_EQ(1, queue.size());
    EXPECT_EQ(100u, queue.contentSize());
    EXPECT_THAT(Drain<Sized>(queue), ElementsAre(100));
    EXPECT_EQ(nullptr, queue.remove(0));
    for (int id = 0; id < 4; ++id)
        EXPECT_TRUE(queue.add(1, new Sized(id), 0, 0));
    queue.deleteAll();
    EXPECT_EQ(0u, queue.contentSize());
    EXPECT_TRUE(queue.add(0, new Sized(5), 0, 0));
}
