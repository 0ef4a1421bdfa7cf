// Whole sets of seeded random rules against the independent model, with one to eight threads.
#include <gtest/gtest.h>

#include "Common/Common.h"
#include "libtarnpolicysync/Paths.h"
#include "support/Bytes.h"
#include "support/CompilerManager.h"
#include "support/Files.h"
#include "support/LogLines.h"
#include "support/RandomPolicy.h"

namespace {

model::Files compile(const model::Policy& policy, unsigned int threads) {
    if (testfiles::exists(paths::kPolicyDataTmp)) {
        removeDirectory(paths::kPolicyDataTmp);
    }
    CompilerManager manager(policy.numbers, threads);
    for (const auto& [key, group] : policy.groups) {
        PolicyDb copy = group;
        manager.addPolicy(key, copy);
    }
    EXPECT_EQ(manager.compileKernelPolicyMsg(), 0);
    return testbytes::readFiles(paths::kPolicyDataTmp);
}

TEST(ParallelCompilerModel, FilesOfRandomRulesEqualTheModels) {
    for (std::uint32_t seed = 100; seed < 116; ++seed) {
        model::Shape shape;
        shape.keys = seed % 6 + 1;
        shape.rulesPerKey = 30;
        const model::Policy policy = model::RandomPolicy(seed).policy(shape);
        const unsigned int threads = seed % 8 + 1;
        const model::Files files = compile(policy, threads);
        ASSERT_TRUE(testbytes::sameFiles(model::policyFiles(policy.numbers, policy.groups, threads), files))
            << "seed " << seed << " threads " << threads;
    }
    EXPECT_TRUE(testlog::lines().empty());
}

TEST(ParallelCompilerModel, OneToEightThreadsGiveTheSameRecords) {
    model::Shape shape;
    shape.rulesPerKey = 60;
    const model::Policy policy = model::RandomPolicy(7).policy(shape);
    const std::vector<model::Bytes> expected = model::allRecords(policy.numbers, policy.groups);
    ASSERT_GT(expected.size(), 200U);
    for (unsigned int threads = 1; threads <= 8; ++threads) {
        EXPECT_TRUE(testbytes::sameList(expected, model::recordsOf(compile(policy, threads)))) << threads;
    }
}

// Rules that differ in their identifiers alone, in two keys; some have none on one side, some have many.
TEST(ParallelCompilerModel, RunsOfRulesCutIntoSlicesEqualTheModels) {
    model::Policy policy;
    policy.numbers = samples::numbers();
    for (const std::string key : {"base", "later"}) {
        std::vector<PolicyNode>& rules = policy.groups[key].vecPolicy;
        rules.assign(5003, samples::rule());
        for (std::size_t index = 0; index < rules.size(); ++index) {
            rules[index].sPerm = index / 1000 % 2 == 0 ? "read" : "write";
            rules[index].vecSubjectId = {samples::id(index, 1)};
            rules[index].vecObjectId.assign(index % 97 == 0 ? index % 4 * 9 : 1, samples::id(index, 2));
        }
    }
    for (const unsigned int threads : {1U, 3U}) {
        EXPECT_TRUE(
            testbytes::sameFiles(model::policyFiles(policy.numbers, policy.groups, threads), compile(policy, threads)))
            << threads;
    }
}

TEST(ParallelCompilerModel, LongListsBetweenShortOnesEqualTheModels) {
    model::Policy policy;
    policy.numbers = samples::numbers();
    std::vector<PolicyNode>& rules = policy.groups["base"].vecPolicy;
    rules.assign(40, samples::rule());
    for (std::size_t index = 0; index < rules.size(); ++index) {
        rules[index].vecObjectId.assign(index % 8 == 0 ? 9000 - 200 * index : 1, samples::id(index));
    }
    EXPECT_TRUE(testbytes::sameFiles(model::policyFiles(policy.numbers, policy.groups, 1), compile(policy, 1)));
}

TEST(ParallelCompilerModel, MessagesOfManyRecordsEqualTheModels) {
    model::Shape shape;
    shape.keys = 2;
    shape.rulesPerKey = 6;
    shape.listLength = 130;
    shape.conditionDepth = 0;
    shape.actions = 0;
    shape.parameters = 0;
    // Few groups, so that messages fill up: every rule goes to one of two namespaces.
    model::Policy policy = model::RandomPolicy(11).policy(shape);
    for (auto& [key, group] : policy.groups) {
        for (PolicyNode& rule : group.vecPolicy) {
            rule.vecExpr.clear();
            rule.strGroup = "g";
            rule.strNamespace = rule.strNamespace == "net" ? "net" : "pinned";
        }
    }
    for (const unsigned int threads : {1U, 3U}) {
        const model::Files expected = model::policyFiles(policy.numbers, policy.groups, threads);
        std::size_t full = 0;
        for (const auto& [name, content] : expected) {
            full += content.size() == 1000024 ? 1 : 0;
        }
        EXPECT_GT(full, 0U) << "this test is about full messages";
        EXPECT_TRUE(testbytes::sameFiles(expected, compile(policy, threads)));
    }
}

}  // namespace
