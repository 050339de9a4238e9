#include "Basic/FendrakeStdLib/FendrakeStdLib.h"

#include "Basic/FendrakeStdLib/FendrakeAssert.h"

#include <cstddef>

namespace {
const char* const kPath = "Basic/FendrakeStdLib/src/FendrakeStdLib";

inline const void* Element(const void* iBase, unsigned int iIndex, unsigned int iSize) {
    return static_cast<const char*>(iBase) + static_cast<size_t>(iIndex) * iSize;
}

// (low + high) >> 1 without the overflow of two large halves.
inline unsigned int Middle(unsigned int iLow, unsigned int iHigh) {
    return iLow + ((iHigh - iLow) >> 1);
}
} // namespace

extern "C" {

unsigned int fendrake_bsearch_lower_bound(const void* key, const void* base, unsigned int count,
                                          unsigned int size,
                                          int (*compare)(const void*, const void*),
                                          int* oLastCompare) {
    int last = 0;
    unsigned int lower_bound = 0;
    unsigned int upper_bound = count;
    while (lower_bound < upper_bound) {
        const unsigned int mid = Middle(lower_bound, upper_bound);
        last = compare(key, Element(base, mid, size));
        if (last == 0) {
            lower_bound = upper_bound = mid;
            break;
        }
        if (last < 0)
            upper_bound = mid;
        else
            lower_bound = mid + 1;
    }
    FENDRAKE_ASSERT_AT(kPath, __LINE__, lower_bound == upper_bound, "lower_bound==upper_bound");
    if (oLastCompare)
        *oLastCompare = last;
    return lower_bound;
}

unsigned int fendrake_bsearch_lower_bound_not_unique(const void* key, const void* base,
                                                     unsigned int count, unsigned int size,
                                                     int (*compare)(const void*, const void*)) {
    unsigned int lower_bound = 0;
    unsigned int upper_bound = count;
    while (lower_bound < upper_bound) {
        const unsigned int mid = Middle(lower_bound, upper_bound);
        if (compare(key, Element(base, mid, size)) > 0)
            lower_bound = mid + 1;
        else
            upper_bound = mid;
    }
    FENDRAKE_ASSERT_AT(kPath, __LINE__, lower_bound == upper_bound, "lower_bound==upper_bound");
    return lower_bound;
}

void* fendrake_bsearch(const void* key, const void* base, unsigned int count, unsigned int size,
                       int (*compare)(const void*, const void*)) {
    unsigned int low = 0;
    unsigned int high = count;
    while (low < high) {
        const unsigned int mid = Middle(low, high);
        const void* element = Element(base, mid, size);
        const int result = compare(key, element);
        if (result == 0)
            return const_cast<void*>(element);
        if (result < 0)
            high = mid;
        else
            low = mid + 1;
    }
    return nullptr;
}
}
