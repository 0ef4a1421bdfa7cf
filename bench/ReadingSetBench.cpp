// Compiles the sets that bench/reading.sh reads, with the library, into /etc/tarn/.policydata of the sandbox.
// usage: ReadingSetBench plain|changed|conditions MEGABYTES
//   changed: each rule of plain with another attribute
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>

#include "libtarnmessage/RecordSize.h"
#include "libtarnpolicysync/KernelMessage.h"
#include "support/Bench.h"
#include "support/Rules.h"

namespace {

constexpr std::size_t kSide = 10;
constexpr std::size_t kPairs = kSide * kSide;

enum class Kind { kPlain, kChanged, kConditions };

std::optional<Kind> kindOf(const std::string& word) {
    return word == "plain"        ? std::optional(Kind::kPlain)
           : word == "changed"    ? std::optional(Kind::kChanged)
           : word == "conditions" ? std::optional(Kind::kConditions)
                                  : std::nullopt;
}

PolicyNode ruleOf(std::size_t number, Kind kind) {
    PolicyNode rule = bench::plainRule(number, kSide, kSide);
    if (kind == Kind::kChanged) {
        ++rule.uiAttrA;
    } else if (kind == Kind::kConditions) {
        bench::addConditionAndActions(rule);
    }
    return rule;
}

// As many rules as fill one message.
std::size_t rulesOfMessage(std::uint64_t recordSize) {
    const std::uint64_t records =
        std::min<std::uint64_t>(tarnmessage::kMessageRoom / recordSize, kernelmsg::kRecordsPerMessage);
    return static_cast<std::size_t>(records / kPairs);
}

// Some messages of a set at a time, each under a key of its own, so that memory stays small.
void compileMessages(std::size_t first, std::size_t count, std::size_t rulesEach, Kind kind) {
    bench::Manager manager;
    bench::registerFunctions(manager);
    for (std::size_t message = first; message < first + count; ++message) {
        std::vector<PolicyNode> rules;
        for (std::size_t rule = 0; rule < rulesEach; ++rule) {
            rules.push_back(ruleOf(message * rulesEach + rule, kind));
        }
        bench::hand(manager, "key" + std::to_string(message), std::move(rules));
    }
    bench::require(manager.compileKernelPolicyMsg() == 0, "the compilation failed");
}

void compileSet(Kind kind, std::size_t bytes) {
    constexpr std::size_t kAtOnce = 20;
    bench::emptyPolicyFolder();
    bench::require(compileKernelMsg(kernelmsg::kTypeBegin) == 0, "no begin message");
    const std::uint64_t recordSize = tarnmessage::encodedRecordSize(ruleOf(0, kind));
    const std::size_t rulesEach = rulesOfMessage(recordSize);
    const std::size_t messages = bytes / (rulesEach * kPairs * recordSize) + 1;
    for (std::size_t first = 0; first < messages; first += kAtOnce) {
        compileMessages(first, std::min(kAtOnce, messages - first), rulesEach, kind);
    }
    bench::require(compileKernelMsg(kernelmsg::kTypeEnd) == 0, "no end message");
    std::printf("%zu messages of %zu records of %llu bytes\n", messages, rulesEach * kPairs,
                static_cast<unsigned long long>(recordSize));
}

}  // namespace

int main(int count, char** arguments) {
    static_cast<void>(bench::start(1, arguments));
    const std::optional<Kind> kind = kindOf(count == 3 ? arguments[1] : "");
    const long megabytes = count == 3 ? std::strtol(arguments[2], nullptr, 10) : 0;
    constexpr long kMost = 1000000;
    bench::require(kind && megabytes > 0 && megabytes <= kMost,
                   "usage: ReadingSetBench plain|changed|conditions MEGABYTES");
    constexpr std::size_t kMegabyte = 1000000;
    compileSet(*kind, static_cast<std::size_t>(megabytes) * kMegabyte);
    return 0;
}
