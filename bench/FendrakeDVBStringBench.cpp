// Broadcast text to UTF-8 and base64; anchors: glibc's iconv and GLib's base64.
// The texts are descriptor-sized (at most 255 bytes, as on air). glibc is
// measured both with a handle opened once and with one opened per text, as
// AssignFromDVBString does.
#include "Basic/FendrakeStdLib/FendrakeDVBString.h"
#include "Basic/FendrakeStdLib/FendrakeEncode.h"

#include <benchmark/benchmark.h>
#include <glib.h>
#include <iconv.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace {
struct Sample {
    const char* mGlibcName;
    std::string mSelector; // the DVB bytes in front of the text
    std::string mText;     // the text alone, in that table
};

std::string Repeat(const std::string& iUnit, size_t iLength) {
    std::string text;
    while (text.size() + iUnit.size() <= iLength)
        text += iUnit;
    return text;
}

// 0: ISO-8859-1, 1: ISO-8859-5, 2: ISO 6937 with accents, 3: UCS-2.
const Sample& SampleOf(int iIndex) {
    static const Sample kSamples[] = {
        {"ISO-8859-1", std::string("\x10\x00\x01", 3),
         Repeat("Caf\xe9 cr\xe8me, na\xefve gar\xe7on \xe0 l'h\xf4tel. ", 254)},
        {"ISO-8859-5", "\x01",
         Repeat("\xbd\xde\xd2\xde\xe1\xe2\xd8 \xe1\xd5\xd3\xde\xd4\xdd\xef. ", 254)},
        {"ISO_6937", "",
         Repeat("Caf\xc2"
                "e cr\xc1"
                "eme, na\xc8"
                "ive gar\xcb"
                "con \xc1"
                "a l'h\xc3"
                "otel. ",
                255)},
        {"UCS-2BE", "\x11",
         Repeat(std::string("\x04\x1d\x04\x3e\x04\x32\x00\x20\x00\x41\x00\x2e", 12), 254)},
    };
    return kSamples[iIndex];
}

void Samples(benchmark::internal::Benchmark* iBenchmark) {
    iBenchmark->ArgNames({"table"});
    for (int i = 0; i < 4; ++i)
        iBenchmark->Arg(i);
}

void BM_AssignFromDVBString(benchmark::State& state) {
    const Sample& sample = SampleOf(static_cast<int>(state.range(0)));
    const std::string data = sample.mSelector + sample.mText;
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(data.data());
    std::string out;
    for (auto _ : state) {
        AssignFromDVBString(out, bytes, static_cast<int>(data.size()), false, nullptr);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * sample.mText.size()));
    state.SetLabel(sample.mGlibcName);
}

void GlibcConvert(iconv_t iConverter, const std::string& iText, std::string& oOut) {
    char buffer[6 * 256];
    char* in = const_cast<char*>(iText.data());
    size_t inLeft = iText.size();
    char* out = buffer;
    size_t outLeft = sizeof buffer;
    iconv(iConverter, nullptr, nullptr, nullptr, nullptr);
    iconv(iConverter, &in, &inLeft, &out, &outLeft);
    oOut.assign(buffer, sizeof buffer - outLeft);
}

void BM_GlibcIconvOpenedOnce(benchmark::State& state) {
    const Sample& sample = SampleOf(static_cast<int>(state.range(0)));
    iconv_t converter = iconv_open("UTF-8", sample.mGlibcName);
    std::string out;
    for (auto _ : state) {
        GlibcConvert(converter, sample.mText, out);
        benchmark::DoNotOptimize(out.data());
    }
    iconv_close(converter);
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * sample.mText.size()));
    state.SetLabel(sample.mGlibcName);
}

void BM_GlibcIconvOpenedPerText(benchmark::State& state) {
    const Sample& sample = SampleOf(static_cast<int>(state.range(0)));
    std::string out;
    for (auto _ : state) {
        iconv_t converter = iconv_open("UTF-8", sample.mGlibcName);
        GlibcConvert(converter, sample.mText, out);
        iconv_close(converter);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * sample.mText.size()));
    state.SetLabel(sample.mGlibcName);
}

std::string Binary(size_t iLength) {
    std::string data(iLength, 0);
    for (size_t i = 0; i < iLength; ++i)
        data[i] = static_cast<char>(i * 131 + 7);
    return data;
}

void Sizes(benchmark::internal::Benchmark* iBenchmark) {
    for (int size : {48, 1024, 65536})
        iBenchmark->Arg(size);
}

// Both sides allocate their output, as g_base64_encode must.
void BM_Base64Encode_Fendrake(benchmark::State& state) {
    const std::string data = Binary(static_cast<size_t>(state.range(0)));
    const int length = static_cast<int>(data.size());
    for (auto _ : state) {
        const int size = base64encodeBufferSize(length);
        unsigned char* out = static_cast<unsigned char*>(malloc(size + 1));
        out[base64encode(reinterpret_cast<const unsigned char*>(data.data()), length, out, size)] =
            0;
        benchmark::DoNotOptimize(out);
        free(out);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * data.size()));
}

void BM_Base64Encode_GLib(benchmark::State& state) {
    const std::string data = Binary(static_cast<size_t>(state.range(0)));
    for (auto _ : state) {
        gchar* out = g_base64_encode(reinterpret_cast<const guchar*>(data.data()), data.size());
        benchmark::DoNotOptimize(out);
        g_free(out);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * data.size()));
}

std::string Encoded(size_t iLength) {
    const std::string data = Binary(iLength);
    gchar* text = g_base64_encode(reinterpret_cast<const guchar*>(data.data()), data.size());
    std::string encoded(text);
    g_free(text);
    return encoded;
}

void BM_Base64Decode_Fendrake(benchmark::State& state) {
    const std::string text = Encoded(static_cast<size_t>(state.range(0)));
    const unsigned char* source = reinterpret_cast<const unsigned char*>(text.c_str());
    for (auto _ : state) {
        const int length = static_cast<int>(strlen(text.c_str()));
        const int size = base64decodeBufferSize(source, length);
        unsigned char* out = static_cast<unsigned char*>(malloc(size + 1));
        benchmark::DoNotOptimize(base64decode(source, length, out, size));
        free(out);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void BM_Base64Decode_GLib(benchmark::State& state) {
    const std::string text = Encoded(static_cast<size_t>(state.range(0)));
    for (auto _ : state) {
        gsize length = 0;
        guchar* out = g_base64_decode(text.c_str(), &length);
        benchmark::DoNotOptimize(out);
        g_free(out);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}
} // namespace

BENCHMARK(BM_AssignFromDVBString)->Apply(Samples);
BENCHMARK(BM_GlibcIconvOpenedOnce)->Apply(Samples);
BENCHMARK(BM_GlibcIconvOpenedPerText)->Apply(Samples);
BENCHMARK(BM_Base64Encode_Fendrake)->Apply(Sizes);
BENCHMARK(BM_Base64Encode_GLib)->Apply(Sizes);
BENCHMARK(BM_Base64Decode_Fendrake)->Apply(Sizes);
BENCHMARK(BM_Base64Decode_GLib)->Apply(Sizes);
BENCHMARK_MAIN();
