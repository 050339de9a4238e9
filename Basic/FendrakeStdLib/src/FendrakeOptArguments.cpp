#include "Basic/FendrakeStdLib/FendrakeOptArguments.h"

#include "Basic/FendrakeStdLib/FendrakeAssert.h"

#include <glib.h>

#include <cstdlib>
#include <cstring>

namespace {
const char* const kPath = "Basic/FendrakeStdLib/src/FendrakeOptArguments";

// Takes iCount entries from the first match at or behind argv[1]. An option
// that wants more entries than follow it does not match at all.
template <typename Match>
bool StealFirst(int& ioArgc, char** ioArgv, unsigned iCount, char** oOut, Match iMatch) {
    // Wide enough that a count beyond INT_MAX cannot wrap into a large limit.
    const long long limit = static_cast<long long>(ioArgc) + 1 - iCount;
    if (iCount < 1 || limit < 2)
        return false;
    for (int i = 1; i < limit; ++i) {
        if (!iMatch(ioArgv[i]))
            continue;
        memcpy(oOut, ioArgv + i, iCount * sizeof(char*));
        memmove(ioArgv + i, ioArgv + i + iCount, (ioArgc - i - iCount) * sizeof(char*));
        ioArgc -= static_cast<int>(iCount);
        return true;
    }
    return false;
}

} // namespace

bool FendrakeOptArguments::iStealOptionAssing(const char* iName, unsigned iNameLength,
                                              unsigned iCount, char** oOut) {
    FENDRAKE_ASSERT_AT(kPath, 41, iCount >= 1, "count>=1");
    return StealFirst(argc, argv, iCount, oOut,
                      [&](const char* iEntry) { return strncmp(iEntry, iName, iNameLength) == 0; });
}

bool FendrakeOptArguments::iStealOption(const char* iName, unsigned iCount, char** oOut) {
    FENDRAKE_ASSERT_AT(kPath, 27, iCount >= 1, "count>=1");
    return StealFirst(argc, argv, iCount, oOut,
                      [&](const char* iEntry) { return strcmp(iEntry, iName) == 0; });
}

const char* FendrakeOptArguments::GetOptionString(const char* iName, const char* iDefaultValue) {
    const unsigned len = static_cast<unsigned>(strlen(iName));
    FENDRAKE_ASSERT_AT(kPath, 58, len >= 1, "len>=1");
    if (len < 1)
        return iDefaultValue;
    char* out[2];
    if (iName[len - 1] == '=')
        return iStealOptionAssing(iName, len, 1, out) ? out[0] + len : iDefaultValue;
    return iStealOption(iName, 2, out) ? out[1] : iDefaultValue;
}

int FendrakeOptArguments::GetOptionInt(const char* iName, int iDefaultValue) {
    const unsigned len = static_cast<unsigned>(strlen(iName));
    FENDRAKE_ASSERT_AT(kPath, 74, len >= 1, "len>=1");
    if (len < 1)
        return iDefaultValue;
    char* out[2];
    if (iName[len - 1] == '=')
        return iStealOptionAssing(iName, len, 1, out)
                   ? static_cast<int>(strtol(out[0] + len, nullptr, 10))
                   : iDefaultValue;
    return iStealOption(iName, 2, out) ? static_cast<int>(strtol(out[1], nullptr, 10))
                                       : iDefaultValue;
}

const char* FendrakeOptArguments::GetOptionStringStartMatch(const char* iName,
                                                            const char* iDefaultValue) {
    const unsigned len = static_cast<unsigned>(strlen(iName));
    char* out[1];
    return iStealOptionAssing(iName, len, 1, out) ? out[0] + len : iDefaultValue;
}

void FendrakeOptArguments::Print() {
    FENDRAKE_LOG_BARE(1, "Arguments %d\n", argc);
    for (int i = 0; i < argc; ++i)
        FENDRAKE_LOG_BARE(1, "Argument %d '%s'\n", i, argv[i]);
}

const char* FendrakeOptArguments::Shift(const char* iDefaultValue) {
    if (argc < 2)
        return iDefaultValue;
    const char* first = argv[1];
    memmove(argv + 1, argv + 2, (argc - 2) * sizeof(char*));
    --argc;
    return first;
}

const char* FendrakeOptArguments::GetProgramName() {
    const char* name = g_get_prgname();
    if (name)
        return name;
    if (argc < 1)
        return nullptr;
    const char* slash = strrchr(argv[0], '/');
    return slash ? slash + 1 : argv[0];
}
