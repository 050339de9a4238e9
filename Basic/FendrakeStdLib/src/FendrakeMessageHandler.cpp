#include "Basic/FendrakeStdLib/FendrakeMessageLooper.h"

namespace {
// The handler's looper, with the handler key stamped on msg; null, after the
// assertion at the caller's line, once the looper is gone.
FendrakeMessageLooper* Stamp(const FendrakeMessageHandler* iHandler, FendrakeMessage* msg,
                             int iLine) {
    FendrakeMessageLooper* looper = iHandler->GetLooper();
    FENDRAKE_ASSERT_AT(FENDRAKE_FILE, iLine, looper, "mpFendrakeMessageLooper");
    if (looper && msg)
        msg->mMessageHandlerKeyOnLooper = iHandler->GetHandlerKey();
    return looper;
}
} // namespace

FendrakeMessageHandler::FendrakeMessageHandler(FendrakeMessageLooper* iLooper)
    : mpFendrakeMessageLooper(iLooper), mHandlerKey(0) {
    FENDRAKE_ASSERT(mpFendrakeMessageLooper);
    if (!mpFendrakeMessageLooper)
        return;
    mHandlerKey = mpFendrakeMessageLooper->mNextHandlerKey++;
    mpFendrakeMessageLooper->mHandlers.Add(this, mHandlerKey);
}

FendrakeMessageHandler::~FendrakeMessageHandler() {
    FENDRAKE_ASSERT(mpFendrakeMessageLooper);
    mHandlerKey = 0;
    if (mpFendrakeMessageLooper) {
        // Waits for a dispatch on the looper's thread to end.
        FendrakeLockScope<FendrakeMutexNested> lock(mpFendrakeMessageLooper->mMutexNested);
        FendrakeUnreferenceAll();
    }
    mpFendrakeMessageLooper = nullptr;
}

const char* FendrakeMessageHandler::GetName() {
    return mpFendrakeMessageLooper ? mpFendrakeMessageLooper->GetName() : nullptr;
}

void FendrakeMessageHandler::DumpState(FendrakeOstream&) {}

void FendrakeMessageHandler::PostMsg(FendrakeMessage* msg) {
    if (FendrakeMessageLooper* looper = Stamp(this, msg, __LINE__))
        looper->AddMsgToQueue(msg);
    else
        delete msg; // it was handed over
}

void FendrakeMessageHandler::PostMsg(FendrakeMessage* msg, unsigned int iKey) {
    if (msg)
        msg->mKey = iKey;
    PostMsg(msg);
}

bool FendrakeMessageHandler::PostMsgNonBlocking(FendrakeMessage* msg, unsigned int maxQueueSize) {
    FendrakeMessageLooper* looper = Stamp(this, msg, __LINE__);
    return looper && looper->AddMsgToQueueNonBlocking(msg, maxQueueSize);
}

unsigned int FendrakeMessageHandler::TimedMsg(FendrakeMessage* msg, unsigned int delayMilliSec,
                                              MsgTypeHandling iHandling) {
    if (FendrakeMessageLooper* looper = Stamp(this, msg, __LINE__))
        return looper->AddToTimedMsg(msg, delayMilliSec, iHandling);
    delete msg; // it was handed over
    return 0;
}

unsigned int FendrakeMessageHandler::TimedMsgKey(FendrakeMessage* msg, unsigned int delayMilliSec,
                                                 unsigned int iKey, MsgTypeHandling iHandling) {
    if (msg)
        msg->mKey = iKey;
    return TimedMsg(msg, delayMilliSec, iHandling);
}

void FendrakeMessageHandler::DeleteTimedMsgs(FendrakeMessage* pattern, MsgTypeHandling iHandling,
                                             unsigned int iKey) {
    FendrakeMessageLooper* looper = Stamp(this, pattern, __LINE__);
    if (!looper || !pattern)
        return;
    pattern->mKey = iKey;
    looper->LooperDeleteTimedMsgs(pattern, iHandling);
}

void FendrakeMessageHandler::KeepMessage() {
    if (FendrakeMessageLooper* looper = Stamp(this, nullptr, __LINE__))
        looper->iKeepMessage();
}

FendrakeMutexNested* FendrakeMessageHandler::GetMutexNested() {
    FendrakeMessageLooper* looper = Stamp(this, nullptr, __LINE__);
    return looper ? &looper->mMutexNested : nullptr;
}
