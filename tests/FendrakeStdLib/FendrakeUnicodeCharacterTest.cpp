#include "Basic/FendrakeStdLib/FendrakeUnicodeCharacter.h"

#include "Capture.h"
#include "ConvertHelpers.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

using testing::HasSubstr;
using namespace std::string_literals;

namespace {
const unsigned char* U(const std::string& iText) {
    return reinterpret_cast<const unsigned char*>(iText.data());
}

bool IsScalarValue(uint32_t iCharacter) {
    return iCharacter < 0xD800 || (iCharacter > 0xDFFF && iCharacter <= 0x10FFFF);
}
} // namespace

TEST(FendrakeUnicodeCharacterTest, EncodersMatchGlibcOnEveryScalarValue) {
    std::string all, utf8, utf16le, utf16be, utf16cpu; // all: UCS-4BE
    for (uint32_t c = 0; c <= 0x10FFFF; ++c) {
        if (!IsScalarValue(c))
            continue;
        for (int shift = 24; shift >= 0; shift -= 8)
            all += static_cast<char>(c >> shift);
        unsigned char form[6];
        const unsigned int length = c < 0x80 ? 1 : c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
        ASSERT_EQ(length, fendrake_encode_to_utf8_encode_to_length(c, form, length));
        utf8.append(reinterpret_cast<char*>(form), length);
        const unsigned int wide = c < 0x10000 ? 2 : 4;
        fendrake_encode_to_utf16lena_encode_to_length(c, form, wide);
        utf16le.append(reinterpret_cast<char*>(form), wide);
        fendrake_encode_to_utf16bena_encode_to_length(c, form, wide);
        utf16be.append(reinterpret_cast<char*>(form), wide);
        unsigned short units[2];
        fendrake_encode_to_utf16cpu_encode_to_length(c, units, wide);
        utf16cpu.append(reinterpret_cast<char*>(units), wide);
    }
    // Not EXPECT_EQ: a difference would print megabytes.
    EXPECT_TRUE(Glibc("UCS-4BE", all, "UTF-8") == utf8);
    EXPECT_TRUE(Glibc("UCS-4BE", all, "UTF-16LE") == utf16le);
    EXPECT_TRUE(Glibc("UCS-4BE", all, "UTF-16BE") == utf16be);
    EXPECT_TRUE(utf16le == utf16cpu || utf16be == utf16cpu);

    // The decoder reads back what the encoder wrote, one character at a time.
    const unsigned char* at = U(utf8);
    const unsigned char* const end = at + utf8.size();
    for (uint32_t c = 0; c <= 0x10FFFF; c += c == 0xD7FF ? 0x801 : 1) // past the surrogates
        ASSERT_EQ(static_cast<int32_t>(c), fendrake_decode_from_utf8(at, end));
    EXPECT_EQ(end, at);
}

TEST(FendrakeUnicodeCharacterTest, Utf8ForcedLengthsWriteOverlongFormsThatDecode) {
    struct Row {
        uint32_t mCharacter;
        unsigned int mLength;
        const char* mForm;
    };
    static const Row kRows[] = {
        {'A', 1, "A"},
        {'A', 2, "\xc1\x81"},
        {'A', 3, "\xe0\x81\x81"},
        {'A', 4, "\xf0\x80\x81\x81"},
        {'A', 5, "\xf8\x80\x80\x81\x81"},
        {'A', 6, "\xfc\x80\x80\x80\x81\x81"},
        {0x7FFFFFFF, 6, "\xfd\xbf\xbf\xbf\xbf\xbf"},
        {0xD800, 3, "\xed\xa0\x80"}, // surrogates pass both ways
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << row.mCharacter << " in " << row.mLength);
        unsigned char form[6];
        EXPECT_EQ(row.mLength,
                  fendrake_encode_to_utf8_encode_to_length(row.mCharacter, form, row.mLength));
        EXPECT_EQ(row.mForm, std::string(reinterpret_cast<char*>(form), row.mLength));
        const unsigned char* at = form;
        EXPECT_EQ(static_cast<int32_t>(row.mCharacter),
                  fendrake_decode_from_utf8(at, form + row.mLength));
    }
}

TEST(FendrakeUnicodeCharacterTest, WrongLengthsAreAssertions) {
    CaptureScope scope;
    unsigned char form[8];
    unsigned short units[4];
    EXPECT_THROW(fendrake_encode_to_utf8_encode_to_length('A', form, 7), AssertionFired);
    EXPECT_THAT(CapturedOutput(), HasSubstr("Assertion `oStringLength>=1 && oStringLength<=6' "
                                            "failed"));
    EXPECT_THAT(CapturedOutput(), HasSubstr(" oStringLength=7"));
    EXPECT_THROW(fendrake_encode_to_utf8_encode_to_length('A', form, 0), AssertionFired);
    EXPECT_THROW(fendrake_encode_to_utf16lena_encode_to_length('A', form, 3), AssertionFired);
    EXPECT_THROW(fendrake_encode_to_utf16bena_encode_to_length('A', form, 1), AssertionFired);
    EXPECT_THROW(fendrake_encode_to_utf16cpu_encode_to_length('A', units, 8), AssertionFired);
    EXPECT_THAT(LastLogLine(), HasSubstr("Assertion `oStringLength==2 || oStringLength==4'"));
    EXPECT_EQ(5, AssertionCount());
}

TEST(FendrakeUnicodeCharacterTest, Utf16DecodersSwapThePairHalves) {
    unsigned char le[4], be[4];
    fendrake_encode_to_utf16lena_encode_to_length(0x1F600, le, 4);
    fendrake_encode_to_utf16bena_encode_to_length(0x1F600, be, 4);
    EXPECT_EQ("\x3d\xd8\x00\xde"s, std::string(reinterpret_cast<char*>(le), 4));
    unsigned char* mutableAt = le;
    const unsigned char* at = be;
    const int32_t swapped = ((0xDE00 & 1023) << 10 | (0xD83D & 1023)) + 65536;
    EXPECT_EQ(swapped, fendrake_decode_from_utf16lena(mutableAt, le + 4));
    EXPECT_EQ(le + 4, mutableAt);
    EXPECT_EQ(swapped, fendrake_decode_from_utf16bena(at, be + 4));
    EXPECT_EQ(be + 4, at);

    fendrake_encode_to_utf16bena_encode_to_length(0x20AC, be, 2);
    at = be;
    EXPECT_EQ(0x20AC, fendrake_decode_from_utf16bena(at, be + 2));
}

TEST(FendrakeUnicodeCharacterTest, MalformedInputLeavesThePointer) {
    struct Row {
        int mLine;
        std::string mBytes;
        bool mUtf16;
        int mCheckLine;    // 0: no check point
        const char* mText; // how its line goes on, where that is fixed
    };
    const Row kRows[] = {
        {__LINE__, "", false, 0, ""},
        {__LINE__, "\x80", false, 92, "0' failed"},
        {__LINE__, "\xff", false, 92, "0' failed"},
        {__LINE__, "\xe2\x82", false, 97, ""},
        {__LINE__, "\xe2Z\xac", false, 103, ""},
        {__LINE__, "\xd8", true, 0, ""},
        {__LINE__, "\xdc\x00\xdc\x00"s, true, 124, ""},
        {__LINE__, "\xd8\x00"s, true, 124, ""},
        {__LINE__, "\xd8\x00\x00Z"s, true, 132, ""},
        {__LINE__, "\xd8\x00\xd8\x00"s, true, 132, ""},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        CaptureScope scope;
        const unsigned char* const start = U(row.mBytes);
        const unsigned char* at = start;
        const unsigned char* const end = start + row.mBytes.size();
        EXPECT_EQ(-1, row.mUtf16 ? fendrake_decode_from_utf16bena(at, end)
                                 : fendrake_decode_from_utf8(at, end));
        EXPECT_EQ(start, at);
        const std::vector<CheckPoint> points = CapturedCheckPoints();
        ASSERT_EQ(row.mCheckLine ? 1u : 0u, points.size());
        if (row.mCheckLine) {
            EXPECT_EQ(row.mCheckLine, points[0].mLine);
            EXPECT_THAT(CapturedOutput(),
                        HasSubstr("Basic/FendrakeStdLib/src/FendrakeUnicodeCharacter:" +
                                  std::to_string(row.mCheckLine) + " Attention `" + row.mText));
        }
    }
}
