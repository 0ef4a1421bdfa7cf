#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <stdexcept>

#include "Common/Handles.h"
#include "Common/Log.h"
#include "libtarnpolicysync/Paths.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

namespace {

using Variables = std::map<std::tuple<std::string, std::string>, unsigned int>;

bool isBadName(const std::string& name) {
    return name.empty() || name.find_first_of("/\\") != std::string::npos;
}

void importLine(const std::string& line, const std::string& path, Variables& variables) {
    const std::vector<std::string> fields = Split(line, ':');
    if (fields.size() < 3) {
        // Names the file, and says INFO at error level; operators search for it as it is.
        TARN_LOG(kLogError, "###INFO: %s is truncated", path.c_str());
        return;
    }
    try {
        const int value = std::stoi(fields[2]);
        variables[{fields[0], fields[1]}] = static_cast<unsigned int>(value);
    } catch (const std::logic_error&) {  // no number, or out of range
        TARN_LOG(kLogError, "###ERROR: invalid dynamic var value: %s", fields[2].c_str());
    }
}

// One line a variable, in the order of the table.
std::string toText(const Variables& variables) {
    std::string text;
    for (const auto& [key, value] : variables) {
        text += std::get<0>(key) + ":" + std::get<1>(key) + ":" + std::to_string(value) + "\n";
    }
    return text;
}

// The opened entry after the switch, or an invalid descriptor after one message.
UniqueFd switchInKernel(const std::string& path, bool on) {
    UniqueFd entry(open(path.c_str(), O_WRONLY | O_NOFOLLOW));
    if (!entry.valid()) {
        TARN_LOG(kLogError, "####ERROR: Open %s failed", path.c_str());
        return entry;
    }
    if (write(entry.get(), on ? "1" : "0", 1) != 1) {
        TARN_LOG(kLogError, "####ERROR: in func %s, Write dynamic value error", "modifyDynamicVariable");
        entry.reset();
    }
    return entry;
}

}  // namespace

int PolicyModuleManagerInterface::initDynamicVariableInfo() {
    return importDynamicVariableInfo("", dynamicVarMap, false);
}

int PolicyModuleManagerInterface::importDynamicVariableInfo(std::string prefix, DynamicVariables& map,
                                                            bool escapeCheckOnly) {
    std::string path;
    if (!SafeMountPrefixConcat(prefix, paths::kDynamicInfo, path)) {
        TARN_LOG(kLogError, "Illegal prefix in importDynamicVariableInfo: %s", prefix.c_str());
        return -1;
    }
    std::vector<std::string> lines;
    const int result = readFileToVecImpl(path, lines, escapeCheckOnly);
    if (result != 0) {
        return result == 1 ? 0 : result;
    }
    // No lock: the caller's table is not shared.
    for (const std::string& line : lines) {
        importLine(line, path, map);
    }
    return 0;
}

int PolicyModuleManagerInterface::modifyDynamicVariable(std::string nsName, std::string varName, unsigned int value,
                                                        bool save) {
    if (isBadName(nsName) || isBadName(varName)) {
        TARN_LOG(kLogError, "Illegal ns_name or var_name contains path separator or is empty: ns=%s, var=%s",
                 nsName.c_str(), varName.c_str());
        return 1;
    }
    const std::string path = paths::kernelParameter(nsName, varName);
    if (!IsSafeAbsolutePath(path)) {
        TARN_LOG(kLogError, "Illegal dynamic file path: %s", path.c_str());
        return 1;
    }
    const UniqueFd entry =
        switchInKernel(path, value != 0);  // stays open until the end, also while the file is written
    if (!entry.valid()) {
        return 1;
    }
    {
        const std::lock_guard<std::mutex> lock(dynamicVarMutex);
        dynamicVarMap[{nsName, varName}] = value;
    }
    if (!save) {
        TARN_LOG(kLogDetail, "###INFO: send dynamic variable [%s:%s=%d] success", nsName.c_str(), varName.c_str(),
                 static_cast<int>(value));
        return 0;
    }
    std::string text;
    {
        const std::lock_guard<std::mutex> lock(dynamicVarMutex);
        text = toText(dynamicVarMap);
    }
    if (writeFileData(paths::kDynamicInfo, text.data(), text.size(), paths::kWriteFlags) != 0) {
        TARN_LOG(kLogError, "###ERROR: in func %s, Write dynamic info error", "modifyDynamicVariable");
        return 1;
    }
    TARN_LOG(kLogDetail, "###INFO: modify dynamic variable [%s:%s=%d] success", nsName.c_str(), varName.c_str(),
             static_cast<int>(value));
    return 0;
}

int PolicyModuleManagerInterface::sendDynamicInfo(std::string prefix) {
    DynamicVariables variables;
    if (prefix.empty()) {
        const std::lock_guard<std::mutex> lock(dynamicVarMutex);
        variables = dynamicVarMap;
    } else {
        const int result = importDynamicVariableInfo(prefix, variables, true);
        if (result != 0) {
            return result;
        }
    }
    for (const auto& [key, value] : variables) {
        // A refusal is logged there; the other variables must still reach the kernel.
        static_cast<void>(modifyDynamicVariable(std::get<0>(key), std::get<1>(key), value, false));
    }
    return 0;
}

int PolicyModuleManagerInterface::clearDynamicVariableInfo() {
    {
        const std::lock_guard<std::mutex> lock(dynamicVarMutex);
        dynamicVarMap.clear();
    }
    if (unlink(paths::kDynamicInfo) != 0 && errno != ENOENT) {
        TARN_LOG(kLogError, "##ERROR: in func %s unlink %s failed\n", "clearDynamicVariableInfo", paths::kDynamicInfo);
        return 1;
    }
    return 0;
}
