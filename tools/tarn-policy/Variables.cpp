#include "Variables.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <optional>
#include <stdexcept>

#include "Common/Common.h"
#include "Common/Handles.h"
#include "Failure.h"
#include "libtarnpolicysync/Paths.h"

namespace {

Failure cannotRead(const std::string& path, int error) {
    return Failure(ExitCode::kFailed, "read " + path, std::strerror(error),
                   error == EACCES ? "run as root" : "see what stands at that path");
}

// Nothing where there is no file.
std::optional<std::string> readText(const std::string& path) {
    struct stat status {};
    if (lstat(path.c_str(), &status) != 0) {
        if (errno == ENOENT) {
            return std::nullopt;
        }
        throw cannotRead(path, errno);
    }
    if (!S_ISREG(status.st_mode)) {
        throw Failure(ExitCode::kFailed, "read " + path, "it is not a regular file",
                      "remove what stands there; the library refuses it, too");
    }
    const UniqueFd fd(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!fd.valid()) {
        throw cannotRead(path, errno);
    }
    std::string text;
    char block[4096];
    ssize_t count = 0;
    while ((count = read(fd.get(), block, sizeof block)) > 0) {
        text.append(block, static_cast<std::size_t>(count));
    }
    if (count < 0) {
        throw cannotRead(path, errno);
    }
    return text.substr(0, text.find('\0'));  // the library's reader ends at the first NUL
}

// Why a variable could not be switched, as far as it can be told from outside.
std::string whyNotSwitched(const Variable& variable) {
    const std::string entry = paths::kernelParameter(variable.nameSpace, variable.name);
    const UniqueFd fd(open(entry.c_str(), O_WRONLY | O_NOFOLLOW | O_CLOEXEC));
    if (!fd.valid()) {
        return std::string("the kernel's entry ") + entry + " cannot be opened: " + std::strerror(errno);
    }
    return "the kernel refused the write to " + entry + ", or the state file could not be written; the log says which";
}

SwitchResult switchEach(PolicyModuleManagerInterface& manager, const std::vector<Variable>& variables, bool save) {
    SwitchResult result;
    for (const Variable& variable : variables) {
        if (save && variable.value > kLargestVariableValue) {
            result.failed.push_back(toText(variable) + ": a value above " + std::to_string(kLargestVariableValue) +
                                    " would be saved and then refused when it is read back");
        } else if (manager.modifyDynamicVariable(variable.nameSpace, variable.name, variable.value, save) != 0) {
            result.failed.push_back(toText(variable) + ": " + whyNotSwitched(variable));
        } else {
            result.done.push_back(variable);
        }
    }
    return result;
}

}  // namespace

SavedVariables readSavedVariables(const std::string& path) {
    SavedVariables saved;
    const std::optional<std::string> text = readText(path);
    if (!text) {
        return saved;
    }
    std::map<std::pair<std::string, std::string>, std::uint32_t> table;
    for (const std::string& line : Split(*text, '\n')) {
        if (const std::optional<Variable> variable = parseSaved(line)) {
            table[{variable->nameSpace, variable->name}] = variable->value;
        } else {
            saved.problems.add("the line \"" + line + "\" is not namespace:name:value; the library skips it");
        }
    }
    for (const auto& [key, value] : table) {
        saved.variables.push_back({key.first, key.second, value});
    }
    return saved;
}

void warnOfUnreadable(const SavedVariables& saved, Report& report, const std::string& path) {
    for (const std::string& problem : saved.problems.texts()) {
        report.warning(path + ": " + problem);
    }
}

std::string formatSaved(const Variable& variable) {
    return variable.nameSpace + ":" + variable.name + ":" + std::to_string(variable.value);
}

std::optional<Variable> parseSaved(const std::string& line) {
    const std::vector<std::string> pieces = Split(line, ':');
    if (pieces.size() < 3) {
        return std::nullopt;
    }
    try {
        return Variable{pieces[0], pieces[1], static_cast<std::uint32_t>(std::stoi(pieces[2]))};
    } catch (const std::logic_error&) {  // not a number, or beyond an int
        return std::nullopt;
    }
}

void checkVariableName(const std::string& what, const std::string& name) {
    const std::string tried = "use \"" + name + "\" as " + what;
    if (name.empty()) {
        throw Failure(ExitCode::kUsage, tried, "it is empty", "name the " + what);
    }
    if (name.find_first_of("/\\") != std::string::npos || name == "." || name == ".." || name.back() == '.') {
        throw Failure(ExitCode::kUsage, tried,
                      "it names an entry of the kernel and must not hold \"/\" or a backslash, or end in a dot",
                      "write the name alone, for instance: tarn-policy var set net usb_block 1");
    }
    if (name.find_first_of(":\n") != std::string::npos || name.find('\0') != std::string::npos) {
        throw Failure(ExitCode::kUsage, tried, "\":\" and line feeds separate the fields of /etc/tarn/dynamicinfo",
                      "give namespace and variable as two arguments");
    }
}

std::uint32_t parseVariableValue(const std::string& text) {
    const std::string tried = "use \"" + text + "\" as value";
    if (text.empty() || text.find_first_not_of("0123456789") != std::string::npos) {
        throw Failure(ExitCode::kUsage, tried, "it is not a decimal number", "write 0 to switch off, 1 to switch on");
    }
    const std::string digits = text.substr(std::min(text.find_first_not_of('0'), text.size() - 1));
    constexpr std::size_t kMostDigits = 10;
    if (digits.size() > kMostDigits || std::stoull(digits) > kLargestVariableValue) {
        throw Failure(ExitCode::kUsage, tried,
                      "it is above " + std::to_string(kLargestVariableValue) +
                          ": the library would save it and refuse it when it is read back",
                      "write a smaller number; the kernel tells only 0 from not 0");
    }
    return static_cast<std::uint32_t>(std::stoul(digits));
}

SwitchResult setVariables(PolicyModuleManagerInterface& manager, const std::vector<Variable>& variables) {
    return switchEach(manager, variables, true);
}

SwitchResult replayVariables(PolicyModuleManagerInterface& manager, const std::vector<Variable>& variables) {
    return switchEach(manager, variables, false);
}

std::string toText(const Variable& variable) {
    return variable.nameSpace + ":" + variable.name + "=" + std::to_string(variable.value);
}

Json::Value toJson(const std::vector<Variable>& variables) {
    Json::Value array(Json::arrayValue);
    for (const Variable& variable : variables) {
        Json::Value& entry = array.append(Json::Value(Json::objectValue));
        entry["namespace"] = variable.nameSpace;
        entry["name"] = variable.name;
        entry["value"] = variable.value;
    }
    return array;
}
