// What people read of a message.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "MessageTools.h"
#include "support/AnswerTable.h"

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
