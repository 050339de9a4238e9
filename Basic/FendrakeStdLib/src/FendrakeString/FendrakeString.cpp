// The abstract string interfaces and the std::string wrappers.
#include "Basic/FendrakeStdLib/FendrakeString.h"

#include "Basic/FendrakeStdLib/FendrakeAssert.h"
#include "Basic/FendrakeStdLib/src/FendrakeString/FendrakeStringInside.h"

#include <cstring>

namespace {
const char* const kPath = "Basic/FendrakeStdLib/src/FendrakeString";
} // namespace

int FendrakeConstStringInterface::compare(const FendrakeConstStringInterface& iOther) const {
    return strcmp(c_str(), iOther.c_str());
}

int FendrakeConstStringInterface::compare(const char* iOther) const {
    return strcmp(c_str(), iOther);
}

const char* FendrakeConstCStringPointerStringInterface::c_str() const {
    return mpString ? mpString : "";
}

const char* FendrakeConstCStringPointerStringInterface::data() const {
    return mpString ? mpString : "";
}

unsigned int FendrakeConstCStringPointerStringInterface::length() const {
    return mpString ? static_cast<unsigned int>(strlen(mpString)) : 0;
}

void FendrakeStringInterface::assign(const FendrakeConstStringInterface& iOther) {
    clear();
    append(iOther);
}

void FendrakeStringInterface::assign(const char* iData, unsigned int iLength) {
    if (FendrakeStringHolds(*this, iData, iLength)) {
        const std::string source(iData, iLength);
        FendrakeStringInterface::assign(source.data(), iLength);
        return;
    }
    clear();
    append(iData, iLength);
}

void FendrakeStringInterface::append(const FendrakeConstStringInterface& iOther) {
    unsigned int size = iOther.length();
    char* room = appendRequest(size);
    memcpy(room, iOther.data(), size);
    appendRelease(size, size);
}

void FendrakeStringInterface::append(const char* iData, unsigned int iLength) {
    // The text is cleared and overwritten below, so a source inside it is copied aside first.
    if (FendrakeStringHolds(*this, iData, iLength)) {
        const std::string source(iData, iLength);
        FendrakeStringInterface::append(source.data(), iLength);
        return;
    }
    // This base form replaces the content: callers of the wrappers rely on it.
    clear();
    unsigned int size = iLength;
    char* room = appendRequest(size);
    memcpy(room, iData, size);
    appendRelease(size, size);
}

char* FendrakeStringWrapInterface::appendRequest(unsigned int& ioSize) {
    FENDRAKE_ASSERT_AT(kPath, 51, mLastAppendRequestDataLength == -1,
                       "mLastAppendRequestDataLength==-1");
    mLastAppendRequestDataLength = static_cast<int>(ioSize);
    const std::string::size_type oldLength = mrFendrakeString.size();
    mrFendrakeString.resize(oldLength + ioSize);
    return &mrFendrakeString[0] + oldLength;
}

void FendrakeStringWrapInterface::appendRelease(unsigned int iRequestedDataLength,
                                                unsigned int iActualDataLength) {
    if (std::string::size_type(mLastAppendRequestDataLength) != iRequestedDataLength) {
        fendrake_assertion_failed_detail(
            kPath, 59, "size_type(mLastAppendRequestDataLength)==iRequestedDataLength",
            " mLastAppendRequestDataLength=%d, iRequestedDataLength=%u\n",
            mLastAppendRequestDataLength, iRequestedDataLength);
        return;
    }
    if (mrFendrakeString.size() + iActualDataLength < iRequestedDataLength) {
        fendrake_assertion_failed_detail(
            kPath, 60, "(mrFendrakeString.size()+iActualDataLength)>=iRequestedDataLength",
            " mrFendrakeString.size()=%u, iActualDataLength=%u, iRequestedDataLength=%u\n",
            static_cast<unsigned>(mrFendrakeString.size()), iActualDataLength,
            iRequestedDataLength);
        return;
    }
    mrFendrakeString.resize(mrFendrakeString.size() + iActualDataLength - iRequestedDataLength);
    mLastAppendRequestDataLength = -1;
}

void FendrakeStringWrapInterface::assign(const FendrakeConstStringInterface& iOther) {
    mrFendrakeString.assign(iOther.data(), iOther.length());
}

void FendrakeStringWrapInterface::append(const FendrakeConstStringInterface& iOther) {
    mrFendrakeString.append(iOther.data(), iOther.length());
}
