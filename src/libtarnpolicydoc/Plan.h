// What a compilation of a document will give, computed beforehand: which rules go under which key, so that no message
// outgrows the kernel's 1 MiB, and then files, records and sizes.
#ifndef TARN_POLICYDOC_PLAN_H
#define TARN_POLICYDOC_PLAN_H

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "libtarnpolicydoc/Diagnostics.h"
#include "libtarnpolicydoc/Labels.h"
#include "libtarnpolicydoc/PolicyDocument.h"
#include "libtarnpolicysync/PolicyTypes.h"

namespace policydoc {

// Rules of one namespace and group share messages.
struct MessageGroup {
    std::string nameSpace;
    std::string group;

    bool operator==(const MessageGroup& other) const { return nameSpace == other.nameSpace && group == other.group; }
    bool operator!=(const MessageGroup& other) const { return !(*this == other); }
};

struct PlanOptions {
    unsigned int threads = 1;          // the library's compiler threads
    bool split = true;                 // false: every group keeps its key; an overflow is a mistake
    std::uint32_t maxRulesPerKey = 0;  // 0: no limit. Smaller groups need less memory while they compile
    std::function<void(std::uint64_t rules)> progress;  // called now and then; may be empty
    // The compilation of this section alone. It takes the section's rules from all keys and cuts them anew, so that
    // nothing can be split.
    std::optional<MessageGroup> section;
};

// One rule of the document and what becomes of it.
struct RuleOutcome {
    std::uint32_t group = 0;  // index into PolicyDocument::groups
    std::uint32_t indexInGroup = 0;
    std::uint32_t indexInSource = 0;
    Place place;
    std::uint32_t messageGroup = 0;  // index into Plan::messageGroups
    std::uint32_t subjects = 0;
    std::uint32_t objects = 0;
    std::uint32_t recordBytes = 0;  // of each of its records

    std::uint64_t records() const { return std::uint64_t{subjects} * objects; }
};

// A rule, or the part of a rule that covers the given range of its subjects and objects, as it is handed over.
struct PlannedRule {
    std::uint32_t rule = 0;  // index into Plan::rules
    std::uint32_t firstSubject = 0;
    std::uint32_t subjects = 0;
    std::uint32_t firstObject = 0;
    std::uint32_t objects = 0;

    std::uint64_t records() const { return std::uint64_t{subjects} * objects; }
};

struct PlannedKey {
    std::string key;
    std::uint32_t group = 0;         // index into PolicyDocument::groups
    std::vector<PlannedRule> rules;  // in the order in which they are handed over
};

struct PlannedFile {
    std::string name;       // within the set's directory
    std::uint32_t key = 0;  // index into Plan::keys
    std::uint32_t messageGroup = 0;
    std::uint64_t records = 0;
    std::uint64_t bytes = 0;  // header and end number included
};

// A key and a message group that the document brings together.
struct RuleOrigin {
    std::string key;
    MessageGroup names;
};

struct Plan {
    std::vector<MessageGroup> messageGroups;
    std::vector<RuleOutcome> rules;  // every rule of the document (of the section), in order
    std::vector<PlannedKey> keys;    // in the order of their groups; the library compiles them in order of their names.
                                     // For a section one entry, with the stem of its file names for a key
    std::vector<RuleOrigin> others;  // for a section: where the rules outside of it come from
    std::vector<PlannedFile> files;  // policy messages, sorted by name
    std::uint64_t records = 0;
    std::uint64_t bytes = 0;  // of all policy messages
    std::uint64_t namespaceMessageBytes = 0;
    std::vector<std::uint32_t> withoutRecords;  // indexes into rules: those that will give no record
    std::vector<std::uint32_t> dividedRules;    // indexes into rules: those handed over in parts
};

// Computes the plan. Mistakes (a single record beyond the bound; without splitting an overflow; file names that meet)
// are reported and nothing is returned. Expects a document that passed check().
std::optional<Plan> makePlan(const PolicyDocument& document, const Labels& labels, const PlanOptions& options,
                             Diagnostics& diagnostics);

// The files that a number of compiler threads gives for the keys of a plan.
std::vector<PlannedFile> planFiles(const Plan& plan, unsigned int threads);

// Takes one group to be handed over; the callee may move its rules out. False ends the work.
using GroupTaker = std::function<bool(const std::string& key, PolicyDb& group)>;

// Reads the rules again and hands over each key of the plan. Rules stay given by names unless they were divided: parts
// carry identifiers. False when the files have changed or can't be read (reported) or the taker said no.
bool handOver(const PolicyDocument& document, const Plan& plan, const Labels& labels, Diagnostics& diagnostics,
              const GroupTaker& take);

// The same for the plan of a section: its rules alone, undivided, under the keys of their groups, in order of the keys.
// Keys without a rule of the section are left out.
bool handOverSection(const PolicyDocument& document, const Plan& plan, const MessageGroup& section,
                     Diagnostics& diagnostics, const GroupTaker& take);

// "policy.json:17 /groups/base/rules/17" or "rules.jsonl:5".
std::string ruleName(const PolicyDocument& document, const RuleOutcome& rule);

}  // namespace policydoc

#endif
