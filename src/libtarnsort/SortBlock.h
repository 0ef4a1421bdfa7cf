// A block of memory that takes records until it is full, and then sorts them. Internal to this folder.
#ifndef TARN_SORT_BLOCK_H
#define TARN_SORT_BLOCK_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

namespace tarnsort {

class SortBlock {
public:
    explicit SortBlock(std::size_t bytes);

    // Copies the record. False where it does not fit any more.
    bool add(std::string_view record);

    void sort();

    std::size_t count() const { return capacity_ - firstEntry_; }
    std::string_view record(std::size_t index) const { return bytesOf(entries_[firstEntry_ + index]); }
    void clear();

private:
    struct Entry {
        std::uint64_t word;  // eight bytes of the record, of the place by which it is being sorted
        std::uint32_t offset;
        std::uint32_t length;
    };

    std::string_view bytesOf(const Entry& entry) const { return {bytes_ + entry.offset, entry.length}; }
    std::uint64_t wordAt(const Entry& entry, std::size_t place) const;
    void sortFrom(Entry* begin, Entry* end, std::size_t place);
    void sortByBytes(Entry* begin, Entry* end) const;

    // One allocation, so that long and short records share it: bytes grow from its start, entries from its end. Memory
    // that was never written is never taken from the machine.
    std::size_t capacity_;  // in entries
    std::unique_ptr<Entry[]> entries_;
    char* bytes_;
    std::size_t usedBytes_ = 0;
    std::size_t firstEntry_;
};

}  // namespace tarnsort

#endif
