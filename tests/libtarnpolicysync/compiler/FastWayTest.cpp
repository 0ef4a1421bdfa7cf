// A compiler thread copies most records instead of encoding them. Here its files, its lines and its status are held
// against a loop that calls the encoder's member function for every single record, for random rules: sound ones, such
// as fail, and such as fill the megabyte.
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "Common/Common.h"
#include "CompilerThread.h"
#include "support/RandomPolicy.h"

namespace {

using testlog::Line;

constexpr int kPerMessage = 10000;

// The plain way. It logs through the manager; its own lines, which the thread's body writes, are in `lines` at the place
// where they belong only at the end of a failing run, so they are appended.
class PlainWay {
public:
    PlainWay(ManagerAccess& manager, std::string prefix) : manager_(manager), prefix_(std::move(prefix)) {}

    int compile(const std::vector<PolicyNode>& rules) {
        for (const PolicyNode& rule : rules) {
            for (const TARN_ID& subject : rule.vecSubjectId) {
                for (const TARN_ID& object : rule.vecObjectId) {
                    if (const int status = addRecord(rule, subject, object)) {
                        return status;
                    }
                }
            }
        }
        for (auto& [key, group] : groups_) {
            if (group.records == 0) {
                continue;
            }
            const std::size_t remaining = OutputBuffer::kCapacity - group.buffer->used;
            if (remaining < 4) {
                lines.push_back({1, "Not enough space for end_number, need 4, remaining " + std::to_string(remaining)});
                return 1;
            }
            finish(key, group);
        }
        return 0;
    }

    model::Files files;
    std::vector<Line> lines;

private:
    using Key = std::tuple<std::string, std::string>;
    struct Group {
        int records = 0;
        int index = 0;
        std::unique_ptr<OutputBuffer> buffer = std::make_unique<OutputBuffer>();
    };

    int addRecord(const PolicyNode& rule, const TARN_ID& subject, const TARN_ID& object) {
        const Key key(rule.strGroup, rule.strNamespace);
        Group& group = groups_[key];
        OutputBuffer& buffer = *group.buffer;
        if (group.records == 0) {
            std::memset(buffer.storage.data(), 0, buffer.storage.size());
            buffer.used = 20;
            buffer.cursor = buffer.storage.data() + 20;
        }
        if (const unsigned int status = manager_.makeSinglePolicy(rule, subject, object, buffer.cursor, buffer.used)) {
            lines.push_back({1, "###ERROR: in compileKernelPolicyThread, makeSinglePolicy error"});
            return static_cast<int>(status);
        }
        if (++group.records == kPerMessage) {
            if (OutputBuffer::kCapacity - buffer.used < 4) {
                lines.push_back({1, "Failed to copy end_number, buffer full"});
                return 1;
            }
            finish(key, group);
        }
        return 0;
    }

    void finish(const Key& key, Group& group) {
        const auto& [name, nameSpace] = key;
        const auto length = static_cast<std::uint32_t>(group.buffer->used + 4);
        files[prefix_ + "_" + nameSpace + "_" + name + "_" + std::to_string(group.index)] =
            model::header(length, 96, static_cast<std::uint32_t>(group.records), 3) +
            group.buffer->storage.substr(20, group.buffer->used - 20) + model::words({0x1234FFFF});
        ++group.index;
        group.records = 0;
    }

    ManagerAccess& manager_;
    std::string prefix_;
    std::map<Key, Group> groups_;
};

class FastWay : public CompilerThread {
protected:
    // Compiles both ways and compares everything that can be seen. Returns the status.
    int compileBoth(CompilerManager& manager, const std::vector<PolicyNode>& rules) {
        testlog::clear();
        for (const auto& [name, content] : files()) {
            EXPECT_EQ(unlink((std::string(paths::kPolicyDataTmp) + "/" + name).c_str()), 0);
        }
        PlainWay plain(manager, "base_0");
        const int expected = plain.compile(rules);
        std::vector<Line> lines = testlog::lines();
        lines.insert(lines.end(), plain.lines.begin(), plain.lines.end());
        testlog::clear();
        const int status = manager.compileKernelPolicyThread("base_0", rules, paths::kPolicyDataTmp, results_, mutex_);
        EXPECT_EQ(status, expected);
        EXPECT_EQ(testlog::lines(), lines);
        EXPECT_TRUE(testbytes::sameFiles(plain.files, files()));
        return status;
    }

    // Rules of two groups, long lists, so that most records are copied.
    static std::vector<PolicyNode> rulesOf(model::RandomPolicy& random, const model::Policy& policy,
                                           const model::Shape& shape, std::size_t count) {
        std::vector<PolicyNode> rules(count);
        for (PolicyNode& rule : rules) {
            rule = random.rule(policy, shape);
            rule.strGroup = random.below(2) == 0 ? "g" : "h";
        }
        return rules;
    }
    // Makes a rule fail, in one of the ways in which a rule can.
    static void spoil(PolicyNode& rule, std::size_t way) {
        switch (way) {
            case 0:
                rule.sPermClass = "nosuchclass";
                break;
            case 1:
                rule.sPerm = "nosuchpermission";
                break;
            case 2:
                rule.vecExpr.push_back(samples::node(2));
                rule.vecExpr.insert(rule.vecExpr.begin(), samples::node(2));
                break;
            case 3:
                rule.vecExpr.insert(rule.vecExpr.begin(), samples::node(1));
                break;
            case 4:
                rule.vecExpr = {samples::call("nosuchfunction")};
                break;
            case 5:
                rule.vecDoFunc.push_back(samples::action("nosuchfunction"));
                break;
            case 6:
                rule.vecExpr = {samples::constant(1)};
                rule.vecExpr[0].vecParam = {samples::integer(1), samples::wrongType(7)};
                break;
            default:
                rule.strNamespace.clear();
        }
    }
    static constexpr std::size_t kWaysToSpoil = 8;
};

TEST_F(FastWay, SoundRandomRulesGiveTheSameFiles) {
    for (std::uint32_t seed = 1; seed <= 40; ++seed) {
        model::RandomPolicy random(seed);
        model::Shape shape;
        shape.keys = 0;
        shape.listLength = 12;
        const model::Policy policy = random.policy(shape);
        CompilerManager manager(policy.numbers);
        ASSERT_EQ(compileBoth(manager, rulesOf(random, policy, shape, 20)), 0) << seed;
        ASSERT_FALSE(HasFailure()) << seed;
    }
}

TEST_F(FastWay, EveryKindOfBadRuleFailsAlike) {
    std::size_t failed = 0;
    for (std::uint32_t seed = 1; seed <= 64; ++seed) {
        model::RandomPolicy random(seed);
        model::Shape shape;
        shape.keys = 0;
        shape.listLength = 6;
        const model::Policy policy = random.policy(shape);
        CompilerManager manager(policy.numbers);
        std::vector<PolicyNode> rules = rulesOf(random, policy, shape, 12);
        PolicyNode& bad = rules[random.below(rules.size())];
        bad.vecSubjectId.assign(2, random.identifier());
        bad.vecObjectId.assign(2, random.identifier());
        spoil(bad, seed % kWaysToSpoil);
        failed += compileBoth(manager, rules) != 0 ? 1U : 0U;
        ASSERT_FALSE(HasFailure()) << seed;
    }
    EXPECT_EQ(failed, 64U);
}

TEST_F(FastWay, MessagesFillAtTheTenThousandthRecordOfAnyRule) {
    std::size_t full = 0;
    for (std::uint32_t seed = 1; seed <= 4; ++seed) {
        model::RandomPolicy random(seed);
        model::Shape shape;
        shape.keys = 0;
        shape.listLength = 130;
        shape.conditionDepth = 0;
        shape.actions = 0;
        const model::Policy policy = random.policy(shape);
        CompilerManager manager(policy.numbers);
        std::vector<PolicyNode> rules = rulesOf(random, policy, shape, 12);
        for (PolicyNode& rule : rules) {
            rule.vecExpr.clear();
            rule.strNamespace = "net";
        }
        ASSERT_EQ(compileBoth(manager, rules), 0) << seed;
        for (const auto& [name, content] : files()) {
            full += content.size() == 1000024 ? 1U : 0U;
        }
        ASSERT_FALSE(HasFailure()) << seed;
    }
    EXPECT_GT(full, 8U) << "this test is about full messages";
}

TEST_F(FastWay, TheMegabyteEndsAtEveryFieldOfALaterRecord) {
    // One rule whose record has appends of every kind. A filler before it moves the end of the megabyte byte by byte
    // through its third record, which is a copy of the first where there is room.
    PolicyNode rule = samples::ruleWithEverything();
    rule.vecSubjectId = {samples::id(1), samples::id(2)};
    rule.vecObjectId = {samples::id(~std::uint64_t{0}, 1), samples::id(3)};
    const std::size_t size = model::record(numbers_, rule, samples::id(1), samples::id(2)).size();
    std::map<std::string, int> complaints;
    for (std::size_t short_ = 0; short_ <= size + 5; ++short_) {
        const std::size_t filler = kCapacity - 20 - 3 * size + short_;
        const int status = compileBoth(manager_, {samples::ruleOfSize(filler - size), rule});
        ASSERT_FALSE(HasFailure()) << short_;
        if (status != 0) {
            ++complaints[testlog::lines().front().text];
        }
    }
    for (const char* field : {"magic_number", "policy_node", "expr", "dynamic name", "expr_para_info",
                              "funcparam.iData", "funcparam.strData", "expr_node"}) {
        EXPECT_GT(complaints["Failed to copy " + std::string(field) + ", buffer full"], 0) << field;
    }
}

TEST_F(FastWay, RandomRulesOverTheMegabyteStopAtTheSameRecord) {
    std::size_t failed = 0;
    for (std::uint32_t seed = 1; seed <= 24; ++seed) {
        model::RandomPolicy random(seed);
        model::Shape shape;
        shape.keys = 0;
        shape.listLength = 16;
        const model::Policy policy = random.policy(shape);
        CompilerManager manager(policy.numbers);
        std::vector<PolicyNode> rules = rulesOf(random, policy, shape, 20);
        for (PolicyNode& rule : rules) {
            if (!rule.vecDoFunc.empty()) {
                rule.vecDoFunc[0].vecParam.push_back(samples::string(std::string(random.below(4000), 'x')));
            }
        }
        failed += compileBoth(manager, rules) != 0 ? 1U : 0U;
        ASSERT_FALSE(HasFailure()) << seed;
    }
    EXPECT_GT(failed, 4U) << "some must be too large";
    EXPECT_LT(failed, 24U) << "some must fit";
}

TEST_F(FastWay, TheEndNumberOfAFullMessageMayLackSpaceAfterCopies) {
    // 9,000 plain records, then 1,000 copies of one that fills the rest up to the given number of bytes.
    for (const std::size_t remaining : {0U, 3U, 4U, 7U}) {
        const std::size_t space = kCapacity - 20 - std::size_t{9000} * 100 - remaining;
        const std::size_t rest = space - std::size_t{999} * 140;
        PolicyNode copies = samples::ruleOfSize(140);
        copies.vecObjectId = ruleOf(999).vecObjectId;
        const int status = compileBoth(manager_, {ruleOf(9000), copies, samples::ruleOfSize(rest)});
        EXPECT_EQ(status, remaining < 4 ? 1 : 0) << remaining;
    }
}

}  // namespace
