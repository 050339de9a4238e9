// Several producers and consumers over each queue kind, with bounded
// capacity, timed adds that may be refused, timed removes and AbortRemove:
// every element is received exactly once, refused (and kept by its producer)
// or still queued at the end; each consumer sees the elements of one producer
// and one rank in order; what is queued at the same time leaves by rank.
#include "Basic/FendrakeStdLib/FendrakeProCon.h"

#include <gtest/gtest.h>

#include <atomic>
#include <map>
#include <memory>
#include <random>
#include <thread>
#include <utility>
#include <vector>

namespace {
const int kProducers = 3;
const int kConsumers = 3;
const int kPerProducer = 3000;
const int kCapacity = 8;

struct Tag {
    int mProducer;
    int mSeq;
    unsigned mRank; // leaves before every lower rank queued at the same time
};

struct PlainItem : FDKDLink {
    Tag mTag;
};
struct PrioItem : FDKDLinkPrio {
    int GetPrio() override { return static_cast<int>(mTag.mRank); }
    Tag mTag;
};
struct SizedItem : FDKDLinkSizeElement {
    unsigned int GetSize() override { return 1 + mTag.mSeq % 5; }
    Tag mTag;
    unsigned mBucket;
};

struct Plain {
    typedef PlainItem Item;
    typedef FendrakeProCon Queue;
    static Queue* NewQueue() { return new Queue(kCapacity); }
    static Item* NewItem(Tag iTag, unsigned) {
        Item* item = new Item;
        item->mTag = iTag;
        return item;
    }
    static bool Add(Queue& q, Item* i, int t, unsigned m) { return q.add(i, t, m); }
    static void AddBlocking(Queue& q, Item* i) { q.addBlocking(i); }
    static Item* Remove(Queue& q, int t) { return static_cast<Item*>(q.remove(t)); }
};

struct Prio {
    typedef PrioItem Item;
    typedef FendrakeProConPrio Queue;
    static Queue* NewQueue() { return new Queue(kCapacity); }
    // 0 goes last; -1 read as unsigned ranks above all.
    static Item* NewItem(Tag iTag, unsigned iChoice) {
        static const unsigned kPrios[] = {0, 1, 2, 7, 0xffffffffu};
        Item* item = new Item;
        item->mTag = iTag;
        item->mTag.mRank = kPrios[iChoice % 5];
        return item;
    }
    static bool Add(Queue& q, Item* i, int t, unsigned m) { return q.add(i, t, m); }
    static void AddBlocking(Queue& q, Item* i) { q.addBlocking(i); }
    static Item* Remove(Queue& q, int t) { return static_cast<Item*>(q.remove(t)); }
};

struct Bucket {
    typedef SizedItem Item;
    typedef FendrakeProConBucket Queue;
    // Bucket 2 is the priority bucket, then 0, then 1.
    static Queue* NewQueue() {
        Queue* queue = new Queue(3, kCapacity);
        queue->SetPriorityBucket(2);
        return queue;
    }
    static Item* NewItem(Tag iTag, unsigned iChoice) {
        static const unsigned kRanks[] = {1, 0, 2};
        Item* item = new Item;
        item->mTag = iTag;
        item->mBucket = iChoice % 3;
        item->mTag.mRank = kRanks[item->mBucket];
        return item;
    }
    static bool Add(Queue& q, Item* i, int t, unsigned m) { return q.add(i->mBucket, i, t, m); }
    static void AddBlocking(Queue& q, Item* i) { q.addBlocking(i->mBucket, i); }
    static Item* Remove(Queue& q, int t) { return static_cast<Item*>(q.remove(t)); }
};

template <typename Kind> class FendrakeProConStressTest : public testing::Test {
protected:
    typedef typename Kind::Item Item;
    typedef typename Kind::Queue Queue;

    static int Id(const Tag& iTag) { return iTag.mProducer * kPerProducer + iTag.mSeq; }

    void Produce(int iProducer) {
        std::mt19937 random(static_cast<unsigned>(iProducer + 1));
        for (int seq = 0; seq < kPerProducer; ++seq) {
            Item* item = Kind::NewItem(Tag{iProducer, seq, 0}, random());
            switch (seq % 4) {
            case 0:
                Kind::AddBlocking(*mQueue, item);
                break;
            case 1:
                while (!Kind::Add(*mQueue, item, 1, 0))
                    ;
                break;
            default:
                // Refused: the element is still ours.
                if (!(seq % 4 == 2 ? Kind::Add(*mQueue, item, 0, 0)
                                   : Kind::Add(*mQueue, item, 2, kCapacity / 2))) {
                    ++mSeen[Id(item->mTag)];
                    delete item;
                    ++mRefused;
                }
            }
            if (seq % 97 == 0)
                mQueue->AbortRemove();
        }
    }

    void Consume(int iConsumer) {
        std::map<std::pair<int, unsigned>, int> last;
        for (int turn = 0; !mStop; ++turn) {
            Item* item = nullptr;
            if (turn % 5 == iConsumer && mQueue->waitForData(1))
                item = Kind::Remove(*mQueue, 0);
            else
                item = Kind::Remove(*mQueue, 2);
            if (mQueue->size() > kCapacity)
                ++mOverfull;
            if (!item)
                continue;
            const Tag tag = item->mTag;
            int& previous =
                last.emplace(std::make_pair(tag.mProducer, tag.mRank), -1).first->second;
            if (tag.mSeq <= previous)
                ++mOutOfOrder;
            previous = tag.mSeq;
            ++mSeen[Id(tag)];
            ++mReceived;
            delete item;
        }
    }

    // Single-threaded: what is left, and a batch queued at the same time,
    // must leave by rank, and in order within one producer and rank.
    void DrainByRank() {
        std::mt19937 random(99);
        for (int seq = 0; seq < kPerProducer; ++seq) {
            Item* item = Kind::NewItem(Tag{kProducers, seq, 0}, random());
            if (!Kind::Add(*mQueue, item, 0, 0)) {
                ++mSeen[Id(item->mTag)];
                delete item;
                break;
            }
        }
        std::vector<Tag> order;
        while (mQueue->size() > 0) {
            if (Item* item = Kind::Remove(*mQueue, 0)) {
                order.push_back(item->mTag);
                ++mSeen[Id(item->mTag)];
                delete item;
            }
        }
        ASSERT_FALSE(order.empty());
        for (size_t i = 1; i < order.size(); ++i) {
            SCOPED_TRACE(testing::Message() << "position " << i);
            EXPECT_LE(order[i].mRank, order[i - 1].mRank);
            if (order[i].mRank == order[i - 1].mRank &&
                order[i].mProducer == order[i - 1].mProducer) {
                EXPECT_LT(order[i - 1].mSeq, order[i].mSeq);
            }
        }
    }

    void Run() {
        mQueue.reset(Kind::NewQueue());
        std::vector<std::thread> consumers, producers;
        for (int c = 0; c < kConsumers; ++c)
            consumers.emplace_back(&FendrakeProConStressTest::Consume, this, c);
        for (int p = 0; p < kProducers; ++p)
            producers.emplace_back(&FendrakeProConStressTest::Produce, this, p);
        for (std::thread& producer : producers)
            producer.join();
        mStop = true;
        for (int c = 0; c < kConsumers; ++c)
            mQueue->AbortRemove();
        for (std::thread& consumer : consumers)
            consumer.join();
        DrainByRank();

        EXPECT_EQ(0, mOutOfOrder.load());
        EXPECT_EQ(0, mOverfull.load());
        EXPECT_GT(mReceived.load(), 0);
        EXPECT_GT(mRefused.load(), 0);
        int missing = 0, twice = 0;
        for (int id = 0; id < kProducers * kPerProducer; ++id) {
            missing += mSeen[id] == 0;
            twice += mSeen[id] > 1;
        }
        EXPECT_EQ(0, missing);
        EXPECT_EQ(0, twice);
        EXPECT_EQ(0, mQueue->size());
    }

    std::unique_ptr<Queue> mQueue;
    std::vector<std::atomic<int>> mSeen =
        std::vector<std::atomic<int>>((kProducers + 1) * kPerProducer);
    std::atomic<bool> mStop{false};
    std::atomic<int> mReceived{0};
    std::atomic<int> mRefused{0};
    std::atomic<int> mOutOfOrder{0};
    std::atomic<int> mOverfull{0};
};

typedef testing::Types<Plain, Prio, Bucket> Kinds;
TYPED_TEST_SUITE(FendrakeProConStressTest, Kinds);

TYPED_TEST(FendrakeProConStressTest, EveryElementArrivesOnceInOrder) {
    this->Run();
}
} // namespace
