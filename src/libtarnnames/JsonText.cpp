#include "libtarnnames/JsonText.h"

#include <algorithm>
#include <charconv>
#include <cstddef>

#include "libtarnmessage/MessageText.h"

namespace tarnnames {

namespace {

constexpr char kDigits[] = "0123456789abcdef";

template <typename Number>
void appendDigits(std::string& json, Number value, int base) {
    char text[24];
    const auto result = std::to_chars(text, text + sizeof text, value, base);
    json.append(text, result.ptr);
}

unsigned int byteAt(std::string_view bytes, std::size_t place) {
    return place < bytes.size() ? static_cast<unsigned char>(bytes[place]) : 0U;
}

bool isContinuation(unsigned int byte) {
    return (byte & 0xC0U) == 0x80U;
}

// The length of the character at the front; 0 where there is none.
std::size_t characterLength(std::string_view bytes) {
    const unsigned int first = byteAt(bytes, 0);
    const unsigned int second = byteAt(bytes, 1);
    if (first < 0x80U) {
        return 1;
    }
    if (first < 0xC2U || first > 0xF4U || !isContinuation(second)) {
        return 0;
    }
    if (first < 0xE0U) {
        return 2;
    }
    if (!isContinuation(byteAt(bytes, 2))) {
        return 0;
    }
    if (first < 0xF0U) {
        const bool isOverlong = first == 0xE0U && second < 0xA0U;
        const bool isSurrogate = first == 0xEDU && second > 0x9FU;
        return isOverlong || isSurrogate ? 0 : 3;
    }
    const bool isOverlong = first == 0xF0U && second < 0x90U;
    const bool isBeyond = first == 0xF4U && second > 0x8FU;
    return isOverlong || isBeyond || !isContinuation(byteAt(bytes, 3)) ? 0 : 4;
}

void appendEscape(std::string& json, unsigned int byte) {
    json += "\\u00";
    json += kDigits[byte >> 4U];
    json += kDigits[byte & 0xFU];
}

}  // namespace

bool isUtf8(std::string_view bytes) {
    while (!bytes.empty()) {
        const std::size_t length = characterLength(bytes);
        if (length == 0) {
            return false;
        }
        bytes.remove_prefix(length);
    }
    return true;
}

void appendJsonString(std::string& json, std::string_view bytes) {
    json += '"';
    while (!bytes.empty()) {
        const auto first = static_cast<unsigned char>(bytes[0]);
        std::size_t length = characterLength(bytes);
        if (first == '"' || first == '\\') {
            json += '\\';
            json += bytes[0];
        } else if (first < ' ' || first == 0x7FU) {
            appendEscape(json, first);
        } else if (length == 0) {
            json += "\\ufffd";
            length = 1;
        } else {
            json.append(bytes.substr(0, length));
        }
        bytes.remove_prefix(length);
    }
    json += '"';
}

std::string hexOf(std::string_view bytes) {
    std::string text;
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0xFU];
    }
    return text;
}

void appendJsonBytes(std::string& json, const char* name, std::string_view bytes) {
    json.append("\"").append(name).append("\":");
    appendJsonString(json, bytes);
    if (isUtf8(bytes)) {
        return;
    }
    json.append(",\"").append(name).append("Hex\":\"").append(hexOf(bytes)).append("\"");
}

void appendJsonNumber(std::string& json, std::uint64_t value) {
    appendDigits(json, value, 10);
}

void appendJsonSigned(std::string& json, std::int64_t value) {
    appendDigits(json, value, 10);
}

void appendJsonInteger(std::string& json, std::int64_t value) {
    constexpr std::int64_t kMostExact = std::int64_t{1} << 53U;
    json += "\"integer\":";
    appendJsonSigned(json, value);
    if (value > kMostExact || value < -kMostExact) {
        json += ",\"integerText\":\"";
        appendJsonSigned(json, value);
        json += '"';
    }
}

void appendJsonHex(std::string& json, std::uint64_t value) {
    json += "\"0x";
    appendDigits(json, value, 16);
    json += '"';
}

void appendJsonOmitted(std::string& json, std::initializer_list<std::pair<const char*, std::uint64_t>> counts) {
    constexpr char kStart[] = ",\"truncated\":true,\"omitted\":{\"";
    bool isOpen = false;
    for (const auto& [name, count] : counts) {
        if (count != 0) {
            json.append(isOpen ? ",\"" : kStart).append(name).append("\":");
            appendJsonNumber(json, count);
            isOpen = true;
        }
    }
    json += isOpen ? "}" : "";
}

void appendJsonName(std::string& json, const char* name, std::string_view bytes) {
    appendJsonBytes(json, name, tarnmessage::nameStart(bytes));
    if (bytes.size() > tarnmessage::kMostNameBytes) {
        json.append(",\"").append(name).append("Bytes\":");
        appendJsonNumber(json, bytes.size());
    }
}

void appendJsonNames(std::string& json, const char* name, const std::vector<std::string>& texts) {
    const std::size_t count = tarnmessage::shownCount(texts);
    const auto isCut = [](const std::string& text) { return text.size() > tarnmessage::kMostNameBytes; };
    const auto end = texts.begin() + static_cast<std::ptrdiff_t>(count);
    const bool hasCut = std::any_of(texts.begin(), end, isCut);
    if (count == texts.size() && !hasCut) {
        appendJsonArray(json, name, texts);
        return;
    }
    std::vector<std::string> shown;
    std::string lengths;
    for (auto text = texts.begin(); text != end; ++text) {
        shown.emplace_back(tarnmessage::nameStart(*text));
        lengths += lengths.empty() ? "" : ",";
        appendJsonNumber(lengths, text->size());
    }
    appendJsonArray(json, name, shown);
    if (hasCut) {
        json.append(",\"").append(name).append("Bytes\":[").append(lengths).append("]");
    }
    if (count != texts.size()) {
        json.append(",\"").append(name).append("Omitted\":");
        appendJsonNumber(json, texts.size() - count);
    }
}

void appendJsonArray(std::string& json, const char* name, const std::vector<std::string>& texts) {
    json.append("\"").append(name).append("\":[");
    const char* separator = "";
    for (const std::string& text : texts) {
        json += separator;
        appendJsonString(json, text);
        separator = ",";
    }
    json += ']';
    if (std::all_of(texts.begin(), texts.end(), isUtf8)) {
        return;
    }
    json.append(",\"").append(name).append("Hex\":[");
    separator = "\"";
    for (const std::string& text : texts) {
        json.append(separator).append(hexOf(text)).append("\"");
        separator = ",\"";
    }
    json += ']';
}

}  // namespace tarnnames
