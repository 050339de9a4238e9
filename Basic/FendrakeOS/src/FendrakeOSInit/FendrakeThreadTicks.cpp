#include "Basic/FendrakeOS/src/FendrakeOSInit/FendrakeThreadTicks.h"

unsigned int FendrakeThreadTicks::Exchange(unsigned int iTid, unsigned int iTicks) {
    if (iTid < kTableSize) {
        const unsigned int delta = iTicks - mTable[iTid];
        mTable[iTid] = iTicks;
        return delta;
    }
    unsigned int previous = 0;
    const auto seen = mAboveThisListing.find(iTid);
    if (seen != mAboveThisListing.end()) {
        previous = seen->second;
    } else {
        const auto known = mAbove.find(iTid);
        if (known != mAbove.end())
            previous = known->second;
    }
    mAboveThisListing[iTid] = iTicks;
    return iTicks - previous;
}

void FendrakeThreadTicks::EndListing() {
    mAbove.swap(mAboveThisListing);
    mAboveThisListing.clear();
}
