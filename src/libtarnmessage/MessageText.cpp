#include "libtarnmessage/MessageText.h"

#include <cstdio>
#include <vector>

namespace tarnmessage {

namespace {

bool isBinary(std::uint32_t type) {
    return type == kernelmsg::kExprFirstBinary || type == kernelmsg::kExprSecondBinary ||
           (type >= kernelmsg::kExprThirdBinary && type <= kernelmsg::kExprLastBinary);
}

void appendEscaped(std::string& text, std::string_view bytes, bool escapeBlanks) {
    constexpr char kDigits[] = "0123456789abcdef";
    for (const char character : bytes) {
        const auto byte = static_cast<unsigned char>(character);
        const bool plain = byte > ' ' && byte < 0x7F && byte != '"' && byte != '\\';
        if (plain || (byte == ' ' && !escapeBlanks)) {
            text += character;
        } else {
            text += "\\x";
            text += kDigits[byte >> 4U];
            text += kDigits[byte & 0xFU];
        }
    }
}

bool isCut(std::string_view name) {
    return name.size() > kMostNameBytes;
}

// What stands behind a name that is cut.
std::string moreBytes(std::string_view name, const std::string& further = "") {
    return "... (" + std::to_string(name.size() - nameStart(name).size()) + " more bytes" + further + ")";
}

// The number tells names apart that begin alike.
std::string functionText(const std::string& name, std::uint32_t number, const FunctionTable& functions) {
    if (!isCut(name)) {
        return escaped(name);
    }
    const bool hasNumber = functions.kind() == FunctionTable::Numbers::kOfSet;
    return escaped(nameStart(name)) + moreBytes(name, hasNumber ? ", function#" + std::to_string(number) : "");
}

std::string hexWord(std::uint64_t word) {
    char text[19];
    static_cast<void>(std::snprintf(text, sizeof(text), "0x%llx", static_cast<unsigned long long>(word)));
    return text;
}

std::string paramText(const ParamView& param) {
    return param.info.type == kernelmsg::kParamInteger ? std::to_string(param.integer) : quoted(param.text);
}

// Parameters in parentheses; nothing for a node that is no call and has none.
void appendParams(std::string& text, const ExprView& node) {
    if (node.record.type != kernelmsg::kExprCall && node.record.paramCount == 0) {
        return;
    }
    text += '(';
    ParamCursor params = node.params();
    const char* separator = "";
    for (ParamView param; params.next(param);) {
        text += separator;
        text += paramText(param);
        separator = ", ";
    }
    text += ')';
}

// The node itself, without its operands.
void appendNode(std::string& text, const ExprView& node, std::uint32_t nameId, const FunctionTable& functions) {
    const std::uint32_t type = node.record.type;
    if (type == kernelmsg::kExprCall) {
        const std::string* name = functions.findFunction(nameId, node.record.functionId);
        text += name != nullptr ? functionText(*name, node.record.functionId, functions)
                                : "function#" + std::to_string(node.record.functionId);
    } else if (type == kernelmsg::kExprNot) {
        text += "not";
    } else if (isBinary(type)) {
        text += "op" + std::to_string(type);
    } else if (type == kernelmsg::kExprConstant) {
        text += std::to_string(node.record.value);
    } else if (type == kernelmsg::kExprVariable) {
        text += escaped(node.variable) + "[" + std::to_string(node.record.value) + "]";
    } else {
        text += "operand" + std::to_string(type);
    }
    appendParams(text, node);
}

// Writes an expression in infix order while its nodes come in prefix order. What stands around the operands of the
// operators that are still open is kept on a stack of its own: conditions may be tens of thousands of nodes deep.
class InfixWriter {
public:
    explicit InfixWriter(std::string& text) : text_(text) {}

    void operand(const std::string& node) {
        text_ += node;
        closeOperand();
    }
    void negation(const std::string& node) {
        text_ += node + " ";
        open_.push_back({"", 1});
    }
    void binary(const std::string& node) {
        text_ += '(';
        open_.push_back({" " + node + " ", 2});
    }

private:
    struct Operator {
        std::string between;
        int missing;  // operands
    };

    void closeOperand() {
        while (!open_.empty()) {
            Operator& top = open_.back();
            --top.missing;
            if (top.missing > 0) {
                text_ += top.between;
                return;
            }
            text_ += top.between.empty() ? "" : ")";
            open_.pop_back();
        }
    }

    std::string& text_;
    std::vector<Operator> open_;
};

// Says how many nodes are missing behind a text that was cut.
void endNodes(std::string& text, std::uint64_t left, std::uint64_t* omitted) {
    if (left != 0) {
        text += " ... (" + std::to_string(left) + " more)";
    }
    if (omitted != nullptr) {
        *omitted = left;
    }
}

std::string namespaceName(std::uint32_t nameId, const FunctionTable& functions) {
    const std::string text = shownNames(functions.names(nameId));
    return text.empty() ? std::to_string(nameId) : text + "(" + std::to_string(nameId) + ")";
}

void appendField(std::string& text, const char* name, const std::string& value, const char* after) {
    text += name;
    text += value;
    text += after;
}

}  // namespace

std::string messageTypeText(std::uint32_t type) {
    switch (type) {
        case kernelmsg::kTypeBegin:
            return "begin";
        case kernelmsg::kTypeEnd:
            return "end";
        case kernelmsg::kTypePolicy:
            return "policy";
        case kernelmsg::kTypeNamespace:
            return "namespace";
        default:
            return "type " + std::to_string(type);
    }
}

std::string quoted(std::string_view bytes) {
    std::string text = "\"";
    appendEscaped(text, bytes, false);
    return text + "\"";
}

std::string escaped(std::string_view bytes) {
    std::string text;
    appendEscaped(text, bytes, true);
    return text;
}

std::string_view nameStart(std::string_view name) {
    if (!isCut(name)) {
        return name;
    }
    constexpr std::size_t kMostContinuations = 3;
    std::size_t end = kMostNameBytes;
    while (end > kMostNameBytes - kMostContinuations && (static_cast<unsigned char>(name[end]) & 0xC0U) == 0x80U) {
        --end;
    }
    return name.substr(0, end);
}

std::string shownName(std::string_view name) {
    return isCut(name) ? escaped(nameStart(name)) + moreBytes(name) : escaped(name);
}

std::string shownQuoted(std::string_view name) {
    return isCut(name) ? quoted(nameStart(name)) + moreBytes(name) : quoted(name);
}

std::string identifierText(const TARN_ID& identifier) {
    return hexWord(identifier.uiWord[0]) + ":" + hexWord(identifier.uiWord[1]) + ":" + hexWord(identifier.uiWord[2]);
}

std::string conditionPrefixText(const PolicyRecordView& record, const FunctionTable& functions,
                                std::uint64_t* omitted) {
    std::string text;
    std::uint64_t left = record.node.exprCount;
    ExprCursor nodes = record.condition();
    for (ExprView node; text.size() < kMostExpressionText && nodes.next(node); --left) {
        text += text.empty() ? "" : " ";
        appendNode(text, node, record.nameId(), functions);
    }
    endNodes(text, left, omitted);
    return text;
}

std::string conditionInfixText(const PolicyRecordView& record, const FunctionTable& functions, std::uint64_t* omitted) {
    std::string text;
    InfixWriter writer(text);
    std::uint64_t left = record.node.exprCount;
    ExprCursor nodes = record.condition();
    for (ExprView node; text.size() < kMostExpressionText && nodes.next(node); --left) {
        std::string own;
        appendNode(own, node, record.nameId(), functions);
        if (node.record.type == kernelmsg::kExprNot) {
            writer.negation(own);
        } else if (isBinary(node.record.type)) {
            writer.binary(own);
        } else {
            writer.operand(own);
        }
    }
    endNodes(text, left, omitted);
    return text;
}

std::string actionsText(const PolicyRecordView& record, const FunctionTable& functions, std::uint64_t* omitted) {
    std::string text;
    std::uint64_t left = record.node.actionCount;
    ExprCursor actions = record.actions();
    for (ExprView action; text.size() < kMostExpressionText && actions.next(action); --left) {
        text += text.empty() ? "" : ", ";
        appendNode(text, action, record.nameId(), functions);
    }
    endNodes(text, left, omitted);
    return text;
}

std::string recordLine(const PolicyRecordView& record, const FunctionTable& functions) {
    const kernelmsg::PolicyNodeRecord& node = record.node;
    std::string text;
    appendField(text, "namespace=", namespaceName(record.nameId(), functions), " ");
    appendField(text, "type=", std::to_string(node.policyType), " ");
    appendField(text, "subject=", identifierText(node.subject), " ");
    appendField(text, "object=", identifierText(node.object), " ");
    appendField(text, "class=", std::to_string(node.permClass), " ");
    appendField(text, "perm=", hexWord(node.perm), " ");
    appendField(text, "attrA=", std::to_string(node.attrA), " ");
    appendField(text, "attrB=", std::to_string(node.attrB), " ext=");
    for (const std::size_t word : {0U, 2U, 3U, 4U}) {
        appendField(text, word == 0 ? "" : ",", std::to_string(node.ext[word]), "");
    }
    appendField(text, " condition={", conditionPrefixText(record, functions), "}");
    appendField(text, " actions={", actionsText(record, functions), "}");
    return text;
}

std::string recordText(const PolicyRecordView& record, const FunctionTable& functions) {
    const kernelmsg::PolicyNodeRecord& node = record.node;
    std::string text = "policy record at offset " + std::to_string(record.offset) + ", " +
                       std::to_string(record.bytes.size()) + " bytes\n";
    appendField(text, "  policy type  ", std::to_string(node.policyType),
                node.policyType == kernelmsg::kPolicySpecial ? " (special object)\n" : " (ordinary object)\n");
    appendField(text, "  subject      ", identifierText(node.subject), "\n");
    appendField(text, "  object       ", identifierText(node.object), "\n");
    appendField(text, "  class        ", std::to_string(node.permClass), "\n");
    appendField(text, "  permission   ", hexWord(node.perm), "\n");
    appendField(text, "  attributes   A ", std::to_string(node.attrA), ", B ");
    appendField(text, "", std::to_string(node.attrB), "\n");
    appendField(text, "  namespace    ", namespaceName(record.nameId(), functions), "\n  other words  ");
    for (const std::size_t word : {0U, 2U, 3U, 4U}) {
        appendField(text, word == 0 ? "" : ", ", std::to_string(node.ext[word]), "");
    }
    text += '\n';
    if (node.exprCount != 0) {
        appendField(text, "  condition    ", conditionInfixText(record, functions), "\n");
        appendField(text, "  as stored    ", conditionPrefixText(record, functions), "\n");
    }
    if (node.actionCount != 0) {
        appendField(text, "  actions      ", actionsText(record, functions), "\n");
    }
    return text;
}

std::string namespaceText(const NamespaceView& block) {
    std::string text = "namespace " + quoted(block.name) + ", number " + std::to_string(block.node.nameId) + "\n";
    FunctionCursor functions = block.functions();
    for (FunctionView function; functions.next(function);) {
        text += "  function " + std::to_string(function.functionId) + "  " + quoted(function.name) + "\n";
    }
    return text;
}

}  // namespace tarnmessage
