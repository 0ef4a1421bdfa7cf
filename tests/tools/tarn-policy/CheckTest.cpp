#include <sys/resource.h>

#include "ToolFixture.h"
#include "support/Files.h"

namespace {

using namespace tooltest;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

class CheckTest : public ToolTest {
protected:
    static Json::Value& firstRule(Json::Value& policy) { return policy["groups"]["base"]["rules"][0]; }

    // Mistakes in rules, one of which makes a second one, and one in the head of the document.
    static Json::Value brokenPolicy() {
        Json::Value policy = smallPolicy();
        firstRule(policy)["perm"] = "raed";
        policy["groups"]["base"]["rules"][1]["class"] = "fiel";
        policy["variables"]["net"]["usb_block"] = Json::UInt(2147483648U);
        return policy;
    }
};

TEST_F(CheckTest, AGoodPolicyIsPlanned) {
    const Outcome outcome = tool({"check", kPolicy});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(outcome.out,
              "planned: 3 rules, 8 records in 2 messages of 986 bytes\n" + std::string(kPolicy) + ": no mistakes\n");
    EXPECT_EQ(outcome.err, "");
}

TEST_F(CheckTest, WritesNothing) {
    const std::vector<std::string> before = snapshot("/etc/tarn");
    EXPECT_EQ(tool({"check", kPolicy}).status, 0);
    writePolicy(smallPolicy());
    EXPECT_EQ(snapshot("/etc/tarn"), before);
    EXPECT_TRUE(testfiles::list("/var/log").empty());
    EXPECT_FALSE(testfiles::exists(kLock));
}

TEST_F(CheckTest, NeedsNoPrivilege) {
    const std::vector<std::string> check = {TARN_POLICY, "check", kPolicy};
    std::vector<std::string> words = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
    words.insert(words.end(), check.begin(), check.end());
    Outcome outcome = testprocess::run(words);
    if (outcome.err.find("setpriv:") != std::string::npos) {  // a user namespace with one user: drop what it has left
        words = {"setpriv", "--bounding-set=-all", "--inh-caps=-all"};
        words.insert(words.end(), check.begin(), check.end());
        outcome = testprocess::run(words);
    }
    EXPECT_EQ(outcome.status, 0) << outcome.err;
}

TEST_F(CheckTest, ListsAllMistakesOfOneRun) {
    writePolicy(brokenPolicy());
    const Outcome outcome = tool({"check", kPolicy});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_EQ(outcome.out, "");
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("/groups/base/rules/0/perm"), HasSubstr("/groups/base/rules/1/class"),
                                   HasSubstr("/variables/net/usb_block"), HasSubstr("it has 4 mistakes")));
    EXPECT_THAT(outcome.err,
                AllOf(HasSubstr(std::string(kPolicy) + ":"), HasSubstr("expected: "), HasSubstr("to do: ")));
}

TEST_F(CheckTest, PutsAllMistakesIntoTheJsonObject) {
    writePolicy(brokenPolicy());
    const Outcome outcome = tool({"check", kPolicy, "--json"});
    EXPECT_EQ(outcome.status, 5);
    const Json::Value object = parseJson(outcome.out);
    EXPECT_EQ(object["format"].asInt(), 1);
    EXPECT_EQ(object["exitName"].asString(), "mistakes");
    std::vector<std::string> pointers;
    for (const Json::Value& diagnostic : object["diagnostics"]) {
        EXPECT_EQ(diagnostic["severity"].asString(), "mistake");
        EXPECT_GT(diagnostic["line"].asInt(), 0);
        EXPECT_NE(diagnostic["message"].asString(), "");
        EXPECT_NE(diagnostic["action"].asString(), "");
        pointers.push_back(diagnostic["pointer"].asString());
    }
    EXPECT_THAT(pointers, testing::UnorderedElementsAre("/groups/base/rules/0/perm", "/groups/base/rules/1/class",
                                                        "/groups/base/rules/1/objects/0", "/variables/net/usb_block"));
    EXPECT_THAT(outcome.err, Not(HasSubstr("/groups/base/rules/0/perm"))) << "each mistake is said once";
}

TEST_F(CheckTest, ABrokenDocumentIsAMistakeWithItsPlace) {
    testfiles::write(kPolicy, "{\n  \"tarnPolicy\": 1,\n  oops\n}\n");
    const Outcome outcome = tool({"check", kPolicy});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.err, HasSubstr(std::string(kPolicy) + ":3"));
}

TEST_F(CheckTest, AKeyWhoseFilesADeliveryPassesOverIsAMistake) {
    Json::Value policy = smallPolicy();
    policy["groups"][".hidden"] = policy["groups"]["extra"];
    writePolicy(policy);
    const Outcome outcome = tool({"check", kPolicy});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("/groups/.hidden"), HasSubstr("name-hidden")));
}

// Rules would be compiled with an identifier of zeros, or with one name less, and nobody would know.
TEST_F(CheckTest, DeclaredNamesWithoutLabelsAreWarnedOfByEveryVerb) {
    plainKernel();
    Json::Value policy = smallPolicy();
    policy["files"]["object_file"].append("/srv/unlabelled");
    policy["devices"].append("sdz");
    policy["modules"].append("nomod");
    writePolicy(policy);
    for (const char* verb : {"check", "compile", "apply"}) {
        const Outcome outcome = tool({verb, kPolicy, "--json"});
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        std::vector<std::string> found;
        const Json::Value object = parseJson(outcome.out);
        for (const Json::Value& diagnostic : object["diagnostics"]) {
            found.push_back(diagnostic["severity"].asString() + " " + diagnostic["code"].asString() + " " +
                            diagnostic["pointer"].asString());
        }
        EXPECT_THAT(found, testing::UnorderedElementsAre("warning no-label /files/object_file/2",
                                                         "warning no-identifier /devices/0",
                                                         "warning no-identifier /modules/0"))
            << verb;
    }
    EXPECT_THAT(tool({"apply", kPolicy}).err, HasSubstr("no identifier for \"sdz\""));
}

TEST_F(CheckTest, AMissingDocumentIsSaid) {
    const Outcome outcome = tool({"check", "/etc/tarn/test/none.json"});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("/etc/tarn/test/none.json"), HasSubstr("No such file")));
}

TEST_F(CheckTest, TakesClassesAndLabelsFromFiles) {
    testprocess::run(
        {"sh", "-c",
         "mv /etc/tarn/tarn-main/class-def.conf /etc/tarn/test/c; mv /etc/tarn/labels.json /etc/tarn/test/l"});
    EXPECT_EQ(tool({"check", kPolicy, "--classes", "/etc/tarn/test/c", "--labels", "/etc/tarn/test/l"}).status, 0);
    EXPECT_EQ(tool({"check", kPolicy, "--labels", "/etc/tarn/test/l"}).status, 5) << "no class definitions";
    EXPECT_EQ(tool({"check", kPolicy, "--classes", "/etc/tarn/test/c"}).status, 6) << "no label manager";
}

TEST_F(CheckTest, SaysWhatTheLabelManagerAnswered) {
    const Outcome outcome = toolWithLabelManager("status", {"check", kPolicy});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_THAT(outcome.err,
                AllOf(HasSubstr("7"), HasSubstr("the label manager gave no answer"), HasSubstr("--labels")));
}

TEST_F(CheckTest, SaysWhatIsWrongWithTheLabelTable) {
    testfiles::write("/etc/tarn/test/l", R"({"format": "tarn-labels", "version": 1, "labels": 5})");
    const Outcome outcome = tool({"check", kPolicy, "--labels", "/etc/tarn/test/l"});
    EXPECT_EQ(outcome.status, 6);
    EXPECT_THAT(outcome.err, AllOf(HasSubstr("/etc/tarn/test/l"), HasSubstr("/labels")));
}

TEST_F(CheckTest, ListsRulesWithoutRecords) {
    Json::Value labels = smallLabels();
    labels["labels"]["object_file"].removeMember("/srv/y");
    writeJson(kLabels, labels);
    const Outcome outcome = tool({"check", kPolicy});
    EXPECT_EQ(outcome.status, 4);
    EXPECT_THAT(
        outcome.err,
        AllOf(HasSubstr("/groups/base/rules/1: the rule gives no record: none of its objects has an identifier"),
              HasSubstr("1 rule gives no record"), HasSubstr("--allow-empty")));
}

TEST_F(CheckTest, AllowsRulesWithoutRecordsOnDemand) {
    Json::Value labels = smallLabels();
    labels["labels"]["subject_file"] = Json::Value(Json::objectValue);
    writeJson(kLabels, labels);
    const Outcome outcome = tool({"check", kPolicy, "--allow-empty", "--json"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const Json::Value object = parseJson(outcome.out);
    EXPECT_EQ(object["emptyRules"].size(), 3U);
    EXPECT_EQ(object["emptyRules"][0]["subjects"].asInt(), 0);
    EXPECT_EQ(object["emptyRules"][0]["objects"].asInt(), 1);
    EXPECT_EQ(object["warnings"].size(), 3U);
}

TEST_F(CheckTest, SpreadsRulesOverKeysWhereAMessageWouldOverflow) {
    writePolicy(bulkyPolicy(1100));
    const Outcome outcome = tool({"check", kPolicy, "--json"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    const Json::Value plan = parseJson(outcome.out)["plan"];
    ASSERT_EQ(plan["keys"].size(), 2U);
    EXPECT_EQ(plan["keys"][0]["key"].asString(), "base");
    EXPECT_EQ(plan["keys"][1]["key"].asString(), "base.1");
    EXPECT_EQ(plan["records"].asUInt(), 1100U);
    for (const Json::Value& file : plan["files"]) {
        EXPECT_LE(file["bytes"].asUInt(), 1048576U);
    }
    EXPECT_THAT(tool({"check", kPolicy}).out, HasSubstr("spread: 1 group over 2 keys"));
}

TEST_F(CheckTest, WithoutSplittingTheOverflowIsNamed) {
    writePolicy(bulkyPolicy(1100));
    const Outcome outcome = tool({"check", kPolicy, "--no-split"});
    EXPECT_EQ(outcome.status, 5);
    EXPECT_THAT(outcome.err,
                AllOf(HasSubstr("at /groups/base/rules/1019\n"),
                      HasSubstr("key \"base\", namespace \"net\", group \"g\""), HasSubstr("group of 1130800 bytes")));
}

TEST_F(CheckTest, PlansForANumberOfThreads) {
    const Json::Value plan = parseJson(tool({"check", kPolicy, "--json", "--threads", "2"}).out)["plan"];
    std::vector<std::string> names;
    for (const Json::Value& file : plan["files"]) {
        names.push_back(file["name"].asString());
    }
    EXPECT_THAT(names, testing::ElementsAre("base_0_net_g_0", "base_1_net_g_0", "extra_0_quiet_h_0"));
}

TEST_F(CheckTest, ManyThreadsForManyGroupsTakeNoMemory) {
    Json::Value policy = smallPolicy();
    for (int i = 0; i < 300; ++i) {
        policy["groups"]["group" + std::to_string(i)] = policy["groups"]["extra"];
    }
    writePolicy(policy);
    const Outcome outcome = tool({"check", kPolicy, "--threads", "65535", "--json"});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_EQ(parseJson(outcome.out)["plan"]["files"].size(), 303U);
    rusage usage{};
    ASSERT_EQ(getrusage(RUSAGE_CHILDREN, &usage), 0);
    constexpr long kMostKibibytes = 400000;  // a sanitizer's own memory included
    EXPECT_LT(usage.ru_maxrss, kMostKibibytes);
}

}  // namespace
