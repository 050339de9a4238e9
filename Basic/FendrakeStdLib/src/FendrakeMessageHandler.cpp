#include "Basic/FendrakeStdLib/FendrakeMessageLooper.h"

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
    FENDRAKE_ASSERT(mpFendrakeMessageLooper);
    if (!mpFendrakeMessageLooper) {
        delete msg; // it was handed over
        return;
    }
    if (msg)
        msg->mMessageHandlerKeyOnLooper = mHandlerKey;
    mpFendrakeMessageLooper->AddMsgToQueue(msg);
}

void FendrakeMessageHandler::PostMsg(FendrakeMessage* msg, unsigned int iKey) {
    if (msg)
        msg->mKey = iKey;
    PostMsg(msg);
}

bool FendrakeMessageHandler::PostMsgNonBlocking(FendrakeMessage* msg, unsigned int maxQueueSize) {
    FENDRAKE_ASSERT(mpFendrakeMessageLooper);
    if (!mpFendrakeMessageLooper)
        return false;
    if (msg)
        msg->mMessageHandlerKeyOnLooper = mHandlerKey;
    return mpFendrakeMessageLooper->AddMsgToQueueNonBlocking(msg, maxQueueSize);
}

unsigned int FendrakeMessageHandler::TimedMsg(FendrakeMessage* msg, unsigned int delayMilliSec,
                                              MsgTypeHandling iHandling) {
    FENDRAKE_ASSERT(mpFendrakeMessageLooper);
    if (!mpFendrakeMessageLooper) {
        delete msg; // it was handed over
        return 0;
    }
    if (msg)
        msg->mMessageHandlerKeyOnLooper = mHandlerKey;
    return mpFendrakeMessageLooper->AddToTimedMsg(msg, delayMilliSec, iHandling);
}

unsigned int FendrakeMessageHandler::TimedMsgKey(FendrakeMessage* msg, unsigned int delayMilliSec,
                                                 unsigned int iKey, MsgTypeHandling iHandling) {
    if (msg)
        msg->mKey = iKey;
    return TimedMsg(msg, delayMilliSec, iHandling);
}

void FendrakeMessageHandler::DeleteTimedMsgs(FendrakeMessage* pattern, MsgTypeHandling iHandling,
                                             unsigned int iKey) {
    FENDRAKE_ASSERT(mpFendrakeMessageLooper);
    if (!mpFendrakeMessageLooper || !pattern)
        return;
    pattern->mMessageHandlerKeyOnLooper = mHandlerKey;
    pattern->mKey = iKey;
    mpFendrakeMessageLooper->LooperDeleteTimedMsgs(pattern, iHandling);
}

void FendrakeMessageHandler::KeepMessage() {
    FENDRAKE_ASSERT(mpFendrakeMessageLooper);
    if (mpFendrakeMessageLooper)
        mpFendrakeMessageLooper->iKeepMessage();
}

FendrakeMutexNested* FendrakeMessageHandler::GetMutexNested() {
    FENDRAKE_ASSERT(mpFendrakeMessageLooper);
    return mpFendrakeMessageLooper ? &mpFendrakeMessageLooper->mMutexNested : nullptr;
}
