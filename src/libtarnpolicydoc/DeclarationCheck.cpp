#include "libtarnpolicydoc/DeclarationCheck.h"

#include <algorithm>
#include <array>
#include <limits>
#include <set>

#include "Common/Common.h"
#include "libtarnmessage/RecordSize.h"
#include "libtarnpolicydoc/NameRules.h"
#include "libtarnpolicydoc/Report.h"
#include "libtarnpolicydoc/Values.h"

namespace policydoc {

namespace {

// Values are read back as signed numbers of 32 bits; a larger one is saved and then refused at the next start.
constexpr std::uint32_t kMaxVariable = std::numeric_limits<std::int32_t>::max();

const std::vector<std::string>& labelKinds() {
    static const std::vector<std::string> kKinds = {"subject_pkg", "subject_file",  "subject_recurfile",
                                                    "object_pkg",  "object_file",   "object_recurfile",
                                                    "object_dir",  "object_lnkfile"};
    return kKinds;
}

class DeclarationCheck {
public:
    // Of what `labels` takes, findings about names without labels, and of `others` all others. None: they are dropped.
    DeclarationCheck(const PolicyDocument& document, const CheckContext& context, Diagnostics* others,
                     Diagnostics* labels)
        : document_(document),
          context_(context),
          report_(others, document.files.front().name),
          labelReport_(labels, document.files.front().name) {}

    void run() {
        checkNamespaces();
        checkNamespaceNumbers();
        checkNamespaceMessage();
        checkUsers();
        checkLabelledNames();
        checkNames(document_.devices, "devices", context_.labels == nullptr ? nullptr : &context_.labels->devices);
        checkNames(document_.modules, "modules", context_.labels == nullptr ? nullptr : &context_.labels->modules);
        checkVariables();
        checkKeys();
    }

private:
    void checkNamespaces();
    void checkFunctions(const NamespaceEntry& entry, const Path& at);
    void checkNamespaceNumbers();
    void checkNamespaceMessage();
    void checkUsers();
    void checkLabelledNames();
    void checkNames(const std::vector<DeclaredName>& entries, const char* list,
                    const std::map<std::string, TARN_ID>* identifiers);
    void checkNamespacesOfVariables(const Path& list);
    void checkVariables();
    void checkKeys();
    void reportTwice(const Path& at, std::uint32_t line, const std::string& name);

    const PolicyDocument& document_;
    const CheckContext& context_;
    Reporter report_;
    Reporter labelReport_;
    Path root_;
};

void DeclarationCheck::checkNamespaces() {
    const Path list(root_, "namespaces");
    for (const NamespaceEntry& entry : document_.namespaces) {
        const Path at(list, entry.name);
        checkName(entry.name, kNameInPath | kNameInStateFile | kNameNotEmpty, "the namespace", at, entry.place.line,
                  report_);
        checkFunctions(entry, at);
    }
}

void DeclarationCheck::checkFunctions(const NamespaceEntry& entry, const Path& at) {
    std::set<std::string> seen;
    for (const FunctionEntry& function : entry.functions) {
        const Path here(at, function.index);
        checkName(function.module, kNameInStateFile, "the kernel module", here, function.place.line, report_);
        checkName(function.function, kNameInStateFile, "the function", here, function.place.line, report_);
        if (!seen.insert(function.module + ":" + function.function).second) {
            reportTwice(here, function.place.line, function.module + ":" + function.function);
        }
    }
}

void DeclarationCheck::checkNamespaceNumbers() {
    std::map<std::uint32_t, const NamespaceEntry*> holders;
    for (const NamespaceEntry& entry : document_.namespaces) {
        const auto pinned = context_.pinnedNumbers.find(entry.name);
        const std::uint32_t number =
            pinned == context_.pinnedNumbers.end() ? stringToId(entry.name.c_str()) : pinned->second;
        const auto [holder, added] = holders.emplace(number, &entry);
        if (!added && holder->second->name != entry.name) {
            const Path list(root_, "namespaces");
            report_.mistake(
                Path(list, entry.name), entry.place.line,
                {"namespace-number",
                 "namespaces " + quoted(holder->second->name) + " (line " + std::to_string(holder->second->place.line) +
                     ") and " + quoted(entry.name) + " both have the number " + std::to_string(number) +
                     ", so that the kernel can't tell them apart",
                 "another number for each namespace: the checksum of its name, or what scene_info pins",
                 "rename one of them"});
        }
    }
}

// All namespaces with their functions go to the kernel in one message.
void DeclarationCheck::checkNamespaceMessage() {
    std::uint64_t size = 0;
    for (const NamespaceEntry& entry : document_.namespaces) {
        std::vector<std::string> functions;
        for (const FunctionEntry& function : entry.functions) {
            functions.push_back(function.module + ":" + function.function);
        }
        size += tarnmessage::encodedNamespaceSize(entry.name, functions);
    }
    if (size > tarnmessage::kMessageRoom) {
        report_.mistake(
            Path(root_, "namespaces"), document_.namespaces.front().place.line,
            {"namespace-size", "the namespaces with their functions take " + std::to_string(size) + " bytes",
             "at most " + std::to_string(tarnmessage::kMessageRoom) + " bytes, what one message can hold",
             "remove functions that no rule calls, or shorten names"});
    }
}

void DeclarationCheck::checkUsers() {
    const Path list(root_, "users");
    for (const UserEntry& entry : document_.users) {
        checkName(entry.name, kNameInStateFile | kNameNotEmpty, "the user", Path(list, entry.name), entry.place.line,
                  report_);
    }
}

void DeclarationCheck::checkLabelledNames() {
    const Path list(root_, "files");
    std::set<std::pair<std::string, std::string>> seen;
    std::set<std::string> unknownKinds;
    for (const LabelledName& entry : document_.labelledNames) {
        const Path kind(list, entry.kind);
        const Path at(kind, entry.index);
        checkName(entry.kind, kNameNotEmpty, "the kind of names", kind, entry.place.line, report_);
        checkName(entry.name, kNameNotEmpty, "the name", at, entry.place.line, report_);
        const bool known = std::find(labelKinds().begin(), labelKinds().end(), entry.kind) != labelKinds().end();
        if (!known && unknownKinds.insert(entry.kind).second) {
            report_.warning(kind, entry.place.line,
                            {"unknown-kind", "no rule looks for names of the kind " + quoted(entry.kind),
                             "a kind from subject_pkg to object_lnkfile",
                             suggestion(report_, entry.kind, labelKinds(),
                                        "remove the list: its labels are fetched and never used")});
        }
        if (!seen.emplace(entry.kind, entry.name).second) {
            reportTwice(at, entry.place.line, entry.name);
        } else if (known && context_.labels != nullptr) {
            const auto names = context_.labels->names.find(entry.kind);
            const bool labelled = names != context_.labels->names.end() && names->second.count(entry.name) != 0 &&
                                  !names->second.at(entry.name).empty();
            if (!labelled) {
                labelReport_.warning(at, entry.place.line,
                                     {"no-label", quoted(entry.name) + " has no label of the kind " + entry.kind,
                                      "at least one identifier in the label table",
                                      "label it, or correct the name; rules with this name alone give no record"});
            }
        }
    }
}

void DeclarationCheck::checkNames(const std::vector<DeclaredName>& entries, const char* list,
                                  const std::map<std::string, TARN_ID>* identifiers) {
    const Path names(root_, list);
    std::set<std::string> seen;
    for (const DeclaredName& entry : entries) {
        const Path at(names, entry.index);
        checkName(entry.name, kNameNotEmpty, "the name", at, entry.place.line, report_);
        if (!seen.insert(entry.name).second) {
            reportTwice(at, entry.place.line, entry.name);
        } else if (identifiers != nullptr && identifiers->count(entry.name) == 0) {
            labelReport_.warning(at, entry.place.line,
                                 {"no-identifier", "the label table has no identifier for " + quoted(entry.name),
                                  std::string("an entry under its \"") + list + "\"",
                                  "add it to the table: without one, rules are written with an identifier of zeros"});
        }
    }
}

// The kernel has entries for the variables of namespaces that it was told of, and for no others.
void DeclarationCheck::checkNamespacesOfVariables(const Path& list) {
    std::vector<std::string> namespaces;
    for (const NamespaceEntry& entry : document_.namespaces) {
        namespaces.push_back(entry.name);
    }
    std::set<std::string> seen(namespaces.begin(), namespaces.end());
    for (const VariableEntry& entry : document_.variables) {
        if (!seen.insert(entry.nameSpace).second) {
            continue;
        }
        report_.mistake(Path(list, entry.nameSpace), entry.place.line,
                        {"unknown-namespace",
                         "the variables of namespace " + quoted(entry.nameSpace) +
                             " have no entry in the kernel: it is not declared",
                         "a namespace of the document's \"namespaces\"",
                         suggestion(report_, entry.nameSpace, namespaces, "declare it under \"namespaces\"")});
    }
}

void DeclarationCheck::checkVariables() {
    const Path list(root_, "variables");
    checkNamespacesOfVariables(list);
    for (const VariableEntry& entry : document_.variables) {
        const Path inside(list, entry.nameSpace);
        const Path at(inside, entry.name);
        constexpr unsigned int kUses = kNameInPath | kNameInStateFile | kNameNotEmpty;
        checkName(entry.nameSpace, kUses, "the namespace", inside, entry.place.line, report_);
        checkName(entry.name, kUses, "the dynamic variable", at, entry.place.line, report_);
        if (entry.name == "." || entry.name == ".." || (!entry.nameSpace.empty() && entry.nameSpace.back() == '.')) {
            report_.mistake(at, entry.place.line,
                            {"name-in-path", "the kernel's entry of this variable would have a path with \"./\"",
                             "a namespace that does not end in \".\", and a variable that is not \".\" or \"..\"",
                             "choose another name, here and wherever it is used"});
        }
        if (entry.value && *entry.value > kMaxVariable) {
            report_.mistake(
                at, entry.place.line,
                {"variable-value",
                 "the value " + std::to_string(*entry.value) + " would be saved and refused when it is read back",
                 "a number from 0 to " + std::to_string(kMaxVariable),
                 "use a smaller number; the kernel only sees whether it is 0"});
        }
    }
}

void DeclarationCheck::checkKeys() {
    const Path list(root_, "groups");
    for (const RuleGroup& group : document_.groups) {
        checkName(group.key, kNameInPath | kNameNotEmpty | kNameBeginsFile, "the key", Path(list, group.key),
                  group.place.line, report_);
    }
}

void DeclarationCheck::reportTwice(const Path& at, std::uint32_t line, const std::string& name) {
    report_.warning(
        at, line,
        {"duplicate-entry", quoted(name) + " stands twice in this list", "each entry once", "remove one of the two"});
}

}  // namespace

void checkDeclarations(const PolicyDocument& document, const CheckContext& context, Diagnostics& diagnostics) {
    DeclarationCheck(document, context, &diagnostics, &diagnostics).run();
}

void checkLabels(const PolicyDocument& document, const Labels& labels, Diagnostics& diagnostics) {
    CheckContext context;
    context.labels = &labels;
    DeclarationCheck(document, context, nullptr, &diagnostics).run();
}

}  // namespace policydoc
