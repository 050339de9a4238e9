// Joining point: writing a string to a FendrakeOstream comes with the streams.
#include "Basic/FendrakeStdLib/FendrakeString.h"

void FendrakeConstStringInterface::ostreamdump(FendrakeOstream&) const {}
