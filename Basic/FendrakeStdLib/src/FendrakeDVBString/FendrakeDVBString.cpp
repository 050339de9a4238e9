#include "Basic/FendrakeStdLib/FendrakeDVBString.h"

#include "Basic/FendrakeStdLib/FendrakeDebug.h"
#include "Basic/FendrakeStdLib/FendrakeIconv.h"

#include <climits>
#include <cstddef>
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

size_t FilterOneByte(const unsigned char* iText, size_t iLength, bool iRemoveControl,
                     unsigned char* oText) {
    size_t out = 0;
    for (size_t i = 0; i < iLength; ++i) {
        const unsigned char byte = iText[i];
        if (byte == 0x8A)
            oText[out++] = '\n';
        else if (byte != 0 && !(byte >= 0x80 && byte <= 0x9F) && !(iRemoveControl && byte <= 31))
            oText[out++] = byte;
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
        const unsigned int value = high << 8 | low;
        if (value == 0 || (value >= 0xE080 && value <= 0xE09F) || (iRemoveControl && value <= 31))
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
    for (size_t i = 0; i < iLength; ++i) {
        const unsigned char byte = iText[i];
        if (byte == 0 || (iRemoveControl && byte <= 31))
            continue;
        if (byte == 0xC2 && i + 1 < iLength) {
            if (iText[i + 1] == 0x8A)
                oText[out++] = '\n';
            continue;
        }
        oText[out++] = byte;
    }
    return out;
}

// Filters, converts to UTF-8 and appends; returns the bytes appended.
int Convert(std::string& ioText, const unsigned char* iText, size_t iLength, bool iRemoveControl,
            const char* iTable, Filter iFilter) {
    Scratch<kStackText + 1> filtered(iLength + 1);
    if (!filtered.data())
        return 0;
    size_t length;
    if (iFilter == kFilterOneByte)
        length = FilterOneByte(iText, iLength, iRemoveControl, filtered.data());
    else if (iFilter == kFilterTwoByte)
        length = FilterTwoByte(iText, iLength, iRemoveControl, filtered.data());
    else
        length = FilterUtf8(iText, iLength, iRemoveControl, filtered.data());

    void* converter = fendrake_iconv_open("UTF-8", iTable);
    if (converter == reinterpret_cast<void*>(-1)) {
        FENDRAKE_LOG(2, "Error: could not find conversion table for %s -> UTF-8\n", iTable);
        converter = fendrake_iconv_open("UTF-8", "ISO-8859-1");
    }
    Scratch<6 * kStackText> converted(6 * length);
    unsigned int written = 0;
    if (converted.data() && length <= UINT_MAX / 6) {
        const char* in = reinterpret_cast<const char*>(filtered.data());
        unsigned int inLeft = static_cast<unsigned int>(length);
        char* out = reinterpret_cast<char*>(converted.data());
        unsigned int outLeft = static_cast<unsigned int>(6 * length);
        written = fendrake_iconv(converter, &in, &inLeft, &out, &outLeft);
        ioText.append(reinterpret_cast<const char*>(converted.data()), written);
    }
    fendrake_iconv_close(converter);
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
