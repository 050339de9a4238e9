// A small application on top of Basic: start, banner, a few values, one
// worker thread, stop. Everything but the banner goes through the library's log.
#include "Basic/Basic.h"

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

    Greeter greeter;
    greeter.Start();
    greeter.WaitForTermination();
    FENDRAKE_LOG(1, "Greeter finished\n");

    BasicTerm();
    return 0;
}
