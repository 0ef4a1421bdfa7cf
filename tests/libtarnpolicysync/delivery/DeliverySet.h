// What the tests of the delivery share: a compiled set with its side files, the kernel's entries, and the state on
// disk.
#ifndef TARN_TESTS_DELIVERY_SET_H
#define TARN_TESTS_DELIVERY_SET_H

#include <dirent.h>
#include <gtest/gtest.h>

#include <array>
#include <cerrno>
#include <filesystem>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "Common/Common.h"
#include "libtarnpolicysync/Paths.h"
#include "support/Files.h"
#include "support/KernelEntry.h"
#include "support/LogLines.h"
#include "support/ManagerAccess.h"
#include "support/Model.h"

namespace delivery {

struct Answer {
    int number;
    const char* text;
};
// The kernel's answers and one errno that it has no words for.
inline constexpr std::array<Answer, 8> kAnswers{{
    {5, "failed to get policy data stream from kernel"},
    {12, "system out of memory"},
    {22, "policy format invalid, incomplete data or magic number verification failed"},
    {61, "additional function does not exist or not registered in framework"},
    {70, "tarn_main module not loaded"},
    {71, "policy delivery order error"},
    {74, "policy message type error"},
    {28, "No space left on device"},
}};

inline const std::string kEntry = "/sys/kernel/security/tarn/policy_deliver";

// The two lines of a refused message.
inline std::vector<testlog::Line> refusal(const Answer& answer) {
    return {{1, "####ERROR: Write " + kEntry + " errno: " + answer.text},
            {1, "sendSinglePolicyInternal: write to kernel deliver failed, err=" + std::to_string(answer.number)}};
}

// Everything below a directory: path to content, directories with "/".
inline std::map<std::string, std::string> tree(const std::string& root) {
    std::map<std::string, std::string> result;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(root)) {
        const std::string path = entry.path().string();
        result[path] = entry.is_directory() ? "/" : testfiles::read(path);
    }
    return result;
}

}  // namespace delivery

class DeliverySet : public testing::Test {
protected:
    static constexpr char kBegin[] = "begin message";
    static constexpr char kNames[] = "namespace message";
    static constexpr char kEnd[] = "end message";

    void writeSet(const std::vector<std::string>& policies = {"base_0_ns_g_0", "base_1_ns_g_0", "extra_0_ns_g_0"}) {
        testfiles::write(paths::kBeginMessage, kBegin);
        testfiles::write(paths::kNamespaceMessage, kNames);
        testfiles::write(paths::kEndMessage, kEnd);
        for (const std::string& name : policies) {
            writePolicy(name, "message of " + name);
        }
        testfiles::write(paths::kSceneInfoTmp, "99:ns\n");
        testfiles::write(paths::kFuncInfoTmp, "ns#m:f\n");
        testfiles::write(paths::kUserInfoTmp, "1000:user\n");
    }
    static void writePolicy(const std::string& name, const std::string& content) {
        testfiles::write(paths::inDirectory(paths::kPolicyDataTmp, name), content);
    }
    // The messages of the policy files in the order in which the file system lists them.
    static std::vector<std::string> policiesInDirectoryOrder(const std::string& path = paths::kPolicyDataTmp) {
        std::vector<std::string> result;
        DIR* directory = opendir(path.c_str());
        while (const dirent* entry = readdir(directory)) {
            const std::string name = entry->d_name;
            if (name[0] != '.' && name != "beginmsg" && name != "namemsg" && name != "endmsg") {
                result.push_back(testfiles::read(paths::inDirectory(path, name)));
            }
        }
        closedir(directory);
        return result;
    }
    static std::vector<std::string> wholeSequence() {
        std::vector<std::string> result = policiesInDirectoryOrder();
        result.insert(result.begin(), {kBegin, kNames});
        result.emplace_back(kEnd);
        return result;
    }
    // A switch of the kernel, and its value in the manager.
    void addVariable(const std::string& nameSpace, const std::string& name, unsigned int value) {
        testfiles::write(paths::kernelParameter(nameSpace, name), "");
        manager_.dynamicVarMap[{nameSpace, name}] = value;
    }

    ManagerAccess manager_;
    KernelEntry kernel_;
};

#endif
