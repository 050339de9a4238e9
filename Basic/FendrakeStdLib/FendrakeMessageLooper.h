// Messages, the handlers that receive them and the looper thread that runs
// the handlers. A component derives from FendrakeMessageHandler; other
// threads post messages to it, and its message code runs on its looper's one
// thread, so it needs no locking against itself.
// Ownership: a message is its own queue node. A post or a timed add takes it;
// the looper deletes it after dispatch unless a handler calls KeepMessage,
// and deletes it unseen if no handler of its key exists any more. Only
// AddMsgToQueueNonBlocking can refuse, and then the caller keeps it.
// Threads: any thread may post; handlers run on the looper thread, one at a
// time, under its recursive handler lock. The timed list has its own lock,
// never held during a dispatch; the handler lock may be taken before it.
#ifndef BASIC_FENDRAKESTDLIB_FENDRAKEMESSAGELOOPER_H
#define BASIC_FENDRAKESTDLIB_FENDRAKEMESSAGELOOPER_H

#include "Basic/FendrakeOS/FendrakeMutex.h"
#include "Basic/FendrakeOS/FendrakeThread.h"
#include "Basic/FendrakeStdLib/FendrakeAssert.h"
#include "Basic/FendrakeStdLib/FendrakeAssociationObject.h"
#include "Basic/FendrakeStdLib/FendrakeDLinkedList.h"
#include "Basic/FendrakeStdLib/FendrakeProCon.h"

#include <atomic>
#include <vector>

class FendrakeMessageLooper;
class FendrakeOstream;

// Groups other than the looper's own are the applications' values, cast to
// this type.
enum FendrakeMessageGroup : int {
    fmgFendrakeMessageLooper = 0,
};

// A message to a handler: the handler key routes it on its looper, the free
// key tells timed messages and listeners apart. Copies carry both keys but
// never the queue link.
class FendrakeMessage : public FDKDLinkPrio {
public:
    FendrakeMessage() {}
    FendrakeMessage(const FendrakeMessage& iOther)
        : FDKDLinkPrio(iOther), mMessageHandlerKeyOnLooper(iOther.mMessageHandlerKeyOnLooper),
          mKey(iOther.mKey) {}
    FendrakeMessage& operator=(const FendrakeMessage&) = delete;
    ~FendrakeMessage() override {}

    // Group and sub type are read under the timed list's lock: they must not block.
    virtual FendrakeMessageGroup GetFendrakeMessageGroup() const = 0;
    virtual int GetMessageGroupSubType() const = 0;
    virtual const char* GetName() const = 0;
    // "<name> hk=<handler key> key=<key>", the numbers in the stream's base.
    virtual void ToStream(FendrakeOstream& ioStream) const;
    // A new copy, owned by the caller.
    virtual FendrakeMessage* Clone() = 0;

    unsigned int mMessageHandlerKeyOnLooper = 0;
    unsigned int mKey = 0;
};

// The looper's own messages; they may travel without a handler key.
class FendrakeMessageLooperMessage : public FendrakeMessage {
public:
    enum SubType { eStopThread = 32 };

    FendrakeMessageGroup GetFendrakeMessageGroup() const override {
        return fmgFendrakeMessageLooper;
    }
    const char* GetName() const override { return "FendrakeMessageLooperMessage"; }
};

// Read from the queue, it ends the looper's thread; as a timed message it
// stops nothing.
class FendrakeMessageLooperStopThreadMessage : public FendrakeMessageLooperMessage {
public:
    int GetMessageGroupSubType() const override { return eStopThread; }
    const char* GetName() const override { return "FendrakeMessageLooperStopThreadMessage"; }
    FendrakeMessage* Clone() override { return new FendrakeMessageLooperStopThreadMessage(*this); }
};

// The receiving end of messages: tied for life to one looper, known there by
// a key that is never reused. Handlers come from new: the looper refers to
// them, and deletes those still alive when it is deleted.
// Construction locks nothing: make handlers before the looper gets messages,
// on the looper's thread, or while holding GetMutexNested() of the looper.
// Destruction waits for a running dispatch, but a derived class's part is
// gone before that: delete a handler on the looper's thread, or hold
// GetMutexNested() around the delete. Messages still on their way to a
// deleted handler are deleted unseen.
class FendrakeMessageHandler : public FendrakeAssociationObject {
public:
    // How a timed message relates to the ones waiting; a match needs equal
    // handler keys, groups and sub types, and with UniqueKey equal keys.
    enum MsgTypeHandling {
        MsgTypeMultiple = 0,  // no matching; not valid for DeleteTimedMsgs
        MsgTypeUnique = 1,    // the new message replaces the matching ones
        MsgTypeUniqueKey = 2, // as Unique, matching mKey too
    };

    explicit FendrakeMessageHandler(FendrakeMessageLooper* iLooper);
    ~FendrakeMessageHandler() override;
    FendrakeMessageHandler(const FendrakeMessageHandler&) = delete;
    FendrakeMessageHandler& operator=(const FendrakeMessageHandler&) = delete;

    // Runs on the looper's thread; false ends the walk over the handlers of
    // this key.
    virtual bool HandleMessage(FendrakeMessage* msg) = 0;
    // The looper's thread name.
    virtual const char* GetName();
    virtual void DumpState(FendrakeOstream& ioStream);

    // Each stamps this handler's key (and iKey) on the message and passes it
    // on; they block while the looper's queue is full.
    void PostMsg(FendrakeMessage* msg);
    void PostMsg(FendrakeMessage* msg, unsigned int iKey);
    // False when refused (queue full, or maxQueueSize reached): the caller keeps msg.
    bool PostMsgNonBlocking(FendrakeMessage* msg, unsigned int maxQueueSize);
    // Due after delayMilliSec; the result is the deadline in clock ticks.
    unsigned int TimedMsg(FendrakeMessage* msg, unsigned int delayMilliSec,
                          MsgTypeHandling iHandling = MsgTypeMultiple);
    unsigned int TimedMsgKey(FendrakeMessage* msg, unsigned int delayMilliSec, unsigned int iKey,
                             MsgTypeHandling iHandling = MsgTypeMultiple);
    // Deletes this handler's waiting timed messages that match pattern (with
    // iKey as its key); pattern stays the caller's. MsgTypeMultiple on a
    // non-empty list never returns.
    void DeleteTimedMsgs(FendrakeMessage* pattern, MsgTypeHandling iHandling,
                         unsigned int iKey = 0);
    // From HandleMessage only: the message is the handler's to delete. A
    // second call for one message is an assertion.
    void KeepMessage();
    // The looper's handler lock, held around every dispatch; null without a looper.
    FendrakeMutexNested* GetMutexNested();

    unsigned int GetHandlerKey() const { return mHandlerKey; }
    FendrakeMessageLooper* GetLooper() const { return mpFendrakeMessageLooper; }

private:
    friend class FendrakeMessageLooper;

    FendrakeMessageLooper* mpFendrakeMessageLooper;
    unsigned int mHandlerKey;
};

// One thread that takes messages from a bounded priority queue and hands each
// to the handler registered under its key, and keeps a list of timed
// messages in deadline order (equal deadlines in order of arrival). A due
// timed message goes before anything queued; it is due once it is a whole
// millisecond late. Every turn renews the thread's response ping of 20000 ms,
// calls iPulse and waits at most the pulse, so the pulse must stay well below
// 20 seconds for an idle looper not to be reported late.
// Construction does not start the thread: make the handlers, then Start().
// Deletion deletes the timed messages, delivers what is already queued, ends
// the thread and deletes the handlers still alive; the thread must not be the
// deleting one. A subclass calls StopThread() in its own destructor: the
// thread makes a virtual call (iPulse) on every turn, and must have ended
// before the object starts to come apart.
class FendrakeMessageLooper : public FendrakeThread {
public:
    typedef FendrakeMessageHandler::MsgTypeHandling MsgTypeHandling;

    // A deadline in clock ticks of FendrakeThread::GetClockNow; mMsg belongs
    // to the timed list.
    struct iTimedMsg {
        // The deadline counts from now; a delay beyond half the clock's range
        // warns and keeps the wrapped deadline.
        iTimedMsg(FendrakeMessage* iMsg, unsigned int delayMilliSec);
        FendrakeMessage* mMsg;
        unsigned int mTime;
    };

    // iQueueSize: places in the queue; posts block while all are taken.
    // iPulseMilliSec: the longest wait of one turn, at least 0 (a negative
    // value is an assertion and reads as 0). By default 10 seconds: half the
    // response ping, and rare enough for a looper without a pulse of its own.
    FendrakeMessageLooper(const char* iName, FendrakeThreadPriority iPriority, int iQueueSize = 64,
                          int iPulseMilliSec = 10000);
    ~FendrakeMessageLooper() override;

    // Lets the thread run; once.
    void Start();
    // Ends the thread as deletion does (timed messages deleted, the queue
    // delivered up to the stop message); later calls do nothing. From the
    // looper's own thread it is an assertion and does nothing.
    void StopThread();

    // Takes msg, blocking while the queue is full. A message of another group
    // than the looper's needs a handler key (assertion).
    void AddMsgToQueue(FendrakeMessage* msg);
    // Never waits; refuses when the queue is full or holds maxQueueSize or
    // more messages (0: no such limit). On false the caller keeps msg.
    bool AddMsgToQueueNonBlocking(FendrakeMessage* msg, unsigned int maxQueueSize);
    // Takes msg; Unique and UniqueKey first delete the matching waiting
    // messages. A new first deadline wakes the thread. Returns the deadline.
    unsigned int AddToTimedMsg(FendrakeMessage* msg, unsigned int delayMilliSec,
                               MsgTypeHandling iHandling);
    // Deletes every waiting timed message that matches pattern; pattern stays
    // the caller's. MsgTypeMultiple (or any handling but Unique and UniqueKey)
    // returns on an empty list and otherwise spins for ever holding the timed
    // list's lock: it is a caller's error that is not survived.
    void LooperDeleteTimedMsgs(FendrakeMessage* pattern, MsgTypeHandling iHandling);
    // The looper's own read from the queue: null on timeout or an aborted
    // wait, and for the stop message, which it deletes. On the looper's
    // thread only, or before Start.
    FendrakeMessage* GetFendrakeMessage(int timeoutMilliSec);

    // Held around iPulse and every dispatch; recursive.
    FendrakeMutexNested& GetMutexNested() { return mMutexNested; }
    // Messages in the queue now.
    int QueueSize() const { return mProCon.size(); }

protected:
    int Body(void* iArgument) override;
    // Once per turn, under the handler lock, on the looper's thread.
    virtual void iPulse() {}
    // AddToTimedMsg with its deadline already set.
    unsigned int iInsertTimedMsg(const iTimedMsg& iEntry, MsgTypeHandling iHandling);

private:
    friend class FendrakeMessageHandler;

    static bool iMatches(const FendrakeMessage* iMsg, const FendrakeMessage* iPattern,
                         MsgTypeHandling iHandling);
    // Deletes and erases the matches; under mTimedMutex.
    void iDeleteMatching(const FendrakeMessage* iPattern, MsgTypeHandling iHandling);
    // A due timed message, or null with ioWait cut to the first deadline.
    FendrakeMessage* iTakeDueTimedMsg(int& ioWait);
    void iDispatch(FendrakeMessage* msg);
    inline void iKeepMessage();
    void iDeleteAllTimedMsgs();
    void iReleaseHandlers();

    FendrakeProConPrio mProCon;
    bool mStop;
    bool mKeepMessage;
    FendrakeMutex mTimedMutex;
    std::vector<iTimedMsg> mTimedMsgs;

protected:
    // Read under the handler lock at each turn; never negative.
    int mPulseMilliSec;

private:
    FendrakeMutexNested mMutexNested;
    FendrakeMultiRefBase mHandlers;
    unsigned int mNextHandlerKey;
    std::atomic<bool> mStarted{false};
    std::atomic<bool> mThreadStopped{false};
};

inline void FendrakeMessageLooper::iKeepMessage() {
    FENDRAKE_ASSERT_AT("Basic/FendrakeStdLib/FendrakeMessageLooper", __LINE__,
                       mKeepMessage == false, "mKeepMessage==false");
    mKeepMessage = true;
}

#endif
