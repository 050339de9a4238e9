// Binary searches over a sorted array at base of count elements of size
// bytes. compare(key, element) is negative when the key sorts before the
// element, 0 when they are equal.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKESTDLIB_H
#define BASIC_FENDRAKESTDLIB_FENDRAKESTDLIB_H

extern "C" {

// The index at which the search settled, with the result of the comparison
// that settled it in *oLastCompare (0 for an empty array). On a hit this is
// the index of whichever equal element the halving met first, not
// necessarily the first of them; otherwise it is where the key would go.
unsigned int fendrake_bsearch_lower_bound(const void* key, const void* base, unsigned int count,
                                          unsigned int size,
                                          int (*compare)(const void*, const void*),
                                          int* oLastCompare);
// The index of the first element that does not sort before the key.
unsigned int fendrake_bsearch_lower_bound_not_unique(const void* key, const void* base,
                                                     unsigned int count, unsigned int size,
                                                     int (*compare)(const void*, const void*));
// An element equal to the key (any one of several), or null.
void* fendrake_bsearch(const void* key, const void* base, unsigned int count, unsigned int size,
                       int (*compare)(const void*, const void*));
}

#endif
