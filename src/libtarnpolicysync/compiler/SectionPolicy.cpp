#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>

#include "Common/DirectoryStream.h"
#include "Common/Log.h"
#include "libtarnpolicysync/Paths.h"
#include "libtarnpolicysync/compiler/CompilerThreads.h"
#include "libtarnpolicysync/compiler/PolicySnapshot.h"
#include "libtarnpolicysync/compiler/SliceRange.h"
#include "libtarnpolicysync/core/PipelineSteps.h"

using pipeline::report;

namespace {

bool isRegularFile(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// Whether a directory entry can be a policy file of the set. The type that the directory reports is only a first
// sieve: the removal looks at the file itself.
bool isPolicyEntry(const dirent& entry) {
    return entry.d_name[0] != '.' && !paths::isFrameMessage(entry.d_name) && entry.d_type == DT_REG;
}

// Removes the files of the set that carry the tag. Links are neither followed nor removed.
int removeTagged(UniqueDir directory, const std::string& tag) {
    while (const dirent* entry = readdir(directory.get())) {
        const std::string name = entry->d_name;
        if (!isPolicyEntry(*entry) || name.find(tag) == std::string::npos) {
            continue;
        }
        const std::string path = paths::inDirectory(paths::kPolicyDataTmp, name);
        if (isRegularFile(path) && unlink(path.c_str()) != 0) {
            TARN_LOG(kLogError, "##ERROR: in func %s unlink %s failed\n", "mergeSectionPolicy", path.c_str());
            static_cast<void>(
                directory.release());  // one would expect it closed; on this path it has always stayed open
            return 1;
        }
    }
    return 0;
}

// Moves the section's new files into the set. Here the type that the directory reports is trusted.
int moveIntoSet(UniqueDir directory) {
    while (const dirent* entry = readdir(directory.get())) {
        if (entry->d_type != DT_REG) {
            continue;
        }
        const std::string source = paths::inDirectory(paths::kSectionData, entry->d_name);
        const std::string target = paths::inDirectory(paths::kPolicyDataTmp, entry->d_name);
        if (!IsSafeAbsolutePath(source) || !IsSafeAbsolutePath(target)) {
            TARN_LOG(kLogError, "Skip illegal rename src=%s dest=%s", source.c_str(), target.c_str());
            continue;
        }
        if (std::rename(source.c_str(), target.c_str()) != 0) {
            TARN_LOG(kLogError, "##ERROR: in func %s rename %s to %s failed\n", "mergeSectionPolicy", source.c_str(),
                     target.c_str());
            static_cast<void>(directory.release());  // stays open here, too
            return 1;
        }
    }
    return 0;
}

}  // namespace

int PolicyModuleManagerInterface::compileSectionPolicyMsg(std::string first, std::string second) {
    const std::uint16_t count = threadnum;
    SlicedRules section;
    {
        const std::lock_guard<std::mutex> lock(m_mutexPolicy);
        section = takeSectionSnapshot(m_mapPolicy, first, second, count);
    }
    if (!canBeCutInto(count)) {
        return 1;
    }
    const std::string stem = paths::keyStem(paths::sectionKey(section.key, first, second));
    Private::CompilerThreads threads(*this, count, paths::kSectionData);
    const std::vector<int> statuses = threads.compile(section.slices, stem);
    int result = 0;
    for (std::size_t index = 0; index < statuses.size(); ++index) {
        if (statuses[index] != 0) {
            TARN_LOG(kLogError, "###ERROR: in compileSectionPolicyMsg, process %s error",
                     paths::slicePrefix(stem, index).c_str());
            result = 1;
        }
    }
    return result;
}

int PolicyModuleManagerInterface::mergeSectionPolicy(std::string first, std::string second) {
    UniqueDir set = openDirectoryStream(paths::kPolicyDataTmp);
    if (!set) {
        TARN_LOG(kLogError, "##ERROR: in func %s open %s failed\n", "mergeSectionPolicy", paths::kPolicyDataTmp);
        return 1;
    }
    if (removeTagged(std::move(set), paths::sectionTag(first, second)) != 0) {
        return 1;
    }
    UniqueDir section = openDirectoryStream(paths::kSectionData);
    if (!section) {
        // Has one conversion fewer than arguments: the line names the function where one would expect the folder.
        TARN_LOG(kLogNotice, "##Notice: in func open %s dir failed\n", "mergeSectionPolicy", paths::kSectionData);
        return 1;
    }
    return moveIntoSet(std::move(section));
}

unsigned int PolicyModuleManagerInterface::compileSectionPolicy(std::string first, std::string second) {
    constexpr char kStage[] = "compileSectionPolicy";
    if (const int status = pipeline::renewDirectory(paths::kSectionData)) {
        return static_cast<unsigned int>(status);
    }
    if (!SafeDirectoryExists(paths::kPolicyDataTmp)) {
        if (const int status = copyDirectory(paths::kPolicyData, paths::kPolicyDataTmp)) {
            TARN_LOG(kLogError, "##ERROR: in func %s, copy directory error.", "compileSectionPolicy");
            return static_cast<unsigned int>(status);
        }
    }
    printTime(kStage, "");
    if (const unsigned int status =
            report(parsePolicyData(), "##ERROR: 策略数据获取失败，res为%d", "##INFO: 策略数据获取成功")) {
        return status;
    }
    printTime(kStage, "parsePolicyData");
    if (const int status = compileKernelNamespaceMsg()) {
        TARN_LOG(kLogError, "##ERROR: 策略命名空间编译失败，res为%d", status);  // its success is not logged here
        return static_cast<unsigned int>(status);
    }
    printTime(kStage, "compileKernelNamespaceMsg");
    if (const unsigned int status = report(compileSectionPolicyMsg(first, second), "##ERROR: 主策略编译失败，res为%d",
                                           "##INFO: 主策略编译成功")) {
        return status;
    }
    printTime(kStage, "compileSectionPolicyMsg");
    if (const unsigned int status = report(mergeSectionPolicy(first, second), "##ERROR: section策略拼接失败，res为%d",
                                           "##INFO: section策略拼接成功")) {
        return status;
    }
    printTime(kStage, "mergeSectionPolicy");
    if (const unsigned int status =
            report(processUserInfo(), "##ERROR: 用户信息存储失败，res为%d", "##INFO: 用户信息存储成功")) {
        return status;
    }
    fullCompiled = false;
    return 0;
}
