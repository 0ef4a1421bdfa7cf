#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "Common/DirectoryStream.h"
#include "Common/Log.h"
#include "libtarnpolicysync/KernelMessage.h"
#include "libtarnpolicysync/Paths.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

namespace {

bool isAcceptedPath(const std::string& path, bool fullPath) {
    if (fullPath && HasPathEscape(path)) {
        TARN_LOG(kLogError, "sendSinglePolicyInternal: path escape: %s", path.c_str());
        return false;
    }
    if (!fullPath && !IsSafeAbsolutePath(path)) {
        TARN_LOG(kLogError, "sendSinglePolicyInternal: unsafe path: %s", path.c_str());
        return false;
    }
    return true;
}

// Whether a directory entry is a message to send; a link is named in the log.
bool isPolicyFile(const char* path) {
    struct stat status {};
    if (lstat(path, &status) != 0) {
        return false;
    }
    if (S_ISLNK(status.st_mode)) {
        TARN_LOG(kLogError, "skip symlink file %s", path);
        return false;
    }
    return S_ISREG(status.st_mode);
}

// Calls `send` for each message of the compiled set but the frame, in the order in which the file system gives them,
// and stops at the first status that is not 0.
template <typename Send>
unsigned int forEachPolicyFile(Send send) {
    UniqueDir directory = openDirectoryStream(paths::kPolicyDataTmp);
    if (!directory) {
        return 1;
    }
    while (const dirent* entry = readdir(directory.get())) {
        if (entry->d_name[0] == '.' || paths::isFrameMessage(entry->d_name)) {
            continue;
        }
        constexpr std::size_t kPathSize = 1024;
        char path[kPathSize];
        static_cast<void>(std::snprintf(path, sizeof path, "%s/%s", paths::kPolicyDataTmp, entry->d_name));
        if (!isPolicyFile(path)) {
            continue;
        }
        const unsigned int status = send(path);
        if (status != 0) {
            // One would expect the stream to be closed here; after a refusal it has always stayed open, and does.
            static_cast<void>(directory.release());
            return status;
        }
    }
    return 0;
}

// Renames one temporary file. Only some files must be there: `mustExist` says whether a quiet failure counts.
int promote(const char* from, const char* to, bool mustExist, const char* complaint) {
    const int result = renameFile(from, to);
    if (result < 0 || (mustExist && result != 0)) {
        TARN_LOG(kLogError, complaint, "finalizeTmpFile");
        return result;
    }
    return 0;
}

}  // namespace

unsigned int PolicyModuleManagerInterface::sendSinglePolicyInternal(const std::string& path, bool fullPath) {
    if (!isAcceptedPath(path, fullPath)) {
        return 1;
    }
    UniqueFd file(open(path.c_str(), O_RDONLY | O_NOFOLLOW));
    if (!file.valid() && errno == ENOENT) {
        TARN_LOG(kLogNotice, "sendSinglePolicyInternal: file not found: %s", path.c_str());
        return 0;
    }
    if (!file.valid()) {
        TARN_LOG(kLogError, "sendSinglePolicyInternal: open %s failed: %s", path.c_str(), std::strerror(errno));
        return 1;
    }
    const std::unique_ptr<char[]> message(
        new char[kernelmsg::kMessageCapacity]);  // what read() fills is all that counts
    const ssize_t count = read(file.get(), message.get(), kernelmsg::kMessageCapacity);
    if (count < 0) {
        TARN_LOG(kLogError, "sendSinglePolicyInternal: read %s error: %s", path.c_str(), std::strerror(errno));
        return 1;
    }
    file.reset();
    const int result =
        writeFileData(paths::kKernelDeliver, message.get(), static_cast<unsigned long>(count), paths::kWriteFlags);
    if (result != 0) {
        TARN_LOG(kLogError, "sendSinglePolicyInternal: write to kernel deliver failed, err=%d", result);
    } else {
        TARN_LOG(kLogDetail, "sendSinglePolicyInternal: sent %s", path.c_str());
    }
    return static_cast<unsigned int>(result);
}

unsigned int PolicyModuleManagerInterface::sendSinglePolicy(const std::string& path) {
    return sendSinglePolicyInternal(path, false);
}

unsigned int PolicyModuleManagerInterface::sendSinglePolicyWithFullPath(const std::string& path) {
    return sendSinglePolicyInternal(path, true);
}

unsigned int PolicyModuleManagerInterface::sendPolicy() {
    if (!SafeDirectoryExists(paths::kPolicyDataTmp)) {
        TARN_LOG(kLogNotice, "##WARN: 不存在待发送策略");
        return 0;
    }
    const auto send = [this](const std::string& path, const char* complaint) {
        const unsigned int status = sendSinglePolicy(path);
        if (status != 0) {
            TARN_LOG(kLogError, complaint, "sendPolicy");
        }
        return status;
    };
    unsigned int status = send(paths::kBeginMessage, "##ERROR: in func %s, send beginmsg error.");
    if (status == 0) {
        status = send(paths::kNamespaceMessage, "##ERROR: in func %s, send namemsg error.");
    }
    if (status == 0) {
        status = forEachPolicyFile(
            [&send](const std::string& path) { return send(path, "##ERROR: in func %s, send Policy error."); });
    }
    if (status == 0) {
        status = send(paths::kEndMessage, "##ERROR: in func %s, send end policy error.");
    }
    if (status != 0) {
        return status;
    }
    if (fullCompiled) {
        static_cast<void>(clearDynamicVariableInfo());  // has logged its own line; the set is delivered all the same
    } else {
        status = static_cast<unsigned int>(sendDynamicInfo(""));
        if (status != 0) {
            TARN_LOG(kLogError, "##ERROR: in func %s, send dynamic policy error.", "sendPolicy");
            return status;
        }
    }
    return static_cast<unsigned int>(finalizeTmpFile());
}

int PolicyModuleManagerInterface::finalizeTmpFile() {
    // The names must be there, functions and users need not: they differ by design.
    int result =
        promote(paths::kSceneInfoTmp, paths::kSceneInfo, true, "##ERROR: in func %s, rename scene info error.");
    if (result == 0) {
        result = promote(paths::kFuncInfoTmp, paths::kFuncInfo, false, "##ERROR: in func %s, rename func info error.");
    }
    if (result == 0) {
        result = promote(paths::kUserInfoTmp, paths::kUserInfo, false, "##ERROR: in func %s, rename user info error.");
    }
    if (result != 0) {
        return result;
    }
    result = renameDir(paths::kPolicyDataTmp, paths::kPolicyData);
    if (result != 0) {
        TARN_LOG(kLogError, "##ERROR: in func %s, rename policy binary error.", "finalizeTmpFile");
    }
    return result;
}
