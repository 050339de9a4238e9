#include "Basic/FendrakeStdLib/FendrakeCString.h"

#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {
int Sign(int iValue) {
    return (iValue > 0) - (iValue < 0);
}
} // namespace

TEST(FendrakeCStringTest, ComparisonsFollowTheirCaseRules) {
    struct Row {
        int mLine;
        const char* mA;
        const char* mB;
        unsigned mCount;
        int mCase, mNoCase, mNoCaseN, mCaseN, mHuman;
    };
    const Row kRows[] = {
        // line, a, b, n, strcmp-like, casecmp, ncasecmp, ncmp, humancmp
        {__LINE__, "a", "B", 5, 1, -1, -1, 1, -1},
        {__LINE__, "b", "A", 5, 1, 1, 1, 1, 1},
        {__LINE__, "abc", "ABD", 5, 1, -1, -1, 1, -1},
        {__LINE__, "abc", "ABC", 5, 1, 0, 0, 1, 1},
        {__LINE__, "ABC", "abc", 5, -1, 0, 0, -1, -1},
        {__LINE__, "abcx", "abcy", 3, -1, -1, 0, 0, -1},
        {__LINE__, "ab", "abc", 0, -1, -1, 0, 0, -1},
        {__LINE__, "", "", 5, 0, 0, 0, 0, 0},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        EXPECT_EQ(row.mCase, Sign(strcmp(row.mA, row.mB)));
        EXPECT_EQ(row.mNoCase, Sign(fendrake_strcasecmp(row.mA, row.mB)));
        EXPECT_EQ(row.mNoCaseN, Sign(fendrake_strncasecmp(row.mA, row.mB, row.mCount)));
        EXPECT_EQ(row.mCaseN, Sign(fendrake_strncmp(row.mA, row.mB, row.mCount)));
        EXPECT_EQ(row.mHuman, Sign(fendrake_strhumancmp(row.mA, row.mB)));
    }
    EXPECT_EQ('B' - 'A', fendrake_strcasecmp("b", "A"));
}

TEST(FendrakeCStringTest, StrncpyAlwaysTerminatesAndNeverPads) {
    char buffer[8];
    memset(buffer, 'z', sizeof buffer);
    EXPECT_EQ(buffer, fendrake_strncpy(buffer, "abc", 1));
    EXPECT_STREQ("", buffer);
    fendrake_strncpy(buffer, "abc", 3);
    EXPECT_STREQ("ab", buffer);
    memset(buffer, 'z', sizeof buffer);
    fendrake_strncpy(buffer, "ab", 8);
    EXPECT_STREQ("ab", buffer);
    EXPECT_EQ('z', buffer[3]);

    CaptureScope capture;
    EXPECT_THROW(fendrake_strncpy(buffer, "abc", 0), AssertionFired);
    EXPECT_THAT(CapturedOutput(),
                testing::HasSubstr("Basic/FendrakeStdLib/src/FendrakeString/fendrake_strncpy:"));
    EXPECT_THAT(CapturedOutput(), testing::HasSubstr(" Assertion `size>=1' failed"));
}

TEST(FendrakeCStringTest, StrnlenAndStrdup) {
    EXPECT_EQ(0u, fendrake_strnlen("abc", 0));
    EXPECT_EQ(2u, fendrake_strnlen("abc", 2));
    EXPECT_EQ(3u, fendrake_strnlen("abc", 10));
    char* copy = fendrake_strdup("dup");
    EXPECT_STREQ("dup", copy);
    free(copy);
}

TEST(FendrakeCStringTest, IsoLatinCaseMovesTheWholeUpperHalf) {
    EXPECT_EQ(0xDE, fendrake_isolatin_toupper(0xFE));
    EXPECT_EQ(0xD7, fendrake_isolatin_toupper(0xF7));
    // Passed as a signed char, 0xFF is EOF; other high bytes stay as they are.
    EXPECT_EQ(EOF, fendrake_isolatin_toupper(0xFF));
    EXPECT_EQ(0xB5, fendrake_isolatin_toupper(0xB5));
    EXPECT_EQ(0xDF, fendrake_isolatin_toupper(0xDF));
    EXPECT_EQ(0xFE, fendrake_isolatin_tolower(0xFE));
    EXPECT_EQ(0xF7, fendrake_isolatin_tolower(0xD7));
    EXPECT_EQ(0xE0, fendrake_isolatin_tolower(0xC0));
    EXPECT_EQ('A', fendrake_isolatin_toupper('a'));
    unsigned char text[] = "ab\xe9\0cd";
    fendrake_isolatin_strntoupper(text, 10);
    EXPECT_EQ(0, memcmp("AB\xc9\0cd", text, 6));
    fendrake_isolatin_strntolower(text, 1);
    EXPECT_EQ(0, memcmp("aB\xc9", text, 3));
    fendrake_isolatin_strntolower(text, 0);
    EXPECT_EQ('B', text[1]);
    fendrake_isolatin_strtolower(text);
    EXPECT_EQ(0, memcmp("ab\xe9", text, 3));
}

TEST(FendrakeCStringTest, StrtoldReadsDecimalNumbers) {
    struct Row {
        int mLine;
        const char* mText;
        long double mValue;
        int mErrno;
        int mConsumed; // -1: oEnd left alone
    };
    const Row kRows[] = {
        {__LINE__, "  12.5xyz", 12.5L, 0, 6},
        {__LINE__, "-3", -3.0L, 0, 2},
        {__LINE__, "+.25", 0.25L, 0, 4},
        {__LINE__, "1e3", 1000.0L, 0, 3},
        {__LINE__, "1E-2", 0.01L, 0, 4},
        {__LINE__, "5e", 5.0L, 0, 2},
        {__LINE__, "7e+", 7.0L, 0, 3},
        {__LINE__, "x", 0.0L, ERANGE, -1},
        {__LINE__, "-", 0.0L, ERANGE, -1},
        // Inside the exponent bounds: the overflow is found after scaling, and
        // only for a positive value.
        {__LINE__, "1e5000", HUGE_VALL, ERANGE, 6},
        {__LINE__, "-1e5000", -HUGE_VALL, 0, 7},
        // Outside them: +infinity whatever the sign, and no end.
        {__LINE__, "1e-20000", HUGE_VALL, ERANGE, -1},
        {__LINE__, "-1e16385", HUGE_VALL, ERANGE, -1},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        char* end = reinterpret_cast<char*>(&errno); // any pointer that must survive
        char* const untouched = end;
        errno = 0;
        const long double value = fendrake_strtold(row.mText, &end);
        EXPECT_EQ(row.mErrno, errno);
        if (std::isinf(row.mValue))
            EXPECT_EQ(row.mValue, value);
        else
            EXPECT_NEAR(static_cast<double>(row.mValue), static_cast<double>(value), 1e-12);
        if (row.mConsumed < 0)
            EXPECT_EQ(untouched, end);
        else
            EXPECT_EQ(row.mText + row.mConsumed, end);
    }
}

TEST(FendrakeCStringTest, StrtoldNearTheExponentBounds) {
    char* end = nullptr;
    errno = 0;
    const char* text = "1e4000";
    const long double value = fendrake_strtold(text, &end);
    EXPECT_EQ(text + 6, end);
    EXPECT_GT(value, 1e300L);
    errno = 0;
    fendrake_strtold("-1e4932", &end); // negative overflow is not detected
    EXPECT_EQ(0, errno);
}

TEST(FendrakeCStringTest, SplitBehavesLikeGetline) {
    FendrakeVector<std::string> parts;
    parts.push_back("kept");
    fendrake_split("a,,b,", ',', parts);
    ASSERT_EQ(4u, parts.size());
    EXPECT_EQ("kept", parts[0]);
    EXPECT_EQ("a", parts[1]);
    EXPECT_EQ("", parts[2]);
    EXPECT_EQ("b", parts[3]);
    FendrakeVector<std::string> none;
    EXPECT_TRUE(fendrake_split("", ',', none).empty());
}

TEST(FendrakeVectorTest, DoublesAndKeepsOrderOnErase) {
    FendrakeVector<std::string> v;
    size_t lastCapacity = 0;
    for (int i = 0; i < 8; ++i) {
        v.push_back(std::to_string(i));
        if (v.capacity() != lastCapacity) {
            EXPECT_EQ(lastCapacity ? 2 * lastCapacity : 1, v.capacity());
            lastCapacity = v.capacity();
        }
    }
    v.push_back(v[0]); // an element of the vector itself, across a growth
    EXPECT_EQ("0", v.back());
    v.erase(v.begin() + 1);
    v.erase(v.begin());
    ASSERT_EQ(7u, v.size());
    EXPECT_EQ("2", v[0]);
    EXPECT_EQ("7", v[5]);
    FendrakeVector<std::string> copy(v);
    v.clear();
    EXPECT_TRUE(v.empty());
    EXPECT_EQ(7u, copy.size());
    EXPECT_EQ("0", copy.back());
}
