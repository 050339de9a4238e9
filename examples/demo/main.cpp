// A small application on top of Basic: start, banner, a few values, one
// worker thread, stop.
#include "Basic/Basic.h"

#include <cstdio>

namespace {
// Logs one line on a thread of its own and ends.
class Greeter : public FendrakeThread {
public:
    Greeter() : FendrakeThread("greeter", nullptr, 10, 0) {}

protected:
    int Body(void*) override {
        FENDRAKE_LOG(1, "Hello from thread %s\n", FendrakeThreadThisName());
        return 0;
    }
};
} // namespace

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

    Greeter greeter;
    greeter.Start();
    greeter.WaitForTermination();
    FENDRAKE_LOG(1, "Greeter finished\n");

    BasicTerm();
    return 0;
}
