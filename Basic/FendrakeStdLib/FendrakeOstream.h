// A small output stream over the formatting engine, with operator<< for the
// library's types, and the dumpers that show bytes as text.
// pCoutFendrakeOstream ends in the log: its text leaves line by line, each
// line when its newline is written.
// Threads: a stream belongs to one thread at a time; pCoutFendrakeOstream is
// shared and used under print access (getprintaccess/releaseprintaccess).
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEOSTREAM_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEOSTREAM_H

#include "Basic/FendrakeStdLib/FendrakeDebug.h"
#include "Basic/FendrakeStdLib/FendrakePrintfOutput.h"
#include "Basic/FendrakeStdLib/FendrakeString.h"

#include <cstdarg>
#include <string>

// Items go to mOutput with mConvertionFlags, which stay set until changed.
// Abstract in use: subclasses (or the log) give it its output.
class FendrakeOstream {
public:
    enum : unsigned int {
        eDecimal = 3,         // set by the assertion printers together with mBase 10
        eUpperCase = 8,       // digits above 9 in upper case
        eFlushEachWrite = 16, // flush mOutput after each item
    };

    constexpr explicit FendrakeOstream(PrintfOutput* iOutput = nullptr) : mOutput(iOutput) {}
    FendrakeOstream(const FendrakeOstream&) = delete;
    FendrakeOstream& operator=(const FendrakeOstream&) = delete;
    virtual ~FendrakeOstream() = default;

    // iLength below 0: up to the terminating zero. Null shows as "(null)".
    void appendString(const char* iText, int iLength);
    void appendInteger(long long iValue);
    void appendInteger(unsigned long long iValue);
    void appendFloat(double iValue);
    // Raw bytes, without the conversion flags.
    void write(const char* iData, unsigned int iLength);

    FendrakeOstream& operator<<(const char* iText) {
        appendString(iText, -1);
        return *this;
    }
    FendrakeOstream& operator<<(const std::string& iText) {
        appendString(iText.data(), static_cast<int>(iText.length()));
        return *this;
    }
    FendrakeOstream& operator<<(const FendrakeConstStringInterface& iText) {
        iText.ostreamdump(*this);
        return *this;
    }
    FendrakeOstream& operator<<(char iChar) {
        appendString(&iChar, 1);
        return *this;
    }
    FendrakeOstream& operator<<(int iValue) { return *this << static_cast<long long>(iValue); }
    FendrakeOstream& operator<<(long iValue) { return *this << static_cast<long long>(iValue); }
    FendrakeOstream& operator<<(long long iValue) {
        appendInteger(iValue);
        return *this;
    }
    FendrakeOstream& operator<<(unsigned int iValue) {
        return *this << static_cast<unsigned long long>(iValue);
    }
    FendrakeOstream& operator<<(unsigned long iValue) {
        return *this << static_cast<unsigned long long>(iValue);
    }
    FendrakeOstream& operator<<(unsigned long long iValue) {
        appendInteger(iValue);
        return *this;
    }
    FendrakeOstream& operator<<(double iValue) {
        appendFloat(iValue);
        return *this;
    }
    // As "%p": "0x" and at least 8 hexadecimal digits.
    FendrakeOstream& operator<<(const void* iPointer);
    FendrakeOstream& operator<<(FendrakeOstream& (*iManipulator)(FendrakeOstream&)) {
        return iManipulator(*this);
    }

    // Manipulators: stream << FendrakeOstream::hex << value << FendrakeOstream::dec.
    static FendrakeOstream& hex(FendrakeOstream& ioStream);
    static FendrakeOstream& dec(FendrakeOstream& ioStream);
    static FendrakeOstream& oct(FendrakeOstream& ioStream);
    static FendrakeOstream& uppercase(FendrakeOstream& ioStream);
    static FendrakeOstream& nouppercase(FendrakeOstream& ioStream);
    static FendrakeOstream& endl(FendrakeOstream& ioStream);

    PrintfOutput* mOutput;
    PrintfOutput::ConvertionFlags mConvertionFlags;
    unsigned int mFlags = 0;
    int mBase = 10;
    char mFloatFormat = 'g';

private:
    void iWritten();
};

// Manipulators with a value: stream << FendrakeSetWidth(8) << FendrakeSetFill('0').
struct FendrakeSetWidth {
    explicit FendrakeSetWidth(int iWidth) : mWidth(iWidth) {}
    int mWidth;
};
struct FendrakeSetFill {
    explicit FendrakeSetFill(char iPad) : mPad(iPad) {}
    char mPad;
};
struct FendrakeSetPrecision {
    explicit FendrakeSetPrecision(int iPrecision) : mPrecision(iPrecision) {}
    int mPrecision;
};
// One of e, f, g (E, F, G for upper case) for the doubles that follow.
struct FendrakeSetFloatFormat {
    explicit FendrakeSetFloatFormat(char iFormat) : mFormat(iFormat) {}
    char mFormat;
};
FendrakeOstream& operator<<(FendrakeOstream& ioStream, FendrakeSetWidth iWidth);
FendrakeOstream& operator<<(FendrakeOstream& ioStream, FendrakeSetFill iFill);
FendrakeOstream& operator<<(FendrakeOstream& ioStream, FendrakeSetPrecision iPrecision);
FendrakeOstream& operator<<(FendrakeOstream& ioStream, FendrakeSetFloatFormat iFormat);

// Formats into a stream through 64-byte chunks; one call stops after 65536 bytes.
class OstreamAppendOutput : public PrintfOutput {
public:
    explicit OstreamAppendOutput(FendrakeOstream& ioStream)
        : PrintfOutput(mBuffer, mBuffer + sizeof mBuffer), mStream(&ioStream) {}
    int LimitReached() override;
    unsigned int Strlen(const char* iText) const override;
    unsigned int Count() const override {
        return static_cast<unsigned int>(mCursor - mBuffer) + 64 * mChunks;
    }
    void FormatingCompleted() override;

private:
    char mBuffer[64];
    unsigned int mChunks = 0;
    FendrakeOstream* mStream;
};

// A stream whose text collects in a std::string.
class FendrakeStringStream : public FendrakeOstream {
public:
    FendrakeStringStream();
    ~FendrakeStringStream() override;
    const std::string& str() const { return mString; }
    void clear() { mString.clear(); }

private:
    std::string mString;
    FendrakeStringWrapInterface mWrap;
};

// The stream that ends in the log (see FendrakeDebug.h).
extern FendrakeOstream* pCoutFendrakeOstream;

// Both return true unless the output was stopped.
bool FendrakeOstreamFormatAppendV(FendrakeOstream& ioStream, const char* iFormat, va_list iArgs);
bool FendrakeOstreamFormatAppend(FendrakeOstream& ioStream, const char* iFormat, ...);

// "0x01_ab_ff" for three bytes; nothing for none.
void FendrakeHexDump(FendrakeOstream& ioStream, const unsigned char* iData, unsigned int iLength);
// One byte as it would stand in a C string literal quoted by iQuote; iNext is
// the byte behind it (a zero before a digit is written as \x00). With
// iBreakOnNewline a line feed also closes and reopens the literal on a new line.
void DumpStringCharNice(FendrakeOstream& ioStream, unsigned char iChar, unsigned char iNext,
                        bool iBreakOnNewline, char iQuote);
// Quoted text with runs of 11 or more equal bytes written as <'c' repeated n>.
void DumpStringOfCharsRunLength(FendrakeOstream& ioStream, const unsigned char* iData,
                                unsigned int iLength, bool iBreakOnNewline);

// Passed by value to operator<<: (5)="ab\ncd" / (3)=<01 AB FF> / [3]={0x01,0xAB,0xFF};
struct FendrakeMemstrDumper {
    FendrakeMemstrDumper(const void* iData, int iLength)
        : mData(static_cast<const unsigned char*>(iData)), mLength(iLength) {}
    const unsigned char* mData;
    int mLength;
};
struct FendrakeMemhexDumper {
    FendrakeMemhexDumper(const void* iData, int iLength)
        : mData(static_cast<const unsigned char*>(iData)), mLength(iLength) {}
    const unsigned char* mData;
    int mLength;
};
struct FendrakeMemhexCstyleDumper {
    FendrakeMemhexCstyleDumper(const void* iData, int iLength)
        : mData(static_cast<const unsigned char*>(iData)), mLength(iLength) {}
    const unsigned char* mData;
    int mLength;
};
FendrakeOstream& operator<<(FendrakeOstream& ioStream, const FendrakeMemstrDumper& iDump);
FendrakeOstream& operator<<(FendrakeOstream& ioStream, const FendrakeMemhexDumper& iDump);
FendrakeOstream& operator<<(FendrakeOstream& ioStream, const FendrakeMemhexCstyleDumper& iDump);

// Stream form of one log statement: takes print access and writes the context
// line when the level passes; the items follow only then; print access is
// released at the end of the statement. End the text with "\n":
//   FENDRAKE_LOG_STREAM(2) << "opened " << path << " fd=" << fd << "\n";
class FendrakeLogStatement {
public:
    FendrakeLogStatement(const char* iFile, int iLine, int iLevel, int iColour);
    ~FendrakeLogStatement();
    FendrakeLogStatement(const FendrakeLogStatement&) = delete;
    FendrakeLogStatement& operator=(const FendrakeLogStatement&) = delete;
    bool printing() const { return mPrinting; }
    template <typename T> FendrakeLogStatement& operator<<(const T& iItem) {
        if (mPrinting)
            *pCoutFendrakeOstream << iItem;
        return *this;
    }

private:
    int mAccess;
    bool mPrinting;
};

#define FENDRAKE_LOG_STREAM(iLevel) FendrakeLogStatement(FENDRAKE_FILE, __LINE__, iLevel, 0)
#define FENDRAKE_LOG_STREAM_AT(iFile, iLine, iLevel) FendrakeLogStatement(iFile, iLine, iLevel, 0)

#endif
