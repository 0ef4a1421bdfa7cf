#include "libtarnrules/CanonicalForm.h"

#include "libtarnrules/FormBytes.h"

namespace tarnrules {

namespace {

using tarnmessage::ExprCursor;
using tarnmessage::ExprView;
using tarnmessage::ParamCursor;
using tarnmessage::ParamView;
using tarnmessage::PolicyRecordView;

void appendFunction(std::string& form, const std::string* name, std::uint32_t number) {
    append32(form, name == nullptr ? 0 : 1);
    if (name != nullptr) {
        appendText(form, *name);
    } else {
        append32(form, number);
    }
}

void appendParams(std::string& form, const ExprView& node) {
    append32(form, node.record.paramCount);
    ParamCursor params = node.params();
    for (ParamView param; params.next(param);) {
        append32(form, param.info.type);
        if (param.info.type == kernelmsg::kParamInteger) {
            append64(form, static_cast<std::uint64_t>(param.integer));
        } else {
            appendText(form, param.text);
        }
    }
}

// Conditions and actions alike: a count, then the nodes in the order of the record.
bool appendNodes(std::string& form, std::uint32_t count, ExprCursor nodes, std::uint32_t nameId, RuleNames& names) {
    append32(form, count);
    for (ExprView node; nodes.next(node);) {
        append32(form, node.record.type);
        append32(form, node.record.value);
        if (node.record.type == kernelmsg::kExprCall) {
            appendFunction(form, names.functionName(nameId, node.record.functionId), node.record.functionId);
        } else if (node.record.type == kernelmsg::kExprVariable) {
            appendText(form, node.variable);
        }
        appendParams(form, node);
        if (form.size() > kMostFormBytes) {
            return false;
        }
    }
    return true;
}

}  // namespace

// The policy type is left out: it follows from the object.
bool writeForm(std::string& form, const PolicyRecordView& record, RuleNames& names) {
    const kernelmsg::PolicyNodeRecord& node = record.node;
    form.clear();
    appendIdentifier(form, node.subject);
    appendIdentifier(form, node.object);
    append32(form, node.permClass);
    append32(form, node.perm);
    form += names.namespaceForm(record.nameId());

    append32(form, node.attrA);
    append32(form, node.attrB);
    for (const std::size_t word : {0U, 2U, 3U, 4U}) {
        append32(form, node.ext[word]);
    }
    return appendNodes(form, node.exprCount, record.condition(), record.nameId(), names) &&
           appendNodes(form, node.actionCount, record.actions(), record.nameId(), names);
}

std::string_view identityOf(std::string_view form) {
    constexpr std::size_t kNamespace = 2 * sizeof(TARN_ID) + 2 * sizeof(std::uint32_t);
    FormReader reader(form.substr(kNamespace));
    const std::uint32_t names = reader.take32();
    if (names == 0) {
        static_cast<void>(reader.take32());
    }
    for (std::uint32_t index = 0; index < names; ++index) {
        static_cast<void>(reader.takeText());
    }
    return form.substr(0, kNamespace + reader.position());
}

}  // namespace tarnrules
