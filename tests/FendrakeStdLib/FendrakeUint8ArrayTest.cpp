#include "Basic/FendrakeStdLib/FendrakeUint8Array.h"

#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <sys/uio.h>

using testing::HasSubstr;

namespace {
const unsigned char* Bytes(const char* iText) {
    return reinterpret_cast<const unsigned char*>(iText);
}

std::string Text(const FendrakeUint8Array& iArray) {
    return std::string(reinterpret_cast<const char*>(iArray.GetData()), iArray.GetDataLength());
}
} // namespace

TEST(FendrakeUint8ArrayTest, GrowthIsExact) {
    FendrakeUint8Array array(Bytes("abc"), 3);
    EXPECT_EQ(3u, array.GetDataSize());
    array.Append(Bytes("de"), 2);
    EXPECT_EQ(5u, array.GetDataSize());
    array.AppendMemset(3, 'x');
    EXPECT_EQ("abcdexxx", Text(array));
    EXPECT_EQ(8u, array.GetDataSize());
    array.Reserve(4);
    EXPECT_EQ(8u, array.GetDataSize());
    array.Reserve(20);
    EXPECT_EQ(20u, array.GetDataSize());
    EXPECT_EQ("abcdexxx", Text(array));
    array.SetNewData(Bytes("hello"), 5);
    EXPECT_EQ(5u, array.GetDataSize());
    EXPECT_EQ("hello", Text(array));
}

TEST(FendrakeUint8ArrayTest, TwoPhaseAppendAndItsAssertion) {
    CaptureScope scope;
    FendrakeUint8Array array(Bytes("ab"), 2);
    unsigned char* room = array.AppendRequest(10);
    EXPECT_EQ(array.GetData() + 2, room);
    EXPECT_EQ(2u, array.GetDataLength());
    memcpy(room, "cdef", 4);
    array.AppendRelease(4);
    EXPECT_EQ("abcdef", Text(array));
    EXPECT_EQ(12u, array.GetDataSize());
    EXPECT_THROW(array.AppendRelease(7), AssertionFired);
    EXPECT_THAT(LastLogLine(), HasSubstr("src/FendrakeUint8Array:"));
    EXPECT_THAT(LastLogLine(), HasSubstr("Assertion `mDataSize>=mDataLength' failed"));
}

TEST(FendrakeUint8ArrayTest, EraseCutsTheEndToTheLength) {
    struct Row {
        int mLine;
        unsigned mStart;
        unsigned mEnd;
        const char* mLeft;
    };
    const Row rows[] = {{__LINE__, 2, 100, "ab"},  {__LINE__, 3, 3, "abcde"},
                        {__LINE__, 4, 2, "abcde"}, {__LINE__, 1, 3, "ade"},
                        {__LINE__, 0, 5, ""},      {__LINE__, 7, 9, "abcde"}};
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        FendrakeUint8Array array(Bytes("abcde"), 5);
        array.Erase(row.mStart, row.mEnd);
        EXPECT_EQ(row.mLeft, Text(array));
        EXPECT_EQ(5u, array.GetDataSize());
    }
}

TEST(FendrakeUint8ArrayTest, StealCloneAndCopyNeverShareABlock) {
    FendrakeUint8Array source(Bytes("payload"), 7);
    FendrakeUint8Array thief(Bytes("old"), 3);
    const unsigned char* block = source.GetData();
    thief.StealData(source);
    EXPECT_EQ(block, thief.GetData());
    EXPECT_EQ(nullptr, source.GetData());
    EXPECT_EQ(0u, source.GetDataLength());
    EXPECT_EQ(0u, source.GetDataSize());

    FendrakeUint8Array clone(Bytes("0123456789"), 10);
    const unsigned char* kept = clone.GetData();
    clone.CloneData(thief, 4);
    EXPECT_EQ("payl", Text(clone));
    EXPECT_EQ(kept, clone.GetData());
    EXPECT_EQ(10u, clone.GetDataSize());
    clone.CloneData(clone, 2);
    EXPECT_EQ("payl", Text(clone));
    FendrakeUint8Array empty;
    empty.CloneData(thief, 100);
    EXPECT_EQ(7u, empty.GetDataSize());

    FendrakeUint8Array copy(thief);
    EXPECT_NE(thief.GetData(), copy.GetData());
    EXPECT_EQ("payload", Text(copy));
    copy = clone;
    EXPECT_EQ("payl", Text(copy));
    EXPECT_NE(clone.GetData(), copy.GetData());
}

TEST(FendrakeUint8ArrayTest, AppendsFromVectorsAndFromItself) {
    FendrakeUint8Array array;
    char one[] = "ab", two[] = "cde";
    const iovec vectors[] = {{one, 2}, {two, 3}};
    array.AppendIovector(vectors, 0);
    EXPECT_EQ(nullptr, array.GetData());
    array.AppendIovector(vectors, 2);
    EXPECT_EQ("abcde", Text(array));
    EXPECT_EQ(5u, array.GetDataSize());
    array.Append(array.GetData() + 1, 3);
    EXPECT_EQ("abcdebcd", Text(array));
    array.Append(array);
    EXPECT_EQ("abcdebcdabcdebcd", Text(array));
}
