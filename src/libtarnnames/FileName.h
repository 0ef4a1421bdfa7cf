// What the name of a policy message file says. It is KEY_SLICE_NAMESPACE_GROUP_INDEX, and every word may hold "_" itself:
// only the namespace, which is known from the records, tells where to cut, and it may still be found at several places.
#ifndef TARN_NAMES_FILE_NAME_H
#define TARN_NAMES_FILE_NAME_H

#include <cstdint>
#include <string>
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

// The parts of a file name, cut at "_", whose checksum is this number: what the namespace can be called where no side file
// tells it.
std::vector<std::string> namespacesByChecksum(const std::string& fileName, std::uint32_t number);

// The different groups of some readings, in their order.
std::vector<std::string> groupsOf(const std::vector<FileNameReading>& readings);

}  // namespace tarnnames

#endif
