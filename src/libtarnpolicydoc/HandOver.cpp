#include <algorithm>
#include <map>
#include <tuple>

#include "libtarnpolicydoc/Plan.h"
#include "libtarnpolicydoc/Rules.h"

namespace policydoc {

namespace {

struct Step {
    std::uint32_t rule;
    std::uint32_t key;
    std::uint32_t position;  // in the key's list
};

// Every rule or part with its key, in the order in which the walk meets the rules.
std::vector<Step> stepsOf(const Plan& plan) {
    std::vector<Step> steps;
    steps.reserve(plan.rules.size());
    for (std::uint32_t key = 0; key < plan.keys.size(); ++key) {
        for (std::uint32_t position = 0; position < plan.keys[key].rules.size(); ++position) {
            steps.push_back({plan.keys[key].rules[position].rule, key, position});
        }
    }
    std::sort(steps.begin(), steps.end(), [](const Step& a, const Step& b) {
        return std::tie(a.rule, a.key, a.position) < std::tie(b.rule, b.key, b.position);
    });
    return steps;
}

std::vector<TARN_ID> cut(const std::vector<TARN_ID>& ids, std::uint32_t first, std::uint32_t count) {
    const auto begin = ids.begin() + first;
    return std::vector<TARN_ID>(begin, begin + count);
}

// Collects the rules of every key and gives a group away as soon as its last rule was met.
class HandOver {
public:
    HandOver(const PolicyDocument& document, const Plan& plan, const Labels& labels, const GroupTaker& take)
        : document_(document),
          plan_(plan),
          labels_(labels),
          take_(take),
          steps_(stepsOf(plan)),
          dbs_(plan.keys.size()),
          left_(document.groups.size(), 0) {
        for (const RuleOutcome& rule : plan.rules) {
            ++left_[rule.group];
        }
    }

    // Groups without rules are handed over, too: they replace what a host had under their keys.
    bool giveEmptyGroups() {
        for (std::uint32_t group = 0; group < left_.size(); ++group) {
            if (left_[group] == 0 && !give(group)) {
                return false;
            }
        }
        return true;
    }

    bool visit(const LocatedRule& located) {
        while (next_ < steps_.size() && steps_[next_].rule == ruleIndex_) {
            add(located, steps_[next_++]);
        }
        ++ruleIndex_;
        return --left_[located.group] != 0 || give(located.group);
    }

    bool complete() const { return ruleIndex_ == plan_.rules.size(); }

private:
    void add(const LocatedRule& located, const Step& step);
    bool give(std::uint32_t group);

    const PolicyDocument& document_;
    const Plan& plan_;
    const Labels& labels_;
    const GroupTaker& take_;
    std::vector<Step> steps_;
    std::size_t next_ = 0;
    std::uint32_t ruleIndex_ = 0;
    std::vector<PolicyDb> dbs_;
    std::vector<std::uint64_t> left_;  // rules of each group that are still to come
};

void HandOver::add(const LocatedRule& located, const Step& step) {
    const PlannedRule& part = plan_.keys[step.key].rules[step.position];
    const RuleOutcome& whole = plan_.rules[part.rule];
    PolicyDb& db = dbs_[step.key];
    db.vecPolicy.reserve(plan_.keys[step.key].rules.size());
    db.vecPolicy.push_back(located.rule);
    if (part.records() == whole.records()) {
        return;
    }
    PolicyNode& rule = db.vecPolicy.back();
    resolve(rule, labels_);
    rule.vecSubjectId = cut(rule.vecSubjectId, part.firstSubject, part.subjects);
    rule.vecObjectId = cut(rule.vecObjectId, part.firstObject, part.objects);
    // With the flags set the library takes the identifiers as they are and does not look at names.
    rule.bSubjectFlag = true;
    rule.bObjectFlag = true;
    rule.vecSubjectName.clear();
    rule.vecObjectName.clear();
}

bool HandOver::give(std::uint32_t group) {
    for (std::size_t key = 0; key < plan_.keys.size(); ++key) {
        if (plan_.keys[key].group != group) {
            continue;
        }
        PolicyDb db = std::move(dbs_[key]);
        dbs_[key] = PolicyDb();
        const auto& words = document_.groups[group].words;
        std::tie(db.uiFirst, db.uiSecond, db.uiThird) = std::tie(words[0], words[1], words[2]);
        if (!take_(plan_.keys[key].key, db)) {
            return false;
        }
    }
    return true;
}

}  // namespace

bool handOver(const PolicyDocument& document, const Plan& plan, const Labels& labels, Diagnostics& diagnostics,
              const GroupTaker& take) {
    HandOver work(document, plan, labels, take);
    if (!work.giveEmptyGroups()) {
        return false;
    }
    const bool read =
        forEachRule(document, false, diagnostics, [&work](const LocatedRule& located) { return work.visit(located); });
    return read && work.complete();
}

bool handOverSection(const PolicyDocument& document, const Plan& plan, const MessageGroup& section,
                     Diagnostics& diagnostics, const GroupTaker& take) {
    std::map<std::string, PolicyDb> groups;
    std::size_t count = 0;
    const bool read = forEachRule(document, false, diagnostics, [&](const LocatedRule& located) {
        if (located.rule.strNamespace == section.nameSpace && located.rule.strGroup == section.group) {
            const RuleGroup& group = document.groups[located.group];
            PolicyDb& db = groups[group.key];
            std::tie(db.uiFirst, db.uiSecond, db.uiThird) = std::tie(group.words[0], group.words[1], group.words[2]);
            db.vecPolicy.push_back(located.rule);
            ++count;
        }
        return true;
    });
    return read && count == plan.rules.size() &&
           std::all_of(groups.begin(), groups.end(), [&take](auto& entry) { return take(entry.first, entry.second); });
}

}  // namespace policydoc
