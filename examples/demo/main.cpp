// A small application on top of Basic: start, banner, a few values, stop.
#include "Basic/Basic.h"

#include <cstdio>

int main(int argc, char** argv) {
    FendrakeOptArguments args(argc, argv);
    BasicInit(&args);
    BasicBanner("Demo");

    printf("Model            : %s\n", FendrakeRuntimeConfigGetString(_YCONFIG_MODEL_NAME));
    printf("Manufacturer     : %s\n", FendrakeRuntimeConfigGetString(_YCONFIG_MANUFACTURER));
    printf("Product id       : %u\n", FendrakeRuntimeConfigGetUint(_YCONFIG_PRODUCT_ID));
    printf("Output cutoff    : %d mdB\n",
           FendrakeRuntimeConfigGetInt(_YCONFIG_OUTPUT_CUTOFF_MIN_MDB));
    printf("Arguments left   : %d\n", args.argc);

    BasicTerm();
    return 0;
}
