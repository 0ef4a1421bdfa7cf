#include "reading/DuplicateSearch.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <string>

namespace {

using Place = DuplicateSearch::Place;

constexpr std::uint64_t kMultiplier = 0x9E3779B97F4A7C15;  // odd, with bits all over
constexpr std::size_t kChecksumSize = 2 * sizeof(std::uint64_t);
constexpr std::size_t kEntrySize = kChecksumSize + 3 * sizeof(std::uint32_t);
using EntryBytes = std::array<char, kEntrySize>;

// Both halves of a product of 128 bits: what a difference of two words becomes depends on the random state.
std::uint64_t mixed(std::uint64_t state, std::uint64_t word) {
    __extension__ using Product = unsigned __int128;
    constexpr unsigned int kHalf = 64;
    const Product product = Product{state ^ word} * kMultiplier;
    return static_cast<std::uint64_t>(product) ^ static_cast<std::uint64_t>(product >> kHalf);
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

DuplicateSearch::Checksum DuplicateSearch::checksumOf(std::string_view bytes) const {
    Checksum checksum{key_[0] ^ bytes.size(), key_[1]};
    for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), sizeof(std::uint64_t)))) {
        std::uint64_t word = 0;
        std::memcpy(&word, bytes.data(), std::min(bytes.size(), sizeof word));
        checksum[0] = mixed(checksum[0], word);
        checksum[1] = mixed(checksum[1], word ^ checksum[0]);
    }
    return checksum;
}

void DuplicateSearch::add(std::string_view bytes, std::uint32_t file, std::uint32_t offset) {
    const Checksum checksum = checksumOf(bytes);
    EntryBytes entry;
    char* cursor = putNumber(putNumber(entry.data(), checksum[0]), checksum[1]);
    static_cast<void>(putNumber(putNumber(putNumber(cursor, file), offset), static_cast<std::uint32_t>(bytes.size())));
    sort_.add({entry.data(), entry.size()});
}

// Every record of one checksum is held against the first of them, whose bytes are read once: whatever the files hold by
// now, the work grows with the number of records alone.
void DuplicateSearch::finish(const Read& read, const Report& report) {
    sort_.finish();
    std::string checksum;
    Place first;
    std::string firstBytes;
    std::string bytes;
    const auto readAt = [&](const Place& place, std::string& into) {
        EntryBytes found;
        if (!read(place, into) || into.size() != place.length) {
            throw Changed{place};
        }
        const Checksum again = checksumOf(into);
        static_cast<void>(putNumber(putNumber(found.data(), again[0]), again[1]));
        if (std::string_view(found.data(), kChecksumSize) != checksum) {
            throw Changed{place};
        }
    };
    for (std::string_view entry; sort_.next(entry);) {
        const Place place = placeOf(entry);
        if (entry.substr(0, kChecksumSize) != checksum) {
            checksum = entry.substr(0, kChecksumSize);
            first = place;
            firstBytes.clear();
            continue;
        }
        if (firstBytes.empty()) {
            readAt(first, firstBytes);
        }
        readAt(place, bytes);
        if (bytes == firstBytes) {  // else checksums met by chance
            report(first, place);
        }
    }
}
