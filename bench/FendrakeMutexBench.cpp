// Uncontended lock and unlock against the standard mutexes, and a two-thread
// ping-pong through FendrakeSemaphore against std::condition_variable and GCond.
#include "Basic/FendrakeOS/FendrakeMutex.h"
#include "Basic/FendrakeOS/FendrakeSemaphore.h"

#include <benchmark/benchmark.h>
#include <glib.h>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace {
template <typename Lock> void LockUnlock(benchmark::State& ioState) {
    Lock lock;
    for (auto _ : ioState) {
        lock.lock();
        benchmark::ClobberMemory();
        lock.unlock();
    }
}

// Lowercase adapters so one template serves all four.
struct PlainAdapter {
    FendrakeMutex mMutex;
    void lock() { mMutex.Lock(); }
    void unlock() { mMutex.Unlock(); }
};
struct NestedAdapter {
    FendrakeMutexNested mMutex;
    void lock() { mMutex.Lock(); }
    void unlock() { mMutex.Unlock(); }
};

void BM_FendrakeMutex(benchmark::State& ioState) {
    LockUnlock<PlainAdapter>(ioState);
}
void BM_StdMutex(benchmark::State& ioState) {
    LockUnlock<std::mutex>(ioState);
}
void BM_FendrakeMutexNested(benchmark::State& ioState) {
    LockUnlock<NestedAdapter>(ioState);
}
void BM_StdRecursiveMutex(benchmark::State& ioState) {
    LockUnlock<std::recursive_mutex>(ioState);
}

// One iteration is one round trip: ping to the partner, pong back.
void BM_PingPongFendrakeSemaphore(benchmark::State& ioState) {
    FendrakeSemaphore ping(0);
    FendrakeSemaphore pong(0);
    bool stop = false;
    std::thread partner([&] {
        for (;;) {
            ping.Wait();
            if (stop)
                return;
            pong.Signal();
        }
    });
    for (auto _ : ioState) {
        ping.Signal();
        pong.Wait();
    }
    stop = true;
    ping.Signal();
    partner.join();
}

void BM_PingPongStdConditionVariable(benchmark::State& ioState) {
    std::mutex mutex;
    std::condition_variable changed;
    int turn = 0; // 0: main, 1: partner, 2: stop
    std::thread partner([&] {
        std::unique_lock<std::mutex> lock(mutex);
        for (;;) {
            changed.wait(lock, [&] { return turn != 0; });
            if (turn == 2)
                return;
            turn = 0;
            changed.notify_one();
        }
    });
    for (auto _ : ioState) {
        std::unique_lock<std::mutex> lock(mutex);
        turn = 1;
        changed.notify_one();
        changed.wait(lock, [&] { return turn == 0; });
    }
    {
        std::lock_guard<std::mutex> lock(mutex);
        turn = 2;
    }
    changed.notify_one();
    partner.join();
}

void BM_PingPongGCond(benchmark::State& ioState) {
    GMutex mutex;
    GCond changed;
    g_mutex_init(&mutex);
    g_cond_init(&changed);
    int turn = 0;
    std::thread partner([&] {
        g_mutex_lock(&mutex);
        for (;;) {
            while (turn == 0)
                g_cond_wait(&changed, &mutex);
            if (turn == 2)
                break;
            turn = 0;
            g_cond_signal(&changed);
        }
        g_mutex_unlock(&mutex);
    });
    for (auto _ : ioState) {
        g_mutex_lock(&mutex);
        turn = 1;
        g_cond_signal(&changed);
        while (turn != 0)
            g_cond_wait(&changed, &mutex);
        g_mutex_unlock(&mutex);
    }
    g_mutex_lock(&mutex);
    turn = 2;
    g_cond_signal(&changed);
    g_mutex_unlock(&mutex);
    partner.join();
    g_cond_clear(&changed);
    g_mutex_clear(&mutex);
}
} // namespace

BENCHMARK(BM_StdMutex);
BENCHMARK(BM_FendrakeMutex);
BENCHMARK(BM_StdRecursiveMutex);
BENCHMARK(BM_FendrakeMutexNested);
BENCHMARK(BM_PingPongFendrakeSemaphore)->UseRealTime();
BENCHMARK(BM_PingPongStdConditionVariable)->UseRealTime();
BENCHMARK(BM_PingPongGCond)->UseRealTime();

BENCHMARK_MAIN();
