// The text files that stand beside a compiled set and say which numbers its names have.
#ifndef TARN_NAMES_SIDE_FILES_H
#define TARN_NAMES_SIDE_FILES_H

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "libtarnmessage/FunctionTable.h"
#include "libtarnnames/ProblemList.h"

namespace tarnnames {

// Where the side files of one path lie. Empty where there is none.
struct SideFilePaths {
    std::string sceneInfo;
    std::string funcInfo;
    std::string classDefinitions;
};

// Each file is looked for in the folder above `path`, then in `etcDirectory` (where one is given). The folder above a
// message file is the one above its set, or, where nothing lies there, its own. Beside a set whose name begins with a dot,
// which was not delivered yet, the files that wait for the same delivery (.scene_info, .funcinfo) come first.
SideFilePaths findSideFiles(const std::string& path, const std::string& etcDirectory);

// Lines of scene_info, as the library reads them: name number and name. A later line for a name wins.
class SceneInfo {
public:
    // Adds the lines of a text; what is no such line is a problem ("line 3: ...") and skipped.
    void add(std::string_view text, ProblemList& problems);

    // The names of a number, in the order of the alphabet; several where checksums meet.
    const tarnmessage::NameSet& names(std::uint32_t number) const;
    // All that have a name, in no order.
    std::vector<std::uint32_t> namedNumbers() const;
    const std::map<std::string, std::uint32_t>& numbers() const { return numbers_; }

private:
    std::map<std::string, std::uint32_t> numbers_;
    std::unordered_map<std::uint32_t, tarnmessage::NameSet> names_;  // the same by number
};

// Keeps each text once, at its first place. Takes no more time than sorting does, whoever wrote the list.
void dropRepetitions(std::vector<std::string>& texts);

// Lines of funcinfo: a namespace and its functions, "module:function", in the order of their numbers.
class FuncInfo {
public:
    void add(std::string_view text, ProblemList& problems);
    const std::map<std::string, std::vector<std::string>>& functions() const { return functions_; }

private:
    std::map<std::string, std::vector<std::string>> functions_;
};

// Reads a text file of at most 64 MiB. 0, or an errno (EFBIG for a longer one).
int readTextFile(const std::string& path, std::string& text);

}  // namespace tarnnames

#endif
