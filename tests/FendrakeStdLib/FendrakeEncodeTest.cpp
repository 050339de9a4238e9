#include "Basic/FendrakeStdLib/FendrakeEncode.h"

#include "Capture.h"

#include <glib.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {
typedef std::vector<unsigned char> Bytes;

Bytes B(const std::string& iText) {
    return Bytes(iText.begin(), iText.end());
}

const unsigned char* U(const std::string& iText) {
    return reinterpret_cast<const unsigned char*>(iText.data());
}

// Runs a buffer codec into a guarded output; the guard bytes must survive.
template <typename Codec>
std::pair<int, Bytes> Coded(Codec iCodec, const std::string& iSource, unsigned int iCapacity) {
    Bytes out(iCapacity + 4, 0xEE);
    const int result = static_cast<int>(iCodec(U(iSource), iSource.size(), out.data(), iCapacity));
    for (unsigned int i = iCapacity; i < out.size(); ++i)
        EXPECT_EQ(0xEE, out[i]) << "written past the capacity at " << i;
    const unsigned int used = result < 0 ? 0 : std::min<unsigned int>(result, iCapacity);
    return {result, Bytes(out.begin(), out.begin() + used)};
}

std::vector<int> CheckPointLines() {
    std::vector<int> lines;
    for (const CheckPoint& point : CapturedCheckPoints())
        lines.push_back(point.mLine);
    return lines;
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
        auto encoded = Coded(base64encode, data, size);
        EXPECT_EQ(B(expected), encoded.second) << length;

        // GLib's text with line breaks and tabs spread in must decode the same.
        std::string text(expected);
        for (size_t at = 5; at < text.size(); at += 7)
            text.insert(at, at % 2 ? "\n" : "\t ");
        g_free(expected);
        ASSERT_EQ(length, base64decodeBufferSize(U(text), static_cast<int>(text.size())));
        auto decoded = Coded(base64decode, text, length);
        EXPECT_EQ(length, decoded.first);
        EXPECT_EQ(B(data), decoded.second);
        if (length) {
            EXPECT_EQ(-1, Coded(base64decode, text, length - 1).first);
        }
    }
    EXPECT_EQ(-1, Coded(base64encode, "abc", 3).first);
}

TEST(FendrakeEncodeTest, Base64SizesAndInvalidInput) {
    EXPECT_EQ(0, base64encodeBufferSize(0));
    EXPECT_EQ(4, base64encodeBufferSize(1));
    EXPECT_EQ(4, base64encodeBufferSize(3));
    EXPECT_EQ(8, base64encodeBufferSize(4));
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
        EXPECT_EQ(row.mDecoded, Coded(base64decode, text, 8).first);
    }
    // Its group still yields one byte, but never beyond the capacity.
    EXPECT_EQ(0, Coded(base64decode, "a===", 0).first);
}

TEST(FendrakeEncodeTest, HexEncodesUpperAndDecodesEitherCase) {
    auto encoded = Coded(hex_encode, std::string("\x00\xff\x7f\xa0", 4), 8);
    EXPECT_EQ(8, encoded.first);
    EXPECT_EQ(B("00FF7FA0"), encoded.second);
    EXPECT_EQ(-1, Coded(hex_encode, "ab", 3).first);

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
        auto decoded = Coded(hex_decode, row.mText, row.mCapacity);
        EXPECT_EQ(row.mResult, decoded.first);
        EXPECT_EQ(B(row.mBytes), decoded.second);
    }
}

TEST(FendrakeEncodeTest, EscapedCharsHideControlXmlAndWideLeads) {
    auto escape = [](const std::string& iText, unsigned int iCapacity, bool iXml, bool iControl,
                     bool iWide) {
        return Coded(
            [&](const unsigned char* s, unsigned int n, unsigned char* d, unsigned int c) {
                return utf8escapedchars(s, n, d, c, iXml, iControl, iWide);
            },
            iText, iCapacity);
    };
    struct Row {
        int mLine;
        const char* mText;
        bool mXml, mControl, mWide;
        const char* mOut;
    };
    static const Row kRows[] = {
        {__LINE__, "a\tb", false, true, false,
         "a\xc0\x89"
         "b"},
        {__LINE__, "a\tb", false, false, false, "a\tb"},
        {__LINE__, "&<>", true, false, false, "\xc0\xa6\xc0\xbc>"},
        {__LINE__, "\xe2\x82\xac", false, false, true, "\xf8\x80\x82\x82\xac"},
        {__LINE__, "\xf0\x9f\x98\x80", false, false, true, "\xf8\x80\x9f\x98\x80"},
        {__LINE__, "\xc3\xa9\xe2\x82\xac", false, false, false, "\xc3\xa9\xe2\x82\xac"},
        {__LINE__, "\xe2\x82", false, false, true, "\xf8\x80\x82\x82"},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        const std::string text(row.mText);
        const unsigned int size =
            utf8escapedcharsBufferSize(U(text), text.size(), row.mXml, row.mControl, row.mWide);
        auto out = escape(text, 64, row.mXml, row.mControl, row.mWide);
        EXPECT_EQ(B(row.mOut), out.second);
        EXPECT_EQ(size, out.second.size());
    }
    // A form that does not fit whole is not begun.
    EXPECT_EQ(B("a"), escape("a\t", 2, false, true, false).second);
    EXPECT_EQ(B("\xe2\x82"), escape("\xe2\x82\xac", 2, false, false, false).second);
}

TEST(FendrakeEncodeTest, ShortestFormUndoesEscapingAndReturnsTheCapacity) {
    const std::string samples[] = {
        "plain",
        "tab\tand\nline",
        "a & b < c",
        "\xc3\xa9t\xc3\xa9",
        "\xe2\x82\xac 5",
        "\xf0\x9f\x98\x80!",
        std::string("nul\0x", 5),
    };
    for (const std::string& text : samples) {
        for (int flags = 0; flags < 8; ++flags) {
            SCOPED_TRACE(testing::Message() << text << " flags " << flags);
            Bytes escaped(64);
            const unsigned int length =
                utf8escapedchars(U(text), text.size(), escaped.data(), escaped.size(), flags & 1,
                                 flags & 2, flags & 4);
            const std::string hidden(escaped.begin(), escaped.begin() + length);
            auto back = Coded([](const unsigned char* s, unsigned int n, unsigned char* d,
                                 unsigned int c) { return utf8shortestform(s, n, d, c, false); },
                              hidden, 40);
            EXPECT_EQ(40, back.first);
            EXPECT_EQ(B(text), Bytes(back.second.begin(), back.second.begin() + text.size()));
        }
    }
}

TEST(FendrakeEncodeTest, ShortestFormRules) {
    auto shorten = [](const std::string& iText, unsigned int iCapacity, bool iCombine) {
        return Coded([iCombine](const unsigned char* s, unsigned int n, unsigned char* d,
                                unsigned int c) { return utf8shortestform(s, n, d, c, iCombine); },
                     iText, iCapacity);
    };
    // A 0xC1 form comes back with bit 7 set and bit 6 clear.
    EXPECT_EQ(B("\x81"), Bytes(shorten("\xc1\x81", 1, false).second));
    // A surrogate pair in three-byte forms becomes one four-byte character.
    EXPECT_EQ(B("\xf0\x9f\x98\x80"), shorten("\xed\xa0\xbd\xed\xb8\x80", 4, true).second);
    EXPECT_EQ(B("\xed\xa0\xbd\xed\xb8\x80"), shorten("\xed\xa0\xbd\xed\xb8\x80", 6, false).second);
    // Output full: it stops at once, still with the capacity as result.
    auto cut = shorten("ab\xe2\x82\xac", 4, false);
    EXPECT_EQ(4, cut.first);
    EXPECT_EQ(B("ab"), Bytes(cut.second.begin(), cut.second.begin() + 2));

    struct Row {
        int mLine;
        const char* mText;
        bool mCombine;
        int mCheckLine;
    };
    static const Row kRows[] = {
        {__LINE__, "a\xc3", false, 291},
        {__LINE__, "\xc3\x41", false, 296},
        {__LINE__, "\x80", false, 322},
        {__LINE__, "\xfe", false, 322},
        {__LINE__, "\xe2\x41\x82", false, 332},
        {__LINE__,
         "\xed\xa0\xbd"
         "A",
         true, 347},
        {__LINE__, "\xed\xa0\xbd\xe2\x82\xac", true, 347},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        CaptureScope scope;
        EXPECT_EQ(-1, shorten(row.mText, 16, row.mCombine).first);
        EXPECT_EQ(std::vector<int>{row.mCheckLine}, CheckPointLines());
        EXPECT_EQ("Basic/FendrakeStdLib/src/FendrakeEncode", CapturedCheckPoints().at(0).mFile);
        EXPECT_NE(std::string::npos,
                  CapturedOutput().find("FendrakeEncode:" + std::to_string(row.mCheckLine) +
                                        " Attention `"));
    }
    CaptureScope scope;
    EXPECT_EQ(-1, shorten("\xe2\x82", 16, false).first);
    EXPECT_EQ(1u, CapturedCheckPoints().size());
}

TEST(FendrakeEncodeTest, XmlEscapeDropsWhatDoesNotFit) {
    auto escape = [](const std::string& iText, unsigned int iCapacity, bool iControl, bool iHigh) {
        return Coded([&](const unsigned char* s, unsigned int n, unsigned char* d,
                         unsigned int c) { return xmlescapechars(s, n, d, c, iControl, iHigh); },
                     iText, iCapacity);
    };
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
        EXPECT_EQ(B(row.mOut), escape(text, row.mCapacity, row.mControl, row.mHigh).second);
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
        auto out = Coded([&](const unsigned char* s, unsigned int n, unsigned char* d,
                             unsigned int c) { return xmlunescapechars(s, n, d, c, row.mStrip); },
                         row.mText, 8);
        EXPECT_EQ(row.mResult, out.first);
        if (row.mResult >= 0) {
            EXPECT_EQ(std::string(row.mOut, row.mResult),
                      std::string(out.second.begin(), out.second.end()));
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
