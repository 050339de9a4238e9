#include "Capture.h"

#include "Basic/FendrakeStdLib/FendrakeAssert.h"

#include <cstdio>
#include <mutex>

namespace {
struct Record {
    std::mutex mMutex;
    std::vector<std::string> mLines;
    std::vector<std::string> mTexts;
    std::vector<CheckPoint> mCheckPoints;
    int mAssertions = 0;
    bool mEcho = true;
};

Record& TheRecord() {
    static Record* record = new Record; // outlives every static that may still log
    return *record;
}
} // namespace

extern "C" void fendrake_debug_log(int iLevel, const char* iPrefix, const char* iText) {
    Record& record = TheRecord();
    bool echo;
    {
        std::lock_guard<std::mutex> lock(record.mMutex);
        record.mLines.push_back(std::string(iPrefix) + iText);
        record.mTexts.push_back(iText);
        echo = record.mEcho;
    }
    if (echo)
        __fendrake_debug_log(iLevel, iPrefix, iText);
}

extern "C" void fassert_point_fired(void) {
    Record& record = TheRecord();
    {
        std::lock_guard<std::mutex> lock(record.mMutex);
        ++record.mAssertions;
    }
    throw AssertionFired();
}

extern "C" void fcheck_point_fired(const char* iFile, int iLine, unsigned iDebugLevel,
                                   const char* iLayer, const char* iModule,
                                   const char* iSubmodule) {
    Record& record = TheRecord();
    {
        std::lock_guard<std::mutex> lock(record.mMutex);
        record.mCheckPoints.push_back(CheckPoint{iFile, iLine, iDebugLevel});
    }
    __fcheck_point_fired(iFile, iLine, iDebugLevel, iLayer, iModule, iSubmodule);
}

std::vector<std::string> CapturedLines() {
    std::lock_guard<std::mutex> lock(TheRecord().mMutex);
    return TheRecord().mLines;
}

std::vector<std::string> CapturedTexts() {
    std::lock_guard<std::mutex> lock(TheRecord().mMutex);
    return TheRecord().mTexts;
}

std::string LastLogLine() {
    std::lock_guard<std::mutex> lock(TheRecord().mMutex);
    return TheRecord().mLines.empty() ? std::string() : TheRecord().mLines.back();
}

std::string CapturedOutput() {
    std::lock_guard<std::mutex> lock(TheRecord().mMutex);
    std::string all;
    for (const std::string& line : TheRecord().mLines)
        all += line;
    return all;
}

std::vector<CheckPoint> CapturedCheckPoints() {
    std::lock_guard<std::mutex> lock(TheRecord().mMutex);
    return TheRecord().mCheckPoints;
}

int AssertionCount() {
    std::lock_guard<std::mutex> lock(TheRecord().mMutex);
    return TheRecord().mAssertions;
}

void ClearCaptured() {
    std::lock_guard<std::mutex> lock(TheRecord().mMutex);
    TheRecord().mLines.clear();
    TheRecord().mTexts.clear();
    TheRecord().mCheckPoints.clear();
    TheRecord().mAssertions = 0;
}

CaptureScope::CaptureScope(bool iEcho) {
    ClearCaptured();
    std::lock_guard<std::mutex> lock(TheRecord().mMutex);
    TheRecord().mEcho = iEcho;
}

CaptureScope::~CaptureScope() {
    std::lock_guard<std::mutex> lock(TheRecord().mMutex);
    TheRecord().mEcho = true;
}

LevelScope::LevelScope(unsigned iLevel) : mSaved(fendrake_debug_output_level_get()) {
    fendrake_debug_output_level_set(iLevel);
}

LevelScope::~LevelScope() {
    fendrake_debug_output_level_set(mSaved);
}

const std::string kUnknownThreadPrefix = "**Unknown thread**.0 ";
