// What rules and namespaces take up in a message, computed from the rule before anything is encoded. A planner spreads
// rules by these sizes; they hold whether or not a rule can be encoded at all.
#ifndef TARN_MESSAGE_RECORD_SIZE_H
#define TARN_MESSAGE_RECORD_SIZE_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "libtarnpolicysync/KernelMessage.h"
#include "libtarnpolicysync/PolicyTypes.h"

namespace tarnmessage {

// Header and end number of a message with records, and what remains for the records: 1,048,552 bytes.
inline constexpr std::uint64_t kMessageFrameSize = sizeof(kernelmsg::MessageHeader) + sizeof(kernelmsg::kEndNumber);
inline constexpr std::uint64_t kMessageRoom = kernelmsg::kMessageCapacity - kMessageFrameSize;

std::uint64_t encodedParamsSize(const std::vector<FuncParam>& params);
std::uint64_t encodedExprSize(const ExprNode& node, const std::string& nameSpace);
std::uint64_t encodedActionSize(const DoFuncNode& action);

// One record of the rule, magic number included. All records of a rule, one for each pair of subject and object, are of
// this size.
std::uint64_t encodedRecordSize(const PolicyNode& rule);

// The rule's pairs, by its identifier lists.
std::uint64_t recordsOfRule(const PolicyNode& rule);

// One namespace of the namespace message; 0 for one without functions, which has no block.
std::uint64_t encodedNamespaceSize(const std::string& name, const std::vector<std::string>& functions);

}  // namespace tarnmessage

#endif
