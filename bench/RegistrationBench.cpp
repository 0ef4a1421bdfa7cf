// Registering many names: ten times as many should take ten times as long.
#include <algorithm>
#include <unordered_set>

#include "support/Bench.h"
#include "support/Rules.h"

namespace {

using bench::Options;

constexpr std::size_t kTenfold = 10;
constexpr double kNearLinear = 15;
constexpr double kAgainstPlain = 3;

std::string fileName(std::size_t number) {
    return "/usr/share/application/data/file-" + std::to_string(number);
}

std::string functionName(std::size_t number) {
    return "function_" + std::to_string(number);
}

bench::Time timedFiles(bench::Manager& manager, std::size_t count) {
    manager.clearAllPolicy();
    const bench::Time time = bench::timed([&] {
        for (std::size_t number = 0; number < count; ++number) {
            manager.setFileToGetLabelMap("subject_file", fileName(number));
        }
    });
    bench::require(manager.m_mapFileToGetLabel["subject_file"].size() == count, "a name is missing");
    return time;
}

bench::Time timedFunctions(bench::Manager& manager, std::size_t count) {
    manager.clearAllPolicy();
    const bench::Time time = bench::timed([&] {
        for (std::size_t number = 0; number < count; ++number) {
            manager.setNamespaceFuncInfo("net", "netmod", functionName(number));
        }
    });
    bench::require(manager.m_mapNamespaceFunc["net"].size() == count, "a function is missing");
    return time;
}

// The same lists with nothing around them: each entry into a vector, and into a set that knows it.
bench::Time timedPlain(std::size_t count, std::string (*nameOf)(std::size_t)) {
    std::vector<std::string> list;
    std::unordered_set<std::string> known;
    return bench::timed([&] {
        for (std::size_t number = 0; number < count; ++number) {
            std::string name = nameOf(number);
            if (known.insert(name).second) {
                list.push_back(std::move(name));
            }
        }
    });
}

// Tenfold growth is held against that of a hash set with a vector: 100,000 names no longer fit the processor's caches, and
// no list can do anything about that.
template <typename Timed>
void registration(const Options& options, bench::Manager& manager, std::size_t count, Timed timed,
                  std::string (*nameOf)(std::size_t), const std::string& label, const std::string& tenth) {
    bench::Row machine{"register", "set and vector: " + label, tenth, 1, bench::Bound::kNone};
    machine.result = bench::compare(
        options, [&] { return timedPlain(count, nameOf); }, [&] { return timedPlain(count / kTenfold, nameOf); });
    bench::print(options, machine);
    bench::Row growth{"register", label, tenth, 1, bench::Bound::kAtMost};
    growth.target = std::max(kNearLinear, machine.result.ratio);
    growth.result = bench::compare(
        options, [&] { return timed(manager, count); }, [&] { return timed(manager, count / kTenfold); });
    bench::print(options, growth);
    bench::Row plain{"register", label, "set and vector", 1, bench::Bound::kAtMost, kAgainstPlain};
    plain.result = bench::compare(
        options, [&] { return timed(manager, count); }, [&] { return timedPlain(count, nameOf); });
    bench::print(options, plain);
}

}  // namespace

int main(int count, char** arguments) {
    const Options options = bench::start(count, arguments);
    bench::Manager manager;
    registration(options, manager, bench::sized(options, 100000), timedFiles, fileName, "100,000 files to label",
                 "10,000 files");
    registration(options, manager, bench::sized(options, 10000), timedFunctions, functionName,
                 "10,000 functions of a namespace", "1,000 functions");
    return 0;
}
