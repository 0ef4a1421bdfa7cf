#include "libtarnpolicydoc/Load.h"

#include <array>
#include <utility>

#include "libtarnpolicydoc/JsonTree.h"
#include "libtarnpolicydoc/Report.h"
#include "libtarnpolicydoc/SourceFiles.h"
#include "libtarnpolicydoc/Values.h"

namespace policydoc {

namespace {

constexpr std::uint64_t kVersion = 1;

// Fills a document from the tree, member by member. The rules themselves are not in the tree.
class DocumentReader {
public:
    DocumentReader(PolicyDocument& document, Diagnostics& diagnostics)
        : document_(document), name_(document.files.front().name), report_(&diagnostics, name_) {}

    void read(const JsonNode& root);

private:
    using Section = void (DocumentReader::*)(const JsonNode&, const Path&);

    void readNamespaces(const JsonNode& json, const Path& at);
    void readFunction(const JsonNode& json, std::size_t index, const Path& list, NamespaceEntry& entry);
    void readUsers(const JsonNode& json, const Path& at);
    void readFiles(const JsonNode& json, const Path& at);
    void readDevices(const JsonNode& json, const Path& at) { readNames(json, at, document_.devices); }
    void readModules(const JsonNode& json, const Path& at) { readNames(json, at, document_.modules); }
    void readNames(const JsonNode& json, const Path& at, std::vector<DeclaredName>& out);
    void readVariables(const JsonNode& json, const Path& at);
    void readGroups(const JsonNode& json, const Path& at);
    void readGroup(const JsonNode& json, const Path& at);
    void readRuleFiles(const JsonNode& json, const Path& at, RuleGroup& group);
    void readVersion(const JsonNode& root, const Path& at);
    Place place(const JsonNode& json) const { return Place{0, json.line}; }

    PolicyDocument& document_;
    const std::string name_;  // a copy: the list of files grows while the reporter is in use
    Reporter report_;
};

void DocumentReader::read(const JsonNode& root) {
    static const std::array<std::pair<const char*, Section>, 7> kSections = {
        {{"namespaces", &DocumentReader::readNamespaces},
         {"users", &DocumentReader::readUsers},
         {"files", &DocumentReader::readFiles},
         {"devices", &DocumentReader::readDevices},
         {"modules", &DocumentReader::readModules},
         {"variables", &DocumentReader::readVariables},
         {"groups", &DocumentReader::readGroups}}};
    static const std::vector<std::string> kMembers = {"tarnPolicy", "$schema", "comment", "namespaces", "users",
                                                      "files",      "devices", "modules", "variables",  "groups"};
    const Path at;
    if (!expectKind(root, JsonKind::kObject, at, report_)) {
        return;
    }
    checkMembers(root, kMembers, at, report_);
    readVersion(root, at);
    for (const auto& [name, section] : kSections) {
        if (const JsonNode* json = root.member(name)) {
            (this->*section)(*json, Path(at, name));
        }
    }
}

void DocumentReader::readVersion(const JsonNode& root, const Path& at) {
    const JsonNode* version = root.member("tarnPolicy");
    const std::string expected = "\"tarnPolicy\": " + std::to_string(kVersion);
    if (version == nullptr) {
        report_.mistake(at, root.line,
                        {"version", "the document does not say which version of the format it is written in", expected,
                         "add this member if the document follows docs/policy-format.md"});
    } else if (version->kind != JsonKind::kNumber || parseUnsigned(version->text, kVersion) != kVersion) {
        report_.mistake(Path(at, "tarnPolicy"), version->line,
                        {"version", "here stands " + describeValue(*version), expected,
                         "use a tool of the document's version, or write the document in this one"});
    }
}

void DocumentReader::readNamespaces(const JsonNode& json, const Path& at) {
    if (!expectKind(json, JsonKind::kObject, at, report_)) {
        return;
    }
    checkDuplicates(json, at, report_);
    for (const JsonNode& child : json.children) {
        const Path here(at, child.key);
        NamespaceEntry entry{child.key, {}, place(child)};
        if (expectKind(child, JsonKind::kArray, here, report_)) {
            for (std::size_t i = 0; i < child.children.size(); ++i) {
                readFunction(child.children[i], i, here, entry);
            }
        }
        document_.namespaces.push_back(std::move(entry));
    }
}

void DocumentReader::readFunction(const JsonNode& json, std::size_t index, const Path& list, NamespaceEntry& entry) {
    const Path at(list, index);
    const std::string text = readText(json, at, report_);
    const std::size_t colon = text.find(':');
    const bool oneColon = colon != std::string::npos && text.find(':', colon + 1) == std::string::npos;
    if (oneColon && colon != 0 && colon + 1 != text.size()) {
        entry.functions.push_back(
            {text.substr(0, colon), text.substr(colon + 1), static_cast<std::uint32_t>(index), place(json)});
    } else if (json.kind == JsonKind::kString) {
        report_.mistake(
            at, json.line,
            {"function-name", "a function written as " + quoted(text),
             "the kernel module, one \":\" and the function, for instance \"netmod:check\"", "write it so"});
    }
}

void DocumentReader::readUsers(const JsonNode& json, const Path& at) {
    if (!expectKind(json, JsonKind::kObject, at, report_)) {
        return;
    }
    checkDuplicates(json, at, report_);
    for (const JsonNode& child : json.children) {
        document_.users.push_back({child.key, readWord(child, Path(at, child.key), report_), place(child)});
    }
}

void DocumentReader::readFiles(const JsonNode& json, const Path& at) {
    if (!expectKind(json, JsonKind::kObject, at, report_)) {
        return;
    }
    checkDuplicates(json, at, report_);
    for (const JsonNode& child : json.children) {
        std::vector<DeclaredName> names;
        readNames(child, Path(at, child.key), names);
        for (DeclaredName& name : names) {
            document_.labelledNames.push_back({child.key, std::move(name.name), name.index, name.place});
        }
    }
}

void DocumentReader::readNames(const JsonNode& json, const Path& at, std::vector<DeclaredName>& out) {
    if (!expectKind(json, JsonKind::kArray, at, report_)) {
        return;
    }
    for (std::size_t i = 0; i < json.children.size(); ++i) {
        const JsonNode& child = json.children[i];
        if (expectKind(child, JsonKind::kString, Path(at, i), report_)) {
            out.push_back({child.text, static_cast<std::uint32_t>(i), place(child)});
        }
    }
}

void DocumentReader::readVariables(const JsonNode& json, const Path& at) {
    if (!expectKind(json, JsonKind::kObject, at, report_)) {
        return;
    }
    checkDuplicates(json, at, report_);
    for (const JsonNode& nameSpace : json.children) {
        const Path inside(at, nameSpace.key);
        if (!expectKind(nameSpace, JsonKind::kObject, inside, report_)) {
            continue;
        }
        checkDuplicates(nameSpace, inside, report_);
        for (const JsonNode& child : nameSpace.children) {
            VariableEntry entry{nameSpace.key, child.key, std::nullopt, place(child)};
            if (child.kind != JsonKind::kNull) {
                entry.value = readWord(child, Path(inside, child.key), report_);
            }
            document_.variables.push_back(std::move(entry));
        }
    }
}

void DocumentReader::readGroups(const JsonNode& json, const Path& at) {
    if (!expectKind(json, JsonKind::kObject, at, report_)) {
        return;
    }
    checkDuplicates(json, at, report_);
    for (const JsonNode& child : json.children) {
        readGroup(child, Path(at, child.key));
    }
}

void DocumentReader::readGroup(const JsonNode& json, const Path& at) {
    static const std::vector<std::string> kMembers = {"comment", "words", "rules", "ruleFiles"};
    RuleGroup group;
    group.key = json.key;
    group.place = place(json);
    if (expectKind(json, JsonKind::kObject, at, report_)) {
        checkMembers(json, kMembers, at, report_);
        const JsonNode* words = json.member("words");
        const Path wordsAt(at, "words");
        if (words != nullptr && (words->kind != JsonKind::kArray || words->children.size() != 3)) {
            report_.mistake(wordsAt, words->line,
                            {"wrong-type", "here stands " + describeValue(*words),
                             "an array of three unsigned 32-bit words", "write three words, or leave the member out"});
        } else if (words != nullptr) {
            for (std::size_t i = 0; i < 3; ++i) {
                group.words[i] = readWord(words->children[i], Path(wordsAt, i), report_);
            }
        }
        const JsonNode* rules = json.member("rules");
        if (rules != nullptr && expectKind(*rules, JsonKind::kArray, Path(at, "rules"), report_)) {
            group.inlineRules = rules->streamed;
        }
        if (const JsonNode* files = json.member("ruleFiles")) {
            readRuleFiles(*files, Path(at, "ruleFiles"), group);
        }
    }
    document_.groups.push_back(std::move(group));
}

void DocumentReader::readRuleFiles(const JsonNode& json, const Path& at, RuleGroup& group) {
    std::vector<DeclaredName> names;
    readNames(json, at, names);
    for (const DeclaredName& name : names) {
        SourceFile file;
        file.name = besideDocument(document_.files.front().name, name.name);
        file.path = besideDocument(document_.files.front().path, name.name);
        std::string why;
        if (!openSource(file, why).valid()) {
            report_.mistake(Path(at, name.index), name.place.line,
                            {"rule-file", "the rules in " + quoted(name.name) + " can't be read: " + why,
                             "a regular file with one rule per line", "name a file beside the document, or its path"});
            continue;
        }
        group.ruleFiles.push_back(static_cast<std::uint32_t>(document_.files.size()));
        group.ruleFilePointers.push_back(Path(at, name.index).pointer());
        document_.files.push_back(std::move(file));
    }
}

}  // namespace

std::optional<PolicyDocument> load(const std::string& path, Diagnostics& diagnostics) {
    PolicyDocument document;
    document.files.emplace_back();
    SourceFile& file = document.files.front();
    file.name = path;
    file.path = path;
    const Reporter report(&diagnostics, path);
    std::string why;
    const UniqueFd fd = openSource(file, why);
    if (!fd.valid()) {
        report.mistake(Path(), 0,
                       {"file", "can't be read: " + why, "a policy document", "name a file that can be read"});
        return std::nullopt;
    }
    JsonNode root;
    JsonError error;
    if (parseDocument(fd.get(), RuleSink(), root, error) != ParseResult::kComplete) {
        report.broken(Path(), error);
        return std::nullopt;
    }
    DocumentReader(document, diagnostics).read(root);
    return document;
}

}  // namespace policydoc
