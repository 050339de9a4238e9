// Test side of the library's replaceable hooks: assertions throw, log lines
// and check points are recorded so a test can check what the library printed.
#ifndef BASIC_TESTS_SUPPORT_CAPTURE_H
#define BASIC_TESTS_SUPPORT_CAPTURE_H

#include <string>
#include <vector>

// Thrown by the test's fassert_point_fired instead of aborting.
struct AssertionFired {};

struct CheckPoint {
    std::string mFile;
    int mLine;
    unsigned mDebugLevel;
};

// Every line that reached fendrake_debug_log, prefix and text joined.
std::vector<std::string> CapturedLines();
// The texts alone, without their prefixes.
std::vector<std::string> CapturedTexts();
std::string LastLogLine();
// All captured text joined in order: what standard output would have shown.
std::string CapturedOutput();
std::vector<CheckPoint> CapturedCheckPoints();
int AssertionCount();
void ClearCaptured();

// Keeps capturing for its lifetime, starting from an empty record; lines are
// still written to standard output when iEcho is set.
class CaptureScope {
public:
    explicit CaptureScope(bool iEcho = false);
    ~CaptureScope();
};

// Sets the output level for its lifetime.
class LevelScope {
public:
    explicit LevelScope(unsigned iLevel);
    ~LevelScope();

private:
    unsigned mSaved;
};

// The thread part of a context line written by a thread the library does not
// know, at the default scheduling priority.
extern const std::string kUnknownThreadPrefix;

#endif
