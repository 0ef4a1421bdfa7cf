// Compilation against the floor: the same files, written by the same calls from as many threads, without the work.
#include <algorithm>
#include <cstdint>
#include <thread>

#include "libtarnpolicysync/Paths.h"
#include "support/Bench.h"
#include "support/Floor.h"
#include "support/Rules.h"

namespace {

using bench::Options;

constexpr unsigned int kMostThreads = 2;

bench::Time timedCompile(bench::Manager& manager, bench::FolderContent& content) {
    bench::emptyPolicyFolder();
    int status = 0;
    const bench::Time time = bench::timed([&] { status = manager.compileKernelPolicyMsg(); });
    bench::require(status == 0, "the compilation failed");
    content = bench::policyFolder();
    return time;
}

bench::Time timedFloor(std::size_t records, unsigned int threads, bench::FolderContent& content) {
    bench::emptyPolicyFolder();
    const bench::Time time = bench::timed([&] { bench::writeFloor(records, threads); });
    content = bench::policyFolder();
    return time;
}

// One deep copy of every rule, shared out like the compilation's among the threads.
bench::Time timedCopy(const std::vector<PolicyNode>& rules, unsigned int threads) {
    std::vector<std::vector<PolicyNode>> copies(threads);
    return bench::timed([&] {
        std::vector<std::thread> copiers;
        for (unsigned int index = 0; index < threads; ++index) {
            copiers.emplace_back([&, index] {
                const std::size_t share = rules.size() / threads;
                const auto first = rules.begin() + static_cast<std::ptrdiff_t>(index * share);
                const auto last = index + 1 == threads ? rules.end() : first + static_cast<std::ptrdiff_t>(share);
                copies[index] = std::vector<PolicyNode>(first, last);
            });
        }
        for (std::thread& copier : copiers) {
            copier.join();
        }
    });
}

// Every line of the processor's cache that a rule of one pair takes, read once, by as many threads as share it out.
bench::Time timedReading(const std::vector<PolicyNode>& rules, unsigned int threads) {
    constexpr std::size_t kCacheLine = 64;
    std::vector<std::uint64_t> sums(threads);
    const bench::Time time = bench::timed([&] {
        std::vector<std::thread> readers;
        for (unsigned int index = 0; index < threads; ++index) {
            readers.emplace_back([&, index] {
                const std::size_t share = rules.size() / threads;
                std::uint64_t sum = 0;
                for (std::size_t place = index * share; place < (index + 1) * share; ++place) {
                    const auto* bytes = reinterpret_cast<const unsigned char*>(&rules[place]);
                    for (std::size_t offset = 0; offset < sizeof(PolicyNode); offset += kCacheLine) {
                        sum += bytes[offset];
                    }
                    sum += rules[place].vecSubjectId[0].uiWord[0] + rules[place].vecObjectId[0].uiWord[0];
                }
                sums[index] = sum;
            });
        }
        for (std::thread& reader : readers) {
            reader.join();
        }
    });
    bench::require(std::any_of(sums.begin(), sums.end(), [](std::uint64_t sum) { return sum != 0; }), "nothing read");
    return time;
}

std::string millions(std::size_t records, double time) {
    constexpr double kMillion = 1e6;
    char text[48];
    static_cast<void>(
        std::snprintf(text, sizeof text, "%.1f M records/s", static_cast<double>(records) / kMillion / time));
    return text;
}

// Rules of 10 x 10 pairs.
void plainRecords(const Options& options, std::size_t records, const std::string& label) {
    constexpr std::size_t kSide = 10;
    bench::Manager manager;
    bench::hand(manager, "base", bench::plainRules(records / (kSide * kSide), kSide, kSide));
    bench::releaseFreeMemory();
    for (unsigned int threads = 1; threads <= kMostThreads; ++threads) {
        manager.threadnum = static_cast<std::uint16_t>(threads);
        bench::FolderContent compiled;
        bench::FolderContent floor;
        bench::Row row{"compile", label + " records of 100-pair rules", "floor", threads};
        row.target = bench::place() == "disk" ? 1.15 : 1.6;
        row.result = bench::compare(
            options, [&] { return timedCompile(manager, compiled); },
            [&] { return timedFloor(records, threads, floor); });
        bench::require(compiled == floor, "compilation and floor write different files");
        row.note = millions(records, row.result.measured);
        bench::print(options, row);
    }
}

void singlePairs(const Options& options) {
    const std::size_t count = bench::sized(options, 1000000);
    bench::Manager manager;
    bench::hand(manager, "base", bench::plainRules(count, 1, 1));
    bench::releaseFreeMemory();
    const std::vector<PolicyNode>& rules = manager.m_mapPolicy["base"].vecPolicy;
    bench::FolderContent compiled;
    bench::FolderContent floor;
    for (unsigned int threads = 1; threads <= kMostThreads; ++threads) {
        manager.threadnum = static_cast<std::uint16_t>(threads);
        bench::Row row{"compile", "1 M rules of one pair", "copy + floor", threads, bench::Bound::kAtMost, 1.5};
        row.result = bench::compare(
            options, [&] { return timedCompile(manager, compiled); },
            [&] { return timedCopy(rules, threads) + timedFloor(count, threads, floor); });
        bench::require(compiled == floor, "compilation and floor write different files");
        row.note = millions(count, row.result.measured);
        bench::print(options, row);
    }
    const auto compileWith = [&](unsigned int threads) {
        manager.threadnum = static_cast<std::uint16_t>(threads);
        return timedCompile(manager, compiled);
    };
    bench::Row second{"threads", "1 M rules of one pair: 1 thread", "2 threads", kMostThreads, bench::Bound::kAtLeast,
                      1.8};
    second.result = bench::compare(
        options, [&] { return compileWith(1); }, [&] { return compileWith(2); });
    bench::print(options, second);
    // What the second thread brings where nothing but memory and files is at work.
    bench::Row machine{"threads", "copy + floor: 1 thread", "2 threads", kMostThreads, bench::Bound::kNone};
    machine.result = bench::compare(
        options, [&] { return timedCopy(rules, 1) + timedFloor(count, 1, floor); },
        [&] { return timedCopy(rules, 2) + timedFloor(count, 2, floor); });
    bench::print(options, machine);
    // And what it brings where memory alone is: the compilation reads every rule before it can do anything else.
    bench::Row memory{"threads", "reading the rules: 1 thread", "2 threads", kMostThreads, bench::Bound::kNone};
    memory.result = bench::compare(
        options, [&] { return timedReading(rules, 1); }, [&] { return timedReading(rules, 2); });
    bench::print(options, memory);
}

}  // namespace

int main(int count, char** arguments) {
    const Options options = bench::start(count, arguments);
    plainRecords(options, bench::sized(options, 1000000), "1 M");
    plainRecords(options, bench::sized(options, 10000000), "10 M");
    singlePairs(options);
    bench::emptyPolicyFolder();
    return 0;
}
