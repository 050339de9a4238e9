#include "Basic/FendrakeStdLib/FendrakeNotifier.h"

#include "Basic/FendrakeStdLib/FendrakeMessageLooper.h"

namespace {
FendrakeNotifier::HandlerKey* AsEntry(FDKDLink* iLink) {
    return static_cast<FendrakeNotifier::HandlerKey*>(iLink);
}
} // namespace

void FendrakeNotifier::AddListener(FendrakeMessageHandler* pFendrakeMessageHandler,
                                   unsigned int iKey) {
    FendrakeLockScope<FendrakeMutexNested> lock(mMutex);
    FENDRAKE_ASSERT(pFendrakeMessageHandler);
    // Notifying would post through it.
    if (!pFendrakeMessageHandler)
        return;
    mHandlerKey.insertLast(new HandlerKey(pFendrakeMessageHandler, iKey));
    if (mHandlerKey.countSize() > 20 && fendrake_level_enabled(2))
        iWarnTooMany();
}

void FendrakeNotifier::iWarnTooMany() {
    FendrakeFailureStream warning(FENDRAKE_FILE, __LINE__, "mHandlerKey.countSize()<=20",
                                  FendrakeFailureStream::eAttention);
    warning << "Warning more than 20 listers - Maybe a programming error *this=";
    const char* separator = "";
    for (FDKDLink* link = mHandlerKey.getFirst(); link; link = mHandlerKey.getNext(link)) {
        const HandlerKey* entry = AsEntry(link);
        warning << separator << entry->mHandler->GetName() << ", k=" << entry->mKey;
        separator = ", ";
    }
    warning << "\n";
    warning.fire();
}

int FendrakeNotifier::RemoveListener(FendrakeMessageHandler* pFendrakeMessageHandler,
                                     unsigned int iKey) {
    FendrakeLockScope<FendrakeMutexNested> lock(mMutex);
    int removed = 0;
    FendrakeDLinkedListBase::Iterator it(&mHandlerKey);
    while (!it.isEnd()) {
        const HandlerKey* entry = AsEntry(it.current());
        if (entry->mHandler == pFendrakeMessageHandler && entry->mKey == iKey) {
            it.Delete();
            ++removed;
        } else {
            it.next();
        }
    }
    return removed;
}

void FendrakeNotifier::NotifyListeners(FendrakeMessage* msg) {
    // Nothing to clone or post.
    if (!msg)
        return;
    FendrakeLockScope<FendrakeMutexNested> lock(mMutex);
    for (FDKDLink* link = mHandlerKey.getFirst(); link;) {
        FDKDLink* following = mHandlerKey.getNext(link);
        HandlerKey* entry = AsEntry(link);
        // The last listener gets the original, the others a copy each.
        FendrakeMessage* copy = following ? msg->Clone() : msg;
        entry->mHandler->PostMsg(copy, entry->mKey);
        if (!following)
            return;
        link = following;
    }
    delete msg;
}

bool FendrakeNotifier::IsEmpty() {
    FendrakeLockScope<FendrakeMutexNested> lock(mMutex);
    return mHandlerKey.isEmpty();
}

bool FendrakeNotifier::IsAlone(FendrakeMessageHandler* pFendrakeMessageHandler, unsigned int iKey) {
    FendrakeLockScope<FendrakeMutexNested> lock(mMutex);
    if (mHandlerKey.isEmpty())
        return false;
    for (FDKDLink* link = mHandlerKey.getFirst(); link; link = mHandlerKey.getNext(link)) {
        const HandlerKey* entry = AsEntry(link);
        if (entry->mHandler != pFendrakeMessageHandler || entry->mKey != iKey)
            return false;
    }
    return true;
}
