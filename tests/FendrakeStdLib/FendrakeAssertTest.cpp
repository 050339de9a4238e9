#include "Basic/FendrakeStdLib/FendrakeAssert.h"

#include "Basic/FendrakeStdLib/FendrakeObjectMonitor.h"
#include "Basic/FendrakeStdLib/FendrakeStdio.h"

#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::StartsWith;

namespace {
const char* const kPath = "Basic/FendrakeOS/src/FendrakeMutex/FendrakeMutexCommon";

std::string Pointer(const void* iPointer) {
    char text[32];
    fendrake_snprintf(text, sizeof text, "%p", iPointer);
    return text;
}

MapName Entry(unsigned long iStart, unsigned long iEnd, const char* iName) {
    MapName entry = {};
    entry.mStart = iStart;
    entry.mEnd = iEnd;
    strncpy(entry.mName, iName, sizeof entry.mName - 1);
    return entry;
}
} // namespace

TEST(FendrakeAssertTest, AssertionPrintsItsLineAndFiresOnce) {
    CaptureScope scope;
    int value = 1;
    FENDRAKE_ASSERT_AT(kPath, 35, value == 1, "value==1");
    EXPECT_THROW(FENDRAKE_ASSERT_AT(kPath, 36, value == 0, "0"), AssertionFired);
    EXPECT_THAT(CapturedTexts(),
                ElementsAre(std::string(kPath) +
                            ":36 Assertion `0' failed (calling task: **Unknown thread**).\n"));
    EXPECT_EQ(1, AssertionCount());
    EXPECT_THAT(CapturedCheckPoints(), IsEmpty());
}

TEST(FendrakeAssertTest, DetailsFollowTheAssertionLine) {
    CaptureScope scope;
    EXPECT_THROW(FENDRAKE_ASSERT_DETAIL_AT("Basic/a", 60, 5 <= 3, "a<=b", " a=%d, b=%x\n", 5, 0xb),
                 AssertionFired);
    // A detail without its newline gets one.
    EXPECT_THROW(FENDRAKE_ASSERT_DETAIL_AT("Basic/a", 61, false, "x", " errno=%d", 4),
                 AssertionFired);
    EXPECT_THROW(FENDRAKE_ASSERT_STREAM_AT("Basic/a", 62, false, "y", << " n=" << 7u << "\n"),
                 AssertionFired);
    EXPECT_THAT(
        CapturedTexts(),
        ElementsAre(
            "Basic/a:60 Assertion `a<=b' failed (calling task: **Unknown thread**).\n",
            " a=5, b=b\n", "Basic/a:61 Assertion `x' failed (calling task: **Unknown thread**).\n",
            " errno=4\n", "Basic/a:62 Assertion `y' failed (calling task: **Unknown thread**).\n",
            " n=7\n"));
    EXPECT_EQ(3, AssertionCount());
}

TEST(FendrakeAssertTest, StreamFormPrintsDecimalWhateverTheBase) {
    CaptureScope scope;
    pCoutFendrakeOstream->mBase = 16;
    EXPECT_THROW(FENDRAKE_ASSERT_STREAM_AT("Basic/a", 99, false, "z", << 255 << "\n"),
                 AssertionFired);
    EXPECT_THAT(CapturedTexts(),
                ElementsAre("Basic/a:99 Assertion `z' failed (calling task: **Unknown thread**).\n",
                            "255\n"));
}

TEST(FendrakeAssertTest, SilentAtOutputLevelZeroButStillFires) {
    CaptureScope scope;
    LevelScope level(0);
    EXPECT_THROW(FENDRAKE_ASSERT_AT(kPath, 36, false, "0"), AssertionFired);
    EXPECT_THROW(FENDRAKE_ASSERT_DETAIL_AT(kPath, 37, false, "0", "d=%d\n", 1), AssertionFired);
    FENDRAKE_CHECK_AT(kPath, 38, false, "0");
    EXPECT_THAT(CapturedLines(), IsEmpty());
    EXPECT_EQ(2, AssertionCount());
    EXPECT_EQ(1u, CapturedCheckPoints().size());
}

TEST(FendrakeAssertTest, CheckPointPrintsAndGoesOn) {
    CaptureScope scope;
    FENDRAKE_CHECK_AT("Basic/e", 70, true, "fine");
    FENDRAKE_CHECK_AT("Basic/e", 71, false, "res>=0");
    fendrake_attention_detail("Basic/e", 72, "fd>=0", ", errno=%d\n", 9);
    EXPECT_THAT(
        CapturedLines(),
        ElementsAre(
            "Basic/e:71 Attention `res>=0' failed (calling task: **Unknown thread**).\n",
            kUnknownThreadPrefix + "Basic/e:71(L1) debuglevel=2, layer=, module=, submodule=\n",
            "Basic/e:72 Attention `fd>=0' failed (calling task: **Unknown thread**).\n",
            ", errno=9\n",
            kUnknownThreadPrefix + "Basic/e:72(L1) debuglevel=2, layer=, module=, submodule=\n"));
    const std::vector<CheckPoint> points = CapturedCheckPoints();
    ASSERT_EQ(2u, points.size());
    EXPECT_EQ("Basic/e", points[0].mFile);
    EXPECT_EQ(71, points[0].mLine);
    EXPECT_EQ(2u, points[0].mDebugLevel);
    EXPECT_EQ(0, AssertionCount());

    // At output level 1 only the check point's own line remains.
    ClearCaptured();
    LevelScope level(1);
    FENDRAKE_CHECK_AT("Basic/e", 73, false, "x");
    EXPECT_THAT(CapturedLines(),
                ElementsAre(kUnknownThreadPrefix +
                            "Basic/e:73(L1) debuglevel=2, layer=, module=, submodule=\n"));
}

TEST(FendrakeAssertTest, MemoryDumpSixteenBytesToALine) {
    CaptureScope scope;
    LevelScope level(0); // printed whatever the level
    unsigned char bytes[17];
    for (unsigned i = 0; i < sizeof bytes; ++i)
        bytes[i] = static_cast<unsigned char>(i == 1 ? 0x07 : 'A' + i);
    fprintmemdump("mem ", bytes, sizeof bytes);
    EXPECT_THAT(
        CapturedTexts(),
        ElementsAre("mem " + Pointer(bytes) +
                        ": 41 07 43 44 45 46 47 48 49 4a 4b 4c 4d 4e 4f 50 A.CDEFGHIJKLMNOP\n",
                    "mem " + Pointer(bytes + 16) + ": 51 " + std::string(15 * 3, ' ') + "Q" +
                        std::string(15, ' ') + "\n"));
    fprintmemdump("none", bytes, 0);
    EXPECT_EQ(2u, CapturedTexts().size());
}

TEST(FendrakeAssertTest, CallArgumentsUntilTheEndMark) {
    CaptureScope scope;
    PrintCallArguments("Basic/f", 3, reinterpret_cast<void*>(0x10), "Open", 1u, 0xabu, 0u,
                       FENDRAKE_CALL_ARGUMENTS_END);
    PrintCallArguments("Basic/f", 4, nullptr, "Close", FENDRAKE_CALL_ARGUMENTS_END);
    EXPECT_THAT(CapturedTexts(),
                ElementsAre("Basic/f:3:CallReturn Open(0x1, 0xab, 0x0) = 0x00000010\n",
                            "Basic/f:4:CallReturn Close() = 0x00000000\n"));
}

TEST(FendrakeAssertTest, GetNameFindsTheEntryHoldingTheAddress) {
    FendrakeVector<MapName> map;
    MapName found = {};
    EXPECT_FALSE(GetName(map, 0x100, found));
    map.push_back(Entry(0x100, 0x200, "first"));
    map.push_back(Entry(0x300, 0x400, "second"));
    map.push_back(Entry(0x400, 0x401, "third"));
    struct Row {
        int mLine;
        unsigned long mAddress;
        const char* mName;
    };
    static const Row kRows[] = {
        {__LINE__, 0xff, nullptr},  {__LINE__, 0x100, "first"}, {__LINE__, 0x1ff, "first"},
        {__LINE__, 0x200, nullptr}, {__LINE__, 0x2ff, nullptr}, {__LINE__, 0x350, "second"},
        {__LINE__, 0x400, "third"}, {__LINE__, 0x401, nullptr},
    };
    for (const Row& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        MapName out = {};
        EXPECT_EQ(row.mName != nullptr, GetName(map, row.mAddress, out));
        EXPECT_STREQ(row.mName ? row.mName : "", out.mName);
    }
}

TEST(FendrakeAssertTest, StackTraceNamesItsFrames) {
    void* frames[8];
    const unsigned count = FendrakeObjectMonitor::GetStacktrace(frames, 8);
    ASSERT_GT(count, 1u);

    CaptureScope scope;
    FendrakeObjectMonitor::PrintStack(frames, count, nullptr, count);
    EXPECT_THAT(CapturedLines(), IsEmpty());

    FendrakeObjectMonitor::PrintStacktrace(nullptr, 16, 0);
    const std::vector<std::string> lines = CapturedTexts();
    ASSERT_GT(lines.size(), 1u);
    EXPECT_EQ("FendrakeStackTrace:\n", lines[0]);
    for (size_t i = 1; i < lines.size(); ++i)
        EXPECT_THAT(lines[i], MatchesRegex("  .+ : .*\\+0x[0-9a-f]+\n"));

    FILE* file = tmpfile();
    ASSERT_NE(nullptr, file);
    FendrakeObjectMonitor::PrintStacktrace(file, 16, 0);
    char text[64] = {};
    rewind(file);
    EXPECT_LT(0u, fread(text, 1, sizeof text - 1, file));
    fclose(file);
    EXPECT_THAT(text, StartsWith("FendrakeStackTrace:\n  "));
}
