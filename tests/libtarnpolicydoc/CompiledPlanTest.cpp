// The plan against the library itself: what is handed over is compiled, and names and sizes of the files must be those
// that were planned.
#include <gtest/gtest.h>

#include <filesystem>

#include "PlanSupport.h"
#include "libtarnpolicydoc/Check.h"
#include "libtarnpolicydoc/Labels.h"
#include "support/ManagerAccess.h"

namespace {

using namespace policydoc;
using namespace plantest;

constexpr char kSet[] = "/etc/tarn/.policydata";

void registerAll(const PolicyDocument& document, ManagerAccess& manager) {
    for (const NamespaceEntry& entry : document.namespaces) {
        EXPECT_EQ(manager.setNamespaceInfo(entry.name), 0);
        for (const FunctionEntry& function : entry.functions) {
            EXPECT_EQ(manager.setNamespaceFuncInfo(entry.name, function.module, function.function), 0);
        }
    }
    for (const LabelledName& entry : document.labelledNames) {
        EXPECT_EQ(manager.setFileToGetLabelMap(entry.kind, entry.name), 0);
    }
    for (const DeclaredName& entry : document.devices) {
        EXPECT_EQ(manager.addToDeviceVec(entry.name), 0);
    }
    for (const DeclaredName& entry : document.modules) {
        EXPECT_EQ(manager.addToKmodVec(entry.name), 0);
    }
}

std::map<std::string, std::uint64_t> plannedSizes(const Plan& plan) {
    std::map<std::string, std::uint64_t> sizes = {
        {"beginmsg", 20}, {"endmsg", 20}, {"namemsg", plan.namespaceMessageBytes}};
    for (const PlannedFile& file : plan.files) {
        sizes[file.name] = file.bytes;
    }
    return sizes;
}

std::map<std::string, std::uint64_t> compiledSizes() {
    std::map<std::string, std::uint64_t> sizes;
    for (const auto& entry : std::filesystem::directory_iterator(kSet)) {
        sizes[entry.path().filename().string()] = entry.file_size();
    }
    return sizes;
}

void compileAndCompare(const PolicyDocument& document, const Labels& labels, unsigned int threads) {
    PlanOptions options;
    options.threads = threads;
    const Plan plan = planOf(document, options, labels);
    ManagerAccess manager;
    manager.threadnum = static_cast<std::uint16_t>(threads);
    ASSERT_EQ(manager.prepareWork(), 0);
    registerAll(document, manager);
    Diagnostics diagnostics;
    ASSERT_TRUE(handOver(document, plan, labels, diagnostics,
                         [&manager](const std::string& key, PolicyDb& db) { return manager.addPolicy(key, db) == 0; }));
    ASSERT_EQ(manager.compileData(), 0U);
    EXPECT_EQ(compiledSizes(), plannedSizes(plan));
}

// The section of one namespace and group, over three keys, in order of the keys and not of the document.
TEST(CompiledPlanTest, ASectionGivesThePlannedFiles) {
    testfiles::write("/etc/tarn/tarn-main/class-def.conf", R"({"file":{"value":1,"perms":{"read":1}}})");
    testfiles::write("/etc/tarn/labels.json", R"({"format":"tarn-labels","version":1})");
    const PolicyDocument document =
        documentOf({{"z", {rule("n", "g", 3, 2, 0), rule("n", "h", 1, 1, 0), rule("n", "g", 0, 3, 0)}},
                    {"a", {rule("o", "g", 5, 5, 0), rule("n", "g", 90, 120, 0, 7), rule("n", "g", 1, 1, 400)}},
                    {"m", {rule("n", "g", 2, 2, 50)}},
                    {"q", {rule("o", "g", 1, 1, 0)}}});
    for (const unsigned int threads : {1U, 3U, 8U}) {
        PlanOptions options;
        options.threads = threads;
        options.section = MessageGroup{"n", "g"};
        const Plan plan = planOf(document, options);
        ASSERT_EQ(plan.rules.size(), 5U);
        EXPECT_EQ(plan.others.size(), 3U);
        ManagerAccess manager;
        manager.threadnum = static_cast<std::uint16_t>(threads);
        ASSERT_EQ(manager.prepareWork(), 0);
        registerAll(document, manager);
        Diagnostics diagnostics;
        std::vector<std::string> keys;
        ASSERT_TRUE(
            handOverSection(document, plan, *options.section, diagnostics, [&](const std::string& key, PolicyDb& db) {
                keys.push_back(key);
                return manager.addPolicy(key, db) == 0;
            }));
        EXPECT_EQ(keys, (std::vector<std::string>{"a", "m", "z"}));
        ASSERT_EQ(manager.compileData(), 0U);
        ASSERT_EQ(manager.compileSectionPolicy("n", "g"), 0U);  // replaces all of it
        EXPECT_EQ(compiledSizes(), plannedSizes(plan)) << threads << " threads";
        EXPECT_EQ(plannedSizes(plan).count("z_n_g_0_n_g_0"), 1U);
    }
}

TEST(CompiledPlanTest, TheExampleGivesThePlannedFiles) {
    const std::string folder = TARN_EXAMPLES_DIR;
    testfiles::write("/etc/tarn/tarn-main/class-def.conf", testfiles::read(folder + "/class-def.conf"));
    testfiles::write("/etc/tarn/labels.json", testfiles::read(folder + "/labels.json"));
    Diagnostics diagnostics;
    const auto document = load(folder + "/policy.json", diagnostics);
    ASSERT_TRUE(document) << toText(diagnostics);
    const auto labels = askLabelManager(*document, diagnostics);
    ASSERT_TRUE(labels) << toText(diagnostics);
    for (const unsigned int threads : {1U, 3U, 8U}) {
        compileAndCompare(*document, *labels, threads);
    }
}

TEST(CompiledPlanTest, ASpreadPolicyCompilesIntoThePlannedFiles) {
    testfiles::write("/etc/tarn/tarn-main/class-def.conf", R"({"file":{"value":1,"perms":{"read":1}}})");
    testfiles::write("/etc/tarn/labels.json", R"({"format":"tarn-labels","version":1})");
    const PolicyDocument document =
        documentOf({{"base",
                     {rule("n", "g", 1, 1, 524176), rule("n", "g", 1, 1, 524176), rule("n", "g", 90, 120, 40),
                      rule("o", "g", 3, 3, 300000), rule("n", "h", 101, 100, 0), rule("n", "g", 2, 5300, 100),
                      rule("n", "g", 0, 3, 0)}},
                    {"base.1", {rule("n", "g", 1, 1, 0)}}});
    for (const unsigned int threads : {1U, 4U}) {
        compileAndCompare(document, {}, threads);
    }
}

}  // namespace
