// One Unicode character at a time: UTF-8 and UTF-16 forms of a code point.
// The encoders write exactly the length asked for, even where a shorter form
// exists, so a caller can build overlong forms on purpose. The decoders move
// the source pointer past what they read, and leave it alone on failure.
// Threads: all functions are reentrant.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEUNICODECHARACTER_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEUNICODECHARACTER_H

#include <cstdint>

// A code point, passed by value.
typedef uint32_t FendrakeUnicodeCharacter;

// Writes the UTF-8 form of exactly oStringLength bytes (1 to 6); bits that do
// not fit that form are cut. Returns the bytes written, 0 for another length
// (an assertion).
unsigned int fendrake_encode_to_utf8_encode_to_length(FendrakeUnicodeCharacter iCharacter,
                                                      unsigned char* oString,
                                                      unsigned int oStringLength);
// UTF-16 of oStringLength bytes: 2 writes the code unit, 4 a surrogate pair.
// Returns the bytes written, 0 for another length (an assertion).
unsigned int fendrake_encode_to_utf16lena_encode_to_length(FendrakeUnicodeCharacter iCharacter,
                                                           unsigned char* oString,
                                                           unsigned int oStringLength);
unsigned int fendrake_encode_to_utf16bena_encode_to_length(FendrakeUnicodeCharacter iCharacter,
                                                           unsigned char* oString,
                                                           unsigned int oStringLength);
// As above in native 16-bit words; oStringLength still counts bytes.
unsigned int fendrake_encode_to_utf16cpu_encode_to_length(FendrakeUnicodeCharacter iCharacter,
                                                          unsigned short* oString,
                                                          unsigned int oStringLength);

// The code point at ioSource, or -1 at iEnd or on a malformed sequence (a
// check point). Overlong forms and surrogates are accepted.
int32_t fendrake_decode_from_utf8(const unsigned char*& ioSource, const unsigned char* iEnd);
// The code point at ioSource, or -1 if no whole unit is left or a surrogate is
// unpaired (a check point). A pair decodes with its halves the other way round
// from the encoders, so characters beyond the basic plane do not round-trip.
int32_t fendrake_decode_from_utf16lena(unsigned char*& ioSource, const unsigned char* iEnd);
int32_t fendrake_decode_from_utf16lena(const unsigned char*& ioSource, const unsigned char* iEnd);
int32_t fendrake_decode_from_utf16bena(const unsigned char*& ioSource, const unsigned char* iEnd);

#endif
