#include "libtarnpolicydoc/NameRules.h"

#include <algorithm>
#include <array>

namespace policydoc {

namespace {

struct Rule {
    unsigned int use;
    const char* code;
    bool (*broken)(const std::string& name);
    const char* problem;
    const char* expected;
};

// Message files are listed line by line by the note beside a set, and by whoever looks into the directory. NUL has a rule
// of its own.
bool holdsControlCharacter(const std::string& name) {
    return std::any_of(name.begin(), name.end(), [](char c) {
        const auto byte = static_cast<unsigned char>(c);
        return byte != 0 && (byte < 0x20 || byte == 0x7F);
    });
}

// The library refuses a path with "../", "./" or a backslash only after it has compiled everything before, and a "/"
// makes a folder that nobody creates. The state files are cut at ":", "#", "," and line feeds when they are read back.
constexpr std::array<Rule, 6> kRules = {{
    {kNameNotEmpty, "name-empty", [](const std::string& name) { return name.empty(); }, "is empty",
     "a name of at least one character"},
    {kNameInPath, "name-in-path",
     [](const std::string& name) { return name.find_first_of("/\\") != std::string::npos; },
     "becomes part of a file name and holds \"/\" or a backslash",
     "a name without \"/\", \"./\", \"../\" and backslash"},
    {kNameInStateFile, "name-in-state-file",
     [](const std::string& name) { return name.find_first_of(":#,\n") != std::string::npos; },
     "goes into a state file and holds \":\", \"#\", \",\" or a line feed",
     "a name without \":\", \"#\", \",\" and line feeds"},
    {kNameBeginsFile, "name-hidden", [](const std::string& name) { return !name.empty() && name[0] == '.'; },
     "begins the names of message files with a \".\", and a delivery passes over such files",
     "a name that does not begin with \".\""},
    {kNameInPath, "name-control", holdsControlCharacter, "becomes part of a file name and holds a control character",
     "a name without line feeds, tabs and other control characters"},
    {kNameInPath | kNameInStateFile, "name-nul",
     [](const std::string& name) { return name.find('\0') != std::string::npos; },
     "holds a NUL byte, which would end it", "a name without NUL bytes"},
}};

}  // namespace

void checkName(const std::string& name, unsigned int uses, const char* what, const Path& at, std::uint32_t line,
               const Reporter& report) {
    for (const Rule& rule : kRules) {
        if ((rule.use & uses) != 0 && rule.broken(name)) {
            report.mistake(at, line,
                           {rule.code, std::string(what) + " " + quoted(name) + " " + rule.problem, rule.expected,
                            "choose another name, here and wherever it is used"});
        }
    }
}

bool nameIsSound(const std::string& name, unsigned int uses) {
    return std::none_of(kRules.begin(), kRules.end(),
                        [&](const Rule& rule) { return (rule.use & uses) != 0 && rule.broken(name); });
}

}  // namespace policydoc
