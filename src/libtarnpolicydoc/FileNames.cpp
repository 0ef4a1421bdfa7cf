#include "libtarnpolicydoc/FileNames.h"

#include <charconv>
#include <cstdint>

#include "libtarnpolicysync/Paths.h"

namespace policydoc {

namespace {

// Room for the file's number: a million files of one series are 10 billion records.
constexpr int kLargestFileNumber = 999999;

struct Range {
    std::size_t first;
    std::size_t end;
};

// What stands between two "_", one after the other: a slice's number may be there.
std::vector<Range> pieces(const std::string& text) {
    std::vector<Range> found;
    std::size_t first = text.find('_');
    for (std::size_t end = 0; first != std::string::npos && (end = text.find('_', first + 1)) != std::string::npos;
         first = end) {
        found.push_back({first + 1, end});
    }
    return found;
}

std::string joined(const std::string& stem, const std::string& tail) {
    return stem + std::string(1, '\0') + tail;
}

const std::vector<std::size_t>& entriesOf(const std::unordered_map<std::string, std::vector<std::size_t>>& index,
                                          const std::string& text) {
    static const std::vector<std::size_t> kNone;
    const auto found = index.find(text);
    return found == index.end() ? kNone : found->second;
}

}  // namespace

bool FileNameClaims::isSlice(std::string_view text) const {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    return isWhole && number < threads_ && (text[0] != '0' || text.size() == 1);
}

bool FileNameClaims::isSliceBetween(std::string_view text, std::string_view front, std::string_view back) const {
    return text.size() > front.size() + back.size() && text.substr(0, front.size()) == front &&
           text.substr(text.size() - back.size()) == back &&
           isSlice(text.substr(front.size(), text.size() - front.size() - back.size()));
}

// The same name read in another way: where a piece of the stem or of the tail is a slice's number, too, the series' own
// number belongs to the other one's tail or stem.
std::optional<std::size_t> FileNameClaims::meetsAnotherWay(const Series& names,
                                                           const std::optional<std::size_t>& except) const {
    for (const Range& piece : pieces(names.stem)) {
        const std::string rest = names.stem.substr(piece.end);
        if (!isSlice(std::string_view(names.stem).substr(piece.first, piece.end - piece.first))) {
            continue;
        }
        for (const std::size_t index : entriesOf(byStem_, names.stem.substr(0, piece.first))) {
            if (claimed_[index].owner != except && isSliceBetween(claimed_[index].tail, rest, names.tail)) {
                return claimed_[index].owner;
            }
        }
    }
    for (const Range& piece : pieces(names.tail)) {
        const std::string front = names.tail.substr(0, piece.first);
        if (!isSlice(std::string_view(names.tail).substr(piece.first, piece.end - piece.first))) {
            continue;
        }
        for (const std::size_t index : entriesOf(byTail_, names.tail.substr(piece.end))) {
            if (claimed_[index].owner != except && isSliceBetween(claimed_[index].stem, names.stem, front)) {
                return claimed_[index].owner;
            }
        }
    }
    return std::nullopt;
}

std::optional<std::size_t> FileNameClaims::meets(const Series& names, const std::optional<std::size_t>& except) const {
    const auto same = byNames_.find(joined(names.stem, names.tail));
    if (same != byNames_.end() && claimed_[same->second].owner != except) {
        return claimed_[same->second].owner;
    }
    return meetsAnotherWay(names, except);
}

std::optional<std::size_t> FileNameClaims::claim(std::size_t owner, const std::string& key,
                                                 const std::string& nameSpace, const std::string& group) {
    const Series names{paths::keyStem(key), paths::sectionTag(nameSpace, group), owner};
    const std::optional<std::size_t> other = meets(names, owner);
    if (byNames_.emplace(joined(names.stem, names.tail), claimed_.size()).second) {
        byStem_[names.stem].push_back(claimed_.size());
        byTail_[names.tail].push_back(claimed_.size());
        claimed_.push_back(names);
    }
    return other;
}

std::optional<std::size_t> FileNameClaims::holder(const std::string& key, const std::string& nameSpace,
                                                  const std::string& group) const {
    return meets({paths::keyStem(key), paths::sectionTag(nameSpace, group), 0}, std::nullopt);
}

std::size_t longestFileName(const std::string& key, const std::string& nameSpace, const std::string& group,
                            unsigned int threads) {
    const unsigned int lastSlice = threads == 0 ? 0 : threads - 1;
    return paths::policyFileName(paths::slicePrefix(paths::keyStem(key), lastSlice), nameSpace, group,
                                 kLargestFileNumber)
        .size();
}

}  // namespace policydoc
