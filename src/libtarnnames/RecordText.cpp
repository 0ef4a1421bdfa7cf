#include "libtarnnames/RecordText.h"

#include "libtarnmessage/MessageText.h"

namespace tarnnames {

namespace {

std::string inParentheses(const std::string& text) {
    return text.empty() ? "" : " (" + text + ")";
}

std::string numbered(std::uint32_t number, const std::vector<std::string>& names) {
    return std::to_string(number) + inParentheses(tarnmessage::shownNames(names));
}

void appendLine(std::string& text, const char* name, const std::string& value) {
    text.append("  ").append(name).append(value).append("\n");
}

std::string groupText(const std::vector<std::string>& groups) {
    return groups.empty() ? "not told by the file name"
                          : (groups.size() > 1 ? "ambiguous: " : "") + tarnmessage::shownNames(groups);
}

}  // namespace

std::string identifierNames(const TARN_ID& identifier, const Identifiers& identifiers) {
    std::string names;
    for (const std::string& name : identifiers.names(identifier)) {
        const std::size_t blank = name.find(' ');  // behind the kind
        names += (names.empty() ? "" : ", ") + tarnmessage::escaped(name.substr(0, blank)) + " " +
                 tarnmessage::escaped(name.substr(blank + 1));
    }
    return names;
}

std::string identifierWords(const TARN_ID& identifier, const Identifiers& identifiers) {
    return tarnmessage::identifierText(identifier) + inParentheses(identifierNames(identifier, identifiers));
}

void appendRecordText(std::string& text, const tarnmessage::PolicyRecordView& record, const RecordWords& words,
                      const NameBook& book) {
    const kernelmsg::PolicyNodeRecord& node = record.node;
    const tarnmessage::FunctionTable& functions = book.functionsOf(record.nameId());
    const bool isSpecial = node.policyType == kernelmsg::kPolicySpecial;
    appendLine(text, "policy type  ",
               std::to_string(node.policyType) + (isSpecial ? " (special object)" : " (ordinary object)"));
    appendLine(text, "subject      ", identifierWords(node.subject, book.identifiers()));
    appendLine(text, "object       ", identifierWords(node.object, book.identifiers()));
    appendLine(text, "class        ", numbered(node.permClass, words.classes));
    appendLine(text, "permission   ", numbered(node.perm, words.permissions));
    appendLine(text, "namespace    ", numbered(record.nameId(), words.nameSpaces));
    appendLine(text, "group        ", groupText(words.groups));
    appendLine(text, "attributes   ", "A " + std::to_string(node.attrA) + ", B " + std::to_string(node.attrB));
    appendLine(text, "other words  ",
               std::to_string(node.ext[0]) + ", " + std::to_string(node.ext[2]) + ", " + std::to_string(node.ext[3]) +
                   ", " + std::to_string(node.ext[4]));
    if (node.exprCount != 0) {
        appendLine(text, "condition    ", conditionInfixText(record, functions));
        appendLine(text, "as stored    ", conditionPrefixText(record, functions));
    }
    if (node.actionCount != 0) {
        appendLine(text, "actions      ", actionsText(record, functions));
    }
}

}  // namespace tarnnames
