#include "Basic/FendrakeStdLib/FendrakeBitUtils.h"

namespace {
const char* const kPath = "Basic/FendrakeStdLib/src/FendrakeBitUtils";

// The iWidth (at most 8) bits of iData that lie below bit iTop; bits from 32
// upward are zero.
inline unsigned int Slice(unsigned int iData, unsigned int iTop, unsigned int iWidth) {
    const unsigned int shift = iTop - iWidth;
    const unsigned int bits = shift >= 32 ? 0 : iData >> shift;
    return bits & ((1u << iWidth) - 1);
}

// iWidth bits that lie within the current byte, in one step; after a returning
// assertion they cross the byte boundary and go bit by bit.
unsigned int ReadInByte(BitPositionConst& ioAt, unsigned int iWidth) {
    if (ioAt.mBitPos > 8 - iWidth)
        return ioAt.ReadUint(iWidth);
    const unsigned int value =
        (*ioAt.mBytePos >> (8 - iWidth - ioAt.mBitPos)) & ((1u << iWidth) - 1);
    ioAt.mBitPos += iWidth;
    if (ioAt.mBitPos == 8) {
        ioAt.mBitPos = 0;
        ++ioAt.mBytePos;
    }
    return value;
}
} // namespace

unsigned int BitPositionConst::ReadUint(unsigned int bits) {
    unsigned int result = 0;
    for (; bits > 0; --bits) {
        result = (result << 1) | ((*mBytePos >> (7 - mBitPos)) & 1u);
        if (++mBitPos == 8) {
            mBitPos = 0;
            ++mBytePos;
        }
    }
    return result;
}

unsigned int BitPositionConst::Uint2() {
    FENDRAKE_ASSERT_AT(kPath, 37, mBitPos <= 6, "mBitPos<=6");
    return ReadInByte(*this, 2);
}

unsigned int BitPositionConst::Uint4() {
    FENDRAKE_ASSERT_AT(kPath, __LINE__, mBitPos <= 4, "mBitPos<=4");
    return ReadInByte(*this, 4);
}

void BitPosition::iWrite(unsigned int data, unsigned int data_bit_length, WriteMode iMode) {
    unsigned int left = data_bit_length;
    if (mBitPos != 0 && left >= 8 - mBitPos) {
        const unsigned int width = 8 - mBitPos;
        const unsigned int bits = Slice(data, left, width);
        const unsigned int keep = iMode == eWriteOr ? 0xffu : ~((1u << width) - 1);
        *mBytePos = static_cast<unsigned char>((*mBytePos & keep) | bits);
        left -= width;
        ++mBytePos;
        mBitPos = 0;
    }
    for (; left >= 8; left -= 8, ++mBytePos) {
        const unsigned int bits = Slice(data, left, 8);
        *mBytePos = static_cast<unsigned char>(iMode == eWriteOr ? (*mBytePos | bits) : bits);
    }
    if (left == 0)
        return;
    const unsigned int below = 8 - (mBitPos + left);
    const unsigned int bits = Slice(data, left, left) << below;
    unsigned int keep = 0xffu;
    if (iMode == eWriteClearAbove)
        keep = (1u << below) - 1;
    else if (iMode == eWriteField)
        keep = ~(((1u << left) - 1) << below);
    *mBytePos = static_cast<unsigned char>((*mBytePos & keep) | bits);
    mBitPos += left;
}

void BitPosition::WriteUint(unsigned int data, unsigned int data_bit_length) {
    // data >> 32 would be undefined: every length from 32 up takes all bits.
    FENDRAKE_ASSERT_DETAIL_AT(
        FENDRAKE_FILE, __LINE__, data_bit_length >= 32 || (data >> data_bit_length) == 0,
        "data_bit_length==32 || (data&(~((1<<data_bit_length)-1))) == 0",
        "Precondition check:The upper bits of data higher that length are not zero (data:%x "
        "len:%d)\n",
        data, data_bit_length);
    iWrite(data, data_bit_length, eWriteClearAbove);
}

void BitPosition::WriteUintOr(unsigned int data, unsigned int data_bit_length) {
    iWrite(data, data_bit_length, eWriteOr);
}

void BitPosition::WriteUintRepeated(unsigned int data, unsigned int data_bit_length,
                                    unsigned int count) {
    for (; count > 0; --count)
        WriteUint(data, data_bit_length);
}
