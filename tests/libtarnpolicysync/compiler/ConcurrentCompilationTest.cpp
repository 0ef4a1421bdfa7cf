// What the compiler threads share: the numbers, the log, the results. Worth most under the thread sanitizer.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "libtarnpolicysync/Paths.h"
#include "support/Bytes.h"
#include "support/CompilerManager.h"
#include "support/LogLines.h"
#include "support/RandomPolicy.h"

namespace {

TEST(ConcurrentCompilation, ThreadsNumberNewNamespacesAlike) {
    model::Numbers numbers = samples::numbers();
    PolicyDb group;
    for (int index = 0; index < 400; ++index) {
        PolicyNode rule = samples::rule();
        rule.strNamespace = "space" + std::to_string(index % 40);
        group.vecPolicy.push_back(rule);
    }
    CompilerManager manager(numbers, 8);
    manager.addPolicy("base", group);
    EXPECT_EQ(manager.compileKernelPolicyMsg(), 0);
    EXPECT_TRUE(testbytes::sameFiles(model::policyFiles(numbers, {{"base", group}}, 8),
                                     testbytes::readFiles(paths::kPolicyDataTmp)));
    for (int index = 0; index < 40; ++index) {
        const std::string name = "space" + std::to_string(index);
        EXPECT_EQ(manager.m_mapNameId.at(name), model::crc(name));
    }
}

TEST(ConcurrentCompilation, ThreadsLookFunctionsUpTogether) {
    model::Numbers numbers = samples::numbers();
    PolicyDb group;
    for (int index = 0; index < 200; ++index) {
        group.vecPolicy.push_back(samples::ruleWithEverything());
    }
    CompilerManager manager(numbers, 8);
    manager.addPolicy("base", group);
    EXPECT_EQ(manager.compileKernelPolicyMsg(), 0);
    EXPECT_TRUE(testbytes::sameFiles(model::policyFiles(numbers, {{"base", group}}, 8),
                                     testbytes::readFiles(paths::kPolicyDataTmp)));
}

TEST(ConcurrentCompilation, LogLinesOfFailingThreadsStayWhole) {
    PolicyDb group;
    for (int index = 0; index < 8; ++index) {
        PolicyNode rule = samples::rule();
        rule.sPerm = "nosuch" + std::to_string(index);
        group.vecPolicy.push_back(rule);
    }
    CompilerManager manager(samples::numbers(), 8);
    manager.addPolicy("base", group);
    EXPECT_EQ(manager.compileKernelPolicyMsg(), 1);
    std::vector<std::string> found;
    for (const testlog::Line& line : testlog::lines()) {
        EXPECT_EQ(line.level, 1);
        found.push_back(line.text);
    }
    std::vector<std::string> expected{"###ERROR: in compileKernelPolicyMsg, process base error"};
    for (int index = 0; index < 8; ++index) {
        const std::string perm = "nosuch" + std::to_string(index);
        expected.push_back("###ERROR: in func transPerm, wrong permission " + perm + ".");
        expected.push_back("####ERROR: in func makeSinglePolicy, transPerm error，permclass is file，perm is " + perm);
        expected.push_back("###ERROR: in compileKernelPolicyThread, makeSinglePolicy error");
    }
    ASSERT_FALSE(found.empty());
    EXPECT_EQ(found.back(), expected.front());
    std::sort(found.begin(), found.end());
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(found, expected);
}

TEST(ConcurrentCompilation, EachThreadReportsExactlyOnce) {
    CompilerManager manager(samples::numbers());
    std::vector<int> results;
    std::mutex mutex;
    std::vector<std::thread> threads;
    for (int index = 0; index < 16; ++index) {
        threads.emplace_back([&manager, &results, &mutex, index] {
            PolicyNode rule = samples::rule();
            if (index % 2 != 0) {
                rule.sPermClass = "nosuch";
            }
            manager.compileKernelPolicyThread("base_" + std::to_string(index), {rule}, paths::kPolicyDataTmp, results,
                                              mutex);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(results.size(), 16U);
    EXPECT_EQ(std::count(results.begin(), results.end(), 1), 8);
}

TEST(ConcurrentCompilation, TwoManagersCompileAtTheSameTime) {
    const model::Policy policy = model::RandomPolicy(5).policy();
    CompilerManager first(policy.numbers, 4);
    CompilerManager second(policy.numbers, 4);
    model::Groups all;
    for (const auto& [key, group] : policy.groups) {
        for (auto& [manager, name] : {std::pair<CompilerManager&, std::string>(first, "one" + key),
                                      std::pair<CompilerManager&, std::string>(second, "two" + key)}) {
            PolicyDb copy = group;
            manager.addPolicy(name, copy);
            all[name] = copy;
        }
    }
    std::thread other([&] { EXPECT_EQ(second.compileKernelPolicyMsg(), 0); });
    EXPECT_EQ(first.compileKernelPolicyMsg(), 0);
    other.join();
    EXPECT_TRUE(
        testbytes::sameFiles(model::policyFiles(policy.numbers, all, 4), testbytes::readFiles(paths::kPolicyDataTmp)));
}

}  // namespace
