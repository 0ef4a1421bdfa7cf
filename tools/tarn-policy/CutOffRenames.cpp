#include "CutOffRenames.h"

#include <algorithm>

#include "Common/Common.h"
#include "CompiledSet.h"
#include "Failure.h"
#include "Files.h"
#include "Verification.h"
#include "libtarnmessage/SetReader.h"
#include "libtarnpolicysync/Paths.h"

namespace {

bool holdsAll(const std::string& finished, const std::string& waiting) {
    const std::vector<std::string> messages = messagesInOrder(waiting);
    return isFolder(finished) && std::all_of(messages.begin(), messages.end(), [&](const std::string& name) {
               const std::string path = paths::inDirectory(finished, name);
               return fileExists(path) && readWholeFile(path) == readWholeFile(paths::inDirectory(waiting, name));
           });
}

void finishRenames(Report& report) {
    // Those that were renamed already are missing, and stay so.
    static_cast<void>(renameFile(paths::kFuncInfoTmp, paths::kFuncInfo));
    static_cast<void>(renameFile(paths::kUserInfoTmp, paths::kUserInfo));
    if (renameDir(paths::kPolicyDataTmp, paths::kPolicyData) != 0) {
        throw Failure(ExitCode::kFailed, std::string("rename ") + paths::kPolicyDataTmp + " to " + paths::kPolicyData,
                      "the library could not", "look into /var/log/tarn-policy.log");
    }
    FullCompilationNote::remove();
    report.warning(std::string("the renames at the end of an earlier run were cut off and have been finished: ") +
                   paths::kPolicyData + " is the set of that run");
}

}  // namespace

bool renamesWereCutOff(const std::string& mountPoint) {
    const std::string waiting = mountPoint + paths::kPolicyDataTmp;
    return isFolder(waiting) && fileExists(paths::inDirectory(waiting, paths::kEndName)) &&
           !fileExists(mountPoint + paths::kSceneInfoTmp) && !holdsAll(mountPoint + paths::kPolicyData, waiting);
}

void finishCutOffRenames(Report& report) {
    if (!renamesWereCutOff()) {
        return;
    }
    if (tarnmessage::readSet(paths::kPolicyDataTmp).sound() && missingMessages().empty()) {
        finishRenames(report);
        return;
    }
    removeFile(paths::inDirectory(paths::kPolicyData, paths::kEndName));
    report.warning(std::string("the renames at the end of an earlier run were cut off, and its set is damaged: ") +
                   paths::kPolicyData + " has no end message any longer, so that it cannot be sent");
}
