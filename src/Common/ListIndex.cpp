#include "Common/ListIndex.h"

#include <algorithm>
#include <functional>
#include <utility>

namespace {

constexpr std::size_t kSearchedLength = 64;  // up to here a search is as fast

std::size_t hashOf(const std::string& text) {
    return std::hash<std::string>()(text);
}

}  // namespace

void ListIndex::appendOnce(std::vector<std::string>& list, std::string&& text) {
    if (!holds(list, text)) {
        list.push_back(std::move(text));  // the index follows with the next call
        storage_ = list.data();
    }
}

bool ListIndex::holds(const std::vector<std::string>& list, const std::string& text) {
    const bool isShort = list.size() <= kSearchedLength;
    if (isShort || !describes(list)) {
        positions_.clear();
        hashes_.clear();
    }
    if (isShort) {
        return std::find(list.begin(), list.end(), text) != list.end();
    }
    while (hashes_.size() < list.size()) {
        const std::size_t position = hashes_.size();
        const std::size_t hash = hashOf(list[position]);
        hashes_.push_back(hash);
        positions_.emplace(hash, position);
    }
    const auto [first, last] = positions_.equal_range(hashOf(text));
    return std::any_of(first, last, [&](const auto& entry) { return list[entry.second] == text; });
}

// Looks at the ends and at two places between, which move on from call to call.
bool ListIndex::describes(const std::vector<std::string>& list) {
    if (hashes_.empty()) {
        return true;
    }
    const std::size_t count = hashes_.size();
    if (list.size() < count || list.data() != storage_) {
        return false;
    }
    sample_ = (sample_ + 1) % count;
    const std::size_t opposite = (sample_ + count / 2) % count;
    return isSame(list, 0) && isSame(list, count - 1) && isSame(list, sample_) && isSame(list, opposite);
}

bool ListIndex::isSame(const std::vector<std::string>& list, std::size_t position) const {
    return hashOf(list[position]) == hashes_[position];
}
