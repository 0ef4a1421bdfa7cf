// A small policy delivered as a whole, and ways to change it, for the tests of sections.
#ifndef TARN_TESTS_SECTION_FIXTURE_H
#define TARN_TESTS_SECTION_FIXTURE_H

#include "ToolFixture.h"
#include "support/Files.h"

namespace tooltest {

class SectionToolTest : public ToolTest {
protected:
    static void apply() { ASSERT_EQ(tool({"apply", kPolicy}).status, 0); }
    static Json::Value& rule(Json::Value& policy, const char* key, unsigned int index) {
        return policy["groups"][key]["rules"][index];
    }
    // The small policy with another permission in the second rule of net and g.
    static Json::Value changedPolicy() {
        Json::Value policy = smallPolicy();
        rule(policy, "base", 1)["perm"] = "read";
        return policy;
    }
    // The small policy with one more rule, of this key, namespace and group.
    static Json::Value withRule(const std::string& key, const std::string& nameSpace, const std::string& group) {
        Json::Value policy = smallPolicy();
        Json::Value added = rule(policy, "extra", 0);
        added["namespace"] = nameSpace;
        added["group"] = group;
        if (!policy["namespaces"].isMember(nameSpace)) {
            policy["namespaces"][nameSpace] = Json::Value(Json::arrayValue);
        }
        policy["groups"][key]["rules"].append(added);
        return policy;
    }
    static void remove(const std::string& path) { testprocess::run({"rm", "-rf", path}); }

    // Refused with this exit code, and nothing under /etc/tarn is another than before.
    static Outcome expectRefused(int status, const std::vector<std::string>& arguments,
                                 const std::string& wayOut = "tarn-policy restore") {
        const std::vector<std::string> before = snapshot("/etc/tarn");
        Outcome outcome = tool(arguments);
        EXPECT_EQ(outcome.status, status) << outcome.out << outcome.err;
        EXPECT_EQ(snapshot("/etc/tarn"), before);
        EXPECT_THAT(outcome.err, testing::AllOf(testing::HasSubstr("next: "), testing::HasSubstr(wayOut)));
        return outcome;
    }
};

}  // namespace tooltest

#endif
