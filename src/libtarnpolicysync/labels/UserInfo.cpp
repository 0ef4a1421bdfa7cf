#include "Common/Log.h"
#include "libtarnpolicysync/Paths.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

int PolicyModuleManagerInterface::processUserInfo() {
    std::string text;
    {
        const std::lock_guard<std::mutex> lock(m_mutexUserUid);
        for (const auto& [name, uid] : m_mapUserUid) {
            text += name + ":" + std::to_string(uid) + "\n";
        }
    }
    const int result = writeFileData(paths::kUserInfoTmp, text.data(), text.size(), paths::kWriteFlags);
    if (result != 0) {
        TARN_LOG(kLogError, "###ERROR: in processUserInfo, writeFileData error");
    }
    return result;
}
