#include "libtarnnames/NameBook.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <utility>

#include "Common/Common.h"
#include "libtarnmessage/MessageText.h"

namespace tarnnames {

namespace {

using tarnmessage::FunctionTable;

// Reads one side file; an empty path is one that was not found. Problems get its path in front.
template <typename Take>
void readSideFile(std::string& path, std::vector<std::string>& problems, Take take) {
    if (path.empty()) {
        return;
    }
    std::string text;
    ProblemList own;
    if (const int failure = readTextFile(path, text); failure != 0) {
        own.add(std::string("can't be read: ") + std::strerror(failure));
    } else {
        take(text, own);
    }
    for (const std::string& problem : own.texts()) {
        problems.push_back(tarnmessage::escaped(path) + ": " + problem);
    }
}

constexpr std::size_t kFewNames = 16;

// Keeps the order, without those that are there already.
class NameList {
public:
    void add(const std::string& name) {
        if (seen_.insert(name).second) {
            names.push_back(name);
        }
    }
    void add(const tarnmessage::NameSet& more) {
        for (const std::string& name : more) {
            add(name);
        }
    }
    std::vector<std::string> names;

private:
    std::set<std::string> seen_;
};

}  // namespace

void NameBook::readSideFiles(const std::string& path, const std::string& etcDirectory,
                             std::vector<std::string>& problems) {
    paths_ = findSideFiles(path, etcDirectory);
    readSideFile(paths_.sceneInfo, problems,
                 [&](const std::string& text, ProblemList& own) { scenes_.add(text, own); });
    FuncInfo functions;
    readSideFile(paths_.funcInfo, problems,
                 [&](const std::string& text, ProblemList& own) { functions.add(text, own); });
    for (const auto& [name, list] : functions.functions()) {
        const auto pinned = scenes_.numbers().find(name);
        functions_.add(pinned != scenes_.numbers().end() ? pinned->second : stringToId(name.c_str()), {name, list});
    }
    readSideFile(paths_.classDefinitions, problems,
                 [&](const std::string& text, ProblemList& own) { static_cast<void>(classes_.read(text, own)); });
}

std::array<const tarnmessage::NameSet*, 3> NameBook::sourcesOf(std::uint32_t number) const {
    static const tarnmessage::NameSet kNone;
    return {announced_ == nullptr ? &kNone : &announced_->names(number), &functions_.names(number),
            &scenes_.names(number)};
}

std::vector<std::string> NameBook::namespaceNames(std::uint32_t number) const {
    NameList list;
    for (const tarnmessage::NameSet* names : sourcesOf(number)) {
        list.add(*names);
    }
    return std::move(list.names);
}

bool NameBook::isNamespaceName(std::uint32_t number, std::string_view name) const {
    const auto sources = sourcesOf(number);
    return std::any_of(sources.begin(), sources.end(),
                       [&](const tarnmessage::NameSet* names) { return names->count(name) != 0; });
}

std::size_t NameBook::namespaceNameCount(std::uint32_t number) const {
    std::size_t count = 0;
    for (const tarnmessage::NameSet* names : sourcesOf(number)) {
        count += names->size();
    }
    return count;
}

std::vector<std::uint32_t> NameBook::namedNumbers() const {
    std::vector<std::uint32_t> numbers = scenes_.namedNumbers();
    for (const FunctionTable* table : {announced_, &functions_}) {
        if (table != nullptr) {
            const std::vector<std::uint32_t> more = table->numbers();
            numbers.insert(numbers.end(), more.begin(), more.end());
        }
    }
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    return numbers;
}

std::vector<std::uint32_t> NameBook::namespaceNumbers(const std::string& name) const {
    std::vector<std::uint32_t> numbers;
    if (announced_ != nullptr) {
        numbers = announced_->numbersOf(name);
    }
    const auto pinned = scenes_.numbers().find(name);
    if (pinned != scenes_.numbers().end()) {
        numbers.push_back(pinned->second);
    } else if (numbers.empty()) {
        numbers.push_back(stringToId(name.c_str()));
    }
    return numbers;
}

const FunctionTable& NameBook::functionsOf(std::uint32_t nameId) const {
    return announced_ != nullptr && !announced_->names(nameId).empty() ? *announced_ : functions_;
}

// A name that is none of the file name's words gives no reading: many names need not be tried one by one.
std::vector<FileNameReading> NameBook::readings(FileNameWords& words, std::uint32_t nameId) const {
    const std::size_t count = namespaceNameCount(nameId);
    if (count == 0) {
        return readFileName(words.fileName(), words.withChecksum(nameId));
    }
    if (count <= kFewNames) {
        return readFileName(words.fileName(), namespaceNames(nameId));
    }
    NameList list;
    for (const tarnmessage::NameSet* names : sourcesOf(nameId)) {
        for (const std::string& word : words.all()) {
            if (names->count(word) != 0) {
                list.add(word);
            }
        }
    }
    return readFileName(words.fileName(), list.names);
}

const SharedNames& NamespaceNames::of(std::uint32_t number) {
    const std::size_t count = book_.namespaceNameCount(number);
    if (count == 0) {
        return none_;
    }
    Known& known = known_[number];
    if (known.count != count) {
        known = {SharedNames(book_.namespaceNames(number)), count};
        ++made_;
    }
    return known.names;
}

}  // namespace tarnnames
