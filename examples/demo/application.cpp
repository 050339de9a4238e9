// The demo's part of the contract with the library: output level, debugger
// hook and the default tables of configuration values and paths.
#include "Basic/Basic.h"

unsigned fendrake_debug_output_level = 1;

void fbreakpoint(void) {}

const char* fendrake_runtime_configurationS[FendrakeRuntimeConfigTypesS_NUMBER_OF] = {
    "Demo Receiver",           // _YCONFIG_PRODUCT_STRING
    "1.0.0",                   // _YCONFIG_SOFTWARE_REVISION_NICE
    "http://download.example", // _YCONFIG_DOWNLOAD_URL
    "http://beta.example",     // _YCONFIG_DOWNLOAD_URL_BETA
    "Fendrake Ltd",            // _YCONFIG_MANUFACTURER
    "http://fendrake.example", // _YCONFIG_MANUFACTURER_URL
    "DEMO-1",                  // _YCONFIG_MODEL_NAME
};

unsigned int fendrake_runtime_configurationU[FendrakeRuntimeConfigTypesU_NUMBER_OF] = {
    100,      // _YCONFIG_SOFTWARE_REVISION
    1,        // _YCONFIG_PRODUCT_ID
    20261121, // _YCONFIG_DATE
    0x00D0E0, // _YCONFIG_IEEE_OUI
};

int fendrake_runtime_configurationI[FendrakeRuntimeConfigTypesI_NUMBER_OF] = {-6000, 0, -6000, 0};

const char* fendrake_path_configuration[FendrakePathConfigTypes_NUMBER_OF] = {
    "/tmp/demo",               // FPATH_BASE
    "${FPATH_BASE}/resources", // FPATH_RESOURCES
};
