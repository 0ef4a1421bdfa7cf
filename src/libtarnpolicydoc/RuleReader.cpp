#include "libtarnpolicydoc/RuleReader.h"

#include <array>
#include <string_view>

#include "libtarnpolicydoc/Values.h"

namespace policydoc {

namespace {

std::vector<std::string> readNames(const JsonNode& json, const Path& at, const Reporter& report) {
    std::vector<std::string> out;
    if (!expectKind(json, JsonKind::kArray, at, report)) {
        return out;
    }
    out.reserve(json.children.size());
    for (std::size_t i = 0; i < json.children.size(); ++i) {
        out.push_back(readText(json.children[i], Path(at, i), report));
    }
    return out;
}

std::vector<TARN_ID> readIdentifiers(const JsonNode& json, const Path& at, const Reporter& report) {
    std::vector<TARN_ID> out;
    if (!expectKind(json, JsonKind::kArray, at, report)) {
        return out;
    }
    out.reserve(json.children.size());
    for (std::size_t i = 0; i < json.children.size(); ++i) {
        out.push_back(readIdentifier(json.children[i], Path(at, i), report));
    }
    return out;
}

std::vector<DoFuncNode> readActions(const JsonNode& json, const Path& at, const Reporter& report) {
    static const std::vector<std::string> kMembers = {"comment", "function", "params"};
    std::vector<DoFuncNode> out;
    if (!expectKind(json, JsonKind::kArray, at, report)) {
        return out;
    }
    for (std::size_t i = 0; i < json.children.size(); ++i) {
        const JsonNode& child = json.children[i];
        const Path here(at, i);
        out.emplace_back();
        if (!expectKind(child, JsonKind::kObject, here, report)) {
            continue;
        }
        checkMembers(child, kMembers, here, report);
        if (const JsonNode* function = child.member("function")) {
            out.back().strFuncName = readText(*function, Path(here, "function"), report);
        } else {
            report.mistake(here, child.line,
                           {"missing-member", "this action names no function", "a member \"function\"", "add it"});
        }
        if (const JsonNode* params = child.member("params")) {
            out.back().vecParam = readParams(*params, Path(here, "params"), report);
        }
    }
    return out;
}

void readExt(const JsonNode& json, const Path& at, const Reporter& report, PolicyNode& rule) {
    if (json.kind != JsonKind::kArray || json.children.size() != 5) {
        report.mistake(at, json.line,
                       {"wrong-type", "here stands " + describeValue(json), "an array of five unsigned 32-bit words",
                        "write all five words; the second one gives way to the namespace's number"});
        return;
    }
    for (std::size_t i = 0; i < 5; ++i) {
        rule.uiExt[i] = readWord(json.children[i], Path(at, i), report);
    }
    if (rule.uiExt[1] != 0) {
        report.warning(Path(at, std::size_t{1}), json.children[1].line,
                       {"member-without-effect", "the second word gives way to the namespace's number", "0",
                        "write 0, so that nobody relies on it"});
    }
}

using MemberReader = void (*)(const JsonNode&, const Path&, const Reporter&, PolicyNode&);

struct RuleMember {
    const char* name;
    bool required;
    MemberReader read;
};

constexpr std::array<RuleMember, 15> kRuleMembers = {{
    {"comment", false, [](const JsonNode&, const Path&, const Reporter&, PolicyNode&) {}},
    {"attrA", false,
     [](const JsonNode& json, const Path& at, const Reporter& report, PolicyNode& rule) {
         rule.uiAttrA = readWord(json, at, report);
     }},
    {"attrB", false,
     [](const JsonNode& json, const Path& at, const Reporter& report, PolicyNode& rule) {
         rule.uiAttrB = readWord(json, at, report);
     }},
    {"subjects", false,
     [](const JsonNode& json, const Path& at, const Reporter& report, PolicyNode& rule) {
         rule.bSubjectFlag = false;
         rule.vecSubjectName = readNames(json, at, report);
     }},
    {"subjectIds", false,
     [](const JsonNode& json, const Path& at, const Reporter& report, PolicyNode& rule) {
         rule.vecSubjectId = readIdentifiers(json, at, report);
     }},
    {"objects", false,
     [](const JsonNode& json, const Path& at, const Reporter& report, PolicyNode& rule) {
         rule.bObjectFlag = false;
         rule.vecObjectName = readNames(json, at, report);
     }},
    {"objectIds", false,
     [](const JsonNode& json, const Path& at, const Reporter& report, PolicyNode& rule) {
         rule.vecObjectId = readIdentifiers(json, at, report);
     }},
    {"class", true,
     [](const JsonNode& json, const Path& at, const Reporter& report, PolicyNode& rule) {
         rule.sPermClass = readText(json, at, report);
     }},
    {"perm", true,
     [](const JsonNode& json, const Path& at, const Reporter& report, PolicyNode& rule) {
         rule.sPerm = readText(json, at, report);
     }},
    {"condition", false,
     [](const JsonNode& json, const Path& at, const Reporter& report, PolicyNode& rule) {
         rule.vecExpr = readCondition(json, at, report);
     }},
    {"actions", false,
     [](const JsonNode& json, const Path& at, const Reporter& report, PolicyNode& rule) {
         rule.vecDoFunc = readActions(json, at, report);
     }},
    {"ext", false, readExt},
    {"namespace", true,
     [](const JsonNode& json, const Path& at, const Reporter& report, PolicyNode& rule) {
         rule.strNamespace = readText(json, at, report);
     }},
    {"group", false,
     [](const JsonNode& json, const Path& at, const Reporter& report, PolicyNode& rule) {
         rule.strGroup = readText(json, at, report);
     }},
    {"module", false,
     [](const JsonNode& json, const Path& at, const Reporter& report, PolicyNode& rule) {
         rule.strModuleName = readText(json, at, report);
     }},
}};

const std::vector<std::string>& ruleMemberNames() {
    static const std::vector<std::string> kNames = [] {
        std::vector<std::string> names;
        for (const RuleMember& member : kRuleMembers) {
            names.emplace_back(member.name);
        }
        return names;
    }();
    return kNames;
}

// A side of a rule is given either by names or by identifiers.
void checkSide(const JsonNode& json, const char* names, const char* ids, const Path& at, const Reporter& report) {
    const JsonNode* byName = json.member(names);
    const JsonNode* byId = json.member(ids);
    const std::string both = std::string("\"") + names + "\" or \"" + ids + "\"";
    if (byName != nullptr && byId != nullptr) {
        report.mistake(Path(at, ids), byId->line,
                       {"side-twice", "both names and identifiers are given, and the names would replace these", both,
                        "remove one of the two, or make two rules of it"});
    }
    if (byName == nullptr && byId == nullptr) {
        report.mistake(at, json.line,
                       {"missing-member", "a rule without one of its sides, which would give no record", both,
                        "add the names or the identifiers"});
    }
}

}  // namespace

PolicyNode readRule(const JsonNode& json, const Path& at, const Reporter& report) {
    PolicyNode rule;
    if (!expectKind(json, JsonKind::kObject, at, report)) {
        return rule;
    }
    checkMembers(json, ruleMemberNames(), at, report);
    for (const JsonNode& child : json.children) {
        for (const RuleMember& member : kRuleMembers) {
            if (child.key == member.name) {
                member.read(child, Path(at, child.key), report, rule);
                break;
            }
        }
    }
    if (!report.listening()) {
        return rule;
    }
    for (const RuleMember& member : kRuleMembers) {
        if (member.required && json.member(member.name) == nullptr) {
            report.mistake(at, json.line,
                           {"missing-member", std::string("a rule without \"") + member.name + "\"",
                            std::string("a member \"") + member.name + "\"", "add it"});
        }
    }
    checkSide(json, "subjects", "subjectIds", at, report);
    checkSide(json, "objects", "objectIds", at, report);
    return rule;
}

}  // namespace policydoc
