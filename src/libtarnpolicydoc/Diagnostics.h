// What a check of a policy document finds: every finding has a place, says what was expected there and what to do. One
// list serves the text for people and the JSON for programs.
#ifndef TARN_POLICYDOC_DIAGNOSTICS_H
#define TARN_POLICYDOC_DIAGNOSTICS_H

#include <json/value.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace policydoc {

enum class Severity : std::uint8_t {
    kMistake,  // the document must not be compiled
    kWarning,  // it can be compiled, and probably does not do what its author meant
};

struct Diagnostic {
    Severity severity = Severity::kMistake;
    std::string code;  // stable word for programs, for instance "unknown-permission"; listed in docs/policy-format.md
    std::string file;  // as named on the command line or, for rules in a file of their own, by the document
    std::uint32_t line = 0;    // from 1; 0 where a finding belongs to the file as a whole
    std::uint32_t column = 0;  // from 1, only where the JSON itself is broken; else 0
    std::string pointer;       // JSON pointer; within a JSON Lines file it starts at that line's value
    std::string message;       // what is wrong
    std::string expected;      // what would be right; may be empty
    std::string action;        // what to do
};

// The findings of a run. The first of each severity are kept, the others only counted: one misspelt word in a million rules
// must not fill the memory.
class Diagnostics {
public:
    static constexpr std::size_t kMostKept = 1000;  // mistakes, and as many warnings

    void add(Diagnostic diagnostic);

    // Whether one more finding of this severity would be kept; else count() does.
    bool keeps(Severity severity) const { return counter(severity) < kMostKept; }
    void count(Severity severity) { ++counts_[static_cast<std::size_t>(severity)]; }

    const std::vector<Diagnostic>& all() const { return all_; }  // those that were kept, in order
    std::size_t mistakes() const { return counter(Severity::kMistake); }
    std::size_t warnings() const { return counter(Severity::kWarning); }
    std::size_t omitted() const { return mistakes() + warnings() - all_.size(); }
    bool has(const std::string& code) const;  // among those that were kept

private:
    std::size_t counter(Severity severity) const { return counts_[static_cast<std::size_t>(severity)]; }

    std::vector<Diagnostic> all_;
    std::array<std::size_t, 2> counts_{};
};

// One finding as lines of text, each ended by a line feed:
//     policy.json:17: mistake: class "file" has no permission "raed" [unknown-permission]
//         at /groups/base/rules/17/perm
//         expected: one of read, write
//         to do: write "read" ...
// Control characters of the document never reach a terminal: they are written as JSON escapes.
std::string toText(const Diagnostic& diagnostic);
// All that were kept, and a line that counts the others.
std::string toText(const Diagnostics& diagnostics);

// An array of objects with the members severity ("mistake", "warning"), code, file, line, column, pointer, message,
// expected, action. line and column are left out where they are 0.
Json::Value toJson(const Diagnostics& diagnostics);

}  // namespace policydoc

#endif
