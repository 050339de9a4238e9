// Broadcast text (ETSI EN 300 468 annex A) to UTF-8. The first bytes of a
// text select its character table; control codes are filtered; text of an
// unknown table is read as ISO-8859-1. Compressed text (first byte 0x1F) goes
// through dvb_huffman_decode.
// Nothing here fails loudly: whatever the input, the result is some UTF-8
// text, possibly empty. Threads: all functions are reentrant.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEDVBSTRING_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEDVBSTRING_H

#include <cstdint>
#include <string>

// iDefaultTable names the table of text without a selector, a fendrake_iconv
// name; null means "ISO-6937". With iRemoveControl the control codes up to 31
// are dropped. Each returns the bytes appended.
int AssignFromDVBString(std::string& oText, const unsigned char* iData, int iLength,
                        bool iRemoveControl, const char* iDefaultTable);
int AppendFromDVBString(std::string& ioText, const unsigned char* iData, int iLength,
                        bool iRemoveControl, const char* iDefaultTable);
int iAppendFromDVBString(std::string& ioText, const unsigned char* iData, int iLength,
                         bool iRemoveControl, const char* iDefaultTable);

// Reads bits, the most significant first. Bits past the end read as 0.
struct HuffmanBitArray {
    const unsigned char* mpData;
    uint32_t mBitIndex;
    uint32_t mByteCount;

    HuffmanBitArray(const unsigned char* iData, uint32_t iByteCount)
        : mpData(iData), mBitIndex(0), mByteCount(iByteCount) {}
    // iBits from 0 to 32.
    unsigned int ReadUint(unsigned int iBits);
};

// A decoding table: 128 big-endian 16-bit offsets of the tree for each
// previous 7-bit character, then the trees, two bytes a node (the child for
// bit 0, then for bit 1): bit 7 set is a leaf holding a character, otherwise
// the low 7 bits times two, from the tree's start, lead to the next node, and
// 0 ends the text. Leaf 27 escapes to raw bytes, leaf 0 ends the text.
// tools/dvb_huffman_table.py builds such tables.
struct DvbHuffmanTable {
    const unsigned char* mpData;
    unsigned int mSize;
};

// The offset of the tree for iPrevious; iTable holds at least the 256 bytes of offsets.
unsigned int dvb_huffman_get_tree_offset(const unsigned char* iTable, char iPrevious);
// Decodes compressed text that begins with 0x1F and the table number (1 or 2)
// into oOut, ioSize bytes. Returns 0 if the header is wrong or that table is
// not available; otherwise the bytes written, the last a NUL, also left in
// ioSize. iInLength bounds the input.
int dvb_huffman_decode(const unsigned char* iIn, unsigned char* oOut, int& ioSize,
                       unsigned int iInLength);
// The same with the caller's tables for numbers 1 and 2.
int dvb_huffman_decode_with(const DvbHuffmanTable iTables[2], const unsigned char* iIn,
                            unsigned char* oOut, int& ioSize, unsigned int iInLength);
// Makes dvb_huffman_decode use iTables (two entries that must outlive all
// decoding), or the built-in tables again for null. For start-up, before
// other threads decode text.
void dvb_huffman_set_tables(const DvbHuffmanTable* iTables);

#endif
