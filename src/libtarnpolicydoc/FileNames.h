// Which names the message files of a set will have, and whether two groups of rules come out at one name. Internal to
// this library.
#ifndef TARN_POLICYDOC_FILE_NAMES_H
#define TARN_POLICYDOC_FILE_NAMES_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <unordered_map>

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
    unsigned int threads_;
    std::unordered_map<std::string, std::size_t> owners_;
};

// The longest file name that a key, namespace and group can come to, in bytes.
std::size_t longestFileName(const std::string& key, const std::string& nameSpace, const std::string& group,
                            unsigned int threads);

// What file systems take for one name.
inline constexpr std::size_t kMaxFileName = 255;

}  // namespace policydoc

#endif
