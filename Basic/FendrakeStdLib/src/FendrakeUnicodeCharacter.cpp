#include "Basic/FendrakeStdLib/FendrakeUnicodeCharacter.h"

#include "Basic/FendrakeStdLib/FendrakeAssert.h"

#include "FendrakeUtf8Forms.h"

namespace {
const char* const kPath = "Basic/FendrakeStdLib/src/FendrakeUnicodeCharacter";

// The one or two 16-bit units of iCharacter as UTF-16 of iLength bytes;
// returns how many, or 0 for a length other than 2 or 4.
unsigned int Utf16Units(FendrakeUnicodeCharacter iCharacter, unsigned int iLength,
                        uint16_t oUnits[2]) {
    if (iLength != 2 && iLength != 4) {
        FENDRAKE_ASSERT_AT(FENDRAKE_FILE, __LINE__, false, "oStringLength==2 || oStringLength==4");
        return 0;
    }
    if (iLength == 2) {
        oUnits[0] = static_cast<uint16_t>(iCharacter);
        return 1;
    }
    const uint32_t value = iCharacter - 65536;
    oUnits[0] = static_cast<uint16_t>(0xD800 | (value >> 10));
    oUnits[1] = static_cast<uint16_t>(0xDC00 | (value & 1023));
    return 2;
}

unsigned int EncodeUtf16Bytes(FendrakeUnicodeCharacter iCharacter, unsigned char* oString,
                              unsigned int iLength, bool iBigEndian) {
    uint16_t units[2];
    const unsigned int count = Utf16Units(iCharacter, iLength, units);
    for (unsigned int i = 0; i < count; ++i) {
        oString[2 * i + !iBigEndian] = static_cast<unsigned char>(units[i] >> 8);
        oString[2 * i + iBigEndian] = static_cast<unsigned char>(units[i]);
    }
    return count ? iLength : 0;
}

int32_t DecodeUtf16(const unsigned char*& ioSource, const unsigned char* iEnd, bool iBigEndian) {
    const unsigned char* p = ioSource;
    auto unitAt = [iBigEndian](const unsigned char* iAt) -> uint32_t {
        return iBigEndian ? (iAt[0] << 8 | iAt[1]) : (iAt[1] << 8 | iAt[0]);
    };
    if (!p || p > iEnd || iEnd - p < 2)
        return -1;
    const uint32_t first = unitAt(p);
    if (first < 0xD800 || first > 0xDFFF) {
        ioSource = p + 2;
        return static_cast<int32_t>(first);
    }
    if (first >= 0xDC00 || iEnd - p < 4) {
        fendrake_attention(kPath, 124, "first<0xDC00 && iEnd-ioSource>=4");
        return -1;
    }
    const uint32_t second = unitAt(p + 2);
    if (second < 0xDC00 || second > 0xDFFF) {
        fendrake_attention(kPath, 132, "second>=0xDC00 && second<=0xDFFF");
        return -1;
    }
    ioSource = p + 4;
    return static_cast<int32_t>((((second & 1023) << 10) | (first & 1023)) + 65536);
}
} // namespace

unsigned int fendrake_encode_to_utf8_encode_to_length(FendrakeUnicodeCharacter iCharacter,
                                                      unsigned char* oString,
                                                      unsigned int oStringLength) {
    if (oStringLength < 1 || oStringLength > 6) {
        FENDRAKE_ASSERT_DETAIL_AT(FENDRAKE_FILE, __LINE__, false,
                                  "oStringLength>=1 && oStringLength<=6", " oStringLength=%u\n",
                                  oStringLength);
        return 0;
    }
    if (oStringLength == 1) {
        oString[0] = static_cast<unsigned char>(iCharacter & 0x7F);
        return 1;
    }
    const unsigned int tail = oStringLength - 1;
    const unsigned int leadMarks = (0xFF00u >> oStringLength) & 0xFF;
    const unsigned int leadBits = (iCharacter >> (6 * tail)) & (0x7Fu >> oStringLength);
    oString[0] = static_cast<unsigned char>(leadMarks | leadBits);
    for (unsigned int i = 1; i <= tail; ++i)
        oString[i] = static_cast<unsigned char>(0x80 | ((iCharacter >> (6 * (tail - i))) & 0x3F));
    return oStringLength;
}

unsigned int fendrake_encode_to_utf16lena_encode_to_length(FendrakeUnicodeCharacter iCharacter,
                                                           unsigned char* oString,
                                                           unsigned int oStringLength) {
    return EncodeUtf16Bytes(iCharacter, oString, oStringLength, false);
}

unsigned int fendrake_encode_to_utf16bena_encode_to_length(FendrakeUnicodeCharacter iCharacter,
                                                           unsigned char* oString,
                                                           unsigned int oStringLength) {
    return EncodeUtf16Bytes(iCharacter, oString, oStringLength, true);
}

unsigned int fendrake_encode_to_utf16cpu_encode_to_length(FendrakeUnicodeCharacter iCharacter,
                                                          unsigned short* oString,
                                                          unsigned int oStringLength) {
    uint16_t units[2];
    const unsigned int count = Utf16Units(iCharacter, oStringLength, units);
    for (unsigned int i = 0; i < count; ++i)
        oString[i] = units[i];
    return count ? oStringLength : 0;
}

int32_t fendrake_decode_from_utf8(const unsigned char*& ioSource, const unsigned char* iEnd) {
    const unsigned char* p = ioSource;
    if (!p || p >= iEnd)
        return -1;
    const unsigned int length = FendrakeUtf8SequenceLength(p[0]);
    if (length == 1) {
        ioSource = p + 1;
        return p[0];
    }
    if (length == 0) {
        fendrake_attention(kPath, 92, "0");
        return -1;
    }
    if (static_cast<unsigned long>(iEnd - p) < length) {
        fendrake_attention(kPath, 97, "ioSource+length<=iEnd");
        return -1;
    }
    uint32_t value;
    if (FendrakeUtf8Gather(p, length, value) != length) {
        fendrake_attention(kPath, 103, "(ioSource[i]&0xC0)==0x80");
        return -1;
    }
    ioSource = p + length;
    return static_cast<int32_t>(value);
}

int32_t fendrake_decode_from_utf16lena(const unsigned char*& ioSource, const unsigned char* iEnd) {
    return DecodeUtf16(ioSource, iEnd, false);
}

int32_t fendrake_decode_from_utf16lena(unsigned char*& ioSource, const unsigned char* iEnd) {
    const unsigned char* p = ioSource;
    const int32_t result = DecodeUtf16(p, iEnd, false);
    ioSource += p - ioSource;
    return result;
}

int32_t fendrake_decode_from_utf16bena(const unsigned char*& ioSource, const unsigned char* iEnd) {
    return DecodeUtf16(ioSource, iEnd, true);
}
