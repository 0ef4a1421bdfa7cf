#include "libtarnpolicydoc/Values.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <limits>
#include <unordered_map>

#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

namespace policydoc {

namespace {

const char* kindName(JsonKind kind) {
    static constexpr std::array<const char*, 6> kNames = {"null",   "true or false", "a number",
                                                          "a text", "an array",      "an object"};
    return kNames[static_cast<std::size_t>(kind)];
}

std::size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<std::size_t> row(b.size() + 1);
    for (std::size_t j = 0; j <= b.size(); ++j) {
        row[j] = j;
    }
    for (std::size_t i = 1; i <= a.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= b.size(); ++j) {
            const std::size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, replaced});
        }
    }
    return row.back();
}

std::string upperCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return text;
}

TARN_ID readCapability(const JsonNode& node, const Path& at, const Reporter& report) {
    const std::string name = upperCase(node.text);
    const auto found = std::find(capabilityList.begin(), capabilityList.end(), name);
    if (found == capabilityList.end()) {
        report.mistake(
            at, node.line,
            {"unknown-capability", "no capability is named " + quoted(node.text),
             "one of the 38 names from CAP_CHOWN to CAP_AUDIT_READ",
             suggestion(report, name, capabilityList, "use a capability's name or an identifier of three words")});
        return TARN_ID{};
    }
    return TARN_ID{{static_cast<std::uint64_t>(found - capabilityList.begin()), 0, 0}};
}

}  // namespace

std::string describeValue(const JsonNode& node) {
    switch (node.kind) {
        case JsonKind::kNumber:
            return "the number " + node.text;
        case JsonKind::kString:
            return "the text " + quoted(node.text);
        case JsonKind::kBoolean:
            return node.text;
        default:
            return kindName(node.kind);
    }
}

bool expectKind(const JsonNode& node, JsonKind kind, const Path& at, const Reporter& report) {
    if (node.kind == kind) {
        return true;
    }
    report.mistake(at, node.line,
                   {"wrong-type", "here stands " + describeValue(node), kindName(kind),
                    "write " + std::string(kindName(kind)) + " here"});
    return false;
}

std::string readText(const JsonNode& node, const Path& at, const Reporter& report) {
    return expectKind(node, JsonKind::kString, at, report) ? node.text : "";
}

std::optional<std::uint64_t> parseUnsigned(std::string_view text, std::uint64_t max) {
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    const std::string_view digits = hex ? text.substr(2) : text;
    std::uint64_t value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value, hex ? 16 : 10);
    if (error != std::errc() || end != digits.data() + digits.size() || digits.empty() || value > max) {
        return std::nullopt;
    }
    return value;
}

std::uint64_t readUnsigned(const JsonNode& node, std::uint64_t max, const Path& at, const Reporter& report) {
    if (node.kind == JsonKind::kNumber || node.kind == JsonKind::kString) {
        if (const auto value = parseUnsigned(node.text, max)) {
            return *value;
        }
    }
    report.mistake(at, node.line,
                   {"wrong-number", "here stands " + describeValue(node),
                    "a whole number from 0 to " + std::to_string(max) + ", or a text with one in decimal or 0x digits",
                    "write a number of that range"});
    return 0;
}

std::uint32_t readWord(const JsonNode& node, const Path& at, const Reporter& report) {
    return static_cast<std::uint32_t>(readUnsigned(node, std::numeric_limits<std::uint32_t>::max(), at, report));
}

TARN_ID readIdentifier(const JsonNode& node, const Path& at, const Reporter& report) {
    if (node.kind == JsonKind::kString) {
        return readCapability(node, at, report);
    }
    TARN_ID id{};
    if (node.kind != JsonKind::kArray || node.children.size() != 3) {
        report.mistake(
            at, node.line,
            {"identifier",
             node.kind == JsonKind::kArray ? "an identifier of " + std::to_string(node.children.size()) + " words"
                                           : "here stands " + describeValue(node),
             "an array of three unsigned 64-bit words, or the name of a capability",
             "write the identifier as [first, second, third]"});
        return id;
    }
    for (std::size_t i = 0; i < 3; ++i) {
        id.uiWord[i] = readUnsigned(node.children[i], std::numeric_limits<std::uint64_t>::max(), Path(at, i), report);
    }
    return id;
}

// A mistake is reported at most a thousand times, but among a million names: the search ends after as much work as a
// reader would not notice.
std::string closest(std::string_view word, const std::vector<std::string>& known) {
    constexpr std::size_t kMostCompared = 100000;
    std::size_t budget = 300000;  // characters compared with characters
    std::string best;
    std::size_t bestDistance = std::max<std::size_t>(2, word.size() / 3) + 1;
    for (std::size_t i = 0; i < std::min(known.size(), kMostCompared); ++i) {
        const std::string& candidate = known[i];
        const std::size_t lengths =
            candidate.size() > word.size() ? candidate.size() - word.size() : word.size() - candidate.size();
        const std::size_t work = word.size() * candidate.size();
        if (lengths >= bestDistance || work > budget) {
            continue;
        }
        budget -= work;
        const std::size_t distance = editDistance(word, candidate);
        if (distance < bestDistance) {
            bestDistance = distance;
            best = candidate;
        }
        if (bestDistance <= 1) {
            break;  // none is nearer
        }
    }
    return best;
}

std::string suggestion(const Reporter& report, std::string_view word, const std::vector<std::string>& known,
                       const std::string& otherwise) {
    if (!report.keepsMistakes()) {
        return otherwise;  // the finding is only counted
    }
    const std::string near = closest(word, known);
    return near.empty() ? otherwise : "did you mean " + quoted(near) + "? Else " + otherwise;
}

void checkDuplicates(const JsonNode& object, const Path& at, const Reporter& report) {
    if (!report.listening()) {
        return;
    }
    std::unordered_map<std::string_view, std::uint32_t> firstLines;
    for (const JsonNode& child : object.children) {
        const auto [first, added] = firstLines.emplace(child.key, child.line);
        if (!added) {
            report.mistake(
                Path(at, child.key), child.line,
                {"duplicate-key",
                 "the key " + quoted(child.key) + " stands twice, first in line " + std::to_string(first->second),
                 "each key once in an object", "remove one of the two or give it another name"});
        }
    }
}

void checkMembers(const JsonNode& object, const std::vector<std::string>& known, const Path& at,
                  const Reporter& report) {
    if (!report.listening()) {
        return;
    }
    checkDuplicates(object, at, report);
    for (const JsonNode& child : object.children) {
        if (std::find(known.begin(), known.end(), child.key) == known.end()) {
            report.mistake(Path(at, child.key), child.line,
                           {"unknown-member", "no member is named " + quoted(child.key), "",
                            suggestion(report, child.key, known, "remove it; remarks go into a member \"comment\"")});
        }
    }
}

}  // namespace policydoc
