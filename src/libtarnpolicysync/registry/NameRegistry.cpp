#include <stdexcept>

#include "Common/Log.h"
#include "libtarnpolicysync/Paths.h"
#include "libtarnpolicysync/core/ManagerPrivate.h"
#include "libtarnpolicysync/registry/NameNumbers.h"

namespace {

std::string functionEntry(const std::string& module, const std::string& function) {
    return module + ":" + function;
}

}  // namespace

void PolicyModuleManagerInterface::importNameInfo() {
    std::vector<std::string> lines;
    if (readFileToVec(paths::kSceneInfo, lines) != 0) {
        return;
    }
    // No lock: the object is not shared yet.
    for (const std::string& line : lines) {
        const std::vector<std::string> fields = Split(line, ':');
        if (fields.size() != 2) {
            TARN_LOG(kLogError, "###ERROR: in func %s, %s is truncate.", "importNameInfo", paths::kSceneInfo);
            continue;
        }
        try {
            const unsigned long number = std::stoul(fields[0]);
            m_mapNameId[fields[1]] = static_cast<unsigned int>(number);
        } catch (const std::logic_error&) {  // no number, or out of range
            TARN_LOG(kLogError, "###ERROR: in func %s, invalid name id: %s", "importNameInfo", fields[0].c_str());
        }
    }
}

int PolicyModuleManagerInterface::getNameId(std::string strNamespace, int& id) {
    id = 0;
    if (strNamespace.empty()) {
        TARN_LOG(kLogNotice, "####WARN: in func %s, empty strNamespace.", "getNameId");
        return 1;
    }
    const std::lock_guard<std::mutex> lock(m_mutexNameId);
    id = static_cast<int>(numberOfName(m_mapNameId, strNamespace));
    return 0;
}

int PolicyModuleManagerInterface::setUidInfo(std::string sUserName, unsigned int uid) {
    if (sUserName.empty()) {
        TARN_LOG(kLogError, "###ERROR: in func %s, empty sUserName.", "setUidInfo");
        return 1;
    }
    const std::lock_guard<std::mutex> lock(m_mutexUserUid);
    m_mapUserUid[sUserName] = uid;
    return 0;
}

void PolicyModuleManagerInterface::initNamespaceFuncInfo() {
    std::vector<std::string> lines;
    if (readFileToVec(paths::kFuncInfo, lines) != 0) {
        return;
    }
    const std::lock_guard<std::mutex> lock(m_mutexNamespaceFunc);
    for (const std::string& line : lines) {
        const std::vector<std::string> fields = Split(line, '#');
        if (fields.size() != 2) {
            TARN_LOG(kLogError, "###ERROR: in func %s, %s is truncate.", "initNamespaceFuncInfo", paths::kFuncInfo);
            continue;
        }
        for (std::string& entry : Split(fields[1], ',')) {
            m_private->functionIndexes[fields[0]].appendOnce(m_mapNamespaceFunc[fields[0]], std::move(entry));
        }
    }
}

int PolicyModuleManagerInterface::setNamespaceInfo(std::string strNamespace) {
    if (strNamespace.empty()) {
        TARN_LOG(kLogError, "###ERROR: in func %s, empty strNamespace.", "setNamespaceInfo");
        return 1;
    }
    const std::lock_guard<std::mutex> lock(m_mutexNamespaceFunc);
    m_mapNamespaceFunc.try_emplace(strNamespace);
    return 0;
}

int PolicyModuleManagerInterface::setNamespaceFuncInfo(std::string strNamespace, std::string strKmodName,
                                                       std::string strFuncName) {
    if (strNamespace.empty() || strKmodName.empty() || strFuncName.empty()) {
        TARN_LOG(kLogError, "###ERROR: in func %s, empty strNamespace or empty strKmodName or empty strFuncName. \n",
                 "setNamespaceFuncInfo");
        return 1;
    }
    const std::lock_guard<std::mutex> lock(m_mutexNamespaceFunc);
    // An entry keeps its first place: it is its number.
    m_private->functionIndexes[strNamespace].appendOnce(m_mapNamespaceFunc[strNamespace],
                                                        functionEntry(strKmodName, strFuncName));
    return 0;
}

int PolicyModuleManagerInterface::getFuncId(std::string strNamespace, std::string strModuleName,
                                            std::string strFuncName, int& id) {
    id = 0;
    if (strNamespace.empty() || strModuleName.empty() || strFuncName.empty()) {
        TARN_LOG(kLogError, "####ERROR: in func %s, empty strNamespace or strModuleName or strFuncName.", "getFuncId");
        return 1;
    }
    const std::pair<std::string, std::string> key(strNamespace, functionEntry(strModuleName, strFuncName));
    const std::lock_guard<std::mutex> lock(m_mutexFuncId);
    const auto found = m_mapFuncId.find(key);
    if (found != m_mapFuncId.end()) {
        id = static_cast<int>(found->second);
        return 0;
    }
    TARN_LOG(kLogError, "####ERROR: in func %s, no module %s function %s.", "getFuncId", strModuleName.c_str(),
             strFuncName.c_str());
    return 1;
}
