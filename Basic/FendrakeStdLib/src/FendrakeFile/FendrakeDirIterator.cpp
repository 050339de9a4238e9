#include "Basic/FendrakeStdLib/FendrakeDirIterator.h"

#include "Basic/FendrakeStdLib/FendrakeDebug.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>

FendrakeDirIterator::FendrakeDirIterator(const char* iPath) : mDir(opendir(iPath)) {
    if (!mDir)
        FENDRAKE_LOG(1, "opendir failed iDirName=%s, errno=%d\n", iPath, errno);
    iSetUp();
}

FendrakeDirIterator::FendrakeDirIterator(int iFd) : mDir(fdopendir(iFd)) {
    if (!mDir) {
        const int error = errno;
        // The descriptor was handed over: it goes even without a stream to close it.
        if (iFd >= 0)
            close(iFd);
        FENDRAKE_LOG(1, "opendir failed iFd=%d, errno=%d\n", iFd, error);
    }
    iSetUp();
}

FendrakeDirIterator::FendrakeDirIterator(int iDirFd, const char* iPath) : mDir(nullptr) {
    const int fd = openat(iDirFd, iPath, O_RDONLY | O_NOATIME | O_CLOEXEC);
    int error = errno;
    if (fd >= 0) {
        mDir = fdopendir(fd);
        error = errno;
        if (!mDir)
            close(fd);
    }
    if (!mDir)
        FENDRAKE_LOG(1, "openat failed iFdDir:iDirName=%d:%s, errno=%d\n", iDirFd, iPath, error);
    iSetUp();
}

FendrakeDirIterator::~FendrakeDirIterator() {
    free(mEntry);
    if (mDir)
        closedir(mDir);
}

void FendrakeDirIterator::iSetUp() {
    mEntry = nullptr;
    mCurrent = nullptr;
    if (!mDir)
        return;
    long nameMax = fpathconf(dirfd(mDir), _PC_NAME_MAX);
    if (nameMax < 255)
        nameMax = 255;
    // The reader copies whole records: never less than a full dirent64.
    size_t size = offsetof(struct dirent64, d_name) + static_cast<size_t>(nameMax) + 20;
    if (size < sizeof(struct dirent64))
        size = sizeof(struct dirent64);
    mEntry = static_cast<struct dirent64*>(malloc(size));
    if (mEntry)
        Next();
}

void FendrakeDirIterator::Next() {
    if (!mDir || !mEntry) {
        mCurrent = nullptr;
        return;
    }
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    // The re-entrant form: several iterators may run in different threads.
    const int result = readdir64_r(mDir, mEntry, &mCurrent);
#pragma GCC diagnostic pop
    if (result != 0) {
        FENDRAKE_LOG(2, "Error reading res_readdir_r=%d, errno=%d (%s)\n", result, errno,
                     strerror(errno));
        mCurrent = nullptr;
    }
}

int FendrakeDirIterator::GetDirFd() const {
    return mDir ? dirfd(mDir) : -1;
}
