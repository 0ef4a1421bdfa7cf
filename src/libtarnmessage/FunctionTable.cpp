#include "libtarnmessage/FunctionTable.h"

namespace tarnmessage {

void FunctionTable::add(const NamespaceView& block) {
    Namespace entry;
    entry.name = std::string(block.name);
    FunctionCursor functions = block.functions();
    for (FunctionView function; functions.next(function);) {
        entry.functions.emplace_back(function.name);
    }
    add(block.node.nameId, std::move(entry));
}

void FunctionTable::add(std::uint32_t nameId, Namespace entry) {
    Number& number = numbers_[nameId];
    number.names.insert(std::move(entry.name));
    for (std::size_t index = 0; index < entry.functions.size(); ++index) {
        if (index == number.functions.size()) {
            number.functions.emplace_back(std::move(entry.functions[index]));
        } else if (number.functions[index] != entry.functions[index]) {
            number.functions[index].reset();
        }
    }
}

std::vector<std::uint32_t> FunctionTable::numbersOf(const std::string& name) const {
    std::vector<std::uint32_t> numbers;
    for (const auto& [number, entry] : numbers_) {
        if (entry.names.count(name) != 0) {
            numbers.push_back(number);
        }
    }
    return numbers;
}

const FunctionTable::Number* FunctionTable::find(std::uint32_t nameId) const {
    const auto found = numbers_.find(nameId);
    return found == numbers_.end() ? nullptr : &found->second;
}

const NameSet& FunctionTable::names(std::uint32_t nameId) const {
    static const NameSet kNone;
    const Number* known = find(nameId);
    return known == nullptr ? kNone : known->names;
}

const std::vector<std::optional<std::string>>& FunctionTable::functions(std::uint32_t nameId) const {
    static const std::vector<std::optional<std::string>> kNone;
    const Number* known = find(nameId);
    return known == nullptr ? kNone : known->functions;
}

std::vector<std::uint32_t> FunctionTable::numbers() const {
    std::vector<std::uint32_t> numbers;
    for (const auto& [number, entry] : numbers_) {
        numbers.push_back(number);
    }
    return numbers;
}

const std::string* FunctionTable::findFunction(std::uint32_t nameId, std::uint32_t functionId) const {
    const Number* known = find(nameId);
    if (known == nullptr || functionId == 0 || functionId > known->functions.size()) {
        return nullptr;
    }
    const std::optional<std::string>& function = known->functions[functionId - 1];
    return function ? &*function : nullptr;
}

std::uint32_t FunctionTable::functionCount(std::uint32_t nameId) const {
    const Number* known = find(nameId);
    return known == nullptr ? 0 : static_cast<std::uint32_t>(known->functions.size());
}

}  // namespace tarnmessage
