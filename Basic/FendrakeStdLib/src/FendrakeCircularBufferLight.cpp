#include "Basic/FendrakeStdLib/FendrakeCircularBufferLight.h"

#include <cstring>

FendrakeCircularBufferLight::FendrakeCircularBufferLight()
    : FendrakeProCon(100), mCurrentToken(nullptr), mReadOffset(0), mBytesQueued(0),
      mOverflow(false) {}

FendrakeCircularBufferLight::~FendrakeCircularBufferLight() {
    delete mCurrentToken;
}

bool FendrakeCircularBufferLight::WriteToBuffer(FendrakeUint8Array& ioData) {
    const unsigned int length = ioData.GetDataLength();
    if (length == 0)
        return true;
    FendrakeCircularBufferLightToken* token = new FendrakeCircularBufferLightToken;
    token->mData.StealData(ioData);
    // Counted before the reader can see the block, so the count never wraps.
    mBytesQueued += length;
    if (add(token, 0, 0))
        return true;
    mBytesQueued -= length;
    mOverflow = true;
    delete token;
    return false;
}

unsigned int FendrakeCircularBufferLight::ReadFromBuffer(void* oTarget, unsigned int iLength) {
    if (!mCurrentToken) {
        mCurrentToken = static_cast<FendrakeCircularBufferLightToken*>(remove(0));
        if (!mCurrentToken)
            return 0;
        mReadOffset = 0;
    }
    const FendrakeUint8Array& data = mCurrentToken->mData;
    const unsigned int left = data.GetDataLength() - mReadOffset;
    const unsigned int count = left < iLength ? left : iLength;
    if (count)
        memcpy(oTarget, data.GetData() + mReadOffset, count);
    mBytesQueued -= count;
    mReadOffset += count;
    if (mReadOffset >= data.GetDataLength()) {
        delete mCurrentToken;
        mCurrentToken = nullptr;
    }
    return count;
}
