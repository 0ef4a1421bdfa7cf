// The later records of a rule are made from its first one, and in the compilation of a table also those of the rules after
// it that differ in identifiers alone. Here the same rules go the plain way, one call of makeSinglePolicy for each pair:
// files, log lines and status must be the same, whatever fails and wherever the megabyte ends.
#include <filesystem>
#include <map>
#include <set>
#include <tuple>

#include "Common/Common.h"
#include "CompilerThread.h"
#include "support/Files.h"
#include "support/RandomPolicy.h"

namespace {

using testbytes::sameFiles;
using testlog::Line;

class PlainThread {
public:
    PlainThread(CompilerManager& manager, std::string prefix) : manager_(manager), prefix_(std::move(prefix)) {}

    int compile(const std::vector<PolicyNode>& rules) {
        testlog::clear();
        const int status = compileAll(rules);
        lines_ = testlog::lines();
        if (!complaint_.empty()) {
            lines_.push_back({1, complaint_});
        }
        return status;
    }
    const model::Files& files() const { return files_; }
    const std::vector<Line>& lines() const { return lines_; }

private:
    static constexpr std::size_t kRecords = 10000;

    struct Message {
        std::size_t records = 0;
        std::size_t index = 0;
        OutputBuffer buffer{OutputBuffer::kCapacity - 20};
    };
    using Key = std::tuple<std::string, std::string>;  // group, namespace

    int compileAll(const std::vector<PolicyNode>& rules) {
        for (const PolicyNode& rule : rules) {
            if (const int status = addPairs(rule)) {
                return status;
            }
        }
        for (auto& [key, message] : messages_) {
            const std::size_t remaining = OutputBuffer::kCapacity - message.buffer.used;
            if (message.records != 0 && remaining < 4) {
                complaint_ = "Not enough space for end_number, need 4, remaining " + std::to_string(remaining);
                return 1;
            }
            finish(key, message);
        }
        return 0;
    }
    int addPairs(const PolicyNode& rule) {
        const Key key(rule.strGroup, rule.strNamespace);
        Message& message = messages_[key];
        for (const TARN_ID& subject : rule.vecSubjectId) {
            for (const TARN_ID& object : rule.vecObjectId) {
                const unsigned int status =
                    manager_.makeSinglePolicy(rule, subject, object, message.buffer.cursor, message.buffer.used);
                if (status != 0) {
                    complaint_ = "###ERROR: in compileKernelPolicyThread, makeSinglePolicy error";
                    return static_cast<int>(status);
                }
                if (++message.records == kRecords) {
                    finish(key, message);
                }
            }
        }
        return 0;
    }
    void finish(const Key& key, Message& message) {
        if (message.records == 0) {
            return;
        }
        const std::string records = message.buffer.appended();
        const auto count = static_cast<std::uint32_t>(message.records);
        files_[prefix_ + "_" + std::get<1>(key) + "_" + std::get<0>(key) + "_" + std::to_string(message.index)] =
            model::header(static_cast<std::uint32_t>(24 + records.size()), 96, count, 3) + records +
            model::words({0x1234FFFF});
        message.buffer.used = message.buffer.start;
        message.buffer.cursor = message.buffer.storage.data() + message.buffer.start;
        message.records = 0;
        ++message.index;
    }

    CompilerManager& manager_;
    std::string prefix_;
    std::map<Key, Message> messages_;
    model::Files files_;
    std::vector<Line> lines_;
    std::string complaint_;
};

// A rule like this one that makes a single record of this many bytes, at least 128.
PolicyNode filler(PolicyNode rule, std::size_t bytes) {
    ExprNode node = samples::constant(0);
    node.vecParam = {samples::string(std::string(bytes - 128, 'x'))};
    rule.vecExpr = {node};
    rule.vecDoFunc.clear();
    rule.vecSubjectId = {samples::id(1)};
    rule.vecObjectId = {samples::id(2)};
    return rule;
}

class LaterPairs : public CompilerThread {
protected:
    // By the plain way, by one compiler thread, and in a table; the lines of the plain way come back.
    std::vector<Line> sameThreeWays(CompilerManager& manager, const std::vector<PolicyNode>& rules) {
        PlainThread plain(manager, "base_0");
        const int status = plain.compile(rules);
        clear();
        EXPECT_EQ(manager.compileKernelPolicyThread("base_0", rules, paths::kPolicyDataTmp, results_, mutex_), status);
        EXPECT_EQ(testlog::lines(), plain.lines());
        EXPECT_TRUE(sameFiles(plain.files(), files()));
        clear();
        PolicyDb group;
        group.vecPolicy = rules;
        manager.addPolicy("base", group);
        std::vector<Line> lines = plain.lines();
        if (status != 0) {
            lines.push_back({1, "###ERROR: in compileKernelPolicyMsg, process base error"});
        }
        EXPECT_EQ(manager.compileKernelPolicyMsg(), status == 0 ? 0 : 1);
        EXPECT_EQ(testlog::lines(), lines);
        EXPECT_TRUE(sameFiles(plain.files(), files()));
        return plain.lines();
    }

private:
    void clear() {
        for (const std::string& name : names()) {
            EXPECT_TRUE(std::filesystem::remove(paths::inDirectory(paths::kPolicyDataTmp, name)));
        }
        testlog::clear();
    }
};

// Bytes left for a record: those with which each of its appends lacks everything or one byte, and those around its end.
std::set<std::size_t> remainders(const std::vector<model::Piece>& pieces) {
    std::set<std::size_t> result;
    std::size_t size = 0;
    for (const model::Piece& piece : pieces) {
        result.insert(size);
        size += piece.bytes.size();
        result.insert(size - 1);
    }
    for (std::size_t more = 0; more <= 4; ++more) {
        result.insert(size + more);
    }
    return result;
}

TEST_F(LaterPairs, FailAsTheFirstAtEveryFieldOfTheirRecord) {
    PolicyNode rule = samples::ruleWithEverything();
    rule.vecObjectId = {samples::id(4, 5, 6), samples::id(~std::uint64_t{0}, 5, 6)};
    const std::size_t size = model::record(numbers_, rule, samples::id(1), samples::id(2)).size();
    std::set<std::string> complaints;
    for (const std::size_t remaining : remainders(model::pieces(numbers_, rule, samples::id(1), samples::id(2)))) {
        const std::vector<Line> lines =
            sameThreeWays(manager_, {filler(rule, kCapacity - 20 - size - remaining), rule});
        ASSERT_FALSE(HasFailure()) << remaining << " bytes left for the second record";
        ASSERT_EQ(lines.empty(), remaining == size + 4);
        // What failed, and in which part of the record.
        if (!lines.empty()) {
            complaints.insert(lines.front().text + (lines.size() == 3 ? " / " + lines[1].text : ""));
        }
    }
    const std::string inCondition = " / ####ERROR: in func makeSinglePolicy, makeSingleExprPolicy error";
    const std::string inAction = " / ####ERROR: in func makeSinglePolicy, makeSingleDoFuncPolicy error";
    EXPECT_EQ(complaints, (std::set<std::string>{
                              "Failed to copy magic_number, buffer full",
                              "Failed to copy policy_node, buffer full",
                              "Failed to copy expr, buffer full" + inCondition,
                              "Failed to copy dynamic name, buffer full" + inCondition,
                              "Failed to copy expr_para_info, buffer full" + inCondition,
                              "Failed to copy funcparam.iData, buffer full" + inCondition,
                              "Failed to copy funcparam.strData, buffer full" + inCondition,
                              "Failed to copy expr_node, buffer full" + inAction,
                              "Failed to copy expr_para_info, buffer full" + inAction,
                              "Failed to copy funcparam.iData, buffer full" + inAction,
                              "Failed to copy funcparam.strData, buffer full" + inAction,
                              "Not enough space for end_number, need 4, remaining 0",
                              "Not enough space for end_number, need 4, remaining 1",
                              "Not enough space for end_number, need 4, remaining 2",
                              "Not enough space for end_number, need 4, remaining 3",
                          }));
}

// Changes a rule in one thing that its records show.
using Change = void (*)(PolicyNode&);
const std::vector<Change> kChanges = {
    [](PolicyNode& rule) { rule.uiAttrA ^= 1; },
    [](PolicyNode& rule) { rule.uiAttrB ^= 1; },
    [](PolicyNode& rule) { rule.sPermClass = "dir"; },
    [](PolicyNode& rule) { rule.sPerm = "write"; },
    [](PolicyNode& rule) { rule.strNamespace = "net"; },
    [](PolicyNode& rule) { rule.strGroup = "other"; },
    [](PolicyNode& rule) { rule.strModuleName = "other"; },
    [](PolicyNode& rule) { rule.uiExt[0] ^= 1; },
    [](PolicyNode& rule) { rule.uiExt[4] ^= 1; },
    [](PolicyNode& rule) { rule.vecExpr[0].uiValue ^= 1; },
    [](PolicyNode& rule) { rule.vecExpr[1].strVarName += "w"; },
    [](PolicyNode& rule) { rule.vecExpr[2].uiExprType = 3; },
    [](PolicyNode& rule) { rule.vecExpr[3].strFuncName = "f"; },
    [](PolicyNode& rule) { rule.vecExpr[3].vecParam[0].iData ^= 1; },
    [](PolicyNode& rule) { rule.vecExpr[3].vecParam[0].uiParamType = 3; },  // a text of no bytes, the number unread
    [](PolicyNode& rule) { rule.vecExpr[3].vecParam[1].strData += "c"; },
    [](PolicyNode& rule) { rule.vecExpr[3].vecParam.pop_back(); },
    [](PolicyNode& rule) { rule.vecExpr.clear(); },
    [](PolicyNode& rule) { rule.vecDoFunc[0].strFuncName = "g"; },
    [](PolicyNode& rule) { rule.vecDoFunc[0].vecParam[0] = samples::integer(3); },
    [](PolicyNode& rule) { rule.vecDoFunc[0].vecParam[1].iData ^= 1; },
    [](PolicyNode& rule) { rule.vecDoFunc.pop_back(); },
};

// They come where identifiers of neighbours lie side by side in the copy, which those of the first few don't.
TEST_F(LaterPairs, OfRulesInARunThatDifferInOneThingShowIt) {
    for (std::size_t index = 0; index < kChanges.size(); ++index) {
        std::vector<PolicyNode> rules(14, samples::ruleWithEverything());
        for (const std::size_t changed : {1U, 2U, 9U, 10U, 12U}) {
            kChanges[index](rules[changed]);
        }
        rules[2].vecSubjectId.push_back(samples::id(index));
        sameThreeWays(manager_, rules);
        ASSERT_FALSE(HasFailure()) << "change " << index;
    }
}

// A longer record comes first, so that no record of the second message stands where one of the first stood.
TEST_F(LaterPairs, OfARunGoOnInTheNextMessage) {
    std::vector<PolicyNode> rules(10103, samples::rule());
    for (std::size_t index = 0; index < rules.size(); ++index) {
        rules[index].vecObjectId = {samples::id(index)};
    }
    rules[5000].vecSubjectId.clear();
    rules[0].vecDoFunc = {samples::action("g")};
    EXPECT_TRUE(sameThreeWays(manager_, rules).empty());
    EXPECT_EQ(names().size(), 2U);
}

// As many identifiers may be shared out otherwise; and the next rule may have as many as the last.
TEST_F(LaterPairs, OfARunHaveTheIdentifiersOfTheirRule) {
    const std::vector<std::pair<std::size_t, std::size_t>> counts = {{1, 1}, {1, 1}, {2, 1}, {1, 2}, {1, 2},
                                                                     {0, 3}, {3, 0}, {0, 0}, {1, 1}, {4, 4}};
    std::vector<PolicyNode> rules(1000, samples::rule());
    std::uint64_t next = 0;
    for (std::size_t index = 0; index < rules.size(); ++index) {
        const auto [subjects, objects] = counts[index % counts.size()];
        rules[index].vecSubjectId.resize(subjects);
        rules[index].vecObjectId.resize(objects);
        for (std::vector<TARN_ID>* identifiers : {&rules[index].vecSubjectId, &rules[index].vecObjectId}) {
            for (TARN_ID& identifier : *identifiers) {
                ++next;
                identifier = samples::id(next, next % 3);
            }
        }
    }
    EXPECT_TRUE(sameThreeWays(manager_, rules).empty());
}

TEST_F(LaterPairs, OfARunFailAsTheFirstWhereTheMessageIsFull) {
    PolicyNode rule = samples::ruleWithEverything();
    const std::size_t size = model::record(numbers_, rule, samples::id(1), samples::id(2)).size();
    for (const std::size_t remaining : {std::size_t{0}, size - 1, size, size + 3, size + 4}) {
        const std::vector<Line> lines =
            sameThreeWays(manager_, {filler(rule, kCapacity - 20 - size - remaining), rule, rule});
        EXPECT_EQ(lines.empty(), remaining == size + 4) << remaining;
    }
}

// One of many ways in which a host can get a rule wrong, or none.
void spoil(PolicyNode& rule, std::size_t way) {
    if (way == 0) {
        rule.sPerm = "nosuch";
    } else if (way == 1) {
        rule.sPermClass = "nosuch";
    } else if (way == 2 && !rule.vecDoFunc.empty()) {
        rule.vecDoFunc.back().strFuncName = "nosuch";
    } else if (way == 3 && !rule.vecDoFunc.empty()) {
        rule.vecDoFunc.back().vecParam.push_back(samples::wrongType(9));
    } else if (way == 4 && !rule.vecExpr.empty()) {
        rule.vecExpr.back().vecParam.push_back(samples::wrongType(0));
    } else if (way == 5) {
        rule.vecExpr.insert(rule.vecExpr.begin(), samples::node(2));
    } else if (way == 6) {
        rule.strNamespace.clear();
    }
}

TEST_F(LaterPairs, OfRandomRulesEqualThePlainWay) {
    model::RandomPolicy random(20240607);
    model::Shape shape;
    shape.keys = 0;
    const model::Policy policy = random.policy(shape);
    CompilerManager manager(policy.numbers);
    std::map<std::string, int> outcomes;
    for (int round = 0; round < 200; ++round) {
        std::vector<PolicyNode> rules(1 + random.below(6));
        for (std::size_t index = 0; index < rules.size(); ++index) {
            rules[index] = random.rule(policy, shape);
            spoil(rules[index], random.below(25));
            if (index > 0 && random.below(2) == 0) {  // a run
                rules[index - 1].vecSubjectId.swap(rules[index].vecSubjectId);
                rules[index] = rules[index - 1];
                rules[index].vecObjectId.push_back(samples::id(random.below(100)));
            }
        }
        // In every fourth round the message is nearly full, so that some record or the end number has no space.
        if (round % 4 == 0) {
            rules.insert(rules.begin(), filler(rules.back(), kCapacity - 20 - random.below(3000)));
        }
        const std::vector<Line> lines = sameThreeWays(manager, rules);
        ASSERT_FALSE(HasFailure()) << "round " << round;
        std::string outcome = lines.empty() ? "compiled" : lines.front().text;
        ++outcomes[outcome.substr(0, outcome.find(", need"))];
    }
    // The comparison is worth something only when all this occurs.
    EXPECT_GT(outcomes["compiled"], 20);
    EXPECT_GT(outcomes.size(), 10U);
    for (const std::string text :
         {"###ERROR: in func transPerm, wrong permission nosuch.", "####ERROR: parameter type error.",
          "####ERROR: 参数类型错误.",
          "####ERROR: in func postToPreFix, stack has less than 2 elements for binary operator",
          "Failed to copy policy_node, buffer full"}) {
        EXPECT_GT(outcomes[text], 0) << text;
    }
}

}  // namespace
