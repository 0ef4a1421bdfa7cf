#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <system_error>
#include <vector>

#include "support/FakeLabelManager.h"
#include "support/Files.h"
#include "support/LogLines.h"
#include "support/ManagerAccess.h"
#include "support/MutexTrace.h"

namespace {

using fakelabels::Answer;
using fakelabels::fake;
using fakelabels::Names;
using fakelabels::Oids;
using fakelabels::Request;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

// The kinds under which a name can be looked up. An identifier of the answer names its kind by its first word.
const std::vector<std::string> kKinds = {"subject_pkg", "subject_file",     "subject_recurfile", "object_pkg",
                                         "object_file", "object_recurfile", "object_dir",        "object_lnkfile"};
constexpr std::uint64_t kDevice = 100;
constexpr std::uint64_t kModule = 200;

// The kinds (or "device", "module", "zero") whose identifiers a conversion gave, in order.
std::vector<std::string> kindsOf(const std::vector<TARN_ID>& ids) {
    std::vector<std::string> kinds;
    for (const TARN_ID& id : ids) {
        const std::uint64_t first = id.uiWord[0];
        if (first >= 1 && first <= kKinds.size()) {
            kinds.push_back(kKinds[first - 1]);
        } else if (first == 0 && id.uiWord[1] == 0 && id.uiWord[2] == 0) {
            kinds.emplace_back("zero");
        } else {
            kinds.emplace_back(first == kDevice ? "device" : "module");
        }
    }
    return kinds;
}

class Conversion : public testing::Test {
protected:
    Conversion() { fake() = fakelabels::Fake{}; }

    // The label manager knows this name under every kind, as a device and as a kernel module.
    void know(const std::string& name) {
        fake().labels = [name](const Request&, Answer& answer) {
            for (std::size_t kind = 0; kind < kKinds.size(); ++kind) {
                answer[kKinds[kind]][name] = {TARN_ID{{kind + 1, 0, 0}}};
            }
            return 0;
        };
        fake().devices = [name](const Names&, Oids& oids) {
            oids[name] = TARN_ID{{kDevice, 0, 0}};
            return 0;
        };
        fake().modules = [name](const Names&, Oids& oids) {
            oids[name] = TARN_ID{{kModule, 0, 0}};
            return 0;
        };
        manager.deviceVec = {name};
        manager.kmodVec = {name};
    }

    PolicyNode convert(PolicyNode rule) {
        PolicyDb group;
        group.vecPolicy = {std::move(rule)};
        manager.addPolicy("base", group);
        EXPECT_EQ(manager.parsePolicyData(), 0);
        return manager.m_mapPolicy["base"].vecPolicy[0];
    }

    std::vector<std::string> subject(const std::string& name) {
        know(name);
        PolicyNode rule;
        rule.bSubjectFlag = false;
        rule.vecSubjectName = {name};
        return kindsOf(convert(rule).vecSubjectId);
    }

    std::vector<std::string> object(const std::string& permClass, const std::string& name) {
        know(name);
        PolicyNode rule;
        rule.bObjectFlag = false;
        rule.sPermClass = permClass;
        rule.vecObjectName = {name};
        return kindsOf(convert(rule).vecObjectId);
    }

    ManagerAccess manager;
};

TEST_F(Conversion, SubjectsAreLookedUpByTheShapeOfTheirName) {
    const std::vector<std::pair<std::string, std::string>> shapes = {{"/usr/bin/*", "subject_recurfile"},
                                                                     {"/usr/bin/ls", "subject_file"},
                                                                     {"bash", "subject_pkg"},
                                                                     {"NULLL", "subject_pkg"},
                                                                     {"nulll", "subject_pkg"},
                                                                     {"/NULLL", "subject_file"},
                                                                     {"/*", "subject_recurfile"},
                                                                     {"/", "subject_file"},
                                                                     {"*", "subject_pkg"},
                                                                     {"usr/bin/*", "subject_pkg"},
                                                                     {"/usr/*/ls", "subject_file"},
                                                                     {"/usr/bin*", "subject_file"},
                                                                     {"/usr/bin/*/", "subject_file"},
                                                                     {"//*", "subject_recurfile"},
                                                                     {" /usr", "subject_pkg"},
                                                                     {"", "subject_pkg"}};
    for (const auto& [name, kind] : shapes) {
        EXPECT_THAT(subject(name), ElementsAre(kind)) << name;
    }
}

// Rows: class, name, the kind whose identifiers the object gets; none for an empty text.
struct ObjectRow {
    const char* permClass;
    const char* name;
    const char* kind;
};

TEST_F(Conversion, ObjectsAreLookedUpByClassAndTheShapeOfTheirName) {
    const ObjectRow rows[] = {
        {"file", "/data/x", "object_file"},
        {"file", "/data/*", "object_recurfile"},
        {"file", "/*", "object_recurfile"},
        {"file", "/", "object_file"},
        {"file", "/data*", "object_file"},
        {"file", "pkgname", "object_pkg"},
        {"file", "data/*", "object_pkg"},
        {"file", "", "object_pkg"},
        {"file", "NULLL", "object_pkg"},
        {"dir", "/data/x", "object_dir"},
        {"dir", "/data/*", "object_recurfile"},
        {"dir", "data", "object_dir"},
        {"dir", "data/*", "object_recurfile"},
        {"dir", "/*", "object_recurfile"},
        {"dir", "*", "object_dir"},
        {"dir", "", "object_dir"},
        {"dir", "NULLL", "object_pkg"},
        {"lnkfile", "/data/x", "object_lnkfile"},
        {"lnkfile", "/data/*", "object_recurfile"},
        {"lnkfile", "data", "object_lnkfile"},
        {"lnkfile", "data/*", "object_recurfile"},
        {"lnkfile", "", "object_lnkfile"},
        {"lnkfile", "NULLL", "object_pkg"},
        {"process", "/usr/bin/ls", "subject_file"},
        {"process", "/usr/bin/*", "subject_recurfile"},
        {"process", "bash", "subject_pkg"},
        {"process", "bin/*", "subject_pkg"},
        {"process", "", "subject_pkg"},
        {"process", "NULLL", "object_pkg"},
        {"kmod", "netmod", "module"},
        {"kmod", "/netmod/*", "module"},
        {"kmod", "NULLL", "object_pkg"},
        {"usb", "usb0", "device"},
        {"usb", "/dev/usb0", "device"},
        {"usb", "NULLL", "object_pkg"},
        {"", "/data/x", ""},
        {"", "NULLL", "object_pkg"},
        {"capability", "CAP_CHOWN", ""},
        {"File", "/data/x", ""},
        {"files", "/data/x", ""},
        {"DIR", "/data/x", ""},
        {"Process", "bash", ""},
        {"KMOD", "netmod", ""},
        {"USB", "usb0", ""},
        {"usb ", "usb0", ""},
        {"chrfile", "/data/x", ""},
    };
    for (const ObjectRow& row : rows) {
        std::vector<std::string> expected;
        if (*row.kind != '\0') {
            expected = {row.kind};
        }
        EXPECT_EQ(object(row.permClass, row.name), expected) << row.permClass << " " << row.name;
    }
}

TEST_F(Conversion, EachOfThe30DeviceTypesIsADeviceClass) {
    ASSERT_EQ(deviceTypeList.size(), 30U);
    for (const std::string& word : deviceTypeList) {
        EXPECT_THAT(object(word, "d"), ElementsAre("device")) << word;
    }
}

TEST_F(Conversion, TheClassOfTheRuleDoesNotTouchItsSubjects) {
    know("/a");
    for (const char* permClass : {"file", "process", "kmod", "usb", "other"}) {
        PolicyNode rule;
        rule.sPermClass = permClass;
        rule.bSubjectFlag = false;
        rule.vecSubjectName = {"/a"};
        EXPECT_THAT(kindsOf(convert(rule).vecSubjectId), ElementsAre("subject_file")) << permClass;
    }
}

TEST_F(Conversion, TheClassIsComparedAsStoredWhateverTheClassDefinitionsSay) {
    manager.classDefRoot["document"]["parent"] = "file";
    EXPECT_THAT(object("document", "/data/x"), IsEmpty());
}

TEST_F(Conversion, AllIdentifiersOfANameAreTakenInOrderOfNamesThenLabels) {
    fake().labels = [](const Request&, Answer& answer) {
        answer["subject_file"]["/b"] = {TARN_ID{{1, 0, 0}}, TARN_ID{{2, 0, 0}}};
        answer["subject_file"]["/a"] = {TARN_ID{{4, 0, 0}}, TARN_ID{{3, 0, 0}}};
        answer["subject_pkg"]["c"] = {TARN_ID{{5, 0, 0}}, TARN_ID{{6, 7, 8}}};
        return 0;
    };
    PolicyNode rule;
    rule.bSubjectFlag = false;
    rule.vecSubjectName = {"/b", "c", "/a"};
    std::vector<std::uint64_t> words;
    const PolicyNode converted = convert(rule);
    for (const TARN_ID& id : converted.vecSubjectId) {
        words.push_back(id.uiWord[0]);
    }
    EXPECT_THAT(words, ElementsAre(1, 2, 5, 6, 4, 3));
    EXPECT_EQ(converted.vecSubjectId[3].uiWord[1], 7U);
    EXPECT_EQ(converted.vecSubjectId[3].uiWord[2], 8U);
}

TEST_F(Conversion, ARepeatedNameContributesEachTime) {
    know("/a");
    PolicyNode rule;
    rule.bSubjectFlag = false;
    rule.vecSubjectName = {"/a", "/a"};
    EXPECT_EQ(convert(rule).vecSubjectId.size(), 2U);
}

TEST_F(Conversion, ObjectNamesOfOneRuleMayBeOfDifferentShapes) {
    fake().labels = [](const Request&, Answer& answer) {
        answer["object_pkg"]["NULLL"] = {TARN_ID{{4, 0, 0}}};
        answer["object_recurfile"]["/d/*"] = {TARN_ID{{6, 0, 0}}};
        answer["object_file"]["/f"] = {TARN_ID{{5, 0, 0}}};
        return 0;
    };
    PolicyNode rule;
    rule.sPermClass = "file";
    rule.bObjectFlag = false;
    rule.vecObjectName = {"/f", "NULLL", "/missing", "/d/*"};
    EXPECT_THAT(kindsOf(convert(rule).vecObjectId), ElementsAre("object_file", "object_pkg", "object_recurfile"));
}

TEST_F(Conversion, ANameWithoutLabelsContributesNothingAndTheListIsStillReplaced) {
    PolicyNode rule;
    rule.bSubjectFlag = false;
    rule.vecSubjectName = {"/missing"};
    rule.vecSubjectId = {TARN_ID{{1, 1, 1}}};
    rule.bObjectFlag = false;
    rule.sPermClass = "file";
    rule.vecObjectName = {"/missing"};
    rule.vecObjectId = {TARN_ID{{1, 1, 1}}};
    const PolicyNode converted = convert(rule);
    EXPECT_THAT(converted.vecSubjectId, IsEmpty());
    EXPECT_THAT(converted.vecObjectId, IsEmpty());
}

TEST_F(Conversion, ARuleWithoutNamesEndsUpWithoutIdentifiers) {
    PolicyNode rule;
    rule.bSubjectFlag = false;
    rule.vecSubjectId = {TARN_ID{{1, 1, 1}}};
    rule.bObjectFlag = false;
    rule.vecObjectId = {TARN_ID{{1, 1, 1}}};
    const PolicyNode converted = convert(rule);
    EXPECT_THAT(converted.vecSubjectId, IsEmpty());
    EXPECT_THAT(converted.vecObjectId, IsEmpty());
}

TEST_F(Conversion, AClassThatIsNeitherFileNorDeviceEmptiesTheObjects) {
    know("x");
    PolicyNode rule;
    rule.bObjectFlag = false;
    rule.sPermClass = "capability";
    rule.vecObjectName = {"x"};
    rule.vecObjectId = {TARN_ID{{1, 1, 1}}};
    EXPECT_THAT(convert(rule).vecObjectId, IsEmpty());
}

TEST_F(Conversion, AModuleThatWasNeverRegisteredGetsOneIdentifierOfZeros) {
    PolicyNode rule;
    rule.bObjectFlag = false;
    rule.sPermClass = "kmod";
    rule.vecObjectName = {"unknown", "unknown"};
    EXPECT_THAT(kindsOf(convert(rule).vecObjectId), ElementsAre("zero", "zero"));
    EXPECT_THAT(fake().order, ElementsAre("labels"));
}

TEST_F(Conversion, ADeviceThatTheLabelManagerDoesNotKnowGetsOneIdentifierOfZeros) {
    know("usb0");
    PolicyNode rule;
    rule.bObjectFlag = false;
    rule.sPermClass = "usb";
    rule.vecObjectName = {"usb0", "usb1"};
    EXPECT_THAT(kindsOf(convert(rule).vecObjectId), ElementsAre("device", "zero"));
}

TEST_F(Conversion, DevicesAndModulesAreLookedUpInTheirOwnMap) {
    fake().devices = [](const Names&, Oids& oids) {
        oids["both"] = TARN_ID{{kDevice, 0, 0}};
        return 0;
    };
    manager.deviceVec = {"both"};
    PolicyNode rule;
    rule.bObjectFlag = false;
    rule.sPermClass = "kmod";
    rule.vecObjectName = {"both"};
    EXPECT_THAT(kindsOf(convert(rule).vecObjectId), ElementsAre("zero"));
}

TEST_F(Conversion, ASideWhoseFlagIsSetKeepsItsIdentifiers) {
    know("/a");
    for (const bool subjectFlag : {false, true}) {
        for (const bool objectFlag : {false, true}) {
            PolicyNode rule;
            rule.sPermClass = "file";
            rule.bSubjectFlag = subjectFlag;
            rule.vecSubjectName = {"/a"};
            rule.vecSubjectId = {TARN_ID{{kModule, 1, 1}}};
            rule.bObjectFlag = objectFlag;
            rule.vecObjectName = {"/a"};
            rule.vecObjectId = {TARN_ID{{kModule, 1, 1}}};
            const PolicyNode converted = convert(rule);
            EXPECT_THAT(kindsOf(converted.vecSubjectId), ElementsAre(subjectFlag ? "module" : "subject_file"));
            EXPECT_THAT(kindsOf(converted.vecObjectId), ElementsAre(objectFlag ? "module" : "object_file"));
            EXPECT_EQ(converted.bSubjectFlag, subjectFlag);
            EXPECT_EQ(converted.bObjectFlag, objectFlag);
        }
    }
}

TEST_F(Conversion, NothingButTheIdentifiersIsChanged) {
    know("/a");
    PolicyNode rule;
    rule.uiAttrA = 1;
    rule.uiAttrB = 2;
    rule.bSubjectFlag = false;
    rule.vecSubjectName = {"/a"};
    rule.bObjectFlag = false;
    rule.vecObjectName = {"/a", "NULLL"};
    rule.sPermClass = "file";
    rule.sPerm = "read";
    rule.vecExpr = {ExprNode(11, "", 7)};
    rule.vecDoFunc = {{"act", {}}};
    rule.uiExt[1] = 9;
    rule.strNamespace = "net";
    rule.strGroup = "g";
    rule.strModuleName = "m";
    const PolicyNode converted = convert(rule);
    EXPECT_EQ(converted.uiAttrA, 1U);
    EXPECT_EQ(converted.uiAttrB, 2U);
    EXPECT_THAT(converted.vecSubjectName, ElementsAre("/a"));
    EXPECT_THAT(converted.vecObjectName, ElementsAre("/a", "NULLL"));
    EXPECT_EQ(converted.sPermClass, "file");
    EXPECT_EQ(converted.sPerm, "read");
    EXPECT_EQ(converted.vecExpr.size(), 1U);
    EXPECT_EQ(converted.vecDoFunc.size(), 1U);
    EXPECT_EQ(converted.uiExt[1], 9U);
    EXPECT_EQ(converted.strNamespace, "net");
    EXPECT_EQ(converted.strGroup, "g");
    EXPECT_EQ(converted.strModuleName, "m");
}

TEST_F(Conversion, EveryRuleOfEveryGroupIsConverted) {
    know("/a");
    PolicyNode rule;
    rule.bSubjectFlag = false;
    rule.vecSubjectName = {"/a"};
    for (const char* key : {"one", "two", "three"}) {
        PolicyDb group;
        group.vecPolicy = {rule, rule};
        manager.addPolicy(key, group);
    }
    EXPECT_EQ(manager.parsePolicyData(), 0);
    for (const auto& [key, group] : manager.m_mapPolicy) {
        for (const PolicyNode& converted : group.vecPolicy) {
            EXPECT_THAT(kindsOf(converted.vecSubjectId), ElementsAre("subject_file")) << key;
        }
    }
}

TEST_F(Conversion, TheNextRunReplacesTheIdentifiersAgain) {
    know("/a");
    PolicyNode rule;
    rule.bSubjectFlag = false;
    rule.vecSubjectName = {"/a"};
    convert(rule);
    EXPECT_EQ(manager.parsePolicyData(), 0);
    EXPECT_EQ(manager.m_mapPolicy["base"].vecPolicy[0].vecSubjectId.size(), 1U);
    fake().labels = nullptr;
    EXPECT_EQ(manager.parsePolicyData(), 0);
    EXPECT_THAT(manager.m_mapPolicy["base"].vecPolicy[0].vecSubjectId, IsEmpty());
}

TEST_F(Conversion, NamesNeedNotBeRegisteredToBeFound) {
    EXPECT_THAT(subject("/never/registered"), ElementsAre("subject_file"));
    EXPECT_THAT(manager.m_mapFileToGetLabel, IsEmpty());
}

TEST_F(Conversion, LabelsUnderOtherKindsAreNeverUsed) {
    fake().labels = [](const Request&, Answer& answer) {
        answer["file"]["/a"] = {TARN_ID{{1, 0, 0}}};
        return 0;
    };
    PolicyNode rule;
    rule.bSubjectFlag = false;
    rule.vecSubjectName = {"/a"};
    EXPECT_THAT(convert(rule).vecSubjectId, IsEmpty());
}

TEST_F(Conversion, LookUpsLeaveTheTablesOfTheManagerAlone) {
    know("/a");
    PolicyNode rule;
    rule.bSubjectFlag = false;
    rule.bObjectFlag = false;
    rule.vecSubjectName = {"/missing"};
    rule.sPermClass = "usb";
    rule.vecObjectName = {"missing"};
    convert(rule);
    EXPECT_THAT(manager.deviceVec, ElementsAre("/a"));
    EXPECT_THAT(manager.kmodVec, ElementsAre("/a"));
    EXPECT_THAT(manager.m_mapFileToGetLabel, IsEmpty());
}

TEST_F(Conversion, ThePolicyTableIsLockedForTheWholeConversion) {
    know("/a");
    PolicyNode rule;
    rule.bSubjectFlag = false;
    rule.vecSubjectName = {"/a"};
    PolicyDb group;
    group.vecPolicy = {rule};
    manager.addPolicy("base", group);
    std::vector<std::size_t> convertedAt;
    MutexTrace trace(manager);
    trace.watch([&](const std::string& step) {
        if (step == "lock policy" || step == "unlock policy") {
            convertedAt.push_back(manager.m_mapPolicy["base"].vecPolicy[0].vecSubjectId.size());
        }
    });
    EXPECT_EQ(manager.parsePolicyData(), 0);
    EXPECT_THAT(convertedAt, ElementsAre(0U, 1U));
}

TEST_F(Conversion, AFailingLockThrowsASystemErrorAndTouchesNoRule) {
    for (const std::string name : {"files", "devices", "modules", "policy"}) {
        know("/a");
        PolicyNode rule;
        rule.bSubjectFlag = false;
        rule.vecSubjectName = {"/a"};
        PolicyDb group;
        group.vecPolicy = {rule};
        manager.addPolicy("base", group);
        {
            MutexTrace trace(manager);
            trace.fail(name, EDEADLK);
            EXPECT_THROW(manager.parsePolicyData(), std::system_error) << name;
        }
        EXPECT_THAT(manager.m_mapPolicy["base"].vecPolicy[0].vecSubjectId, IsEmpty()) << name;
        for (const auto& [mutexName, mutex] : MutexTrace::mutexesOf(manager)) {
            EXPECT_TRUE(isFree(*mutex)) << mutexName;
        }
    }
}

}  // namespace
