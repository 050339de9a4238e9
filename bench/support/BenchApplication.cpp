// What an application supplies, for the benchmarks.
#include "Basic/FendrakeStdLib/FendrakeAssert.h"
#include "Basic/FendrakeStdLib/FendrakePathConfiguration.h"
#include "Basic/FendrakeStdLib/FendrakeRuntimeConfiguration.h"

unsigned fendrake_debug_output_level = 1;

void fbreakpoint(void) {}

const char* fendrake_runtime_configurationS[FendrakeRuntimeConfigTypesS_NUMBER_OF] = {
    "TestProduct",
    "1.2.3-test",
    "http://download.invalid/",
    "http://beta.invalid/",
    "Test Manufacturer",
    "http://manufacturer.invalid/",
    "TestModel",
};

unsigned int fendrake_runtime_configurationU[FendrakeRuntimeConfigTypesU_NUMBER_OF] = {
    123,
    7,
    20261121,
};

int fendrake_runtime_configurationI[FendrakeRuntimeConfigTypesI_NUMBER_OF] = {-10, 10, -20, 20};

const char* fendrake_path_configuration[FendrakePathConfigTypes_NUMBER_OF] = {
    "/tmp/basic-test",
};
