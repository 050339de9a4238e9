// Named threads of the library.
#ifndef BASIC_FENDRAKEOS_FENDRAKETHREAD_H
#define BASIC_FENDRAKEOS_FENDRAKETHREAD_H

class FendrakeThread {
public:
    // pthread_self() of the calling thread; the owner checks of the locks rest on it.
    static unsigned long ThisNative();
    // Gives the processor to another ready thread.
    static void Reschedule();
};

extern "C" {
// Name of the calling thread's object, or null for a thread the library does not know.
const char* FendrakeThreadThisName(void);
// Priority of the calling thread's object on the library's scale.
int FendrakeThreadThisPriority(void);
}

#endif
