// Walks the entries of one directory, standing on the first entry as soon as
// it is constructed; "." and ".." come like all others. A directory that
// cannot be opened gives an empty iterator (after a printed reason).
// Threads: one iterator belongs to one thread; several may run at once.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEDIRITERATOR_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEDIRITERATOR_H

#include <dirent.h>

class FendrakeDirIterator {
public:
    explicit FendrakeDirIterator(const char* iPath);
    // Takes over iFd: it is closed with the stream.
    explicit FendrakeDirIterator(int iFd);
    FendrakeDirIterator(int iDirFd, const char* iPath);
    ~FendrakeDirIterator();
    FendrakeDirIterator(const FendrakeDirIterator&) = delete;
    FendrakeDirIterator& operator=(const FendrakeDirIterator&) = delete;

    void Next();
    // Only while mCurrent is not null.
    const char* GetName() const { return mCurrent->d_name; }
    unsigned char GetType() const { return mCurrent->d_type; }
    int GetDirFd() const;

private:
    void iSetUp();

    DIR* mDir;
    struct dirent64* mEntry;

public:
    // The current entry; null at the end or when opening failed.
    struct dirent64* mCurrent;
};

#endif
