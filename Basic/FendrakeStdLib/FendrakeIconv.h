// A small converter with the shape of iconv(3), so that the box needs no C
// library locale or gconv module: decoders for the broadcast character
// tables, encoders for ASCII and UTF-8 only.
// Ownership: fendrake_iconv_open returns a handle that fendrake_iconv_close
// deletes. Threads: a handle belongs to one caller at a time; the tables are
// constant, so different handles may be used in parallel.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEICONV_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEICONV_H

#include <cstdint>

extern "C" {

struct FendrakeIconvHandle;

// Reads one character; returns the bytes consumed, 0 to stop.
typedef uint32_t (*FendrakeIconvDecode)(FendrakeIconvHandle* iHandle, uint32_t* oCodePoint,
                                        const uint8_t* iIn, uint32_t iInLeft);
// Writes one character; returns the bytes written, 0 if it was not written
// (stopReason tells whether for want of room).
typedef uint32_t (*FendrakeIconvEncode)(FendrakeIconvHandle* iHandle, uint32_t iCodePoint,
                                        uint8_t* oOut, uint32_t iOutLeft);

enum { FENDRAKE_ICONV_STOP_NONE = 0, FENDRAKE_ICONV_STOP_OUTPUT_FULL = 1 };

struct FendrakeIconvHandle {
    FendrakeIconvDecode decode;
    FendrakeIconvEncode encode;
    // The byte order in force for "UTF-16"; a byte order mark can change it.
    FendrakeIconvDecode utf16Decode;
    uint32_t stopReason;
};

struct FendrakeIconvTableEntry {
    const char* name;
    FendrakeIconvDecode decoder;
    FendrakeIconvEncode encoder;
};

// Closed by an entry with a null name. Only "ASCII" and "UTF-8" encode.
extern const FendrakeIconvTableEntry fendrake_iconv_table[];

// A handle, or (void*)-1 if a name is unknown or cannot convert that way.
void* fendrake_iconv_open(const char* tocode, const char* fromcode);
// Converts from *inbuf to *outbuf, moving both and lowering both counts.
// Returns the bytes written by this call. It ends when the input is used up,
// when the decoder stops at something it cannot read, or when the output is
// full (fendrake_iconv_get_stop_reson then gives 1 and what is left can be
// converted by another call).
unsigned int fendrake_iconv(void* cd, const char** inbuf, unsigned int* inbytesleft, char** outbuf,
                            unsigned int* outbytesleft);
// Deletes a handle; -1 is ignored. Returns 0.
int fendrake_iconv_close(void* cd);
// Why the last call ended: 0, or 1 when the output was full.
unsigned int fendrake_iconv_get_stop_reson(void* cd);
}

#endif
