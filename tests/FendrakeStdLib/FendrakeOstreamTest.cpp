#include "Basic/FendrakeStdLib/FendrakeOstream.h"

#include "Basic/FendrakeStdLib/FendrakeStdio.h"

#include "Capture.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

namespace {
std::string CharNice(unsigned char iChar, unsigned char iNext, bool iBreak, char iQuote) {
    FendrakeStringStream stream;
    DumpStringCharNice(stream, iChar, iNext, iBreak, iQuote);
    return stream.str();
}

std::string RunLength(const std::string& iData, bool iBreak) {
    FendrakeStringStream stream;
    DumpStringOfCharsRunLength(stream, reinterpret_cast<const unsigned char*>(iData.data()),
                               static_cast<unsigned int>(iData.size()), iBreak);
    return stream.str();
}
} // namespace

TEST(FendrakeOstreamTest, CharNiceEscapesWhatIsNotPlain) {
    struct Row {
        int mLine;
        unsigned char mChar;
        unsigned char mNext;
        bool mBreak;
        char mQuote;
        const char* mText;
    };
    static const Row kRows[] = {
        {__LINE__, '\\', 0, false, '"', "\\\\"}, {__LINE__, '"', 0, false, '"', "\\\""},
        {__LINE__, '\'', 0, false, '\'', "\\'"}, {__LINE__, '\'', 0, false, '"', "'"},
        {__LINE__, ' ', 0, false, '"', " "},     {__LINE__, '?', 0, false, '"', "?"},
        {__LINE__, 'A', 0, false, '"', "A"},     {__LINE__, ']', 0, false, '"', "]"},
        {__LINE__, '_', 0, false, '"', "_"},     {__LINE__, '{', 0, false, '"', "{"},
        {__LINE__, '}', 0, false, '"', "}"},     {__LINE__, '@', 0, false, '"', "\\x40"},
        {__LINE__, '^', 0, false, '"', "\\x5E"}, {__LINE__, '`', 0, false, '"', "\\x60"},
        {__LINE__, '|', 0, false, '"', "\\x7C"}, {__LINE__, '~', 0, false, '"', "\\x7E"},
        {__LINE__, '\n', 0, false, '"', "\\n"},  {__LINE__, '\n', 'a', true, '"', "\\n\"\n\""},
        {__LINE__, '\r', 0, false, '"', "\\r"},  {__LINE__, 0, 'a', false, '"', "\\0"},
        {__LINE__, 0, '7', false, '"', "\\x00"}, {__LINE__, 0xE9, 0, false, '"', "\\xE9"},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        EXPECT_EQ(row.mText, CharNice(row.mChar, row.mNext, row.mBreak, row.mQuote));
    }
}

TEST(FendrakeOstreamTest, RunsOfElevenOrMoreAreCompressed) {
    EXPECT_EQ("", RunLength("", false));
    EXPECT_EQ("\"aaaaaaaaaa\"", RunLength(std::string(10, 'a'), false));
    EXPECT_EQ("<'a' repeated 11>", RunLength(std::string(11, 'a'), false));
    EXPECT_EQ("\"x\"<'\\0' repeated 12>\"y\"", RunLength("x" + std::string(12, '\0') + "y", false));
    EXPECT_EQ("<'\\'' repeated 11>", RunLength(std::string(11, '\''), false));
    // A break needs a successor; runs never break.
    EXPECT_EQ("\"a\\n\"\n\"b\\n\"", RunLength("a\nb\n", true));
    EXPECT_EQ("\"\\n\\n\"", RunLength("\n\n", true));
}

TEST(FendrakeOstreamTest, DumpersAndHexDump) {
    const unsigned char bytes[] = {0x01, 0xab, 0xff};
    FendrakeStringStream stream;
    FendrakeHexDump(stream, bytes, 3);
    stream << "|";
    FendrakeHexDump(stream, bytes, 0);
    stream << FendrakeMemhexDumper(bytes, 3) << "|" << FendrakeMemhexCstyleDumper(bytes, 3);
    stream << "|" << FendrakeMemhexDumper(bytes, 0) << FendrakeMemhexCstyleDumper(bytes, 0);
    EXPECT_EQ("0x01_ab_ff|(3)=<01 AB FF>|[3]={0x01,0xAB,0xFF};|(0)=<>[0]={};", stream.str());

    FendrakeStringStream text;
    text << FendrakeMemstrDumper("a\nb\0"
                                 "1\n",
                                 6);
    EXPECT_EQ("(6)=\"a\\n\"\n\"b\\x001\\n\"", text.str());

    // The length follows the stream's base.
    FendrakeStringStream hex;
    hex << FendrakeOstream::hex << FendrakeMemhexDumper(std::string(26, 'z').data(), 26);
    EXPECT_EQ("(1a)=<", hex.str().substr(0, 6));
}

TEST(FendrakeOstreamTest, ItemsFollowBaseFlagsAndWidth) {
    FendrakeStringStream stream;
    stream << "n=" << 42 << ' ' << -7L << ' ' << 7u << ' ' << -1LL << ' ' << ULLONG_MAX;
    EXPECT_EQ("n=42 -7 7 -1 18446744073709551615", stream.str());

    stream.clear();
    stream << FendrakeOstream::hex << 255 << ' ' << FendrakeOstream::uppercase << 255u << ' '
           << FendrakeOstream::oct << 8 << FendrakeOstream::dec << ' ' << 10;
    EXPECT_EQ("ff FF 10 10", stream.str());

    stream.clear();
    stream << FendrakeSetWidth(5) << FendrakeSetFill('0') << 42 << FendrakeSetWidth(-4) << "ab"
           << FendrakeSetWidth(0) << "|";
    EXPECT_EQ("00042ab00|", stream.str());

    // Settings stay until changed.
    FendrakeStringStream floats;
    floats << 1.5 << ' ' << FendrakeSetFloatFormat('f') << 1.5 << ' ' << FendrakeSetPrecision(2)
           << 2.25 << ' ' << FendrakeSetFloatFormat('e') << 1000.0 << FendrakeOstream::uppercase
           << ' ' << 1000.0;
    EXPECT_EQ("1.5 1.500000 2.25 1.00e03 1.00E03", floats.str());

    FendrakeStringStream other;
    other << static_cast<const void*>(nullptr) << ' ' << static_cast<const char*>(nullptr) << ' '
          << std::string("str") << FendrakeOstream::endl;
    EXPECT_EQ("0x00000000 (null) str\n", other.str());
}

TEST(FendrakeOstreamTest, StringInterfacesDumpUpToTheirZero) {
    FendrakeStringShared::CreateSystem();
    {
        FendrakeStringStream stream;
        stream << FendrakeStringShared("sha\0red", 7) << '|'
               << FendrakeConstCStringPointerStringInterface(nullptr) << '|';
        EXPECT_EQ("sha||", stream.str());
    }
    FendrakeStringShared::DestroySystem();
}

TEST(FendrakeOstreamTest, FlushEachWriteReachesTheLogAtOnce) {
    CaptureScope scope;
    FendrakeOstream& log = *pCoutFendrakeOstream;
    log << "pending";
    EXPECT_TRUE(CapturedTexts().empty());
    log.mFlags |= FendrakeOstream::eFlushEachWrite;
    log << "!";
    log.mFlags &= ~static_cast<unsigned int>(FendrakeOstream::eFlushEachWrite);
    ASSERT_EQ(1u, CapturedTexts().size());
    EXPECT_EQ("pending!", CapturedTexts()[0]);
}

TEST(FendrakeOstreamTest, NumberLayoutsForPeople) {
    struct ScienceRow {
        int mLine;
        unsigned int mValue;
        const char* mText;
        unsigned int mExponent;
    };
    static const ScienceRow kScience[] = {
        {__LINE__, 0, "0", 0},
        {__LINE__, 999, "999", 0},
        {__LINE__, 1000, "1.000", 1},
        {__LINE__, 999999, "999.999", 1},
        {__LINE__, 1234567, "1.235", 2},
        {__LINE__, 1234467, "1.234", 2},
        {__LINE__, 999999999, "1000.000", 2},
        {__LINE__, 4294967295u, "4.295", 3},
    };
    for (const ScienceRow& row : kScience) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        char text[16];
        unsigned int exponent = 99;
        EXPECT_EQ(text, fendrake_formatnumber_science(text, sizeof text, &exponent, row.mValue));
        EXPECT_STREQ(row.mText, text);
        EXPECT_EQ(row.mExponent, exponent);
    }

    struct GroupRow {
        int mLine;
        int mValue;
        int mSize;
        const char* mText;
    };
    static const GroupRow kGroups[] = {
        {__LINE__, 0, 16, "0"},        {__LINE__, 123, 16, "123"},
        {__LINE__, 1234, 16, "1,234"}, {__LINE__, 1234567, 16, "1,234,567"},
        {__LINE__, -123, 16, "-,123"}, {__LINE__, INT_MIN, 16, "-2,147,483,648"},
        {__LINE__, 1234567, 4, "1,2"}, {__LINE__, 1234, 2, "1"},
    };
    for (const GroupRow& row : kGroups) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        char text[16] = "untouched";
        EXPECT_EQ(text, fendrake_formatnumber_digitgroup(text, row.mSize, row.mValue));
        EXPECT_STREQ(row.mText, text);
    }
    char text[4] = "abc";
    fendrake_formatnumber_digitgroup(text, 1, 5);
    EXPECT_STREQ("abc", text);
}
