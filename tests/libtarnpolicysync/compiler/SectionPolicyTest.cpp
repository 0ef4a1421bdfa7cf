// A section: which rules belong to it, how its files are named and found again, and what a failing step leaves.
#include <dirent.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <map>
#include <regex>
#include <string>
#include <vector>

#include "Common/Common.h"
#include "libtarnpolicysync/Paths.h"
#include "support/Bytes.h"
#include "support/CompilerManager.h"
#include "support/FakeLabelManager.h"
#include "support/Files.h"
#include "support/Interpose.h"
#include "support/LogLines.h"
#include "support/MutexTrace.h"
#include "support/StdoutCapture.h"
#include "support/WriteFaults.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testlog::Line;

const std::string kSet = paths::kPolicyDataTmp;
const std::string kSection = paths::kSectionData;

PolicyNode ruleOf(const std::string& nameSpace, const std::string& group, unsigned int mark) {
    PolicyNode rule = samples::rule();
    rule.strNamespace = nameSpace;
    rule.strGroup = group;
    rule.uiAttrA = mark;
    return rule;
}

PolicyNode badRule() {
    PolicyNode rule = ruleOf("a", "b", 0);
    rule.sPerm = "nosuch";
    return rule;
}

class Section : public testing::Test {
protected:
    Section() {
        fakelabels::fake() = fakelabels::Fake{};
        testfiles::makeDirectories(kSection);
        setLogLevel(3);
    }

    void add(const std::string& key, const std::vector<PolicyNode>& rules) {
        PolicyDb group;
        group.vecPolicy = rules;
        manager_.addPolicy(key, group);
    }
    static void file(const std::string& name, const std::string& content = "old") {
        testfiles::write(kSet + "/" + name, content);
    }
    // The compiled set with begin, end and namespace message and one file each of a/b and a/bc.
    static void completeSet(const std::string& directory = kSet) {
        for (const std::string name :
             {"beginmsg", "namemsg", "endmsg", "base_0_a_b_0", "base_1_a_b_0", "base_0_a_bc_0"}) {
            testfiles::write(directory + "/" + name, "old " + name);
        }
    }
    std::vector<model::Bytes> records(const std::vector<PolicyNode>& rules) const {
        std::vector<model::Bytes> result;
        for (const PolicyNode& rule : rules) {
            for (const model::Bytes& record : model::records(numbers_, rule)) {
                result.push_back(record);
            }
        }
        return result;
    }

    model::Numbers numbers_ = samples::numbers();
    CompilerManager manager_{numbers_};
};

using CompileSectionMessages = Section;
using MergeSection = Section;

TEST_F(CompileSectionMessages, TakesTheRulesOfItsNamespaceAndGroupFromAllKeysInOrder) {
    add("x", {ruleOf("a", "b", 1), ruleOf("a", "c", 2), ruleOf("a", "b", 3)});
    add("k", {ruleOf("b", "b", 4), ruleOf("a", "b", 5)});
    add("z", {ruleOf("a", "bb", 6)});
    EXPECT_EQ(manager_.compileSectionPolicyMsg("a", "b"), 0);
    // Keys in their order, then rules in theirs; the file carries the key of the last match.
    ASSERT_THAT(testfiles::list(kSection), ElementsAre("x_a_b_0_a_b_0"));
    EXPECT_EQ(testfiles::read(kSection + "/x_a_b_0_a_b_0"),
              model::policyMessage(records({ruleOf("a", "b", 5), ruleOf("a", "b", 1), ruleOf("a", "b", 3)})));
}

TEST_F(CompileSectionMessages, CutsTheRulesIntoOneSliceForEachThread) {
    manager_.threadnum = 2;
    add("k", {ruleOf("a", "b", 1), ruleOf("a", "b", 2), ruleOf("a", "b", 3)});
    EXPECT_EQ(manager_.compileSectionPolicyMsg("a", "b"), 0);
    ASSERT_THAT(testfiles::list(kSection), ElementsAre("k_a_b_0_a_b_0", "k_a_b_1_a_b_0"));
    EXPECT_EQ(testfiles::read(kSection + "/k_a_b_0_a_b_0"),
              model::policyMessage(records({ruleOf("a", "b", 1), ruleOf("a", "b", 2)})));
    EXPECT_EQ(testfiles::read(kSection + "/k_a_b_1_a_b_0"), model::policyMessage(records({ruleOf("a", "b", 3)})));
}

TEST_F(CompileSectionMessages, RulesThatDifferInTheirIdentifiersAloneKeepThem) {
    manager_.threadnum = 2;
    std::vector<PolicyNode> rules(5, ruleOf("a", "b", 1));
    for (std::size_t index = 0; index < rules.size(); ++index) {
        rules[index].vecObjectId = {samples::id(index, 7), samples::id(index, 8)};
    }
    add("k", rules);
    EXPECT_EQ(manager_.compileSectionPolicyMsg("a", "b"), 0);
    EXPECT_EQ(testfiles::read(kSection + "/k_a_b_0_a_b_0"),
              model::policyMessage(records({rules[0], rules[1], rules[2]})));
    EXPECT_EQ(testfiles::read(kSection + "/k_a_b_1_a_b_0"), model::policyMessage(records({rules[3], rules[4]})));
}

TEST_F(CompileSectionMessages, WithoutAMatchNothingIsWritten) {
    add("k", {ruleOf("a", "c", 1)});
    EXPECT_EQ(manager_.compileSectionPolicyMsg("a", "b"), 0);
    EXPECT_THAT(testfiles::list(kSection), IsEmpty());
    EXPECT_THAT(testfiles::list(kSet), IsEmpty());
}

TEST_F(CompileSectionMessages, ComparesWholeNames) {
    add("k", {ruleOf("a", "B", 1), ruleOf("A", "b", 2), ruleOf("a", "b ", 3), ruleOf("", "b", 4), ruleOf("a", "", 5)});
    EXPECT_EQ(manager_.compileSectionPolicyMsg("a", "b"), 0);
    EXPECT_THAT(testfiles::list(kSection), IsEmpty());
}

TEST_F(CompileSectionMessages, AFailingThreadGives1AndALineForEachFailure) {
    manager_.threadnum = 3;
    add("k", {badRule(), ruleOf("a", "b", 1), badRule()});
    EXPECT_EQ(manager_.compileSectionPolicyMsg("a", "b"), 1);
    const std::vector<Line> lines = testlog::lines();
    ASSERT_EQ(lines.size(), 8U);
    EXPECT_EQ(lines[6], (Line{1, "###ERROR: in compileSectionPolicyMsg, process k_a_b_0 error"}));
    EXPECT_EQ(lines[7], (Line{1, "###ERROR: in compileSectionPolicyMsg, process k_a_b_2 error"}));
    EXPECT_THAT(testfiles::list(kSection), ElementsAre("k_a_b_1_a_b_0"));
}

TEST_F(CompileSectionMessages, AThreadThatCannotStartFailsTheSection) {
    manager_.threadnum = 2;
    add("k", {ruleOf("a", "b", 1), ruleOf("a", "b", 2)});
    const auto refused = interpose::pthread_create.replace(
        [](pthread_t*, const pthread_attr_t*, void* (*)(void*), void*) { return EAGAIN; });
    EXPECT_EQ(manager_.compileSectionPolicyMsg("a", "b"), 1);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, "###ERROR: in compileSectionPolicyMsg, process k_a_b_0 error"},
                                              Line{1, "###ERROR: in compileSectionPolicyMsg, process k_a_b_1 error"}));
}

// Without a match there is no key to begin the names with.
TEST_F(CompileSectionMessages, ASliceWithoutAMatchIsNamedByTheTagAlone) {
    add("k", {ruleOf("a", "c", 1)});
    const auto refused = interpose::pthread_create.replace(
        [](pthread_t*, const pthread_attr_t*, void* (*)(void*), void*) { return EAGAIN; });
    EXPECT_EQ(manager_.compileSectionPolicyMsg("a", "b"), 1);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, "###ERROR: in compileSectionPolicyMsg, process _a_b_0 error"}));
}

TEST_F(CompileSectionMessages, NoThreadsAreRefused) {
    add("k", {ruleOf("a", "b", 1)});
    manager_.threadnum = 0;
    EXPECT_EQ(manager_.compileSectionPolicyMsg("a", "b"), 1);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, "###ERROR: in splitVector, wrong threadnum n"}));
    EXPECT_THAT(testfiles::list(kSection), IsEmpty());
}

// The rules are looked for with the mutex held, from the first to the last, and no longer.
TEST_F(CompileSectionMessages, LooksForItsRulesUnderTheMutexAlone) {
    PolicyDb later;
    later.vecPolicy = {ruleOf("a", "b", 9)};
    add("k", {ruleOf("a", "b", 1)});
    add("m", {});
    MutexTrace trace(manager_);
    trace.watch([&](const std::string& step) {
        if (step == "lock policy") {
            manager_.m_mapPolicy["m"] = later;  // before: is seen
        } else if (step == "unlock policy") {
            manager_.m_mapPolicy["z"] = later;  // after: is not
        }
    });
    std::vector<std::string> atThreadStart;
    const auto onStart = interpose::pthread_create.replace(
        [&](pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*), void* argument) {
            atThreadStart = trace.steps();
            return interpose::pthread_create.real(thread, attributes, start, argument);
        });
    EXPECT_EQ(manager_.compileSectionPolicyMsg("a", "b"), 0);
    EXPECT_THAT(atThreadStart, ElementsAre("lock policy", "unlock policy"));
    ASSERT_THAT(testfiles::list(kSection), ElementsAre("m_a_b_0_a_b_0"));
    EXPECT_EQ(testfiles::read(kSection + "/m_a_b_0_a_b_0"),
              model::policyMessage(records({ruleOf("a", "b", 1), ruleOf("a", "b", 9)})));
}

// They are copied before it is released: what becomes of them afterwards is for the next compilation.
TEST_F(CompileSectionMessages, CompilesTheRulesAsTheyWereUnderTheMutex) {
    add("k", {ruleOf("a", "b", 1)});
    MutexTrace trace(manager_);
    trace.watch([&](const std::string& step) {
        if (step == "unlock policy") {
            manager_.m_mapPolicy["k"].vecPolicy[0] = ruleOf("a", "b", 9);
        }
    });
    EXPECT_EQ(manager_.compileSectionPolicyMsg("a", "b"), 0);
    EXPECT_EQ(testfiles::read(kSection + "/k_a_b_0_a_b_0"), model::policyMessage(records({ruleOf("a", "b", 1)})));
}

TEST_F(CompileSectionMessages, LeavesTheTableAsItIs) {
    add("k", {ruleOf("a", "b", 1)});
    EXPECT_EQ(manager_.compileSectionPolicyMsg("a", "b"), 0);
    EXPECT_EQ(manager_.m_mapPolicy["k"].vecPolicy.size(), 1U);
    EXPECT_EQ(manager_.m_mapPolicy["k"].vecPolicy[0].vecSubjectId.size(), 1U);
}

TEST_F(MergeSection, ReplacesTheFilesOfItsTag) {
    completeSet();
    testfiles::write(kSection + "/base_a_b_0_a_b_0", "new");
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 0);
    EXPECT_THAT(testfiles::list(kSet),
                ElementsAre("base_0_a_bc_0", "base_a_b_0_a_b_0", "beginmsg", "endmsg", "namemsg"));
    EXPECT_EQ(testfiles::read(kSet + "/base_a_b_0_a_b_0"), "new");
    EXPECT_THAT(testfiles::list(kSection), IsEmpty());
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(MergeSection, LeavesFilesWhoseGroupOnlyBeginsAlike) {
    file("base_0_a_bc_0");
    file("base_0_aa_b_0");
    file("base_0_a_b");
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 0);
    EXPECT_THAT(testfiles::list(kSet), ElementsAre("base_0_a_b", "base_0_a_bc_0", "base_0_aa_b_0"));
}

// The tag is looked for anywhere in the name: strangers that hold it go, too.
TEST_F(MergeSection, RemovesFilesOfStrangersThatHoldTheTag) {
    file("base_0_x_a_b_0");        // namespace x_a, group b
    file("key_a_b_more_0_n_g_0");  // a key that holds the tag
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 0);
    EXPECT_THAT(testfiles::list(kSet), IsEmpty());
}

TEST_F(MergeSection, PassesOverNamesThatBeginWithADot) {
    file(".base_0_a_b_0");
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 0);
    EXPECT_THAT(testfiles::list(kSet), ElementsAre(".base_0_a_b_0"));
}

TEST_F(MergeSection, NeitherFollowsNorRemovesALink) {
    testfiles::write("/etc/tarn/target", "kept");
    testfiles::link("/etc/tarn/target", kSet + "/base_0_a_b_0");
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 0);
    EXPECT_TRUE(testfiles::exists(kSet + "/base_0_a_b_0"));
    EXPECT_EQ(testfiles::read("/etc/tarn/target"), "kept");
}

TEST_F(MergeSection, LooksAtTheFileItselfBeforeItRemoves) {
    file("base_0_a_b_0");
    const auto asLink = interpose::lstat.replace([](const char* path, struct stat* status) {
        const int result = interpose::lstat.real(path, status);
        status->st_mode = (status->st_mode & ~static_cast<mode_t>(S_IFMT)) | S_IFLNK;
        return result;
    });
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 0);
    EXPECT_THAT(testfiles::list(kSet), ElementsAre("base_0_a_b_0"));
}

// Lets the folders report this type for the entry of this name.
auto reportType(const std::string& name, unsigned char type) {
    return interpose::readdir.replace([name, type](DIR* directory) {
        struct dirent* entry = interpose::readdir.real(directory);
        if (entry != nullptr && name == entry->d_name) {
            entry->d_type = type;
        }
        return entry;
    });
}

TEST_F(MergeSection, PassesOverFilesWhoseTypeTheSetDoesNotReport) {
    file("base_0_a_b_0");
    file("base_1_a_b_0");
    const auto typeless = reportType("base_0_a_b_0", DT_UNKNOWN);
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 0);
    EXPECT_THAT(testfiles::list(kSet), ElementsAre("base_0_a_b_0"));
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(MergeSection, MovesNoFilesWhoseTypeTheSectionDoesNotReport) {
    testfiles::write(kSection + "/one", "new");
    testfiles::write(kSection + "/two", "new");
    const auto typeless = reportType("one", DT_UNKNOWN);
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 0);
    EXPECT_THAT(testfiles::list(kSet), ElementsAre("two"));
    EXPECT_THAT(testfiles::list(kSection), ElementsAre("one"));
}

TEST_F(MergeSection, MovesNoLinks) {
    testfiles::write("/etc/tarn/target", "kept");
    testfiles::link("/etc/tarn/target", kSection + "/link");
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 0);
    EXPECT_THAT(testfiles::list(kSet), IsEmpty());
    EXPECT_THAT(testfiles::list(kSection), ElementsAre("link"));
}

// What is moved is not looked at: the type that the folder reports decides.
TEST_F(MergeSection, MovesWhatTheSectionReportsAsAFile) {
    testfiles::write("/etc/tarn/target", "kept");
    testfiles::link("/etc/tarn/target", kSection + "/link");
    const auto asFile = reportType("link", DT_REG);
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 0);
    EXPECT_THAT(testfiles::list(kSet), ElementsAre("link"));
    EXPECT_THAT(testfiles::list(kSection), IsEmpty());
}

TEST_F(MergeSection, MovesNamesThatBeginWithADotAndThoseOfTheFrame) {
    for (const std::string name : {".hidden", "beginmsg", "plain"}) {
        testfiles::write(kSection + "/" + name, "new " + name);
    }
    file("beginmsg");
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 0);
    EXPECT_THAT(testfiles::list(kSet), ElementsAre(".hidden", "beginmsg", "plain"));
    EXPECT_EQ(testfiles::read(kSet + "/beginmsg"), "new beginmsg");
    EXPECT_THAT(testfiles::list(kSection), IsEmpty());
}

TEST_F(MergeSection, PassesOverDirectories) {
    testfiles::write(kSet + "/base_0_a_b_0/deep", "kept");
    testfiles::write(kSection + "/sub/deep", "kept");
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 0);
    EXPECT_EQ(testfiles::read(kSet + "/base_0_a_b_0/deep"), "kept");
    EXPECT_THAT(testfiles::list(kSection), ElementsAre("sub"));
}

TEST_F(MergeSection, AFailingRemovalGives1AndLeavesTheStreamOpen) {
    file("base_0_a_b_0");
    const int before = testfiles::openDescriptors();
    const auto refused = interpose::unlink.replace([](const char*) {
        errno = EPERM;
        return -1;
    });
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 1);
    EXPECT_THAT(testlog::lines(),
                ElementsAre(Line{1, "##ERROR: in func mergeSectionPolicy unlink " + kSet + "/base_0_a_b_0 failed\\n"}));
    EXPECT_EQ(testfiles::openDescriptors(), before + 1);
}

TEST_F(MergeSection, AMissingSetGives1) {
    removeDirectory(paths::kPolicyDataTmp);
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 1);
    EXPECT_THAT(testlog::lines(),
                ElementsAre(Line{1, "##ERROR: in func mergeSectionPolicy open " + kSet + " failed\\n"}));
}

TEST_F(MergeSection, AMissingSectionFolderIsANoticeAndGives1) {
    completeSet();
    removeDirectory(paths::kSectionData);
    const int before = testfiles::openDescriptors();
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 1);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{2, "##Notice: in func open mergeSectionPolicy dir failed\\n"}));
    // The section's old files are gone by then.
    EXPECT_THAT(testfiles::list(kSet), ElementsAre("base_0_a_bc_0", "beginmsg", "endmsg", "namemsg"));
    EXPECT_EQ(testfiles::openDescriptors(), before);
}

TEST_F(MergeSection, AFailingRenameGives1AndLeavesTheStreamOpen) {
    testfiles::write(kSection + "/base_a_b_0_a_b_0", "new");
    testfiles::makeDirectories(kSet + "/base_a_b_0_a_b_0");
    file("base_0_a_b_0");
    file("base_0_a_bc_0");
    const int before = testfiles::openDescriptors();
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 1);
    EXPECT_THAT(testfiles::list(kSet), ElementsAre("base_0_a_bc_0", "base_a_b_0_a_b_0")) << "the old files are gone";
    EXPECT_THAT(testfiles::list(kSection), ElementsAre("base_a_b_0_a_b_0"));
    EXPECT_THAT(testlog::lines(),
                ElementsAre(Line{1, "##ERROR: in func mergeSectionPolicy rename " + kSection + "/base_a_b_0_a_b_0 to " +
                                        kSet + "/base_a_b_0_a_b_0 failed\\n"}));
    EXPECT_EQ(testfiles::openDescriptors(), before + 1);
}

TEST_F(MergeSection, SkipsANameThatIsNoSafePath) {
    testfiles::write(kSection + "/back\\slash", "new");
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 0);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, "Skip illegal rename src=" + kSection +
                                                          "/back\\\\slash dest=" + kSet + "/back\\\\slash"}));
    EXPECT_THAT(testfiles::list(kSection), ElementsAre("back\\slash"));
}

TEST_F(MergeSection, ASkippedNameDoesNotKeepTheOthers) {
    for (const std::string name : {"a1", "back\\slash", "m1", "z1", "z2"}) {
        testfiles::write(kSection + "/" + name, name);
    }
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 0);
    EXPECT_EQ(testlog::lines().size(), 1U);
    EXPECT_THAT(testfiles::list(kSet), ElementsAre("a1", "m1", "z1", "z2"));
    EXPECT_THAT(testfiles::list(kSection), ElementsAre("back\\slash"));
}

// The place in the set must be safe, too: a link there that leads out of the allowed trees is not replaced.
TEST_F(MergeSection, SkipsANameThatIsALinkOutOfTheTreesInTheSet) {
    testfiles::write("/var/log/elsewhere", "kept");
    testfiles::link("/var/log/elsewhere", kSet + "/name");
    testfiles::write(kSection + "/name", "new");
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 0);
    EXPECT_THAT(testlog::lines(),
                ElementsAre(Line{1, "Skip illegal rename src=" + kSection + "/name dest=" + kSet + "/name"}));
    EXPECT_EQ(testfiles::read(kSection + "/name"), "new");
    EXPECT_TRUE(std::filesystem::is_symlink(kSet + "/name"));
    EXPECT_EQ(testfiles::read("/var/log/elsewhere"), "kept");
}

TEST_F(MergeSection, ClosesBothFolders) {
    completeSet();
    testfiles::write(kSection + "/base_a_b_0_a_b_0", "new");
    const int before = testfiles::openDescriptors();
    EXPECT_EQ(manager_.mergeSectionPolicy("a", "b"), 0);
    EXPECT_EQ(testfiles::openDescriptors(), before);
}

// The whole pipeline on the set of an earlier compilation.
class CompileSection : public Section {
protected:
    CompileSection() {
        testfiles::write("/etc/tarn/.scene_info", "");
        manager_.m_mapNamespaceFunc["a"] = {"mod:f"};
        add("base", {ruleOf("a", "b", 1), ruleOf("a", "bc", 2)});
        manager_.fullCompiled = true;
        setLogLevel(4);
    }
    static std::vector<Line> details(std::size_t count) {
        const std::vector<Line> all = {{4, "##INFO: 临时目录" + kSection + "不存在或已删除"},
                                       {4, "##INFO: 临时目录" + kSection + "创建成功"},
                                       {4, "###INFO: 标记获取完成"},
                                       {4, "##INFO: 策略数据获取成功"},
                                       {4, "###INFO: 新的策略消息..."},
                                       {4, "##INFO: 主策略编译成功"},
                                       {4, "##INFO: section策略拼接成功"},
                                       {4, "##INFO: 用户信息存储成功"}};
        return {all.begin(), all.begin() + static_cast<std::ptrdiff_t>(count)};
    }
    static std::vector<Line> errors() {
        std::vector<Line> result;
        for (const Line& line : testlog::lines(1)) {
            if (line.text.rfind("####WARN: ", 0) != 0) {  // the label manager answers nothing here
                result.push_back(line);
            }
        }
        return result;
    }
    static std::vector<Line> withoutWarning() {
        std::vector<Line> result;
        for (const Line& line : testlog::lines()) {
            if (line.text.rfind("####WARN: ", 0) != 0) {
                result.push_back(line);
            }
        }
        return result;
    }
};

TEST_F(CompileSection, ReplacesTheSectionAndKeepsAllElse) {
    completeSet();
    EXPECT_EQ(manager_.compileSectionPolicy("a", "b"), 0U);
    EXPECT_THAT(testfiles::list(kSet),
                ElementsAre("base_0_a_bc_0", "base_a_b_0_a_b_0", "beginmsg", "endmsg", "namemsg"));
    EXPECT_EQ(testfiles::read(kSet + "/base_a_b_0_a_b_0"), model::policyMessage(records({ruleOf("a", "b", 1)})));
    EXPECT_EQ(testfiles::read(kSet + "/beginmsg"), "old beginmsg");
    EXPECT_EQ(testfiles::read(kSet + "/endmsg"), "old endmsg");
    EXPECT_EQ(testfiles::read(kSet + "/base_0_a_bc_0"), "old base_0_a_bc_0");
    EXPECT_THAT(testfiles::list(kSection), IsEmpty());
}

TEST_F(CompileSection, WritesTheNamespaceMessageAndTheSideFilesAnew) {
    completeSet();
    manager_.setUidInfo("alice", 1000);
    EXPECT_EQ(manager_.compileSectionPolicy("a", "b"), 0U);
    EXPECT_EQ(testfiles::read(kSet + "/namemsg"), model::namespaceMessage(numbers_, {{"a", {"mod:f"}}}));
    EXPECT_EQ(testfiles::read(paths::kFuncInfoTmp), "a#mod:f\n");
    EXPECT_EQ(testfiles::read(paths::kUserInfoTmp), "alice:1000\n");
}

TEST_F(CompileSection, ClearsTheFullCompileFlag) {
    completeSet();
    EXPECT_EQ(manager_.compileSectionPolicy("a", "b"), 0U);
    EXPECT_FALSE(manager_.fullCompiled);
}

TEST_F(CompileSection, LogsEachStageButNotTheNamespaceMessage) {
    completeSet();
    EXPECT_EQ(manager_.compileSectionPolicy("a", "b"), 0U);
    EXPECT_THAT(withoutWarning(), ElementsAreArray(details(8)));
}

TEST_F(CompileSection, TimesFourStages) {
    completeSet();
    manager_.printtime = 1;
    StdoutCapture capture;
    EXPECT_EQ(manager_.compileSectionPolicy("a", "b"), 0U);
    EXPECT_TRUE(std::regex_match(capture.finish(), std::regex("compileSectionPolicy->parsePolicyData:\\d+\n"
                                                              "compileSectionPolicy->compileKernelNamespaceMsg:\\d+\n"
                                                              "compileSectionPolicy->compileSectionPolicyMsg:\\d+\n"
                                                              "compileSectionPolicy->mergeSectionPolicy:\\d+\n")));
}

TEST_F(CompileSection, CopiesTheLastDeliveredSetWhereThereIsNone) {
    removeDirectory(paths::kPolicyDataTmp);
    completeSet(paths::kPolicyData);
    EXPECT_EQ(manager_.compileSectionPolicy("a", "b"), 0U);
    EXPECT_THAT(testfiles::list(kSet),
                ElementsAre("base_0_a_bc_0", "base_a_b_0_a_b_0", "beginmsg", "endmsg", "namemsg"));
    EXPECT_EQ(testfiles::read(kSet + "/beginmsg"), "old beginmsg");
    EXPECT_THAT(testfiles::list(paths::kPolicyData),
                ElementsAre("base_0_a_b_0", "base_0_a_bc_0", "base_1_a_b_0", "beginmsg", "endmsg", "namemsg"));
}

TEST_F(CompileSection, AnExistingSetIsUsedAsItIs) {
    file("beginmsg", "mine");
    completeSet(paths::kPolicyData);
    EXPECT_EQ(manager_.compileSectionPolicy("a", "b"), 0U);
    EXPECT_THAT(testfiles::list(kSet), ElementsAre("base_a_b_0_a_b_0", "beginmsg", "namemsg"));
    EXPECT_EQ(testfiles::read(kSet + "/beginmsg"), "mine");
}

TEST_F(CompileSection, RenewsTheFolderOfTheSection) {
    completeSet();
    testfiles::write(kSection + "/leftover/deep", "old");
    EXPECT_EQ(manager_.compileSectionPolicy("a", "b"), 0U);
    EXPECT_THAT(testfiles::list(kSection), IsEmpty());
    EXPECT_EQ(testfiles::mode(kSection), 0750U);
}

TEST_F(CompileSection, NoSetAtAllGives1) {
    removeDirectory(paths::kPolicyDataTmp);
    EXPECT_EQ(manager_.compileSectionPolicy("a", "b"), 1U);
    EXPECT_THAT(errors(), ElementsAre(Line{1, "openat source subdir . failed: Bad file descriptor"},
                                      Line{1, "##ERROR: in func compileSectionPolicy, copy directory error."}));
    EXPECT_TRUE(manager_.fullCompiled);
    // The copy has made its place before it found nothing to copy; the next call would use it.
    ASSERT_TRUE(testfiles::exists(kSet));
    EXPECT_THAT(testfiles::list(kSet), IsEmpty());
}

TEST_F(CompileSection, AFolderThatCannotBeRemovedStopsIt) {
    const auto refused = interpose::unlinkat.replace([](int, const char*, int) {
        errno = EBUSY;
        return -1;
    });
    EXPECT_EQ(manager_.compileSectionPolicy("a", "b"), 1U);
    EXPECT_THAT(withoutWarning(), ElementsAre(Line{1, "unlinkat remove .sectiondata failed: Device or resource busy"},
                                              Line{1, "##ERROR: 删除临时目录" + kSection + "失败"}));
}

TEST_F(CompileSection, AFolderThatCannotBeMadeStopsIt) {
    const auto refused = interpose::mkdir.replace([](const char*, mode_t) {
        errno = ENOSPC;
        return -1;
    });
    EXPECT_EQ(manager_.compileSectionPolicy("a", "b"), 1U);
    EXPECT_THAT(
        withoutWarning(),
        ElementsAre(details(1)[0], Line{1, "##ERROR: in func createDirectory, mkdir error: No space left on device"},
                    Line{1, "##ERROR: 临时目录" + kSection + "创建失败"}));
}

TEST_F(CompileSection, TheLabelManagersErrorStopsIt) {
    completeSet();
    fakelabels::fake().labels = [](const fakelabels::Request&, fakelabels::Answer&) { return 42; };
    EXPECT_EQ(manager_.compileSectionPolicy("a", "b"), 42U);
    EXPECT_THAT(errors(), ElementsAre(Line{1, "###ERROR: 标记获取接口调用失败, res为42."},
                                      Line{1, "##ERROR: 策略数据获取失败，res为42"}));
    EXPECT_EQ(testfiles::read(kSet + "/namemsg"), "old namemsg");
    EXPECT_TRUE(manager_.fullCompiled);
}

TEST_F(CompileSection, AFailingNamespaceMessageStopsIt) {
    completeSet();
    const WriteFaults faults({{paths::kNamespaceMessage, ENOSPC}});
    EXPECT_EQ(manager_.compileSectionPolicy("a", "b"), static_cast<unsigned int>(ENOSPC));
    EXPECT_EQ(errors().back(), (Line{1, "##ERROR: 策略命名空间编译失败，res为28"}));
    EXPECT_EQ(testfiles::read(kSet + "/base_0_a_b_0"), "old base_0_a_b_0");
}

TEST_F(CompileSection, FailingRulesStopItBeforeTheMerge) {
    completeSet();
    add("bad", {badRule()});
    EXPECT_EQ(manager_.compileSectionPolicy("a", "b"), 1U);
    EXPECT_EQ(errors().back(), (Line{1, "##ERROR: 主策略编译失败，res为1"}));
    EXPECT_EQ(testfiles::read(kSet + "/base_0_a_b_0"), "old base_0_a_b_0");
    EXPECT_TRUE(manager_.fullCompiled);
}

TEST_F(CompileSection, AFailingMergeStopsIt) {
    completeSet();
    const auto refused = interpose::unlink.replace([](const char*) {
        errno = EPERM;
        return -1;
    });
    EXPECT_EQ(manager_.compileSectionPolicy("a", "b"), 1U);
    EXPECT_EQ(errors().back(), (Line{1, "##ERROR: section策略拼接失败，res为1"}));
    EXPECT_FALSE(testfiles::exists(paths::kUserInfoTmp));
}

TEST_F(CompileSection, AFailingUserFileIsReportedAndLeavesTheFlag) {
    completeSet();
    const WriteFaults faults({{paths::kUserInfoTmp, EIO}});
    EXPECT_EQ(manager_.compileSectionPolicy("a", "b"), static_cast<unsigned int>(EIO));
    EXPECT_EQ(errors().back(), (Line{1, "##ERROR: 用户信息存储失败，res为5"}));
    EXPECT_TRUE(manager_.fullCompiled);
}

// A section whose last rule was taken away: its files go, nothing comes in their place.
TEST_F(CompileSection, ASectionWithoutRulesLosesItsFiles) {
    completeSet();
    add("base", {ruleOf("a", "bc", 2)});
    EXPECT_EQ(manager_.compileSectionPolicy("a", "b"), 0U);
    EXPECT_THAT(testfiles::list(kSet), ElementsAre("base_0_a_bc_0", "beginmsg", "endmsg", "namemsg"));
    EXPECT_EQ(testfiles::read(kSet + "/namemsg"), model::namespaceMessage(numbers_, {{"a", {"mod:f"}}}));
    EXPECT_TRUE(testfiles::exists(paths::kUserInfoTmp));
    EXPECT_FALSE(manager_.fullCompiled);
}

// Functions are numbered by their place. One that is registered before the known ones moves them, and the records of
// other sections, which are not compiled again, then call another function than they did.
TEST_F(CompileSection, AFunctionRegisteredInFrontMovesTheNumbersOfTheOthers) {
    completeSet();
    numbers_.functions = {{{"a", "mod", "f"}, 1}};
    PolicyNode stranger = ruleOf("a", "bc", 2);
    stranger.vecDoFunc = {samples::action("f")};
    const std::string strangersMessage = model::policyMessage(records({stranger}));
    file("base_0_a_bc_0", strangersMessage);
    PolicyNode own = ruleOf("a", "b", 1);
    own.vecDoFunc = {samples::action("f")};
    add("base", {own, stranger});

    manager_.m_mapNamespaceFunc["a"] = {"mod:new", "mod:f"};
    EXPECT_EQ(manager_.compileSectionPolicy("a", "b"), 0U);
    numbers_.functions = {{{"a", "mod", "new"}, 1}, {{"a", "mod", "f"}, 2}};
    EXPECT_EQ(testfiles::read(kSet + "/namemsg"), model::namespaceMessage(numbers_, {{"a", {"mod:new", "mod:f"}}}));
    EXPECT_EQ(testfiles::read(kSet + "/base_a_b_0_a_b_0"), model::policyMessage(records({own})));
    EXPECT_EQ(testfiles::read(kSet + "/base_0_a_bc_0"), strangersMessage) << "still calls number 1";
}

}  // namespace
