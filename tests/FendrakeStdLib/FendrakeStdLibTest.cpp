#include "Basic/FendrakeStdLib/FendrakeStdLib.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace {
int CompareInts(const void* iKey, const void* iElement) {
    const int key = *static_cast<const int*>(iKey);
    const int element = *static_cast<const int*>(iElement);
    return key < element ? -1 : key > element ? 1 : 0;
}

int Sign(int iValue) {
    return (iValue > 0) - (iValue < 0);
}
} // namespace

// Where the random arrays below leave a choice: which comparison is reported
// (for key 2 in [1, 3], the one against 1) and which of equal elements is hit.
TEST(FendrakeStdLibTest, LowerBoundReportsTheComparisonThatSettledIt) {
    struct Row {
        int mLine;
        std::vector<int> mArray;
        int mKey;
        unsigned mIndex;
        int mLastSign;
    };
    const Row rows[] = {{__LINE__, {1, 3}, 2, 1, 1},
                        {__LINE__, {1, 3}, 0, 0, -1},
                        {__LINE__, {2, 2, 2}, 2, 1, 0},
                        {__LINE__, {1, 2, 2, 2, 3}, 2, 2, 0},
                        {__LINE__, {1, 3, 5, 7}, 7, 3, 0}};
    for (const Row& row : rows) {
        SCOPED_TRACE(testing::Message() << "row at line " << row.mLine);
        int last = 99;
        EXPECT_EQ(row.mIndex, fendrake_bsearch_lower_bound(&row.mKey, row.mArray.data(),
                                                           static_cast<unsigned>(row.mArray.size()),
                                                           sizeof(int), CompareInts, &last));
        EXPECT_EQ(row.mLastSign, Sign(last));
    }
}

// Random sorted arrays with runs of equal values, against the standard library.
TEST(FendrakeStdLibTest, SearchesAgreeWithTheStandardLibrary) {
    std::mt19937 random(17);
    for (int round = 0; round < 300; ++round) {
        std::vector<int> values(random() % 40);
        for (int& value : values)
            value = static_cast<int>(random() % 30);
        std::sort(values.begin(), values.end());
        const unsigned count = static_cast<unsigned>(values.size());
        for (int key = -1; key <= 31; ++key) {
            SCOPED_TRACE(testing::Message() << "round " << round << " key " << key);
            const auto range = std::equal_range(values.begin(), values.end(), key);
            const unsigned first = static_cast<unsigned>(range.first - values.begin());
            EXPECT_EQ(first, fendrake_bsearch_lower_bound_not_unique(&key, values.data(), count,
                                                                     sizeof(int), CompareInts));
            int last = 99;
            const unsigned index = fendrake_bsearch_lower_bound(&key, values.data(), count,
                                                                sizeof(int), CompareInts, &last);
            const int* hit = static_cast<const int*>(
                fendrake_bsearch(&key, values.data(), count, sizeof(int), CompareInts));
            if (count == 0) {
                EXPECT_EQ(0u, index);
                EXPECT_EQ(0, last);
                EXPECT_EQ(nullptr, hit);
            } else if (range.first == range.second) {
                EXPECT_EQ(first, index);
                ASSERT_NE(0, last);
                EXPECT_EQ(nullptr, hit);
                if (last < 0)
                    EXPECT_LT(key, values[index]);
                else
                    EXPECT_GT(key, values[index - 1]);
            } else {
                EXPECT_EQ(0, last);
                EXPECT_EQ(key, values[index]);
                ASSERT_NE(nullptr, hit);
                EXPECT_EQ(key, *hit);
            }
        }
    }
}
