// Messages and handlers that write what happens to them into a journal, for
// the looper's tests.
#ifndef BASIC_TESTS_FENDRAKESTDLIB_MESSAGETESTSUPPORT_H
#define BASIC_TESTS_FENDRAKESTDLIB_MESSAGETESTSUPPORT_H

#include "Basic/FendrakeStdLib/FendrakeMessageLooper.h"

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <vector>

// Entries in order of arrival; waits end on the entry or after a minute.
class Journal {
public:
    void Add(const std::string& iEntry) {
        std::lock_guard<std::mutex> lock(mMutex);
        mEntries.push_back(iEntry);
        mChanged.notify_all();
    }
    bool WaitFor(const std::string& iEntry) {
        std::unique_lock<std::mutex> lock(mMutex);
        return mChanged.wait_for(lock, std::chrono::minutes(1), [&] { return iHas(iEntry); });
    }
    bool Has(const std::string& iEntry) {
        std::lock_guard<std::mutex> lock(mMutex);
        return iHas(iEntry);
    }
    // The entries that start with iPrefix, in order.
    std::vector<std::string> With(const std::string& iPrefix) {
        std::lock_guard<std::mutex> lock(mMutex);
        std::vector<std::string> found;
        for (const std::string& entry : mEntries)
            if (entry.compare(0, iPrefix.size(), iPrefix) == 0)
                found.push_back(entry);
        return found;
    }

private:
    bool iHas(const std::string& iEntry) const {
        return std::find(mEntries.begin(), mEntries.end(), iEntry) != mEntries.end();
    }
    std::mutex mMutex;
    std::condition_variable mChanged;
    std::vector<std::string> mEntries;
};

// Writes "~<id>" when destroyed and "clone <id>" when cloned.
class JournalMessage : public FendrakeMessage {
public:
    JournalMessage(Journal* iJournal, int iId, int iSubType = 1)
        : mJournal(iJournal), mId(iId), mSubType(iSubType) {}
    JournalMessage(const JournalMessage& iOther)
        : FendrakeMessage(iOther), mJournal(iOther.mJournal), mId(iOther.mId),
          mSubType(iOther.mSubType) {
        mJournal->Add("clone " + std::to_string(mId));
    }
    ~JournalMessage() override { mJournal->Add("~" + std::to_string(mId)); }
    FendrakeMessageGroup GetFendrakeMessageGroup() const override {
        return static_cast<FendrakeMessageGroup>(7);
    }
    int GetMessageGroupSubType() const override { return mSubType; }
    const char* GetName() const override { return "JournalMessage"; }
    FendrakeMessage* Clone() override { return new JournalMessage(*this); }

    Journal* mJournal;
    int mId;
    int mSubType;
};

// Writes "<name>:<id>" for each message it handles.
class JournalHandler : public FendrakeMessageHandler {
public:
    JournalHandler(FendrakeMessageLooper* iLooper, Journal* iJournal, const std::string& iName)
        : FendrakeMessageHandler(iLooper), mJournal(iJournal), mName(iName) {}
    ~JournalHandler() override { mJournal->Add("~" + mName); }
    bool HandleMessage(FendrakeMessage* msg) override {
        mJournal->Add(mName + ":" + std::to_string(static_cast<JournalMessage*>(msg)->mId));
        return true;
    }

    Journal* mJournal;
    std::string mName;
};

#endif
