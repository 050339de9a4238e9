#include "Basic/DynamicLink/BasicInit.h"

#include "Basic/FendrakeStdLib/FendrakeObjectMonitor.h"
#include "Basic/FendrakeStdLib/FendrakeOptArguments.h"
#include "Basic/FendrakeStdLib/FendrakeRuntimeConfiguration.h"

#include <gtest/gtest.h>

#include "ArgList.h"
#include "Capture.h"

#include <cstdlib>
#include <string>
#include <vector>

// BasicInit runs once per process, so each case runs in a child of its own
// and reports through its exit code.
namespace {
void InitWithEnvironment(const char* iMonitor, const char* iDepth) {
    if (iMonitor)
        setenv("FENDRAKE_OBJECT_MONITOR", iMonitor, 1);
    else
        unsetenv("FENDRAKE_OBJECT_MONITOR");
    if (iDepth)
        setenv("FENDRAKE_OBJECT_MONITOR_STACK_DEPTH", iDepth, 1);
    else
        unsetenv("FENDRAKE_OBJECT_MONITOR_STACK_DEPTH");
    ArgList list({"prog"});
    FendrakeOptArguments args = list.Args();
    BasicInit(&args);
}
} // namespace

TEST(BasicInitTest, StackDepthFromTheEnvironment) {
    const struct {
        int mLine;
        const char* mText;
        int mStored;
    } kRows[] = {
        {__LINE__, nullptr, 99}, {__LINE__, "-1", 99}, {__LINE__, "0", 0},   {__LINE__, "3", 6},
        {__LINE__, "5", 6},      {__LINE__, "6", 6},   {__LINE__, "24", 24}, {__LINE__, "25", 24},
        {__LINE__, "1000", 24},  {__LINE__, "abc", 0}, {__LINE__, "17", 17},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        EXPECT_EXIT(
            {
                FendrakeObjectMonitor::smFendrakeObjectMonitorStackDepth = 99;
                InitWithEnvironment(nullptr, row.mText);
                exit(FendrakeObjectMonitor::smFendrakeObjectMonitorStackDepth);
            },
            testing::ExitedWithCode(row.mStored), "");
    }
}

TEST(BasicInitTest, ObjectMonitorSwitch) {
    const struct {
        int mLine;
        const char* mValue;
        bool mActive;
    } kRows[] = {
        {__LINE__, nullptr, false}, {__LINE__, "0", false}, {__LINE__, "00", true},
        {__LINE__, "", true},       {__LINE__, "1", true},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        EXPECT_EXIT(
            {
                InitWithEnvironment(row.mValue, nullptr);
                exit(FendrakeObjectMonitor::smFendrakeObjectMonitorIsActive ? 1 : 0);
            },
            testing::ExitedWithCode(row.mActive ? 1 : 0), "");
    }
}

TEST(BasicInitTest, TakesBothConfigurationOptionsAndRunsOnce) {
    EXPECT_EXIT(
        {
            ArgList list({"prog", "--config=/nonexistent/a", "keep", "-c", "/nonexistent/b"});
            FendrakeOptArguments args = list.Args();
            BasicInit(&args);
            const bool taken = args.argc == 2 && std::string(args.argv[1]) == "keep";
            ArgList again({"prog", "-c", "x"});
            FendrakeOptArguments second = again.Args();
            BasicInit(&second); // no-op: the option stays
            BasicTerm();
            BasicTerm();
            exit(taken && second.argc == 3 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

// On the empty state the thread and print layers report by assertion; the
// steps before them, shared strings included, must not crash.
TEST(BasicInitTest, TermWithoutInitEndsInAnAssertion) {
    EXPECT_EXIT(
        {
            CaptureScope capture;
            try {
                BasicTerm();
            } catch (const AssertionFired&) {
            }
            exit(AssertionCount() == 1 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(BasicInitTest, TermFreesRuntimeStrings) {
    EXPECT_EXIT(
        {
            InitWithEnvironment(nullptr, nullptr);
            FendrakeRuntimeConfigSetValue("model_name", "set at run time");
            BasicTerm();
            exit(FendrakeRuntimeConfigGetString(_YCONFIG_MODEL_NAME) ==
                         fendrake_runtime_configurationS[_YCONFIG_MODEL_NAME]
                     ? 0
                     : 1);
        },
        testing::ExitedWithCode(0), "");
}

TEST(BasicInitTest, BannerText) {
    testing::internal::CaptureStdout();
    BasicBanner("Demo");
    EXPECT_EQ("\n"
              "-=================-\n"
              "-=        Demo   =-\n"
              "-= Fendrake Ltd  =-\n"
              "-=================-\n"
              " Product          : TestProduct\n"
              " Software Version : 1.2.3-test\n"
              " Sdk version      : (13.21-PC21.5)\n"
              " Date             : 20261121\n"
              "\n",
              testing::internal::GetCapturedStdout());
}
