#include "Verification.h"

#include <optional>
#include <set>

#include "CompiledSet.h"
#include "Failure.h"
#include "libtarnmessage/SetReader.h"
#include "libtarnpolicysync/Paths.h"

namespace {

// FNV-1a over the words of identifiers: fast, and a mix-up of two rules by chance is out of the question.
class PairDigest {
public:
    void add(const TARN_ID& subject, const TARN_ID& object) {
        for (const TARN_ID* id : {&subject, &object}) {
            for (const std::uint64_t word : id->uiWord) {
                value_ = (value_ ^ word) * kPrime;
                value_ ^= value_ >> kFold;
            }
        }
    }
    std::uint64_t value() const { return value_; }

private:
    static constexpr std::uint64_t kPrime = 0x100000001b3;
    static constexpr unsigned int kFold = 29;
    std::uint64_t value_ = 0xcbf29ce484222325;
};

std::uint64_t digestOf(const PolicyNode& rule) {
    PairDigest digest;
    for (const TARN_ID& subject : rule.vecSubjectId) {
        for (const TARN_ID& object : rule.vecObjectId) {
            digest.add(subject, object);
        }
    }
    return digest.value();
}

// Walks over the records of one key and message group, message after message, and ticks the rules off.
class RuleWalk : public tarnmessage::MessageVisitor {
public:
    explicit RuleWalk(const std::vector<ExpectedRecords::Rule>& rules) : rules_(rules) {}

    void onPolicy(const tarnmessage::PolicyRecordView& record) override {
        if (off_ || next_ == rules_.size()) {
            off_ = true;
            return;
        }
        digest_.add(record.node.subject, record.node.object);
        if (++taken_ < rules_[next_].records) {
            return;
        }
        if (digest_.value() != rules_[next_].digest) {
            off_ = true;
            return;
        }
        ++next_;
        taken_ = 0;
        digest_ = PairDigest();
    }

    bool complete() const { return !off_ && next_ == rules_.size(); }
    // Index of the first rule whose records are not there as expected; the number of rules where records are left over.
    std::size_t firstMissing() const { return next_; }

private:
    const std::vector<ExpectedRecords::Rule>& rules_;
    std::size_t next_ = 0;
    std::uint64_t taken_ = 0;
    PairDigest digest_;
    bool off_ = false;
};

std::string counted(std::size_t count, const char* one, const char* many) {
    return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string whatIsWrong(const tarnmessage::FileReport& file) {
    return file.name + ": " + (file.finding ? tarnmessage::toText(*file.finding) : file.problem);
}

class SetComparison {
public:
    SetComparison(const Preparation& prepared, const ExpectedRecords& expected, unsigned int threads)
        : prepared_(prepared), expected_(expected), threads_(threads) {
        const std::string tag =
            prepared.section ? paths::sectionTag(prepared.section->nameSpace, prepared.section->group) : "";
        for (const std::string& name : messagesInOrder()) {
            if (!paths::isFrameMessage(name) && name.find(tag) != std::string::npos) {
                left_.insert(name);
            }
        }
    }

    // One line for each stretch of rules that is not in the set as expected.
    std::vector<std::string> run() {
        std::vector<std::string> missing;
        for (const policydoc::PlannedKey& key : prepared_.plan.keys) {
            for (std::uint32_t group = 0; group < prepared_.plan.messageGroups.size(); ++group) {
                const auto& rules = expected_.of(key.key, group);
                if (!rules.empty()) {
                    compare(key, group, rules, missing);
                }
            }
        }
        for (const std::string& name : left_) {
            missing.push_back(name + ": a message of the set that no rule of the policy gives");
        }
        return missing;
    }

private:
    void compare(const policydoc::PlannedKey& key, std::uint32_t group, const std::vector<ExpectedRecords::Rule>& rules,
                 std::vector<std::string>& missing) {
        RuleWalk walk(rules);
        for (unsigned int slice = 0; slice < threads_; ++slice) {
            walkSlice(key.key, slice, prepared_.plan.messageGroups[group], walk);
        }
        if (walk.complete()) {
            return;
        }
        if (walk.firstMissing() == rules.size()) {
            missing.push_back("key " + key.key + ": the set holds records beyond those of its last rule");
            return;
        }
        const ExpectedRecords::Rule& rule = rules[walk.firstMissing()];
        missing.push_back(policydoc::ruleName(prepared_.document, prepared_.plan.rules[rule.outcome]) +
                          ": the set does not hold the " + counted(rule.records, "record", "records") +
                          " of this rule in the expected place" + andMore(rules.size() - walk.firstMissing() - 1));
    }

    static std::string andMore(std::size_t count) {
        return count == 0 ? "" : "; " + counted(count, "rule", "rules") + " after it not accounted for";
    }

    void walkSlice(const std::string& key, unsigned int slice, const policydoc::MessageGroup& group, RuleWalk& walk) {
        const std::string prefix = paths::slicePrefix(paths::keyStem(key), slice);
        std::string bytes;
        for (int index = 0;; ++index) {
            const std::string name = paths::policyFileName(prefix, group.nameSpace, group.group, index);
            if (left_.erase(name) == 0) {
                return;
            }
            if (tarnmessage::readMessageFile(paths::inDirectory(paths::kPolicyDataTmp, name), bytes) == 0) {
                static_cast<void>(tarnmessage::parseMessage(bytes, {}, walk));  // known to be sound
            }
        }
    }

    const Preparation& prepared_;
    const ExpectedRecords& expected_;
    unsigned int threads_;
    std::set<std::string> left_;
};

// Names have been asked for twice, for the plan and by the compilation. Where the answers differ, the rules that give
// nothing by now are named.
void nameRulesWithoutRecordsNow(const Preparation& prepared, Report& report) {
    policydoc::Diagnostics unused;
    policydoc::PlanOptions options;
    options.section = prepared.section;
    const std::optional<policydoc::Labels> labels = policydoc::askLabelManager(prepared.document, unused);
    const std::optional<policydoc::Plan> plan =
        labels ? policydoc::makePlan(prepared.document, *labels, options, unused) : std::nullopt;
    if (!plan) {
        return;
    }
    for (const std::uint32_t index : plan->withoutRecords) {
        const std::string name = policydoc::ruleName(prepared.document, plan->rules[index]);
        report.fact("emptyRules").append(Json::Value(Json::objectValue))["rule"] = name;
        report.words(name + ": the rule gives no record by what the label manager answers now");
    }
}

}  // namespace

void requireSoundSet(Report& report, const CheckedSet& checked) {
    const tarnmessage::SetReport set = tarnmessage::readSet(checked.directory);
    if (set.sound()) {
        return;
    }
    Json::Value& fact = report.fact("setProblems");
    fact = Json::Value(Json::arrayValue);
    std::string first = set.problem;
    for (const tarnmessage::FileReport& file : set.files) {
        if (!file.sound()) {
            const std::string text = whatIsWrong(file);
            fact.append(text);
            report.words(text);
            first = first.empty() ? text : first;
        }
    }
    throw Failure(ExitCode::kUnsoundSet, "use the set " + checked.directory, first, checked.advice);
}

void requireWholeSet(Report& report, const CheckedSet& checked) {
    const std::vector<std::string> listed =
        checked.directory == paths::kPolicyDataTmp ? FullCompilationNote::messages() : std::vector<std::string>();
    const std::vector<std::string> missing = missingMessages(checked.directory, listed);
    if (missing.empty()) {
        return;
    }
    for (const std::string& name : missing) {
        const std::string text = name + ": the message is missing";
        report.fact("setProblems").append(text);
        report.words(text);
    }
    throw Failure(ExitCode::kUnsoundSet, "use the set " + checked.directory,
                  missing.front() + ": the message is missing",
                  checked.advice +
                      (!listed.empty() ? std::string("; where another program has compiled this set, remove ") +
                                             FullCompilationNote::kPath + ", which lists the messages of an earlier one"
                                       : ""));
}

void requireFinishedCompilation(const std::string& advice) {
    if (FullCompilationNote::unfinished()) {
        throw Failure(ExitCode::kUnsoundSet, std::string("use the set ") + paths::kPolicyDataTmp,
                      "its compilation was ended before the set had been compared with the policy", advice);
    }
}

void ExpectedRecords::add(const Preparation& prepared, const policydoc::PlannedKey& key, const PolicyDb& group,
                          std::size_t first) {
    for (std::size_t index = 0; index < group.vecPolicy.size(); ++index) {
        const policydoc::PlannedRule& planned = key.rules[first + index];
        const std::uint32_t outcome = planned.rule;
        const auto records = static_cast<std::uint32_t>(planned.records());
        if (records == 0) {
            continue;
        }
        PolicyNode rule = group.vecPolicy[index];
        policydoc::resolve(rule, prepared.labels);
        rules_[{key.key, prepared.plan.rules[outcome].messageGroup}].push_back({outcome, records, digestOf(rule)});
    }
}

const std::vector<ExpectedRecords::Rule>& ExpectedRecords::of(const std::string& key,
                                                              std::uint32_t messageGroup) const {
    static const std::vector<Rule> kNone;
    const auto found = rules_.find({key, messageGroup});
    return found == rules_.end() ? kNone : found->second;
}

void verifySet(const Preparation& prepared, const ExpectedRecords& expected, unsigned int threads, Report& report) {
    requireSoundSet(report);
    const std::vector<std::string> missing = SetComparison(prepared, expected, threads).run();
    if (missing.empty()) {
        return;
    }
    Json::Value& fact = report.fact("missingRecords");
    fact = Json::Value(Json::arrayValue);
    for (const std::string& text : missing) {
        fact.append(text);
        report.words(text);
    }
    nameRulesWithoutRecordsNow(prepared, report);
    throw Failure(ExitCode::kEmptyRules, "find every rule of the policy in the compiled set", missing.front(),
                  "nothing was sent; the label manager may have answered the compilation in another way than the check "
                  "before it: run this again");
}
