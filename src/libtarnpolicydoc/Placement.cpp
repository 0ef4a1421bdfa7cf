#include "libtarnpolicydoc/Placement.h"

#include <algorithm>
#include <set>
#include <unordered_map>

#include "libtarnmessage/RecordSize.h"
#include "libtarnpolicydoc/FileNames.h"
#include "libtarnpolicydoc/RecordWindow.h"
#include "libtarnpolicysync/Paths.h"

namespace policydoc {

namespace {

// Cuts a rule's pairs into rectangles of at most `limit` pairs, subject by subject where one subject has more.
std::vector<PlannedRule> divide(std::uint32_t index, const RuleOutcome& rule, std::uint64_t limit) {
    std::vector<PlannedRule> parts;
    const auto objectsAtOnce = static_cast<std::uint32_t>(std::min<std::uint64_t>(rule.objects, limit));
    const bool wholeRows = objectsAtOnce == rule.objects;
    const auto subjectsAtOnce =
        static_cast<std::uint32_t>(wholeRows ? std::min<std::uint64_t>(rule.subjects, limit / rule.objects) : 1);
    for (std::uint32_t subject = 0; subject < rule.subjects; subject += subjectsAtOnce) {
        for (std::uint32_t object = 0; object < rule.objects; object += objectsAtOnce) {
            parts.push_back({index, subject, std::min(subjectsAtOnce, rule.subjects - subject), object,
                             std::min(objectsAtOnce, rule.objects - object)});
        }
    }
    return parts;
}

class Placement {
public:
    Placement(const PolicyDocument& document, const PlanOptions& options, Plan& plan)
        : document_(document),
          options_(options),
          plan_(plan),
          claims_(options.threads),
          keysOfGroup_(document.groups.size()) {
        for (const RuleGroup& group : document.groups) {
            usedKeys_.insert(group.key);
        }
    }

    void run();

private:
    // Where the next rule of one group, namespace and message group goes.
    struct Series {
        std::size_t keyNumber = 0;  // 0 the group's own key, then its splits
        RecordWindow window;
    };

    Series& seriesOf(const RuleOutcome& rule);
    void place(const PlannedRule& part, const RuleOutcome& rule);
    bool keyIsFull(const RuleOutcome& rule, const Series& series);
    void moveOn(const RuleOutcome& rule, Series& series);
    PlannedKey& keyOf(std::uint32_t group, std::size_t number);
    std::string newKey(const std::string& key);

    const PolicyDocument& document_;
    const PlanOptions& options_;
    Plan& plan_;
    FileNameClaims claims_;
    std::vector<std::vector<PlannedKey>> keysOfGroup_;
    std::set<std::string> usedKeys_;
    std::unordered_map<std::uint64_t, Series> series_;  // by group and message group
};

Placement::Series& Placement::seriesOf(const RuleOutcome& rule) {
    return series_[std::uint64_t{rule.group} << 32U | rule.messageGroup];
}

std::string Placement::newKey(const std::string& key) {
    for (std::uint32_t number = 1;; ++number) {
        std::string candidate = key + "." + std::to_string(number);
        if (usedKeys_.insert(candidate).second) {
            return candidate;
        }
    }
}

PlannedKey& Placement::keyOf(std::uint32_t group, std::size_t number) {
    std::vector<PlannedKey>& keys = keysOfGroup_[group];
    while (keys.size() <= number) {
        const std::string& own = document_.groups[group].key;
        keys.push_back({keys.empty() ? own : newKey(own), group, {}});
    }
    return keys[number];
}

bool Placement::keyIsFull(const RuleOutcome& rule, const Series& series) {
    return options_.maxRulesPerKey != 0 && keyOf(rule.group, series.keyNumber).rules.size() >= options_.maxRulesPerKey;
}

// Goes on to the next key under which this series meets no other file names.
void Placement::moveOn(const RuleOutcome& rule, Series& series) {
    const MessageGroup& names = plan_.messageGroups[rule.messageGroup];
    const std::size_t owner = std::size_t{rule.group} << 32U | rule.messageGroup;
    bool free = false;
    while (!free) {
        ++series.keyNumber;
        const PlannedKey& key = keyOf(rule.group, series.keyNumber);
        free = !claims_.holder(key.key, names.nameSpace, names.group);
        if (free) {
            claims_.claim(owner, key.key, names.nameSpace, names.group);
        }
    }
    series.window = RecordWindow();
}

void Placement::place(const PlannedRule& part, const RuleOutcome& rule) {
    Series& series = seriesOf(rule);
    while (keyIsFull(rule, series) || !series.window.fits(part.records(), rule.recordBytes)) {
        moveOn(rule, series);
    }
    series.window.append(part.records(), rule.recordBytes);
    keyOf(rule.group, series.keyNumber).rules.push_back(part);
}

void Placement::run() {
    // The document's own names come first, so that no split takes one of them.
    for (const RuleOutcome& rule : plan_.rules) {
        if (series_.count(std::uint64_t{rule.group} << 32U | rule.messageGroup) == 0) {
            const MessageGroup& names = plan_.messageGroups[rule.messageGroup];
            claims_.claim(std::size_t{rule.group} << 32U | rule.messageGroup, document_.groups[rule.group].key,
                          names.nameSpace, names.group);
            seriesOf(rule);
        }
    }
    for (std::uint32_t group = 0; group < document_.groups.size(); ++group) {
        keyOf(group, 0);
    }
    for (std::uint32_t index = 0; index < plan_.rules.size(); ++index) {
        const RuleOutcome& rule = plan_.rules[index];
        if (fitsAlone(rule.records(), rule.recordBytes)) {
            place({index, 0, rule.subjects, 0, rule.objects}, rule);
            continue;
        }
        plan_.dividedRules.push_back(index);
        for (const PlannedRule& part : divide(index, rule, tarnmessage::kMessageRoom / rule.recordBytes)) {
            place(part, rule);
        }
    }
    for (std::vector<PlannedKey>& keys : keysOfGroup_) {
        std::move(keys.begin(), keys.end(), std::back_inserter(plan_.keys));
    }
}

}  // namespace

void placeAsGiven(const PolicyDocument& document, Plan& plan) {
    for (std::uint32_t group = 0; group < document.groups.size(); ++group) {
        plan.keys.push_back({document.groups[group].key, group, {}});
    }
    for (std::uint32_t index = 0; index < plan.rules.size(); ++index) {
        const RuleOutcome& rule = plan.rules[index];
        plan.keys[rule.group].rules.push_back({index, 0, rule.subjects, 0, rule.objects});
    }
}

void placeAsSection(const PolicyDocument& document, const MessageGroup& section, Plan& plan) {
    if (plan.rules.empty()) {
        return;
    }
    PlannedKey key;
    for (std::uint32_t index = 0; index < plan.rules.size(); ++index) {
        key.rules.push_back({index, 0, plan.rules[index].subjects, 0, plan.rules[index].objects});
    }
    const auto keyOf = [&](const PlannedRule& part) -> const std::string& {
        return document.groups[plan.rules[part.rule].group].key;
    };
    std::stable_sort(key.rules.begin(), key.rules.end(),
                     [&](const PlannedRule& a, const PlannedRule& b) { return keyOf(a) < keyOf(b); });
    key.group = plan.rules[key.rules.back().rule].group;
    key.key = paths::sectionKey(keyOf(key.rules.back()), section.nameSpace, section.group);
    plan.keys.push_back(std::move(key));
}

void placeWithSplits(const PolicyDocument& document, const PlanOptions& options, Plan& plan) {
    Placement(document, options, plan).run();
}

}  // namespace policydoc
