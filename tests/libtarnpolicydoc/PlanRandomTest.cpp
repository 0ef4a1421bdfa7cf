// Random documents: whatever they hold, no message outgrows the kernel's bound with any number of compiler threads, the
// pairs of every rule arrive once, and the planned files are those that a layout record by record gives.
#include <gtest/gtest.h>

#include <random>

#include "PlanSupport.h"
#include "libtarnpolicydoc/Rules.h"

namespace {

using namespace policydoc;
using namespace plantest;

using Pair = std::tuple<std::string, std::string, std::uint64_t, std::uint64_t, std::uint64_t>;

GroupTexts randomGroups(std::uint32_t seed) {
    std::mt19937 engine(seed);
    const auto below = [&engine](std::uint32_t limit) { return static_cast<int>(engine() % limit); };
    GroupTexts groups;
    for (int g = 0; g < 3; ++g) {
        std::vector<std::string> rules;
        for (int i = below(25); i > 0; --i) {
            // Mostly small rules, some with many pairs, some with large records.
            const int subjects = below(4) == 0 ? below(60) : below(4);
            const int objects = below(4) == 0 ? below(90) : below(4);
            const int surplus = below(5) == 0 ? below(400000) : below(300);
            rules.push_back(
                rule(below(2) == 0 ? "n" : "o", below(3) == 0 ? "h" : "g", subjects, objects, surplus, i * 1000));
        }
        groups.push_back({g == 0 ? "base" : g == 1 ? "base.1" : "base_0", rules});
    }
    return groups;
}

// Every (namespace, group, subject, object, size) that a set of rules covers, with its number.
std::map<Pair, int> pairsOf(const std::vector<PolicyNode>& rules, std::map<Pair, int> pairs = {}) {
    for (const PolicyNode& node : rules) {
        for (const TARN_ID& subject : node.vecSubjectId) {
            for (const TARN_ID& object : node.vecObjectId) {
                ++pairs[{node.strNamespace, node.strGroup, subject.uiWord[0], object.uiWord[0], bytesOf(node)}];
            }
        }
    }
    return pairs;
}

class PlanRandomTest : public testing::TestWithParam<std::uint32_t> {};

TEST_P(PlanRandomTest, NothingOverflowsAndNoPairIsLostOrDoubled) {
    const PolicyDocument document = documentOf(randomGroups(GetParam()));
    const Plan plan = planOf(document);
    const auto groups = groupsOf(document, plan);
    std::map<Pair, int> found;
    for (const auto& [key, rules] : groups) {
        found = pairsOf(rules, std::move(found));
    }
    std::vector<PolicyNode> given;
    Diagnostics diagnostics;
    ASSERT_TRUE(forEachRule(document, true, diagnostics, [&given](const LocatedRule& located) {
        given.push_back(located.rule);
        return true;
    }));
    EXPECT_EQ(diagnostics.all().size(), 0U);
    EXPECT_TRUE(found == pairsOf(given));
    for (const unsigned int threads : {1U, 2U, 3U, 5U, 8U, 64U}) {
        const Files files = layOut(groups, threads);
        EXPECT_TRUE(files == filesOf(planFiles(plan, threads))) << threads;
        for (const auto& [name, file] : files) {
            EXPECT_LE(file.bytes, 1048576U) << name << " with " << threads << " threads";
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, PlanRandomTest, testing::Range(1U, 9U));

}  // namespace
