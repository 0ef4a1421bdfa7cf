// Pieces of JSON text, appended to a string: for output that is too long to be built as a tree.
#ifndef TARN_NAMES_JSON_TEXT_H
#define TARN_NAMES_JSON_TEXT_H

#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tarnnames {

// True for bytes that are UTF-8: no byte out of place, no overlong form, no surrogate.
bool isUtf8(std::string_view bytes);

// A string. A byte that is no part of UTF-8 becomes U+FFFD.
void appendJsonString(std::string& json, std::string_view bytes);

// Two digits for each byte.
std::string hexOf(std::string_view bytes);

// "name":"text"; where the bytes are no UTF-8, "nameHex":"..." with all of them follows.
void appendJsonBytes(std::string& json, const char* name, std::string_view bytes);

void appendJsonNumber(std::string& json, std::uint64_t value);
void appendJsonSigned(std::string& json, std::int64_t value);
// "integer":7; a number that a double can't hold is exact here, too, and stands beside it as "integerText":"...", because many
// programs would round it.
void appendJsonInteger(std::string& json, std::int64_t value);
// "0x1f"
void appendJsonHex(std::string& json, std::uint64_t value);

// ,"truncated":true,"omitted":{"name":3,...} with the counts that are not 0; nothing where all are.
void appendJsonOmitted(std::string& json, std::initializer_list<std::pair<const char*, std::uint64_t>> counts);

// Names as they stand in records, each cut as in texts (MessageText.h). Where one is cut, "nameBytes" with its whole length,
// or those of all, follows; where names are left out, "nameOmitted" with their number.
void appendJsonName(std::string& json, const char* name, std::string_view bytes);
void appendJsonNames(std::string& json, const char* name, const std::vector<std::string>& texts);

// "name":["a","b"]; where one of them is no UTF-8, "nameHex":["61","ff"] with the bytes of all follows.
void appendJsonArray(std::string& json, const char* name, const std::vector<std::string>& texts);

}  // namespace tarnnames

#endif
