// What a compilation adds to the memory that the rules themselves take.
#include <unistd.h>

#include "support/Bench.h"
#include "support/Rules.h"

namespace {

using bench::Options;

constexpr double kMebi = 1024.0 * 1024;

bench::Row rowOf(const std::string& measured, const std::string& reference, unsigned int threads, double target,
                 double used, double allowed) {
    bench::Row row{"memory", measured, reference, threads, bench::Bound::kAtMost, target};
    // The columns of seconds hold MiB here, and the note says so.
    constexpr double kShownAsMilliseconds = 1000;
    row.result.measured = used / kShownAsMilliseconds;
    row.result.reference = allowed / kShownAsMilliseconds;
    row.result.ratio = row.result.lowest = row.result.highest = row.result.processorRatio = used / allowed;
    row.result.peak = bench::residentPeak();
    return row;
}

// The peak of a compilation of many rules over what addPolicy took for them; the buffers' pages come off the peak.
void manyRules(const Options& options, std::size_t pairsOfASide, std::size_t count, const std::string& label,
               unsigned int threads) {
    bench::releaseFreeMemory();
    bench::Manager manager(threads);
    std::vector<PolicyNode> rules = bench::plainRules(count, pairsOfASide, pairsOfASide);
    PolicyDb group;
    group.vecPolicy = std::move(rules);
    const double before = bench::residentNow();
    manager.addPolicy("base", group);
    const double growth = bench::residentNow() - before;
    group = PolicyDb();
    bench::releaseFreeMemory();
    bench::emptyPolicyFolder();
    const double held = bench::residentNow();
    bench::resetPeak();
    bench::require(manager.compileKernelPolicyMsg() == 0, "the compilation failed");
    const double peak = bench::residentPeak() - held + growth;
    bench::Row row =
        rowOf(label + ": peak", "growth by addPolicy", threads, 2.2, peak - static_cast<double>(threads), growth);
    row.note = "MiB, without one buffer a thread";
    bench::print(options, row);
}

void manyGroups(const Options& options, unsigned int threads) {
    constexpr std::size_t kRecordsPerGroup = 3;
    const std::size_t groups = bench::sized(options, 1000);
    bench::Manager manager(threads);
    std::vector<PolicyNode> rules;
    for (std::size_t number = 0; number < groups * kRecordsPerGroup; ++number) {
        rules.push_back(bench::plainRule(number, 1, 1));
        rules.back().strGroup = "group" + std::to_string(number % groups);
    }
    bench::hand(manager, "base", std::move(rules));
    bench::releaseFreeMemory();
    bench::emptyPolicyFolder();
    const double before = bench::residentNow();
    bench::resetPeak();
    bench::require(manager.compileKernelPolicyMsg() == 0, "the compilation failed");
    const double used = bench::residentPeak() - before;
    // One page for each buffer, and as much again for the rules' copies, the keys and the page tables.
    const double pages =
        static_cast<double>(threads) * static_cast<double>(groups) * static_cast<double>(sysconf(_SC_PAGESIZE)) / kMebi;
    bench::Row row = rowOf("1,000 groups of 3 records: peak", "touched pages", threads, 2, used, pages);
    row.note = "MiB";
    bench::print(options, row);
}

}  // namespace

int main(int count, char** arguments) {
    const Options options = bench::start(count, arguments);
    for (const unsigned int threads : {1U, 2U}) {
        manyRules(options, 1, bench::sized(options, 1000000), "1 M rules of one pair", threads);
        manyRules(options, 10, bench::sized(options, 100000), "100,000 rules of 100 pairs", threads);
        manyGroups(options, threads);
    }
    bench::emptyPolicyFolder();
    return 0;
}
