// Typed values out of a JSON tree. Each function reports what does not fit and gives a harmless value then. Internal to
// this library.
#ifndef TARN_POLICYDOC_VALUES_H
#define TARN_POLICYDOC_VALUES_H

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "libtarnpolicydoc/JsonTree.h"
#include "libtarnpolicydoc/Report.h"
#include "libtarnpolicysync/PolicyTypes.h"

namespace policydoc {

// "an object", "a text", "the number -3"; for messages.
std::string describeValue(const JsonNode& node);

bool expectKind(const JsonNode& node, JsonKind kind, const Path& at, const Reporter& report);

std::string readText(const JsonNode& node, const Path& at, const Reporter& report);

// A JSON number, or a text with a decimal or 0x number, up to `max`.
std::optional<std::uint64_t> parseUnsigned(std::string_view text, std::uint64_t max);
std::uint64_t readUnsigned(const JsonNode& node, std::uint64_t max, const Path& at, const Reporter& report);
std::uint32_t readWord(const JsonNode& node, const Path& at, const Reporter& report);

// Three words, or the name of a capability, whose number becomes the first word.
TARN_ID readIdentifier(const JsonNode& node, const Path& at, const Reporter& report);

// The entry of `known` that `word` was probably meant to be; empty where none is near.
std::string closest(std::string_view word, const std::vector<std::string>& known);
// "did you mean ...?" or a plain advice.
std::string suggestion(const Reporter& report, std::string_view word, const std::vector<std::string>& known,
                       const std::string& otherwise);

// Reports members of an object that occur twice or are not in `known`.
void checkMembers(const JsonNode& object, const std::vector<std::string>& known, const Path& at,
                  const Reporter& report);
// Reports members that occur twice, where any name may stand.
void checkDuplicates(const JsonNode& object, const Path& at, const Reporter& report);

}  // namespace policydoc

#endif
