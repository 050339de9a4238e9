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

// The bytes in use, and the size of the block after them.
std::string State(const FendrakeUint8Array& iArray) {
    return std::string(reinterpret_cast<const char*>(iArray.GetData()), iArray.GetDataLength()) +
           "/" + std::to_string(iArray.GetDataSize());
}
} // namespace

TEST(FendrakeUint8ArrayTest, GrowthIsExact) {
    FendrakeUint8Array array(Bytes("abc"), 3);
    EXPECT_EQ("abc/3", State(array));
    array.Append(Bytes("de"), 2);
    array.AppendMemset(3, 'x');
    EXPECT_EQ("abcdexxx/8", State(array));
    array.Reserve(4);
    EXPECT_EQ("abcdexxx/8", State(array));
    array.Reserve(20);
    EXPECT_EQ("abcdexxx/20", State(array));
    array.SetNewData(Bytes("hello"), 5);
    EXPECT_EQ("hello/5", State(array));
}

TEST(FendrakeUint8ArrayTest, TwoPhaseAppendAndItsAssertion) {
    CaptureScope scope;
    FendrakeUint8Array array(Bytes("ab"), 2);
    unsigned char* room = array.AppendRequest(10);
    EXPECT_EQ(array.GetData() + 2, room);
    EXPECT_EQ("ab/12", State(array));
    memcpy(room, "cdef", 4);
    array.AppendRelease(4);
    EXPECT_EQ("abcdef/12", State(array));
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
    const Row rows[] = {{__LINE__, 2, 100, "ab/5"},  {__LINE__, 3, 3, "abcde/5"},
                        {__LINE__, 4, 2, "abcde/5"}, {__LINE__, 1, 3, "ade/5"},
                        {__LINE__, 0, 5, "/5"},      {__LINE__, 7, 9, "abcde/5"}};
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        FendrakeUint8Array array(Bytes("abcde"), 5);
        array.Erase(row.mStart, row.mEnd);
        EXPECT_EQ(row.mLeft, State(array));
    }
}

TEST(FendrakeUint8ArrayTest, StealCloneAndCopyNeverShareABlock) {
    FendrakeUint8Array source(Bytes("payload"), 7);
    FendrakeUint8Array thief(Bytes("old"), 3);
    const unsigned char* block = source.GetData();
    thief.StealData(source);
    EXPECT_EQ(block, thief.GetData());
    EXPECT_EQ(nullptr, source.GetData());
    EXPECT_EQ("/0", State(source));

    FendrakeUint8Array clone(Bytes("0123456789"), 10);
    const unsigned char* kept = clone.GetData();
    clone.CloneData(thief, 4);
    EXPECT_EQ("payl/10", State(clone));
    EXPECT_EQ(kept, clone.GetData());
    clone.CloneData(clone, 2);
    EXPECT_EQ("payl/10", State(clone));
    FendrakeUint8Array empty;
    empty.CloneData(thief, 100);
    EXPECT_EQ("payload/7", State(empty));

    FendrakeUint8Array copy(thief);
    EXPECT_NE(thief.GetData(), copy.GetData());
    EXPECT_EQ("payload/7", State(copy));
    copy = clone;
    EXPECT_EQ("payl/7", State(copy));
    EXPECT_NE(clone.GetData(), copy.GetData());
}

TEST(FendrakeUint8ArrayTest, AppendsFromVectorsAndFromItself) {
    FendrakeUint8Array array;
    char one[] = "ab", two[] = "cde";
    const iovec vectors[] = {{one, 2}, {two, 3}};
    array.AppendIovector(vectors, 0);
    EXPECT_EQ(nullptr, array.GetData());
    array.AppendIovector(vectors, 2);
    EXPECT_EQ("abcde/5", State(array));
    array.Append(array.GetData() + 1, 3);
    EXPECT_EQ("abcdebcd/8", State(array));
    array.Append(array);
    EXPECT_EQ("abcdebcdabcdebcd/16", State(array));
}
