#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "libtarnpolicysync/PolicyModuleManagerInterface.h"
#include "support/CompilerManager.h"
#include "support/LogLines.h"

namespace {

using Slices = std::vector<std::vector<PolicyNode>>;

// Rules that can be told apart by their first attribute.
std::vector<PolicyNode> rules(std::size_t count) {
    std::vector<PolicyNode> result(count);
    for (std::size_t index = 0; index < count; ++index) {
        result[index].uiAttrA = static_cast<unsigned int>(index);
    }
    return result;
}

std::vector<std::size_t> sizes(const Slices& slices) {
    std::vector<std::size_t> result;
    for (const auto& slice : slices) {
        result.push_back(slice.size());
    }
    return result;
}

std::vector<std::size_t> split(std::size_t count, int n) {
    Slices slices(n < 0 ? 0 : static_cast<std::size_t>(n));
    EXPECT_EQ(splitVector(rules(count), n, slices), 0);
    return sizes(slices);
}

TEST(SplitVector, TheFirstSlicesTakeTheRest) {
    EXPECT_EQ(split(10, 3), (std::vector<std::size_t>{4, 3, 3}));
}
TEST(SplitVector, SlicesMayBeEmpty) {
    EXPECT_EQ(split(2, 4), (std::vector<std::size_t>{1, 1, 0, 0}));
}
TEST(SplitVector, NoRulesGiveEmptySlices) {
    EXPECT_EQ(split(0, 3), (std::vector<std::size_t>{0, 0, 0}));
}

TEST(SplitVector, ACountBelowOneIsRefused) {
    for (const int n : {0, -1, -2147483647}) {
        testlog::clear();
        Slices slices{rules(2)};
        EXPECT_EQ(splitVector(rules(3), n, slices), 1);
        EXPECT_EQ(sizes(slices), std::vector<std::size_t>{2}) << "a refusal leaves the slices alone";
        EXPECT_EQ(testlog::lines(), (std::vector<testlog::Line>{{1, "###ERROR: in splitVector, wrong threadnum n"}}));
    }
}

TEST(SplitVector, ReplacesWhatTheSlicesHeld) {
    Slices slices{rules(5), rules(5)};
    EXPECT_EQ(splitVector(rules(3), 2, slices), 0);
    EXPECT_EQ(sizes(slices), (std::vector<std::size_t>{2, 1}));
    EXPECT_EQ(slices[1][0].uiAttrA, 2U);
}

TEST(SplitVector, LogsNothingOnSuccess) {
    split(10, 3);
    EXPECT_TRUE(testlog::lines().empty());
}

TEST(SplitVector, CopiesRulesDeeply) {
    std::vector<PolicyNode> source{samples::ruleWithEverything()};
    Slices slices(1);
    ASSERT_EQ(splitVector(source, 1, slices), 0);
    source[0].vecDoFunc[0].vecParam[0].strData = "changed";
    source[0].vecSubjectId.clear();
    EXPECT_EQ(slices[0][0].vecDoFunc[0].vecParam[0].strData, "xyz");
    EXPECT_EQ(slices[0][0].vecSubjectId.size(), 1U);
    EXPECT_EQ(slices[0][0].strGroup, "g");
    EXPECT_EQ(slices[0][0].vecExpr.size(), 6U);
}

TEST(SplitVector, EveryCountKeepsOrderAndLosesNothing) {
    for (std::size_t count = 0; count <= 50; ++count) {
        for (std::size_t n = 1; n <= 9; ++n) {
            Slices slices(n);
            ASSERT_EQ(splitVector(rules(count), static_cast<int>(n), slices), 0);
            std::vector<unsigned int> joined;
            std::size_t longest = 0;
            std::size_t shortest = count;
            for (const auto& slice : slices) {
                for (const PolicyNode& rule : slice) {
                    joined.push_back(rule.uiAttrA);
                }
                ASSERT_TRUE(joined.size() == slice.size() || slice.size() <= longest) << "the longer ones come first";
                longest = std::max(longest, slice.size());
                shortest = std::min(shortest, slice.size());
            }
            std::vector<unsigned int> expected(count);
            std::iota(expected.begin(), expected.end(), 0U);
            ASSERT_EQ(joined, expected) << count << " rules in " << n;
            ASSERT_LE(longest - shortest, 1U) << count << " rules in " << n;
            ASSERT_EQ(sizes(slices), sizes(model::slices(rules(count), n)));
        }
    }
}

}  // namespace
