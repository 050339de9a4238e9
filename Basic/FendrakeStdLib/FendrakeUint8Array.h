// The library's growable byte block, in which blobs travel through
// reflection, metadata and compression. Growth is exact, with no rounding
// up: a caller that appends often reserves first. The block never shrinks.
// Ownership: the array owns its block; copies never share it.
// Threads: for one thread.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEUINT8ARRAY_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEUINT8ARRAY_H

struct iovec;

class FendrakeUint8Array {
public:
    FendrakeUint8Array() : mData(nullptr), mDataLength(0), mDataSize(0) {}
    // Allocates exactly iLength bytes and copies them.
    FendrakeUint8Array(const unsigned char* iData, unsigned int iLength);
    FendrakeUint8Array(const FendrakeUint8Array& iOther);
    FendrakeUint8Array& operator=(const FendrakeUint8Array& iOther);
    ~FendrakeUint8Array() { delete[] mData; }

    // Makes room for iSize bytes in all; never shrinks.
    void Reserve(unsigned int iSize);
    // Replaces the content by exactly iLength bytes.
    void SetNewData(const unsigned char* iData, unsigned int iLength);
    void Append(const unsigned char* iData, unsigned int iLength);
    void Append(const FendrakeUint8Array& iOther);
    void AppendMemset(unsigned int iCount, unsigned char iValue);
    // Two-phase append: room for iLength more bytes, returned as the address
    // behind the last byte in use; AppendRelease then counts what was written.
    unsigned char* AppendRequest(unsigned int iLength);
    void AppendRelease(unsigned int iLength);
    // All vectors in order, with one reservation; nothing for iCount below 1.
    // The vectors must not point into this array.
    void AppendIovector(const iovec* iVectors, int iCount);
    // Takes over the other's block and leaves it empty.
    void StealData(FendrakeUint8Array& ioOther);
    // Copies at most iMaxLength bytes of the other; a larger block is kept.
    void CloneData(const FendrakeUint8Array& iOther, unsigned int iMaxLength);
    // Removes the bytes from iStart up to, not including, iEnd.
    void Erase(unsigned int iStart, unsigned int iEnd);

    unsigned char* GetData() { return mData; }
    const unsigned char* GetData() const { return mData; }
    unsigned int GetDataLength() const { return mDataLength; }
    unsigned int GetDataSize() const { return mDataSize; }

    unsigned char* mData;
    unsigned int mDataLength;
    unsigned int mDataSize;

private:
    // Reserves room for iLength more bytes; false if the length would wrap.
    bool iGrowBy(unsigned int iLength);
};

#endif
