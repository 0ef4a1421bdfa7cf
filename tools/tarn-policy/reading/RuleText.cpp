#include "reading/RuleText.h"

#include <array>

#include "libtarnmessage/MessageText.h"
#include "libtarnnames/JsonText.h"
#include "libtarnnames/RecordText.h"

namespace {

using tarnrules::RebuiltRecord;

// The second further word is the number of the namespace.
constexpr std::array<std::size_t, 4> kOwnWords{0, 2, 3, 4};

// "1(file)"; several names are all shown, none is chosen.
std::string numbered(std::uint32_t number, const std::vector<std::string>& names) {
    const std::string text = std::to_string(number);
    return names.empty() ? text : text + "(" + tarnmessage::shownNames(names) + ")";
}

std::string namespaceOf(const RebuiltRecord& rule) {
    const std::string names = tarnmessage::shownNames(rule.namespaceNames());
    return names.empty() ? std::to_string(rule.view().nameId()) : names;
}

std::string furtherWords(const RebuiltRecord& rule) {
    std::string text;
    for (const std::size_t word : kOwnWords) {
        text += (text.empty() ? "" : ",") + std::to_string(rule.view().node.ext[word]);
    }
    return text;
}

void appendName(std::string& json, const std::string& name) {
    json.append(json.empty() ? "\"" : ",\"").append(name).append("\":");
}

void appendNumber(std::string& json, const std::string& name, std::uint32_t number) {
    appendName(json, name);
    tarnnames::appendJsonNumber(json, number);
}

void appendText(std::string& json, const std::string& name, const std::string& text) {
    appendName(json, name);
    tarnnames::appendJsonString(json, text);
}

// Left out where nobody knows a name.
void appendNames(std::string& json, const std::string& name, const std::vector<std::string>& names) {
    if (!names.empty()) {
        json += json.empty() ? "" : ",";
        tarnnames::appendJsonNames(json, name.c_str(), names);
    }
}

// The words as texts, because many programs would round such numbers.
void appendIdentifier(std::string& json, const std::string& name, const TARN_ID& identifier, const RuleWords& words) {
    appendName(json, name);
    const char* before = "[";
    for (const std::uint64_t word : identifier.uiWord) {
        json += before;
        tarnnames::appendJsonHex(json, word);
        before = ",";
    }
    json += ']';
    if (const std::vector<std::string>& names = words.labels.names(identifier); !names.empty()) {
        json += ',';
        tarnnames::appendJsonArray(json, (name + "Names").c_str(), names);
    }
}

}  // namespace

std::string identityText(const RebuiltRecord& rule, const RuleWords& words) {
    const kernelmsg::PolicyNodeRecord& node = rule.view().node;
    const tarnnames::Classes& classes = words.book.classes();
    return "subject=" + identifierWords(node.subject, words.labels) +
           " object=" + identifierWords(node.object, words.labels) +
           " class=" + numbered(node.permClass, classes.classNames(node.permClass)) +
           " perm=" + numbered(node.perm, classes.permissionNames(node.permClass, node.perm)) +
           " namespace=" + namespaceOf(rule);
}

std::string contentText(const RebuiltRecord& rule) {
    const kernelmsg::PolicyNodeRecord& node = rule.view().node;
    return "attrA=" + std::to_string(node.attrA) + " attrB=" + std::to_string(node.attrB) +
           " ext=" + furtherWords(rule) + " condition={" + conditionInfixText(rule.view(), rule.functions()) +
           "} actions={" + actionsText(rule.view(), rule.functions()) + "}";
}

std::string identityJson(const RebuiltRecord& rule, const RuleWords& words) {
    const kernelmsg::PolicyNodeRecord& node = rule.view().node;
    const tarnnames::Classes& classes = words.book.classes();
    std::string json;
    appendIdentifier(json, "subject", node.subject, words);
    appendIdentifier(json, "object", node.object, words);
    appendNumber(json, "class", node.permClass);
    appendNames(json, "classNames", classes.classNames(node.permClass));
    appendNumber(json, "perm", node.perm);
    appendNames(json, "permNames", classes.permissionNames(node.permClass, node.perm));
    if (rule.namespaceNames().empty()) {
        appendNumber(json, "namespace", rule.view().nameId());
    }
    appendNames(json, "namespaceNames", rule.namespaceNames());
    return json;
}

std::string contentJson(const RebuiltRecord& rule) {
    const kernelmsg::PolicyNodeRecord& node = rule.view().node;
    std::string json;
    appendNumber(json, "attrA", node.attrA);
    appendNumber(json, "attrB", node.attrB);
    appendName(json, "ext");
    json += "[" + furtherWords(rule) + "]";
    std::uint64_t conditionLeft = 0;
    std::uint64_t actionsLeft = 0;
    appendText(json, "condition", conditionInfixText(rule.view(), rule.functions(), &conditionLeft));
    appendText(json, "actions", actionsText(rule.view(), rule.functions(), &actionsLeft));
    tarnnames::appendJsonOmitted(json, {{"condition", conditionLeft}, {"actions", actionsLeft}});
    return json;
}
