#include "Basic/FendrakeStdLib/FendrakeOptArguments.h"

#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "ArgList.h"

#include <string>
#include <vector>

using testing::HasSubstr;

namespace {
std::vector<std::string> Remaining(const FendrakeOptArguments& iArgs) {
    return std::vector<std::string>(iArgs.argv, iArgs.argv + iArgs.argc);
}
} // namespace

TEST(FendrakeOptArgumentsTest, GetOptionStringTakesOptionsOut) {
    struct Row {
        int mLine;
        std::vector<std::string> mWords;
        const char* mName;
        const char* mResult;
        std::vector<std::string> mLeft;
    };
    const Row kRows[] = {
        {__LINE__, {"prog", "-c"}, "-c", "d", {"prog", "-c"}},
        {__LINE__, {"prog", "-c", "x"}, "-c", "x", {"prog"}},
        {__LINE__, {"prog", "a", "-c", "x", "b"}, "-c", "x", {"prog", "a", "b"}},
        {__LINE__, {"prog", "--config="}, "--config=", "", {"prog"}},
        {__LINE__, {"prog", "--config=/a", "z"}, "--config=", "/a", {"prog", "z"}},
        {__LINE__, {"-c", "x"}, "-c", "d", {"-c", "x"}},
        {__LINE__, {"prog", "-cx"}, "-c", "d", {"prog", "-cx"}},
        {__LINE__, {"prog", "--config"}, "--config=", "d", {"prog", "--config"}},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        ArgList list(row.mWords);
        FendrakeOptArguments args = list.Args();
        EXPECT_STREQ(row.mResult, args.GetOptionString(row.mName, "d"));
        EXPECT_EQ(row.mLeft, Remaining(args));
    }
}

TEST(FendrakeOptArgumentsTest, SecondOccurrenceStaysForTheNextCall) {
    ArgList list({"prog", "--config=/a", "--config=/b"});
    FendrakeOptArguments args = list.Args();
    EXPECT_STREQ("/a", args.GetOptionString("--config=", "d"));
    EXPECT_STREQ("/b", args.GetOptionString("--config=", "d"));
    EXPECT_STREQ("d", args.GetOptionString("--config=", "d"));
    EXPECT_EQ(1, args.argc);
}

TEST(FendrakeOptArgumentsTest, RemovalLeavesOldEntriesBehindTheNewEnd) {
    ArgList list({"prog", "-c", "x", "tail"});
    FendrakeOptArguments args = list.Args();
    args.GetOptionString("-c", nullptr);
    ASSERT_EQ(2, args.argc);
    EXPECT_STREQ("tail", args.argv[1]);
    // Only argc ends the list now: the slots behind it keep their old contents.
    EXPECT_STREQ("x", args.argv[2]);
    EXPECT_STREQ("tail", args.argv[3]);
    EXPECT_EQ(nullptr, args.argv[4]);
}

TEST(FendrakeOptArgumentsTest, CountBeyondTheListNeverMatches) {
    for (unsigned count : {2u, 3u, 0x80000000u, 0xFFFFFFFFu}) {
        SCOPED_TRACE(testing::Message() << "count " << count);
        ArgList exact({"prog", "-c", "x"});
        ArgList prefix({"prog", "-c", "x"});
        FendrakeOptArguments exactArgs = exact.Args();
        FendrakeOptArguments prefixArgs = prefix.Args();
        char* out[2] = {nullptr, nullptr};
        EXPECT_EQ(count == 2, exactArgs.iStealOption("-c", count, out));
        EXPECT_EQ(count == 2, prefixArgs.iStealOptionAssing("-", 1, count, out));
        EXPECT_EQ(count == 2 ? 1 : 3, prefixArgs.argc);
    }
}

TEST(FendrakeOptArgumentsTest, GetOptionIntConsumesEvenWhenNotANumber) {
    ArgList list({"prog", "-n", "12", "--level=abc", "--depth=-3"});
    FendrakeOptArguments args = list.Args();
    EXPECT_EQ(12, args.GetOptionInt("-n", 5));
    EXPECT_EQ(0, args.GetOptionInt("--level=", 5));
    EXPECT_EQ(-3, args.GetOptionInt("--depth=", 5));
    EXPECT_EQ(5, args.GetOptionInt("-n", 5));
    EXPECT_EQ(1, args.argc);
}

TEST(FendrakeOptArgumentsTest, StartMatchAlwaysUsesThePrefixForm) {
    ArgList list({"prog", "-Dname", "-D"});
    FendrakeOptArguments args = list.Args();
    EXPECT_STREQ("name", args.GetOptionStringStartMatch("-D", "d"));
    EXPECT_STREQ("", args.GetOptionStringStartMatch("-D", "d"));
    EXPECT_STREQ("d", args.GetOptionStringStartMatch("-D", "d"));
}

TEST(FendrakeOptArgumentsTest, ShiftTakesTheFirstArgument) {
    ArgList list({"prog", "one", "two"});
    FendrakeOptArguments args = list.Args();
    EXPECT_STREQ("one", args.Shift("d"));
    EXPECT_STREQ("two", args.Shift("d"));
    EXPECT_STREQ("d", args.Shift("d"));
    EXPECT_EQ(1, args.argc);
}

TEST(FendrakeOptArgumentsTest, ProgramNameIsBehindTheLastSlash) {
    ArgList path({"/usr/bin/tuner"});
    EXPECT_STREQ("tuner", path.Args().GetProgramName());
    ArgList plain({"tuner"});
    EXPECT_STREQ("tuner", plain.Args().GetProgramName());
    FendrakeOptArguments none(0, nullptr);
    EXPECT_EQ(nullptr, none.GetProgramName());
}

TEST(FendrakeOptArgumentsTest, ZeroCountAndEmptyNameAssert) {
    const struct {
        int mLine;
        void (*mCall)(FendrakeOptArguments&);
        const char* mText;
    } kRows[] = {
        {__LINE__,
         [](FendrakeOptArguments& a) {
             char* out[1];
             a.iStealOption("-c", 0, out);
         },
         "Basic/FendrakeStdLib/src/FendrakeOptArguments:27 Assertion `count>=1' failed"},
        {__LINE__,
         [](FendrakeOptArguments& a) {
             char* out[1];
             a.iStealOptionAssing("-c", 2, 0, out);
         },
         "Basic/FendrakeStdLib/src/FendrakeOptArguments:41 Assertion `count>=1' failed"},
        {__LINE__, [](FendrakeOptArguments& a) { a.GetOptionString("", "d"); },
         "Basic/FendrakeStdLib/src/FendrakeOptArguments:58 Assertion `len>=1' failed"},
        {__LINE__, [](FendrakeOptArguments& a) { a.GetOptionInt("", 1); },
         "Basic/FendrakeStdLib/src/FendrakeOptArguments:74 Assertion `len>=1' failed"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        CaptureScope capture;
        ArgList list({"prog", "-c", "x"});
        FendrakeOptArguments args = list.Args();
        EXPECT_THROW(row.mCall(args), AssertionFired);
        EXPECT_EQ(1, AssertionCount());
        EXPECT_THAT(CapturedOutput(), HasSubstr(row.mText));
        EXPECT_EQ(3, args.argc);
    }
}

TEST(FendrakeOptArgumentsTest, PrintListsEveryEntry) {
    CaptureScope capture;
    ArgList list({"prog", "a b"});
    list.Args().Print();
    EXPECT_EQ("Arguments 2\nArgument 0 'prog'\nArgument 1 'a b'\n", CapturedOutput());
}
