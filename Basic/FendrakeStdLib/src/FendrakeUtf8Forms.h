// The UTF-8 forms as the single-character codecs, the escaping functions and
// the converter all read them: up to six bytes, overlong forms allowed.
#ifndef BASIC_FENDRAKESTDLIB_SRC_FENDRAKEUTF8FORMS_H
#define BASIC_FENDRAKESTDLIB_SRC_FENDRAKEUTF8FORMS_H

#include <cstdint>

// Bytes of a sequence by its lead: 1 for ASCII, 2 to 6, 0 for a byte that
// cannot lead (0x80 to 0xBF, 0xFE, 0xFF).
inline unsigned int FendrakeUtf8SequenceLength(unsigned char iLead) {
    if (iLead < 0x80)
        return 1;
    if (iLead < 0xC0 || iLead >= 0xFE)
        return 0;
    return iLead < 0xE0 ? 2 : iLead < 0xF0 ? 3 : iLead < 0xF8 ? 4 : iLead < 0xFC ? 5 : 6;
}

// The shortest length of a value, 1 to 6; a value with the top bit set gives 6.
inline unsigned int FendrakeUtf8ShortestLength(uint32_t iValue) {
    static const uint32_t kLimits[] = {128, 2048, 65536, 2097152, 0x4000000};
    unsigned int length = 1;
    while (length <= 5 && iValue >= kLimits[length - 1])
        ++length;
    return length;
}

// Gathers the value of a sequence of iLength bytes from its lead on; returns
// how many bytes were good (iLength if all), oValue holding what was gathered
// up to there.
inline unsigned int FendrakeUtf8Gather(const unsigned char* iIn, unsigned int iLength,
                                       uint32_t& oValue) {
    oValue = iIn[0] & (0x7Fu >> iLength);
    for (unsigned int i = 1; i < iLength; ++i) {
        if ((iIn[i] & 0xC0) != 0x80)
            return i;
        oValue = oValue << 6 | (iIn[i] & 0x3F);
    }
    return iLength;
}

// Writes a code point up to U+FFFF in its shortest form; returns the end.
inline unsigned char* FendrakeUtf8PutBmp(uint32_t iCodePoint, unsigned char* oOut) {
    if (iCodePoint < 0x80) {
        *oOut++ = static_cast<unsigned char>(iCodePoint);
    } else if (iCodePoint < 0x800) {
        *oOut++ = static_cast<unsigned char>(0xC0 | iCodePoint >> 6);
        *oOut++ = static_cast<unsigned char>(0x80 | (iCodePoint & 0x3F));
    } else {
        *oOut++ = static_cast<unsigned char>(0xE0 | iCodePoint >> 12);
        *oOut++ = static_cast<unsigned char>(0x80 | ((iCodePoint >> 6) & 0x3F));
        *oOut++ = static_cast<unsigned char>(0x80 | (iCodePoint & 0x3F));
    }
    return oOut;
}

#endif
