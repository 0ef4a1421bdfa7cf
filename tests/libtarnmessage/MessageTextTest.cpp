// What people read of a message.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MessageTools.h"
#include "support/AnswerTable.h"
#include "support/LongRecord.h"

using testing::EndsWith;
using testing::HasSubstr;

namespace {

class Texts : public tarnmessage::MessageVisitor {
public:
    explicit Texts(const tarnmessage::FunctionTable& functions) : functions_(functions) {}
    void onPolicy(const tarnmessage::PolicyRecordView& record) override {
        text += recordText(record, functions_);
        line += recordLine(record, functions_);
    }
    void onNamespace(const tarnmessage::NamespaceView& block) override { text += namespaceText(block); }
    std::string text;
    std::string line;

private:
    const tarnmessage::FunctionTable& functions_;
};

std::string textOf(const std::string& bytes) {
    const messagetools::Announced announced;
    Texts texts(announced.functions);
    EXPECT_FALSE(messagetools::readMessage(bytes, texts));
    return texts.text;
}

// The three texts of a record that calls functions with long names, each with the number of nodes that it leaves out.
class LongTexts : public tarnmessage::MessageVisitor {
public:
    explicit LongTexts(std::size_t nameBytes) {
        EXPECT_FALSE(tarnmessage::parseMessage(longrecord::namespaceMessage(nameBytes), {}, *this));
        EXPECT_FALSE(tarnmessage::parseMessage(longrecord::policyMessage(), {}, *this));
    }
    void onNamespace(const tarnmessage::NamespaceView& block) override { functions_.add(block); }
    void onPolicy(const tarnmessage::PolicyRecordView& record) override {
        infix = conditionInfixText(record, functions_, &infixOmitted);
        prefix = conditionPrefixText(record, functions_, &prefixOmitted);
        actions = actionsText(record, functions_, &actionsOmitted);
        line = recordLine(record, functions_);
    }

    std::string infix;
    std::string prefix;
    std::string actions;
    std::string line;
    std::uint64_t infixOmitted = 1;
    std::uint64_t prefixOmitted = 1;
    std::uint64_t actionsOmitted = 1;

private:
    tarnmessage::FunctionTable functions_;
};

std::string lineOf(const std::string& bytes) {
    const tarnmessage::FunctionTable nothingAnnounced;
    Texts texts(nothingAnnounced);
    EXPECT_FALSE(messagetools::readMessage(bytes, texts));
    return texts.line;
}

}  // namespace

TEST(MessageText, RecordOnSeveralLinesNamesEveryField) {
    EXPECT_EQ(textOf(golden::message("policy-condition")),
              "policy record at offset 20, 219 bytes\n"
              "  policy type  1 (ordinary object)\n"
              "  subject      0x11:0x12:0x13\n"
              "  object       0x21:0x22:0x23\n"
              "  class        1\n"
              "  permission   0x2\n"
              "  attributes   A 0, B 0\n"
              "  namespace    net(4075427327)\n"
              "  other words  0, 0, 0, 0\n"
              "  condition    (netmod:check(7, \"ab\") op2 not net:usb_block[1])\n"
              "  as stored    op2 netmod:check(7, \"ab\") not net:usb_block[1]\n");
}

TEST(MessageText, RecordWithoutConditionHasNoLineForIt) {
    EXPECT_EQ(textOf(golden::message("policy-plain")).find("condition"), std::string::npos);
    EXPECT_THAT(textOf(golden::message("policy-special")), HasSubstr("policy type  2 (special object)"));
    EXPECT_THAT(textOf(golden::message("policy-actions")),
                HasSubstr("  actions      netmod:log(\"denied\", 2), netmod:check()\n"));
}

TEST(MessageText, NamespaceListsItsFunctions) {
    EXPECT_EQ(textOf(golden::message("namespace")),
              "namespace \"net\", number 4075427327\n  function 1  \"netmod:check\"\n  function 2  \"netmod:log\"\n");
}

TEST(MessageText, FunctionsWithoutANameShowTheirNumber) {
    EXPECT_THAT(lineOf(golden::message("policy-condition")), HasSubstr("condition={op2 function#1(7, \"ab\") not"));
    EXPECT_THAT(lineOf(golden::message("policy-condition")), HasSubstr("namespace=4075427327 "));
}

TEST(MessageText, LineStaysALineWhateverTheStringsHold) {
    const std::string line = lineOf(
        answertable::buildMessage({"policy-condition", "bytes 184 = 0a 22", "bytes 230 = 20", "bytes 231 = ff"}));
    EXPECT_THAT(line, HasSubstr("function#1(7, \"\\x0a\\x22\")"));
    EXPECT_THAT(line, HasSubstr("not net:\\x20\\xffb_block[1]"));
    EXPECT_EQ(line.find('\n'), std::string::npos);
}

TEST(MessageText, BytesAreEscapedWhereTheyAreNotPrintable) {
    EXPECT_EQ(tarnmessage::quoted("a b\\"), "\"a b\\x5c\"");
    EXPECT_EQ(tarnmessage::quoted(std::string("\0\x7f\x80~", 4)), "\"\\x00\\x7f\\x80~\"");
    EXPECT_EQ(tarnmessage::escaped("a b"), "a\\x20b");
    EXPECT_EQ(tarnmessage::quoted(""), "\"\"");
}

TEST(MessageText, TypesHaveNames) {
    EXPECT_EQ(tarnmessage::messageTypeText(1), "begin");
    EXPECT_EQ(tarnmessage::messageTypeText(2), "end");
    EXPECT_EQ(tarnmessage::messageTypeText(3), "policy");
    EXPECT_EQ(tarnmessage::messageTypeText(4), "namespace");
    EXPECT_EQ(tarnmessage::messageTypeText(5), "type 5");
}

TEST(MessageText, ParametersOfANodeThatIsNoCallAreShown) {
    // The operand 13 of the golden message with an integer parameter of its own: no call, but the record allows it.
    std::string message = golden::message("policy-condition");
    message = answertable::buildMessage({"policy-condition", "word 140 = 13", "word 148 = 0"});
    EXPECT_THAT(lineOf(message), HasSubstr("op2 operand13(7, \"ab\") not"));
}

TEST(MessageText, TextsEndBehindTheNodeThatIsTooMuch) {
    const LongTexts texts(longrecord::kNameBytes);
    const std::string call = "ff... (59745 more bytes, function#1)()";
    const std::size_t callBytes = tarnmessage::kMostNameBytes + call.size() - 2;
    const auto whole = [](std::size_t bytes) { return (tarnmessage::kMostExpressionText + bytes - 1) / bytes; };
    EXPECT_EQ(texts.actionsOmitted, longrecord::kActions - whole(callBytes + 2));
    EXPECT_EQ(texts.prefixOmitted, 2 * longrecord::kPairs + 1 - 2 * whole(callBytes + 5));
    EXPECT_EQ(texts.infixOmitted, 2 * longrecord::kPairs + 1 - 2 * whole(callBytes + 6));
    EXPECT_THAT(texts.actions, EndsWith(call + " ... (" + std::to_string(texts.actionsOmitted) + " more)"));
    EXPECT_THAT(texts.prefix, EndsWith(call + " ... (" + std::to_string(texts.prefixOmitted) + " more)"));
    EXPECT_THAT(texts.infix, EndsWith(call + " op2  ... (" + std::to_string(texts.infixOmitted) + " more)"));
    for (const std::string* text : {&texts.infix, &texts.prefix, &texts.actions}) {
        EXPECT_LT(text->size(), tarnmessage::kMostExpressionText + longrecord::kNameBytes + 100);
    }
    EXPECT_LT(texts.line.size(), 2 * (tarnmessage::kMostExpressionText + longrecord::kNameBytes + 100) + 1000);
}

TEST(MessageText, LongNamesAreCutAndSaySo) {
    const std::string most(tarnmessage::kMostNameBytes, 'n');
    EXPECT_EQ(tarnmessage::shownName(most), most);
    EXPECT_EQ(tarnmessage::shownName(most + " b"), most + "... (2 more bytes)");
    EXPECT_EQ(tarnmessage::shownQuoted(most + "b"), "\"" + most + "\"... (1 more bytes)");
    EXPECT_EQ(tarnmessage::shownName("... (2 more bytes)"), "...\\x20(2\\x20more\\x20bytes)") << "no name looks cut";
}

TEST(MessageText, CutDividesNoCharacter) {
    const std::string bytes(tarnmessage::kMostNameBytes - 2, 'n');
    EXPECT_EQ(tarnmessage::nameStart(bytes + "\xC3\xB6z"), bytes + "\xC3\xB6");
    EXPECT_EQ(tarnmessage::nameStart(bytes + "n\xC3\xB6"), bytes + "n");
    EXPECT_EQ(tarnmessage::nameStart(bytes + "\xE2\x82\xAC"), bytes);
    EXPECT_EQ(tarnmessage::nameStart(bytes.substr(1) + "\xF0\x9F\x98\x80"), bytes.substr(1));
    EXPECT_EQ(tarnmessage::nameStart(std::string(300, '\x80')).size(), tarnmessage::kMostNameBytes - 3);
}

TEST(MessageText, NamesOfOneNumberEndBehindTheOneThatIsTooMuch) {
    const std::string most(tarnmessage::kMostNameBytes, 'n');
    using Names = std::vector<std::string>;
    EXPECT_EQ(tarnmessage::shownNames(Names{}), "");
    EXPECT_EQ(tarnmessage::shownNames(Names{"", "a b"}), "\"\" or a\\x20b");
    EXPECT_EQ(tarnmessage::shownNames(Names{"a", most, "b", "c"}), "a or " + most + " ... (2 more)");
    EXPECT_EQ(tarnmessage::shownNames(Names{most.substr(1), "b", "c"}), most.substr(1) + " or b ... (1 more)");
}

TEST(MessageText, LargestRecordWithNamesOfACommonLengthIsWhole) {
    const LongTexts texts(100);
    EXPECT_EQ(texts.infixOmitted + texts.prefixOmitted + texts.actionsOmitted, 0U);
    for (const std::string* text : {&texts.infix, &texts.prefix, &texts.actions, &texts.line}) {
        EXPECT_EQ(text->find("more)"), std::string::npos);
    }
}
