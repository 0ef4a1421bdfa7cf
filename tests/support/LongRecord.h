// Messages of at most 1 MiB that would be gigabytes with every name written out: tens of thousands of calls of functions, or
// of records of namespaces, whose names are long.
#ifndef TARN_TESTS_LONG_RECORD_H
#define TARN_TESTS_LONG_RECORD_H

#include <cstdint>
#include <string>

#include "libtarnpolicysync/KernelMessage.h"

namespace longrecord {

inline constexpr std::uint32_t kNameId = 4075427327;  // CRC-32 of "net"
inline constexpr std::uint32_t kPairs = 15500;  // of an operator and a call, before the last call of the condition
inline constexpr std::uint32_t kActions = 20000;
inline constexpr std::size_t kNameBytes = 60000;

template <typename T>
void append(std::string& bytes, const T& value) {
    bytes.append(reinterpret_cast<const char*>(&value), sizeof value);
}

// The same record several times.
inline std::string message(std::uint32_t recordSize, std::uint32_t type, const std::string& record,
                           std::uint32_t count = 1) {
    std::string bytes;
    const std::size_t length = sizeof(kernelmsg::MessageHeader) +
                               count * (sizeof kernelmsg::kMagicNumber + record.size()) + sizeof kernelmsg::kEndNumber;
    append(bytes,
           kernelmsg::MessageHeader{kernelmsg::kFormat, static_cast<std::uint32_t>(length), recordSize, count, type});
    for (std::uint32_t index = 0; index < count; ++index) {
        append(bytes, kernelmsg::kMagicNumber);
        bytes += record;
    }
    append(bytes, kernelmsg::kEndNumber);
    return bytes;
}

// A namespace with one function.
inline std::string namespaceMessage(std::size_t nameBytes = kNameBytes, const std::string& nameSpace = "net") {
    const std::string function = "m:" + std::string(nameBytes - 2, 'f');
    std::string record;
    append(record, kernelmsg::NameNodeRecord{kNameId, static_cast<std::uint32_t>(nameSpace.size()), 1, {}});
    record += nameSpace;
    append(record, kernelmsg::FuncNodeRecord{1, static_cast<std::uint32_t>(function.size())});
    record += function;
    return message(sizeof(kernelmsg::NameNodeRecord), kernelmsg::kTypeNamespace, record);
}

// Records whose condition and actions call that function.
inline std::string policyMessage(std::uint32_t pairs = kPairs, std::uint32_t actions = kActions,
                                 std::uint32_t records = 1) {
    kernelmsg::PolicyNodeRecord node{};
    node.policyType = kernelmsg::kPolicyOrdinary;
    node.ext[1] = kNameId;
    node.exprCount = 2 * pairs + 1;
    node.actionCount = actions;
    const kernelmsg::ExprRecord call{kernelmsg::kExprCall, 0, 1, 0, 0};
    std::string record;
    append(record, node);
    for (std::uint32_t pair = 0; pair < pairs; ++pair) {
        append(record, kernelmsg::ExprRecord{kernelmsg::kExprFirstBinary, 0, 0, 0, 0});
        append(record, call);
    }
    for (std::uint32_t calls = 0; calls < 1 + actions; ++calls) {
        append(record, call);
    }
    return message(sizeof(kernelmsg::PolicyNodeRecord), kernelmsg::kTypePolicy, record, records);
}

// One record whose condition has one dynamic variable more than pairs, all of this name.
inline std::string messageOfVariables(const std::string& name, std::uint32_t pairs = kPairs) {
    kernelmsg::PolicyNodeRecord node{};
    node.policyType = kernelmsg::kPolicyOrdinary;
    node.permClass = 1;
    node.perm = 2;
    node.ext[1] = kNameId;
    node.exprCount = 2 * pairs + 1;
    std::string record;
    append(record, node);
    for (std::uint32_t pair = 0; pair < pairs; ++pair) {
        append(record, kernelmsg::ExprRecord{kernelmsg::kExprFirstBinary, 0, 0, 0, 0});
    }
    for (std::uint32_t variable = 0; variable < pairs + 1; ++variable) {
        append(record,
               kernelmsg::ExprRecord{kernelmsg::kExprVariable, 1, 0, 0, static_cast<std::uint32_t>(name.size())});
        record += name;
    }
    return message(sizeof(kernelmsg::PolicyNodeRecord), kernelmsg::kTypePolicy, record);
}

}  // namespace longrecord

#endif
