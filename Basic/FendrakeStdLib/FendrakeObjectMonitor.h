// Registry of the live objects of classes above the library, for reports at
// termination. Switched on only by the environment at start-up.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEOBJECTMONITOR_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEOBJECTMONITOR_H

#include <cstdio>

class FendrakeObjectMonitor {
public:
    static bool smFendrakeObjectMonitorIsActive;
    // Frames recorded per instance; 0 means no stacks, at most 24.
    static int smFendrakeObjectMonitorStackDepth;

    // Stacks. A null iOut means the log at level 0, each line under print access.
    // Fills at most iMaximum frames (the top two bits are ignored); returns how many.
    static unsigned int GetStacktrace(void** oFrames, unsigned int iMaximum);
    // "  module : name+offset" for frames iSkip..iCount-1, names demangled where possible.
    static void PrintStack(void** iFrames, unsigned int iCount, FILE* iOut, unsigned int iSkip);
    // "FendrakeStackTrace:" and the calling thread's stack, at most 256 frames.
    static void PrintStacktrace(FILE* iOut, unsigned int iMaximum, unsigned int iSkip);
};

#endif
