// What the benchmarks share: two things timed alternately in one run, and the rows that come of it. Every program prints
// its rows as lines of a table and, with --json FILE, appends each as one JSON object to a file.
#ifndef TARN_BENCH_BENCH_H
#define TARN_BENCH_BENCH_H

#include <cstddef>
#include <functional>
#include <string>

namespace bench {

struct Options {
    bool smoke = false;  // sizes so small that nothing is measured: only whether everything runs
    int rounds = 5;
    std::string json;  // where rows are appended; empty for nowhere
};

// Reads the command line. Ends the program with status 2 for a wrong one, and outside the sandbox, because the library
// writes to /etc/tarn.
Options start(int count, char** arguments);

// `full`, or a hundredth of it and at least one for a smoke run.
std::size_t sized(const Options& options, std::size_t full);

// "disk" or "tmpfs": what /etc/tarn lies on.
std::string place();

// What something took: seconds by the clock, and seconds of all processors together. Where others use the machine, too,
// the latter says more.
struct Time {
    double clock = 0;
    double processors = 0;
};
inline Time operator+(const Time& left, const Time& right) {
    return {left.clock + right.clock, left.processors + right.processors};
}
inline Time operator-(const Time& left, const Time& right) {
    return {left.clock - right.clock, left.processors - right.processors};
}
inline Time operator/(const Time& time, double count) {
    return {time.clock / count, time.processors / count};
}

// Both clocks now, and what `work` takes.
Time now();
Time timed(const std::function<void()>& work);

// Ends the program with status 1 and the reason. A benchmark that measured something else than it says must not print.
[[noreturn]] void fail(const std::string& reason);
void require(bool condition, const std::string& reason);

// One side of a comparison: prepares, measures, verifies, and gives what was measured.
using Side = std::function<Time()>;

struct Comparison {
    double measured = 0;  // median seconds
    double reference = 0;
    double ratio = 0;  // median of the ratios of the pairs
    double lowest = 0;
    double highest = 0;
    double processorRatio = 0;  // the same of the processors' seconds
    double peak = 0;            // resident MiB at most while the measured side ran
};

// Pairs of one run of each side; the order changes from pair to pair, so that a machine that grows slower favours
// neither.
Comparison compare(const Options& options, const Side& measured, const Side& reference);

enum class Bound { kAtMost, kAtLeast, kNone };

struct Row {
    std::string point;      // what the row is about, one word
    std::string measured;   // the one thing
    std::string reference;  // the other
    unsigned int threads = 1;
    Bound bound = Bound::kAtMost;
    double target = 0;
    Comparison result = {};
    std::string note = {};  // a figure of its own kind, for instance records per second
};

void print(const Options& options, const Row& row);

// Resident memory in MiB, and its highest value since the last reset.
double residentNow();
double residentPeak();
void resetPeak();
// Gives what the allocator keeps back to the system, so that the figures above mean something.
void releaseFreeMemory();

}  // namespace bench

#endif
