// A named, prioritised POSIX thread whose work is the virtual Body. The
// thread exists from construction but waits until Start before it runs Body.
// Priorities 1 to 40 are nice values 19 to -20; from 41 up the thread runs
// SCHED_RR at priority - 40; 0 counts as 1.
// Ownership: the owner deletes the object, which waits for the thread's end;
// after Detach the thread deletes its own object when Body returns. An object
// for a thread the library did not create (NameForeignThread) is deleted when
// that thread exits.
// Threads: mMutex orders SetPriority and GetPriority against the new
// thread's set-up; This() takes no lock. sPidMapMutex guards the thread map
// and is never held while Body runs.
// Clock: ticks of one microsecond on the monotonic clock, 32 bits wide.
// Differences are taken unsigned and read as signed, so comparisons hold
// across the wrap (every 71.6 minutes) for values less than 35 minutes apart.
#ifndef BASIC_FENDRAKEOS_FENDRAKETHREAD_H
#define BASIC_FENDRAKEOS_FENDRAKETHREAD_H

#include "Basic/FendrakeOS/FendrakeMutex.h"
#include "Basic/FendrakeOS/FendrakeSemaphore.h"
#include "Basic/FendrakeStdLib/FendrakeVector.h"

#include <pthread.h>

#include <atomic>

typedef int FendrakeThreadPriority;

class FendrakeThread {
public:
    // Creates the thread and holds it back until Start. iReserved is not read:
    // every thread has the system's default stack.
    FendrakeThread(const char* iName, void* iArgument, FendrakeThreadPriority iPriority,
                   unsigned int iReserved);
    // Stands for a running thread; creates none.
    FendrakeThread(unsigned long iNativeHandle, const char* iName);
    // Waits for the end of Body first, unless the thread is foreign. Deleting a
    // thread that was never started therefore never returns.
    virtual ~FendrakeThread();
    FendrakeThread(const FendrakeThread&) = delete;
    FendrakeThread& operator=(const FendrakeThread&) = delete;

    // Lets Body run; once.
    void Start();
    // The thread deletes its own object when Body returns. After the end of
    // Body it changes nothing: the owner still deletes.
    void Detach();
    // Blocks until Body has returned; always 0.
    int WaitForTermination();

    void SetData(void* iData);
    void* GetData();
    // Both talk to the operating system. A priority it refuses for want of
    // privilege is stored all the same and reads back as what the OS gives.
    void SetPriority(FendrakeThreadPriority iPriority);
    FendrakeThreadPriority GetPriority();
    // Starts or renews this thread's response ping: supervision reports the
    // thread as late unless the ping is renewed within iMilliseconds. 0 ends it.
    void SetResponsePingTimeOut(unsigned int iMilliseconds);
    void DisableResponsePing() { SetResponsePingTimeOut(0); }

    const char* GetName() const { return mName; }
    // Linux thread id; 0 until the thread has started.
    unsigned int GetTid();
    unsigned long GetNativeHandle() const { return static_cast<unsigned long>(mNativeHandle); }
    // Application-defined; -1 means no state. Shown in late-thread reports.
    void SetState(int iState) { mState.store(iState, std::memory_order_relaxed); }
    int GetState() const { return mState.load(std::memory_order_relaxed); }

    // Called once by FendrakeOSInit: the calling thread becomes "main", and
    // the process clock's bookkeeping is created. Destruct undoes it, on the
    // main thread.
    static void Initialize();
    static void Destruct();
    static bool IsInitialized();

    // The calling thread's object, or null for a thread the library does not know.
    static FendrakeThread* This();
    // pthread_self() of the calling thread; the owner checks of the locks rest on it.
    static unsigned long ThisNative();
    // Adopts the calling thread under iName. Null if it is known already (its
    // kernel name changes, its object's name does not) or on failure.
    static FendrakeThread* NameForeignThread(const char* iName);

    static void* ThreadFunctionWrapper(void* iThread);
    static void ThreadFunctionWrapperAtExit(void* iThread);

    // Nothing to do on this platform.
    static void DisableScheduling() {}
    static void EnableScheduling() {}
    // Gives the processor to another ready thread.
    static void Reschedule();

    static unsigned int GetClockNow();
    static unsigned long long GetClockNowLong();
    static unsigned int AddClocks(unsigned int iA, unsigned int iB) { return iA + iB; }
    static unsigned int SubClocks(unsigned int iA, unsigned int iB) { return iA - iB; }
    static unsigned int ClockTicksPerSec() { return 1000000; }
    static void DelayThreadMS(unsigned int iMilliseconds);
    // Spins on the clock without yielding.
    static void DelayThreadNS(unsigned int iNanoseconds);
    // Sleeps; an interrupted sleep is not resumed.
    static void DelayThreadTicks(unsigned int iTicks);
    // Below 10000 ticks yields in a loop instead of sleeping.
    static void DelayThreadTicksPrecise(unsigned int iTicks);
    // Returns at once for a moment already past.
    static void DelayThreadUntil(unsigned int iTicks);

protected:
    // The thread's work; its result is not read.
    virtual int Body(void* iArgument) = 0;

private:
    static void SetPidMap(FendrakeThread* iThread, unsigned int iPid);
    static void RemovePidMap(FendrakeThread* iThread);
    void iAbandon();

    // The main thread's object; not null while the thread system is up.
    static std::atomic<FendrakeThread*> spMainThreadSystemInitialized;

    FendrakeMutex mMutex;
    char mName[32];
    std::atomic<int> mState{-1};
    pthread_t mNativeHandle{};
    unsigned int mTid = 0;
    FendrakeThreadPriority mPriority = 0;
    FendrakeSemaphore mStartSemaphore{0};
    void* mData = nullptr;
    void* mArgument = nullptr;
    int mReturnValue = 0;
    bool mTerminated = false;
    // Written without the lock by Detach.
    std::atomic<bool> mDetached{false};
    bool mForeign = false;
    // The constructor failed after the thread was made: it ends without Body.
    bool mAbandoned = false;
};

// The object of a thread the library did not create; Body is never called.
class FendrakeThreadForeign : public FendrakeThread {
public:
    FendrakeThreadForeign(unsigned long iNativeHandle, const char* iName)
        : FendrakeThread(iNativeHandle, iName) {}

protected:
    int Body(void*) override { return 0; }
};

// One entry per known thread.
struct PidMap {
    FendrakeThread* mThread;
    unsigned int mPid;
};
// One watched thread, from its first response ping until the ping ends.
struct ResponseTimeOut {
    FendrakeThread* mThread;
    unsigned int mDeadline; // clock ticks
    bool mReported;         // the lateness has been logged
};
// The mutex exists while the thread system is up and guards both vectors.
// The vectors are never destroyed: threads may still come and go while the
// process exits.
extern FendrakeVector<PidMap>& sPidMap;
extern FendrakeVector<ResponseTimeOut>& sResponseTimeOut;
extern FendrakeMutex* sPidMapMutex;

// Starts, renews (clearing mReported) or, with 0, ends iThread's ping. Does
// nothing while the thread system is down.
void SetRemoveResponseTimeOut(FendrakeThread* iThread, unsigned int iMilliseconds);

extern "C" {
// The calling thread's name, or "**Unknown thread**"; never null.
const char* FendrakeThreadThisName(void);
// The calling thread's priority on the library's scale; for an unknown thread
// its raw scheduling priority, or -1.
int FendrakeThreadThisPriority(void);
// The object of a Linux thread id, or null.
FendrakeThread* FendrakeThread_GetFromPid(unsigned int iPid);
// Logs each watched thread that has newly passed its deadline. 0: no thread
// is late; 1: a thread was newly found late; 2: only known late threads.
// Takes sPidMapMutex, and print access inside it.
int FendrakeThread_CheckResponseTimeOut(void);
}

#endif
