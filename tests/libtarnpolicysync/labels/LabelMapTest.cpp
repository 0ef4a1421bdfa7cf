#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "Common/Common.h"
#include "support/FakeLabelManager.h"
#include "support/Files.h"
#include "support/LogLines.h"
#include "support/ManagerAccess.h"
#include "support/MutexTrace.h"
#include "support/Threads.h"

namespace {

using fakelabels::Answer;
using fakelabels::fake;
using fakelabels::Names;
using fakelabels::Oids;
using fakelabels::Request;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testlog::Line;

const std::string kEmptyAnswer = "####WARN: 标记获取接口返回值为空";

std::string unlabelled(const std::string& kind, const std::string& name) {
    return "####WARN: " + kind + " " + name + " 未获取到标记";
}
Line info(int level, const std::string& text) {
    return {level, "###INFO: " + text};
}

// An answer that labels everything that is asked, each name with one identifier.
int labelAll(const Request& request, Answer& answer) {
    for (const auto& [kind, names] : request) {
        for (const std::string& name : names) {
            answer[kind][name] = {TARN_ID{{1, 2, 3}}};
        }
    }
    return 0;
}

// ---- Registering names

TEST(SetFileToGetLabelMap, KeepsNamesByKindInTheOrderOfTheirRegistration) {
    ManagerAccess manager;
    EXPECT_EQ(manager.setFileToGetLabelMap("subject_file", "/usr/bin/b"), 0);
    EXPECT_EQ(manager.setFileToGetLabelMap("subject_file", "/usr/bin/a"), 0);
    EXPECT_EQ(manager.setFileToGetLabelMap("object_pkg", "bash"), 0);
    EXPECT_THAT(manager.m_mapFileToGetLabel,
                ElementsAre(Pair("object_pkg", ElementsAre("bash")),
                            Pair("subject_file", ElementsAre("/usr/bin/b", "/usr/bin/a"))));
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(SetFileToGetLabelMap, ANameIsKeptOncePerKind) {
    ManagerAccess manager;
    manager.setFileToGetLabelMap("file", "/usr/bin/a");
    manager.setFileToGetLabelMap("file", "/usr/bin/b");
    EXPECT_EQ(manager.setFileToGetLabelMap("file", "/usr/bin/a"), 0);
    EXPECT_EQ(manager.setFileToGetLabelMap("other", "/usr/bin/a"), 0);
    EXPECT_THAT(manager.m_mapFileToGetLabel, ElementsAre(Pair("file", ElementsAre("/usr/bin/a", "/usr/bin/b")),
                                                         Pair("other", ElementsAre("/usr/bin/a"))));
}

TEST(SetFileToGetLabelMap, NamesAreComparedExactly) {
    ManagerAccess manager;
    manager.setFileToGetLabelMap("file", "/a");
    manager.setFileToGetLabelMap("file", "/A");
    manager.setFileToGetLabelMap("file", "/a ");
    manager.setFileToGetLabelMap("File", "/a");
    EXPECT_THAT(manager.m_mapFileToGetLabel,
                ElementsAre(Pair("File", ElementsAre("/a")), Pair("file", ElementsAre("/a", "/A", "/a "))));
}

TEST(SetFileToGetLabelMap, RefusesAnEmptyKindOrName) {
    ManagerAccess manager;
    for (const auto& [kind, name] :
         std::vector<std::pair<std::string, std::string>>{{"", "/a"}, {"file", ""}, {"", ""}}) {
        testlog::clear();
        EXPECT_EQ(manager.setFileToGetLabelMap(kind, name), 1);
        EXPECT_THAT(testlog::lines(),
                    ElementsAre(Line{1, "###ERROR: in func setFileToGetLabelMap, empty sMapKey or empty sMapValue."}));
    }
    EXPECT_THAT(manager.m_mapFileToGetLabel, IsEmpty());
}

TEST(SetFileToGetLabelMap, HoldsItsMutexAlone) {
    ManagerAccess manager;
    const MutexTrace trace(manager);
    manager.setFileToGetLabelMap("file", "/a");
    EXPECT_THAT(trace.steps(), ElementsAre("lock files", "unlock files"));
}

TEST(SetFileToGetLabelMap, AFailingLockThrowsASystemErrorAndStoresNothing) {
    ManagerAccess manager;
    MutexTrace trace(manager);
    trace.fail("files", EDEADLK);
    EXPECT_THROW(manager.setFileToGetLabelMap("file", "/a"), std::system_error);
    EXPECT_THAT(manager.m_mapFileToGetLabel, IsEmpty());
}

TEST(SetFileToGetLabelMap, MayBeCalledFromManyThreads) {
    ManagerAccess manager;
    runInThreads(4, [&](std::size_t /*thread*/) {
        for (int turn = 0; turn < 200; ++turn) {
            manager.setFileToGetLabelMap("file", "/" + std::to_string(turn));
        }
    });
    EXPECT_EQ(manager.m_mapFileToGetLabel["file"].size(), 200U);
}

// ---- Checking an answer

TEST(VerifyLabelResult, AnAnswerWithoutKindsIsLoggedAsAnErrorAndNotLookedAtFurther) {
    ManagerAccess manager;
    manager.m_mapFileToGetLabel = {{"subject_file", {"/a"}}};
    Answer answer;
    EXPECT_EQ(manager.verifyLabelResult(answer), 0);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, kEmptyAnswer}));
    EXPECT_THAT(answer, IsEmpty());
}

TEST(VerifyLabelResult, AnAnswerWithoutIdentifiersIsLoggedAsANoticeAndThenNameByName) {
    ManagerAccess manager;
    manager.m_mapFileToGetLabel = {{"object_dir", {"/b", "/a"}}, {"subject_file", {"/c"}}};
    Answer answer{{"object_dir", {{"/b", {}}}}, {"subject_file", {}}};
    EXPECT_EQ(manager.verifyLabelResult(answer), 0);
    EXPECT_THAT(testlog::lines(),
                ElementsAre(Line{2, kEmptyAnswer}, Line{2, unlabelled("object_dir", "/b")},
                            Line{2, unlabelled("object_dir", "/a")}, Line{2, unlabelled("subject_file", "/c")}));
}

TEST(VerifyLabelResult, ACompleteAnswerLogsNothing) {
    ManagerAccess manager;
    manager.m_mapFileToGetLabel = {{"object_dir", {"/b", "/a"}}, {"subject_file", {"/c"}}};
    Answer answer;
    labelAll(manager.m_mapFileToGetLabel, answer);
    EXPECT_EQ(manager.verifyLabelResult(answer), 0);
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(VerifyLabelResult, AMissingNameAndAnEmptyListAreReportedAlike) {
    ManagerAccess manager;
    manager.m_mapFileToGetLabel = {{"subject_file", {"/missing", "/labelled", "/empty"}}};
    Answer answer{{"subject_file", {{"/labelled", {TARN_ID{{1, 2, 3}}}}, {"/empty", {}}}}};
    EXPECT_EQ(manager.verifyLabelResult(answer), 0);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{2, unlabelled("subject_file", "/missing")},
                                              Line{2, unlabelled("subject_file", "/empty")}));
}

TEST(VerifyLabelResult, ALabelUnderAnotherKindDoesNotCountForTheName) {
    ManagerAccess manager;
    manager.m_mapFileToGetLabel = {{"subject_file", {"/a"}}};
    Answer answer{{"object_file", {{"/a", {TARN_ID{{1, 2, 3}}}}}}};
    EXPECT_EQ(manager.verifyLabelResult(answer), 0);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{2, unlabelled("subject_file", "/a")}));
}

TEST(VerifyLabelResult, OneIdentifierUnderAnyKindKeepsTheAnswerFromBeingEmpty) {
    ManagerAccess manager;
    Answer answer{{"a", {{"x", {}}}}, {"b", {}}, {"c", {{"y", {}}, {"z", {TARN_ID{{0, 0, 0}}}}}}};
    EXPECT_EQ(manager.verifyLabelResult(answer), 0);
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(VerifyLabelResult, LookingAKindUpCreatesItButNoName) {
    ManagerAccess manager;
    manager.m_mapFileToGetLabel = {{"object_dir", {"/b"}}, {"subject_file", {"/a"}}};
    Answer answer{{"subject_file", {{"/other", {TARN_ID{{1, 2, 3}}}}}}};
    manager.verifyLabelResult(answer);
    ASSERT_EQ(answer.size(), 2U);
    EXPECT_THAT(answer.at("object_dir"), IsEmpty());
    EXPECT_EQ(answer.at("subject_file").size(), 1U);
}

TEST(VerifyLabelResult, AKindWithoutNamesIsNotLookedUp) {
    ManagerAccess manager;
    manager.m_mapFileToGetLabel = {{"object_dir", {}}, {"subject_file", {"/a"}}};
    Answer answer{{"subject_file", {{"/a", {TARN_ID{{1, 2, 3}}}}}}};
    manager.verifyLabelResult(answer);
    EXPECT_EQ(answer.size(), 1U);
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(VerifyLabelResult, TakesNoLock) {
    ManagerAccess manager;
    manager.m_mapFileToGetLabel = {{"object_dir", {"/b"}}};
    Answer answer{{"object_dir", {}}};
    const MutexTrace trace(manager);
    manager.verifyLabelResult(answer);
    EXPECT_THAT(trace.steps(), ElementsAre());
}

// ---- Asking the label manager

class Acquisition : public testing::Test {
protected:
    Acquisition() { fake() = fakelabels::Fake{}; }
    // Everything that may be asked is registered.
    void registerAll() {
        manager.setFileToGetLabelMap("subject_file", "/b");
        manager.setFileToGetLabelMap("subject_file", "/a");
        manager.setFileToGetLabelMap("object_pkg", "bash");
        manager.addToDeviceVec("usb0");
        manager.addToDeviceVec("usb0");
        manager.addToKmodVec("netmod");
    }
    ManagerAccess manager;
};

TEST_F(Acquisition, AsksForLabelsThenDevicesThenModulesOnceEach) {
    registerAll();
    fake().labels = labelAll;
    EXPECT_EQ(manager.parsePolicyData(), 0);
    EXPECT_THAT(fake().order, ElementsAre("labels", "devices", "modules"));
}

TEST_F(Acquisition, HandsOverTheTablesAsTheyStandAndEmptyOutputs) {
    registerAll();
    fake().labels = labelAll;
    EXPECT_EQ(manager.parsePolicyData(), 0);
    EXPECT_THAT(fake().labelRequests, ElementsAre(manager.m_mapFileToGetLabel));
    EXPECT_THAT(fake().labelRequestObjects, ElementsAre(static_cast<const void*>(&manager.m_mapFileToGetLabel)));
    ASSERT_EQ(fake().labelAnswersPassed.size(), 1U);
    EXPECT_TRUE(fake().labelAnswersPassed[0].empty());
    EXPECT_THAT(fake().deviceRequests, ElementsAre(ElementsAre("usb0", "usb0")));
    ASSERT_EQ(fake().deviceOidsPassed.size(), 1U);
    EXPECT_TRUE(fake().deviceOidsPassed[0].empty());
    EXPECT_THAT(fake().moduleRequests, ElementsAre(ElementsAre("netmod")));
    ASSERT_EQ(fake().moduleOidsPassed.size(), 1U);
    EXPECT_TRUE(fake().moduleOidsPassed[0].empty());
}

TEST_F(Acquisition, EachRunStartsWithFreshAnswers) {
    registerAll();
    fake().labels = labelAll;
    fake().devices = [](const Names&, Oids& oids) {
        oids["usb0"] = TARN_ID{{1, 1, 1}};
        return 0;
    };
    EXPECT_EQ(manager.parsePolicyData(), 0);
    EXPECT_EQ(manager.parsePolicyData(), 0);
    ASSERT_EQ(fake().labelAnswersPassed.size(), 2U);
    EXPECT_TRUE(fake().labelAnswersPassed[1].empty());
    EXPECT_TRUE(fake().deviceOidsPassed[1].empty());
}

TEST_F(Acquisition, LabelsAreAskedForEvenWhenNoNameIsRegistered) {
    EXPECT_EQ(manager.parsePolicyData(), 0);
    EXPECT_THAT(fake().order, ElementsAre("labels"));
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, kEmptyAnswer}));
}

TEST_F(Acquisition, WithoutDevicesDevicesAreNotAskedFor) {
    manager.addToKmodVec("netmod");
    EXPECT_EQ(manager.parsePolicyData(), 0);
    EXPECT_THAT(fake().order, ElementsAre("labels", "modules"));
}

TEST_F(Acquisition, WithoutModulesModulesAreNotAskedFor) {
    manager.addToDeviceVec("usb0");
    EXPECT_EQ(manager.parsePolicyData(), 0);
    EXPECT_THAT(fake().order, ElementsAre("labels", "devices"));
}

TEST_F(Acquisition, AnEmptyAnswerGivesOneWarningAndNoneByName) {
    registerAll();
    EXPECT_EQ(manager.parsePolicyData(), 0);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, kEmptyAnswer}));
}

TEST_F(Acquisition, NamesWithoutLabelsDoNotStopTheParsing) {
    registerAll();
    fake().labels = [](const Request&, Answer& answer) {
        answer["subject_file"]["/a"] = {TARN_ID{{1, 2, 3}}};
        return 0;
    };
    EXPECT_EQ(manager.parsePolicyData(), 0);
    EXPECT_THAT(testlog::lines(),
                ElementsAre(Line{2, unlabelled("object_pkg", "bash")}, Line{2, unlabelled("subject_file", "/b")}));
}

TEST_F(Acquisition, SuccessIsLoggedAsADetail) {
    registerAll();
    fake().labels = labelAll;
    setLogLevel(4);
    EXPECT_EQ(manager.parsePolicyData(), 0);
    EXPECT_THAT(testlog::lines(), ElementsAre(info(4, "标记获取完成")));
}

// A call of the label manager that answers with an error code.
struct Refusal {
    std::string call;
    std::string mutex;
    std::string message;  // without the number
    std::vector<std::string> order;
};
void PrintTo(const Refusal& refusal, std::ostream* stream) {
    *stream << refusal.call;
}

class Refusals : public testing::TestWithParam<Refusal> {
protected:
    Refusals() {
        fake() = fakelabels::Fake{};
        manager.addToDeviceVec("usb0");
        manager.addToKmodVec("netmod");
        manager.setFileToGetLabelMap("subject_file", "/a");
        PolicyDb group;
        group.vecPolicy.resize(1);
        group.vecPolicy[0].bSubjectFlag = false;
        group.vecPolicy[0].vecSubjectName = {"/a"};
        group.vecPolicy[0].vecSubjectId = {TARN_ID{{7, 7, 7}}};
        manager.addPolicy("base", group);
    }
    void refuseWith(int code) {
        fake().labels = labelAll;
        if (GetParam().call == "labels") {
            fake().labels = [code](const Request& request, Answer& answer) {
                labelAll(request, answer);
                return code;
            };
        } else if (GetParam().call == "devices") {
            fake().devices = [code](const Names&, Oids&) { return code; };
        } else {
            fake().modules = [code](const Names&, Oids&) { return code; };
        }
    }
    ManagerAccess manager;
};

TEST_P(Refusals, EndParsingWithTheSameNumberAndOneMessage) {
    for (const int code : {5, 1, -1, 255, 2147483647, -2147483647}) {
        testlog::clear();
        refuseWith(code);
        EXPECT_EQ(manager.parsePolicyData(), code);
        EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, GetParam().message + std::to_string(code) + "."}));
    }
}

TEST_P(Refusals, NothingFurtherIsAsked) {
    refuseWith(5);
    manager.parsePolicyData();
    EXPECT_EQ(fake().order, GetParam().order);
}

TEST_P(Refusals, NoRuleIsTouched) {
    refuseWith(5);
    manager.parsePolicyData();
    const PolicyNode& rule = manager.m_mapPolicy["base"].vecPolicy[0];
    ASSERT_EQ(rule.vecSubjectId.size(), 1U);
    EXPECT_EQ(rule.vecSubjectId[0].uiWord[0], 7U);
}

TEST_P(Refusals, AllMutexesAreReleased) {
    refuseWith(5);
    manager.parsePolicyData();
    for (const auto& [name, mutex] : MutexTrace::mutexesOf(manager)) {
        EXPECT_TRUE(isFree(*mutex)) << name;
    }
}

TEST_P(Refusals, AreNotLoggedAsCompleted) {
    setLogLevel(4);
    refuseWith(5);
    manager.parsePolicyData();
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, GetParam().message + "5."}));
}

TEST_P(Refusals, TheMutexIsHeldUntilTheMessageIsLogged) {
    refuseWith(5);
    std::vector<std::size_t> linesAtRelease;
    MutexTrace trace(manager);
    trace.watch([&](const std::string& step) {
        if (step == "unlock " + GetParam().mutex) {
            linesAtRelease.push_back(testlog::lines().size());
        }
    });
    manager.parsePolicyData();
    EXPECT_THAT(linesAtRelease, ElementsAre(1U));
}

INSTANTIATE_TEST_SUITE_P(
    Of, Refusals,
    testing::Values(Refusal{"labels", "files", "###ERROR: 标记获取接口调用失败, res为", {"labels"}},
                    Refusal{"devices", "devices", "###ERROR: 获取设备id失败, res为", {"labels", "devices"}},
                    Refusal{
                        "modules", "modules", "###ERROR: 获取内核模块id失败, res为", {"labels", "devices", "modules"}}),
    [](const testing::TestParamInfo<Refusal>& parameter) { return parameter.param.call; });

// ---- Locks while the label manager is asked

// The mutexes that another thread could not take now.
std::vector<std::string> heldMutexes(ManagerAccess& manager) {
    std::vector<std::string> held;
    std::thread([&] {
        for (const auto& [name, mutex] : MutexTrace::mutexesOf(manager)) {
            if (!isFree(*mutex)) {
                held.push_back(name);
            }
        }
    }).join();
    return held;
}

TEST_F(Acquisition, EachCallRunsUnderTheMutexOfItsTableAlone) {
    registerAll();
    std::vector<std::string> atLabels;
    std::vector<std::string> atDevices;
    std::vector<std::string> atModules;
    fake().labels = [&](const Request& request, Answer& answer) {
        atLabels = heldMutexes(manager);
        return labelAll(request, answer);
    };
    fake().devices = [&](const Names&, Oids&) {
        atDevices = heldMutexes(manager);
        return 0;
    };
    fake().modules = [&](const Names&, Oids&) {
        atModules = heldMutexes(manager);
        return 0;
    };
    EXPECT_EQ(manager.parsePolicyData(), 0);
    EXPECT_THAT(atLabels, ElementsAre("files"));
    EXPECT_THAT(atDevices, ElementsAre("devices"));
    EXPECT_THAT(atModules, ElementsAre("modules"));
    EXPECT_THAT(heldMutexes(manager), ElementsAre());
}

TEST_F(Acquisition, TheMutexesAreTakenOneAfterTheOtherAndThePolicyTableLast) {
    registerAll();
    fake().labels = labelAll;
    const MutexTrace trace(manager);
    EXPECT_EQ(manager.parsePolicyData(), 0);
    EXPECT_THAT(trace.steps(), ElementsAre("lock files", "unlock files", "lock devices", "unlock devices",
                                           "lock modules", "unlock modules", "lock policy", "unlock policy"));
}

TEST_F(Acquisition, SuccessIsLoggedBeforeThePolicyTableIsLocked) {
    setLogLevel(4);
    MutexTrace trace(manager);
    std::vector<testlog::Line> before;
    trace.watch([&](const std::string& step) {
        if (step == "lock policy") {
            before = testlog::lines(4);
        }
    });
    EXPECT_EQ(manager.parsePolicyData(), 0);
    ASSERT_FALSE(before.empty());
    EXPECT_EQ(before.back(), (testlog::Line{4, "###INFO: 标记获取完成"}));
}

TEST_F(Acquisition, TheListMutexesAreTakenEvenForEmptyLists) {
    const MutexTrace trace(manager);
    EXPECT_EQ(manager.parsePolicyData(), 0);
    EXPECT_THAT(trace.steps(), ElementsAre("lock files", "unlock files", "lock devices", "unlock devices",
                                           "lock modules", "unlock modules", "lock policy", "unlock policy"));
}

// What the log holds at the first step of this name.
std::vector<Line> linesAt(MutexTrace& trace, ManagerAccess& manager, const std::string& wanted) {
    std::vector<Line> lines;
    bool reached = false;
    trace.watch([&](const std::string& step) {
        if (step == wanted && !reached) {
            lines = testlog::lines();
            reached = true;
        }
    });
    EXPECT_EQ(manager.parsePolicyData(), 0);
    trace.watch({});
    EXPECT_TRUE(reached);
    return lines;
}

TEST_F(Acquisition, TheAnswerIsCheckedAfterTheMutexIsReleased) {
    registerAll();
    fake().labels = [](const Request&, Answer& answer) {
        answer["subject_file"]["/a"] = {TARN_ID{{1, 2, 3}}};
        return 0;
    };
    MutexTrace trace(manager);
    EXPECT_THAT(linesAt(trace, manager, "unlock files"), ElementsAre());
    EXPECT_THAT(testlog::lines(),
                ElementsAre(Line{2, unlabelled("object_pkg", "bash")}, Line{2, unlabelled("subject_file", "/b")}));
}

TEST_F(Acquisition, WithLogflagTheRequestIsTracedBeforeTheMutexIsTaken) {
    registerAll();
    manager.logflag = true;
    fake().labels = labelAll;
    MutexTrace trace(manager);
    EXPECT_THAT(linesAt(trace, manager, "lock files"),
                ElementsAre(info(3, "m_mapFileToGetLabel信息打印"), info(3, "object_pkg"), info(3, "bash"),
                            info(3, "subject_file"), info(3, "/b"), info(3, "/a")));
}

// ---- Traces

TEST_F(Acquisition, WithLogflagRequestAndAnswerAreTracedWordBySecondThirdFirst) {
    registerAll();
    manager.logflag = true;
    fake().labels = [](const Request&, Answer& answer) {
        answer["subject_file"]["/b"] = {TARN_ID{{11, 12, 13}},
                                        TARN_ID{{18446744073709551615U, 0, 9223372036854775808U}}};
        answer["subject_file"]["/a"] = {};
        answer["extra"] = {};
        return 0;
    };
    EXPECT_EQ(manager.parsePolicyData(), 0);
    EXPECT_THAT(testlog::lines(), testing::ElementsAreArray({info(3, "m_mapFileToGetLabel信息打印"),
                                                             info(3, "object_pkg"),
                                                             info(3, "bash"),
                                                             info(3, "subject_file"),
                                                             info(3, "/b"),
                                                             info(3, "/a"),
                                                             Line{2, unlabelled("object_pkg", "bash")},
                                                             Line{2, unlabelled("subject_file", "/a")},
                                                             info(3, "map_FileToLabel信息打印"),
                                                             info(3, "extra"),
                                                             info(3, "object_pkg"),
                                                             info(3, "subject_file"),
                                                             info(3, "/a"),
                                                             info(3, "/b"),
                                                             info(3, "12"),
                                                             info(3, "13"),
                                                             info(3, "11"),
                                                             info(3, "0"),
                                                             info(3, "9223372036854775808"),
                                                             info(3, "18446744073709551615")}));
}

TEST_F(Acquisition, WithLogflagEmptyTablesAreTracedByTheirHeadsAlone) {
    manager.logflag = true;
    EXPECT_EQ(manager.parsePolicyData(), 0);
    EXPECT_THAT(testlog::lines(), ElementsAre(info(3, "m_mapFileToGetLabel信息打印"), Line{1, kEmptyAnswer},
                                              info(3, "map_FileToLabel信息打印")));
}

TEST_F(Acquisition, WithLogflagARefusedRequestIsTracedAndTheAnswerIsNot) {
    manager.logflag = true;
    fake().labels = [](const Request&, Answer&) { return 5; };
    EXPECT_EQ(manager.parsePolicyData(), 5);
    EXPECT_THAT(testlog::lines(), ElementsAre(info(3, "m_mapFileToGetLabel信息打印"),
                                              Line{1, "###ERROR: 标记获取接口调用失败, res为5."}));
}

TEST_F(Acquisition, WithoutLogflagNothingIsTraced) {
    registerAll();
    fake().labels = labelAll;
    EXPECT_EQ(manager.parsePolicyData(), 0);
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

}  // namespace
