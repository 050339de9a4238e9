#include "Basic/FendrakeStdLib/FendrakeStdio.h"

#include "Basic/FendrakeStdLib/FendrakePrintfOutput.h"
#include "Basic/FendrakeStdLib/FendrakeString.h"

void FendrakeStringInterface::appendFormatV(const char* iFormat, va_list iArgs) {
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
