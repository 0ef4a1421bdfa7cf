// What the name of a policy message file says. It is KEY_SLICE_NAMESPACE_GROUP_INDEX, and every word may hold "_" itself:
// only the namespace, which is known from the records, tells where to cut, and it may still be found at several places.
#ifndef TARN_NAMES_FILE_NAME_H
#define TARN_NAMES_FILE_NAME_H

#include <cstdint>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace tarnnames {

struct FileNameReading {
    std::string key;
    std::string slice;  // digits
    std::string nameSpace;
    std::string group;
    std::string index;  // digits
};

// All readings of a name in which the namespace is one of these, from the shortest key to the longest. None where the
// name is not built like that.
std::vector<FileNameReading> readFileName(const std::string& fileName, const std::vector<std::string>& nameSpaces);

// The parts of a file name, cut at "_": what its namespace can be called. Found when they are asked for, and once for many
// numbers.
class FileNameWords {
public:
    explicit FileNameWords(std::string fileName = "") : fileName_(std::move(fileName)) {}

    const std::string& fileName() const { return fileName_; }
    // From one "_" to any later one, each once.
    const std::set<std::string>& all();
    // Those whose checksum is this number: what the namespace can be called where no side file tells it.
    std::vector<std::string> withChecksum(std::uint32_t number);

private:
    std::string fileName_;
    bool isCut_ = false;
    std::set<std::string> words_;
    std::unordered_multimap<std::uint32_t, std::string> byChecksum_;
};

// The different groups of some readings, in their order.
std::vector<std::string> groupsOf(const std::vector<FileNameReading>& readings);

}  // namespace tarnnames

#endif
