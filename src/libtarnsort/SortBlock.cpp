#include "libtarnsort/SortBlock.h"

#include <algorithm>
#include <cstring>
#include <limits>

namespace tarnsort {

namespace {

// Beyond this many bytes, and for this few records, whole records are compared.
constexpr std::size_t kWordBytes = 64;
constexpr std::ptrdiff_t kFewEntries = 16;

}  // namespace

SortBlock::SortBlock(std::size_t bytes)
    : capacity_(std::min<std::size_t>(bytes, std::numeric_limits<std::uint32_t>::max()) / sizeof(Entry)),
      entries_(new Entry[capacity_]),
      bytes_(reinterpret_cast<char*>(entries_.get())),
      firstEntry_(capacity_) {}

bool SortBlock::add(std::string_view record) {
    if (firstEntry_ == 0 || usedBytes_ + record.size() > (firstEntry_ - 1) * sizeof(Entry)) {
        return false;
    }
    std::memcpy(bytes_ + usedBytes_, record.data(), record.size());
    --firstEntry_;
    entries_[firstEntry_] = {0, static_cast<std::uint32_t>(usedBytes_), static_cast<std::uint32_t>(record.size())};
    usedBytes_ += record.size();
    return true;
}

void SortBlock::sort() {
    sortFrom(entries_.get() + firstEntry_, entries_.get() + capacity_, 0);
}

void SortBlock::clear() {
    usedBytes_ = 0;
    firstEntry_ = capacity_;
}

// As a number whose order is that of the bytes; what lies behind the record's end counts as zeros.
std::uint64_t SortBlock::wordAt(const Entry& entry, std::size_t place) const {
    std::uint64_t word = 0;
    if (place < entry.length) {
        std::memcpy(&word, bytes_ + entry.offset + place, std::min<std::size_t>(sizeof word, entry.length - place));
    }
    return __builtin_bswap64(word);
}

// Records that agree up to a place are sorted by the next eight bytes, which are fetched once; then those that agree
// there, too, by the eight after them. Comparing whole records would fetch both of them from all over the block every
// time, and rules have much in common at their start.
void SortBlock::sortFrom(Entry* begin, Entry* end, std::size_t place) {
    if (end - begin <= kFewEntries || place >= kWordBytes) {
        sortByBytes(begin, end);
        return;
    }
    for (Entry* entry = begin; entry != end; ++entry) {
        entry->word = wordAt(*entry, place);
    }
    std::sort(begin, end, [](const Entry& left, const Entry& right) { return left.word < right.word; });
    while (begin != end) {
        Entry* const next = std::find_if(begin, end, [begin](const Entry& entry) { return entry.word != begin->word; });
        sortFrom(begin, next, place + sizeof(std::uint64_t));
        begin = next;
    }
}

void SortBlock::sortByBytes(Entry* begin, Entry* end) const {
    std::sort(begin, end, [this](const Entry& left, const Entry& right) { return bytesOf(left) < bytesOf(right); });
}

}  // namespace tarnsort
