// FendrakeHashTable::get, hits and misses, with and without the seen index, at
// 1k and 100k elements and a load factor of 1; anchors: std::unordered_map
// and GLib's GHashTable with the same identity hash of the 32-bit key.
#include "Basic/FendrakeStdLib/FendrakeHashTable.h"

#include <benchmark/benchmark.h>
#include <glib.h>

#include <random>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace {
struct Item : FDKDLink {
    explicit Item(unsigned iKey) : mKey(iKey) {}
    unsigned mKey;
};

// The key is a pointer to the unsigned key itself.
template <typename Base> class KeyTable : public Base {
public:
    template <typename... Args> explicit KeyTable(Args... iArgs) : Base(iArgs...) {}
    int compare(void* key, void* element) const override {
        return *static_cast<unsigned*>(key) !=
               static_cast<Item*>(static_cast<FDKDLink*>(element))->mKey;
    }
    unsigned int hashFunction(void* key) const override { return *static_cast<unsigned*>(key); }
};

// Present keys in random order for hits, and as many absent ones for misses.
struct Keys {
    explicit Keys(size_t iCount) {
        std::mt19937 random(static_cast<unsigned>(iCount));
        std::unordered_set<unsigned> used;
        while (mPresent.size() < iCount) {
            const unsigned key = static_cast<unsigned>(random());
            if (used.insert(key).second)
                mPresent.push_back(key);
        }
        while (mAbsent.size() < iCount) {
            const unsigned key = static_cast<unsigned>(random());
            if (used.insert(key).second)
                mAbsent.push_back(key);
        }
        mHits = mPresent;
        std::shuffle(mHits.begin(), mHits.end(), random);
    }
    const std::vector<unsigned>& Queries(bool iHits) const { return iHits ? mHits : mAbsent; }
    std::vector<unsigned> mPresent, mAbsent, mHits;
};

const Keys& KeysFor(size_t iCount) {
    static const Keys sSmall(1000), sLarge(100000);
    return iCount == 1000 ? sSmall : sLarge;
}

unsigned BucketsFor(size_t iCount) {
    return iCount == 1000 ? 1009 : 100003;
}

template <typename Table> void Lookup(benchmark::State& state, Table& iTable) {
    const Keys& keys = KeysFor(static_cast<size_t>(state.range(0)));
    const std::vector<unsigned>& queries = keys.Queries(state.range(1) != 0);
    for (unsigned key : keys.mPresent)
        iTable.insert(&key, static_cast<FDKDLink*>(new Item(key)));
    size_t at = 0;
    for (auto _ : state) {
        unsigned key = queries[at];
        benchmark::DoNotOptimize(iTable.get(&key));
        if (++at == queries.size())
            at = 0;
    }
}

void BM_Get_FendrakeHashTable(benchmark::State& state) {
    KeyTable<FendrakeHashTable> table(BucketsFor(static_cast<size_t>(state.range(0))));
    Lookup(state, table);
}

void BM_Get_FendrakeHashTableWithSeenIndex(benchmark::State& state) {
    const unsigned count = static_cast<unsigned>(state.range(0));
    KeyTable<FendrakeHashTableWithSeenIndex> table(BucketsFor(count), 8 * count);
    Lookup(state, table);
}

void BM_Get_StdUnorderedMap(benchmark::State& state) {
    const Keys& keys = KeysFor(static_cast<size_t>(state.range(0)));
    const std::vector<unsigned>& queries = keys.Queries(state.range(1) != 0);
    std::unordered_map<unsigned, Item*> map;
    map.max_load_factor(1.0f);
    map.reserve(keys.mPresent.size());
    std::vector<Item> items(keys.mPresent.begin(), keys.mPresent.end());
    for (Item& item : items)
        map.emplace(item.mKey, &item);
    size_t at = 0;
    for (auto _ : state) {
        auto found = map.find(queries[at]);
        benchmark::DoNotOptimize(found == map.end() ? nullptr : found->second);
        if (++at == queries.size())
            at = 0;
    }
}

void BM_Get_GHashTable(benchmark::State& state) {
    const Keys& keys = KeysFor(static_cast<size_t>(state.range(0)));
    const std::vector<unsigned>& queries = keys.Queries(state.range(1) != 0);
    GHashTable* table = g_hash_table_new(g_direct_hash, g_direct_equal);
    std::vector<Item> items(keys.mPresent.begin(), keys.mPresent.end());
    for (Item& item : items)
        g_hash_table_insert(table, GUINT_TO_POINTER(item.mKey), &item);
    size_t at = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(g_hash_table_lookup(table, GUINT_TO_POINTER(queries[at])));
        if (++at == queries.size())
            at = 0;
    }
    g_hash_table_destroy(table);
}

void Sizes(benchmark::internal::Benchmark* iBenchmark) {
    iBenchmark->ArgNames({"n", "hit"});
    for (int count : {1000, 100000})
        for (int hit : {1, 0})
            iBenchmark->Args({count, hit});
}
} // namespace

BENCHMARK(BM_Get_FendrakeHashTable)->Apply(Sizes);
BENCHMARK(BM_Get_FendrakeHashTableWithSeenIndex)->Apply(Sizes);
BENCHMARK(BM_Get_StdUnorderedMap)->Apply(Sizes);
BENCHMARK(BM_Get_GHashTable)->Apply(Sizes);

BENCHMARK_MAIN();
