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

// A queue of kCapacity places.
template <typename Base> struct Bounded : Base {
    Bounded() : Base(kCapacity) {}
};

// Each element kind names its queue and takes its rank from a random choice.
struct PlainItem : FDKDLink {
    typedef Bounded<FendrakeProCon> Queue;
    void Choose(unsigned) {}
    Tag mTag;
};
struct PrioItem : FDKDLinkPrio {
    typedef Bounded<FendrakeProConPrio> Queue;
    int GetPrio() override { return static_cast<int>(mTag.mRank); }
    // 0 goes last; -1 read as unsigned ranks above all.
    void Choose(unsigned iChoice) {
        static const unsigned kPrios[] = {0, 1, 2, 7, 0xffffffffu};
        mTag.mRank = kPrios[iChoice % 5];
    }
    Tag mTag;
};
struct BucketQueue;
struct SizedItem : FDKDLinkSizeElement {
    typedef BucketQueue Queue;
    unsigned int GetSize() override { return 1 + mTag.mSeq % 5; }
    // Bucket 2 is the priority bucket, then 0, then 1.
    void Choose(unsigned iChoice) {
        static const unsigned kRanks[] = {1, 0, 2};
        mBucket = iChoice % 3;
        mTag.mRank = kRanks[mBucket];
    }
    Tag mTag;
    unsigned mBucket;
};
// Adds to the element's own bucket, so that it reads like the other queues.
struct BucketQueue : FendrakeProConBucket {
    BucketQueue() : FendrakeProConBucket(3, kCapacity) { SetPriorityBucket(2); }
    bool add(SizedItem* iItem, int iTimeout, unsigned iMaxQueueSize) {
        return FendrakeProConBucket::add(iItem->mBucket, iItem, iTimeout, iMaxQueueSize);
    }
    void addBlocking(SizedItem* iItem) { FendrakeProConBucket::addBlocking(iItem->mBucket, iItem); }
};

template <typename Item> class FendrakeProConStressTest : public testing::Test {
protected:
    typedef typename Item::Queue Queue;

    static int Id(const Tag& iTag) { return iTag.mProducer * kPerProducer + iTag.mSeq; }

    static Item* Make(Tag iTag, unsigned iChoice) {
        Item* item = new Item;
        item->mTag = iTag;
        item->Choose(iChoice);
        return item;
    }
    Item* Take(int iTimeout) { return static_cast<Item*>(mQueue->remove(iTimeout)); }

    // Notes an element as received, or as refused and thus still its maker's.
    void Seen(Item* iItem) {
        ++mSeen[Id(iItem->mTag)];
        delete iItem;
    }

    void Produce(int iProducer) {
        std::mt19937 random(static_cast<unsigned>(iProducer + 1));
        for (int seq = 0; seq < kPerProducer; ++seq) {
            Item* item = Make(Tag{iProducer, seq, 0}, random());
            switch (seq % 4) {
            case 0:
                mQueue->addBlocking(item);
                break;
            case 1:
                while (!mQueue->add(item, 1, 0))
                    ;
                break;
            default:
                if (!(seq % 4 == 2 ? mQueue->add(item, 0, 0)
                                   : mQueue->add(item, 2, kCapacity / 2))) {
                    Seen(item);
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
            Item* item = turn % 5 == iConsumer && mQueue->waitForData(1) ? Take(0) : Take(2);
            if (mQueue->size() > kCapacity)
                ++mOverfull;
            if (!item)
                continue;
            int& previous = last.emplace(std::make_pair(item->mTag.mProducer, item->mTag.mRank), -1)
                                .first->second;
            if (item->mTag.mSeq <= previous)
                ++mOutOfOrder;
            previous = item->mTag.mSeq;
            ++mReceived;
            Seen(item);
        }
    }

    // Single-threaded: what is left, and a batch queued at the same time,
    // must leave by rank, and in order within one producer and rank.
    void DrainByRank() {
        std::mt19937 random(99);
        for (int seq = 0; seq < kPerProducer; ++seq) {
            Item* item = Make(Tag{kProducers, seq, 0}, random());
            if (!mQueue->add(item, 0, 0)) {
                Seen(item);
                break;
            }
        }
        std::vector<Tag> order;
        while (mQueue->size() > 0) {
            if (Item* item = Take(0)) {
                order.push_back(item->mTag);
                Seen(item);
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
        mQueue.reset(new Queue);
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

typedef testing::Types<PlainItem, PrioItem, SizedItem> Kinds;
TYPED_TEST_SUITE(FendrakeProConStressTest, Kinds);

TYPED_TEST(FendrakeProConStressTest, EveryElementArrivesOnceInOrder) {
    this->Run();
}
} // namespace
