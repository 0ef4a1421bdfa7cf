// What a section does to others when nobody looks beforehand: the library goes by the tag in the name and by the place
// of a function in its list, whatever that hits. Hosts must look; these tests hold what happens when they don't.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "libtarnpolicysync/Paths.h"
#include "support/Bytes.h"
#include "support/CompilerManager.h"
#include "support/Files.h"
#include "support/KernelEntry.h"

namespace {

using testing::ElementsAre;

PolicyNode ruleOf(const std::string& nameSpace, const std::string& group, unsigned int mark) {
    PolicyNode rule = samples::rule();
    rule.strNamespace = nameSpace;
    rule.strGroup = group;
    rule.uiAttrA = mark;
    return rule;
}

class SectionStrangers : public testing::Test {
protected:
    SectionStrangers() {
        testfiles::write("/etc/tarn/labels.json",
                         R"({"format": "tarn-labels", "version": 1, "labels": {"subject_file": {"/a": [[1, 2, 3]]}}})");
        numbers_.names.clear();
        numbers_.functions[{"a", "mod", "f"}] = 1;
    }

    void handOver(PolicyModuleManagerInterface& manager) const {
        manager.setFileToGetLabelMap("subject_file", "/a");
        for (const auto& [key, group] : groups_) {
            PolicyDb copy = group;
            manager.addPolicy(key, copy);
        }
    }
    // The set as a full compilation leaves it, under its final name.
    void compileAll(const std::vector<std::string>& functions = {"f"}) const {
        CompilerManager manager(numbers_);
        for (const std::string& function : functions) {
            manager.setNamespaceFuncInfo("a", "mod", function);
        }
        handOver(manager);
        ASSERT_EQ(manager.compileInitData(), 0U);
    }
    // Another process compiles section a/b and delivers the set.
    void sendSection(const std::vector<std::string>& functions = {"f"}, bool knownFunctions = false) {
        CompilerManager manager(numbers_);
        std::filesystem::remove_all(paths::kPolicyDataTmp);  // CompilerManager makes one
        if (knownFunctions) {
            manager.initNamespaceFuncInfo();
        }
        for (const std::string& function : functions) {
            manager.setNamespaceFuncInfo("a", "mod", function);
        }
        handOver(manager);
        ASSERT_EQ(manager.compileSectionPolicy("a", "b"), 0U);
        ASSERT_EQ(manager.sendPolicy(), 0U);
    }
    std::vector<std::string> policies() const {
        std::vector<std::string> names = testfiles::list(paths::kPolicyData);
        names.erase(std::remove_if(names.begin(), names.end(), paths::isFrameMessage), names.end());
        return names;
    }
    // The records that the kernel got, sorted.
    std::vector<model::Bytes> delivered() const {
        std::vector<std::string> messages = kernel_.messages();
        std::map<std::string, std::string> files;
        for (std::size_t index = 2; index + 1 < messages.size(); ++index) {
            files[std::to_string(index)] = messages[index];
        }
        return model::recordsOf(files);
    }
    std::vector<model::Bytes> recordsOf(const std::vector<PolicyNode>& rules) const {
        model::Groups groups;
        groups["k"].vecPolicy = rules;
        return model::allRecords(numbers_, groups);
    }

    model::Numbers numbers_ = samples::numbers();
    model::Groups groups_;
    KernelEntry kernel_;
};

TEST_F(SectionStrangers, ASectionBesideALongerNameLeavesItAlone) {
    groups_["base"].vecPolicy = {ruleOf("a", "b", 1), ruleOf("a", "bc", 2)};
    compileAll();
    sendSection();
    EXPECT_THAT(policies(), ElementsAre("base_0_a_bc_0", "base_a_b_0_a_b_0"));
    EXPECT_TRUE(testbytes::sameList(recordsOf({ruleOf("a", "b", 1), ruleOf("a", "bc", 2)}), delivered()));
}

TEST_F(SectionStrangers, TheRulesOfANamespaceThatEndsAlikeAreLost) {
    groups_["base"].vecPolicy = {ruleOf("a", "b", 1), ruleOf("x_a", "b", 2)};
    compileAll();
    ASSERT_THAT(policies(), ElementsAre("base_0_a_b_0", "base_0_x_a_b_0"));
    sendSection();
    EXPECT_THAT(policies(), ElementsAre("base_a_b_0_a_b_0"));
    EXPECT_TRUE(testbytes::sameList(recordsOf({ruleOf("a", "b", 1)}), delivered()));
}

TEST_F(SectionStrangers, TheRulesOfAKeyThatHoldsTheTagAreLost) {
    groups_["base"].vecPolicy = {ruleOf("a", "b", 1)};
    groups_["k_a_b_z"].vecPolicy = {ruleOf("n", "g", 2)};
    compileAll();
    ASSERT_THAT(policies(), ElementsAre("base_0_a_b_0", "k_a_b_z_0_n_g_0"));
    sendSection();
    EXPECT_THAT(policies(), ElementsAre("base_a_b_0_a_b_0"));
    EXPECT_TRUE(testbytes::sameList(recordsOf({ruleOf("a", "b", 1)}), delivered()));
}

// The record of a/c carries number 1, which the new namespace message gives to another function.
TEST_F(SectionStrangers, AFunctionRegisteredInFrontIsCalledByTheRulesOfOthers) {
    PolicyNode calling = ruleOf("a", "c", 2);
    calling.strModuleName = "mod";
    calling.vecDoFunc = {samples::action("f")};
    groups_["base"].vecPolicy = {ruleOf("a", "b", 1), calling};
    compileAll();
    sendSection({"new", "f"});
    EXPECT_TRUE(testbytes::same(model::namespaceMessage(numbers_, {{"a", {"mod:new", "mod:f"}}}),
                                testfiles::read(std::string(paths::kPolicyData) + "/namemsg")));
    EXPECT_TRUE(testbytes::sameList(recordsOf({ruleOf("a", "b", 1), calling}), delivered()));
}

TEST_F(SectionStrangers, FunctionsThatAreLoadedFirstKeepTheirNumbers) {
    groups_["base"].vecPolicy = {ruleOf("a", "b", 1)};
    compileAll();
    sendSection({"new", "f"}, true);
    EXPECT_TRUE(testbytes::same(model::namespaceMessage(numbers_, {{"a", {"mod:f", "mod:new"}}}),
                                testfiles::read(std::string(paths::kPolicyData) + "/namemsg")));
}

// A rest that a failed compilation left: begin message, one file, no end. The library asks no question.
TEST_F(SectionStrangers, TheRestOfAFailedCompilationIsUsedAsItStands) {
    groups_["base"].vecPolicy = {ruleOf("a", "b", 1), ruleOf("a", "c", 2)};
    compileAll();
    testfiles::write(std::string(paths::kPolicyDataTmp) + "/beginmsg", model::beginMessage());
    CompilerManager manager(numbers_);
    manager.setNamespaceFuncInfo("a", "mod", "f");
    handOver(manager);
    ASSERT_EQ(manager.compileSectionPolicy("a", "b"), 0U);
    EXPECT_THAT(testfiles::list(paths::kPolicyDataTmp), ElementsAre("base_a_b_0_a_b_0", "beginmsg", "namemsg"));
    ASSERT_EQ(manager.sendPolicy(), 0U);
    EXPECT_THAT(policies(), ElementsAre("base_a_b_0_a_b_0")) << "the rules of a/c and the end message are gone";
}

// The copy of the finished set makes the folder before it finds that there is nothing to copy.
TEST_F(SectionStrangers, WithoutAFinishedSetAnEmptyFolderIsLeftAndUsedByTheNextCall) {
    groups_["base"].vecPolicy = {ruleOf("a", "b", 1)};
    CompilerManager manager(numbers_);
    handOver(manager);
    std::filesystem::remove_all(paths::kPolicyDataTmp);
    EXPECT_EQ(manager.compileSectionPolicy("a", "b"), 1U);
    ASSERT_TRUE(testfiles::exists(paths::kPolicyDataTmp));
    EXPECT_TRUE(testfiles::list(paths::kPolicyDataTmp).empty());
    EXPECT_EQ(manager.compileSectionPolicy("a", "b"), 0U);
    EXPECT_THAT(testfiles::list(paths::kPolicyDataTmp), ElementsAre("base_a_b_0_a_b_0", "namemsg"));
}

}  // namespace
