#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "Common/DirectoryStream.h"
#include "Common/Log.h"
#include "libtarnpolicysync/Paths.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

namespace {

enum class Presence { kDirectory, kAbsent, kUnusable };

Presence lookAt(const std::string& directory) {
    struct stat status {};
    if (stat(directory.c_str(), &status) != 0) {
        if (errno == ENOENT) {
            return Presence::kAbsent;
        }
        TARN_LOG(kLogError, "sendInitPolicy: stat %s failed: %s", directory.c_str(), std::strerror(errno));
        return Presence::kUnusable;
    }
    if (!S_ISDIR(status.st_mode)) {
        TARN_LOG(kLogError, "sendInitPolicy: %s is not a directory", directory.c_str());
        return Presence::kUnusable;
    }
    return Presence::kDirectory;
}

// Names that begin with a dot count here, although they are never sent.
bool holdsPolicyFile(DIR* directory) {
    while (const dirent* entry = readdir(directory)) {
        if (entry->d_type == DT_REG && !paths::isFrameMessage(entry->d_name)) {
            return true;
        }
    }
    return false;
}

bool isSent(const dirent& entry) {
    return entry.d_name[0] != '.' && !paths::isFrameMessage(entry.d_name) && entry.d_type == DT_REG;
}

// Calls `send` for each policy file in the order in which the file system gives them; its type is trusted. Stops at the
// first status that is not 0.
template <typename Send>
unsigned int sendPolicyFiles(const std::string& path, Send send) {
    const UniqueDir directory = openDirectoryStream(path.c_str());
    if (!directory) {
        TARN_LOG(kLogError, "##ERROR: in func %s, open %s failed", "sendInitPolicy", path.c_str());
        return 1;
    }
    while (const dirent* entry = readdir(directory.get())) {
        if (!isSent(*entry)) {
            continue;
        }
        const std::string file = paths::inDirectory(path, entry->d_name);
        if (const unsigned int status = send(file)) {
            TARN_LOG(kLogError, "##ERROR: in func %s, send Policy error for %s.", "sendInitPolicy", file.c_str());
            return status;
        }
    }
    return 0;
}

}  // namespace

unsigned int PolicyModuleManagerInterface::sendInitPolicy(std::string mountPoint) {
    if (!mountPoint.empty() && validate_mount_point(mountPoint, "sPrefix") != 0) {
        TARN_LOG(kLogError, "sendInitPolicy: invalid mount point");
        return 1;
    }
    std::string directory;
    if (!SafeMountPrefixConcat(mountPoint, paths::kPolicyData, directory)) {
        TARN_LOG(kLogError, "sendInitPolicy invalid mount prefix: %s", mountPoint.c_str());
        return 1;
    }
    const Presence presence = lookAt(directory);
    if (presence != Presence::kDirectory) {
        return presence == Presence::kAbsent ? 0 : 1;
    }
    UniqueDir firstPass = openDirectoryStream(directory.c_str());
    if (!firstPass) {
        TARN_LOG(kLogError, "sendInitPolicy: opendir %s failed", directory.c_str());
        return 1;
    }
    if (!holdsPolicyFile(firstPass.get())) {
        TARN_LOG(kLogDetail, "sendInitPolicy: no policy files in %s", directory.c_str());
        return 0;
    }
    firstPass.reset();

    const auto sendFrame = [this, &directory](const char* name, const char* complaint) {
        const unsigned int status = sendSinglePolicyWithFullPath(paths::inDirectory(directory, name));
        if (status != 0) {
            TARN_LOG(kLogError, complaint, "sendInitPolicy");
        }
        return status;
    };
    unsigned int status = sendFrame(paths::kBeginName, "##ERROR: in func %s, send beginmsg error.");
    if (status == 0) {
        status = sendFrame(paths::kNamespaceName, "##ERROR: in func %s, send namemsg error.");
    }
    if (status == 0) {
        status =
            sendPolicyFiles(directory, [this](const std::string& file) { return sendSinglePolicyWithFullPath(file); });
    }
    if (status == 0) {
        status = sendFrame(paths::kEndName, "##ERROR: in func %s, send end policy error.");
    }
    if (status != 0) {
        return status;
    }
    status = static_cast<unsigned int>(sendDynamicInfo(mountPoint));
    if (status != 0) {
        TARN_LOG(kLogError, "##ERROR: in func %s, send dynamic policy error.", "sendInitPolicy");
    }
    return status;
}
