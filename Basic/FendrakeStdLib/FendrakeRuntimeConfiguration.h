// Product values in three fixed tables (strings, unsigned and signed numbers),
// indexed by enumerations whose enumerators are the configuration keys.
// Defaults come from the application; the key file may override them at
// start-up. Threads: no lock; values are set during start-up.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKERUNTIMECONFIGURATION_H
#define BASIC_FENDRAKESTDLIB_FENDRAKERUNTIMECONFIGURATION_H

enum FendrakeRuntimeConfigTypesS {
#define FENDRAKE_CONFIG_S(name) name,
#include "Basic/FendrakeStdLib/FendrakeRuntimeConfiguration.def"
#undef FENDRAKE_CONFIG_S
    FendrakeRuntimeConfigTypesS_NUMBER_OF
};

enum FendrakeRuntimeConfigTypesU {
#define FENDRAKE_CONFIG_U(name) name,
#include "Basic/FendrakeStdLib/FendrakeRuntimeConfiguration.def"
#undef FENDRAKE_CONFIG_U
    FendrakeRuntimeConfigTypesU_NUMBER_OF
};

enum FendrakeRuntimeConfigTypesI {
#define FENDRAKE_CONFIG_I(name) name,
#include "Basic/FendrakeStdLib/FendrakeRuntimeConfiguration.def"
#undef FENDRAKE_CONFIG_I
    FendrakeRuntimeConfigTypesI_NUMBER_OF
};

extern "C" {
// Supplied by the application, one entry per enumerator.
extern const char* fendrake_runtime_configurationS[FendrakeRuntimeConfigTypesS_NUMBER_OF];
extern unsigned int fendrake_runtime_configurationU[FendrakeRuntimeConfigTypesU_NUMBER_OF];
extern int fendrake_runtime_configurationI[FendrakeRuntimeConfigTypesI_NUMBER_OF];
// Strings set at run time, owned by the library; null means none.
extern char* fendrake_runtime_configurationS_dynamic[FendrakeRuntimeConfigTypesS_NUMBER_OF];
}

const char* __FendrakeRuntimeConfigTypesSToString(FendrakeRuntimeConfigTypesS iValue,
                                                  const char* iFallback);
bool __FendrakeRuntimeConfigTypesSFromString(const char* iText,
                                             FendrakeRuntimeConfigTypesS* oValue);
const char* __FendrakeRuntimeConfigTypesUToString(FendrakeRuntimeConfigTypesU iValue,
                                                  const char* iFallback);
bool __FendrakeRuntimeConfigTypesUFromString(const char* iText,
                                             FendrakeRuntimeConfigTypesU* oValue);
const char* __FendrakeRuntimeConfigTypesIToString(FendrakeRuntimeConfigTypesI iValue,
                                                  const char* iFallback);
bool __FendrakeRuntimeConfigTypesIFromString(const char* iText,
                                             FendrakeRuntimeConfigTypesI* oValue);

// Stores a value under a key spelt loosely ("date", "yconfig-date", ...).
// Returns false for an unknown key or a number that does not convert.
bool FendrakeRuntimeConfigSetValue(const char* iKey, const char* iValue);
// Frees the strings set at run time; the number tables keep their values.
void FendrakeRuntimeConfigSetValueCleanup();
// Valid until the next set of that key or the cleanup.
const char* FendrakeRuntimeConfigGetString(FendrakeRuntimeConfigTypesS iConfig);
unsigned FendrakeRuntimeConfigGetUint(FendrakeRuntimeConfigTypesU iConfig);
int FendrakeRuntimeConfigGetInt(FendrakeRuntimeConfigTypesI iConfig);

// "true"/"yes" give 1 and "false"/"no" 0 in any case; another word is an
// error; otherwise strtol in base 0, with oError set when errno is.
int nice_strtoll(const char* iText, bool& oError);

#endif
