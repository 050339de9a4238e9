// Bit fields in a byte buffer, most significant bit first, as broadcast
// tables and bit-packed records lay them out. A position is a byte pointer
// and a bit index 0 to 7 counted from the top of that byte.
// The caller guarantees that the buffer holds every bit read or written.
// Threads: plain values, for one thread.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEBITUTILS_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEBITUTILS_H

#include "Basic/FendrakeStdLib/FendrakeAssert.h"

#include <cstring>

class BitPositionConst {
public:
    explicit BitPositionConst(const unsigned char* iBytePos, unsigned int iBitPos = 0)
        : mBytePos(iBytePos), mBitPos(iBitPos) {}

    // Up to 32 bits; 0 bits read as 0.
    unsigned int ReadUint(unsigned int bits);
    // Two or four bits within the current byte, in one step.
    unsigned int Uint2();
    unsigned int Uint4();

    const unsigned char* mBytePos;
    unsigned int mBitPos;
};

class BitPosition {
public:
    explicit BitPosition(unsigned char* iBytePos, unsigned int iBitPos = 0)
        : mBytePos(iBytePos), mBitPos(iBitPos) {}

    // Writes the low data_bit_length bits of data; data must have no bits
    // above them. A field that starts inside a byte and ends before its last
    // bit overwrites the bits above it in that byte with zeros; bits below a
    // field keep their value. Callers that pack such fields use WriteUintOr.
    void WriteUint(unsigned int data, unsigned int data_bit_length);
    // The same, or-ed into what is there: the target must be zero beforehand.
    void WriteUintOr(unsigned int data, unsigned int data_bit_length);
    void WriteUintRepeated(unsigned int data, unsigned int data_bit_length, unsigned int count);
    // Fast fill with count units of a pattern of at most 8 bits; each unit
    // replaces its own bits only. With a width that divides a byte, units
    // must not cross a byte (an assertion) and whole bytes go by memset;
    // other widths are written unit by unit as one run of bits.
    void WriteUint8aRepeated(unsigned char data, unsigned int data_bit_length, unsigned int count);

    unsigned char* mBytePos;
    unsigned int mBitPos;

private:
    // How a field meets the bits already in its bytes.
    enum WriteMode {
        eWriteClearAbove, // WriteUint: a field inside a byte zeroes the bits above it
        eWriteOr,         // WriteUintOr
        eWriteField       // only the field's own bits change
    };
    void iWrite(unsigned int data, unsigned int data_bit_length, WriteMode iMode);
    bool iWriteUnit(unsigned char data, unsigned int data_bit_length);
};

inline bool BitPosition::iWriteUnit(unsigned char data, unsigned int data_bit_length) {
    const unsigned int mask = (1u << data_bit_length) - 1;
    FENDRAKE_ASSERT_AT("Basic/FendrakeStdLib/FendrakeBitUtils", __LINE__,
                       mBitPos + data_bit_length <= 8, "mBitPos<=(8-data_bit_length)");
    FENDRAKE_ASSERT_AT("Basic/FendrakeStdLib/FendrakeBitUtils", __LINE__, ((~mask) & data) == 0,
                       "((~mask)&data)==0");
    if (mBitPos + data_bit_length > 8)
        return false;
    iWrite(data & mask, data_bit_length, eWriteField);
    return true;
}

inline void BitPosition::WriteUint8aRepeated(unsigned char data, unsigned int data_bit_length,
                                             unsigned int count) {
    FENDRAKE_ASSERT_AT("Basic/FendrakeStdLib/FendrakeBitUtils", __LINE__, data_bit_length != 0,
                       "data_bit_length!=0");
    if (data_bit_length == 0)
        return;
    // Neither a pattern wider than a byte nor one that does not divide a
    // byte repeats byte by byte.
    if (data_bit_length > 8 || 8 % data_bit_length != 0) {
        for (; count > 0; --count)
            iWrite(data, data_bit_length, eWriteField);
        return;
    }
    for (; count > 0 && mBitPos != 0; --count)
        if (!iWriteUnit(data, data_bit_length))
            return;
    const unsigned int perByte = 8 / data_bit_length;
    const unsigned int mask = (1u << data_bit_length) - 1;
    unsigned int pattern = 0;
    for (unsigned int i = 0; i < perByte; ++i)
        pattern = (pattern << data_bit_length) | (data & mask);
    const unsigned int bytes = count / perByte;
    memset(mBytePos, static_cast<int>(pattern & 0xff), bytes);
    mBytePos += bytes;
    count -= bytes * perByte;
    for (; count > 0; --count)
        if (!iWriteUnit(data, data_bit_length))
            return;
}

#endif
