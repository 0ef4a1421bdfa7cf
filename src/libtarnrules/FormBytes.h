// Numbers and texts as the canonical form writes them: most significant byte first, so that the order of the bytes is that
// of the numbers; texts behind their length. Internal to this folder.
#ifndef TARN_RULES_FORM_BYTES_H
#define TARN_RULES_FORM_BYTES_H

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

#include "libtarnpolicysync/PolicyTypes.h"

namespace tarnrules {

inline void append32(std::string& bytes, std::uint32_t value) {
    const std::uint32_t swapped = __builtin_bswap32(value);
    bytes.append(reinterpret_cast<const char*>(&swapped), sizeof swapped);
}

inline void append64(std::string& bytes, std::uint64_t value) {
    const std::uint64_t swapped = __builtin_bswap64(value);
    bytes.append(reinterpret_cast<const char*>(&swapped), sizeof swapped);
}

inline void appendIdentifier(std::string& bytes, const TARN_ID& identifier) {
    for (const std::uint64_t word : identifier.uiWord) {
        append64(bytes, word);
    }
}

inline void appendText(std::string& bytes, std::string_view text) {
    append32(bytes, static_cast<std::uint32_t>(text.size()));
    bytes.append(text);
}

// Takes a form apart that was written by the functions above.
class FormReader {
public:
    explicit FormReader(std::string_view bytes) : bytes_(bytes) {}

    std::uint32_t take32() {
        std::uint32_t value = 0;
        std::memcpy(&value, take(sizeof value).data(), sizeof value);
        return __builtin_bswap32(value);
    }
    std::uint64_t take64() {
        std::uint64_t value = 0;
        std::memcpy(&value, take(sizeof value).data(), sizeof value);
        return __builtin_bswap64(value);
    }
    TARN_ID takeIdentifier() {
        TARN_ID identifier{};
        for (auto& word : identifier.uiWord) {
            word = take64();
        }
        return identifier;
    }
    std::string_view takeText() { return take(take32()); }
    std::size_t position() const { return position_; }

private:
    std::string_view take(std::size_t count) {
        const std::string_view taken = bytes_.substr(position_, count);
        position_ += count;
        return taken;
    }

    std::string_view bytes_;
    std::size_t position_ = 0;
};

}  // namespace tarnrules

#endif
