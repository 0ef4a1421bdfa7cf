// One message file: path, reading, and the one write to the kernel.
#include <sys/stat.h>

#include "DeliverySet.h"
#include "support/Bytes.h"
#include "support/Interpose.h"

namespace {

using testlog::Line;

constexpr char kFile[] = "/etc/tarn/message";

class SendSinglePolicy : public DeliverySet {};

TEST_F(SendSinglePolicy, HandsTheBytesOverInOneOpenAndOneWrite) {
    const std::string content("\x01\0\0\0 bytes \xff\n", 12);
    testfiles::write(kFile, content);
    EXPECT_EQ(manager_.sendSinglePolicy(kFile), 0U);
    EXPECT_EQ(kernel_.order(), "open write fsync close");
    EXPECT_EQ(kernel_.messages(), std::vector<std::string>{content});
    const KernelEntry::Call open = kernel_.calls().at(0);
    EXPECT_EQ(open.path, "/sys/kernel/security/tarn/policy_deliver");
    EXPECT_EQ(open.flags, 0x20242);
    EXPECT_EQ(open.mode, 0440U);
}

TEST_F(SendSinglePolicy, NotesASentMessageAtLevelFour) {
    testfiles::write(kFile, "x");
    setLogLevel(4);
    EXPECT_EQ(manager_.sendSinglePolicy(kFile), 0U);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{4, "sendSinglePolicyInternal: sent /etc/tarn/message"}}));
}

TEST_F(SendSinglePolicy, AnEmptyFileIsAnEmptyWrite) {
    testfiles::write(kFile, "");
    EXPECT_EQ(manager_.sendSinglePolicy(kFile), 0U);
    EXPECT_EQ(kernel_.messages(), std::vector<std::string>{""});
}

TEST_F(SendSinglePolicy, OneMegabyteGoesOutWhole) {
    const std::string content = std::string(0x100000 - 1, 'a') + "z";
    testfiles::write(kFile, content);
    EXPECT_EQ(manager_.sendSinglePolicy(kFile), 0U);
    ASSERT_EQ(kernel_.messages().size(), 1U);
    EXPECT_TRUE(testbytes::same(content, kernel_.messages()[0]));
}

TEST_F(SendSinglePolicy, ALargerFileIsCutAtOneMegabyte) {
    testfiles::write(kFile, std::string(0x100000, 'a') + "surplus");
    EXPECT_EQ(manager_.sendSinglePolicy(kFile), 0U);
    ASSERT_EQ(kernel_.messages().size(), 1U);
    EXPECT_TRUE(testbytes::same(std::string(0x100000, 'a'), kernel_.messages()[0]));
}

TEST_F(SendSinglePolicy, ReadsOnceAndSendsWhatThatGave) {
    testfiles::write(kFile, "0123456789");
    int reads = 0;
    const auto onRead = interpose::read.replace([&](int fd, void* data, std::size_t count) {
        EXPECT_EQ(count, 0x100000U);
        ++reads;
        return interpose::read.real(fd, data, 4);
    });
    EXPECT_EQ(manager_.sendSinglePolicy(kFile), 0U);
    EXPECT_EQ(reads, 1);
    EXPECT_EQ(kernel_.messages(), std::vector<std::string>{"0123"});
}

TEST_F(SendSinglePolicy, OpensTheFileReadOnlyWithoutFollowingLinks) {
    testfiles::write(kFile, "x");
    int flags = -1;
    const auto onOpen = interpose::open.replace([&](const char* path, int openFlags, mode_t mode) {
        flags = std::string(path) == kFile ? openFlags : flags;
        return interpose::open.real(path, openFlags, mode);
    });
    EXPECT_EQ(manager_.sendSinglePolicy(kFile), 0U);
    EXPECT_EQ(flags, 0x20000);
}

TEST_F(SendSinglePolicy, AMissingFileIsANoticeAndNoError) {
    EXPECT_EQ(manager_.sendSinglePolicy(kFile), 0U);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{2, "sendSinglePolicyInternal: file not found: /etc/tarn/message"}}));
    EXPECT_TRUE(kernel_.calls().empty());
}

TEST_F(SendSinglePolicy, ALinkIsNotFollowed) {
    testfiles::write("/etc/tarn/target", "x");
    testfiles::link("/etc/tarn/target", kFile);
    EXPECT_EQ(manager_.sendSinglePolicy(kFile), 1U);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1,
                                                    "sendSinglePolicyInternal: open /etc/tarn/message failed: Too "
                                                    "many levels of symbolic links"}}));
    EXPECT_TRUE(kernel_.calls().empty());
}

TEST_F(SendSinglePolicy, AFileThatCannotBeReadIsAnError) {
    testfiles::makeDirectories(kFile);
    EXPECT_EQ(manager_.sendSinglePolicy(kFile), 1U);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "sendSinglePolicyInternal: read /etc/tarn/message error: Is a directory"}}));
    EXPECT_TRUE(kernel_.calls().empty());
}

TEST_F(SendSinglePolicy, AnUnsafePathIsRefusedBeforeItIsOpened) {
    testfiles::write("/var/log/message", "x");
    testfiles::link("/var/log/message", kFile);
    for (const std::string path : {"/var/log/message", "etc/tarn/message", "", "/etc/tarn/../tarn/message",
                                   "/etc/tarn/./message", "/etc/tarnish/message", "/etc/tarn/message"}) {
        testlog::clear();
        EXPECT_EQ(manager_.sendSinglePolicy(path), 1U) << path;
        EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "sendSinglePolicyInternal: unsafe path: " + path}}));
    }
    EXPECT_TRUE(kernel_.calls().empty());
}

TEST_F(SendSinglePolicy, WithFullPathTakesAnyPathWithoutEscapes) {
    testfiles::write("/var/log/message", "elsewhere");
    EXPECT_EQ(manager_.sendSinglePolicyWithFullPath("/var/log/message"), 0U);
    EXPECT_EQ(kernel_.messages(), std::vector<std::string>{"elsewhere"});
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(SendSinglePolicy, WithFullPathRefusesEscapes) {
    for (const std::string path : {"/var/log/../message", "/var/./log/message", "/var/log/a.b./message"}) {
        testlog::clear();
        EXPECT_EQ(manager_.sendSinglePolicyWithFullPath(path), 1U) << path;
        EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "sendSinglePolicyInternal: path escape: " + path}}));
    }
    testlog::clear();
    EXPECT_EQ(manager_.sendSinglePolicyWithFullPath("/var\\log"), 1U);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "sendSinglePolicyInternal: path escape: /var\\\\log"}}));
    EXPECT_TRUE(kernel_.calls().empty());
}

TEST_F(SendSinglePolicy, WithFullPathNotesAMissingFile) {
    EXPECT_EQ(manager_.sendSinglePolicyWithFullPath("/nowhere/message"), 0U);
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{2, "sendSinglePolicyInternal: file not found: /nowhere/message"}}));
}

TEST_F(SendSinglePolicy, TheCommonBodyTakesTheKindOfCheck) {
    testfiles::write("/var/log/message", "x");
    EXPECT_EQ(manager_.sendSinglePolicyInternal("/var/log/message", false), 1U);
    EXPECT_EQ(manager_.sendSinglePolicyInternal("/var/log/message", true), 0U);
}

TEST_F(SendSinglePolicy, HandsEveryErrnoOfTheKernelOn) {
    testfiles::write(kFile, "x");
    std::size_t write = 0;
    for (const delivery::Answer& answer : delivery::kAnswers) {
        testlog::clear();
        kernel_.refuse(++write, answer.number);
        EXPECT_EQ(manager_.sendSinglePolicy(kFile), static_cast<unsigned int>(answer.number));
        EXPECT_EQ(testlog::lines(), delivery::refusal(answer));
        testlog::clear();
        kernel_.refuse(++write, answer.number);
        EXPECT_EQ(manager_.sendSinglePolicyWithFullPath(kFile), static_cast<unsigned int>(answer.number));
        EXPECT_EQ(testlog::lines(), delivery::refusal(answer));
    }
}

TEST_F(SendSinglePolicy, AShortWriteCountsAsSentAndIsNotRepeated) {
    testfiles::write(kFile, "0123456789");
    kernel_.shortBy(4);
    EXPECT_EQ(manager_.sendSinglePolicy(kFile), 0U);
    EXPECT_EQ(kernel_.messages().size(), 1U);
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(SendSinglePolicy, AnEntryThatCannotBeOpenedIsMinusOne) {
    testfiles::makeDirectories(delivery::kEntry);
    testfiles::write(kFile, "x");
    EXPECT_EQ(manager_.sendSinglePolicy(kFile), 0xFFFFFFFFU);
    EXPECT_EQ(testlog::lines(),
              (std::vector<Line>{{1, "####ERROR: Open /sys/kernel/security/tarn/policy_deliver failed"},
                                 {1, "sendSinglePolicyInternal: write to kernel deliver failed, err=-1"}}));
}

TEST_F(SendSinglePolicy, ClosesTheFileBeforeItWritesToTheKernel) {
    testfiles::write(kFile, "x");
    const int before = testfiles::openDescriptors();
    int atWrite = 0;
    kernel_.beforeWrite([&](const std::string&) { atWrite = testfiles::openDescriptors(); });
    EXPECT_EQ(manager_.sendSinglePolicy(kFile), 0U);
    EXPECT_EQ(atWrite, before + 1) << "the kernel's entry alone";
}

TEST_F(SendSinglePolicy, ReleasesItsDescriptorsInEveryCase) {
    testfiles::write(kFile, "x");
    testfiles::makeDirectories("/etc/tarn/directory");
    const int before = testfiles::openDescriptors();
    kernel_.refuse(2, 71);
    manager_.sendSinglePolicy(kFile);
    manager_.sendSinglePolicy(kFile);
    manager_.sendSinglePolicy("/etc/tarn/directory");
    manager_.sendSinglePolicy("/etc/tarn/missing");
    EXPECT_EQ(testfiles::openDescriptors(), before);
}

}  // namespace
