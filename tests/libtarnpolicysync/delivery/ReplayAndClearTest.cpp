// Replaying all variables into the kernel, and forgetting them.
#include <atomic>
#include <thread>

#include "DeliverySet.h"
#include "support/Interpose.h"

namespace {

using testlog::Line;
using Variables = ManagerAccess::DynamicVariables;

class Replay : public DeliverySet {
protected:
    // "path=byte" for each write, in order.
    std::vector<std::string> switched() const {
        std::vector<std::string> result;
        for (const KernelEntry::Call& call : kernel_.calls()) {
            if (call.name == "write") {
                result.push_back(call.path.substr(call.path.find("paras/") + 6) + "=" + call.data);
            }
        }
        return result;
    }
};

TEST_F(Replay, AnEmptyTableWritesNothing) {
    EXPECT_EQ(manager_.sendDynamicInfo(""), 0);
    EXPECT_TRUE(kernel_.calls().empty());
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(Replay, WritesEveryVariableInTheOrderOfTheTable) {
    addVariable("net", "usb", 7);
    addVariable("net", "cd", 0);
    addVariable("a", "z", 1);
    EXPECT_EQ(manager_.sendDynamicInfo(""), 0);
    EXPECT_EQ(switched(), (std::vector<std::string>{"a/z=1", "net/cd=0", "net/usb=1"}));
    EXPECT_FALSE(testfiles::exists(paths::kDynamicInfo)) << "a replay saves nothing";
}

TEST_F(Replay, NotesEachVariableAtLevelFour) {
    addVariable("net", "usb", 4294967295U);
    setLogLevel(4);
    EXPECT_EQ(manager_.sendDynamicInfo(""), 0);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{4, "###INFO: send dynamic variable [net:usb=-1] success"}}));
}

TEST_F(Replay, AMinusOneOfTheFileIsOn) {
    testfiles::write(paths::kernelParameter("net", "usb"), "");
    testfiles::write(paths::kDynamicInfo, "net:usb:-1\n");
    ManagerAccess fresh;
    EXPECT_EQ(fresh.sendDynamicInfo(""), 0);
    EXPECT_EQ(switched(), std::vector<std::string>{"net/usb=1"});
    EXPECT_EQ(fresh.dynamicVarMap, (Variables{{{"net", "usb"}, 4294967295U}}));
}

TEST_F(Replay, PassesFailuresOver) {
    addVariable("a", "one", 1);
    addVariable("b", "two", 1);
    addVariable("d", "three", 1);
    manager_.dynamicVarMap[{"c", "missing"}] = 1;
    manager_.dynamicVarMap[{"c", "bad/name"}] = 1;
    kernel_.refuse(2, 22);
    EXPECT_EQ(manager_.sendDynamicInfo(""), 0);
    EXPECT_EQ(switched(), (std::vector<std::string>{"a/one=1", "b/two=1", "d/three=1"}));
    EXPECT_EQ(
        testlog::lines(),
        (std::vector<Line>{{1, "####ERROR: in func modifyDynamicVariable, Write dynamic value error"},
                           {1, "Illegal ns_name or var_name contains path separator or is empty: ns=c, var=bad/name"},
                           {1, "####ERROR: Open /sys/kernel/security/tarn/paras/c/missing failed"}}));
    EXPECT_EQ(manager_.dynamicVarMap.size(), 5U);
}

TEST_F(Replay, TheMutexIsFreeWhileVariablesAreWritten) {
    addVariable("net", "usb", 7);
    int free = 0;
    kernel_.beforeWrite([&](const std::string&) {
        if (manager_.dynamicVarMutex.try_lock()) {
            ++free;
            manager_.dynamicVarMutex.unlock();
        }
    });
    EXPECT_EQ(manager_.sendDynamicInfo(""), 0);
    EXPECT_EQ(free, 1);
}

TEST_F(Replay, WritesTheValuesOfItsStart) {
    addVariable("a", "one", 1);
    addVariable("b", "two", 1);
    kernel_.beforeWrite([&](const std::string& path) {
        if (path.find("/a/one") != std::string::npos) {
            const std::lock_guard lock(manager_.dynamicVarMutex);
            manager_.dynamicVarMap[{"b", "two"}] = 0;
            manager_.dynamicVarMap[{"c", "new"}] = 1;
        }
    });
    EXPECT_EQ(manager_.sendDynamicInfo(""), 0);
    EXPECT_EQ(switched(), (std::vector<std::string>{"a/one=1", "b/two=1"}));
}

TEST_F(Replay, WithAPrefixTheFileBelowItCounts) {
    addVariable("net", "own", 5);
    testfiles::write(paths::kernelParameter("net", "usb"), "");
    testfiles::write("/var/log/root/etc/tarn/dynamicinfo", "net:usb:7\nnet:missing:1\n");
    testfiles::write(paths::kDynamicInfo, "net:own:5\n");
    EXPECT_EQ(manager_.sendDynamicInfo("/var/log/root"), 0);
    EXPECT_EQ(switched(), std::vector<std::string>{"net/usb=1"});
    // The table receives what reached the kernel; the file stays.
    EXPECT_EQ(manager_.dynamicVarMap, (Variables{{{"net", "own"}, 5}, {{"net", "usb"}, 7}}));
    EXPECT_EQ(testfiles::read(paths::kDynamicInfo), "net:own:5\n");
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "####ERROR: Open /sys/kernel/security/tarn/paras/net/missing failed"}}));
}

TEST_F(Replay, WithAPrefixAMissingFileIsNoError) {
    addVariable("net", "own", 5);
    EXPECT_EQ(manager_.sendDynamicInfo("/var/log/root"), 0);
    EXPECT_TRUE(kernel_.calls().empty());
}

TEST_F(Replay, ABadPrefixIsMinusOne) {
    EXPECT_EQ(manager_.sendDynamicInfo("/var/../log"), -1);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "Mount prefix contains escape char: /var/../log"},
                                                   {1, "Illegal prefix in importDynamicVariableInfo: /var/../log"}}));
}

TEST_F(Replay, AnUnreadableFileBelowThePrefixIsMinusOne) {
    testfiles::makeDirectories("/var/log/root/etc/tarn/dynamicinfo");
    EXPECT_EQ(manager_.sendDynamicInfo("/var/log/root"), -1);
    EXPECT_TRUE(kernel_.calls().empty());
}

class Clear : public DeliverySet {};

TEST_F(Clear, EmptiesTableAndRemovesTheFile) {
    addVariable("net", "usb", 7);
    testfiles::write(paths::kDynamicInfo, "net:usb:7\n");
    EXPECT_EQ(manager_.clearDynamicVariableInfo(), 0);
    EXPECT_TRUE(manager_.dynamicVarMap.empty());
    EXPECT_FALSE(testfiles::exists(paths::kDynamicInfo));
    EXPECT_TRUE(kernel_.calls().empty()) << "the kernel's switches stay as they are";
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(Clear, AMissingFileIsNoError) {
    EXPECT_EQ(manager_.clearDynamicVariableInfo(), 0);
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(Clear, AFileThatCannotBeRemovedIsOneAfterTheTableIsEmpty) {
    manager_.dynamicVarMap[{"net", "usb"}] = 7;
    testfiles::makeDirectories(paths::kDynamicInfo);
    EXPECT_EQ(manager_.clearDynamicVariableInfo(), 1);
    EXPECT_TRUE(manager_.dynamicVarMap.empty());
    // The line feed of the text itself comes out escaped.
    EXPECT_EQ(
        testlog::lines(),
        (std::vector<Line>{{1, "##ERROR: in func clearDynamicVariableInfo unlink /etc/tarn/dynamicinfo failed\\n"}}));
}

TEST_F(Clear, RemovesALinkAndNotItsTarget) {
    testfiles::write("/etc/tarn/target", "kept");
    testfiles::link("/etc/tarn/target", paths::kDynamicInfo);
    EXPECT_EQ(manager_.clearDynamicVariableInfo(), 0);
    EXPECT_FALSE(testfiles::exists(paths::kDynamicInfo));
    EXPECT_EQ(testfiles::read("/etc/tarn/target"), "kept");
}

TEST_F(Clear, TheMutexIsFreeWhileTheFileIsRemoved) {
    int free = 0;
    const auto onUnlink = interpose::unlink.replace([&](const char* path) {
        if (manager_.dynamicVarMutex.try_lock()) {
            ++free;
            manager_.dynamicVarMutex.unlock();
        }
        return interpose::unlink.real(path);
    });
    EXPECT_EQ(manager_.clearDynamicVariableInfo(), 0);
    EXPECT_EQ(free, 1);
}

}  // namespace
