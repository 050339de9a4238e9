#include "Basic/FendrakeStdLib/FendrakeString.h"

#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>

using testing::HasSubstr;

namespace {
class FendrakeStringSharedTest : public testing::Test {
protected:
    void SetUp() override { FendrakeStringShared::CreateSystem(); }
    void TearDown() override { FendrakeStringShared::DestroySystem(); }
    static unsigned EmptyCount() { return FendrakeStringShared::smEmpty->mRefCount; }
};

// A string's own rep, to tell sharing apart from equal text.
const void* RepOf(const FendrakeStringShared& iString) {
    return iString.c_str();
}
} // namespace

TEST_F(FendrakeStringSharedTest, EmptyStringsShareOneRepWithoutCounting) {
    EXPECT_EQ(2u, EmptyCount());
    FendrakeStringShared a;
    FendrakeStringShared b(a);
    FendrakeStringShared c;
    c = b;
    c.clear();
    EXPECT_EQ(2u, EmptyCount());
    EXPECT_EQ(RepOf(a), RepOf(b));
    EXPECT_STREQ("", b.c_str());
    EXPECT_EQ(0u, b.length());
}

TEST_F(FendrakeStringSharedTest, CopiesShareUntilOneWrites) {
    FendrakeStringShared a("broadcast");
    FendrakeStringShared b(a);
    EXPECT_EQ(RepOf(a), RepOf(b));
    b.append(" text", 5);
    EXPECT_STREQ("broadcast", a.c_str());
    EXPECT_STREQ("broadcast text", b.c_str());
    EXPECT_NE(RepOf(a), RepOf(b));
    FendrakeStringShared c(a);
    c.resize(12);
    EXPECT_STREQ("broadcast", a.c_str());
    EXPECT_EQ(0, memcmp("broadcast\0\0\0", c.data(), 13));
    EXPECT_EQ(12u, c.length());
}

TEST_F(FendrakeStringSharedTest, SelfAppendAndAssignKeepTheText) {
    FendrakeStringShared privateString("abc");
    privateString.append(privateString);
    EXPECT_STREQ("abcabc", privateString.c_str());

    FendrakeStringShared shared("xyz");
    FendrakeStringShared holder(shared);
    shared.append(shared);
    EXPECT_STREQ("xyzxyz", shared.c_str());
    EXPECT_STREQ("xyz", holder.c_str());

    shared.assign(shared);
    EXPECT_STREQ("xyzxyz", shared.c_str());
    shared.assign(shared.c_str() + 3, 3);
    EXPECT_STREQ("xyz", shared.c_str());
    shared.append(shared.c_str() + 1, 2);
    EXPECT_STREQ("xyzyz", shared.c_str());
    EXPECT_TRUE(shared.appendConvert(shared.c_str(), 5, "UTF-8"));
    EXPECT_STREQ("xyzyzxyzyz", shared.c_str());
}

TEST_F(FendrakeStringSharedTest, GrowthIsExact) {
    FendrakeStringShared s;
    s.assign("abcd", 4);
    EXPECT_EQ(4u, s.capacity());
    s.append("ef", 2);
    EXPECT_EQ(6u, s.capacity());
    s.resize(2);
    EXPECT_EQ(6u, s.capacity()); // shrinking a private string keeps its block
    const char* before = s.data();
    s.append("gh", 2);
    EXPECT_EQ(before, s.data()); // room left: no new block
    EXPECT_STREQ("abgh", s.c_str());
    unsigned size = 10;
    char* room = s.appendRequest(size);
    EXPECT_EQ(10u, size);
    EXPECT_EQ(14u, s.capacity());
    memcpy(room, "123", 3);
    s.appendRelease(10, 3);
    EXPECT_STREQ("abgh123", s.c_str());
    EXPECT_EQ(7u, s.length());
}

TEST_F(FendrakeStringSharedTest, ReleaseBeyondCapacityAssertsAndKeepsTheString) {
    CaptureScope capture;
    FendrakeStringShared s("ab");
    EXPECT_THROW(s.appendRelease(0, 5), AssertionFired);
    EXPECT_THAT(CapturedOutput(),
                HasSubstr("Basic/FendrakeStdLib/src/FendrakeStringShared:218 Assertion "
                          "`mRep->mLength<=mRep->mCapacity' failed"));
    EXPECT_EQ(2u, s.length());
}

TEST_F(FendrakeStringSharedTest, InterfaceFormsCopyFromOtherStrings) {
    std::string source = "wrapped";
    FendrakeConstStringWrapInterface wrap(source);
    FendrakeStringShared s;
    s.assign(wrap);
    s.append(FendrakeConstCStringPointerStringInterface("+"));
    s.append(FendrakeConstCStringPointerStringInterface(nullptr));
    EXPECT_STREQ("wrapped+", s.c_str());
    EXPECT_EQ(0, s.compare("wrapped+"));
    EXPECT_GT(s.compare(wrap), 0);
}

TEST(FendrakeStringInterfaceTest, CompareStopsAtAZeroByte) {
    std::string a("ab\0x", 4);
    std::string b("ab\0y", 4);
    EXPECT_EQ(0, FendrakeConstStringWrapInterface(a).compare(FendrakeConstStringWrapInterface(b)));
    FendrakeConstCStringPointerStringInterface null(nullptr);
    EXPECT_EQ(0u, null.length());
    EXPECT_STREQ("", null.c_str());
}

TEST(FendrakeStringInterfaceTest, WrapAppendOfRawTextReplaces) {
    std::string target = "old";
    FendrakeStringWrapInterface wrap(target);
    wrap.append("new", 3);
    EXPECT_EQ("new", target);
    std::string other = "+more";
    wrap.append(FendrakeConstStringWrapInterface(other));
    EXPECT_EQ("new+more", target);
    // A source inside the string itself survives the clearing.
    wrap.append(target.data() + 4, 3);
    EXPECT_EQ("mor", target);
    wrap.assign(target.data() + 1, 2);
    EXPECT_EQ("or", target);
}

TEST(FendrakeStringInterfaceTest, WrapRequestAndRelease) {
    std::string target = "ab";
    FendrakeStringWrapInterface wrap(target);
    unsigned size = 4;
    char* room = wrap.appendRequest(size);
    EXPECT_EQ(6u, target.size());
    memcpy(room, "cd", 2);
    wrap.appendRelease(4, 2);
    EXPECT_EQ("abcd", target);
    size = 3;
    wrap.appendRequest(size);
    wrap.appendRelease(3, 0);
    EXPECT_EQ("abcd", target);
}

TEST(FendrakeStringInterfaceTest, WrapRequestReleaseMisuseAsserts) {
    std::string target = "ab";
    FendrakeStringWrapInterface wrap(target);
    unsigned size = 2;
    {
        CaptureScope capture;
        wrap.appendRequest(size);
        EXPECT_THROW(wrap.appendRequest(size), AssertionFired);
        EXPECT_THAT(CapturedOutput(), HasSubstr("Basic/FendrakeStdLib/src/FendrakeString:51 "
                                                "Assertion `mLastAppendRequestDataLength==-1'"));
    }
    {
        CaptureScope capture;
        EXPECT_THROW(wrap.appendRelease(3, 1), AssertionFired);
        EXPECT_THAT(CapturedOutput(),
                    HasSubstr("FendrakeString:59 Assertion "
                              "`size_type(mLastAppendRequestDataLength)==iRequestedDataLength' "
                              "failed"));
        EXPECT_THAT(CapturedOutput(),
                    HasSubstr(" mLastAppendRequestDataLength=2, iRequestedDataLength=3\n"));
        EXPECT_EQ(4u, target.size()); // unchanged, request still pending
    }
    {
        CaptureScope capture;
        target = "";
        EXPECT_THROW(wrap.appendRelease(2, 1), AssertionFired);
        EXPECT_THAT(CapturedOutput(), HasSubstr(" mrFendrakeString.size()=0, iActualDataLength=1, "
                                                "iRequestedDataLength=2\n"));
    }
}
