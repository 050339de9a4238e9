// FendrakeProCon throughput, one and four producers to one consumer, with a
// capacity of 1024 and with one that never blocks a producer; anchors: GLib's
// GAsyncQueue (unbounded) and a std::mutex + std::condition_variable +
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
    explicit StdQueue(size_t iCapacity) : mCapacity(iCapacity) {}
    void Push(Item* iItem) {
        std::unique_lock<std::mutex> lock(mMutex);
        mSpace.wait(lock, [this] { return mItems.size() < mCapacity; });
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
    const size_t mCapacity;
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
    FendrakeProCon queue(static_cast<int>(state.range(1)));
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
    StdQueue queue(static_cast<size_t>(state.range(1)));
    Run(
        state, [&](Item* iItem) { queue.Push(iItem); }, [&] { return queue.Pop(); });
}
} // namespace

namespace {
void Shapes(benchmark::internal::Benchmark* iBenchmark) {
    iBenchmark->ArgNames({"producers", "capacity"})->UseRealTime();
    for (int producers : {1, 4})
        for (int capacity : {1024, kItems})
            iBenchmark->Args({producers, capacity});
}
} // namespace

BENCHMARK(BM_Queue_FendrakeProCon)->Apply(Shapes);
BENCHMARK(BM_Queue_GAsyncQueue)->Apply(Shapes);
BENCHMARK(BM_Queue_StdMutexDeque)->Apply(Shapes);

BENCHMARK_MAIN();
