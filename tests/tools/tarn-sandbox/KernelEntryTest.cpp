#include <fcntl.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "SandboxTest.h"

namespace sandboxtest {

namespace {

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using testprocess::Outcome;
using testprocess::run;

constexpr char kTranscript[] = "/etc/tarn/transcript-of-this-test";
// Begin, end: two words of a shell that write the 20 bytes of each message with one write.
constexpr char kBegin[] =
    "printf '\\001\\0\\0\\0\\024\\0\\0\\0\\0\\0\\0\\0\\0\\0\\0\\0\\001\\0\\0\\0' > "
    "/sys/kernel/security/tarn/policy_deliver";

class SandboxKernel : public SandboxTest {};

bool fuseCanBeHad() {
    const int device = open("/dev/fuse", O_RDWR | O_CLOEXEC);
    if (device >= 0) {
        close(device);
    }
    return device >= 0;
}

class SandboxFuse : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        if (!IsSkipped() && !fuseCanBeHad()) {
            GTEST_SKIP() << "/dev/fuse is closed to this user";
        }
    }
};

TEST_F(SandboxFuse, IsWhatAutoTakes) {
    const Outcome outcome = run(sandbox({}) + shell("echo $TARN_SANDBOX_KERNEL $TARN_SANDBOX_TRANSCRIPT; "
                                                    "grep -c 'tarn fuse' /proc/mounts; ls /sys/kernel/security/tarn"));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "fuse /var/log/tarn-kernel-sim.log\n1\nparas\npolicy_deliver\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(SandboxFuse, AnswersTheWriterAndKeepsATranscriptInside) {
    const Outcome outcome = run(sandbox({"--kernel=fuse"}) + shell(std::string(kBegin) + "; echo $?; " + kBegin +
                                                                   "; echo $?; cat /var/log/tarn-kernel-sim.log"));
    EXPECT_THAT(outcome.out,
                StartsWith("0\n1\n1 begin bytes=20 records=0 accepted\n2 begin bytes=20 records=0 refused"));
    EXPECT_THAT(outcome.out, HasSubstr("EPROTO (71)"));
}

TEST_F(SandboxFuse, LeavesTheTranscriptOutsideOnRequest) {
    const Outcome outcome = run(sandbox({"--kernel=fuse", "--transcript", "/etc/transcript"}) + shell(kBegin));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(testfiles::read("/etc/transcript"), "1 begin bytes=20 records=0 accepted\n");
}

TEST_F(SandboxFuse, RefusesTheMessagesThatItIsToldTo) {
    const Outcome outcome = run(sandbox({"--refuse", "1:5", "--refuse", "3:EBADMSG"}) +
                                shell(std::string(kBegin) + "; echo $?; " + kBegin + "; echo $?; " + kBegin +
                                      "; echo $?; cat /var/log/tarn-kernel-sim.log"));
    EXPECT_THAT(outcome.out, StartsWith("1\n0\n1\n"));
    EXPECT_THAT(outcome.out, HasSubstr("1 begin bytes=20 records=0 refused EIO (5) on command"));
    EXPECT_THAT(outcome.out, HasSubstr("3 begin bytes=20 records=0 refused EBADMSG (74) on command"));
}

TEST_F(SandboxFuse, OffersTheEntriesOfDynamicVariables) {
    const Outcome outcome = run(sandbox({"--para", "web/night", "--para", "db/backup"}) +
                                shell("cd /sys/kernel/security/tarn/paras && ls -d */*"));
    EXPECT_EQ(outcome.out, "db/backup\nweb/night\n") << outcome.err;
}

TEST_F(SandboxFuse, LeavesNoProcessAndNoMount) {
    const std::string mounts = testfiles::read("/proc/self/mounts");
    const Outcome outcome = run(sandbox({"--kernel=fuse", "--transcript",
                                         "/tmp/no-such-folder-of-a-test/../sandbox-fuse-left", "--etc", "/etc/tarn"}) +
                                shell("grep -lz -- sandbox-fuse-left /proc/[0-9]*/cmdline | wc -l"));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(processesWith("sandbox-fuse-left"), 0);
    EXPECT_EQ(testfiles::read("/proc/self/mounts"), mounts);
    std::filesystem::remove("/tmp/sandbox-fuse-left");
}

TEST_F(SandboxFuse, SaysWhenTheSimulatorEndsBeforeTheCommand) {
    const std::string mark = "/etc/tarn/simulator-to-kill";
    const Outcome outcome = run(sandbox({"--kernel=fuse", "--etc", "/etc/tarn", "--transcript", mark}) +
                                shell("for p in /proc/[0-9]*; do case $(readlink $p/exe) in */tarn-kernel-sim) "
                                      "grep -qz " +
                                      mark + " $p/cmdline && kill -9 ${p#/proc/};; esac; done; true"));
    EXPECT_EQ(outcome.status, kOwnFailure);
    EXPECT_THAT(outcome.err, HasSubstr("tarn-kernel-sim ended before the command did, by signal 9"));
}

TEST_F(SandboxKernel, FifoTakesMessagesAndSaysThatItCannotRefuse) {
    const Outcome outcome =
        run(sandbox({"--kernel=fifo", "--etc", "/etc/tarn", "--transcript", kTranscript}) +
            shell("echo $TARN_SANDBOX_KERNEL; test -p /sys/kernel/security/tarn/policy_deliver && " +
                  std::string(kBegin) + " && " + kBegin));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "fifo\n");
    EXPECT_THAT(outcome.err, HasSubstr("can't be refused"));
    const std::string transcript = testfiles::read(kTranscript);
    EXPECT_THAT(transcript,
                StartsWith("1 begin bytes=20 records=0 accepted\n2 begin bytes=20 records=0 refused EPROTO"));
    EXPECT_EQ(processesWith(kTranscript), 0);
}

TEST_F(SandboxKernel, FifoComesWithPlainFilesForDynamicVariables) {
    const Outcome outcome = run(sandbox({"--kernel=fifo", "--para", "web/night"}) +
                                shell("cd /sys/kernel/security/tarn/paras/web && echo -n 1 > night && cat night"));
    EXPECT_EQ(outcome.out, "1") << outcome.err;
}

TEST_F(SandboxKernel, LeaksNoDescriptorToTheCommand) {
    const Words list = {"ls", "/proc/self/fd"};
    EXPECT_EQ(run(sandbox({"--kernel=fifo", "--keep", "/etc/kept"}) + list).out, run(list).out);
}

// An empty /dev stands for a machine without FUSE.
class SandboxWithoutFuse : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        if (!IsSkipped()) {
            ASSERT_EQ(mount("tmpfs", "/dev", "tmpfs", 0, nullptr), 0);
        }
    }
};

TEST_F(SandboxWithoutFuse, AutoTakesTheFifoAndSaysWhy) {
    const Outcome outcome = run(sandbox({}) + shell("echo $TARN_SANDBOX_KERNEL"));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "fifo\n");
    EXPECT_THAT(outcome.err, HasSubstr("tarn-sandbox: no FUSE here (/dev/fuse: No such file or directory): the kernel "
                                       "entry is a FIFO\n"));
}

TEST_F(SandboxWithoutFuse, FuseOnRequestFails) {
    const Outcome outcome = run(sandbox({"--kernel=fuse", "true"}));
    EXPECT_EQ(outcome.status, kOwnFailure);
    EXPECT_THAT(outcome.err, HasSubstr("use --kernel=auto to run with a FIFO instead"));
}

TEST_F(SandboxWithoutFuse, RefusalsOnRequestFailInsteadOfBeingForgotten) {
    const Outcome outcome = run(sandbox({"--refuse", "1:22", "true"}));
    EXPECT_EQ(outcome.status, kOwnFailure);
    EXPECT_THAT(outcome.err, HasSubstr("leave --refuse out to run with a FIFO instead"));
}

TEST_F(SandboxKernel, MissingSimulatorIsNamedBeforeAnythingElse) {
    std::filesystem::copy_file(TARN_SANDBOX_PROGRAM, "/etc/tarn/alone");
    const Outcome outcome = run({"/etc/tarn/alone", "touch", "/etc/never-made"});
    EXPECT_EQ(outcome.status, kOwnFailure);
    EXPECT_THAT(outcome.err,
                HasSubstr("tarn-kernel-sim is missing in /etc/tarn; build or install it, or use --kernel=none"));
    EXPECT_FALSE(testfiles::exists("/etc/never-made"));
    EXPECT_EQ(run({"/etc/tarn/alone", "--kernel=none", "true"}).status, 0);
}

TEST_F(SandboxKernel, SimulatorThatDoesNotComeUpIsAFailure) {
    std::filesystem::copy_file(TARN_SANDBOX_PROGRAM, "/etc/tarn/tarn-sandbox");
    testfiles::write("/etc/tarn/tarn-kernel-sim", "#!/bin/sh\nexit 3\n");
    ASSERT_EQ(chmod("/etc/tarn/tarn-kernel-sim", 0755), 0);
    const Outcome outcome = run({"/etc/tarn/tarn-sandbox", "--etc", "/etc/tarn", "--kernel=fifo", "true"});
    EXPECT_EQ(outcome.status, kOwnFailure);
    EXPECT_THAT(outcome.err, HasSubstr("tarn-kernel-sim did not come up"));
}

}  // namespace

}  // namespace sandboxtest
