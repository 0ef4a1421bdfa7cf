#include "libtarnpolicydoc/Diagnostics.h"

#include <algorithm>
#include <utility>

namespace policydoc {

namespace {

std::string printable(const std::string& text) {
    static constexpr char kHex[] = "0123456789abcdef";
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte >= 0x20 && byte != 0x7F) {
            out += c;
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\t') {
            out += "\\t";
        } else {
            out += "\\u00";
            out += kHex[byte >> 4U];
            out += kHex[byte & 0xFU];
        }
    }
    return out;
}

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
    mistakes_ += diagnostic.severity == Severity::kMistake ? 1 : 0;
    all_.push_back(std::move(diagnostic));
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
