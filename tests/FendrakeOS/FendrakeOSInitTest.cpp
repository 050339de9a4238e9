#include "Basic/FendrakeOS/FendrakeOSInit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <chrono>
#include <climits>
#include <csignal>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <functional>
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
// a subreaper, so whatever the helper leaves behind becomes its child, and
// TearDown kills and reaps every child, whether the test passed or not.
namespace {
std::string ReadFile(const std::string& iPath) {
    std::ifstream file(iPath);
    return std::string((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
}

// Fields of /proc/<pid>/stat behind the name: state, parent, group, session, terminal.
std::vector<std::string> StatFields(const std::string& iPid) {
    const std::string text = ReadFile("/proc/" + iPid + "/stat");
    std::vector<std::string> fields;
    std::istringstream words(text.substr(std::min(text.size(), text.rfind(')') + 1)));
    for (std::string word; fields.size() < 5 && words >> word;)
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
    for (std::string key, value; status >> key >> value; status.ignore(4096, '\n')) {
        if (key == iKey)
            return value;
    }
    return "";
}

bool Eventually(const std::function<bool()>& iCondition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!iCondition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// Reaps iPid if it ends within the patience; true if it exited with 0.
bool ExitsWithZero(pid_t iPid) {
    int status = -1;
    return Eventually([&] { return waitpid(iPid, &status, WNOHANG) != 0; }) && WIFEXITED(status) &&
           WEXITSTATUS(status) == 0;
}

// Our children, the adopted ones included.
std::vector<pid_t> Children() {
    std::vector<pid_t> children;
    DIR* proc = opendir("/proc");
    while (dirent* entry = proc ? readdir(proc) : nullptr) {
        if (!isdigit(static_cast<unsigned char>(entry->d_name[0])))
            continue;
        const std::vector<std::string> fields = StatFields(entry->d_name);
        if (fields.size() > 1 && fields[1] == std::to_string(getpid()))
            children.push_back(static_cast<pid_t>(atoi(entry->d_name)));
    }
    if (proc)
        closedir(proc);
    return children;
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

    // A killed parent hands its own children on to us: until none is left.
    void TearDown() override {
        for (std::vector<pid_t> children; !(children = Children()).empty();) {
            for (pid_t pid : children) {
                kill(pid, SIGKILL);
                waitpid(pid, nullptr, 0);
            }
        }
        for (const char* name : {"in", "out", "err", "report", "report.tmp", "sigterm"})
            unlink((mDir + "/" + name).c_str());
        rmdir(mDir.c_str());
    }

    // Starts the helper in mDir with umask 027, input from "in", output to
    // "out" and "err".
    pid_t Launch(std::vector<std::string> iWords) {
        iWords.insert(iWords.begin(), DAEMON_HELPER);
        std::vector<char*> argv;
        for (std::string& word : iWords)
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
        return pid;
    }

    // The pid and the arguments reported by the process that went on; pid 0 if none came.
    pid_t TakeReport(std::string& oArgs) {
        const std::string path = mDir + "/report";
        pid_t pid = 0;
        if (Eventually([&] { return access(path.c_str(), F_OK) == 0; })) {
            std::ifstream report(path);
            report >> pid;
            std::getline(report >> std::ws, oArgs);
        }
        unlink(path.c_str());
        return pid;
    }

    std::string mDir;
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
        std::string reportedArgs;
        const pid_t process = TakeReport(reportedArgs);
        ASSERT_GT(process, 0);
        EXPECT_EQ(mDir + " wait", reportedArgs);
        const std::string pid = std::to_string(process);
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

        if (row.mKind != eSupervising) {
            kill(process, SIGTERM);
            EXPECT_TRUE(ExitsWithZero(process));
        } else {
            EXPECT_EQ(0, waitpid(launched, nullptr, WNOHANG));
            // SigCgt is the mask of caught signals; SIGINT is its second bit.
            ASSERT_TRUE(Eventually([&] {
                const std::string caught = StatusValue(std::to_string(launched), "SigCgt:");
                return !caught.empty() && (std::stoull(caught, nullptr, 16) & 2) != 0;
            }));
            kill(launched, SIGINT);
            // The parent reaps its child, so its own end comes after the child's.
            EXPECT_TRUE(ExitsWithZero(launched));
            const std::string output = ReadFile(mDir + "/out");
            const std::string path = "Basic/FendrakeOS/src/FendrakeOSInit/Posix/FendrakeOSInit";
            const size_t passedOn =
                output.find(path + ":271(L1)Parent got signal 2 -> sending SIGTERM\n");
            const size_t exited =
                output.find(path + ":291(L1)Child exited  status=0, wpid=" + pid + "\n");
            EXPECT_NE(std::string::npos, passedOn) << output;
            EXPECT_NE(std::string::npos, exited) << output;
            EXPECT_LT(passedOn, exited);
        }
        EXPECT_EQ(0, unlink((mDir + "/sigterm").c_str()));
    }
}
