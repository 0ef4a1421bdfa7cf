#include "SandboxTest.h"

namespace sandboxtest {

namespace {

using testing::HasSubstr;
using testprocess::Outcome;
using testprocess::run;

class SandboxExit : public SandboxTest {};

TEST_F(SandboxExit, IsTheStatusOfTheCommand) {
    EXPECT_EQ(run(plain({"true"})).status, 0);
    EXPECT_EQ(run(plain(shell("exit 3"))).status, 3);
    EXPECT_EQ(run(plain(shell("exit 255"))).status, 255);
}

TEST_F(SandboxExit, IsOfAnOrdinaryExitAlsoWhenASignalEndedTheCommand) {
    // Looked at from a shell, which could not tell the two apart by its own status.
    const Outcome outcome = run(plain(shell("kill -TERM $$")));
    EXPECT_EQ(outcome.status, 128 + 15);
    EXPECT_EQ(outcome.err, "");
}

TEST_F(SandboxExit, Is127ForACommandThatIsNotFound) {
    const Outcome outcome = run(plain({"no-such-command"}), {"PATH=/usr/bin:/bin"});
    EXPECT_EQ(outcome.status, 127);
    EXPECT_EQ(outcome.err, "tarn-sandbox: cannot run no-such-command: No such file or directory\n");
}

TEST_F(SandboxExit, Is126ForACommandThatCannotBeRun) {
    const Outcome outcome = run(plain({"/etc/passwd"}));
    EXPECT_EQ(outcome.status, 126);
    EXPECT_EQ(outcome.err, "tarn-sandbox: cannot run /etc/passwd: Permission denied\n");
}

TEST_F(SandboxExit, OfHelpIs0AndTheTextNamesEveryOption) {
    const Outcome outcome = run(sandbox({"--help"}));
    EXPECT_EQ(outcome.status, 0);
    for (const char* folder : {"/etc/tarn", "/var/log", "/run/lock", "/sys/kernel/security"}) {
        EXPECT_THAT(outcome.out, HasSubstr(folder));
    }
    EXPECT_EQ(outcome.err, "");
    for (const char* option : {"--kernel", "--etc", "--transcript", "--refuse", "--para", "--keep", "--bring", "125"}) {
        EXPECT_THAT(outcome.out, HasSubstr(option));
    }
}

TEST_F(SandboxExit, Is125ForAWrongCommandLine) {
    const std::pair<Words, const char*> mistakes[] = {
        {{}, "no command given"},
        {{"--kernel=none"}, "no command given"},
        {{"--kernel=none", "--"}, "no command given"},
        {{"--colour", "true"}, "unknown option --colour"},
        {{"-x", "true"}, "unknown option -x"},
        {{"--etc"}, "--etc needs a value"},
        {{"--kernel=some", "true"}, "--kernel=some is unknown: use auto, fuse, fifo or none"},
        {{"--refuse", "3", "true"}, "--refuse 3: use N:ERRNO"},
        {{"--refuse", "0:22", "true"}, "--refuse 0:22: use N:ERRNO"},
        {{"--refuse", "x:22", "true"}, "--refuse x:22: use N:ERRNO"},
        {{"--refuse", "3:", "true"}, "--refuse 3:: use N:ERRNO"},
        {{"--para", "a", "true"}, "--para a: use NAMESPACE/VARIABLE"},
        {{"--para", "/b", "true"}, "--para /b: use NAMESPACE/VARIABLE"},
        {{"--para", "a/", "true"}, "--para a/: use NAMESPACE/VARIABLE"},
        {{"--para", "a/b/c", "true"}, "--para a/b/c: use NAMESPACE/VARIABLE"},
        {{"--kernel=none", "--para", "a/b", "true"}, "need the simulator, which --kernel=none leaves out"},
        {{"--kernel=none", "--refuse", "1:22", "true"}, "need the simulator, which --kernel=none leaves out"},
        {{"--kernel=none", "--transcript", "/tmp/t", "true"}, "need the simulator, which --kernel=none leaves out"},
        {{"--kernel=none", "--keep", "/var/log/kept", "true"}, "--keep /var/log/kept lies in a private folder"},
        {{"--kernel=none", "--keep", "/etc/tarn", "true"}, "--keep /etc/tarn lies in a private folder"},
        {{"--kernel=fifo", "--refuse", "1:22", "true"}, "--refuse can't work with --kernel=fifo"},
        {{"--kernel=none", "--etc", "/no/folder", "true"}, "cannot use --etc /no/folder: No such file or directory"},
        {{"--kernel=none", "--etc", "/etc/passwd", "true"}, "cannot use --etc /etc/passwd: Not a directory"},
    };
    for (const auto& [words, message] : mistakes) {
        const Outcome outcome = run(sandbox(words));
        EXPECT_EQ(outcome.status, kOwnFailure) << message;
        EXPECT_THAT(outcome.err, HasSubstr(std::string("tarn-sandbox: "))) << message;
        EXPECT_THAT(outcome.err, HasSubstr(message));
        EXPECT_EQ(outcome.out, "");
    }
}

TEST_F(SandboxExit, ComesWithoutAWordOfTheSandboxItself) {
    const Outcome outcome = run(plain(shell("echo out; echo err >&2")));
    EXPECT_EQ(outcome.out, "out\n");
    EXPECT_EQ(outcome.err, "err\n");
}

TEST_F(SandboxExit, LeavesTheWordsOfTheCommandAsTheyAre) {
    const Outcome outcome = run(sandbox({"--kernel=none", "printf", "%s|", "--kernel=x", "--", "--help", "", "a b"}));
    EXPECT_EQ(outcome.out, "--kernel=x|--|--help||a b|");
    EXPECT_EQ(run(plain({"printf", "%s|", "--", "x"})).out, "--|x|");
}

}  // namespace

}  // namespace sandboxtest
