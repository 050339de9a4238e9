#include "Basic/FendrakeStdLib/FendrakeVectorOrdered.h"

#include "Basic/FendrakeStdLib/FendrakeAssert.h"
#include "Basic/FendrakeStdLib/FendrakeStdLib.h"

namespace {
// The searches take a comparison of two untyped pointers; calling compare
// through a cast function pointer would be undefined.
int CompareEntries(const void* iKey, const void* iElement) {
    return FendrakeVectorOrderedBase::compare(
        static_cast<FendrakeOrderedElement* const*>(iKey),
        static_cast<FendrakeOrderedElement* const*>(iElement));
}
} // namespace

unsigned int FendrakeVectorOrderedBase::iFind(FendrakeOrderedElement* iElement,
                                              int* oLastCompare) const {
    return fendrake_bsearch_lower_bound(&iElement, mElements.begin(), size(),
                                        sizeof(FendrakeOrderedElement*), CompareEntries,
                                        oLastCompare);
}

bool FendrakeVectorOrderedBase::iInsert(FendrakeOrderedElement* iElement, bool iAllowEqual) {
    int last = 0;
    const unsigned int idx = iFind(iElement, &last);
    FENDRAKE_ASSERT_AT(FENDRAKE_FILE, __LINE__, idx <= size(), "idx<=size()");
    if (idx > size())
        return false;
    if (!iAllowEqual && idx < size() && iElement->compare(mElements[idx]) == 0)
        return false;
    mElements.push_back(iElement);
    for (unsigned int i = size() - 1; i > idx; --i)
        mElements[i] = mElements[i - 1];
    mElements[idx] = iElement;
    return true;
}

bool FendrakeVectorOrderedBase::InsertNotEqual(FendrakeOrderedElement* iElement) {
    return iInsert(iElement, false);
}

void FendrakeVectorOrderedBase::InsertAllowEqual(FendrakeOrderedElement* iElement) {
    iInsert(iElement, true);
}

bool FendrakeVectorOrderedBase::Remove(FendrakeOrderedElement* iElement) {
    int last = 0;
    const unsigned int idx = iFind(iElement, &last);
    if (idx >= size() || iElement->compare(mElements[idx]) != 0)
        return false;
    mElements.erase(mElements.begin() + idx);
    return true;
}

void FendrakeVectorOrderedBase::deleteAll() {
    for (FendrakeOrderedElement* element : mElements)
        delete element;
    mElements.clear();
}
