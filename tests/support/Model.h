// What the kernel must receive for given rules, worked out independently of the library: bytes are put together by
// hand, conditions are turned by recursion, and nothing of the encoder, of the reader or of their layouts is used.
#ifndef TARN_TESTS_MODEL_H
#define TARN_TESTS_MODEL_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "libtarnpolicysync/PolicyTypes.h"

namespace model {

using Bytes = std::string;

struct PermissionClass {
    std::uint32_t value = 0;
    std::map<std::string, std::uint32_t> perms;
};

// The numbers behind the names in the rules.
struct Numbers {
    std::map<std::string, PermissionClass> classes;
    std::map<std::string, std::uint32_t> names;  // namespaces with a pinned number; the others have their CRC-32
    std::map<std::tuple<std::string, std::string, std::string>, std::uint32_t> functions;  // namespace, module, name

    std::uint32_t name(const std::string& nameSpace) const;
    // The content of the class-definition file.
    std::string classDefinitions() const;
};

// Little-endian, at the end of `bytes`.
void append32(Bytes& bytes, std::uint64_t value);
void append64(Bytes& bytes, std::uint64_t value);
Bytes words(const std::vector<std::uint32_t>& values);
// "01 00 ff", blanks and line feeds between the bytes; "#" starts a remark up to the end of the line.
Bytes fromHex(const std::string& text);

std::uint32_t crc(const std::string& text);

// The prefix order of a condition, or why there is none.
struct Conversion {
    enum class Outcome { kConverted, kNotLacksOperand, kBinaryLacksOperands };
    Outcome outcome = Outcome::kConverted;
    std::vector<ExprNode> prefix;
};
Conversion toPrefix(const std::vector<ExprNode>& postfix);
bool isBinary(std::uint32_t code);

// One append of the encoder, with the name that its failure message gives to it.
struct Piece {
    enum class Place { kHead, kCondition, kAction };
    Bytes bytes;
    std::string field;
    Place place;
};
// The record of one pair, append by append. The rule must be encodable.
std::vector<Piece> pieces(const Numbers& numbers, const PolicyNode& rule, const TARN_ID& subject,
                          const TARN_ID& object);
Bytes record(const Numbers& numbers, const PolicyNode& rule, const TARN_ID& subject, const TARN_ID& object);
// The records of all pairs of a rule, subjects first.
std::vector<Bytes> records(const Numbers& numbers, const PolicyNode& rule);

Bytes header(std::uint32_t length, std::uint32_t recordSize, std::uint32_t recordCount, std::uint32_t type);
Bytes beginMessage();
Bytes endMessage();
Bytes policyMessage(const std::vector<Bytes>& records);
// The records of a sound policy message, cut by the lengths and counts that they carry themselves. Throws
// std::out_of_range or std::invalid_argument where the message is not sound.
std::vector<Bytes> recordsOf(const Bytes& policyMessage);
// Those of a whole set, sorted.
std::vector<Bytes> recordsOf(const std::map<std::string, Bytes>& files);
// The namespaces in message order, each with its entries "module:function".
using Namespaces = std::vector<std::pair<std::string, std::vector<std::string>>>;
Bytes namespaceMessage(const Numbers& numbers, const Namespaces& namespaces);

// File name to content: what `threads` compiler threads make of the groups, the later file where two have one name.
using Files = std::map<std::string, Bytes>;
using Groups = std::map<std::string, PolicyDb>;
std::vector<std::vector<PolicyNode>> slices(const std::vector<PolicyNode>& rules, std::size_t count);
// The files of one thread.
Files sliceFiles(const Numbers& numbers, const std::string& prefix, const std::vector<PolicyNode>& rules);
Files policyFiles(const Numbers& numbers, const Groups& groups, std::size_t threads);

// All records of a set, sorted: what must be equal whatever the number of threads.
std::vector<Bytes> allRecords(const Numbers& numbers, const Groups& groups);

}  // namespace model

#endif
