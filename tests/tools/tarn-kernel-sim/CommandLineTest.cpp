// The simulator's command line: what it refuses, and with which status.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Files.h"
#include "support/Process.h"

using testing::HasSubstr;

namespace {

testprocess::Outcome simulator(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), TARN_KERNEL_SIM_PROGRAM);
    return testprocess::run(arguments);
}

}  // namespace

TEST(KernelSimCommandLine, HelpNamesStatusesAndNodes) {
    const testprocess::Outcome outcome = simulator({"--help"});
    EXPECT_EQ(outcome.status, 0);
    for (const char* text :
         {"--mount", "--fifo", "--transcript", "--refuse", "--para", "--ready-fd", ".sim/control", "Exit status"}) {
        EXPECT_THAT(outcome.out, HasSubstr(text));
    }
}

TEST(KernelSimCommandLine, NeedsExactlyOneEntry) {
    EXPECT_EQ(simulator({}).status, 2);
    EXPECT_EQ(simulator({"--mount", "/etc/tarn", "--fifo", "/etc/tarn/fifo"}).status, 2);
}

TEST(KernelSimCommandLine, WrongRefusalSaysWhatIsExpected) {
    for (const char* text : {"5", "0:5", "1:0", "1:512", "1:EWHAT", "x:5", "1:", ":5", "-1:5"}) {
        const testprocess::Outcome outcome = simulator({"--fifo", "/etc/tarn/fifo", "--refuse", text});
        EXPECT_EQ(outcome.status, 2) << text;
        EXPECT_THAT(outcome.err, HasSubstr("expected N:ERRNO")) << text;
    }
}

TEST(KernelSimCommandLine, WrongSwitchSaysWhatIsExpected) {
    const testprocess::Outcome outcome = simulator({"--fifo", "/etc/tarn/fifo", "--para", "net"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, HasSubstr("expected NAMESPACE/NAME"));
}

TEST(KernelSimCommandLine, TranscriptThatCannotBeWrittenIsAFailure) {
    const testprocess::Outcome outcome = simulator({"--fifo", "/etc/tarn/fifo", "--transcript", "/etc/tarn/no/file"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("can't write the transcript /etc/tarn/no/file"));
}

TEST(KernelSimCommandLine, OnlyADirectoryIsMountedAt) {
    testfiles::write("/etc/tarn/file", "");
    const testprocess::Outcome file = simulator({"--mount", "/etc/tarn/file"});
    EXPECT_EQ(file.status, 1);
    EXPECT_THAT(file.err, HasSubstr("can't mount at /etc/tarn/file: Not a directory"));
    const testprocess::Outcome missing = simulator({"--mount", "/etc/tarn/missing"});
    EXPECT_EQ(missing.status, 1);
    EXPECT_THAT(missing.err, HasSubstr("No such file or directory"));
}
