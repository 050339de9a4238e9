#include "Basic/FendrakeStdLib/FendrakeStdio.h"

char* fendrake_formatnumber_science(char* oBuffer, unsigned int iSize, unsigned int* oExponent,
                                    unsigned int iValue) {
    if (iValue <= 999) {
        *oExponent = 0;
        fendrake_snprintf(oBuffer, iSize, "%d", iValue);
        return oBuffer;
    }
    unsigned int quotient = iValue;
    unsigned int remainder = 0;
    unsigned int previousRemainder = 0;
    unsigned int exponent = 0;
    while (quotient > 999) {
        previousRemainder = remainder;
        remainder = quotient % 1000;
        quotient /= 1000;
        ++exponent;
    }
    unsigned int fraction = remainder;
    if (previousRemainder > 499 && ++fraction == 1000) {
        fraction = 0;
        ++quotient; // may stand at 1000 now
    }
    *oExponent = exponent;
    fendrake_snprintf(oBuffer, iSize, "%d%s%03d", quotient, ".", fraction);
    return oBuffer;
}

char* fendrake_formatnumber_digitgroup(char* oBuffer, int iSize, int iValue) {
    if (iSize < 2)
        return oBuffer;
    char digits[15];
    const int length = fendrake_snprintf(digits, sizeof digits, "%d", iValue);
    int written = 0;
    for (int i = 0; i < length && written < iSize - 1; ++i) {
        oBuffer[written++] = digits[i];
        const int left = length - i - 1;
        if (left > 0 && left % 3 == 0 && written < iSize - 1)
            oBuffer[written++] = ',';
    }
    oBuffer[written] = 0;
    return oBuffer;
}
