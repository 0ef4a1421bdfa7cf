// Switching one variable: the kernel, the table, the file, in this order.
#include "DeliverySet.h"
#include "support/Interpose.h"

namespace {

using testlog::Line;
using Variables = ManagerAccess::DynamicVariables;

class ModifyDynamicVariable : public DeliverySet {
protected:
    ModifyDynamicVariable() { testfiles::write(kUsb, ""); }

    static constexpr char kUsb[] = "/sys/kernel/security/tarn/paras/net/usb";
};

TEST_F(ModifyDynamicVariable, WritesOneByteForOn) {
    EXPECT_EQ(manager_.modifyDynamicVariable("net", "usb", 7, false), 0);
    EXPECT_EQ(kernel_.messages(), std::vector<std::string>{"1"});
    EXPECT_EQ(manager_.dynamicVarMap, (Variables{{{"net", "usb"}, 7}}));
}

TEST_F(ModifyDynamicVariable, WritesOneByteForOff) {
    EXPECT_EQ(manager_.modifyDynamicVariable("net", "usb", 0, false), 0);
    EXPECT_EQ(kernel_.messages(), std::vector<std::string>{"0"});
    EXPECT_EQ(manager_.dynamicVarMap, (Variables{{{"net", "usb"}, 0}}));
}

TEST_F(ModifyDynamicVariable, OpensTheEntryForWritingWithoutCreatingIt) {
    EXPECT_EQ(manager_.modifyDynamicVariable("net", "usb", 1, false), 0);
    const KernelEntry::Call open = kernel_.calls().at(0);
    EXPECT_EQ(open.path, kUsb);
    EXPECT_EQ(open.flags, 0x20001);
    EXPECT_EQ(kernel_.order(), "open write close");
}

TEST_F(ModifyDynamicVariable, ReplacesAnEarlierValue) {
    manager_.dynamicVarMap = {{{"net", "usb"}, 3}, {{"net", "other"}, 4}};
    EXPECT_EQ(manager_.modifyDynamicVariable("net", "usb", 4294967295U, false), 0);
    EXPECT_EQ(manager_.dynamicVarMap, (Variables{{{"net", "usb"}, 4294967295U}, {{"net", "other"}, 4}}));
}

TEST_F(ModifyDynamicVariable, WithoutSavingLeavesTheFile) {
    testfiles::write(paths::kDynamicInfo, "old");
    EXPECT_EQ(manager_.modifyDynamicVariable("net", "usb", 7, false), 0);
    EXPECT_EQ(testfiles::read(paths::kDynamicInfo), "old");
}

TEST_F(ModifyDynamicVariable, NotesASentVariableAtLevelFour) {
    setLogLevel(4);
    EXPECT_EQ(manager_.modifyDynamicVariable("net", "usb", 7, false), 0);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{4, "###INFO: send dynamic variable [net:usb=7] success"}}));
}

TEST_F(ModifyDynamicVariable, NotesASavedVariableAtLevelFour) {
    setLogLevel(4);
    EXPECT_EQ(manager_.modifyDynamicVariable("net", "usb", 7, true), 0);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{4, "###INFO: modify dynamic variable [net:usb=7] success"}}));
}

TEST_F(ModifyDynamicVariable, SavesTheWholeTableInItsOrder) {
    manager_.dynamicVarMap = {{{"z", "a"}, 1}, {{"net", "a"}, 2}, {{"net", "z"}, 4294967295U}, {{"Net", "a"}, 0}};
    EXPECT_EQ(manager_.modifyDynamicVariable("net", "usb", 7, true), 0);
    EXPECT_EQ(testfiles::read(paths::kDynamicInfo), "Net:a:0\nnet:a:2\nnet:usb:7\nnet:z:4294967295\nz:a:1\n");
    EXPECT_EQ(testfiles::mode(paths::kDynamicInfo), 0440U);
}

TEST_F(ModifyDynamicVariable, AValueAboveTheSignedRangeIsSavedAndRefusedWhenReadBack) {
    EXPECT_EQ(manager_.modifyDynamicVariable("net", "usb", 2147483648U, true), 0);
    EXPECT_EQ(testfiles::read(paths::kDynamicInfo), "net:usb:2147483648\n");
    const ManagerAccess fresh;
    EXPECT_TRUE(fresh.dynamicVarMap.empty());
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "###ERROR: invalid dynamic var value: 2147483648"}}));
}

TEST_F(ModifyDynamicVariable, ReplacesTheFileInOneOpenAndOneWrite) {
    testfiles::write(paths::kDynamicInfo, std::string(1000, 'x'));
    std::vector<int> flags;
    const auto onOpen = interpose::open.replace([&](const char* path, int openFlags, mode_t mode) {
        if (std::string(path) == paths::kDynamicInfo) {
            flags.push_back(openFlags);
        }
        return interpose::open.real(path, openFlags, mode);
    });
    EXPECT_EQ(manager_.modifyDynamicVariable("net", "usb", 7, true), 0);
    EXPECT_EQ(flags, std::vector<int>{0x20242});
    EXPECT_EQ(testfiles::read(paths::kDynamicInfo), "net:usb:7\n");
}

TEST_F(ModifyDynamicVariable, RefusesBadNamesBeforeAnythingIsOpened) {
    const std::vector<std::pair<std::string, std::string>> names{
        {"", "usb"}, {"net", ""}, {"", ""}, {"a/b", "usb"}, {"net", "a/b"}, {"/", "usb"}, {"net", "../usb"}};
    for (const auto& [nameSpace, name] : names) {
        testlog::clear();
        EXPECT_EQ(manager_.modifyDynamicVariable(nameSpace, name, 1, true), 1);
        EXPECT_EQ(testlog::lines(),
                  (std::vector<Line>{{1, "Illegal ns_name or var_name contains path separator or is empty: ns=" +
                                             nameSpace + ", var=" + name}}));
    }
    testlog::clear();
    EXPECT_EQ(manager_.modifyDynamicVariable("a\\b", "usb", 1, true), 1);
    EXPECT_EQ(manager_.modifyDynamicVariable("net", "a\\b", 1, true), 1);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{
                  {1, "Illegal ns_name or var_name contains path separator or is empty: ns=a\\\\b, var=usb"},
                  {1, "Illegal ns_name or var_name contains path separator or is empty: ns=net, var=a\\\\b"}}));
    EXPECT_TRUE(kernel_.calls().empty());
    EXPECT_TRUE(manager_.dynamicVarMap.empty());
    EXPECT_FALSE(testfiles::exists(paths::kDynamicInfo));
}

TEST_F(ModifyDynamicVariable, RefusesAnUnsafePath) {
    for (const std::string nameSpace : {"..", ".", "net."}) {
        testlog::clear();
        EXPECT_EQ(manager_.modifyDynamicVariable(nameSpace, "usb", 1, true), 1);
        EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1,
                                                        "Illegal dynamic file path: "
                                                        "/sys/kernel/security/tarn/paras/" +
                                                            nameSpace + "/usb"}}));
    }
    EXPECT_TRUE(kernel_.calls().empty());
}

TEST_F(ModifyDynamicVariable, AMissingEntryIsNotCreated) {
    EXPECT_EQ(manager_.modifyDynamicVariable("net", "missing", 1, true), 1);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "####ERROR: Open /sys/kernel/security/tarn/paras/net/missing failed"}}));
    EXPECT_FALSE(testfiles::exists("/sys/kernel/security/tarn/paras/net/missing"));
    EXPECT_TRUE(manager_.dynamicVarMap.empty());
    EXPECT_FALSE(testfiles::exists(paths::kDynamicInfo));
}

TEST_F(ModifyDynamicVariable, AnEntryThatIsALinkIsNotFollowed) {
    testfiles::link(kUsb, "/sys/kernel/security/tarn/paras/net/link");
    EXPECT_EQ(manager_.modifyDynamicVariable("net", "link", 1, true), 1);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "####ERROR: Open /sys/kernel/security/tarn/paras/net/link failed"}}));
}

TEST_F(ModifyDynamicVariable, ARefusedWriteChangesNeitherTableNorFile) {
    manager_.dynamicVarMap = {{{"net", "usb"}, 3}};
    testfiles::write(paths::kDynamicInfo, "net:usb:3\n");
    std::size_t write = 0;
    for (const delivery::Answer& answer : delivery::kAnswers) {
        testlog::clear();
        kernel_.refuse(++write, answer.number);
        EXPECT_EQ(manager_.modifyDynamicVariable("net", "usb", 0, true), 1);
        EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1,
                                                        "####ERROR: in func modifyDynamicVariable, Write dynamic "
                                                        "value error"}}));
    }
    EXPECT_EQ(manager_.dynamicVarMap, (Variables{{{"net", "usb"}, 3}}));
    EXPECT_EQ(testfiles::read(paths::kDynamicInfo), "net:usb:3\n");
}

TEST_F(ModifyDynamicVariable, AWriteOfNoByteIsAnError) {
    kernel_.shortBy(1);
    EXPECT_EQ(manager_.modifyDynamicVariable("net", "usb", 1, false), 1);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "####ERROR: in func modifyDynamicVariable, Write dynamic value error"}}));
    EXPECT_TRUE(manager_.dynamicVarMap.empty());
}

TEST_F(ModifyDynamicVariable, AFileThatCannotBeWrittenIsOneAfterKernelAndTableChanged) {
    testfiles::makeDirectories(paths::kDynamicInfo);
    EXPECT_EQ(manager_.modifyDynamicVariable("net", "usb", 7, true), 1);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "####ERROR: Open /etc/tarn/dynamicinfo failed"},
                                 {1, "###ERROR: in func modifyDynamicVariable, Write dynamic info error"}}));
    EXPECT_EQ(kernel_.messages(), std::vector<std::string>{"1"});
    EXPECT_EQ(manager_.dynamicVarMap, (Variables{{{"net", "usb"}, 7}}));
}

TEST_F(ModifyDynamicVariable, TheErrnoOfAFailedFileWriteIsOneForTheCaller) {
    for (const delivery::Answer& answer : delivery::kAnswers) {
        testlog::clear();
        const auto onWrite = interpose::write.replace([&](int fd, const void* data, std::size_t count) -> ssize_t {
            if (count == 10) {
                errno = answer.number;
                return -1;
            }
            return interpose::write.real(fd, data, count);
        });
        EXPECT_EQ(manager_.modifyDynamicVariable("net", "usb", 7, true), 1);
        EXPECT_EQ(testlog::lines(),
                  (std::vector<Line>{{1, std::string("####ERROR: Write /etc/tarn/dynamicinfo errno: ") + answer.text},
                                     {1, "###ERROR: in func modifyDynamicVariable, Write dynamic info error"}}));
    }
}

TEST_F(ModifyDynamicVariable, TheEntryStaysOpenUntilTheFileIsWritten) {
    std::vector<std::string> events;
    const auto onFsync = interpose::fsync.replace([&](int fd) {
        events.push_back("file written");
        EXPECT_EQ(kernel_.order(), "open write");
        return interpose::fsync.real(fd);
    });
    EXPECT_EQ(manager_.modifyDynamicVariable("net", "usb", 7, true), 0);
    EXPECT_EQ(events.size(), 1U);
    EXPECT_EQ(kernel_.order(), "open write close");
}

TEST_F(ModifyDynamicVariable, TheMutexIsFreeWhileTheKernelAndTheFileAreWritten) {
    int free = 0;
    const auto probe = [&] {
        if (manager_.dynamicVarMutex.try_lock()) {
            ++free;
            manager_.dynamicVarMutex.unlock();
        }
    };
    kernel_.beforeWrite([&](const std::string&) { probe(); });
    const auto onFsync = interpose::fsync.replace([&](int fd) {
        probe();
        return interpose::fsync.real(fd);
    });
    EXPECT_EQ(manager_.modifyDynamicVariable("net", "usb", 7, true), 0);
    EXPECT_EQ(free, 2);
}

TEST_F(ModifyDynamicVariable, ReleasesItsDescriptorInEveryCase) {
    const int before = testfiles::openDescriptors();
    kernel_.refuse(2, 71);
    manager_.modifyDynamicVariable("net", "usb", 7, true);
    manager_.modifyDynamicVariable("net", "usb", 7, true);
    manager_.modifyDynamicVariable("net", "missing", 7, true);
    manager_.modifyDynamicVariable("", "missing", 7, true);
    std::filesystem::remove(paths::kDynamicInfo);
    testfiles::makeDirectories(paths::kDynamicInfo);
    manager_.modifyDynamicVariable("net", "usb", 7, true);
    EXPECT_EQ(testfiles::openDescriptors(), before);
}

}  // namespace
