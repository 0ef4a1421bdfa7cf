// Encoding alone: one compiler thread whose files go nowhere, against a loop that fills the same fields of the same
// records by hand.
#include <cstring>
#include <functional>
#include <mutex>
#include <vector>

#include "Common/Common.h"
#include "libtarnpolicysync/KernelMessage.h"
#include "libtarnpolicysync/Paths.h"
#include "support/Bench.h"
#include "support/Rules.h"

namespace {

std::size_t writtenBytes = 0;
std::size_t writtenSum = 0;

std::size_t sumOf(const char* data, std::size_t length) {
    std::size_t sum = 0;
    for (std::size_t at = 0; at < length; at += 64) {
        sum += static_cast<unsigned char>(data[at]);
    }
    return sum;
}

void count(const char* data, std::size_t length) {
    writtenBytes += length;
    writtenSum += sumOf(data, length);
}

}  // namespace

// Takes the place of the library's, so that nothing is written.
int writeFileData(std::string /*path*/, const char* data, unsigned long length, unsigned int /*flags*/) {
    count(data, length);
    return 0;
}

namespace {

using bench::Options;
using Rules = std::vector<PolicyNode>;

// The copy that the thread gets is made beforehand, and its end does not count: the clock is read in the expression at
// whose end the argument is destroyed.
bench::Time timedEncoding(bench::Manager& manager, const Rules& rules) {
    Rules slice = rules;
    std::vector<int> results;
    std::mutex mutex;
    int status = 0;
    bench::Time end;
    const bench::Time begin = bench::now();
    static_cast<void>(
        (status = manager.compileKernelPolicyThread("base_0", std::move(slice), paths::kPolicyDataTmp, results, mutex),
         end = bench::now()));
    bench::require(status == 0, "the compiler thread failed");
    return end - begin;
}

// What the numbers of the rules' names are; the same for all of them.
struct Numbers {
    std::uint32_t permClass = 1;
    std::uint32_t perm = 1;
    std::uint32_t name = stringToId("net");
};

char* fillRecord(char* cursor, const PolicyNode& rule, const TARN_ID& subject, const TARN_ID& object,
                 const Numbers& numbers) {
    kernelmsg::PolicyNodeRecord node{};
    node.policyType = kernelmsg::policyTypeOf(object);
    node.attrB = rule.uiAttrB;
    node.subject = subject;
    node.object = object;
    node.attrA = rule.uiAttrA;
    node.permClass = numbers.permClass;
    node.perm = numbers.perm;
    std::memcpy(node.ext, rule.uiExt, sizeof node.ext);
    node.ext[1] = numbers.name;
    node.exprCount = static_cast<std::uint32_t>(rule.vecExpr.size());
    node.actionCount = static_cast<std::uint32_t>(rule.vecDoFunc.size());
    std::memcpy(cursor, &kernelmsg::kMagicNumber, sizeof kernelmsg::kMagicNumber);
    std::memcpy(cursor + sizeof kernelmsg::kMagicNumber, &node, sizeof node);
    return cursor + bench::kPlainRecordSize;
}

bench::Time timedByHand(const Rules& rules) {
    std::vector<char> buffer(kernelmsg::kMessageCapacity);
    const Numbers numbers;
    return bench::timed([&] {
        constexpr std::size_t kHeader = sizeof(kernelmsg::MessageHeader);
        char* cursor = buffer.data() + kHeader;
        int records = 0;
        const auto flush = [&] {
            const auto used = static_cast<std::uint32_t>(cursor - buffer.data()) + sizeof kernelmsg::kEndNumber;
            const kernelmsg::MessageHeader header{kernelmsg::kFormat, static_cast<std::uint32_t>(used),
                                                  sizeof(kernelmsg::PolicyNodeRecord),
                                                  static_cast<std::uint32_t>(records), kernelmsg::kTypePolicy};
            std::memcpy(cursor, &kernelmsg::kEndNumber, sizeof kernelmsg::kEndNumber);
            std::memcpy(buffer.data(), &header, sizeof header);
            count(buffer.data(), used);
            cursor = buffer.data() + kHeader;
            records = 0;
        };
        for (const PolicyNode& rule : rules) {
            for (const TARN_ID& subject : rule.vecSubjectId) {
                for (const TARN_ID& object : rule.vecObjectId) {
                    cursor = fillRecord(cursor, rule, subject, object, numbers);
                    if (++records == kernelmsg::kRecordsPerMessage) {
                        flush();
                    }
                }
            }
        }
        if (records != 0) {
            flush();
        }
    });
}

std::string rate(std::size_t records, const bench::Comparison& result) {
    constexpr double kMillion = 1e6;
    char text[64];
    static_cast<void>(std::snprintf(text, sizeof text, "%.1f M records/s, by hand %.1f",
                                    static_cast<double>(records) / kMillion / result.measured,
                                    static_cast<double>(records) / kMillion / result.reference));
    return text;
}

void againstHand(const Options& options, bench::Manager& manager, const Rules& rules, std::size_t records,
                 const std::string& label, double target) {
    std::size_t bytes[2] = {0, 0};
    std::size_t sums[2] = {0, 0};
    const auto counted = [&](int side, const bench::Side& work) {
        writtenBytes = 0;
        writtenSum = 0;
        const bench::Time time = work();
        bytes[side] = writtenBytes;
        sums[side] = writtenSum;
        return time;
    };
    bench::Row row{"encode", label, "by hand", 1, bench::Bound::kAtMost, target};
    row.result = bench::compare(
        options, [&] { return counted(0, [&] { return timedEncoding(manager, rules); }); },
        [&] { return counted(1, [&] { return timedByHand(rules); }); });
    bench::require(bytes[0] == bytes[1] && sums[0] == sums[1], "encoder and hand make different bytes");
    row.note = rate(records, row.result);
    bench::print(options, row);
}

// The rules one after another into groups that each hold as many.
void spread(Rules& rules, std::size_t groups) {
    for (std::size_t index = 0; index < rules.size(); ++index) {
        rules[index].strGroup = "group" + std::to_string(index * groups / rules.size());
    }
}

void printByByte(const Options& options, bench::Row row) {
    char text[64];
    constexpr double kNano = 1e9;
    static_cast<void>(std::snprintf(text, sizeof text, "%.3f ns a byte, plain %.3f", row.result.measured * kNano,
                                    row.result.reference * kNano));
    row.note = text;
    // The columns would show billionths of a millisecond: time for a mebibyte instead.
    constexpr double kMebi = 1024.0 * 1024;
    row.result.measured *= kMebi;
    row.result.reference *= kMebi;
    bench::print(options, row);
}

bench::Time byByte(const std::function<bench::Time()>& work) {
    writtenBytes = 0;
    const bench::Time time = work();
    return time / static_cast<double>(writtenBytes);
}

bench::Time timedTable(bench::Manager& manager) {
    int status = 0;
    const bench::Time time = bench::timed([&] { status = manager.compileKernelPolicyMsg(); });
    bench::require(status == 0, "the compilation failed");
    return time;
}

// Records with conditions are large: a message takes a tenth of the usual number, so that the rules go to many groups. In
// one table key each group has memory of its own, which has to be touched for the first time; plain rules in as many
// groups of about the same size need that, too. With a key for each group one buffer serves them all, as it serves plain
// rules that fill one message after another.
void conditions(const Options& options, bench::Manager& manager, const Rules& plain) {
    constexpr std::size_t kSide = 10;
    constexpr std::size_t kRulesPerGroup = 10;
    constexpr std::size_t kPlainRulesPerGroup = 60;
    constexpr char kMeasured[] = "15 condition nodes, 2 actions, by byte";
    const std::size_t groups = bench::sized(options, 200);
    Rules rules = bench::plainRules(groups * kRulesPerGroup, kSide, kSide);
    for (PolicyNode& rule : rules) {
        bench::addConditionAndActions(rule);
    }
    bench::Manager keys;
    bench::registerFunctions(keys);
    for (auto first = rules.begin(); first != rules.end(); first += kRulesPerGroup) {
        bench::hand(keys, "key" + std::to_string(first - rules.begin()), Rules(first, first + kRulesPerGroup));
    }
    bench::Manager oneKey;
    bench::hand(oneKey, "base", Rules(plain));
    bench::Row reused{"encode", std::string(kMeasured) + ", a key each", "plain, one group", 1, bench::Bound::kAtMost,
                      2};
    reused.result = bench::compare(
        options, [&] { return byByte([&] { return timedTable(keys); }); },
        [&] { return byByte([&] { return timedTable(oneKey); }); });
    printByByte(options, reused);

    spread(rules, groups);
    Rules plainGroups = bench::plainRules(groups * kPlainRulesPerGroup, kSide, kSide);
    spread(plainGroups, groups);
    bench::Row touched{"encode", kMeasured, "plain, as many groups", 1, bench::Bound::kAtMost, 2};
    touched.result = bench::compare(
        options, [&] { return byByte([&] { return timedEncoding(manager, rules); }); },
        [&] { return byByte([&] { return timedEncoding(manager, plainGroups); }); });
    printByByte(options, touched);
}

}  // namespace

int main(int argumentCount, char** arguments) {
    const Options options = bench::start(argumentCount, arguments);
    bench::Manager manager;
    bench::registerFunctions(manager);
    constexpr std::size_t kSide = 10;
    const std::size_t records = bench::sized(options, 1000000);
    const Rules plain = bench::plainRules(records / (kSide * kSide), kSide, kSide);
    againstHand(options, manager, plain, records, "rules of 100 pairs", 1.5);
    againstHand(options, manager, bench::plainRules(records, 1, 1), records, "rules of one pair", 5);
    conditions(options, manager, plain);
    return 0;
}
