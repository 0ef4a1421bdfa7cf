// Where the megabyte ends: every append of a record at the exact byte where it no longer fits.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "support/Bytes.h"
#include "support/CompilerManager.h"
#include "support/LogLines.h"
#include "support/RandomPolicy.h"

namespace {

using model::Piece;
using testbytes::same;
using testlog::Line;

// What must come out with `remaining` bytes left: the appends that fit, and the lines about the first that doesn't.
struct Expected {
    std::string bytes;
    unsigned int status = 0;
    std::vector<Line> lines;
};

Expected expect(const std::vector<Piece>& pieces, unsigned long remaining) {
    Expected expected;
    for (const Piece& piece : pieces) {
        if (expected.bytes.size() + piece.bytes.size() > remaining) {
            expected.status = 1;
            expected.lines = {{1, "Failed to copy " + piece.field + ", buffer full"}};
            if (piece.place == Piece::Place::kCondition) {
                expected.lines.push_back({1, "####ERROR: in func makeSinglePolicy, makeSingleExprPolicy error"});
            } else if (piece.place == Piece::Place::kAction) {
                expected.lines.push_back({1, "####ERROR: in func makeSinglePolicy, makeSingleDoFuncPolicy error"});
            }
            break;
        }
        expected.bytes += piece.bytes;
    }
    return expected;
}

class RecordBufferFull : public testing::Test {
protected:
    // Encodes at every number of free bytes from none to one more than the record needs.
    void walk(CompilerManager& manager, const model::Numbers& numbers, const PolicyNode& rule) {
        const TARN_ID subject = samples::id(1, 2, 3);
        const TARN_ID object = samples::id(~std::uint64_t{0}, 5, 6);
        const std::vector<Piece> pieces = model::pieces(numbers, rule, subject, object);
        const std::size_t size = model::record(numbers, rule, subject, object).size();
        for (unsigned long remaining = 0; remaining <= size + 1; ++remaining) {
            testlog::clear();
            std::fill(buffer_.storage.begin(), buffer_.storage.end(), '\x11');
            buffer_.start = OutputBuffer::kCapacity - remaining;
            buffer_.used = buffer_.start;
            buffer_.cursor = buffer_.storage.data() + buffer_.used;
            const Expected expected = expect(pieces, remaining);
            ASSERT_EQ(manager.makeSinglePolicy(rule, subject, object, buffer_.cursor, buffer_.used), expected.status)
                << remaining;
            ASSERT_EQ(testlog::lines(), expected.lines) << remaining;
            ASSERT_TRUE(same(expected.bytes, buffer_.appended())) << remaining;
            ASSERT_TRUE(buffer_.consistent()) << remaining;
            // Neither what stood there before nor what follows is touched.
            ASSERT_EQ(buffer_.storage.find_first_not_of('\x11'), remaining >= 4 ? buffer_.start : std::string::npos);
            ASSERT_EQ(buffer_.storage.substr(buffer_.used),
                      std::string(OutputBuffer::kCapacity - buffer_.used, '\x11'));
        }
    }

    OutputBuffer buffer_;
};

TEST_F(RecordBufferFull, EveryAppendOfARuleWithEverythingAtEveryByte) {
    CompilerManager manager(samples::numbers());
    const PolicyNode rule = samples::ruleWithEverything();
    const std::vector<Piece> pieces = model::pieces(samples::numbers(), rule, samples::id(1), samples::id(2));
    // The walk is worth something only when the rule has all kinds of appends.
    for (const char* field : {"magic_number", "policy_node", "expr", "dynamic name", "expr_para_info",
                              "funcparam.iData", "funcparam.strData", "expr_node"}) {
        EXPECT_TRUE(std::any_of(pieces.begin(), pieces.end(), [&](const Piece& piece) { return piece.field == field; }))
            << field;
    }
    walk(manager, samples::numbers(), rule);
}

TEST_F(RecordBufferFull, RandomRulesAtEveryByte) {
    model::RandomPolicy random(20240501);
    model::Shape shape;
    shape.keys = 0;
    shape.conditionDepth = 2;
    const model::Policy policy = random.policy(shape);
    CompilerManager manager(policy.numbers);
    for (int round = 0; round < 3; ++round) {
        walk(manager, policy.numbers, random.rule(policy, shape));
    }
}

TEST_F(RecordBufferFull, NinetyNineBytesTakeTheMagicNumberAndThenRefuseTheNode) {
    CompilerManager manager(samples::numbers());
    OutputBuffer buffer(99);
    EXPECT_EQ(manager.makeSinglePolicy(samples::rule(), samples::id(1), samples::id(2), buffer.cursor, buffer.used),
              1U);
    EXPECT_TRUE(same(model::fromHex("a5 a5 5a 5a"), buffer.appended()));
    EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "Failed to copy policy_node, buffer full"}}));
}

TEST_F(RecordBufferFull, ARecordMayFillTheMegabyteToTheLastByte) {
    CompilerManager manager(samples::numbers());
    OutputBuffer buffer(100);
    EXPECT_EQ(manager.makeSinglePolicy(samples::rule(), samples::id(1), samples::id(2), buffer.cursor, buffer.used),
              0U);
    EXPECT_EQ(buffer.used, OutputBuffer::kCapacity);
}

TEST_F(RecordBufferFull, AnEmptyStringFitsIntoAFullBuffer) {
    CompilerManager manager(samples::numbers());
    OutputBuffer buffer(28);
    EXPECT_EQ(manager.makeSingleExprPolicy(samples::rule(), samples::call("f", {samples::string("")}), buffer.cursor,
                                           buffer.used),
              0U);
    EXPECT_EQ(buffer.used, OutputBuffer::kCapacity);
}

}  // namespace
