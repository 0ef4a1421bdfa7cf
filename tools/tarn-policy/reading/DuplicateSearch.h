// Finds records that stand in a set more than once, in bounded memory: what does not fit is sorted on disk.
#ifndef TARN_POLICY_DUPLICATE_SEARCH_H
#define TARN_POLICY_DUPLICATE_SEARCH_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

#include "libtarnsort/ExternalSort.h"

class DuplicateSearch {
public:
    struct Place {
        std::uint32_t file = 0;  // a number of the caller's
        std::uint32_t offset = 0;
        std::uint32_t length = 0;
    };
    // Puts the bytes at a place into a text. False where they can't be read any more.
    using Read = std::function<bool(const Place&, std::string&)>;
    using Report = std::function<void(const Place& first, const Place& again)>;

    static constexpr std::size_t kMemory = std::size_t{256} << 20U;  // bytes
    explicit DuplicateSearch(std::size_t memory = kMemory);

    // 28 bytes are kept of each record.
    void add(std::string_view bytes, std::uint32_t file, std::uint32_t offset);
    // What ends a search: other bytes at a place than were added.
    struct Changed {
        Place place;
    };
    // Reports each record that equals one at an earlier place; reads those alone whose checksums say so. Throws Changed, and
    // tarnsort::SortFailure where the disk refuses, as add() does.
    void finish(const Read& read, const Report& report);

private:
    using Checksum = std::array<std::uint64_t, 2>;
    Checksum checksumOf(std::string_view bytes) const;

    Checksum key_{};  // random: nobody can make records that have one checksum
    tarnsort::ExternalSort sort_;
};

#endif
