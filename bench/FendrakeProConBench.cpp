// FendrakeProCon throughput, one and four producers to one consumer; anchors:
// GLib's GAsyncQueue and a bounded std::mutex + std::condition_variable +
// std::deque queue of the same capacity.
#include "Basic/FendrakeStdLib/FendrakeProCon.h"

#include <benchmark/benchmark.h>
#include <glib.h>

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>
#include <vector>

namespace {
const int kItems = 20000;
const int kCapacity = 1024;

struct Item : FDKDLink {
    int mValue = 0;
};

// Nodes live in one array for the whole run: the intrusive queue needs no
// allocation, and the anchors queue pointers to the same nodes.
std::vector<Item>& Items() {
    static std::vector<Item> sItems(kItems);
    return sItems;
}

class StdQueue {
public:
    void Push(Item* iItem) {
        std::unique_lock<std::mutex> lock(mMutex);
        mSpace.wait(lock, [this] { return mItems.size() < kCapacity; });
        mItems.push_back(iItem);
        lock.unlock();
        mData.notify_one();
    }
    Item* Pop() {
        std::unique_lock<std::mutex> lock(mMutex);
        mData.wait(lock, [this] { return !mItems.empty(); });
        Item* item = mItems.front();
        mItems.pop_front();
        lock.unlock();
        mSpace.notify_one();
        return item;
    }

private:
    std::mutex mMutex;
    std::condition_variable mData;
    std::condition_variable mSpace;
    std::deque<Item*> mItems;
};

// Runs iProducers threads that push kItems in all, and pops them here.
template <typename Push, typename Pop> void Run(benchmark::State& state, Push iPush, Pop iPop) {
    const int producers = static_cast<int>(state.range(0));
    std::vector<Item>& items = Items();
    for (auto _ : state) {
        std::vector<std::thread> threads;
        for (int p = 0; p < producers; ++p)
            threads.emplace_back([&, p] {
                for (int i = p; i < kItems; i += producers)
                    iPush(&items[i]);
            });
        long sum = 0;
        for (int i = 0; i < kItems; ++i)
            sum += iPop()->mValue;
        benchmark::DoNotOptimize(sum);
        for (std::thread& thread : threads)
            thread.join();
    }
    state.SetItemsProcessed(state.iterations() * kItems);
}

void BM_Queue_FendrakeProCon(benchmark::State& state) {
    FendrakeProCon queue(kCapacity);
    Run(
        state, [&](Item* iItem) { queue.addBlocking(iItem); },
        [&] { return static_cast<Item*>(queue.removeBlocking()); });
}

void BM_Queue_GAsyncQueue(benchmark::State& state) {
    GAsyncQueue* queue = g_async_queue_new();
    Run(
        state, [&](Item* iItem) { g_async_queue_push(queue, iItem); },
        [&] { return static_cast<Item*>(g_async_queue_pop(queue)); });
    g_async_queue_unref(queue);
}

void BM_Queue_StdMutexDeque(benchmark::State& state) {
    StdQueue queue;
    Run(
        state, [&](Item* iItem) { queue.Push(iItem); }, [&] { return queue.Pop(); });
}
} // namespace

BENCHMARK(BM_Queue_FendrakeProCon)->Arg(1)->Arg(4)->UseRealTime();
BENCHMARK(BM_Queue_GAsyncQueue)->Arg(1)->Arg(4)->UseRealTime();
BENCHMARK(BM_Queue_StdMutexDeque)->Arg(1)->Arg(4)->UseRealTime();

BENCHMARK_MAIN();
