// Check points on bad input are expected by the thousand: keep them quiet.
#ifndef BASIC_FUZZ_FUZZQUIET_H
#define BASIC_FUZZ_FUZZQUIET_H

#include "Basic/FendrakeStdLib/FendrakeDebug.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    fendrake_debug_output_level_set(0);
    return 0;
}

#endif
