// Named threads of the library. (The thread class joins with the threads layer.)
#ifndef BASIC_FENDRAKEOS_FENDRAKETHREAD_H
#define BASIC_FENDRAKEOS_FENDRAKETHREAD_H

extern "C" {
// Name of the calling thread's object, or null for a thread the library does not know.
const char* FendrakeThreadThisName(void);
// Priority of the calling thread's object on the library's scale.
int FendrakeThreadThisPriority(void);
}

#endif
