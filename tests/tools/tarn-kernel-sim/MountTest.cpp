// The simulator as a file system: what reaches a host that writes to the kernel's entries.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <optional>

#include "Common/KernelAnswers.h"
#include "RunningSimulator.h"
#include "support/AnswerTable.h"
#include "support/Files.h"
#include "support/Golden.h"

using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr char kMount[] = "/sys/kernel/security/tarn";
constexpr char kDeliver[] = "/sys/kernel/security/tarn/policy_deliver";
constexpr char kSwitch[] = "/sys/kernel/security/tarn/paras/net/usb_block";
constexpr char kTranscript[] = "/var/log/transcript";

const std::vector<std::string> kSet{"begin", "namespace", "policy-condition", "policy-pairs", "end"};

std::string node(const std::string& name) {
    return testfiles::read(std::string(kMount) + "/.sim/" + name);
}
int command(const std::string& text) {
    return writeMessage(std::string(kMount) + "/.sim/control", text);
}

std::vector<int> deliver(const std::vector<std::string>& names) {
    std::vector<int> answers;
    for (const std::string& name : names) {
        answers.push_back(writeMessage(kDeliver, golden::message(name)));
    }
    return answers;
}

bool isMounted() {
    return testfiles::read("/proc/mounts").find(" /sys/kernel/security/tarn fuse") != std::string::npos;
}

class Mount : public testing::Test {
protected:
    void SetUp() override {
        if (!UniqueFd(open("/dev/fuse", O_RDWR | O_CLOEXEC)).valid()) {
            GTEST_SKIP() << "/dev/fuse can't be opened: a refusing kernel entry needs it";
        }
        start({});
    }

    // A simulator that is killed leaves a dead mount behind.
    void TearDown() override {
        if (simulator_) {
            EXPECT_EQ(simulator_->stop().status, 0);
        }
    }

    void start(const std::vector<std::string>& more) {
        if (simulator_) {
            ASSERT_EQ(simulator_->stop().status, 0);
        }
        std::vector<std::string> arguments{"--mount", kMount, "--transcript", kTranscript};
        arguments.insert(arguments.end(), more.begin(), more.end());
        simulator_.emplace(arguments);
    }

    std::optional<RunningSimulator> simulator_;
};

}  // namespace

TEST_F(Mount, EveryRowOfTheTableReachesTheWriter) {
    for (const answertable::Row& row : answertable::read()) {
        if (row.message.empty()) {
            continue;  // a write of no bytes never leaves the machine's own file system layer
        }
        SCOPED_TRACE(row.situation);
        ASSERT_EQ(command("reset"), 0);
        for (const std::string& message : row.before) {
            static_cast<void>(writeMessage(kDeliver, message));
        }
        EXPECT_EQ(writeMessage(kDeliver, row.message), row.answer);
        if (!row.finding.empty() && row.message.size() <= 1048576) {
            EXPECT_THAT(node("transcript"), HasSubstr(" refused "));
        }
    }
}

TEST_F(Mount, EachMessageOfASetCanBeRefusedWithEachErrno) {
    ASSERT_THAT(deliver(kSet), testing::Each(0));
    const std::string rules = node("rules");
    for (const KernelAnswer& answer : kKernelAnswers) {
        for (std::size_t refused = 1; refused <= kSet.size(); ++refused) {
            SCOPED_TRACE(answer.name + (" at " + std::to_string(refused)));
            ASSERT_EQ(command("refuse " + std::to_string(refused) + " " + answer.name), 0);
            for (std::size_t message = 1; message <= refused; ++message) {
                EXPECT_EQ(writeMessage(kDeliver, golden::message(kSet[message - 1])),
                          message == refused ? answer.number : 0);
            }
            EXPECT_EQ(node("rules"), rules) << "the rules in force stay";
            EXPECT_THAT(deliver({"end"}), ElementsAre(71)) << "the set is abandoned";
        }
    }
    EXPECT_THAT(deliver(kSet), testing::Each(0));
}

TEST_F(Mount, RefusalsAreTakenFromTheCommandLine) {
    start({"--refuse", "2:70", "--refuse", "4:EIO", "--refuse", "5:99"});
    EXPECT_THAT(deliver({"begin", "namespace", "begin", "namespace", "begin", "begin"}),
                ElementsAre(0, 70, 0, 5, 99, 0));
    EXPECT_THAT(node("transcript"), HasSubstr("\n5 begin bytes=20 records=0 refused errno 99 on command\n"));
}

TEST_F(Mount, RefusalsCanBeForgotten) {
    ASSERT_EQ(command("refuse 1 5\nrefuse nothing\n"), 0);
    EXPECT_THAT(deliver({"begin"}), ElementsAre(0));
}

TEST_F(Mount, ControlRefusesWhatIsNoCommand) {
    for (const char* text : {"refuse", "refuse 0 5", "refuse 1 0", "refuse 1 512", "refuse 1 EWHAT", "refuse x 5",
                             "para net", "para /x", "para net/", "para a/b/c", "reset now", "what"}) {
        EXPECT_EQ(command(text), EINVAL) << text;
    }
}

TEST_F(Mount, MessageOf1MiBFromAnUnalignedBufferArrivesWhole) {
    std::string message = golden::message("policy-plain").substr(0, 20);
    std::string action = golden::message("policy-actions").substr(20, 128);
    const std::size_t text = 1048576 - 4 - message.size() - action.size();
    const auto put = [](std::string& bytes, std::size_t offset, std::uint32_t word) {
        bytes.replace(offset, 4, reinterpret_cast<const char*>(&word), 4);
    };
    put(action, 96, 1);   // one action
    put(action, 112, 1);  // with one string
    put(action, 124, static_cast<std::uint32_t>(text));
    message += action + std::string(text, 'x') + std::string("\xff\xff\x34\x12");
    put(message, 4, 1048576);
    ASSERT_EQ(message.size(), 1048576U);
    ASSERT_THAT(deliver({"begin", "namespace"}), ElementsAre(0, 0));
    for (const std::size_t misalignment : {0U, 16U, 1U}) {
        std::string buffer(misalignment, '-');
        buffer += message;
        const UniqueFd entry(open(kDeliver, O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW, 0440));
        EXPECT_EQ(write(entry.get(), buffer.data() + misalignment, message.size()), 1048576);
    }
    EXPECT_THAT(node("transcript"), HasSubstr("\n5 policy bytes=1048576 records=1 accepted\n"));
    EXPECT_THAT(node("state"), HasSubstr("messages=5 "));
}

TEST_F(Mount, SyncingTheEntryFailsAsInTheRealFileSystem) {
    const UniqueFd entry(open(kDeliver, O_RDWR | O_CREAT | O_TRUNC | O_NOFOLLOW, 0440));
    ASSERT_TRUE(entry.valid());
    EXPECT_EQ(fsync(entry.get()), -1);
    EXPECT_EQ(errno, EINVAL);
}

TEST_F(Mount, MissingEntriesAreNotCreated) {
    const std::string missing = std::string(kMount) + "/nothing";
    EXPECT_EQ(writeMessage(missing, "x"), EACCES);
    EXPECT_EQ(open(missing.c_str(), O_WRONLY | O_NOFOLLOW), -1);
    EXPECT_EQ(errno, ENOENT);
    EXPECT_EQ(mkdir(missing.c_str(), 0755), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(unlink(kDeliver), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(rename(kDeliver, missing.c_str()), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(symlink("x", missing.c_str()), -1);
    EXPECT_EQ(errno, EPERM);
    EXPECT_EQ(link(kDeliver, missing.c_str()), -1);
    EXPECT_EQ(errno, EPERM);
}

TEST_F(Mount, DeliveryEntryIsWriteOnly) {
    EXPECT_EQ(testfiles::mode(kDeliver), 0200U);
    const UniqueFd entry(open(kDeliver, O_RDWR));
    char byte = 0;
    EXPECT_EQ(read(entry.get(), &byte, 1), 0) << "there is nothing to read";
    EXPECT_EQ(chmod(kDeliver, 0666), -1);
    EXPECT_EQ(errno, EPERM);
}

TEST_F(Mount, EntriesAreListed) {
    start({"--para", "net/usb_block", "--para", "net/log", "--para", "fs/ro"});
    EXPECT_THAT(testfiles::list(kMount), ElementsAre(".sim", "paras", "policy_deliver"));
    EXPECT_THAT(testfiles::list(std::string(kMount) + "/paras"), ElementsAre("fs", "net"));
    EXPECT_THAT(testfiles::list(std::string(kMount) + "/paras/net"), ElementsAre("log", "usb_block"));
    EXPECT_THAT(testfiles::list(std::string(kMount) + "/.sim"),
                ElementsAre("control", "messages", "rules", "state", "transcript"));
}

TEST_F(Mount, SwitchTakesZeroAndOneAndNothingElse) {
    start({"--para", "net/usb_block"});
    EXPECT_EQ(testfiles::read(kSwitch), "0");
    const UniqueFd entry(open(kSwitch, O_WRONLY | O_NOFOLLOW));
    ASSERT_TRUE(entry.valid());
    EXPECT_EQ(write(entry.get(), "1", 1), 1);
    EXPECT_EQ(testfiles::read(kSwitch), "1");
    for (const char* text : {"2", "10", "1\n"}) {
        EXPECT_EQ(writeMessage(kSwitch, text), EINVAL) << text;
    }
    EXPECT_EQ(testfiles::read(kSwitch), "1");
}

TEST_F(Mount, SwitchesOfVariablesAppearWithTheEndOfTheSet) {
    ASSERT_THAT(deliver({"begin", "namespace", "policy-condition"}), testing::Each(0));
    EXPECT_FALSE(testfiles::exists(kSwitch));
    ASSERT_THAT(deliver({"end"}), testing::Each(0));
    EXPECT_EQ(writeMessage(kSwitch, "1"), 0);
    ASSERT_THAT(deliver({"begin", "end"}), testing::Each(0));
    EXPECT_EQ(testfiles::read(kSwitch), "1") << "switches stay";
    EXPECT_EQ(command("para fs/ro"), 0);
    EXPECT_EQ(testfiles::read(std::string(kMount) + "/paras/fs/ro"), "0");
}

TEST_F(Mount, RulesInForceAreThoseOfTheLastWholeSet) {
    EXPECT_EQ(node("rules"), "");
    ASSERT_THAT(deliver({"begin", "namespace", "policy-condition", "policy-pairs"}), testing::Each(0));
    EXPECT_EQ(node("rules"), "");
    ASSERT_THAT(deliver({"end"}), testing::Each(0));
    const std::string rules = node("rules");
    EXPECT_EQ(std::count(rules.begin(), rules.end(), '\n'), 3);
    ASSERT_THAT(deliver({"begin", "policy-plain", "namespace"}), ElementsAre(0, 0, 71));
    EXPECT_EQ(node("rules"), rules);
    // The same set in another order gives the same text.
    ASSERT_THAT(deliver({"begin", "namespace", "policy-pairs", "policy-condition", "end"}), testing::Each(0));
    EXPECT_EQ(node("rules"), rules);
    EXPECT_THAT(node("state"), HasSubstr("phase=complete "));
    EXPECT_THAT(node("state"), HasSubstr(" records=3\n"));
    ASSERT_THAT(deliver({"begin", "policy-plain", "end"}), testing::Each(0));
    EXPECT_THAT(node("rules"), HasSubstr("condition={} actions={}\n"));
    EXPECT_EQ(node("messages"), golden::message("begin") + golden::message("policy-plain") + golden::message("end"));
}

TEST_F(Mount, TranscriptHasOneLinePerMessageInFileAndMount) {
    ASSERT_THAT(deliver({"begin", "namespace", "namespace", "end"}), ElementsAre(0, 0, 71, 71));
    EXPECT_EQ(writeMessage(kDeliver, "short"), 22);
    const std::string expected =
        "1 begin bytes=20 records=0 accepted\n"
        "2 namespace bytes=93 records=1 accepted\n"
        "3 namespace bytes=93 records=1 refused EPROTO (71) offset 16: a second namespace message in one set (expected "
        "3, found 4)\n"
        "4 end bytes=20 records=0 refused EPROTO (71) offset 16: no begin message opened the set (expected 1, found "
        "2)\n"
        "5 headless bytes=5 records=0 refused EINVAL (22) offset 0: fewer bytes than a message header (expected 20, "
        "found 5)\n";
    EXPECT_EQ(node("transcript"), expected);
    EXPECT_EQ(testfiles::read(kTranscript), expected);
}

TEST_F(Mount, EachSignalEndsItAndTakesTheMountDown) {
    for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
        EXPECT_TRUE(isMounted());
        EXPECT_EQ(simulator_->stop(signal).status, 0);
        EXPECT_FALSE(isMounted());
        simulator_.reset();
        start({});
    }
}

TEST_F(Mount, MountPointThatIsNoneIsAFailure) {
    const testprocess::Outcome outcome = testprocess::run({TARN_KERNEL_SIM_PROGRAM, "--mount", "/etc/tarn/nothing"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("can't mount at /etc/tarn/nothing"));
}
