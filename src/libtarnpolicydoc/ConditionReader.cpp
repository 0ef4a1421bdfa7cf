#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

#include "libtarnpolicydoc/RuleReader.h"
#include "libtarnpolicydoc/Values.h"
#include "libtarnpolicysync/KernelMessage.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

namespace policydoc {

namespace {

struct TypeWord {
    const char* word;
    std::uint32_t code;
};
constexpr std::array<TypeWord, 5> kTypeWords = {{{"operand", kernelmsg::kExprOperand},
                                                 {"not", kernelmsg::kExprNot},
                                                 {"call", kernelmsg::kExprCall},
                                                 {"constant", kernelmsg::kExprConstant},
                                                 {"variable", kernelmsg::kExprVariable}}};

const std::vector<std::string>& nodeMembers() {
    static const std::vector<std::string> kMembers = {"comment",  "type",   "function", "value",
                                                      "variable", "params", "operands"};
    return kMembers;
}

std::uint32_t readType(const JsonNode& node, const Path& at, const Reporter& report) {
    for (const TypeWord& known : kTypeWords) {
        if (node.kind == JsonKind::kString && node.text == known.word) {
            return known.code;
        }
    }
    if (node.kind == JsonKind::kNumber || (node.kind == JsonKind::kString && parseUnsigned(node.text, 0xFFFFFFFF))) {
        return readWord(node, at, report);
    }
    report.mistake(at, node.line,
                   {"expression-type", "here stands " + describeValue(node),
                    "the code of an expression, or one of \"operand\", \"not\", \"call\", \"constant\", \"variable\"",
                    "binary operators are given by their code: 2, 3 or 5 to 10"});
    return kernelmsg::kExprOperand;
}

std::size_t operandCount(std::uint32_t type) {
    if (!isOperator(type)) {
        return 0;
    }
    return type == kernelmsg::kExprNot ? 1 : 2;
}

// A member that a node of its type must have, must not have, or may have.
void checkMember(const JsonNode& json, const char* name, bool belongs, bool required, const Path& at,
                 const Reporter& report) {
    const JsonNode* member = json.member(name);
    if (member == nullptr && required) {
        report.mistake(at, json.line,
                       {"missing-member", std::string("this expression lacks its member \"") + name + "\"",
                        std::string("a member \"") + name + "\"", "add it"});
    } else if (member != nullptr && !belongs) {
        report.warning(Path(at, name), member->line,
                       {"member-without-effect", std::string("\"") + name + "\" is not used by this type of expression",
                        "", "remove it, or correct the type"});
    }
}

ExprNode readNode(const JsonNode& json, const Path& at, const Reporter& report) {
    ExprNode node;
    if (!expectKind(json, JsonKind::kObject, at, report)) {
        return node;
    }
    checkMembers(json, nodeMembers(), at, report);
    for (const JsonNode& member : json.children) {
        const Path here(at, member.key);
        if (member.key == "type") {
            node.uiExprType = readType(member, here, report);
        } else if (member.key == "function") {
            node.strFuncName = readText(member, here, report);
        } else if (member.key == "value") {
            node.uiValue = readWord(member, here, report);
        } else if (member.key == "variable") {
            node.strVarName = readText(member, here, report);
        } else if (member.key == "params") {
            node.vecParam = readParams(member, here, report);
        }
    }
    if (!report.listening()) {
        return node;
    }
    const std::uint32_t type = node.uiExprType;
    const bool isVariable = type == kernelmsg::kExprVariable;
    const bool hasValue = isVariable || type == kernelmsg::kExprConstant;
    checkMember(json, "type", true, true, at, report);
    checkMember(json, "function", type == kernelmsg::kExprCall, type == kernelmsg::kExprCall, at, report);
    checkMember(json, "variable", isVariable, isVariable, at, report);
    checkMember(json, "value", hasValue, hasValue, at, report);
    if (type > kernelmsg::kExprVariable) {
        report.warning(Path(at, "type"), json.line,
                       {"expression-type", "no expression has the code " + std::to_string(type), "a code from 0 to 12",
                        "correct the code; as it stands the kernel gets an operand without value"});
    }
    return node;
}

void reportOperands(const JsonNode& json, std::size_t found, std::size_t needed, const Path& at,
                    const Reporter& report) {
    report.mistake(at, json.line,
                   {"condition", "an expression with " + std::to_string(found) + " of its operands",
                    std::to_string(needed) + (needed == 1 ? " operand" : " operands"),
                    needed == 0 ? "remove the operands: only operators (1, 2, 3 and 5 to 10) have them"
                                : "give NOT one operand and every other operator two"});
}

std::vector<ExprNode> readPostfix(const JsonNode& json, const Path& at, const Reporter& report) {
    std::vector<ExprNode> out;
    std::size_t open = 0;  // expressions that no operator has taken yet
    for (std::size_t i = 0; i < json.children.size(); ++i) {
        const JsonNode& child = json.children[i];
        const Path here(at, i);
        out.push_back(readNode(child, here, report));
        const std::size_t needed = operandCount(out.back().uiExprType);
        if (open < needed) {
            reportOperands(child, open, needed, here, report);
            open = needed;  // go on as if they were there: one mistake, one report
        }
        if (child.member("operands") != nullptr) {
            report.mistake(Path(here, "operands"), child.line,
                           {"condition", "operands inside a node of a postfix array", "a node without operands",
                            "write the condition as one object, or the operands before their operator"});
        }
        open = open - needed + 1;
    }
    if (open > 1) {
        report.mistake(at, json.line,
                       {"condition", "a condition that leaves " + std::to_string(open) + " expressions",
                        "nodes in postfix order that come to one expression",
                        "join the expressions with binary operators (2, 3 or 5 to 10)"});
    }
    return out;
}

void readTree(const JsonNode& json, const Path& at, const Reporter& report, std::vector<ExprNode>& out) {
    ExprNode node = readNode(json, at, report);
    const JsonNode* operands = json.member("operands");
    const std::size_t found = operands == nullptr ? 0 : operands->children.size();
    const std::size_t needed = operandCount(node.uiExprType);
    if (found != needed) {
        reportOperands(json, found, needed, at, report);
    }
    if (operands != nullptr && expectKind(*operands, JsonKind::kArray, Path(at, "operands"), report)) {
        const Path list(at, "operands");
        for (std::size_t i = 0; i < found; ++i) {
            readTree(operands->children[i], Path(list, i), report, out);
        }
    }
    out.push_back(std::move(node));
}

void placeTree(const JsonNode& json, const Path& at, std::vector<PlacedNode>& out) {
    const JsonNode* operands = json.member("operands");
    if (operands != nullptr && operands->kind == JsonKind::kArray) {
        const Path list(at, "operands");
        for (std::size_t i = 0; i < operands->children.size(); ++i) {
            placeTree(operands->children[i], Path(list, i), out);
        }
    }
    out.push_back({&json, at.pointer()});
}

}  // namespace

std::vector<ExprNode> readCondition(const JsonNode& json, const Path& at, const Reporter& report) {
    std::vector<ExprNode> out;
    if (json.kind == JsonKind::kArray) {
        out = readPostfix(json, at, report);
    } else if (json.kind == JsonKind::kObject) {
        readTree(json, at, report, out);
    } else {
        report.mistake(at, json.line,
                       {"wrong-type", "here stands " + describeValue(json),
                        "an array of expressions in postfix order, or one expression with its operands inside",
                        "write the condition in one of the two forms, or leave it out"});
    }
    return out;
}

std::vector<PlacedNode> conditionNodes(const JsonNode& json, const Path& at) {
    std::vector<PlacedNode> out;
    if (json.kind == JsonKind::kObject) {
        placeTree(json, at, out);
    }
    for (std::size_t i = 0; json.kind == JsonKind::kArray && i < json.children.size(); ++i) {
        out.push_back({&json.children[i], Path(at, i).pointer()});
    }
    return out;
}

std::vector<FuncParam> readParams(const JsonNode& json, const Path& at, const Reporter& report) {
    std::vector<FuncParam> out;
    if (!expectKind(json, JsonKind::kArray, at, report)) {
        return out;
    }
    out.resize(json.children.size());
    for (std::size_t i = 0; i < json.children.size(); ++i) {
        const JsonNode& child = json.children[i];
        FuncParam& param = out[i];
        param.uiParamType = child.kind == JsonKind::kString ? kernelmsg::kParamString : kernelmsg::kParamInteger;
        if (child.kind == JsonKind::kString) {
            param.strData = child.text;
            continue;
        }
        const char* end = child.text.data() + child.text.size();
        const auto [stop, error] = std::from_chars(child.text.data(), end, param.iData);
        if (child.kind != JsonKind::kNumber || error != std::errc() || stop != end) {
            report.mistake(Path(at, i), child.line,
                           {"parameter-type", "a parameter that is " + describeValue(child),
                            "a whole number of 64 bits with sign, or a text", "write the parameter as one of the two"});
        }
    }
    return out;
}

}  // namespace policydoc
