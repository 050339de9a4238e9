// FendrakeStringShared copy, assign and append; anchors: std::string and GLib's GString.
#include "Basic/FendrakeStdLib/FendrakeString.h"

#include <benchmark/benchmark.h>
#include <glib.h>

#include <string>

namespace {
const int kLengths[] = {0, 16, 256, 4096};

struct StringSystem {
    StringSystem() { FendrakeStringShared::CreateSystem(); }
};
const StringSystem sSystem;

std::string Text(benchmark::State& iState) {
    return std::string(static_cast<size_t>(iState.range(0)), 'x');
}

void Lengths(benchmark::internal::Benchmark* iBenchmark) {
    for (int length : kLengths)
        iBenchmark->Arg(length);
}

void BM_Copy_FendrakeStringShared(benchmark::State& state) {
    const std::string text = Text(state);
    // Length 0 is the shared empty rep, as a default-constructed string has it.
    FendrakeStringShared source;
    if (!text.empty())
        source.assign(text.data(), static_cast<unsigned>(text.size()));
    for (auto _ : state) {
        FendrakeStringShared copy(source);
        benchmark::DoNotOptimize(copy.c_str());
    }
}
void BM_Copy_StdString(benchmark::State& state) {
    const std::string source = Text(state);
    for (auto _ : state) {
        std::string copy(source);
        benchmark::DoNotOptimize(copy.data());
    }
}
void BM_Copy_GString(benchmark::State& state) {
    const std::string text = Text(state);
    GString* source = g_string_new_len(text.data(), static_cast<gssize>(text.size()));
    for (auto _ : state) {
        GString* copy = g_string_new_len(source->str, static_cast<gssize>(source->len));
        benchmark::DoNotOptimize(copy->str);
        g_string_free(copy, TRUE);
    }
    g_string_free(source, TRUE);
}

void BM_Assign_FendrakeStringShared(benchmark::State& state) {
    const std::string text = Text(state);
    FendrakeStringShared target;
    for (auto _ : state) {
        target.assign(text.data(), static_cast<unsigned>(text.size()));
        benchmark::DoNotOptimize(target.c_str());
    }
}
void BM_Assign_StdString(benchmark::State& state) {
    const std::string text = Text(state);
    std::string target;
    for (auto _ : state) {
        target.assign(text.data(), text.size());
        benchmark::DoNotOptimize(target.data());
    }
}
void BM_Assign_GString(benchmark::State& state) {
    const std::string text = Text(state);
    GString* target = g_string_new(nullptr);
    for (auto _ : state) {
        g_string_truncate(target, 0);
        g_string_append_len(target, text.data(), static_cast<gssize>(text.size()));
        benchmark::DoNotOptimize(target->str);
    }
    g_string_free(target, TRUE);
}

// Builds a string of the given length from 16-byte pieces, from empty each time.
void BM_Append_FendrakeStringShared(benchmark::State& state) {
    const unsigned length = static_cast<unsigned>(state.range(0));
    for (auto _ : state) {
        FendrakeStringShared target;
        for (unsigned used = 0; used < length; used += 16)
            target.append("0123456789abcdef", 16);
        benchmark::DoNotOptimize(target.c_str());
    }
}
void BM_Append_StdString(benchmark::State& state) {
    const unsigned length = static_cast<unsigned>(state.range(0));
    for (auto _ : state) {
        std::string target;
        for (unsigned used = 0; used < length; used += 16)
            target.append("0123456789abcdef", 16);
        benchmark::DoNotOptimize(target.data());
    }
}
void BM_Append_GString(benchmark::State& state) {
    const unsigned length = static_cast<unsigned>(state.range(0));
    for (auto _ : state) {
        GString* target = g_string_new(nullptr);
        for (unsigned used = 0; used < length; used += 16)
            g_string_append_len(target, "0123456789abcdef", 16);
        benchmark::DoNotOptimize(target->str);
        g_string_free(target, TRUE);
    }
}
} // namespace

BENCHMARK(BM_Copy_FendrakeStringShared)->Apply(Lengths);
BENCHMARK(BM_Copy_StdString)->Apply(Lengths);
BENCHMARK(BM_Copy_GString)->Apply(Lengths);
BENCHMARK(BM_Assign_FendrakeStringShared)->Apply(Lengths);
BENCHMARK(BM_Assign_StdString)->Apply(Lengths);
BENCHMARK(BM_Assign_GString)->Apply(Lengths);
BENCHMARK(BM_Append_FendrakeStringShared)->Apply(Lengths);
BENCHMARK(BM_Append_StdString)->Apply(Lengths);
BENCHMARK(BM_Append_GString)->Apply(Lengths);

BENCHMARK_MAIN();
