// JSON text as a tree in which everything knows its line and nothing is lost: members of one name all stay, numbers
// keep their digits. Internal to this library.
#ifndef TARN_POLICYDOC_JSON_TREE_H
#define TARN_POLICYDOC_JSON_TREE_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace policydoc {

enum class JsonKind : std::uint8_t { kNull, kBoolean, kNumber, kString, kArray, kObject };

struct JsonNode {
    JsonKind kind = JsonKind::kNull;
    std::uint32_t line = 0;          // where the value begins
    std::uint32_t streamed = 0;      // for an array of rules: how many elements were handed over instead of kept
    std::string key;                 // name of the member, for members of an object
    std::string text;                // value of a string, digits of a number, "true" or "false"
    std::vector<JsonNode> children;  // elements or members, in order

    const JsonNode* member(std::string_view name) const;  // the first of that name
};

// Why a text is no JSON.
struct JsonError {
    std::uint32_t line = 0;
    std::uint32_t column = 0;
    std::string what;
};

// Takes one element of an array "rules" of a group, which is gone after the call. False ends the reading.
using RuleSink = std::function<bool(const std::string& group, std::uint32_t index, const JsonNode& rule)>;

enum class ParseResult {
    kComplete,
    kStopped,  // by the sink
    kBroken,   // not JSON, see the error
};

// Parses the text of one line; `line` is its number.
ParseResult parseLine(std::string_view text, std::uint32_t line, JsonNode& root, JsonError& error);

// Parses a file from its descriptor. Elements of /groups/*/rules go to the sink and are only counted in the tree;
// without a sink they are not even built.
ParseResult parseDocument(int fd, const RuleSink& sink, JsonNode& root, JsonError& error);

}  // namespace policydoc

#endif
