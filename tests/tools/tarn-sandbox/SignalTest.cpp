#include <signal.h>
#include <unistd.h>

#include "SandboxTest.h"

namespace sandboxtest {

namespace {

using testprocess::Running;

class SandboxSignal : public SandboxTest {
protected:
    // A folder that both sides of the sandbox see.
    void SetUp() override {
        SandboxTest::SetUp();
        ASSERT_NE(mkdtemp(folder_.data()), nullptr);
    }
    void TearDown() override { testprocess::run({"rm", "-rf", folder_}); }

    std::string path(const std::string& name) const { return folder_ + "/" + name; }
    bool waitFor(const std::string& name) const {
        return eventually([&] { return testfiles::exists(path(name)); });
    }

private:
    std::string folder_ = "/tmp/sandbox-signal.XXXXXX";
};

TEST_F(SandboxSignal, SentToTheSandboxReachesTheCommandWhichDecides) {
    const std::pair<const char*, int> signals[] = {{"TERM", SIGTERM}, {"INT", SIGINT},   {"HUP", SIGHUP},
                                                   {"QUIT", SIGQUIT}, {"USR1", SIGUSR1}, {"USR2", SIGUSR2}};
    for (const auto& [name, number] : signals) {
        const std::string ready = std::string("ready-") + name;
        Running running(plain(
            shell(std::string("trap 'exit 42' ") + name + "; : > " + path(ready) + "; while :; do sleep 0.01; done")));
        ASSERT_TRUE(waitFor(ready));
        kill(running.pid(), number);
        EXPECT_EQ(running.finish().status, 42) << name;
    }
}

TEST_F(SandboxSignal, ThatTheCommandDoesNotCatchEndsIt) {
    Running running(plain(shell(": > " + path("ready") + "; exec sleep 600")));
    ASSERT_TRUE(waitFor("ready"));
    kill(running.pid(), SIGTERM);
    EXPECT_EQ(running.finish().status, 128 + SIGTERM);
}

TEST_F(SandboxSignal, ThatKillsTheSandboxTakesTheCommandAlong) {
    const std::string mark = path("mark-of-the-command");
    Running running(plain({"/bin/sh", "-c", ": > " + path("ready") + "; while :; do sleep 0.01; done", mark}));
    ASSERT_TRUE(waitFor("ready"));
    kill(running.pid(), SIGKILL);
    EXPECT_EQ(running.finish().status, 128 + SIGKILL);
    EXPECT_TRUE(eventually([&] { return processesWith(mark) == 0; }));
}

TEST_F(SandboxSignal, ThatKillsTheSandboxTakesTheSimulatorAlong) {
    const std::string transcript = path("transcript");
    Running running(sandbox({"--kernel=fifo", "--transcript", transcript}) +
                    shell(": > " + path("ready") + "; exec sleep 600"));
    ASSERT_TRUE(waitFor("ready"));
    EXPECT_EQ(processesWith(transcript), 2) << "the sandbox and the simulator";
    kill(running.pid(), SIGKILL);
    running.finish();
    EXPECT_TRUE(eventually([&] { return processesWith(transcript) == 0; }));
}

TEST_F(SandboxSignal, MaskOfTheCommandIsEmpty) {
    const testprocess::Outcome outcome = testprocess::run(plain(shell("grep SigBlk /proc/self/status")));
    EXPECT_EQ(outcome.out, "SigBlk:\t0000000000000000\n");
}

}  // namespace

}  // namespace sandboxtest
