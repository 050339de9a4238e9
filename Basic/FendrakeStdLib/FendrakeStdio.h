// Formatting into buffers and strings in the library's own format language
// (see FendrakePrintfOutput.h), and two number layouts for people.
// Threads: every function works on what it is given and may run anywhere.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKESTDIO_H
#define BASIC_FENDRAKESTDLIB_FENDRAKESTDIO_H

#include <cstdarg>
#include <string>

extern "C" {
// Returns the characters written without the terminator, or -1 when iSize is 0
// (nothing touched) or the text did not fit (the buffer is then full and
// terminated in its last byte). The length the text would have had is never
// reported. A null oBuffer is an assertion.
int fendrake_vsnprintf(char* oBuffer, unsigned int iSize, const char* iFormat, va_list iArgs);
int fendrake_snprintf(char* oBuffer, unsigned int iSize, const char* iFormat, ...);

// iValue in steps of 1000: up to 999 as it is with *oExponent 0, else the
// quotient and three rounded digits, "1.235" for 1234567 with *oExponent 2.
// Returns oBuffer.
char* fendrake_formatnumber_science(char* oBuffer, unsigned int iSize, unsigned int* oExponent,
                                    unsigned int iValue);
// Decimal with a ',' between groups of three; the sign counts as a character,
// so -123 gives "-,123". Cut to iSize - 1 characters; nothing is written when
// iSize is below 2. Returns oBuffer.
char* fendrake_formatnumber_digitgroup(char* oBuffer, int iSize, int iValue);
}

// Append to, or replace, the content of a std::string.
void FendrakeStringFormatAppend(std::string& ioString, const char* iFormat, ...);
void FendrakeStringFormatAssign(std::string& oString, const char* iFormat, ...);

#endif
