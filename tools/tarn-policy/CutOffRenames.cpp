#include "CutOffRenames.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "Common/Common.h"
#include "CompiledSet.h"
#include "Failure.h"
#include "Files.h"
#include "libtarnmessage/SetReader.h"
#include "libtarnpolicysync/Paths.h"

namespace {

Failure renameFailure(const char* from, const char* to) {
    return Failure(ExitCode::kFailed, std::string("rename ") + from + " to " + to,
                   std::string("the library could not\n  now: ") + paths::kPolicyData +
                       " may be gone in part; the set that takes its place stands whole under " + paths::kPolicyDataTmp,
                   "look into /var/log/tarn-policy.log for the reason, mend it, then run this again");
}

// One that was renamed already is missing, and stays so.
void renameSideFile(const char* from, const char* to) {
    if (renameFile(from, to) != 0 && fileExists(from)) {
        throw renameFailure(from, to);
    }
}

// The set goes last: as long as it waits, the next run finds renames to finish.
void finishRenames() {
    renameSideFile(paths::kFuncInfoTmp, paths::kFuncInfo);
    renameSideFile(paths::kUserInfoTmp, paths::kUserInfo);
    if (renameDir(paths::kPolicyDataTmp, paths::kPolicyData) != 0) {
        throw renameFailure(paths::kPolicyDataTmp, paths::kPolicyData);
    }
    FullCompilationNote::remove();
}

// A set of the library has its frame messages, also where its rules need no namespace message.
bool waitingSetIsWhole() {
    const auto frame = {paths::kBeginName, paths::kNamespaceName, paths::kEndName};
    const bool framed = std::all_of(frame.begin(), frame.end(), [](const char* name) {
        return fileExists(paths::inDirectory(paths::kPolicyDataTmp, name));
    });
    if (!framed || !tarnmessage::readSet(paths::kPolicyDataTmp).sound()) {
        return false;
    }
    const std::vector<std::string> listed =
        FullCompilationNote::tellsOfLosses() ? FullCompilationNote::messages() : std::vector<std::string>();
    return missingMessages(paths::kPolicyDataTmp, listed).empty();
}

// What is no folder, or has no file of that name, is no set that anybody would send.
void spoilFinishedSet() {
    const int error = takeEndMessageAway(paths::kPolicyData);
    if (error != 0 && error != ENOTDIR && error != ELOOP && error != EISDIR) {
        throw Failure(ExitCode::kFailed, "remove " + paths::inDirectory(paths::kPolicyData, paths::kEndName),
                      std::strerror(error), adviceForFile(error));
    }
}

}  // namespace

bool renamesWereCutOff(const std::string& mountPoint) {
    const std::string waiting = mountPoint + paths::kPolicyDataTmp;
    const std::optional<FileTimes> end = fileTimes(paths::inDirectory(waiting, paths::kEndName));
    if (!isFolder(waiting) || !end || fileExists(mountPoint + paths::kSceneInfoTmp)) {
        return false;
    }
    const std::optional<FileTimes> renamed = fileTimes(mountPoint + paths::kSceneInfo);
    return !renamed || renamed->status >= end->status;
}

bool finishCutOffRenames(Report& report) {
    if (!waitingSetIsWhole()) {
        return false;
    }
    finishRenames();
    report.warning(std::string("the renames at the end of an earlier run were cut off and have been finished: ") +
                   paths::kPolicyData + " is the set of that run");
    return true;
}

void settleCutOffRenames(Report& report) {
    if (!renamesWereCutOff() || finishCutOffRenames(report)) {
        return;
    }
    spoilFinishedSet();
    report.warning(std::string("the renames at the end of an earlier run were cut off, and its set is damaged: ") +
                   paths::kPolicyData + " has no end message any longer, so that it cannot be sent");
}
