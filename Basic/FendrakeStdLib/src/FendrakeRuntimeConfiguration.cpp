#include "Basic/FendrakeStdLib/FendrakeRuntimeConfiguration.h"

#include "Basic/FendrakeStdLib/FendrakeAssert.h"
#include "Basic/FendrakeStdLib/FendrakeCString.h"
#include "Basic/FendrakeStdLib/FendrakeEnumName.h"

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>

namespace {
const char* const kPath = "Basic/FendrakeStdLib/src/FendrakeRuntimeConfiguration";

// The closing value has a name too, so that both directions cover the whole enum.
const FendrakeEnumName<FendrakeRuntimeConfigTypesS> sNamesS[] = {
#define FENDRAKE_CONFIG_S(name) {name, #name},
#include "Basic/FendrakeStdLib/FendrakeRuntimeConfiguration.def"
#undef FENDRAKE_CONFIG_S
    {FendrakeRuntimeConfigTypesS_NUMBER_OF, "FendrakeRuntimeConfigTypesS_NUMBER_OF"},
};
const FendrakeEnumName<FendrakeRuntimeConfigTypesU> sNamesU[] = {
#define FENDRAKE_CONFIG_U(name) {name, #name},
#include "Basic/FendrakeStdLib/FendrakeRuntimeConfiguration.def"
#undef FENDRAKE_CONFIG_U
    {FendrakeRuntimeConfigTypesU_NUMBER_OF, "FendrakeRuntimeConfigTypesU_NUMBER_OF"},
};
const FendrakeEnumName<FendrakeRuntimeConfigTypesI> sNamesI[] = {
#define FENDRAKE_CONFIG_I(name) {name, #name},
#include "Basic/FendrakeStdLib/FendrakeRuntimeConfiguration.def"
#undef FENDRAKE_CONFIG_I
    {FendrakeRuntimeConfigTypesI_NUMBER_OF, "FendrakeRuntimeConfigTypesI_NUMBER_OF"},
};

// Prefix, then the key upper-cased with every other character as '_';
// what does not fit in 255 characters is dropped.
void NormaliseKey(const char* iPrefix, const char* iKey, char (&oName)[256]) {
    unsigned used = 0;
    for (const char* p = iPrefix; *p && used < 255; ++p)
        oName[used++] = *p;
    for (const char* p = iKey; *p && used < 255; ++p) {
        const unsigned char c = static_cast<unsigned char>(*p);
        oName[used++] = isalnum(c) ? static_cast<char>(toupper(c)) : '_';
    }
    oName[used] = 0;
}

enum SetResult { kUnknownKey, kStored, kRefused };

template <typename T> SetResult StoreNumber(T& oSlot, const char* iValue) {
    bool error = false;
    const int value = nice_strtoll(iValue, error);
    if (error)
        return kRefused;
    oSlot = static_cast<T>(value);
    return kStored;
}

SetResult SetNormalisedValue(const char* iName, const char* iValue) {
    FendrakeRuntimeConfigTypesS s;
    if (__FendrakeRuntimeConfigTypesSFromString(iName, &s) &&
        s != FendrakeRuntimeConfigTypesS_NUMBER_OF) {
        // Copy before freeing: the value may be the string that is replaced.
        char* const previous = fendrake_runtime_configurationS_dynamic[s];
        fendrake_runtime_configurationS_dynamic[s] = fendrake_strdup(iValue);
        free(previous);
        return kStored;
    }
    FendrakeRuntimeConfigTypesU u;
    if (__FendrakeRuntimeConfigTypesUFromString(iName, &u) &&
        u != FendrakeRuntimeConfigTypesU_NUMBER_OF)
        return StoreNumber(fendrake_runtime_configurationU[u], iValue);
    FendrakeRuntimeConfigTypesI i;
    if (__FendrakeRuntimeConfigTypesIFromString(iName, &i) &&
        i != FendrakeRuntimeConfigTypesI_NUMBER_OF)
        return StoreNumber(fendrake_runtime_configurationI[i], iValue);
    return kUnknownKey;
}
} // namespace

char* fendrake_runtime_configurationS_dynamic[FendrakeRuntimeConfigTypesS_NUMBER_OF];

// The two lookups of each enumeration, over its one name table.
#define FENDRAKE_CONFIG_NAME_FUNCTIONS(Type, Table)                                                \
    const char* __##Type##ToString(Type iValue, const char* iFallback) {                           \
        return FendrakeEnumToString(Table, iValue, iFallback);                                     \
    }                                                                                              \
    bool __##Type##FromString(const char* iText, Type* oValue) {                                   \
        return FendrakeEnumFromString(Table, iText, oValue);                                       \
    }
FENDRAKE_CONFIG_NAME_FUNCTIONS(FendrakeRuntimeConfigTypesS, sNamesS)
FENDRAKE_CONFIG_NAME_FUNCTIONS(FendrakeRuntimeConfigTypesU, sNamesU)
FENDRAKE_CONFIG_NAME_FUNCTIONS(FendrakeRuntimeConfigTypesI, sNamesI)
#undef FENDRAKE_CONFIG_NAME_FUNCTIONS

int nice_strtoll(const char* iText, bool& oError) {
    if (isalpha(static_cast<unsigned char>(iText[0]))) {
        oError = false;
        if (fendrake_strcasecmp(iText, "true") == 0 || fendrake_strcasecmp(iText, "yes") == 0)
            return 1;
        if (fendrake_strcasecmp(iText, "false") == 0 || fendrake_strcasecmp(iText, "no") == 0)
            return 0;
        oError = true;
        return 0;
    }
    errno = 0;
    const long value = strtol(iText, nullptr, 0);
    oError = errno != 0;
    return static_cast<int>(value);
}

bool FendrakeRuntimeConfigSetValue(const char* iKey, const char* iValue) {
    static const char* const kPrefixes[] = {"_", "_YCONFIG_"};
    for (const char* prefix : kPrefixes) {
        char name[256];
        NormaliseKey(prefix, iKey, name);
        const SetResult result = SetNormalisedValue(name, iValue);
        if (result != kUnknownKey)
            return result == kStored;
    }
    return false;
}

void FendrakeRuntimeConfigSetValueCleanup() {
    for (char*& value : fendrake_runtime_configurationS_dynamic) {
        free(value);
        value = nullptr;
    }
}

const char* FendrakeRuntimeConfigGetString(FendrakeRuntimeConfigTypesS iConfig) {
    FENDRAKE_ASSERT_AT(kPath, 114, unsigned(iConfig) < FendrakeRuntimeConfigTypesS_NUMBER_OF,
                       "iConfig<FendrakeRuntimeConfigTypesS_NUMBER_OF && iConfig>=0");
    if (unsigned(iConfig) >= FendrakeRuntimeConfigTypesS_NUMBER_OF)
        return nullptr; // the hook returned: never read outside the table
    const char* dynamic = fendrake_runtime_configurationS_dynamic[iConfig];
    return dynamic ? dynamic : fendrake_runtime_configurationS[iConfig];
}

unsigned FendrakeRuntimeConfigGetUint(FendrakeRuntimeConfigTypesU iConfig) {
    FENDRAKE_ASSERT_AT(kPath, 121, unsigned(iConfig) < FendrakeRuntimeConfigTypesU_NUMBER_OF,
                       "iConfig<FendrakeRuntimeConfigTypesU_NUMBER_OF && iConfig>=0");
    if (unsigned(iConfig) >= FendrakeRuntimeConfigTypesU_NUMBER_OF)
        return 0; // the hook returned: never read outside the table
    return fendrake_runtime_configurationU[iConfig];
}

int FendrakeRuntimeConfigGetInt(FendrakeRuntimeConfigTypesI iConfig) {
    FENDRAKE_ASSERT_AT(kPath, 125, unsigned(iConfig) < FendrakeRuntimeConfigTypesI_NUMBER_OF,
                       "iConfig<FendrakeRuntimeConfigTypesI_NUMBER_OF && iConfig>=0");
    if (unsigned(iConfig) >= FendrakeRuntimeConfigTypesI_NUMBER_OF)
        return 0; // the hook returned: never read outside the table
    return fendrake_runtime_configurationI[iConfig];
}
