#include "ToolFixture.h"
#include "support/Files.h"

namespace {

using namespace tooltest;
using testing::HasSubstr;

class VarTest : public ToolTest {};

TEST_F(VarTest, SetSwitchesTheKernelAndSavesTheValue) {
    plainKernel({"net/usb_block"});
    const Outcome outcome = tool({"var", "set", "net", "usb_block", "7"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "set net:usb_block=7\n");
    EXPECT_EQ(kernelValue("net/usb_block"), "1");
    EXPECT_EQ(testfiles::read(kDynamicInfo), "net:usb_block:7\n");
}

TEST_F(VarTest, SetTakesTheGreatestValueThatIsReadBack) {
    plainKernel({"net/v"});
    EXPECT_EQ(tool({"var", "set", "net", "v", "2147483647"}).status, 0);
    EXPECT_EQ(tool({"var", "list"}).out, "net v 2147483647\n");
}

TEST_F(VarTest, SetRefusesAValueThatIsNotReadBack) {
    plainKernel({"net/v"});
    const Outcome outcome = tool({"var", "set", "net", "v", "2147483648"});
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err,
                HasSubstr("above 2147483647: the library would save it and refuse it when it is read back"));
    EXPECT_EQ(kernelValue("net/v"), "");
    EXPECT_FALSE(testfiles::exists(kDynamicInfo));
}

TEST_F(VarTest, SetRefusesValuesThatAreNoNumbers) {
    plainKernel({"net/v"});
    for (const char* value : {"-1", "on", "1x", "", "0x1", "99999999999999999999999"}) {
        EXPECT_EQ(tool({"var", "set", "net", "v", "--", value}).status, 2) << value;
    }
    EXPECT_EQ(kernelValue("net/v"), "");
}

TEST_F(VarTest, SetRefusesNamesThatWouldLeaveTheirPlace) {
    plainKernel({"net/v"});
    for (const char* name : {"", "..", "a/b", "a\\b", "a:b", "a\nb", "a."}) {
        EXPECT_EQ(tool({"var", "set", name, "v", "1"}).status, 2) << name;
        EXPECT_EQ(tool({"var", "set", "net", name, "1"}).status, 2) << name;
    }
}

TEST_F(VarTest, SetSaysThatTheKernelHasNoSuchVariable) {
    plainKernel({"net/v"});
    const Outcome outcome = tool({"var", "set", "net", "other", "1"});
    EXPECT_EQ(outcome.status, 11);
    EXPECT_THAT(outcome.err, HasSubstr("the kernel has no entry /sys/kernel/security/tarn/paras/net/other"));
}

TEST_F(VarTest, SetSaysThatTheModuleIsNotLoaded) {
    testprocess::run({"rmdir", kKernel});
    const Outcome outcome = tool({"var", "set", "net", "v", "1"});
    EXPECT_EQ(outcome.status, 8);
    EXPECT_THAT(outcome.err, HasSubstr("load the kernel module tarn_main"));
}

TEST_F(VarTest, SetSaysThatTheKernelRefused) {
    plainKernel();
    testfiles::makeDirectories(std::string(kKernel) + "/paras/net/v");  // opens for no writer
    const Outcome outcome = tool({"var", "set", "net", "v", "1"});
    EXPECT_EQ(outcome.status, 11);
    EXPECT_THAT(outcome.err, HasSubstr("cannot be opened: Is a directory"));
    EXPECT_FALSE(testfiles::exists(kDynamicInfo));
}

TEST_F(VarTest, SetWarnsOfLinesThatSavingLoses) {
    plainKernel({"net/v"});
    saveVariables("net:w:5\nbroken\n");
    const Outcome outcome = tool({"var", "set", "net", "v", "1"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_THAT(outcome.err, HasSubstr("the line \"broken\" is not namespace:name:value; the library skips it"));
    EXPECT_EQ(testfiles::read(kDynamicInfo), "net:v:1\nnet:w:5\n");
}

TEST_F(VarTest, ManyLinesThatTheLibrarySkipsAreCounted) {
    std::string lines = "net:w:5\n";
    for (int line = 0; line < 1000; ++line) {
        lines += "broken\n";
    }
    saveVariables(lines);
    const Json::Value warnings = parseJson(tool({"var", "list", "--json"}).out)["warnings"];
    ASSERT_EQ(warnings.size(), 11U);
    EXPECT_EQ(warnings[10].asString(), "/etc/tarn/dynamicinfo: and 990 more in this file");
}

TEST_F(VarTest, SetGivesTheVariablesAsJson) {
    plainKernel({"net/v"});
    const Outcome outcome = tool({"var", "set", "net", "v", "3", "--json"});
    const Json::Value object = parseJson(outcome.out);
    EXPECT_EQ(object["exitCode"].asInt(), 0);
    ASSERT_EQ(object["variables"].size(), 1U);
    EXPECT_EQ(object["variables"][0]["namespace"].asString(), "net");
    EXPECT_EQ(object["variables"][0]["name"].asString(), "v");
    EXPECT_EQ(object["variables"][0]["value"].asUInt(), 3U);
}

TEST_F(VarTest, ListReadsAsTheLibraryDoes) {
    saveVariables("b:x:2\na:y:-1\na:y:3trailing\nz::w:4:5\n\n");
    const Outcome outcome = tool({"var", "list"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "a y 3\nb x 2\nz w 4\n");
}

TEST_F(VarTest, ListOfNothingPrintsNothing) {
    const Outcome outcome = tool({"var", "list"});
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(VarTest, ListWritesNothing) {
    saveVariables("net:v:1\n");
    const std::vector<std::string> before = snapshot("/etc/tarn");
    EXPECT_EQ(tool({"var", "list"}).status, 0);
    EXPECT_EQ(snapshot("/etc/tarn"), before);
    EXPECT_TRUE(testfiles::list("/var/log").empty());
    EXPECT_FALSE(testfiles::exists(kLock));
}

TEST_F(VarTest, ListSaysWhyTheFileCannotBeRead) {
    testfiles::link("/etc/hostname", kDynamicInfo);
    const Outcome outcome = tool({"var", "list"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("cannot read /etc/tarn/dynamicinfo: it is not a regular file"));
}

TEST_F(VarTest, ClearForgetsAndNamesEachVariable) {
    plainKernel({"net/v"});
    testfiles::write(std::string(kKernel) + "/paras/net/v", "1");
    saveVariables("net:v:1\nnet:w:2\n");
    const Outcome outcome = tool({"var", "clear"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out, "forgot net:v=1\nforgot net:w=2\n");
    EXPECT_FALSE(testfiles::exists(kDynamicInfo));
    EXPECT_EQ(kernelValue("net/v"), "1") << "the kernel's switches stay";
}

}  // namespace
