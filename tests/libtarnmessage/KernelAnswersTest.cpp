// The table of docs/kernel-answers.md, row by row, and what it says about sets.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>

#include "Common/KernelAnswers.h"
#include "MessageTools.h"
#include "libtarnmessage/KernelState.h"
#include "support/AnswerTable.h"

using tarnmessage::FindingCode;
using tarnmessage::KernelState;

TEST(KernelAnswers, EveryRowOfTheTableHolds) {
    for (const answertable::Row& row : answertable::read()) {
        SCOPED_TRACE(row.situation);
        KernelState kernel;
        for (const std::string& message : row.before) {
            static_cast<void>(kernel.deliver(message));
        }
        const KernelState::Answer answer = kernel.deliver(row.message);
        EXPECT_EQ(answer.number(), row.answer);
        EXPECT_EQ(answer.finding ? findingInfo(answer.finding->code).id : "", row.finding)
            << (answer.finding ? toText(*answer.finding) : "");
    }
}

TEST(KernelAnswers, TheTableHasARowForEveryFinding) {
    std::set<std::string> inTable;
    for (const answertable::Row& row : answertable::read()) {
        inTable.insert(row.finding);
    }
    for (std::size_t code = 0; code < tarnmessage::kFindingCodes; ++code) {
        const char* id = tarnmessage::findingInfo(static_cast<FindingCode>(code)).id;
        EXPECT_EQ(inTable.count(id), 1U) << id;
    }
}

TEST(KernelAnswers, EveryFindingHasAnAnswerOfTheKernelModule) {
    std::set<std::string> ids;
    for (std::size_t code = 0; code < tarnmessage::kFindingCodes; ++code) {
        const tarnmessage::FindingInfo& info = tarnmessage::findingInfo(static_cast<FindingCode>(code));
        EXPECT_NE(findKernelAnswer(info.answer), nullptr) << info.id;
        EXPECT_TRUE(ids.insert(info.id).second) << info.id << " stands twice";
    }
}

TEST(KernelAnswers, FindingsAreWrittenWithPlaceExpectedAndFound) {
    const auto finding = messagetools::readMessage(messagetools::withWord(golden::message("policy-plain"), 20, 7));
    ASSERT_TRUE(finding);
    EXPECT_EQ(toText(*finding), "offset 20: wrong magic number of a record (expected 0x5a5aa5a5, found 0x7)");
}

TEST(KernelState, AnnouncedFunctionsAreThoseOfTheOpenSet) {
    KernelState kernel;
    EXPECT_EQ(kernel.deliver(golden::message("begin")).number(), 0);
    EXPECT_TRUE(kernel.functions().empty());
    EXPECT_EQ(kernel.deliver(golden::message("namespace")).number(), 0);
    EXPECT_EQ(kernel.functions().functionCount(4075427327U), 2U);
    EXPECT_EQ(kernel.deliver(golden::message("end")).number(), 0);
    EXPECT_EQ(kernel.functions().functionCount(4075427327U), 2U);
    EXPECT_EQ(kernel.deliver(golden::message("begin")).number(), 0);
    EXPECT_TRUE(kernel.functions().empty());
}

TEST(KernelState, RefusedNamespaceMessageAnnouncesNothing) {
    KernelState kernel;
    EXPECT_EQ(kernel.deliver(golden::message("begin")).number(), 0);
    // The first block is sound, the second is not.
    EXPECT_EQ(kernel.deliver(messagetools::withWord(golden::message("namespace-two"), 89, 0)).number(), 22);
    EXPECT_TRUE(kernel.functions().empty());
    EXPECT_EQ(kernel.phase(), KernelState::Phase::kClosed);
}

TEST(KernelState, PhaseFollowsTheAcceptedMessages) {
    using Phase = KernelState::Phase;
    KernelState kernel;
    EXPECT_EQ(kernel.phase(), Phase::kClosed);
    const std::vector<std::pair<const char*, Phase>> steps{
        {"begin", Phase::kOpened},          {"namespace", Phase::kNamed}, {"policy-condition", Phase::kPolicies},
        {"policy-plain", Phase::kPolicies}, {"end", Phase::kEnded},       {"end", Phase::kEnded},
        {"begin", Phase::kOpened},          {"begin", Phase::kClosed}};
    for (const auto& [name, phase] : steps) {
        static_cast<void>(kernel.deliver(golden::message(name)));
        EXPECT_EQ(kernel.phase(), phase) << name;
    }
}

TEST(KernelState, AbandonedSetNeedsANewBeginMessage) {
    KernelState kernel;
    EXPECT_EQ(kernel.deliver(golden::message("begin")).number(), 0);
    kernel.abandon();
    EXPECT_EQ(kernel.deliver(golden::message("policy-plain")).number(), 71);
    EXPECT_EQ(kernel.deliver(golden::message("begin")).number(), 0);
}

TEST(KernelState, TwoNamespacesWithOneNumberOfferTheGreaterList) {
    // net with two functions, and fs under the same number with one.
    const std::string both = messagetools::withWord(golden::message("namespace-two"), 93, 4075427327U);
    KernelState kernel;
    EXPECT_EQ(kernel.deliver(golden::message("begin")).number(), 0);
    EXPECT_EQ(kernel.deliver(both).number(), 0);
    EXPECT_EQ(kernel.functions().functionCount(4075427327U), 2U);
    EXPECT_EQ(kernel.functions().findFunction(4075427327U, 1), nullptr) << "another one in each of them";
    EXPECT_EQ(*kernel.functions().findFunction(4075427327U, 2), "netmod:log");
    EXPECT_EQ(kernel.functions().findFunction(4075427327U, 3), nullptr);
}
