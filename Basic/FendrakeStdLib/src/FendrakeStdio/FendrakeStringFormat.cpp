#include "Basic/FendrakeStdLib/FendrakeStdio.h"

#include "Basic/FendrakeStdLib/FendrakePrintfOutput.h"
#include "Basic/FendrakeStdLib/FendrakeString.h"

// An argument may point into this string's own text, which a growing request
// frees or moves. A shared string keeps its old rep alive by one more count
// (so its first request copies); a wrapped std::string is formatted aside.
void FendrakeStringInterface::appendFormatV(const char* iFormat, va_list iArgs) {
    if (FendrakeStringShared* shared = dynamic_cast<FendrakeStringShared*>(this)) {
        const FendrakeStringShared keepAlive(*shared);
        FendrakeStringInterfaceAppendOutput output(*this);
        output.AppendFormatedPrintfV(false, iFormat, iArgs);
        return;
    }
    if (dynamic_cast<FendrakeStringWrapInterface*>(this)) {
        std::string aside;
        FendrakeStringWrapInterface asideString(aside);
        FendrakeStringInterfaceAppendOutput output(asideString);
        output.AppendFormatedPrintfV(false, iFormat, iArgs);
        append(FendrakeConstStringWrapInterface(aside));
        return;
    }
    FendrakeStringInterfaceAppendOutput output(*this);
    output.AppendFormatedPrintfV(false, iFormat, iArgs);
}

void FendrakeStringInterface::appendFormat(const char* iFormat, ...) {
    va_list args;
    va_start(args, iFormat);
    appendFormatV(iFormat, args);
    va_end(args);
}

void FendrakeStringInterface::assignFormat(const char* iFormat, ...) {
    clear();
    va_list args;
    va_start(args, iFormat);
    appendFormatV(iFormat, args);
    va_end(args);
}

void FendrakeStringFormatAppend(std::string& ioString, const char* iFormat, ...) {
    FendrakeStringWrapInterface string(ioString);
    va_list args;
    va_start(args, iFormat);
    string.appendFormatV(iFormat, args);
    va_end(args);
}

void FendrakeStringFormatAssign(std::string& oString, const char* iFormat, ...) {
    oString.clear();
    FendrakeStringWrapInterface string(oString);
    va_list args;
    va_start(args, iFormat);
    string.appendFormatV(iFormat, args);
    va_end(args);
}
