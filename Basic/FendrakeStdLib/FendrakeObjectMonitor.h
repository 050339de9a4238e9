// Registry of the live objects of classes above the library, for reports at
// termination. Switched on only by the environment at start-up.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEOBJECTMONITOR_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEOBJECTMONITOR_H

class FendrakeObjectMonitor {
public:
    static bool smFendrakeObjectMonitorIsActive;
    // Frames recorded per instance; 0 means no stacks, at most 24.
    static int smFendrakeObjectMonitorStackDepth;
};

#endif
