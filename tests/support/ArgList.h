// An argument list that owns its strings, like the one main receives.
#ifndef BASIC_TESTS_SUPPORT_ARGLIST_H
#define BASIC_TESTS_SUPPORT_ARGLIST_H

#include "Basic/FendrakeStdLib/FendrakeOptArguments.h"

#include <string>
#include <vector>

struct ArgList {
    explicit ArgList(std::vector<std::string> iWords) : mWords(std::move(iWords)) {
        for (std::string& word : mWords)
            mPointers.push_back(&word[0]);
        mPointers.push_back(nullptr);
    }
    FendrakeOptArguments Args() {
        return FendrakeOptArguments(static_cast<int>(mWords.size()), mPointers.data());
    }
    std::vector<std::string> mWords;
    std::vector<char*> mPointers;
};

#endif
