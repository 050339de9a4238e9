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

std::string Link(const std::string& iPath) {
    char target[PATH_MAX];
    const ssize_t length = readlink(iPath.c_str(), target, sizeof target);
    return length < 0 ? "?" : std::string(target, static_cast<size_t>(length));
}

// The value of one line of /proc/<pid>/status, such as "Umask:".
std::string StatusValue(const std::string& iPid, const std::string& iKey) {
    std::istringstream status(ReadFile("/proc/" + iPid + "/status"));
    std::string key, value;
    while (status >> key >> value) {
        if (key == iKey)
            return value;
        status.ignore(4096, '\n');
    }
    return "";
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
        while (!mLive.empty())
            ExitsWithZero(mLive.front());
        for (pid_t pid : OrphansOfOurs()) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
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

    // Reaps iPid within the patience, killing it if it is still there then.
    // True if it exited with 0.
    bool ExitsWithZero(pid_t iPid) {
        mLive.erase(std::remove(mLive.begin(), mLive.end(), iPid), mLive.end());
        int status = -1;
        const bool ended = Eventually([&] { return waitpid(iPid, &status, WNOHANG) != 0; });
        if (!ended) {
            kill(iPid, SIGKILL);
            waitpid(iPid, &status, 0);
        }
        return ended && WIFEXITED(status) && WEXITSTATUS(status) == 0;
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

    // The report of the process that went on; the daemon's pid is kept for
    // TearDown until it is reaped.
    std::map<std::string, std::string> TakeReport() {
        std::map<std::string, std::string> report;
        if (!Eventually([&] { return access((mDir + "/report").c_str(), F_OK) == 0; }))
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

// Every helper waits for SIGTERM once it has reported. A detached daemon's
// parent has left before that; a supervising parent stays until its child ends.
TEST_F(FendrakeOSInitTest, EachModeRunsInTheProcessAndPlaceItPromises) {
    enum Kind { eForeground, eDetached, eSupervising };
    const struct {
        int mLine;
        const char* mOption;
        Kind mKind;
    } kRows[] = {
        {__LINE__, nullptr, eForeground},
        {__LINE__, "--daemon-mode=0", eForeground},
        {__LINE__, "--daemon-mode=abc", eForeground},
        {__LINE__, "--daemon-mode=1", eDetached},
        {__LINE__, "--daemon-mode=3", eDetached},
        {__LINE__, "--daemon-mode=-1", eDetached},
        {__LINE__, "--daemon-mode=2", eSupervising},
    };
    const std::string ownSession = std::to_string(getsid(0));
    const std::string ownTerminal = StatFields("self").at(4);
    const std::string kept[] = {mDir + "/in", mDir + "/out", mDir + "/err"};
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        std::vector<std::string> args{mDir, "wait"};
        if (row.mOption)
            args.insert(args.begin(), row.mOption);
        const pid_t launched = Launch(args);
        ASSERT_GT(launched, 0);
        if (row.mKind == eDetached) {
            EXPECT_TRUE(ExitsWithZero(launched));
        }
        std::map<std::string, std::string> report = TakeReport();
        ASSERT_NE("", report["pid"]);
        const std::string pid = report["pid"];
        const pid_t process = static_cast<pid_t>(atoi(pid.c_str()));
        const bool forked = row.mKind != eForeground, detached = row.mKind == eDetached;
        EXPECT_EQ(forked, process != launched);
        const std::vector<std::string> stat = StatFields(pid);
        ASSERT_EQ(5u, stat.size());
        EXPECT_EQ(forked ? pid : ownSession, stat[3]);
        EXPECT_EQ(forked ? "0" : ownTerminal, stat[4]);
        EXPECT_EQ(forked ? "0000" : "0027", StatusValue(pid, "Umask:"));
        EXPECT_EQ(detached ? "/" : mDir, Link("/proc/" + pid + "/cwd"));
        for (int fd = 0; fd < 3; ++fd)
            EXPECT_EQ(detached ? "/dev/null" : kept[fd],
                      Link("/proc/" + pid + "/fd/" + std::to_string(fd)));
        EXPECT_EQ(mDir + " wait", report["args"]);

        if (row.mKind == eSupervising) {
            int status;
            EXPECT_EQ(0, waitpid(launched, &status, WNOHANG));
            // SigCgt is the mask of caught signals; SIGINT is its second bit.
            ASSERT_TRUE(Eventually([&] {
                const std::string caught = StatusValue(std::to_string(launched), "SigCgt:");
                return !caught.empty() && (std::stoull(caught, nullptr, 16) & 2) != 0;
            }));
            kill(launched, SIGINT);
            // The parent reaps its child, so its own end comes after the child's.
            EXPECT_TRUE(ExitsWithZero(launched));
            mLive.erase(std::remove(mLive.begin(), mLive.end(), process), mLive.end());
            const std::string output = ReadFile(mDir + "/out");
            const std::string path = "Basic/FendrakeOS/src/FendrakeOSInit/Posix/FendrakeOSInit";
            const size_t passedOn =
                output.find(path + ":271(L1)Parent got signal 2 -> sending SIGTERM\n");
            const size_t exited = output.find(
                path + ":291(L1)Child exited  status=0, wpid=" + std::to_string(process) + "\n");
            EXPECT_NE(std::string::npos, passedOn) << output;
            EXPECT_NE(std::string::npos, exited) << output;
            EXPECT_LT(passedOn, exited);
        } else {
            kill(process, SIGTERM);
            EXPECT_TRUE(ExitsWithZero(process));
        }
        EXPECT_EQ(0, unlink((mDir + "/sigterm").c_str()));
    }
}
