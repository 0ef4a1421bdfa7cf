// The layouts and constants that the library shares with the kernel module. All numbers are little-endian, nothing is
// aligned or padded beyond what stands here, and strings are bytes without a terminator whose length stands before
// them.
//
//   message   = MessageHeader, records, end number          (begin and end messages are the header alone)
//   namespace = magic, NameNodeRecord, name, { FuncNodeRecord, "module:function" }
//   policy    = magic, PolicyNodeRecord, { ExprRecord, [variable name], { ParamInfo, data } }, { action: the same }
#ifndef TARN_KERNEL_MESSAGE_H
#define TARN_KERNEL_MESSAGE_H

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "libtarnpolicysync/PolicyTypes.h"

namespace kernelmsg {

#if __BYTE_ORDER__ != __ORDER_LITTLE_ENDIAN__
#error "the kernel reads little-endian messages; this machine would need conversions that nobody has written"
#endif

inline constexpr std::uint32_t kFormat = 1;
inline constexpr std::uint32_t kMagicNumber = 0x5A5AA5A5;    // before every record
inline constexpr std::uint32_t kEndNumber = 0x1234FFFF;      // after the last record of a type 3 or 4 message
inline constexpr unsigned long kMessageCapacity = 0x100000;  // the kernel takes at most 1 MiB in one write
inline constexpr int kRecordsPerMessage = 10000;             // a policy message is closed at this many records

enum MessageType : std::uint32_t { kTypeBegin = 1, kTypeEnd = 2, kTypePolicy = 3, kTypeNamespace = 4 };

// Codes of condition nodes. The binary operators 2, 3 and 5 to 10 are alike for everybody but the kernel.
enum ExprType : std::uint32_t {
    kExprOperand = 0,
    kExprNot = 1,
    kExprFirstBinary = 2,
    kExprSecondBinary = 3,
    kExprCall = 4,
    kExprThirdBinary = 5,
    kExprLastBinary = 10,
    kExprConstant = 11,
    kExprVariable = 12,
};

enum ParamType : std::uint32_t { kParamInteger = 2, kParamString = 3 };

// Policy types: whether the object identifier is a special one, with all ones in its first word.
enum PolicyType : std::uint32_t { kPolicyOrdinary = 1, kPolicySpecial = 2 };
inline constexpr std::uint64_t kSpecialIdentifier = 0xFFFFFFFFFFFFFFFF;
constexpr PolicyType policyTypeOf(const TARN_ID& object) {
    return object.uiWord[0] == kSpecialIdentifier ? kPolicySpecial : kPolicyOrdinary;
}

struct MessageHeader {
    std::uint32_t format;
    std::uint32_t length;      // of the whole message: header, records and end number
    std::uint32_t recordSize;  // of the fixed part of a record: 0, PolicyNodeRecord or NameNodeRecord
    std::uint32_t recordCount;
    std::uint32_t type;
};

struct NameNodeRecord {
    std::uint32_t nameId;
    std::uint32_t nameLength;
    std::uint32_t functionCount;
    std::uint32_t reserved[3];  // zero
};

struct FuncNodeRecord {
    std::uint32_t functionId;  // 1 for the first function of its namespace
    std::uint32_t nameLength;
};

struct PolicyNodeRecord {
    std::uint32_t policyType;
    std::uint32_t attrB;
    TARN_ID subject;
    TARN_ID object;
    std::uint32_t attrA;
    std::uint32_t permClass;
    std::uint32_t perm;
    std::uint32_t ext[5];  // the second one is the namespace's name number
    std::uint32_t exprCount;
    std::uint32_t actionCount;
};

// A condition node or an action (an action is a call with value and name length 0).
struct ExprRecord {
    std::uint32_t type;
    std::uint32_t value;       // constants and dynamic variables
    std::uint32_t functionId;  // calls
    std::uint32_t paramCount;
    std::uint32_t nameLength;  // dynamic variables: bytes of "namespace:variable", which follow
};

struct ParamInfo {
    std::uint32_t type;
    std::uint32_t length;  // bytes of a string; 0 for an integer, whose 8 bytes follow
};

static_assert(sizeof(MessageHeader) == 20 && sizeof(NameNodeRecord) == 24 && sizeof(FuncNodeRecord) == 8);
static_assert(sizeof(PolicyNodeRecord) == 96 && sizeof(ExprRecord) == 20 && sizeof(ParamInfo) == 8);
static_assert(offsetof(MessageHeader, length) == 4 && offsetof(MessageHeader, recordSize) == 8 &&
              offsetof(MessageHeader, recordCount) == 12 && offsetof(MessageHeader, type) == 16);
static_assert(offsetof(NameNodeRecord, nameLength) == 4 && offsetof(NameNodeRecord, functionCount) == 8 &&
              offsetof(NameNodeRecord, reserved) == 12);
static_assert(offsetof(PolicyNodeRecord, attrB) == 4 && offsetof(PolicyNodeRecord, subject) == 8 &&
              offsetof(PolicyNodeRecord, object) == 32 && offsetof(PolicyNodeRecord, attrA) == 56 &&
              offsetof(PolicyNodeRecord, permClass) == 60 && offsetof(PolicyNodeRecord, perm) == 64 &&
              offsetof(PolicyNodeRecord, ext) == 68 && offsetof(PolicyNodeRecord, exprCount) == 88 &&
              offsetof(PolicyNodeRecord, actionCount) == 92);
static_assert(std::is_trivially_copyable_v<PolicyNodeRecord>, "records are copied as bytes");

}  // namespace kernelmsg

#endif
