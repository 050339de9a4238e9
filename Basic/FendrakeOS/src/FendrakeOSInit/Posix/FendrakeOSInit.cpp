#include "Basic/FendrakeOS/FendrakeOSInit.h"

#include "Basic/FendrakeOS/FendrakeThread.h"
#include "Basic/FendrakeOS/FendrakeThreadMonitor.h"
#include "Basic/FendrakeOS/src/FendrakeOSInit/FendrakeOSInitPrivate.h"
#include "Basic/FendrakeOS/src/FendrakeOSInit/FendrakeThreadTicks.h"
#include "Basic/FendrakeStdLib/FendrakeCString.h"
#include "Basic/FendrakeStdLib/FendrakeDebug.h"
#include "Basic/FendrakeStdLib/FendrakeDirIterator.h"
#include "Basic/FendrakeStdLib/FendrakeOstream.h"
#include "Basic/FendrakeStdLib/FendrakeStdio.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cctype>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {
const char* const kPath = "Basic/FendrakeOS/src/FendrakeOSInit/Posix/FendrakeOSInit";

// The supervising parent's child, for its signal handler.
pid_t child_pid = 0;
// The last interrupt the handler passed on, for the parent to report.
std::atomic<int> sPassedOn{0};
static_assert(std::atomic<int>::is_always_lock_free, "the signal handler writes it");

// Logging is not up yet: failures go straight to standard error.
[[noreturn]] void Fail(const char* iText) {
    fputs(iText, stderr);
    exit(1);
}

void ReportPassedOn() {
    const int signal = sPassedOn.exchange(0);
    if (signal == 0)
        return;
    getprintaccess();
    FENDRAKE_LOG_STREAM_AT(kPath, 271, 1)
        << "Parent got signal " << signal << " -> sending SIGTERM\n";
    releaseprintaccess();
}

[[noreturn]] void SuperviseChild(pid_t iChild) {
    // Stored before the handler can run: kill(0, ...) would hit the whole group.
    child_pid = iChild;
    // Without SA_RESTART: an interrupt ends the wait, so that its line is
    // printed at once, then the wait goes on.
    struct sigaction action = {};
    action.sa_handler = parent_sighandler;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    int status = 0;
    pid_t wpid;
    for (;;) {
        wpid = waitpid(iChild, &status, 0);
        const bool interrupted = wpid < 0 && errno == EINTR;
        ReportPassedOn();
        if (!interrupted)
            break;
    }
    FENDRAKE_LOG_STREAM_AT(kPath, 291, 1)
        << "Child exited  status=" << status << ", wpid=" << static_cast<int>(wpid) << "\n";
    exit(0);
}

void ReleaseTerminal() {
    const int tty = open("/dev/tty", O_RDWR);
    if (tty < 0)
        return;
    const int err = ioctl(tty, TIOCNOTTY);
    FENDRAKE_LOG_STREAM_AT(kPath, 312, 1) << " err=" << err << "\n";
    close(tty);
}

void DetachFully() {
    if (chdir("/") != 0)
        Fail("Error change direcory\n");
    close(0);
    close(1);
    close(2);
    const int devNull = open("/dev/null", O_RDWR);
    (void)dup(devNull);
    (void)dup(devNull);
}

// One line of /proc/<pid>/stat or /proc/<pid>/task/<tid>/stat, as far as a
// listing uses it.
struct ThreadStat {
    int mTid;
    char mName[64];
    char mState;
    int mParent;
    int mSession;
    int mTerminal;
    int mTerminalGroup;
    unsigned long mFlags;
    unsigned long mFaults[4];
    unsigned long mUserTime;
    unsigned long mSystemTime;
    long mChildUserTime;
    long mChildSystemTime;
    long mPriority;
    long mNice;
    unsigned long mStackStart;
    unsigned long mStackPointer;
    unsigned long mInstructionPointer;
};

// Reads the numbers behind the name one by one; each must be there.
class FieldReader {
public:
    explicit FieldReader(const char* iText) : mCursor(iText) {}
    bool Signed(long& oValue) {
        char* end;
        oValue = strtol(mCursor, &end, 10);
        return iAdvance(end);
    }
    bool Unsigned(unsigned long& oValue) {
        char* end;
        oValue = strtoul(mCursor, &end, 10);
        return iAdvance(end);
    }
    bool Skip(int iCount) {
        for (int i = 0; i < iCount; ++i) {
            long value;
            if (!Signed(value))
                return false;
        }
        return true;
    }
    bool Int(int& oValue) {
        long value;
        const bool read = Signed(value);
        oValue = static_cast<int>(value);
        return read;
    }
    bool State(char& oState) {
        while (*mCursor == ' ')
            ++mCursor;
        if (!*mCursor)
            return false;
        oState = *mCursor++;
        return true;
    }

private:
    bool iAdvance(char* iEnd) {
        if (iEnd == mCursor)
            return false;
        mCursor = iEnd;
        return true;
    }
    const char* mCursor;
};

// The name runs up to the first ')': a name holding one shifts the fields
// behind it, which then read as odd numbers or fail. False if the text is no
// stat line; the fields behind the instruction pointer are not needed.
bool ParseStat(const char* iText, ThreadStat& oStat) {
    memset(&oStat, 0, sizeof oStat);
    const char* open = strchr(iText, '(');
    const char* close = open ? strchr(open, ')') : nullptr;
    if (!close)
        return false;
    oStat.mTid = atoi(iText);
    size_t length = static_cast<size_t>(close - open - 1);
    if (length >= sizeof oStat.mName)
        length = sizeof oStat.mName - 1; // bounded: the kernel's names have 15 characters
    memcpy(oStat.mName, open + 1, length);
    oStat.mName[length] = 0;
    FieldReader fields(close + 1);
    return fields.State(oStat.mState) && fields.Int(oStat.mParent) && fields.Skip(1) &&
           fields.Int(oStat.mSession) && fields.Int(oStat.mTerminal) &&
           fields.Int(oStat.mTerminalGroup) && fields.Unsigned(oStat.mFlags) &&
           fields.Unsigned(oStat.mFaults[0]) && fields.Unsigned(oStat.mFaults[1]) &&
           fields.Unsigned(oStat.mFaults[2]) && fields.Unsigned(oStat.mFaults[3]) &&
           fields.Unsigned(oStat.mUserTime) && fields.Unsigned(oStat.mSystemTime) &&
           fields.Signed(oStat.mChildUserTime) && fields.Signed(oStat.mChildSystemTime) &&
           fields.Signed(oStat.mPriority) && fields.Signed(oStat.mNice) && fields.Skip(4) &&
           fields.Skip(4) && fields.Unsigned(oStat.mStackStart) &&
           fields.Unsigned(oStat.mStackPointer) && fields.Unsigned(oStat.mInstructionPointer);
}

// Up to 2999 bytes, terminated; empty when the file cannot be read.
void ReadStat(const char* iPath, char (&oText)[3000]) {
    oText[0] = 0;
    const int fd = open(iPath, O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return;
    const ssize_t length = read(fd, oText, sizeof oText - 1);
    oText[length > 0 ? length : 0] = 0;
    close(fd);
}

// What a listing shows of the threads the library knows.
struct KnownThread {
    unsigned int mTid;
    char mName[32];
    unsigned long mNativeHandle;
    int mPriority;
};

// Taken under the map's lock before print access, in the lock order of the
// library, and copied: an object may go once the lock is released.
std::vector<KnownThread> KnownThreads() {
    std::vector<KnownThread> known;
    if (!sPidMapMutex)
        return known;
    FendrakeLockScope<FendrakeMutex> lock(*sPidMapMutex);
    for (const PidMap& entry : sPidMap) {
        KnownThread thread;
        thread.mTid = entry.mPid;
        fendrake_strncpy(thread.mName, entry.mThread->GetName(), sizeof thread.mName);
        thread.mNativeHandle = entry.mThread->GetNativeHandle();
        thread.mPriority = entry.mThread->GetPriority();
        known.push_back(thread);
    }
    return known;
}

class ThreadLister {
public:
    ThreadLister(bool iOnlyActive, FendrakeThreadTicks& ioTicks)
        : mOnlyActive(iOnlyActive), mTicks(ioTicks), mKnown(KnownThreads()) {}

    void ListProcess(int iPid) {
        char path[64];
        fendrake_snprintf(path, sizeof path, "/proc/%d/stat", iPid);
        char processText[3000];
        ReadStat(path, processText);
        fendrake_snprintf(path, sizeof path, "/proc/%d/task", iPid);
        FendrakeDirIterator tasks(path);
        if (tasks.GetDirFd() < 0) {
            iListThread(processText);
            return;
        }
        for (; tasks.mCurrent; tasks.Next()) {
            if (!isdigit(static_cast<unsigned char>(tasks.GetName()[0])))
                continue;
            char taskPath[320];
            fendrake_snprintf(taskPath, sizeof taskPath, "/proc/%d/task/%s/stat", iPid,
                              tasks.GetName());
            char taskText[3000];
            ReadStat(taskPath, taskText);
            iListThread(taskText);
        }
    }

private:
    // A text that is no stat line (the thread went meanwhile) is passed over.
    void iListThread(const char* iText) {
        ThreadStat stat;
        if (!ParseStat(iText, stat))
            return;
        const unsigned int delta =
            mTicks.Exchange(static_cast<unsigned int>(stat.mTid),
                            static_cast<unsigned int>(stat.mUserTime + stat.mSystemTime));
        if (mOnlyActive && delta == 0 && stat.mState != 'R')
            return;
        if (!mHeaderPrinted) {
            printf("comm:'%s' session:%d tty_nr:%d tpgid:%d\n", stat.mName, stat.mSession,
                   stat.mTerminal, stat.mTerminalGroup);
            mHeaderPrinted = true;
        }
        char label[50];
        iLabel(stat, label);
        printf("%-49sprio:%3d%3d %c flags:0x%x faults:%4d%4d%4d%4d cpu:%3d %3d %3d %3d %3d pos:%x "
               "%x %x\n",
               label, static_cast<int>(stat.mPriority), static_cast<int>(stat.mNice), stat.mState,
               static_cast<unsigned int>(stat.mFlags), static_cast<int>(stat.mFaults[0]),
               static_cast<int>(stat.mFaults[1]), static_cast<int>(stat.mFaults[2]),
               static_cast<int>(stat.mFaults[3]), static_cast<int>(delta),
               static_cast<int>(stat.mUserTime), static_cast<int>(stat.mSystemTime),
               static_cast<int>(stat.mChildUserTime), static_cast<int>(stat.mChildSystemTime),
               static_cast<unsigned int>(stat.mStackStart),
               static_cast<unsigned int>(stat.mStackPointer),
               static_cast<unsigned int>(stat.mInstructionPointer));
    }

    void iLabel(const ThreadStat& iStat, char (&oLabel)[50]) const {
        for (const KnownThread& thread : mKnown) {
            if (thread.mTid != static_cast<unsigned int>(iStat.mTid))
                continue;
            fendrake_snprintf(oLabel, sizeof oLabel, "%d(%s)%u-ptp:%d ", iStat.mTid, thread.mName,
                              static_cast<unsigned int>(thread.mNativeHandle), thread.mPriority);
            return;
        }
        fendrake_snprintf(oLabel, sizeof oLabel, "%d <UNKNOWN THREAD> Parent:%4d", iStat.mTid,
                          iStat.mParent);
    }

    const bool mOnlyActive;
    FendrakeThreadTicks& mTicks;
    const std::vector<KnownThread> mKnown;
    bool mHeaderPrinted = false;
};

// Releases print access also when a hook throws through the listing.
class PrintAccessScope {
public:
    PrintAccessScope() : mAccess(getprintaccess()) {}
    ~PrintAccessScope() {
        if (mAccess)
            releaseprintaccess();
    }
    PrintAccessScope(const PrintAccessScope&) = delete;
    PrintAccessScope& operator=(const PrintAccessScope&) = delete;

private:
    int mAccess;
};

// Reads one line, of which at most iSize - 1 characters are kept: the rest of
// a longer line is passed over rather than read as lines of its own (the
// interrupt line of /proc/stat runs to thousands of characters). False at the
// end of the file.
bool ReadLine(FILE* iFile, char* oLine, int iSize) {
    if (!fgets(oLine, iSize, iFile))
        return false;
    if (!strchr(oLine, '\n')) {
        int c;
        while ((c = fgetc(iFile)) != EOF && c != '\n') {
        }
    }
    return true;
}
} // namespace

// A log statement is not safe in a signal handler: the parent's wait, which
// the signal ends, prints the line.
extern "C" void parent_sighandler(int iSignal) {
    const int savedErrno = errno;
    sPassedOn.store(iSignal);
    kill(child_pid, SIGTERM);
    errno = savedErrno;
}

void FendrakeOSEnterDaemonMode(int iMode) {
    // Text still buffered would otherwise leave twice, once from each process.
    fflush(nullptr);
    const pid_t child = fork();
    if (child < 0)
        Fail("Error in fork\n");
    if (child > 0) {
        if (iMode == 2)
            SuperviseChild(child);
        exit(0);
    }
    umask(0);
    if (setsid() < 0)
        Fail("Error in setsid\n");
    if (iMode == 2)
        ReleaseTerminal();
    else
        DetachFully();
}

int FendrakeOSProcessGroup() {
    return static_cast<int>(getpgrp());
}

void ListThreads(bool iOnlyActive) {
    // Never destroyed: the monitor may still list while the process exits.
    static FendrakeThreadTicks* const spTicks = new FendrakeThreadTicks;
    ThreadLister lister(iOnlyActive, *spTicks);
    PrintAccessScope access;
    for (FendrakeDirIterator proc("/proc"); proc.mCurrent; proc.Next()) {
        if (isdigit(static_cast<unsigned char>(proc.GetName()[0])))
            lister.ListProcess(atoi(proc.GetName()));
    }
    spTicks->EndListing();
}

bool fendrake_get_cpu_stat(CpuStat& oStat, bool iWithContextSwitches) {
    FILE* file = fopen("/proc/stat", "re");
    if (!file)
        return false;
    char name[512];
    // The name is bounded by its buffer; /proc/stat's first word is "cpu".
    const int converted =
        fscanf(file, "%511s %lu %lu %lu %lu %lu %lu %lu", name, &oStat.mUser, &oStat.mNice,
               &oStat.mSystem, &oStat.mIdle, &oStat.mIowait, &oStat.mIrq, &oStat.mSoftirq);
    bool found = converted == 8 && !iWithContextSwitches;
    if (converted == 8 && iWithContextSwitches) {
        char line[512];
        ReadLine(file, line, sizeof line); // the rest of the first line
        while (ReadLine(file, line, sizeof line)) {
            if (sscanf(line, "%511s %lu", name, &oStat.mContextSwitches) < 2)
                break;
            if (strcmp(name, "ctxt") == 0) {
                found = true;
                break;
            }
        }
    }
    fclose(file);
    return found;
}
