// Every public header of the library.
#ifndef BASIC_BASIC_H
#define BASIC_BASIC_H

#include "Basic/DynamicLink/BasicInit.h"
#include "Basic/FendrakeOS/FendrakeCondition.h"
#include "Basic/FendrakeOS/FendrakeMutex.h"
#include "Basic/FendrakeOS/FendrakeOSInit.h"
#include "Basic/FendrakeOS/FendrakeReadWriteLock.h"
#include "Basic/FendrakeOS/FendrakeSemaphore.h"
#include "Basic/FendrakeOS/FendrakeThread.h"
#include "Basic/FendrakeStdLib/FendrakeAssert.h"
#include "Basic/FendrakeStdLib/FendrakeCString.h"
#include "Basic/FendrakeStdLib/FendrakeCheckPoint.h"
#include "Basic/FendrakeStdLib/FendrakeDVBString.h"
#include "Basic/FendrakeStdLib/FendrakeDebug.h"
#include "Basic/FendrakeStdLib/FendrakeDirIterator.h"
#include "Basic/FendrakeStdLib/FendrakeEncode.h"
#include "Basic/FendrakeStdLib/FendrakeEnumName.h"
#include "Basic/FendrakeStdLib/FendrakeIconv.h"
#include "Basic/FendrakeStdLib/FendrakeObjectMonitor.h"
#include "Basic/FendrakeStdLib/FendrakeOptArguments.h"
#include "Basic/FendrakeStdLib/FendrakeOstream.h"
#include "Basic/FendrakeStdLib/FendrakePathConfiguration.h"
#include "Basic/FendrakeStdLib/FendrakePrintfOutput.h"
#include "Basic/FendrakeStdLib/FendrakeRuntimeConfiguration.h"
#include "Basic/FendrakeStdLib/FendrakeStdio.h"
#include "Basic/FendrakeStdLib/FendrakeString.h"
#include "Basic/FendrakeStdLib/FendrakeTime.h"
#include "Basic/FendrakeStdLib/FendrakeUnicodeCharacter.h"
#include "Basic/FendrakeStdLib/FendrakeVector.h"

#endif
