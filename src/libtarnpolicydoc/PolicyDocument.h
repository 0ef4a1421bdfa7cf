// A policy document as it stands in memory: everything but its rules, which may be a million and are read one by one
// from their file whenever somebody walks over them (Rules.h).
#ifndef TARN_POLICYDOC_POLICY_DOCUMENT_H
#define TARN_POLICYDOC_POLICY_DOCUMENT_H

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace policydoc {

// Where something stands: an index into PolicyDocument::files and a line from 1.
struct Place {
    std::uint32_t file = 0;
    std::uint32_t line = 0;
};

// A file that was read, with what must not change between one walk over its rules and the next.
struct SourceFile {
    std::string name;  // as the user or the document wrote it, for messages
    std::string path;  // what is opened; relative names stand beside the document
    std::uint64_t device = 0;
    std::uint64_t inode = 0;
    std::uint64_t size = 0;
    std::int64_t modifiedNs = 0;
};

struct FunctionEntry {
    std::string module;
    std::string function;
    std::uint32_t index = 0;  // in its list
    Place place;
};

struct NamespaceEntry {
    std::string name;
    std::vector<FunctionEntry> functions;  // in order: the place in the list becomes the number
    Place place;
};

struct UserEntry {
    std::string name;
    std::uint32_t uid = 0;
    Place place;
};

struct LabelledName {
    std::string kind;  // "subject_pkg" and so on, the key for setFileToGetLabelMap
    std::string name;
    std::uint32_t index = 0;  // in the list of its kind
    Place place;
};

struct DeclaredName {
    std::string name;
    std::uint32_t index = 0;  // in its list
    Place place;
};

struct VariableEntry {
    std::string nameSpace;
    std::string name;
    std::optional<std::uint32_t> value;  // what the host sets after delivery; none: the variable is only declared
    Place place;
};

// One rule group. Its rules are those of the document itself, then those of each JSON Lines file, in order.
struct RuleGroup {
    std::string key;
    std::uint32_t words[3] = {0, 0, 0};         // PolicyDb::uiFirst, uiSecond, uiThird
    std::vector<std::uint32_t> ruleFiles;       // indexes into PolicyDocument::files
    std::vector<std::string> ruleFilePointers;  // where each is named
    std::uint64_t inlineRules = 0;              // number of rules in the document itself
    Place place;
};

struct PolicyDocument {
    std::vector<SourceFile> files;  // the document first
    std::vector<RuleGroup> groups;  // in order of the document; keys are unique
    std::vector<NamespaceEntry> namespaces;
    std::vector<UserEntry> users;
    std::vector<LabelledName> labelledNames;
    std::vector<DeclaredName> devices;
    std::vector<DeclaredName> modules;
    std::vector<VariableEntry> variables;
};

}  // namespace policydoc

#endif
