#include "libtarnnames/Identifiers.h"

#include <algorithm>
#include <charconv>

#include "libtarnlabelmgr/LabelTable.h"
#include "libtarnmessage/MessageText.h"

namespace tarnnames {

namespace {

std::array<std::uint64_t, 3> keyOf(const TARN_ID& identifier) {
    return {identifier.uiWord[0], identifier.uiWord[1], identifier.uiWord[2]};
}

bool readWord(std::string_view text, std::uint64_t& word) {
    const bool isHexadecimal = text.substr(0, 2) == "0x" || text.substr(0, 2) == "0X";
    text.remove_prefix(isHexadecimal ? 2 : 0);
    const char* end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, word, isHexadecimal ? 16 : 10);
    return result.ec == std::errc() && result.ptr == end;
}

}  // namespace

std::optional<TARN_ID> identifierOf(std::string_view text) {
    TARN_ID identifier{};
    constexpr std::size_t kWords = 3;
    for (std::size_t word = 0; word < kWords; ++word) {
        const std::size_t end = word + 1 < kWords ? text.find(':') : text.size();
        if (end == std::string_view::npos || !readWord(text.substr(0, end), identifier.uiWord[word])) {
            return std::nullopt;
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return identifier;
}

std::size_t Identifiers::Hash::operator()(const std::array<std::uint64_t, 3>& words) const {
    constexpr std::uint64_t kPrime = 0x9E3779B97F4A7C15;  // odd, with bits all over
    constexpr unsigned int kFold = 32;
    std::uint64_t hash = 0;
    for (const std::uint64_t word : words) {
        hash = (hash ^ word) * kPrime;
        hash ^= hash >> kFold;
    }
    return hash;
}

void Identifiers::add(const std::string& kind, const std::string& name, const TARN_ID& identifier) {
    byIdentifier_[keyOf(identifier)].push_back(kind + " " + name);
    byName_[name].push_back(identifier);
}

bool Identifiers::read(const std::string& path, std::string& problem) {
    labeltable::Table table;
    std::string text;
    if (labeltable::readText(path, text, problem) != labeltable::kOk ||
        labeltable::parse(text, table, problem) != labeltable::kOk) {
        problem.insert(0, tarnmessage::escaped(path) + ": ");
        return false;
    }
    for (const auto& [kind, labels] : table.kinds) {
        for (const auto& [name, identifiers] : labels) {
            for (const TARN_ID& identifier : identifiers) {
                add(kind, name, identifier);
            }
        }
    }
    for (const auto& [name, identifier] : table.devices) {
        add("device", name, identifier);
    }
    for (const auto& [name, identifier] : table.modules) {
        add("module", name, identifier);
    }
    for (auto& [identifier, names] : byIdentifier_) {
        std::sort(names.begin(), names.end());
        names.erase(std::unique(names.begin(), names.end()), names.end());
    }
    return true;
}

const std::vector<std::string>& Identifiers::names(const TARN_ID& identifier) const {
    static const std::vector<std::string> kNone;
    const auto found = byIdentifier_.find(keyOf(identifier));
    return found == byIdentifier_.end() ? kNone : found->second;
}

std::vector<TARN_ID> Identifiers::identifiers(const std::string& name) const {
    const auto found = byName_.find(name);
    return found == byName_.end() ? std::vector<TARN_ID>() : found->second;
}

}  // namespace tarnnames
