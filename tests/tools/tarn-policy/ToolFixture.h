// Drives the built tarn-policy in the sandbox of the test: a small policy with its class definitions and labels stands
// under /etc/tarn, and the kernel's entries are plain files or those of the simulator.
#ifndef TARN_TESTS_TOOL_FIXTURE_H
#define TARN_TESTS_TOOL_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/value.h>

#include <memory>
#include <string>
#include <vector>

#include "support/Process.h"

namespace tooltest {

inline constexpr char kPolicy[] = "/etc/tarn/test/policy.json";
inline constexpr char kClasses[] = "/etc/tarn/tarn-main/class-def.conf";
inline constexpr char kLabels[] = "/etc/tarn/labels.json";
inline constexpr char kConfiguration[] = "/etc/tarn/tarn-policy.conf";
inline constexpr char kSet[] = "/etc/tarn/.policydata";
inline constexpr char kFinalSet[] = "/etc/tarn/policydata";
inline constexpr char kNote[] = "/etc/tarn/.tarn-policy-full";
inline constexpr char kVariablesNote[] = "/etc/tarn/.tarn-policy-vars";
inline constexpr char kDynamicInfo[] = "/etc/tarn/dynamicinfo";
inline constexpr char kLock[] = "/run/lock/tarn-policy";
inline constexpr char kKernel[] = "/sys/kernel/security/tarn";
inline constexpr char kDeliver[] = "/sys/kernel/security/tarn/policy_deliver";
inline constexpr char kTranscript[] = "/var/log/tarn-kernel-sim.log";

// A policy of the test: three rules in two groups over two names, and a variable.
Json::Value smallPolicy();
// The same with `count` rules of one group, each with a condition that makes its record about 1 KiB.
Json::Value bulkyPolicy(unsigned int count);
Json::Value smallLabels();

class ToolTest : public testing::Test {
protected:
    using Outcome = testprocess::Outcome;

    void SetUp() override;
    void TearDown() override;

    static void writeJson(const std::string& path, const Json::Value& value);
    static void writePolicy(const Json::Value& policy) { writeJson(kPolicy, policy); }

    // Entries that take everything: plain files for delivery and for each variable ("net/usb_block").
    static void plainKernel(const std::vector<std::string>& variables = {});
    // The simulator with its verdicts; refusals as "3:22". Skips the test where FUSE can't be had.
    void simulatedKernel(const std::vector<std::string>& variables = {}, const std::vector<std::string>& refusals = {});

    static Outcome tool(const std::vector<std::string>& arguments, const std::vector<std::string>& environment = {});
    // Runs it with a label manager that misbehaves: see LabelManagerDouble.cpp.
    static Outcome toolWithLabelManager(const std::string& behaviour, const std::vector<std::string>& arguments);

    // Saves variables as the library does; needs kernel entries for them.
    static void saveVariables(const std::string& text);
    static std::string kernelValue(const std::string& variable);

private:
    std::unique_ptr<testprocess::Running> simulator_;
};

// The one object of --json. Fails the test where the text is anything else.
Json::Value parseJson(const std::string& text);

// Every path below a directory with its kind, mode, size and content, to see that nothing was changed.
std::vector<std::string> snapshot(const std::string& directory);

}  // namespace tooltest

#endif
