#include "Basic/FendrakeStdLib/FendrakeDirIterator.h"

#include "Capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <set>
#include <string>

using testing::HasSubstr;

namespace {
class FendrakeDirIteratorTest : public testing::Test {
protected:
    void SetUp() override {
        char pattern[] = "/tmp/FendrakeDirIteratorTest.XXXXXX";
        ASSERT_NE(nullptr, mkdtemp(pattern));
        mDir = pattern;
    }
    void TearDown() override {
        for (const std::string& name : mCreated)
            unlink((mDir + "/" + name).c_str());
        rmdir(mDir.c_str());
    }
    void Create(const std::string& iName) {
        const int fd = open((mDir + "/" + iName).c_str(), O_CREAT | O_WRONLY, 0600);
        ASSERT_GE(fd, 0);
        close(fd);
        mCreated.push_back(iName);
    }
    static std::multiset<std::string> Names(FendrakeDirIterator& ioIterator) {
        std::multiset<std::string> names;
        for (; ioIterator.mCurrent; ioIterator.Next())
            names.insert(ioIterator.GetName());
        return names;
    }
    std::string mDir;
    std::vector<std::string> mCreated;
};
} // namespace

TEST_F(FendrakeDirIteratorTest, EveryConstructorSeesTheSameEntries) {
    Create("a");
    Create(std::string(255, 'n')); // the longest name a file system allows
    const std::multiset<std::string> expected = {".", "..", "a", std::string(255, 'n')};

    FendrakeDirIterator byPath(mDir.c_str());
    EXPECT_EQ(expected, Names(byPath));

    FendrakeDirIterator byFd(open(mDir.c_str(), O_RDONLY | O_DIRECTORY));
    EXPECT_EQ(expected, Names(byFd));

    const int parent = open("/tmp", O_RDONLY | O_DIRECTORY);
    {
        FendrakeDirIterator byDirFd(parent, mDir.c_str() + 5);
        EXPECT_GE(byDirFd.GetDirFd(), 0);
        EXPECT_EQ(expected, Names(byDirFd));
    }
    close(parent);
}

TEST_F(FendrakeDirIteratorTest, EmptyDirectoryYieldsDotEntriesAndEndIsStable) {
    FendrakeDirIterator iterator(mDir.c_str());
    ASSERT_NE(nullptr, iterator.mCurrent);
    EXPECT_EQ(DT_DIR, iterator.GetType());
    EXPECT_EQ((std::multiset<std::string>{".", ".."}), Names(iterator));
    iterator.Next();
    iterator.Next();
    EXPECT_EQ(nullptr, iterator.mCurrent);
}

TEST_F(FendrakeDirIteratorTest, FailedOpenGivesAnEmptyIteratorAndSaysWhy) {
    CaptureScope capture;
    const std::string missing = mDir + "/missing";
    FendrakeDirIterator byPath(missing.c_str());
    EXPECT_EQ(nullptr, byPath.mCurrent);
    EXPECT_EQ(-1, byPath.GetDirFd());
    byPath.Next();
    EXPECT_EQ(nullptr, byPath.mCurrent);
    EXPECT_THAT(CapturedOutput(), HasSubstr("opendir failed iDirName=" + missing + ", errno=2\n"));

    FendrakeDirIterator byFd(-1);
    EXPECT_EQ(nullptr, byFd.mCurrent);
    EXPECT_THAT(CapturedOutput(), HasSubstr("opendir failed iFd=-1, errno=9\n"));

    // A descriptor handed over is closed even when it is no directory.
    Create("plain");
    const int plainFd = open((mDir + "/plain").c_str(), O_RDONLY);
    ASSERT_GE(plainFd, 0);
    {
        FendrakeDirIterator byPlainFd(plainFd);
        EXPECT_EQ(nullptr, byPlainFd.mCurrent);
        EXPECT_THAT(CapturedOutput(),
                    HasSubstr("opendir failed iFd=" + std::to_string(plainFd) + ", errno=20\n"));
    }
    EXPECT_EQ(-1, fcntl(plainFd, F_GETFD));

    FendrakeDirIterator byDirFd(AT_FDCWD, missing.c_str());
    EXPECT_EQ(nullptr, byDirFd.mCurrent);
    EXPECT_THAT(CapturedOutput(),
                HasSubstr("openat failed iFdDir:iDirName=-100:" + missing + ", errno=2\n"));
}
