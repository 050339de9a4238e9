// Writing a string to a FendrakeOstream: up to the first zero byte, with the
// stream's conversion flags.
#include "Basic/FendrakeStdLib/FendrakeString.h"

#include "Basic/FendrakeStdLib/FendrakeOstream.h"

#include <cstring>

void FendrakeConstStringInterface::ostreamdump(FendrakeOstream& ioStream) const {
    const char* text = c_str();
    ioStream.mOutput->AppendFormatedString(ioStream.mConvertionFlags, text,
                                           static_cast<int>(strlen(text)));
    if (ioStream.mFlags & FendrakeOstream::eFlushEachWrite)
        ioStream.mOutput->flush();
}
