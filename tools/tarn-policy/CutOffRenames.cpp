#include "CutOffRenames.h"

#include <algorithm>

#include "Common/Common.h"
#include "CompiledSet.h"
#include "Failure.h"
#include "Files.h"
#include "libtarnmessage/SetReader.h"
#include "libtarnpolicysync/Paths.h"

namespace {

// What can't be read is no copy. This is asked for while other failures are reported, too.
bool holdsAll(const std::string& finished, const std::string& waiting) {
    try {
        const std::vector<std::string> messages = messagesInOrder(waiting);
        return std::all_of(messages.begin(), messages.end(), [&](const std::string& name) {
            return readWholeFile(paths::inDirectory(finished, name)) ==
                   readWholeFile(paths::inDirectory(waiting, name));
        });
    } catch (const Failure&) {
        return false;
    }
}

Failure renameFailure(const char* from, const char* to) {
    return Failure(ExitCode::kFailed, std::string("rename ") + from + " to " + to, "the library could not",
                   "look into /var/log/tarn-policy.log for the reason, mend it, then run this again");
}

// One that was renamed already is missing, and stays so.
void renameSideFile(const char* from, const char* to) {
    if (renameFile(from, to) != 0 && fileExists(from)) {
        throw renameFailure(from, to);
    }
}

// The set goes last: as long as it waits, the next run finds renames to finish.
void finishRenames(Report& report) {
    renameSideFile(paths::kFuncInfoTmp, paths::kFuncInfo);
    renameSideFile(paths::kUserInfoTmp, paths::kUserInfo);
    if (renameDir(paths::kPolicyDataTmp, paths::kPolicyData) != 0) {
        throw renameFailure(paths::kPolicyDataTmp, paths::kPolicyData);
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
