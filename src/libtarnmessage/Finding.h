// What the reader holds against a message: one finding, with the kernel's answer, the place and what was expected
// there.
#ifndef TARN_MESSAGE_FINDING_H
#define TARN_MESSAGE_FINDING_H

#include <cstddef>
#include <cstdint>
#include <string>

namespace tarnmessage {

// Each code has one row in the table of Finding.cpp, in this order. Append only: the numbers may stand in reports.
enum class FindingCode : std::uint8_t {
    kShortHeader,
    kUnknownType,
    kNoBegin,
    kSecondBegin,
    kSecondNamespaceMessage,
    kLateNamespaceMessage,
    kAfterEnd,
    kFormat,
    kMessageTooLong,
    kLength,
    kRecordSize,
    kRecordCount,
    kShortRecord,
    kMagicNumber,
    kEndNumber,
    kSurplusBytes,
    kReservedWord,
    kNamespaceWithoutFunctions,
    kFunctionOrder,
    kPolicyType,
    kConditionSurplus,
    kConditionIncomplete,
    kValueNotZero,
    kFunctionNotZero,
    kNameLengthNotZero,
    kVariableName,
    kParameterType,
    kIntegerLength,
    kActionType,
    kUnknownFunction,
};
inline constexpr std::size_t kFindingCodes = static_cast<std::size_t>(FindingCode::kUnknownFunction) + 1;

struct FindingInfo {
    FindingCode code;
    const char* id;    // short and stable, for machines: "magic-number"
    int answer;        // errno of the refused write
    const char* text;  // what is wrong, for people
    bool hexadecimal;  // whether expected and found read better as hexadecimal numbers
};

const FindingInfo& findingInfo(FindingCode code);

struct Finding {
    FindingCode code;
    std::size_t offset;      // of the field in question, from the start of the message
    std::uint64_t expected;  // the value, or the least or greatest one that would have passed
    std::uint64_t found;

    int answer() const { return findingInfo(code).answer; }
};

// A number of a finding (expected, found) in the form that reads better.
std::string numberText(const Finding& finding, std::uint64_t number);

// "offset 24: wrong magic number of a record (expected 0x5a5aa5a5, found 0x0)"
std::string toText(const Finding& finding);

}  // namespace tarnmessage

#endif
