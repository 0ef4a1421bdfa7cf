#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
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

using testing::AnyOf;
using testing::ElementsAre;
using testlog::Line;

const std::string kParseFailed = "###ERROR: in func importPermData, json parsed failed. ";

std::string wrongClass(const std::string& function, const std::string& name) {
    return "###ERROR: in func " + function + ", wrong perm class " + name + ".";
}
std::string wrongPermission(const std::string& name) {
    return "###ERROR: in func transPerm, wrong permission " + name + ".";
}

// A manager that has imported this document.
struct Imported {
    explicit Imported(const std::string& document) {
        testfiles::write(paths::kClassDefinitions, document);
        status = manager.importPermData();
    }
    ManagerAccess manager;
    int status = -1;
};

// What transPerm answers and leaves in its outputs, which hold -7 and -8 before.
struct Translation {
    int status;
    int classValue;
    int permValue;
    bool operator==(const Translation& other) const {
        return status == other.status && classValue == other.classValue && permValue == other.permValue;
    }
};
std::ostream& operator<<(std::ostream& stream, const Translation& value) {
    return stream << "{" << value.status << ", " << value.classValue << ", " << value.permValue << "}";
}
constexpr int kNoClass = -7;
constexpr int kNoPerm = -8;

Translation translate(ManagerAccess& manager, const std::string& className, const std::string& permName) {
    Translation result{0, kNoClass, kNoPerm};
    result.status = manager.transPerm(className, permName, result.classValue, result.permValue);
    return result;
}

const char kExample[] = R"({
    "file": {"value": 1, "perms": {"read": 1, "write": 2}, "parent": "object"},
    "object": {"value": 9},
    "bare": {},
    "named": {"perms": {"use": 4294967295}, "comment": "ignored", "values": [1]}
})";

TEST(WordLists, TheDeviceTypesAreThe30WordsInTheirOrder) {
    EXPECT_THAT(deviceTypeList,
                ElementsAre("usb", "pci", "serial", "parallel", "ieee1394", "pcmcia", "pcie", "sata", "hdmi", "dp",
                            "cdrom", "printer", "wireless", "ethernet", "bluetooth", "video", "audio_jack", "audio_mic",
                            "audio_speaker", "infrared", "modem", "mmc", "scsi_raid", "floppy_drive",
                            "multi_serial_card", "hotspot", "scanner", "wince", "printer_local", "printer_net"));
}

TEST(WordLists, TheCapabilitiesAreThe38NamesInTheOrderOfTheirNumbers) {
    EXPECT_THAT(capabilityList, testing::ElementsAreArray({"CAP_CHOWN",
                                                           "CAP_DAC_OVERRIDE",
                                                           "CAP_DAC_READ_SEARCH",
                                                           "CAP_FOWNER",
                                                           "CAP_FSETID",
                                                           "CAP_KILL",
                                                           "CAP_SETGID",
                                                           "CAP_SETUID",
                                                           "CAP_SETPCAP",
                                                           "CAP_LINUX_IMMUTABLE",
                                                           "CAP_NET_BIND_SERVICE",
                                                           "CAP_NET_BROADCAST",
                                                           "CAP_NET_ADMIN",
                                                           "CAP_NET_RAW",
                                                           "CAP_IPC_LOCK",
                                                           "CAP_IPC_OWNER",
                                                           "CAP_SYS_MODULE",
                                                           "CAP_SYS_RAWIO",
                                                           "CAP_SYS_CHROOT",
                                                           "CAP_SYS_PTRACE",
                                                           "CAP_SYS_PACCT",
                                                           "CAP_SYS_ADMIN",
                                                           "CAP_SYS_BOOT",
                                                           "CAP_SYS_NICE",
                                                           "CAP_SYS_RESOURCE",
                                                           "CAP_SYS_TIME",
                                                           "CAP_SYS_TTY_CONFIG",
                                                           "CAP_MKNOD",
                                                           "CAP_LEASE",
                                                           "CAP_AUDIT_WRITE",
                                                           "CAP_AUDIT_CONTROL",
                                                           "CAP_SETFCAP",
                                                           "CAP_MAC_OVERRIDE",
                                                           "CAP_MAC_ADMIN",
                                                           "CAP_SYSLOG",
                                                           "CAP_WAKE_ALARM",
                                                           "CAP_BLOCK_SUSPEND",
                                                           "CAP_AUDIT_READ"}));
}

TEST(ImportPermData, ReadsAWellFormedDocument) {
    const Imported imported(kExample);
    EXPECT_EQ(imported.status, 0);
    EXPECT_EQ(imported.manager.classDefRoot["file"]["perms"]["write"].asUInt(), 2U);
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(ImportPermData, ALaterImportReplacesTheDocument) {
    Imported imported(kExample);
    testfiles::write(paths::kClassDefinitions, R"({"dir": {"value": 3}})");
    EXPECT_EQ(imported.manager.importPermData(), 0);
    EXPECT_FALSE(imported.manager.classDefRoot.isMember("file"));
    EXPECT_TRUE(imported.manager.classDefRoot.isMember("dir"));
}

TEST(ImportPermData, AcceptsCommentsAndDoesNotKeepThem) {
    const Imported imported("// classes of this machine\n{ /* one */ \"file\": {\"value\": 1} // last\n}\n");
    EXPECT_EQ(imported.status, 0);
    EXPECT_EQ(imported.manager.classDefRoot["file"]["value"].asUInt(), 1U);
    for (const auto place : {Json::commentBefore, Json::commentAfterOnSameLine, Json::commentAfter}) {
        EXPECT_FALSE(imported.manager.classDefRoot.hasComment(place));
        EXPECT_FALSE(imported.manager.classDefRoot["file"].hasComment(place));
    }
}

TEST(ImportPermData, AMissingFileFailsWithOneMessage) {
    ManagerAccess manager;
    EXPECT_EQ(manager.importPermData(), 1);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, kParseFailed}));
}

TEST(ImportPermData, WhatIsNotJsonFailsWithOneMessage) {
    for (const std::string document : {"", " \n", "{", "}", "{\"a\":}", "file", "{\"a\":1,,}", "[1,2", "\x01\x02",
                                       "{\"file\" {}}", "// only a comment\n"}) {
        testlog::clear();
        const Imported imported(document);
        EXPECT_EQ(imported.status, 1) << document;
        EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, kParseFailed})) << document;
    }
}

TEST(ImportPermData, ADirectoryAtThePathFailsWithOneMessage) {
    testfiles::makeDirectories(paths::kClassDefinitions);
    ManagerAccess manager;
    EXPECT_EQ(manager.importPermData(), 1);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, kParseFailed}));
}

TEST(ImportPermData, NestingBeyondTheReadersLimitFailsWithOneMessage) {
    for (const std::size_t depth : {std::size_t{1001}, std::size_t{1100}, std::size_t{100000}}) {
        testlog::clear();
        const Imported arrays(std::string(depth, '[') + std::string(depth, ']'));
        EXPECT_EQ(arrays.status, 1) << depth;
        EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, kParseFailed}));
        testlog::clear();
        std::string objects;
        for (std::size_t level = 0; level < depth; ++level) {
            objects += "{\"a\":";
        }
        const Imported nested(objects + "1" + std::string(depth, '}'));
        EXPECT_EQ(nested.status, 1) << depth;
        EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, kParseFailed}));
    }
}

TEST(ImportPermData, TakesADocumentWhateverComesAfterIt) {
    for (const std::string after : {"trailing", "{\"dir\": {\"value\": 3}}", "]", "}"}) {
        Imported imported(kExample + (" " + after));
        EXPECT_EQ(imported.status, 0) << after;
        EXPECT_EQ(translate(imported.manager, "file", "write"), (Translation{0, 1, 2})) << after;
        EXPECT_EQ(translate(imported.manager, "dir", ""), (Translation{1, kNoClass, kNoPerm})) << after;
    }
}

TEST(ImportPermData, RefusesACommaBeforeAClosingBracket) {
    for (const std::string document : {R"({"file": {"value": 1}, })", R"({"file": {"value": 1,}})",
                                       R"({"file": {"perms": {"read": 1,}}})", "[1,]"}) {
        testlog::clear();
        const Imported imported(document);
        EXPECT_EQ(imported.status, 1) << document;
        EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, kParseFailed})) << document;
    }
}

TEST(ImportPermData, TakesTheLastOfSeveralEqualKeys) {
    Imported imported(R"({"file": {"value": 8}, "file": {"value": 1, "value": 3, "perms": {"read": 5, "read": 6}}})");
    EXPECT_EQ(imported.status, 0);
    EXPECT_EQ(translate(imported.manager, "file", "read"), (Translation{0, 3, 6}));
}

TEST(ImportPermData, AfterADocumentThatBreaksOffWhatWasReadAnswers) {
    Imported imported(kExample);
    testfiles::write(
        paths::kClassDefinitions,
        R"({"dir": {"value": 3, "perms": {"list": 5}, "parent": "tree"}, "link": {"value": 4, "perms": {)");
    EXPECT_EQ(imported.manager.prepareWork(), 1);
    EXPECT_EQ(translate(imported.manager, "dir", "list"), (Translation{0, 3, 5}));
    EXPECT_EQ(translate(imported.manager, "link", "list"), (Translation{1, 4, kNoPerm}));
    EXPECT_EQ(translate(imported.manager, "file", "read"), (Translation{1, kNoClass, kNoPerm}));
    std::string parent;
    EXPECT_EQ(imported.manager.getParentClass("dir", parent), 0);
    EXPECT_EQ(parent, "tree");
}

TEST(ImportPermData, AFileThatIsMissingEmptyOrBeginsWithNoJsonLeavesTheDefinitionsBefore) {
    Imported imported(kExample);
    for (const std::string document : {"", " \n", "classes", "\xef\xbb\xbf{}", "// only a comment\n"}) {
        testfiles::write(paths::kClassDefinitions, document);
        EXPECT_EQ(imported.manager.prepareWork(), 1) << document;
        EXPECT_EQ(translate(imported.manager, "file", "write"), (Translation{0, 1, 2})) << document;
    }
    ASSERT_EQ(unlink(paths::kClassDefinitions), 0);
    EXPECT_EQ(imported.manager.prepareWork(), 1);
    EXPECT_EQ(translate(imported.manager, "file", "write"), (Translation{0, 1, 2}));
    testfiles::makeDirectories(paths::kClassDefinitions);
    EXPECT_EQ(imported.manager.prepareWork(), 1);
    EXPECT_EQ(translate(imported.manager, "file", "write"), (Translation{0, 1, 2}));
}

TEST(ImportPermData, LeavesNoFileOpen) {
    testfiles::write(paths::kClassDefinitions, kExample);
    ManagerAccess manager;
    const int before = testfiles::openDescriptors();
    EXPECT_EQ(manager.importPermData(), 0);
    EXPECT_EQ(testfiles::openDescriptors(), before);
    testfiles::write(paths::kClassDefinitions, "{");
    EXPECT_EQ(manager.importPermData(), 1);
    EXPECT_EQ(testfiles::openDescriptors(), before);
}

TEST(TransPerm, GivesTheNumbersOfClassAndPermission) {
    Imported imported(kExample);
    EXPECT_EQ(translate(imported.manager, "file", "read"), (Translation{0, 1, 1}));
    EXPECT_EQ(translate(imported.manager, "file", "write"), (Translation{0, 1, 2}));
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(TransPerm, AClassWithoutPermsLeavesThePermission) {
    Imported imported(kExample);
    EXPECT_EQ(translate(imported.manager, "object", "anything"), (Translation{0, 9, kNoPerm}));
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(TransPerm, AClassWithoutValueLeavesTheClassNumber) {
    Imported imported(kExample);
    EXPECT_EQ(translate(imported.manager, "named", "use"), (Translation{0, kNoClass, -1}));
    EXPECT_EQ(translate(imported.manager, "bare", "use"), (Translation{0, kNoClass, kNoPerm}));
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(TransPerm, AnUnknownClassIsRefusedAndLeavesBothOutputs) {
    Imported imported(kExample);
    for (const std::string name : {"missing", "File", "file ", ""}) {
        testlog::clear();
        EXPECT_EQ(translate(imported.manager, name, "read"), (Translation{1, kNoClass, kNoPerm}));
        EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, wrongClass("transPerm", name)}));
    }
}

TEST(TransPerm, AnUnknownPermissionIsRefusedAfterTheClassNumberIsSet) {
    Imported imported(kExample);
    for (const std::string name : {"missing", "READ", ""}) {
        testlog::clear();
        EXPECT_EQ(translate(imported.manager, "file", name), (Translation{1, 1, kNoPerm}));
        EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, wrongPermission(name)}));
    }
}

TEST(TransPerm, WithoutAnImportEveryClassIsUnknown) {
    ManagerAccess manager;
    EXPECT_EQ(translate(manager, "file", "read"), (Translation{1, kNoClass, kNoPerm}));
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, wrongClass("transPerm", "file")}));
}

TEST(TransPerm, DoesNotChangeTheDocument) {
    Imported imported(kExample);
    const Json::Value before = imported.manager.classDefRoot;
    translate(imported.manager, "file", "read");
    translate(imported.manager, "missing", "read");
    translate(imported.manager, "file", "missing");
    translate(imported.manager, "bare", "x");
    std::string parent;
    imported.manager.getParentClass("bare", parent);
    imported.manager.getParentClass("missing", parent);
    EXPECT_EQ(imported.manager.classDefRoot, before);
}

TEST(TransPerm, TakesNumbersAsTheyStand) {
    Imported imported(R"({"low": {"value": 0, "perms": {"p": 0}},
                          "high": {"value": 4294967295, "perms": {"p": 2147483648}}})");
    EXPECT_EQ(translate(imported.manager, "low", "p"), (Translation{0, 0, 0}));
    const Translation high = translate(imported.manager, "high", "p");
    EXPECT_EQ(high.status, 0);
    EXPECT_EQ(static_cast<unsigned int>(high.classValue), 4294967295U);
    EXPECT_EQ(static_cast<unsigned int>(high.permValue), 2147483648U);
}

TEST(TransPerm, TakesTruthAndFractionsAsNumbersAndNullAs0) {
    const std::vector<std::pair<std::string, int>> expectations = {{"true", 1}, {"false", 0}, {"1.5", 1},
                                                                   {"2e1", 20}, {"007", 7},   {"null", 0}};
    for (const auto& [text, number] : expectations) {
        Imported imported(R"({"file": {"value": )" + text + R"(, "perms": {"read": )" + text + "}}}");
        ASSERT_EQ(imported.status, 0) << text;
        EXPECT_EQ(translate(imported.manager, "file", "read"), (Translation{0, number, number})) << text;
    }
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(TransPerm, AClassThatIsNullIsAClassWithoutMembers) {
    Imported imported(R"({"file": null})");
    EXPECT_EQ(translate(imported.manager, "file", "read"), (Translation{0, kNoClass, kNoPerm}));
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(TransPerm, PermsThatAreNullHoldNoPermission) {
    Imported imported(R"({"file": {"value": 1, "perms": null}})");
    EXPECT_EQ(translate(imported.manager, "file", "read"), (Translation{1, 1, kNoPerm}));
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, wrongPermission("read")}));
}

TEST(TransPerm, ADocumentThatIsNullHasNoClasses) {
    Imported imported("null");
    EXPECT_EQ(imported.status, 0);
    EXPECT_EQ(translate(imported.manager, "file", "read"), (Translation{1, kNoClass, kNoPerm}));
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, wrongClass("transPerm", "file")}));
}

TEST(TransPerm, ARootThatIsNoObjectHasNoClasses) {
    for (const std::string document : {"[]", "[{\"file\": 1}]", "5", "\"file\"", "true"}) {
        Imported imported(document);
        ASSERT_EQ(imported.status, 0) << document;
        testlog::clear();
        EXPECT_EQ(translate(imported.manager, "file", "read"), (Translation{1, kNoClass, kNoPerm})) << document;
        EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, wrongClass("transPerm", "file")})) << document;
    }
}

TEST(TransPerm, AClassNumberThatIsNoUnsignedIntegerIsRefusedWithTheClass) {
    for (const std::string value : {"\"one\"", "\"1\"", "-1", "4294967296", "1e300", "[1]", "{\"a\":1}", "-0.5e10"}) {
        Imported imported(R"({"file": {"value": )" + value + R"(, "perms": {"read": 1}}})");
        ASSERT_EQ(imported.status, 0) << value;
        testlog::clear();
        const Translation result = translate(imported.manager, "file", "read");
        EXPECT_EQ(result.status, 1) << value;
        EXPECT_EQ(result.classValue, kNoClass) << value;
        EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, wrongClass("transPerm", "file")})) << value;
    }
}

TEST(TransPerm, APermissionNumberThatIsNoUnsignedIntegerIsRefusedWithThePermission) {
    for (const std::string value : {"\"one\"", "-1", "4294967296", "[1]", "{\"a\": 1}"}) {
        Imported imported(R"({"file": {"value": 1, "perms": {"read": )" + value + R"(}}})");
        ASSERT_EQ(imported.status, 0) << value;
        testlog::clear();
        EXPECT_EQ(translate(imported.manager, "file", "read"), (Translation{1, 1, kNoPerm})) << value;
        EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, wrongPermission("read")})) << value;
    }
}

TEST(TransPerm, PermsThatAreNoObjectAreRefusedWithThePermission) {
    for (const std::string perms : {"[\"read\"]", "1", "\"read\"", "true"}) {
        Imported imported(R"({"file": {"value": 1, "perms": )" + perms + "}}");
        ASSERT_EQ(imported.status, 0) << perms;
        testlog::clear();
        EXPECT_EQ(translate(imported.manager, "file", "read"), (Translation{1, 1, kNoPerm})) << perms;
        EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, wrongPermission("read")})) << perms;
    }
}

TEST(TransPerm, AClassThatIsNoObjectIsRefusedWithTheClass) {
    for (const std::string value : {"5", "\"text\"", "[1]", "true"}) {
        Imported imported("{\"file\": " + value + "}");
        ASSERT_EQ(imported.status, 0) << value;
        testlog::clear();
        EXPECT_EQ(translate(imported.manager, "file", "read"), (Translation{1, kNoClass, kNoPerm})) << value;
        EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, wrongClass("transPerm", "file")})) << value;
    }
}

TEST(TransPerm, MayRunInManyThreadsAtOnce) {
    Imported imported(kExample);
    std::atomic<int> wrong{0};
    runInThreads(8, [&](std::size_t /*thread*/) {
        for (int turn = 0; turn < 500; ++turn) {
            if (!(translate(imported.manager, "file", "write") == Translation{0, 1, 2})) {
                ++wrong;
            }
        }
    });
    EXPECT_EQ(wrong, 0);
}

TEST(GetParentClass, GivesTheParent) {
    Imported imported(kExample);
    std::string parent = "before";
    EXPECT_EQ(imported.manager.getParentClass("file", parent), 0);
    EXPECT_EQ(parent, "object");
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(GetParentClass, AClassWithoutParentIsNoError) {
    Imported imported(kExample);
    setLogLevel(4);
    std::string parent = "before";
    EXPECT_EQ(imported.manager.getParentClass("object", parent), 1);
    EXPECT_EQ(parent, "before");
    EXPECT_THAT(testlog::lines(),
                ElementsAre(Line{4, "###INFO: in func getParentClass, perm class object doesn't have parent. "}));
}

TEST(GetParentClass, GivesANumberOrATruthAsItsTextAndNullAsNone) {
    const std::vector<std::pair<std::string, std::string>> expectations = {
        {"5", "5"}, {"-5", "-5"}, {"1.5", "1.5"}, {"true", "true"}, {"false", "false"}, {"null", ""}, {"\"\"", ""}};
    for (const auto& [value, text] : expectations) {
        Imported imported(R"({"file": {"parent": )" + value + "}}");
        ASSERT_EQ(imported.status, 0) << value;
        std::string parent = "before";
        EXPECT_EQ(imported.manager.getParentClass("file", parent), 0) << value;
        EXPECT_EQ(parent, text) << value;
    }
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(GetParentClass, AClassThatIsNullHasNoParent) {
    Imported imported(R"({"file": null})");
    setLogLevel(4);
    std::string parent = "before";
    EXPECT_EQ(imported.manager.getParentClass("file", parent), 1);
    EXPECT_EQ(parent, "before");
    EXPECT_THAT(testlog::lines(),
                ElementsAre(Line{4, "###INFO: in func getParentClass, perm class file doesn't have parent. "}));
}

TEST(GetParentClass, AnUnknownClassIsRefused) {
    Imported imported(kExample);
    std::string parent = "before";
    EXPECT_EQ(imported.manager.getParentClass("missing", parent), 1);
    EXPECT_EQ(parent, "before");
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, wrongClass("getParentClass", "missing")}));
}

TEST(GetParentClass, LetsNoExceptionOutWhateverTheDocument) {
    for (const std::string document : {"[]", "5", "\"file\"", "{\"file\": 5}", "{\"file\": []}",
                                       "{\"file\": {\"parent\": {\"a\": 1}}}", "{\"file\": {\"parent\": [1]}}"}) {
        Imported imported(document);
        ASSERT_EQ(imported.status, 0) << document;
        testlog::clear();
        std::string parent = "before";
        EXPECT_EQ(imported.manager.getParentClass("file", parent), 1) << document;
        EXPECT_EQ(parent, "before") << document;
        EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, wrongClass("getParentClass", "file")})) << document;
    }
}

TEST(GetCapOid, EachNameInEitherCaseGivesItsPosition) {
    ManagerAccess manager;
    ASSERT_EQ(capabilityList.size(), 38U);
    for (std::size_t number = 0; number < capabilityList.size(); ++number) {
        std::string lower = capabilityList[number];
        std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return std::tolower(c); });
        for (const std::string& name : {capabilityList[number], lower}) {
            TARN_ID oid{{0xAAAAAAAAAAAAAAAA, 5, 6}};
            EXPECT_EQ(manager.getCapOid(name, oid), 0) << name;
            EXPECT_EQ(oid.uiWord[0], number) << name;
            EXPECT_EQ(oid.uiWord[1], 5U) << name;
            EXPECT_EQ(oid.uiWord[2], 6U) << name;
        }
    }
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST(GetCapOid, SysAdminInLowerOrMixedCaseIs21) {
    ManagerAccess manager;
    TARN_ID oid{{0, 0, 0}};
    EXPECT_EQ(manager.getCapOid("cap_sys_admin", oid), 0);
    EXPECT_EQ(oid.uiWord[0], 21U);
    oid.uiWord[0] = 0;
    EXPECT_EQ(manager.getCapOid("Cap_Sys_aDMIN", oid), 0);
    EXPECT_EQ(oid.uiWord[0], 21U);
}

TEST(GetCapOid, AnUnknownNameIsReportedInUpperCase) {
    ManagerAccess manager;
    for (const auto& [name, shown] : std::vector<std::pair<std::string, std::string>>{{"cap_perfmon", "CAP_PERFMON"},
                                                                                      {"CAP_BPF", "CAP_BPF"},
                                                                                      {"CAP_CHOWN ", "CAP_CHOWN "},
                                                                                      {"chown", "CHOWN"}}) {
        testlog::clear();
        TARN_ID oid{{4, 5, 6}};
        EXPECT_EQ(manager.getCapOid(name, oid), 1);
        EXPECT_EQ(oid.uiWord[0], 4U);
        EXPECT_THAT(testlog::lines(),
                    ElementsAre(Line{1, "###ERROR: in func getCapOid, wrong sCapName " + shown + "."}));
    }
}

TEST(GetCapOid, AnEmptyNameIsRefused) {
    ManagerAccess manager;
    TARN_ID oid{{4, 5, 6}};
    EXPECT_EQ(manager.getCapOid("", oid), 1);
    EXPECT_EQ(oid.uiWord[0], 4U);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, "###ERROR: in func getCapOid, empty sCapName."}));
}

// The two collectors are alike but for their table, mutex and message.
struct Collector {
    int (PolicyModuleManagerInterface::*add)(std::string);
    std::vector<std::string> ManagerAccess::*list;
    std::string mutex;
    std::string message;
};

void PrintTo(const Collector& collector, std::ostream* stream) {
    *stream << collector.mutex;
}

class Collectors : public testing::TestWithParam<Collector> {};

TEST_P(Collectors, AppendsInOrderAndKeepsDuplicates) {
    ManagerAccess manager;
    for (const char* name : {"b", "a", "b"}) {
        EXPECT_EQ((manager.*GetParam().add)(name), 0);
    }
    EXPECT_THAT(manager.*GetParam().list, ElementsAre("b", "a", "b"));
    EXPECT_EQ(manager.deviceVec.size() + manager.kmodVec.size(), 3U);
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST_P(Collectors, RefusesAnEmptyName) {
    ManagerAccess manager;
    EXPECT_EQ((manager.*GetParam().add)(""), 1);
    EXPECT_THAT(manager.*GetParam().list, ElementsAre());
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, GetParam().message}));
}

TEST_P(Collectors, HoldsItsOwnMutexAlone) {
    ManagerAccess manager;
    MutexTrace trace(manager);
    bool storedAtRelease = false;
    trace.watch([&](const std::string& step) {
        storedAtRelease = step.rfind("unlock", 0) == 0 && (manager.*GetParam().list).size() == 1;
    });
    EXPECT_EQ((manager.*GetParam().add)("a"), 0);
    EXPECT_THAT(trace.steps(), ElementsAre("lock " + GetParam().mutex, "unlock " + GetParam().mutex));
    EXPECT_TRUE(storedAtRelease);
}

TEST_P(Collectors, AFailingLockThrowsASystemErrorAndStoresNothing) {
    ManagerAccess manager;
    MutexTrace trace(manager);
    trace.fail(GetParam().mutex, EDEADLK);
    try {
        (manager.*GetParam().add)("a");
        FAIL() << "the failing lock went unnoticed";
    } catch (const std::system_error& error) {
        EXPECT_EQ(error.code().value(), EDEADLK);
    }
    EXPECT_THAT(manager.*GetParam().list, ElementsAre());
}

TEST_P(Collectors, MayBeFilledFromManyThreads) {
    ManagerAccess manager;
    runInThreads(4, [&](std::size_t /*thread*/) {
        for (int turn = 0; turn < 250; ++turn) {
            (manager.*GetParam().add)("name");
        }
    });
    EXPECT_EQ((manager.*GetParam().list).size(), 1000U);
}

INSTANTIATE_TEST_SUITE_P(Of, Collectors,
                         testing::Values(Collector{&PolicyModuleManagerInterface::addToDeviceVec,
                                                   &ManagerAccess::deviceVec, "devices",
                                                   "###ERROR: in func addToDeviceVec, empty sDevice."},
                                         Collector{&PolicyModuleManagerInterface::addToKmodVec, &ManagerAccess::kmodVec,
                                                   "modules", "###ERROR: in func addToKmodVec, empty sKmod."}),
                         [](const testing::TestParamInfo<Collector>& parameter) { return parameter.param.mutex; });

}  // namespace
