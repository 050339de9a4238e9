// Start and stop of the operating-system layer, run by BasicInit and
// BasicTerm on the main thread.
#ifndef BASIC_FENDRAKEOS_FENDRAKEOSINIT_H
#define BASIC_FENDRAKEOS_FENDRAKEOSINIT_H

class FendrakeOptArguments;

// Takes the layer's options out of ioArgs and makes the calling thread the
// named main thread; 0, in the process that goes on.
int FendrakeOSInit(FendrakeOptArguments* ioArgs);
// Takes the thread system down again; on the main thread.
void FendrakeOSDestruct();

#endif
