// The simulator without a file system around it.
#include "Simulator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Control.h"
#include "support/Files.h"
#include "support/Golden.h"

using testing::ElementsAre;
using testing::HasSubstr;

TEST(Simulator, CommandsComeByLine) {
    sim::Simulator simulator;
    EXPECT_EQ(sim::control(simulator, "refuse 2 EIO\n\n  para net/x \n"), 0);
    EXPECT_EQ(simulator.deliver(golden::message("begin")), 0);
    EXPECT_EQ(simulator.deliver(golden::message("end")), 5);
    EXPECT_THAT(simulator.parameters.namespaces(), ElementsAre("net"));
}

TEST(Simulator, LinesBeforeAWrongOneHaveBeenCarriedOut) {
    sim::Simulator simulator;
    EXPECT_EQ(sim::control(simulator, "refuse 1 5\nwhat\nrefuse nothing\n"), 22);
    EXPECT_EQ(simulator.deliver(golden::message("begin")), 5);
}

TEST(Simulator, ResetForgetsAllButTheSwitches) {
    sim::Simulator simulator;
    for (const char* name : {"begin", "namespace", "policy-condition", "end", "begin"}) {
        EXPECT_EQ(simulator.deliver(golden::message(name)), 0) << name;
    }
    simulator.refuse(1, 5);
    EXPECT_THAT(simulator.stateText(), HasSubstr("phase=begun messages=5 records=1"));
    EXPECT_EQ(sim::control(simulator, "reset"), 0);
    EXPECT_EQ(simulator.stateText(), "phase=closed messages=0 records=0\n");
    EXPECT_EQ(simulator.transcript.text(), "");
    EXPECT_EQ(simulator.parameters.all().size(), 1U);
    EXPECT_EQ(simulator.deliver(golden::message("begin")), 0);
}

TEST(Simulator, RefusedMessageIsNotKept) {
    sim::Simulator simulator;
    EXPECT_EQ(simulator.deliver(golden::message("begin")), 0);
    EXPECT_EQ(simulator.deliver(golden::message("policy-plain")), 0);
    EXPECT_EQ(simulator.deliver(golden::message("namespace")), 71);
    EXPECT_EQ(simulator.deliver(golden::message("begin")), 0);
    EXPECT_EQ(simulator.deliver(golden::message("end")), 0);
    EXPECT_EQ(simulator.rules().records(), 0U);
    EXPECT_EQ(simulator.rules().messages(), golden::message("begin") + golden::message("end"));
}

TEST(Simulator, SwitchNamesThatAreNoEntriesAreNotServed) {
    sim::Parameters parameters;
    for (const char* path : {"net", "/x", "net/", "a/b/c", "./x", "net/.."}) {
        EXPECT_FALSE(parameters.addPath(path)) << path;
    }
    EXPECT_FALSE(parameters.add("net", std::string("a\0b", 3)));
    EXPECT_FALSE(parameters.add("net", std::string(256, 'x')));
    EXPECT_TRUE(parameters.all().empty());
    EXPECT_TRUE(parameters.addPath("net/x"));
    EXPECT_TRUE(parameters.addPath("net/x"));
    EXPECT_EQ(parameters.all().size(), 1U);
}

TEST(Simulator, TranscriptFileIsEmptiedAndGetsWholeLines) {
    testfiles::write("/var/log/transcript", "from before\n");
    sim::Transcript transcript;
    EXPECT_EQ(transcript.writeTo("/var/log/transcript"), 0);
    transcript.add("one");
    EXPECT_EQ(testfiles::read("/var/log/transcript"), "one\n");
    transcript.add("two");
    EXPECT_EQ(testfiles::read("/var/log/transcript"), "one\ntwo\n");
    EXPECT_EQ(transcript.text(), "one\ntwo\n");
    EXPECT_EQ(sim::Transcript().writeTo("/etc/tarn/no/file"), ENOENT);
}

TEST(Simulator, ErrnosAreNumbersOrNamesOfTheKernelsAnswers) {
    EXPECT_EQ(sim::parseErrno("EPROTO"), 71);
    EXPECT_EQ(sim::parseErrno("99"), 99);
    EXPECT_EQ(sim::parseErrno("511"), 511);
    for (const char* text : {"", "0", "512", "-5", "5x", " 5", "EWHAT"}) {
        EXPECT_EQ(sim::parseErrno(text), -1) << text;
    }
}
