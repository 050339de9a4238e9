#include "Basic/FendrakeStdLib/FendrakeDebug.h"

#include "Basic/FendrakeStdLib/FendrakeAssert.h"
#include "Basic/FendrakeStdLib/FendrakeOstream.h"
#include "Basic/FendrakeStdLib/src/FendrakeDebug/FendrakeDebugPrivate.h"

#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <unistd.h>
#include <vector>

using testing::ElementsAre;
using testing::HasSubstr;

namespace {
const char* const kPath = "Basic/FendrakeOS/x";

// Colours are decided by FendrakeDebugInit; each case leaves them off again.
void StartLogging(const char* iColours) {
    setenv("FENDRAKE_TTY_COLORS", iColours, 1);
    FendrakeDebugInit(nullptr);
}

// Colours stay as decided after FendrakeDebugTerm.
void ColoursOff() {
    setenv("FENDRAKE_TTY_COLORS", "0", 1);
    FendrakeDebugInit(nullptr);
    FendrakeDebugTerm();
    unsetenv("FENDRAKE_TTY_COLORS");
}

std::string TimeFields(FendrakeLogTimeState& ioState, unsigned iSec, unsigned iUpSec,
                       unsigned iUpNsec) {
    char text[256];
    const unsigned written =
        FendrakeLogTimeFields(ioState, text, sizeof text, iSec, 0, iUpSec, iUpNsec);
    EXPECT_EQ(strlen(text), written);
    return text;
}
} // namespace

TEST(FendrakeDebugTest, LineHasPathLineAndLevelWithoutColour) {
    CaptureScope scope;
    FENDRAKE_LOG_AT(kPath, 12, 1, "Hello %s\n", "world");
    fendrake_log_at("/home/build/Source/Basic/y", 3, 2, "short\n");
    FENDRAKE_LOG_STREAM_AT("Basic/z", 7, 1) << "v=" << 5 << "\n";
    EXPECT_THAT(CapturedLines(),
                ElementsAre(kUnknownThreadPrefix + "Basic/FendrakeOS/x:12(L1)Hello world\n",
                            kUnknownThreadPrefix + "Basic/y:3(L2)short\n",
                            kUnknownThreadPrefix + "Basic/z:7(L1)v=5\n"));
}

TEST(FendrakeDebugTest, OutputLevelDecidesWhatPrints) {
    CaptureScope scope;
    for (unsigned level : {0u, 1u, 2u}) {
        LevelScope setLevel(level);
        for (int statement : {0, 1, 2})
            FENDRAKE_LOG_AT(kPath, 1, statement, "%u/%d\n", level, statement);
    }
    EXPECT_THAT(CapturedTexts(), ElementsAre("0/0\n", "1/0\n", "1/1\n", "2/0\n", "2/1\n", "2/2\n"));
}

TEST(FendrakeDebugTest, LinesCollectUntilTheirNewline) {
    CaptureScope scope;
    FENDRAKE_LOG_BARE(1, "a");
    FENDRAKE_LOG_BARE(1, "b\n");
    // Pending text takes the prefix of the statement that ends the line.
    FENDRAKE_LOG_AT("Basic/first", 1, 1, "x");
    FENDRAKE_LOG_AT("Basic/second", 2, 1, "y\n");
    // Text behind a newline goes out with it.
    FENDRAKE_LOG_BARE(1, "c\nd");
    EXPECT_THAT(CapturedLines(),
                ElementsAre("ab\n", kUnknownThreadPrefix + "Basic/second:2(L1)xy\n", "c\nd"));
}

TEST(FendrakeDebugTest, LongLinesLeaveInPiecesOf1023) {
    CaptureScope scope;
    const std::string exact(1023, 'x');
    FENDRAKE_LOG_AT(kPath, 5, 1, "%s", exact.c_str());
    ASSERT_EQ(1u, CapturedLines().size()) << "a full buffer leaves at once";
    FENDRAKE_LOG_BARE(1, "\n");
    const std::string longer(1030, 'y');
    FENDRAKE_LOG_AT(kPath, 6, 1, "%s\n", longer.c_str());
    EXPECT_THAT(
        CapturedLines(),
        ElementsAre(kUnknownThreadPrefix + "Basic/FendrakeOS/x:5(L1)" + exact, "\n",
                    kUnknownThreadPrefix + "Basic/FendrakeOS/x:6(L1)" + longer.substr(0, 1023),
                    longer.substr(1023) + "\n"));
}

TEST(FendrakeDebugTest, TagsStandBehindTheContext) {
    CaptureScope scope;
    fendrake_print_context_file_line(kPath, 9, 1, 0, "Basic", "Basic", "");
    fendrake_print_with_level(1, "T1", nullptr, "T3", "text\n");
    // Without a context line the tags land behind the terminator of the restarted prefix.
    fendrake_print_with_level(1, "T1", "", "", "bare\n");
    EXPECT_THAT(CapturedLines(), ElementsAre(kUnknownThreadPrefix +
                                                 "Basic/FendrakeOS/x:9(L1)<T1><(null)><T3>: text\n",
                                             "bare\n"));
}

TEST(FendrakeDebugTest, OverlongContextIsCut) {
    CaptureScope scope;
    const std::string path = "Basic/" + std::string(3000, 'p');
    fendrake_print_context_file_line(path.c_str(), 1, 1, 0, "", "", "");
    fendrake_print_with_level(1, "tag", "", "", "t\n");
    ASSERT_EQ(1u, CapturedLines().size());
    EXPECT_EQ(2047u + 2, CapturedLines()[0].size());
}

TEST(FendrakeDebugTest, ErrnoSurvivesAStatement) {
    CaptureScope scope;
    errno = 1234;
    FENDRAKE_LOG_AT(kPath, 1, 1, "x\n");
    EXPECT_EQ(1234, errno);
}

TEST(FendrakeDebugTest, ColourEscapesFramePrefixAndText) {
    StartLogging("1");
    {
        CaptureScope scope;
        fendrake_log_colour_at(kPath, 5, 1, 31, "red\n");
        FENDRAKE_LOG_BARE(1, "x\n");
        EXPECT_THAT(CapturedLines(),
                    ElementsAre("\x1b[31m" + kUnknownThreadPrefix + "Basic/FendrakeOS/x:5(L1)red\n",
                                "\x1b[0mx\n"));
    }
    FendrakeDebugTerm();
    ColoursOff();
    CaptureScope scope;
    FENDRAKE_LOG_AT(kPath, 5, 1, "plain\n");
    EXPECT_EQ(kUnknownThreadPrefix + "Basic/FendrakeOS/x:5(L1)plain\n", LastLogLine());
}

TEST(FendrakeDebugTest, EnvironmentDecidesColoursBeforeTheTerminal) {
    const bool terminal = isatty(2) == 1;
    struct Row {
        int mLine;
        const char* mValue;
        bool mColours;
    };
    const Row rows[] = {
        {__LINE__, "0", false},   {__LINE__, "1", true},    {__LINE__, "7", true},
        {__LINE__, "abc", false}, {__LINE__, "", terminal}, {__LINE__, nullptr, terminal},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        if (row.mValue)
            setenv("FENDRAKE_TTY_COLORS", row.mValue, 1);
        else
            unsetenv("FENDRAKE_TTY_COLORS");
        EXPECT_EQ(row.mColours, FendrakeDebugPlatformColoursWanted());
    }
    unsetenv("FENDRAKE_TTY_COLORS");
}

TEST(FendrakeDebugTest, StandardOutputGetsTheResetWhenColoured) {
    fflush(stdout);
    const int saved = dup(1);
    FILE* file = tmpfile();
    ASSERT_NE(nullptr, file);
    dup2(fileno(file), 1);
    __fendrake_debug_log(1, "pre:", "plain\n");
    StartLogging("1");
    FendrakeDebugTerm(); // colours stay on; no system log
    __fendrake_debug_log(1, "pre:", "coloured\n");
    fflush(stdout);
    ColoursOff();
    dup2(saved, 1);
    close(saved);
    char text[128] = {};
    rewind(file);
    fread(text, 1, sizeof text - 1, file);
    fclose(file);
    EXPECT_STREQ("pre:plain\npre:coloured\n\x1b[0m", text);
}

TEST(FendrakeDebugTest, PrintAccessLifecycleIsChecked) {
    CaptureScope scope;
    EXPECT_THROW(FendrakeDebugTerm(), AssertionFired);
    EXPECT_THAT(LastLogLine(),
                HasSubstr("Basic/FendrakeStdLib/src/FendrakeDebug/"
                          "FendrakeDebugCommon:498 Assertion `spPrintAccess' failed"));
    StartLogging("0");
    EXPECT_EQ(1, getprintaccess());
    EXPECT_EQ(1, getprintaccess_noblock()); // recursive
    releaseprintaccess();
    releaseprintaccess();
    EXPECT_THROW(printaccess_init(), AssertionFired);
    EXPECT_THAT(LastLogLine(), HasSubstr("FendrakeDebugCommon:494 Assertion `spPrintAccess==0'"));
    FendrakeDebugTerm();
    EXPECT_EQ(2, AssertionCount());
    unsetenv("FENDRAKE_TTY_COLORS");
}

TEST(FendrakeDebugTest, TimeFieldsWithDayLine) {
    setenv("TZ", "UTC", 1);
    tzset();
    FendrakeLogTimeState state;
    // 2023-11-14 22:13:20 UTC, a Tuesday.
    EXPECT_EQ("---[Day is Tuesday 2023 11 14 - 22:13:20 ]---\n[5,000123][00:00:05,000123] ",
              TimeFields(state, 1700000000, 5, 123456));
    EXPECT_EQ(1700000000u - 22 * 3600 - 13 * 60 + 20, state.mDayBase);
    EXPECT_EQ("[1,000377][00:00:06,000500] ", TimeFields(state, 1700000010, 6, 500999));
    // Past midnight the next day line waits for the stored base plus a day.
    EXPECT_EQ("[0,000000][00:00:06,000500] ", TimeFields(state, state.mDayBase + 86400, 6, 500000));
    EXPECT_THAT(TimeFields(state, state.mDayBase + 86401, 90000, 0),
                HasSubstr("]---\n[89993,999500][25:00:00,000000] "));

    FendrakeLogTimeState fresh;
    char cut[10];
    EXPECT_EQ(9u, FendrakeLogTimeFields(fresh, cut, sizeof cut, 0, 0, 1, 0));
    EXPECT_STREQ("[1,000000", cut);
}
