#include "Basic/FendrakeStdLib/FendrakeCString.h"

#include "Basic/FendrakeStdLib/FendrakeAssert.h"

#include <cctype>
#include <cerrno>
#include <cfloat>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>

namespace {
int Upper(const char* iChar) {
    return toupper(static_cast<unsigned char>(*iChar));
}

// The byte goes to the C library as a signed char, so 0xFF arrives as EOF.
// Other negative values are undefined there; glibc reads them as the same
// byte unsigned, so pass that instead.
int ChangeCaseAsSigned(unsigned char iChar, int (*iChange)(int)) {
    return iChange(static_cast<signed char>(iChar) == EOF ? EOF : iChar);
}
} // namespace

unsigned int fendrake_strnlen(const char* iText, int iMax) {
    unsigned int length = 0;
    while (static_cast<int>(length) < iMax && iText[length])
        ++length;
    return length;
}

int fendrake_strcasecmp(const char* iA, const char* iB) {
    for (;; ++iA, ++iB) {
        const int difference = Upper(iA) - Upper(iB);
        if (difference != 0 || *iA == 0)
            return difference;
    }
}

int fendrake_strncasecmp(const char* iA, const char* iB, unsigned int iCount) {
    for (; iCount > 0; --iCount, ++iA, ++iB) {
        const int difference = Upper(iA) - Upper(iB);
        if (difference != 0 || *iA == 0)
            return difference;
    }
    return 0;
}

int fendrake_strncmp(const char* iA, const char* iB, unsigned int iCount) {
    for (; iCount > 0; --iCount, ++iA, ++iB) {
        const int difference = static_cast<unsigned char>(*iA) - static_cast<unsigned char>(*iB);
        if (difference != 0 || *iA == 0)
            return difference;
    }
    return 0;
}

int fendrake_strhumancmp(const char* iA, const char* iB) {
    const int withoutCase = fendrake_strcasecmp(iA, iB);
    if (withoutCase != 0)
        return withoutCase;
    for (;; ++iA, ++iB) {
        const int difference = static_cast<unsigned char>(*iA) - static_cast<unsigned char>(*iB);
        if (difference != 0 || *iA == 0)
            return difference;
    }
}

char* fendrake_strncpy(char* oDest, const char* iSource, unsigned int iSize) {
    FENDRAKE_ASSERT_AT("Basic/FendrakeStdLib/src/FendrakeString/fendrake_strncpy", __LINE__,
                       iSize >= 1, "size>=1");
    if (iSize == 0)
        return oDest; // the hook returned: there is no byte to terminate
    unsigned int i = 0;
    for (; i + 1 < iSize && iSource[i]; ++i)
        oDest[i] = iSource[i];
    oDest[i] = 0;
    return oDest;
}

char* fendrake_strdup(const char* iText) {
    const size_t size = strlen(iText) + 1;
    char* copy = static_cast<char*>(malloc(size));
    memcpy(copy, iText, size);
    return copy;
}

int fendrake_isolatin_toupper(unsigned char iChar) {
    if (iChar >= 0xE0 && iChar <= 0xFE)
        return iChar - 0x20;
    return ChangeCaseAsSigned(iChar, toupper);
}

int fendrake_isolatin_tolower(unsigned char iChar) {
    if (iChar >= 0xC0 && iChar <= 0xDE)
        return iChar + 0x20;
    return ChangeCaseAsSigned(iChar, tolower);
}

void fendrake_isolatin_strntoupper(unsigned char* ioText, int iCount) {
    for (int i = 0; i < iCount && ioText[i]; ++i)
        ioText[i] = static_cast<unsigned char>(fendrake_isolatin_toupper(ioText[i]));
}

void fendrake_isolatin_strntolower(unsigned char* ioText, int iCount) {
    for (int i = 0; i < iCount && ioText[i]; ++i)
        ioText[i] = static_cast<unsigned char>(fendrake_isolatin_tolower(ioText[i]));
}

void fendrake_isolatin_strtoupper(unsigned char* ioText) {
    fendrake_isolatin_strntoupper(ioText,
                                  static_cast<int>(strlen(reinterpret_cast<char*>(ioText))));
}

void fendrake_isolatin_strtolower(unsigned char* ioText) {
    fendrake_isolatin_strntolower(ioText,
                                  static_cast<int>(strlen(reinterpret_cast<char*>(ioText))));
}

long double fendrake_strtold(const char* iText, char** oEnd) {
    const char* p = iText;
    while (isspace(static_cast<unsigned char>(*p)))
        ++p;
    bool negative = false;
    if (*p == '+' || *p == '-')
        negative = *p++ == '-';
    long double value = 0;
    int exponent = 0;
    bool anyDigit = false;
    for (; isdigit(static_cast<unsigned char>(*p)); ++p, anyDigit = true)
        value = value * 10 + (*p - '0');
    if (*p == '.') {
        for (++p; isdigit(static_cast<unsigned char>(*p)); ++p, anyDigit = true) {
            value = value * 10 + (*p - '0');
            --exponent;
        }
    }
    if (!anyDigit) {
        errno = ERANGE;
        return 0.0L;
    }
    if (negative)
        value = -value;
    if (*p == 'e' || *p == 'E') {
        ++p;
        bool negativeExponent = false;
        if (*p == '+' || *p == '-')
            negativeExponent = *p++ == '-';
        long written = 0;
        // Saturate: any exponent this long is out of range anyway.
        for (; isdigit(static_cast<unsigned char>(*p)); ++p)
            written = written < 100000000 ? written * 10 + (*p - '0') : written;
        exponent += static_cast<int>(negativeExponent ? -written : written);
    }
    if (exponent < -16381 || exponent > 16384) {
        errno = ERANGE;
        return HUGE_VALL;
    }
    long double power = 10;
    for (unsigned bits = static_cast<unsigned>(exponent < 0 ? -exponent : exponent); bits;
         bits >>= 1, power *= power) {
        if (bits & 1)
            value = exponent < 0 ? value / power : value * power;
    }
    if (value > LDBL_MAX)
        errno = ERANGE;
    if (oEnd)
        *oEnd = const_cast<char*>(p);
    return value;
}

FendrakeVector<std::string>& fendrake_split(const std::string& iText, char iSeparator,
                                            FendrakeVector<std::string>& oParts) {
    std::istringstream stream(iText);
    std::string part;
    while (std::getline(stream, part, iSeparator))
        oParts.push_back(part);
    return oParts;
}
