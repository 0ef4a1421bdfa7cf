// All that is known about the names behind the numbers of a set: what its namespace message announces, the side files
// beside it, and a label table.
#ifndef TARN_NAMES_NAME_BOOK_H
#define TARN_NAMES_NAME_BOOK_H

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
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

    // The names of a namespace's number; several where numbers meet. None where nobody tells. One side file may give a
    // number hundreds of thousands of names: who asks for each record takes them from NamespaceNames.
    std::vector<std::string> namespaceNames(std::uint32_t number) const;
    bool isNamespaceName(std::uint32_t number, std::string_view name) const;
    // Changes whenever the names of a number do.
    std::size_t namespaceNameCount(std::uint32_t number) const;
    // All numbers that have names, each once.
    std::vector<std::uint32_t> namedNumbers() const;
    // The numbers that a namespace's name may have: announced, from scene_info, or else its checksum.
    std::vector<std::uint32_t> namespaceNumbers(const std::string& name) const;

    // The table that knows the functions of a namespace, for the texts of MessageText.h.
    const tarnmessage::FunctionTable& functionsOf(std::uint32_t nameId) const;

    // How the name of a policy message file can be read, when its records have this name number.
    std::vector<FileNameReading> readings(FileNameWords& words, std::uint32_t nameId) const;

    const SceneInfo& scenes() const { return scenes_; }
    const Classes& classes() const { return classes_; }
    const Identifiers& identifiers() const { return identifiers_; }
    const SideFilePaths& paths() const { return paths_; }  // those that were read

private:
    // Of a number, by source: announced, of funcinfo, of scene_info. A name may stand in several.
    std::array<const tarnmessage::NameSet*, 3> sourcesOf(std::uint32_t number) const;

    SideFilePaths paths_;
    SceneInfo scenes_;
    tarnmessage::FunctionTable functions_;  // of funcinfo
    Classes classes_;
    Identifiers identifiers_;
    const tarnmessage::FunctionTable* announced_ = nullptr;
};

// The names of one number, shared by all that show them.
class SharedNames {
public:
    SharedNames() = default;
    explicit SharedNames(std::vector<std::string> names)
        : names_(std::make_shared<const std::vector<std::string>>(std::move(names))) {}

    operator const std::vector<std::string>&() const { return *names_; }  // NOLINT(google-explicit-constructor)
    bool empty() const { return names_->empty(); }
    std::size_t size() const { return names_->size(); }
    auto begin() const { return names_->begin(); }
    auto end() const { return names_->end(); }
    const std::string& front() const { return names_->front(); }

private:
    std::shared_ptr<const std::vector<std::string>> names_ = std::make_shared<const std::vector<std::string>>();
};

// Makes the list of each number's names once and not for each record. All lists together take no more than what the book
// was told.
class NamespaceNames {
public:
    explicit NamespaceNames(const NameBook& book) : book_(book) {}

    // Valid until the next call.
    const SharedNames& of(std::uint32_t number);
    // How many were made so far.
    std::uint64_t made() const { return made_; }

private:
    struct Known {
        SharedNames names;
        std::size_t count = 0;  // of the book when they were taken
    };

    const NameBook& book_;
    std::unordered_map<std::uint32_t, Known> known_;
    SharedNames none_;
    std::uint64_t made_ = 0;
};

}  // namespace tarnnames

#endif
