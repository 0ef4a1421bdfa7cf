// What was added, removed and changed between two sets, against a comparison of maps.
#include "libtarnrules/Difference.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <functional>

#include "RuleTools.h"
#include "support/PeakMemory.h"
#include "support/PlainMessage.h"

namespace {

using namespace ruletools;
using tarnrules::RuleSet;
using testing::IsEmpty;
using testing::SizeIs;
using Strings = std::vector<std::string>;

constexpr char kOther[] = "/etc/tarn/b";
constexpr char kOtherSet[] = "/etc/tarn/b/set";
constexpr std::size_t kAll = ~std::size_t{0};

class Found : public tarnrules::DifferenceVisitor {
public:
    explicit Found(std::size_t most) : most_(most) {}

    bool onAdded(std::string_view form) override {
        added.emplace_back(form);
        return note(form);
    }
    bool onRemoved(std::string_view form) override {
        removed.emplace_back(form);
        return note(form);
    }
    bool onChanged(std::string_view oldForm, std::string_view newForm) override {
        EXPECT_EQ(tarnrules::identityOf(oldForm), tarnrules::identityOf(newForm));
        changedFrom.emplace_back(oldForm);
        changedTo.emplace_back(newForm);
        return note(oldForm);
    }

    Strings added;
    Strings removed;
    Strings changedFrom;
    Strings changedTo;
    Strings identities;  // of all, in order

private:
    bool note(std::string_view form) {
        identities.emplace_back(tarnrules::identityOf(form));
        return identities.size() < most_;
    }

    std::size_t most_;
};

std::unique_ptr<Found> compare(const tarnsort::SortLimits& limits = {}, std::size_t most = kAll) {
    RuleSet before(kSet, "");
    RuleSet after(kOtherSet, "");
    before.alsoAskNamesOf(after);
    after.alsoAskNamesOf(before);
    before.read(limits);
    after.read(limits);
    EXPECT_THAT(before.problems(), IsEmpty());
    EXPECT_THAT(after.problems(), IsEmpty());
    auto found = std::make_unique<Found>(most);
    tarnrules::compareRules(before, after, *found);
    return found;
}

std::unique_ptr<Found> compare(const model::Policy& before, const model::Policy& after) {
    putSet(before, 1);
    putSet(after, 1, kOther);
    return compare();
}

Strings formsOf(const std::string& path) {
    RuleSet rules(path, "");
    rules.read();
    Strings forms;
    for (std::string_view form; rules.next(form);) {
        forms.emplace_back(form);
    }
    return forms;
}

Strings without(Strings from, const Strings& what) {
    Strings rest;
    std::set_difference(from.begin(), from.end(), what.begin(), what.end(), std::back_inserter(rest));
    return rest;
}

std::map<std::string, Strings> byIdentity(const Strings& forms) {
    std::map<std::string, Strings> sorted;
    for (const std::string& form : forms) {
        sorted[std::string(tarnrules::identityOf(form))].push_back(form);
    }
    return sorted;
}

// One rule of one pair.
model::Policy onePair() {
    model::Policy policy = model::RandomPolicy(1).policy({1, 0, 1, 1, 1, 1});
    PolicyNode rule;
    rule.sPermClass = "file";
    rule.sPerm = "read";
    rule.strNamespace = "net";
    rule.strGroup = "g";
    rule.strModuleName = "netmod";
    rule.vecSubjectId.resize(1);
    rule.vecSubjectId[0].uiWord[0] = 5;
    rule.vecObjectId.resize(1);
    policy.groups.clear();
    policy.groups["base"].vecPolicy = {rule};
    return policy;
}

PolicyNode& ruleOf(model::Policy& policy) {
    return policy.groups["base"].vecPolicy.front();
}

TEST(DifferenceTest, EqualRulesAreNone) {
    model::Policy policy = model::RandomPolicy(1).policy();
    putSet(policy, 1);
    for (auto& [key, group] : policy.groups) {
        std::reverse(group.vecPolicy.begin(), group.vecPolicy.end());
    }
    putSet(renumbered(policy), 5, kOther);
    EXPECT_THAT(compare()->identities, IsEmpty());
}

TEST(DifferenceTest, EverythingIsAddedToNothingAndRemovedFromIt) {
    const model::Policy policy = model::RandomPolicy(1).policy();
    putSet(policy, 1);
    model::Policy none = policy;
    none.groups.clear();
    putSet(none, 1, kOther);
    const Strings all = formsOf(kSet);
    ASSERT_GT(all.size(), 20U);
    EXPECT_EQ(compare()->removed, all);
    std::filesystem::remove_all(kFolder);
    std::filesystem::remove_all(kOther);
    EXPECT_EQ(compare(none, policy)->added, all);
}

TEST(DifferenceTest, OtherWordsOfOneRuleAreAChange) {
    const std::vector<std::function<void(PolicyNode&)>> changes{
        [](PolicyNode& rule) { rule.uiAttrA = 1; },
        [](PolicyNode& rule) { rule.uiAttrB = 1; },
        [](PolicyNode& rule) { rule.uiExt[0] = 1; },
        [](PolicyNode& rule) { rule.uiExt[4] = 1; },
        [](PolicyNode& rule) { rule.vecExpr = {ExprNode(11, "", 1)}; },
        [](PolicyNode& rule) {
            rule.vecDoFunc = {DoFuncNode{"log", {}}};
        },
    };
    for (std::size_t index = 0; index < changes.size(); ++index) {
        model::Policy after = onePair();
        changes[index](ruleOf(after));
        std::filesystem::remove_all(kFolder);
        std::filesystem::remove_all(kOther);
        const auto found = compare(onePair(), after);
        EXPECT_THAT(found->changedFrom, SizeIs(1)) << index;
        EXPECT_EQ(found->changedFrom, formsOf(kSet)) << index;
        EXPECT_EQ(found->changedTo, formsOf(kOtherSet)) << index;
        EXPECT_THAT(found->identities, SizeIs(1)) << index;
    }
}

TEST(DifferenceTest, AnotherIdentityIsAnotherRule) {
    const std::vector<std::function<void(PolicyNode&)>> changes{
        [](PolicyNode& rule) { rule.vecSubjectId[0].uiWord[2] = 1; },
        [](PolicyNode& rule) { rule.vecObjectId[0].uiWord[1] = 1; },
        [](PolicyNode& rule) { rule.sPerm = "write"; },
        [](PolicyNode& rule) {
            rule.sPermClass = "process";
            rule.sPerm = "kill";
        },
        [](PolicyNode& rule) { rule.strNamespace = "bare"; },
    };
    for (std::size_t index = 0; index < changes.size(); ++index) {
        model::Policy after = onePair();
        changes[index](ruleOf(after));
        std::filesystem::remove_all(kFolder);
        std::filesystem::remove_all(kOther);
        const auto found = compare(onePair(), after);
        EXPECT_EQ(found->removed, formsOf(kSet)) << index;
        EXPECT_EQ(found->added, formsOf(kOtherSet)) << index;
        EXPECT_THAT(found->changedFrom, IsEmpty()) << index;
    }
}

TEST(DifferenceTest, TheGroupIsNoPartOfARule) {
    model::Policy after = onePair();
    ruleOf(after).strGroup = "another";
    after.groups["key"] = after.groups["base"];
    after.groups.erase("base");
    EXPECT_THAT(compare(onePair(), after)->identities, IsEmpty());
}

TEST(DifferenceTest, HowOftenARuleOccursCounts) {
    model::Policy after = onePair();
    after.groups["base"].vecPolicy.resize(3, ruleOf(after));
    const auto found = compare(onePair(), after);
    EXPECT_THAT(found->added, SizeIs(2));
    EXPECT_THAT(found->identities, SizeIs(2));
}

TEST(DifferenceTest, RulesOfOneIdentityAreChangedAsFarAsTheyGo) {
    model::Policy before = onePair();
    before.groups["base"].vecPolicy.resize(3, ruleOf(before));
    model::Policy after = before;
    for (unsigned int index = 0; index < 3; ++index) {
        before.groups["base"].vecPolicy[index].uiAttrA = 10 + index;
        after.groups["base"].vecPolicy[index].uiAttrA = 11 + 2 * index;  // 11 is in both
    }
    before.groups["base"].vecPolicy.push_back(ruleOf(before));
    before.groups["base"].vecPolicy.back().uiAttrA = 20;
    const auto found = compare(before, after);
    EXPECT_THAT(found->changedFrom, SizeIs(2));
    EXPECT_THAT(found->removed, SizeIs(1));
    EXPECT_THAT(found->added, IsEmpty());
}

TEST(DifferenceTest, NameIsTakenFromTheOtherSetWhereItsChecksumIsTheNumber) {
    model::Policy policy = onePair();
    ruleOf(policy).strNamespace = "bare";
    putSet(policy, 1);
    putSet(policy, 1, kOther);
    std::filesystem::remove(std::string(kOther) + "/scene_info");
    EXPECT_THAT(compare()->identities, IsEmpty());
}

TEST(DifferenceTest, NameIsNotTakenFromTheOtherSetWhereTheNumberWasGiven) {
    model::Policy policy = onePair();
    ruleOf(policy).strNamespace = "bare";
    policy.numbers.names["bare"] = 77;
    putSet(policy, 1);
    putSet(policy, 1, kOther);
    std::filesystem::remove(std::string(kOther) + "/scene_info");
    const auto found = compare();
    EXPECT_THAT(found->removed, SizeIs(1));
    EXPECT_THAT(found->added, SizeIs(1));
}

TEST(DifferenceTest, StopsWhenNobodyWantsMore) {
    const model::Policy policy = model::RandomPolicy(1).policy();
    putSet(policy, 1);
    putSet(model::RandomPolicy(2).policy(), 1, kOther);
    EXPECT_THAT(compare({}, 3)->identities, SizeIs(3));
}

// The second set has lost some rules of the first, has others changed or doubled, and new ones.
model::Policy edited(model::Policy policy, std::uint32_t seed) {
    model::RandomPolicy random(seed);
    for (auto& [key, group] : policy.groups) {
        std::vector<PolicyNode> rules;
        for (PolicyNode& rule : group.vecPolicy) {
            const std::size_t fate = random.below(6);
            if (fate != 0) {
                rules.push_back(rule);
            }
            if (fate == 1) {
                rules.back().uiAttrA += 1;
            } else if (fate == 2) {
                rules.back().vecExpr = random.condition(rule, policy, {});
            } else if (fate == 3) {
                rules.push_back(rule);
            } else if (fate == 4) {
                rules.push_back(random.rule(policy, {}));
            }
        }
        group.vecPolicy = std::move(rules);
    }
    return policy;
}

TEST(DifferenceTest, IsWhatAComparisonOfMapsGives) {
    std::size_t changes = 0;
    for (std::uint32_t seed = 1; seed <= 8; ++seed) {
        std::filesystem::remove_all(kFolder);
        std::filesystem::remove_all(kOther);
        const model::Policy policy = model::RandomPolicy(seed).policy();
        putSet(policy, seed);
        putSet(renumbered(edited(policy, seed)), 3, kOther);
        tarnsort::SortLimits limits;
        limits.memoryBytes = seed % 2 == 0 ? limits.memoryBytes : 32768;
        const auto found = compare(limits);

        const Strings before = formsOf(kSet);
        const Strings after = formsOf(kOtherSet);
        auto onlyBefore = byIdentity(without(before, after));
        auto onlyAfter = byIdentity(without(after, before));
        Strings added;
        Strings removed;
        Strings changedFrom;
        Strings changedTo;
        std::map<std::string, int> identities;
        for (const auto& [identity, forms] : onlyBefore) {
            identities[identity] = 0;
        }
        for (const auto& [identity, forms] : onlyAfter) {
            identities[identity] = 0;
        }
        for (const auto& [identity, unused] : identities) {
            const std::size_t pairs = std::min(onlyBefore[identity].size(), onlyAfter[identity].size());
            for (std::size_t index = 0; index < onlyBefore[identity].size(); ++index) {
                (index < pairs ? changedFrom : removed).push_back(onlyBefore[identity][index]);
            }
            for (std::size_t index = 0; index < onlyAfter[identity].size(); ++index) {
                (index < pairs ? changedTo : added).push_back(onlyAfter[identity][index]);
            }
        }
        EXPECT_EQ(found->added, added) << "seed " << seed;
        EXPECT_EQ(found->removed, removed) << "seed " << seed;
        EXPECT_EQ(found->changedFrom, changedFrom) << "seed " << seed;
        EXPECT_EQ(found->changedTo, changedTo) << "seed " << seed;
        EXPECT_TRUE(std::is_sorted(found->identities.begin(), found->identities.end())) << "seed " << seed;
        changes += changedFrom.size();
    }
    EXPECT_GT(changes, 20U);
}

// Forty rules of one pair with almost a megabyte each, all of them changed: more than may wait for a partner.
TEST(DifferenceTest, WhatWaitsTooLongIsToldAsRemovedAndAdded) {
    model::Policy before = onePair();
    FuncParam text;
    text.uiParamType = 3;
    text.strData = std::string(900000, 'x');
    ruleOf(before).vecDoFunc = {DoFuncNode{"log", {text}}};
    const PolicyNode rule = ruleOf(before);
    before.groups.clear();
    model::Policy after = before;
    for (unsigned int index = 0; index < 40; ++index) {
        PolicyNode own = rule;
        own.uiAttrA = index;
        before.groups["k" + std::to_string(index)].vecPolicy = {own};
        own.uiAttrA = 100 + index;
        after.groups["k" + std::to_string(index)].vecPolicy = {own};
    }
    const auto found = compare(before, after);
    EXPECT_EQ(found->changedFrom.size() + found->removed.size(), 40U);
    EXPECT_EQ(found->added.size(), found->removed.size());
    EXPECT_GT(found->changedFrom.size(), 30U);
    EXPECT_GT(found->removed.size(), 1U);
}

#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they keep freed memory for a while
// Counts, and keeps nothing.
class Counted : public tarnrules::DifferenceVisitor {
public:
    bool onAdded(std::string_view /*form*/) override {
        ++added;
        return true;
    }
    bool onRemoved(std::string_view /*form*/) override {
        ++removed;
        return true;
    }
    bool onChanged(std::string_view /*oldForm*/, std::string_view /*newForm*/) override {
        ++changed;
        return true;
    }

    std::uint32_t added = 0;
    std::uint32_t removed = 0;
    std::uint32_t changed = 0;
};

// Two sets of 20 MB that share no rule.
TEST(DifferenceTest, TakesNoMoreMemoryThanItsSortsMay) {
    constexpr std::uint32_t kFiles = 20;
    constexpr std::uint32_t kRecords = 10000;
    constexpr std::size_t kMessage = std::size_t{1} << 20U;
    for (const char* set : {kSet, kOtherSet}) {
        for (const char* name : {"begin", "end"}) {
            testfiles::write(std::string(set) + "/" + name + "msg", golden::message(name));
        }
        testfiles::write(std::string(set) + "/namemsg", golden::message("namespace"));
        for (std::uint32_t file = 0; file < kFiles; ++file) {
            const std::uint64_t first = file * kRecords + (set == kSet ? 1U : 1U + kFiles * kRecords);
            testfiles::write(std::string(set) + "/base_0_net_g_" + std::to_string(file),
                             golden::plainMessage(kRecords, first));
        }
    }
    tarnsort::SortLimits limits;
    limits.memoryBytes = kMessage;
    Counted found;
    const std::size_t growth = peakmemory::growthDuring([&] {
        RuleSet before(kSet, "");
        RuleSet after(kOtherSet, "");
        before.read(limits);
        after.read(limits);
        tarnrules::compareRules(before, after, found);
    });
    EXPECT_EQ(found.removed, kFiles * kRecords);
    EXPECT_EQ(found.added, kFiles * kRecords);
    EXPECT_EQ(found.changed, 0U);
    EXPECT_GT(growth, kMessage);
    // Two sorts, what each buffers of its file, and messages that are being read.
    EXPECT_LT(growth, 8 * kMessage);
}
#endif

}  // namespace
