#include "Basic/FendrakeStdLib/FendrakeUint8Array.h"

#include "Basic/FendrakeStdLib/FendrakeAssert.h"

#include <climits>
#include <cstdint>
#include <cstring>
#include <functional>
#include <sys/uio.h>

namespace {
const char* const kPath = "Basic/FendrakeStdLib/src/FendrakeUint8Array";

// memcpy with a null pointer is undefined even for no bytes.
inline void Copy(unsigned char* oTo, const unsigned char* iFrom, size_t iLength) {
    if (iLength)
        memcpy(oTo, iFrom, iLength);
}
} // namespace

FendrakeUint8Array::FendrakeUint8Array(const unsigned char* iData, unsigned int iLength)
    : mData(iLength ? new unsigned char[iLength] : nullptr), mDataLength(iLength),
      mDataSize(iLength) {
    Copy(mData, iData, iLength);
}

FendrakeUint8Array::FendrakeUint8Array(const FendrakeUint8Array& iOther)
    : FendrakeUint8Array(iOther.mData, iOther.mDataLength) {}

FendrakeUint8Array& FendrakeUint8Array::operator=(const FendrakeUint8Array& iOther) {
    CloneData(iOther, UINT_MAX);
    return *this;
}

void FendrakeUint8Array::Reserve(unsigned int iSize) {
    if (mDataSize >= iSize)
        return;
    unsigned char* data = new unsigned char[iSize];
    if (mData)
        Copy(data, mData, mDataLength);
    delete[] mData;
    mData = data;
    mDataSize = iSize;
}

bool FendrakeUint8Array::iGrowBy(unsigned int iLength) {
    if (iLength > UINT_MAX - mDataLength)
        return false;
    Reserve(mDataLength + iLength);
    return true;
}

void FendrakeUint8Array::SetNewData(const unsigned char* iData, unsigned int iLength) {
    // The new block is filled before the old one goes, so a source inside the
    // old block is still readable.
    unsigned char* data = iLength ? new unsigned char[iLength] : nullptr;
    Copy(data, iData, iLength);
    delete[] mData;
    mData = data;
    mDataLength = iLength;
    mDataSize = iLength;
}

void FendrakeUint8Array::Append(const unsigned char* iData, unsigned int iLength) {
    // A source inside the own block would move with it on growth.
    const std::less<const unsigned char*> before;
    const bool inside = mData && !before(iData, mData) && before(iData, mData + mDataSize);
    const size_t offset = inside ? static_cast<size_t>(iData - mData) : 0;
    if (!iGrowBy(iLength))
        return;
    Copy(mData + mDataLength, inside ? mData + offset : iData, iLength);
    mDataLength += iLength;
}

void FendrakeUint8Array::Append(const FendrakeUint8Array& iOther) {
    Append(iOther.mData, iOther.mDataLength);
}

void FendrakeUint8Array::AppendMemset(unsigned int iCount, unsigned char iValue) {
    if (!iGrowBy(iCount) || iCount == 0)
        return;
    memset(mData + mDataLength, iValue, iCount);
    mDataLength += iCount;
}

unsigned char* FendrakeUint8Array::AppendRequest(unsigned int iLength) {
    if (!iGrowBy(iLength))
        return nullptr;
    return mData ? mData + mDataLength : nullptr;
}

void FendrakeUint8Array::AppendRelease(unsigned int iLength) {
    mDataLength += iLength;
    FENDRAKE_ASSERT_AT(kPath, __LINE__, mDataSize >= mDataLength, "mDataSize>=mDataLength");
    // Never claim bytes that were not allocated, even when the hook returns.
    if (mDataLength > mDataSize || mDataLength < iLength)
        mDataLength = mDataSize;
}

void FendrakeUint8Array::AppendIovector(const iovec* iVectors, int iCount) {
    if (iCount < 1)
        return;
    uint64_t total = 0;
    for (int i = 0; i < iCount; ++i)
        total += iVectors[i].iov_len;
    if (total > UINT_MAX || !iGrowBy(static_cast<unsigned int>(total)))
        return;
    for (int i = 0; i < iCount; ++i) {
        Copy(mData + mDataLength, static_cast<const unsigned char*>(iVectors[i].iov_base),
             iVectors[i].iov_len);
        mDataLength += static_cast<unsigned int>(iVectors[i].iov_len);
    }
}

void FendrakeUint8Array::StealData(FendrakeUint8Array& ioOther) {
    if (&ioOther == this)
        return;
    delete[] mData;
    mData = ioOther.mData;
    mDataLength = ioOther.mDataLength;
    mDataSize = ioOther.mDataSize;
    ioOther.mData = nullptr;
    ioOther.mDataLength = 0;
    ioOther.mDataSize = 0;
}

void FendrakeUint8Array::CloneData(const FendrakeUint8Array& iOther, unsigned int iMaxLength) {
    if (&iOther == this)
        return;
    const unsigned int length = iOther.mDataLength < iMaxLength ? iOther.mDataLength : iMaxLength;
    if (!mData || length > mDataSize) {
        delete[] mData;
        mData = length ? new unsigned char[length] : nullptr;
        mDataSize = length;
    }
    Copy(mData, iOther.mData, length);
    mDataLength = length;
}

void FendrakeUint8Array::Erase(unsigned int iStart, unsigned int iEnd) {
    if (iEnd > mDataLength)
        iEnd = mDataLength;
    if (iEnd <= iStart)
        return;
    memmove(mData + iStart, mData + iEnd, mDataLength - iEnd);
    mDataLength -= iEnd - iStart;
}
