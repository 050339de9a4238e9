#include "Basic/FendrakeStdLib/FendrakePrintfOutput.h"

#include "Basic/FendrakeStdLib/FendrakeCString.h"

#include <cctype>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace {
// Floating-point digits are computed in double, the widest type of the 32-bit
// target: its rounding (2.5 at precision 0 gives "3") is what every host prints.
typedef double DigitArithmetic;

const DigitArithmetic kLn10 = 2.302585092994046;

const char kLowerDigits[] = "0123456789abcdefghijklmnopqrstuvwxyz";
const char kUpperDigits[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";

// Float to integer as the target's processor converts: saturating, NaN gives 0.
int32_t TargetTruncate(DigitArithmetic iValue) {
    if (std::isnan(iValue))
        return 0;
    if (iValue >= 2147483647.0)
        return INT32_MAX;
    if (iValue <= -2147483648.0)
        return INT32_MIN;
    return static_cast<int32_t>(iValue);
}

// A negative width means left-justified; a negative precision means none.
PrintfOutput::ConvertionFlags Normalized(const PrintfOutput::ConvertionFlags& iFlags) {
    PrintfOutput::ConvertionFlags flags = iFlags;
    if (flags.mWidth < 0) {
        flags.mLeftJustify = true;
        flags.mWidth = flags.mWidth == INT_MIN ? INT_MAX : -flags.mWidth;
    }
    if (flags.mPrecision < 0)
        flags.mPrecision = -1;
    return flags;
}

template <unsigned kBase, typename Unsigned>
char* DigitsBackwards(char* oEnd, Unsigned iValue, const char* iDigits) {
    do {
        *--oEnd = iDigits[iValue % kBase];
        iValue /= kBase;
    } while (iValue);
    return oEnd;
}

// Constant divisors let the compiler replace the divisions; 32-bit values take
// the cheaper 32-bit arithmetic.
template <unsigned kBase> char* Digits(char* oEnd, unsigned long long iValue, const char* iDigits) {
    if (iValue <= UINT32_MAX)
        return DigitsBackwards<kBase>(oEnd, static_cast<uint32_t>(iValue), iDigits);
    return DigitsBackwards<kBase>(oEnd, iValue, iDigits);
}

char* AnyDigits(char* oEnd, int iBase, unsigned long long iValue, const char* iDigits) {
    switch (iBase) {
    case 10:
        return Digits<10>(oEnd, iValue, iDigits);
    case 16:
        return Digits<16>(oEnd, iValue, iDigits);
    case 8:
        return Digits<8>(oEnd, iValue, iDigits);
    case 2:
        return Digits<2>(oEnd, iValue, iDigits);
    default:
        do {
            *--oEnd = iDigits[iValue % static_cast<unsigned>(iBase)];
            iValue /= static_cast<unsigned>(iBase);
        } while (iValue);
        return oEnd;
    }
}

char FoldUpper(unsigned char iChar) {
    if (iChar >= 0xE0 && iChar <= 0xFE)
        return static_cast<char>(iChar - 0x20);
    return static_cast<char>(toupper(iChar));
}

char FoldLower(unsigned char iChar) {
    if (iChar >= 0xC0 && iChar <= 0xDE)
        return static_cast<char>(iChar + 0x20);
    return static_cast<char>(tolower(iChar));
}

bool IsFloatConversion(char iChar) {
    switch (iChar) {
    case 'e':
    case 'E':
    case 'f':
    case 'F':
    case 'g':
    case 'G':
        return true;
    default:
        return false;
    }
}

int ReadNumber(const char*& ioFormat, int iFirstDigit) {
    int number = iFirstDigit;
    while (*ioFormat >= '0' && *ioFormat <= '9') {
        const int digit = *ioFormat++ - '0';
        number = number > (INT_MAX - digit) / 10 ? INT_MAX : number * 10 + digit;
    }
    return number;
}
} // namespace

unsigned int PrintfOutput::Strlen(const char* iText) const {
    return static_cast<unsigned int>(strlen(iText));
}

// Called when the window is full. Every write leaves at least one byte of room
// behind it, so the terminating zero of the engine always fits.
int PrintfOutput::iAdvance() {
    if (LimitReached() == 1)
        return 1;
    return mCursor == mEnd ? 1 : 0; // a target that gives no room stops
}

int PrintfOutput::iWrite(const char* iData, unsigned int iLength) {
    while (iLength) {
        unsigned int room = static_cast<unsigned int>(mEnd - mCursor);
        if (room > iLength)
            room = iLength;
        memcpy(mCursor, iData, room);
        mCursor += room;
        iData += room;
        iLength -= room;
        if (mCursor == mEnd && iAdvance())
            return 1;
    }
    return 0;
}

int PrintfOutput::iFill(char iChar, unsigned int iCount) {
    while (iCount) {
        unsigned int room = static_cast<unsigned int>(mEnd - mCursor);
        if (room > iCount)
            room = iCount;
        memset(mCursor, iChar, room);
        mCursor += room;
        iCount -= room;
        if (mCursor == mEnd && iAdvance())
            return 1;
    }
    return 0;
}

int PrintfOutput::iWriteFolded(const char* iData, unsigned int iLength, Fold iFold) {
    if (iFold == eFoldNone)
        return iWrite(iData, iLength);
    const unsigned char* data = reinterpret_cast<const unsigned char*>(iData);
    // Room is measured first: a string target may start with an empty window.
    while (iLength) {
        unsigned int room = static_cast<unsigned int>(mEnd - mCursor);
        if (room > iLength)
            room = iLength;
        for (unsigned int i = 0; i < room; ++i)
            *mCursor++ = iFold == eFoldUpper ? FoldUpper(data[i]) : FoldLower(data[i]);
        data += room;
        iLength -= room;
        if (mCursor == mEnd && iAdvance())
            return 1;
    }
    return 0;
}

int PrintfOutput::iAppendPadded(const ConvertionFlags& iFlags, const char* iText,
                                unsigned int iLength, Fold iFold) {
    const unsigned int width = static_cast<unsigned int>(iFlags.mWidth);
    const unsigned int padding = width > iLength ? width - iLength : 0;
    if (!iFlags.mLeftJustify && iFill(iFlags.mPad, padding))
        return 1;
    if (iWriteFolded(iText, iLength, iFold))
        return 1;
    return iFlags.mLeftJustify ? iFill(iFlags.mPad, padding) : 0;
}

int PrintfOutput::iAppendText(const ConvertionFlags& iFlags, const char* iText, Fold iFold) {
    if (!iText)
        iText = "(null)";
    const unsigned int length =
        iFlags.mPrecision < 0 ? Strlen(iText) : fendrake_strnlen(iText, iFlags.mPrecision);
    return iAppendPadded(iFlags, iText, length, iFold);
}

int PrintfOutput::iAppendQuoted(const char* iText) {
    if (!iText)
        iText = "(null)";
    for (;;) {
        const char* quote = strchr(iText, '\'');
        if (!quote)
            return iWrite(iText, static_cast<unsigned int>(strlen(iText)));
        if (iWrite(iText, static_cast<unsigned int>(quote - iText + 1)) || iWrite("'", 1))
            return 1;
        iText = quote + 1;
    }
}

int PrintfOutput::iAppendInteger(const ConvertionFlags& iFlags, bool iUpperCase, int iBase,
                                 bool iSigned, unsigned long long iValue) {
    if (iBase < 2 || iBase > 36)
        iBase = 10; // there are no digits for other bases
    // Prefix and digits share one buffer so the common case is a single write.
    char buffer[72];
    char* const end = buffer + sizeof buffer;
    unsigned long long magnitude = iValue;
    char prefix[4];
    unsigned int prefixLength = 0;
    if (iSigned && static_cast<long long>(iValue) < 0) {
        prefix[prefixLength++] = '-';
        magnitude = 0ULL - iValue;
    } else if (iSigned && iFlags.mSign) {
        prefix[prefixLength++] = iFlags.mSign;
    }
    if (iFlags.mAlternate) {
        if (iBase == 16) {
            prefix[prefixLength++] = '0';
            prefix[prefixLength++] = iUpperCase ? 'X' : 'x';
        } else if (iBase == 8) {
            prefix[prefixLength++] = '0';
        } else if (iBase == 2) {
            prefix[prefixLength++] = '0';
            prefix[prefixLength++] = 'b';
        }
    }
    char* digits = AnyDigits(end, iBase, magnitude, iUpperCase ? kUpperDigits : kLowerDigits);
    const unsigned int digitCount = static_cast<unsigned int>(end - digits);

    const unsigned int width = static_cast<unsigned int>(iFlags.mWidth);
    unsigned int zeros = 0;
    if (iFlags.mPrecision >= 0) {
        const unsigned int precision = static_cast<unsigned int>(iFlags.mPrecision);
        zeros = precision > digitCount ? precision - digitCount : 0;
    } else if (iFlags.mPad == '0' && !iFlags.mLeftJustify) {
        const unsigned int used = prefixLength + digitCount;
        zeros = width > used ? width - used : 0;
    }
    const unsigned int used = prefixLength + zeros + digitCount;
    const unsigned int spaces = width > used ? width - used : 0;

    if (!iFlags.mLeftJustify && iFill(' ', spaces))
        return 1;
    if (zeros == 0) {
        digits -= prefixLength;
        memcpy(digits, prefix, prefixLength);
        if (iWrite(digits, static_cast<unsigned int>(end - digits)))
            return 1;
    } else if (iWrite(prefix, prefixLength) || iFill('0', zeros) || iWrite(digits, digitCount)) {
        return 1;
    }
    return iFlags.mLeftJustify ? iFill(' ', spaces) : 0;
}

int PrintfOutput::iAppendFloat(const ConvertionFlags& iFlags, char iFormat, double iValue) {
    const bool negative = iValue < 0;
    const char* const infinity = negative ? "-In" : "Inf";
    if (std::isnan(iValue))
        return iAppendPadded(iFlags, "NaN", 3, eFoldNone);
    if (std::isinf(iValue))
        return iAppendPadded(iFlags, infinity, 3, eFoldNone);

    const long long precision = iFlags.mPrecision < 0 ? 6 : iFlags.mPrecision;
    DigitArithmetic value = negative ? -iValue : iValue;
    const int32_t exponent = value == 0 ? 0 : TargetTruncate(std::floor(std::log10(value)));
    if (exponent == INT32_MAX)
        return iAppendPadded(iFlags, infinity, 3, eFoldNone);
    if (exponent == INT32_MIN)
        return iAppendPadded(iFlags, "Bad", 3, eFoldNone);

    const char lower = static_cast<char>(tolower(static_cast<unsigned char>(iFormat)));
    const bool strip = lower == 'g';
    const bool exponentForm = lower == 'e' || (strip && (precision <= exponent || exponent < -4));
    long long intDigits = 1;
    if (!exponentForm && exponent > 0)
        intDigits = exponent + 1;
    if (exponentForm ? exponent != 0 : exponent > 0)
        value *= std::exp(-static_cast<DigitArithmetic>(exponent) * kLn10);
    if (TargetTruncate(value) == INT32_MAX)
        return iAppendPadded(iFlags, infinity, 3, eFoldNone);

    const long long n = precision + intDigits;
    const size_t size = static_cast<size_t>(n) + (exponentForm ? 9 : 3);
    char stackBuffer[32];
    std::unique_ptr<char, void (*)(void*)> heapBuffer(nullptr, free);
    char* text = stackBuffer;
    if (size > sizeof stackBuffer) {
        heapBuffer.reset(static_cast<char*>(malloc(size)));
        if (!heapBuffer)
            return iAppendPadded(iFlags, "malloc-error", 12, eFoldNone);
        text = heapBuffer.get();
    }

    char* out = text;
    if (negative)
        *out++ = '-';
    const DigitArithmetic scale = std::exp(static_cast<DigitArithmetic>(n) * kLn10);
    DigitArithmetic rest = (value * scale + 5.0) / scale;
    const bool withPoint = n != intDigits + 1;
    for (long long i = 0; i < n; ++i) {
        if (i == intDigits && withPoint)
            *out++ = '.';
        const int32_t digit = TargetTruncate(rest);
        // Rounding up from 9.99.. gives the digit 10, written as the character after '9'.
        *out++ = static_cast<char>(static_cast<unsigned int>(digit) + '0');
        rest = (rest - digit) * 10.0;
    }
    if (strip && n > intDigits) {
        while (out > text && out[-1] == '0')
            --out;
        if (out > text && out[-1] == '.')
            --out;
    }
    if (exponentForm) {
        *out++ = iFormat == lower ? 'e' : 'E';
        if (exponent < 0)
            *out++ = '-';
        const unsigned int magnitude =
            exponent < 0 ? 0U - static_cast<unsigned int>(exponent) : exponent;
        if (magnitude >= 1000)
            *out++ = static_cast<char>('0' + magnitude / 1000 % 10);
        if (magnitude >= 100)
            *out++ = static_cast<char>('0' + magnitude / 100 % 10);
        *out++ = static_cast<char>('0' + magnitude / 10 % 10);
        *out++ = static_cast<char>('0' + magnitude % 10);
    }
    return iAppendPadded(iFlags, text, static_cast<unsigned int>(out - text), eFoldNone);
}

int PrintfOutput::AppendFormatedPrintfV(bool iZeroTerminate, const char* iFormat, va_list iArgs) {
    FormatingStart();
    const char* format = iFormat;
    for (;;) {
        const char* literal = format;
        while (*format && *format != '%')
            ++format;
        if (format != literal && iWrite(literal, static_cast<unsigned int>(format - literal)))
            return 1;
        if (!*format)
            break;
        ++format;

        ConvertionFlags flags;
        bool precisionFollows = false;
        int lengthCount = 0;
        int stopped = 0;
        for (bool scanning = true; scanning;) {
            const char conversion = *format;
            if (conversion == 0)
                break; // a '%' at the end prints nothing
            ++format;
            scanning = false;
            switch (conversion) {
            case '-':
                flags.mLeftJustify = scanning = true;
                break;
            case '#':
                flags.mAlternate = scanning = true;
                break;
            case '+':
            case ' ':
                flags.mSign = conversion;
                scanning = true;
                break;
            case '0':
                flags.mPad = '0';
                scanning = true;
                break;
            case '1':
            case '2':
            case '3':
            case '4':
            case '5':
            case '6':
            case '7':
            case '8':
            case '9':
                (precisionFollows ? flags.mPrecision : flags.mWidth) =
                    ReadNumber(format, conversion - '0');
                scanning = true;
                break;
            case '.':
                precisionFollows = scanning = true;
                break;
            case '*':
                (precisionFollows ? flags.mPrecision : flags.mWidth) = va_arg(iArgs, int);
                scanning = true;
                break;
            case 'l':
                ++lengthCount;
                scanning = true;
                break;
            case 'h':
                scanning = true;
                break;
            case 'd':
            case 'i': {
                const long long value =
                    lengthCount == 2 ? va_arg(iArgs, long long) : va_arg(iArgs, int);
                stopped = iAppendInteger(Normalized(flags), false, 10, true,
                                         static_cast<unsigned long long>(value));
                break;
            }
            case 'u':
            case 'x':
            case 'X':
            case 'o':
            case 'b': {
                const unsigned long long value = lengthCount == 2
                                                     ? va_arg(iArgs, unsigned long long)
                                                     : va_arg(iArgs, unsigned int);
                const int base = conversion == 'u'   ? 10
                                 : conversion == 'o' ? 8
                                 : conversion == 'b' ? 2
                                                     : 16;
                stopped = iAppendInteger(Normalized(flags), conversion == 'X', base, false, value);
                break;
            }
            case 'p': {
                flags.mAlternate = true;
                if (flags.mPrecision < 0)
                    flags.mPrecision = 8;
                const uintptr_t value = reinterpret_cast<uintptr_t>(va_arg(iArgs, void*));
                stopped = iAppendInteger(Normalized(flags), false, 16, false, value);
                break;
            }
            case 'c': {
                const char character = static_cast<char>(va_arg(iArgs, int));
                stopped = iWrite(&character, 1);
                break;
            }
            case '%':
                stopped = iWrite("%", 1);
                break;
            case 's':
                stopped = iAppendText(Normalized(flags), va_arg(iArgs, const char*), eFoldNone);
                break;
            case 'S':
                stopped = iAppendText(Normalized(flags), va_arg(iArgs, const char*), eFoldUpper);
                break;
            case 'q':
                stopped = iAppendQuoted(va_arg(iArgs, const char*));
                break;
            case 'n': {
                int* count = va_arg(iArgs, int*);
                if (count)
                    *count = static_cast<int>(Count());
                break;
            }
            case 'e':
            case 'E':
            case 'f':
            case 'F':
            case 'g':
            case 'G':
                stopped = iAppendFloat(Normalized(flags), conversion, va_arg(iArgs, double));
                break;
            default:
                if (static_cast<unsigned char>(conversion) == 0xA4)
                    stopped =
                        iAppendText(Normalized(flags), va_arg(iArgs, const char*), eFoldLower);
                break; // any other character ends the conversion silently
            }
        }
        if (stopped)
            return 1;
    }
    if (iZeroTerminate) {
        if (mCursor == mEnd && iAdvance())
            return 1;
        *mCursor++ = 0;
    }
    FormatingCompleted();
    return 0;
}

int PrintfOutput::AppendFormatedPrintf(bool iZeroTerminate, const char* iFormat, ...) {
    va_list args;
    va_start(args, iFormat);
    const int result = AppendFormatedPrintfV(iZeroTerminate, iFormat, args);
    va_end(args);
    return result;
}

int PrintfOutput::put(char iChar) {
    return write(&iChar, 1);
}

int PrintfOutput::write(const char* iData, unsigned int iLength) {
    FormatingStart();
    if (iWrite(iData, iLength))
        return 1;
    FormatingCompleted();
    return 0;
}

int PrintfOutput::AppendFormatedString(const ConvertionFlags& iFlags, const char* iText,
                                       int iLength) {
    FormatingStart();
    const ConvertionFlags flags = Normalized(iFlags);
    int stopped;
    if (iLength < 0 || !iText)
        stopped = iAppendText(flags, iText, eFoldNone);
    else
        stopped = iAppendPadded(flags, iText, static_cast<unsigned int>(iLength), eFoldNone);
    if (stopped)
        return 1;
    FormatingCompleted();
    return 0;
}

int PrintfOutput::AppendFormatedIntegerIntern(const ConvertionFlags& iFlags, bool iUpperCase,
                                              int iBase, bool iSigned, unsigned long long iValue) {
    FormatingStart();
    if (iAppendInteger(Normalized(iFlags), iUpperCase, iBase, iSigned, iValue))
        return 1;
    FormatingCompleted();
    return 0;
}

int PrintfOutput::AppendFormatedFloat(const ConvertionFlags& iFlags, bool iUpperCase, char iFormat,
                                      double iValue) {
    if (iUpperCase)
        iFormat = static_cast<char>(toupper(static_cast<unsigned char>(iFormat)));
    FormatingStart();
    if (IsFloatConversion(iFormat) && iAppendFloat(Normalized(iFlags), iFormat, iValue))
        return 1;
    FormatingCompleted();
    return 0;
}
