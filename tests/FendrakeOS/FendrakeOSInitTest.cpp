#include "Basic/FendrakeOS/FendrakeOSInit.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

using testing::HasSubstr;

// Each mode runs end to end: the test starts daemon_helper, which goes through
// BasicInit and reports what it sees of itself in a file. The test process is
// a subreaper, so a daemon that loses its parent becomes its child; whatever
// is left of either is killed and reaped in TearDown.
namespace {
const auto kPatience = std::chrono::seconds(60);

std::string ReadFile(const std::string& iPath) {
    std::ifstream file(iPath);
    return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

// Fields of /proc/<pid>/stat behind the name: state, parent, group, session, terminal.
std::vector<std::string> StatFields(const std::string& iPid) {
    const std::string text = ReadFile("/proc/" + iPid + "/stat");
    const size_t close = text.rfind(')');
    std::vector<std::string> fields;
    if (close == std::string::npos)
        return fields;
    std::istringstream words(text.substr(close + 1));
    std::string word;
    while (fields.size() < 5 && words >> word)
        fields.push_back(word);
    return fields;
}

// Whether iPid has a handler for iSignal, from the caught mask in its status.
bool Catches(pid_t iPid, int iSignal) {
    std::istringstream status(ReadFile("/proc/" + std::to_string(iPid) + "/status"));
    std::string line;
    while (std::getline(status, line)) {
        if (line.compare(0, 7, "SigCgt:") == 0)
            return (std::stoull(line.substr(7), nullptr, 16) >> (iSignal - 1)) & 1;
    }
    return false;
}

class FendrakeOSInitTest : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(0, prctl(PR_SET_CHILD_SUBREAPER, 1));
        char pattern[] = "/tmp/FendrakeOSInitTest.XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern));
        char real[PATH_MAX];
        ASSERT_NE(nullptr, realpath(pattern, real));
        mDir = real;
        std::ofstream(mDir + "/in") << "";
    }

    void TearDown() override {
        for (pid_t pid : mLive)
            kill(pid, SIGKILL);
        int status;
        while (!mLive.empty())
            Reap(mLive.front(), status);
        for (pid_t pid : OrphansOfOurs()) {
            kill(pid, SIGKILL);
            waitpid(pid, &status, 0);
        }
        for (const char* name : {"in", "out", "err", "report", "report.tmp", "sigterm"})
            unlink((mDir + "/" + name).c_str());
        rmdir(mDir.c_str());
    }

    // Children we never learned of: a daemon whose parent died before it reported.
    static std::vector<pid_t> OrphansOfOurs() {
        std::vector<pid_t> orphans;
        DIR* proc = opendir("/proc");
        while (dirent* entry = proc ? readdir(proc) : nullptr) {
            if (!isdigit(static_cast<unsigned char>(entry->d_name[0])))
                continue;
            const std::vector<std::string> fields = StatFields(entry->d_name);
            if (fields.size() > 1 && fields[1] == std::to_string(getpid()))
                orphans.push_back(static_cast<pid_t>(atoi(entry->d_name)));
        }
        if (proc)
            closedir(proc);
        return orphans;
    }

    // Starts the helper in mDir with umask 027, input from "in", output to
    // "out" and "err".
    pid_t Launch(const std::vector<std::string>& iArgs) {
        std::vector<std::string> words{DAEMON_HELPER};
        words.insert(words.end(), iArgs.begin(), iArgs.end());
        std::vector<char*> argv;
        for (std::string& word : words)
            argv.push_back(&word[0]);
        argv.push_back(nullptr);
        const std::string in = mDir + "/in", out = mDir + "/out", err = mDir + "/err";
        fflush(nullptr);
        const pid_t pid = fork();
        if (pid == 0) {
            // Only async-signal-safe calls between fork and exec.
            if (chdir(mDir.c_str()) != 0)
                _exit(126);
            umask(027);
            dup2(open(in.c_str(), O_RDONLY), 0);
            dup2(open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
            dup2(open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
            execv(argv[0], argv.data());
            _exit(127);
        }
        if (pid > 0)
            mLive.push_back(pid);
        return pid;
    }

    // Reaps iPid, waiting at most the patience. False if it did not end.
    bool Reap(pid_t iPid, int& oStatus) {
        const auto end = std::chrono::steady_clock::now() + kPatience;
        for (;;) {
            const pid_t result = waitpid(iPid, &oStatus, WNOHANG);
            if (result == iPid || (result < 0 && errno == ECHILD)) {
                mLive.erase(std::remove(mLive.begin(), mLive.end(), iPid), mLive.end());
                return result == iPid;
            }
            if (std::chrono::steady_clock::now() > end) {
                kill(iPid, SIGKILL);
                waitpid(iPid, &oStatus, 0);
                mLive.erase(std::remove(mLive.begin(), mLive.end(), iPid), mLive.end());
                return false;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }

    bool ExitsWithZero(pid_t iPid) {
        int status = -1;
        return Reap(iPid, status) && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    }

    bool Eventually(const std::function<bool()>& iCondition) {
        const auto end = std::chrono::steady_clock::now() + kPatience;
        while (!iCondition()) {
            if (std::chrono::steady_clock::now() > end)
                return false;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
        return true;
    }

    bool Exists(const char* iName) { return access((mDir + "/" + iName).c_str(), F_OK) == 0; }

    // The report of the process that went on; the daemon's pid is kept for
    // TearDown until it is reaped.
    std::map<std::string, std::string> TakeReport() {
        std::map<std::string, std::string> report;
        if (!Eventually([&] { return Exists("report"); }))
            return report;
        std::istringstream lines(ReadFile(mDir + "/report"));
        std::string line;
        while (std::getline(lines, line)) {
            const size_t equals = line.find('=');
            report[line.substr(0, equals)] = line.substr(equals + 1);
        }
        unlink((mDir + "/report").c_str());
        const pid_t pid = static_cast<pid_t>(atoi(report["pid"].c_str()));
        if (pid > 0 && std::find(mLive.begin(), mLive.end(), pid) == mLive.end())
            mLive.push_back(pid);
        return report;
    }

    std::string mDir;
    std::vector<pid_t> mLive; // started or reported, not yet reaped
};
} // namespace

TEST_F(FendrakeOSInitTest, WithoutADaemonModeNothingForks) {
    const std::string ownTerminal = StatFields(std::to_string(getpid())).at(4);
    for (const char* option : {"--daemon-mode=0", "--daemon-mode=abc", ""}) {
        SCOPED_TRACE(option);
        const pid_t pid = *option ? Launch({option, mDir}) : Launch({mDir});
        ASSERT_GT(pid, 0);
        std::map<std::string, std::string> report = TakeReport();
        EXPECT_EQ(std::to_string(pid), report["pid"]);
        EXPECT_EQ(std::to_string(getsid(0)), report["sid"]);
        EXPECT_EQ(ownTerminal, report["tty"]);
        EXPECT_EQ(mDir, report["cwd"]);
        EXPECT_EQ(mDir + "/in", report["fd0"]);
        EXPECT_EQ(mDir + "/out", report["fd1"]);
        EXPECT_EQ(mDir + "/err", report["fd2"]);
        EXPECT_EQ("27", report["umask"]);
        EXPECT_EQ(mDir, report["args"]);
        EXPECT_TRUE(ExitsWithZero(pid));
    }
}

// The launching process leaves at once, while its child still waits for SIGTERM.
TEST_F(FendrakeOSInitTest, DetachedDaemonLeavesTheSessionTheDirectoryAndTheDescriptors) {
    for (const char* option : {"--daemon-mode=1", "--daemon-mode=3", "--daemon-mode=-1"}) {
        SCOPED_TRACE(option);
        const pid_t pid = Launch({option, mDir, "wait"});
        ASSERT_GT(pid, 0);
        EXPECT_TRUE(ExitsWithZero(pid));
        std::map<std::string, std::string> report = TakeReport();
        ASSERT_NE("", report["pid"]);
        EXPECT_NE(std::to_string(pid), report["pid"]);
        EXPECT_EQ(report["pid"], report["sid"]);
        EXPECT_EQ("0", report["tty"]);
        EXPECT_EQ("/", report["cwd"]);
        EXPECT_EQ("/dev/null", report["fd0"]);
        EXPECT_EQ("/dev/null", report["fd1"]);
        EXPECT_EQ("/dev/null", report["fd2"]);
        EXPECT_EQ("0", report["umask"]);
        EXPECT_EQ(mDir + " wait", report["args"]);
        const pid_t daemon = static_cast<pid_t>(atoi(report["pid"].c_str()));
        kill(daemon, SIGTERM);
        EXPECT_TRUE(ExitsWithZero(daemon));
        EXPECT_TRUE(Exists("sigterm"));
        unlink((mDir + "/sigterm").c_str());
    }
}

TEST_F(FendrakeOSInitTest, SupervisingParentWaitsAndHandsAnInterruptOnAsSigterm) {
    const pid_t parent = Launch({mDir, "--daemon-mode=2", "wait"});
    ASSERT_GT(parent, 0);
    std::map<std::string, std::string> report = TakeReport();
    ASSERT_NE("", report["pid"]);
    const pid_t child = static_cast<pid_t>(atoi(report["pid"].c_str()));
    EXPECT_NE(parent, child);
    EXPECT_EQ(report["pid"], report["sid"]);
    EXPECT_EQ("0", report["tty"]);
    EXPECT_EQ(mDir, report["cwd"]);
    EXPECT_EQ(mDir + "/in", report["fd0"]);
    EXPECT_EQ(mDir + "/out", report["fd1"]);
    EXPECT_EQ(mDir + "/err", report["fd2"]);
    EXPECT_EQ("0", report["umask"]);
    EXPECT_EQ(mDir + " wait", report["args"]);

    int status;
    EXPECT_EQ(0, waitpid(parent, &status, WNOHANG)); // still waiting for its child
    ASSERT_TRUE(Eventually([&] { return Catches(parent, SIGINT); }));
    kill(parent, SIGINT);
    // The parent reaps its child: its own end comes after the child's.
    EXPECT_TRUE(ExitsWithZero(parent));
    mLive.erase(std::remove(mLive.begin(), mLive.end(), child), mLive.end());
    EXPECT_TRUE(Exists("sigterm"));
    const std::string output = ReadFile(mDir + "/out");
    const std::string path = "Basic/FendrakeOS/src/FendrakeOSInit/Posix/FendrakeOSInit";
    const size_t passedOn = output.find(path + ":271(L1)Parent got signal 2 -> sending SIGTERM\n");
    const size_t exited =
        output.find(path + ":291(L1)Child exited  status=0, wpid=" + std::to_string(child) + "\n");
    EXPECT_NE(std::string::npos, passedOn) << output;
    EXPECT_NE(std::string::npos, exited) << output;
    EXPECT_LT(passedOn, exited);
}
