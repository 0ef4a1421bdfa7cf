// The copy of a thread's rules: neighbours that differ in the values of their identifiers alone are kept as one run.
#include "libtarnpolicysync/compiler/RuleSlice.h"

#include <gtest/gtest.h>

#include <utility>

namespace {

PolicyNode ruleOf(std::uint64_t number, std::size_t subjects = 1, std::size_t objects = 1) {
    PolicyNode rule;
    rule.sPermClass = "file";
    rule.sPerm = "read";
    rule.vecSubjectName = {"/bin/a"};
    rule.vecObjectName = {"/etc/b"};
    for (std::size_t index = 0; index < subjects; ++index) {
        rule.vecSubjectId.push_back({{number, index, 1}});
    }
    for (std::size_t index = 0; index < objects; ++index) {
        rule.vecObjectId.push_back({{number, index, 2}});
    }
    return rule;
}

// A block takes twice as many identifiers as the last, and begins a run.
constexpr std::size_t kManyRules = 1000;
constexpr std::size_t kMostBlocks = 11;

TEST(RuleSlice, KeepsNeighboursThatDifferInIdentifiersAloneAsOneRun) {
    RuleSlice slice;
    for (std::size_t number = 0; number < kManyRules; ++number) {
        slice.add(ruleOf(number));
    }
    EXPECT_LE(slice.runs().size(), kMostBlocks);
    std::uint64_t number = 0;
    for (const RuleRun& run : slice.runs()) {
        EXPECT_EQ(run.head, slice.runs().front().head);
        for (std::size_t index = 0; index < run.ruleCount; ++index, ++number) {
            EXPECT_EQ(run.identifiers[2 * index].uiWord[0], number);
            EXPECT_EQ(run.identifiers[2 * index].uiWord[2], 1U);
            EXPECT_EQ(run.identifiers[2 * index + 1].uiWord[0], number);
            EXPECT_EQ(run.identifiers[2 * index + 1].uiWord[2], 2U);
        }
    }
    EXPECT_EQ(number, kManyRules);
}

TEST(RuleSlice, KeepsOneHeadForRunsOfDifferentCounts) {
    RuleSlice slice;
    slice.add(ruleOf(1, 2, 1));
    slice.add(ruleOf(2, 1, 2));
    ASSERT_EQ(slice.runs().size(), 2U);
    EXPECT_EQ(slice.runs()[0].head, slice.runs()[1].head);
}

TEST(RuleSlice, KeepsAnotherHeadForAnotherRule) {
    RuleSlice slice;
    slice.add(ruleOf(1));
    PolicyNode other = ruleOf(2);
    other.sPerm = "write";
    slice.add(other);
    slice.add(ruleOf(3));
    ASSERT_EQ(slice.runs().size(), 3U);
    EXPECT_EQ(slice.runs()[0].head->sPerm, "read");
    EXPECT_EQ(slice.runs()[1].head->sPerm, "write");
    EXPECT_NE(slice.runs()[2].head, slice.runs()[0].head);
}

TEST(RuleSlice, LeavesNamesAndIdentifiersOutOfTheHead) {
    RuleSlice slice;
    slice.add(ruleOf(1));
    const PolicyNode& head = *slice.runs().front().head;
    EXPECT_TRUE(head.vecSubjectName.empty() && head.vecObjectName.empty());
    EXPECT_TRUE(head.vecSubjectId.empty() && head.vecObjectId.empty());
}

TEST(RuleSlice, CopiesWhatItKeeps) {
    RuleSlice slice;
    {
        PolicyNode rule = ruleOf(7);
        slice.add(rule);
        rule.sPerm = "write";
        rule.vecSubjectId[0].uiWord[0] = 8;
    }
    EXPECT_EQ(slice.runs().front().head->sPerm, "read");
    EXPECT_EQ(slice.runs().front().identifiers[0].uiWord[0], 7U);
}

TEST(RuleSlice, ItsRunsHoldWhenItMoves) {
    RuleSlice slice;
    for (std::size_t number = 0; number < kManyRules; ++number) {
        slice.add(ruleOf(number));
    }
    const RuleRun last = slice.runs().back();
    const RuleSlice moved = std::move(slice);
    ASSERT_EQ(moved.runs().back().identifiers, last.identifiers);
    EXPECT_EQ(moved.runs().back().head, last.head);
    EXPECT_EQ(last.identifiers[2 * last.ruleCount - 1].uiWord[0], kManyRules - 1);
    EXPECT_EQ(last.head->sPerm, "read");
}

TEST(RuleSlice, IsEmptyWithoutRules) {
    EXPECT_TRUE(RuleSlice().runs().empty());
}

TEST(RuleSlice, KeepsARuleWithoutIdentifiers) {
    RuleSlice slice;
    slice.add(ruleOf(1, 0, 0));
    ASSERT_EQ(slice.runs().size(), 1U);
    EXPECT_EQ(slice.runs()[0].ruleCount, 1U);
    EXPECT_EQ(slice.runs()[0].subjectCount + slice.runs()[0].objectCount, 0U);
}

}  // namespace
