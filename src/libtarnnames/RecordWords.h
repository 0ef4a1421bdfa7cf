// The names that belong to a record. Records of one file mostly share them, so that they are looked up once.
#ifndef TARN_NAMES_RECORD_WORDS_H
#define TARN_NAMES_RECORD_WORDS_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "libtarnmessage/MessageViews.h"
#include "libtarnnames/NameBook.h"

namespace tarnnames {

// Each list is empty where nobody knows a name, and has several where the number, or the file name, can be read in several
// ways.
struct RecordWords {
    SharedNames nameSpaces;
    std::vector<std::string> groups;
    std::vector<std::string> classes;
    std::vector<std::string> permissions;
};

class RecordWordsCache {
public:
    explicit RecordWordsCache(const NameBook& book) : book_(book), nameSpaces_(book) {}

    // The records that follow come from this file.
    void startFile(const std::string& fileName);
    // Valid until the next call.
    const RecordWords& of(const kernelmsg::PolicyNodeRecord& node);
    const NameBook& book() const { return book_; }

    // What is kept at most, in words and in bytes of their names: records may all differ, and names be long. The names of
    // namespaces do not count, which are kept once for each number.
    static constexpr std::size_t kMostKnown = 4096;
    static constexpr std::size_t kMostBytes = std::size_t{16} << 20U;
    std::size_t knownBytes() const { return bytes_; }
    // How often the names of a number were put together, and a file name was read for one.
    std::uint64_t lookups() const { return nameSpaces_.made() + readings_; }

private:
    using Key = std::tuple<std::uint32_t, std::uint32_t, std::uint32_t>;  // namespace, class, permission
    void clear();
    const std::vector<std::string>& groupsOf(std::uint32_t nameId);
    static Key keyOf(const kernelmsg::PolicyNodeRecord& node) { return {node.ext[1], node.permClass, node.perm}; }

    const NameBook& book_;
    NamespaceNames nameSpaces_;
    FileNameWords fileName_;
    std::map<std::uint32_t, std::vector<std::string>> groups_;  // of this file, by namespace
    std::map<Key, RecordWords> known_;
    const std::pair<const Key, RecordWords>* last_ = nullptr;
    std::size_t bytes_ = 0;
    std::uint64_t readings_ = 0;
};

}  // namespace tarnnames

#endif
