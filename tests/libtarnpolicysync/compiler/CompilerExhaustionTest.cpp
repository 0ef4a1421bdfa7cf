// What a compilation does when memory runs out or a table can't be locked: a compiler thread that fails is a failed
// slice, the copy of the rules gives the exception to the host, and nothing stays locked.
#include <gtest/gtest.h>

#include <cerrno>
#include <new>
#include <string>
#include <system_error>
#include <vector>

#include "libtarnpolicysync/Paths.h"
#include "support/AllocationFaults.h"
#include "support/Bytes.h"
#include "support/CompilerManager.h"
#include "support/Files.h"
#include "support/LogLines.h"
#include "support/Mappings.h"
#include "support/MutexTrace.h"

namespace {

using testlog::Line;

class Exhaustion : public testing::Test {
protected:
    void add(const std::string& key, std::size_t count) {
        PolicyDb& group = groups_[key];
        group.vecPolicy.assign(count, samples::rule());
        manager_.addPolicy(key, group);
    }
    void threads(unsigned int count) { manager_.threadnum = static_cast<std::uint16_t>(count); }
    static std::vector<Line> processError(const std::string& key) {
        return {{1, "###ERROR: in compileKernelPolicyMsg, process " + key + " error"}};
    }
    // The same manager compiles once the fault is over: nothing stayed locked or half done.
    void expectSoundAgain(unsigned int count) {
        threads(count);
        EXPECT_TRUE(isFree(manager_.m_mutexPolicy));
        EXPECT_TRUE(isFree(manager_.m_mutexNameId));
        EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0);
        EXPECT_TRUE(testbytes::sameFiles(model::policyFiles(numbers_, groups_, count),
                                         testbytes::readFiles(paths::kPolicyDataTmp)));
    }
    // Rules of which one has a list so long that the copy of its identifiers takes memory of its own.
    void addLongList(std::size_t count, std::size_t place) {
        groups_["base"].vecPolicy.assign(count, samples::rule());
        PolicyNode& rule = groups_["base"].vecPolicy[place];
        rule.vecSubjectId.assign(kLongList, samples::id(1));
        rule.vecObjectId.clear();
        manager_.addPolicy("base", groups_["base"]);
    }
    void expectCopyThrows() {
        {
            const AllocationFaults faults(kLongList * sizeof(TARN_ID), kLongList * sizeof(TARN_ID));
            EXPECT_THROW(manager_.compileKernelPolicyMsg(), std::bad_alloc);
            EXPECT_EQ(AllocationFaults::refused(), 1U);
        }
        EXPECT_TRUE(testfiles::list(paths::kPolicyDataTmp).empty());
        expectSoundAgain(2);
    }
    static constexpr std::size_t kLongList = 60000;

    model::Numbers numbers_ = samples::numbers();
    CompilerManager manager_{numbers_};
    model::Groups groups_;
};

// Every message buffer is a mapping of its own.
constexpr std::size_t kBuffer = 0x100000;

TEST_F(Exhaustion, AMessageBufferThatCannotBeHadFailsTheSection) {
    add("base", 3);
    add("later", 1);
    {
        const Mappings refused(kBuffer, 0);
        EXPECT_EQ(manager_.compileKernelPolicyMsg(), 1);
    }
    EXPECT_EQ(testlog::lines(), processError("base"));
    EXPECT_TRUE(testfiles::list(paths::kPolicyDataTmp).empty());
    expectSoundAgain(1);
}

TEST_F(Exhaustion, AnotherSliceThanTheFailingOneIsWritten) {
    threads(2);
    add("base", 2);
    {
        const Mappings refused(kBuffer, 1);
        EXPECT_EQ(manager_.compileKernelPolicyMsg(), 1);
    }
    EXPECT_EQ(testlog::lines(), processError("base"));
    EXPECT_EQ(testfiles::list(paths::kPolicyDataTmp).size(), 1U);
    expectSoundAgain(2);
}

TEST_F(Exhaustion, AThreadsBodyHandsTheExceptionToItsCaller) {
    std::vector<int> results;
    std::mutex mutex;
    const Mappings refused(kBuffer, 0);
    EXPECT_THROW(manager_.compileKernelPolicyThread("base_0", {samples::rule()}, paths::kPolicyDataTmp, results, mutex),
                 std::bad_alloc);
    EXPECT_TRUE(isFree(mutex));
}

TEST_F(Exhaustion, ATableThatCannotBeLockedInAThreadFailsTheSection) {
    groups_["base"].vecPolicy = {samples::ruleWithEverything()};
    manager_.addPolicy("base", groups_["base"]);
    for (const std::string table : {"names", "functions"}) {
        testlog::clear();
        {
            MutexTrace trace(manager_);
            trace.fail(table, EDEADLK);
            EXPECT_EQ(manager_.compileKernelPolicyMsg(), 1) << table;
        }
        EXPECT_EQ(testlog::lines(), processError("base"));
        EXPECT_TRUE(testfiles::list(paths::kPolicyDataTmp).empty());
    }
    expectSoundAgain(1);
}

TEST_F(Exhaustion, ASectionFailsAlikeAndNamesItsSlice) {
    testfiles::makeDirectories(paths::kSectionData);
    add("base", 1);
    MutexTrace trace(manager_);
    trace.fail("names", EDEADLK);
    EXPECT_EQ(manager_.compileSectionPolicyMsg("ns", "g"), 1);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "###ERROR: in compileSectionPolicyMsg, process base_ns_g_0 error"}}));
    EXPECT_TRUE(testfiles::list(paths::kSectionData).empty());
}

TEST_F(Exhaustion, RulesThatCannotBeLockedThrow) {
    add("base", 1);
    {
        MutexTrace trace(manager_);
        trace.fail("policy", EDEADLK);
        EXPECT_THROW(manager_.compileKernelPolicyMsg(), std::system_error);
        EXPECT_THROW(manager_.compileSectionPolicyMsg("ns", "g"), std::system_error);
    }
    EXPECT_TRUE(testlog::lines().empty());
    expectSoundAgain(1);
}

TEST_F(Exhaustion, ACopyOfTheRulesThatDoesNotFitThrowsAndReleasesTheTable) {
    threads(2);
    addLongList(101, 70);
    expectCopyThrows();
}

// The second slice of a large table is copied by a helper thread; what it throws reaches the host.
TEST_F(Exhaustion, ACopyInAHelperThreadThrowsAlike) {
    threads(2);
    addLongList(5001, 4000);
    expectCopyThrows();
}

TEST_F(Exhaustion, ACopyInThisThreadThrowsAfterTheHelpersHaveEnded) {
    threads(2);
    addLongList(5001, 1000);
    expectCopyThrows();
}

TEST_F(Exhaustion, ACopyOfASectionThatDoesNotFitThrowsAndReleasesTheTable) {
    testfiles::makeDirectories(paths::kSectionData);
    addLongList(3, 1);
    {
        const AllocationFaults faults(kLongList * sizeof(TARN_ID), kLongList * sizeof(TARN_ID));
        EXPECT_THROW(manager_.compileSectionPolicyMsg("ns", "g"), std::bad_alloc);
    }
    EXPECT_TRUE(testfiles::list(paths::kSectionData).empty());
    expectSoundAgain(1);
}

TEST_F(Exhaustion, EveryMessageBufferIsGivenBack) {
    const Mappings buffers(kBuffer, 1000);
    std::vector<PolicyNode>& rules = groups_["base"].vecPolicy;
    for (const std::string group : {"a", "b", "c", "a", "c"}) {
        rules.push_back(samples::rule());
        rules.back().strGroup = group;
    }
    manager_.addPolicy("base", groups_["base"]);
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0);
    EXPECT_EQ(Mappings::most(), 3) << "one for each group of the slice";
    EXPECT_EQ(Mappings::held(), 0);
    rules.back().sPerm = "nosuch";
    manager_.addPolicy("base", groups_["base"]);
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 1);
    EXPECT_EQ(Mappings::held(), 0);
}

TEST_F(Exhaustion, ANamespaceMessageWithoutABufferThrows) {
    manager_.m_mapNamespaceFunc["ns"] = {"mod:f"};
    {
        const Mappings refused(kBuffer, 0);
        EXPECT_THROW(manager_.compileKernelNamespaceMsg(), std::bad_alloc);
    }
    EXPECT_EQ(manager_.compileKernelNamespaceMsg(), 0);
}

}  // namespace
