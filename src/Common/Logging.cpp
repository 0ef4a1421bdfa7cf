#include <fcntl.h>
#include <securec.h>
#include <signal.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <clocale>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iomanip>
#include <iostream>
#include <locale>
#include <memory>
#include <sstream>

#include "Common/Handles.h"
#include "Common/Log.h"

namespace {

constexpr char kLogFile[] = "/var/log/tarn-policy.log";
constexpr mode_t kLogMode = 0640;
constexpr std::size_t kMessageBound = 0x20000;  // of the formatted text, with its terminator
constexpr unsigned int kDefaultLevel = 3;

std::atomic<unsigned int> logLevel{kDefaultLevel};
std::atomic<bool> longPrefix{false};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler exchanges the flag");

// "%n" would write through an argument; no such format is honoured, not even as the tail of "%%n".
bool holdsWriteBack(const char* format) {
    return format != nullptr && strcasestr(format, "%n") != nullptr;
}

UniqueFile openLog() {
    UniqueFd fd(open(kLogFile, O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW, kLogMode));
    if (!fd.valid()) {
        return nullptr;
    }
    if (fchmod(fd.get(), kLogMode) != 0) {
        perror("fchmod");
    }
    UniqueFile stream(fdopen(fd.get(), "a"));
    if (stream) {
        static_cast<void>(fd.release());  // the stream owns it now
    }
    return stream;
}

std::unique_ptr<char[]> formatBounded(const char* format, va_list arguments) {
    std::unique_ptr<char[]> text(new char[kMessageBound]);
    text[0] = '\0';
    // A text that does not fit is cut and reported by -1, which is no failure here.
    static_cast<void>(vsnprintf_s(text.get(), kMessageBound, kMessageBound - 1, format, arguments));
    return text;
}

std::string escape(const char* text) {
    std::string escaped;
    escaped.reserve(2 * std::strlen(text));
    for (; *text != '\0'; ++text) {
        switch (*text) {
            case '\t':
                escaped += "\\t";
                break;
            case '\n':
                escaped += "\\n";
                break;
            case '\r':
                escaped += "\\r";
                break;
            case '"':
                escaped += "\\\"";
                break;
            case '\\':
                escaped += "\\\\";
                break;
            default:
                escaped += *text;
        }
    }
    return escaped;
}

std::string makePrefix(const char* file, int line, unsigned int level) {
    constexpr std::size_t kStampBound = 24;  // whatever year the clock shows
    std::string prefix =
        "[" + GetSystime().substr(0, kStampBound) + "][" + std::to_string(static_cast<unsigned int>(getpid())) + "]";
    if (longPrefix.load()) {
        prefix += "(" + std::string(file == nullptr ? "(null)" : file) + ":" + std::to_string(line) + ")";
    }
    return prefix + " [LEVEL:" + std::to_string(static_cast<int>(level)) + "] ";
}

// The stream gets a buffer for the whole line, so that the line leaves in one write and those of other threads and
// processes come before or after it.
void writeLine(UniqueFile stream, const std::string& line) {
    const std::unique_ptr<char[]> buffer(new char[line.size() + 1]);
    static_cast<void>(std::setvbuf(stream.get(), buffer.get(), _IOFBF, line.size() + 1));
    static_cast<void>(std::fwrite(line.data(), 1, line.size(), stream.get()));
    stream.reset();  // before its buffer goes
}

void onDebugSignal(int number) {
    if (number != SIGUSR1) {
        return;
    }
    const int interruptedErrno = errno;  // the code that was interrupted may not have read it yet
    bool before = longPrefix.load();
    while (!longPrefix.compare_exchange_weak(before, !before)) {
    }
    constexpr char kEnabled[] = "Debug mode enabled\n";
    constexpr char kDisabled[] = "Debug mode disabled\n";
    const ssize_t written = before ? write(STDOUT_FILENO, kDisabled, sizeof kDisabled - 1)
                                   : write(STDOUT_FILENO, kEnabled, sizeof kEnabled - 1);
    static_cast<void>(written);  // a closed standard output must not matter to the host
    errno = interruptedErrno;
}

constexpr unsigned long kDumpWidth = 16;

std::string dumpCharacters(const unsigned char* bytes, unsigned long count) {
    std::string text;
    for (unsigned long i = 0; i < count; ++i) {
        const bool printable = bytes[i] >= 0x20 && bytes[i] <= 0x7E;
        text += printable ? static_cast<char>(bytes[i]) : '.';
    }
    return text;
}

std::string dumpLine(const unsigned char* bytes, unsigned long count) {
    std::ostringstream line;
    line.imbue(std::locale::classic());  // a host's locale would group the digits
    line << std::setfill('0') << std::setw(8) << static_cast<const void*>(bytes) << "  " << std::hex;
    for (unsigned long i = 0; i < count; ++i) {
        line << std::setw(2) << static_cast<unsigned int>(bytes[i]) << " ";
    }
    line << "  " << dumpCharacters(bytes, count) << "\n";
    return line.str();
}

}  // namespace

void writeLog(const char* file, int line, unsigned int level, const char* format, ...) {
    static_cast<void>(std::setlocale(LC_ALL, "chs"));
    if (logLevel.load(std::memory_order_relaxed) < level || holdsWriteBack(format)) {
        return;
    }
    UniqueFile stream = openLog();
    va_list arguments;
    va_start(arguments, format);
    const std::unique_ptr<char[]> text = formatBounded(format, arguments);
    va_end(arguments);
    const std::string escaped = escape(text.get());
    if (stream) {
        writeLine(std::move(stream), makePrefix(file, line, level) + escaped + "\n");
    } else {
        static_cast<void>(std::puts(escaped.c_str()));
    }
}

void setLogLevel(unsigned int level) {
    logLevel.store(level);
}

void enableDebugLog() {
    struct sigaction action {};
    action.sa_handler = onDebugSignal;
    sigemptyset(&action.sa_mask);
    static_cast<void>(sigaction(SIGUSR1, &action, nullptr));  // fails for no signal number that exists
}

std::string GetSystime() {
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    constexpr std::size_t kStampSize = 100;
    char stamp[kStampSize] = "";
    static_cast<void>(std::snprintf(stamp, sizeof stamp, "%4d-%02d-%02d %02d:%02d:%02d", local.tm_year + 1900,
                                    local.tm_mon + 1, local.tm_mday, local.tm_hour, local.tm_min, local.tm_sec));
    return stamp;
}

std::int64_t getTimeStamp() {
    constexpr std::int64_t kNanosecondsPerMillisecond = 1000000;
    const auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::nanoseconds>(sinceEpoch).count() / kNanosecondsPerMillisecond;
}

void printBytes(const void* data, unsigned long length) {
    static const std::string kRule(43, '-');
    const auto* bytes = static_cast<const unsigned char*>(data);
    std::string dump;
    const auto show = [&dump](const std::string& text) {
        dump += text;
        std::cout.write(text.data(), static_cast<std::streamsize>(text.size()));  // no format flag applies to it
    };
    show("\n" + kRule + "\n");
    for (unsigned long start = 0; start < length; start += kDumpWidth) {
        const unsigned long count = std::min(kDumpWidth, length - start);
        show(dumpLine(bytes + start, count));
        if (count == kDumpWidth) {
            std::cout.flush();  // after full lines alone
        }
    }
    show(kRule);
    TARN_LOG(kLogDump, "%s", dump.c_str());
}
