#include "libtarnpolicydoc/Diagnostics.h"

#include <algorithm>
#include <utility>

#include "libtarnpolicydoc/Text.h"

namespace policydoc {

namespace {

void appendLine(std::string& out, const char* label, const std::string& text) {
    if (!text.empty()) {
        out += std::string("    ") + label + printable(text) + "\n";
    }
}

const char* severityName(Severity severity) {
    return severity == Severity::kMistake ? "mistake" : "warning";
}

}  // namespace

void Diagnostics::add(Diagnostic diagnostic) {
    const Severity severity = diagnostic.severity;
    if (keeps(severity)) {
        all_.push_back(std::move(diagnostic));
    }
    count(severity);
}

bool Diagnostics::has(const std::string& code) const {
    return std::any_of(all_.begin(), all_.end(), [&code](const Diagnostic& found) { return found.code == code; });
}

std::string toText(const Diagnostic& diagnostic) {
    std::string out = printable(diagnostic.file);
    if (diagnostic.line != 0) {
        out += ":" + std::to_string(diagnostic.line);
    }
    if (diagnostic.column != 0) {
        out += ":" + std::to_string(diagnostic.column);
    }
    out += std::string(": ") + severityName(diagnostic.severity) + ": " + printable(diagnostic.message) + " [" +
           diagnostic.code + "]\n";
    appendLine(out, "at ", diagnostic.pointer);
    appendLine(out, "expected: ", diagnostic.expected);
    appendLine(out, "to do: ", diagnostic.action);
    return out;
}

std::string toText(const Diagnostics& diagnostics) {
    std::string out;
    for (const Diagnostic& diagnostic : diagnostics.all()) {
        out += toText(diagnostic);
    }
    if (diagnostics.omitted() != 0) {
        out += "and more, not listed: in all " + std::to_string(diagnostics.mistakes()) + " mistakes and " +
               std::to_string(diagnostics.warnings()) + " warnings\n";
    }
    return out;
}

Json::Value toJson(const Diagnostics& diagnostics) {
    Json::Value list(Json::arrayValue);
    for (const Diagnostic& diagnostic : diagnostics.all()) {
        Json::Value entry(Json::objectValue);
        entry["severity"] = severityName(diagnostic.severity);
        entry["code"] = diagnostic.code;
        entry["file"] = diagnostic.file;
        if (diagnostic.line != 0) {
            entry["line"] = diagnostic.line;
        }
        if (diagnostic.column != 0) {
            entry["column"] = diagnostic.column;
        }
        entry["pointer"] = diagnostic.pointer;
        entry["message"] = diagnostic.message;
        entry["expected"] = diagnostic.expected;
        entry["action"] = diagnostic.action;
        list.append(std::move(entry));
    }
    return list;
}

}  // namespace policydoc
