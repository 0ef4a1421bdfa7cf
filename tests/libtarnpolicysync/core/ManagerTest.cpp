#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <unistd.h>
#include <csignal>

#include <cerrno>
#include <memory>
#include <new>
#include <string>
#include <system_error>
#include <vector>

#include "libtarnpolicysync/Paths.h"
#include "support/Files.h"
#include "support/Interpose.h"
#include "support/LogLines.h"
#include "support/ManagerAccess.h"
#include "support/MutexTrace.h"

namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

PolicyDb groupOf(std::vector<std::string> classes) {
    PolicyDb group;
    group.uiFirst = 1;
    group.uiSecond = 2;
    group.uiThird = 0xFFFFFFFF;
    for (std::string& name : classes) {
        PolicyNode rule;
        rule.sPermClass = std::move(name);
        rule.vecSubjectId = {TARN_ID{{1, 2, 3}}};
        group.vecPolicy.push_back(std::move(rule));
    }
    return group;
}

std::vector<std::string> classesOf(const PolicyDb& group) {
    std::vector<std::string> names;
    for (const PolicyNode& rule : group.vecPolicy) {
        names.push_back(rule.sPermClass);
    }
    return names;
}

// Every table holds something, also those that clearAllPolicy keeps.
void fill(ManagerAccess& manager) {
    manager.m_mapPolicy["base"] = groupOf({"file"});
    manager.m_mapNamespaceFunc["net"] = {"m:f"};
    manager.m_mapFileToGetLabel["subject_file"] = {"/a"};
    manager.deviceVec = {"usb0"};
    manager.kmodVec = {"netmod"};
    manager.m_mapUserUid["alice"] = 1000;
    manager.m_mapNameId["net"] = 7;
    manager.m_mapFuncId[{"net", "m:f"}] = 1;
    manager.dynamicVarMap[{"net", "v"}] = 1;
    manager.classDefRoot["file"] = Json::objectValue;
    manager.timeMap["stage"] = 5;
}

// The tables that clearAllPolicy empties, in its order.
const std::vector<std::string> kClearingOrder = {"functions", "namespace", "policy", "files",
                                                 "devices",   "modules",   "users"};

bool isEmpty(const ManagerAccess& manager, const std::string& table) {
    if (table == "functions") {
        return manager.m_mapFuncId.empty();
    }
    if (table == "namespace") {
        return manager.m_mapNamespaceFunc.empty();
    }
    if (table == "policy") {
        return manager.m_mapPolicy.empty();
    }
    if (table == "files") {
        return manager.m_mapFileToGetLabel.empty();
    }
    if (table == "devices") {
        return manager.deviceVec.empty();
    }
    return table == "modules" ? manager.kmodVec.empty() : manager.m_mapUserUid.empty();
}

TEST(Construction, WithoutFilesEveryTableIsEmptyAndEverySwitchOff) {
    const ManagerAccess manager;
    EXPECT_TRUE(manager.m_mapPolicy.empty());
    EXPECT_TRUE(manager.m_mapNamespaceFunc.empty());
    EXPECT_TRUE(manager.m_mapFileToGetLabel.empty());
    EXPECT_TRUE(manager.deviceVec.empty());
    EXPECT_TRUE(manager.kmodVec.empty());
    EXPECT_TRUE(manager.m_mapUserUid.empty());
    EXPECT_TRUE(manager.m_mapNameId.empty());
    EXPECT_TRUE(manager.m_mapFuncId.empty());
    EXPECT_TRUE(manager.dynamicVarMap.empty());
    EXPECT_TRUE(manager.timeMap.empty());
    EXPECT_TRUE(manager.classDefRoot.isNull());
    EXPECT_FALSE(manager.fullCompiled);
    EXPECT_EQ(manager.printtime, 0U);
    EXPECT_FALSE(manager.logflag);
}

TEST(Construction, WithoutFilesNothingIsLogged) {
    const ManagerAccess manager;
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(Construction, TheThreadCountIsNeverZero) {
    const ManagerAccess manager;
    EXPECT_GE(manager.threadnum, 1);
    EXPECT_LE(manager.threadnum, 8);
}

TEST(Construction, TheHashTablesHaveALoadFactorOfOne) {
    const ManagerAccess manager;
    EXPECT_EQ(manager.m_mapNamespaceFunc.max_load_factor(), 1.0F);
    EXPECT_EQ(manager.m_mapUserUid.max_load_factor(), 1.0F);
    EXPECT_EQ(manager.m_mapNameId.max_load_factor(), 1.0F);
    EXPECT_EQ(manager.timeMap.max_load_factor(), 1.0F);
}

TEST(Construction, AllMutexesAreUnlocked) {
    ManagerAccess manager;
    for (const auto& [name, mutex] : MutexTrace::mutexesOf(manager)) {
        EXPECT_TRUE(isFree(*mutex)) << name;
    }
}

TEST(Construction, ReadsConfigurationThenNamesThenVariables) {
    std::vector<std::string> opened;
    {
        auto hook = interpose::lstat.replace([&](const char* path, struct stat* status) {
            opened.emplace_back(path);
            return interpose::lstat.real(path, status);
        });
        const ManagerAccess manager;
    }
    EXPECT_THAT(opened, ElementsAre(paths::kConfiguration, paths::kSceneInfo, paths::kDynamicInfo));
}

TEST(Construction, ReportsBadLinesOfAllThreeFilesInTheOrderOfReading) {
    testfiles::write(paths::kConfiguration, "one\n");
    testfiles::write(paths::kSceneInfo, "two\n");
    testfiles::write(paths::kDynamicInfo, "three\n");
    const ManagerAccess manager;
    EXPECT_THAT(
        testlog::lines(),
        ElementsAre(testlog::Line{1, "###ERROR: in func initConfigInfo, /etc/tarn/tarn-policy.conf is truncate."},
                    testlog::Line{1, "###ERROR: in func importNameInfo, /etc/tarn/scene_info is truncate."},
                    testlog::Line{1, "###INFO: /etc/tarn/dynamicinfo is truncated"}));
}

TEST(Construction, TheConfiguredLogLevelHoldsForNamesAndVariablesAlready) {
    testfiles::write(paths::kConfiguration, "loglevel=0\n");
    testfiles::write(paths::kSceneInfo, "two\n");
    testfiles::write(paths::kDynamicInfo, "three\n");
    const ManagerAccess manager;
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(Construction, LoadsNamesAndVariables) {
    testfiles::write(paths::kSceneInfo, "7:net\n");
    testfiles::write(paths::kDynamicInfo, "net:v:3\n");
    ManagerAccess manager;
    EXPECT_EQ(manager.m_mapNameId["net"], 7U);
    EXPECT_EQ((manager.dynamicVarMap[{"net", "v"}]), 3U);
}

TEST(Construction, DoesNotLoadFunctionsUsersOrClassDefinitions) {
    testfiles::write(paths::kFuncInfo, "net#m:f\n");
    testfiles::write(paths::kUserInfo, "alice:1000\n");
    testfiles::write(paths::kClassDefinitions, "{\"file\":{\"value\":1}}");
    const ManagerAccess manager;
    EXPECT_TRUE(manager.m_mapNamespaceFunc.empty());
    EXPECT_TRUE(manager.m_mapFuncId.empty());
    EXPECT_TRUE(manager.m_mapUserUid.empty());
    EXPECT_TRUE(manager.classDefRoot.isNull());
}

TEST(Construction, AnExceptionFromAnyOfTheThreeReadersReachesTheHost) {
    for (const char* path : {paths::kConfiguration, paths::kSceneInfo, paths::kDynamicInfo}) {
        testfiles::write(path, "content\n");
        auto hook =
            interpose::getdelim.replace([&](char**, std::size_t*, int, FILE*) -> ssize_t { throw std::bad_alloc(); });
        EXPECT_THROW(ManagerAccess(), std::bad_alloc) << path;
        testfiles::write(path, "");
        unlink(path);
    }
}

TEST(Construction, DoesNotInstallTheDebugSignal) {
    struct sigaction before {};
    ASSERT_EQ(sigaction(SIGUSR1, nullptr, &before), 0);
    const ManagerAccess manager;
    struct sigaction after {};
    ASSERT_EQ(sigaction(SIGUSR1, nullptr, &after), 0);
    EXPECT_EQ(after.sa_handler, before.sa_handler);
}

TEST(Destruction, TakesNoneOfTheMutexes) {
    alignas(ManagerAccess) unsigned char storage[sizeof(ManagerAccess)];
    auto* manager = new (storage) ManagerAccess;
    fill(*manager);
    const MutexTrace trace(*manager);
    manager->~ManagerAccess();
    EXPECT_THAT(trace.steps(), ElementsAre());
}

TEST(AddPolicy, StoresWordsAndRulesUnderTheKey) {
    ManagerAccess manager;
    PolicyDb group = groupOf({"file", "dir"});
    EXPECT_EQ(manager.addPolicy("base", group), 0);
    ASSERT_EQ(manager.m_mapPolicy.count("base"), 1U);
    const PolicyDb& stored = manager.m_mapPolicy["base"];
    EXPECT_EQ(stored.uiFirst, 1U);
    EXPECT_EQ(stored.uiSecond, 2U);
    EXPECT_EQ(stored.uiThird, 0xFFFFFFFFU);
    EXPECT_THAT(classesOf(stored), ElementsAre("file", "dir"));
}

TEST(AddPolicy, LeavesTheHostsGroupAsItWas) {
    ManagerAccess manager;
    PolicyDb group = groupOf({"file", "dir"});
    manager.addPolicy("base", group);
    EXPECT_EQ(group.uiThird, 0xFFFFFFFFU);
    EXPECT_THAT(classesOf(group), ElementsAre("file", "dir"));
}

TEST(AddPolicy, StoresACopyThatSharesNothing) {
    ManagerAccess manager;
    PolicyDb group = groupOf({"file"});
    manager.addPolicy("base", group);
    group.uiFirst = 9;
    group.vecPolicy[0].sPermClass = "changed";
    group.vecPolicy[0].vecSubjectId[0].uiWord[0] = 9;
    const PolicyDb& stored = manager.m_mapPolicy["base"];
    EXPECT_EQ(stored.uiFirst, 1U);
    EXPECT_THAT(classesOf(stored), ElementsAre("file"));
    EXPECT_EQ(stored.vecPolicy[0].vecSubjectId[0].uiWord[0], 1U);
}

TEST(AddPolicy, ReplacesAnEarlierGroupInsteadOfExtendingIt) {
    ManagerAccess manager;
    PolicyDb first = groupOf({"file", "dir", "process"});
    PolicyDb second = groupOf({"kmod"});
    second.uiFirst = 5;
    manager.addPolicy("base", first);
    EXPECT_EQ(manager.addPolicy("base", second), 0);
    EXPECT_EQ(manager.m_mapPolicy.size(), 1U);
    EXPECT_EQ(manager.m_mapPolicy["base"].uiFirst, 5U);
    EXPECT_THAT(classesOf(manager.m_mapPolicy["base"]), ElementsAre("kmod"));
}

TEST(AddPolicy, ReplacesAGroupByAnEmptyOne) {
    ManagerAccess manager;
    PolicyDb first = groupOf({"file"});
    PolicyDb empty;
    manager.addPolicy("base", first);
    EXPECT_EQ(manager.addPolicy("base", empty), 0);
    EXPECT_EQ(manager.m_mapPolicy["base"].uiThird, 0U);
    EXPECT_TRUE(manager.m_mapPolicy["base"].vecPolicy.empty());
}

TEST(AddPolicy, KeepsGroupsOfOtherKeysInKeyOrder) {
    ManagerAccess manager;
    PolicyDb group = groupOf({"file"});
    manager.addPolicy("b", group);
    manager.addPolicy("", group);
    manager.addPolicy("a", group);
    std::vector<std::string> keys;
    for (const auto& entry : manager.m_mapPolicy) {
        keys.push_back(entry.first);
    }
    EXPECT_THAT(keys, ElementsAre("", "a", "b"));
}

TEST(AddPolicy, HandingAGroupItsOwnRulesChangesNothing) {
    ManagerAccess manager;
    PolicyDb group = groupOf({"file", "dir"});
    manager.addPolicy("base", group);
    EXPECT_EQ(manager.addPolicy("base", manager.m_mapPolicy["base"]), 0);
    const PolicyDb& stored = manager.m_mapPolicy["base"];
    EXPECT_EQ(stored.uiFirst, 1U);
    EXPECT_EQ(stored.uiSecond, 2U);
    EXPECT_EQ(stored.uiThird, 0xFFFFFFFFU);
    EXPECT_THAT(classesOf(stored), ElementsAre("file", "dir"));
    EXPECT_EQ(stored.vecPolicy[1].vecSubjectId.size(), 1U);
}

TEST(AddPolicy, HoldsTheMutexOfThePolicyTableAlone) {
    ManagerAccess manager;
    PolicyDb group = groupOf({"file"});
    MutexTrace trace(manager);
    bool storedAtRelease = false;
    trace.watch([&](const std::string& step) {
        storedAtRelease = step == "unlock policy" && manager.m_mapPolicy.count("base") == 1;
    });
    manager.addPolicy("base", group);
    EXPECT_THAT(trace.steps(), ElementsAre("lock policy", "unlock policy"));
    EXPECT_TRUE(storedAtRelease);
}

TEST(AddPolicy, AFailingLockThrowsASystemErrorAndStoresNothing) {
    ManagerAccess manager;
    PolicyDb group = groupOf({"file"});
    MutexTrace trace(manager);
    trace.fail("policy", EDEADLK);
    try {
        manager.addPolicy("base", group);
        FAIL() << "the failing lock went unnoticed";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code().value(), EDEADLK);
    }
    EXPECT_TRUE(manager.m_mapPolicy.empty());
}

TEST(ClearAllPolicy, EmptiesTheSevenTablesOfCompiledInput) {
    ManagerAccess manager;
    fill(manager);
    manager.clearAllPolicy();
    for (const std::string& table : kClearingOrder) {
        EXPECT_TRUE(isEmpty(manager, table)) << table;
    }
}

TEST(ClearAllPolicy, KeepsNamesVariablesClassDefinitionsAndStamps) {
    ManagerAccess manager;
    fill(manager);
    manager.clearAllPolicy();
    EXPECT_EQ(manager.m_mapNameId.at("net"), 7U);
    EXPECT_EQ((manager.dynamicVarMap.at({"net", "v"})), 1U);
    EXPECT_TRUE(manager.classDefRoot.isMember("file"));
    EXPECT_EQ(manager.timeMap.at("stage"), 5);
}

TEST(ClearAllPolicy, KeepsTheConfigurationAndTheFullCompileFlag) {
    ManagerAccess manager;
    manager.threadnum = 3;
    manager.printtime = 4;
    manager.logflag = true;
    manager.fullCompiled = true;
    manager.clearAllPolicy();
    EXPECT_EQ(manager.threadnum, 3);
    EXPECT_EQ(manager.printtime, 4U);
    EXPECT_TRUE(manager.logflag);
    EXPECT_TRUE(manager.fullCompiled);
}

TEST(ClearAllPolicy, LocksOneTableAfterTheOtherNeverTwo) {
    ManagerAccess manager;
    fill(manager);
    const MutexTrace trace(manager);
    manager.clearAllPolicy();
    std::vector<std::string> expected;
    for (const std::string& table : kClearingOrder) {
        expected.push_back("lock " + table);
        expected.push_back("unlock " + table);
    }
    EXPECT_THAT(trace.steps(), ElementsAreArray(expected));
}

TEST(ClearAllPolicy, ClearsEachTableWhileItsMutexIsHeld) {
    ManagerAccess manager;
    fill(manager);
    std::vector<std::string> wrong;
    MutexTrace trace(manager);
    trace.watch([&](const std::string& step) {
        const bool locking = step.rfind("lock ", 0) == 0;
        const std::string table = step.substr(step.find(' ') + 1);
        if (isEmpty(manager, table) == locking) {
            wrong.push_back(step);
        }
    });
    manager.clearAllPolicy();
    EXPECT_EQ(trace.steps().size(), 14U);
    EXPECT_THAT(wrong, ElementsAre());
}

TEST(ClearAllPolicy, AFailingLockThrowsAndKeepsWhatIsDone) {
    for (std::size_t failing = 0; failing < kClearingOrder.size(); ++failing) {
        SCOPED_TRACE(kClearingOrder[failing]);
        ManagerAccess manager;
        fill(manager);
        int code = 0;
        {
            MutexTrace trace(manager);
            trace.fail(kClearingOrder[failing], EINVAL);
            try {
                manager.clearAllPolicy();
            } catch (const std::system_error& error) {
                code = error.code().value();
            }
        }
        EXPECT_EQ(code, EINVAL);
        for (std::size_t table = 0; table < kClearingOrder.size(); ++table) {
            EXPECT_EQ(isEmpty(manager, kClearingOrder[table]), table < failing) << kClearingOrder[table];
        }
        for (const auto& [name, mutex] : MutexTrace::mutexesOf(manager)) {
            EXPECT_TRUE(isFree(*mutex)) << name;
        }
    }
}

TEST(ClearAllPolicy, OfEmptyTablesIsHarmless) {
    ManagerAccess manager;
    manager.clearAllPolicy();
    manager.clearAllPolicy();
    EXPECT_TRUE(manager.m_mapPolicy.empty());
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(PrepareWork, LoadsTheClassDefinitions) {
    testfiles::write(paths::kClassDefinitions, "{\"file\":{\"value\":1}}");
    ManagerAccess manager;
    EXPECT_EQ(manager.prepareWork(), 0);
    EXPECT_TRUE(manager.classDefRoot.isMember("file"));
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(PrepareWork, HandsOnTheFailureOfTheImport) {
    ManagerAccess manager;
    EXPECT_EQ(manager.prepareWork(), 1);
    EXPECT_THAT(testlog::lines(),
                ElementsAre(testlog::Line{1, "###ERROR: in func importPermData, json parsed failed. "}));
}

}  // namespace
