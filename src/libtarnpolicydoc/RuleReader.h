// One rule from its JSON. Internal to this library.
#ifndef TARN_POLICYDOC_RULE_READER_H
#define TARN_POLICYDOC_RULE_READER_H

#include <string>
#include <vector>

#include "libtarnpolicydoc/JsonTree.h"
#include "libtarnpolicydoc/Report.h"
#include "libtarnpolicysync/PolicyTypes.h"

namespace policydoc {

// Reads a rule and reports what its text alone shows to be wrong: members, types, sides that are missing or given
// twice, a condition that is not one expression. What can't be understood keeps its default.
PolicyNode readRule(const JsonNode& json, const Path& at, const Reporter& report);

// Reads a condition, which is either an array of nodes in postfix order or one node whose operands stand inside it.
std::vector<ExprNode> readCondition(const JsonNode& json, const Path& at, const Reporter& report);

std::vector<FuncParam> readParams(const JsonNode& json, const Path& at, const Reporter& report);

// A member of an array by its index, with its path; the JSON of condition nodes in the order of PolicyNode::vecExpr is
// found with conditionNodes().
struct PlacedNode {
    const JsonNode* json;
    std::string pointer;
};
std::vector<PlacedNode> conditionNodes(const JsonNode& json, const Path& at);

}  // namespace policydoc

#endif
