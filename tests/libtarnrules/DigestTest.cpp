// One digest for equal rules, whatever the threads, the order, the files and the numbers; another one for any other rules.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <set>

#include "Common/Common.h"
#include "RuleTools.h"
#include "libtarnmessage/RecordSize.h"
#include "libtarnrules/Sha256.h"
#include "support/PlainMessage.h"
#include "support/Process.h"

namespace {

using namespace ruletools;
using tarnrules::RuleSet;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;

// Of a set that must be without fault.
std::string digest(const std::string& path, const tarnsort::SortLimits& limits = {}) {
    RuleSet rules(path, "");
    rules.read(limits);
    EXPECT_THAT(rules.problems(), IsEmpty());
    EXPECT_THAT(rules.warnings(), IsEmpty());
    return digestOf(rules);
}

std::vector<std::string> problems(const std::string& path) {
    RuleSet rules(path, "");
    rules.read();
    return rules.problems();
}

void shuffle(model::Policy& policy, std::uint32_t seed) {
    for (auto& [key, group] : policy.groups) {
        std::shuffle(group.vecPolicy.begin(), group.vecPolicy.end(), std::mt19937(seed));
    }
}

TEST(DigestTest, IsTheOneOnThePage) {
    testfiles::write("/etc/tarn/one/namemsg", golden::message("namespace"));
    testfiles::write("/etc/tarn/one/x", golden::message("policy-condition"));
    EXPECT_EQ(digest("/etc/tarn/one/x") + "\n", block("digest policy-condition"));

    const std::string form = golden::bytesOf(block("hex policy-condition"));
    std::string length(4, '\0');
    length[3] = static_cast<char>(form.size());
    testfiles::write("/etc/tarn/bytes", "tarn rules 1\n" + length + form);
    const auto outcome = testprocess::run({"sha256sum", "/etc/tarn/bytes"});
    EXPECT_EQ(outcome.out.substr(0, 64) + "\n", block("digest policy-condition"));
}

TEST(DigestTest, SetWithoutRulesHasOne) {
    putSet(model::Policy{}, 1);
    EXPECT_EQ(digest(kSet) + "\n", block("digest none"));
    tarnrules::Sha256 sha;
    sha.add("tarn rules 1\n");
    EXPECT_EQ(sha.hex() + "\n", block("digest none"));
}

TEST(DigestTest, IsTheSameForAnyNumberOfThreads) {
    for (const std::uint32_t seed : {1U, 2U, 3U}) {
        const model::Policy policy = model::RandomPolicy(seed).policy();
        std::set<std::string> digests;
        for (const std::size_t threads : {1U, 2U, 3U, 7U, 16U, 64U}) {
            std::filesystem::remove_all(kFolder);
            putSet(policy, threads);
            digests.insert(digest(kSet));
        }
        EXPECT_EQ(digests.size(), 1U) << "seed " << seed;
    }
}

TEST(DigestTest, IsTheSameForAnyOrderOfRules) {
    model::Policy policy = model::RandomPolicy(5).policy();
    std::set<std::string> digests;
    std::set<std::string> bytes;
    for (const std::uint32_t seed : {1U, 2U, 3U, 4U}) {
        std::filesystem::remove_all(kFolder);
        putSet(policy, 2);
        digests.insert(digest(kSet));
        bytes.insert(testfiles::read(std::string(kSet) + "/" + testfiles::list(kSet).front()));
        shuffle(policy, seed);
    }
    EXPECT_EQ(digests.size(), 1U);
    EXPECT_GT(bytes.size(), 1U) << "the files were the same anyway";
}

TEST(DigestTest, NamesStandInPlaceOfNumbers) {
    const model::Policy policy = model::RandomPolicy(6).policy();
    putSet(policy, 1);
    putSet(renumbered(policy), 1, "/etc/tarn/b");
    EXPECT_EQ(digest(kSet), digest("/etc/tarn/b/set"));
}

TEST(DigestTest, DoesNotDependOnFileNames) {
    putSet(model::RandomPolicy(7).policy(), 3);
    const std::string before = digest(kSet);
    int number = 0;
    for (const std::string& name : testfiles::list(kSet)) {
        if (name.find("msg") == std::string::npos) {
            std::filesystem::rename(kSet + ("/" + name), kSet + ("/x" + std::to_string(++number)));
        }
    }
    ASSERT_GT(number, 3);
    EXPECT_EQ(digest(kSet), before);
}

TEST(DigestTest, DoesNotDependOnMemory) {
    putSet(model::RandomPolicy(8).policy(), 1);
    tarnsort::SortLimits limits;
    limits.memoryBytes = 32768;
    EXPECT_EQ(digest(kSet, limits), digest(kSet));
}

TEST(DigestTest, EveryRuleMattersAndHowOftenItOccurs) {
    const model::Policy policy = model::RandomPolicy(9).policy();
    putSet(policy, 1);
    const std::string whole = digest(kSet);
    int changes = 0;
    for (const auto& [key, group] : policy.groups) {
        for (std::size_t rule = 0; rule < group.vecPolicy.size(); rule += 2) {
            if (tarnmessage::recordsOfRule(group.vecPolicy[rule]) == 0) {
                continue;
            }
            for (const bool twice : {false, true}) {
                model::Policy other = policy;
                auto& rules = other.groups[key].vecPolicy;
                if (twice) {
                    rules.push_back(rules[rule]);
                } else {
                    rules.erase(rules.begin() + static_cast<std::ptrdiff_t>(rule));
                }
                std::filesystem::remove_all("/etc/tarn/b");
                putSet(other, 1, "/etc/tarn/b");
                EXPECT_NE(digest("/etc/tarn/b/set"), whole) << key << " " << rule;
                ++changes;
            }
        }
    }
    EXPECT_GT(changes, 6);
}

TEST(DigestTest, NamespaceWithoutANameIsAWarning) {
    putSet(model::RandomPolicy(10).policy(), 1);
    const std::string named = digest(kSet);
    std::filesystem::remove(std::string(kFolder) + "/scene_info");
    RuleSet rules(kSet, "");
    rules.read();
    EXPECT_THAT(rules.problems(), IsEmpty());
    EXPECT_THAT(rules.warnings(), ElementsAre("namespace " + std::to_string(model::crc("bare")) +
                                              " has no known name; its number stands in place of it"));
    EXPECT_NE(digestOf(rules), named);
}

TEST(DigestTest, NamespaceMessageThatChangesMeanwhileIsAProblem) {
    testfiles::write("/etc/tarn/one/beginmsg", golden::message("begin"));
    testfiles::write("/etc/tarn/one/namemsg", golden::message("namespace"));
    testfiles::write("/etc/tarn/one/x", golden::message("policy-condition"));
    testfiles::write("/etc/tarn/one/endmsg", golden::message("end"));
    RuleSet rules("/etc/tarn/one", "");
    std::string other = golden::message("namespace");
    other.replace(other.find("netmod:log"), 10, "netmod:say");
    testfiles::write("/etc/tarn/one/namemsg", other);
    rules.read();
    EXPECT_THAT(rules.problems(), ElementsAre("namemsg: was changed while the set was being read"));
    EXPECT_TRUE(rules.unreadable());
}

TEST(DigestTest, SideFilesAreTakenFromTheGivenFolder) {
    putSet(model::RandomPolicy(10).policy(), 1);
    const std::string named = digest(kSet);
    testfiles::makeDirectories("/etc/tarn/elsewhere");
    std::filesystem::rename(std::string(kFolder) + "/scene_info", "/etc/tarn/elsewhere/scene_info");
    RuleSet rules(kSet, "/etc/tarn/elsewhere");
    rules.read();
    EXPECT_THAT(rules.warnings(), IsEmpty());
    EXPECT_EQ(digestOf(rules), named);
}

TEST(DigestTest, MissingFramesAreWarnings) {
    putSet(model::RandomPolicy(11).policy(), 1);
    const std::string whole = digest(kSet);
    std::remove("/etc/tarn/a/set/beginmsg");
    std::remove("/etc/tarn/a/set/endmsg");
    RuleSet rules(kSet, "");
    rules.read();
    EXPECT_THAT(rules.problems(), IsEmpty());
    EXPECT_THAT(rules.warnings(), ElementsAre("beginmsg is missing", "endmsg is missing"));
    EXPECT_EQ(digestOf(rules), whole);
}

TEST(DigestTest, DamagedMessagesAreNamed) {
    putSet(model::RandomPolicy(12).policy(), 1);
    const std::vector<std::string> names = testfiles::list(kSet);
    const std::string policy = *std::find_if(
        names.begin(), names.end(), [](const std::string& name) { return name.find("msg") == std::string::npos; });
    const std::string path = std::string(kSet) + "/" + policy;
    std::string bytes = testfiles::read(path);
    bytes[20] = 'x';
    std::remove(path.c_str());
    testfiles::write(path, bytes);
    EXPECT_THAT(problems(kSet), ElementsAre(HasSubstr(policy + ": offset 20: wrong magic number")));
}

TEST(DigestTest, MissingNamespaceMessageIsAProblemWhereRulesCallFunctions) {
    putSet(model::RandomPolicy(12).policy(), 1);
    std::remove("/etc/tarn/a/set/namemsg");
    EXPECT_THAT(problems(kSet), testing::Contains(HasSubstr("did not announce")));
}

TEST(DigestTest, LinksAreWarnings) {
    putSet(model::RandomPolicy(12).policy(), 1);
    testfiles::link("endmsg", std::string(kSet) + "/zz");
    RuleSet rules(kSet, "");
    rules.read();
    EXPECT_THAT(rules.problems(), IsEmpty());
    EXPECT_THAT(rules.warnings(), ElementsAre(HasSubstr("symbolic link")));
}

TEST(DigestTest, PathThatCanNotBeReadIsNamed) {
    RuleSet rules("/etc/tarn/nowhere", "");
    rules.read();
    EXPECT_TRUE(rules.unreadable());
    EXPECT_THAT(rules.problems(), ElementsAre("can't be read: No such file or directory"));
}

TEST(DigestTest, RuleWhoseNamesAreTooLongIsNamed) {
    model::Policy policy = model::RandomPolicy(13).policy();
    const std::string longName(1000, 'f');
    policy.namespaces[0].second.push_back("netmod:" + longName);
    policy.numbers.functions[{"net", "netmod", longName}] = 4;
    PolicyNode rule = policy.groups.begin()->second.vecPolicy.front();
    rule.strNamespace = "net";
    rule.strGroup = "long";
    rule.strModuleName = "netmod";
    rule.vecExpr.clear();
    rule.vecSubjectId.resize(1);
    rule.vecObjectId.resize(1);
    rule.vecDoFunc.assign(50000, DoFuncNode{longName, {}});
    policy.groups.begin()->second.vecPolicy = {rule};
    putSet(policy, 1);
    EXPECT_THAT(problems(kSet), ElementsAre(EndsWith(
                                    ": record 0 at offset 20 is a rule of more than 16 MiB with its names written out; "
                                    "give its namespace and its functions fewer or shorter names")));
}

// Ten thousand records of one namespace, with this name.
void putRecordsOf(const std::string& name) {
    model::Numbers numbers;
    numbers.names[name] = stringToId("net");
    for (const char* frame : {"begin", "end"}) {
        testfiles::write(std::string(kSet) + "/" + frame + "msg", golden::message(frame));
    }
    testfiles::write(std::string(kSet) + "/namemsg", model::namespaceMessage(numbers, {{name, {"m:f"}}}));
    testfiles::write(std::string(kSet) + "/base_0_net_g_0", golden::plainMessage(10000, 1));
}

TEST(DigestTest, RuleWithoutNodesWhoseNamespaceIsTooLongIsNamed) {
    putRecordsOf("net");
    std::string scenes;
    for (int index = 0; index < 300; ++index) {
        scenes += std::to_string(stringToId("net")) + ":" + std::to_string(index) + std::string(60000, 'n') + "\n";
    }
    testfiles::write(std::string(kFolder) + "/scene_info", scenes);
    std::remove("/etc/tarn/a/set/namemsg");
    testfiles::write(std::string(kSet) + "/namemsg", model::namespaceMessage({}, {}));
    EXPECT_THAT(problems(kSet), ElementsAre(HasSubstr("base_0_net_g_0: record 0 at offset 20 is a rule of more than")));
}

// No file of this process gets longer while this is there.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t most) : handler_(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before_);
        const rlimit limit{most, before_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &before_);
        std::signal(SIGXFSZ, handler_);
    }

private:
    void (*handler_)(int);
    rlimit before_{};
};

// The forms together have a gigabyte.
TEST(DigestTest, LongNamesTakeNoTemporarySpace) {
    putRecordsOf(std::string(100000, 'n'));
    tarnsort::SortLimits limits;
    limits.memoryBytes = std::size_t{1} << 20U;
    const FileSizeLimit limit(2 * std::filesystem::file_size("/etc/tarn/a/set/base_0_net_g_0"));
    RuleSet rules(kSet, "");
    ASSERT_NO_THROW(rules.read(limits));
    EXPECT_THAT(rules.problems(), IsEmpty());
    std::uint64_t bytes = 0;
    for (std::string_view form; rules.next(form);) {
        bytes += form.size();
    }
    EXPECT_GT(bytes, 1000000000U);
    EXPECT_LT(std::filesystem::file_size("/etc/tarn/a/set/base_0_net_g_0"), bytes / 500);
}

// Collects the forms with all names written out.
class WholeForms : public tarnmessage::WalkVisitor {
public:
    explicit WholeForms(const tarnmessage::SetWalk& walk) : names_(book_, walk.functions()) {
        book_.attach(&walk.functions());
    }
    void onPolicy(const tarnmessage::PolicyRecordView& record) override {
        EXPECT_TRUE(tarnrules::writeForm(forms.emplace_back(), record, names_));
    }
    std::vector<std::string> forms;

private:
    tarnnames::NameBook book_;
    tarnrules::RuleNames names_;
};

TEST(DigestTest, IsThatOfTheFormsHoweverLongNamesAre) {
    constexpr std::uint32_t kRecords = 2000;
    constexpr std::uint32_t kNames = 90;
    putRecordsOf("net");
    model::Numbers numbers;
    model::Namespaces namespaces;
    std::string message = golden::plainMessage(kRecords, 1);
    for (std::uint32_t number = 0; number < kNames; ++number) {
        const std::string name = std::string(number, 'n') + (number % 2 == 0 ? "" : "a");
        numbers.names[name] = number % 3 == 0 ? 1 : number;  // some share a number
        namespaces.push_back({name, {"m:f"}});
    }
    constexpr std::size_t kRecord = 100;
    for (std::uint32_t record = 0; record < kRecords; ++record) {
        const std::size_t place = 20 + record * kRecord;
        // Equal but for their namespaces.
        message = golden::withWord(message, place + 12, 5);
        message = golden::withWord(message, place + 76, record % (kNames + 10));
    }
    std::remove("/etc/tarn/a/set/namemsg");
    std::remove("/etc/tarn/a/set/base_0_net_g_0");
    testfiles::write(std::string(kSet) + "/namemsg", model::namespaceMessage(numbers, namespaces));
    testfiles::write(std::string(kSet) + "/base_0_net_g_0", message);

    tarnmessage::SetWalk walk(kSet);
    WholeForms whole(walk);
    EXPECT_TRUE(walk.run(whole).sound());
    ASSERT_EQ(whole.forms.size(), kRecords);
    std::sort(whole.forms.begin(), whole.forms.end());
    tarnrules::Sha256 sha;
    sha.add("tarn rules 1\n");
    for (const std::string& form : whole.forms) {
        const std::uint32_t length = __builtin_bswap32(static_cast<std::uint32_t>(form.size()));
        sha.add({reinterpret_cast<const char*>(&length), sizeof length});
        sha.add(form);
    }
    RuleSet rules(kSet, "");
    rules.read();
    EXPECT_THAT(rules.problems(), IsEmpty());
    EXPECT_EQ(digestOf(rules), sha.hex());
}

}  // namespace
