#include "libtarnpolicydoc/Report.h"

#include <algorithm>
#include <utility>

#include "libtarnpolicydoc/Text.h"

namespace policydoc {

namespace {

constexpr std::size_t kMaxQuoted = 80;

}  // namespace

std::string pointerStep(std::string_view name) {
    std::string out;
    for (const char c : name) {
        if (c == '~') {
            out += "~0";
        } else if (c == '/') {
            out += "~1";
        } else {
            out += c;
        }
    }
    return out;
}

std::string Path::pointer() const {
    if (isBase_) {
        return std::string(name_);
    }
    if (parent_ == nullptr) {
        return "";
    }
    return parent_->pointer() + "/" + (isIndex_ ? std::to_string(index_) : pointerStep(name_));
}

void Reporter::broken(const Path& at, const JsonError& error) const {
    if (list_ == nullptr) {
        return;
    }
    Diagnostic diagnostic;
    diagnostic.code = "json";
    diagnostic.file = *file_;
    diagnostic.line = error.line;
    diagnostic.column = error.column;
    diagnostic.pointer = at.pointer();
    diagnostic.message = "not valid JSON: " + error.what;
    diagnostic.expected = "JSON text in UTF-8 without comments";
    diagnostic.action = "correct the text at this place; what follows it was not looked at";
    list_->add(std::move(diagnostic));
}

void Reporter::add(Severity severity, const Path& at, std::uint32_t line, Finding finding) const {
    if (list_ == nullptr) {
        return;
    }
    if (!list_->keeps(severity)) {
        list_->count(severity);
        return;
    }
    Diagnostic diagnostic;
    diagnostic.severity = severity;
    diagnostic.code = finding.code;
    diagnostic.file = *file_;
    diagnostic.line = line;
    diagnostic.pointer = at.pointer();
    diagnostic.message = std::move(finding.message);
    diagnostic.expected = std::move(finding.expected);
    diagnostic.action = std::move(finding.action);
    list_->add(std::move(diagnostic));
}

std::string quoted(std::string_view text) {
    if (text.size() <= kMaxQuoted) {
        return "\"" + std::string(text) + "\"";
    }
    std::size_t end = 0;
    for (std::size_t next = 0; next <= kMaxQuoted;
         next += std::max<std::size_t>(characterLength(text.substr(next)), 1)) {
        end = next;
    }
    return "\"" + std::string(text.substr(0, end)) + "...\"";
}

}  // namespace policydoc
