// The body of one compiler thread: messages, groups, file names and the two flushes.
#include "CompilerThread.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

#include "Common/Common.h"
#include "support/Files.h"
#include "support/Interpose.h"
#include "support/MutexTrace.h"
#include "support/StdoutCapture.h"

namespace {

using testbytes::same;
using testbytes::sameFiles;
using testlog::Line;

TEST_F(CompilerThread, OneRecordMakesOneMessageByteForByte) {
    EXPECT_EQ(compile({samples::rule()}), 0);
    EXPECT_EQ(names(), std::vector<std::string>{"base_0_ns_g_0"});
    EXPECT_TRUE(same(model::fromHex(R"(
        01 00 00 00  7c 00 00 00  60 00 00 00  01 00 00 00  03 00 00 00          # header: 124 bytes, 1 record of 96
        a5 a5 5a 5a                                                              # magic number
        01 00 00 00  00 00 00 00                                                 # ordinary object, uiAttrB
        01 00 00 00 00 00 00 00  02 00 00 00 00 00 00 00  03 00 00 00 00 00 00 00  # subject
        04 00 00 00 00 00 00 00  05 00 00 00 00 00 00 00  06 00 00 00 00 00 00 00  # object
        00 00 00 00  01 00 00 00  01 00 00 00                                    # uiAttrA, class, permission
        00 00 00 00  63 00 00 00  00 00 00 00  00 00 00 00  00 00 00 00          # words
        00 00 00 00  00 00 00 00                                                 # no condition, no action
        ff ff 34 12                                                              # end number
    )"),
                     files().at("base_0_ns_g_0")));
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(CompilerThread, FilesAreNamedAfterPrefixNamespaceGroupAndIndex) {
    EXPECT_EQ(compile({in(samples::rule(), "space", "group")}, "section_17"), 0);
    EXPECT_EQ(names(), std::vector<std::string>{"section_17_space_group_0"});
}

TEST_F(CompilerThread, AnEmptyGroupLeavesItsPlaceInTheName) {
    EXPECT_EQ(compile({in(samples::rule(), "space", "")}), 0);
    EXPECT_EQ(names(), std::vector<std::string>{"base_0_space__0"});
}

TEST_F(CompilerThread, FilesGoToTheGivenDirectory) {
    testfiles::makeDirectories("/etc/tarn/.sectiondata");
    EXPECT_EQ(
        manager_.compileKernelPolicyThread("base_0", {samples::rule()}, "/etc/tarn/.sectiondata", results_, mutex_), 0);
    EXPECT_EQ(testfiles::list("/etc/tarn/.sectiondata"), std::vector<std::string>{"base_0_ns_g_0"});
    EXPECT_TRUE(files().empty());
}

TEST_F(CompilerThread, ARuleGivesARecordForEachPairSubjectsFirst) {
    PolicyNode rule = samples::rule();
    rule.vecSubjectId = {samples::id(1), samples::id(2), samples::id(3)};
    rule.vecObjectId = {samples::id(10), samples::id(20)};
    EXPECT_EQ(compile({rule}), 0);
    std::vector<model::Bytes> expected;
    for (const std::uint64_t subject : {1U, 2U, 3U}) {
        for (const std::uint64_t object : {10U, 20U}) {
            expected.push_back(model::record(numbers_, rule, samples::id(subject), samples::id(object)));
        }
    }
    EXPECT_TRUE(same(model::policyMessage(expected), files().at("base_0_ns_g_0")));
}

TEST_F(CompilerThread, PairsOfOneRuleDifferInIdentifiersAndPolicyTypeOnly) {
    PolicyNode rule = samples::ruleWithEverything();
    rule.vecSubjectId = {samples::id(1, 2, 3), samples::id(~std::uint64_t{0}, 8, 9)};
    rule.vecObjectId = {samples::id(~std::uint64_t{0}, 1, 2), samples::id(4, 5, 6), samples::id(~std::uint64_t{0})};
    EXPECT_EQ(compile({rule}), 0);
    EXPECT_TRUE(same(model::policyMessage(model::records(numbers_, rule)), files().at("base_0_ns_g_0")));
}

TEST_F(CompilerThread, ARuleWithAnEmptyListGivesNothing) {
    PolicyNode noSubjects = samples::rule();
    noSubjects.vecSubjectId.clear();
    PolicyNode noObjects = samples::rule();
    noObjects.vecObjectId.clear();
    EXPECT_EQ(compile({noSubjects, noObjects}), 0);
    EXPECT_TRUE(files().empty());
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(CompilerThread, ARuleWithoutPairsIsNotEvenEncoded) {
    PolicyNode rule = badRule();
    rule.vecObjectId.clear();
    EXPECT_EQ(compile({rule}), 0);
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(CompilerThread, RulesOfOneGroupShareAMessageInTheirOrder) {
    PolicyNode first = samples::rule();
    first.uiAttrA = 1;
    PolicyNode second = samples::ruleWithEverything();
    EXPECT_EQ(compile({first, second, first}), 0);
    EXPECT_TRUE(sameFiles(model::sliceFiles(numbers_, "base_0", {first, second, first}), files()));
    EXPECT_EQ(files().size(), 1U);
}

TEST_F(CompilerThread, NamespacesAndGroupsMakeSeriesOfTheirOwn) {
    const std::vector<PolicyNode> rules{in(samples::rule(), "ns", "g"), in(samples::rule(), "other", "g"),
                                        in(samples::rule(), "ns", "h"), in(ruleOf(2), "ns", "g")};
    EXPECT_EQ(compile(rules), 0);
    EXPECT_EQ(names(), (std::vector<std::string>{"base_0_ns_g_0", "base_0_ns_h_0", "base_0_other_g_0"}));
    EXPECT_TRUE(sameFiles(model::sliceFiles(numbers_, "base_0", rules), files()));
}

// Functions are numbered for each namespace: one module and name can have several numbers.
TEST_F(CompilerThread, AFunctionIsLookedUpInTheNamespaceOfItsRule) {
    numbers_.functions[{"other", "mod", "f"}] = 7;
    manager_.m_mapFuncId[{"other", "mod:f"}] = 7;
    PolicyNode rule = samples::rule();
    rule.vecExpr = {samples::call("f")};
    rule.vecDoFunc = {samples::action("f")};
    const std::vector<PolicyNode> rules{rule, in(rule, "other", "g"), rule, in(rule, "other", "g")};
    EXPECT_EQ(compile(rules), 0);
    EXPECT_TRUE(sameFiles(model::sliceFiles(numbers_, "base_0", rules), files()));
}

TEST_F(CompilerThread, AFunctionOfAnotherNamespaceIsNotFound) {
    manager_.m_mapFuncId[{"other", "mod:f"}] = 7;
    PolicyNode rule = samples::rule();
    rule.vecDoFunc = {samples::action("g")};
    EXPECT_EQ(compile({rule, in(rule, "other", "g")}), 1);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "####ERROR: in func getFuncId, no module mod function g."},
                                 {1, "####ERROR: in makeSingleDoFuncPolicy, getFuncId error."},
                                 {1,
                                  "####ERROR: in func makeSinglePolicy, makeSingleDoFuncPolicy "
                                  "error"},
                                 {1, "###ERROR: in compileKernelPolicyThread, makeSinglePolicy error"}}));
    testlog::clear();
    rule.vecDoFunc.clear();
    rule.vecExpr = {samples::call("g")};
    EXPECT_EQ(compile({rule, in(rule, "other", "g")}), 1);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "####ERROR: in func getFuncId, no module mod function g."},
                                 {1, "####ERROR: in makeSingleExprPolicy, getFuncId error."},
                                 {1, "####ERROR: in func makeSinglePolicy, makeSingleExprPolicy error"},
                                 {1, "###ERROR: in compileKernelPolicyThread, makeSinglePolicy error"}}));
}

// The tables don't change while a compilation runs, so a thread asks them once for each name.
TEST_F(CompilerThread, ANumberIsAskedForOnce) {
    numbers_.functions[{"other", "mod", "f"}] = 7;
    manager_.m_mapFuncId[{"other", "mod:f"}] = 7;
    PolicyNode rule = samples::rule();
    rule.vecDoFunc = {samples::action("f"), samples::action("f")};
    const PolicyNode other = in(rule, "other", "g");
    const MutexTrace trace(manager_);
    EXPECT_EQ(compile({rule, other, rule, rule, other}), 0);
    EXPECT_EQ(std::count(trace.steps().begin(), trace.steps().end(), "lock names"), 2);
    EXPECT_EQ(std::count(trace.steps().begin(), trace.steps().end(), "lock functions"), 2);
}

TEST_F(CompilerThread, TenThousandRecordsMakeOneFileAndNoSecond) {
    const PolicyNode rule = ruleOf(10000);
    EXPECT_EQ(compile({rule}), 0);
    EXPECT_EQ(names(), std::vector<std::string>{"base_0_ns_g_0"});
    EXPECT_TRUE(same(model::words({1, 1000024, 96, 10000, 3}), files().at("base_0_ns_g_0").substr(0, 20)));
    EXPECT_TRUE(sameFiles(model::sliceFiles(numbers_, "base_0", {rule}), files()));
}

TEST_F(CompilerThread, TenThousandAndOneRecordsMakeASecondFileOfOne) {
    const PolicyNode rule = ruleOf(10001);
    EXPECT_EQ(compile({rule}), 0);
    EXPECT_EQ(names(), (std::vector<std::string>{"base_0_ns_g_0", "base_0_ns_g_1"}));
    EXPECT_TRUE(same(model::words({1, 124, 96, 1, 3}), files().at("base_0_ns_g_1").substr(0, 20)));
    EXPECT_TRUE(sameFiles(model::sliceFiles(numbers_, "base_0", {rule}), files()));
}

TEST_F(CompilerThread, NineThousandNineHundredNinetyNineRecordsWaitForTheEnd) {
    EXPECT_EQ(compile({ruleOf(9999), badRule()}), 1);
    EXPECT_TRUE(files().empty());
}

TEST_F(CompilerThread, ThirtyThousandRecordsMakeThreeNumberedFiles) {
    const PolicyNode rule = ruleOf(30000);
    EXPECT_EQ(compile({rule}), 0);
    EXPECT_EQ(names(), (std::vector<std::string>{"base_0_ns_g_0", "base_0_ns_g_1", "base_0_ns_g_2"}));
    EXPECT_TRUE(sameFiles(model::sliceFiles(numbers_, "base_0", {rule}), files()));
}

TEST_F(CompilerThread, GroupsCountTheirRecordsAndFilesForThemselves) {
    const std::vector<PolicyNode> rules{ruleOf(6000), in(ruleOf(6000), "ns", "h"), ruleOf(4001),
                                        in(ruleOf(3999), "ns", "h")};
    EXPECT_EQ(compile(rules), 0);
    EXPECT_EQ(names(), (std::vector<std::string>{"base_0_ns_g_0", "base_0_ns_g_1", "base_0_ns_h_0"}));
    EXPECT_TRUE(sameFiles(model::sliceFiles(numbers_, "base_0", rules), files()));
}

TEST_F(CompilerThread, AShorterSecondMessageShowsNothingOfTheFirst) {
    PolicyNode full = samples::ruleWithEverything();
    full.vecExpr.clear();
    full.vecDoFunc.clear();
    full.vecObjectId = ruleOf(10000).vecObjectId;
    const std::vector<PolicyNode> rules{full, samples::ruleWithEverything()};
    EXPECT_EQ(compile(rules), 0);
    EXPECT_TRUE(sameFiles(model::sliceFiles(numbers_, "base_0", rules), files()));
}

TEST_F(CompilerThread, EachNewMessageIsANoteAtLevelFour) {
    setLogLevel(4);
    EXPECT_EQ(compile({ruleOf(10001), in(samples::rule(), "ns", "h")}), 0);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>(3, {4, "###INFO: 新的策略消息..."})));
}

TEST_F(CompilerThread, AFullMessageIsNotANewOne) {
    setLogLevel(4);
    EXPECT_EQ(compile({ruleOf(10000)}), 0);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{4, "###INFO: 新的策略消息..."}}));
}

TEST_F(CompilerThread, FilesAreWrittenInOneTruncatingOpenAndOneWrite) {
    std::vector<std::string> calls;
    const auto onOpen = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        if (std::string(path).find(".policydata/") != std::string::npos) {
            EXPECT_EQ(flags, 0x20242);
            EXPECT_EQ(mode, 0440U);
            calls.push_back("open");
        }
        return interpose::open.real(path, flags, mode);
    });
    const auto onWrite = interpose::write.replace([&](int fd, const void* data, std::size_t count) {
        calls.push_back("write " + std::to_string(count));
        return interpose::write.real(fd, data, count);
    });
    EXPECT_EQ(compile({ruleOf(10001)}), 0);
    EXPECT_EQ(calls, (std::vector<std::string>{"open", "write 1000024", "open", "write 124"}));
    EXPECT_EQ(testfiles::mode("/etc/tarn/.policydata/base_0_ns_g_0"), 0440U);
}

TEST_F(CompilerThread, AnExistingFileIsReplaced) {
    testfiles::write("/etc/tarn/.policydata/base_0_ns_g_0", std::string(5000, 'x'));
    EXPECT_EQ(compile({samples::rule()}), 0);
    EXPECT_TRUE(sameFiles(model::sliceFiles(numbers_, "base_0", {samples::rule()}), files()));
}

TEST_F(CompilerThread, LastMessagesAreWrittenInTheOrderOfGroupThenNamespace) {
    std::vector<std::string> opened;
    const auto onOpen = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        const std::string text = path;
        if (text.find(".policydata/") != std::string::npos) {
            opened.push_back(text.substr(text.rfind('/') + 1));
        }
        return interpose::open.real(path, flags, mode);
    });
    EXPECT_EQ(compile({in(samples::rule(), "a", "b"), in(samples::rule(), "z", "a"), in(samples::rule(), "b", "a"),
                       in(samples::rule(), "c", "B"), in(samples::rule(), "c", "")}),
              0);
    EXPECT_EQ(opened, (std::vector<std::string>{"base_0_c__0", "base_0_c_B_0", "base_0_b_a_0", "base_0_z_a_0",
                                                "base_0_a_b_0"}));
}

TEST_F(CompilerThread, TwoGroupsAtOneFileNameLeaveTheLaterOne) {
    const PolicyNode first = in(samples::rule(), "a", "b_c");
    const PolicyNode second = in(samples::rule(), "a_b", "c");
    EXPECT_EQ(compile({second, first}), 0);
    EXPECT_EQ(names(), std::vector<std::string>{"base_0_a_b_c_0"});
    EXPECT_TRUE(same(model::policyMessage(model::records(numbers_, second)), files().at("base_0_a_b_c_0")));
}

TEST_F(CompilerThread, TheRulesOfTheCallerStayAsTheyWere) {
    const std::vector<PolicyNode> rules{samples::ruleWithEverything()};
    EXPECT_EQ(compile(rules), 0);
    EXPECT_EQ(rules[0].uiExt[1], 0xE1U);
}

TEST_F(CompilerThread, AppendsItsStatusToTheResults) {
    results_ = {5};
    EXPECT_EQ(compile({samples::rule()}), 0);
    EXPECT_EQ(compile({badRule()}), 1);
    EXPECT_EQ(results_, (std::vector<int>{5, 0, 1}));
}

TEST_F(CompilerThread, AppendsItsStatusUnderTheMutexAfterTheFilesAreWritten) {
    std::unique_lock<std::mutex> lock(mutex_);
    std::atomic<bool> returned{false};
    std::thread thread([&] {
        compile({samples::rule()});
        returned = true;
    });
    for (int round = 0; round < 2000 && files().empty(); ++round) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(files().size(), 1U);
    EXPECT_FALSE(returned);
    EXPECT_TRUE(results_.empty());
    lock.unlock();
    thread.join();
    EXPECT_EQ(results_, std::vector<int>{0});
}

TEST_F(CompilerThread, DumpsEachMessageWhereTracesAreWanted) {
    manager_.logflag = true;
    StdoutCapture capture;
    EXPECT_EQ(compile({ruleOf(10001), in(samples::rule(), "ns", "h")}), 0);
    const std::string dumped = withoutAddresses(capture.finish());
    const model::Files written = files();
    const std::string expected =
        dumpOf(written.at("base_0_ns_g_0")) + dumpOf(written.at("base_0_ns_g_1")) + dumpOf(written.at("base_0_ns_h_0"));
    EXPECT_TRUE(same(withoutAddresses(expected), dumped));
}

TEST_F(CompilerThread, PrintsNothingWithoutTraces) {
    StdoutCapture capture;
    EXPECT_EQ(compile({ruleOf(10001)}), 0);
    EXPECT_EQ(capture.finish(), "");
}

TEST_F(CompilerThread, ReleasesEveryDescriptor) {
    const int before = testfiles::openDescriptors();
    compile({ruleOf(10001), badRule()});
    EXPECT_EQ(testfiles::openDescriptors(), before);
}

}  // namespace
