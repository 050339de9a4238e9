// The smallest application: its tables, then start, banner, stop.
#include "Basic/Basic.h"

unsigned fendrake_debug_output_level = 0;
void fbreakpoint(void) {}
const char* fendrake_runtime_configurationS[FendrakeRuntimeConfigTypesS_NUMBER_OF] = {"Consumer"};
unsigned int fendrake_runtime_configurationU[FendrakeRuntimeConfigTypesU_NUMBER_OF];
int fendrake_runtime_configurationI[FendrakeRuntimeConfigTypesI_NUMBER_OF];
const char* fendrake_path_configuration[FendrakePathConfigTypes_NUMBER_OF];

int main(int argc, char** argv) {
    FendrakeOptArguments args(argc, argv);
    BasicInit(&args);
    BasicBanner("Consumer");
    BasicTerm();
    return 0;
}
