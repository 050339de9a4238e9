// Message loopers against GLib, in one run:
// - throughput: 20000 messages posted from one thread to a handler on a
//   looper, until the last is handled; anchors: GAsyncQueue to a consumer
//   thread, and g_main_context_invoke on a GMainContext run by a thread;
// - latency: one message bounced between handlers on two loopers; anchors:
//   two threads with a GAsyncQueue each, and g_main_context_invoke between
//   two contexts, each run by a thread;
// - 10000 pending timed messages: insert, cancel every second one, dispatch
//   the rest; anchor: g_timeout_add and g_source_remove on one context.
// The thread system is up, so every turn of a looper renews its response ping.
#include "Basic/FendrakeStdLib/FendrakeMessageLooper.h"

#include <benchmark/benchmark.h>
#include <glib.h>

#include <atomic>
#include <chrono>
#include <thread>
#include <vector>

namespace {
const int kMessages = 20000;
const int kBounces = 10000;
const int kTimed = 10000;

class BenchMessage : public FendrakeMessage {
public:
    FendrakeMessageGroup GetFendrakeMessageGroup() const override {
        return static_cast<FendrakeMessageGroup>(1);
    }
    int GetMessageGroupSubType() const override { return 1; }
    const char* GetName() const override { return "BenchMessage"; }
    FendrakeMessage* Clone() override { return new BenchMessage(*this); }
    int mLeft = 0;
};

// Counts the messages it handles and signals when the last has come.
class Counter : public FendrakeMessageHandler {
public:
    Counter(FendrakeMessageLooper* iLooper, FendrakeSemaphore* iDone)
        : FendrakeMessageHandler(iLooper), mDone(iDone) {}
    bool HandleMessage(FendrakeMessage*) override {
        if (++mSeen == mExpected)
            mDone->Signal();
        return true;
    }
    void Expect(int iMessages) {
        mSeen = 0;
        mExpected = iMessages;
    }

private:
    FendrakeSemaphore* mDone;
    int mSeen = 0;
    int mExpected = 0;
};

// Keeps the message and posts it on to its partner, until mLeft runs out.
class Bouncer : public FendrakeMessageHandler {
public:
    Bouncer(FendrakeMessageLooper* iLooper, FendrakeSemaphore* iDone)
        : FendrakeMessageHandler(iLooper), mDone(iDone) {}
    bool HandleMessage(FendrakeMessage* iMsg) override {
        BenchMessage* msg = static_cast<BenchMessage*>(iMsg);
        if (--msg->mLeft < 0) {
            mDone->Signal();
            return true;
        }
        KeepMessage();
        mPartner->PostMsg(msg);
        return true;
    }
    Bouncer* mPartner = nullptr;

private:
    FendrakeSemaphore* mDone;
};

struct GlibItem {
    std::atomic<int>* mSeen;
    int mLeft;
};

// A GMainContext run by its own thread until Stop.
class ContextThread {
public:
    ContextThread() : mContext(g_main_context_new()), mLoop(g_main_loop_new(mContext, FALSE)) {
        mThread = std::thread([this] {
            g_main_context_push_thread_default(mContext);
            g_main_loop_run(mLoop);
            g_main_context_pop_thread_default(mContext);
        });
        while (!g_main_loop_is_running(mLoop))
            std::this_thread::yield();
    }
    ~ContextThread() {
        g_main_loop_quit(mLoop);
        g_main_context_wakeup(mContext);
        mThread.join();
        g_main_loop_unref(mLoop);
        g_main_context_unref(mContext);
    }
    GMainContext* mContext;

private:
    GMainLoop* mLoop;
    std::thread mThread;
};

// The queue holds 1024 messages, or all of them like GLib's unbounded queues.
void BM_Throughput_FendrakeMessageLooper(benchmark::State& state) {
    FendrakeSemaphore done(0);
    FendrakeMessageLooper looper("bench", 10, static_cast<int>(state.range(0)));
    Counter* counter = new Counter(&looper, &done);
    looper.Start();
    for (auto _ : state) {
        counter->Expect(kMessages);
        for (int i = 0; i < kMessages; ++i)
            counter->PostMsg(new BenchMessage);
        done.Wait();
    }
    state.SetItemsProcessed(state.iterations() * kMessages);
}

// Ends a GAsyncQueue consumer.
GlibItem sStopItem{nullptr, 0};

void BM_Throughput_GAsyncQueue(benchmark::State& state) {
    GAsyncQueue* queue = g_async_queue_new();
    FendrakeSemaphore done(0);
    std::thread consumer([&] {
        int seen = 0;
        for (;;) {
            GlibItem* item = static_cast<GlibItem*>(g_async_queue_pop(queue));
            if (item == &sStopItem)
                return;
            if (++seen % kMessages == 0)
                done.Signal();
            delete item;
        }
    });
    for (auto _ : state) {
        for (int i = 0; i < kMessages; ++i)
            g_async_queue_push(queue, new GlibItem{nullptr, 0});
        done.Wait();
    }
    g_async_queue_push(queue, &sStopItem);
    consumer.join();
    g_async_queue_unref(queue);
    state.SetItemsProcessed(state.iterations() * kMessages);
}

FendrakeSemaphore* sInvokeDone;

gboolean CountInvoke(gpointer iData) {
    GlibItem* item = static_cast<GlibItem*>(iData);
    if (++*item->mSeen % kMessages == 0)
        sInvokeDone->Signal();
    delete item;
    return G_SOURCE_REMOVE;
}

void BM_Throughput_GMainContextInvoke(benchmark::State& state) {
    FendrakeSemaphore done(0);
    sInvokeDone = &done;
    std::atomic<int> seen{0};
    ContextThread context;
    for (auto _ : state) {
        for (int i = 0; i < kMessages; ++i)
            g_main_context_invoke(context.mContext, CountInvoke, new GlibItem{&seen, 0});
        done.Wait();
    }
    state.SetItemsProcessed(state.iterations() * kMessages);
}

void BM_RoundTrip_FendrakeMessageLooper(benchmark::State& state) {
    FendrakeSemaphore done(0);
    FendrakeMessageLooper first("ping", 10);
    FendrakeMessageLooper second("pong", 10);
    Bouncer* ping = new Bouncer(&first, &done);
    Bouncer* pong = new Bouncer(&second, &done);
    ping->mPartner = pong;
    pong->mPartner = ping;
    first.Start();
    second.Start();
    for (auto _ : state) {
        BenchMessage* msg = new BenchMessage;
        msg->mLeft = 2 * kBounces;
        ping->PostMsg(msg);
        done.Wait();
    }
    state.SetItemsProcessed(state.iterations() * kBounces);
}

void BM_RoundTrip_GAsyncQueue(benchmark::State& state) {
    GAsyncQueue* queues[2] = {g_async_queue_new(), g_async_queue_new()};
    FendrakeSemaphore done(0);
    std::vector<std::thread> threads;
    for (int side = 0; side < 2; ++side)
        threads.emplace_back([&, side] {
            for (;;) {
                GlibItem* item = static_cast<GlibItem*>(g_async_queue_pop(queues[side]));
                if (item == &sStopItem)
                    return;
                if (--item->mLeft < 0) {
                    delete item;
                    done.Signal();
                } else {
                    g_async_queue_push(queues[1 - side], item);
                }
            }
        });
    for (auto _ : state) {
        g_async_queue_push(queues[0], new GlibItem{nullptr, 2 * kBounces});
        done.Wait();
    }
    for (GAsyncQueue* queue : queues)
        g_async_queue_push(queue, &sStopItem);
    for (std::thread& thread : threads)
        thread.join();
    for (GAsyncQueue* queue : queues)
        g_async_queue_unref(queue);
    state.SetItemsProcessed(state.iterations() * kBounces);
}

ContextThread* sSides[2];

template <int Side> gboolean BounceFrom(gpointer iData) {
    GlibItem* item = static_cast<GlibItem*>(iData);
    if (--item->mLeft < 0) {
        delete item;
        sInvokeDone->Signal();
    } else {
        g_main_context_invoke(sSides[1 - Side]->mContext, BounceFrom<1 - Side>, item);
    }
    return G_SOURCE_REMOVE;
}

void BM_RoundTrip_GMainContextInvoke(benchmark::State& state) {
    FendrakeSemaphore done(0);
    sInvokeDone = &done;
    ContextThread first;
    ContextThread second;
    sSides[0] = &first;
    sSides[1] = &second;
    for (auto _ : state) {
        g_main_context_invoke(first.mContext, BounceFrom<0>, new GlibItem{nullptr, 2 * kBounces});
        done.Wait();
    }
    state.SetItemsProcessed(state.iterations() * kBounces);
}

// Phase times in microseconds, averaged over the iterations.
struct Phases {
    double mInsert = 0, mCancel = 0, mDispatch = 0;
    void Report(benchmark::State& state) const {
        const double n = static_cast<double>(state.iterations());
        state.counters["insert_us"] = mInsert / n;
        state.counters["cancel_us"] = mCancel / n;
        state.counters["dispatch_us"] = mDispatch / n;
    }
};

double Since(std::chrono::steady_clock::time_point& ioStart) {
    const std::chrono::steady_clock::time_point now = std::chrono::steady_clock::now();
    const double us = std::chrono::duration<double, std::micro>(now - ioStart).count();
    ioStart = now;
    return us;
}

void BM_Timed10000_FendrakeMessageLooper(benchmark::State& state) {
    FendrakeSemaphore done(0);
    FendrakeMessageLooper looper("timed", 10);
    Counter* counter = new Counter(&looper, &done);
    looper.Start();
    Phases phases;
    for (auto _ : state) {
        counter->Expect(kTimed / 2);
        std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
        {
            // The looper waits for this lock before it looks at the timed list.
            FendrakeLockScope<FendrakeMutexNested> hold(looper.GetMutexNested());
            for (int i = 0; i < kTimed; ++i)
                counter->TimedMsgKey(new BenchMessage, 1, static_cast<unsigned int>(i));
            phases.mInsert += Since(start);
            BenchMessage pattern;
            for (int i = 1; i < kTimed; i += 2)
                counter->DeleteTimedMsgs(&pattern, FendrakeMessageHandler::MsgTypeUniqueKey,
                                         static_cast<unsigned int>(i));
            phases.mCancel += Since(start);
            // All due by now, or within the millisecond.
            FendrakeThread::DelayThreadMS(2);
            Since(start);
        }
        done.Wait();
        phases.mDispatch += Since(start);
    }
    phases.Report(state);
}

gboolean CountTimeout(gpointer iData) {
    ++*static_cast<int*>(iData);
    return G_SOURCE_REMOVE;
}

void BM_Timed10000_GTimeoutAdd(benchmark::State& state) {
    GMainContext* context = g_main_context_default();
    std::vector<guint> ids(kTimed);
    Phases phases;
    for (auto _ : state) {
        int seen = 0;
        std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
        for (int i = 0; i < kTimed; ++i)
            ids[i] = g_timeout_add(1, CountTimeout, &seen);
        phases.mInsert += Since(start);
        for (int i = 1; i < kTimed; i += 2)
            g_source_remove(ids[i]);
        phases.mCancel += Since(start);
        FendrakeThread::DelayThreadMS(2);
        Since(start);
        while (seen < kTimed / 2)
            g_main_context_iteration(context, TRUE);
        phases.mDispatch += Since(start);
    }
    phases.Report(state);
}
} // namespace

BENCHMARK(BM_Throughput_FendrakeMessageLooper)
    ->ArgName("capacity")
    ->Arg(1024)
    ->Arg(kMessages)
    ->UseRealTime();
BENCHMARK(BM_Throughput_GAsyncQueue)->UseRealTime();
BENCHMARK(BM_Throughput_GMainContextInvoke)->UseRealTime();
BENCHMARK(BM_RoundTrip_FendrakeMessageLooper)->UseRealTime();
BENCHMARK(BM_RoundTrip_GAsyncQueue)->UseRealTime();
BENCHMARK(BM_RoundTrip_GMainContextInvoke)->UseRealTime();
BENCHMARK(BM_Timed10000_FendrakeMessageLooper)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(BM_Timed10000_GTimeoutAdd)->UseRealTime()->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
    FendrakeThread::Initialize();
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    FendrakeThread::Destruct();
    return 0;
}
