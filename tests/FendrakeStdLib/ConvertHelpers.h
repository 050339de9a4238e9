// What the encoding tests compare: glibc's iconv as the reference, our
// converter, and text that reaches every branch of both.
#ifndef BASIC_TESTS_FENDRAKESTDLIB_CONVERTHELPERS_H
#define BASIC_TESTS_FENDRAKESTDLIB_CONVERTHELPERS_H

#include "Basic/FendrakeStdLib/FendrakeIconv.h"

#include <gtest/gtest.h>

#include <iconv.h>

#include <random>
#include <string>

// glibc's conversion of a whole text, with "<stop>" behind what it converted
// before it refused.
inline std::string Glibc(const char* iFrom, const std::string& iIn, const char* iTo = "UTF-8") {
    iconv_t converter = iconv_open(iTo, iFrom);
    EXPECT_NE(reinterpret_cast<iconv_t>(-1), converter) << iFrom;
    std::string out(iIn.size() * 6 + 16, '\0');
    char* in = const_cast<char*>(iIn.data());
    size_t inLeft = iIn.size();
    char* outAt = &out[0];
    size_t outLeft = out.size();
    iconv(converter, &in, &inLeft, &outAt, &outLeft);
    iconv_close(converter);
    out.resize(out.size() - outLeft);
    return inLeft ? out + "<stop>" : out;
}

// Our conversion to UTF-8 in rounds of iRoom bytes of output (0: room for all
// at once), with iStopMark behind it where the decoder stopped. Rooms below
// eight bytes leave every character to the character loop.
inline std::string Ours(const char* iFrom, const std::string& iIn, unsigned int iRoom = 0,
                        const char* iStopMark = "<stop>") {
    void* converter = fendrake_iconv_open("UTF-8", iFrom);
    EXPECT_NE(reinterpret_cast<void*>(-1), converter) << iFrom;
    std::string out;
    std::string room(iRoom ? iRoom : iIn.size() * 6 + 8, '\0');
    const char* in = iIn.data();
    unsigned int inLeft = static_cast<unsigned int>(iIn.size());
    unsigned int written;
    do {
        char* at = &room[0];
        unsigned int left = static_cast<unsigned int>(room.size());
        written = fendrake_iconv(converter, &in, &inLeft, &at, &left);
        EXPECT_EQ(room.size() - left, written);
        out.append(room, 0, written);
    } while (written && fendrake_iconv_get_stop_reson(converter) == 1);
    EXPECT_EQ(0, fendrake_iconv_close(converter));
    return inLeft ? out + iStopMark : out;
}

// Mostly ASCII, control codes, the C1 range, ISO 6937 marks and high letters.
inline std::string MixedBytes(std::mt19937& ioRandom, size_t iLength) {
    static const unsigned char kPicks[] = {'a',  'e',  'Z',  ' ',  0x00, 0x04, 0x09, 0x1F,
                                           0x86, 0x8A, 0x9F, 0xA4, 0xC1, 0xC2, 0xC8, 0xCB,
                                           0xCF, 0xD8, 0xDC, 0xE0, 0xE9, 0xFF};
    std::string text(iLength, 0);
    for (char& c : text)
        c = static_cast<char>(ioRandom() % 3 ? kPicks[ioRandom() % sizeof kPicks] : ioRandom());
    return text;
}

#endif
