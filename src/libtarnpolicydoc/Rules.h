// A walk over all rules of a document, from its files, one rule in memory at a time.
#ifndef TARN_POLICYDOC_RULES_H
#define TARN_POLICYDOC_RULES_H

#include <cstdint>
#include <functional>
#include <string>

#include "libtarnpolicydoc/Diagnostics.h"
#include "libtarnpolicydoc/PolicyDocument.h"
#include "libtarnpolicysync/PolicyTypes.h"

namespace policydoc {

struct JsonNode;

struct LocatedRule {
    std::uint32_t group = 0;          // index into PolicyDocument::groups
    std::uint32_t indexInGroup = 0;   // from 0, over all sources of the group
    std::uint32_t indexInSource = 0;  // from 0, within its array or file
    Place place;                      // the rule's first line
    std::uint64_t bytesRead = 0;      // of all files so far; in the document itself only roughly
    PolicyNode rule;
    const JsonNode* json = nullptr;  // the text's tree, alive during the call only; has the line of every member
};

// Called for each rule in order of the document; false ends the walk.
using RuleVisitor = std::function<bool(const LocatedRule&)>;

// True when every rule was visited or the visitor ended the walk; false when a file could not be read or has changed
// since load(), which is reported. Mistakes of single rules are reported only with `reportRules`; a rule that has such
// mistakes is visited with what could be understood.
bool forEachRule(const PolicyDocument& document, bool reportRules, Diagnostics& diagnostics, const RuleVisitor& visit);

// The same for the rules of one group.
bool forEachRuleOf(const PolicyDocument& document, std::uint32_t group, bool reportRules, Diagnostics& diagnostics,
                   const RuleVisitor& visit);

// The JSON pointer of a rule: "/groups/base/rules/17" in the document itself, "" in a JSON Lines file, whose line
// tells.
std::string rulePointer(const RuleGroup& group, Place place, std::uint32_t indexInSource);

}  // namespace policydoc

#endif
