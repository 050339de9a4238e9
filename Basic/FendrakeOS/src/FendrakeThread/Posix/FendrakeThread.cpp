#include "Basic/FendrakeOS/FendrakeThread.h"

#include "Basic/FendrakeStdLib/FendrakeAssert.h"
#include "Basic/FendrakeStdLib/FendrakeCString.h"
#include "Basic/FendrakeStdLib/FendrakeTime.h"

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {
const char* const kPath = "Basic/FendrakeOS/src/FendrakeThread/Posix/FendrakeThread";

pthread_key_t sThreadKey;
// The key is only read once it exists: key 0 may belong to someone else.
std::atomic<bool> sThreadKeyValid{false};

unsigned int CurrentTid() {
    return static_cast<unsigned int>(syscall(SYS_gettid));
}

// Policy and parameter of a priority on the library's scale (0 counts as 1).
int PolicyOf(FendrakeThreadPriority iPriority) {
    return iPriority > 40 ? SCHED_RR : SCHED_OTHER;
}
sched_param ParameterOf(FendrakeThreadPriority iPriority) {
    sched_param parameter{};
    parameter.sched_priority = iPriority > 40 ? iPriority - 40 : 0;
    return parameter;
}

// A call's result and its errno, taken under the thread's lock and reported
// after it: the log line's prefix asks for this thread's priority. A thread
// that has ended has no handle left to ask about, so neither side calls then.
struct Outcome {
    int mResult = 0;
    int mErrno = 0;
    bool Failed() const { return mResult == -1 && mErrno != 0; }
};
Outcome Keep(int iResult) {
    return Outcome{iResult, errno};
}

int SetThisObject(FendrakeThread* iThread) {
    if (!sThreadKeyValid.load(std::memory_order_acquire))
        return EINVAL;
    return pthread_setspecific(sThreadKey, iThread);
}

void ReportSetSpecificFailure(int iError) {
    FENDRAKE_LOG(1, "pthread_setspecific failed\n");
    if (iError == EINVAL)
        FENDRAKE_LOG(1, "key is not a valid thread-specific data key %p.\n",
                     reinterpret_cast<void*>(static_cast<uintptr_t>(sThreadKey)));
    else if (iError == ENOMEM)
        FENDRAKE_LOG(1, "Insufficient memory exists to associate the value with the key.\n");
}

// Attribute failures can come before logging is up.
void PutAttrInitFailure(int iError) {
    if (iError == EFAULT)
        puts("attr is an invalid pointer.");
    else if (iError == EINVAL)
        puts("attr does not point to writeable memory.");
    else if (iError == ENOMEM)
        puts("Insufficient memory exists to create the thread attribute object.");
}

void PutDetachStateFailure(int iError) {
    if (iError == EFAULT)
        puts("attr is an invalid pointer.");
    else if (iError == EINVAL)
        puts("attr is not an initialized thread attribute object, or detachstate is not a valid "
             "detached state setting.");
}

// A hook that throws has nowhere to go on a thread of ours: carry on as if it
// had returned.
template <typename Report> void ReportOnOwnThread(Report iReport) {
    try {
        iReport();
    } catch (...) {
    }
}
} // namespace

FendrakeThread::FendrakeThread(const char* iName, void* iArgument, FendrakeThreadPriority iPriority,
                               unsigned int)
    : mArgument(iArgument) {
    fendrake_strncpy(mName, iName ? iName : "", sizeof mName);

    pthread_attr_t attributes;
    int returnValue = pthread_attr_init(&attributes);
    if (returnValue != 0)
        PutAttrInitFailure(returnValue);
    returnValue = pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    if (returnValue != 0)
        PutDetachStateFailure(returnValue);

    const FendrakeThreadPriority priority = iPriority == 0 ? 1 : iPriority;
    returnValue = pthread_attr_setschedpolicy(&attributes, PolicyOf(priority));
    if (returnValue == EOPNOTSUPP)
        FENDRAKE_LOG_AT(kPath, 279, 1,
                        "Failed to set scheduling - you are probably not superuser\n");
    FENDRAKE_ASSERT_DETAIL_AT(kPath, 282, returnValue == 0, "returnValue==0", " returnValue=%d\n",
                              returnValue);
    if (PolicyOf(priority) == SCHED_RR) {
        const sched_param parameter = ParameterOf(priority);
        returnValue = pthread_attr_setschedparam(&attributes, &parameter);
        FENDRAKE_ASSERT_DETAIL_AT(kPath, 289, returnValue == 0, "returnValue==0",
                                  " returnValue=%d\n", returnValue);
    }
    mPriority = priority;

    const int createResult =
        pthread_create(&mNativeHandle, &attributes, ThreadFunctionWrapper, this);
    const int createErrno = errno;
    pthread_attr_destroy(&attributes);
    if (createResult != 0) {
        char text[128];
        FENDRAKE_ASSERT_DETAIL_AT(kPath, 298, false, "pthread_create_ret==0",
                                  " errno=%s, pthread_create_ret=%d, iName=%s, iPriority=%d\n",
                                  strerror_r(createErrno, text, sizeof text), createResult, mName,
                                  iPriority);
        // No thread to wait for, and no handle to ask the scheduler about.
        mTerminated = true;
        return;
    }
    // The new thread already points at this object: should the hook throw here,
    // it is sent away before the object goes.
    try {
        SetPriority(priority);
    } catch (...) {
        iAbandon();
        throw;
    }
}

FendrakeThread::FendrakeThread(unsigned long iNativeHandle, const char* iName)
    : mNativeHandle(static_cast<pthread_t>(iNativeHandle)), mTid(CurrentTid()), mForeign(true) {
    fendrake_strncpy(mName, iName ? iName : "", sizeof mName);
}

void FendrakeThread::iAbandon() {
    {
        FendrakeLockScope<FendrakeMutex> lock(mMutex);
        mAbandoned = true;
    }
    Start();
    WaitForTermination();
    RemovePidMap(this);
}

FendrakeThread::~FendrakeThread() {
    if (!mForeign)
        WaitForTermination();
    // A foreign thread has no wrapper to end its ping, and an owner may renew
    // one from outside after Body: the entry must not outlive the object.
    SetRemoveResponseTimeOut(this, 0);
    // A thread that never came to life was never entered in the map.
    if (mForeign || GetTid() != 0)
        RemovePidMap(this);
}

void* FendrakeThread::ThreadFunctionWrapper(void* iThread) {
    FendrakeThread* self = static_cast<FendrakeThread*>(iThread);
    const unsigned int tid = CurrentTid();
    SetPidMap(self, tid);

    Outcome nice;
    void* argument;
    {
        FendrakeLockScope<FendrakeMutex> lock(self->mMutex);
        self->mTid = tid;
        if (self->mPriority >= 1 && self->mPriority <= 40)
            nice = Keep(setpriority(PRIO_PROCESS, tid, 20 - self->mPriority));
        prctl(PR_SET_NAME, self->mName);
        argument = self->mArgument;
    }
    if (nice.mResult == -1) {
        ReportOnOwnThread([&] {
            char text[128];
            FENDRAKE_ASSERT_DETAIL_AT(kPath, 161, false, "res_setpriority!=-1", " errno=%d (%s)\n",
                                      nice.mErrno, strerror_r(nice.mErrno, text, sizeof text));
        });
    }

    const int keyResult = SetThisObject(self);
    if (keyResult != 0)
        ReportSetSpecificFailure(keyResult);

    self->mStartSemaphore.Wait();
    bool abandoned;
    {
        FendrakeLockScope<FendrakeMutex> lock(self->mMutex);
        abandoned = self->mAbandoned;
    }
    if (!abandoned) {
        self->Body(argument);
        // No response ping may outlive the thread's object.
        SetRemoveResponseTimeOut(self, 0);
    }

    const int retval = SetThisObject(nullptr);
    ReportOnOwnThread([&] { FENDRAKE_ASSERT_AT(kPath, 184, retval == 0, "retval == 0"); });

    bool detached;
    {
        FendrakeLockScope<FendrakeMutex> lock(self->mMutex);
        self->mTerminated = true;
        self->mReturnValue = 0;
        detached = self->mDetached.load(std::memory_order_relaxed);
    }
    if (detached)
        delete self;
    return nullptr;
}

void FendrakeThread::ThreadFunctionWrapperAtExit(void* iThread) {
    FendrakeThread* thread = static_cast<FendrakeThread*>(iThread);
    if (thread->mForeign)
        delete thread;
}

int FendrakeThread::WaitForTermination() {
    for (;;) {
        mMutex.Lock();
        if (mTerminated) {
            const int result = mReturnValue;
            mMutex.Unlock();
            return result;
        }
        mMutex.Unlock();
        usleep(100);
    }
}

void FendrakeThread::SetPriority(FendrakeThreadPriority iPriority) {
    const FendrakeThreadPriority effective = iPriority == 0 ? 1 : iPriority;
    const int policy = PolicyOf(effective);
    const sched_param parameter = ParameterOf(effective);
    Outcome schedule;
    Outcome nice;
    {
        FendrakeLockScope<FendrakeMutex> lock(mMutex);
        mPriority = iPriority;
        if (mTerminated)
            return;
        // Refusals come back as positive numbers and pass in silence; only -1 counts.
        schedule = Keep(pthread_setschedparam(mNativeHandle, policy, &parameter));
        if (mTid != 0)
            nice = Keep(setpriority(PRIO_PROCESS, mTid, 20 - effective));
    }
    FENDRAKE_ASSERT_DETAIL_AT(kPath, 556, schedule.mResult != -1, "error!=-1",
                              " errno=%d, iPriority=%d, policy=%d\n", schedule.mErrno, iPriority,
                              policy);
    FENDRAKE_ASSERT_DETAIL_AT(kPath, 559, nice.mResult != -1, "res_setpriority!=-1", " errno=%d\n",
                              nice.mErrno);
}

FendrakeThreadPriority FendrakeThread::GetPriority() {
    FendrakeThreadPriority result;
    Outcome schedule;
    Outcome nice;
    {
        FendrakeLockScope<FendrakeMutex> lock(mMutex);
        result = mPriority;
        if (mTerminated)
            return result;
        int policy = SCHED_OTHER;
        sched_param parameter{};
        schedule = Keep(pthread_getschedparam(mNativeHandle, &policy, &parameter));
        if (schedule.mResult != -1 && (policy == SCHED_FIFO || policy == SCHED_RR)) {
            result = parameter.sched_priority + 40;
        } else if (mTid != 0) {
            // -1 is also a nice value: only errno tells a failure.
            errno = 0;
            nice = Keep(getpriority(PRIO_PROCESS, mTid));
            if (!nice.Failed())
                result = 20 - nice.mResult;
        }
    }
    if (schedule.mResult == -1)
        FENDRAKE_LOG_AT(kPath, 570, 1, "pthread_getschedparam FAILED! errno=%d\n", schedule.mErrno);
    if (nice.Failed())
        FENDRAKE_LOG_AT(kPath, 584, 1, "getpriority errno=%d\n", nice.mErrno);
    return result;
}

void FendrakeThread::Initialize() {
    if (IsInitialized()) {
        FENDRAKE_LOG_AT(kPath, 371, 2,
                        "You are trying to initialize the FendrakeThread system. This is handled "
                        "at system startup for you.\n");
        return;
    }
    if (pthread_key_create(&sThreadKey, ThreadFunctionWrapperAtExit) != 0)
        return;
    sThreadKeyValid.store(true, std::memory_order_release);
    FendrakeTime::CreateBookKeeping();
    sPidMapMutex = new FendrakeMutex;
    spMainThreadSystemInitialized.store(NameForeignThread("main"), std::memory_order_release);
}

void FendrakeThread::Destruct() {
    FendrakeThread* const main = spMainThreadSystemInitialized.load(std::memory_order_acquire);
    FENDRAKE_ASSERT_AT(kPath, 349, This() == main, "This()==spMainThreadSystemInitialized");
    const int retval = SetThisObject(nullptr);
    FENDRAKE_ASSERT_AT(kPath, 351, retval == 0, "retval == 0");
    delete main;
    spMainThreadSystemInitialized.store(nullptr, std::memory_order_release);
    if (sThreadKeyValid.exchange(false, std::memory_order_acq_rel))
        pthread_key_delete(sThreadKey);
    delete sPidMapMutex;
    sPidMapMutex = nullptr;
    FendrakeTime::DestroyBookKeeping();
}

FendrakeThread* FendrakeThread::This() {
    if (!sThreadKeyValid.load(std::memory_order_acquire))
        return nullptr;
    return static_cast<FendrakeThread*>(pthread_getspecific(sThreadKey));
}

unsigned long FendrakeThread::ThisNative() {
    return static_cast<unsigned long>(pthread_self());
}

FendrakeThread* FendrakeThread::NameForeignThread(const char* iName) {
    if (This()) {
        prctl(PR_SET_NAME, iName);
        return nullptr;
    }
    FendrakeThread* thread = new FendrakeThreadForeign(ThisNative(), iName);
    const int keyResult = SetThisObject(thread);
    if (keyResult != 0) {
        ReportSetSpecificFailure(keyResult);
        delete thread;
        return nullptr;
    }
    SetPidMap(thread, CurrentTid());
    return thread;
}

// Without a thread system there is no map to keep.
void FendrakeThread::SetPidMap(FendrakeThread* iThread, unsigned int iPid) {
    if (!sPidMapMutex)
        return;
    FendrakeLockScope<FendrakeMutex> lock(*sPidMapMutex);
    sPidMap.push_back(PidMap{iThread, iPid});
}

void FendrakeThread::RemovePidMap(FendrakeThread* iThread) {
    if (!sPidMapMutex)
        return;
    FendrakeLockScope<FendrakeMutex> lock(*sPidMapMutex);
    for (PidMap* entry = sPidMap.begin(); entry != sPidMap.end(); ++entry) {
        if (entry->mThread == iThread) {
            sPidMap.erase(entry);
            return;
        }
    }
    FENDRAKE_ASSERT_AT(kPath, 124, false, "0");
}

void FendrakeThread::Reschedule() {
    sched_yield();
}

// Unsigned arithmetic: the product wraps at 32 bits instead of overflowing.
unsigned int FendrakeThread::GetClockNow() {
    timespec now{};
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0)
        FENDRAKE_ASSERT_AT(kPath, 634, false, "0");
    return static_cast<unsigned int>(now.tv_sec) * 1000000u +
           static_cast<unsigned int>(now.tv_nsec / 1000);
}

unsigned long long FendrakeThread::GetClockNowLong() {
    timespec now{};
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0)
        FENDRAKE_ASSERT_AT(kPath, 663, false, "0");
    return static_cast<unsigned long long>(now.tv_sec) * 1000000u +
           static_cast<unsigned long long>(now.tv_nsec / 1000);
}

void FendrakeThread::DelayThreadMS(unsigned int iMilliseconds) {
    usleep(iMilliseconds * 1000);
}

void FendrakeThread::DelayThreadNS(unsigned int iNanoseconds) {
    timespec now{};
    if (clock_gettime(CLOCK_MONOTONIC, &now) != 0)
        FENDRAKE_ASSERT_AT(kPath, 601, false, "0");
    const unsigned long long target =
        static_cast<unsigned long long>(now.tv_sec) * 1000000000u + now.tv_nsec + iNanoseconds;
    for (;;) {
        if (clock_gettime(CLOCK_MONOTONIC, &now) != 0)
            FENDRAKE_ASSERT_AT(kPath, 609, false, "0");
        if (static_cast<unsigned long long>(now.tv_sec) * 1000000000u + now.tv_nsec >= target)
            return;
    }
}

void FendrakeThread::DelayThreadTicks(unsigned int iTicks) {
    timespec pause;
    pause.tv_sec = static_cast<time_t>(iTicks / 1000000);
    pause.tv_nsec = static_cast<long>(iTicks % 1000000) * 1000;
    nanosleep(&pause, nullptr);
}

extern "C" int FendrakeThreadThisPriority(void) {
    FendrakeThread* self = FendrakeThread::This();
    if (self)
        return self->GetPriority();
    int policy;
    sched_param parameter;
    if (pthread_getschedparam(pthread_self(), &policy, &parameter) != 0)
        return -1;
    return parameter.sched_priority;
}
