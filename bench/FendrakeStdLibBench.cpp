// fendrake_bsearch over sorted ints at 1k and 100k elements, all keys present;
// anchor: std::lower_bound.
#include "Basic/FendrakeStdLib/FendrakeStdLib.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {
int CompareInts(const void* iKey, const void* iElement) {
    const int key = *static_cast<const int*>(iKey);
    const int element = *static_cast<const int*>(iElement);
    return (key > element) - (key < element);
}

struct Data {
    explicit Data(int iCount) : mValues(static_cast<size_t>(iCount)) {
        for (int i = 0; i < iCount; ++i)
            mValues[static_cast<size_t>(i)] = 3 * i;
        mQueries = mValues;
        std::shuffle(mQueries.begin(), mQueries.end(), std::mt19937(7));
    }
    std::vector<int> mValues, mQueries;
};

const Data& DataFor(benchmark::State& iState) {
    static const Data sSmall(1000), sLarge(100000);
    return iState.range(0) == 1000 ? sSmall : sLarge;
}

void BM_Search_FendrakeBsearch(benchmark::State& state) {
    const Data& data = DataFor(state);
    const unsigned count = static_cast<unsigned>(data.mValues.size());
    size_t at = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(fendrake_bsearch(&data.mQueries[at], data.mValues.data(), count,
                                                  sizeof(int), CompareInts));
        if (++at == data.mQueries.size())
            at = 0;
    }
}

void BM_Search_StdLowerBound(benchmark::State& state) {
    const Data& data = DataFor(state);
    size_t at = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            std::lower_bound(data.mValues.begin(), data.mValues.end(), data.mQueries[at]));
        if (++at == data.mQueries.size())
            at = 0;
    }
}
} // namespace

BENCHMARK(BM_Search_FendrakeBsearch)->Arg(1000)->Arg(100000);
BENCHMARK(BM_Search_StdLowerBound)->Arg(1000)->Arg(100000);

BENCHMARK_MAIN();
