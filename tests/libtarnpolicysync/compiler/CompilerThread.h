// What the tests of the compiler threads share: one thread's body, run in place, and rules by the thousand.
#ifndef TARN_TESTS_COMPILER_THREAD_H
#define TARN_TESTS_COMPILER_THREAD_H

#include <gtest/gtest.h>

#include <algorithm>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "Common/Common.h"
#include "libtarnpolicysync/Paths.h"
#include "support/Bytes.h"
#include "support/CompilerManager.h"
#include "support/LogLines.h"
#include "support/StdoutCapture.h"

// A dump begins each line with the address, which differs from buffer to buffer.
inline std::string withoutAddresses(const std::string& dump) {
    std::istringstream lines(dump);
    std::string result;
    for (std::string line; std::getline(lines, line);) {
        result += (line.rfind("0x", 0) == 0 ? line.substr(std::min(line.find(' '), line.size())) : line) + "\n";
    }
    return result;
}

// The dumps that a host sees with logflag are those of printBytes.
inline std::string dumpOf(const std::string& bytes) {
    StdoutCapture capture;
    printBytes(bytes.data(), bytes.size());
    return capture.finish();
}

class CompilerThread : public testing::Test {
protected:
    static constexpr std::size_t kCapacity = 0x100000;
    static constexpr std::size_t kFixed = 24;  // header and end number

    int compile(const std::vector<PolicyNode>& rules, const std::string& prefix = "base_0") {
        return manager_.compileKernelPolicyThread(prefix, rules, paths::kPolicyDataTmp, results_, mutex_);
    }
    model::Files files() const { return testbytes::readFiles(paths::kPolicyDataTmp); }
    std::vector<std::string> names() const {
        std::vector<std::string> result;
        for (const auto& [name, content] : files()) {
            result.push_back(name);
        }
        return result;
    }

    // One rule that makes `count` records of 100 bytes each.
    static PolicyNode ruleOf(std::size_t count) {
        PolicyNode rule = samples::rule();
        rule.vecObjectId.clear();
        for (std::size_t index = 0; index < count; ++index) {
            rule.vecObjectId.push_back(samples::id(index + 1, index));
        }
        return rule;
    }
    static PolicyNode in(PolicyNode rule, const std::string& nameSpace, const std::string& group) {
        rule.strNamespace = nameSpace;
        rule.strGroup = group;
        return rule;
    }
    // A rule that the encoder refuses.
    static PolicyNode badRule() {
        PolicyNode rule = samples::rule();
        rule.sPermClass = "nosuchclass";
        return rule;
    }
    static std::vector<testlog::Line> badRuleLines() {
        return {{1, "###ERROR: in func transPerm, wrong perm class nosuchclass."},
                {1, "####ERROR: in func makeSinglePolicy, transPerm error，permclass is nosuchclass，perm is read"},
                {1, "###ERROR: in compileKernelPolicyThread, makeSinglePolicy error"}};
    }

    model::Numbers numbers_ = samples::numbers();
    CompilerManager manager_{numbers_};
    std::vector<int> results_;
    std::mutex mutex_;
};

#endif
