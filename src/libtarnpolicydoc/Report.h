// How findings are written down: a path that costs nothing until a finding needs its JSON pointer, and the list that
// the findings go to. Internal to this library.
#ifndef TARN_POLICYDOC_REPORT_H
#define TARN_POLICYDOC_REPORT_H

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "libtarnpolicydoc/Diagnostics.h"
#include "libtarnpolicydoc/JsonTree.h"

namespace policydoc {

// One step of a JSON pointer, linked to the steps before it. Lives on the stack of whoever walks down.
class Path {
public:
    Path() = default;
    explicit Path(std::string_view base) : name_(base), isBase_(true) {}  // a pointer that is complete already
    Path(const Path& parent, std::string_view name) : parent_(&parent), name_(name) {}
    Path(const Path& parent, std::size_t index) : parent_(&parent), index_(index), isIndex_(true) {}

    std::string pointer() const;

private:
    const Path* parent_ = nullptr;
    std::string_view name_;
    std::size_t index_ = 0;
    bool isIndex_ = false;
    bool isBase_ = false;
};

// A name as one step of a JSON pointer: "~" and "/" are written "~0" and "~1".
std::string pointerStep(std::string_view name);

struct Finding {
    const char* code;
    std::string message;
    std::string expected;
    std::string action;
};

// Adds findings for one file. Without a list it drops them, for walks whose findings were reported before.
class Reporter {
public:
    Reporter(Diagnostics* list, const std::string& file) : list_(list), file_(&file) {}

    bool listening() const { return list_ != nullptr; }
    // Whether a mistake would be kept and not only counted: advice that costs time is worth it then.
    bool keepsMistakes() const { return list_ != nullptr && list_->keeps(Severity::kMistake); }
    void mistake(const Path& at, std::uint32_t line, Finding finding) const {
        add(Severity::kMistake, at, line, std::move(finding));
    }
    void warning(const Path& at, std::uint32_t line, Finding finding) const {
        add(Severity::kWarning, at, line, std::move(finding));
    }
    void broken(const Path& at, const JsonError& error) const;

private:
    void add(Severity severity, const Path& at, std::uint32_t line, Finding finding) const;

    Diagnostics* list_;
    const std::string* file_;
};

// "\"text\"" with long texts cut, for messages.
std::string quoted(std::string_view text);

}  // namespace policydoc

#endif
