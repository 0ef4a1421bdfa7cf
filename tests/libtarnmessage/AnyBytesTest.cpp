// The reader takes any bytes: nothing crashes, nothing hangs, and no two messages mean the same.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <random>

#include "MessageTools.h"
#include "support/Golden.h"

using messagetools::readMessage;
using messagetools::withTrueLength;
using messagetools::withWord;

namespace {

// Everything that a message says, as text.
class Content : public tarnmessage::MessageVisitor {
public:
    void onHeader(const kernelmsg::MessageHeader& header) override {
        text += tarnmessage::messageTypeText(header.type) + " " + std::to_string(header.recordCount) + "\n";
    }
    void onNamespace(const tarnmessage::NamespaceView& block) override { text += namespaceText(block); }
    void onPolicy(const tarnmessage::PolicyRecordView& record) override {
        text += recordLine(record, nothingAnnounced) + "\n";
    }
    tarnmessage::FunctionTable nothingAnnounced;
    std::string text;
};

std::string contentOf(const std::string& bytes) {
    Content content;
    EXPECT_FALSE(readMessage(bytes, content));
    return content.text;
}

// A policy message around one record with this condition, given as nodes without parameters.
std::string messageWithCondition(const std::vector<std::uint32_t>& types) {
    const std::string plain = golden::message("policy-plain");
    std::string nodes;
    for (const std::uint32_t type : types) {
        nodes += withWord(std::string(20, '\0'), 0, type);
    }
    std::string message = withWord(plain, 112, static_cast<std::uint32_t>(types.size()));
    return withTrueLength(message.insert(120, nodes));
}

}  // namespace

TEST(AnyBytes, EveryFlippedBitIsRefusedOrMeansSomethingElse) {
    std::size_t refused = 0;
    for (const char* name : golden::kNames) {
        const std::string message = golden::message(name);
        const std::string before = contentOf(message);
        for (std::size_t bit = 0; bit < message.size() * 8; ++bit) {
            std::string flipped = message;
            flipped[bit / 8] = static_cast<char>(static_cast<unsigned char>(flipped[bit / 8]) ^ (1U << (bit % 8)));
            Content content;
            if (readMessage(flipped, content)) {
                ++refused;
            } else {
                EXPECT_NE(content.text, before) << name << ", bit " << bit % 8 << " of byte " << bit / 8;
            }
        }
    }
    EXPECT_GT(refused, 0U);
}

TEST(AnyBytes, EveryTruncationIsRefused) {
    for (const char* name : golden::kNames) {
        const std::string message = golden::message(name);
        for (std::size_t length = 0; length < message.size(); ++length) {
            const std::string cut = message.substr(0, length);
            EXPECT_TRUE(readMessage(cut)) << name << " at " << length;
            if (length >= 20) {
                EXPECT_TRUE(readMessage(withTrueLength(cut))) << name << " at " << length << ", with the true length";
            }
        }
    }
}

TEST(AnyBytes, EveryRepeatedOrMissingByteIsRefusedOrMeansSomethingElse) {
    for (const char* name : golden::kNames) {
        const std::string message = golden::message(name);
        const std::string before = contentOf(message);
        for (std::size_t offset = 0; offset < message.size(); ++offset) {
            const std::string twice = std::string(message).insert(offset, 1, message[offset]);
            const std::string missing = std::string(message).erase(offset, 1);
            for (const std::string& changed : {twice, missing}) {
                Content content;
                if (changed.size() >= 20 && !readMessage(withTrueLength(changed), content)) {
                    EXPECT_NE(content.text, before) << name << " at " << offset;
                }
            }
        }
    }
}

TEST(AnyBytes, EveryWordAtItsExtremesIsAnswered) {
    for (const char* name : golden::kNames) {
        const std::string message = golden::message(name);
        const std::string before = contentOf(message);
        for (std::size_t offset = 0; offset + 4 <= message.size(); ++offset) {
            for (const std::uint32_t word : {0U, 1U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
                const std::string changed = withWord(message, offset, word);
                Content content;
                if (changed != message && !readMessage(changed, content)) {
                    EXPECT_NE(content.text, before) << name << " with " << word << " at " << offset;
                }
            }
        }
    }
}

TEST(AnyBytes, RandomBytesAreAnswered) {
    std::mt19937 random(4711);
    for (int round = 0; round < 20000; ++round) {
        std::string bytes(random() % 400, '\0');
        for (char& byte : bytes) {
            byte = static_cast<char>(random());
        }
        if (bytes.size() >= 20) {
            bytes = withTrueLength(withWord(withWord(bytes, 0, 1), 16, 1 + random() % 4));
        }
        EXPECT_TRUE(readMessage(bytes)) << "random bytes are no message";
    }
}

TEST(AnyBytes, RandomChangesOfGoldenMessagesAreAnswered) {
    std::vector<std::string> messages;
    std::vector<std::string> contents;
    for (const char* name : golden::kNames) {
        messages.push_back(golden::message(name));
        contents.push_back(contentOf(messages.back()));
    }
    std::mt19937 random(4712);
    std::size_t taken = 0;
    for (int round = 0; round < 20000; ++round) {
        const std::size_t chosen = random() % messages.size();
        std::string message = messages[chosen];
        for (auto changes = 1 + random() % 3; changes > 0; --changes) {
            message[random() % message.size()] = static_cast<char>(random());
        }
        Content content;
        if (!readMessage(message, content)) {
            ++taken;
            EXPECT_TRUE(message == messages[chosen] || content.text != contents[chosen]);
        }
    }
    EXPECT_GT(taken, 100U) << "some changes only give another rule";
}

TEST(AnyBytes, ConditionsAreTakenExactlyWhenTheyAreOneTree) {
    // Every sequence of up to six nodes of an operand, NOT and a binary operator, against a recursive reading.
    struct Recursive {
        const std::vector<std::uint32_t>& types;
        // The place after the expression at this place, or a place beyond the end.
        std::size_t after(std::size_t place) const {
            if (place >= types.size()) {
                return types.size() + 1;
            }
            const std::size_t next = place + 1;
            return types[place] == 1 ? after(next) : types[place] == 2 ? after(after(next)) : next;
        }
    };
    constexpr std::array<std::uint32_t, 3> kTypes{13, 1, 2};
    for (std::size_t length = 1; length <= 6; ++length) {
        std::size_t sequences = 1;
        for (std::size_t power = 0; power < length; ++power) {
            sequences *= kTypes.size();
        }
        for (std::size_t number = 0; number < sequences; ++number) {
            std::vector<std::uint32_t> types;
            for (std::size_t rest = number; types.size() < length; rest /= kTypes.size()) {
                types.push_back(kTypes[rest % kTypes.size()]);
            }
            const bool isTree = Recursive{types}.after(0) == types.size();
            EXPECT_EQ(!readMessage(messageWithCondition(types)), isTree) << testing::PrintToString(types);
        }
    }
}

TEST(AnyBytes, EveryBinaryOperatorTakesTwoOperandsAndEveryOperandNone) {
    for (const std::uint32_t type : {2U, 3U, 5U, 6U, 7U, 8U, 9U, 10U}) {
        EXPECT_FALSE(readMessage(messageWithCondition({type, 13, 13}))) << type;
        EXPECT_TRUE(readMessage(messageWithCondition({type, 13}))) << type;
    }
    for (const std::uint32_t type : {0U, 11U, 13U, 14U, 0x80000000U, 0xFFFFFFFFU}) {
        EXPECT_FALSE(readMessage(messageWithCondition({type}))) << type;
        EXPECT_TRUE(readMessage(messageWithCondition({type, 13}))) << type;
    }
    EXPECT_FALSE(readMessage(messageWithCondition({1, 13})));
    EXPECT_TRUE(readMessage(messageWithCondition({1, 13, 13})));
}

TEST(AnyBytes, DeepestConditionIsReadAndPrintedInNoTime) {
    // As many nodes as a message holds, each the operand of the one before, or two operands for each operator.
    constexpr std::size_t kNodes = (1048576 - 124) / 20;
    std::vector<std::uint32_t> chain(kNodes, 1);
    chain.back() = 13;
    constexpr std::size_t kOperators = (kNodes - 1) / 2;
    std::vector<std::uint32_t> leftDeep(kOperators, 2);
    leftDeep.resize(2 * kOperators + 1, 13);
    for (const std::vector<std::uint32_t>& types : {chain, leftDeep}) {
        class Printer : public tarnmessage::MessageVisitor {
        public:
            void onPolicy(const tarnmessage::PolicyRecordView& record) override {
                infix = conditionInfixText(record, nothingAnnounced);
                prefix = conditionPrefixText(record, nothingAnnounced);
            }
            tarnmessage::FunctionTable nothingAnnounced;
            std::string infix;
            std::string prefix;
        } printer;
        const auto start = std::chrono::steady_clock::now();
        EXPECT_FALSE(readMessage(messageWithCondition(types), printer));
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
        EXPECT_GT(printer.infix.size(), types.size());
        EXPECT_GT(printer.prefix.size(), types.size());
    }
}

TEST(AnyBytes, FullestMessageIsTaken) {
    // 1 MiB to the last byte: 10,000 plain records, and one more parameter that fills the rest.
    const std::string plain = golden::message("policy-plain");
    std::string message = plain.substr(0, 20);
    for (int record = 0; record < 9999; ++record) {
        message += plain.substr(20, 100);
    }
    std::string last = golden::message("policy-actions");
    last = withWord(last.substr(20, last.size() - 24), 96, 1);  // one action
    last.resize(120 + 8);                                       // ... with one string
    last = withWord(last, 112, 1);
    const std::size_t text = 1048576 - 4 - message.size() - last.size();
    last = withWord(last, 124, static_cast<std::uint32_t>(text));
    message += last + std::string(text, 'x') + plain.substr(120);
    message = withTrueLength(withWord(message, 12, 10000));
    ASSERT_EQ(message.size(), 1048576U);
    EXPECT_FALSE(readMessage(message));
}
