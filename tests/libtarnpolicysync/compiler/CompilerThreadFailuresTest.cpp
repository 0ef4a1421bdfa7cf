// What one compiler thread does when a rule, the space or a file fails.
#include <unistd.h>

#include <cerrno>

#include "Common/Common.h"
#include "CompilerThread.h"
#include "support/Files.h"
#include "support/Interpose.h"
#include "support/StdoutCapture.h"

namespace {

using testbytes::same;
using testbytes::sameFiles;
using testlog::Line;

class CompilerThreadFailures : public CompilerThread {
protected:
    // Lets the write of the file with this name fail.
    auto failWriteOf(const std::string& name, int error) {
        return interpose::write.replace([name, error](int fd, const void* data, std::size_t count) -> ssize_t {
            const std::string link = "/proc/self/fd/" + std::to_string(fd);
            char target[256] = {};
            if (readlink(link.c_str(), target, sizeof target - 1) > 0 &&
                std::string(target).find(name) != std::string::npos) {
                errno = error;
                return -1;
            }
            return interpose::write.real(fd, data, count);
        });
    }
    static Line writeLine() { return {1, "###ERROR: in compileKernelPolicyThread, writeFileData error"}; }
};

TEST_F(CompilerThreadFailures, ABadRuleEndsTheThreadWithItsStatus) {
    EXPECT_EQ(compile({badRule(), badRule()}), 1);
    EXPECT_EQ(results_, std::vector<int>{1});
    EXPECT_EQ(testlog::lines(), badRuleLines()) << "the second rule is never reached";
}

TEST_F(CompilerThreadFailures, ABadRuleDropsTheUnfinishedMessagesOfAllGroups) {
    EXPECT_EQ(compile({samples::rule(), in(samples::rule(), "ns", "h"), badRule()}), 1);
    EXPECT_TRUE(files().empty());
}

TEST_F(CompilerThreadFailures, FilesWrittenBeforeABadRuleStay) {
    const PolicyNode full = ruleOf(10000);
    EXPECT_EQ(compile({full, in(samples::rule(), "ns", "h"), badRule()}), 1);
    EXPECT_TRUE(sameFiles(model::sliceFiles(numbers_, "base_0", {full}), files()));
}

TEST_F(CompilerThreadFailures, ARecordThatDoesNotFitEndsTheThreadInsteadOfOpeningAMessage) {
    const PolicyNode large = samples::ruleOfSize(600000);
    EXPECT_EQ(compile({large, large}), 1);
    EXPECT_TRUE(files().empty());
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "Failed to copy funcparam.strData, buffer full"},
                                 {1, "####ERROR: in func makeSinglePolicy, makeSingleDoFuncPolicy error"},
                                 {1, "###ERROR: in compileKernelPolicyThread, makeSinglePolicy error"}}));
}

TEST_F(CompilerThreadFailures, ALaterPairOfARuleThatDoesNotFitFailsAlike) {
    PolicyNode large = samples::ruleOfSize(300000);
    large.vecObjectId = {samples::id(1), samples::id(2), samples::id(3), samples::id(4)};
    EXPECT_EQ(compile({large}), 1);
    EXPECT_TRUE(files().empty());
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "Failed to copy funcparam.strData, buffer full"},
                                 {1, "####ERROR: in func makeSinglePolicy, makeSingleDoFuncPolicy error"},
                                 {1, "###ERROR: in compileKernelPolicyThread, makeSinglePolicy error"}}));
}

TEST_F(CompilerThreadFailures, ALaterPairMayFillTheMegabyteToTheLastByte) {
    PolicyNode rule = samples::ruleOfSize((kCapacity - kFixed) / 4);
    rule.vecObjectId = {samples::id(1), samples::id(2), samples::id(3), samples::id(4)};
    EXPECT_EQ(compile({rule}), 0);
    EXPECT_EQ(files().at("base_0_ns_g_0").size(), kCapacity);
    EXPECT_TRUE(sameFiles(model::sliceFiles(numbers_, "base_0", {rule}), files()));
}

TEST_F(CompilerThreadFailures, AMessageMayFillTheMegabyteToTheLastByte) {
    const PolicyNode rule = samples::ruleOfSize(kCapacity - kFixed);
    EXPECT_EQ(compile({rule}), 0);
    EXPECT_EQ(files().at("base_0_ns_g_0").size(), kCapacity);
    EXPECT_TRUE(sameFiles(model::sliceFiles(numbers_, "base_0", {rule}), files()));
}

TEST_F(CompilerThreadFailures, TheLastFlushNeedsFourBytesForTheEndNumber) {
    for (const std::size_t remaining : {3U, 2U, 1U, 0U}) {
        testlog::clear();
        EXPECT_EQ(compile({samples::ruleOfSize(kCapacity - 20 - remaining)}), 1);
        EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "Not enough space for end_number, need 4, remaining " +
                                                               std::to_string(remaining)}}));
        EXPECT_TRUE(files().empty());
    }
    EXPECT_EQ(results_, (std::vector<int>{1, 1, 1, 1}));
}

TEST_F(CompilerThreadFailures, ALastFlushWithoutSpaceStopsBeforeTheLaterGroups) {
    EXPECT_EQ(compile({in(samples::rule(), "ns", "z"), in(samples::ruleOfSize(kCapacity - 20), "ns", "m"),
                       in(samples::rule(), "ns", "a")}),
              1);
    EXPECT_EQ(names(), std::vector<std::string>{"base_0_ns_a_0"});
}

TEST_F(CompilerThreadFailures, AFullMessageNeedsFourBytesForTheEndNumber) {
    const std::size_t space = kCapacity - 20 - std::size_t{9999} * 100;
    for (const std::size_t remaining : {3U, 0U}) {
        testlog::clear();
        EXPECT_EQ(compile({ruleOf(9999), samples::ruleOfSize(space - remaining)}), 1);
        EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "Failed to copy end_number, buffer full"}}));
        EXPECT_TRUE(files().empty());
    }
    const std::vector<PolicyNode> fitting{ruleOf(9999), samples::ruleOfSize(space - 4)};
    EXPECT_EQ(compile(fitting), 0);
    EXPECT_EQ(files().at("base_0_ns_g_0").size(), kCapacity);
    EXPECT_TRUE(sameFiles(model::sliceFiles(numbers_, "base_0", fitting), files()));
}

TEST_F(CompilerThreadFailures, TheLastFlushSkipsAnIllegalPathWithoutError) {
    for (const std::string nameSpace : {"x./y", "../x", "x\\y"}) {
        testlog::clear();
        const std::vector<PolicyNode> rules{in(samples::rule(), nameSpace, "g"), in(samples::rule(), "ns", "h")};
        EXPECT_EQ(compile(rules), 0);
        std::string shown = nameSpace;
        if (const std::size_t backslash = shown.find('\\'); backslash != std::string::npos) {
            shown.insert(backslash, "\\");
        }
        EXPECT_EQ(
            testlog::lines(),
            (std::vector<Line>{{1, "Skip illegal local file path: /etc/tarn/.policydata/base_0_" + shown + "_g_0"}}));
        EXPECT_TRUE(sameFiles(model::sliceFiles(numbers_, "base_0", {rules[1]}), files()))
            << "the groups after it are written";
    }
    EXPECT_EQ(results_, (std::vector<int>{0, 0, 0}));
}

TEST_F(CompilerThreadFailures, TheLastFlushSkipsALinkThatLeavesTheAllowedTrees) {
    testfiles::link("/dev/null", "/etc/tarn/.policydata/base_0_ns_g_0");
    EXPECT_EQ(compile({samples::rule()}), 0);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "Skip illegal local file path: /etc/tarn/.policydata/base_0_ns_g_0"}}));
}

TEST_F(CompilerThreadFailures, AFullMessageAtAnIllegalPathIsAnError) {
    EXPECT_EQ(compile({in(ruleOf(10000), "x./y", "g")}), -1);
    EXPECT_EQ(results_, std::vector<int>{-1});
    EXPECT_EQ(
        testlog::lines(),
        (std::vector<Line>{{1, "####ERROR: Illegal path traversal detected: /etc/tarn/.policydata/base_0_x./y_g_0"},
                           writeLine()}));
}

TEST_F(CompilerThreadFailures, ASkippedMessageIsDumpedAllTheSame) {
    manager_.logflag = true;
    StdoutCapture capture;
    EXPECT_EQ(compile({in(samples::rule(), "x./y", "g")}), 0);
    EXPECT_NE(capture.finish(), "");
}

TEST_F(CompilerThreadFailures, AMessageIsDumpedBeforeItsWriteFails) {
    manager_.logflag = true;
    for (const PolicyNode& rule : {ruleOf(10000), samples::rule()}) {
        const auto guard = failWriteOf("base_0_ns_g_0", EIO);
        StdoutCapture capture;
        EXPECT_EQ(compile({rule}), EIO);
        const std::string dumped = capture.finish();
        const std::string message = model::policyMessage(model::records(numbers_, rule));
        EXPECT_TRUE(same(withoutAddresses(dumpOf(message)), withoutAddresses(dumped)));
    }
}

TEST_F(CompilerThreadFailures, AMessageWithoutSpaceForTheEndNumberIsNotDumped) {
    manager_.logflag = true;
    StdoutCapture capture;
    EXPECT_EQ(compile({samples::ruleOfSize(kCapacity - 20 - 3)}), 1);
    EXPECT_EQ(compile({ruleOf(9999), samples::ruleOfSize(kCapacity - 20 - std::size_t{9999} * 100 - 3)}), 1);
    EXPECT_EQ(capture.finish(), "");
}

TEST_F(CompilerThreadFailures, AMissingDirectoryIsMinusOne) {
    EXPECT_EQ(manager_.compileKernelPolicyThread("base_0", {samples::rule()}, "/etc/tarn/missing", results_, mutex_),
              -1);
    EXPECT_EQ(results_, std::vector<int>{-1});
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "####ERROR: Open /etc/tarn/missing/base_0_ns_g_0 failed"}, writeLine()}));
}

TEST_F(CompilerThreadFailures, AFailedLastWriteEndsTheThreadWithItsErrno) {
    for (const int error : {EIO, ENOMEM, EINVAL, ENODATA, ECOMM, EPROTO, EBADMSG, ENOSPC}) {
        results_.clear();
        const auto guard = failWriteOf("base_0_ns_m_0", error);
        EXPECT_EQ(
            compile({in(samples::rule(), "ns", "z"), in(samples::rule(), "ns", "m"), in(samples::rule(), "ns", "a")}),
            error);
        EXPECT_EQ(results_, std::vector<int>{error});
        EXPECT_EQ(testlog::lines().back(), writeLine());
        EXPECT_TRUE(testfiles::exists("/etc/tarn/.policydata/base_0_ns_a_0"));
        EXPECT_FALSE(testfiles::exists("/etc/tarn/.policydata/base_0_ns_z_0"));
    }
}

TEST_F(CompilerThreadFailures, AFailedWriteOfAFullMessageEndsTheThreadWithItsErrno) {
    for (const int error : {EIO, ENOMEM, EINVAL, ENODATA, ECOMM, EPROTO, EBADMSG, ENOSPC}) {
        results_.clear();
        testlog::clear();
        const auto guard = failWriteOf("base_0_ns_g_1", error);
        EXPECT_EQ(compile({in(samples::rule(), "ns", "a"), ruleOf(20000)}), error);
        EXPECT_EQ(results_, std::vector<int>{error});
        EXPECT_EQ(testlog::lines().size(), 2U);
        EXPECT_EQ(testlog::lines().back(), writeLine());
        EXPECT_FALSE(testfiles::exists("/etc/tarn/.policydata/base_0_ns_a_0"));
        EXPECT_EQ(testfiles::read("/etc/tarn/.policydata/base_0_ns_g_0").size(), 1000024U);
    }
}

TEST_F(CompilerThreadFailures, ALinkAtTheFileIsNotFollowed) {
    testfiles::write("/etc/tarn/elsewhere", "kept");
    testfiles::link("/etc/tarn/elsewhere", "/etc/tarn/.policydata/base_0_ns_g_0");
    EXPECT_EQ(compile({samples::rule()}), -1);
    EXPECT_EQ(testfiles::read("/etc/tarn/elsewhere"), "kept");
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "####ERROR: Open /etc/tarn/.policydata/base_0_ns_g_0 failed"}, writeLine()}));
}

}  // namespace
