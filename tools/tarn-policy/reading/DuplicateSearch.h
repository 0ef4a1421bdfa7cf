// Finds records that stand in a set more than once, in bounded memory: what does not fit is sorted in pieces on disk and
// merged.
#ifndef TARN_POLICY_DUPLICATE_SEARCH_H
#define TARN_POLICY_DUPLICATE_SEARCH_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>
#include <vector>

#include "Common/Handles.h"

class DuplicateSearch {
public:
    struct Place {
        std::uint32_t file = 0;  // a number of the caller's
        std::uint32_t offset = 0;
        std::uint32_t length = 0;
    };
    // Whether the bytes at two places are the same; only asked where their checksums are.
    using Same = std::function<bool(const Place&, const Place&)>;
    using Report = std::function<void(const Place& first, const Place& again)>;

    // 24 bytes for each record are held until `mostRecords`, then moved to an unnamed file in the folder for temporary
    // files.
    static constexpr std::size_t kMostRecords = std::size_t{8} << 20U;  // 192 MiB
    explicit DuplicateSearch(std::size_t mostRecords = kMostRecords);

    void add(std::string_view bytes, std::uint32_t file, std::uint32_t offset);
    // Reports each record that equals one at an earlier place. Throws Failure where the disk refuses.
    void finish(const Same& same, const Report& report);

private:
    struct Entry {
        std::uint64_t checksum;
        std::uint32_t moreChecksum;
        Place place;
    };
    class Run;
    static bool isBefore(const Entry& left, const Entry& right);
    void spill();

    template <typename Next>
    void compare(Next next, const Same& same, const Report& report);

    std::size_t mostRecords_;
    std::uint64_t key_[2] = {0, 0};  // random: nobody can make records that all have one checksum
    std::vector<Entry> entries_;
    UniqueFile file_;                // of the runs, one behind the other
    std::vector<std::size_t> runs_;  // their entries
};

#endif
