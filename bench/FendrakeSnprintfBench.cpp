// fendrake_snprintf against glibc's snprintf and GLib's g_snprintf on the same
// rows, and the cost of one log statement, printed to /dev/null or suppressed.
#include "Basic/FendrakeStdLib/FendrakeDebug.h"
#include "Basic/FendrakeStdLib/FendrakeStdio.h"

#include <benchmark/benchmark.h>
#include <glib.h>

#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace {
template <typename... Args>
void BM_Fendrake(benchmark::State& state, const char* iFormat, Args... iArgs) {
    char text[128];
    for (auto _ : state) {
        benchmark::DoNotOptimize(fendrake_snprintf(text, sizeof text, iFormat, iArgs...));
        benchmark::ClobberMemory();
    }
}

template <typename... Args>
void BM_Glibc(benchmark::State& state, const char* iFormat, Args... iArgs) {
    char text[128];
    for (auto _ : state) {
        benchmark::DoNotOptimize(snprintf(text, sizeof text, iFormat, iArgs...));
        benchmark::ClobberMemory();
    }
}

template <typename... Args>
void BM_GLib(benchmark::State& state, const char* iFormat, Args... iArgs) {
    char text[128];
    for (auto _ : state) {
        benchmark::DoNotOptimize(g_snprintf(text, sizeof text, iFormat, iArgs...));
        benchmark::ClobberMemory();
    }
}

#define SNPRINTF_ROW(iName, ...)                                                                   \
    BENCHMARK_CAPTURE(BM_Fendrake, iName, __VA_ARGS__);                                            \
    BENCHMARK_CAPTURE(BM_Glibc, iName, __VA_ARGS__);                                               \
    BENCHMARK_CAPTURE(BM_GLib, iName, __VA_ARGS__)

SNPRINTF_ROW(short_int, "%d", 42);
SNPRINTF_ROW(log_line, "%s:%d(L%d)%s", "Basic/FendrakeOS/src/FendrakeMutex/FendrakeMutexCommon",
             127, 1, "Hello");
SNPRINTF_ROW(padded_hex, "pid=0x%04x onid=%08X", 0x1ffu, 0xbeefu);
SNPRINTF_ROW(string_precision, "%.5s|%-8.3s|", "abcdefghij", "klmnop");
SNPRINTF_ROW(float_fixed, "%f", 3.14159);

// Standard output goes to /dev/null while the statements run.
class QuietStdout {
public:
    QuietStdout() : mSaved(dup(1)) {
        fflush(stdout);
        const int null = open("/dev/null", O_WRONLY);
        dup2(null, 1);
        close(null);
    }
    ~QuietStdout() {
        fflush(stdout);
        dup2(mSaved, 1);
        close(mSaved);
    }

private:
    int mSaved;
};

void BM_LogStatement_Printed(benchmark::State& state) {
    QuietStdout quiet;
    for (auto _ : state)
        FENDRAKE_LOG(1, "tuned %u kHz, snr=%d\n", 474000u, 27);
}
BENCHMARK(BM_LogStatement_Printed);

void BM_LogStatement_Suppressed(benchmark::State& state) {
    const unsigned saved = fendrake_debug_output_level_get();
    fendrake_debug_output_level_set(1);
    for (auto _ : state)
        FENDRAKE_LOG(2, "tuned %u kHz, snr=%d\n", 474000u, 27);
    fendrake_debug_output_level_set(saved);
}
BENCHMARK(BM_LogStatement_Suppressed);
} // namespace

BENCHMARK_MAIN();
