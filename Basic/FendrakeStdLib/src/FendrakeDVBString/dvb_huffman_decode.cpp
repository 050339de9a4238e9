#include "Basic/FendrakeStdLib/FendrakeDVBString.h"

#include <atomic>

namespace {
// The tables of encoding_type_id 1 and 2, as tools/dvb_huffman_table.py writes
// them from the broadcasters' code lists. Until those are supplied both are
// empty: dvb_huffman_decode returns 0 and such text is read as reserved.
const DvbHuffmanTable sBuiltInTables[2] = {{nullptr, 0}, {nullptr, 0}};
std::atomic<const DvbHuffmanTable*> spTables(sBuiltInTables);

const unsigned int kOffsetsSize = 256;
const unsigned char kEscape = 27;
// A tree has at most 128 nodes; a longer walk means a broken table.
const unsigned int kMaxWalk = 128;

enum State { kStart, kTable, kTree, kEscapeBytes, kEnd };

struct Decoder {
    HuffmanBitArray mBits;
    unsigned char* mpOut;
    int mCapacity;
    int mPosition = 0;
    unsigned char mPrevious = 0;
    const DvbHuffmanTable* mpTable = nullptr;

    bool Full() const { return mPosition >= mCapacity; }

    State Tree() {
        const unsigned char* data = mpTable->mpData;
        const unsigned int tree = dvb_huffman_get_tree_offset(data, static_cast<char>(mPrevious));
        unsigned int node = tree;
        for (unsigned int walk = 0; walk < kMaxWalk; ++walk) {
            // Offsets come from the table: never read outside it.
            if (node + 1 >= mpTable->mSize)
                return kEnd;
            const unsigned char child = data[node + mBits.ReadUint(1)];
            if (child & 0x80)
                return Leaf(child & 0x7F);
            if (child == 0)
                return kEnd;
            node = tree + child * 2u;
        }
        return kEnd;
    }

    State Leaf(unsigned char iCharacter) {
        if (iCharacter == kEscape)
            return kEscapeBytes;
        if (iCharacter == 0) {
            if (!Full())
                mpOut[mPosition++] = 0;
            return kEnd;
        }
        if (Full())
            return kEnd;
        mpOut[mPosition++] = iCharacter;
        mPrevious = iCharacter;
        return kTree;
    }

    State EscapeByte() {
        const unsigned char byte = static_cast<unsigned char>(mBits.ReadUint(8));
        if (byte == 0)
            return kEnd;
        State next = kEscapeBytes;
        if (Full())
            next = kEnd;
        else
            mpOut[mPosition++] = byte;
        // A full output still leaves escape on an ASCII byte; the next leaf ends it.
        if (byte < 0x80) {
            mPrevious = byte;
            next = kTree;
        }
        return next;
    }

    int End(int& oSize) {
        // Full: the terminator takes the last place, and the size stays within the output.
        if (mPosition >= mCapacity)
            mPosition = mCapacity - 1;
        mpOut[mPosition] = 0;
        oSize = mPosition + 1;
        return oSize;
    }
};
} // namespace

unsigned int HuffmanBitArray::ReadUint(unsigned int iBits) {
    unsigned int value = 0;
    for (unsigned int i = 0; i < iBits; ++i) {
        const uint32_t byte = mBitIndex / 8;
        unsigned int bit = 0;
        if (byte < mByteCount) {
            bit = (mpData[byte] >> (7 - mBitIndex % 8)) & 1;
            ++mBitIndex;
        }
        value = value << 1 | bit;
    }
    return value;
}

unsigned int dvb_huffman_get_tree_offset(const unsigned char* iTable, char iPrevious) {
    const unsigned int index = static_cast<unsigned char>(iPrevious) & 0x7F;
    return static_cast<unsigned int>(iTable[2 * index] << 8 | iTable[2 * index + 1]);
}

int dvb_huffman_decode_with(const DvbHuffmanTable iTables[2], const unsigned char* iIn,
                            unsigned char* oOut, int& ioSize, unsigned int iInLength) {
    if (ioSize < 1 || !oOut)
        return 0;
    Decoder decoder{HuffmanBitArray(iIn, iIn ? iInLength : 0), oOut, ioSize};
    State state = kStart;
    for (;;) {
        switch (state) {
        case kStart: {
            const unsigned int byte = decoder.mBits.ReadUint(8);
            if (byte != 0x1F && byte != 0)
                return 0;
            state = byte ? kTable : kEnd;
            break;
        }
        case kTable: {
            const unsigned int number = decoder.mBits.ReadUint(8);
            if (number != 1 && number != 2)
                return 0;
            decoder.mpTable = &iTables[number - 1];
            if (!decoder.mpTable->mpData || decoder.mpTable->mSize < kOffsetsSize)
                return 0;
            state = kTree;
            break;
        }
        case kTree:
            state = decoder.Tree();
            break;
        case kEscapeBytes:
            state = decoder.EscapeByte();
            break;
        case kEnd:
            return decoder.End(ioSize);
        }
    }
}

int dvb_huffman_decode(const unsigned char* iIn, unsigned char* oOut, int& ioSize,
                       unsigned int iInLength) {
    return dvb_huffman_decode_with(spTables.load(std::memory_order_acquire), iIn, oOut, ioSize,
                                   iInLength);
}

void dvb_huffman_set_tables(const DvbHuffmanTable* iTables) {
    spTables.store(iTables ? iTables : sBuiltInTables, std::memory_order_release);
}
