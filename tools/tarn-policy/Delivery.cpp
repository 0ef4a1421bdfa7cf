#include "Delivery.h"

#include <sys/inotify.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>

#include "Common/KernelAnswers.h"
#include "CompiledSet.h"
#include "Failure.h"
#include "Files.h"
#include "libtarnpolicysync/Paths.h"

namespace {

constexpr unsigned int kLocalFailure = 1;
constexpr unsigned int kNotOpened = 0xFFFFFFFF;  // the library's -1

struct Advice {
    int number;
    const char* text;
};

constexpr Advice kAdvice[] = {
    {EIO, "send again; if it fails again, look at the kernel's log"},
    {ENOMEM, "free memory, then send again"},
    {EINVAL, "compile again; if it fails again, library and kernel module do not fit together"},
    {ENODATA, "load the kernel module that provides the function, then send again"},
    {ECOMM, "load the kernel module tarn_main, then send again"},
    {EPROTO, "make sure that nobody else delivers at the same time, then send the whole set again"},
    {EBADMSG, "library and kernel module do not fit together: install versions that do"},
};

std::string adviceFor(unsigned int status) {
    for (const Advice& advice : kAdvice) {
        if (static_cast<unsigned int>(advice.number) == status) {
            return advice.text;
        }
    }
    return "look into /var/log/tarn-policy.log, then send again";
}

std::string statusWords(unsigned int status) {
    if (status == kNotOpened) {
        return std::string(paths::kKernelDeliver) + " could not be opened";
    }
    const int number = static_cast<int>(status);
    if (const KernelAnswer* answer = findKernelAnswer(number)) {
        return std::string(answer->name) + " (" + std::to_string(number) + "): " + answer->text;
    }
    if (status == kLocalFailure) {
        return "status 1: the message could not be read, or the kernel answered EPERM";
    }
    return "errno " + std::to_string(status) + ": " + std::strerror(number);
}

std::string kernelHolds(const DeliveryEnd& end) {
    if (allTaken(end)) {
        return "the kernel holds the whole set";
    }
    if (!end.stopped) {
        return "the kernel may hold any part of this set, or the whole of it";
    }
    if (*end.stopped == 0) {
        return "the kernel has taken nothing of this set";
    }
    const std::string first = "the kernel has taken the first " + std::to_string(*end.stopped) + " of " +
                              std::to_string(end.order.size()) + " messages";
    if (end.endUnclear) {
        return first + ", and it is not known whether the end message, too: if so, it holds the whole set";
    }
    return first +
           " and not the end message; it may hold a part of the new rules, and which rules are in force is not known "
           "until a whole set is delivered";
}

std::string whatFailed(const DeliveryEnd& end) {
    if (!end.stopped) {
        return "a message was refused (which one could not be observed): " + statusWords(end.status);
    }
    const std::string place = end.order[*end.stopped] + " (message " + std::to_string(*end.stopped + 1) + " of " +
                              std::to_string(end.order.size()) + ")";
    if (end.endUnclear) {
        return place + " was refused, or " + end.afterEnd + " after it: status " +
               std::to_string(static_cast<int>(end.status)) + "; the log says which";
    }
    return place + " was refused: " + statusWords(end.status);
}

// Finds out how far a delivery with a status came. `opened` are the messages that the library was seen to open.
void judge(DeliveryEnd& end, const std::optional<std::vector<std::string>>& opened, bool endWasTaken) {
    if (endWasTaken) {
        end.stopped = end.order.size();
        return;
    }
    // Anything but the expected order means that somebody else read the messages meanwhile.
    if (!opened || opened->empty() || opened->size() > end.order.size() ||
        !std::equal(opened->begin(), opened->end(), end.order.begin())) {
        return;
    }
    end.stopped = opened->size() - 1;
    // What the library does after the end message fails with one of these, too.
    end.endUnclear = opened->size() == end.order.size() && (end.status == kLocalFailure || end.status == kNotOpened);
}

}  // namespace

void requireKernelEntry() {
    struct stat status {};
    if (lstat(paths::kKernelDeliver, &status) == 0) {
        return;
    }
    throw Failure(ExitCode::kNoKernel, std::string("deliver to ") + paths::kKernelDeliver, std::strerror(errno),
                  errno == EACCES ? "run as root"
                                  : "load the kernel module tarn_main and mount securityfs at /sys/kernel/security");
}

bool allTaken(const DeliveryEnd& end) {
    return end.stopped && *end.stopped == end.order.size();
}

void holdSignalsToTheEnd() {
    sigset_t held;
    sigemptyset(&held);
    for (const int number : {SIGINT, SIGTERM, SIGHUP}) {
        sigaddset(&held, number);
    }
    static_cast<void>(pthread_sigmask(SIG_BLOCK, &held, nullptr));
}

MessageWatch::MessageWatch(const std::string& directory) : fd_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    if (fd_.valid() && inotify_add_watch(fd_.get(), directory.c_str(), IN_OPEN | IN_ONLYDIR) < 0) {
        fd_.reset();
    }
}

std::optional<std::vector<std::string>> MessageWatch::opened() {
    take();
    return fd_.valid() ? std::optional<std::vector<std::string>>(names_) : std::nullopt;
}

std::size_t MessageWatch::passed() {
    take();
    return names_.empty() ? 0 : names_.size() - 1;
}

void MessageWatch::take() {
    alignas(inotify_event) char block[16384];
    ssize_t count = 0;
    while (fd_.valid() && (count = read(fd_.get(), block, sizeof block)) > 0) {
        for (ssize_t offset = 0; offset < count;) {
            inotify_event event{};
            std::memcpy(&event, block + offset, sizeof event);
            if ((event.mask & IN_Q_OVERFLOW) != 0) {
                fd_.reset();
                return;
            }
            if (event.len > 0) {  // the directory itself has no name here
                names_.emplace_back(block + offset + sizeof event);
            }
            offset += static_cast<ssize_t>(sizeof event + event.len);
        }
    }
}

void reportDelivery(Report& report, const DeliveryEnd& end) {
    Json::Value& fact = report.fact("delivery");
    fact["messages"] = static_cast<Json::UInt64>(end.order.size());
    if (end.stopped) {
        fact["delivered"] = static_cast<Json::UInt64>(*end.stopped);
    }
    fact["kernelHolds"] = kernelHolds(end);
    if (end.status != 0) {
        fact["status"] = static_cast<int>(end.status);
        if (end.stopped && !allTaken(end) && !end.endUnclear) {
            fact["refused"] = end.order[*end.stopped];
        }
    }
}

Failure renameFailure(int status) {
    return Failure(
        ExitCode::kFailed, "give the delivered files their final names",
        "the library ended with status " + std::to_string(status) + "\n  now: the kernel holds the whole set",
        std::string("look into /var/log/tarn-policy.log, then ") +
            (fileExists(paths::kSceneInfoTmp) ? "send again"
                                              : "finish the renames with tarn-policy restore, or compile and deliver "
                                                "the policy again with tarn-policy apply"));
}

Failure deliveryFailure(const DeliveryEnd& end) {
    if (allTaken(end)) {
        return renameFailure(static_cast<int>(end.status));
    }
    return Failure(ExitCode::kRefused, "deliver " + end.directory, whatFailed(end) + "\n  now: " + kernelHolds(end),
                   adviceFor(end.status));
}

DeliveryEnd deliverWithLibrary(PolicyModuleManagerInterface& manager, Report& report, Progress& progress) {
    requireKernelEntry();
    DeliveryEnd end;
    end.order = messagesInOrder();
    const bool variablesStood = fileExists(paths::kDynamicInfo);
    const bool namesStood = fileExists(paths::kSceneInfoTmp);
    MessageWatch watch(end.directory);
    progress.stage("sending", "messages", end.order.size());
    {
        const ProgressPoll poll(progress, [&watch] { return watch.passed(); });
        end.status = manager.sendPolicy();
    }
    if (end.status == 0) {
        end.stopped = end.order.size();
        progress.done(end.order.size());
    } else {
        // The library drops the variables and renames the file with the names only when the end message is taken.
        judge(
            end, watch.opened(),
            (variablesStood && !fileExists(paths::kDynamicInfo)) || (namesStood && !fileExists(paths::kSceneInfoTmp)));
    }
    progress.end();
    reportDelivery(report, end);
    return end;
}

void deliverFinished(PolicyModuleManagerInterface& manager, const std::string& mountPoint, const std::string& directory,
                     Report& report) {
    requireKernelEntry();
    DeliveryEnd end;
    end.directory = directory;
    end.afterEnd = "the saved variables could not be read";
    end.order = messagesInOrder(directory);
    MessageWatch watch(directory);
    end.status = manager.sendInitPolicy(mountPoint);
    if (end.status == 0) {
        end.stopped = end.order.size();
    } else {
        judge(end, watch.opened(), false);
    }
    reportDelivery(report, end);
    if (end.status != 0) {
        throw deliveryFailure(end);
    }
}

void deliverMessages(PolicyModuleManagerInterface& manager, Report& report, Progress& progress) {
    requireKernelEntry();
    DeliveryEnd end;
    end.order = messagesInOrder();
    progress.stage("sending", "messages", end.order.size());
    for (std::size_t index = 0; index < end.order.size() && end.status == 0; ++index) {
        end.stopped = index;
        end.status = manager.sendSinglePolicy(paths::inDirectory(paths::kPolicyDataTmp, end.order[index]));
        progress.done(index + 1);
    }
    progress.end();
    if (end.status == 0) {
        end.stopped = end.order.size();
    }
    reportDelivery(report, end);
    if (end.status != 0) {
        throw deliveryFailure(end);
    }
}
