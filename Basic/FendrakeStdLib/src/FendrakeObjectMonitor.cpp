#include "Basic/FendrakeStdLib/FendrakeObjectMonitor.h"

bool FendrakeObjectMonitor::smFendrakeObjectMonitorIsActive = false;
int FendrakeObjectMonitor::smFendrakeObjectMonitorStackDepth = 0;
