// Started by FendrakeOSInitTest as: daemon_helper [--daemon-mode=N] <dir> wait
// Runs BasicInit on its arguments, writes its pid and the arguments left to
// <dir>/report, and stays until SIGTERM, whose arrival it notes in
// <dir>/sigterm. An alarm ends it should the test go away.
#include "Basic/DynamicLink/BasicInit.h"
#include "Basic/FendrakeStdLib/FendrakeOptArguments.h"

#include <csignal>
#include <cstdio>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {
volatile sig_atomic_t sTerminated = 0;

void OnTerm(int) {
    sTerminated = 1;
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
    {
        std::ofstream out(dir + "/report.tmp");
        out << getpid() << "\n";
        for (int i = 1; i < args.argc; ++i)
            out << args.argv[i] << (i + 1 < args.argc ? " " : "\n");
    }
    // Renamed when complete, so that the test never reads half a report.
    rename((dir + "/report.tmp").c_str(), (dir + "/report").c_str());
    sigset_t none;
    sigemptyset(&none);
    while (!sTerminated)
        sigsuspend(&none);
    std::ofstream(dir + "/sigterm") << "SIGTERM\n";
    BasicTerm();
    return 0;
}
