#include "reading/DuplicateSearch.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

namespace {

using Place = DuplicateSearch::Place;

constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15;  // odd, with bits all over
constexpr std::size_t kChecksumSize = 2 * sizeof(std::uint64_t);
constexpr std::size_t kEntrySize = kChecksumSize + 3 * sizeof(std::uint32_t);
using EntryBytes = std::array<char, kEntrySize>;

std::uint64_t mixed(std::uint64_t state, std::uint64_t word) {
    constexpr unsigned int kFold = 32;
    state = (state ^ word) * kMultiplier;
    return state ^ (state >> kFold);
}

// The most significant byte first, so that entries sort by checksum, then place.
template <typename Number>
char* putNumber(char* cursor, Number number) {
    for (std::size_t shift = sizeof(Number) * 8; shift != 0; shift -= 8) {
        *cursor++ = static_cast<char>((number >> (shift - 8)) & 0xFFU);
    }
    return cursor;
}

std::uint32_t numberAt(std::string_view entry, std::size_t index) {
    std::uint32_t number = 0;
    for (const char character : entry.substr(kChecksumSize + index * sizeof(number), sizeof(number))) {
        number = (number << 8U) | static_cast<unsigned char>(character);
    }
    return number;
}

Place placeOf(std::string_view entry) {
    return {numberAt(entry, 0), numberAt(entry, 1), numberAt(entry, 2)};
}

}  // namespace

DuplicateSearch::DuplicateSearch(std::size_t memory) : sort_({memory, tarnsort::temporaryFolder()}) {
    std::random_device random;
    for (std::uint64_t& word : key_) {
        word = (std::uint64_t{random()} << 32U) | random();
    }
}

void DuplicateSearch::add(std::string_view bytes, std::uint32_t file, std::uint32_t offset) {
    const auto length = static_cast<std::uint32_t>(bytes.size());
    std::uint64_t first = key_[0] ^ length;
    std::uint64_t second = key_[1];
    for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), sizeof(std::uint64_t)))) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes.data(), std::min(bytes.size(), sizeof word));
        first = mixed(first, word);
        second = mixed(second, word ^ first);
    }
    EntryBytes entry;
    char* cursor = putNumber(putNumber(entry.data(), first), second);
    static_cast<void>(putNumber(putNumber(putNumber(cursor, file), offset), length));
    sort_.add({entry.data(), entry.size()});
}

void DuplicateSearch::finish(const Same& same, const Report& report) {
    sort_.finish();
    std::string checksum;
    std::vector<Place> different;  // with this checksum; more than one only where checksums meet by chance
    for (std::string_view entry; sort_.next(entry);) {
        if (entry.substr(0, kChecksumSize) != checksum) {
            checksum = entry.substr(0, kChecksumSize);
            different.clear();
        }
        const Place place = placeOf(entry);
        const auto found =
            std::find_if(different.begin(), different.end(), [&](const Place& known) { return same(known, place); });
        if (found == different.end()) {
            different.push_back(place);
        } else {
            report(*found, place);
        }
    }
}
