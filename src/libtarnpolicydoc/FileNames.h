// Which names the message files of a set will have, and whether two groups of rules come out at one name. Internal to
// this library.
#ifndef TARN_POLICYDOC_FILE_NAMES_H
#define TARN_POLICYDOC_FILE_NAMES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace policydoc {

// Claims the names of message series. A series is what one compiler thread writes for one key, namespace and group; its
// files differ by the number behind the last "_" alone, so that two series meet at all their names or at none.
class FileNameClaims {
public:
    explicit FileNameClaims(unsigned int threads) : threads_(threads == 0 ? 1 : threads) {}

    // Claims the series of all slices for `owner`, a number of the caller's, and gives the first other owner that it
    // meets. What was free is claimed all the same.
    std::optional<std::size_t> claim(std::size_t owner, const std::string& key, const std::string& nameSpace,
                                     const std::string& group);

    // The same without claiming.
    std::optional<std::size_t> holder(const std::string& key, const std::string& nameSpace,
                                      const std::string& group) const;

private:
    // What stands before and behind the slice's number in the names of one series.
    struct Series {
        std::string stem;
        std::string tail;
        std::size_t owner = 0;
    };

    std::optional<std::size_t> meets(const Series& names, const std::optional<std::size_t>& except) const;
    std::optional<std::size_t> meetsAnotherWay(const Series& names, const std::optional<std::size_t>& except) const;
    bool isSlice(std::string_view text) const;
    bool isSliceBetween(std::string_view text, std::string_view front, std::string_view back) const;

    // Nothing here grows with the number of threads.
    unsigned int threads_;
    std::vector<Series> claimed_;
    std::unordered_map<std::string, std::size_t> byNames_;  // stem, NUL, tail, to the first of claimed_
    std::unordered_map<std::string, std::vector<std::size_t>> byStem_;
    std::unordered_map<std::string, std::vector<std::size_t>> byTail_;
};

// The longest file name that a key, namespace and group can come to, in bytes.
std::size_t longestFileName(const std::string& key, const std::string& nameSpace, const std::string& group,
                            unsigned int threads);

// What file systems take for one name.
inline constexpr std::size_t kMaxFileName = 255;

}  // namespace policydoc

#endif
