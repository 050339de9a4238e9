#include "Basic/FendrakeStdLib/FendrakeDVBString.h"

#include "FendrakeIconvSetup.h"

#include "Basic/FendrakeStdLib/FendrakeDebug.h"

#include "../FendrakeUtf8Forms.h"

#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <new>

namespace {

enum Filter { kFilterOneByte, kFilterTwoByte, kFilterUtf8 };

// A descriptor holds at most 255 bytes of text: scratch room for that lives
// on the stack, anything longer on the heap, so the stack use stays bounded.
const size_t kStackText = 256;

template <size_t N> class Scratch {
public:
    explicit Scratch(size_t iSize)
        : mpData(iSize <= N ? mInline : new (std::nothrow) unsigned char[iSize]) {}
    ~Scratch() {
        if (mpData != mInline)
            delete[] mpData;
    }
    Scratch(const Scratch&) = delete;
    Scratch& operator=(const Scratch&) = delete;
    // Null if the heap refused.
    unsigned char* data() { return mpData; }

private:
    unsigned char mInline[N];
    unsigned char* mpData;
};

// Copies the run of bytes from ioAt that every filter keeps as they are (ASCII
// but NUL, and but all control codes if those are removed), looking at eight
// at a time, and moves both positions past it; false if the text has ended.
// The output has room for eight more bytes.
bool CopyPlain(const unsigned char* iText, size_t iLength, bool iRemoveControl, size_t& ioAt,
               unsigned char* oText, size_t& ioOut) {
    const uint64_t kOnes = 0x0101010101010101ull;
    const uint64_t kHigh = 0x8080808080808080ull;
    const unsigned char lowest = iRemoveControl ? 32 : 1;
    // Text in a script above ASCII is mostly other bytes: look at one first.
    if (ioAt >= iLength || iText[ioAt] >= 0x80 || iText[ioAt] < lowest)
        return ioAt < iLength;
    while (iLength - ioAt >= 8) {
        uint64_t word;
        memcpy(&word, iText + ioAt, 8);
        memcpy(oText + ioOut, &word, 8);
        // Per byte, without carries between bytes: the high bit says "kept".
        const uint64_t kept = ((word & ~kHigh) + (0x80u - lowest) * kOnes) & ~word & kHigh;
        const uint64_t dropped = ~kept & kHigh;
        if (dropped) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
            const size_t count = static_cast<size_t>(__builtin_clzll(dropped)) / 8;
#else
            const size_t count = static_cast<size_t>(__builtin_ctzll(dropped)) / 8;
#endif
            ioAt += count;
            ioOut += count;
            return true;
        }
        ioAt += 8;
        ioOut += 8;
    }
    return ioAt < iLength;
}

// The one-byte filter as tables, so that a byte costs no branch: what a byte
// becomes, and whether it stays (without and with control removal).
struct OneByteFilter {
    unsigned char mByte[256];
    unsigned char mKeep[2][256];
};

constexpr OneByteFilter MakeOneByteFilter() {
    OneByteFilter filter{};
    for (int byte = 0; byte < 256; ++byte) {
        filter.mByte[byte] = static_cast<unsigned char>(byte == 0x8A ? '\n' : byte);
        const bool dropped = byte == 0 || (byte >= 0x80 && byte <= 0x9F && byte != 0x8A);
        filter.mKeep[0][byte] = !dropped;
        filter.mKeep[1][byte] = !dropped && (byte > 31 || byte == 0x8A);
    }
    return filter;
}
constexpr OneByteFilter kOneByteFilter = MakeOneByteFilter();

size_t FilterOneByte(const unsigned char* iText, size_t iLength, bool iRemoveControl,
                     unsigned char* oText) {
    const unsigned char* keep = kOneByteFilter.mKeep[iRemoveControl];
    size_t out = 0;
    size_t i = 0;
    while (CopyPlain(iText, iLength, iRemoveControl, i, oText, out)) {
        const unsigned char byte = iText[i++];
        oText[out] = kOneByteFilter.mByte[byte];
        out += keep[byte];
    }
    return out;
}

bool IsMark(uint32_t iCodePoint) {
    return iCodePoint >= 0x300 && iCodePoint <= 0x36F;
}

const size_t kNotConverted = ~size_t(0);

// The one-byte filter and a single-byte table in one pass: both work byte by
// byte, so this gives what filtering and then converting would. A mark must
// compose with the next kept byte; any other mark gives kNotConverted and is
// left to the converter. Writes up to three bytes for each byte of text, and
// eight more room must be there.
size_t FilterAndConvertOneByte(const unsigned char* iText, size_t iLength, bool iRemoveControl,
                               const uint16_t* iHighHalf, bool iComposing, unsigned char* oText) {
    const unsigned char* keep = kOneByteFilter.mKeep[iRemoveControl];
    size_t out = 0;
    size_t i = 0;
    while (CopyPlain(iText, iLength, iRemoveControl, i, oText, out)) {
        const unsigned char byte = iText[i++];
        if (!keep[byte])
            continue;
        if (byte < 0xA0) {
            oText[out++] = kOneByteFilter.mByte[byte];
            continue;
        }
        uint32_t codePoint = iHighHalf[byte - 0xA0];
        if (iComposing && IsMark(codePoint)) {
            while (i < iLength && !keep[iText[i]])
                ++i;
            if (i >= iLength)
                return kNotConverted;
            const unsigned char base = kOneByteFilter.mByte[iText[i++]];
            const uint32_t baseCodePoint = base < 0xA0 ? base : iHighHalf[base - 0xA0];
            const uint16_t* composed = IsMark(baseCodePoint)
                                           ? nullptr
                                           : FendrakeIconvComposition(codePoint, baseCodePoint);
            if (!composed)
                return kNotConverted;
            codePoint = *composed;
        }
        out = static_cast<size_t>(FendrakeUtf8PutBmp(codePoint, oText + out) - oText);
    }
    return out;
}

bool DropsPair(unsigned int iValue, bool iRemoveControl) {
    return iValue == 0 || (iValue >= 0xE080 && iValue <= 0xE09F) ||
           (iRemoveControl && iValue <= 31);
}

// The two-byte filter and UCS2 in one pass, both pair by pair. Without
// branches, as scripts mix one-, two- and three-byte characters: every pair
// stores three bytes and keeps what it needs. Writes up to three bytes for
// each pair and needs two more of room.
size_t FilterAndConvertUcs2(const unsigned char* iText, size_t iLength, bool iRemoveControl,
                            unsigned char* oText) {
    const unsigned int lowest = iRemoveControl ? 32 : 1;
    size_t out = 0;
    for (size_t i = 0; i < iLength; i += 2) {
        // An odd last byte pairs with 0, never with what lies behind the text.
        const unsigned int value = iText[i] << 8 | (i + 1 < iLength ? iText[i + 1] : 0);
        const unsigned int two = value >= 0x80;
        const unsigned int three = value >= 0x800;
        const unsigned char last = static_cast<unsigned char>(0x80 | (value & 0x3F));
        const unsigned char middle = static_cast<unsigned char>(0x80 | ((value >> 6) & 0x3F));
        oText[out] = static_cast<unsigned char>(three ? 0xE0 | value >> 12
                                                : two ? 0xC0 | value >> 6
                                                      : value);
        oText[out + 1] = three ? middle : last;
        oText[out + 2] = last;
        const bool dropped = value < lowest || (value >= 0xE080 && value <= 0xE09F);
        out += dropped ? 0 : 1 + two + three;
    }
    return out;
}

// Writes up to iLength + 1 bytes.
size_t FilterTwoByte(const unsigned char* iText, size_t iLength, bool iRemoveControl,
                     unsigned char* oText) {
    size_t out = 0;
    for (size_t i = 0; i < iLength; i += 2) {
        const unsigned char high = iText[i];
        // An odd last byte pairs with 0, never with what lies behind the text.
        const unsigned char low = i + 1 < iLength ? iText[i + 1] : 0;
        if (DropsPair(high << 8 | low, iRemoveControl))
            continue;
        oText[out++] = high;
        oText[out++] = low;
    }
    return out;
}

// 0xC2 is dropped before the byte it led, which the decoder then reads on its
// own (a lone 0x80 to 0xBF stands for itself); 0xC2 0x8A also gives a line feed.
size_t FilterUtf8(const unsigned char* iText, size_t iLength, bool iRemoveControl,
                  unsigned char* oText) {
    size_t out = 0;
    size_t i = 0;
    while (CopyPlain(iText, iLength, iRemoveControl, i, oText, out)) {
        const unsigned char byte = iText[i++];
        if (byte == 0 || (iRemoveControl && byte <= 31))
            continue;
        if (byte == 0xC2 && i < iLength) {
            if (iText[i] == 0x8A)
                oText[out++] = '\n';
            continue;
        }
        oText[out++] = byte;
    }
    return out;
}

FendrakeIconvHandle OpenToUtf8(const char* iTable) {
    FendrakeIconvHandle converter;
    if (!FendrakeIconvSetup(converter, "UTF-8", iTable)) {
        FENDRAKE_LOG(2, "Error: could not find conversion table for %s -> UTF-8\n", iTable);
        FendrakeIconvSetup(converter, "UTF-8", "ISO-8859-1");
    }
    return converter;
}

// Filters, converts to UTF-8 and appends; returns the bytes appended. The
// handle lives on the stack: one text costs no heap.
int Convert(std::string& ioText, const unsigned char* iText, size_t iLength, bool iRemoveControl,
            const char* iTable, Filter iFilter) {
    FendrakeIconvHandle converter = OpenToUtf8(iTable);
    if (iLength > UINT_MAX / 6 - 8)
        return 0;
    bool composing = false;
    const uint16_t* highHalf =
        iFilter == kFilterOneByte ? FendrakeIconvHighHalf(converter, composing) : nullptr;
    if (highHalf) {
        Scratch<3 * kStackText + 8> converted(3 * iLength + 8);
        if (!converted.data())
            return 0;
        const size_t written = FilterAndConvertOneByte(iText, iLength, iRemoveControl, highHalf,
                                                       composing, converted.data());
        if (written != kNotConverted) {
            ioText.append(reinterpret_cast<const char*>(converted.data()), written);
            return static_cast<int>(written);
        }
    }
    if (iFilter == kFilterTwoByte && FendrakeIconvIsUcs2ToUtf8(converter)) {
        Scratch<3 * kStackText / 2 + 5> converted(3 * (iLength / 2) + 5);
        if (!converted.data())
            return 0;
        const size_t written =
            FilterAndConvertUcs2(iText, iLength, iRemoveControl, converted.data());
        ioText.append(reinterpret_cast<const char*>(converted.data()), written);
        return static_cast<int>(written);
    }

    Scratch<kStackText + 1> filtered(iLength + 1);
    Scratch<6 * kStackText> converted(6 * (iLength + 1));
    if (!filtered.data() || !converted.data())
        return 0;
    size_t length;
    if (iFilter == kFilterOneByte)
        length = FilterOneByte(iText, iLength, iRemoveControl, filtered.data());
    else if (iFilter == kFilterTwoByte)
        length = FilterTwoByte(iText, iLength, iRemoveControl, filtered.data());
    else
        length = FilterUtf8(iText, iLength, iRemoveControl, filtered.data());
    const char* in = reinterpret_cast<const char*>(filtered.data());
    unsigned int inLeft = static_cast<unsigned int>(length);
    char* out = reinterpret_cast<char*>(converted.data());
    unsigned int outLeft = static_cast<unsigned int>(6 * length);
    const unsigned int written = fendrake_iconv(&converter, &in, &inLeft, &out, &outLeft);
    ioText.append(reinterpret_cast<const char*>(converted.data()), written);
    return static_cast<int>(written);
}

// "ISO-8859-<part>" into oName, which holds at least 16 bytes.
const char* Iso8859Name(unsigned int iPart, char* oName) {
    static const char kPrefix[] = "ISO-8859-";
    size_t at = 0;
    for (; kPrefix[at]; ++at)
        oName[at] = kPrefix[at];
    char digits[5];
    size_t count = 0;
    do {
        digits[count++] = static_cast<char>('0' + iPart % 10);
        iPart /= 10;
    } while (iPart && count < sizeof digits);
    while (count)
        oName[at++] = digits[--count];
    oName[at] = 0;
    return oName;
}

int AppendHuffman(std::string& ioText, const unsigned char* iData, size_t iLength, size_t iStart,
                  bool iRemoveControl, const char* iDefaultTable) {
    const size_t capacity = iLength <= INT_MAX / 5 ? 5 * iLength : INT_MAX;
    unsigned char* decoded = new (std::nothrow) unsigned char[capacity];
    int size = static_cast<int>(capacity);
    const size_t inLength = iLength - iStart;
    int result = 0;
    if (decoded && inLength <= UINT_MAX &&
        dvb_huffman_decode(iData + iStart, decoded, size, static_cast<unsigned int>(inLength)))
        result = Convert(ioText, decoded, static_cast<size_t>(size), iRemoveControl, "UTF-8",
                         kFilterUtf8);
    else
        result = Convert(ioText, iData + iStart + 1, inLength - 1, iRemoveControl, iDefaultTable,
                         kFilterOneByte);
    delete[] decoded;
    return result;
}
} // namespace

int iAppendFromDVBString(std::string& ioText, const unsigned char* iData, int iLength,
                         bool iRemoveControl, const char* iDefaultTable) {
    if (iLength <= 0 || !iData)
        return 0;
    const char* defaultTable = iDefaultTable ? iDefaultTable : "ISO-6937";
    const size_t length = static_cast<size_t>(iLength);
    // A selector byte in front of the Huffman marker is a stray: skip it.
    const size_t start = (length > 1 && iData[0] <= 0x15 && iData[1] == 0x1F) ? 1 : 0;
    const unsigned char selector = iData[start];
    if (selector == 0x1F)
        return AppendHuffman(ioText, iData, length, start, iRemoveControl, defaultTable);

    const char* table = defaultTable;
    size_t skip = 1;
    Filter filter = kFilterOneByte;
    char name[16];
    if ((selector >= 0x01 && selector <= 0x07) || (selector >= 0x09 && selector <= 0x0B)) {
        table = Iso8859Name(selector + 4u, name);
    } else if (selector == 0x10) {
        // Part number bytes behind the text read as 0.
        const unsigned int high = start + 1 < length ? iData[start + 1] : 0;
        const unsigned int low = start + 2 < length ? iData[start + 2] : 0;
        table = Iso8859Name(high << 8 | low, name);
        skip = 3;
    } else if (selector == 0x11 || selector == 0x14) {
        // 0x14 is Big5 on air, read as UCS2 here: kept so.
        table = "UCS2";
        filter = kFilterTwoByte;
    } else if (selector == 0x12) {
        // Not the converter's name for the table, so such text falls back to
        // ISO-8859-1: kept so.
        table = "KSC_5601";
        filter = kFilterTwoByte;
    } else if (selector == 0x13) {
        table = "GB2312";
    } else if (selector == 0x15) {
        table = "UTF-8";
        filter = kFilterUtf8;
    } else if (selector >= 0x16 && selector <= 0x1E) {
        FENDRAKE_LOG(2, "Ignoring character table %d reserved for future use. Using %s.\n",
                     selector, defaultTable);
    } else {
        skip = 0;
    }
    const size_t textStart = start + skip < length ? start + skip : length;
    return Convert(ioText, iData + textStart, length - textStart, iRemoveControl, table, filter);
}

int AssignFromDVBString(std::string& oText, const unsigned char* iData, int iLength,
                        bool iRemoveControl, const char* iDefaultTable) {
    oText.clear();
    return iAppendFromDVBString(oText, iData, iLength, iRemoveControl, iDefaultTable);
}

int AppendFromDVBString(std::string& ioText, const unsigned char* iData, int iLength,
                        bool iRemoveControl, const char* iDefaultTable) {
    return iAppendFromDVBString(ioText, iData, iLength, iRemoveControl, iDefaultTable);
}
