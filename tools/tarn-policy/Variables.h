// Dynamic variables as the library saved them, and the few things that the tool does with them beyond the library.
#ifndef TARN_POLICY_VARIABLES_H
#define TARN_POLICY_VARIABLES_H

#include <json/value.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Report.h"
#include "libtarnnames/ProblemList.h"
#include "libtarnpolicysync/Paths.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

// The library reads values back as signed numbers: a greater one is saved and then refused at the next start.
inline constexpr std::uint32_t kLargestVariableValue = 2147483647;

struct Variable {
    std::string nameSpace;
    std::string name;
    std::uint32_t value = 0;
};

struct SavedVariables {
    std::vector<Variable> variables;  // in the library's order, a later line of a name replacing an earlier one
    tarnnames::ProblemList problems;  // lines that the library skips
};

// Reads "/etc/tarn/dynamicinfo" by the library's own rules and without its log. A missing file holds no variables.
// Throws Failure where the file can't be read. Another path is that of a tree below a mount point.
SavedVariables readSavedVariables(const std::string& path = paths::kDynamicInfo);

// A warning for each line that the library skips, as far as the list goes.
void warnOfUnreadable(const SavedVariables& saved, Report& report, const std::string& path = paths::kDynamicInfo);

// One line of the state file, without its line feed: "net:usb_block:1". parseSaved gives nothing for a line that the
// library skips.
std::string formatSaved(const Variable& variable);
std::optional<Variable> parseSaved(const std::string& line);

// Refuses with a Failure (kUsage) what the state file or the kernel's entries can't carry.
void checkVariableName(const std::string& what, const std::string& name);
std::uint32_t parseVariableValue(const std::string& text);

// What became of variables that were to be switched.
struct SwitchResult {
    std::vector<Variable> done;
    std::vector<std::string> failed;  // each with the reason
};

// Switches and saves each variable.
SwitchResult setVariables(PolicyModuleManagerInterface& manager, const std::vector<Variable>& variables);

// Switches each variable without saving, as the library does after a delivery.
SwitchResult replayVariables(PolicyModuleManagerInterface& manager, const std::vector<Variable>& variables);

// "net:usb_block=1"
std::string toText(const Variable& variable);
Json::Value toJson(const std::vector<Variable>& variables);

#endif
