// Byte-buffer codecs: base64, hexadecimal, characters hidden in overlong
// UTF-8 and back, and XML escaping.
// Every buffer function takes the source and its length, the destination and
// its capacity, and returns the bytes written or -1; none writes a terminator
// and none writes past the capacity. Malformed input is reported by the
// result, some of it with a check point. Threads: all are reentrant.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEENCODE_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEENCODE_H

#include <string>

extern "C" {

// Base64 of RFC 4648 with padding and without line breaks.
int base64encodeBufferSize(int iSourceLength);
// -1 if the output is too small.
int base64encode(const unsigned char* iSource, int iSourceLength, unsigned char* oDest,
                 int iDestCapacity);
// Bytes the text decodes to, or -1 if it is not base64. Whitespace (0x09 to
// 0x0F and blank) is skipped anywhere.
int base64decodeBufferSize(const unsigned char* iSource, int iSourceLength);
// -1 for invalid input or too small an output.
int base64decode(const unsigned char* iSource, int iSourceLength, unsigned char* oDest,
                 int iDestCapacity);

// Two upper-case digits a byte; -1 if the output is too small.
int hex_encode(const unsigned char* iSource, int iSourceLength, unsigned char* oDest,
               int iDestCapacity);
// Pairs of digits of either case, unchecked: another byte counts as 15. An odd
// last digit pairs with 0. -1 if the output cannot take half the input.
int hex_decode(const unsigned char* iSource, int iSourceLength, unsigned char* oDest,
               int iDestCapacity);

// Writes control characters (iEscapeControl), '&' and '<' (iEscapeXml) as
// two-byte overlong UTF-8 and the leads of three- and four-byte sequences
// (iEscapeWide) as five-byte overlong ones, so the text passes filters that
// look at plain bytes only. Stops when the output is full; returns the bytes
// written.
unsigned int utf8escapedchars(const unsigned char* iSource, unsigned int iSourceLength,
                              unsigned char* oDest, unsigned int iDestCapacity, bool iEscapeXml,
                              bool iEscapeControl, bool iEscapeWide);
unsigned int utf8escapedcharsBufferSize(const unsigned char* iSource, unsigned int iSourceLength,
                                        bool iEscapeXml, bool iEscapeControl, bool iEscapeWide);
// Rewrites every character in its shortest UTF-8 form, undoing the above;
// with iCombineSurrogates a surrogate pair becomes one character. Returns
// iDestCapacity (not the bytes written) unless the input is malformed, then -1
// with a check point.
int utf8shortestform(const unsigned char* iSource, unsigned int iSourceLength, unsigned char* oDest,
                     unsigned int iDestCapacity, bool iCombineSurrogates);

// Entities for the five XML characters; numeric ones for bytes below 32
// (iEscapeControl) and from 224 (iEscapeHigh). A character whose entity does
// not fit is dropped. Returns the bytes written.
unsigned int xmlescapechars(const unsigned char* iSource, unsigned int iSourceLength,
                            unsigned char* oDest, unsigned int iDestCapacity, bool iEscapeControl,
                            bool iEscapeHigh);
unsigned int xmlescapecharsBufferSize(const unsigned char* iSource, int iSourceLength,
                                      bool iEscapeControl, bool iEscapeHigh);
// Replaces the five named entities and decimal ones up to 255; with
// iStripTags drops everything from '<' to '>'. Returns the bytes written (up
// to a full output), or -1 for an unknown or cut entity.
int xmlunescapechars(const unsigned char* iSource, unsigned int iSourceLength, unsigned char* oDest,
                     unsigned int iDestCapacity, bool iStripTags);
}

// Escapes what cannot stand in XML as it is: quotes outside attribute values,
// stray '<' and '>', and '&' that does not begin a reference.
std::string FendrakeStringFixXmlEntities(std::string iText);
// Drops whitespace at the start, after '>' and before '<'; with iCollapse any
// other run becomes one blank.
std::string FendrakeStringSimplifyXml(std::string iText, bool iCollapse);

#endif
