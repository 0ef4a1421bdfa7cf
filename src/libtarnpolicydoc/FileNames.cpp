#include "libtarnpolicydoc/FileNames.h"

#include "libtarnpolicysync/Paths.h"

namespace policydoc {

namespace {

// Room for the file's number: a million files of one series are 10 billion records.
constexpr int kLargestFileNumber = 999999;

std::string series(const std::string& key, unsigned int slice, const std::string& nameSpace, const std::string& group) {
    std::string name = paths::policyFileName(paths::slicePrefix(paths::keyStem(key), slice), nameSpace, group, 0);
    name.pop_back();  // the number; what stands before it tells the series
    return name;
}

}  // namespace

std::optional<std::size_t> FileNameClaims::claim(std::size_t owner, const std::string& key,
                                                 const std::string& nameSpace, const std::string& group) {
    std::optional<std::size_t> other;
    for (unsigned int slice = 0; slice < threads_; ++slice) {
        const auto [entry, added] = owners_.emplace(series(key, slice, nameSpace, group), owner);
        if (!added && entry->second != owner && !other) {
            other = entry->second;
        }
    }
    return other;
}

std::optional<std::size_t> FileNameClaims::holder(const std::string& key, const std::string& nameSpace,
                                                  const std::string& group) const {
    for (unsigned int slice = 0; slice < threads_; ++slice) {
        const auto entry = owners_.find(series(key, slice, nameSpace, group));
        if (entry != owners_.end()) {
            return entry->second;
        }
    }
    return std::nullopt;
}

std::size_t longestFileName(const std::string& key, const std::string& nameSpace, const std::string& group,
                            unsigned int threads) {
    const unsigned int lastSlice = threads == 0 ? 0 : threads - 1;
    return paths::policyFileName(paths::slicePrefix(paths::keyStem(key), lastSlice), nameSpace, group,
                                 kLargestFileNumber)
        .size();
}

}  // namespace policydoc
