// Container test elements that note their own deletion, so that a test sees
// what a container deleted, and in which order, in one log.
#ifndef TESTS_FENDRAKESTDLIB_DELETIONLOG_H
#define TESTS_FENDRAKESTDLIB_DELETIONLOG_H

#include <vector>

// Base is the container's link class; it gets the arguments after the log.
template <typename Base> struct Logged : Base {
    template <typename... Args>
    explicit Logged(int iId, std::vector<int>* iLog = nullptr, Args... iArgs)
        : Base(iArgs...), mId(iId), mLog(iLog) {}
    ~Logged() override {
        if (mLog)
            mLog->push_back(mId);
    }
    int mId;
    std::vector<int>* mLog;
};

#endif
