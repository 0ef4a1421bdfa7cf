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
    const Namespace* known = find(nameId);
    if (known == nullptr || known->functions.size() < entry.functions.size()) {
        namespaces_[nameId] = std::move(entry);
    }
}

std::vector<std::uint32_t> FunctionTable::numbersOf(const std::string& name) const {
    std::vector<std::uint32_t> numbers;
    for (const auto& [number, entry] : namespaces_) {
        if (entry.name == name) {
            numbers.push_back(number);
        }
    }
    return numbers;
}

const FunctionTable::Namespace* FunctionTable::find(std::uint32_t nameId) const {
    const auto found = namespaces_.find(nameId);
    return found == namespaces_.end() ? nullptr : &found->second;
}

const std::string* FunctionTable::findFunction(std::uint32_t nameId, std::uint32_t functionId) const {
    const Namespace* entry = find(nameId);
    if (entry == nullptr || functionId == 0 || functionId > entry->functions.size()) {
        return nullptr;
    }
    return &entry->functions[functionId - 1];
}

std::uint32_t FunctionTable::functionCount(std::uint32_t nameId) const {
    const Namespace* entry = find(nameId);
    return entry == nullptr ? 0 : static_cast<std::uint32_t>(entry->functions.size());
}

}  // namespace tarnmessage
