// Supervision of threads by the "FendrakeThreadMonitor" thread, which
// FendrakeOSStart starts and FendrakeOSDestruct deletes. Once a round (a
// second) it raises a requested signal, reports threads that let their
// response ping expire (FendrakeThread::SetResponsePingTimeOut), dumps the
// threads of the system when one is newly late, and calls its listeners.
// Threads: listeners are called on the monitor thread under the monitor's
// mutex, so they must not add or remove listeners.
#ifndef BASIC_FENDRAKEOS_FENDRAKETHREADMONITOR_H
#define BASIC_FENDRAKEOS_FENDRAKETHREADMONITOR_H

// Told once a round whether some watched thread is late.
class FendrakeThreadMonitorNotify {
public:
    virtual ~FendrakeThreadMonitorNotify() = default;
    virtual void ThreadMonitorRound(bool iSomeThreadLate) = 0;
};

// In order of adding; removing takes the first equal entry. The listener
// stays the caller's. Without a monitor both do nothing.
void AddFendrakeThreadMonitorNotify(FendrakeThreadMonitorNotify* iNotify);
void RemoveFendrakeThreadMonitorNotify(FendrakeThreadMonitorNotify* iNotify);

// Has the monitor thread raise iSignal, on every round from now on, and parks
// the caller for 1000 seconds in the expectation that the signal ends the
// process. Without a monitor the calling thread raises it itself.
void fendrake_raise_signal_from_threadmonitor(int iSignal);

// Prints one line per thread of every process in /proc to standard output,
// under print access. With iOnlyActive, only threads that ran since the last
// listing or are running now.
void ListThreads(bool iOnlyActive);

// The first line of /proc/stat, and the context switches.
struct CpuStat {
    unsigned long mUser;
    unsigned long mNice;
    unsigned long mSystem;
    unsigned long mIdle;
    unsigned long mIowait;
    unsigned long mIrq;
    unsigned long mSoftirq;
    unsigned long mContextSwitches;
};
// False when /proc/stat cannot be read, or, with iWithContextSwitches, when
// its "ctxt" line is not found.
bool fendrake_get_cpu_stat(CpuStat& oStat, bool iWithContextSwitches);

#endif
