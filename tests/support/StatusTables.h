// Every status that an operation can return stands in the table of its comment, and nothing else does: a test provokes
// all statuses of one operation and compares them with the public header.
#ifndef TARN_TESTS_STATUS_TABLES_H
#define TARN_TESTS_STATUS_TABLES_H

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <utility>

#include "support/Files.h"
#include "support/Interpose.h"
#include "support/StdoutCapture.h"

namespace statustables {

using Statuses = std::set<std::string>;

inline constexpr int kLabelError = 1005;   // of the label manager: no errno, no other status
inline constexpr int kInjectedErrno = 99;  // of calls that fail on purpose

// ---- The tables of a header

struct Header {
    std::map<std::string, Statuses> tables;  // operation to the words of its table
    std::set<std::string> operations;        // everything that returns a status
};

// A table begins after a comment line that ends in "Status:", a row is a word between 5 and at least 2 blanks, and the
// declaration that follows is its operation.
inline Header readHeader(const std::string& path) {
    std::istringstream text(testfiles::read(path));
    const std::regex head(R"(^ *// (.* )?Status:$)");
    const std::regex row(R"(^ *//     ([^ ]+)  +[^ ].*$)");
    const std::regex declaration(R"(^ *(TARN_API )?(unsigned int|int) (\w+)\(.*$)");
    Header header;
    Statuses words;
    for (std::string line; std::getline(text, line);) {
        std::smatch match;
        if (std::regex_match(line, match, declaration)) {
            header.operations.insert(match[3]);
            if (!words.empty()) {
                header.tables[match[3]] = words;
            }
            words.clear();
        } else if (std::regex_match(line, head)) {
            words.clear();
        } else if (std::regex_match(line, match, row)) {
            words.insert(match[1]);
        } else if (line == "protected:") {
            break;  // what follows is not for hosts
        }
    }
    return header;
}

inline std::set<std::string> documented(const Header& header) {
    std::set<std::string> operations;
    for (const auto& entry : header.tables) {
        operations.insert(entry.first);
    }
    return operations;
}

// The names of the tests of a suite in this program.
inline std::set<std::string> testsOf(const std::string& suiteName) {
    std::set<std::string> tests;
    const testing::UnitTest& unit = *testing::UnitTest::GetInstance();
    for (int index = 0; index < unit.total_test_suite_count(); ++index) {
        const testing::TestSuite& suite = *unit.GetTestSuite(index);
        for (int test = 0; suite.name() == suiteName && test < suite.total_test_count(); ++test) {
            tests.insert(suite.GetTestInfo(test)->name());
        }
    }
    return tests;
}

// Statuses as the tables write them.
inline std::string word(int status) {
    if (status == kInjectedErrno || status == EPROTO) {
        return "errno";
    }
    return status == kLabelError ? "label" : std::to_string(status);
}
inline std::string word(unsigned int status) {
    return status == 0xFFFFFFFF ? "0xFFFFFFFF" : word(static_cast<int>(status));
}

// ---- Provoking statuses

inline void clearFolder(const char* folder) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::filesystem::remove_all(entry.path());
    }
}

// A function that fails at its n-th call.
struct Fault {
    int failing;
    std::atomic<int> calls{0};

    bool strikes() { return ++calls == failing; }
    bool wasReached() const { return calls >= failing; }
};

template <typename Result, typename... Arguments>
auto failNth(interpose::Slot<Result(Arguments...)>& slot, Fault& fault, Result failure) {
    return slot.replace([&slot, &fault, failure](Arguments... arguments) -> Result {
        if (fault.strikes()) {
            errno = kInjectedErrno;
            return failure;
        }
        return slot.real(arguments...);
    });
}

// Collects the statuses that one operation gives and in the end compares them with its table. A Host is what the calls
// work on; its reset() makes the machine as empty as the calls expect it, before each of them.
template <typename Host>
class Provoked {
public:
    Provoked(const std::string& header, std::string operation) : operation_(std::move(operation)) {
        const Header read = readHeader(header);
        const auto table = read.tables.find(operation_);
        if (table == read.tables.end()) {
            ADD_FAILURE() << operation_ << " has no table of statuses";
        } else {
            table_ = table->second;
        }
    }
    ~Provoked() { EXPECT_EQ(statuses_, table_) << operation_; }
    Provoked(const Provoked&) = delete;
    Provoked& operator=(const Provoked&) = delete;

    // One call on a fresh machine, after the preparation. What the library prints is not shown.
    template <typename Prepare, typename Call>
    void by(Prepare prepare, Call call) {
        Host::reset();
        Host host;
        const StdoutCapture quiet;
        prepare(host);
        statuses_.insert(word(call(host)));
    }
    template <typename Call>
    void by(Call call) {
        by([](Host&) {}, call);
    }

    // The call again and again, each time with one more call of a C function failing, until none is left.
    template <typename Prepare, typename Call>
    void byFaults(Prepare prepare, Call call) {
        sweep(interpose::open, -1, prepare, call);
        sweep(interpose::openat, -1, prepare, call);
        sweep(interpose::read, ssize_t{-1}, prepare, call);
        sweep(interpose::write, ssize_t{-1}, prepare, call);
        sweep(interpose::sendfile, ssize_t{-1}, prepare, call);
        sweep(interpose::fsync, -1, prepare, call);
        sweep(interpose::close, -1, prepare, call);
        sweep(interpose::access, -1, prepare, call);
        sweep(interpose::lstat, -1, prepare, call);
        sweep(interpose::fstat, -1, prepare, call);
        sweep(interpose::fstatat, -1, prepare, call);
        sweep(interpose::realpath, static_cast<char*>(nullptr), prepare, call);
        sweep(interpose::mkdir, -1, prepare, call);
        sweep(interpose::mkdirat, -1, prepare, call);
        sweep(interpose::unlinkat, -1, prepare, call);
        sweep(interpose::unlink, -1, prepare, call);
        sweep(interpose::renameat, -1, prepare, call);
        sweep(interpose::fdopendir, static_cast<DIR*>(nullptr), prepare, call);
        sweep(interpose::fdopen, static_cast<FILE*>(nullptr), prepare, call);
        sweep(interpose::getdelim, ssize_t{-1}, prepare, call);
        sweep(interpose::pthread_create, EAGAIN, prepare, call);
    }

private:
    template <typename Slot, typename Result, typename Prepare, typename Call>
    void sweep(Slot& slot, Result failure, Prepare prepare, Call call) {
        bool reached = true;
        for (int failing = 1; reached; ++failing) {
            Fault fault{failing};
            by(prepare, [&](Host& host) {
                const auto guard = failNth(slot, fault, failure);
                return call(host);
            });
            reached = fault.wasReached();
        }
    }

    std::string operation_;
    Statuses table_;
    Statuses statuses_;
};

}  // namespace statustables

#endif
