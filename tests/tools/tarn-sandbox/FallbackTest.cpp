// Where mount namespaces are refused, as in a plain container.
#include <unistd.h>

#include <cstdlib>
#include <filesystem>

#include "SandboxTest.h"

namespace sandboxtest {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;
using testprocess::Outcome;
using testprocess::run;

constexpr char kNotice[] =
    "tarn-sandbox: no mount namespace here (a user namespace is refused: Operation not permitted): the command runs by "
    "chroot in a folder of copies\n";

class SandboxFallback : public SandboxTest {
protected:
    // The folders of copies are made in a place of the test's own, so that what is left of them is seen.
    void SetUp() override {
        SandboxTest::SetUp();
        testfiles::makeDirectories(kTemporary);
    }
    static Outcome runRefused(const Words& words, const std::string& calls = kNoNamespaces) {
        return run(refused(calls, words), {std::string("TMPDIR=") + kTemporary, "ASAN_OPTIONS=detect_leaks=0"});
    }
    static bool nothingIsLeft() { return testfiles::list(kTemporary).empty(); }

    static constexpr char kTemporary[] = "/etc/temporary";
};

TEST_F(SandboxFallback, RunsTheCommandByChrootAndSaysSo) {
    const Outcome outcome = runRefused(plain(shell("echo $TARN_SANDBOX $TARN_SANDBOX_KERNEL; exit 7")));
    EXPECT_EQ(outcome.status, 7);
    EXPECT_EQ(outcome.out, "chroot none\n");
    EXPECT_EQ(outcome.err, kNotice);
    EXPECT_TRUE(nothingIsLeft());
}

TEST_F(SandboxFallback, HasThePrivateFoldersAndLeavesTheMachineAlone) {
    testfiles::write("/etc/tarn/of-the-machine", "1");
    testfiles::write("/var/log/of-the-machine", "1");
    const Outcome outcome = runRefused(
        plain(shell("echo 1 > /etc/tarn/f; echo 2 > /var/log/g; echo /etc/tarn/* /var/log/* "
                    "/sys/kernel/security/* /sys/kernel/security/tarn/*; test -f /proc/mounts && echo $PWD")));
    EXPECT_EQ(outcome.out, "/etc/tarn/f /var/log/g /sys/kernel/security/tarn /sys/kernel/security/tarn/*\n" +
                               std::filesystem::current_path().string() + "\n");
    EXPECT_THAT(testfiles::list("/etc/tarn"), ElementsAre("of-the-machine"));
    EXPECT_THAT(testfiles::list("/var/log"), ElementsAre("of-the-machine"));
}

TEST_F(SandboxFallback, RunsProgramsWithLibrariesOfTheBuildTree) {
    const Outcome outcome = runRefused(plain({TARN_LINKED_PROGRAM}));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "status 201\n");
}

TEST_F(SandboxFallback, BringsTheFilesThatTheArgumentsName) {
    testfiles::write("/etc/input.txt", "first");
    testfiles::write("/etc/option.txt", "second");
    ASSERT_EQ(chdir("/etc"), 0);
    const Outcome outcome = runRefused(plain(shell("read a < $0; read b < ${1#--file=}; echo $a $b")) +
                                       Words{"input.txt", "--file=/etc/option.txt"});
    EXPECT_EQ(outcome.out, "first second\n") << outcome.err;
}

TEST_F(SandboxFallback, DoesNotBringFilesOfThePrivateFolders) {
    testfiles::write("/etc/tarn/secret", "1");
    EXPECT_EQ(runRefused(plain(shell("test -e $0 || echo none")) + Words{"/etc/tarn/secret"}).out, "none\n");
}

TEST_F(SandboxFallback, BringsFoldersAndProgramsOnRequest) {
    testfiles::write("/etc/data/deep/file", "deep\n");
    const Outcome outcome = runRefused(sandbox({"--kernel=none", "--bring", "/etc/data", "--bring", "/usr/bin/cat"}) +
                                       shell("cat /etc/data/deep/file"));
    EXPECT_EQ(outcome.out, "deep\n") << outcome.err;
}

TEST_F(SandboxFallback, BringsTheInterpreterOfAScript) {
    testfiles::write("/etc/script", "#!/bin/sh\necho from a script\n");
    std::filesystem::permissions("/etc/script", std::filesystem::perms{0755});
    EXPECT_EQ(runRefused(plain({"/etc/script"})).out, "from a script\n");
}

TEST_F(SandboxFallback, SaysWhatCannotBeBrought) {
    const Outcome outcome = runRefused(sandbox({"--kernel=none", "--bring", "/no/such", "true"}));
    EXPECT_EQ(outcome.status, kOwnFailure);
    EXPECT_THAT(outcome.err, HasSubstr("cannot bring /no/such: no file or folder"));
    EXPECT_TRUE(nothingIsLeft());
}

TEST_F(SandboxFallback, RefusesToCopyAFolderIntoItself) {
    for (const Words& option : {Words{"--etc", "/etc"}, Words{"--bring", "/etc/temporary/"}, Words{"--bring", "/"}}) {
        const Outcome outcome = runRefused(sandbox({"--kernel=none"}) + option + Words{"true"});
        EXPECT_EQ(outcome.status, kOwnFailure);
        EXPECT_THAT(outcome.err, HasSubstr("which holds the folder of copies itself"));
        EXPECT_TRUE(nothingIsLeft());
    }
}

TEST_F(SandboxFallback, GivesTheStatusesOfCommandsThatCannotRun) {
    EXPECT_EQ(runRefused(plain({"no-such-command"})).status, 127);
    EXPECT_EQ(runRefused(plain({"/etc/passwd"})).status, 126);
    EXPECT_EQ(runRefused(plain(shell("kill -KILL $$"))).status, 128 + 9);
    EXPECT_TRUE(nothingIsLeft());
}

TEST_F(SandboxFallback, WritesEtcTarnBackWhereItCameFrom) {
    testfiles::write("/etc/elsewhere/changed", "old");
    testfiles::write("/etc/elsewhere/removed/file", "old");
    testfiles::write("/etc/elsewhere/same", "same");
    testfiles::write("/etc/elsewhere/other-kind/file", "old");
    const Outcome outcome = runRefused(
        sandbox({"--kernel=none", "--etc", "/etc/elsewhere", "--bring", "/usr/bin/rm", "--bring", "/usr/bin/mkdir"}) +
        shell("echo new > /etc/tarn/changed; rm -r /etc/tarn/removed /etc/tarn/other-kind; : > /etc/tarn/other-kind; "
              "mkdir /etc/tarn/made; "
              "echo 1 > /etc/tarn/made/file"));
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(testfiles::list("/etc/elsewhere"), ElementsAre("changed", "made", "other-kind", "same"));
    EXPECT_EQ(testfiles::read("/etc/elsewhere/changed"), "new\n");
    EXPECT_EQ(testfiles::read("/etc/elsewhere/made/file"), "1\n");
    EXPECT_EQ(testfiles::read("/etc/elsewhere/same"), "same");
}

TEST_F(SandboxFallback, CopiesTheFoldersForKeep) {
    runRefused(sandbox({"--kernel=none", "--keep", "/etc/kept"}) + shell("echo 1 > /etc/tarn/f; echo 2 > /var/log/g"));
    EXPECT_EQ(testfiles::read("/etc/kept/etc-tarn/f"), "1\n");
    EXPECT_EQ(testfiles::read("/etc/kept/var-log/g"), "2\n");
}

TEST_F(SandboxFallback, HasAFifoAsKernelEntry) {
    const std::string begin =
        "printf '\\001\\0\\0\\0\\024\\0\\0\\0\\0\\0\\0\\0\\0\\0\\0\\0\\001\\0\\0\\0' > "
        "/sys/kernel/security/tarn/policy_deliver";
    const Outcome outcome = runRefused(sandbox({"--keep", "/etc/kept"}) + shell("echo $TARN_SANDBOX_KERNEL; " + begin));
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "fifo\n");
    EXPECT_THAT(outcome.err,
                HasSubstr("tarn-sandbox: no FUSE here (mounting is refused): the kernel entry is a FIFO\n"));
    EXPECT_EQ(testfiles::read("/etc/kept/var-log/tarn-kernel-sim.log"), "1 begin bytes=20 records=0 accepted\n");
    EXPECT_TRUE(nothingIsLeft());
    EXPECT_TRUE(eventually([] { return processesWith(kTemporary) == 0; }));
}

TEST_F(SandboxFallback, WorksWhereOnlyMountingIsRefused) {
    const Outcome outcome = runRefused(plain(shell("echo $TARN_SANDBOX")), "mount");
    EXPECT_EQ(outcome.out, "chroot\n") << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr("cannot make the mounts private: Operation not permitted"));
}

TEST_F(SandboxFallback, WorksWithoutDeviceNodes) {
    const Outcome outcome =
        runRefused(plain(shell("test -e /dev/null || echo none")), std::string(kNoNamespaces) + ",mknod,mknodat");
    EXPECT_EQ(outcome.out, "none\n") << outcome.err;
}

TEST_F(SandboxFallback, FailsClearlyWhereChrootIsRefusedToo) {
    const Outcome outcome = runRefused(plain({"true"}), std::string(kNoNamespaces) + ",chroot");
    EXPECT_EQ(outcome.status, kOwnFailure);
    EXPECT_THAT(outcome.err,
                StartsWith("tarn-sandbox: no mount namespace here (a user namespace is refused: Operation not "
                           "permitted), and chroot is refused, too; run it as root, or allow user namespaces"));
    EXPECT_TRUE(nothingIsLeft());
}

TEST_F(SandboxFallback, FailsClearlyWhereCopiesCannotBeMade) {
    const Outcome outcome = run(refused(kNoNamespaces, plain({"true"})), {"TMPDIR=/no/such/folder"});
    EXPECT_EQ(outcome.status, kOwnFailure);
    EXPECT_THAT(outcome.err, HasSubstr("cannot make /no/such/folder/tarn-sandbox."));
}

}  // namespace

}  // namespace sandboxtest
