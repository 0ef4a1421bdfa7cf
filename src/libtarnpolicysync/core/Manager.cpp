#include <iostream>

#include "Common/Common.h"
#include "libtarnpolicysync/core/ManagerPrivate.h"

namespace {

template <typename... Table>
void clearUnder(std::mutex& mutex, Table&... tables) {
    const std::lock_guard<std::mutex> lock(mutex);
    (tables.clear(), ...);
}

}  // namespace

PolicyModuleManagerInterface::PolicyModuleManagerInterface() : m_private(std::make_unique<Private>()) {
    initConfigInfo();
    importNameInfo();
    static_cast<void>(initDynamicVariableInfo());  // an unreadable file is logged there and leaves no variables
}

PolicyModuleManagerInterface::~PolicyModuleManagerInterface() = default;

int PolicyModuleManagerInterface::prepareWork() {
    return importPermData();
}

int PolicyModuleManagerInterface::addPolicy(std::string key, PolicyDb& db) {
    const std::lock_guard<std::mutex> lock(m_mutexPolicy);
    m_mapPolicy[key] = db;
    return 0;
}

void PolicyModuleManagerInterface::clearAllPolicy() {
    clearUnder(m_mutexFuncId, m_mapFuncId);
    clearUnder(m_mutexNamespaceFunc, m_mapNamespaceFunc, m_private->functionIndexes);
    clearUnder(m_mutexPolicy, m_mapPolicy);
    clearUnder(m_mutexFileToGetLabel, m_mapFileToGetLabel, m_private->fileToLabelIndexes);
    clearUnder(deviceVecMutex, deviceVec);
    clearUnder(kmodVecMutex, kmodVec);
    clearUnder(m_mutexUserUid, m_mapUserUid);
}

void PolicyModuleManagerInterface::printTime(std::string stage, std::string label) {
    if (printtime == 0) {
        return;
    }
    const std::lock_guard<std::mutex> lock(timeMutex);
    if (label.empty()) {
        timeMap[stage] = getTimeStamp();
        return;
    }
    const auto found = timeMap.find(stage);
    if (found == timeMap.end()) {
        std::cout << "printTime"
                  << ":Not find last time" << std::endl;
        return;
    }
    const std::int64_t last = found->second;
    found->second = getTimeStamp();
    std::cout << stage << "->" << label << ":" << std::to_string(found->second - last) << std::endl;
}
