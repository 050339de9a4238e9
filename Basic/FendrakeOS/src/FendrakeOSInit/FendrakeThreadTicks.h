// CPU ticks last seen per thread id, so that a listing of the threads can
// tell which of them ran since the one before.
// Not locked: its one user, ListThreads, runs under print access.
#ifndef BASIC_FENDRAKEOS_SRC_FENDRAKEOSINIT_FENDRAKETHREADTICKS_H
#define BASIC_FENDRAKEOS_SRC_FENDRAKEOSINIT_FENDRAKETHREADTICKS_H

#include <unordered_map>

class FendrakeThreadTicks {
public:
    // Stores iTicks for iTid and returns the ticks added since the last
    // listing (all of them for an id not seen before), unsigned as they wrap.
    unsigned int Exchange(unsigned int iTid, unsigned int iTicks);
    // Ends a listing: ids above the table that it did not see are forgotten.
    void EndListing();

private:
    static const unsigned int kTableSize = 65536;

    // Ids below kTableSize index the table, as they always have. Larger ids,
    // common with today's pid_max, go to a map that keeps only the ids of the
    // last listing, so it never grows with threads that have gone.
    unsigned int mTable[kTableSize] = {};
    std::unordered_map<unsigned int, unsigned int> mAbove;
    std::unordered_map<unsigned int, unsigned int> mAboveThisListing;
};

#endif
