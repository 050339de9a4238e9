// Every public header of the library.
#ifndef BASIC_BASIC_H
#define BASIC_BASIC_H

#include "Basic/DynamicLink/BasicInit.h"
#include "Basic/FendrakeOS/FendrakeCondition.h"
#include "Basic/FendrakeOS/FendrakeMutex.h"
#include "Basic/FendrakeOS/FendrakeReadWriteLock.h"
#include "Basic/FendrakeOS/FendrakeSemaphore.h"
#include "Basic/FendrakeOS/FendrakeThread.h"
#include "Basic/FendrakeStdLib/FendrakeAssert.h"
#include "Basic/FendrakeStdLib/FendrakeBitUtils.h"
#include "Basic/FendrakeStdLib/FendrakeCString.h"
#include "Basic/FendrakeStdLib/FendrakeCheckPoint.h"
#include "Basic/FendrakeStdLib/FendrakeDLinkedList.h"
#include "Basic/FendrakeStdLib/FendrakeDebug.h"
#include "Basic/FendrakeStdLib/FendrakeDirIterator.h"
#include "Basic/FendrakeStdLib/FendrakeEnumName.h"
#include "Basic/FendrakeStdLib/FendrakeHashTable.h"
#include "Basic/FendrakeStdLib/FendrakeLinkedList.h"
#include "Basic/FendrakeStdLib/FendrakeObjectMonitor.h"
#include "Basic/FendrakeStdLib/FendrakeOptArguments.h"
#include "Basic/FendrakeStdLib/FendrakePathConfiguration.h"
#include "Basic/FendrakeStdLib/FendrakeRuntimeConfiguration.h"
#include "Basic/FendrakeStdLib/FendrakeSortList.h"
#include "Basic/FendrakeStdLib/FendrakeStdLib.h"
#include "Basic/FendrakeStdLib/FendrakeString.h"
#include "Basic/FendrakeStdLib/FendrakeTime.h"
#include "Basic/FendrakeStdLib/FendrakeUint8Array.h"
#include "Basic/FendrakeStdLib/FendrakeVector.h"
#include "Basic/FendrakeStdLib/FendrakeVectorOrdered.h"

#endif
