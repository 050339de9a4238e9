// One name table per enum, behind both __XToString and __XFromString.
// Tables are expanded from an X-macro list of the enum's rows.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEENUMNAME_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEENUMNAME_H

#include <cstddef>
#include <cstring>

template <typename T> struct FendrakeEnumName {
    T mValue;
    const char* mName;
};

// The enumerator's exact spelling, or iFallback (returned as it is, null allowed).
template <typename T, std::size_t N>
const char* FendrakeEnumToString(const FendrakeEnumName<T> (&iTable)[N], T iValue,
                                 const char* iFallback) {
    for (const FendrakeEnumName<T>& row : iTable)
        if (row.mValue == iValue)
            return row.mName;
    return iFallback;
}

// Whole-text match with case; oValue is written only on a match.
template <typename T, std::size_t N>
bool FendrakeEnumFromString(const FendrakeEnumName<T> (&iTable)[N], const char* iText, T* oValue) {
    if (!iText)
        return false;
    for (const FendrakeEnumName<T>& row : iTable)
        if (strcmp(row.mName, iText) == 0) {
            *oValue = row.mValue;
            return true;
        }
    return false;
}

#endif
