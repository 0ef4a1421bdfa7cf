#include "libtarnpolicydoc/Plan.h"

#include <algorithm>
#include <limits>
#include <set>
#include <tuple>
#include <unordered_map>

#include "libtarnmessage/RecordSize.h"
#include "libtarnpolicydoc/FileNames.h"
#include "libtarnpolicydoc/MessageLayout.h"
#include "libtarnpolicydoc/Placement.h"
#include "libtarnpolicydoc/Report.h"
#include "libtarnpolicydoc/Rules.h"

namespace policydoc {

namespace {

constexpr std::uint64_t kProgressStep = 4096;

// Fills a plan from the document, step by step.
class Planner {
public:
    Planner(const PolicyDocument& document, const Labels& labels, const PlanOptions& options, Diagnostics& diagnostics)
        : document_(document), labels_(labels), options_(options), diagnostics_(diagnostics) {}

    std::optional<Plan> run();

private:
    bool collectRules();
    bool isWanted(const LocatedRule& located);
    void collect(const LocatedRule& located);
    std::uint32_t messageGroupOf(const PolicyNode& rule);
    void sumUp();
    void findOverflows();
    void findBadNames();
    Reporter reporter(Place place) { return Reporter(&diagnostics_, document_.files[place.file].name); }
    std::string pointerOf(const RuleOutcome& rule) const {
        return rulePointer(document_.groups[rule.group], rule.place, rule.indexInSource);
    }

    const PolicyDocument& document_;
    const Labels& labels_;
    const PlanOptions& options_;
    Diagnostics& diagnostics_;
    Plan plan_;
    std::unordered_map<std::string, std::uint32_t> messageGroupIndex_;
    std::set<std::tuple<std::string, std::string, std::string>> othersSeen_;
};

std::uint32_t Planner::messageGroupOf(const PolicyNode& rule) {
    const auto next = static_cast<std::uint32_t>(plan_.messageGroups.size());
    const auto [entry, added] =
        messageGroupIndex_.emplace(rule.strNamespace + std::string(1, '\0') + rule.strGroup, next);
    if (added) {
        plan_.messageGroups.push_back({rule.strNamespace, rule.strGroup});
    }
    return entry->second;
}

// False for a rule outside of the section that is planned.
bool Planner::isWanted(const LocatedRule& located) {
    const MessageGroup names{located.rule.strNamespace, located.rule.strGroup};
    if (!options_.section || names == *options_.section) {
        return true;
    }
    const std::string& key = document_.groups[located.group].key;
    if (othersSeen_.emplace(key, names.nameSpace, names.group).second) {
        plan_.others.push_back({key, names});
    }
    return false;
}

void Planner::collect(const LocatedRule& located) {
    if (!isWanted(located)) {
        return;
    }
    PolicyNode rule = located.rule;
    resolve(rule, labels_);
    RuleOutcome outcome;
    outcome.group = located.group;
    outcome.indexInGroup = located.indexInGroup;
    outcome.indexInSource = located.indexInSource;
    outcome.place = located.place;
    outcome.messageGroup = messageGroupOf(rule);
    outcome.subjects = static_cast<std::uint32_t>(rule.vecSubjectId.size());
    outcome.objects = static_cast<std::uint32_t>(rule.vecObjectId.size());
    const std::uint64_t bytes = tarnmessage::encodedRecordSize(rule);
    if (bytes > tarnmessage::kMessageRoom) {
        reporter(located.place)
            .mistake(Path(pointerOf(outcome)), located.place.line,
                     {"record-size", "one record of this rule takes " + std::to_string(bytes) + " bytes",
                      "at most " + std::to_string(tarnmessage::kMessageRoom) + " bytes, what one message can hold",
                      "shorten its condition, its actions or their parameters, or make several rules of it"});
    }
    outcome.recordBytes =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(bytes, std::numeric_limits<std::uint32_t>::max()));
    if (outcome.records() == 0) {
        plan_.withoutRecords.push_back(static_cast<std::uint32_t>(plan_.rules.size()));
    }
    plan_.records += outcome.records();
    plan_.rules.push_back(outcome);
}

bool Planner::collectRules() {
    const bool complete = forEachRule(document_, false, diagnostics_, [this](const LocatedRule& located) {
        collect(located);
        if (plan_.rules.size() % kProgressStep == 0 && options_.progress) {
            options_.progress(plan_.rules.size());
        }
        return true;
    });
    if (options_.progress) {
        options_.progress(plan_.rules.size());
    }
    return complete;
}

void Planner::sumUp() {
    plan_.files = planFiles(plan_, options_.threads);
    for (const PlannedFile& file : plan_.files) {
        plan_.bytes += file.bytes;
    }
    plan_.namespaceMessageBytes = tarnmessage::kMessageFrameSize;
    for (const NamespaceEntry& entry : document_.namespaces) {
        std::vector<std::string> functions;
        for (const FunctionEntry& function : entry.functions) {
            functions.push_back(function.module + ":" + function.function);
        }
        plan_.namespaceMessageBytes += tarnmessage::encodedNamespaceSize(entry.name, functions);
    }
}

void Planner::findOverflows() {
    for (const Overflow& overflow : overflows(plan_, options_.threads)) {
        const RuleOutcome& rule = plan_.rules[overflow.rule];
        const MessageGroup& names = plan_.messageGroups[rule.messageGroup];
        reporter(rule.place)
            .mistake(Path(pointerOf(rule)), rule.place.line,
                     {"message-size",
                      "at this rule a message of key " + quoted(document_.groups[rule.group].key) + ", namespace " +
                          quoted(names.nameSpace) + ", group " + quoted(names.group) +
                          " outgrows the kernel's bound: " + std::to_string(overflow.bytes) +
                          " bytes before it is full, in a group of " + std::to_string(overflow.groupBytes) + " bytes",
                      "at most " + std::to_string(kernelmsg::kMessageCapacity) + " bytes for each " +
                          std::to_string(kernelmsg::kRecordsPerMessage) + " records in a row",
                      options_.section
                          ? "apply the whole policy, which spreads the rules over several keys; a section is gathered "
                            "from all keys and cut again"
                          : "let the tool spread the rules over several keys, or move rules to another key by hand"});
    }
}

void Planner::findBadNames() {
    std::set<std::string> seen;
    for (const PlannedFile& file : plan_.files) {
        const bool twice = !seen.insert(file.name).second;
        if (!twice && file.name.size() <= kMaxFileName) {
            continue;
        }
        const RuleGroup& group = document_.groups[plan_.keys[file.key].group];
        const Path root;
        const Path groups(root, "groups");
        reporter(group.place)
            .mistake(Path(groups, group.key), group.place.line,
                     {twice ? "file-name-clash" : "name-length",
                      "a message file would be named " + quoted(file.name) +
                          (twice ? ", and another one, too"
                                 : ", which is " + std::to_string(file.name.size()) + " bytes long"),
                      twice ? "one file of each name" : "at most " + std::to_string(kMaxFileName) + " bytes",
                      "rename the key, the namespace or the group"});
    }
}

std::optional<Plan> Planner::run() {
    const std::size_t mistakesBefore = diagnostics_.mistakes();
    if (!collectRules() || diagnostics_.mistakes() != mistakesBefore) {
        return std::nullopt;
    }
    if (options_.section) {
        placeAsSection(document_, *options_.section, plan_);
        findOverflows();
    } else if (options_.split) {
        placeWithSplits(document_, options_, plan_);
    } else {
        placeAsGiven(document_, plan_);
        findOverflows();
    }
    sumUp();
    findBadNames();
    return diagnostics_.mistakes() == mistakesBefore ? std::optional<Plan>(std::move(plan_)) : std::nullopt;
}

}  // namespace

std::optional<Plan> makePlan(const PolicyDocument& document, const Labels& labels, const PlanOptions& options,
                             Diagnostics& diagnostics) {
    return Planner(document, labels, options, diagnostics).run();
}

std::string ruleName(const PolicyDocument& document, const RuleOutcome& rule) {
    const std::string place = document.files[rule.place.file].name + ":" + std::to_string(rule.place.line);
    const std::string pointer = rulePointer(document.groups[rule.group], rule.place, rule.indexInSource);
    return pointer.empty() ? place : place + " " + pointer;
}

}  // namespace policydoc
