// What the common start of the operating-system layer asks of its platform.
#ifndef BASIC_FENDRAKEOS_SRC_FENDRAKEOSINIT_FENDRAKEOSINITPRIVATE_H
#define BASIC_FENDRAKEOS_SRC_FENDRAKEOSINIT_FENDRAKEOSINITPRIVATE_H

// Forks into the daemon of iMode (not 0). Returns only in the process that
// goes on; the parent and every failure end the process.
void FendrakeOSEnterDaemonMode(int iMode);
int FendrakeOSProcessGroup();

#endif
