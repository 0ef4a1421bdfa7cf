#include "support/Bench.h"

#include <linux/magic.h>
#include <malloc.h>
#include <sys/statfs.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <vector>

namespace bench {

namespace {

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    const std::size_t middle = values.size() / 2;
    return values.size() % 2 != 0 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

double clockSeconds(clockid_t clock) {
    struct timespec time {};
    require(clock_gettime(clock, &time) == 0, "no such clock");
    constexpr double kNano = 1e-9;
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * kNano;
}

// A line of /proc/self/status, in MiB.
double statusLine(const char* name) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind(name, 0) == 0) {
            constexpr double kKibiPerMebi = 1024;
            return std::strtod(line.c_str() + std::strlen(name), nullptr) / kKibiPerMebi;
        }
    }
    fail(std::string("/proc/self/status has no line ") + name);
}

int roundsOf(const char* text) {
    const long rounds = std::strtol(text, nullptr, 10);
    require(rounds > 0 && rounds < 1000, std::string("--rounds takes 1 to 999, not ") + text);
    return static_cast<int>(rounds);
}

const char* word(Bound bound) {
    switch (bound) {
        case Bound::kAtMost:
            return "at most";
        case Bound::kAtLeast:
            return "at least";
        case Bound::kNone:
            break;
    }
    return "";
}

const char* verdict(const Options& options, const Row& row) {
    if (row.bound == Bound::kNone || options.smoke) {
        return "";
    }
    const bool met = row.bound == Bound::kAtMost ? row.result.ratio <= row.target : row.result.ratio >= row.target;
    return met ? "met" : "MISSED";
}

// The texts of the rows are our own and hold nothing that JSON would want escaped.
void appendJson(const Options& options, const Row& row) {
    std::FILE* file = std::fopen(options.json.c_str(), "a");
    require(file != nullptr, "can't append to " + options.json);
    static_cast<void>(std::fprintf(
        file,
        R"({"point": "%s", "measured": "%s", "reference": "%s", "place": "%s", "threads": %u, "rounds": %d, )"
        R"("measuredSeconds": %.6g, "referenceSeconds": %.6g, "ratio": %.4g, "lowest": %.4g, "highest": %.4g, "processorRatio": %.4g, )"
        R"("bound": "%s", "target": %g, "verdict": "%s", "peakMiB": %.1f, "note": "%s"})"
        "\n",
        row.point.c_str(), row.measured.c_str(), row.reference.c_str(), place().c_str(), row.threads, options.rounds,
        row.result.measured, row.result.reference, row.result.ratio, row.result.lowest, row.result.highest,
        row.result.processorRatio, word(row.bound), row.target, verdict(options, row), row.result.peak,
        row.note.c_str()));
    require(std::fclose(file) == 0, "can't write " + options.json);
}

}  // namespace

Options start(int count, char** arguments) {
    Options options;
    for (int index = 1; index < count; ++index) {
        const std::string argument = arguments[index];
        if (argument == "--smoke") {
            options.smoke = true;
            options.rounds = 1;
        } else if (argument == "--rounds" && index + 1 < count) {
            options.rounds = roundsOf(arguments[++index]);
        } else if (argument == "--json" && index + 1 < count) {
            options.json = arguments[++index];
        } else {
            static_cast<void>(std::fprintf(stderr, "usage: %s [--smoke] [--rounds N] [--json FILE]\n", arguments[0]));
            std::exit(2);
        }
    }
    if (std::getenv("TARN_SANDBOX") == nullptr) {
        static_cast<void>(
            std::fprintf(stderr, "%s: writes to /etc/tarn; start it with tarn-sandbox --kernel=none\n", arguments[0]));
        std::exit(2);
    }
    return options;
}

std::size_t sized(const Options& options, std::size_t full) {
    constexpr std::size_t kSmokeDivisor = 100;
    return options.smoke ? std::max<std::size_t>(full / kSmokeDivisor, 1) : full;
}

std::string place() {
    struct statfs status {};
    require(statfs("/etc/tarn", &status) == 0, "can't look at /etc/tarn");
    return status.f_type == TMPFS_MAGIC ? "tmpfs" : "disk";
}

Time now() {
    return {clockSeconds(CLOCK_MONOTONIC), clockSeconds(CLOCK_PROCESS_CPUTIME_ID)};
}

Time timed(const std::function<void()>& work) {
    const Time begin = now();
    work();
    return now() - begin;
}

void fail(const std::string& reason) {
    static_cast<void>(std::fprintf(stderr, "bench: %s\n", reason.c_str()));
    std::exit(1);
}

void require(bool condition, const std::string& reason) {
    if (!condition) {
        fail(reason);
    }
}

Comparison compare(const Options& options, const Side& measured, const Side& reference) {
    std::vector<double> first;
    std::vector<double> second;
    std::vector<double> ratios;
    std::vector<double> processorRatios;
    Comparison result;
    double processors = 0;
    const auto runMeasured = [&] {
        resetPeak();
        const Time time = measured();
        first.push_back(time.clock);
        processors = time.processors;
        result.peak = std::max(result.peak, residentPeak());
    };
    for (int round = 0; round < options.rounds; ++round) {
        const bool measuredFirst = round % 2 == 0;
        if (measuredFirst) {
            runMeasured();
        }
        const Time time = reference();
        second.push_back(time.clock);
        if (!measuredFirst) {
            runMeasured();
        }
        ratios.push_back(first.back() / second.back());
        processorRatios.push_back(processors / time.processors);
    }
    result.measured = median(first);
    result.reference = median(second);
    result.ratio = median(ratios);
    result.processorRatio = median(processorRatios);
    result.lowest = *std::min_element(ratios.begin(), ratios.end());
    result.highest = *std::max_element(ratios.begin(), ratios.end());
    return result;
}

void print(const Options& options, const Row& row) {
    char span[32];
    char target[32] = "";
    static_cast<void>(std::snprintf(span, sizeof span, "%.2f-%.2f", row.result.lowest, row.result.highest));
    if (row.bound != Bound::kNone) {
        static_cast<void>(std::snprintf(target, sizeof target, "%s %g", word(row.bound), row.target));
    }
    constexpr double kMillisecondsPerSecond = 1000;
    static_cast<void>(std::printf(
        "%-9s %-57s %-5s %2u %9.2f %9.2f %6.2f %12s %6.2f %-13s %-6s %5.0f  %s\n", row.point.c_str(),
        (row.measured + " / " + row.reference).c_str(), place().c_str(), row.threads,
        row.result.measured * kMillisecondsPerSecond, row.result.reference * kMillisecondsPerSecond, row.result.ratio,
        span, row.result.processorRatio, target, verdict(options, row), row.result.peak, row.note.c_str()));
    static_cast<void>(std::fflush(stdout));
    if (!options.json.empty()) {
        appendJson(options, row);
    }
}

double residentNow() {
    return statusLine("VmRSS:");
}

double residentPeak() {
    return statusLine("VmHWM:");
}

void resetPeak() {
    std::ofstream("/proc/self/clear_refs") << "5";
}

void releaseFreeMemory() {
    malloc_trim(0);
}

}  // namespace bench
