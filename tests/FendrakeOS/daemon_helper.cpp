// Started by FendrakeOSInitTest as: daemon_helper [--daemon-mode=N] <dir> [wait]
// Runs BasicInit on its arguments, then writes what it sees of itself to
// <dir>/report. With "wait" it then stays until SIGTERM, whose arrival it
// notes in <dir>/sigterm. An alarm ends it should the test go away.
#include "Basic/DynamicLink/BasicInit.h"
#include "Basic/FendrakeStdLib/FendrakeOptArguments.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace {
volatile sig_atomic_t sTerminated = 0;

void OnTerm(int) {
    sTerminated = 1;
}

std::string Link(const char* iPath) {
    char target[4096];
    const ssize_t length = readlink(iPath, target, sizeof target - 1);
    return length < 0 ? std::string("?") : std::string(target, static_cast<size_t>(length));
}

// The seventh field of /proc/self/stat: the controlling terminal, 0 for none.
std::string Terminal() {
    std::ifstream file("/proc/self/stat");
    std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    const size_t close = text.rfind(')');
    if (close == std::string::npos)
        return "?";
    std::string state, parent, group, session, terminal;
    std::istringstream fields(text.substr(close + 1));
    fields >> state >> parent >> group >> session >> terminal;
    return terminal;
}

// Written aside and renamed, so that the test never reads half a report.
void Report(const std::string& iDir, const FendrakeOptArguments& iArgs) {
    const mode_t mask = umask(0);
    umask(mask);
    char cwd[4096];
    const std::string temporary = iDir + "/report.tmp";
    {
        std::ofstream out(temporary);
        out << "pid=" << getpid() << "\n";
        out << "sid=" << getsid(0) << "\n";
        out << "cwd=" << (getcwd(cwd, sizeof cwd) ? cwd : "?") << "\n";
        out << "fd0=" << Link("/proc/self/fd/0") << "\n";
        out << "fd1=" << Link("/proc/self/fd/1") << "\n";
        out << "fd2=" << Link("/proc/self/fd/2") << "\n";
        out << "tty=" << Terminal() << "\n";
        out << "umask=" << std::oct << mask << std::dec << "\n";
        out << "args=";
        for (int i = 1; i < iArgs.argc; ++i)
            out << iArgs.argv[i] << (i + 1 < iArgs.argc ? " " : "");
        out << "\n";
    }
    rename(temporary.c_str(), (iDir + "/report").c_str());
}
} // namespace

int main(int argc, char** argv) {
    alarm(120);
    // Blocked in every thread, so that only the wait below takes it.
    sigset_t term;
    sigemptyset(&term);
    sigaddset(&term, SIGTERM);
    sigprocmask(SIG_BLOCK, &term, nullptr);
    signal(SIGTERM, OnTerm);

    FendrakeOptArguments args(argc, argv);
    BasicInit(&args);
    alarm(120); // a forked child has no alarm of its parent's
    if (args.argc < 2)
        return 2;
    const std::string dir = args.argv[1];
    const bool wait = args.argc > 2 && strcmp(args.argv[2], "wait") == 0;
    Report(dir, args);
    if (wait) {
        sigset_t none;
        sigemptyset(&none);
        while (!sTerminated)
            sigsuspend(&none);
        std::ofstream(dir + "/sigterm") << "SIGTERM\n";
    }
    BasicTerm();
    return 0;
}
