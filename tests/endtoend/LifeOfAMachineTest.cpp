// The life of a machine: what is in force in the kernel after each step is what the model says, from the first full
// compilation to the boot from a mounted tree.
#include <gtest/gtest.h>
#include <sys/mount.h>

#include <algorithm>

#include "SimulatedKernel.h"
#include "libtarnpolicysync/Paths.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"
#include "support/Bytes.h"
#include "support/LogLines.h"
#include "support/RandomPolicy.h"

namespace {

constexpr char kTree[] = "/var/log/tree";
constexpr char kTreeFolder[] = "/var/log/tree/etc/tarn";
constexpr char kLabels[] = "/etc/tarn/labels.json";
constexpr char kNamespace[] = "net";
constexpr char kGroup[] = "g";

bool isOfSection(const PolicyNode& rule) {
    return rule.strNamespace == kNamespace && rule.strGroup == kGroup;
}

std::size_t rulesOfSection(const model::Groups& groups) {
    std::ptrdiff_t count = 0;
    for (const auto& [key, group] : groups) {
        count += std::count_if(group.vecPolicy.begin(), group.vecPolicy.end(), isOfSection);
    }
    return static_cast<std::size_t>(count);
}

class LifeOfAMachine : public testing::Test {
protected:
    void SetUp() override {
        if (!simulated::isThere()) {
            GTEST_SKIP() << "needs a kernel entry that refuses: the simulator on FUSE";
        }
        testfiles::makeDirectories(kTree);
        if (mount("tree", kTree, "tmpfs", 0, nullptr) != 0) {
            GTEST_SKIP() << "nothing can be mounted here";
        }
        simulated::tell("reset\n");
        simulated::tell("para net/usb\n");
        model::Shape shape;
        shape.rulesPerKey = 80;
        policy_ = model::RandomPolicy(7).policy(shape);
        policy_.numbers.names.clear();  // a fresh machine pins no number
        writeDefinitions();
    }

    void writeDefinitions() const {
        testfiles::write(paths::kClassDefinitions, policy_.numbers.classDefinitions());
        testfiles::write(kLabels,
                         R"({"format": "tarn-labels", "version": 1, "labels": {"subject_file": {"/a": [[1, 2, 3]]}}})");
    }

    // What a host does before it compiles. One that only changes a section takes over the functions in use.
    void handOver(PolicyModuleManagerInterface& manager, const model::Groups& groups, bool knownFunctions) const {
        manager.prepareWork();
        if (knownFunctions) {
            manager.initNamespaceFuncInfo();
        }
        for (const auto& [nameSpace, entries] : policy_.namespaces) {
            manager.setNamespaceInfo(nameSpace);
            for (const std::string& entry : entries) {
                const std::size_t colon = entry.find(':');
                manager.setNamespaceFuncInfo(nameSpace, entry.substr(0, colon), entry.substr(colon + 1));
            }
        }
        manager.setFileToGetLabelMap("subject_file", "/a");
        manager.setUidInfo("user", 1000);
        for (const auto& [key, group] : groups) {
            PolicyDb copy = group;
            manager.addPolicy(key, copy);
        }
    }

    // Every rule of the section changed, one less in the first key that has one, and one in a key of its own.
    static model::Groups withChangedSection(model::Groups groups) {
        PolicyNode added;
        bool dropped = false;
        for (auto& [key, group] : groups) {
            for (PolicyNode& rule : group.vecPolicy) {
                if (isOfSection(rule)) {
                    rule.uiAttrA ^= 0x5A5AU;
                    added = rule;
                }
            }
            const auto first = std::find_if(group.vecPolicy.begin(), group.vecPolicy.end(), isOfSection);
            if (!dropped && first != group.vecPolicy.end()) {
                group.vecPolicy.erase(first);
                dropped = true;
            }
        }
        added.uiAttrB = 4711;
        added.vecSubjectId = {TARN_ID{{1, 2, 3}}};
        added.vecObjectId = {TARN_ID{{4, 5, 6}}};
        groups["zz"].vecPolicy.push_back(added);
        return groups;
    }

    // One rule outside of the section changed.
    static model::Groups withChangeElsewhere(model::Groups groups) {
        for (auto& [key, group] : groups) {
            for (PolicyNode& rule : group.vecPolicy) {
                if (!isOfSection(rule) && !rule.vecSubjectId.empty() && !rule.vecObjectId.empty()) {
                    rule.uiAttrA ^= 0xA5A5U;
                    return groups;
                }
            }
        }
        ADD_FAILURE() << "no rule to change";
        return groups;
    }

    void expectInForce(const model::Groups& groups, const char* step) const {
        EXPECT_TRUE(testbytes::sameList(model::allRecords(policy_.numbers, groups), simulated::recordsInForce()))
            << step << "\n"
            << testfiles::read(simulated::kTranscript);
        EXPECT_TRUE(testlog::lines(1).empty()) << step;
    }

    static std::string switched() { return testfiles::read(paths::kernelParameter("net", "usb")).substr(0, 1); }
    // Behind the library's back, as a boot of the kernel does.
    static void switchOff() { testfiles::write(paths::kernelParameter("net", "usb"), "0"); }

    model::Policy policy_;
};

TEST_F(LifeOfAMachine, WhatIsInForceIsWhatTheModelSaysAfterEachStep) {
    // A full compilation, delivered.
    const model::Groups first = policy_.groups;
    ASSERT_GE(rulesOfSection(first), 3U);
    {
        PolicyModuleManagerInterface host;
        handOver(host, first, false);
        ASSERT_EQ(host.compileData(), 0U);
        ASSERT_EQ(host.sendPolicy(), 0U) << testfiles::read(simulated::kTranscript);
        expectInForce(first, "full compilation");
        ASSERT_EQ(host.modifyDynamicVariable("net", "usb", 7, true), 0);
        EXPECT_EQ(switched(), "1");
    }

    // The host starts anew. A section has changed, and so has a rule elsewhere, which does not belong to it.
    const model::Groups second = withChangedSection(first);
    const model::Groups third = withChangeElsewhere(second);
    ASSERT_NE(model::allRecords(policy_.numbers, first), model::allRecords(policy_.numbers, second));
    ASSERT_NE(model::allRecords(policy_.numbers, second), model::allRecords(policy_.numbers, third));
    switchOff();
    {
        PolicyModuleManagerInterface host;
        handOver(host, third, true);
        ASSERT_EQ(host.compileSectionPolicy(kNamespace, kGroup), 0U);
        expectInForce(first, "a section compiled and not sent");
        ASSERT_EQ(host.sendPolicy(), 0U) << testfiles::read(simulated::kTranscript);
        expectInForce(second, "section");
        EXPECT_EQ(switched(), "1") << "the variables of the last start are switched again";
        EXPECT_EQ(testfiles::read(paths::kDynamicInfo), "net:usb:7\n");
        EXPECT_FALSE(testfiles::exists(paths::kPolicyDataTmp));
    }

    // The same section once more: its files have names of their own by now and are found all the same.
    {
        PolicyModuleManagerInterface host;
        handOver(host, first, true);
        ASSERT_EQ(host.compileSectionPolicy(kNamespace, kGroup), 0U);
        ASSERT_EQ(host.sendPolicy(), 0U) << testfiles::read(simulated::kTranscript);
        expectInForce(first, "section taken back");
    }

    // A full compilation again; it drops the variables, the kernel's switch stays.
    {
        PolicyModuleManagerInterface host;
        handOver(host, third, false);
        ASSERT_EQ(host.compileData(), 0U);
        ASSERT_EQ(host.sendPolicy(), 0U) << testfiles::read(simulated::kTranscript);
        expectInForce(third, "second full compilation");
        EXPECT_EQ(switched(), "1");
        EXPECT_FALSE(testfiles::exists(paths::kDynamicInfo));
    }

    // A tree is prepared: mounted in the place of /etc/tarn while its set is compiled. The kernel is told nothing.
    testfiles::makeDirectories(kTreeFolder);
    ASSERT_EQ(mount(kTreeFolder, "/etc/tarn", nullptr, MS_BIND, nullptr), 0);
    writeDefinitions();
    {
        PolicyModuleManagerInterface host;
        handOver(host, second, false);
        EXPECT_EQ(host.compileInitData(), 0U);
        EXPECT_EQ(host.modifyDynamicVariable("net", "usb", 1, true), 0);
    }
    ASSERT_EQ(umount2("/etc/tarn", 0), 0);
    expectInForce(third, "set compiled into the tree");
    EXPECT_TRUE(testfiles::exists(std::string(kTreeFolder) + "/policydata/endmsg"));

    // The machine boots: a fresh kernel, and the set comes from the mounted tree.
    simulated::tell("reset\n");
    switchOff();
    ASSERT_TRUE(simulated::messagesInForce().empty());
    const auto own = testbytes::readFiles(paths::kPolicyData);
    const auto tree = testbytes::readFiles(std::string(kTreeFolder) + "/policydata");
    {
        PolicyModuleManagerInterface host;
        ASSERT_EQ(host.sendInitPolicy(kTree), 0U) << testfiles::read(simulated::kTranscript);
        expectInForce(second, "boot");
        EXPECT_EQ(switched(), "1") << "the variables of the tree";
    }
    EXPECT_TRUE(testbytes::sameFiles(own, testbytes::readFiles(paths::kPolicyData)));
    EXPECT_TRUE(testbytes::sameFiles(tree, testbytes::readFiles(std::string(kTreeFolder) + "/policydata")));
    EXPECT_FALSE(testfiles::exists(paths::kDynamicInfo)) << "those of the tree are not saved here";

    // And the machine's own set again.
    {
        PolicyModuleManagerInterface host;
        ASSERT_EQ(host.sendInitPolicy(""), 0U);
        expectInForce(third, "own set");
    }
    EXPECT_EQ(umount2(kTree, 0), 0);
}

}  // namespace
