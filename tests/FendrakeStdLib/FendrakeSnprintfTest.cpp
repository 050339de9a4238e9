#include "Basic/FendrakeStdLib/FendrakeStdio.h"

#include "Basic/FendrakeStdLib/FendrakeOstream.h"
#include "Basic/FendrakeStdLib/FendrakePrintfOutput.h"

#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

using testing::HasSubstr;

namespace {
std::string Ours(const char* iFormat, ...) {
    char text[512];
    va_list args;
    va_start(args, iFormat);
    const int length = fendrake_vsnprintf(text, sizeof text, iFormat, args);
    va_end(args);
    EXPECT_EQ(strlen(text), static_cast<size_t>(length));
    return text;
}

std::string Libc(const char* iFormat, ...) {
    char text[512];
    va_list args;
    va_start(args, iFormat);
    vsnprintf(text, sizeof text, iFormat, args);
    va_end(args);
    return text;
}

struct Row {
    int mLine;
    std::string mOurs;
    std::string mExpected;
};

// Where the format language promises printf behaviour, libc is the oracle.
#define SAME_AS_LIBC(...)                                                                          \
    Row {                                                                                          \
        __LINE__, Ours(__VA_ARGS__), Libc(__VA_ARGS__)                                             \
    }
#define PRINTS(iText, ...)                                                                         \
    Row {                                                                                          \
        __LINE__, Ours(__VA_ARGS__), iText                                                         \
    }

void Check(const std::vector<Row>& iRows) {
    for (const Row& row : iRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        EXPECT_EQ(row.mExpected, row.mOurs);
    }
}
} // namespace

TEST(FendrakeSnprintfTest, IntegersAndTextAsPrintf) {
    Check({
        SAME_AS_LIBC("%d|%i", 0, 42),
        SAME_AS_LIBC("%d %d", INT_MAX, INT_MIN),
        SAME_AS_LIBC("%5d|%-5d|%05d", 42, 42, -42),
        SAME_AS_LIBC("%+d|% d|%+d", 42, 42, -42),
        SAME_AS_LIBC("%.3d|%8.3d|%-8.3d|", 7, -7, 7),
        SAME_AS_LIBC("%0-5d|%-05d|", 42, 42),
        SAME_AS_LIBC("%+05d|%0+5d", 42, -42),
        SAME_AS_LIBC("%u %u", 0u, UINT_MAX),
        SAME_AS_LIBC("%x %X %o", 255u, 255u, 8u),
        SAME_AS_LIBC("%#x %#X %#o", 255u, 255u, 8u),
        SAME_AS_LIBC("%#010x|%#.4x|%08X", 255u, 0xabu, 0xbeefu),
        SAME_AS_LIBC("%lu", 4000000000u),
        SAME_AS_LIBC("%lld %lld", LLONG_MIN, LLONG_MAX),
        SAME_AS_LIBC("%llu %llx %llo", ULLONG_MAX, 0x123456789abcdefULL, 1ULL << 40),
        SAME_AS_LIBC("%*d|%-*d|%*d|", 5, 42, 5, 42, -5, 42),
        SAME_AS_LIBC("%.*d", 4, 42),
        SAME_AS_LIBC("%s|%10s|%-10s|", "abc", "abc", "abc"),
        SAME_AS_LIBC("%.2s|%10.2s|%.*s|%.*s", "abc", "abc", 1, "abc", -1, "abc"),
        SAME_AS_LIBC("%s", static_cast<const char*>(nullptr)),
        SAME_AS_LIBC("%c%c", 'A', 'z'),
        SAME_AS_LIBC("100%% sure"),
        SAME_AS_LIBC("%s:%d(L%d)%s", "Basic/FendrakeOS/x", 12, 1, "Hello"),
    });
}

TEST(FendrakeSnprintfTest, FlagsAndConversionsOfTheLibrary) {
    Check({
        // The last sign flag wins; C gives '+' precedence.
        PRINTS(" 42", "%+ d", 42),
        // '0' never starts a number: it is the pad flag, also behind the '.'.
        PRINTS("0", "%.0d", 0),
        PRINTS("00042", "%5.0d", 42),
        // 'h' does not truncate; 'l' once and three times take 32 bits, twice 64.
        PRINTS("70000", "%hd", 70000),
        PRINTS("-5|abc", "%ld|%lllx", -5, 0xabcu),
        PRINTS("4294967296", "%llu", 1ULL << 32),
        // Width does not apply to 'c' and '%'.
        PRINTS("A|%|", "%5c|%5%|", 'A'),
        // The alternate prefix goes in front of a zero too.
        PRINTS("0x0|0X0|00", "%#x|%#X|%#o", 0u, 0u, 0u),
        PRINTS("101|0b101|00000101|101 ", "%b|%#b|%08b|%-4b", 5u, 5u, 5u, 5u),
        PRINTS("0x00000000|0x0000abcd|  0x00000001", "%p|%p|%12p", static_cast<void*>(nullptr),
               reinterpret_cast<void*>(0xabcd), reinterpret_cast<void*>(1)),
        PRINTS("ABC\xC9\xD7X|   AB|(NULL)", "%S|%5S|%S", "abc\xE9\xF7x", "ab",
               static_cast<const char*>(nullptr)),
        PRINTS("abc\xE9\xF7x|ab   |", "%\xA4|%-5\xA4|", "ABC\xC9\xD7X", "AB"),
        PRINTS("it''s|''|(null)|a", "%q|%q|%q|%10.1q", "it's", "'",
               static_cast<const char*>(nullptr), "a"),
        // Unknown conversions print nothing and take no argument.
        PRINTS("7", "%y%d", 7),
        PRINTS("u|5", "%zu|%d", 5),
        PRINTS("abc", "abc%"),
        // Padding of text follows the pad flag on either side.
        PRINTS("00ab|ab00", "%04s|%-04s", "ab", "ab"),
    });
}

TEST(FendrakeSnprintfTest, FloatingPointForms) {
    Check({
        // "%.0f" leaves the precision unset; precision 0 only through '*'.
        PRINTS("1.500000", "%.0f", 1.5),
        PRINTS("3", "%.*f", 0, 2.5),
        // Exactly one digit behind the point is written without the point.
        PRINTS("25", "%.*f", 1, 2.5),
        PRINTS("3.14|3.141590|      3.14|3.14      |", "%.2f|%f|%10.2f|%-10.2f|", 3.14159, 3.14159,
               3.14159, 3.14159),
        PRINTS("0.000000|0.000000|123456789.125000", "%f|%f|%f", 0.0, -0.0, 123456789.125),
        PRINTS("0.1000000000|0.333333333333333", "%.10f|%.15f", 0.1, 1.0 / 3),
        // Sign and alternate flags are not applied; '0' pads in front of the sign.
        PRINTS("1.000000|1.000000", "%+f|%#f", 1.0, 1.0),
        PRINTS("00-1.500|-1.50e00", "%08.3f|%08.2e", -1.5, -1.5),
        // Exponents: no '+', at least two digits, hundreds when needed.
        PRINTS("1.000000e03|1.000000e10|1.500000E-07", "%e|%e|%E", 1000.0, 1e10, 1.5e-7),
        PRINTS("1.000000e100|1.000000e-300|0.000000e00", "%e|%e|%e", 1e100, 1e-300, 0.0),
        PRINTS("1.234560e02", "%e", 123.456),
        // 'g' counts digits behind the point and strips trailing zeros.
        PRINTS("1234.5678|123456.7|100|0.5", "%g|%g|%g|%g", 1234.5678, 123456.7, 100.0, 0.5),
        PRINTS("1e06|0.0001|1e-05|1E-05", "%g|%g|%g|%G", 1e6, 1e-4, 1e-5, 1e-5),
        // Rounding up past 9 gives the character after '9'.
        PRINTS(":", "%.*f", 0, 9.6),
        PRINTS(":.00e00", "%.2e", 9.999),
        PRINTS("NaN|Inf|-In", "%f|%f|%f", NAN, INFINITY, -INFINITY),
        PRINTS("  Inf|00Inf|-In  |", "%5f|%05f|%-5f|", INFINITY, INFINITY, -INFINITY),
    });
}

TEST(FendrakeSnprintfTest, LongFloatTextUsesTheHeap) {
    const std::string text = Ours("%.40f", 0.5);
    EXPECT_EQ(42u, text.size());
    EXPECT_EQ("0.5000000000", text.substr(0, 12));
}

TEST(FendrakeSnprintfTest, TruncatesAndReturnsMinusOne) {
    struct TruncationRow {
        int mLine;
        unsigned mSize;
        const char* mText;
        int mResult;
        const char* mOut;
    };
    static const TruncationRow kRows[] = {
        {__LINE__, 7, "abcdef", 6, "abcdef"},
        {__LINE__, 6, "abcdef", -1, "abcde"},
        {__LINE__, 4, "abcdef", -1, "abc"},
        {__LINE__, 1, "abc", -1, ""},
        {__LINE__, 1, "", 0, ""},
    };
    for (const TruncationRow& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        char out[16];
        memset(out, 'x', sizeof out);
        EXPECT_EQ(row.mResult, fendrake_snprintf(out, row.mSize, "%s", row.mText));
        EXPECT_STREQ(row.mOut, out);
        EXPECT_EQ('x', out[row.mSize]) << "wrote behind the buffer";
    }
    char out[8] = "keep";
    EXPECT_EQ(-1, fendrake_snprintf(out, 0, "%d", 12345));
    EXPECT_STREQ("keep", out);
    EXPECT_EQ(-1, fendrake_snprintf(out, 3, "%d", 12345));
    EXPECT_STREQ("12", out);
}

TEST(FendrakeSnprintfTest, NullBufferIsAnAssertion) {
    CaptureScope scope;
    EXPECT_THROW(fendrake_snprintf(nullptr, 4, "x"), AssertionFired);
    EXPECT_THAT(LastLogLine(),
                HasSubstr("Basic/FendrakeStdLib/src/FendrakeStdio/fendrake_vsnprintf:"
                          "71 Assertion `str' failed (calling task: **Unknown thread**).\n"));
}

TEST(FendrakeSnprintfTest, CountStoresCharactersSoFar) {
    char out[32];
    int count = -1;
    int other = -1;
    EXPECT_EQ(6, fendrake_snprintf(out, sizeof out, "abc%n%lnd%d", &count, &other, 42));
    EXPECT_STREQ("abcd42", out);
    EXPECT_EQ(3, count);
    EXPECT_EQ(3, other);

    // On a string target the count covers only the current 64-byte chunk.
    std::string text;
    FendrakeStringFormatAppend(text, "%s%n", std::string(100, 'a').c_str(), &count);
    EXPECT_EQ(100u, text.size());
    EXPECT_EQ(36, count);
}

TEST(FendrakeSnprintfTest, StreamStopsAfter65536BytesInOneCall) {
    const std::string big(40000, 'b');
    FendrakeStringStream stream;
    EXPECT_FALSE(FendrakeOstreamFormatAppend(stream, "%s%s", big.c_str(), big.c_str()));
    EXPECT_EQ(65536u, stream.str().size());
    EXPECT_TRUE(FendrakeOstreamFormatAppend(stream, "%s", "tail"));
    EXPECT_EQ(65540u, stream.str().size());

    FendrakeStringStream exact;
    EXPECT_TRUE(FendrakeOstreamFormatAppend(exact, "%s", std::string(65535, 'c').c_str()));
    EXPECT_EQ(65535u, exact.str().size());
}

namespace {
// Four bytes of room, then guard bytes; grants only the room it has left.
class FixedString : public FendrakeStringInterface {
public:
    const char* c_str() const override { return mData; }
    const char* data() const override { return mData; }
    unsigned int length() const override { return mLength; }
    void clear() override { mLength = 0; }
    char* appendRequest(unsigned int& ioSize) override {
        ++mPending;
        ioSize = std::min(ioSize, 4 - mLength);
        return mData + mLength;
    }
    void appendRelease(unsigned int, unsigned int iActual) override {
        --mPending;
        mLength += iActual;
    }
    char mData[8] = {'-', '-', '-', '-', '.', '.', '.', '.'};
    unsigned int mLength = 0;
    int mPending = 0;
};
} // namespace

TEST(FendrakeSnprintfTest, FullStringStopsTheOutput) {
    FixedString text;
    text.appendFormat("%s", "abcdef");
    text.appendFormat("%S", "xyz"); // starts with no room at all
    EXPECT_EQ("abcd....", std::string(text.mData, sizeof text.mData));
    EXPECT_EQ(4u, text.mLength);
    EXPECT_EQ(0, text.mPending) << "every request is released";
}

TEST(FendrakeSnprintfTest, StringsAppendAndAssign) {
    std::string text = "x=";
    FendrakeStringFormatAppend(text, "%d", 5);
    EXPECT_EQ("x=5", text);
    FendrakeStringFormatAssign(text, "%s-%04x", "id", 0xbeu);
    EXPECT_EQ("id-00be", text);
    const std::string long_(300, 'l');
    FendrakeStringFormatAppend(text, "[%s]", long_.c_str());
    EXPECT_EQ("id-00be[" + long_ + "]", text);
    std::string self = "xyz"; // arguments inside the growing target
    FendrakeStringFormatAppend(self, "%s%s", self.c_str(), self.c_str());
    EXPECT_EQ("xyzxyzxyz", self);

    FendrakeStringShared::CreateSystem();
    {
        FendrakeStringShared shared("a");
        shared.appendFormat("%s%d", "b", 1);
        EXPECT_STREQ("ab1", shared.c_str());
        shared.assignFormat("%S", "new");
        EXPECT_STREQ("NEW", shared.c_str());
        EXPECT_EQ(3u, shared.length());
        shared.appendFormat("%s|%s", shared.c_str(), std::string(70, 'g').c_str());
        EXPECT_EQ("NEWNEW|" + std::string(70, 'g'), shared.c_str());
    }
    FendrakeStringShared::DestroySystem();
}
