#include "Basic/FendrakeStdLib/FendrakeString.h"

#include "Basic/FendrakeStdLib/FendrakeAssert.h"

#include <cstdlib>
#include <cstring>

namespace {
const char* const kPath = "Basic/FendrakeStdLib/src/FendrakeStringShared";

unsigned int CountUp(unsigned int& ioCount) {
    return __atomic_fetch_add(&ioCount, 1u, __ATOMIC_ACQ_REL);
}

unsigned int CountDown(unsigned int& ioCount) {
    return __atomic_fetch_sub(&ioCount, 1u, __ATOMIC_ACQ_REL);
}
} // namespace

FendrakeStringShared::StringRep* FendrakeStringShared::smEmpty = nullptr;

FendrakeStringShared::FendrakeStringShared(const FendrakeStringShared& iOther)
    : FendrakeStringInterface(iOther), mRep(smEmpty) {
    assign(iOther);
}

FendrakeStringShared::FendrakeStringShared(const char* iText) : mRep(smEmpty) {
    assign(iText, static_cast<unsigned int>(strlen(iText)));
}

FendrakeStringShared::FendrakeStringShared(const char* iData, unsigned int iLength)
    : mRep(smEmpty) {
    assign(iData, iLength);
}

FendrakeStringShared::StringRep*
FendrakeStringShared::Create(const char* iSource, unsigned int iLength, unsigned int iCapacity) {
    StringRep* rep = static_cast<StringRep*>(malloc(sizeof(StringRep) + iCapacity + 1));
    rep->mRefCount = 1;
    rep->mLength = iLength;
    rep->mCapacity = iCapacity;
    if (iLength)
        memcpy(rep->chars(), iSource, iLength);
    rep->chars()[iLength] = 0;
    return rep;
}

void FendrakeStringShared::Destroy(StringRep* iRep) {
    if (iRep != smEmpty && CountDown(iRep->mRefCount) == 1)
        free(iRep);
}

FendrakeStringShared::StringRep* FendrakeStringShared::MakeWriteable(unsigned int iCapacity) {
    const unsigned int count = __atomic_load_n(&mRep->mRefCount, __ATOMIC_SEQ_CST);
    if (count == 1 && mRep->mCapacity >= iCapacity)
        return smEmpty;
    FENDRAKE_ASSERT_AT(kPath, 49, count != 0, "c!=0");
    StringRep* old = mRep;
    const unsigned int kept = old->mLength < iCapacity ? old->mLength : iCapacity;
    mRep = Create(old->chars(), kept, iCapacity);
    return old;
}

void FendrakeStringShared::clear() {
    Destroy(mRep);
    mRep = smEmpty;
}

char* FendrakeStringShared::appendRequest(unsigned int& ioSize) {
    Destroy(MakeWriteable(ioSize + mRep->mLength));
    return mRep->chars() + mRep->mLength;
}

void FendrakeStringShared::appendRelease(unsigned int, unsigned int iActualDataLength) {
    // Checked before it is stored, so a returning or throwing hook leaves the
    // length inside the block.
    const unsigned int length = mRep->mLength + iActualDataLength;
    FENDRAKE_ASSERT_AT(kPath, 218, length <= mRep->mCapacity, "mRep->mLength<=mRep->mCapacity");
    if (length > mRep->mCapacity)
        return;
    mRep->mLength = length;
    mRep->chars()[length] = 0;
}

void FendrakeStringShared::assign(const char* iData, unsigned int iLength) {
    // Create first: the source may lie inside the old rep.
    StringRep* rep = Create(iData, iLength, iLength);
    Destroy(mRep);
    mRep = rep;
}

void FendrakeStringShared::assign(const FendrakeConstStringInterface& iOther) {
    assign(iOther.data(), iOther.length());
}

void FendrakeStringShared::assign(const FendrakeStringShared& iOther) {
    // Count up first, so that self-assignment keeps the rep alive.
    StringRep* rep = iOther.mRep;
    if (rep != smEmpty)
        CountUp(rep->mRefCount);
    Destroy(mRep);
    mRep = rep;
}

void FendrakeStringShared::append(const char* iData, unsigned int iLength) {
    // The old rep is released only after the copy: iData may lie inside it.
    StringRep* old = MakeWriteable(mRep->mLength + iLength);
    memcpy(mRep->chars() + mRep->mLength, iData, iLength);
    mRep->mLength += iLength;
    mRep->chars()[mRep->mLength] = 0;
    Destroy(old);
}

void FendrakeStringShared::append(const FendrakeConstStringInterface& iOther) {
    append(iOther.data(), iOther.length());
}

void FendrakeStringShared::append(const FendrakeStringShared& iOther) {
    append(iOther.data(), iOther.length());
}

void FendrakeStringShared::resize(unsigned int iLength) {
    const unsigned int oldLength = mRep->mLength;
    StringRep* old = MakeWriteable(iLength);
    if (iLength > oldLength)
        memset(mRep->chars() + oldLength, 0, iLength - oldLength);
    mRep->chars()[iLength] = 0;
    mRep->mLength = iLength;
    Destroy(old);
}

void FendrakeStringShared::CreateSystem() {
    smEmpty = Create("", 0, 0);
    CountUp(smEmpty->mRefCount);
}

void FendrakeStringShared::DestroySystem() {
    StringRep* empty = smEmpty;
    if (!empty)
        return; // never created: BasicTerm without BasicInit goes on to its next step
    CountDown(empty->mRefCount);
    smEmpty = nullptr;
    Destroy(empty);
}
