// The library's own formatting engine and the targets it writes into.
// PrintfOutput walks a format in the library's format language and writes
// into a window of memory [mCursor, mEnd). When the window is full it asks the
// target's LimitReached for more room (any result but 1) or a stop (1).
//
// The format language differs from C's printf on purpose:
// - flags '-', '#', '+', ' ', '0' come in any order and number, also after
//   the '.'; a '0' never starts a number, so "%.0f" leaves the precision unset
//   (precision 0 is only reachable through "%.*f");
// - each 'l' counts; two take a 64-bit value, any other count 32 bits; 'h' is
//   ignored and never truncates;
// - extensions: 'b' binary, 'S' text folded to upper case, byte 0xA4 text
//   folded to lower case (both as Latin-1), 'q' text with each ' doubled;
// - 'c' and '%' ignore the width, 'q' ignores width and precision, 'p' prints
//   "0x" and at least 8 digits; an unknown conversion prints nothing and takes
//   no argument;
// - floating point has its own algorithm: 'g' counts digits behind the point,
//   exponents have no '+' and at least two digits, '0' padding goes in front
//   of the sign, and exactly one digit behind the point is written without it.
// Threads: an output object belongs to one thread at a time.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEPRINTFOUTPUT_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEPRINTFOUTPUT_H

#include <cstdarg>

class FendrakeStringInterface;

class PrintfOutput {
public:
    struct ConvertionFlags {
        int mWidth = 0;
        int mPrecision = -1; // -1: none
        bool mLeftJustify = false;
        bool mAlternate = false;
        char mSign = 0; // 0, '+' or ' '
        char mPad = ' ';
    };

    constexpr PrintfOutput(char* iCursor, char* iEnd) : mCursor(iCursor), mEnd(iEnd) {}
    PrintfOutput(const PrintfOutput&) = delete;
    PrintfOutput& operator=(const PrintfOutput&) = delete;
    virtual ~PrintfOutput() = default;

    // 1 stops the output; anything else goes on in the window the target set.
    virtual int LimitReached() = 0;
    // Length of a text to print; targets bound it by what they can hold.
    virtual unsigned int Strlen(const char* iText) const;
    virtual unsigned int Count() const = 0;
    virtual void FormatingStart() {}
    virtual void FormatingCompleted() {}
    virtual void flush() {}

    // The engine. Returns 0, or 1 if LimitReached stopped it (then without
    // FormatingCompleted). A terminating zero counts as a written character.
    int AppendFormatedPrintfV(bool iZeroTerminate, const char* iFormat, va_list iArgs);
    int AppendFormatedPrintf(bool iZeroTerminate, const char* iFormat, ...);

    // Each of these is one formatting step between FormatingStart and
    // FormatingCompleted; each returns 0, or 1 if stopped.
    int put(char iChar);
    int write(const char* iData, unsigned int iLength);
    // iLength below 0: the text is measured with Strlen.
    int AppendFormatedString(const ConvertionFlags& iFlags, const char* iText, int iLength);
    int AppendFormatedIntegerIntern(const ConvertionFlags& iFlags, bool iUpperCase, int iBase,
                                    bool iSigned, unsigned long long iValue);
    // iFormat is one of e, E, f, F, g, G; anything else prints nothing.
    int AppendFormatedFloat(const ConvertionFlags& iFlags, bool iUpperCase, char iFormat,
                            double iValue);

protected:
    char* mCursor;
    char* mEnd;

private:
    enum Fold { eFoldNone, eFoldUpper, eFoldLower };
    int iAdvance();
    int iWrite(const char* iData, unsigned int iLength);
    int iFill(char iChar, unsigned int iCount);
    int iWriteFolded(const char* iData, unsigned int iLength, Fold iFold);
    int iAppendPadded(const ConvertionFlags& iFlags, const char* iText, unsigned int iLength,
                      Fold iFold);
    int iAppendText(const ConvertionFlags& iFlags, const char* iText, Fold iFold);
    int iAppendQuoted(const char* iText);
    int iAppendInteger(const ConvertionFlags& iFlags, bool iUpperCase, int iBase, bool iSigned,
                       unsigned long long iValue);
    int iAppendFloat(const ConvertionFlags& iFlags, char iFormat, double iValue);
};

// A fixed buffer: stops when full, leaving the buffer terminated in its last byte.
class SnprintfOutput : public PrintfOutput {
public:
    // iSize must be at least 1.
    SnprintfOutput(char* oBuffer, unsigned int iSize)
        : PrintfOutput(oBuffer, oBuffer + iSize), mStart(oBuffer) {}
    int LimitReached() override;
    unsigned int Strlen(const char* iText) const override;
    unsigned int Count() const override { return static_cast<unsigned int>(mCursor - mStart); }

private:
    char* mStart;
};

// Appends to a string in chunks of 64 bytes taken with its two-phase append.
// Stops only when the string gives no more room. Count covers only the current
// chunk, so 'n' on this target can report less than the text so far.
class FendrakeStringInterfaceAppendOutput : public PrintfOutput {
public:
    explicit FendrakeStringInterfaceAppendOutput(FendrakeStringInterface& ioString)
        : PrintfOutput(nullptr, nullptr), mString(&ioString) {}
    int LimitReached() override;
    unsigned int Count() const override { return static_cast<unsigned int>(mCursor - mChunkStart); }
    void FormatingStart() override;
    void FormatingCompleted() override;

private:
    void iRequestChunk();
    void iReleaseChunk();

    FendrakeStringInterface* mString;
    char* mChunkStart = nullptr;
    unsigned int mChunkSize = 0;
};

// The log's line buffer: collects text and hands each line to fendrake_debug_log
// with the current prefix. A line holds at most 1023 characters; a longer one
// leaves in pieces, and only the first piece has the prefix.
// Threads: one process-wide instance, used under print access.
class FendrakeOstreamPrintfOutput : public PrintfOutput {
public:
    constexpr FendrakeOstreamPrintfOutput() : PrintfOutput(mLine, mLine + 1023), mLine() {}
    int LimitReached() override;
    unsigned int Count() const override { return static_cast<unsigned int>(mCursor - mLine); }
    void FormatingCompleted() override;
    void flush() override;

private:
    char mLine[1024];
    unsigned int mLastCheckPoint = 0; // characters already searched for a line end
};

#endif
