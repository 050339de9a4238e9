#include "Basic/FendrakeStdLib/FendrakeOstream.h"

#include <cstring>

#include "Basic/FendrakeStdLib/FendrakeCString.h"

#include <cstdint>

namespace {
const char kHexDigits[] = "0123456789abcdef";
const char kHexDigitsUpper[] = "0123456789ABCDEF";

bool IsPlain(unsigned char iChar) {
    return (iChar >= 0x20 && iChar <= 0x3F) || (iChar >= 'A' && iChar <= ']') || iChar == '_' ||
           (iChar >= 'a' && iChar <= '{') || iChar == '}';
}

bool IsDigit(unsigned char iChar) {
    return iChar >= '0' && iChar <= '9';
}
} // namespace

void FendrakeOstream::iWritten() {
    if (mFlags & eFlushEachWrite)
        mOutput->flush();
}

void FendrakeOstream::appendString(const char* iText, int iLength) {
    mOutput->AppendFormatedString(mConvertionFlags, iText, iLength);
    iWritten();
}

void FendrakeOstream::appendInteger(long long iValue) {
    mOutput->AppendFormatedIntegerIntern(mConvertionFlags, (mFlags & eUpperCase) != 0, mBase, true,
                                         static_cast<unsigned long long>(iValue));
    iWritten();
}

void FendrakeOstream::appendInteger(unsigned long long iValue) {
    mOutput->AppendFormatedIntegerIntern(mConvertionFlags, (mFlags & eUpperCase) != 0, mBase, false,
                                         iValue);
    iWritten();
}

void FendrakeOstream::appendFloat(double iValue) {
    mOutput->AppendFormatedFloat(mConvertionFlags, (mFlags & eUpperCase) != 0, mFloatFormat,
                                 iValue);
    iWritten();
}

void FendrakeOstream::write(const char* iData, unsigned int iLength) {
    mOutput->write(iData, iLength);
    iWritten();
}

FendrakeOstream& FendrakeOstream::operator<<(const void* iPointer) {
    PrintfOutput::ConvertionFlags flags = mConvertionFlags;
    flags.mAlternate = true;
    if (flags.mPrecision < 0)
        flags.mPrecision = 8;
    mOutput->AppendFormatedIntegerIntern(flags, false, 16, false,
                                         reinterpret_cast<uintptr_t>(iPointer));
    iWritten();
    return *this;
}

FendrakeOstream& FendrakeOstream::hex(FendrakeOstream& ioStream) {
    ioStream.mBase = 16;
    return ioStream;
}

FendrakeOstream& FendrakeOstream::dec(FendrakeOstream& ioStream) {
    ioStream.mBase = 10;
    return ioStream;
}

FendrakeOstream& FendrakeOstream::oct(FendrakeOstream& ioStream) {
    ioStream.mBase = 8;
    return ioStream;
}

FendrakeOstream& FendrakeOstream::uppercase(FendrakeOstream& ioStream) {
    ioStream.mFlags |= eUpperCase;
    return ioStream;
}

FendrakeOstream& FendrakeOstream::nouppercase(FendrakeOstream& ioStream) {
    ioStream.mFlags &= ~static_cast<unsigned int>(eUpperCase);
    return ioStream;
}

FendrakeOstream& FendrakeOstream::endl(FendrakeOstream& ioStream) {
    ioStream.write("\n", 1);
    return ioStream;
}

FendrakeOstream& operator<<(FendrakeOstream& ioStream, FendrakeSetWidth iWidth) {
    ioStream.mConvertionFlags.mWidth = iWidth.mWidth;
    return ioStream;
}

FendrakeOstream& operator<<(FendrakeOstream& ioStream, FendrakeSetFill iFill) {
    ioStream.mConvertionFlags.mPad = iFill.mPad;
    return ioStream;
}

FendrakeOstream& operator<<(FendrakeOstream& ioStream, FendrakeSetPrecision iPrecision) {
    ioStream.mConvertionFlags.mPrecision = iPrecision.mPrecision;
    return ioStream;
}

FendrakeOstream& operator<<(FendrakeOstream& ioStream, FendrakeSetFloatFormat iFormat) {
    ioStream.mFloatFormat = iFormat.mFormat;
    return ioStream;
}

int OstreamAppendOutput::LimitReached() {
    mStream->mOutput->write(mBuffer, sizeof mBuffer);
    if (++mChunks > 1023)
        return 1; // one formatting call never writes more than 65536 bytes
    mCursor = mBuffer;
    return 0;
}

unsigned int OstreamAppendOutput::Strlen(const char* iText) const {
    return fendrake_strnlen(iText, static_cast<int>(65536 - Count()));
}

void OstreamAppendOutput::FormatingCompleted() {
    mStream->mOutput->write(mBuffer, static_cast<unsigned int>(mCursor - mBuffer));
    mCursor = mBuffer;
}

void FendrakeStringInterfaceAppendOutput::iRequestChunk() {
    unsigned int size = 64;
    mChunkStart = mString->appendRequest(size);
    mChunkSize = size;
    mCursor = mChunkStart;
    mEnd = mChunkStart + size;
}

void FendrakeStringInterfaceAppendOutput::iReleaseChunk() {
    mString->appendRelease(mChunkSize, static_cast<unsigned int>(mCursor - mChunkStart));
}

void FendrakeStringInterfaceAppendOutput::FormatingStart() {
    iRequestChunk();
}

int FendrakeStringInterfaceAppendOutput::LimitReached() {
    iReleaseChunk();
    iRequestChunk();
    if (mChunkSize != 0)
        return 0;
    // A string that cannot grow stops the output; its last request is still released.
    iReleaseChunk();
    return 1;
}

void FendrakeStringInterfaceAppendOutput::FormatingCompleted() {
    iReleaseChunk();
}

FendrakeStringStream::FendrakeStringStream() : mWrap(mString) {
    mOutput = new FendrakeStringInterfaceAppendOutput(mWrap);
}

FendrakeStringStream::~FendrakeStringStream() {
    delete mOutput;
}

bool FendrakeOstreamFormatAppendV(FendrakeOstream& ioStream, const char* iFormat, va_list iArgs) {
    OstreamAppendOutput output(ioStream);
    const bool completed = output.AppendFormatedPrintfV(false, iFormat, iArgs) != 1;
    if (ioStream.mFlags & FendrakeOstream::eFlushEachWrite)
        ioStream.mOutput->flush();
    return completed;
}

bool FendrakeOstreamFormatAppend(FendrakeOstream& ioStream, const char* iFormat, ...) {
    va_list args;
    va_start(args, iFormat);
    const bool completed = FendrakeOstreamFormatAppendV(ioStream, iFormat, args);
    va_end(args);
    return completed;
}

void FendrakeHexDump(FendrakeOstream& ioStream, const unsigned char* iData, unsigned int iLength) {
    for (unsigned int i = 0; i < iLength; ++i) {
        const char first[4] = {'0', 'x', kHexDigits[iData[i] >> 4], kHexDigits[iData[i] & 15]};
        const char other[3] = {'_', kHexDigits[iData[i] >> 4], kHexDigits[iData[i] & 15]};
        if (i == 0)
            ioStream.write(first, sizeof first);
        else
            ioStream.write(other, sizeof other);
    }
}

void DumpStringCharNice(FendrakeOstream& ioStream, unsigned char iChar, unsigned char iNext,
                        bool iBreakOnNewline, char iQuote) {
    char text[5];
    unsigned int length = 0;
    if (iChar == '\\') {
        text[length++] = '\\';
        text[length++] = '\\';
    } else if (iChar == static_cast<unsigned char>(iQuote)) {
        text[length++] = '\\';
        text[length++] = iQuote;
    } else if (IsPlain(iChar)) {
        text[length++] = static_cast<char>(iChar);
    } else if (iChar == '\n' && iBreakOnNewline) {
        // Close the literal and open the next on a line of its own.
        ioStream.write("\\n\"\n\"", 5);
        return;
    } else if (iChar == '\n') {
        text[length++] = '\\';
        text[length++] = 'n';
    } else if (iChar == '\r') {
        text[length++] = '\\';
        text[length++] = 'r';
    } else if (iChar == 0 && !IsDigit(iNext)) {
        text[length++] = '\\';
        text[length++] = '0';
    } else {
        text[length++] = '\\';
        text[length++] = 'x';
        text[length++] = kHexDigitsUpper[iChar >> 4];
        text[length++] = kHexDigitsUpper[iChar & 15];
    }
    ioStream.write(text, length);
}

void DumpStringOfCharsRunLength(FendrakeOstream& ioStream, const unsigned char* iData,
                                unsigned int iLength, bool iBreakOnNewline) {
    bool quoted = false;
    auto setQuoted = [&](bool iQuoted) {
        if (quoted != iQuoted)
            ioStream.write("\"", 1);
        quoted = iQuoted;
    };
    for (unsigned int i = 0; i < iLength;) {
        const unsigned char c = iData[i];
        const bool hasNext = i + 1 < iLength;
        if (hasNext && iData[i + 1] == c) {
            unsigned int run = 2;
            while (i + run < iLength && iData[i + run] == c)
                ++run;
            if (run < 11) {
                setQuoted(true);
                for (unsigned int k = 0; k < run; ++k)
                    DumpStringCharNice(ioStream, c, 0, false, '"');
            } else {
                setQuoted(false);
                ioStream.write("<'", 2);
                DumpStringCharNice(ioStream, c, 0, false, '\'');
                ioStream.write("' repeated ", 11);
                ioStream.appendInteger(static_cast<long long>(run));
                ioStream.write(">", 1);
            }
            i += run;
        } else {
            setQuoted(true);
            DumpStringCharNice(ioStream, c, hasNext ? iData[i + 1] : 0, iBreakOnNewline && hasNext,
                               '"');
            ++i;
        }
    }
    setQuoted(false);
}

FendrakeOstream& operator<<(FendrakeOstream& ioStream, const FendrakeMemstrDumper& iDump) {
    ioStream.write("(", 1);
    ioStream.appendInteger(static_cast<long long>(iDump.mLength));
    ioStream.write(")=\"", 3);
    for (int i = 0; i < iDump.mLength; ++i) {
        const bool hasNext = i + 1 < iDump.mLength;
        DumpStringCharNice(ioStream, iDump.mData[i], hasNext ? iDump.mData[i + 1] : 0, hasNext,
                           '"');
    }
    ioStream.write("\"", 1);
    return ioStream;
}

namespace {
// "<open><length><middle>" then each byte in upper-case hex behind iPrefix,
// iSeparator between bytes, then iClose.
void DumpHexBytes(FendrakeOstream& ioStream, const unsigned char* iData, int iLength,
                  const char* iOpen, const char* iMiddle, const char* iSeparator,
                  const char* iPrefix, const char* iClose) {
    ioStream.write(iOpen, static_cast<unsigned>(strlen(iOpen)));
    ioStream.appendInteger(static_cast<long long>(iLength));
    ioStream.write(iMiddle, static_cast<unsigned>(strlen(iMiddle)));
    for (int i = 0; i < iLength; ++i) {
        if (i != 0)
            ioStream.write(iSeparator, static_cast<unsigned>(strlen(iSeparator)));
        const char digits[2] = {kHexDigitsUpper[iData[i] >> 4], kHexDigitsUpper[iData[i] & 15]};
        ioStream.write(iPrefix, static_cast<unsigned>(strlen(iPrefix)));
        ioStream.write(digits, 2);
    }
    ioStream.write(iClose, static_cast<unsigned>(strlen(iClose)));
}
} // namespace

FendrakeOstream& operator<<(FendrakeOstream& ioStream, const FendrakeMemhexDumper& iDump) {
    DumpHexBytes(ioStream, iDump.mData, iDump.mLength, "(", ")=<", " ", "", ">");
    return ioStream;
}

FendrakeOstream& operator<<(FendrakeOstream& ioStream, const FendrakeMemhexCstyleDumper& iDump) {
    DumpHexBytes(ioStream, iDump.mData, iDump.mLength, "[", "]={", ",", "0x", "};");
    return ioStream;
}
