#include "reading/SetFinding.h"

#include <cstring>
#include <sstream>

#include "libtarnmessage/MessageText.h"
#include "libtarnnames/JsonText.h"

namespace {

using tarnnames::appendJsonNumber;
using tarnnames::appendJsonString;

const char* wordOf(Weight weight) {
    switch (weight) {
        case Weight::kRefused:
            return "refused";
        case Weight::kUnreadable:
            return "unreadable";
        default:
            return "notice";
    }
}

void appendText(std::string& json, const char* name, const std::string& value) {
    json.append(",\"").append(name).append("\":");
    appendJsonString(json, value);
}

}  // namespace

const std::vector<NoticeText>& noticeTable() {
    static const std::vector<NoticeText> kTable{
        {"duplicate-record", "a record that the set holds already; it has no effect"},
        {"file-name",
         "the file's name has no place for the namespace of its records: it was renamed or its records are others'"},
        {"function-name", "an announced function is not MODULE:FUNCTION, so that no rule can call it"},
        {"hidden-file", "a name with a leading dot, which the sender passes over"},
        {"missing-before", "a file of a numbered series whose predecessor is missing: its rules are left out"},
        {"mixed-namespaces", "records of several namespaces in one message, which the compiler never writes"},
        {"mode", "more permission than the library gives: others could read or change the policy"},
        {"no-namespace-message", "no file namemsg, which every compilation writes"},
        {"no-policies", "no policy message: the set allows nothing, and an initial delivery sends none of it"},
        {"not-a-file", "a folder, socket or the like, which the sender passes over"},
        {"owner", "a file or folder of another user than root"},
        {"pinned-number", "a namespace announced under another number than scene_info pins, or than its checksum"},
        {"same-function", "one function announced twice in a namespace"},
        {"same-name", "one namespace announced twice"},
        {"same-number", "several namespaces with one number: the kernel can't tell their rules apart"},
        {"short-message", "a message that is not full though its series goes on: records are left out"},
        {"symbolic-link", "a symbolic link, which the sender passes over"},
        {"unknown-class", "a permission class that class-def.conf does not have"},
        {"unknown-namespace", "a namespace that neither the namespace message nor scene_info names"},
        {"unknown-permission", "a permission that its class does not have"},
        {"variable-namespace", "a dynamic variable of another namespace than the rule's"},
    };
    return kTable;
}

std::string noticeMarkdown() {
    std::ostringstream text;
    text << "| Code | What it is |\n|---|---|\n";
    for (const NoticeText& row : noticeTable()) {
        text << "| `" << row.code << "` | " << row.meaning << " |\n";
    }
    return text.str();
}

std::string toText(const SetFinding& finding) {
    std::string text = tarnmessage::escaped(finding.path);
    text += finding.offset ? ":" + std::to_string(*finding.offset) : "";
    text += std::string(": ") + wordOf(finding.weight) + ": " + finding.text;
    text += finding.expected.empty() ? "" : ", expected " + finding.expected;
    text += " [" + finding.code;
    text += finding.answer == 0 ? "" : ", " + std::to_string(finding.answer) + " " + std::strerror(finding.answer);
    return text + "]";
}

std::string toJson(const SetFinding& finding) {
    std::string json = "{\"weight\":";
    appendJsonString(json, wordOf(finding.weight));
    appendText(json, "code", finding.code);
    json += ',';
    tarnnames::appendJsonBytes(json, "path", finding.path);
    if (finding.offset) {
        json += ",\"offset\":";
        appendJsonNumber(json, *finding.offset);
    }
    appendText(json, "text", finding.text);
    if (!finding.expected.empty()) {
        appendText(json, "expected", finding.expected);
    }
    if (finding.answer != 0) {
        json += ",\"answer\":";
        appendJsonNumber(json, static_cast<std::uint64_t>(finding.answer));
    }
    if (finding.omitted != 0) {
        json += ",\"omitted\":";
        appendJsonNumber(json, finding.omitted);
    }
    return json + "}";
}
