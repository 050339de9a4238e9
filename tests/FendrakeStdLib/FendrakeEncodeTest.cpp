#include "Basic/FendrakeStdLib/FendrakeEncode.h"

#include "Capture.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace {
const unsigned char* U(const std::string& iText) {
    return reinterpret_cast<const unsigned char*>(iText.data());
}

struct Coding {
    int mResult;
    std::string mOut; // what was written, within the capacity
};

// Runs a buffer codec with its flags into a guarded output; the guard bytes must survive.
template <typename Codec, typename... Flags>
Coding Coded(Codec iCodec, const std::string& iSource, unsigned int iCapacity, Flags... iFlags) {
    std::string out(iCapacity + 4, '\xee');
    unsigned char* dest = reinterpret_cast<unsigned char*>(&out[0]);
    const int result =
        static_cast<int>(iCodec(U(iSource), iSource.size(), dest, iCapacity, iFlags...));
    EXPECT_EQ(std::string(4, '\xee'), out.substr(iCapacity)) << "written past the capacity";
    out.resize(result < 0 ? 0 : std::min<unsigned int>(result, iCapacity));
    return {result, out};
}
} // namespace

TEST(FendrakeEncodeTest, Base64MatchesGLibBothWays) {
    std::mt19937 random(7);
    for (int length = 0; length < 70; ++length) {
        std::string data(length, 0);
        for (char& c : data)
            c = static_cast<char>(random());
        gchar* expected = g_base64_encode(U(data), data.size());
        const int size = base64encodeBufferSize(length);
        ASSERT_EQ(strlen(expected), static_cast<size_t>(size)) << length;
        EXPECT_EQ(expected, Coded(base64encode, data, size).mOut) << length;

        // GLib's text with line breaks and tabs spread in must decode the same.
        std::string text(expected);
        for (size_t at = 5; at < text.size(); at += 7)
            text.insert(at, at % 2 ? "\n" : "\t ");
        g_free(expected);
        ASSERT_EQ(length, base64decodeBufferSize(U(text), static_cast<int>(text.size())));
        const Coding decoded = Coded(base64decode, text, length);
        EXPECT_EQ(length, decoded.mResult);
        EXPECT_EQ(data, decoded.mOut);
        if (length) {
            EXPECT_EQ(-1, Coded(base64decode, text, length - 1).mResult);
        }
    }
    EXPECT_EQ(-1, Coded(base64encode, "abc", 3).mResult);
}

TEST(FendrakeEncodeTest, Base64DecodeSizesAndInvalidInput) {
    // base64encodeBufferSize: see Base64MatchesGLibBothWays.
    struct Row {
        int mLine;
        const char* mText;
        int mSize;
        int mDecoded;
    };
    static const Row kRows[] = {
        {__LINE__, "", 0, 0},          {__LINE__, " \t\x0e\x0f", 0, 0},
        {__LINE__, "QQ==", 1, 1},      {__LINE__, "QUI=", 2, 2},
        {__LINE__, "Q U\nJD", 3, 3},   {__LINE__, "ab=c", -1, -1},
        {__LINE__, "====", -1, -1},    {__LINE__, "abc", -1, -1},
        {__LINE__, "ab\x10z", -1, -1}, {__LINE__, "QQ==QQ==", -1, -1},
        {__LINE__, "ab-_", -1, -1},    {__LINE__, "a===", 0, 1},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        const std::string text(row.mText);
        EXPECT_EQ(row.mSize, base64decodeBufferSize(U(text), static_cast<int>(text.size())));
        EXPECT_EQ(row.mDecoded, Coded(base64decode, text, 8).mResult);
    }
    // Its group still yields one byte, but never beyond the capacity.
    EXPECT_EQ(0, Coded(base64decode, "a===", 0).mResult);
}

TEST(FendrakeEncodeTest, HexEncodesUpperAndDecodesEitherCase) {
    const Coding encoded = Coded(hex_encode, std::string("\x00\xff\x7f\xa0", 4), 8);
    EXPECT_EQ(8, encoded.mResult);
    EXPECT_EQ("00FF7FA0", encoded.mOut);
    EXPECT_EQ(-1, Coded(hex_encode, "ab", 3).mResult);
    struct Row {
        int mLine;
        const char* mText;
        unsigned int mCapacity;
        int mResult;
        const char* mBytes;
    };
    static const Row kRows[] = {
        {__LINE__, "4a6B", 2, 2, "\x4a\x6b"},
        {__LINE__, "G1", 1, 1, "\xf1"}, // not a digit: its low four bits count
        {__LINE__, "A", 1, 1, "\xaf"},  // odd: paired with a 0 byte
        {__LINE__, "ABC", 2, 2, "\xab\xcf"},
        {__LINE__, "ABC", 1, 1, "\xab"}, // the odd digit finds no room
        {__LINE__, "ABCD", 1, -1, ""},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        const Coding decoded = Coded(hex_decode, row.mText, row.mCapacity);
        EXPECT_EQ(row.mResult, decoded.mResult);
        EXPECT_EQ(row.mBytes, decoded.mOut);
    }
}

TEST(FendrakeEncodeTest, EscapedCharsHideControlXmlAndWideLeads) {
    struct Row {
        int mLine;
        const char* mText;
        bool mXml, mControl, mWide;
        const char* mOut;
    };
    static const Row kRows[] = {
        {__LINE__, "a\tz", false, true, false, "a\xc0\x89z"},
        {__LINE__, "a\tz", false, false, false, "a\tz"},
        {__LINE__, "&<>", true, false, false, "\xc0\xa6\xc0\xbc>"},
        {__LINE__, "\xe2\x82\xac", false, false, true, "\xf8\x80\x82\x82\xac"},
        {__LINE__, "\xf0\x9f\x98\x80", false, false, true, "\xf8\x80\x9f\x98\x80"},
        {__LINE__, "\xc3\xa9\xe2\x82\xac", false, false, false, "\xc3\xa9\xe2\x82\xac"},
        {__LINE__, "\xe2\x82", false, false, true, "\xf8\x80\x82\x82"},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        const std::string text(row.mText);
        const std::string out =
            Coded(utf8escapedchars, text, 64, row.mXml, row.mControl, row.mWide).mOut;
        EXPECT_EQ(row.mOut, out);
        EXPECT_EQ(out.size(), utf8escapedcharsBufferSize(U(text), text.size(), row.mXml,
                                                         row.mControl, row.mWide));
    }
    // A form that does not fit whole is not begun.
    EXPECT_EQ("a", Coded(utf8escapedchars, "a\t", 2, false, true, false).mOut);
    EXPECT_EQ("\xe2\x82", Coded(utf8escapedchars, "\xe2\x82\xac", 2, false, false, false).mOut);
}

TEST(FendrakeEncodeTest, ShortestFormUndoesEscapingAndReturnsTheCapacity) {
    using namespace std::string_literals;
    const std::string samples[] = {
        "plain",          "tab\tand\nline",    "a & b < c", "\xc3\xa9t\xc3\xa9",
        "\xe2\x82\xac 5", "\xf0\x9f\x98\x80!", "nul\0x"s};
    for (const std::string& text : samples) {
        for (int flags = 0; flags < 8; ++flags) {
            SCOPED_TRACE(testing::Message() << text << " flags " << flags);
            const std::string hidden =
                Coded(utf8escapedchars, text, 64, flags & 1, flags & 2, flags & 4).mOut;
            const Coding back = Coded(utf8shortestform, hidden, 40, false);
            EXPECT_EQ(40, back.mResult);
            EXPECT_EQ(text, back.mOut.substr(0, text.size()));
        }
    }
}

TEST(FendrakeEncodeTest, ShortestFormRules) {
    // A 0xC1 form comes back with bit 7 set and bit 6 clear.
    EXPECT_EQ("\x81", Coded(utf8shortestform, "\xc1\x81", 1, false).mOut);
    // A surrogate pair in three-byte forms becomes one four-byte character.
    const std::string pair = "\xed\xa0\xbd\xed\xb8\x80";
    EXPECT_EQ("\xf0\x9f\x98\x80", Coded(utf8shortestform, pair, 4, true).mOut);
    EXPECT_EQ(pair, Coded(utf8shortestform, pair, 6, false).mOut);
    // Output full: it stops at once, still with the capacity as result.
    const Coding cut = Coded(utf8shortestform, "ab\xe2\x82\xac", 4, false);
    EXPECT_EQ(4, cut.mResult);
    EXPECT_EQ("ab", cut.mOut.substr(0, 2));

    struct Row {
        int mLine;
        const char* mText;
        bool mCombine;
        int mCheckLine;
    };
    static const Row kRows[] = {
        {__LINE__, "a\xc3", false, 291},
        {__LINE__, "\xc3Z", false, 296},
        {__LINE__, "\x80", false, 322},
        {__LINE__, "\xfe", false, 322},
        {__LINE__, "\xe2Z\x82", false, 332},
        {__LINE__, "\xed\xa0\xbdZ", true, 347},
        {__LINE__, "\xed\xa0\xbd\xe2\x82\xac", true, 347},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        CaptureScope scope;
        EXPECT_EQ(-1, Coded(utf8shortestform, row.mText, 16, row.mCombine).mResult);
        ASSERT_EQ(1u, CapturedCheckPoints().size());
        EXPECT_EQ(row.mCheckLine, CapturedCheckPoints()[0].mLine);
        EXPECT_EQ("Basic/FendrakeStdLib/src/FendrakeEncode", CapturedCheckPoints()[0].mFile);
        EXPECT_NE(std::string::npos,
                  CapturedOutput().find("FendrakeEncode:" + std::to_string(row.mCheckLine) +
                                        " Attention `"));
    }
    CaptureScope scope;
    EXPECT_EQ(-1, Coded(utf8shortestform, "\xe2\x82", 16, false).mResult);
    EXPECT_EQ(1u, CapturedCheckPoints().size());
}

TEST(FendrakeEncodeTest, XmlEscapeDropsWhatDoesNotFit) {
    struct Row {
        int mLine;
        const char* mText;
        unsigned int mCapacity;
        bool mControl, mHigh;
        const char* mOut;
        unsigned int mSize;
    };
    static const Row kRows[] = {
        {__LINE__, "<a href=\"x\">'&'</a>", 64, false, false,
         "&lt;a href=&quot;x&quot;&gt;&apos;&amp;&apos;&lt;/a&gt;", 55},
        {__LINE__, "\t\xe9\xc3\xa9", 64, true, true, "&#9;&#233;\xc3\xa9", 5 + 6 + 2},
        {__LINE__, "\t\xe9\xdf", 64, false, false, "\t\xe9\xdf", 3},
        {__LINE__, "a<b", 3, false, false, "ab", 6},
        {__LINE__, "\x1f", 4, true, false, "", 5},
        {__LINE__, "\x1f", 5, true, false, "&#31;", 5},
        {__LINE__, "\xff", 5, false, true, "", 6},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        const std::string text(row.mText);
        EXPECT_EQ(row.mOut,
                  Coded(xmlescapechars, text, row.mCapacity, row.mControl, row.mHigh).mOut);
        EXPECT_EQ(row.mSize, xmlescapecharsBufferSize(U(text), static_cast<int>(text.size()),
                                                      row.mControl, row.mHigh));
    }
}

TEST(FendrakeEncodeTest, XmlUnescape) {
    struct Row {
        int mLine;
        const char* mText;
        bool mStrip;
        int mResult;
        const char* mOut;
    };
    static const Row kRows[] = {
        {__LINE__, "&#65;", false, 1, "A"},
        {__LINE__, "&lt;&gt;&amp;&quot;&apos;", false, 5, "<>&\"'"},
        {__LINE__, "&#255;&#0;", false, 2, "\xff"},
        {__LINE__, "&#256;", false, -1, ""},
        {__LINE__, "&foo;", false, -1, ""},
        {__LINE__, "&#x41;", false, -1, ""},
        {__LINE__, "&#65", false, -1, ""},
        {__LINE__, "a&b", false, -1, ""},
        {__LINE__, "&am", false, -1, ""},
        {__LINE__, "x&ap;", false, -1, ""},
        {__LINE__, "<b>bold</b> &amp; <i", true, 7, "bold & "},
        {__LINE__, "<b>", false, 3, "<b>"},
        {__LINE__, "abcdefghij", false, 8, "abcdefgh"},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        const Coding out = Coded(xmlunescapechars, row.mText, 8, row.mStrip);
        EXPECT_EQ(row.mResult, out.mResult);
        if (row.mResult >= 0) {
            EXPECT_EQ(std::string(row.mOut, row.mResult), out.mOut);
        }
    }
}

TEST(FendrakeEncodeTest, FixXmlEntitiesAndSimplifyXml) {
    struct Row {
        int mLine;
        const char* mIn;
        const char* mOut;
    };
    static const Row kFixRows[] = {
        {__LINE__, "<a b='x\"y'>", "<a b='x&quot;y'>"},
        {__LINE__, "a & b", "a &amp; b"},
        {__LINE__, "&amp; &#38; &#x26; &x;", "&amp; &#38; &#x26; &x;"},
        {__LINE__, "&; &#; &#xg; &a b;", "&amp;; &amp;#; &amp;#xg; &amp;a b;"},
        {__LINE__, "2 > 1 \"q\" 'a'", "2 &gt; 1 &quot;q&quot; &apos;a&apos;"},
        {__LINE__, "1 < 2 'a'", "1 < 2 'a'"},
        {__LINE__, "<a x=\"1>2\"><b<c>", "<a x=\"1&gt;2\"><b&lt;c>"},
    };
    for (const Row& row : kFixRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        EXPECT_EQ(row.mOut, FendrakeStringFixXmlEntities(row.mIn));
    }
    struct SimplifyRow {
        int mLine;
        const char* mIn;
        const char* mCollapsed;
        const char* mKept;
    };
    static const SimplifyRow kSimplifyRows[] = {
        {__LINE__, "  <a>\n  <b> x \t y </b>  ", "<a><b>x y</b>", "<a><b>x \t y</b>"},
        {__LINE__, "a\n\nb  ", "a b ", "a\n\nb  "},
        {__LINE__, "", "", ""},
    };
    for (const SimplifyRow& row : kSimplifyRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        EXPECT_EQ(row.mCollapsed, FendrakeStringSimplifyXml(row.mIn, true));
        EXPECT_EQ(row.mKept, FendrakeStringSimplifyXml(row.mIn, false));
    }
}
