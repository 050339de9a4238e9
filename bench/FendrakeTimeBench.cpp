// Reads of the clocks against a bare clock_gettime(CLOCK_MONOTONIC), the limit.
#include "Basic/FendrakeOS/FendrakeThread.h"
#include "Basic/FendrakeStdLib/FendrakeTime.h"

#include <benchmark/benchmark.h>

#include <ctime>

namespace {
void BM_ClockGettimeMonotonic(benchmark::State& ioState) {
    for (auto _ : ioState) {
        timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        benchmark::DoNotOptimize(now);
    }
}

void BM_GetClockNow(benchmark::State& ioState) {
    for (auto _ : ioState)
        benchmark::DoNotOptimize(FendrakeThread::GetClockNow());
}

// With an ordinary source chosen, as on a box that has its time.
void BM_GetTimeNow(benchmark::State& ioState) {
    if (!FendrakeTime::isBookKeepingCreated())
        FendrakeTime::CreateBookKeeping();
    FendrakeTime known(1700000000);
    FendrakeTime::setTime(&known, eFTS_External, true);
    for (auto _ : ioState)
        benchmark::DoNotOptimize(FendrakeTime::getTimeNow());
}

void BM_GetTimeNowAppStartNs(benchmark::State& ioState) {
    for (auto _ : ioState) {
        unsigned int sec;
        unsigned int nsec;
        FendrakeTime::getTimeNowAppStartNs(sec, nsec);
        benchmark::DoNotOptimize(sec);
        benchmark::DoNotOptimize(nsec);
    }
}
} // namespace

BENCHMARK(BM_ClockGettimeMonotonic);
BENCHMARK(BM_GetClockNow);
BENCHMARK(BM_GetTimeNow);
BENCHMARK(BM_GetTimeNowAppStartNs);

BENCHMARK_MAIN();
