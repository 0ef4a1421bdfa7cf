#include <cstdint>

#include "Common/Log.h"
#include "libtarnpolicysync/MessageBuffer.h"
#include "libtarnpolicysync/Paths.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"
#include "libtarnpolicysync/registry/NameNumbers.h"

namespace {

// Everything that one pass over the namespaces builds.
struct Announcement {
    MessageBuffer message;
    std::uint32_t blocks = 0;
    std::string sceneText;     // becomes scene_info
    std::string functionText;  // becomes funcinfo
};

bool appendOrLog(MessageBuffer& message, const void* source, unsigned long count, const char* complaint) {
    if (message.append(source, count)) {
        return true;
    }
    TARN_LOG(kLogError, complaint);
    return false;
}

bool appendBlockHead(MessageBuffer& message, const std::string& name, std::uint32_t id, std::size_t functions) {
    const kernelmsg::NameNodeRecord node{
        id, static_cast<std::uint32_t>(name.size()), static_cast<std::uint32_t>(functions), {0, 0, 0}};
    return appendOrLog(message, &kernelmsg::kMagicNumber, sizeof kernelmsg::kMagicNumber,
                       "Failed to copy magic number, buffer full") &&
           appendOrLog(message, &node, sizeof node, "Failed to copy nameNode, buffer full") &&
           appendOrLog(message, name.data(), name.size(), "Failed to copy scene name, buffer full");
}

bool appendFunction(MessageBuffer& message, const std::string& entry, std::uint32_t id) {
    const kernelmsg::FuncNodeRecord node{id, static_cast<std::uint32_t>(entry.size())};
    return appendOrLog(message, &node, sizeof node, "Failed to copy funcNode, buffer full") &&
           appendOrLog(message, entry.data(), entry.size(), "Failed to copy function name, buffer full");
}

int writeOrLog(const char* path, const char* data, unsigned long length) {
    const int result = writeFileData(path, data, length, paths::kWriteFlags);
    if (result != 0) {
        TARN_LOG(kLogError, "###ERROR: in func %s, write %s error.", "compileKernelNamespaceMsg", path);
    }
    return result;
}

int writeFiles(const Announcement& announcement) {
    int result = writeOrLog(paths::kSceneInfoTmp, announcement.sceneText.data(), announcement.sceneText.size());
    if (result == 0) {
        result = writeOrLog(paths::kNamespaceMessage, announcement.message.bytes(), announcement.message.used);
    }
    if (result == 0) {
        result = writeOrLog(paths::kFuncInfoTmp, announcement.functionText.data(), announcement.functionText.size());
    }
    return result;
}

}  // namespace

int PolicyModuleManagerInterface::compileKernelNamespaceMsg() {
    Announcement announcement;
    announcement.message.restart();

    // The walk goes over the live entries without the mutex: nothing may be registered while a compilation runs.
    std::vector<const std::pair<const std::string, std::vector<std::string>>*> namespaces;
    {
        const std::lock_guard<std::mutex> lock(m_mutexNamespaceFunc);
        for (const auto& entry : m_mapNamespaceFunc) {
            namespaces.push_back(&entry);
        }
    }

    const auto numberNamespace = [this](const std::string& name) {
        const std::lock_guard<std::mutex> lock(m_mutexNameId);
        return numberOfName(m_mapNameId, name);
    };
    const auto numberFunction = [this](const std::string& name, const std::string& function, std::uint32_t number) {
        const std::lock_guard<std::mutex> lock(m_mutexFuncId);
        m_mapFuncId[{name, function}] = number;
    };

    for (const auto* entry : namespaces) {
        const auto& [name, functions] = *entry;
        const std::uint32_t nameId = numberNamespace(name);
        announcement.sceneText += std::to_string(nameId) + ":" + name + "\n";
        if (functions.empty()) {
            continue;  // known by its number alone: no block, no line of functions
        }
        announcement.functionText += name + "#";
        if (!appendBlockHead(announcement.message, name, nameId, functions.size())) {
            return 1;
        }
        std::uint32_t number = 0;
        for (const std::string& function : functions) {
            ++number;
            announcement.functionText += function + ",";
            numberFunction(name, function, number);
            if (!appendFunction(announcement.message, function, number)) {
                return 1;
            }
        }
        announcement.functionText.back() = '\n';
        ++announcement.blocks;
    }

    MessageBuffer& message = announcement.message;
    if (!appendOrLog(message, &kernelmsg::kEndNumber, sizeof kernelmsg::kEndNumber,
                     "Failed to copy end_number, buffer full")) {
        return 1;
    }
    message.writeHeader(sizeof(kernelmsg::NameNodeRecord), announcement.blocks, kernelmsg::kTypeNamespace);
    if (logflag) {
        printBytes(message.bytes(), message.used);
    }
    return writeFiles(announcement);
}
