#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <functional>
#include <map>
#include <memory>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "libtarnpolicysync/Paths.h"
#include "support/FakeLabelManager.h"
#include "support/Files.h"
#include "support/Interpose.h"
#include "support/LogLines.h"
#include "support/ManagerAccess.h"
#include "support/StdoutCapture.h"
#include "support/WriteFaults.h"

namespace {

using fakelabels::Answer;
using fakelabels::fake;
using fakelabels::Request;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testlog::Line;

constexpr unsigned int kMinusOne = 0xFFFFFFFF;
const std::string kDirectory = paths::kPolicyDataTmp;
const std::string kPolicyFile = "base_0_net_g_0";

// The lines of a complete run with one rule in one thread, at level 4.
const std::vector<Line> kAllLines = {{4, "##INFO: 临时目录/etc/tarn/.policydata不存在或已删除"},
                                     {4, "##INFO: 临时目录/etc/tarn/.policydata创建成功"},
                                     {4, "##INFO: 策略头编译成功"},
                                     {4, "##INFO: 策略命名空间编译成功"},
                                     {4, "###INFO: 标记获取完成"},
                                     {4, "##INFO: 策略数据获取成功"},
                                     {4, "###INFO: 新的策略消息..."},
                                     {4, "##INFO: 主策略编译成功"},
                                     {4, "##INFO: 策略结尾编译成功"},
                                     {4, "##INFO: 用户信息存储成功"}};

std::vector<Line> firstLines(std::size_t count, std::vector<Line> more) {
    std::vector<Line> lines(kAllLines.begin(), kAllLines.begin() + static_cast<std::ptrdiff_t>(count));
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

// What a compilation leaves under "/etc/tarn" but the configuration, as far as it exists.
std::vector<std::string> leftBehind() {
    std::vector<std::string> names;
    for (const std::string& name : testfiles::list("/etc/tarn")) {
        if (name != "tarn-policy.conf" && name != "tarn-main") {
            names.push_back(name);
        }
    }
    return names;
}

std::string message(const std::string& name) {
    return testfiles::read(paths::inDirectory(kDirectory, name));
}

// One rule that compiles into one record, all details logged.
class Pipeline : public testing::Test {
protected:
    Pipeline() {
        fake() = fakelabels::Fake{};
        fake().labels = [](const Request&, Answer& answer) {
            answer["subject_file"]["/a"] = {TARN_ID{{1, 2, 3}}};
            return 0;
        };
        manager.prepareWork();
        manager.setNamespaceFuncInfo("net", "m", "f");
        manager.setUidInfo("alice", 1000);
        addRule("file");
    }

    void addRule(const std::string& permClass) {
        PolicyNode rule;
        rule.bSubjectFlag = false;
        rule.vecSubjectName = {"/a"};
        rule.vecObjectId = {TARN_ID{{4, 5, 6}}};
        rule.sPermClass = permClass;
        rule.sPerm = "read";
        rule.strNamespace = "net";
        rule.strGroup = "g";
        PolicyDb group;
        group.vecPolicy = {rule};
        manager.addPolicy("base", group);
    }

    // Written before the manager reads them.
    struct Files {
        Files() {
            testfiles::write(paths::kConfiguration, "threadnum=1\nloglevel=4\n");
            testfiles::write(paths::kClassDefinitions, R"({"file": {"value": 1, "perms": {"read": 1}}})");
        }
    };
    Files files;
    ManagerAccess manager;
};

TEST_F(Pipeline, ACompleteRunReturns0AndSetsTheFullCompileFlag) {
    EXPECT_FALSE(manager.fullCompiled);
    EXPECT_EQ(manager.compileData(), 0U);
    EXPECT_TRUE(manager.fullCompiled);
}

TEST_F(Pipeline, ACompleteRunLeavesTheFourKindsOfMessagesAndThreeSideFiles) {
    EXPECT_EQ(manager.compileData(), 0U);
    EXPECT_THAT(testfiles::list(kDirectory), ElementsAre(kPolicyFile, "beginmsg", "endmsg", "namemsg"));
    EXPECT_THAT(leftBehind(), ElementsAre(".funcinfo", ".policydata", ".scene_info", ".userinfo"));
    EXPECT_EQ(testfiles::read(paths::kSceneInfoTmp), "4075427327:net\n");
    EXPECT_EQ(testfiles::read(paths::kFuncInfoTmp), "net#m:f\n");
    EXPECT_EQ(testfiles::read(paths::kUserInfoTmp), "alice:1000\n");
}

TEST_F(Pipeline, TheDirectoryIsForOwnerAndGroup) {
    EXPECT_EQ(manager.compileData(), 0U);
    EXPECT_EQ(testfiles::mode(kDirectory), 0750U);
}

TEST_F(Pipeline, ACompleteRunLogsEachStageInOrder) {
    EXPECT_EQ(manager.compileData(), 0U);
    EXPECT_THAT(testlog::lines(), ElementsAreArray(kAllLines));
}

TEST_F(Pipeline, TheFilesAreWrittenInTheOrderOfTheStages) {
    std::vector<std::string> written;
    auto hook = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        if ((flags & O_TRUNC) != 0) {
            written.emplace_back(path);
        }
        return interpose::open.real(path, flags, mode);
    });
    EXPECT_EQ(manager.compileData(), 0U);
    EXPECT_THAT(written,
                ElementsAre(paths::kBeginMessage, paths::kSceneInfoTmp, paths::kNamespaceMessage, paths::kFuncInfoTmp,
                            kDirectory + "/" + kPolicyFile, paths::kEndMessage, paths::kUserInfoTmp));
}

TEST_F(Pipeline, TheDirectoryStandsBeforeTheLabelManagerIsAsked) {
    std::vector<std::string> atLabels;
    fake().labels = [&](const Request&, Answer& answer) {
        atLabels = testfiles::list(kDirectory);
        answer["subject_file"]["/a"] = {TARN_ID{{1, 2, 3}}};
        return 0;
    };
    EXPECT_EQ(manager.compileData(), 0U);
    EXPECT_THAT(atLabels, ElementsAre("beginmsg", "namemsg"));
}

TEST_F(Pipeline, LeftoversOfAnEarlierRunAreRemovedFirst) {
    testfiles::write(kDirectory + "/old_0_net_g_0", "old");
    testfiles::write(kDirectory + "/deep/down/file", "old");
    testfiles::link("/etc/passwd", kDirectory + "/link");
    EXPECT_EQ(manager.compileData(), 0U);
    EXPECT_THAT(testfiles::list(kDirectory), ElementsAre(kPolicyFile, "beginmsg", "endmsg", "namemsg"));
    EXPECT_TRUE(testfiles::exists("/etc/passwd"));
    EXPECT_THAT(testlog::lines(), ElementsAreArray(kAllLines));
}

TEST_F(Pipeline, ASecondRunGivesTheSameFiles) {
    EXPECT_EQ(manager.compileData(), 0U);
    std::map<std::string, std::string> first;
    for (const std::string& name : testfiles::list(kDirectory)) {
        first[name] = message(name);
    }
    EXPECT_EQ(manager.compileData(), 0U);
    for (const auto& [name, content] : first) {
        EXPECT_EQ(message(name), content) << name;
    }
    EXPECT_EQ(testfiles::list(kDirectory).size(), first.size());
}

TEST_F(Pipeline, WithoutRulesTheSetIsTheThreeFrameMessages) {
    manager.clearAllPolicy();
    EXPECT_EQ(manager.compileData(), 0U);
    EXPECT_THAT(testfiles::list(kDirectory), ElementsAre("beginmsg", "endmsg", "namemsg"));
    EXPECT_TRUE(manager.fullCompiled);
}

TEST_F(Pipeline, LeavesWhatIsRegistered) {
    EXPECT_EQ(manager.compileData(), 0U);
    EXPECT_EQ(manager.m_mapPolicy.size(), 1U);
    EXPECT_EQ(manager.m_mapNamespaceFunc.size(), 1U);
    EXPECT_EQ(manager.m_mapUserUid.size(), 1U);
}

TEST_F(Pipeline, DoesNotLoadTheClassDefinitions) {
    manager.clearAllPolicy();
    manager.classDefRoot = Json::nullValue;
    EXPECT_EQ(manager.compileData(), 0U);
    EXPECT_TRUE(manager.classDefRoot.isNull());
}

TEST_F(Pipeline, SendsNothingToTheKernel) {
    EXPECT_EQ(manager.compileData(), 0U);
    EXPECT_THAT(testfiles::list("/sys/kernel/security/tarn"), IsEmpty());
}

// ---- Stages that fail

TEST_F(Pipeline, ADirectoryThatCannotBeRemovedEndsTheRun) {
    testfiles::write(kDirectory, "a plain file");
    EXPECT_EQ(manager.compileData(), 1U);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, "openat .policydata failed: Not a directory"},
                                              Line{1, "##ERROR: 删除临时目录/etc/tarn/.policydata失败"}));
    EXPECT_THAT(leftBehind(), ElementsAre(".policydata"));
    EXPECT_FALSE(manager.fullCompiled);
}

TEST_F(Pipeline, ADirectoryThatCannotBeMadeEndsTheRun) {
    testfiles::link("/etc/tarn/nowhere", kDirectory);
    EXPECT_EQ(manager.compileData(), 1U);
    EXPECT_THAT(testlog::lines(),
                ElementsAreArray(firstLines(1, {{1, "##ERROR: in func createDirectory, mkdir error: File exists"},
                                                {1, "##ERROR: 临时目录/etc/tarn/.policydata创建失败"}})));
    EXPECT_THAT(leftBehind(), ElementsAre(".policydata"));
}

TEST_F(Pipeline, ALinkToAnotherTreeInPlaceOfTheDirectoryIsRefused) {
    testfiles::link("/tmp", kDirectory);
    EXPECT_EQ(manager.compileData(), 1U);
    EXPECT_THAT(testlog::lines(),
                ElementsAre(Line{1, "Illegal path in directoryExists: /etc/tarn/.policydata"}, kAllLines[0],
                            Line{1, "##ERROR: createDirectory illegal path /etc/tarn/.policydata"},
                            Line{1, "##ERROR: 临时目录/etc/tarn/.policydata创建失败"}));
}

// The laps of the stopwatch, in their order.
const std::vector<std::string> kLaps = {"编译策略头", "compileKernelNamespaceMsg", "parsePolicyData",
                                        "compileFullPolicyMsg"};

// Whether this output is the first laps, so many of them, and nothing else.
bool showsLaps(const std::string& output, std::size_t laps) {
    std::string pattern;
    for (std::size_t lap = 0; lap < laps; ++lap) {
        pattern += "compileData->" + kLaps[lap] + ":[0-9]+\n";
    }
    return std::regex_match(output, std::regex(pattern));
}

// A failing stage: what is done to it, the status, how many laps and how many of the ordinary lines come before its
// own, and what is on disk afterwards.
struct StageFailure {
    std::string name;
    std::map<std::string, int> writeFaults;
    std::function<void(ManagerAccess&)> prepare;
    unsigned int status;
    std::size_t laps;
    std::size_t linesBefore;
    std::vector<std::string> messages;
    std::vector<std::string> inDirectory;
    std::vector<std::string> sideFiles;
};
void PrintTo(const StageFailure& failure, std::ostream* stream) {
    *stream << failure.name;
}

class FailingStage : public Pipeline, public testing::WithParamInterface<StageFailure> {
protected:
    void SetUp() override {
        if (GetParam().prepare) {
            GetParam().prepare(manager);
        }
    }
    unsigned int compile() {
        const WriteFaults faults(GetParam().writeFaults);
        return manager.compileData();
    }
};

TEST_P(FailingStage, ItsStatusIsReturnedUnchanged) {
    EXPECT_EQ(compile(), GetParam().status);
}

TEST_P(FailingStage, ItsMessageIsTheLast) {
    compile();
    std::vector<Line> errors;
    for (const std::string& message : GetParam().messages) {
        errors.push_back({1, message});
    }
    EXPECT_THAT(testlog::lines(), ElementsAreArray(firstLines(GetParam().linesBefore, errors)));
}

TEST_P(FailingStage, WhatWasMadeStaysAndNothingFurtherIsMade) {
    compile();
    EXPECT_THAT(testfiles::list(kDirectory), ElementsAreArray(GetParam().inDirectory));
    std::vector<std::string> expected = GetParam().sideFiles;
    expected.emplace_back(".policydata");
    EXPECT_THAT(leftBehind(), testing::UnorderedElementsAreArray(expected));
}

TEST_P(FailingStage, TheStopwatchShowsTheStagesBeforeAlone) {
    manager.printtime = 1;
    StdoutCapture output;
    EXPECT_EQ(compile(), GetParam().status);
    EXPECT_TRUE(showsLaps(output.finish(), GetParam().laps));
    EXPECT_EQ(manager.timeMap.count("compileData"), 1U);
}

TEST_P(FailingStage, TheFullCompileFlagKeepsItsValue) {
    for (const bool before : {true, false}) {
        manager.fullCompiled = before;
        compile();
        EXPECT_EQ(manager.fullCompiled, before);
    }
}

TEST_P(FailingStage, CompileInitDataReturnsItsStatusAndRenamesNothing) {
    int renames = 0;
    auto hook = interpose::renameat.replace([&](int oldFd, const char* oldPath, int newFd, const char* newPath) {
        ++renames;
        return interpose::renameat.real(oldFd, oldPath, newFd, newPath);
    });
    const WriteFaults faults(GetParam().writeFaults);
    EXPECT_EQ(manager.compileInitData(), GetParam().status);
    EXPECT_EQ(renames, 0);
    EXPECT_FALSE(testfiles::exists(paths::kPolicyData));
}

TEST_P(FailingStage, TheNextRunStartsAfresh) {
    compile();
    unlink(paths::kSceneInfoTmp);
    rmdir(paths::kSceneInfoTmp);
    rmdir(paths::kUserInfoTmp);
    addRule("file");
    fake().labels = [](const Request&, Answer& answer) {
        answer["subject_file"]["/a"] = {TARN_ID{{1, 2, 3}}};
        return 0;
    };
    EXPECT_EQ(manager.compileData(), 0U);
    EXPECT_THAT(testfiles::list(kDirectory), ElementsAre(kPolicyFile, "beginmsg", "endmsg", "namemsg"));
    EXPECT_TRUE(manager.fullCompiled);
}

const std::string kWriteFault = " errno: No space left on device";

INSTANTIATE_TEST_SUITE_P(
    Of, FailingStage,
    testing::Values(
        StageFailure{"beginMessage",
                     {{paths::kBeginMessage, ENOSPC}},
                     nullptr,
                     ENOSPC,
                     0,
                     2,
                     {"####ERROR: Write /etc/tarn/.policydata/beginmsg" + kWriteFault,
                      "###ERROR: in func compileKernelMsg, write /etc/tarn/.policydata/beginmsg error.",
                      "##ERROR: 策略头编译失败，res为28"},
                     {"beginmsg"},
                     {}},
        StageFailure{"namespaceMessageRefused",
                     {{paths::kNamespaceMessage, EPROTO}},
                     nullptr,
                     EPROTO,
                     1,
                     3,
                     {"####ERROR: Write /etc/tarn/.policydata/namemsg errno: policy delivery order error",
                      "###ERROR: in func compileKernelNamespaceMsg, write /etc/tarn/.policydata/namemsg error.",
                      "##ERROR: 策略命名空间编译失败，res为71"},
                     {"beginmsg", "namemsg"},
                     {".scene_info"}},
        StageFailure{"sceneInfoNotOpened",
                     {},
                     [](ManagerAccess&) { testfiles::makeDirectories(paths::kSceneInfoTmp); },
                     kMinusOne,
                     1,
                     3,
                     {"####ERROR: Open /etc/tarn/.scene_info failed",
                      "###ERROR: in func compileKernelNamespaceMsg, write /etc/tarn/.scene_info error.",
                      "##ERROR: 策略命名空间编译失败，res为-1"},
                     {"beginmsg"},
                     {".scene_info"}},
        StageFailure{"labels",
                     {},
                     [](ManagerAccess&) { fake().labels = [](const Request&, Answer&) { return 5; }; },
                     5,
                     2,
                     4,
                     {"###ERROR: 标记获取接口调用失败, res为5.", "##ERROR: 策略数据获取失败，res为5"},
                     {"beginmsg", "namemsg"},
                     {".funcinfo", ".scene_info"}},
        StageFailure{"labelsNegative",
                     {},
                     [](ManagerAccess&) { fake().labels = [](const Request&, Answer&) { return -3; }; },
                     0xFFFFFFFD,
                     2,
                     4,
                     {"###ERROR: 标记获取接口调用失败, res为-3.", "##ERROR: 策略数据获取失败，res为-3"},
                     {"beginmsg", "namemsg"},
                     {".funcinfo", ".scene_info"}},
        StageFailure{"rules",
                     {},
                     [](ManagerAccess& manager) { manager.m_mapPolicy["base"].vecPolicy[0].sPermClass = "unknown"; },
                     1,
                     3,
                     7,
                     {"###ERROR: in func transPerm, wrong perm class unknown.",
                      "####ERROR: in func makeSinglePolicy, transPerm error，permclass is unknown，perm is read",
                      "###ERROR: in compileKernelPolicyThread, makeSinglePolicy error",
                      "###ERROR: in compileKernelPolicyMsg, process base error", "##ERROR: 主策略编译失败，res为1"},
                     {"beginmsg", "namemsg"},
                     {".funcinfo", ".scene_info"}},
        StageFailure{
            "endMessage",
            {{paths::kEndMessage, EIO}},
            nullptr,
            EIO,
            4,
            8,
            {"####ERROR: Write /etc/tarn/.policydata/endmsg errno: failed to get policy data stream from kernel",
             "###ERROR: in func compileKernelMsg, write /etc/tarn/.policydata/endmsg error.",
             "##ERROR: 策略结尾编译失败，res为5"},
            {kPolicyFile, "beginmsg", "endmsg", "namemsg"},
            {".funcinfo", ".scene_info"}},
        StageFailure{"userInfoNotOpened",
                     {},
                     [](ManagerAccess&) { testfiles::makeDirectories(paths::kUserInfoTmp); },
                     kMinusOne,
                     4,
                     9,
                     {"####ERROR: Open /etc/tarn/.userinfo failed", "###ERROR: in processUserInfo, writeFileData error",
                      "##ERROR: 用户信息存储失败，res为-1"},
                     {kPolicyFile, "beginmsg", "endmsg", "namemsg"},
                     {".funcinfo", ".scene_info", ".userinfo"}}),
    [](const testing::TestParamInfo<StageFailure>& parameter) { return parameter.param.name; });

// ---- Stopwatch

TEST_F(Pipeline, WithPrinttimeFourLapsAreShown) {
    manager.printtime = 1;
    StdoutCapture output;
    EXPECT_EQ(manager.compileData(), 0U);
    EXPECT_TRUE(showsLaps(output.finish(), 4));
    EXPECT_EQ(manager.timeMap.size(), 1U);
    EXPECT_EQ(manager.timeMap.count("compileData"), 1U);
}

TEST_F(Pipeline, WithoutPrinttimeNothingIsShown) {
    StdoutCapture output;
    EXPECT_EQ(manager.compileData(), 0U);
    EXPECT_EQ(output.finish(), "");
    EXPECT_THAT(manager.timeMap, IsEmpty());
}

TEST_F(Pipeline, ADirectoryThatCannotBeRemovedOrMadeStartsNoStopwatch) {
    manager.printtime = 1;
    StdoutCapture output;
    testfiles::write(kDirectory, "a plain file");
    EXPECT_EQ(manager.compileData(), 1U);
    ASSERT_EQ(unlink(kDirectory.c_str()), 0);
    testfiles::link("/etc/tarn/nowhere", kDirectory);
    EXPECT_EQ(manager.compileData(), 1U);
    EXPECT_EQ(output.finish(), "");
    EXPECT_THAT(manager.timeMap, IsEmpty());
}

// ---- Threads

// The threads that are started meanwhile. Each is held for a while after its work, so that nobody misses its end who
// does not wait for it.
class StartedThreads {
public:
    StartedThreads()
        : guard_(interpose::pthread_create.replace(
              [this](pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*), void* argument) {
                  auto call = std::make_unique<Call>(Call{start, argument, running_});
                  const int result = interpose::pthread_create.real(thread, attributes, run, call.get());
                  if (result == 0) {
                      static_cast<void>(call.release());  // the thread owns it now
                      ++running_;
                      ++started_;
                  }
                  return result;
              })) {}

    int started() const { return started_; }
    int running() const { return running_; }

private:
    struct Call {
        void* (*start)(void*);
        void* argument;
        std::atomic<int>& running;
    };
    static void* run(void* argument) {
        const std::unique_ptr<Call> call(static_cast<Call*>(argument));
        void* const result = call->start(call->argument);
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        --call->running;
        return result;
    }

    std::atomic<int> started_{0};
    std::atomic<int> running_{0};
    decltype(interpose::pthread_create)::Guard guard_;
};

std::size_t threadCount() {
    return testfiles::list("/proc/self/task").size();
}

// A thread that was waited for may still be listed for a moment.
bool threadsComeTo(std::size_t count) {
    for (int tries = 0; tries < 1000; ++tries) {
        if (threadCount() == count) {
            return true;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
}

TEST_F(Pipeline, LeavesNoThreadRunningWhateverItsOutcome) {
    manager.threadnum = 4;
    std::vector<PolicyNode>& rules = manager.m_mapPolicy["base"].vecPolicy;
    rules.resize(5000, rules.front());
    const std::size_t before = threadCount();
    for (const char* permClass : {"file", "unknown"}) {
        rules.back().sPermClass = permClass;
        const StartedThreads threads;
        EXPECT_EQ(manager.compileData(), permClass == std::string("file") ? 0U : 1U);
        EXPECT_EQ(threads.running(), 0) << permClass;
        EXPECT_GE(threads.started(), 4) << permClass;
    }
    EXPECT_TRUE(threadsComeTo(before));
}

// ---- compileInitData

TEST_F(Pipeline, CompileInitDataGivesTheSetItsFinalNames) {
    EXPECT_EQ(manager.compileInitData(), 0U);
    EXPECT_THAT(leftBehind(), ElementsAre("funcinfo", "policydata", "scene_info", "userinfo"));
    EXPECT_THAT(testfiles::list(paths::kPolicyData), ElementsAre(kPolicyFile, "beginmsg", "endmsg", "namemsg"));
    EXPECT_TRUE(manager.fullCompiled);
}

TEST_F(Pipeline, CompileInitDataReplacesAnOlderSet) {
    testfiles::write(std::string(paths::kPolicyData) + "/old_0_net_g_0", "old");
    EXPECT_EQ(manager.compileInitData(), 0U);
    EXPECT_THAT(testfiles::list(paths::kPolicyData), ElementsAre(kPolicyFile, "beginmsg", "endmsg", "namemsg"));
}

TEST_F(Pipeline, CompileInitDataSendsNothingAndKeepsTheVariables) {
    manager.dynamicVarMap[{"net", "v"}] = 1;
    testfiles::write(paths::kDynamicInfo, "net:v:1\n");
    EXPECT_EQ(manager.compileInitData(), 0U);
    EXPECT_THAT(testfiles::list("/sys/kernel/security/tarn"), IsEmpty());
    EXPECT_EQ(manager.dynamicVarMap.size(), 1U);
    EXPECT_TRUE(testfiles::exists(paths::kDynamicInfo));
}

TEST_F(Pipeline, CompileInitDataHandsOnAFailingRename) {
    testfiles::makeDirectories(std::string(paths::kSceneInfo) + "/in the way");
    EXPECT_EQ(manager.compileInitData(), 1U);
    EXPECT_TRUE(testfiles::exists(paths::kPolicyDataTmp));
    EXPECT_THAT(testlog::lines(1).back(), (Line{1, "##ERROR: in func finalizeTmpFile, rename scene info error."}));
}

TEST_F(Pipeline, CompileInitDataHandsOnARefusedPathAsMinusOne) {
    testfiles::link("/etc/passwd", paths::kSceneInfo);
    EXPECT_EQ(manager.compileInitData(), kMinusOne);
}

}  // namespace
