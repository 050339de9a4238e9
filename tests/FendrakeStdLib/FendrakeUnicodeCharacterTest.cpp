#include "Basic/FendrakeStdLib/FendrakeUnicodeCharacter.h"

#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iconv.h>

#include <string>
#include <vector>

using testing::HasSubstr;

namespace {
typedef std::vector<unsigned char> Bytes;

// glibc's conversion of a whole buffer, the reference for the encoders.
Bytes Glibc(const char* iTo, const char* iFrom, const Bytes& iIn) {
    iconv_t converter = iconv_open(iTo, iFrom);
    EXPECT_NE(reinterpret_cast<iconv_t>(-1), converter);
    Bytes out(iIn.size() * 2 + 16);
    char* in = const_cast<char*>(reinterpret_cast<const char*>(iIn.data()));
    size_t inLeft = iIn.size();
    char* outAt = reinterpret_cast<char*>(out.data());
    size_t outLeft = out.size();
    EXPECT_NE(static_cast<size_t>(-1), iconv(converter, &in, &inLeft, &outAt, &outLeft));
    iconv_close(converter);
    out.resize(out.size() - outLeft);
    return out;
}

// Every scalar value as UCS-4BE.
Bytes AllScalarValues() {
    Bytes all;
    for (uint32_t c = 0; c <= 0x10FFFF; ++c) {
        if (c >= 0xD800 && c <= 0xDFFF)
            continue;
        for (int shift = 24; shift >= 0; shift -= 8)
            all.push_back(static_cast<unsigned char>(c >> shift));
    }
    return all;
}

unsigned int ShortestLength(uint32_t iCharacter) {
    return iCharacter < 0x80 ? 1 : iCharacter < 0x800 ? 2 : iCharacter < 0x10000 ? 3 : 4;
}
} // namespace

TEST(FendrakeUnicodeCharacterTest, EncodersMatchGlibcOnEveryScalarValue) {
    const Bytes all = AllScalarValues();
    Bytes utf8, utf16le, utf16be;
    std::vector<unsigned short> utf16cpu;
    for (size_t i = 0; i < all.size(); i += 4) {
        const uint32_t c = all[i] << 24 | all[i + 1] << 16 | all[i + 2] << 8 | all[i + 3];
        unsigned char form[6];
        const unsigned int length = ShortestLength(c);
        ASSERT_EQ(length, fendrake_encode_to_utf8_encode_to_length(c, form, length));
        utf8.insert(utf8.end(), form, form + length);
        const unsigned int wide = c < 0x10000 ? 2 : 4;
        fendrake_encode_to_utf16lena_encode_to_length(c, form, wide);
        utf16le.insert(utf16le.end(), form, form + wide);
        fendrake_encode_to_utf16bena_encode_to_length(c, form, wide);
        utf16be.insert(utf16be.end(), form, form + wide);
        unsigned short units[2];
        fendrake_encode_to_utf16cpu_encode_to_length(c, units, wide);
        utf16cpu.insert(utf16cpu.end(), units, units + wide / 2);
    }
    EXPECT_TRUE(Glibc("UTF-8", "UCS-4BE", all) == utf8);
    EXPECT_TRUE(Glibc("UTF-16LE", "UCS-4BE", all) == utf16le);
    EXPECT_TRUE(Glibc("UTF-16BE", "UCS-4BE", all) == utf16be);
    const Bytes cpu(reinterpret_cast<unsigned char*>(utf16cpu.data()),
                    reinterpret_cast<unsigned char*>(utf16cpu.data() + utf16cpu.size()));
    EXPECT_TRUE(utf16le == cpu || utf16be == cpu);

    // The decoder reads back what the encoder wrote, one character at a time.
    const unsigned char* at = utf8.data();
    const unsigned char* const end = utf8.data() + utf8.size();
    for (size_t i = 0; i < all.size(); i += 4) {
        const int32_t c = all[i] << 24 | all[i + 1] << 16 | all[i + 2] << 8 | all[i + 3];
        ASSERT_EQ(c, fendrake_decode_from_utf8(at, end));
    }
    EXPECT_EQ(end, at);
}

TEST(FendrakeUnicodeCharacterTest, Utf8ForcedLengthsWriteOverlongForms) {
    static const char* const kForms[] = {
        "A",
        "\xc1\x81",
        "\xe0\x81\x81",
        "\xf0\x80\x81\x81",
        "\xf8\x80\x80\x81\x81",
        "\xfc\x80\x80\x80\x81\x81",
    };
    for (unsigned int length = 1; length <= 6; ++length) {
        unsigned char form[6];
        EXPECT_EQ(length, fendrake_encode_to_utf8_encode_to_length('A', form, length));
        EXPECT_EQ(kForms[length - 1], std::string(reinterpret_cast<char*>(form), length));
        const unsigned char* at = form;
        EXPECT_EQ('A', fendrake_decode_from_utf8(at, form + length));
    }
    unsigned char form[6];
    fendrake_encode_to_utf8_encode_to_length(0x7FFFFFFF, form, 6);
    const unsigned char* at = form;
    EXPECT_EQ(0x7FFFFFFF, fendrake_decode_from_utf8(at, form + 6));
    fendrake_encode_to_utf8_encode_to_length(0xD800, form, 3);
    at = form;
    EXPECT_EQ(0xD800, fendrake_decode_from_utf8(at, form + 3));
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
    EXPECT_EQ(Bytes({0x3D, 0xD8, 0x00, 0xDE}), Bytes(le, le + 4));
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
        const char* mBytes;
        size_t mLength;
        bool mUtf16;
        int mCheckLine; // 0: no check point
    };
    static const Row kRows[] = {
        {__LINE__, "", 0, false, 0},
        {__LINE__, "\x80", 1, false, 92},
        {__LINE__, "\xff", 1, false, 92},
        {__LINE__, "\xe2\x82", 2, false, 97},
        {__LINE__, "\xe2\x41\xac", 3, false, 103},
        {__LINE__, "\xd8", 1, true, 0},
        {__LINE__, "\xdc\x00\xdc\x00", 4, true, 124},
        {__LINE__, "\xd8\x00", 2, true, 124},
        {__LINE__, "\xd8\x00\x00\x41", 4, true, 132},
        {__LINE__, "\xd8\x00\xd8\x00", 4, true, 132},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        CaptureScope scope;
        const unsigned char* const start = reinterpret_cast<const unsigned char*>(row.mBytes);
        const unsigned char* at = start;
        if (row.mUtf16)
            EXPECT_EQ(-1, fendrake_decode_from_utf16bena(at, start + row.mLength));
        else
            EXPECT_EQ(-1, fendrake_decode_from_utf8(at, start + row.mLength));
        EXPECT_EQ(start, at);
        const std::vector<CheckPoint> points = CapturedCheckPoints();
        ASSERT_EQ(row.mCheckLine ? 1u : 0u, points.size());
        if (row.mCheckLine) {
            EXPECT_EQ(row.mCheckLine, points[0].mLine);
            EXPECT_EQ("Basic/FendrakeStdLib/src/FendrakeUnicodeCharacter", points[0].mFile);
        }
    }
    CaptureScope scope;
    const unsigned char lone = 0x80;
    const unsigned char* at = &lone;
    fendrake_decode_from_utf8(at, &lone + 1);
    EXPECT_THAT(CapturedOutput(),
                HasSubstr("Basic/FendrakeStdLib/src/FendrakeUnicodeCharacter:92 Attention `0' "
                          "failed"));
}
