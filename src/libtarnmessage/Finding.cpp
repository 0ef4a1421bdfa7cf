#include "libtarnmessage/Finding.h"

#include <array>
#include <cerrno>
#include <cstdio>

namespace tarnmessage {

namespace {

using Code = FindingCode;

constexpr std::array<FindingInfo, kFindingCodes> kTable{{
    {Code::kShortHeader, "short-header", EINVAL, "fewer bytes than a message header", false},
    {Code::kUnknownType, "unknown-type", EBADMSG, "unknown message type", false},
    {Code::kNoBegin, "no-begin", EPROTO, "no begin message opened the set", false},
    {Code::kSecondBegin, "second-begin", EPROTO, "a begin message inside an open set", false},
    {Code::kSecondNamespaceMessage, "second-namespace-message", EPROTO, "a second namespace message in one set", false},
    {Code::kLateNamespaceMessage, "late-namespace-message", EPROTO, "a namespace message after policies", false},
    {Code::kAfterEnd, "after-end", EPROTO, "a message after the end of the set", false},
    {Code::kFormat, "format", EINVAL, "wrong format number in the header", false},
    {Code::kMessageTooLong, "message-too-long", EINVAL, "more bytes than a message may have", false},
    {Code::kLength, "length", EINVAL, "the header's length differs from the bytes of the message", false},
    {Code::kRecordSize, "record-size", EINVAL, "wrong record size in the header", false},
    {Code::kRecordCount, "record-count", EINVAL, "the header's record count differs from the content", false},
    {Code::kShortRecord, "short-record", EINVAL, "the message ends inside a record (bytes needed, bytes left)", false},
    {Code::kMagicNumber, "magic-number", EINVAL, "wrong magic number of a record", true},
    {Code::kEndNumber, "end-number", EINVAL, "wrong end number", true},
    {Code::kSurplusBytes, "surplus-bytes", EINVAL, "surplus bytes after the last record", false},
    {Code::kReservedWord, "reserved-word", EINVAL, "a reserved word of a namespace is not zero", true},
    {Code::kNamespaceWithoutFunctions, "namespace-without-functions", EINVAL, "a namespace without functions", false},
    {Code::kFunctionOrder, "function-order", EINVAL, "function numbers do not count up from 1", false},
    {Code::kPolicyType, "policy-type", EINVAL, "the policy type does not fit the object identifier", false},
    {Code::kConditionSurplus, "condition-surplus", EINVAL, "condition nodes beyond the end of the expression", false},
    {Code::kConditionIncomplete, "condition-incomplete", EINVAL, "an operator of the condition lacks operands", false},
    {Code::kValueNotZero, "value-not-zero", EINVAL, "a value in a node that has none", false},
    {Code::kFunctionNotZero, "function-not-zero", EINVAL, "a function number in a node that calls none", false},
    {Code::kNameLengthNotZero, "name-length-not-zero", EINVAL, "a name length in a node that has no name", false},
    {Code::kVariableName, "variable-name", EINVAL, "the name of a dynamic variable has no colon after its namespace",
     false},
    {Code::kParameterType, "parameter-type", EINVAL, "a parameter is neither integer (2) nor string (3)", false},
    {Code::kIntegerLength, "integer-length", EINVAL, "a length in an integer parameter", false},
    {Code::kActionType, "action-type", EINVAL, "an action is not a call", false},
    {Code::kUnknownFunction, "unknown-function", ENODATA,
     "a function number that the namespace message did not announce (greatest announced, number called)", false},
}};

constexpr bool rowsStandInOrder() {
    for (std::size_t row = 0; row < kTable.size(); ++row) {
        if (static_cast<std::size_t>(kTable[row].code) != row) {
            return false;
        }
    }
    return true;
}
static_assert(rowsStandInOrder(), "a finding is looked up by its number");

}  // namespace

const FindingInfo& findingInfo(FindingCode code) {
    return kTable[static_cast<std::size_t>(code)];
}

std::string numberText(const Finding& finding, std::uint64_t number) {
    char text[24];
    const char* format = findingInfo(finding.code).hexadecimal ? "0x%llx" : "%llu";
    static_cast<void>(std::snprintf(text, sizeof(text), format, static_cast<unsigned long long>(number)));
    return text;
}

std::string toText(const Finding& finding) {
    return "offset " + std::to_string(finding.offset) + ": " + findingInfo(finding.code).text + " (expected " +
           numberText(finding, finding.expected) + ", found " + numberText(finding, finding.found) + ")";
}

}  // namespace tarnmessage
