#include "Basic/FendrakeOS/FendrakeOSInit.h"

#include "Basic/FendrakeOS/FendrakeThread.h"

namespace {
// Joining points: each stands where its layer's call belongs.
void EnterDaemonMode(FendrakeOptArguments*) {} // "--daemon-mode=", before any thread exists
void StopThreadMonitor() {}                    // delete the monitor thread, clear its pointer
} // namespace

int FendrakeOSInit(FendrakeOptArguments* ioArgs) {
    EnterDaemonMode(ioArgs);
    FendrakeThread::Initialize();
    return 0;
}

void FendrakeOSDestruct() {
    StopThreadMonitor();
    FendrakeThread::Destruct();
}
