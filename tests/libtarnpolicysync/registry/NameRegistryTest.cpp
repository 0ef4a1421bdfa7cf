#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <system_error>
#include <vector>

#include "Common/Common.h"
#include "libtarnpolicysync/Paths.h"
#include "support/Files.h"
#include "support/LogLines.h"
#include "support/ManagerAccess.h"
#include "support/MutexTrace.h"
#include "support/Threads.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;
using testlog::Line;

constexpr unsigned int kNetNumber = 4075427327;  // the checksum of "net"

const std::string kSceneTruncated = "###ERROR: in func importNameInfo, /etc/tarn/scene_info is truncate.";
const std::string kFuncTruncated = "###ERROR: in func initNamespaceFuncInfo, /etc/tarn/funcinfo is truncate.";

std::string invalidId(const std::string& text) {
    return "###ERROR: in func importNameInfo, invalid name id: " + text;
}

struct Lookup {
    int status;
    unsigned int id;
    bool operator==(const Lookup& other) const { return status == other.status && id == other.id; }
};
std::ostream& operator<<(std::ostream& stream, const Lookup& value) {
    return stream << "{" << value.status << ", " << value.id << "}";
}

Lookup nameId(ManagerAccess& manager, const std::string& name) {
    int id = -5;
    const int status = manager.getNameId(name, id);
    return {status, static_cast<unsigned int>(id)};
}

Lookup funcId(ManagerAccess& manager, const std::string& nameSpace, const std::string& module,
              const std::string& function) {
    int id = -5;
    const int status = manager.getFuncId(nameSpace, module, function, id);
    return {status, static_cast<unsigned int>(id)};
}

// A line of scene_info, the table that a new manager makes of it, and what it logs.
struct SceneLine {
    std::string content;
    std::map<std::string, unsigned int> table;
    std::vector<std::string> log;
};

TEST(ImportNameInfo, ReadsEachKindOfLine) {
    const std::vector<SceneLine> lines = {
        {"7:net\n", {{"net", 7}}, {}},
        {"7:net", {{"net", 7}}, {}},
        {"\n\n7:net\n\n", {{"net", 7}}, {}},
        {"7:net\n8:web\n", {{"net", 7}, {"web", 8}}, {}},
        {"7:net\n9:net\n", {{"net", 9}}, {}},
        {"12:a:b\n", {}, {kSceneTruncated}},
        {"12\n", {}, {kSceneTruncated}},
        {"12:\n", {}, {kSceneTruncated}},
        {":net\n", {}, {kSceneTruncated}},
        {":\n", {}, {kSceneTruncated}},
        {"x:net\n", {}, {invalidId("x")}},
        {"-:net\n", {}, {invalidId("-")}},
        {" :net\n", {}, {invalidId(" ")}},
        {"18446744073709551616:net\n", {}, {invalidId("18446744073709551616")}},
        {"12abc:net\n", {{"net", 12}}, {}},
        {" \t12:net\n", {{"net", 12}}, {}},
        {"+12:net\n", {{"net", 12}}, {}},
        {"0x10:net\n", {{"net", 0}}, {}},
        {"010:net\n", {{"net", 10}}, {}},
        {"4294967295:net\n", {{"net", 4294967295}}, {}},
        {"4294967297:net\n", {{"net", 1}}, {}},
        {"18446744073709551615:net\n", {{"net", 4294967295}}, {}},
        {"-1:net\n", {{"net", 4294967295}}, {}},
        {"3::net\n", {{"net", 3}}, {}},
        {":3:net:\n", {{"net", 3}}, {}},
        {"7: net \n", {{" net ", 7}}, {}},
        {"7:net\r\n", {{"net\r", 7}}, {}},
        {"7:#,\\\n", {{"#,\\", 7}}, {}},
        {"bad\n7:net\ny:web\n8:log\n", {{"net", 7}, {"log", 8}}, {kSceneTruncated, invalidId("y")}},
        {"7:net\nx:net\n", {{"net", 7}}, {invalidId("x")}},
    };
    for (const SceneLine& line : lines) {
        testlog::clear();
        testfiles::write(paths::kSceneInfo, line.content);
        const ManagerAccess manager;
        EXPECT_EQ((std::map<std::string, unsigned int>(manager.m_mapNameId.begin(), manager.m_mapNameId.end())),
                  line.table)
            << line.content;
        std::vector<Line> expected;
        for (const std::string& text : line.log) {
            expected.push_back({1, text});
        }
        EXPECT_EQ(testlog::lines(), expected) << line.content;
    }
}

TEST(ImportNameInfo, AMissingFileIsSilentAndLeavesNamesToTheirChecksum) {
    ManagerAccess manager;
    EXPECT_THAT(manager.m_mapNameId, IsEmpty());
    EXPECT_THAT(testlog::lines(), ElementsAre());
    EXPECT_EQ(nameId(manager, "net"), (Lookup{0, kNetNumber}));
}

TEST(ImportNameInfo, AnEmptyFileIsSilent) {
    testfiles::write(paths::kSceneInfo, "");
    const ManagerAccess manager;
    EXPECT_THAT(manager.m_mapNameId, IsEmpty());
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(ImportNameInfo, AnUnreadableFileIsReportedByTheReaderAlone) {
    testfiles::makeDirectories(paths::kSceneInfo);
    const ManagerAccess manager;
    EXPECT_THAT(manager.m_mapNameId, IsEmpty());
    EXPECT_THAT(testlog::lines(),
                ElementsAre(Line{1, "readFileToVecImpl: /etc/tarn/scene_info is not a regular file"}));
}

TEST(ImportNameInfo, WithoutAFileTheTableKeepsWhatItHad) {
    ManagerAccess manager;
    manager.m_mapNameId["net"] = 7;
    manager.importNameInfo();
    EXPECT_THAT(manager.m_mapNameId, UnorderedElementsAre(Pair("net", 7U)));
}

TEST(ImportNameInfo, AddsToWhatTheTableHad) {
    ManagerAccess manager;
    manager.m_mapNameId["net"] = 7;
    manager.m_mapNameId["web"] = 8;
    testfiles::write(paths::kSceneInfo, "9:net\n");
    manager.importNameInfo();
    EXPECT_THAT(manager.m_mapNameId, UnorderedElementsAre(Pair("net", 9U), Pair("web", 8U)));
}

TEST(ImportNameInfo, TakesNoLock) {
    testfiles::write(paths::kSceneInfo, "9:net\n");
    ManagerAccess manager;
    const MutexTrace trace(manager);
    manager.importNameInfo();
    EXPECT_THAT(trace.steps(), ElementsAre());
}

TEST(GetNameId, ANumberOfTheFileStays) {
    testfiles::write(paths::kSceneInfo, "7:net\n");
    ManagerAccess manager;
    EXPECT_EQ(nameId(manager, "net"), (Lookup{0, 7}));
    EXPECT_EQ(nameId(manager, "net"), (Lookup{0, 7}));
    EXPECT_EQ(manager.m_mapNameId.size(), 1U);
}

TEST(GetNameId, AnUnknownNameIsNumberedByItsChecksumAndKept) {
    ManagerAccess manager;
    EXPECT_EQ(nameId(manager, "net"), (Lookup{0, kNetNumber}));
    EXPECT_THAT(manager.m_mapNameId, UnorderedElementsAre(Pair("net", kNetNumber)));
    EXPECT_EQ(nameId(manager, "123456789"), (Lookup{0, 0xCBF43926}));
    EXPECT_EQ(manager.m_mapNameId.size(), 2U);
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(GetNameId, NumbersSurviveClearAllPolicy) {
    testfiles::write(paths::kSceneInfo, "7:net\n");
    ManagerAccess manager;
    manager.clearAllPolicy();
    EXPECT_EQ(nameId(manager, "net"), (Lookup{0, 7}));
}

TEST(GetNameId, TwoNamesOfOneChecksumShareTheirNumber) {
    ManagerAccess manager;
    // A known pair of words with one CRC-32.
    ASSERT_EQ(stringToId("plumless"), stringToId("buckeroo"));
    EXPECT_EQ(nameId(manager, "plumless").id, nameId(manager, "buckeroo").id);
    EXPECT_EQ(manager.m_mapNameId.size(), 2U);
}

TEST(GetNameId, AnEmptyNameIsRefusedWithAWarningAndYields0) {
    ManagerAccess manager;
    EXPECT_EQ(nameId(manager, ""), (Lookup{1, 0}));
    EXPECT_THAT(manager.m_mapNameId, IsEmpty());
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{2, "####WARN: in func getNameId, empty strNamespace."}));
}

TEST(GetNameId, TheFileMayHoldANameThatIsEmptyForNobody) {
    testfiles::write(paths::kSceneInfo, "7: \n");
    ManagerAccess manager;
    EXPECT_EQ(nameId(manager, " "), (Lookup{0, 7}));
}

TEST(SetUidInfo, StoresAndReplaces) {
    ManagerAccess manager;
    EXPECT_EQ(manager.setUidInfo("alice", 1000), 0);
    EXPECT_EQ(manager.setUidInfo("root", 0), 0);
    EXPECT_EQ(manager.setUidInfo("alice", 4294967295), 0);
    EXPECT_THAT(manager.m_mapUserUid, UnorderedElementsAre(Pair("alice", 4294967295U), Pair("root", 0U)));
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(SetUidInfo, RefusesAnEmptyName) {
    ManagerAccess manager;
    EXPECT_EQ(manager.setUidInfo("", 5), 1);
    EXPECT_THAT(manager.m_mapUserUid, IsEmpty());
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, "###ERROR: in func setUidInfo, empty sUserName."}));
}

using Namespaces = std::map<std::string, std::vector<std::string>>;
Namespaces namespacesOf(const ManagerAccess& manager) {
    return {manager.m_mapNamespaceFunc.begin(), manager.m_mapNamespaceFunc.end()};
}

struct FuncLine {
    std::string content;
    Namespaces table;
    std::vector<std::string> log;
};

TEST(InitNamespaceFuncInfo, ReadsEachKindOfLine) {
    const std::vector<FuncLine> lines = {
        {"net#netmod:check,netmod:log\n", {{"net", {"netmod:check", "netmod:log"}}}, {}},
        {"net#m:f,m:f,m:g\n", {{"net", {"m:f", "m:g"}}}, {}},
        {"net#m:F,m:f\n", {{"net", {"m:F", "m:f"}}}, {}},
        {"net#,\n", {}, {}},
        {"net#,,m:f,,m:g,\n", {{"net", {"m:f", "m:g"}}}, {}},
        {"net\n", {}, {kFuncTruncated}},
        {"net#\n", {}, {kFuncTruncated}},
        {"#m:f\n", {}, {kFuncTruncated}},
        {"net#m:f#m:g\n", {}, {kFuncTruncated}},
        {"##net##m:f##\n", {{"net", {"m:f"}}}, {}},
        {"net#m:f\nnet#m:g\n", {{"net", {"m:f", "m:g"}}}, {}},
        {"net#m:f\n\nweb#w:f\n", {{"net", {"m:f"}}, {"web", {"w:f"}}}, {}},
        {"net#nocolon\n", {{"net", {"nocolon"}}}, {}},
        {"a:b#m:f\r\n", {{"a:b", {"m:f\r"}}}, {}},
        {" net # m:f , m:g\n", {{" net ", {" m:f ", " m:g"}}}, {}},
        {"bad\nnet#m:f\n", {{"net", {"m:f"}}}, {kFuncTruncated}},
    };
    for (const FuncLine& line : lines) {
        testlog::clear();
        testfiles::write(paths::kFuncInfo, line.content);
        ManagerAccess manager;
        manager.initNamespaceFuncInfo();
        EXPECT_EQ(namespacesOf(manager), line.table) << line.content;
        std::vector<Line> expected;
        for (const std::string& text : line.log) {
            expected.push_back({1, text});
        }
        EXPECT_EQ(testlog::lines(), expected) << line.content;
    }
}

TEST(InitNamespaceFuncInfo, KeepsWhatIsRegisteredAndOnlyAdds) {
    ManagerAccess manager;
    manager.setNamespaceFuncInfo("net", "m", "g");
    manager.setNamespaceInfo("web");
    testfiles::write(paths::kFuncInfo, "net#m:f,m:g\nlog#l:w\n");
    manager.initNamespaceFuncInfo();
    EXPECT_EQ(namespacesOf(manager), (Namespaces{{"net", {"m:g", "m:f"}}, {"web", {}}, {"log", {"l:w"}}}));
}

TEST(InitNamespaceFuncInfo, AMissingOrEmptyFileChangesNothingSilently) {
    ManagerAccess manager;
    manager.setNamespaceInfo("web");
    manager.initNamespaceFuncInfo();
    testfiles::write(paths::kFuncInfo, "");
    manager.initNamespaceFuncInfo();
    EXPECT_EQ(namespacesOf(manager), (Namespaces{{"web", {}}}));
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(InitNamespaceFuncInfo, AnUnreadableFileTakesNoLock) {
    testfiles::makeDirectories(paths::kFuncInfo);
    ManagerAccess manager;
    const MutexTrace trace(manager);
    manager.initNamespaceFuncInfo();
    EXPECT_THAT(trace.steps(), ElementsAre());
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, "readFileToVecImpl: /etc/tarn/funcinfo is not a regular file"}));
}

TEST(InitNamespaceFuncInfo, HoldsTheMutexOverTheWholeFile) {
    testfiles::write(paths::kFuncInfo, "net#m:f\nbad\nweb#w:f,w:g\n");
    ManagerAccess manager;
    const MutexTrace trace(manager);
    manager.initNamespaceFuncInfo();
    EXPECT_THAT(trace.steps(), ElementsAre("lock namespace", "unlock namespace"));
}

TEST(InitNamespaceFuncInfo, AssignsNoFunctionNumbers) {
    testfiles::write(paths::kFuncInfo, "net#m:f\n");
    ManagerAccess manager;
    manager.initNamespaceFuncInfo();
    EXPECT_THAT(manager.m_mapFuncId, IsEmpty());
}

TEST(SetNamespaceInfo, RegistersANamespaceWithoutFunctions) {
    ManagerAccess manager;
    EXPECT_EQ(manager.setNamespaceInfo("net"), 0);
    EXPECT_EQ(namespacesOf(manager), (Namespaces{{"net", {}}}));
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(SetNamespaceInfo, KeepsTheFunctionsOfAKnownNamespace) {
    ManagerAccess manager;
    manager.setNamespaceFuncInfo("net", "m", "f");
    EXPECT_EQ(manager.setNamespaceInfo("net"), 0);
    EXPECT_EQ(namespacesOf(manager), (Namespaces{{"net", {"m:f"}}}));
}

TEST(SetNamespaceInfo, RefusesAnEmptyName) {
    ManagerAccess manager;
    EXPECT_EQ(manager.setNamespaceInfo(""), 1);
    EXPECT_THAT(manager.m_mapNamespaceFunc, IsEmpty());
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, "###ERROR: in func setNamespaceInfo, empty strNamespace."}));
}

TEST(SetNamespaceFuncInfo, AppendsFunctionsInOrderAndCreatesTheNamespace) {
    ManagerAccess manager;
    EXPECT_EQ(manager.setNamespaceFuncInfo("net", "netmod", "log"), 0);
    EXPECT_EQ(manager.setNamespaceFuncInfo("net", "netmod", "check"), 0);
    EXPECT_EQ(manager.setNamespaceFuncInfo("web", "netmod", "log"), 0);
    EXPECT_EQ(namespacesOf(manager), (Namespaces{{"net", {"netmod:log", "netmod:check"}}, {"web", {"netmod:log"}}}));
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(SetNamespaceFuncInfo, AKnownFunctionStaysOnceInItsPlace) {
    ManagerAccess manager;
    manager.setNamespaceFuncInfo("net", "m", "f");
    manager.setNamespaceFuncInfo("net", "m", "g");
    EXPECT_EQ(manager.setNamespaceFuncInfo("net", "m", "f"), 0);
    EXPECT_EQ(namespacesOf(manager), (Namespaces{{"net", {"m:f", "m:g"}}}));
}

TEST(SetNamespaceFuncInfo, NamesAreComparedExactly) {
    ManagerAccess manager;
    manager.setNamespaceFuncInfo("net", "m", "f");
    manager.setNamespaceFuncInfo("net", "M", "f");
    manager.setNamespaceFuncInfo("Net", "m", "f");
    EXPECT_EQ(namespacesOf(manager), (Namespaces{{"net", {"m:f", "M:f"}}, {"Net", {"m:f"}}}));
}

TEST(SetNamespaceFuncInfo, RefusesAnyEmptyArgument) {
    ManagerAccess manager;
    const std::string message =
        "###ERROR: in func setNamespaceFuncInfo, empty strNamespace or empty strKmodName or empty strFuncName. \\n";
    for (const auto& arguments :
         std::vector<std::vector<std::string>>{{"", "m", "f"}, {"net", "", "f"}, {"net", "m", ""}}) {
        testlog::clear();
        EXPECT_EQ(manager.setNamespaceFuncInfo(arguments[0], arguments[1], arguments[2]), 1);
        EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, message}));
    }
    EXPECT_THAT(manager.m_mapNamespaceFunc, IsEmpty());
}

TEST(GetFuncId, BeforeANamespaceMessageNoFunctionIsKnown) {
    ManagerAccess manager;
    manager.setNamespaceFuncInfo("net", "m", "f");
    EXPECT_EQ(funcId(manager, "net", "m", "f"), (Lookup{1, 0}));
    EXPECT_THAT(manager.m_mapFuncId, IsEmpty());
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, "####ERROR: in func getFuncId, no module m function f."}));
}

TEST(GetFuncId, AMissIsLoggedBeforeItsMutexIsReleased) {
    ManagerAccess manager;
    std::vector<std::size_t> linesAtRelease;
    MutexTrace trace(manager);
    trace.watch([&](const std::string& step) {
        if (step == "unlock functions") {
            linesAtRelease.push_back(testlog::lines().size());
        }
    });
    funcId(manager, "net", "m", "f");
    EXPECT_THAT(linesAtRelease, ElementsAre(1U));
}

TEST(GetFuncId, GivesTheNumberOfTheNamespacesFunction) {
    ManagerAccess manager;
    manager.m_mapFuncId[{"net", "m:f"}] = 1;
    manager.m_mapFuncId[{"net", "m:g"}] = 2;
    manager.m_mapFuncId[{"web", "m:f"}] = 3;
    EXPECT_EQ(funcId(manager, "net", "m", "g"), (Lookup{0, 2}));
    EXPECT_EQ(funcId(manager, "web", "m", "f"), (Lookup{0, 3}));
    EXPECT_EQ(funcId(manager, "web", "m", "g"), (Lookup{1, 0}));
    EXPECT_EQ(funcId(manager, "net", "g", "m"), (Lookup{1, 0}));
    EXPECT_EQ(manager.m_mapFuncId.size(), 3U);
}

TEST(GetFuncId, RefusesAnyEmptyArgument) {
    ManagerAccess manager;
    manager.m_mapFuncId[{"net", ":f"}] = 1;
    const std::string message = "####ERROR: in func getFuncId, empty strNamespace or strModuleName or strFuncName.";
    for (const auto& arguments :
         std::vector<std::vector<std::string>>{{"", "m", "f"}, {"net", "", "f"}, {"net", "m", ""}}) {
        testlog::clear();
        EXPECT_EQ(funcId(manager, arguments[0], arguments[1], arguments[2]), (Lookup{1, 0}));
        EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, message}));
    }
}

TEST(FunctionTable, IsOrderedByNamespaceThenEntry) {
    ManagerAccess manager;
    for (const char* name : {"b", "a", "ab"}) {
        manager.m_mapFuncId[{name, "z:z"}] = 1;
        manager.m_mapFuncId[{name, "A:z"}] = 1;
    }
    std::vector<std::string> keys;
    for (const auto& entry : manager.m_mapFuncId) {
        keys.push_back(entry.first.first + " " + entry.first.second);
    }
    EXPECT_THAT(keys, ElementsAre("a A:z", "a z:z", "ab A:z", "ab z:z", "b A:z", "b z:z"));
}

// Each operation takes the mutex of its own table once, and throws where that fails, having changed nothing.
struct LockedOperation {
    std::string name;
    std::string mutex;
    std::function<void(ManagerAccess&)> run;
};

void PrintTo(const LockedOperation& operation, std::ostream* stream) {
    *stream << operation.name;
}

class RegistryLocks : public testing::TestWithParam<LockedOperation> {};

TEST_P(RegistryLocks, TakesTheMutexOfItsTableAlone) {
    ManagerAccess manager;
    const MutexTrace trace(manager);
    GetParam().run(manager);
    EXPECT_THAT(trace.steps(), ElementsAre("lock " + GetParam().mutex, "unlock " + GetParam().mutex));
}

TEST_P(RegistryLocks, AFailingLockThrowsASystemErrorAndChangesNothing) {
    testfiles::write(paths::kFuncInfo, "net#m:f\n");
    ManagerAccess manager;
    MutexTrace trace(manager);
    trace.fail(GetParam().mutex, EDEADLK);
    try {
        GetParam().run(manager);
        FAIL() << "the failing lock went unnoticed";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code().value(), EDEADLK);
    }
    EXPECT_THAT(manager.m_mapNameId, IsEmpty());
    EXPECT_THAT(manager.m_mapUserUid, IsEmpty());
    EXPECT_THAT(manager.m_mapNamespaceFunc, IsEmpty());
    EXPECT_THAT(manager.m_mapFuncId, IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
    Of, RegistryLocks,
    testing::Values(LockedOperation{"getNameId", "names", [](ManagerAccess& manager) { nameId(manager, "net"); }},
                    LockedOperation{"setUidInfo", "users", [](ManagerAccess& manager) { manager.setUidInfo("a", 1); }},
                    LockedOperation{"setNamespaceInfo", "namespace",
                                    [](ManagerAccess& manager) { manager.setNamespaceInfo("net"); }},
                    LockedOperation{"setNamespaceFuncInfo", "namespace",
                                    [](ManagerAccess& manager) { manager.setNamespaceFuncInfo("net", "m", "f"); }},
                    LockedOperation{"initNamespaceFuncInfo", "namespace",
                                    [](ManagerAccess& manager) {
                                        testfiles::write(paths::kFuncInfo, "net#m:f\n");
                                        manager.initNamespaceFuncInfo();
                                    }},
                    LockedOperation{"getFuncId", "functions",
                                    [](ManagerAccess& manager) { funcId(manager, "net", "m", "f"); }}),
    [](const testing::TestParamInfo<LockedOperation>& parameter) { return parameter.param.name; });

TEST(Registry, MayBeUsedFromManyThreads) {
    ManagerAccess manager;
    runInThreads(4, [&](std::size_t thread) {
        for (int turn = 0; turn < 200; ++turn) {
            const std::string name = std::to_string(turn);
            nameId(manager, name);
            manager.setUidInfo(name, static_cast<unsigned int>(turn));
            manager.setNamespaceInfo(name);
            manager.setNamespaceFuncInfo("net", "m" + std::to_string(thread), name);
        }
    });
    EXPECT_EQ(manager.m_mapNameId.size(), 200U);
    EXPECT_EQ(manager.m_mapUserUid.size(), 200U);
    EXPECT_EQ(manager.m_mapNamespaceFunc.size(), 201U);
    EXPECT_EQ(manager.m_mapNamespaceFunc["net"].size(), 800U);
}

}  // namespace
