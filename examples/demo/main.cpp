// A small application on top of Basic: start, banner, a few values, stop.
// Everything but the banner goes through the library's log.
#include "Basic/Basic.h"

int main(int argc, char** argv) {
    FendrakeOptArguments args(argc, argv);
    BasicInit(&args);
    BasicBanner("Demo");

    FENDRAKE_LOG(1, "Demo started, %d arguments left\n", args.argc);
    FENDRAKE_LOG_BARE(0, "Model            : %s\n",
                      FendrakeRuntimeConfigGetString(_YCONFIG_MODEL_NAME));
    FENDRAKE_LOG_BARE(0, "Manufacturer     : %s\n",
                      FendrakeRuntimeConfigGetString(_YCONFIG_MANUFACTURER));
    FENDRAKE_LOG_BARE(0, "Product id       : %u\n",
                      FendrakeRuntimeConfigGetUint(_YCONFIG_PRODUCT_ID));
    FENDRAKE_LOG_BARE(0, "Output cutoff    : %d mdB\n",
                      FendrakeRuntimeConfigGetInt(_YCONFIG_OUTPUT_CUTOFF_MIN_MDB));
    FENDRAKE_LOG_STREAM(1) << "Configuration date " << FendrakeRuntimeConfigGetUint(_YCONFIG_DATE)
                           << "\n";

    BasicTerm();
    return 0;
}
