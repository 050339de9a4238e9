// The library's own small text and number functions: the same result on
// every platform, no locale. Where a name matches a C library function, the
// comment says how the result differs. Null arguments are the caller's fault.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKECSTRING_H
#define BASIC_FENDRAKESTDLIB_FENDRAKECSTRING_H

#include "Basic/FendrakeStdLib/FendrakeVector.h"

#include <string>

extern "C" {
// Length counted up to iMax; 0 when iMax is 0.
unsigned int fendrake_strnlen(const char* iText, int iMax);
// Differences of the first bytes that differ after toupper; 0 if equal.
int fendrake_strcasecmp(const char* iA, const char* iB);
int fendrake_strncasecmp(const char* iA, const char* iB, unsigned int iCount);
int fendrake_strncmp(const char* iA, const char* iB, unsigned int iCount);
// Order for lists people read: without case first, then with case
// (upper-case first) for texts that are equal without it.
int fendrake_strhumancmp(const char* iA, const char* iB);
// Copies at most iSize - 1 bytes and always terminates; never pads.
// iSize 0 is an assertion.
char* fendrake_strncpy(char* oDest, const char* iSource, unsigned int iSize);
// A copy from malloc.
char* fendrake_strdup(const char* iText);
// ISO 8859-1 case: 0xE0..0xFE and 0xC0..0xDE move by 0x20 (0xF7 and 0xD7
// included); other values go to toupper/tolower as a signed char.
int fendrake_isolatin_toupper(unsigned char iChar);
int fendrake_isolatin_tolower(unsigned char iChar);
// In place, at most iCount bytes, stopping at a zero byte.
void fendrake_isolatin_strntoupper(unsigned char* ioText, int iCount);
void fendrake_isolatin_strntolower(unsigned char* ioText, int iCount);
void fendrake_isolatin_strtoupper(unsigned char* ioText);
void fendrake_isolatin_strtolower(unsigned char* ioText);
// Decimal number without locale. On no digit: ERANGE and 0. On a decimal
// exponent outside -16381..16384: ERANGE and +infinity, whatever the sign.
// In both cases oEnd is not written. Only a positive overflow sets ERANGE.
long double fendrake_strtold(const char* iText, char** oEnd);
}

// Appends the pieces of iText as std::getline with iSeparator gives them.
FendrakeVector<std::string>& fendrake_split(const std::string& iText, char iSeparator,
                                            FendrakeVector<std::string>& oParts);

#endif
