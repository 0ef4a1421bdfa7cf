#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <system_error>
#include <tuple>
#include <vector>

#include "Common/Common.h"
#include "libtarnpolicysync/Paths.h"
#include "support/Files.h"
#include "support/Interpose.h"
#include "support/LogLines.h"
#include "support/ManagerAccess.h"
#include "support/MutexTrace.h"
#include "support/StdoutCapture.h"
#include "support/WriteFaults.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;
using testlog::Line;

constexpr std::size_t kCapacity = 1048576;
constexpr std::size_t kHeader = 20;
constexpr std::size_t kBlockHead = 28;  // magic number and nameNode
constexpr std::size_t kFuncNode = 8;
constexpr std::size_t kEndNumber = 4;

std::string word(std::uint32_t value) {
    std::string bytes;
    for (int shift = 0; shift < 32; shift += 8) {
        bytes += static_cast<char>(static_cast<unsigned char>(value >> shift));
    }
    return bytes;
}

std::string header(std::size_t length, std::uint32_t blocks) {
    return word(1) + word(static_cast<std::uint32_t>(length)) + word(24) + word(blocks) + word(4);
}

std::string message() {
    return testfiles::read(paths::kNamespaceMessage);
}

std::uint32_t wordAt(const std::string& bytes, std::size_t offset) {
    std::uint32_t value = 0;
    std::memcpy(&value, bytes.data() + offset, sizeof value);
    return value;
}

bool nothingWritten() {
    return !testfiles::exists(paths::kSceneInfoTmp) && !testfiles::exists(paths::kNamespaceMessage) &&
           !testfiles::exists(paths::kFuncInfoTmp);
}

// A manager and the directory that the pipeline prepares before this stage.
class NamespaceMessage : public testing::Test {
protected:
    NamespaceMessage() { testfiles::makeDirectories(paths::kPolicyDataTmp); }
    ManagerAccess manager;
};

TEST_F(NamespaceMessage, OneNamespaceWithTwoFunctionsIsThese93Bytes) {
    manager.setNamespaceFuncInfo("net", "netmod", "check");
    manager.setNamespaceFuncInfo("net", "netmod", "log");
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    const unsigned char expected[93] = {
        0x01, 0,    0,    0,    0x5d, 0, 0, 0, 0x18, 0,   0,   0,   0x01, 0,   0,   0,   0x04, 0,   0,    0,  // header
        0xa5, 0xa5, 0x5a, 0x5a,                                    // magic number
        0xff, 0x15, 0xea, 0xf2, 0x03, 0, 0, 0, 0x02, 0,   0,   0,  // number, length, functions
        0,    0,    0,    0,    0,    0, 0, 0, 0,    0,   0,   0,  // reserved
        'n',  'e',  't',                                           // name
        0x01, 0,    0,    0,    0x0c, 0, 0, 0, 'n',  'e', 't', 'm', 'o',  'd', ':', 'c', 'h',  'e', 'c',  'k',
        0x02, 0,    0,    0,    0x0a, 0, 0, 0, 'n',  'e', 't', 'm', 'o',  'd', ':', 'l', 'o',  'g', 0xff, 0xff,
        0x34, 0x12};  // end number
    EXPECT_EQ(message(), std::string(reinterpret_cast<const char*>(expected), sizeof expected));
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST_F(NamespaceMessage, WritesBothStateFilesInTheirLineFormats) {
    manager.setNamespaceFuncInfo("net", "netmod", "check");
    manager.setNamespaceFuncInfo("net", "netmod", "log");
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    EXPECT_EQ(testfiles::read(paths::kSceneInfoTmp), "4075427327:net\n");
    EXPECT_EQ(testfiles::read(paths::kFuncInfoTmp), "net#netmod:check,netmod:log\n");
}

TEST_F(NamespaceMessage, AnEmptyTableIsA24ByteMessageAndTwoEmptyFiles) {
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    EXPECT_EQ(message(), header(24, 0) + word(0x1234FFFF));
    EXPECT_TRUE(testfiles::exists(paths::kSceneInfoTmp));
    EXPECT_EQ(testfiles::read(paths::kSceneInfoTmp), "");
    EXPECT_TRUE(testfiles::exists(paths::kFuncInfoTmp));
    EXPECT_EQ(testfiles::read(paths::kFuncInfoTmp), "");
}

TEST_F(NamespaceMessage, ANamespaceWithoutFunctionsStandsInSceneInfoAlone) {
    manager.setNamespaceInfo("net");
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    EXPECT_EQ(message(), header(24, 0) + word(0x1234FFFF));
    EXPECT_EQ(testfiles::read(paths::kSceneInfoTmp), "4075427327:net\n");
    EXPECT_EQ(testfiles::read(paths::kFuncInfoTmp), "");
    EXPECT_THAT(manager.m_mapFuncId, IsEmpty());
}

TEST_F(NamespaceMessage, ANamespaceWithoutFunctionsDoesNotCountAmongTheBlocks) {
    manager.setNamespaceInfo("empty");
    manager.setNamespaceFuncInfo("net", "m", "f");
    manager.setNamespaceInfo("bare");
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    EXPECT_EQ(wordAt(message(), 12), 1U);
    EXPECT_EQ(message().size(), kHeader + kBlockHead + 3 + kFuncNode + 3 + kEndNumber);
    EXPECT_EQ(testfiles::read(paths::kFuncInfoTmp), "net#m:f\n");
}

TEST_F(NamespaceMessage, SeveralNamespacesStandInOneOrderInAllThreeFiles) {
    for (const char* name : {"net", "web", "storage", "a", "b", "audit"}) {
        manager.setNamespaceFuncInfo(name, "m", name);
        manager.setNamespaceFuncInfo(name, "m", "second");
    }
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    std::string blocks;
    std::string scene;
    std::string functions;
    for (const auto& [name, entries] : manager.m_mapNamespaceFunc) {
        blocks += word(0x5A5AA5A5) + word(stringToId(name.c_str())) + word(static_cast<std::uint32_t>(name.size())) +
                  word(2) + std::string(12, '\0') + name;
        scene += std::to_string(stringToId(name.c_str())) + ":" + name + "\n";
        functions += name + "#" + entries[0] + "," + entries[1] + "\n";
        for (std::uint32_t number = 1; number <= 2; ++number) {
            const std::string& entry = entries[number - 1];
            blocks += word(number) + word(static_cast<std::uint32_t>(entry.size())) + entry;
        }
    }
    EXPECT_EQ(message(), header(kHeader + blocks.size() + kEndNumber, 6) + blocks + word(0x1234FFFF));
    EXPECT_EQ(testfiles::read(paths::kSceneInfoTmp), scene);
    EXPECT_EQ(testfiles::read(paths::kFuncInfoTmp), functions);
}

TEST_F(NamespaceMessage, NamesAreWrittenAsTheirBytesAlone) {
    manager.setNamespaceFuncInfo("名", "m", "f");
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    EXPECT_EQ(wordAt(message(), 28), 3U);
    EXPECT_EQ(message().substr(kHeader + kBlockHead, 3), "名");
    EXPECT_EQ(wordAt(message(), kHeader + kBlockHead + 3), 1U);
}

TEST_F(NamespaceMessage, FunctionsAreNumberedFromOneInTheOrderOfTheirList) {
    manager.setNamespaceFuncInfo("net", "m", "f");
    manager.setNamespaceFuncInfo("net", "m", "g");
    manager.setNamespaceFuncInfo("web", "m", "g");
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    int id = 0;
    EXPECT_EQ(manager.getFuncId("net", "m", "g", id), 0);
    EXPECT_EQ(id, 2);
    EXPECT_EQ(manager.getFuncId("net", "m", "f", id), 0);
    EXPECT_EQ(id, 1);
    EXPECT_EQ(manager.getFuncId("web", "m", "g", id), 0);
    EXPECT_EQ(id, 1);
}

TEST_F(NamespaceMessage, ANewPassRenumbersAndKeepsTheNumbersOfRemovedFunctions) {
    manager.m_mapNamespaceFunc["net"] = {"m:f", "m:g"};
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    manager.m_mapNamespaceFunc["net"] = {"m:h", "m:f"};
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    EXPECT_THAT(manager.m_mapFuncId,
                ElementsAre(Pair(Pair("net", "m:f"), 2U), Pair(Pair("net", "m:g"), 2U), Pair(Pair("net", "m:h"), 1U)));
    EXPECT_EQ(testfiles::read(paths::kFuncInfoTmp), "net#m:h,m:f\n");
}

TEST_F(NamespaceMessage, AKnownNumberIsUsedInsteadOfTheChecksum) {
    testfiles::write(paths::kSceneInfo, "7:net\n");
    ManagerAccess second;
    second.setNamespaceFuncInfo("net", "m", "f");
    EXPECT_EQ(second.compileKernelNamespaceMsg(), 0);
    EXPECT_EQ(wordAt(message(), 24), 7U);
    EXPECT_EQ(testfiles::read(paths::kSceneInfoTmp), "7:net\n");
}

TEST_F(NamespaceMessage, ANewNameIsNumberedAndKept) {
    manager.setNamespaceInfo("net");
    manager.setNamespaceInfo("123456789");
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    EXPECT_THAT(manager.m_mapNameId, UnorderedElementsAre(Pair("net", 4075427327U), Pair("123456789", 0xCBF43926U)));
}

TEST_F(NamespaceMessage, NamesThatAreNoLongerRegisteredVanishFromSceneInfo) {
    manager.m_mapNameId["old"] = 5;
    manager.setNamespaceInfo("net");
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    EXPECT_EQ(testfiles::read(paths::kSceneInfoTmp), "4075427327:net\n");
    EXPECT_EQ(manager.m_mapNameId.at("old"), 5U);
}

TEST_F(NamespaceMessage, EachPassStartsAfresh) {
    manager.setNamespaceFuncInfo("net", "m", "f");
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    const std::string first = message();
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    EXPECT_EQ(message(), first);
    manager.clearAllPolicy();
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    EXPECT_EQ(message(), header(24, 0) + word(0x1234FFFF));
    EXPECT_EQ(testfiles::read(paths::kSceneInfoTmp), "");
    EXPECT_THAT(manager.m_mapFuncId, IsEmpty());
}

TEST_F(NamespaceMessage, LeavesTheFinalStateFilesAlone) {
    testfiles::write(paths::kFuncInfo, "old#m:f\n");
    testfiles::write(paths::kSceneInfo, "5:old\n");
    manager.setNamespaceInfo("net");
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    EXPECT_EQ(testfiles::read(paths::kFuncInfo), "old#m:f\n");
    EXPECT_EQ(testfiles::read(paths::kSceneInfo), "5:old\n");
}

// ---- The bound of the buffer

constexpr char kEndFull[] = "Failed to copy end_number, buffer full";

// Compiles and expects the failure of this append, with nothing on disk.
void expectOverflow(ManagerAccess& manager, const std::string& complaint) {
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 1);
    EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, complaint}));
    EXPECT_TRUE(nothingWritten());
}

TEST_F(NamespaceMessage, AMessageMayFillTheBufferExactly) {
    const std::string entry(kCapacity - kHeader - kBlockHead - 1 - kFuncNode - kEndNumber, 'x');
    manager.m_mapNamespaceFunc["n"] = {entry};
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    const std::string bytes = message();
    ASSERT_EQ(bytes.size(), kCapacity);
    EXPECT_EQ(wordAt(bytes, 4), kCapacity);
    EXPECT_EQ(wordAt(bytes, kCapacity - kEndNumber), 0x1234FFFFU);
    EXPECT_EQ(bytes.substr(kHeader + kBlockHead + 1 + kFuncNode, entry.size()), entry);
    EXPECT_EQ(testfiles::read(paths::kFuncInfoTmp), "n#" + entry + "\n");
}

TEST_F(NamespaceMessage, OneByteMoreLeavesNoRoomForTheEndNumber) {
    manager.m_mapNamespaceFunc["n"] = {
        std::string(kCapacity - kHeader - kBlockHead - 1 - kFuncNode - kEndNumber + 1, 'x')};
    expectOverflow(manager, kEndFull);
}

TEST_F(NamespaceMessage, AFunctionNameThatFillsTheBufferLeavesNoRoomForTheEndNumber) {
    manager.m_mapNamespaceFunc["n"] = {std::string(kCapacity - kHeader - kBlockHead - 1 - kFuncNode, 'x')};
    expectOverflow(manager, kEndFull);
}

TEST_F(NamespaceMessage, AFunctionNameOneByteTooLongIsRefused) {
    manager.m_mapNamespaceFunc["n"] = {std::string(kCapacity - kHeader - kBlockHead - 1 - kFuncNode + 1, 'x')};
    expectOverflow(manager, "Failed to copy function name, buffer full");
}

TEST_F(NamespaceMessage, AFunctionNodeOneByteTooLongIsRefused) {
    const std::size_t room = kCapacity - kHeader - kBlockHead - 1 - kFuncNode;
    manager.m_mapNamespaceFunc["n"] = {std::string(room - kFuncNode + 1, 'x'), "m:f"};
    expectOverflow(manager, "Failed to copy funcNode, buffer full");
}

TEST_F(NamespaceMessage, AFunctionNodeThatFillsTheBufferLeavesNoRoomForItsName) {
    const std::size_t room = kCapacity - kHeader - kBlockHead - 1 - kFuncNode;
    manager.m_mapNamespaceFunc["n"] = {std::string(room - kFuncNode, 'x'), "m:f"};
    expectOverflow(manager, "Failed to copy function name, buffer full");
}

TEST_F(NamespaceMessage, ANamespaceNameOneByteTooLongIsRefused) {
    manager.m_mapNamespaceFunc[std::string(kCapacity - kHeader - kBlockHead + 1, 'n')] = {"m:f"};
    expectOverflow(manager, "Failed to copy scene name, buffer full");
}

TEST_F(NamespaceMessage, ANamespaceNameThatFillsTheBufferLeavesNoRoomForItsFunctions) {
    manager.m_mapNamespaceFunc[std::string(kCapacity - kHeader - kBlockHead, 'n')] = {"m:f"};
    expectOverflow(manager, "Failed to copy funcNode, buffer full");
}

// Two namespaces, of which the one that the table walks first leaves so many bytes to the other.
void leaveForTheSecond(ManagerAccess& manager, std::size_t rest) {
    manager.m_mapNamespaceFunc["a"] = {"m:f"};
    manager.m_mapNamespaceFunc["b"] = {"m:f"};
    manager.m_mapNamespaceFunc.begin()->second = {
        std::string(kCapacity - kHeader - kBlockHead - 1 - kFuncNode - rest, 'x')};
}

TEST_F(NamespaceMessage, AMagicNumberOneByteTooLongIsRefused) {
    leaveForTheSecond(manager, 3);
    expectOverflow(manager, "Failed to copy magic number, buffer full");
}

TEST_F(NamespaceMessage, AMagicNumberThatFillsTheBufferLeavesNoRoomForItsNode) {
    leaveForTheSecond(manager, 4);
    expectOverflow(manager, "Failed to copy nameNode, buffer full");
}

TEST_F(NamespaceMessage, ANameNodeOneByteTooLongIsRefused) {
    leaveForTheSecond(manager, kBlockHead - 1);
    expectOverflow(manager, "Failed to copy nameNode, buffer full");
}

TEST_F(NamespaceMessage, ANameNodeThatFillsTheBufferLeavesNoRoomForItsName) {
    leaveForTheSecond(manager, kBlockHead);
    expectOverflow(manager, "Failed to copy scene name, buffer full");
}

TEST_F(NamespaceMessage, AnOverflowLeavesEarlierFilesAsTheyWere) {
    manager.setNamespaceFuncInfo("n", "m", "f");
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    const std::string before = message();
    manager.m_mapNamespaceFunc["n"] = {std::string(kCapacity, 'x')};
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 1);
    EXPECT_EQ(message(), before);
    EXPECT_EQ(testfiles::read(paths::kFuncInfoTmp), "n#m:f\n");
}

TEST_F(NamespaceMessage, NumbersAssignedBeforeAnOverflowStay) {
    const std::string large(kCapacity, 'x');
    manager.m_mapNamespaceFunc["n"] = {"m:f", large, "m:g"};
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 1);
    EXPECT_EQ(manager.m_mapFuncId.size(), 2U);
    EXPECT_EQ((manager.m_mapFuncId.at({"n", "m:f"})), 1U);
    EXPECT_EQ((manager.m_mapFuncId.at({"n", large})), 2U);
    EXPECT_EQ(manager.m_mapNameId.count("n"), 1U);
}

// ---- The files

TEST_F(NamespaceMessage, WritesSceneInfoThenTheMessageThenFuncInfoWithTheUsualFlags) {
    manager.setNamespaceFuncInfo("net", "m", "f");
    std::vector<std::tuple<std::string, int, mode_t>> opened;
    auto hook = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        opened.emplace_back(path, flags, mode);
        return interpose::open.real(path, flags, mode);
    });
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    constexpr int kFlags = O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW;
    EXPECT_THAT(opened, ElementsAre(std::make_tuple(paths::kSceneInfoTmp, kFlags, mode_t{0440}),
                                    std::make_tuple(paths::kNamespaceMessage, kFlags, mode_t{0440}),
                                    std::make_tuple(paths::kFuncInfoTmp, kFlags, mode_t{0440})));
}

TEST_F(NamespaceMessage, TheFilesAreReadableByOwnerAndGroupAlone) {
    manager.setNamespaceFuncInfo("net", "m", "f");
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    for (const char* path : {paths::kSceneInfoTmp, paths::kNamespaceMessage, paths::kFuncInfoTmp}) {
        EXPECT_EQ(testfiles::mode(path), 0440U) << path;
    }
}

std::string writeError(const std::string& path) {
    return "###ERROR: in func compileKernelNamespaceMsg, write " + path + " error.";
}

TEST_F(NamespaceMessage, AFileThatCannotBeOpenedEndsTheWritingWithMinusOne) {
    manager.setNamespaceFuncInfo("net", "m", "f");
    const std::vector<std::string> order = {paths::kSceneInfoTmp, paths::kNamespaceMessage, paths::kFuncInfoTmp};
    for (std::size_t failing = 0; failing < order.size(); ++failing) {
        SCOPED_TRACE(order[failing]);
        for (const std::string& path : order) {
            unlink(path.c_str());
        }
        testlog::clear();
        testfiles::link("/etc/tarn/elsewhere", order[failing]);
        EXPECT_EQ(manager.compileKernelNamespaceMsg(), -1);
        EXPECT_THAT(testlog::lines(), ElementsAre(Line{1, "####ERROR: Open " + order[failing] + " failed"},
                                                  Line{1, writeError(order[failing])}));
        EXPECT_FALSE(testfiles::exists("/etc/tarn/elsewhere"));
        for (std::size_t file = 0; file < order.size(); ++file) {
            EXPECT_EQ(testfiles::exists(order[file]), file <= failing) << order[file];
        }
    }
}

TEST_F(NamespaceMessage, AFailingWriteHandsOnItsErrno) {
    manager.setNamespaceFuncInfo("net", "m", "f");
    for (const std::string path : {paths::kSceneInfoTmp, paths::kNamespaceMessage, paths::kFuncInfoTmp}) {
        testlog::clear();
        const WriteFaults faults({{path, ENOSPC}});
        EXPECT_EQ(manager.compileKernelNamespaceMsg(), ENOSPC);
        EXPECT_THAT(testlog::lines(),
                    ElementsAre(Line{1, "####ERROR: Write " + path + " errno: No space left on device"},
                                Line{1, writeError(path)}));
    }
}

TEST_F(NamespaceMessage, WithoutTheDirectoryTheMessageCannotBeWritten) {
    ASSERT_EQ(rmdir(paths::kPolicyDataTmp), 0);
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), -1);
    EXPECT_TRUE(testfiles::exists(paths::kSceneInfoTmp));
    EXPECT_FALSE(testfiles::exists(paths::kFuncInfoTmp));
}

// ---- Traces and locks

TEST_F(NamespaceMessage, WithLogflagTheWholeMessageIsDumped) {
    manager.setNamespaceFuncInfo("net", "netmod", "check");
    manager.setNamespaceFuncInfo("net", "netmod", "log");
    manager.logflag = true;
    StdoutCapture output;
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    const std::string text = output.finish();
    EXPECT_THAT(text, HasSubstr("  01 00 00 00 5d 00 00 00 18 00 00 00 01 00 00 00   ....]...........\n"));
    EXPECT_THAT(text, HasSubstr("ff ff 34 12   "));
    const std::vector<Line> log = testlog::lines();
    ASSERT_EQ(log.size(), 1U);
    EXPECT_EQ(log[0].level, 3);
    EXPECT_THAT(log[0].text, HasSubstr("01 00 00 00 5d 00 00 00 18 00 00 00 01 00 00 00   ....]...........\\n"));
}

TEST_F(NamespaceMessage, WithLogflagTheDumpComesBeforeTheFiles) {
    manager.setNamespaceFuncInfo("net", "m", "f");
    manager.logflag = true;
    const StdoutCapture quiet;
    std::vector<std::size_t> linesAtOpen;
    auto hook = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        if ((flags & O_TRUNC) != 0) {
            linesAtOpen.push_back(testlog::lines().size());
        }
        return interpose::open.real(path, flags, mode);
    });
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    EXPECT_THAT(linesAtOpen, ElementsAre(1U, 1U, 1U));
}

TEST_F(NamespaceMessage, WithLogflagAMessageThatCannotBeWrittenIsDumpedToo) {
    manager.setNamespaceFuncInfo("net", "m", "f");
    manager.logflag = true;
    StdoutCapture output;
    const WriteFaults faults({{paths::kSceneInfoTmp, ENOSPC}});
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), ENOSPC);
    EXPECT_THAT(output.finish(), HasSubstr("  34 12   4."));
    const std::vector<Line> log = testlog::lines();
    ASSERT_EQ(log.size(), 3U);
    EXPECT_EQ(log[0].level, 3);
    EXPECT_THAT(log[0].text, HasSubstr("  34 12   4."));
    EXPECT_EQ(log[2], (Line{1, writeError(paths::kSceneInfoTmp)}));
}

TEST_F(NamespaceMessage, WithLogflagAMessageThatOverflowsIsNotDumped) {
    manager.m_mapNamespaceFunc["n"] = {std::string(kCapacity, 'x')};
    manager.logflag = true;
    StdoutCapture output;
    expectOverflow(manager, "Failed to copy function name, buffer full");
    manager.m_mapNamespaceFunc["n"] = {std::string(kCapacity - kHeader - kBlockHead - 1 - kFuncNode, 'x')};
    testlog::clear();
    expectOverflow(manager, kEndFull);
    EXPECT_EQ(output.finish(), "");
}

TEST_F(NamespaceMessage, WithoutLogflagNothingIsPrinted) {
    manager.setNamespaceFuncInfo("net", "m", "f");
    StdoutCapture output;
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    EXPECT_EQ(output.finish(), "");
    EXPECT_THAT(testlog::lines(), ElementsAre());
}

TEST_F(NamespaceMessage, TakesItsThreeMutexesOneAfterTheOther) {
    manager.m_mapNamespaceFunc["net"] = {"m:f", "m:g"};
    const MutexTrace trace(manager);
    EXPECT_EQ(manager.compileKernelNamespaceMsg(), 0);
    EXPECT_THAT(trace.steps(), ElementsAre("lock namespace", "unlock namespace", "lock names", "unlock names",
                                           "lock functions", "unlock functions", "lock functions", "unlock functions"));
}

TEST_F(NamespaceMessage, AFailingLockThrowsASystemErrorAndWritesNothing) {
    manager.m_mapNamespaceFunc["net"] = {"m:f"};
    for (const std::string name : {"namespace", "names", "functions"}) {
        MutexTrace trace(manager);
        trace.fail(name, EDEADLK);
        EXPECT_THROW(manager.compileKernelNamespaceMsg(), std::system_error) << name;
        EXPECT_TRUE(nothingWritten()) << name;
    }
}

}  // namespace
