#include "Basic/FendrakeOS/FendrakeMutex.h"

#include "Basic/FendrakeStdLib/FendrakeAssert.h"

namespace {
const char* const kPath = "Basic/FendrakeOS/src/FendrakeMutex/FendrakeMutexCommon";
} // namespace

bool FendrakeMutex::GetMutexCheckingRunTime() {
    return false;
}

FendrakeMutex& FendrakeMutex::operator=(const FendrakeMutex&) {
    FENDRAKE_ASSERT_AT(kPath, 31, false, "0");
    return *this;
}

// The assertion comes before the native mutex exists, so a hook that throws
// leaves nothing behind.
FendrakeMutex::FendrakeMutex(const FendrakeMutex&) {
    FENDRAKE_ASSERT_AT(kPath, 36, false, "0");
    iCreate();
}

FendrakeMutexNested& FendrakeMutexNested::operator=(const FendrakeMutexNested&) {
    FENDRAKE_ASSERT_AT(kPath, 41, false, "0");
    return *this;
}

// The base is built first; a hook that throws destroys it again on the way out.
FendrakeMutexNested::FendrakeMutexNested(const FendrakeMutexNested&) : FendrakeMutex() {
    FENDRAKE_ASSERT_AT(kPath, 46, false, "0");
}
