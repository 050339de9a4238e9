// Fans one message out to a list of listeners: handlers, each with the key
// that its copy of the message carries.
// Ownership: the listeners are not owned; NotifyListeners takes the message,
// posts clones to all listeners but the last and the original to the last.
// Threads: any thread; a recursive lock guards the list and is held while
// posting, so a listener whose queue is full holds up the notifier, and
// notifying a full queue from its own looper's thread blocks for ever.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKENOTIFIER_H
#define BASIC_FENDRAKESTDLIB_FENDRAKENOTIFIER_H

#include "Basic/FendrakeOS/FendrakeMutex.h"
#include "Basic/FendrakeStdLib/FendrakeDLinkedList.h"

class FendrakeMessage;
class FendrakeMessageHandler;

class FendrakeNotifier {
public:
    class HandlerKey : public FDKDLink {
    public:
        HandlerKey(FendrakeMessageHandler* iHandler, unsigned int iKey)
            : mHandler(iHandler), mKey(iKey) {}
        FendrakeMessageHandler* mHandler;
        unsigned int mKey;
    };

    FendrakeNotifier() {}
    FendrakeNotifier(const FendrakeNotifier&) = delete;
    FendrakeNotifier& operator=(const FendrakeNotifier&) = delete;

    // Appends; the same pair twice gets each message twice. From the 21st
    // listener on, a warning (the entry is kept). A null handler is an
    // assertion and is not added.
    void AddListener(FendrakeMessageHandler* pFendrakeMessageHandler, unsigned int iKey);
    // Removes every entry with this handler and this key; returns how many.
    int RemoveListener(FendrakeMessageHandler* pFendrakeMessageHandler, unsigned int iKey);
    // Takes msg; a null message does nothing. Blocks
    // while a listener's queue is full.
    void NotifyListeners(FendrakeMessage* msg);
    bool IsEmpty();
    // True if there are listeners and each is this handler with this key.
    bool IsAlone(FendrakeMessageHandler* pFendrakeMessageHandler, unsigned int iKey);

private:
    void iWarnTooMany();

    FendrakeDLinkedListBase mHandlerKey;
    FendrakeMutexNested mMutex;
};

#endif
