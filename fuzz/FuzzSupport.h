// What every fuzz target shares: quiet check points, and the input form of
// the codec targets.
#ifndef BASIC_FUZZ_FUZZSUPPORT_H
#define BASIC_FUZZ_FUZZSUPPORT_H

#include "Basic/FendrakeStdLib/FendrakeDebug.h"

#include <cstddef>
#include <cstdint>
#include <vector>

// Check points on bad input are expected by the thousand.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fendrake_debug_output_level_set(0);
    return 0;
}

// The first byte gives the output capacity (its low seven bits) and a flag
// (its top bit); the rest is the text. Text and output are exact copies in
// their own blocks, so that a read or write one byte too far is caught.
struct FuzzCodecInput {
    FuzzCodecInput(const uint8_t* iData, size_t iSize)
        : mCapacity(iData[0] & 0x7F), mFlag(iData[0] & 0x80), mText(iData + 1, iData + iSize),
          mOut(mCapacity) {}
    unsigned int TextLength() const { return static_cast<unsigned int>(mText.size()); }

    const unsigned int mCapacity;
    const bool mFlag;
    std::vector<unsigned char> mText;
    std::vector<unsigned char> mOut;
};

#endif
