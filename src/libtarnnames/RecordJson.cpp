#include "libtarnnames/RecordJson.h"

#include "libtarnmessage/MessageText.h"
#include "libtarnnames/JsonText.h"

namespace tarnnames {

namespace {

using tarnmessage::ExprCursor;
using tarnmessage::ExprView;
using tarnmessage::FunctionTable;

void appendMember(std::string& json, const char* name, std::uint64_t value) {
    json.append(",\"").append(name).append("\":");
    appendJsonNumber(json, value);
}

// Left out where nobody knows a name.
void appendNames(std::string& json, const char* name, const std::vector<std::string>& names) {
    if (!names.empty()) {
        json += ',';
        appendJsonNames(json, name, names);
    }
}

// The words as texts, because many programs would round such numbers.
void appendIdentifier(std::string& json, const char* name, const char* namesName, const TARN_ID& identifier,
                      const Identifiers& identifiers) {
    json.append(",\"").append(name).append("\":[");
    appendJsonHex(json, identifier.uiWord[0]);
    json += ',';
    appendJsonHex(json, identifier.uiWord[1]);
    json += ',';
    appendJsonHex(json, identifier.uiWord[2]);
    json += ']';
    if (!identifiers.empty() && !identifiers.names(identifier).empty()) {
        json += ',';
        appendJsonArray(json, namesName, identifiers.names(identifier));
    }
}

void appendParams(std::string& json, const ExprView& node) {
    json += ",\"params\":[";
    const char* separator = "";
    tarnmessage::ParamCursor params = node.params();
    for (tarnmessage::ParamView param; params.next(param);) {
        json.append(separator).append("{");
        if (param.info.type == kernelmsg::kParamInteger) {
            appendJsonInteger(json, param.integer);
        } else {
            appendJsonBytes(json, "string", param.text);
        }
        json += '}';
        separator = ",";
    }
    json += ']';
}

void appendNode(std::string& json, const ExprView& node, std::uint32_t nameId, const FunctionTable& functions) {
    const std::uint32_t type = node.record.type;
    json += "{\"type\":";
    appendJsonNumber(json, type);
    if (type == kernelmsg::kExprConstant || type == kernelmsg::kExprVariable) {
        appendMember(json, "value", node.record.value);
    }
    if (type == kernelmsg::kExprVariable) {
        json += ',';
        appendJsonBytes(json, "variable", node.variable);
    }
    if (type == kernelmsg::kExprCall) {
        appendMember(json, "function", node.record.functionId);
        if (const std::string* name = functions.findFunction(nameId, node.record.functionId)) {
            json += ',';
            appendJsonName(json, "functionName", *name);
        }
    }
    if (type == kernelmsg::kExprCall || node.record.paramCount != 0) {
        appendParams(json, node);
    }
    json += '}';
}

// As far as the bound of texts allows; gives the number of nodes that are left out.
std::uint64_t appendNodes(std::string& json, const char* name, ExprCursor nodes, std::uint64_t count,
                          std::uint32_t nameId, const FunctionTable& functions) {
    json.append("\"").append(name).append("\":[");
    const std::size_t most = json.size() + tarnmessage::kMostExpressionText;
    const char* separator = "";
    for (ExprView node; json.size() < most && nodes.next(node); --count) {
        json += separator;
        appendNode(json, node, nameId, functions);
        separator = ",";
    }
    json += ']';
    return count;
}

// What was left out of a record.
struct Omitted {
    std::uint64_t infix = 0;
    std::uint64_t prefix = 0;
    std::uint64_t nodes = 0;
    std::uint64_t actions = 0;
};

void appendCondition(std::string& json, const tarnmessage::PolicyRecordView& record, const FunctionTable& functions,
                     Omitted& omitted) {
    json += ",\"condition\":{\"infix\":";
    appendJsonString(json, conditionInfixText(record, functions, &omitted.infix));
    json += ",\"prefix\":";
    appendJsonString(json, conditionPrefixText(record, functions, &omitted.prefix));
    json += ',';
    omitted.nodes = appendNodes(json, "nodes", record.condition(), record.node.exprCount, record.nameId(), functions);
    json += '}';
}

}  // namespace

void appendRecordJson(std::string& json, const tarnmessage::PolicyRecordView& record, const RecordWords& words,
                      const NameBook& book) {
    const kernelmsg::PolicyNodeRecord& node = record.node;
    json += "\"offset\":";
    appendJsonNumber(json, record.offset);
    appendMember(json, "bytes", record.bytes.size());
    appendMember(json, "policyType", node.policyType);
    appendIdentifier(json, "subject", "subjectNames", node.subject, book.identifiers());
    appendIdentifier(json, "object", "objectNames", node.object, book.identifiers());
    appendMember(json, "class", node.permClass);
    appendNames(json, "classNames", words.classes);
    appendMember(json, "perm", node.perm);
    appendNames(json, "permNames", words.permissions);
    appendMember(json, "namespace", record.nameId());
    appendNames(json, "namespaceNames", words.nameSpaces);
    appendNames(json, "groups", words.groups);
    appendMember(json, "attrA", node.attrA);
    appendMember(json, "attrB", node.attrB);
    json += ",\"ext\":[";
    const char* separator = "";
    for (const std::uint32_t word : node.ext) {
        json += separator;
        appendJsonNumber(json, word);
        separator = ",";
    }
    json += ']';
    if (node.exprCount == 0 && node.actionCount == 0) {
        return;
    }
    const FunctionTable& functions = book.functionsOf(record.nameId());
    Omitted omitted;
    if (node.exprCount != 0) {
        appendCondition(json, record, functions, omitted);
    }
    if (node.actionCount != 0) {
        json += ',';
        omitted.actions = appendNodes(json, "actions", record.actions(), node.actionCount, record.nameId(), functions);
    }
    appendJsonOmitted(
        json,
        {{"infix", omitted.infix}, {"prefix", omitted.prefix}, {"nodes", omitted.nodes}, {"actions", omitted.actions}});
}

void appendNamespaceJson(std::string& json, const tarnmessage::NamespaceView& block) {
    json += "\"offset\":";
    appendJsonNumber(json, block.offset);
    appendMember(json, "bytes", block.bytes.size());
    appendMember(json, "number", block.node.nameId);
    json += ',';
    appendJsonBytes(json, "name", block.name);
    json += ",\"functions\":[";
    const char* separator = "";
    tarnmessage::FunctionCursor functions = block.functions();
    for (tarnmessage::FunctionView function; functions.next(function);) {
        json.append(separator).append("{\"number\":");
        appendJsonNumber(json, function.functionId);
        json += ',';
        appendJsonBytes(json, "name", function.name);
        json += '}';
        separator = ",";
    }
    json += ']';
}

}  // namespace tarnnames
