#include "Basic/DynamicLink/BasicInit.h"

#include "Basic/FendrakeOS/FendrakeOSInit.h"
#include "Basic/FendrakeStdLib/FendrakeDebug.h"
#include "Basic/FendrakeStdLib/FendrakeObjectMonitor.h"
#include "Basic/FendrakeStdLib/FendrakeOptArguments.h"
#include "Basic/FendrakeStdLib/FendrakeRuntimeConfiguration.h"
#include "Basic/FendrakeStdLib/FendrakeString.h"
#include "Basic/FendrakeStdLib/FendrakeTime.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {
bool sStarted = false;
bool sStopped = false;

// Joining points: each stands where its layer's call belongs and becomes
// that call when the layer lands.
void ReadConfigurationFile(const char*, const char*) {} // key file and its groups
void FinalizePaths() {}                                 // FendrakePathConfigFinalize()
void TermPaths() {}                                     // FendrakePathConfigTerm()
void ReportObjectMonitor() {}                           // PrintState twice, TerminationValidation
void DestroyConfigurationFile() {} // FendrakeConfigParser::DestroyDefaultInstance()

// Set and anything but exactly "0", the empty value included.
bool ObjectMonitorRequested() {
    const char* value = getenv("FENDRAKE_OBJECT_MONITOR");
    return value && strcmp(value, "0") != 0;
}

void ApplyObjectMonitorEnvironment() {
    if (ObjectMonitorRequested())
        FendrakeObjectMonitor::smFendrakeObjectMonitorIsActive = true;
    const char* depthText = getenv("FENDRAKE_OBJECT_MONITOR_STACK_DEPTH");
    if (!depthText)
        return;
    const long depth = strtol(depthText, nullptr, 10);
    if (depth < 0)
        return;
    // A depth that is not 0 is never below 6.
    int stored = static_cast<int>(depth);
    if (depth >= 1 && depth <= 5)
        stored = 6;
    else if (depth >= 25)
        stored = 24;
    FendrakeObjectMonitor::smFendrakeObjectMonitorStackDepth = stored;
}
} // namespace

void BasicInit(FendrakeOptArguments* ioArgs) {
    if (sStarted)
        return;
    sStarted = true;
    FendrakeTime::initialize();
    FendrakeOSInit(ioArgs);
    FendrakeDebugInit(ioArgs);
    FendrakeOSStart();
    FendrakeStringShared::CreateSystem();
    ApplyObjectMonitorEnvironment();
    const char* programName = ioArgs->GetProgramName();
    const char* path = ioArgs->GetOptionString("--config=", "/etc/vistarune.conf");
    path = ioArgs->GetOptionString("-c", path);
    ReadConfigurationFile(path, programName);
    FinalizePaths();
}

void BasicTerm(void) {
    if (sStopped)
        return;
    sStopped = true;
    TermPaths();
    FendrakeRuntimeConfigSetValueCleanup();
    if (ObjectMonitorRequested())
        ReportObjectMonitor();
    FendrakeStringShared::DestroySystem();
    FendrakeOSDestruct();
    FendrakeDebugTerm();
    DestroyConfigurationFile();
}

void BasicBanner(const char* iTitle) {
    puts("");
    puts("-=================-");
    printf("-=   %9s   =-\n", iTitle);
    puts("-= Fendrake Ltd  =-");
    puts("-=================-");
    printf(" Product          : %s\n", FendrakeRuntimeConfigGetString(_YCONFIG_PRODUCT_STRING));
    printf(" Software Version : %s\n",
           FendrakeRuntimeConfigGetString(_YCONFIG_SOFTWARE_REVISION_NICE));
    printf(" Sdk version      : %s\n", "(13.21-PC21.5)");
    printf(" Date             : %d\n", FendrakeRuntimeConfigGetUint(_YCONFIG_DATE));
    puts("");
}
