// All sections: slices, threads, their results, and what a failure leaves.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <mutex>
#include <set>
#include <string>
#include <thread>

#include "Common/Common.h"
#include "libtarnpolicysync/Paths.h"
#include "support/Bytes.h"
#include "support/CompilerManager.h"
#include "support/Files.h"
#include "support/Interpose.h"
#include "support/LogLines.h"
#include "support/MutexTrace.h"
#include "support/RandomPolicy.h"

namespace {

using testbytes::sameFiles;
using testlog::Line;

class ParallelCompiler : public testing::Test {
protected:
    void add(const std::string& key, std::vector<PolicyNode> rules) {
        PolicyDb group;
        group.vecPolicy = std::move(rules);
        groups_[key] = group;
        manager_.addPolicy(key, group);
    }
    void threads(unsigned int count) { manager_.threadnum = static_cast<std::uint16_t>(count); }
    model::Files files() const { return testbytes::readFiles(paths::kPolicyDataTmp); }

    static PolicyNode rule(unsigned int mark) {
        PolicyNode result = samples::rule();
        result.uiAttrA = mark;
        return result;
    }
    static PolicyNode badRule() {
        PolicyNode result = samples::rule();
        result.sPerm = "nosuch";
        return result;
    }
    static std::vector<PolicyNode> rules(unsigned int count) {
        std::vector<PolicyNode> result;
        for (unsigned int mark = 0; mark < count; ++mark) {
            result.push_back(rule(mark));
        }
        return result;
    }
    static std::vector<Line> failureOf(const std::string& section) {
        return {{1, "###ERROR: in func transPerm, wrong permission nosuch."},
                {1, "####ERROR: in func makeSinglePolicy, transPerm error，permclass is file，perm is nosuch"},
                {1, "###ERROR: in compileKernelPolicyThread, makeSinglePolicy error"},
                {1, "###ERROR: in compileKernelPolicyMsg, process " + section + " error"}};
    }

    model::Numbers numbers_ = samples::numbers();
    CompilerManager manager_{numbers_};
    model::Groups groups_;
};

// Counts the threads that are started, and lets some of them fail to start.
class ThreadStarts {
public:
    explicit ThreadStarts(std::set<int> failing = {})
        : failing_(std::move(failing)),
          guard_(interpose::pthread_create.replace([this](pthread_t* thread, const pthread_attr_t* attributes,
                                                          void* (*start)(void*), void* argument) {
              const int number = count_++;
              return failing_.count(number) != 0 ? EAGAIN
                                                 : interpose::pthread_create.real(thread, attributes, start, argument);
          })) {}
    int count() const { return count_; }

private:
    std::set<int> failing_;
    std::atomic<int> count_{0};
    decltype(interpose::pthread_create)::Guard guard_;
};

TEST_F(ParallelCompiler, NoSectionsSucceedWithoutAThread) {
    const ThreadStarts starts;
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0);
    EXPECT_EQ(starts.count(), 0);
    EXPECT_TRUE(files().empty());
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(ParallelCompiler, AnEmptySectionStartsItsThreadsAndWritesNothing) {
    threads(3);
    add("base", {});
    const ThreadStarts starts;
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0);
    EXPECT_EQ(starts.count(), 3);
    EXPECT_TRUE(files().empty());
}

TEST_F(ParallelCompiler, OneThreadForEachSliceServesAllSections) {
    threads(4);
    add("base", rules(10));
    add("extra", rules(2));
    const ThreadStarts starts;
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0);
    EXPECT_EQ(starts.count(), 4);
    EXPECT_TRUE(sameFiles(model::policyFiles(numbers_, groups_, 4), files()));
}

TEST_F(ParallelCompiler, FilesAreNamedAfterSectionAndSlice) {
    threads(3);
    add("base", rules(10));
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0);
    EXPECT_EQ(testfiles::list(paths::kPolicyDataTmp),
              (std::vector<std::string>{"base_0_ns_g_0", "base_1_ns_g_0", "base_2_ns_g_0"}));
    EXPECT_TRUE(sameFiles(model::policyFiles(numbers_, groups_, 3), files()));
}

TEST_F(ParallelCompiler, SectionsAreCompiledOneAfterTheOtherInOrderOfTheirNames) {
    threads(4);
    for (const std::string key : {"m", "b", "z"}) {
        add(key, rules(8));
    }
    std::mutex mutex;
    std::string opened;
    const auto onOpen = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        const std::string text = path;
        if (text.find(".policydata/") != std::string::npos) {
            const std::lock_guard lock(mutex);
            opened += text[text.rfind('/') + 1];
        }
        return interpose::open.real(path, flags, mode);
    });
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0);
    EXPECT_EQ(opened, "bbbbmmmmzzzz");
}

TEST_F(ParallelCompiler, ThreadsOfASectionRunAtTheSameTime) {
    threads(2);
    add("base", rules(2));
    std::atomic<int> inside{0};
    std::atomic<bool> together{false};
    const auto onOpen = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        if (std::string(path).find(".policydata/") != std::string::npos) {
            ++inside;
            for (int round = 0; round < 2000 && !together; ++round) {
                together = together || inside == 2;
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
            }
            --inside;
        }
        return interpose::open.real(path, flags, mode);
    });
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0);
    EXPECT_TRUE(together);
}

TEST_F(ParallelCompiler, AFailureNamesTheSectionAndStopsTheLaterOnes) {
    add("a", rules(2));
    add("b", {badRule()});
    add("c", rules(2));
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 1);
    EXPECT_EQ(testlog::lines(), failureOf("b"));
    EXPECT_EQ(testfiles::list(paths::kPolicyDataTmp), std::vector<std::string>{"a_0_ns_g_0"});
}

TEST_F(ParallelCompiler, TheOtherThreadsOfAFailingSectionRunToTheirEnd) {
    threads(3);
    add("base", {badRule(), rule(1), rule(2)});
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 1);
    EXPECT_EQ(testlog::lines(), failureOf("base"));
    EXPECT_EQ(testfiles::list(paths::kPolicyDataTmp), (std::vector<std::string>{"base_1_ns_g_0", "base_2_ns_g_0"}));
}

// The first slice fails late, when the caller is long done with its own.
TEST_F(ParallelCompiler, ThreadsAreWaitedForBeforeTheirStatusCounts) {
    threads(2);
    add("base", rules(2));
    const auto onOpen = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        if (std::string(path).find("/base_0_") == std::string::npos) {
            return interpose::open.real(path, flags, mode);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        errno = EIO;
        return -1;
    });
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 1);
}

TEST_F(ParallelCompiler, TheCallerCompilesTheLastSliceThatHasRules) {
    threads(4);
    add("base", rules(8));
    add("short", rules(2));
    std::mutex mutex;
    std::map<std::string, std::set<std::thread::id>> threadsOf;
    const auto onOpen = interpose::open.replace([&](const char* path, int flags, mode_t mode) {
        const std::string text = path;
        if (text.find(".policydata/") != std::string::npos) {
            const std::lock_guard lock(mutex);
            threadsOf[text.substr(text.rfind('/') + 1)].insert(std::this_thread::get_id());
        }
        return interpose::open.real(path, flags, mode);
    });
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0);
    const std::set<std::thread::id> caller = {std::this_thread::get_id()};
    EXPECT_EQ(threadsOf.size(), 6U);
    for (const auto& [file, ids] : threadsOf) {
        EXPECT_EQ(ids.size(), 1U) << file;
        EXPECT_EQ(ids == caller, file == "base_3_ns_g_0" || file == "short_1_ns_g_0") << file;
    }
}

TEST_F(ParallelCompiler, AFailureInTheLastSliceCounts) {
    threads(3);
    add("base", {rule(1), rule(2), badRule()});
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 1);
    EXPECT_EQ(testlog::lines(), failureOf("base"));
}

TEST_F(ParallelCompiler, EveryStatusOfAThreadIsOneForTheWhole) {
    add("base", rules(1));
    for (const int error : {EIO, ENOMEM, EINVAL, ENODATA, ECOMM, EPROTO, EBADMSG, ENOSPC}) {
        const auto onWrite = interpose::write.replace([&](int fd, const void* data, std::size_t count) -> ssize_t {
            if (count == 124) {
                errno = error;
                return -1;
            }
            return interpose::write.real(fd, data, count);
        });
        EXPECT_EQ(manager_.compileKernelPolicyMsg(), 1) << error;
    }
    testfiles::link("/nowhere", "/etc/tarn/.policydata/base_0_ns_g_0.new");
    removeDirectory(paths::kPolicyDataTmp);
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 1) << "an open that fails is -1 in the thread";
}

TEST_F(ParallelCompiler, AThreadThatCannotStartFailsTheSectionAfterTheOthersEnded) {
    threads(3);
    add("base", rules(3));
    add("later", rules(3));
    for (const int failing : {0, 1, 2}) {
        testlog::clear();
        removeDirectory(paths::kPolicyDataTmp);
        testfiles::makeDirectories(paths::kPolicyDataTmp);
        const ThreadStarts starts({failing});
        EXPECT_EQ(manager_.compileKernelPolicyMsg(), 1);
        EXPECT_EQ(starts.count(), 3);
        model::Files expected = model::policyFiles(numbers_, {{"base", groups_["base"]}}, 3);
        expected.erase("base_" + std::to_string(failing) + "_ns_g_0");
        EXPECT_TRUE(sameFiles(expected, files())) << failing;
        EXPECT_EQ(testlog::lines().back(), (Line{1, "###ERROR: in compileKernelPolicyMsg, process base error"}));
    }
}

TEST_F(ParallelCompiler, ASectionFailsWhereNoThreadCanStart) {
    threads(2);
    add("base", {});
    const ThreadStarts starts({0, 1});
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 1);
    EXPECT_EQ(testlog::lines().back(), (Line{1, "###ERROR: in compileKernelPolicyMsg, process base error"}));
}

TEST_F(ParallelCompiler, TheSectionsAreReadUnderTheirMutex) {
    add("base", rules(1));
    std::unique_lock<std::mutex> lock(manager_.m_mutexPolicy);
    std::thread host([&] { EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0); });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_TRUE(files().empty());
    lock.unlock();
    host.join();
    EXPECT_EQ(files().size(), 1U);
}

TEST_F(ParallelCompiler, TheMutexIsFreeBeforeAnyThreadStarts) {
    add("base", rules(1));
    add("extra", rules(1));
    int free = 0;
    const auto onStart = interpose::pthread_create.replace(
        [&](pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*), void* argument) {
            if (manager_.m_mutexPolicy.try_lock()) {
                ++free;
                manager_.m_mutexPolicy.unlock();
            }
            return interpose::pthread_create.real(thread, attributes, start, argument);
        });
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0);
    EXPECT_EQ(free, 1);
}

TEST_F(ParallelCompiler, CompilesTheSectionsAsTheyWereAtTheStart) {
    add("a", rules(1));
    add("b", rules(1));
    const model::Files expected = model::policyFiles(numbers_, groups_, 1);
    const auto onStart = interpose::pthread_create.replace(
        [&](pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*), void* argument) {
            PolicyDb changed;
            changed.vecPolicy = {rule(77), rule(78)};
            manager_.addPolicy("b", changed);
            manager_.addPolicy("c", changed);
            return interpose::pthread_create.real(thread, attributes, start, argument);
        });
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0);
    EXPECT_TRUE(sameFiles(expected, files()));
}

// Large tables are copied by threads of their own, before the compiler threads start.
TEST_F(ParallelCompiler, ALargeTableIsCopiedWhole) {
    threads(3);
    add("base", rules(5000));
    add("extra", rules(2));
    const ThreadStarts starts;
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0);
    EXPECT_EQ(starts.count(), 5) << "two for the copy";
    EXPECT_TRUE(sameFiles(model::policyFiles(numbers_, groups_, 3), files()));
}

// The copy belongs to the snapshot, so its threads run under the mutex; the compiler threads don't, and what changes
// from their start on is for the next compilation.
TEST_F(ParallelCompiler, ALargeTableIsCopiedUnderItsMutexAndCompiledWithout) {
    threads(3);
    add("base", rules(5000));
    const model::Files expected = model::policyFiles(numbers_, groups_, 3);
    std::vector<bool> free;
    const auto onStart = interpose::pthread_create.replace(
        [&](pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*), void* argument) {
            free.push_back(isFree(manager_.m_mutexPolicy));
            if (free.back()) {
                PolicyDb changed;
                changed.vecPolicy = {rule(77), rule(78)};
                manager_.addPolicy("base", changed);
                manager_.addPolicy("extra", changed);
            }
            return interpose::pthread_create.real(thread, attributes, start, argument);
        });
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0);
    EXPECT_EQ(free, (std::vector<bool>{false, false, true, true, true}));
    EXPECT_TRUE(sameFiles(expected, files()));
}

TEST_F(ParallelCompiler, ACopyingThreadThatCannotStartIsNoFailure) {
    threads(3);
    add("base", rules(5000));
    const ThreadStarts starts({0, 1});
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0);
    EXPECT_EQ(starts.count(), 5);
    EXPECT_TRUE(sameFiles(model::policyFiles(numbers_, groups_, 3), files()));
    EXPECT_TRUE(testlog::lines().empty());
}

TEST_F(ParallelCompiler, LeavesTheRulesOfTheTableAsTheyWere) {
    add("base", {samples::ruleWithEverything()});
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0);
    const PolicyNode& kept = manager_.m_mapPolicy.at("base").vecPolicy.at(0);
    EXPECT_EQ(kept.uiExt[1], 0xE1U);
    EXPECT_EQ(kept.vecExpr.at(0).uiValue, 7U);
    EXPECT_EQ(kept.vecSubjectId.size(), 1U);
}

TEST_F(ParallelCompiler, OldFilesAreNotItsBusiness) {
    testfiles::write("/etc/tarn/.policydata/old", "kept");
    add("base", rules(1));
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0);
    EXPECT_EQ(testfiles::list(paths::kPolicyDataTmp), (std::vector<std::string>{"base_0_ns_g_0", "old"}));
}

TEST_F(ParallelCompiler, TwoSectionsAtOneFileNameLeaveTheLaterOne) {
    threads(2);
    PolicyNode first = rule(1);
    first.strNamespace = "0_a";
    PolicyNode second = rule(2);
    second.strNamespace = "a";
    add("s", {rule(0), first});
    add("s_1", {second});
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0);
    EXPECT_TRUE(testbytes::same(model::policyMessage(model::records(numbers_, second)),
                                testfiles::read("/etc/tarn/.policydata/s_1_0_a_g_0")));
    EXPECT_EQ(files().size(), 2U);
}

// The configuration never gives 0; a host's own subclass of the manager can.
TEST_F(ParallelCompiler, NoThreadsAreRefusedAsNoSlicesAre) {
    threads(0);
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0) << "nothing to cut";
    EXPECT_TRUE(testlog::lines().empty());
    for (const unsigned int count : {1U, 5000U}) {
        testlog::clear();
        add("base", rules(count));
        const ThreadStarts starts;
        EXPECT_EQ(manager_.compileKernelPolicyMsg(), 1);
        EXPECT_EQ(starts.count(), 0);
        EXPECT_EQ(testlog::lines(), (std::vector<Line>{{1, "###ERROR: in splitVector, wrong threadnum n"}}));
        EXPECT_TRUE(files().empty());
        EXPECT_TRUE(isFree(manager_.m_mutexPolicy));
    }
}

TEST_F(ParallelCompiler, MoreThreadsThanRulesAreFine) {
    threads(64);
    add("base", rules(3));
    EXPECT_EQ(manager_.compileKernelPolicyMsg(), 0);
    EXPECT_TRUE(sameFiles(model::policyFiles(numbers_, groups_, 64), files()));
    EXPECT_EQ(files().size(), 3U);
}

}  // namespace
