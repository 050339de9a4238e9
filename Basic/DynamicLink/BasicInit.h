// Start and stop of the library: BasicInit first, BasicTerm last, each once
// per process, from the main thread. BasicInit takes its options out of the
// argument list; a second call of either does nothing.
#ifndef BASIC_DYNAMICLINK_BASICINIT_H
#define BASIC_DYNAMICLINK_BASICINIT_H

class FendrakeOptArguments;

extern "C" {
void BasicInit(FendrakeOptArguments* ioArgs);
void BasicTerm(void);
// Prints the start-up banner to standard output (not through the log).
void BasicBanner(const char* iTitle);
}

#endif
