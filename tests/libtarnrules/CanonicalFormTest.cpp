// The canonical form is the one that the page lays down; it has everything that a record says, and nothing of the numbers
// that a set gives to names.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "RuleTools.h"
#include "libtarnmessage/MessageText.h"
#include "libtarnrules/RebuiltRecord.h"

namespace {

using namespace ruletools;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::Pair;

std::string withWord(std::string bytes, std::size_t offset, std::uint32_t word) {
    std::memcpy(bytes.data() + offset, &word, sizeof word);
    return bytes;
}

constexpr std::size_t kSubject = 32;  // in a message with one record
constexpr std::size_t kNameNumber = 96;

TEST(CanonicalFormTest, IsTheOneOnThePage) {
    Forms forms;
    const auto found = forms.of(golden::message("policy-condition"));
    ASSERT_TRUE(found);
    EXPECT_THAT(*found, ElementsAre(golden::bytesOf(block("hex policy-condition"))));
    EXPECT_THAT(forms.names.namelessNamespaces(), IsEmpty());
    EXPECT_THAT(forms.names.namelessFunctions(), IsEmpty());
}

// Whatever bit of a message changes, the kernel would refuse it, or it says something else.
TEST(CanonicalFormTest, EveryBitOfAMessageMatters) {
    for (const char* name : {"policy-plain", "policy-condition", "policy-actions", "policy-pairs"}) {
        const std::string message = golden::message(name);
        Forms forms;
        const auto original = forms.of(message);
        ASSERT_TRUE(original) << name;
        int taken = 0;
        for (std::size_t bit = 0; bit < message.size() * 8; ++bit) {
            std::string mutant = message;
            mutant[bit / 8] = static_cast<char>(static_cast<unsigned char>(mutant[bit / 8]) ^ (1U << (bit % 8)));
            const auto found = forms.of(mutant);
            if (found) {
                ++taken;
                EXPECT_NE(*found, *original) << name << ", bit " << bit;
            }
        }
        EXPECT_GT(taken, 100) << name << ": hardly any mutant is sound";
    }
}

TEST(CanonicalFormTest, OrderOfTheBytesIsThatOfTheNumbers) {
    Forms forms;
    std::vector<std::string> found;
    for (const std::uint32_t subject : {0x12U, 0x0112U, 0x01000000U, 0x80000000U}) {
        found.push_back(forms.of(withWord(golden::message("policy-plain"), kSubject, subject))->front());
    }
    EXPECT_TRUE(std::is_sorted(found.begin(), found.end()));
}

TEST(CanonicalFormTest, NumberOfANamespaceDoesNotMatterWhereItsNameIsKnown) {
    tarnmessage::FunctionTable announced;
    announced.add(7, {"net", {"netmod:log", "netmod:check"}});
    tarnnames::NameBook book;
    book.attach(&announced);
    Forms usual;
    Forms other;
    other.names = tarnrules::RuleNames(book, announced);
    // Functions 1 and 2 have changed places.
    std::string message = withWord(golden::message("policy-actions"), kNameNumber, 7);
    message = withWord(withWord(message, 128, 1), 178, 2);
    tarnmessage::ReadContext context;
    ASSERT_FALSE(tarnmessage::parseMessage(message, context, other));
    EXPECT_EQ(other.forms, *usual.of(golden::message("policy-actions")));
}

TEST(CanonicalFormTest, NamespacesThatShareANumberAllStandInIt) {
    tarnmessage::FunctionTable announced;
    announced.add(7, {"twin", {"m:f", "m:log"}});
    announced.add(7, {"net", {"m:g", "m:log"}});
    tarnnames::NameBook book;
    book.attach(&announced);
    Forms forms;
    forms.names = tarnrules::RuleNames(book, announced);
    tarnmessage::ReadContext context;
    ASSERT_FALSE(
        tarnmessage::parseMessage(withWord(golden::message("policy-actions"), kNameNumber, 7), context, forms));
    EXPECT_EQ(forms.forms.front().substr(56, 19),
              golden::bytesOf("00 00 00 02  00 00 00 03 6e 65 74  00 00 00 04 74 77 69 6e"));
    EXPECT_THAT(forms.names.namelessFunctions(), ElementsAre(Pair(7, 1)));
    EXPECT_THAT(tarnrules::RebuiltRecord(forms.forms.front()).namespaceNames(), ElementsAre("net", "twin"));
}

TEST(CanonicalFormTest, NumbersWithoutNamesStandAsTheyAre) {
    Forms forms;
    tarnmessage::ReadContext context;
    ASSERT_FALSE(
        tarnmessage::parseMessage(withWord(golden::message("policy-actions"), kNameNumber, 7), context, forms));
    EXPECT_THAT(forms.names.namelessNamespaces(), ElementsAre(7));
    EXPECT_THAT(forms.names.namelessFunctions(), ElementsAre(Pair(7, 1), Pair(7, 2)));
    const std::string none = golden::bytesOf("00 00 00 00  00 00 00 07");
    EXPECT_EQ(forms.forms.front().substr(56, 8), none);
    EXPECT_EQ(tarnrules::identityOf(forms.forms.front()).size(), 64U);
}

TEST(CanonicalFormTest, IdentityEndsBehindTheNamespace) {
    Forms forms;
    for (const char* name : {"policy-plain", "policy-condition", "policy-actions"}) {
        const std::string form = forms.of(golden::message(name))->front();
        EXPECT_EQ(tarnrules::identityOf(form), form.substr(0, 67)) << name;
    }
}

// Sixty thousand calls of a function whose name has a thousand bytes.
TEST(CanonicalFormTest, AFormThatWouldBeTooLongIsRefused) {
    tarnmessage::FunctionTable announced;
    announced.add(7, {"net", {"m:" + std::string(1000, 'f')}});
    tarnnames::NameBook book;
    book.attach(&announced);
    tarnrules::RuleNames names(book, announced);
    std::string action(20, '\0');
    action = withWord(withWord(action, 0, 4), 8, 1);
    std::string actions;
    for (int i = 0; i < 60000; ++i) {
        actions += action;
    }
    tarnmessage::PolicyRecordView record;
    record.node.ext[1] = 7;
    record.node.actionCount = 60000;
    record.actionBytes = tarnmessage::ByteCursor(actions, 0, actions.size());
    std::string form;
    EXPECT_FALSE(tarnrules::writeForm(form, record, names));
    EXPECT_LT(form.size(), tarnrules::kMostFormBytes + 2000);
    record.node.actionCount = 1000;
    EXPECT_TRUE(tarnrules::writeForm(form, record, names));
}

// Calls of each function of each namespace, and the forms that its keys stand for.
struct Keyed {
    std::string form;
    std::string key;

    static std::vector<Keyed> of(const tarnmessage::FunctionTable& announced) {
        tarnnames::NameBook book;
        book.attach(&announced);
        tarnrules::RuleNames names(book, announced);
        std::vector<Keyed> all;
        for (const std::uint32_t number : announced.numbers()) {
            for (std::uint32_t function = 0; function <= announced.functionCount(number); ++function) {
                std::string actions = withWord(withWord(std::string(20, '\0'), 0, 4), 8, function);
                tarnmessage::PolicyRecordView record;
                record.node.ext[1] = number;
                record.node.actionCount = 1;
                record.actionBytes = tarnmessage::ByteCursor(actions, 0, actions.size());
                Keyed& keyed = all.emplace_back();
                EXPECT_TRUE(tarnrules::writeForm(keyed.form, record, names));
                EXPECT_TRUE(tarnrules::writeKey(keyed.key, record, names));
                std::string again;
                tarnrules::writeFormOfKey(again, keyed.key, names);
                EXPECT_EQ(again, keyed.form);
            }
        }
        return all;
    }
};

// Names around the length from which on something else stands for them, alike at the start, under several numbers, and
// numbers with several of them.
TEST(KeyTest, OrderAndEqualityOfKeysAreThoseOfForms) {
    std::vector<std::string> names;
    for (const std::size_t length : {1U, 3U, 28U, 29U, 31U, 32U, 33U, 34U, 60U, 3000U}) {
        for (const char* end : {"", "a", "b"}) {
            names.push_back(std::string(length, 'n') + end);
        }
    }
    tarnmessage::FunctionTable announced;
    std::uint32_t number = 100;
    for (const std::string& name : names) {
        announced.add(--number, {name, names});
        announced.add(200 + number, {name, {}});
        announced.add(300 + number, {name, {}});
        announced.add(300 + number, {names[number % names.size()], {}});
        announced.add(300 + number, {"n", {}});
    }
    const std::vector<Keyed> all = Keyed::of(announced);
    ASSERT_GT(all.size(), 900U);
    for (std::size_t left = 0; left < all.size(); left += 3) {
        for (std::size_t right = 0; right < all.size(); ++right) {
            const int forms = all[left].form.compare(all[right].form);
            const int keys = all[left].key.compare(all[right].key);
            ASSERT_EQ(forms < 0, keys < 0) << left << " " << right;
            ASSERT_EQ(forms == 0, keys == 0) << left << " " << right;
        }
    }
}

TEST(KeyTest, DoesNotGrowWithTheNames) {
    tarnmessage::FunctionTable announced;
    announced.add(7, {std::string(100000, 'n'), {"m:" + std::string(100000, 'f')}});
    for (const Keyed& keyed : Keyed::of(announced)) {
        EXPECT_GT(keyed.form.size(), 100000U);
        EXPECT_LT(keyed.key.size(), 200U);
    }
}

TEST(KeyTest, OfAFormThatWouldBeTooLongIsRefused) {
    for (const std::size_t more : {0U, 1U}) {
        tarnmessage::FunctionTable announced;
        constexpr std::size_t kRest = 56 + 8 + 24 + 8;
        announced.add(7, {std::string(tarnrules::kMostFormBytes - kRest + more, 'n'), {}});
        tarnnames::NameBook book;
        book.attach(&announced);
        tarnrules::RuleNames names(book, announced);
        tarnmessage::PolicyRecordView record;
        record.node.ext[1] = 7;
        std::string key;
        EXPECT_EQ(tarnrules::writeKey(key, record, names), more == 0);
        EXPECT_EQ(tarnrules::writeForm(key, record, names), more == 0);
    }
}

// What a form holds can be shown again, and gives the same form.
TEST(RebuiltRecordTest, SaysWhatTheRecordSaid) {
    class Comparison : public tarnmessage::WalkVisitor {
    public:
        explicit Comparison(const tarnmessage::SetWalk& walk) : functions_(walk.functions()) {}
        void onPolicy(const tarnmessage::PolicyRecordView& record) override {
            book_.attach(&functions_);
            tarnrules::RuleNames names(book_, functions_);
            std::string form;
            ASSERT_TRUE(tarnrules::writeForm(form, record, names));
            const tarnrules::RebuiltRecord rebuilt(form);
            if (functions_.names(record.nameId()).empty()) {
                EXPECT_THAT(rebuilt.namespaceNames(), IsEmpty());
                EXPECT_EQ(rebuilt.view().nameId(), record.nameId());
                return;
            }
            EXPECT_THAT(rebuilt.namespaceNames(), ElementsAreArray(functions_.names(record.nameId())));
            const std::string whole = recordLine(record, functions_);
            const std::string again = recordLine(rebuilt.view(), rebuilt.functions());
            EXPECT_EQ(again.substr(again.find(" type=")), whole.substr(whole.find(" type=")));
            ++compared;
        }
        int compared = 0;

    private:
        const tarnmessage::FunctionTable& functions_;
        tarnnames::NameBook book_;
    };
    putSet(model::RandomPolicy(4).policy(), 2);
    tarnmessage::SetWalk walk(kSet);
    Comparison comparison(walk);
    EXPECT_TRUE(walk.run(comparison).sound());
    EXPECT_GT(comparison.compared, 50);
}

TEST(RebuiltRecordTest, NamelessFunctionsAreShownByTheirNumbers) {
    Forms forms;
    tarnmessage::ReadContext context;
    ASSERT_FALSE(
        tarnmessage::parseMessage(withWord(golden::message("policy-actions"), kNameNumber, 7), context, forms));
    const tarnrules::RebuiltRecord rebuilt(forms.forms.front());
    EXPECT_EQ(actionsText(rebuilt.view(), rebuilt.functions()), "function#2(\"denied\", 2), function#1()");
}

}  // namespace
