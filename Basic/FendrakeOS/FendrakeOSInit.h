// Start and stop of the operating-system layer, run by BasicInit and
// BasicTerm on the main thread.
#ifndef BASIC_FENDRAKEOS_FENDRAKEOSINIT_H
#define BASIC_FENDRAKEOS_FENDRAKEOSINIT_H

class FendrakeOptArguments;

// Takes "--daemon-mode=" out of ioArgs and makes the calling thread the
// named main thread; 0, in the process that goes on. Runs before any thread
// exists and before logging is up. Mode 0 (the default, also for text that is
// no number) changes nothing. Mode 2 forks, and the parent stays to wait for
// the child, passing an interrupt on to it as SIGTERM, then exits with 0; the
// child leaves the session and its terminal but keeps its working directory
// and descriptors. Any other mode forks a classic daemon: the parent exits
// with 0 at once, the child leaves the session and works in "/" with
// descriptors 0 to 2 on "/dev/null". A failing fork, setsid or chdir ends the
// process with 1.
int FendrakeOSInit(FendrakeOptArguments* ioArgs);
// Starts the "FendrakeThreadMonitor" thread once (see FendrakeThreadMonitor.h).
// iPeriodMs is its round; the library's is 1000, shorter ones serve tests.
void FendrakeOSStart(unsigned int iPeriodMs = 1000);
// Deletes the monitor thread and takes the thread system down; on the main thread.
void FendrakeOSDestruct();

// The supervising parent's interrupt handler: hands the signal on to the
// child as SIGTERM. The parent's wait, which the signal ends, logs it.
extern "C" void parent_sighandler(int iSignal);

#endif
