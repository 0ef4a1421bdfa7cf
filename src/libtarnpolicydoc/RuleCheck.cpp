#include "libtarnpolicydoc/RuleCheck.h"

#include <algorithm>
#include <cstring>
#include <iterator>

#include "libtarnmessage/RecordSize.h"
#include "libtarnpolicydoc/JsonTree.h"
#include "libtarnpolicydoc/NameRules.h"
#include "libtarnpolicydoc/RuleReader.h"
#include "libtarnpolicydoc/Values.h"
#include "libtarnpolicysync/KernelMessage.h"

namespace policydoc {

// A rule with its place, from which findings get theirs.
struct RuleCheck::At {
    const LocatedRule& located;
    const PolicyNode& rule;
    const RuleGroup& group;
    Reporter report;

    std::string base() const { return rulePointer(group, located.place, located.indexInSource); }
    std::string pointer(const char* member) const { return base() + "/" + member; }
    std::string pointer(const char* member, std::size_t index) const {
        return pointer(member) + "/" + std::to_string(index);
    }

    std::uint32_t line(const char* member) const {
        const JsonNode* json = located.json->member(member);
        return json == nullptr ? located.place.line : json->line;
    }
    std::uint32_t line(const char* member, std::size_t index) const {
        const JsonNode* json = located.json->member(member);
        return json == nullptr || index >= json->children.size() ? line(member) : json->children[index].line;
    }

    // Whether a member has the right type; the others were reported when they were read.
    bool isText(const char* member) const {
        const JsonNode* json = located.json->member(member);
        return json != nullptr && json->kind == JsonKind::kString;
    }
    bool isText(const char* member, std::size_t index) const {
        return located.json->member(member)->children[index].kind == JsonKind::kString;
    }

    void mistake(const std::string& where, std::uint32_t lineNumber, Finding finding) const {
        report.mistake(Path(where), lineNumber, std::move(finding));
    }
    void mistake(const char* member, Finding finding) const {
        mistake(pointer(member), line(member), std::move(finding));
    }
};

namespace {

std::string listOf(const std::vector<std::string>& names, const std::string& what) {
    constexpr std::size_t kMaxListed = 12;
    if (names.empty() || names.size() > kMaxListed) {
        return what;
    }
    std::string out = "one of ";
    for (const std::string& name : names) {
        out += (&name == &names.front() ? "" : ", ") + name;
    }
    return out;
}

}  // namespace

RuleCheck::RuleCheck(const PolicyDocument& document, const CheckContext& context, Diagnostics& diagnostics)
    : document_(document), context_(context), diagnostics_(diagnostics) {
    for (const NamespaceEntry& entry : document.namespaces) {
        Functions& functions = functions_[entry.name];
        for (const FunctionEntry& function : entry.functions) {
            functions.inOrder.push_back(function.module + ":" + function.function);
            functions.names.insert(functions.inOrder.back());
        }
        namespaceNames_.push_back(entry.name);
    }
    for (const LabelledName& entry : document.labelledNames) {
        registered_[entry.kind].insert(entry.name);
    }
    for (const DeclaredName& entry : document.devices) {
        devices_.insert(entry.name);
    }
    for (const DeclaredName& entry : document.modules) {
        modules_.insert(entry.name);
    }
    for (const VariableEntry& entry : document.variables) {
        variables_.insert(entry.nameSpace + ":" + entry.name);
    }
}

void RuleCheck::check(const LocatedRule& located) {
    if (located.json->kind != JsonKind::kObject) {
        return;
    }
    const At at{located, located.rule, document_.groups[located.group],
                Reporter(&diagnostics_, document_.files[located.place.file].name)};
    checkNamespace(at);
    if (!nameIsSound(at.rule.strGroup, kNameInPath)) {
        checkName(at.rule.strGroup, kNameInPath, "the group", Path(at.pointer("group")), at.line("group"), at.report);
    }
    checkPermission(at);
    checkSides(at);
    checkCondition(at);
    checkActions(at);
    checkSize(at);
    checkRecords(at);
    noteSeries(at);
}

void RuleCheck::checkNamespace(const At& at) {
    // A name that is declared was looked at where it is declared.
    if (!at.isText("namespace") || functions_.count(at.rule.strNamespace) != 0) {
        return;
    }
    at.mistake("namespace",
               {"unknown-namespace", "the namespace " + quoted(at.rule.strNamespace) + " is not declared",
                listOf(namespaceNames_, "a namespace of the document's \"namespaces\""),
                suggestion(at.report, at.rule.strNamespace, namespaceNames_, "declare it under \"namespaces\"")});
}

void RuleCheck::checkPermission(const At& at) {
    if (context_.classes == nullptr || !at.isText("class") || !at.isText("perm")) {
        return;
    }
    const std::string& name = at.rule.sPermClass;
    const std::string key = name + std::string(1, '\0') + at.rule.sPerm;
    if (soundPermissions_.count(key) != 0) {
        return;
    }
    const Json::Value* permClass = context_.classes->find(name.data(), name.data() + name.size());
    if (permClass == nullptr) {
        const std::vector<std::string>& known = memberNames(*context_.classes);
        at.mistake("class", {"unknown-class", "no permission class is named " + quoted(name),
                             listOf(known, "a class of the class definitions"),
                             suggestion(at.report, name, known, "use a class of the class definitions")});
    } else if (classIsSound(at, *permClass, at.rule.sPerm)) {
        soundPermissions_.insert(key);
    }
}

const std::vector<std::string>& RuleCheck::memberNames(const Json::Value& object) {
    const auto [names, isNew] = memberNames_.try_emplace(&object);
    if (isNew && object.isObject()) {
        names->second = object.getMemberNames();
    }
    return names->second;
}

const std::vector<std::string>& RuleCheck::declaredNames(const std::vector<DeclaredName>& entries) {
    const auto [names, isNew] = declaredNames_.try_emplace(&entries);
    if (isNew) {
        std::transform(entries.begin(), entries.end(), std::back_inserter(names->second),
                       [](const DeclaredName& entry) { return entry.name; });
    }
    return names->second;
}

bool RuleCheck::classIsSound(const At& at, const Json::Value& permClass, const std::string& perm) {
    const auto unsound = [&at](const std::string& what, const char* expected) {
        at.mistake("class", {"class-definition", "the definition of class " + quoted(at.rule.sPermClass) + " " + what,
                             expected, "correct the class definitions"});
        return false;
    };
    if (!permClass.isObject()) {
        return unsound("is no object", "an object with \"value\" and \"perms\"");
    }
    if (permClass.isMember("value") && !permClass["value"].isUInt()) {
        return unsound("has a \"value\" that is no number of 32 bits", "a whole number from 0 to 4294967295");
    }
    if (!permClass.isMember("perms")) {
        return true;  // the library leaves 0 for such a class
    }
    const Json::Value& perms = permClass["perms"];
    if (!perms.isObject()) {
        return unsound("has \"perms\" that are no object", "an object that gives each permission its number");
    }
    if (!perms.isMember(perm)) {
        const std::vector<std::string>& known = memberNames(perms);
        at.mistake("perm",
                   {"unknown-permission", "class " + quoted(at.rule.sPermClass) + " has no permission " + quoted(perm),
                    listOf(known, "a permission of this class"),
                    suggestion(at.report, perm, known, "use a permission of this class")});
        return false;
    }
    return perms[perm].isUInt() ||
           unsound("gives permission " + quoted(perm) + " no number of 32 bits", "a whole number from 0 to 4294967295");
}

void RuleCheck::checkSides(const At& at) {
    checkSubjects(at);
    checkObjects(at);
}

void RuleCheck::checkRegistered(const At& at, const char* member, std::size_t index, const char* kind,
                                const std::string& name) {
    const auto names = registered_.find(kind);
    if (names != registered_.end() && names->second.count(name) != 0) {
        return;
    }
    at.mistake(
        at.pointer(member, index), at.line(member, index),
        {"unregistered-name", "labels of " + quoted(name) + " are never asked for, so that it would stand for nothing",
         std::string("the name in the document's \"files\" under \"") + kind + "\"",
         std::string("add it to /files/") + kind + ", or correct the name"});
}

void RuleCheck::checkSubjects(const At& at) {
    for (std::size_t i = 0; i < at.rule.vecSubjectName.size(); ++i) {
        const std::string& name = at.rule.vecSubjectName[i];
        if (at.isText("subjects", i)) {
            checkRegistered(at, "subjects", i, subjectKind(name), name);
        }
    }
}

void RuleCheck::checkObjects(const At& at) {
    for (std::size_t i = 0; i < at.rule.vecObjectName.size(); ++i) {
        if (at.isText("objects", i) && at.isText("class")) {
            checkObjectName(at, at.rule.vecObjectName[i], i);
        }
    }
}

void RuleCheck::checkObjectName(const At& at, const std::string& name, std::size_t index) {
    const std::string& permClass = at.rule.sPermClass;
    if (const char* kind = objectKind(permClass, name)) {
        checkRegistered(at, "objects", index, kind, name);
        return;
    }
    const bool isModule = permClass == "kmod";
    if (!isModule && !isDeviceClass(permClass)) {
        at.mistake(at.pointer("objects", index), at.line("objects", index),
                   {"object-by-name",
                    "objects of class " + quoted(permClass) + " have no names, so that " + quoted(name) +
                        " would stand for nothing",
                    "\"objectIds\" for this class; names serve file, dir, lnkfile, process, kmod and device types",
                    "give the object by its identifier"});
        return;
    }
    const std::unordered_set<std::string>& declared = isModule ? modules_ : devices_;
    if (declared.count(name) == 0) {
        const std::vector<std::string>& known = declaredNames(isModule ? document_.modules : document_.devices);
        const std::string list = isModule ? "modules" : "devices";
        at.mistake(
            at.pointer("objects", index), at.line("objects", index),
            {isModule ? "unknown-module" : "unknown-device",
             quoted(name) + " is not declared and would get an identifier of zeros",
             "a name of the document's \"" + list + "\"", suggestion(at.report, name, known, "add it to /" + list)});
    }
}

void RuleCheck::checkCondition(const At& at) {
    if (at.rule.vecExpr.empty()) {
        return;
    }
    const std::string base = at.pointer("condition");
    const std::vector<PlacedNode> nodes = conditionNodes(*at.located.json->member("condition"), Path(base));
    for (std::size_t i = 0; i < at.rule.vecExpr.size() && i < nodes.size(); ++i) {
        const ExprNode& node = at.rule.vecExpr[i];
        if (node.uiExprType == kernelmsg::kExprCall && nodes[i].json->member("function") != nullptr) {
            checkFunction(at, node.strFuncName, nodes[i].pointer + "/function", nodes[i].json->line);
        }
        if (node.uiExprType == kernelmsg::kExprVariable && nodes[i].json->member("variable") != nullptr) {
            checkVariable(at, node.strVarName, nodes[i].pointer + "/variable", nodes[i].json->line);
        }
    }
}

void RuleCheck::checkActions(const At& at) {
    for (std::size_t i = 0; i < at.rule.vecDoFunc.size(); ++i) {
        const JsonNode& json = at.located.json->member("actions")->children[i];
        if (json.member("function") != nullptr) {
            checkFunction(at, at.rule.vecDoFunc[i].strFuncName, at.pointer("actions", i) + "/function", json.line);
        }
    }
}

void RuleCheck::checkFunction(const At& at, const std::string& function, const std::string& pointer,
                              std::uint32_t line) {
    if (at.rule.strModuleName.empty()) {
        at.mistake(pointer, line,
                   {"missing-module", "the rule calls " + quoted(function) + " and does not say of which kernel module",
                    "a member \"module\" of the rule", "add it; all functions of a rule come from one module"});
        return;
    }
    const auto known = functions_.find(at.rule.strNamespace);
    if (known == functions_.end()) {
        return;  // the namespace itself was reported
    }
    const std::string entry = at.rule.strModuleName + ":" + function;
    if (known->second.names.count(entry) == 0) {
        at.mistake(
            pointer, line,
            {"unknown-function", "namespace " + quoted(at.rule.strNamespace) + " has no function " + quoted(entry),
             listOf(known->second.inOrder, "a function of this namespace"),
             suggestion(at.report, entry, known->second.inOrder,
                        "add it to /namespaces/" + pointerStep(at.rule.strNamespace))});
    }
}

void RuleCheck::checkVariable(const At& at, const std::string& variable, const std::string& pointer,
                              std::uint32_t line) {
    checkName(variable, kNameInPath | kNameInStateFile | kNameNotEmpty, "the dynamic variable", Path(pointer), line,
              at.report);
    if (!variable.empty() && variables_.count(at.rule.strNamespace + ":" + variable) == 0) {
        at.report.warning(Path(pointer), line,
                          {"unknown-variable",
                           "the dynamic variable " + quoted(at.rule.strNamespace + ":" + variable) + " is not declared",
                           "a variable of the document's \"variables\"",
                           "declare it there, with null where it has no first value, or correct the name"});
    }
}

void RuleCheck::checkSize(const At& at) {
    const std::uint64_t size = tarnmessage::encodedRecordSize(at.rule);
    if (size > tarnmessage::kMessageRoom) {
        at.mistake(at.base(), at.located.place.line,
                   {"record-size", "one record of this rule takes " + std::to_string(size) + " bytes",
                    "at most " + std::to_string(tarnmessage::kMessageRoom) + " bytes, what one message can hold",
                    "shorten its condition, its actions or their parameters, or make several rules of it"});
    }
}

void RuleCheck::checkRecords(const At& at) const {
    PolicyNode resolved;
    const bool byName = !at.rule.bSubjectFlag || !at.rule.bObjectFlag;
    if (byName && context_.labels != nullptr) {
        resolved = at.rule;
        resolve(resolved, *context_.labels);
    }
    const PolicyNode& rule = byName && context_.labels != nullptr ? resolved : at.rule;
    // Without labels a side that is given by names counts as covered unless it names nothing.
    const bool subjects = !rule.vecSubjectId.empty() || (context_.labels == nullptr && !rule.vecSubjectName.empty());
    const bool objects = !rule.vecObjectId.empty() || (context_.labels == nullptr && !rule.vecObjectName.empty());
    const auto missing = [&](const char* names, const char* ids, const char* what) {
        const char* member = at.located.json->member(names) != nullptr ? names : ids;
        const JsonNode* side = at.located.json->member(member);
        if (side == nullptr || side->kind != JsonKind::kArray) {
            return;  // reported when the rule was read
        }
        at.report.warning(
            Path(at.pointer(member)), at.line(member),
            {"no-records", std::string("this rule will give no record: no ") + what + " has an identifier",
             std::string("at least one ") + what + " with a label",
             "give the files or packages their labels, or remove the rule"});
    };
    if (!subjects) {
        missing("subjects", "subjectIds", "subject");
    }
    if (!objects) {
        missing("objects", "objectIds", "object");
    }
}

void RuleCheck::noteSeries(const At& at) {
    std::string key = std::to_string(at.located.group);
    key += '\0';
    key += at.rule.strNamespace;
    key += '\0';
    key += at.rule.strGroup;
    if (seriesIndex_.emplace(std::move(key), series_.size()).second) {
        series_.push_back({at.located.group, at.rule.strNamespace, at.rule.strGroup, at.located.place, at.base()});
    }
}

}  // namespace policydoc
