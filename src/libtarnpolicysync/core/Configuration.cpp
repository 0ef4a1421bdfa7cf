#include <algorithm>
#include <stdexcept>
#include <thread>

#include "Common/Log.h"
#include "libtarnpolicysync/Paths.h"
#include "libtarnpolicysync/PolicyModuleManagerInterface.h"

namespace {

constexpr unsigned int kDefaultLogLevel = 3;
constexpr unsigned int kMaxLogLevel = 4;
constexpr unsigned int kMaxDerivedThreads = 8;

enum class Key { kThreadnum, kPrinttime, kLoglevel, kLogflag };

struct KeyRow {
    const char* name;
    Key key;
    const char* invalidValue;
};

constexpr KeyRow kKeys[] = {
    {"threadnum", Key::kThreadnum, "###ERROR: in func %s, invalid threadnum value: %s"},
    {"printtime", Key::kPrinttime, "###ERROR: in func %s, invalid printtime value: %s"},
    {"loglevel", Key::kLoglevel, "###ERROR: in func %s, invalid loglevel value: %s"},
    {"logflag", Key::kLogflag, "###ERROR: in func %s, invalid logflag value: %s"},
};

// False, after one message, when the line does not set a known key to a number.
bool parseLine(const std::string& line, Key& key, unsigned long& value) {
    const std::vector<std::string> fields = Split(line, '=');
    if (fields.size() != 2) {
        TARN_LOG(kLogError, "###ERROR: in func %s, %s is truncate.", "initConfigInfo", paths::kConfiguration);
        return false;
    }
    const auto* row =
        std::find_if(std::begin(kKeys), std::end(kKeys), [&fields](const KeyRow& r) { return fields[0] == r.name; });
    if (row == std::end(kKeys)) {
        TARN_LOG(kLogError, "###ERROR: in func %s, file %s param %s is invalid.", "initConfigInfo",
                 paths::kConfiguration, fields[0].c_str());
        return false;
    }
    key = row->key;
    try {
        value = std::stoul(fields[1]);
        return true;
    } catch (const std::logic_error&) {  // no number, or out of range
        TARN_LOG(kLogError, row->invalidValue, "initConfigInfo", fields[1].c_str());
        return false;
    }
}

// The number is cut to 16 bits before it is judged. The bound is the processor count although the text names 64.
std::uint16_t acceptThreads(unsigned long value, unsigned int processors) {
    const auto threads = static_cast<std::uint16_t>(value);
    if (threads > processors) {
        TARN_LOG(kLogError, "###ERROR: threadnum %u exceeds maximum 64, fallback to auto-detect.",
                 static_cast<unsigned int>(threads));
        return 0;
    }
    return threads;
}

// Judged before it is cut to 32 bits, so that a huge level is the highest one. The message prints what 32 bits hold.
unsigned int acceptLogLevel(unsigned long value) {
    if (value > kMaxLogLevel) {
        TARN_LOG(kLogNotice, "loglevel %u exceeds maximum 4, clamping to 4", static_cast<unsigned int>(value));
        return kMaxLogLevel;
    }
    return static_cast<unsigned int>(value);
}

// Any non-zero number switches the stopwatch on, also one whose low 32 bits are zero.
unsigned int acceptPrinttime(unsigned long value) {
    const auto cut = static_cast<unsigned int>(value);
    return value != 0 && cut == 0 ? 1 : cut;
}

std::uint16_t deriveThreads(unsigned int processors) {
    return static_cast<std::uint16_t>(std::clamp(processors / 2, 1U, kMaxDerivedThreads));
}

}  // namespace

void PolicyModuleManagerInterface::initConfigInfo() {
    threadnum = 0;
    printtime = 0;
    logflag = false;
    unsigned int level = kDefaultLogLevel;
    std::vector<std::string> lines;
    const int readStatus = readFileToVec(paths::kConfiguration, lines);
    const unsigned int processors = std::thread::hardware_concurrency();
    if (readStatus == 0) {
        for (const std::string& line : lines) {
            Key key{};
            unsigned long value = 0;
            if (!parseLine(line, key, value)) {
                continue;
            }
            switch (key) {
                case Key::kThreadnum:
                    threadnum = acceptThreads(value, processors);
                    break;
                case Key::kPrinttime:
                    printtime = acceptPrinttime(value);
                    break;
                case Key::kLoglevel:
                    level = acceptLogLevel(value);
                    break;
                case Key::kLogflag:
                    logflag = value != 0;
                    break;
            }
        }
    }
    if (threadnum == 0) {
        threadnum = deriveThreads(processors);
    }
    setLogLevel(level);  // only now: the reader's own messages are filtered by the level in force before
}
