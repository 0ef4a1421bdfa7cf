// All that is known about the names behind the numbers of a set: what its namespace message announces, the side files
// beside it, and a label table.
#ifndef TARN_NAMES_NAME_BOOK_H
#define TARN_NAMES_NAME_BOOK_H

#include <cstdint>
#include <string>
#include <vector>

#include "libtarnmessage/FunctionTable.h"
#include "libtarnnames/Classes.h"
#include "libtarnnames/FileName.h"
#include "libtarnnames/Identifiers.h"
#include "libtarnnames/SideFiles.h"

namespace tarnnames {

class NameBook {
public:
    // Reads the side files of a path (SideFiles.h says where they are looked for). Names are a help: a side file that is
    // missing is not mentioned, one that can't be read or understood becomes a problem, and what it would have said is
    // shown as numbers. Of the problems of one file the first ones are told, and the number of the others.
    void readSideFiles(const std::string& path, const std::string& etcDirectory, std::vector<std::string>& problems);

    // False, with the reason, where the label table can't be read.
    bool readLabels(const std::string& path, std::string& problem) { return identifiers_.read(path, problem); }

    // What the namespace message of the set announced, which goes before funcinfo; SetWalk::functions(). It must outlive the
    // book and may change.
    void attach(const tarnmessage::FunctionTable* announced) { announced_ = announced; }

    // The names of a namespace's number; several where numbers meet. None where nobody tells.
    std::vector<std::string> namespaceNames(std::uint32_t number) const;
    // The numbers that a namespace's name may have: announced, from scene_info, or else its checksum.
    std::vector<std::uint32_t> namespaceNumbers(const std::string& name) const;

    // The table that knows the functions of a namespace, for the texts of MessageText.h.
    const tarnmessage::FunctionTable& functionsOf(std::uint32_t nameId) const;

    // How the name of a policy message file can be read, when its records have this name number.
    std::vector<FileNameReading> readings(const std::string& fileName, std::uint32_t nameId) const;

    const SceneInfo& scenes() const { return scenes_; }
    const Classes& classes() const { return classes_; }
    const Identifiers& identifiers() const { return identifiers_; }
    const SideFilePaths& paths() const { return paths_; }  // those that were read

private:
    SideFilePaths paths_;
    SceneInfo scenes_;
    tarnmessage::FunctionTable functions_;  // of funcinfo
    Classes classes_;
    Identifiers identifiers_;
    const tarnmessage::FunctionTable* announced_ = nullptr;
};

}  // namespace tarnnames

#endif
