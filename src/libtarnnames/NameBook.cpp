#include "libtarnnames/NameBook.h"

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

// Keeps the order, without those that are there already.
class NameList {
public:
    template <typename Names>
    void add(const Names& more) {
        for (const std::string& name : more) {
            if (seen_.insert(name).second) {
                names.push_back(name);
            }
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

std::vector<std::string> NameBook::namespaceNames(std::uint32_t number) const {
    NameList list;
    if (announced_ != nullptr) {
        list.add(announced_->names(number));
    }
    list.add(functions_.names(number));
    list.add(scenes_.names(number));
    return std::move(list.names);
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

std::vector<FileNameReading> NameBook::readings(const std::string& fileName, std::uint32_t nameId) const {
    const std::vector<std::string> known = namespaceNames(nameId);
    return readFileName(fileName, known.empty() ? namespacesByChecksum(fileName, nameId) : known);
}

}  // namespace tarnnames
