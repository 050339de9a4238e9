#include "Basic/FendrakeStdLib/FendrakeUnicodeCharacter.h"

#include "Basic/FendrakeStdLib/FendrakeAssert.h"

namespace {
const char* const kPath = "Basic/FendrakeStdLib/src/FendrakeUnicodeCharacter";

// Bytes of a UTF-8 sequence by its lead, 0 for a byte that cannot lead.
unsigned int Utf8SequenceLength(unsigned char iLead) {
    if (iLead < 0x80)
        return 1;
    if (iLead < 0xC0)
        return 0;
    if (iLead < 0xE0)
        return 2;
    if (iLead < 0xF0)
        return 3;
    if (iLead < 0xF8)
        return 4;
    if (iLead < 0xFC)
        return 5;
    return iLead < 0xFE ? 6 : 0;
}

bool ValidUtf16Length(unsigned int iLength) {
    if (iLength == 2 || iLength == 4)
        return true;
    FENDRAKE_ASSERT_AT(FENDRAKE_FILE, __LINE__, false, "oStringLength==2 || oStringLength==4");
    return false;
}

// The one or two 16-bit units of iCharacter as UTF-16 of iLength bytes.
void Utf16Units(FendrakeUnicodeCharacter iCharacter, unsigned int iLength, uint16_t oUnits[2]) {
    if (iLength == 2) {
        oUnits[0] = static_cast<uint16_t>(iCharacter);
        return;
    }
    const uint32_t value = iCharacter - 65536;
    oUnits[0] = static_cast<uint16_t>(0xD800 | (value >> 10));
    oUnits[1] = static_cast<uint16_t>(0xDC00 | (value & 1023));
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
    if (!ValidUtf16Length(oStringLength))
        return 0;
    uint16_t units[2];
    Utf16Units(iCharacter, oStringLength, units);
    for (unsigned int i = 0; i < oStringLength / 2; ++i) {
        oString[2 * i] = static_cast<unsigned char>(units[i]);
        oString[2 * i + 1] = static_cast<unsigned char>(units[i] >> 8);
    }
    return oStringLength;
}

unsigned int fendrake_encode_to_utf16bena_encode_to_length(FendrakeUnicodeCharacter iCharacter,
                                                           unsigned char* oString,
                                                           unsigned int oStringLength) {
    if (!ValidUtf16Length(oStringLength))
        return 0;
    uint16_t units[2];
    Utf16Units(iCharacter, oStringLength, units);
    for (unsigned int i = 0; i < oStringLength / 2; ++i) {
        oString[2 * i] = static_cast<unsigned char>(units[i] >> 8);
        oString[2 * i + 1] = static_cast<unsigned char>(units[i]);
    }
    return oStringLength;
}

unsigned int fendrake_encode_to_utf16cpu_encode_to_length(FendrakeUnicodeCharacter iCharacter,
                                                          unsigned short* oString,
                                                          unsigned int oStringLength) {
    if (!ValidUtf16Length(oStringLength))
        return 0;
    uint16_t units[2];
    Utf16Units(iCharacter, oStringLength, units);
    for (unsigned int i = 0; i < oStringLength / 2; ++i)
        oString[i] = units[i];
    return oStringLength;
}

int32_t fendrake_decode_from_utf8(const unsigned char*& ioSource, const unsigned char* iEnd) {
    const unsigned char* p = ioSource;
    if (!p || p >= iEnd)
        return -1;
    const unsigned int length = Utf8SequenceLength(p[0]);
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
    uint32_t value = p[0] & (0x7Fu >> length);
    for (unsigned int i = 1; i < length; ++i) {
        if ((p[i] & 0xC0) != 0x80) {
            fendrake_attention(kPath, 103, "(ioSource[i]&0xC0)==0x80");
            return -1;
        }
        value = value << 6 | (p[i] & 0x3F);
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
