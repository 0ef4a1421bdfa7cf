#include "FinishedSet.h"

#include <dirent.h>

#include <algorithm>

#include "AfterDelivery.h"
#include "Common/Common.h"
#include "Common/Handles.h"
#include "CompiledSet.h"
#include "CutOffRenames.h"
#include "Delivery.h"
#include "Failure.h"
#include "Files.h"
#include "Variables.h"
#include "Verification.h"
#include "libtarnpolicysync/Paths.h"

namespace {

void requireMountPoint(const std::string& mountPoint) {
    const std::string tried = "use the mount point \"" + mountPoint + "\"";
    const int status = validate_mount_point(mountPoint, "MOUNTPOINT");
    if (status == -1) {
        throw Failure(ExitCode::kUsage, tried, "it is no absolute path without \"//\", \"..\" and a \"/\" at its end",
                      "give the mount point as it stands in /proc/mounts");
    }
    if (status != 0) {
        throw Failure(
            ExitCode::kFailed, tried,
            status == -2 ? "nothing is mounted there" : "the mount table cannot be read, and it is no directory",
            "mount the tree first; without a mount point the set of this machine is delivered");
    }
}

std::string pathBelow(const std::string& mountPoint, const char* path) {
    std::string joined;
    if (!SafeMountPrefixConcat(mountPoint, path, joined)) {
        throw Failure(ExitCode::kUsage, "use the mount point \"" + mountPoint + "\"",
                      "its path holds \"./\" or a backslash, which the library refuses", "mount the tree elsewhere");
    }
    return joined;
}

// Policy messages, by name. The library sends what the directory itself reports as a regular file and looks no further:
// some file systems report no types.
std::vector<std::string> policiesThatAreSent(const std::string& directory) {
    const UniqueDir stream(opendir(directory.c_str()));
    std::vector<std::string> names;
    while (const dirent* entry = stream ? readdir(stream.get()) : nullptr) {
        if (entry->d_name[0] != '.' && entry->d_type == DT_REG && !paths::isFrameMessage(entry->d_name)) {
            names.emplace_back(entry->d_name);
        }
    }
    return names;
}

void requirePolicies(const std::string& directory) {
    const std::vector<std::string> messages = messagesInOrder(directory);
    const auto policies = static_cast<std::size_t>(
        std::count_if(messages.begin(), messages.end(), [](const auto& name) { return !paths::isFrameMessage(name); }));
    if (policies == 0) {
        throw Failure(ExitCode::kNothingToSend, "deliver " + directory,
                      "it holds no policy message, and the library sends no such set",
                      "compile and deliver a policy with tarn-policy apply");
    }
    const std::size_t sent = policiesThatAreSent(directory).size();
    if (sent != policies) {
        throw Failure(ExitCode::kFailed, "deliver " + directory,
                      "the file system does not tell which of its entries are regular files, so that the library would "
                      "send " +
                          std::to_string(sent) + " of " + std::to_string(policies) + " policy messages",
                      "move the tree to another file system");
    }
}

// Whatever keeps the renames from their end, the finished set can't be used.
bool finishThem(Report& report) {
    try {
        return finishCutOffRenames(report);
    } catch (const Failure& failure) {
        throw Failure(ExitCode::kUnsoundSet, failure.tried(), failure.reason(), failure.advice());
    }
}

// A set that was removed in part can be sound by itself and still lack rules. On this machine the set that was to take its
// place does so now: at the next boot there might be no other.
void requireWholeRenames(const std::string& mountPoint, const std::string& directory, Report& report) {
    if (!renamesWereCutOff(mountPoint)) {
        return;
    }
    const std::string what = "the renames at the end of an earlier run were cut off (" + mountPoint +
                             paths::kPolicyDataTmp + " stands without " + mountPoint + paths::kSceneInfoTmp +
                             "), and a part of this set may be gone";
    if (!mountPoint.empty()) {
        throw Failure(ExitCode::kUnsoundSet, "use the set " + directory, what,
                      "compile the policy into the tree again with tarn-policy compile --init");
    }
    requireKernelEntry();
    if (!finishThem(report)) {
        throw Failure(ExitCode::kUnsoundSet, "use the set " + directory, what + "; the one that waits is damaged",
                      "compile and deliver the whole policy with tarn-policy apply");
    }
}

void requireFinishedSet(const std::string& mountPoint, const std::string& directory, Report& report) {
    report.fact("set") = directory;
    requireWholeRenames(mountPoint, directory, report);
    if (!fileExists(directory)) {
        throw Failure(ExitCode::kNothingToSend, "deliver " + directory, "there is no finished set",
                      "compile one with tarn-policy compile --init, or use tarn-policy apply");
    }
    const CheckedSet checked{directory, "compile and deliver the whole policy with tarn-policy apply"};
    if (!isFolder(directory)) {
        throw Failure(ExitCode::kUnsoundSet, "use the set " + directory, "it is no folder; the library follows no link",
                      checked.advice);
    }
    requireSoundSet(report, checked);
    requireWholeSet(report, checked);
    requirePolicies(directory);
}

}  // namespace

void deliverFinishedSet(const std::string& mountPoint, Report& report) {
    if (!mountPoint.empty()) {
        requireMountPoint(mountPoint);
    }
    const std::string directory = pathBelow(mountPoint, paths::kPolicyData);
    requireFinishedSet(mountPoint, directory, report);
    requireKernelEntry();
    const std::string variables = pathBelow(mountPoint, paths::kDynamicInfo);
    PolicyModuleManagerInterface manager;
    // A tree below a mount point is another machine's, and so is its note.
    const std::vector<std::string> failedBefore =
        mountPoint.empty() ? settleEarlierDelivery(manager, report) : std::vector<std::string>();
    const SavedVariables saved = readSavedVariables(variables);
    warnOfUnreadable(saved, report, variables);
    holdSignalsToTheEnd();
    deliverFinished(manager, mountPoint, directory, report);
    report.line("delivered: the kernel holds the whole set " + directory);
    settleReplayedVariables(manager, {saved.variables, {}, false, failedBefore}, report);
}
