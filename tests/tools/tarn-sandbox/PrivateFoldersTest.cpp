#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "SandboxTest.h"

namespace sandboxtest {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testprocess::Outcome;
using testprocess::run;

class SandboxFolders : public SandboxTest {};

TEST_F(SandboxFolders, AreEmptyInsideWhateverTheMachineHas) {
    testfiles::write("/etc/tarn/of-the-machine", "1");
    testfiles::write("/var/log/of-the-machine", "2");
    testfiles::write("/sys/kernel/security/tarn/of-the-machine", "3");
    const Outcome outcome = run(plain({"find", "/etc/tarn", "/var/log", "/sys/kernel/security"}));
    EXPECT_EQ(outcome.out, "/etc/tarn\n/var/log\n/sys/kernel/security\n/sys/kernel/security/tarn\n");
}

TEST_F(SandboxFolders, OfTheMachineAreNotTouched) {
    testfiles::write("/etc/tarn/kept", "1");
    testfiles::write("/var/log/kept", "2");
    const std::string mounts = testfiles::read("/proc/self/mounts");
    const Outcome outcome = run(plain(shell(
        "cd / && for d in /etc/tarn /var/log /sys/kernel/security /sys/kernel/security/tarn; do echo x > $d/new; done; "
        "echo x > /etc/tarn/kept; mkdir /etc/new-folder; rm /etc/hostname; mount -t tmpfs none /mnt; ls /etc/tarn")));
    EXPECT_EQ(outcome.out, "kept\nnew\n") << outcome.err;
    EXPECT_THAT(testfiles::list("/etc/tarn"), ElementsAre("kept"));
    EXPECT_THAT(testfiles::list("/var/log"), ElementsAre("kept"));
    EXPECT_THAT(testfiles::list("/sys/kernel/security"), ElementsAre("tarn"));
    EXPECT_THAT(testfiles::list("/sys/kernel/security/tarn"), testing::IsEmpty());
    EXPECT_EQ(testfiles::read("/etc/tarn/kept"), "1");
    EXPECT_FALSE(testfiles::exists("/etc/new-folder"));
    EXPECT_EQ(testfiles::read("/proc/self/mounts"), mounts);
}

TEST_F(SandboxFolders, AreMadeWhereTheMachineHasNoEtcTarn) {
    const Outcome outcome =
        run(plain(shell("mount -t tmpfs none /etc && echo 1 > /etc/passwd && exec \"$0\" --kernel=none -- "
                        "sh -c 'echo 1 > /etc/tarn/file && ls /etc/tarn && test -f /etc/passwd'")) +
            Words{TARN_SANDBOX_PROGRAM});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "file\n");
}

TEST_F(SandboxFolders, LeaveTheRestOfTheMachineVisible) {
    const std::string place = "/etc/rest-of-the-machine";
    testfiles::write(place, "seen");
    EXPECT_EQ(run(plain({"cat", place})).out, "seen");
    EXPECT_EQ(run(plain({TARN_SANDBOX_PROGRAM, "--help"})).status, 0);
}

TEST_F(SandboxFolders, NestAsDeepAsOneLikes) {
    Words words = shell("echo innermost > /etc/tarn/x; cat /etc/tarn/x");
    for (int depth = 0; depth < 5; ++depth) {
        words = plain(words);
    }
    const Outcome outcome = run(words);
    EXPECT_EQ(outcome.out, "innermost\n") << outcome.err;
    EXPECT_TRUE(testfiles::list("/etc/tarn").empty());
}

TEST_F(SandboxFolders, ComeWithTheWorkingDirectoryOfTheCaller) {
    ASSERT_EQ(chdir("/usr/share"), 0);
    EXPECT_EQ(run(plain({"pwd"})).out, "/usr/share\n");
}

TEST_F(SandboxFolders, KeepWhatIsWrittenInAWorkingDirectoryBelowEtc) {
    testfiles::makeDirectories("/etc/project/build");
    ASSERT_EQ(chdir("/etc/project/build"), 0);
    const Outcome outcome = run(plain(shell("pwd; echo 1 > result; echo 2 > /etc/tarn/private")));
    EXPECT_EQ(outcome.out, "/etc/project/build\n") << outcome.err;
    EXPECT_EQ(testfiles::read("/etc/project/build/result"), "1\n");
    EXPECT_FALSE(testfiles::exists("/etc/tarn/private"));
}

TEST_F(SandboxFolders, RefuseAWorkingDirectoryThatTheyWouldHide) {
    testfiles::makeDirectories("/var/log/here");
    ASSERT_EQ(chdir("/var/log/here"), 0);
    const Outcome outcome = run(plain({"true"}));
    EXPECT_EQ(outcome.status, kOwnFailure);
    EXPECT_THAT(outcome.err, HasSubstr("the working directory /var/log/here is hidden inside the sandbox"));
}

TEST_F(SandboxFolders, TellTheCommandWhatStandsAroundIt) {
    EXPECT_EQ(run(plain(shell("echo $TARN_SANDBOX $TARN_SANDBOX_KERNEL ${TARN_SANDBOX_TRANSCRIPT-unset}")),
                  {"TARN_SANDBOX_TRANSCRIPT=of an outer one"})
                  .out,
              "namespace none unset\n");
}

TEST_F(SandboxFolders, TakeAFolderOfTheDiskAsEtcTarn) {
    testfiles::write("/etc/elsewhere/given", "1");
    const Outcome outcome = run(sandbox({"--kernel=none", "--etc", "/etc/elsewhere"}) +
                                shell("cat /etc/tarn/given; echo 2 > /etc/tarn/made; rm /etc/tarn/given"));
    EXPECT_EQ(outcome.out, "1") << outcome.err;
    EXPECT_THAT(testfiles::list("/etc/elsewhere"), ElementsAre("made"));
    EXPECT_TRUE(testfiles::list("/etc/tarn").empty());
}

TEST_F(SandboxFolders, TakeAFolderByItsRelativePath) {
    testfiles::write("/etc/elsewhere/given", "1");
    ASSERT_EQ(chdir("/etc"), 0);
    EXPECT_EQ(run(sandbox({"--kernel=none", "--etc", "elsewhere", "cat", "/etc/tarn/given"})).out, "1");
}

TEST_F(SandboxFolders, TakeAFolderThatOnesOwnPrivateFolderHides) {
    testfiles::write("/var/log/elsewhere/given", "1");
    EXPECT_EQ(run(sandbox({"--kernel=none", "--etc", "/var/log/elsewhere", "cat", "/etc/tarn/given"})).out, "1");
}

TEST_F(SandboxFolders, AreCopiedAtTheEndForKeep) {
    const Outcome outcome =
        run(sandbox({"--kernel=none", "--keep", "/etc/kept/deep"}) +
            shell("mkdir /etc/tarn/d; echo 1 > /etc/tarn/d/f; chmod 440 /etc/tarn/d/f; ln -s d /etc/tarn/l; "
                  "mkfifo /etc/tarn/p; echo 2 > /var/log/g; exit 9"));
    EXPECT_EQ(outcome.status, 9) << outcome.err;
    const std::string kept = "/etc/kept/deep";
    EXPECT_EQ(testfiles::read(kept + "/etc-tarn/d/f"), "1\n");
    EXPECT_EQ(testfiles::mode(kept + "/etc-tarn/d/f"), 0440U);
    EXPECT_EQ(std::filesystem::read_symlink(kept + "/etc-tarn/l"), "d");
    EXPECT_FALSE(testfiles::exists(kept + "/etc-tarn/p"));
    EXPECT_EQ(testfiles::read(kept + "/var-log/g"), "2\n");
}

// The private machine of the test is open to every user, which the folder of the build tree may not be.
class SandboxOfAnOrdinaryUser : public SandboxTest {
protected:
    void SetUp() override {
        SandboxTest::SetUp();
        if (IsSkipped()) {
            return;
        }
        std::filesystem::copy_file(TARN_SANDBOX_PROGRAM, kProgram);
        ASSERT_EQ(chmod(kProgram, 0755), 0);
        ASSERT_EQ(chdir("/"), 0);
    }
    // Root becomes nobody. Whoever else runs the tests is an ordinary user already, whose only id can't be changed.
    static Outcome runAsUser(const Words& words) {
        const bool root = testfiles::read("/proc/self/uid_map").find("4294967295") != std::string::npos;
        return run((root ? Words{"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"} : Words{}) + words);
    }

    static constexpr char kProgram[] = "/etc/tarn-sandbox-of-the-test";
};

TEST_F(SandboxOfAnOrdinaryUser, HasThePrivateFoldersAndIsRootInside) {
    testfiles::write("/etc/tarn/of-the-machine", "1");
    const std::string script =
        "id -u; id -g; echo 1 > /etc/tarn/f; echo 2 > /var/log/f; find /etc/tarn /var/log /sys/kernel/security";
    const Outcome outcome = runAsUser({kProgram, "--kernel=none", "--", "/bin/sh", "-c", script});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out,
              "0\n0\n/etc/tarn\n/etc/tarn/f\n/var/log\n/var/log/f\n/sys/kernel/security\n/sys/kernel/security/tarn\n");
    EXPECT_THAT(testfiles::list("/etc/tarn"), ElementsAre("of-the-machine"));
}

TEST_F(SandboxOfAnOrdinaryUser, MayReopenAFileWithoutWritePermission) {
    const Outcome outcome =
        runAsUser({kProgram, "--kernel=none", "--", "/bin/sh", "-c",
                   "echo 1 > /etc/tarn/f; chmod 440 /etc/tarn/f; echo 2 > /etc/tarn/f; cat /etc/tarn/f"});
    EXPECT_EQ(outcome.out, "2\n") << outcome.err;
}

TEST_F(SandboxOfAnOrdinaryUser, SaysWhatToDoWhereNothingIsAllowed) {
    std::filesystem::copy_file(TARN_REFUSE_PROGRAM, "/etc/refuse");
    ASSERT_EQ(chmod("/etc/refuse", 0755), 0);
    const Outcome outcome =
        runAsUser({"/etc/refuse", std::string(kNoNamespaces) + ",chroot", kProgram, "--kernel=none", "true"});
    EXPECT_EQ(outcome.status, kOwnFailure);
    EXPECT_THAT(outcome.err,
                HasSubstr("no mount namespace here (a user namespace is refused: Operation not permitted), "
                          "and chroot is refused, too; run it as root, or allow"));
}

}  // namespace

}  // namespace sandboxtest
