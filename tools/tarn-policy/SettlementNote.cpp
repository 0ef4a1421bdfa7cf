#include "SettlementNote.h"

#include <unistd.h>

#include <algorithm>
#include <optional>
#include <sstream>

#include "Files.h"

namespace {

constexpr char kFirstLine[] = "tarn-policy: variables to settle after a delivery";
constexpr char kKeep[] = "keep ";
constexpr char kDrop[] = "drop ";

bool beginsWith(const std::string& line, const std::string& word) {
    return line.compare(0, word.size(), word) == 0;
}

bool isSaved(const Variable& variable, const std::vector<Variable>& saved) {
    return std::any_of(saved.begin(), saved.end(), [&](const Variable& other) {
        return other.nameSpace == variable.nameSpace && other.name == variable.name;
    });
}

std::optional<UnsettledVariable> parse(const std::string& line) {
    const bool keep = beginsWith(line, kKeep);
    if (!keep && !beginsWith(line, kDrop)) {
        return std::nullopt;
    }
    const std::optional<Variable> variable = parseSaved(line.substr(std::string(kKeep).size()));
    return variable ? std::optional<UnsettledVariable>({*variable, keep}) : std::nullopt;
}

}  // namespace

void SettlementNote::write(const std::vector<Variable>& saved, bool keep) {
    if (saved.empty()) {
        remove();
        return;
    }
    std::string text = std::string(kFirstLine) + "\n";
    for (const Variable& variable : saved) {
        text += (keep ? kKeep : kDrop) + formatSaved(variable) + "\n";
    }
    replaceWholeFile(kPath, text);
}

void SettlementNote::remove() {
    removeFile(kPath);
}

void SettlementNote::forget() {
    static_cast<void>(unlink(kPath));
}

std::vector<UnsettledVariable> SettlementNote::unsettled(const std::vector<Variable>& saved) {
    std::vector<UnsettledVariable> found;
    std::istringstream stream(fileExists(kPath) ? readWholeFile(kPath) : "");
    std::string line;
    if (!std::getline(stream, line) || line != kFirstLine) {
        return found;
    }
    while (std::getline(stream, line)) {
        const std::optional<UnsettledVariable> entry = parse(line);
        if (entry && !isSaved(entry->variable, saved)) {
            found.push_back(*entry);
        }
    }
    return found;
}
